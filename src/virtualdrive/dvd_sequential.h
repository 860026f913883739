// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// DVDs that are written from the inside out: DVD-R, DVD-RW in sequential recording and DVD-R DL;
// DVD+R and DVD+R DL.
//
// A track is written at its next writable address only. What was sent is recorded in whole ECC
// blocks: SYNCHRONIZE CACHE and closing fill the last one up with zeros. A session is closed by
// CLOSE TRACK/SESSION, and between two sessions lie the border-out and border-in of the dash family
// or the closure and intro of the plus family; the sizes here are those of the inner part of a
// disc. Tracks of an open session can be read as far as they are recorded.
//
// The dash family (MMC, "Write parameters mode page") writes incrementally, with links of 16
// blocks, or a blank disc in one go (write type 2). RESERVE TRACK is known for one go only; it sets
// how long the recording will be, and SYNCHRONIZE CACHE ends it. A DVD-RW that was blanked
// minimally takes only one go, as its feature 21h tells. A recording in one go that loses the disc
// or the power in the middle is damaged: it goes no further than it was written, and closing is all
// that can be done. An incremental one goes on at the next ECC block.
//
// The plus family doesn't look at the mode page. RESERVE TRACK sets the length of the next track. A
// DVD+R DL takes a layer boundary while blank. A reserved track that is closed early is filled up
// with zeros; a reservation that no write follows is forgotten with the disc.
#pragma once

#include "virtualdrive/dvd_medium.h"
#include "virtualdrive/tracks.h"

namespace larkspin {

constexpr int32_t kFirstBorderBlocks = 16'384; // 32 MB
constexpr int32_t kNextBorderBlocks = 3'072;   // 6 MB
constexpr int32_t kPlusSessionGap = 2'048;     // closure and intro
constexpr int32_t kPlusTrackGap = 16;          // run-in of the next fragment
constexpr uint32_t kMaxDvdTracks = 153;

class CDvdSequentialMedium : public CDvdMedium {
  public:
    CDvdSequentialMedium(CDiscStore& store, const DvdFacts& facts);

    DiscInformation Information(const WriteParameters& parameters) const override;
    SenseCode Track(TrackAddress by, uint32_t number, const WriteParameters& parameters,
                    TrackInformation* track) const override;
    SenseCode Toc(uint8_t format, bool msf, uint8_t start, CAnswer& answer) const override;
    std::vector<FormatCapacity> FormatCapacities() const override;
    uint32_t LastBlock() const override;
    SenseCode Read(int32_t block, uint32_t count, std::span<uint8_t> data) override;
    SenseCode Write(const WriteParameters& parameters, int32_t block, uint32_t count,
                    std::span<const uint8_t> data) override;
    SenseCode Flush(const WriteParameters& parameters, Aftermath* aftermath) override;
    SenseCode Close(const WriteParameters& parameters, uint8_t function, uint16_t track) override;
    bool IsWritable() const override { return !State().finalized; }

  protected:
    virtual bool IsErasable() const { return false; }
    // What a track that begins is written as; refuses what the disc does not take now.
    virtual SenseCode CheckTrackBegin(bool inOneGo) const = 0;
    virtual bool IsInOneGo(const WriteParameters& parameters) const = 0;
    // Blocks between a session's end and the next one's start, and between two tracks.
    virtual int32_t SessionGap(size_t closedSessions) const = 0;
    virtual int32_t TrackGap() const = 0;
    virtual bool ClosesDisc(const WriteParameters& parameters, uint8_t function) const = 0;
    virtual bool IsSessionFunction(uint8_t function) const = 0;

    const CTracks& Tracks() const { return m_tracks; }
    SenseCode ReserveNext(uint32_t blocks);
    void ForgetReservation() { m_nReserved = 0; }

  private:
    int32_t NextTrackStart() const;
    // Where a track must end that begins at `start` with a reservation or with none (0).
    int32_t TrackEnd(int32_t start, uint32_t reserved) const;
    TrackInformation InvisibleTrack(const WriteParameters& parameters) const;
    // Blocks that are reserved for the track that begins next; 0 for none.
    uint32_t Reserved(bool inOneGo) const;
    SenseCode FillUp(const DiscTrack& track, uint32_t blocks);
    SenseCode CompleteTrack(DiscTrack& track);
    SenseCode CloseSession(bool closeDisc);

