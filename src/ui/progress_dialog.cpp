// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/progress_dialog.h"

#include "platform/text.h"

#include <algorithm>
#include <array>

namespace larkspin {

namespace {

constexpr int kFull = 100;
constexpr const char16_t* kSure = u"Are you sure?";

// MMC profiles that can be written again after an erase: CD-RW, DVD-RAM, the two DVD-RW, DVD+RW,
// BD-RE.
constexpr std::array<uint32_t, 6> kErasableProfiles = {0x0A, 0x12, 0x13, 0x14, 0x1A, 0x43};

} // namespace

void CProgressDialog::Start(uint32_t diskType, const std::u16string& diskName, uint64_t tickMs) {
    const std::lock_guard lock(m_mutex);
    m_nDiskType = diskType;
    m_strDiskName = diskName;
    m_strStatus = m_kind == JobKind::Erase ? kEraseStatus : u"";
    m_nPercent = 0;
    m_bStepped = false;
    m_bHidden = false;
    m_bCancelled = false;
    m_nStartTick = tickMs;
    m_nBytes = 0;
    ++m_nRun;
}

void CProgressDialog::SetProgress(int percent) {
    m_nPercent = std::clamp(percent, 0, kFull);
    m_bStepped = false;
}

void CProgressDialog::StepProgress() {
    m_bStepped = true;
    m_nPercent = m_nPercent >= kFull ? 0 : m_nPercent + 1;
}

void CProgressDialog::SetStatus(const std::u16string& text) {
    if (m_kind != JobKind::Erase) {
        const std::lock_guard lock(m_mutex);
        m_strStatus = text;
    }
}

std::u16string CProgressDialog::Status() const {
    const std::lock_guard lock(m_mutex);
    return m_strStatus;
}

std::u16string CProgressDialog::CancelQuestion() const {
    if (m_kind == JobKind::Erase) {
        return kSure;
    }
    const std::lock_guard lock(m_mutex);
    return m_nDiskType == kNothingAtStake ? kSure
                                          : ConfirmCancelWriting(m_nDiskType, m_strDiskName);
}

void CProgressDialog::AnswerCancel(uint32_t run, bool yes) {
    {
        const std::lock_guard lock(m_mutex);
        if (run != m_nRun || !yes) {
            return;
        }
        m_bCancelled = true;
    }
    if (m_onCancelled) {
        m_onCancelled(run);
    }
}

CProgressDialog::TimerStep CProgressDialog::OnTimer(uint64_t tickMs) {
    m_nCounter = (m_nCounter + 1) % 2;
    if (m_nEstimatedRun != m_nRun || m_bStepped) {
        m_nEstimatedRun = m_nRun;
        m_estimate.Start();
    }
    if (!m_bStepped) {
        m_estimate.Look(m_nPercent, tickMs);
    }
    return {m_nCounter, ElapsedText(tickMs - m_nStartTick), m_estimate.Text(m_nBytes, tickMs)};
}

std::u16string ElapsedText(uint64_t elapsedMs) {
    return FormatWide("Elapsed time: %llu:%02llu",
                      static_cast<unsigned long long>(elapsedMs / 60000),
                      static_cast<unsigned long long>(elapsedMs / 1000 % 60));
}

std::u16string ConfirmCancelWriting(uint32_t diskType, const std::u16string& diskName) {
    const bool erasable = std::find(kErasableProfiles.begin(), kErasableProfiles.end(), diskType) !=
                          kErasableProfiles.end();
    return u"You are writing " + diskName +
           (erasable ? u". If you cancel you might need to erase the disk to use it further.\n\n"
                       u"Are you sure?"
                     : u". This type of disk is not erasable so you have only one shot with it!"
                       u"\n\nIf you cancel writing this disk will be wasted.\n\nAre you sure?");
}

ProgressBalloonText ProgressBalloon(JobKind kind, int percent, bool noReport) {
    ProgressBalloonText balloon = {u"", FormatWide("%d%% complete", percent)};
    switch (kind) {
    case JobKind::Data:
        balloon.szTitle = u"Writing files...";
        break;
    case JobKind::Audio:
        balloon.szTitle = u"Writing Audio CD...";
        break;
    case JobKind::Image:
        balloon.szTitle = u"Writing image...";
        break;
    case JobKind::Erase:
        balloon.szTitle = u"Erasing...";
        if (noReport) {
            balloon.strText = u"Drive doesn't report operation progress";
        }
        break;
    case JobKind::Verify:
        balloon.szTitle = u"Verifying...";
        break;
    }
    return balloon;
}

} // namespace larkspin
