// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "jobs/verification.h"

#include "drive/sense.h"
#include "jobs/file_list.h"
#include "platform/text.h"

#include <algorithm>
#include <array>

namespace larkspin {

namespace {

// How a drive answers for blocks that it doesn't know about: a session it has not yet looked at.
bool IsHidden(int code) {
    const int key = code >> 16;
    return code > 0 && (key == kKeyIllegalRequest || key == kKeyBlankCheck);
}

// For a line of a report. Blocks are numbered as the drive numbers them.
std::u16string DiffersLine(const std::u16string& name, const ExtentList::Extent& extent,
                           uint32_t blockBytes) {
    return name + FormatWide(": differs (blocks %llu to %llu)",
                             static_cast<unsigned long long>(extent.begin / blockBytes),
                             static_cast<unsigned long long>((extent.End() - 1) / blockBytes));
}

} // namespace

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
        return; // the disc is finished, and the program is about to exit
    }
    uint64_t total = 0;
    uint64_t end = 0;
    for (const WrittenRecord* record : records) {
        const ExtentList& extents = record->Extents();
        total += extents.Bytes();
        end = std::max(end, extents.At(extents.Count() - 1).End());
    }
    m_reading.emplace(m_env, m_kind, total);
    m_bEdgesLeftOut = false;
    const ProgressScope progress(m_env, m_kind, kNothingAtStake);
    m_env.ui.SetAmount(m_kind, total);
    m_env.ui.SetStatus(m_kind, u"Verifying...");
    DiscWindow window(
        m_drive, m_kind == JobKind::Audio ? DiscWindow::Format::Audio : DiscWindow::Format::Data,
        end, [this] { return !IsGivenUp(m_env, m_kind); });
    if (!BringUp(records, window)) {
        return;
    }
    const DoorLock door(m_drive);
    m_drive.SetCdSpeed(0); // from here on, reading is at full speed too
    compare(window);
}

// Some drives show a new session only after looking at the disc again.
bool Verification::BringUp(Records records, DiscWindow& window) {
    const CAspiCD::GoOn goOn = [this] { return !IsGivenUp(m_env, m_kind); };
    CAspiCD::UnitState state = m_drive.AwaitUnit(goOn);
    if (state == CAspiCD::UnitState::Ready && !IsShown(records, window)) {
        state = m_drive.ReloadDisc(goOn);
        if (state == CAspiCD::UnitState::Ready && !IsShown(records, window)) {
            m_reading->TellImpossible(
                u"The drive cannot read what it has written on this kind of disk.");
        }
    }
    if (state != CAspiCD::UnitState::Ready) {
        m_reading->Stop(state);
    }
    return !m_reading->IsOver();
}

// False if the drive refuses the beginning of the first or last extent as blocks that it does not
// have.
bool Verification::IsShown(Records records, DiscWindow& window) {
    const ExtentList& first = records.front()->Extents();
    const ExtentList& last = records.back()->Extents();
    return std::ranges::any_of(
        std::array{first.At(0).begin, last.At(last.Count() - 1).begin}, [&](uint64_t begin) {
            return !window.From(static_cast<int64_t>(begin)).empty() || !IsHidden(window.Error());
        });
}

// Finds out how many bytes further on the drive reads the sound that was written at SoundBegin.
// Silence shows no offset, and does not need one.
void Verification::FindOffset(const AudioRecord& record, DiscWindow& window) {
    const std::span<const uint8_t> sound = record.Sound();
    constexpr auto most = static_cast<int64_t>(kMostOffsetBytes);
    const auto begin = static_cast<int64_t>(record.SoundBegin()) - most;
    std::vector<uint8_t> found;
    while (!sound.empty() && found.size() < sound.size() + size_t{2} * kMostOffsetBytes) {
        const std::span<const uint8_t> piece =
            window.From(begin + static_cast<int64_t>(found.size()));
        if (piece.empty()) {
            break; // fewer offsets can be tried
        }
        found.insert(found.end(), piece.begin(), piece.end());
    }
    const auto fits = [&](std::span<const uint8_t> part, int64_t offset) {
        const auto at = static_cast<size_t>(most + offset + (part.data() - sound.data()));
        return at + part.size() <= found.size() &&
               std::ranges::equal(part, std::span(found).subspan(at, part.size()));
    };
    // All of it or, where it is damaged, a part. The nearest offset wins: a tone may match at
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

// Before the first byte or after the last one because of the drive's offset.
bool Verification::IsOutOfReach(const ExtentList& extents, const ExtentList::Extent& extent) const {
    const uint64_t last = extents.At(extents.Count() - 1).End();
    return static_cast<int64_t>(extent.begin) + m_nOffset < 0 ||
           static_cast<int64_t>(extent.End()) + m_nOffset > static_cast<int64_t>(last);
}

void Verification::Compare(const WrittenRecord& record, DiscWindow& window) {
    const ExtentList& extents = record.Extents();
    const DiscReading::Sink hash = [this](std::span<const uint8_t> bytes) { m_hash.Add(bytes); };
    for (size_t i = 0; i < extents.Count() && !m_reading->IsOver(); ++i) {
        const ExtentList::Extent extent = extents.At(i);
        const uint64_t read = m_reading->Read(extent, window, m_nOffset, hash);
        const bool isSame = m_hash.Take() == record.Digests()[i]; // of what could be read
        if ((read == extent.bytes && isSame) || m_reading->IsOver()) {
            continue;
        }
        if (IsOutOfReach(extents, extent)) {
            m_bEdgesLeftOut = true;
        } else if (read == extent.bytes) {
            m_reading->AddBad(DiffersLine(extents.NameOf(i), extent, window.BlockBytes()));
        } else {
            m_reading->AddUnreadable(extents.NameOf(i), extent, read, window);
        }
    }
}

void Verification::Tell(const std::u16string& contents,
                        std::vector<std::u16string>* notices) const {
    if (!m_reading || (m_reading->Ended() == DiscReading::End::Cancelled && !m_reading->IsBad() &&
                       m_env.host.IsLeaving())) {
        return;
    }
    std::u16string text = u"The disk has been written. " + m_reading->EndText();
    if (!m_reading->IsOver()) {
        text = kDiscWritten + contents + u", verified";
        if (m_bEdgesLeftOut) {
            text += u". A few hundredths of a second at its beginning or end are out of this "
                    u"drive's reach.";
        }
    }
    if (!m_reading->IsBad()) {
        const bool isFailure =
            m_reading->IsOver() && m_reading->Ended() != DiscReading::End::Cancelled;
        if (isFailure) {
            m_env.ui.ShowMessage(text);
        } else if (!notices->empty()) {
            notices->push_back(text.ends_with(u'.') ? text : text + u'.');
        } else {
            m_env.host.TellSuccess(text);
        }
        return;
    }
    text = m_reading->IsOver() ? text + u"\n\n" : u"";
    text += u"The disk is not good. This is not on it as it was written:\n" +
            m_reading->BadLines() +
            u"\n\nYour own files are as they were. Please write them again, on another disk.";
    m_env.ui.AskUser(text, kBoxTitle, BoxButtons::Ok, BoxIcon::Stop);
}

} // namespace larkspin
