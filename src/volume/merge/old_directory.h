// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// One directory of a previous session, read into entries for the new tree.
//
// Records are kept as they are: ISO name, date, flags, extent and System Use data. Exceptions:
// - Continuation areas are fetched and laid out again, because readers that can't seek back look
//   for them after the directory; link counts, PL and CL are filled in again. Data that fits into
//   the record goes there.
// - CD-XA data before Rock Ridge entries is left out: the new volume does not announce any, and
//   readers would mistake it for the entries.
#pragma once

#include "volume/merge/previous_disc.h"
#include "volume/model/tree.h"

#include <cstdint>
#include <optional>
#include <span>
#include <unordered_set>
#include <vector>

namespace larkspin {

struct OldEntry {
    IsoEntry entry;
    // Records of the same name before it: earlier sections of a file in several extents (ECMA-119
    // 6.5.1), and associated files.
    std::vector<IsoEntry> same_name;
    std::optional<uint32_t> mode;       // PX
    std::optional<RecordDate> created;  // TF
    std::optional<RecordDate> modified; // TF
    std::optional<RecordDate> changed;  // TF: attribute change
    std::optional<uint32_t> child_link; // CL: placeholder for the directory at this sector
    bool has_parent_link = false;       // PL
    bool relocated = false;             // RE: readers find it through a CL elsewhere
    bool is_translation_table = false;
    bool is_broken = false;   // a file that is incomplete on the disc, or can't be understood
    bool transformed = false; // ZF, SF: the sectors are not the plain bytes of the file
};

class OldDirectoryReader {
  public:
    explicit OldDirectoryReader(PreviousDisc& disc) : m_disc(disc) {}

    // Finds out from the "." of the root whether System Use data on the disc is Rock Ridge.
    void DetectRockRidge(const OldExtent& root);

    // All records of the directory, in disc order. Names are unique, except those of dots and
    // relocated directories, and valid for a file system, except those of broken files. Reading a
    // directory a second time, as in a loop, fails the run, and so does anything broken in it but a
    // single file.
    std::vector<OldEntry> Read(const OldExtent& directory);

  private:
    class SystemUseReader;

    void Check(std::vector<OldEntry>& entries) const;
    void ReadSystemUse(std::vector<OldEntry>& entries);
    void PrefetchAreas(std::span<const OldEntry> entries);
    void ApplyTranslation(std::vector<OldEntry>& entries);
    void CountMemory(const std::vector<OldEntry>& entries);

    PreviousDisc& m_disc;
    std::unordered_set<uint32_t> m_read; // first sectors of the directories
    bool m_bHasRockRidge = true;
    bool m_bHasSusp = false; // there is an SP entry
    uint64_t m_nMemory = 0;  // used by the entries so far
};

} // namespace larkspin
