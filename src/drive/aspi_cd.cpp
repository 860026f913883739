// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "drive/aspi_cd.h"

#include <algorithm>
#include <cstring>

namespace larkspin {

CAspiCD::CgrowisofsException::CgrowisofsException(const char* text) {
    std::copy_n(text, ::strnlen(text, m_szText.size() - 1), m_szText.begin());
}

CAspiCD::CAspiCD(uint8_t target, uint8_t adapter, uint8_t lun, CAspiTransport* transport)
    : m_byTarget(target), m_byAdapter(adapter), m_byLun(lun), m_pTransport(transport) {
    ResetDvdState();
}

CAspiCD::CAspiCD(const CAspiCD& other)
    : IBlockReader(other), m_strName(other.m_strName), m_byTarget(other.m_byTarget),
      m_byAdapter(other.m_byAdapter), m_byLun(other.m_byLun), m_pTransport(other.m_pTransport),
      m_byLastStatus(other.m_byLastStatus), m_wDriveLetter(other.m_wDriveLetter),
      m_bHasConfig(other.m_bHasConfig), m_bConfigKnown(other.m_bConfigKnown) {
    ResetDvdState();
}

CAspiCD::~CAspiCD() {
    if (m_pfnFinalize != nullptr) {
        m_pfnFinalize(*this);
    }
}

} // namespace larkspin
