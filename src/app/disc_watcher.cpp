// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "app/disc_watcher.h"
#include "drive/drive_list.h"
#include "drive/profiles.h"
#include "jobs/capacity_marks.h"
#include "platform/insist.h"
#include "platform/text.h"

#include <memory>
#include <utility>

namespace larkspin {

namespace {

constexpr int kMostTries = 3;
constexpr uint64_t kStaleMs = 15'000;
constexpr int64_t kAudioBlock = 2352;
constexpr int64_t kSecondsPerMinute = 60;

// Passes commands on only while no job runs, one at a time.
class YieldingDevice final : public IPortDevice {
  public:
    YieldingDevice(std::unique_ptr<IPortDevice> device, std::mutex& turn,
                   const std::function<bool()>& isFree)
        : m_device(std::move(device)), m_turn(turn), m_isFree(isFree) {}

    PortCompletion Execute(const PortRequest& request) override {
        const std::lock_guard turn(m_turn);
        if (m_isFree()) {
            return m_device->Execute(request);
        }
        PortCompletion refused;
        refused.error = PortError::AccessDenied;
        return refused;
    }
    PortError Address(PortAddress* address) override { return m_device->Address(address); }

  private:
    std::unique_ptr<IPortDevice> m_device;
    std::mutex& m_turn;
    const std::function<bool()>& m_isFree;
};

// A single drive of another port, for reading only.
class GlancePort final : public IScsiPort {
  public:
    GlancePort(IScsiPort& port, int letterIndex, std::mutex& turn,
               const std::function<bool()>& isFree)
        : m_port(port), m_nLetterIndex(letterIndex), m_turn(turn), m_isFree(isFree) {}

    bool IsOpticalDrive(int letterIndex) override { return letterIndex == m_nLetterIndex; }
    std::u16string DisplayName(int letterIndex) override { return m_port.DisplayName(letterIndex); }
    std::unique_ptr<IPortDevice> Open(int letterIndex, bool writeAccess) override {
        const std::lock_guard turn(m_turn);
        std::unique_ptr<IPortDevice> device =
            !writeAccess && m_isFree() ? m_port.Open(letterIndex, false) : nullptr;
        return device == nullptr
                   ? nullptr
                   : std::make_unique<YieldingDevice>(std::move(device), m_turn, m_isFree);
    }
    LockResult LockAndDismount(int /*letterIndex*/) override {
        return {LockResult::State::NotOffered, {}};
    }
    void Unlock(int /*letterIndex*/) override {}

