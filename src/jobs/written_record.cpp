// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "jobs/written_record.h"

#include <algorithm>
#include <utility>

namespace larkspin {

void WrittenRecord::Expect(ExtentList extents, uint64_t position) {
    m_extents = std::move(extents);
    m_digests.clear();
    m_digests.reserve(m_extents.Count());
    m_hash = Hash();
    m_nPosition = position;
}

void WrittenRecord::Take(std::span<const uint8_t> bytes) {
    while (!bytes.empty() && m_digests.size() < m_extents.Count()) {
        const ExtentList::Extent extent = m_extents.At(m_digests.size());
        const bool isInside = m_nPosition >= extent.begin;
        const uint64_t border = isInside ? extent.End() : extent.begin;
        const size_t count = std::min<uint64_t>(bytes.size(), border - m_nPosition);
        if (isInside) {
            m_hash.Add(bytes.first(count));
        }
        m_nPosition += count;
        bytes = bytes.subspan(count);
        if (m_nPosition == extent.End()) {
            m_digests.push_back(m_hash.Take());
        }
    }
}

} // namespace larkspin
