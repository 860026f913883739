#include "jobs/verification.h"

#include "drive/sense.h"
#include "jobs/file_list.h"
#include "platform/text.h"

#include <algorithm>
#include <array>

namespace larkspin {

namespace {

constexpr size_t kMostLines = 10;

// How a drive answers for blocks that it does not know of: a session that it has not looked at yet.
bool IsHidden(int code) {
    const int key = code >> 16;
    return code > 0 && (key == kKeyIllegalRequest || key == kKeyBlankCheck);
}

int64_t BlockAt(uint64_t position) {
    return static_cast<int64_t>(position / kSectorBytes);
}

std::u16string DiffersLine(const std::u16string& name, const ExtentList::Extent& extent) {
    return name + FormatWide(": differs (blocks %lld to %lld)",
                             static_cast<long long>(BlockAt(extent.begin)),
                             static_cast<long long>(BlockAt(extent.End() - 1)));
}

std::u16string UnreadableLine(const std::u16string& name, uint64_t position) {
    return name +
           FormatWide(": cannot be read (block %lld)", static_cast<long long>(BlockAt(position)));
}

} // namespace

CAspiCD::GoOn Verification::GoOn() const {
    return [this] { return !IsGivenUp(m_env, m_kind); };
}

void Verification::CompareData(std::span<const WrittenRecord* const> records) {
    if (m_env.host.IsLeaving()) {
        return; // the disc is finished, and the program is to end
    }
    m_result.emplace();
    m_nDone = m_nTotal = 0;
    uint64_t end = 0;
    for (const WrittenRecord* record : records) {
        const ExtentList& extents = record->Extents();
        m_nTotal += extents.Bytes();
        end = std::max(end, extents.At(extents.Count() - 1).End());
    }
    const ProgressScope progress(m_env, m_kind, kNothingAtStake);
    m_env.ui.SetStatus(m_kind, u"Verifying...");
    if (!BringUp(records)) {
        return;
    }
    const DoorLock door(m_drive);
    m_drive.SetCdSpeed(0); // reading too is at full speed from now on
    DiscWindow window(m_drive, DiscWindow::Format::Data, BlockAt(end - 1) + 1, GoOn());
    for (const WrittenRecord* record : records) {
        Compare(*record, window);
    }
}

// Some drives show a new session only when they have looked at the disc anew.
bool Verification::BringUp(std::span<const WrittenRecord* const> records) {
    CAspiCD::UnitState state = m_drive.AwaitUnit(GoOn());
    if (state == CAspiCD::UnitState::Ready && !IsShown(records)) {
        state = m_drive.ReloadDisc(GoOn());
        if (state == CAspiCD::UnitState::Ready && !IsShown(records)) {
            m_result->end = VerifyResult::End::Impossible;
            m_result->reason = u"The drive cannot read what it has written on this kind of disk.";
            return false;
        }
    }
    if (state != CAspiCD::UnitState::Ready) {
        End(state);
    }
    return !IsOver();
}

// False if the drive refuses the first block of the first and of the last extent as none that it
// has.
bool Verification::IsShown(std::span<const WrittenRecord* const> records) const {
    std::array<uint8_t, kSectorBytes> block;
    const ExtentList& first = records.front()->Extents();
    const ExtentList& last = records.back()->Extents();
    return std::ranges::any_of(
        std::array{first.At(0).begin, last.At(last.Count() - 1).begin}, [&](uint64_t begin) {
            return !IsHidden(
                m_drive.ReadData(block.data(), 1, static_cast<uint32_t>(BlockAt(begin))));
        });
}

void Verification::Compare(const WrittenRecord& record, DiscWindow& window) {
    const ExtentList& extents = record.Extents();
    for (size_t i = 0; i < extents.Count() && !IsOver(); ++i) {
        const ExtentList::Extent extent = extents.At(i);
        const uint64_t before = m_nDone;
        if (ReadExtent(extent, window)) {
            if (m_hash.Take() != record.Digests()[i]) {
                AddBad(DiffersLine(extents.NameOf(i), extent));
            }
            continue;
        }
        const uint64_t read = m_nDone - before;
        m_hash.Take(); // of what could be read
        if (!IsOver()) {
            AddBad(UnreadableLine(extents.NameOf(i), extent.begin + read));
            Count(extent.bytes - read); // one block is enough to tell
        }
    }
}

// False if it can't be read as a whole, or if it is over.
bool Verification::ReadExtent(const ExtentList::Extent& extent, DiscWindow& window) {
    for (uint64_t position = extent.begin; position < extent.End();) {
        if (IsGivenUp(m_env, m_kind)) {
            End(CAspiCD::UnitState::Cancelled);
            return false;
        }
        const std::span<const uint8_t> found = window.From(static_cast<int64_t>(position));
        if (found.empty()) {
            if (window.State() != CAspiCD::UnitState::Ready) {
                End(window.State());
            }
            return false;
        }
        const size_t count = std::min<uint64_t>(found.size(), extent.End() - position);
        m_hash.Add(found.first(count));
        position += count;
        Count(count);
    }
    return true;
}

void Verification::AddBad(std::u16string line) {
    ++m_result->bad;
    if (m_result->firstBad.size() < kMostLines) {
        m_result->firstBad.push_back(std::move(line));
    }
}

void Verification::Count(uint64_t bytes) {
    m_nDone += bytes;
    const int percent = static_cast<int>(m_nDone * 100 / m_nTotal);
    if (percent != m_result->percent) {
        m_result->percent = percent;
        m_env.ui.SetProgress(m_kind, percent);
    }
}

void Verification::End(CAspiCD::UnitState state) {
    if (state == CAspiCD::UnitState::Cancelled) {
        m_result->end = VerifyResult::End::Cancelled;
        return;
    }
    m_result->end = VerifyResult::End::BrokenOff;
    m_result->reason = state == CAspiCD::UnitState::NoDisc
                           ? u"There is no disk in the drive any more."
                           : u"The drive does not get ready any more.";
}

void Verification::Tell(const std::u16string& contents) const {
    const bool isLeft = m_result && m_result->end == VerifyResult::End::Cancelled &&
                        m_result->bad == 0 && m_env.host.IsLeaving();
    if (!m_result || isLeft) {
        return;
    }
    std::u16string text;
    switch (m_result->end) {
    case VerifyResult::End::Whole:
        text = u"The disk has been written and verified: " + contents + u".";
        break;
    case VerifyResult::End::Cancelled:
        text = FormatWide("The disk has been written. You cancelled its verification after %d%%.",
                          m_result->percent);
        break;
    case VerifyResult::End::BrokenOff:
        text = FormatWide("The disk has been written. Its verification broke off after %d%%. ",
                          m_result->percent) +
               m_result->reason;
        break;
    case VerifyResult::End::Impossible:
        text = u"The disk has been written, but could not be verified. " + m_result->reason;
        break;
    }
    if (m_result->bad == 0) {
        m_env.ui.ShowMessage(text);
        return;
    }
    text = m_result->end == VerifyResult::End::Whole ? u"" : text + u"\n\n";
    text += u"The disk is not good. This is not on it as it was written:\n";
    for (const std::u16string& line : m_result->firstBad) {
        text += u"\n" + line;
    }
    if (m_result->bad > m_result->firstBad.size()) {
        text += FormatWide("\n...and %zu more.", m_result->bad - m_result->firstBad.size());
    }
    text += u"\n\nYour own files are as they were. Please write them again, on another disk.";
    m_env.ui.AskUser(text, kBoxTitle, BoxButtons::Ok, BoxIcon::Stop);
}

} // namespace larkspin
