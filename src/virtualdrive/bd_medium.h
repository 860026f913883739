// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Common to all Blu-ray discs: the facts for each size, speeds, spare areas, disc structures.
//
// The smallest unit that a BD records is a cluster of 32 blocks. A format reserves clusters as
// spares for defective ones; the rest of the disc can hold data. In this model no cluster becomes
// defective, so all spares stay free.
#pragma once

#include "virtualdrive/ecc_medium.h"

#include <algorithm>
#include <cstdint>
#include <optional>

namespace larkspin {

constexpr uint32_t kClusterBlocks = 32;

// Clusters that a format may reserve.
struct BdSpares {
    uint32_t least = 0;
    uint32_t usual = 0;
    uint32_t most = 0;
};

struct BdFacts : EccFacts {
    uint32_t blocks = 0; // of a disc of the usual size without spare areas
    BdSpares spares;     // of a disc of the usual size; the difference in size is taken from here
    const char* typeIdentifier = nullptr;
};

constexpr uint32_t kBdBlocks = 12'219'392;
constexpr uint32_t kBdDlBlocks = 24'438'784;
constexpr uint32_t kBdXlBlocks = 48'878'592;
constexpr uint32_t kBdQlBlocks = 62'500'864;

// 1x of a BD is 4,495.5 KB/s.
namespace bd_facts {
extern const BdFacts kR;   // 25 GB
extern const BdFacts kRDl; // 50 GB, two layers
extern const BdFacts kRXl; // 100 GB, three layers
extern const BdFacts kRQl; // 128 GB, four layers
extern const BdFacts kRe;  // 25 GB
extern const BdFacts kReDl;
} // namespace bd_facts

// The spares of a disc with that many blocks.
BdSpares SparesOf(const BdFacts& facts, uint32_t blocks);

// READ DISC STRUCTURE of media type 1: formats 00h (disc information), 09h (cartridge) and, for a
// disc with spare areas, 0Ah (spares); FFh lists them. `spareClusters` is empty if the disc has no
// format yet.
SenseCode ReadBdStructure(const BdFacts& facts, std::optional<uint32_t> spareClusters,
                          uint8_t format, CAnswer& answer);

bool IsBdFeatureCurrent(uint16_t feature, std::optional<uint32_t> spareClusters);
void AdjustBdFeature(uint16_t feature, std::vector<uint8_t>& payload);

// In the state of a formatted disc: the number of reserved clusters.
constexpr const char* kSpareClusters = "spare-clusters";

// A BD with one way of recording: CSequentialMedium or COverwriteMedium.
template <class Way>
class CBdMedium : public Way {
  public:
    CBdMedium(CDiscStore& store, const BdFacts& facts) : Way(store, facts), m_facts(facts) {}

    bool IsFeatureCurrent(uint16_t feature) const override {
        return IsBdFeatureCurrent(feature, SpareClusters()) || Way::IsFeatureCurrent(feature);
    }
    void AdjustFeature(uint16_t feature, std::vector<uint8_t>& payload) const override {
        Way::AdjustFeature(feature, payload);
        AdjustBdFeature(feature, payload);
    }
    uint8_t StructureMediaType() const override { return 1; }
    SenseCode ReadStructure(uint8_t format, uint32_t, uint8_t, CAnswer& answer) const override {
        return ReadBdStructure(m_facts, SpareClusters(), format, answer);
    }

  protected:
    // The number of reserved clusters; empty if the disc has no format.
    std::optional<uint32_t> SpareClusters() const {
        const auto found = this->State().extra.find(kSpareClusters);
        return found != this->State().extra.end() ? std::optional(found->second) : std::nullopt;
    }
    // Blocks of the disc without spare areas.
    uint32_t AllBlocks() const { return Way::Capacity(); }
    BdSpares Spares() const { return SparesOf(m_facts, AllBlocks()); }
    // Blocks that can hold data with that many spares, which must not exceed Spares().
    uint32_t BlocksBeside(uint32_t spareClusters) const {
        return AllBlocks() - spareClusters * kClusterBlocks;
    }
    uint32_t Capacity() const override {
        return BlocksBeside(std::min(SpareClusters().value_or(0), Spares().most));
    }

  private:
    const BdFacts& m_facts;
};

} // namespace larkspin
