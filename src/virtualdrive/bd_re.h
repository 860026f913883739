// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// BD-RE.
//
// A new disc has no format and accepts no data before FORMAT UNIT: type 00h with the usual spare
// area, 30h with one chosen by the host, 31h without; sub-type 0, 10b (full certification) or 11b
// (quick certification). The type dependent parameter of 30h is the number of spare clusters, that
// of 31h the block size; that of 00h is ignored. Formatting again removes all data. A formatted
// disc can be written at any block; the drive reads the rest of a cluster and rewrites it. READ
// DISC INFORMATION reports a formatted disc as complete, with one complete session.
#pragma once

#include "virtualdrive/bd_medium.h"
#include "virtualdrive/format_list.h"
#include "virtualdrive/overwrite_medium.h"

namespace larkspin {

class CBdReMedium final : public CBdMedium<COverwriteMedium> {
  public:
    using CBdMedium::CBdMedium;

    bool IsFeatureCurrent(uint16_t feature) const override;
    DiscInformation Information(const WriteParameters& parameters) const override;
    std::vector<FormatCapacity> FormatCapacities() const override;
    SenseCode Close(const WriteParameters& parameters, uint8_t function, uint16_t track) override;
    SenseCode FormatMedium(std::span<const uint8_t> parameterList) override;

  private:
    // The spares that a format asks for; empty if it is not a format of BD-RE.
    std::optional<uint32_t> SparesFor(const FormatDescriptor& descriptor) const;
    uint32_t FormattedBlocks() const override { return SpareClusters() ? Capacity() : 0; }
    SenseCode CheckWrite(int32_t block, uint32_t count) const override;
    bool HasFixedPackets() const override { return true; }
};

} // namespace larkspin
