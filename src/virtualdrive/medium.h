// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The drive's interface to a kind of medium: the rules of one profile family (MMC, "Features and
// profiles").
//
// The drive (drive.h) parses commands, handles the unit (door, events, mode pages, speed) and
// serialises the structures below. A medium decides what is recorded, readable and writable, and
// refuses everything else with the sense that a strict drive would return. To add a kind: derive a
// class from IMedium in its own file, and add a row to the table in medium_kinds.cpp. Everything
// that must outlive the process goes into CDiscStore's state (`extra` for values of one kind) and
// is stored with Save() whenever it changes; blocks go straight into the store's files. Saving for
// each block would be too slow: the size of its file shows the progress of an open track.
//
// Addresses are signed block addresses as in the CDB (-150 is FFFFFF6Ah); lengths are in blocks.
// Operations take no time: the drive adds the modelled duration of long ones and answers NOT READY
// meanwhile. One command at a time, so no locks are needed. The default implementations refuse a
// command as unknown for the medium.
#pragma once

#include "virtualdrive/disc_store.h"
#include "virtualdrive/sense_code.h"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace larkspin {

class CAnswer;

// The current write parameters mode page (05h).
struct WriteParameters {
    enum Type : uint8_t { Packet = 0, TrackAtOnce = 1, SessionAtOnce = 2, Raw = 3, LayerJump = 4 };
    enum BlockType : uint8_t { RawBlocks = 0, Mode1Blocks = 8 };

    uint8_t writeType = TrackAtOnce;
    uint8_t multiSession = 0; // 0: the disc is closed after this session, 3: another may follow
    uint8_t trackMode = 4;    // control nibble of the tracks
    uint8_t dataBlockType = Mode1Blocks;
    uint8_t linkSize = 0; // valid if linkSizeValid
    bool linkSizeValid = false;
    bool testWrite = false;
    bool bufferUnderrunFree = false;
    bool fixedPacket = false;
    uint8_t sessionFormat = 0;
    uint32_t packetBlocks = 0;

    bool AllowsNextSession() const { return multiSession == 3; }
};

// Close functions of CLOSE TRACK/SESSION. Those that finalise a disc differ in meaning.
enum CloseFunction : uint8_t {
    kStopBackgroundFormat = 0,
    kCloseTrack = 1,
    kCloseSession = 2,
    kFinalize = 3,
    kFinalizeWithRadius = 5,
    kFinalizeCompact = 6,
};

// Types of BLANK.
enum BlankType : uint8_t { kBlankAll = 0, kBlankMinimal = 1 };

constexpr uint32_t kNoAddress = 0xFFFFFFFF;

// The answer of READ DISC INFORMATION.
struct DiscInformation {
    enum Status : uint8_t { Empty = 0, Incomplete = 1, Complete = 2, Others = 3 };

    Status status = Empty;
    uint8_t lastSession = 0; // 0 empty, 1 incomplete, 2 damaged, 3 complete
    bool erasable = false;
    uint8_t backgroundFormat = 0; // 0 none, 1 interrupted, 2 running, 3 complete
    uint16_t firstTrack = 1;
    uint16_t sessions = 1; // including an open or empty one
    uint16_t firstTrackOfLastSession = 1;
    uint16_t lastTrackOfLastSession = 1;
    uint8_t discType = 0;                    // 00h CD-DA or CD-ROM, 20h XA, FFh undefined
    uint32_t lastSessionLeadIn = kNoAddress; // HMSF on a CD
    uint32_t lastPossibleLeadOut = kNoAddress;
};

// The answer of READ TRACK INFORMATION.
struct TrackInformation {
    uint16_t number = 1;
    uint16_t session = 1;
    bool damaged = false;
    uint8_t trackMode = 4;
    uint8_t dataMode = 1; // 15: unknown (blank)
    bool reserved = false;
    bool blank = false;
    bool packet = false;
    bool fixedPacket = false;
    int32_t start = 0;
    std::optional<int32_t> nextWritable;
    uint32_t freeBlocks = 0;
    uint32_t packetBlocks = 0;
    uint32_t size = 0;
    std::optional<int32_t> lastRecorded;

    // The track can be extended from `next` up to `end`.
    void SetFree(int32_t next, int32_t end) {
        freeBlocks = next < end ? static_cast<uint32_t>(end - next) : 0;
        size += freeBlocks;
        if (freeBlocks > 0) {
            nextWritable = next;
        }
    }
};

// How READ TRACK INFORMATION identifies the track.
enum class TrackAddress : uint8_t { Block = 0, Track = 1, Session = 2 };
constexpr uint32_t kInvisibleTrack = 0xFF;

