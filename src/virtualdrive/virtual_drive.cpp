// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "virtualdrive/virtual_drive.h"

#include "virtualdrive/drive.h"
#include "virtualdrive/medium_kinds.h"
#include "virtualdrive/sense_data.h"

#include <algorithm>
#include <mutex>
#include <span>
#include <vector>

namespace larkspin {

namespace {

// The same garbage in every run: no zeros, and no text that anybody looks for.
void FillWithGarbage(std::span<uint8_t> bytes, uint64_t number) {
    uint64_t state = number * 0x9E3779B97F4A7C15 + 1;
    for (uint8_t& byte : bytes) {
        state ^= state << 13;
        state ^= state >> 7;
        state ^= state << 17;
        byte = static_cast<uint8_t>(state >> 32);
    }
}

PortCompletion ToCompletion(const CDrive::Outcome& outcome) {
    if (!outcome.code.IsGood()) {
        return SenseCompletion(outcome.code, outcome.progress);
    }
    PortCompletion completion;
    completion.moved = outcome.moved;
    return completion;
}

class CVirtualDevice final : public IPortDevice {
  public:
    CVirtualDevice(VirtualDrive& drive, int letterIndex)
        : m_drive(drive), m_letterIndex(letterIndex) {}

    PortCompletion Execute(const PortRequest& request) override { return m_drive.Execute(request); }
    PortError Address(PortAddress* address) override {
        *address = {static_cast<uint8_t>(m_letterIndex), 0, 0};
        return PortError::None;
    }

  private:
    VirtualDrive& m_drive;
    int m_letterIndex;
};

} // namespace

class VirtualDrive::Impl {
  public:
    Impl(IClock& clock, int letterIndex, std::u16string displayName)
        : m_clock(clock), m_letterIndex(letterIndex), m_displayName(std::move(displayName)),
          m_drive(clock) {}

    PortCompletion Execute(const PortRequest& request);

    IClock& m_clock;
    const int m_letterIndex;
    const std::u16string m_displayName;

    std::mutex m_mutex; // guards everything below; never held while other code runs or time passes
    CDrive m_drive;
    Script m_script;
    std::function<void(const std::string&)> m_onEject;
    uint64_t m_commandCount = 0;

  private:
    PortCompletion Answer(const PortRequest& request, uint64_t number,
                          const InjectedAnswer& answer);
    PortCompletion RunCommand(const PortRequest& request);

