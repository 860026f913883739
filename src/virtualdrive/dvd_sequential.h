// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// DVDs that are written from the inside out (sequential_medium.h): DVD-R, DVD-RW in sequential
// recording and DVD-R DL; DVD+R and DVD+R DL.
//
// Between two sessions there are the border-out and border-in of the dash family, or the closure
// and intro of the plus family; the sizes here are those of the inner part of a disc.
//
// The dash family (MMC, "Write parameters mode page") is written incrementally, with links of 16
// blocks, or, if blank, in one go (write type 2). RESERVE TRACK is only supported for one go; it
// sets the length of the recording, which SYNCHRONIZE CACHE ends. A DVD-RW that was blanked
// minimally only accepts one go, as its feature 21h shows.
//
// The plus family ignores the mode page. A DVD+R DL accepts a layer boundary while blank.
#pragma once

#include "virtualdrive/dvd_medium.h"
#include "virtualdrive/sequential_medium.h"

namespace larkspin {

constexpr int32_t kFirstBorderBlocks = 16'384; // 32 MB
constexpr int32_t kNextBorderBlocks = 3'072;   // 6 MB
constexpr int32_t kPlusSessionGap = 2'048;     // closure and intro
constexpr int32_t kPlusTrackGap = 16;          // run-in of the next fragment
constexpr uint32_t kMaxDvdTracks = 153;

// DVD-R, DVD-RW in sequential recording, DVD-R DL.
class CDvdMinusSequentialMedium : public CDvdMedium<CSequentialMedium> {
  public:
    using CDvdMedium::CDvdMedium;

    bool IsFeatureCurrent(uint16_t feature) const override;
    SenseCode CheckParameters(const WriteParameters& parameters) const override;
    SenseCode Reserve(const WriteParameters& parameters, uint32_t blocks) override;

  protected:
    virtual bool TakesIncremental() const { return true; }
    SenseCode CheckTrackBegin(bool inOneGo) const override;
    bool IsInOneGo(const WriteParameters& parameters) const override;
    bool HasPackets() const override { return true; }
    uint32_t MaxTracks() const override { return kMaxDvdTracks; }
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

// BLANK makes it blank; FORMAT UNIT changes it to restricted overwrite (dvd_minus_rw.h).
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
class CDvdPlusSequentialMedium : public CDvdMedium<CSequentialMedium> {
  public:
    using CDvdMedium::CDvdMedium;

  protected:
    uint32_t MaxTracks() const override { return kMaxDvdTracks; }
    int32_t SessionGap(size_t) const override { return kPlusSessionGap; }
    int32_t TrackGap() const override { return kPlusTrackGap; }
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
