// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The sectors of a volume, as the readers of the tests see them.
#pragma once

#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace larkspin {

// Numbers of `width` bytes in a text or in bytes.
template <typename Bytes>
uint64_t BigAt(const Bytes& bytes, size_t at, size_t width) {
    uint64_t value = 0;
    for (size_t i = 0; i < width; ++i) {
        value = value << 8 | static_cast<uint8_t>(bytes[at + i]);
    }
    return value;
}
template <typename Bytes>
uint64_t LittleAt(const Bytes& bytes, size_t at, size_t width) {
    uint64_t value = 0;
    for (size_t i = width; i-- > 0;) {
        value = value << 8 | static_cast<uint8_t>(bytes[at + i]);
    }
    return value;
}

class SectorImage {
  public:
    using View = std::span<const uint8_t>;
    static constexpr size_t kSector = 2048;

    // `image` holds the sectors from `first` on.
    SectorImage(std::vector<uint8_t> image, uint32_t first)
        : m_nFirst(first), m_image(std::move(image)) {
        Require(m_image.size() % kSector == 0, "the image ends inside a sector");
    }

    uint32_t LastSector() const {
        return m_nFirst + static_cast<uint32_t>(m_image.size() / kSector) - 1;
    }
    View Area(uint32_t sector, size_t bytes) const {
        const size_t at = size_t{sector - m_nFirst} * kSector;
        Require(sector >= m_nFirst && at + bytes <= m_image.size(), "address outside the image");
        return View(m_image).subspan(at, bytes);
    }
    View Sector(uint32_t sector) const { return Area(sector, kSector); }

    static void Require(bool holds, const std::string& complaint) {
        if (!holds) {
            throw std::runtime_error("volume: " + complaint);
        }
    }

  protected:
    uint32_t m_nFirst;

  private:
    std::vector<uint8_t> m_image;
};

} // namespace larkspin
