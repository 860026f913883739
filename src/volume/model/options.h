// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Options of the volume image generator, and the texts that identify a volume.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace larkspin {

// One El Torito boot image.
struct BootEntry {
    std::u16string path; // in the volume's tree
    bool not_bootable = false;
    bool no_emulation = false;
    bool hard_disk_emulation = false;
    bool patch_boot_info = false; // writes a boot information table into the user's own file
    uint32_t load_size = 0;       // sectors of 512 bytes to load, 0 for the whole file
    uint16_t load_segment = 0;
};

// A session that was cut off: its first absolute sector, and the one after its last.
struct CutSession {
    uint32_t start = 0;
    uint32_t end = 0;
};

struct GenOptions {
    uint32_t interchange_level = 1; // above 3: adds the Enhanced Volume Descriptor
    uint32_t iso_name_limit = 31;   // bytes of an ISO name, regardless of the level
    bool no_name_version = false;   // no ";1" after ISO file names
    bool no_trailing_dot = false;
    bool keep_lowercase = false;
    bool keep_inner_dots = false;
    bool mangle_specials = true; // '#', '-' and '~' become '_' in ISO names
    bool long_clash_names = false;
    bool joliet = false;
    uint32_t joliet_name_limit = 64; // UTF-16 units
    uint32_t ucs_level = 3;
    bool rock_ridge = false;
    bool normalize_attributes = false; // owner and mode from the next four
    uint32_t uid = 0;
    uint32_t gid = 0;
    uint32_t file_mode = 0; // 0: the file's own mode, made readable and not writable
    uint32_t dir_mode = 0;
    uint32_t synthetic_dir_mode = 0x16D;
    uint32_t relocation_depth = 6;
    bool rr_moved_visible_name = false; // the relocation directory's name begins with a dot
    bool pad_end = true;
    bool keep_backup_files = true;
    // The sector after the last one of the session to be merged; 0: everything up to the new
    // session. A session that was cut off lists files that lie beyond.
    uint32_t previous_end = 0;
    // Sessions after the one to be merged that were cut off before their folders were on the disc.
    // Those of their files that can still be identified are reported.
    std::vector<CutSession> cut_sessions;
    // False: no session is merged, because all of them were cut off in that way.
    bool has_previous = true;
    // The volume space size counts from sector 0 of the disc, not from the first sector of the
    // session: some systems reject Rock Ridge data, which has absolute sectors, beyond it.
    bool space_from_disc_start = false;
    uint16_t volume_set_size = 1;
    uint16_t volume_sequence = 1;
    bool cd_xa = false;
    bool udf = false;
    bool dvd_video = false;
    bool el_torito = false;
    bool generic_boot = false;

    // Identifying texts: 8-bit for the primary tree, wide for Joliet and UDF; an unset optional
    // leaves the field blank.
    std::string system_id = "Win32";
    std::string volume_id = "CDROM";
    std::string application_id = "LARKSPIN";
    std::optional<std::string> publisher_id;
    std::optional<std::string> preparer_id;
    std::optional<std::string> volume_set_id;
    std::optional<std::string> copyright_file;
    std::optional<std::string> abstract_file;
    std::optional<std::string> bibliographic_file;
    std::u16string joliet_system_id = u"Win32";
    std::u16string joliet_volume_id = u"CDROM";
    std::u16string joliet_application_id = u"Larkspin";
    std::optional<std::u16string> joliet_publisher_id;
    std::optional<std::u16string> joliet_preparer_id;
    std::optional<std::u16string> joliet_volume_set_id;

    std::vector<BootEntry> boot_entries;
    std::u16string boot_catalog_path = u"boot.catalog";
    std::u16string generic_boot_path;
};

} // namespace larkspin
