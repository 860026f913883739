// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "drive/aspi_cd.h"

#include <algorithm>
#include <cstring>

namespace larkspin {

namespace {

struct DiskType {
    uint32_t profile;
    const char16_t* name;
};

// Profile numbers of MMC.
constexpr DiskType kDiskTypeNames[] = {
    {0x00, u"<no disk>"},
    {0x01, u"<non removable>"},
    {0x02, u"<removable disk>"},
    {0x03, u"Magneto-Optical disk"},
    {0x04, u"Write-Once disk"},
    {0x05, u"AS-MO disk"},
    {0x08, u"CD-ROM"},
    {0x09, u"CD-R"},
    {0x0A, u"CD-RW"},
    {0x10, u"DVD-ROM"},
    {0x11, u"DVD-R"},
    {0x12, u"DVD-RAM"},
    {0x13, u"DVD-RW"},
    {0x14, u"DVD-RW"},
    {0x1A, u"DVD+RW"},
    {0x1B, u"DVD+R"},
    {0x2B, u"DVD+R DL"},
    {0x40, u"BD-ROM"},
    {0x41, u"BD-R"},
    {0x42, u"BD-R"},
    {0x43, u"BD-RE"},
    {kUnknownProfile, u"<unknown>"},
};

} // namespace

std::u16string DiskTypeName(uint32_t profile) {
    const auto* found =
        std::find_if(std::begin(kDiskTypeNames), std::end(kDiskTypeNames),
                     [profile](const DiskType& type) { return type.profile == profile; });
    return found != std::end(kDiskTypeNames) ? found->name : std::u16string();
}

bool IsDvdProfile(uint32_t profile) {
    return (profile >= 0x10 && profile <= 0x14) || profile == 0x1A || profile == 0x1B ||
           profile == 0x2B;
}

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
