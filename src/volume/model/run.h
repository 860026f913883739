// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What one run of the generator shares between its steps: options, tree, cursors, tables.
//
// Lives from the start of MakeVolume to its end, on the generator's thread.
#pragma once

#include "platform/clock.h"
#include "platform/files.h"
#include "volume/model/boot_patches.h"
#include "volume/model/dates.h"
#include "volume/model/deferred_file.h"
#include "volume/model/options.h"
#include "volume/model/path_table.h"
#include "volume/model/sectors.h"
#include "volume/model/tree.h"
#include "volume/model/volume_notice.h"

#include <array>
#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

namespace larkspin {

// The position of a volume's UDF view, determined while the volume is planned.
//
// Sectors are absolute on the disc, except those of UDF's directory tree, which are written
// relative to the partition.
struct UdfPlan {
    uint32_t main_sequence = 0;
    uint32_t reserve_sequence = 0;
    uint32_t integrity_sequence = 0;
    uint32_t partition_start = 0; // the File Set Descriptor is its first block
    uint32_t partition_end = 0;   // the first sector after it
    uint32_t root_entry = 0;      // the file entry of the root
    uint32_t last_entry = 0;      // the file entry with the highest unique identifier
    uint32_t files = 0;
    uint32_t directories = 0; // including the root

    uint32_t PartitionSectors() const { return partition_end - partition_start; }
    uint32_t BlockOf(uint32_t sector) const { return sector - partition_start; }
};

struct VolumeRun {
    VolumeRun(IFileSystem& fileSystem, IClock& clock, const GenOptions& genOptions,
              VolumeNoticeTaker noticeCallback, uint32_t previousBase, uint32_t sessionBase);

    IFileSystem& files;
    const GenOptions options;

    // Reports a name to the user.
    void Tell(NoticeReason reason, std::u16string path, std::u16string shownAs = {}) const;

    // The moment of the volume (seconds since 1970, UTC), taken once. Used for descriptors,
    // "Version block", UDF and all names without a file on disk.
    const int64_t moment;
    // The clock's tick at that moment, which differs for two volumes made in the same second.
    const uint32_t moment_milliseconds;
    // For directories that only exist on the volume.
    const FileStatus default_status;
    // The status of the folder on disk whose contents form the root, if there is one.
    std::optional<FileStatus> root_status;

    // Sectors, absolute on the disc.
    const uint32_t previous_base; // first sector of the last session
    const uint32_t session_base;  // first sector of this session
    uint32_t plan_sector;         // first sector not yet assigned

    IsoTree tree;
    RecordDateCache dates;
    PathTables iso_tables;
    PathTables joliet_tables;
    std::vector<uint8_t> extension_record;                     // one sector, see rockridge.h
    std::array<uint8_t, kSectorBytes> primary_descriptor = {}; // as sent, and the basis of Joliet's
    DirectoryRecord root_record;                               // of the primary tree
    DirectoryRecord joliet_root_record;
    std::deque<DeferredFile> contents; // in order of ascending sector
    size_t empty_files = 0;            // in the queue; they have no sectors
    UdfPlan udf;
    BootPatches boot_patches;

  private:
    const VolumeNoticeTaker m_notice; // may be empty
};

} // namespace larkspin
