// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Common to DVDs and Blu-ray discs: blocks of 2048 bytes that are recorded several at a time, in
// the ECC blocks of a DVD (16) or the clusters of a BD (32). Capacities are multiples of these.
#pragma once

#include "virtualdrive/medium.h"

#include <cstdint>
#include <span>
#include <string>

namespace larkspin {

// The facts that distinguish kinds of discs before anything is written.
struct EccFacts {
    uint16_t profile = 0;
    uint16_t readFeature = 0; // current with every disc of the family
    uint32_t eccBlocks = 0;   // blocks that are recorded as a unit
    uint8_t layers = 1;
    std::span<const uint32_t> writeSpeeds; // KB/s, highest first
    uint32_t readSpeed = 0;                // KB/s
};

class CEccMedium : public IMedium {
  public:
    // `facts` must outlive the object.
    CEccMedium(CDiscStore& store, const EccFacts& facts) : IMedium(store), m_facts(facts) {}

    uint16_t Profile() const override { return m_facts.profile; }
    bool IsFeatureCurrent(uint16_t feature) const override;
    void AdjustFeature(uint16_t feature, std::vector<uint8_t>& payload) const override;
    std::span<const uint32_t> WriteSpeeds() const override { return m_facts.writeSpeeds; }
    uint32_t ReadSpeed() const override { return m_facts.readSpeed; }

  protected:
    // Blocks that can hold data.
    virtual uint32_t Capacity() const { return State().capacity / EccBlocks() * EccBlocks(); }
    uint32_t EccBlocks() const { return m_facts.eccBlocks; }
    uint32_t RoundUpToEcc(uint32_t blocks) const {
        return (blocks + EccBlocks() - 1) / EccBlocks() * EccBlocks();
    }
    // A number from `extra` in the state.
    uint32_t Extra(const std::string& name, uint32_t otherwise = 0) const;

  private:
    const EccFacts& m_facts;
};

} // namespace larkspin
