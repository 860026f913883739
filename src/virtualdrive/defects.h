// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Defects of a medium by block address, from the file defects.txt in the disc's folder.
//
// One rule per line; "#" begins a comment:
//     100: unreadable         a read that includes this block fails
//     100-199: unreadable     the same for each of these
//     200: flip=5             bit 5 of the block is flipped when read (bit 0 is the lowest of the
//                             first byte); with a range, that of each block
//     300: lost               what is written there never reaches the medium, which keeps its old
//                             bytes, or zeros
//     400-499: slow=20        each of these blocks takes 20 ms more to read
// With "@N" at the end ("unreadable@2", "flip=5@2"), the rule only applies to the Nth read that
// includes any of these blocks since the disc was inserted.
//
// Not locked: the drive runs one command at a time.
#pragma once

#include "virtualdrive/sense_code.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace larkspin {

inline constexpr const char* kDefectsName = "defects.txt";

class CDefects {
  public:
    // Loads the defects of the disc in a folder; without the file there are none. False, with the
    // reason in `problem`, if the file is invalid.
    bool Load(const std::string& folder, std::string* problem);

    // Corrupts what was read, blocks of `blockBytes` from `block` on, and adds the time that it
    // took to `waitMs`. Returns an error if a block can't be read.
    SenseCode Read(int32_t block, std::span<uint8_t> data, size_t blockBytes, uint64_t* waitMs);
    // Data written to the block is lost.
    bool IsLost(int32_t block) const;

  private:
    enum class Kind { Unreadable, Flip, Lost, Slow };

    struct Rule {
        int32_t first = 0;
        int32_t last = 0;
        Kind kind = Kind::Unreadable;
        uint32_t value = 0;  // bit of the block, or milliseconds
        uint64_t onlyAt = 0; // the read to which it applies, from 1; 0: all
        uint64_t reads = 0;  // so far
    };

    static bool ParseBlocks(std::string_view text, Rule* rule);
    static bool ParseKind(std::string_view text, Rule* rule);

    std::vector<Rule> m_rules;
};

} // namespace larkspin
