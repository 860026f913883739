// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// ISO 9660 names: conversion of source names, comparison, and the digits after a clash.
#pragma once

#include "volume/model/options.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace larkspin {

// Converts the source name `native` to the name in a directory record. `native` is 8-bit text, so a
// multi-byte character counts as several bytes. "." and ".." become the single bytes 0 and 1 of
// ECMA-119 7.6.2.
std::string MakeIsoName(std::string_view native, bool isDirectory, const GenOptions& options);

// The part of an ISO name that must be unique in its directory: without ";1" or another valid
// version.
std::string_view UniquePart(std::string_view isoName);

// True if `a` comes before `b` in a directory (ECMA-119 9.3 with '.' lowest).
bool IsoNameLess(std::string_view a, std::string_view b);

// `number`, which is below ClashName::kCandidates, as three digits of base 36.
std::string ClashDigits(uint32_t number);

// The name that an entry gets when its own is taken: a shortened root, three digits of base 36,
// the extension and the version.
class ClashName {
  public:
    static constexpr uint32_t kCandidates = 36 * 36 * 36;

    ClashName(std::string_view isoName, bool isDirectory, const GenOptions& options);

    // `number` below kCandidates; 0 gives the digits "000".
    std::string Candidate(uint32_t number) const;
    // The same for all names that compete for the same candidates.
    std::string Family() const { return m_strRoot + '\0' + m_strTail; }

  private:
    std::string m_strRoot;
    std::string m_strTail; // extension and version
};

} // namespace larkspin
