// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Discs that are written in place: DVD+RW and DVD-RAM (dvd_overwrite.h), DVD-RW in restricted
// overwrite (dvd_minus_rw.h), BD-RE (bd_re.h).
//
// Such a disc has one session and one track, which begins at block 0. Its blocks are in one sparse
// file; what was formatted but not written reads as zeros.
#pragma once

#include "virtualdrive/ecc_medium.h"

namespace larkspin {

class COverwriteMedium : public CEccMedium {
  public:
    using CEccMedium::CEccMedium;

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
    // The number of formatted blocks, from the first one on; 0 if the disc has no format.
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

// The only file and track of a disc that is written in place.
DiscTrack OverwriteTrack();

} // namespace larkspin
