// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// DVDs that are written in place (overwrite_medium.h): DVD+RW and DVD-RAM.
//
// DVD+RW: FORMAT UNIT (type 26h) prepares the lead-in and starts the background format (status 2);
// meanwhile, the whole disc can be written. It continues whenever the drive has time, if operations
// take time at all, and is complete (3) at the end of the disc. CLOSE TRACK/SESSION 0 and 2 stop it
// (1): what lies after the last block written or formatted can then neither be read nor written
// until FORMAT UNIT with the restart bit. The same happens to a disc that is removed in the
// meantime. An unformatted disc accepts no data.
//
// DVD-RAM: already formatted, written at any block, without sessions or blanking.
#pragma once

#include "virtualdrive/dvd_medium.h"
#include "virtualdrive/overwrite_medium.h"

namespace larkspin {

class CDvdPlusRwMedium final : public CDvdMedium<COverwriteMedium> {
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
    // As reported by READ DISC INFORMATION.
    enum Background : uint8_t { kNone = 0, kInterrupted = 1, kRunning = 2, kComplete = 3 };

    Background FormatStatus() const;
    // Blocks that are formatted or written.
    uint32_t Reach() const;
    SenseCode StopFormat();
    uint32_t FormattedBlocks() const override;
    SenseCode CheckWrite(int32_t block, uint32_t count) const override;
};

class CDvdRamMedium final : public CDvdMedium<COverwriteMedium> {
  public:
    explicit CDvdRamMedium(CDiscStore& store) : CDvdMedium(store, dvd_facts::kRam) {}

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

} // namespace larkspin
