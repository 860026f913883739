// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What all DVD media have in common: physical facts, speeds, disc structures, the fabricated TOC.
//
// The smallest unit that a DVD records is an ECC block of 16 blocks of 2048 bytes; capacities are
// whole ECC blocks here.
#pragma once

#include "virtualdrive/medium.h"

#include <cstdint>
#include <span>
#include <string>

namespace larkspin {

constexpr uint32_t kEccBlockBlocks = 16;

constexpr uint32_t RoundUpToEcc(uint32_t blocks) {
    return (blocks + kEccBlockBlocks - 1) / kEccBlockBlocks * kEccBlockBlocks;
}

// What tells one kind of DVD from another before anything is written.
struct DvdFacts {
    uint16_t profile = 0;
    uint8_t bookType = 0; // disc category and version (ECMA physical format information, byte 0)
    uint8_t layers = 1;
    bool isRewritable = false;
    std::span<const uint32_t> writeSpeeds; // KB/s, highest first
    uint32_t readSpeed = 0;                // KB/s
};

// 1x of a DVD is 1385 KB/s. The slowest speed of a kind tells hosts its base: 2x for the dash
// family, 2.4x for the plus family.
namespace dvd_facts {
extern const DvdFacts kMinusR;
extern const DvdFacts kMinusRDl;
extern const DvdFacts kMinusRwSequential;
extern const DvdFacts kMinusRwOverwrite;
extern const DvdFacts kRam;
extern const DvdFacts kPlusR;
extern const DvdFacts kPlusRDl;
extern const DvdFacts kPlusRw;
} // namespace dvd_facts

class CDvdMedium : public IMedium {
  public:
    CDvdMedium(CDiscStore& store, const DvdFacts& facts) : IMedium(store), m_facts(facts) {}

    uint16_t Profile() const override { return m_facts.profile; }
    bool IsFeatureCurrent(uint16_t feature) const override;
    void AdjustFeature(uint16_t feature, std::vector<uint8_t>& payload) const override;
    std::span<const uint32_t> WriteSpeeds() const override { return m_facts.writeSpeeds; }
    uint32_t ReadSpeed() const override { return m_facts.readSpeed; }
    // Formats 00h (physical), 01h (copyright); 0Eh (pre-recorded information) and 10h (physical
    // format of a DVD-R) of the dash family, 11h (ADIP) of the plus family, 20h (layer boundary) of
    // two layers; FFh lists them.
    SenseCode ReadStructure(uint8_t format, uint32_t address, uint8_t layer,
                            CAnswer& answer) const override;

  protected:
    // Blocks that can hold data.
    virtual uint32_t Capacity() const {
        return State().capacity / kEccBlockBlocks * kEccBlockBlocks;
    }
    // Blocks in layer 0 of a disc with two layers.
    virtual uint32_t LayerBoundary() const { return Capacity() / 2; }
    virtual bool IsLayerBoundaryFixed() const { return true; }

    bool IsPlus() const;
    // A number of `extra` in the state.
    uint32_t Extra(const std::string& name, uint32_t otherwise = 0) const;

  private:
    SenseCode AppendStructure(uint8_t format, CAnswer& answer) const;
    void AppendStructureList(CAnswer& answer) const;
    void AppendPhysicalFormat(CAnswer& answer) const;
    void AppendPreRecorded(CAnswer& answer) const;
    void AppendAdip(CAnswer& answer) const;

    const DvdFacts& m_facts;
};

} // namespace larkspin
