// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// DVD-RW in restricted overwrite (MMC, "Rigid restricted overwrite feature"), and how a DVD-RW
// changes between the two ways of recording.
//
// Only whole ECC blocks are written. What is formatted and closed can be overwritten anywhere. A
// quick format (type 15h) or a quick growth (13h) opens the last session: it can then also be
// extended at its end, block after block, up to the end of the disc, and CLOSE TRACK/SESSION 2
// closes it there. Full formats (00h, 10h) format and close everything requested, and growth by 11h
// adds formatted blocks. BLANK turns the disc into a sequential one.
#pragma once

#include "virtualdrive/dvd_medium.h"
#include "virtualdrive/format_list.h"
#include "virtualdrive/overwrite_medium.h"

namespace larkspin {

// Format types of DVD-RW.
constexpr uint8_t kMinusRwFullInPackets = 0x10;
constexpr uint8_t kMinusRwGrow = 0x11;
constexpr uint8_t kMinusRwQuickGrow = 0x13;
constexpr uint8_t kMinusRwQuick = 0x15;

// In the state of a sequential disc: it was blanked minimally and can only be written in one go.
constexpr const char* kOneGoOnly = "one-go-only";

// The names of the two ways of recording, as in VirtualDrive::CreateDisc.
constexpr const char* kMinusRwSequentialKind = "dvd-rw";
constexpr const char* kMinusRwOverwriteKind = "dvd-rw-ow";

// The formats that are possible for a DVD-RW in any state.
void AppendMinusRwFormats(uint32_t capacity, std::vector<FormatCapacity>& capacities);
// Formats a DVD-RW in any state: it is then empty, in restricted overwrite.
SenseCode FormatMinusRw(CDiscStore& store, uint32_t capacity,
                        std::span<const uint8_t> parameterList);
// Blanks a DVD-RW in any state: it is then sequential. Types 0 (all) and 1 (minimal).
SenseCode BlankMinusRw(CDiscStore& store, uint8_t type);

class CDvdMinusRwOverwriteMedium final : public CDvdMedium<COverwriteMedium> {
  public:
    explicit CDvdMinusRwOverwriteMedium(CDiscStore& store)
        : CDvdMedium(store, dvd_facts::kMinusRwOverwrite) {}

    bool IsFeatureCurrent(uint16_t feature) const override;
    void AdjustFeature(uint16_t feature, std::vector<uint8_t>& payload) const override;
    DiscInformation Information(const WriteParameters& parameters) const override;
    std::vector<FormatCapacity> FormatCapacities() const override;
    SenseCode CheckParameters(const WriteParameters& parameters) const override;
    SenseCode Close(const WriteParameters& parameters, uint8_t function, uint16_t track) override;
    SenseCode FormatMedium(std::span<const uint8_t> parameterList) override;
    SenseCode Blank(uint8_t type, uint32_t address) override;

  private:
    bool IsSessionOpen() const;
    // Blocks of the closed format.
    uint32_t ClosedBlocks() const;
    SenseCode Grow(const FormatDescriptor& descriptor);
    uint32_t FormattedBlocks() const override;
    SenseCode CheckWrite(int32_t block, uint32_t count) const override;
    bool HasFixedPackets() const override { return true; }
};

} // namespace larkspin