  private:
    IScsiPort& m_port;
    const int m_nLetterIndex;
    std::mutex& m_turn;
    const std::function<bool()>& m_isFree;
};

std::u16string TimeText(int64_t audioBytes) {
    const int64_t seconds = audioBytes / kPcmBytesPerSecond;
    return FormatWide("%lld:%02lld", static_cast<long long>(seconds / kSecondsPerMinute),
                      static_cast<long long>(seconds % kSecondsPerMinute));
}

std::u16string RoomText(const DiscGlance& glance, bool isAudioShown) {
    switch (glance.state) {
    case DiscGlance::State::Unclear:
        return {};
    case DiscGlance::State::Closed:
        return glance.erasable ? u", to be erased before it is written" : u", cannot be written";
    case DiscGlance::State::InPlace:
        return glance.blocks > 0 ? u", " + FormatSize(glance.blocks * kLogicalBlockBytes) : u"";
    case DiscGlance::State::Writable:
        break;
    }
    if (!glance.freeBlocks) {
        return {};
    }
    const std::u16string room =
        u", " + FormatSize(*glance.freeBlocks * kLogicalBlockBytes) + u" free";
    return isAudioShown ? room + u" (" + TimeText(*glance.freeBlocks * kAudioBlock) + u" of audio)"
                        : room;
}

// Whether the queue is certainly too large for the whole disc. The size of an appended session is
// not known in advance, as unchanged files are kept.
std::u16string ExcessText(const DiscGlance& glance, const QueueNeeds& needs, bool isAudioShown) {
    std::u16string text;
    if (glance.blocks <= 0) {
        return text;
    }
    const int64_t excess =
        static_cast<int64_t>(needs.bytes.value_or(0)) - glance.blocks * kLogicalBlockBytes;
    if (excess > 0) {
        text += u"\nThe queue does not fit: " + FormatSize(excess) + u" too much";
    }
    const int64_t audioExcess = int64_t{needs.audioBytes.value_or(0)} - glance.blocks * kAudioBlock;
    if (isAudioShown && audioExcess > 0) {
        text += u"\nAs an audio CD it is " + TimeText(audioExcess) + u" too long";
    }
    return text;
}

} // namespace

std::u16string DiscsText(const std::vector<SeenDisc>& discs, const QueueNeeds& needs) {
    std::u16string text;
    for (const auto& [drive, glance] : discs) {
        const bool isBlank = glance.freeBlocks == glance.blocks;
        const bool isAudioShown =
            needs.audioBytes && TraitsOf(glance.profile).speed == SpeedUnit::Cd && isBlank;
        const std::u16string type =
            glance.profile != kUnknownProfile ? DiskTypeName(glance.profile) : std::u16string();
        const std::u16string room = RoomText(glance, isAudioShown);
        if (type.empty() && room.empty()) {
            continue;
        }
        text += (text.empty() ? u"Disc in " : u"\nDisc in ") + drive + u": " +
                (type.empty() ? room.substr(2) : type + room) +
                ExcessText(glance, needs, isAudioShown);
    }
    return text;
}

DiscWatcher::DiscWatcher(IClock& clock, std::function<bool()> isFree,
                         std::chrono::milliseconds pause)
    : m_clock(clock), m_isFree(std::move(isFree)), m_pause(pause) {}

void DiscWatcher::Start(IScsiPort* port) {
    m_pPort = port;
    if (port != nullptr) {
        m_hWatcherThread =
            std::jthread([this](const std::stop_token& stop) { WatcherThread(stop); });
    }
}

std::vector<SeenDisc> DiscWatcher::Discs() {
    m_wanted.Set();
    if (!m_isFree()) {
        return {};
    }
    const std::lock_guard lock(m_mutex);
    return m_clock.TickMs() - m_nSeenAt < kStaleMs ? m_discs : std::vector<SeenDisc>();
}

void DiscWatcher::StandBack() {
    { const std::lock_guard turn(m_turn); }
    const std::lock_guard lock(m_mutex);
    m_bOutdated = true;
    m_discs.clear();
}

void DiscWatcher::Stop() {
    m_hWatcherThread.request_stop();
    m_hStopped.Set();
    m_wanted.Set();
    if (m_hWatcherThread.joinable()) {
        m_hWatcherThread.join();
    }
}

void DiscWatcher::WatcherThread(const std::stop_token& stop) {
    while (!stop.stop_requested()) {
        m_wanted.Lock();
        Insist([&] { LookAround(stop); });
        m_hStopped.Lock(m_pause);
    }
}

void DiscWatcher::LookAround(const std::stop_token& stop) {
    {
        const std::lock_guard lock(m_mutex);
        if (std::exchange(m_bOutdated, false)) {
            m_known.clear();
        }
    }
    std::vector<SeenDisc> discs;
    for (int letter = kFirstLetterIndex; letter <= kLastLetterIndex; ++letter) {
        if (stop.stop_requested() || !m_isFree()) {
            return;
        }
        // What another program does to a disc is unknown.
        if (!m_pPort->IsOpticalDrive(letter) || m_pPort->IsInUse(letter)) {
            m_known.erase(letter);
            continue;
        }
        LookInto(letter);
        if (const auto known = m_known.find(letter);
            known != m_known.end() && known->second.glance) {
            discs.push_back({m_pPort->DisplayName(letter), *known->second.glance});
        }
    }
    const std::lock_guard lock(m_mutex);
    if (m_bOutdated || !m_isFree()) {
        return;
    }
    m_discs = std::move(discs);
    m_nSeenAt = m_clock.TickMs();
}

void DiscWatcher::LookInto(int letterIndex) {
    GlancePort port(*m_pPort, letterIndex, m_turn, m_isFree);
    DriveList drives;
    if (drives.ScanDrives(port, m_clock, {}) != DriveList::ScanResult::Found) {
        m_known.erase(letterIndex);
        return;
    }
    CAspiCD& drive = drives.At(0);
    const CAspiCD::DiscPresence presence = drive.AskForDisc();
    if (presence != CAspiCD::DiscPresence::Unmoved) {
        m_known.erase(letterIndex);
    }
    if (presence == CAspiCD::DiscPresence::None) {
        return;
    }
    Known& known = m_known[letterIndex];
    if (!known.glance && known.tries < kMostTries) {
        ++known.tries;
        known.glance = drive.GlanceAtDisc();
    }
}

} // namespace larkspin
