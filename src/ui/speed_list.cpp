// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/speed_list.h"

#include "platform/text.h"

namespace larkspin {

namespace {

std::u16string SpeedText(double speed) {
    if (static_cast<long long>(speed * 10.0) % 10 == 0) {
        return FormatWide("%lldx", static_cast<long long>(speed));
    }
    return FormatWide("%.1fx", speed);
}

} // namespace

std::vector<std::u16string> SpeedTexts(const std::vector<double>& speeds) {
    std::vector<std::u16string> texts = {u"Max"};
    texts.reserve(speeds.size() + 1);
    for (const double speed : speeds) {
        texts.push_back(SpeedText(speed));
    }
    return texts;
}

double ReadSpeedChoice(const std::vector<double>& speeds, size_t selected) {
    const size_t index = selected == 0 ? 0 : selected - 1;
    return index < speeds.size() ? speeds[index] : kNoSpeedWish;
}

} // namespace larkspin
