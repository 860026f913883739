// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// DVDs that are written in place (overwrite_medium.h): DVD+RW and DVD-RAM.
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
    // As READ DISC INFORMATION reports it.
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
