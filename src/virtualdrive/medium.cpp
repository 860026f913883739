// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "virtualdrive/medium.h"

namespace larkspin {

void IMedium::AdjustFeature(uint16_t, std::vector<uint8_t>&) const {}

SenseCode IMedium::ReadStructure(uint8_t, uint32_t, uint8_t, CAnswer&) const {
    return sense::kCannotReadIncompatibleMedium;
}

SenseCode IMedium::SendStructure(uint8_t, std::span<const uint8_t>) {
    return sense::kCannotWriteIncompatibleMedium;
}

SenseCode IMedium::ReadCd(int32_t, uint32_t, const ReadCdRequest&, std::span<uint8_t>, uint32_t*) {
    return sense::kIllegalModeForTrack;
}

SenseCode IMedium::Reserve(const WriteParameters&, uint32_t) {
    return sense::kCannotWriteIncompatibleMedium;
}

SenseCode IMedium::SendCueSheet(const WriteParameters&, std::span<const uint8_t>) {
    return sense::kCannotWriteIncompatibleMedium;
}

SenseCode IMedium::Blank(uint8_t, uint32_t) {
    return sense::kCannotWriteIncompatibleMedium;
}

SenseCode IMedium::FormatMedium(std::span<const uint8_t>) {
    return sense::kCannotWriteIncompatibleMedium;
}

void IMedium::RunBackground(double) {}

} // namespace larkspin
