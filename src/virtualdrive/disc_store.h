// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// A disc in a folder: what is recorded where, and the files that hold the blocks.
//
// `disc.txt` holds the disc's state and is replaced as a whole by a rename, so it is always either
// the old or the new one. Blocks go straight into the files with no state of their own: how far an
// open track was written is told by the size of its file. A process that dies in the middle of a
// recording thus leaves a disc with an open track of whole blocks. Discs with audio get a
// `disc.cue` that players open; it is made anew from the state and never read.
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

// Block addresses are those of the disc: 0 is the first block behind the two seconds of pre-gap.
struct DiscTrack {
    uint32_t number = 1;
    uint32_t session = 1;
    int32_t start = 0;     // first block of the track proper (index 1)
    int32_t pregap = 0;    // blocks in front of `start` that are stored too (index 0)
    uint32_t blocks = 0;   // from `start`; of a complete track
    uint32_t reserved = 0; // blocks set aside by RESERVE TRACK, 0 for none
    uint8_t control = 4;   // Q sub-channel control nibble; bit 2 set for data
    uint32_t blockBytes = kDataBlockBytes;
    uint32_t runOut = 0; // unreadable blocks that follow the track
    bool complete = false;
    bool inOneGo = false;  // session or disc at once: must be written to its end without a pause
    bool damaged = false;  // the recording was cut off
    std::string file;      // name in the folder
    int32_t fileStart = 0; // block address at the file's start

    bool IsData() const { return (control & 4) != 0; }
    int32_t End() const { return start + static_cast<int32_t>(blocks); }
    // Where a block lies in the file.
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
    bool finalized = false;            // no further session is possible
    std::vector<DiscTrack> tracks;     // ascending, open ones last
    std::vector<DiscSession> sessions; // the closed ones, ascending
    std::map<std::string, uint32_t> extra; // what a kind of medium keeps beside that
};

class CDiscStore {
  public:
    CDiscStore() = default;
    CDiscStore(const CDiscStore&) = delete;
    CDiscStore& operator=(const CDiscStore&) = delete;
    ~CDiscStore();

    // Makes a disc in a folder that is new, or holds nothing but the file of its defects. False if
    // that fails.
    static bool Create(const std::string& folder, const DiscState& state);

    // False if the folder holds no disc that can be understood.
    bool Open(const std::string& folder);
    const std::string& Folder() const { return m_folder; }

    // To be changed in place and then kept with Save().
    DiscState& State() { return m_state; }
    const DiscState& State() const { return m_state; }
    // False if the state could not be written; the old one then stands.
    bool Save();

    // Makes an empty file for a track that begins; what an earlier disc left there goes.
    bool BeginFile(const std::string& file);
    // Bytes of a file of the disc at `offset`. Short writes count as failures. Zeros, if there is
    // nothing else among the bytes, take no room on the file system.
    bool Write(const std::string& file, uint64_t offset, std::span<const uint8_t> bytes);
    // What lies behind the file's end reads as zeros.
    bool Read(const std::string& file, uint64_t offset, std::span<uint8_t> bytes);
    // 0 if there is no such file.
    uint64_t FileBytes(const std::string& file) const;
    // Takes the disc's data away: the state has no tracks and no sessions any more, the files go.
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
