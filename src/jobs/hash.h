// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The hash of what is written and read back: XXH3 with 128 bits. It detects accidental changes at a
// cost that is negligible compared to copying.
#pragma once

#include <cstdint>
#include <memory>
#include <span>

struct XXH3_state_s; // of the library

namespace larkspin {

struct Digest {
    uint64_t low = 0;
    uint64_t high = 0;

    bool operator==(const Digest&) const = default;
};

class Hash {
  public:
    Hash();

    void Add(std::span<const uint8_t> bytes);
    // The digest of the bytes since the last call.
    Digest Take();

  private:
    struct Free {
        void operator()(XXH3_state_s* state) const;
    };
    std::unique_ptr<XXH3_state_s, Free> m_pState;
};

} // namespace larkspin
