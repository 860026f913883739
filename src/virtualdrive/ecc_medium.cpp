// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "virtualdrive/ecc_medium.h"

#include "virtualdrive/features.h"

#include "platform/byte_order.h"

namespace larkspin {

uint32_t CEccMedium::Extra(const std::string& name, uint32_t otherwise) const {
    const auto found = State().extra.find(name);
    return found != State().extra.end() ? found->second : otherwise;
}

bool CEccMedium::IsFeatureCurrent(uint16_t code) const {
    return code == feature::kRandomReadable || code == m_facts.readFeature;
}

void CEccMedium::AdjustFeature(uint16_t code, std::vector<uint8_t>& payload) const {
    // One ECC block is read at a time; a random writable disc ends at its last block.
    if (code == feature::kRandomReadable) {
        payload[5] = static_cast<uint8_t>(EccBlocks());
    } else if (code == feature::kRandomWritable) {
        StoreBe32(payload.data(), Capacity() - 1);
        payload[9] = static_cast<uint8_t>(EccBlocks());
    }
}

} // namespace larkspin
