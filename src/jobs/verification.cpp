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

// Blocks are counted as the drive counts them, for a line of a report.
std::u16string DiffersLine(const std::u16string& name, const ExtentList::Extent& extent,
                           uint32_t blockBytes) {
    return name + FormatWide(": differs (blocks %llu to %llu)",
                             static_cast<unsigned long long>(extent.begin / blockBytes),
                             static_cast<unsigned long long>((extent.End() - 1) / blockBytes));
}

std::u16string UnreadableLine(const std::u16string& name, uint64_t position, uint32_t blockBytes) {
    return name + FormatWide(": cannot be read (block %llu)",
                             static_cast<unsigned long long>(position / blockBytes));
}

} // namespace

CAspiCD::GoOn Verification::GoOn() const {
    return [this] { return !IsGivenUp(m_env, m_kind); };
}

void Verification::CompareData(Records records) {
    m_nOffset = 0;
    Run(records, [&](DiscWindow& window) {
        for (const WrittenRecord* record : records) {
            Compare(*record, window);
        }
    });
}

void Verification::CompareAudio(const AudioRecord& record) {
    m_nOffset = 0;
    Run(std::array{&record.Written()}, [&](DiscWindow& window) {
        FindOffset(record, window);
        Compare(record.Written(), window);
    });
}

void Verification::Run(Records records, const std::function<void(DiscWindow& window)>& compare) {
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
    m_env.ui.SetAmount(m_kind, m_nTotal);
    m_env.ui.SetStatus(m_kind, u"Verifying...");
    DiscWindow window(
        m_drive, m_kind == JobKind::Audio ? DiscWindow::Format::Audio : DiscWindow::Format::Data,
        end, GoOn());
    if (!BringUp(records, window)) {
        return;
    }
    const DoorLock door(m_drive);
    m_drive.SetCdSpeed(0); // reading too is at full speed from now on
    compare(window);
}

// Some drives show a new session only when they have looked at the disc anew.
bool Verification::BringUp(Records records, DiscWindow& window) {
    CAspiCD::UnitState state = m_drive.AwaitUnit(GoOn());
    if (state == CAspiCD::UnitState::Ready && !IsShown(records, window)) {
        state = m_drive.ReloadDisc(GoOn());
        if (state == CAspiCD::UnitState::Ready && !IsShown(records, window)) {
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

// False if the drive refuses the beginnings of the first and of the last extent as blocks that it
// does not have.
bool Verification::IsShown(Records records, DiscWindow& window) {
    const ExtentList& first = records.front()->Extents();
    const ExtentList& last = records.back()->Extents();
    return std::ranges::any_of(
        std::array{first.At(0).begin, last.At(last.Count() - 1).begin}, [&](uint64_t begin) {
            return !window.From(static_cast<int64_t>(begin)).empty() || !IsHidden(window.Error());
        });
}

// The drive reads the sound that was written at SoundBegin this many bytes further on. Silence
// leaves no trace of it, and does not need one.
void Verification::FindOffset(const AudioRecord& record, DiscWindow& window) {
    const std::span<const uint8_t> sound = record.Sound();
    constexpr auto most = static_cast<int64_t>(kMostOffsetBytes);
    const auto begin = static_cast<int64_t>(record.SoundBegin()) - most;
    std::vector<uint8_t> found;
    while (!sound.empty() && found.size() < sound.size() + size_t{2} * kMostOffsetBytes) {
        const std::span<const uint8_t> piece =
            window.From(begin + static_cast<int64_t>(found.size()));
        if (piece.empty()) {
            break; // the offsets that can be tried are fewer
        }
        found.insert(found.end(), piece.begin(), piece.end());
    }
    const auto fits = [&](std::span<const uint8_t> part, int64_t offset) {
        const auto at = static_cast<size_t>(most + offset + (part.data() - sound.data()));
        return at + part.size() <= found.size() &&
               std::ranges::equal(part, std::span(found).subspan(at, part.size()));
    };
    // The whole of it or, where it is damaged, a part. The nearest offset counts: a tone may fit at
    // several.
    for (const size_t parts : {1, 4}) {
        const size_t bytes = sound.size() / parts;
        for (size_t i = 0; i < parts; ++i) {
            const std::span<const uint8_t> part = sound.subspan(i * bytes, bytes);
            if (std::ranges::all_of(part, [](uint8_t byte) { return byte == 0; })) {
                continue;
            }
            for (int64_t offset = 0; offset <= most; offset += kAudioSampleBytes) {
                for (const int64_t tried : {offset, -offset}) {
                    if (fits(part, tried)) {
                        m_nOffset = tried;
                        return;
                    }
                }
            }
        }
    }
}

// In front of the first byte or behind the last one, for the offset of the drive.
bool Verification::IsOutOfReach(const ExtentList& extents, const ExtentList::Extent& extent) const {
    const uint64_t last = extents.At(extents.Count() - 1).End();
    return static_cast<int64_t>(extent.begin) + m_nOffset < 0 ||
           static_cast<int64_t>(extent.End()) + m_nOffset > static_cast<int64_t>(last);
}

void Verification::Compare(const WrittenRecord& record, DiscWindow& window) {
    const ExtentList& extents = record.Extents();
    const uint32_t blockBytes = window.BlockBytes();
    for (size_t i = 0; i < extents.Count() && !IsOver(); ++i) {
        const ExtentList::Extent extent = extents.At(i);
        const uint64_t before = m_nDone;
        const bool isRead = ReadExtent(extent, window);
        const bool isSame = m_hash.Take() == record.Digests()[i]; // of what could be read
        if ((isRead && isSame) || IsOver()) {
            continue;
        }
        const uint64_t read = m_nDone - before;
        Count(extent.bytes - read); // one block that can't be read is enough to tell
        if (IsOutOfReach(extents, extent)) {
            m_result->edgesLeftOut = true;
        } else if (isRead) {
            AddBad(DiffersLine(extents.NameOf(i), extent, blockBytes));
        } else {
            AddBad(UnreadableLine(extents.NameOf(i), extent.begin + read, blockBytes));
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
        const std::span<const uint8_t> found =
            window.From(static_cast<int64_t>(position) + m_nOffset);
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
        text = kDiscWritten + contents + u", verified";
        if (m_result->edgesLeftOut) {
            text += u". A few hundredths of a second at its beginning or end are out of this "
                    u"drive's reach.";
        }
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
        const bool isFailure = m_result->end == VerifyResult::End::BrokenOff ||
                               m_result->end == VerifyResult::End::Impossible;
        if (isFailure) {
            m_env.ui.ShowMessage(text);
        } else {
            m_env.host.TellSuccess(text);
        }
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
