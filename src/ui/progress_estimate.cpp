// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/progress_estimate.h"

#include "platform/text.h"

#include <algorithm>
#include <cmath>

namespace larkspin {

namespace {

constexpr int kFull = 100;
constexpr size_t kMostSteps = 12;
// Until then, the speed is that of buffers being filled.
constexpr size_t kFewestSteps = 4;
constexpr uint64_t kShortestMs = 4000;
constexpr double kLongestLeftMs = 10.0 * 3600 * 1000; // a longer time helps nobody

} // namespace

void CProgressEstimate::Look(int percent, uint64_t tickMs) {
    if (!m_steps.empty() && percent < m_steps.back().nPercent) {
        m_steps.clear();
    }
    if (!m_steps.empty() && percent == m_steps.back().nPercent) {
        return;
    }
    m_steps.push_back({percent, tickMs});
    if (m_steps.size() > kMostSteps) {
        m_steps.pop_front();
    }
}

std::u16string CProgressEstimate::Text(uint64_t bytes, uint64_t tickMs) const {
    if (m_steps.size() < kFewestSteps) {
        return {};
    }
    const Step& first = m_steps.front();
    const Step& last = m_steps.back();
    const double steps = last.nPercent - first.nPercent;
    const auto moving = static_cast<double>(last.nTickMs - first.nTickMs);
    const auto sinceLast = static_cast<double>(tickMs - last.nTickMs);
    if (moving < kShortestMs || last.nPercent >= kFull) {
        return {};
    }
    // If this is more than the time of one step, the next step is overdue.
    const double late = std::max(0.0, sinceLast - moving / steps);
    const double stepMs = (moving + late) / steps;
    const double left = (kFull - last.nPercent) * stepMs - std::min(sinceLast, stepMs);
    if (left > kLongestLeftMs) {
        return {};
    }
    const auto seconds = static_cast<unsigned long long>(std::ceil(left / 1000));
    std::u16string text = FormatWide("Time left: %llu:%02llu", seconds / 60, seconds % 60);
    if (bytes > 0) {
        const double perSecond = static_cast<double>(bytes) / kFull / stepMs * 1000;
        text += u", speed: " + FormatSize(std::llround(perSecond)) + u"/s";
    }
    return text;
}

} // namespace larkspin
