// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "drive/transport.h"
#include "drive/srb.h"

#include <dlfcn.h>
#include <thread>
#include <utility>

namespace larkspin {

namespace {

// Requests that a library never returned; see CAspiTransport::Abandon.
std::vector<std::unique_ptr<AspiRequest>>& AbandonedRequests() {
    static std::vector<std::unique_ptr<AspiRequest>> requests;
    return requests;
}

std::string LastLoadError() {
    const char* text = ::dlerror();
    return text != nullptr ? text : "";
}

// The loader reports a missing library only as a text in the user's language, so that text is
// compared with the one for a library that certainly does not exist.
bool IsAbsent(const std::string& name, const std::string& error) {
    const std::string nowhere = "/larkspin-no-such-library";
    if (void* library = ::dlopen(nowhere.c_str(), RTLD_NOW | RTLD_LOCAL); library != nullptr) {
        ::dlclose(library);
    }
    const std::string missing = LastLoadError();
    return missing.starts_with(nowhere) && error == name + missing.substr(nowhere.size());
}

} // namespace

CAspiTransport::CAspiTransport(IScsiPort& port, IClock& clock, std::vector<std::string> libraries)
    : m_port(port), m_clock(clock), m_libraries(std::move(libraries)) {}

CAspiTransport::~CAspiTransport() {
    if (m_bUsePassThrough) {
        ReleasePassThroughDevices();
    }
    if (m_hAspiLibrary != nullptr && !m_bKeepLibrary) {
        ::dlclose(m_hAspiLibrary);
    }
}

int CAspiTransport::LoadTransport() {
    if (ProbePassThroughDevices() > 0) {
        m_bUsePassThrough = true;
        m_bLoaded = true;
    } else {
        m_bLoaded = LoadLibrary();
    }
    return m_bLoaded ? 1 : 0;
}

bool CAspiTransport::LoadLibrary() {
    for (const std::string& name : m_libraries) {
        m_hAspiLibrary = ::dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL);
        if (m_hAspiLibrary != nullptr) {
            break;
        }
        m_bLibraryUnusable = m_bLibraryUnusable || !IsAbsent(name, LastLoadError());
    }
    if (m_hAspiLibrary == nullptr) {
        return false;
    }
    m_bLibraryUnusable = false;
    m_pfnGetASPI32SupportInfo = reinterpret_cast<decltype(m_pfnGetASPI32SupportInfo)>(
        ::dlsym(m_hAspiLibrary, "GetASPI32SupportInfo"));
    m_pfnSendASPI32Command = reinterpret_cast<decltype(m_pfnSendASPI32Command)>(
        ::dlsym(m_hAspiLibrary, "SendASPI32Command"));
    if (m_pfnGetASPI32SupportInfo != nullptr && m_pfnSendASPI32Command != nullptr) {
        return true;
    }
    ::dlclose(m_hAspiLibrary);
    m_hAspiLibrary = nullptr;
    m_bLibraryUnusable = true;
    return false;
}

uint8_t CAspiTransport::SendSrb(SrbHeader* srb) {
    if (m_bUsePassThrough) {
        return PassThroughCommand(srb);
    }
    return static_cast<uint8_t>(m_pfnSendASPI32Command(srb));
}

bool CAspiTransport::AwaitSrb(SrbHeader& srb, uint64_t milliseconds) {
    // Most commands end within microseconds; the long ones should not keep the processor busy.
    constexpr int kYields = 64;
    const uint64_t start = m_clock.TickMs();
    for (int round = 0; SrbStatusOf(srb) == SS_PENDING; ++round) {
        if (m_clock.TickMs() - start >= milliseconds) {
            return false;
        }
        if (round < kYields) {
            std::this_thread::yield();
        } else {
            m_clock.Sleep(std::chrono::milliseconds(1));
        }
    }
    return true;
}

bool CAspiTransport::CountsResidual(uint8_t adapter) {
    if (m_bUsePassThrough) {
        return true;
    }
    const auto [entry, isNew] = m_countsResidual.try_emplace(adapter, false);
    if (isNew) {
        constexpr size_t kUniqueFeatures = 2;
        constexpr uint8_t kResidualReported = 0x02;
        SRB_HAInquiry srb;
        srb.Header.SRB_Cmd = SC_HA_INQUIRY;
        srb.Header.SRB_HaId = adapter;
        entry->second = SendSrb(&srb.Header) == SS_COMP &&
                        (srb.HA_Unique[kUniqueFeatures] & kResidualReported) != 0;
    }
    return entry->second;
}

void CAspiTransport::Abandon(std::unique_ptr<AspiRequest> request) {
    AbandonedRequests().push_back(std::move(request));
    m_bKeepLibrary = true;
}

uint32_t CAspiTransport::SupportInfo() {
    if (!m_bUsePassThrough) {
        return m_pfnGetASPI32SupportInfo();
    }
    return m_byAdapterCount > 0 ? (1u << 8) | m_byAdapterCount : uint32_t{SS_NO_ADAPTERS} << 8;
}

} // namespace larkspin
