// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// CAspiCD: a drive's write speeds and the choice among them. Speeds are in KB/s unless they are
// given as multiples of a medium's base speed.
#include "drive/bd_media.h"
#include "drive/direct_command.h"
#include "drive/mmc.h"
#include "drive/mode_pages.h"
#include "drive/profiles.h"
#include "drive/scsi_command.h"
#include "platform/byte_order.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <optional>

namespace larkspin {

namespace {

using Failure = CAspiCD::CgrowisofsException;

constexpr double kCdBase = 176.4;
constexpr double kDvdBase = 1385.0;
constexpr double kMinCredibleFactor = 1.0;
constexpr double kMinCredibleBdFactor = 0.99; // 1x is 4,495.5 KB/s, and drives round that
constexpr double kMaxCredibleFactor = 60.0;

// No DVD recorder is slower than this.
constexpr int32_t kLowestDvdSpeed = 1352;

// SET CD SPEED.
constexpr uint32_t kCdFactor = 177;
constexpr uint32_t kMaximumSpeed = 0xFFFF;

// GET PERFORMANCE (MMC): a header, then descriptors.
constexpr size_t kPerformanceHeader = 8;
constexpr size_t kDescriptorBytes = 16;
constexpr uint8_t kCurrentPerformance = 0;
constexpr uint8_t kWriteSpeeds = 3;
// More would not fit into one transfer; no drive has as many.
constexpr uint32_t kMaxDescriptors = 65536 / kDescriptorBytes - 1;

// Fields of a write speed descriptor.
constexpr size_t kReadSpeed = 8;
constexpr size_t kWriteSpeed = 12;
// Fields of a nominal performance descriptor.
constexpr size_t kStartPerformance = 4;
constexpr size_t kEndPerformance = 12;

// Fields of page 2Ah: the current write speed, then the list of all.
constexpr size_t kPageCurrentSpeed = 28;
constexpr size_t kPageDescriptorCount = 30;
constexpr size_t kPageDescriptors = 32;
constexpr size_t kPageDescriptorBytes = 4;
constexpr size_t kPageDescriptorSpeed = 2;

int32_t LoadSpeed(const uint8_t* bytes) {
    return static_cast<int32_t>(std::min<uint32_t>(LoadBe32(bytes), INT32_MAX));
}

// The drive's number of descriptors, from the header of an answer; nothing if it makes no sense.
std::optional<uint32_t> DescriptorCount(std::span<const uint8_t> answer) {
    const uint32_t bytes = LoadBe32(answer.data()) - 4;
    if (bytes % kDescriptorBytes != 0 || bytes / kDescriptorBytes > kMaxDescriptors) {
        return std::nullopt;
    }
    return bytes / kDescriptorBytes;
}

// Descriptors that an answer holds.
size_t CountIn(std::span<const uint8_t> answer) {
    return answer.empty() ? 0 : (answer.size() - kPerformanceHeader) / kDescriptorBytes;
}

// GET PERFORMANCE for as many descriptors as fit into `answer` after the header.
bool GetPerformance(CScsiCommand& command, uint8_t type, std::span<uint8_t> answer) {
    constexpr uint8_t kNominalWritePerformance = 4;
    std::ranges::fill(answer, uint8_t{0});
    command[0] = mmc::kGetPerformance;
    command[1] = type == kCurrentPerformance ? kNominalWritePerformance : 0;
    StoreBe16(&command[8], static_cast<uint16_t>(CountIn(answer)));
    command[10] = type;
    return command.Transport(Direction::READ, answer.data(),
                             static_cast<uint32_t>(answer.size())) == 0;
}

size_t AnswerBytes(uint32_t descriptors) {
    return kPerformanceHeader + descriptors * kDescriptorBytes;
}

// Descriptor `index` of an answer.
std::span<const uint8_t> DescriptorAt(std::span<const uint8_t> answer, size_t index) {
    return answer.subspan(AnswerBytes(static_cast<uint32_t>(index)), kDescriptorBytes);
}

// 1x of the current profile, in KB/s.
double SpeedBase(CAspiCD& drive) {
    switch (TraitsOf(drive.GetCurrentProfile()).speed) {
    case SpeedUnit::Cd:
        return kCdBase;
    case SpeedUnit::Dvd:
        return kDvdBase;
    case SpeedUnit::Bd:
        return kBdBase;
    case SpeedUnit::None:
        break;
    }
    throw Failure("Unsupported media.");
}

// The header and the drive's write speed descriptors; empty if it has none. `isBroken` is set if it
// has some, but they could not be read.
std::vector<uint8_t> ReadWriteSpeedDescriptors(CScsiCommand& command, bool* isBroken) {
    *isBroken = false;
    std::vector<uint8_t> answer(AnswerBytes(1));
    if (!GetPerformance(command, kWriteSpeeds, answer)) {
        return {};
    }
    const std::optional<uint32_t> count = DescriptorCount(answer);
    if (!count || *count == 0) {
        return {};
    }
    if (*count > 1) {
        answer.resize(AnswerBytes(*count));
        *isBroken = !GetPerformance(command, kWriteSpeeds, answer);
    }
    return *isBroken ? std::vector<uint8_t>() : answer;
}

// All write speeds from GET PERFORMANCE, as multiples of `base`. Empty if the drive has none or if
// one of them can't be true.
std::vector<double> SpeedsFromPerformance(CScsiCommand& command, double base) {
    bool isBroken = false;
    const std::vector<uint8_t> answer = ReadWriteSpeedDescriptors(command, &isBroken);
    const double least = base == kBdBase ? kMinCredibleBdFactor : kMinCredibleFactor;
    std::vector<double> speeds;
    for (size_t index = 0; index < CountIn(answer); ++index) {
        const double speed = LoadBe32(&DescriptorAt(answer, index)[kWriteSpeed]) / base;
        if (speed > kMaxCredibleFactor || speed < least) {
            return {};
        }
        speeds.push_back(speed);
    }
    return speeds;
}

// All write speeds in the list on page 2Ah, as multiples of `base`.
std::vector<double> SpeedsFromPage(CScsiCommand& command, double base) {
    constexpr int kMaxAttempts = 8; // for a drive whose page grows each time
    const Failure failure("Cannot determine available write speeds.");
    std::vector<uint8_t> answer(36);
    size_t needed = 0;
    for (int attempt = 0;; ++attempt) {
        if (attempt == kMaxAttempts || SenseModePage(command, kPageCapabilities, answer) != 0 ||
            BlockDescriptorBytes(answer) != 0) {
            throw failure;
        }
        needed = WholeAnswerBytes(answer);
        if (answer.size() >= needed) {
            break;
        }
        answer.resize(needed);
    }
    const auto page =
        std::span<const uint8_t>(answer).subspan(kModeHeaderBytes, needed - kModeHeaderBytes);
    if (page.size() < kPageDescriptors) {
        throw failure;
    }
    const size_t count = std::min<size_t>(LoadBe16(&page[kPageDescriptorCount]),
                                          (page.size() - kPageDescriptors) / kPageDescriptorBytes);
    std::vector<double> speeds;
    for (size_t index = 0; index < count; ++index) {
        const auto descriptor = page.subspan(kPageDescriptors + index * kPageDescriptorBytes);
        speeds.push_back(LoadBe16(&descriptor[kPageDescriptorSpeed]) / base);
    }
    return speeds;
}

// Converts a wish in multiples of 1x to a multiple of the drive's lowest speed, which shows what
// base the drive counts in.
double ScaleWish(double factor, int32_t lowest, bool dashFamily) {
    if (lowest > 20'280) {
        return factor * 0.0625;
    }
    if (lowest > 14'872) {
        return factor / 12;
    }
    if (lowest > 9'464) {
        return factor * 0.125;
    }
    if (lowest > 6'760) {
        return factor / 6;
    }
    if (lowest > 4'056) {
        return factor * 0.25;
    }
    if (lowest > 2'704 && !dashFamily) {
        return factor / 2.4;
    }
    if (lowest >= 2'704) {
        return factor * 0.5;
    }
    return factor;
}

// The write speed descriptor nearest to a wish; the first of two equally near ones.
std::span<const uint8_t> NearestDescriptor(std::span<const uint8_t> answer, double factor,
                                           bool dashFamily, bool isBd) {
    int32_t lowest = INT32_MAX;
    for (size_t index = 0; index < CountIn(answer); ++index) {
        lowest = std::min(lowest, LoadSpeed(&DescriptorAt(answer, index)[kWriteSpeed]));
    }
    const double target =
        isBd ? factor * kBdBase : std::floor(lowest * ScaleWish(factor, lowest, dashFamily) + 0.5);

    std::span<const uint8_t> nearest = DescriptorAt(answer, 0);
    double nearestDistance = std::abs(LoadSpeed(&nearest[kWriteSpeed]) - target);
    for (size_t index = 1; index < CountIn(answer); ++index) {
        const std::span<const uint8_t> descriptor = DescriptorAt(answer, index);
        const double distance = std::abs(LoadSpeed(&descriptor[kWriteSpeed]) - target);
        if (distance < nearestDistance) {
            nearest = descriptor;
            nearestDistance = distance;
        }
    }
    return nearest;
}

// SET STREAMING (MMC) to the speeds of a descriptor, for the whole disc.
void SetStreaming(DvdRecording& dvd, CScsiCommand& command, std::span<const uint8_t> descriptor) {
    constexpr uint32_t kMilliseconds = 1000;
    std::array<uint8_t, 28> streaming = {};
    streaming[0] = descriptor[0];
    StoreBe32(&streaming[8], dvd.GetDvdBlocks(command) - 1);
    std::copy_n(&descriptor[kReadSpeed], 4, &streaming[12]);
    StoreBe32(&streaming[16], kMilliseconds);
    std::copy_n(&descriptor[kWriteSpeed], 4, &streaming[20]);
    StoreBe32(&streaming[24], kMilliseconds);
    command[0] = mmc::kSetStreaming;
    command[10] = streaming.size();
    if (command.Transport(Direction::WRITE, streaming.data(), streaming.size()) != 0) {
        throw Failure("drive speed change failure");
    }
}

// Page 2Ah includes the current write speed and the list of write speeds.
bool HasSpeedList(std::span<const uint8_t> page) {
    return page.size() >= kPageDescriptors && page[1] >= kPageDescriptorCount;
}

} // namespace

std::vector<double> CAspiCD::GetWriteSpeeds() {
    const double base = SpeedBase(*this);
    CScsiCommand command(*this);
    std::vector<double> speeds = SpeedsFromPerformance(command, base);
    return speeds.empty() ? SpeedsFromPage(command, base) : speeds;
}

bool CAspiCD::SetCdSpeed(uint32_t speed) {
    Cdb cdb(mmc::kSetCdSpeed);
    StoreBe16(&cdb[2], kMaximumSpeed);
    const bool isOrdinary = speed > 0 && speed < kMaximumSpeed / kCdFactor;
    StoreBe16(&cdb[4], static_cast<uint16_t>(isOrdinary ? speed * kCdFactor : kMaximumSpeed));
    return SendDirect(*this, SRB_DIR_OUT, cdb).Failed();
}

void DvdRecording::SetVelocity(int32_t kilobytesPerSecond) {
    m_nVelocity = kilobytesPerSecond;
    m_nPollDelayMs =
        m_nDriveBufferKB * 500 / static_cast<uint32_t>(std::max(m_nVelocity, kLowestDvdSpeed));
}

std::vector<uint8_t> DvdRecording::ReadPage2A(CScsiCommand& command) {
    constexpr size_t kPageBytesNeeded = 30;
    std::vector<uint8_t> answer(12);
    if (SenseModePage(command, kPageCapabilities, answer) != 0) {
        throw Failure("internal error #1001");
    }
    const size_t descriptors = BlockDescriptorBytes(answer);
    if (descriptors > 0 &&
        ModeDataBytes(answer) < kModeHeaderBytes + descriptors + kPageBytesNeeded) {
        throw Failure("internal error #1002");
    }
    const size_t length = WholeAnswerBytes(answer);
    answer.resize(length);
    if (SenseModePage(command, kPageCapabilities, answer) != 0) {
        throw Failure("internal error #1003");
    }
    if (ModeDataBytes(answer) > length) {
        StoreBe16(answer.data(), static_cast<uint16_t>(length - 2));
    }
    return answer;
}

int DvdRecording::ReadCurrentPerformance(std::span<const uint8_t> answer, CScsiCommand& command) {
    const std::optional<uint32_t> count = DescriptorCount(answer);
    if (!count || *count == 0) {
        return -1;
    }
    if (*count == 1) {
        const std::span<const uint8_t> descriptor = DescriptorAt(answer, 0);
        SetVelocity(std::max(LoadSpeed(&descriptor[kStartPerformance]),
                             LoadSpeed(&descriptor[kEndPerformance])));
        return 0;
    }
    std::vector<uint8_t> all(AnswerBytes(*count));
    if (!GetPerformance(command, kCurrentPerformance, all)) {
        throw CgrowisofsException("drive speed change problem");
    }
    for (size_t index = 0; index < *count; ++index) {
        const std::span<const uint8_t> descriptor = DescriptorAt(all, index);
        const int32_t speed = std::max(LoadSpeed(&descriptor[kStartPerformance]),
                                       LoadSpeed(&descriptor[kEndPerformance]));
        if (speed > m_nVelocity) {
            SetVelocity(speed);
        }
    }
    return 0;
}

int DvdRecording::SetDvdWriteSpeed(CScsiCommand& command, bool dashFamily,
                                   std::vector<uint8_t>* page2A) {
    bool isBroken = false;
    const std::vector<uint8_t> descriptors = ReadWriteSpeedDescriptors(command, &isBroken);
    if (isBroken) {
        throw CgrowisofsException("drive speed detection problem");
    }
    if (descriptors.empty()) {
        return -1;
    }
    int32_t aimed = 0;
    bool askPage = false; // GET PERFORMANCE does not report the current speed, or not the real one
    for (;;) {
        if (!askPage) {
            std::vector<uint8_t> current(AnswerBytes(1));
            askPage = !GetPerformance(command, kCurrentPerformance, current) ||
                      ReadCurrentPerformance(current, command) < 0;
        }
        if (askPage) {
            if (page2A == nullptr || !HasSpeedList(PageOf(*page2A))) {
                return -1;
            }
            SetVelocity(LoadBe16(&PageOf(*page2A)[kPageCurrentSpeed]));
        }

        if (m_dSpeedFactor != 0.0) {
            const std::span<const uint8_t> chosen = NearestDescriptor(
                descriptors, m_dSpeedFactor, dashFamily, TraitsOf(m_nProfile).IsBd());
            m_dSpeedFactor = 0.0;
            aimed = LoadSpeed(&chosen[kWriteSpeed]);
            if (m_nVelocity == aimed) {
                return aimed;
            }
            SetStreaming(*this, command, chosen);
            if (page2A != nullptr && !page2A->empty() &&
                SenseModePage(command, kPageCapabilities, *page2A) != 0) {
                throw CgrowisofsException("internal error #1004");
            }
            if (aimed == 0) {
                return 0;
            }
            continue; // check what the drive made of it
        }
        if (aimed == 0 || aimed == m_nVelocity) {
            return aimed;
        }
        if (askPage) {
            break;
        }
        askPage = true;
    }
    if (m_nVelocity != 0 && m_nVelocity < kLowestDvdSpeed) {
        throw CgrowisofsException("failed to change write speed");
    }
    if (m_nVelocity < aimed) {
        SetVelocity(aimed);
    }
    return aimed;
}

void DvdRecording::VelocityFromPage2A(bool dashFamily, std::span<const uint8_t> page2A) {
    const std::span<const uint8_t> page = PageOf(page2A);
    if (page.size() < kPageDescriptorCount || page[1] < kPageCurrentSpeed) {
        SetVelocity(kLowestDvdSpeed);
        if (dashFamily) {
            m_dSpeedFactor = 0.0;
        } else {
            m_nVelocity = 0;
        }
        return;
    }
    SetVelocity(LoadBe16(&page[kPageCurrentSpeed]));
    bool isCredible = m_nVelocity >= kLowestDvdSpeed;
    if (isCredible && HasSpeedList(page)) {
        const size_t count =
            std::min<size_t>(LoadBe16(&page[kPageDescriptorCount]),
                             (page.size() - kPageDescriptors) / kPageDescriptorBytes);
        for (size_t index = 0; index < count; ++index) {
            const int32_t speed = LoadBe16(
                &page[kPageDescriptors + index * kPageDescriptorBytes + kPageDescriptorSpeed]);
            isCredible = isCredible && (speed == 0 || speed >= kLowestDvdSpeed);
        }
    }
    if (!isCredible) {
        SetVelocity(kLowestDvdSpeed);
        m_nVelocity = 0;
    }
}

} // namespace larkspin
