// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// One directory of a previous session, read into entries for the new tree.
//
// Records are kept as they stand: ISO name, date, flags, extent and System Use data. Exceptions:
// - Continuation areas are fetched and laid out anew, as readers that can't go back look for them
//   behind the directory, and link counts, PL and CL are filled in again. Data that fits the record
//   as a whole stands there.
// - CD-XA data in front of Rock Ridge entries is left out: the new volume announces none, and
//   readers would take it for the entries.
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
    // Records of the same name that stood in front of it: earlier sections of a file in several
    // extents (ECMA-119 6.5.1), associated files.
    std::vector<IsoEntry> same_name;
    std::optional<uint32_t> mode;       // PX
    std::optional<RecordDate> created;  // TF
    std::optional<RecordDate> modified; // TF
    std::optional<RecordDate> changed;  // TF: its attributes
    std::optional<uint32_t> child_link; // CL: stands for the directory at this sector
    bool has_parent_link = false;       // PL
    bool relocated = false;             // RE: readers find it by a CL elsewhere
    bool is_translation_table = false;
    bool is_broken = false;   // a file that is not on the disc as a whole, or can't be understood
    bool transformed = false; // ZF, SF: the sectors are not the bytes of the file
};

class OldDirectoryReader {
  public:
    explicit OldDirectoryReader(PreviousDisc& disc) : m_disc(disc) {}

    // Looks at the "." of the root: whether System Use data on the disc is Rock Ridge.
    void DetectRockRidge(const OldExtent& root);

    // All records of the directory, in the order of the disc. Names are unique but for the dots and
    // relocated directories, and can stand on a file system; those of broken files may be any. A
    // directory can be read once; a second time, as in a loop, fails the run, as does whatever is
    // broken in it but a single file.
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
    bool m_bHasSusp = false; // an SP entry says so
    uint64_t m_nMemory = 0;  // taken by entries so far
};

} // namespace larkspin