    std::mutex m_commandMutex; // one command at a time
};

PortCompletion VirtualDrive::Impl::Execute(const PortRequest& request) {
    const std::lock_guard commandLock(m_commandMutex);
    Script script;
    uint64_t number = 0;
    {
        const std::lock_guard lock(m_mutex);
        number = m_commandCount++;
        script = m_script;
    }
    if (script) {
        if (const std::optional<InjectedAnswer> answer = script(request, number)) {
            return Answer(request, number, *answer);
        }
    }
    return RunCommand(request);
}

PortCompletion VirtualDrive::Impl::Answer(const PortRequest& request, uint64_t number,
                                          const InjectedAnswer& answer) {
    // What goes to the host passes through a buffer of the drive's own, so that no more of it
    // arrives than the answer says.
    const bool sendsData = request.direction == PortDirection::In && request.data != nullptr;
    std::vector<uint8_t> data(sendsData ? request.length : 0);
    PortRequest inner = request;
    if (sendsData) {
        std::copy_n(static_cast<const uint8_t*>(request.data), data.size(), data.begin());
        inner.data = data.data();
    }
    PortCompletion ran;
    if (answer.runCommandFirst) {
        ran = RunCommand(inner);
    }
    const bool itFailed = ran.error != PortError::None || ran.status != 0;
    if (answer.garbageData) {
        FillWithGarbage(data, number);
    }

    PortCompletion completion = answer.unlessItFails && itFailed ? ran : answer.completion;
    constexpr uint8_t kCurrentError = 0x70;
    constexpr uint8_t kRecovered = 1;
    const bool isRecovered =
        completion.sense[0] == kCurrentError && completion.sense[2] == kRecovered;
    const bool isGood =
        completion.error == PortError::None && (completion.status == 0 || isRecovered);
    uint32_t moved = isGood && request.data != nullptr && request.direction != PortDirection::None
                         ? request.length
                         : 0;
    if (isGood && answer.runCommandFirst && !answer.garbageData) {
        moved = ran.moved;
    }
    completion.moved = std::min(answer.moved.value_or(moved), request.length);
    if (answer.resetsDrive) {
        const std::lock_guard lock(m_mutex);
        m_drive.Reset();
    }
    if (sendsData) {
        std::copy_n(data.begin(), answer.moved ? completion.moved : data.size(),
                    static_cast<uint8_t*>(request.data));
    }
    return completion;
}

PortCompletion VirtualDrive::Impl::RunCommand(const PortRequest& request) {
    CDrive::Outcome outcome;
    std::function<void(const std::string&)> onEject;
    std::string folder;
    {
        const std::lock_guard lock(m_mutex);
        outcome = m_drive.Run(CCommand(request));
        onEject = m_onEject;
        folder = m_drive.Folder();
    }
    if (outcome.ejected && onEject) {
        onEject(folder);
    }
    const uint64_t limitMs = uint64_t{request.timeoutSeconds} * 1000;
    const uint64_t waitMs = std::min(outcome.waitMs, limitMs);
    if (waitMs > 0) {
        m_clock.Sleep(std::chrono::milliseconds(waitMs));
    }
    if (outcome.waitMs > limitMs) {
        const std::lock_guard lock(m_mutex);
        m_drive.Reset();
        PortCompletion completion;
        completion.error = PortError::TimedOut;
        return completion;
    }
    return ToCompletion(outcome);
}

VirtualDrive::VirtualDrive(IClock& clock, int letterIndex, std::u16string displayName)
    : m_pImpl(std::make_unique<Impl>(clock, letterIndex, std::move(displayName))) {}

VirtualDrive::~VirtualDrive() = default;

bool VirtualDrive::CreateDisc(const std::string& folder, const std::string& kind,
                              uint32_t capacityBlocks) {
    const MediumKind* known = FindMediumKind(kind);
    if (known == nullptr) {
        return false;
    }
    DiscState state;
    state.kind = kind;
    state.capacity = capacityBlocks != 0 ? capacityBlocks : known->capacity;
    return CDiscStore::Create(folder, state);
}

bool VirtualDrive::HoldsDisc(const std::string& folder) {
    CDiscStore store;
    return store.Open(folder) && FindMediumKind(store.State().kind) != nullptr;
}

bool VirtualDrive::Insert(const std::string& folder) {
    const std::lock_guard lock(m_pImpl->m_mutex);
    return m_pImpl->m_drive.Insert(folder);
}

void VirtualDrive::Remove() {
    const std::lock_guard lock(m_pImpl->m_mutex);
    m_pImpl->m_drive.Remove();
}

bool VirtualDrive::LayOnTray(const std::string& folder) {
    const std::lock_guard lock(m_pImpl->m_mutex);
    return m_pImpl->m_drive.LayOnTray(folder);
}

bool VirtualDrive::CloseTray() {
    const std::lock_guard lock(m_pImpl->m_mutex);
    return m_pImpl->m_drive.CloseTray();
}

void VirtualDrive::Reset() {
    const std::lock_guard lock(m_pImpl->m_mutex);
    m_pImpl->m_drive.Reset();
}

bool VirtualDrive::PressEject() {
    std::function<void(const std::string&)> onEject;
    std::string folder;
    {
        const std::lock_guard lock(m_pImpl->m_mutex);
        const bool hadDisc = m_pImpl->m_drive.HasDisc();
        if (!m_pImpl->m_drive.PressEject()) {
            return false;
        }
        if (hadDisc) {
            onEject = m_pImpl->m_onEject;
        }
        folder = m_pImpl->m_drive.Folder();
    }
    if (onEject) {
        onEject(folder);
    }
    return true;
}

bool VirtualDrive::HasDisc() {
    const std::lock_guard lock(m_pImpl->m_mutex);
    return m_pImpl->m_drive.HasDisc();
}

void VirtualDrive::SetOnEject(std::function<void(const std::string& folder)> onEject) {
    const std::lock_guard lock(m_pImpl->m_mutex);
    m_pImpl->m_onEject = std::move(onEject);
}

void VirtualDrive::SetScript(Script script) {
    const std::lock_guard lock(m_pImpl->m_mutex);
    m_pImpl->m_script = std::move(script);
}

void VirtualDrive::SetSpeed(const Speed& speed) {
    const std::lock_guard lock(m_pImpl->m_mutex);
    m_pImpl->m_drive.Configure(speed);
}

bool VirtualDrive::IsDoorLocked() {
    const std::lock_guard lock(m_pImpl->m_mutex);
    return m_pImpl->m_drive.IsLocked();
}

uint64_t VirtualDrive::CommandCount() {
    const std::lock_guard lock(m_pImpl->m_mutex);
    return m_pImpl->m_commandCount;
}

bool VirtualDrive::IsOpticalDrive(int letterIndex) {
    return letterIndex == m_pImpl->m_letterIndex;
}

std::u16string VirtualDrive::DisplayName(int letterIndex) {
    return IsOpticalDrive(letterIndex) ? m_pImpl->m_displayName : std::u16string();
}

std::unique_ptr<IPortDevice> VirtualDrive::Open(int letterIndex, bool) {
    if (!IsOpticalDrive(letterIndex)) {
        return nullptr;
    }
    return std::make_unique<CVirtualDevice>(*this, letterIndex);
}

PortCompletion VirtualDrive::Execute(const PortRequest& request) {
    return m_pImpl->Execute(request);
}

} // namespace larkspin
