// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "jobs/disc_reading.h"

#include "platform/text.h"

#include <algorithm>

namespace larkspin {

namespace {

constexpr size_t kMostLines = 10;

} // namespace

uint64_t DiscReading::Read(const ExtentList::Extent& extent, DiscWindow& window, int64_t offset,
                           const Sink& sink) {
    uint64_t read = 0;
    while (read < extent.bytes) {
        if (IsGivenUp(m_env, m_kind)) {
            Stop(CAspiCD::UnitState::Cancelled);
            return read;
        }
        const std::span<const uint8_t> found =
            window.From(static_cast<int64_t>(extent.begin + read) + offset);
        if (found.empty()) {
            if (window.State() != CAspiCD::UnitState::Ready) {
                Stop(window.State());
                return read;
            }
            Count(extent.bytes - read);
            break;
        }
        const size_t count = std::min<uint64_t>(found.size(), extent.bytes - read);
        sink(found.first(count));
        read += count;
        Count(count);
    }
    return read;
}

void DiscReading::AddBad(const std::u16string& line) {
    ++m_nBad;
    if (m_firstBad.size() < kMostLines) {
        m_firstBad.push_back(line);
    }
}

void DiscReading::AddUnreadable(const std::u16string& name, const ExtentList::Extent& extent,
                                uint64_t read, const DiscWindow& window) {
    AddBad(name + FormatWide(": cannot be read (block %llu)",
                             static_cast<unsigned long long>((extent.begin + read) /
                                                             window.BlockBytes())));
}

void DiscReading::Count(uint64_t bytes) {
    m_nDone += bytes;
    const int percent = static_cast<int>(m_nDone * 100 / m_nTotal);
    if (percent != m_nPercent) {
        m_nPercent = percent;
        m_env.ui.SetProgress(m_kind, percent);
    }
}

void DiscReading::Stop(CAspiCD::UnitState state) {
    if (state == CAspiCD::UnitState::Cancelled) {
        m_end = End::Cancelled;
        return;
    }
    m_end = End::BrokenOff;
    m_strReason = state == CAspiCD::UnitState::NoDisc ? u"There is no disk in the drive any more."
                                                      : u"The drive does not get ready any more.";
}

void DiscReading::TellImpossible(const std::u16string& reason) {
    m_end = End::Impossible;
    m_strReason = reason;
}

std::u16string DiscReading::EndText() const {
    switch (m_end) {
    case End::Cancelled:
        return FormatWide("You cancelled its verification after %d%%.", m_nPercent);
    case End::BrokenOff:
        return FormatWide("Its verification broke off after %d%%. ", m_nPercent) + m_strReason;
    case End::Impossible:
        return u"It could not be verified. " + m_strReason;
    case End::Whole:
        break;
    }
    return {};
}

std::u16string DiscReading::BadLines() const {
    std::u16string lines;
    for (const std::u16string& line : m_firstBad) {
        lines += u"\n" + line;
    }
    if (m_nBad > m_firstBad.size()) {
        lines += FormatWide("\n...and %zu more.", m_nBad - m_firstBad.size());
    }
    return lines;
}

} // namespace larkspin
