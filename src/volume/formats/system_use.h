// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// System Use entries of SUSP 1.12 and RRIP 1.12: the offsets of their fields, and walking over
// them.
//
// Offsets are bytes from the start of an entry.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace larkspin {

inline constexpr size_t kSystemUseHead = 4; // signature, length, version
inline constexpr size_t kAtSystemUseLength = 2;
inline constexpr size_t kAtSystemUseVersion = 3;

inline constexpr size_t kCeBytes = 28;
inline constexpr size_t kAtCeBlock = 4;
inline constexpr size_t kAtCeOffset = 12;
inline constexpr size_t kAtCeLength = 20;
inline constexpr size_t kPxBytes = 36; // later versions of RRIP have 44
inline constexpr size_t kAtPxMode = 4;
inline constexpr size_t kAtPxLinks = 12;
inline constexpr size_t kAtPxUser = 20;
inline constexpr size_t kAtPxGroup = 28;
inline constexpr size_t kAtNmFlags = 4;
inline constexpr size_t kAtNmText = 5;
inline constexpr size_t kAtTfFlags = 4;
inline constexpr size_t kAtTfStamps = 5;
inline constexpr size_t kLinkBytes = 12; // of PL and CL
inline constexpr size_t kAtLinkExtent = 4;

// CD-XA's own System Use data, which comes first and has no signature.
inline constexpr size_t kXaBytes = 14;

// Bytes of CD-XA data at the start of `data`: 14 or 0.
size_t XaBytesInFront(std::span<const uint8_t> data);

// Returns the entries of one area in turn. The walk ends at ST, at zero padding, when less than 4
// bytes are left, and at a malformed entry: one with a version other than 1 or 2, longer than the
// area, or too short for its fields.
class SystemUseWalk {
  public:
    // `area` begins after any CD-XA data.
    explicit SystemUseWalk(std::span<const uint8_t> area) : m_rest(area) {}

    // The next entry; empty at the end.
    std::span<const uint8_t> Next();
    // True if the walk ended at something malformed.
    bool Failed() const { return m_bFailed; }

  private:
    std::span<const uint8_t> m_rest;
    bool m_bFailed = false;
};

// The two letters of an entry.
inline std::string_view SignatureOf(std::span<const uint8_t> entry) {
    return {reinterpret_cast<const char*>(entry.data()), 2};
}

} // namespace larkspin
