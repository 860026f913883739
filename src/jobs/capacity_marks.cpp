// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "jobs/capacity_marks.h"

namespace larkspin {

std::u16string DiscSuffix(uint64_t bytes, const std::u16string& aboveDoubleLayer) {
    if (bytes > kDvdDoubleLayerBytes) {
        return aboveDoubleLayer;
    }
    if (bytes > kDvdBytes) {
        return u" Double Layer DVD required.";
    }
    return bytes > kCdDataBytes ? u" DVD required." : u"";
}

} // namespace larkspin
