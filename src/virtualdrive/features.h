// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Features of the drive as GET CONFIGURATION reports them (MMC, "Features and profiles").
#pragma once

#include <array>
#include <cstdint>

namespace larkspin {

class CAnswer;
class IMedium;

namespace feature {

constexpr uint16_t kProfileList = 0x0000;
constexpr uint16_t kCore = 0x0001;
constexpr uint16_t kMorphing = 0x0002;
constexpr uint16_t kRemovableMedium = 0x0003;
constexpr uint16_t kRandomReadable = 0x0010;
constexpr uint16_t kMultiRead = 0x001D;
constexpr uint16_t kCdRead = 0x001E;
constexpr uint16_t kDvdRead = 0x001F;
constexpr uint16_t kRandomWritable = 0x0020;
constexpr uint16_t kIncrementalStreamingWritable = 0x0021;
constexpr uint16_t kFormattable = 0x0023;
constexpr uint16_t kDefectManagement = 0x0024;
constexpr uint16_t kRestrictedOverwrite = 0x0026;
constexpr uint16_t kDvdPlusRw = 0x002A;
constexpr uint16_t kDvdPlusR = 0x002B;
constexpr uint16_t kRigidRestrictedOverwrite = 0x002C;
constexpr uint16_t kCdTrackAtOnce = 0x002D;
constexpr uint16_t kCdMastering = 0x002E;
constexpr uint16_t kDvdDashWrite = 0x002F;
constexpr uint16_t kCdRwMediaWrite = 0x0037;
constexpr uint16_t kBdRPseudoOverwrite = 0x0038;
constexpr uint16_t kDvdPlusRDualLayer = 0x003B;
constexpr uint16_t kBdRead = 0x0040;
constexpr uint16_t kBdWrite = 0x0041;
constexpr uint16_t kPowerManagement = 0x0100;
constexpr uint16_t kTimeout = 0x0105;
constexpr uint16_t kRealTimeStreaming = 0x0107;
constexpr uint16_t kSerialNumber = 0x0108;

} // namespace feature

// The drive's serial number, wherever it is reported.
constexpr std::array<uint8_t, 8> kDriveSerialNumber = {'L', 'S', 'V', 'D', '0', '0', '0', '1'};

// The RT field of GET CONFIGURATION.
enum class FeatureChoice : uint8_t { All = 0, Current = 1, One = 2 };

// Appends the feature header and the descriptors with codes from `first` on. `medium` is null if
// there is no disc.
void AppendConfiguration(const IMedium* medium, FeatureChoice choice, uint16_t first,
                         CAnswer& answer);

} // namespace larkspin
