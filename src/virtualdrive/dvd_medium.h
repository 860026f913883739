// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Common to all DVD media: physical facts, speeds, disc structures.
#pragma once

#include "virtualdrive/ecc_medium.h"

namespace larkspin {

constexpr uint32_t kEccBlockBlocks = 16;

struct DvdFacts : EccFacts {
    uint8_t bookType = 0; // disc category and version (ECMA physical format information, byte 0)
    bool isRewritable = false;
};

// 1x of a DVD is 1385 KB/s. The slowest speed of a kind shows hosts its base: 2x for the dash
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

// A disc's dimensions for the structures, in blocks.
struct DvdShape {
    uint32_t capacity = 0;
    uint32_t layerBoundary = 0; // blocks in layer 0 of a two-layer disc
    bool isBoundaryFixed = true;
};

// READ DISC STRUCTURE: formats 00h (physical) and 01h (copyright); 0Eh (pre-recorded information)
// and 10h (physical format of a DVD-R) for the dash family, 11h (ADIP) for the plus family, 20h
// (layer boundary) for two layers; FFh lists them.
SenseCode ReadDvdStructure(const DvdFacts& facts, const DvdShape& shape, uint8_t format,
                           uint8_t layer, CAnswer& answer);

// A DVD with one way of recording: CSequentialMedium or COverwriteMedium.
template <class Way>
class CDvdMedium : public Way {
  public:
    CDvdMedium(CDiscStore& store, const DvdFacts& facts) : Way(store, facts), m_facts(facts) {}

    SenseCode ReadStructure(uint8_t format, uint32_t, uint8_t layer,
                            CAnswer& answer) const override {
        const DvdShape shape = {this->Capacity(), LayerBoundary(), IsLayerBoundaryFixed()};
        return ReadDvdStructure(m_facts, shape, format, layer, answer);
    }

  protected:
    virtual uint32_t LayerBoundary() const { return this->Capacity() / 2; }
    virtual bool IsLayerBoundaryFixed() const { return true; }

  private:
    const DvdFacts& m_facts;
};

} // namespace larkspin
