// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// DVDs that are written in place: DVD+RW and DVD-RAM, and what they share with DVD-RW in
// restricted overwrite (dvd_minus_rw.h).
//
// Such a disc has one session and one track that begins at block 0. Its blocks lie in one sparse
// file; what was formatted and not written reads as zeros.
//
// DVD+RW: FORMAT UNIT (type 26h) prepares the lead-in and lets the background format run (status
// 2); the whole disc can be written meanwhile. It goes on while the drive has time, as far as
// operations take time at all, and is complete (3) at the end of the disc. CLOSE TRACK/SESSION 0
// and 2 stop it (1): what lies behind the last block written or formatted is then neither readable
// nor writable until FORMAT UNIT with the restart bit. A disc that leaves the drive in the middle
// is stopped in the same way. An unformatted disc takes no data.
//
// DVD-RAM: comes formatted, is written at any block, and knows no sessions and no blanking.
#pragma once

#include "virtualdrive/dvd_medium.h"

namespace larkspin {

class CDvdOverwriteMedium : public CDvdMedium {
  public:
    using CDvdMedium::CDvdMedium;

    bool IsFeatureCurrent(uint16_t feature) const override;
    SenseCode Track(TrackAddress by, uint32_t number, const WriteParameters& parameters,
                    TrackInformation* track) const override;
    SenseCode Toc(uint8_t format, bool msf, uint8_t start, CAnswer& answer) const override;
    uint32_t LastBlock() const override;
    SenseCode Read(int32_t block, uint32_t count, std::span<uint8_t> data) override;
    SenseCode Write(const WriteParameters& parameters, int32_t block, uint32_t count,
                    std::span<const uint8_t> data) override;
    SenseCode CheckParameters(const WriteParameters& parameters) const override;
    SenseCode Flush(const WriteParameters&, Aftermath*) override { return sense::kGood; }
    bool IsWritable() const override { return true; }

  protected:
    // Blocks from the first on that are formatted; 0 if the disc has no format.
    virtual uint32_t FormattedBlocks() const = 0;
    // `block` is not negative.
    virtual SenseCode CheckWrite(int32_t block, uint32_t count) const = 0;
    virtual bool HasFixedPackets() const { return false; }

    // Blocks up to the last one written.
    uint32_t WrittenBlocks() const;
    static bool IsInside(int32_t block, uint32_t count, uint32_t blocks) {
        return uint64_t{static_cast<uint32_t>(block)} + count <= blocks;
    }
};

class CDvdPlusRwMedium final : public CDvdOverwriteMedium {
  public:
    explicit CDvdPlusRwMedium(CDiscStore& store);

    bool IsFeatureCurrent(uint16_t feature) const override;
    DiscInformation Information(const WriteParameters& parameters) const override;
    std::vector<FormatCapacity> FormatCapacities() const override;
    SenseCode Flush(const WriteParameters& parameters, Aftermath* aftermath) override;
    SenseCode Close(const WriteParameters& parameters, uint8_t function, uint16_t track) override;
    SenseCode FormatMedium(std::span<const uint8_t> parameterList) override;
    void RunBackground(double share) override;

  private:
    // As READ DISC INFORMATION reports it.
    enum Background : uint8_t { kNone = 0, kInterrupted = 1, kRunning = 2, kComplete = 3 };

    Background FormatStatus() const;
    // Blocks that are formatted or written.
    uint32_t Reach() const;
    SenseCode StopFormat();
    uint32_t FormattedBlocks() const override;
    SenseCode CheckWrite(int32_t block, uint32_t count) const override;
};

class CDvdRamMedium final : public CDvdOverwriteMedium {
  public:
    explicit CDvdRamMedium(CDiscStore& store) : CDvdOverwriteMedium(store, dvd_facts::kRam) {}

    bool IsFeatureCurrent(uint16_t feature) const override;
    DiscInformation Information(const WriteParameters& parameters) const override;
    std::vector<FormatCapacity> FormatCapacities() const override;
    SenseCode Close(const WriteParameters& parameters, uint8_t function, uint16_t track) override;
    SenseCode FormatMedium(std::span<const uint8_t> parameterList) override;

  private:
    uint32_t FormattedBlocks() const override { return Capacity(); }
    SenseCode CheckWrite(int32_t block, uint32_t count) const override;
    bool HasFixedPackets() const override { return true; }
};

// The format type that all these media but DVD+RW know, and a number of blocks that stands for all
// there are (MMC, "FORMAT UNIT command").
constexpr uint8_t kFormatFull = 0x00;
constexpr uint32_t kAllBlocks = 0xFFFFFFFF;

// A descriptor of FORMAT UNIT's parameter list.
struct FormatDescriptor {
    uint32_t blocks = 0;
    uint8_t type = 0;
    uint32_t parameter = 0; // 24 bits
};
FormatDescriptor ParseFormatList(std::span<const uint8_t> parameterList);

// The one file and track of a disc that is written in place.
DiscTrack OverwriteTrack();

} // namespace larkspin
