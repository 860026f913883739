// Texts that more than one kind of job shows.
#pragma once

#include "platform/text.h"

#include <string>
#include <vector>

namespace larkspin {

using Texts = std::vector<std::u16string>;

constexpr const char16_t* kNotBlankText =
    u"The disk in the drive is not blank.\n\nShould Larkspin erase it for you?\n\n"
    u"If you say \"Yes\" all data on this disk will be LOST.";

inline std::u16string NextCopyText(int written, int copies) {
    return FormatWide("Written %d of %d disks, %d disks left.\n\n"
                      "Please insert next disk and press \"OK\".",
                      written, copies, copies - written);
}

} // namespace larkspin