    CTracks m_tracks;
    uint32_t m_nReserved = 0; // blocks that RESERVE TRACK asked for, until the first write
};

// DVD-R, DVD-RW in sequential recording, DVD-R DL.
class CDvdMinusSequentialMedium : public CDvdSequentialMedium {
  public:
    using CDvdSequentialMedium::CDvdSequentialMedium;

    bool IsFeatureCurrent(uint16_t feature) const override;
    SenseCode CheckParameters(const WriteParameters& parameters) const override;
    SenseCode Reserve(const WriteParameters& parameters, uint32_t blocks) override;

  protected:
    virtual bool TakesIncremental() const { return true; }
    SenseCode CheckTrackBegin(bool inOneGo) const override;
    bool IsInOneGo(const WriteParameters& parameters) const override;
    int32_t SessionGap(size_t closedSessions) const override;
    int32_t TrackGap() const override { return 0; }
    bool ClosesDisc(const WriteParameters& parameters, uint8_t function) const override;
    bool IsSessionFunction(uint8_t function) const override;
};

class CDvdMinusRMedium final : public CDvdMinusSequentialMedium {
  public:
    explicit CDvdMinusRMedium(CDiscStore& store)
        : CDvdMinusSequentialMedium(store, dvd_facts::kMinusR) {}
};

class CDvdMinusRDlMedium final : public CDvdMinusSequentialMedium {
  public:
    explicit CDvdMinusRDlMedium(CDiscStore& store)
        : CDvdMinusSequentialMedium(store, dvd_facts::kMinusRDl) {}
};

// BLANK makes it blank; FORMAT UNIT makes it a disc in restricted overwrite (dvd_minus_rw.h).
class CDvdMinusRwMedium final : public CDvdMinusSequentialMedium {
  public:
    explicit CDvdMinusRwMedium(CDiscStore& store)
        : CDvdMinusSequentialMedium(store, dvd_facts::kMinusRwSequential) {}

    bool IsFeatureCurrent(uint16_t feature) const override;
    std::vector<FormatCapacity> FormatCapacities() const override;
    SenseCode Blank(uint8_t type, uint32_t address) override;
    SenseCode FormatMedium(std::span<const uint8_t> parameterList) override;

  private:
    bool IsErasable() const override { return true; }
    bool TakesIncremental() const override;
};

// DVD+R and DVD+R DL.
class CDvdPlusSequentialMedium : public CDvdSequentialMedium {
  public:
    using CDvdSequentialMedium::CDvdSequentialMedium;

    SenseCode CheckParameters(const WriteParameters& parameters) const override;
    SenseCode Reserve(const WriteParameters& parameters, uint32_t blocks) override;

  protected:
    SenseCode CheckTrackBegin(bool) const override { return sense::kGood; }
    bool IsInOneGo(const WriteParameters&) const override { return false; }
    int32_t SessionGap(size_t) const override { return kPlusSessionGap; }
    int32_t TrackGap() const override { return kPlusTrackGap; }
    bool ClosesDisc(const WriteParameters& parameters, uint8_t function) const override;
    bool IsSessionFunction(uint8_t function) const override;
};

class CDvdPlusRMedium final : public CDvdPlusSequentialMedium {
  public:
    explicit CDvdPlusRMedium(CDiscStore& store)
        : CDvdPlusSequentialMedium(store, dvd_facts::kPlusR) {}
    bool IsFeatureCurrent(uint16_t feature) const override;
};

class CDvdPlusRDlMedium final : public CDvdPlusSequentialMedium {
  public:
    explicit CDvdPlusRDlMedium(CDiscStore& store)
        : CDvdPlusSequentialMedium(store, dvd_facts::kPlusRDl) {}
    bool IsFeatureCurrent(uint16_t feature) const override;
    SenseCode SendStructure(uint8_t format, std::span<const uint8_t> data) override;

  private:
    uint32_t Capacity() const override;
    uint32_t LayerBoundary() const override;
    bool IsLayerBoundaryFixed() const override;
};

} // namespace larkspin
