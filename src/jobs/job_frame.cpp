// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "jobs/job_frame.h"
#include "drive/profiles.h"
#include "jobs/prompts.h"
#include "platform/insist.h"
#include "platform/text.h"

#include <algorithm>
#include <limits>
#include <new>
#include <stdexcept>

namespace larkspin {

namespace {

constexpr int32_t kMostCopies = 20;
constexpr size_t kMostNotices = 10;
constexpr uint64_t kStatusMs = 100;

} // namespace

JobEnd RunJob(JobEnv& env, const std::function<JobEnd()>& body) {
    // The jobs catch what they expect. Anything else must not take the process down with a disc
    // half written; the guards have unlocked the door and joined the threads by now.
    try {
        env.host.LoadSettings();
        env.ui.HideQueueDialog();
        return body();
    } catch (const std::bad_alloc&) {
        Insist([&] { env.ui.ShowMessage(kOutOfMemory); });
    } catch (const CAspiCD::CgrowisofsException& failure) {
        Insist([&] { env.ui.ShowMessage(StoppedText(failure)); });
    } catch (const std::exception& failure) {
        Insist([&] { env.ui.ShowMessage(ToWide(failure.what())); });
    }
    return JobEnd::Exit;
}

JobEnd EndOfCancelledDialog(JobHost& host) {
    if (!host.IsQueueExclusive()) {
        return JobEnd::Idle;
    }
    host.TakePaths();
    return JobEnd::Exit;
}

CAspiCD* FindDrive(JobEnv& env, uint32_t index) {
    try {
        return &env.drives.At(index);
    } catch (const std::out_of_range&) {
        return nullptr;
    }
}

bool HasDvdWay(CAspiCD& drive) {
    return TraitsOf(drive.GetCurrentProfile()).hasDvdWay;
}

CancelFunctor CancelOf(JobEnv& env, CAspiCD& drive, JobKind kind) {
    return CancelFunctor([&env, &drive, kind] {
        return env.ui.IsCancelled(kind) || (!drive.IsDiscTouched() && env.host.IsLeaving());
    });
}

uint32_t DiskTypeOf(CAspiCD& drive) {
    return drive.HasCurrentProfile() ? drive.GetCurrentProfile() : CdTypeOf(drive);
}

uint32_t CdTypeOf(CAspiCD& drive) {
    return drive.IsDiskErasable() ? kProfileCdRw : kProfileCdR;
}

uint32_t WholeSpeed(double speed) {
    return speed > 0.0 ? static_cast<uint32_t>(speed) : 0;
}

uint32_t HeldCopies(uint32_t typed) {
    return static_cast<uint32_t>(std::clamp(static_cast<int32_t>(typed), 1, kMostCopies));
}

int32_t HeldSectors(uint64_t sectors) {
    return static_cast<int32_t>(std::min<uint64_t>(sectors, std::numeric_limits<int32_t>::max()));
}

const char16_t* NotFinishedText(const CAspiCD& drive) {
    if (drive.IsCacheLost()) {
        return UnlessGivenUp(drive, kCacheLost);
    }
    const bool isClosed = TraitsOf(drive.GetDvdFacts().profile).HasNothingToClose();
    return UnlessGivenUp(drive, isClosed ? kNotStopped : kSessionNotClosed);
}

const char16_t* NoLeadOutText(const CAspiCD& drive) {
    return UnlessGivenUp(drive, drive.IsCacheLost() ? kCacheLost : kLeadOutFailed);
}

std::u16string StoppedText(const CAspiCD::CgrowisofsException& failure) {
    return FormatWide("Stopped: %s", failure.what());
}

void ShowClosingNotices(CCDWriterUI& ui, const std::vector<std::u16string>& notices) {
    if (notices.empty()) {
        return;
    }
    std::u16string text;
    const size_t shown = std::min(notices.size(), kMostNotices);
    for (size_t i = 0; i < shown; ++i) {
        text += (i > 0 ? u"\n" : u"") + notices[i];
    }
    if (notices.size() > shown) {
        text += FormatWide("\n...and %zu more.", notices.size() - shown);
    }
    ui.ShowMessage(text);
}

ProgressScope::ProgressScope(JobEnv& env, JobKind kind, uint32_t diskType)
    : m_ui(env.ui), m_kind(kind) {
    m_ui.StartProgress(kind, kind == JobKind::Verify ? kNothingAtStake : diskType);
    m_callbacks.emplace(m_ui, kind);
    m_ui.StartTrayAnimation();
}

void ProgressScope::End() {
    if (!m_callbacks) {
        return;
    }
    m_ui.StopTrayAnimation();
    m_callbacks.reset();
    m_ui.StopProgress(m_kind);
}

LateProgress::LateProgress(JobEnv& env, JobKind kind, uint64_t silentMs)
    : m_env(env), m_kind(kind), m_nSilentMs(silentMs) {}

bool LateProgress::Continue(const std::function<std::u16string()>& status) {
    const uint64_t now = m_env.clock.TickMs();
    if (!m_nBegun) {
        m_nBegun = now;
    }
    if (!m_progress && m_kind != JobKind::Erase && now - *m_nBegun >= m_nSilentMs) {
        m_progress.emplace(m_env, m_kind, kNothingAtStake);
    }
    if (m_progress && (!m_nShown || now - *m_nShown >= kStatusMs)) {
        m_nShown = now;
        if (std::u16string text = status(); text != m_strStatus) {
            m_strStatus = std::move(text);
            m_env.ui.SetStatus(m_kind, m_strStatus);
        }
    }
    m_bCancelled =
        m_bCancelled || (m_progress && IsGivenUp(m_env, m_kind)) || m_env.host.IsLeaving();
    return !m_bCancelled;
}

bool IsGivenUp(JobEnv& env, JobKind kind) {
    return env.ui.IsCancelled(kind) || env.host.IsLeaving();
}

bool DriveHold::Take() {
    while (!m_busy) {
        const LockResult result = m_drive.LockAndDismount();
        if (!result.Refused()) {
            m_busy.emplace(m_ui, m_drive);
        } else if (!prompts::DriveNotHeld(m_ui, result.reason)) {
            return false;
        }
    }
    return true;
}

void DriveHold::Release() {
    if (m_busy) {
        m_drive.Unlock();
        m_busy.reset();
    }
}

void DoorLock::Release() {
    if (m_pDrive != nullptr) {
        Insist([this] { m_pDrive->LockDoor(false); });
        m_pDrive = nullptr;
    }
}

ProgressFunctor DvdProgress(CCDWriterUI& ui, const CAspiCD& drive, JobKind kind) {
    return [&ui, &drive, kind](int percent) {
        const DvdFacts facts = drive.GetDvdFacts();
        ui.SetAmount(kind, static_cast<uint64_t>(facts.finalOffset - facts.startOffset));
        ui.SetProgress(kind, percent);
    };
}

} // namespace larkspin
