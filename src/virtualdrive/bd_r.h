// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// BD-R in sequential recording mode (SRM), of all sizes.
//
// A blank disc accepts FORMAT UNIT once: type 00h gives it the usual spare area, and 32h with
// sub-type 01b (SRM without pseudo-overwrite) the number of clusters that follows from its type
// dependent parameter and number of blocks. SRM with pseudo-overwrite (00b) and random recording
// (10b) are refused. The first WRITE to an unformatted disc selects SRM without a spare area: a
// spare area is up to the host, as it costs room and speed, and only FORMAT UNIT asks for one (MMC,
// "BD-R recording").
//
// Tracks are sequential recording ranges. Sessions follow each other without a gap. Both are
// aligned to clusters. CLOSE TRACK/SESSION: 1 closes a track, 2 the session, 6 the disc; a session
// with an open track can't be closed. An empty disc stays empty, with or without a format, until
// something is written.
#pragma once

#include "virtualdrive/bd_medium.h"
#include "virtualdrive/sequential_medium.h"

namespace larkspin {

class CBdRMedium final : public CBdMedium<CSequentialMedium> {
  public:
    using CBdMedium::CBdMedium;

    bool IsFeatureCurrent(uint16_t feature) const override;
    DiscInformation Information(const WriteParameters& parameters) const override;
    std::vector<FormatCapacity> FormatCapacities() const override;
    SenseCode Close(const WriteParameters& parameters, uint8_t function, uint16_t track) override;
    SenseCode FormatMedium(std::span<const uint8_t> parameterList) override;

  private:
    bool IsFormattable() const { return Tracks().IsBlank() && !SpareClusters(); }
    uint32_t MaxTracks() const override;
    int32_t SessionGap(size_t) const override { return 0; }
    int32_t TrackGap() const override { return 0; }
    bool IsSessionFunction(uint8_t function) const override;
};

} // namespace larkspin
