// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// A disc in a folder: what is recorded where, and the files with the blocks.
//
// `disc.txt` holds the disc's state and is always replaced by a rename, so that it is either the
// old or the new one. Blocks go straight into the files, which have no state of their own: the size
// of its file shows how far an open track has been written. A process that dies during a recording
// thus leaves a disc with an open track of whole blocks. Discs with audio get a `disc.cue` for
// players, which is created from the state and never read.
//
// Not locked: the drive runs one command at a time.
#pragma once

#include "virtualdrive/cd_limits.h"

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

namespace larkspin {

constexpr uint32_t kDataBlockBytes = 2048;

// Block addresses are those of the disc: 0 is the first block after the two seconds of pre-gap.
struct DiscTrack {
    uint32_t number = 1;
    uint32_t session = 1;
    int32_t start = 0;     // first block of the track proper (index 1)
    int32_t pregap = 0;    // blocks before `start` that are also stored (index 0)
    uint32_t blocks = 0;   // from `start`; for a complete track
    uint32_t reserved = 0; // blocks reserved by RESERVE TRACK, 0 for none
    uint8_t control = 4;   // Q sub-channel control nibble; bit 2 set for data
    uint32_t blockBytes = kDataBlockBytes;
    uint32_t runOut = 0; // unreadable blocks after the track
    bool complete = false;
    bool inOneGo = false;  // session or disc at once: must be written without interruption
    bool damaged = false;  // the recording was interrupted
    std::string file;      // name in the folder
    int32_t fileStart = 0; // block address at the file's start

    bool IsData() const { return (control & 4) != 0; }
    int32_t End() const { return start + static_cast<int32_t>(blocks); }
    // The position of a block in the file.
    uint64_t ByteOffset(int32_t block) const {
        return static_cast<uint64_t>(block - fileStart) * blockBytes;
    }
};

// A closed session.
struct DiscSession {
    uint32_t number = 1;
    int32_t leadOut = 0; // address of its lead-out
};

struct DiscState {
    std::string kind;                  // as in VirtualDrive::CreateDisc
    uint32_t capacity = 0;             // blocks; on a CD the last possible start of the lead-out
    bool finalized = false;            // no more sessions are possible
    std::vector<DiscTrack> tracks;     // ascending, open ones last
    std::vector<DiscSession> sessions; // the closed ones, ascending
    std::map<std::string, uint32_t> extra; // additional values of some kinds of media
};

class CDiscStore {
  public:
    CDiscStore() = default;
    CDiscStore(const CDiscStore&) = delete;
    CDiscStore& operator=(const CDiscStore&) = delete;
    ~CDiscStore();

    // Creates a disc in a folder that does not exist, or contains only the file of its defects.
    // False if that fails.
    static bool Create(const std::string& folder, const DiscState& state);

    // False if the folder holds no valid disc.
    bool Open(const std::string& folder);
    const std::string& Folder() const { return m_folder; }

    // To be changed in place and then stored with Save().
    DiscState& State() { return m_state; }
    const DiscState& State() const { return m_state; }
    // False if the state could not be written; the old one then remains.
    bool Save();

    // Creates an empty file for a new track, replacing one left by an earlier disc.
    bool BeginFile(const std::string& file);
    // Writes bytes at `offset` of one of the disc's files. A short write counts as a failure. Bytes
    // that are all zeros take no room on the file system.
    bool Write(const std::string& file, uint64_t offset, std::span<const uint8_t> bytes);
    // Anything beyond the end of the file reads as zeros.
    bool Read(const std::string& file, uint64_t offset, std::span<uint8_t> bytes);
    // 0 if there is no such file.
    uint64_t FileBytes(const std::string& file) const;
    // Removes the disc's data: all tracks and sessions from the state, and the files.
    bool Erase();

  private:
    int Descriptor(const std::string& file, bool create) const;
    void CloseFiles();
    bool SaveCue();

    std::string m_folder;
    DiscState m_state;
    mutable std::map<std::string, int> m_descriptors; // open files, kept for the next block
};

} // namespace larkspin