// Format descriptor of READ FORMAT CAPACITIES; the type dependent parameter is 2048 by default.
struct FormatCapacity {
    uint32_t blocks = 0;
    uint8_t type = 0; // format type; of the current one: 1 unformatted, 2 formatted
    uint32_t parameter = 2048;
};

// What READ CD requests of a block.
struct ReadCdRequest {
    uint8_t expectedType = 0; // 0 any, 1 CD-DA, 2 mode 1
    uint8_t fields = 0;       // CDB byte 9
};

// What a drive does for a medium after the answer.
enum class Aftermath : uint8_t {
    None,
    LeadOut, // a lead-out is being written in the background
};

class IMedium {
  public:
    explicit IMedium(CDiscStore& store) : m_store(store) {}
    IMedium(const IMedium&) = delete;
    IMedium& operator=(const IMedium&) = delete;
    virtual ~IMedium() = default;

    // Identification.
    virtual uint16_t Profile() const = 0;
    // True if the feature is current with this medium in the drive; only called for features that
    // depend on the medium.
    virtual bool IsFeatureCurrent(uint16_t feature) const = 0;
    // Changes the payload of a feature if this medium differs from the drive's usual one.
    virtual void AdjustFeature(uint16_t feature, std::vector<uint8_t>& payload) const;
    // KB/s, highest first.
    virtual std::span<const uint32_t> WriteSpeeds() const = 0;
    virtual uint32_t ReadSpeed() const = 0;
    virtual DiscInformation Information(const WriteParameters& parameters) const = 0;
    virtual SenseCode Track(TrackAddress by, uint32_t number, const WriteParameters& parameters,
                            TrackInformation* track) const = 0;
    // READ TOC/PMA/ATIP: appends everything after the two length bytes.
    virtual SenseCode Toc(uint8_t format, bool msf, uint8_t start, CAnswer& answer) const = 0;
    // The first one is the current or maximum capacity, the others are formattable ones.
    virtual std::vector<FormatCapacity> FormatCapacities() const = 0;
    // READ DISC STRUCTURE: the media type to which it applies (0 DVD, 1 BD), and its answer:
    // appends everything after the four header bytes.
    virtual uint8_t StructureMediaType() const { return 0; }
    virtual SenseCode ReadStructure(uint8_t format, uint32_t address, uint8_t layer,
                                    CAnswer& answer) const;
    virtual SenseCode SendStructure(uint8_t format, std::span<const uint8_t> data);

    // Reading. READ CAPACITY: address of the last block; 0 on an empty disc.
    virtual uint32_t LastBlock() const = 0;
    // `data` has room for all blocks of 2048 bytes.
    virtual SenseCode Read(int32_t block, uint32_t count, std::span<uint8_t> data) = 0;
    // Returns the bytes per block in `bytesPerBlock`; reads if `data` has room.
    virtual SenseCode ReadCd(int32_t block, uint32_t count, const ReadCdRequest& request,
                             std::span<uint8_t> data, uint32_t* bytesPerBlock);

    // Writing. Refuses settings of the mode page that this medium does not support.
    virtual SenseCode CheckParameters(const WriteParameters& parameters) const = 0;
    // All or nothing. `data` is from the host, and must be as long as the blocks are.
    virtual SenseCode Write(const WriteParameters& parameters, int32_t block, uint32_t count,
                            std::span<const uint8_t> data) = 0;
    virtual SenseCode Flush(const WriteParameters& parameters, Aftermath* aftermath) = 0;
    // CLOSE TRACK/SESSION: the close function and the track number of the CDB.
    virtual SenseCode Close(const WriteParameters& parameters, uint8_t function,
                            uint16_t track) = 0;
    virtual SenseCode Reserve(const WriteParameters& parameters, uint32_t blocks);
    virtual SenseCode SendCueSheet(const WriteParameters& parameters,
                                   std::span<const uint8_t> sheet);
    virtual SenseCode Blank(uint8_t type, uint32_t address);
    // FORMAT UNIT: the parameter list, header of 4 and descriptor of 8 bytes, length checked.
    virtual SenseCode FormatMedium(std::span<const uint8_t> parameterList);
    // Continues a background operation: `share` of the whole disc.
    virtual void RunBackground(double share);
    // True if power calibration makes sense: the medium is writable.
    virtual bool IsWritable() const = 0;

  protected:
    CDiscStore& Store() { return m_store; }
    const CDiscStore& Store() const { return m_store; }
    DiscState& State() { return m_store.State(); }
    const DiscState& State() const { return m_store.State(); }
    // Saves the state; if the folder can't be written, that is a write error of the medium.
    SenseCode Keep() { return m_store.Save() ? sense::kGood : sense::kWriteError; }

  private:
    CDiscStore& m_store;
};

} // namespace larkspin
