// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Everything that the engine and the windows' process send to each other.
//
// To add an operation: a name in OpId and a line in `op`, a method in RemoteUi that tells or asks
// it, and a line in UiHost that handles it (the other way round for what the windows send). A new
// record needs a Fields, a new enumeration an IsKnown; forgetting a member or a value there is a
// compilation error.
#pragma once

#include "link/link.h"
#include "ui/ccdwriter_ui.h"
#include "ui/main_view.h"
#include "ui/models.h"

#include <cstdint>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

namespace larkspin {

// --- values ---

inline bool IsKnown(JobKind kind) {
    switch (kind) {
    case JobKind::Data:
    case JobKind::Audio:
    case JobKind::Image:
    case JobKind::Erase:
    case JobKind::Verify:
        return true;
    }
    return false;
}

inline bool IsKnown(EraseMode mode) {
    switch (mode) {
    case EraseMode::Quick:
    case EraseMode::Full:
    case EraseMode::Cancelled:
        return true;
    }
    return false;
}

inline bool IsKnown(BoxButtons buttons) {
    switch (buttons) {
    case BoxButtons::Ok:
    case BoxButtons::OkCancel:
    case BoxButtons::YesNo:
    case BoxButtons::YesNoGuarded:
        return true;
    }
    return false;
}

inline bool IsKnown(BoxIcon icon) {
    switch (icon) {
    case BoxIcon::None:
    case BoxIcon::Question:
    case BoxIcon::Stop:
        return true;
    }
    return false;
}

inline bool IsKnown(BalloonIcon icon) {
    switch (icon) {
    case BalloonIcon::None:
    case BalloonIcon::Information:
    case BalloonIcon::Warning:
    case BalloonIcon::Error:
        return true;
    }
    return false;
}

inline auto Fields(DataParametersResult& record) {
    auto& [cancelled, drive, speed, title, verify] = record;
    return std::tie(cancelled, drive, speed, title, verify);
}

inline auto Fields(CopyParametersResult& record) {
    auto& [cancelled, drive, speed, copies, verify] = record;
    return std::tie(cancelled, drive, speed, copies, verify);
}

inline auto Fields(EraseTypeResult& record) {
    auto& [mode, speed] = record;
    return std::tie(mode, speed);
}

inline auto Fields(IdleMenuState& record) {
    auto& [queueHasItems, allAudio, drives] = record;
    return std::tie(queueHasItems, allAudio, drives);
}

inline auto Fields(QueueState& record) {
    auto& [version, allAudio, total, discs] = record;
    return std::tie(version, allAudio, total, discs);
}

// A drive's names as shown in the dialogs.
struct DriveNames {
    std::u16string strName;
    std::u16string strLabel;
};

inline auto Fields(DriveNames& record) {
    auto& [name, label] = record;
    return std::tie(name, label);
}

// --- operations ---

enum class OpId : uint16_t {
    OpenDisplay,
    ShowStopBox,
    OpenWindows,
    Quit,
    ShowDataParameters,
    ShowAudioParameters,
    ShowImageParameters,
    ShowEraseType,
    AskUser,
    StartProgress,
    StopProgress,
    ShowProgress,
    PushJobTrayCallbacks,
    PopJobTrayCallbacks,
    StartTrayAnimation,
    StopTrayAnimation,
    SetNoProgressReport,
    HideQueueDialog,
    ShowBalloon,
    StartClickTimer,
    KillClickTimer,
    AfterPainting,
    IdleMenu,
    ShowQueueEditor,
    CancelQuestions,
    ShowErrorBox,

    Cancelled,
    TrayLeftClick,
    AskIdleMenu,
    MenuChoice,
    PathDropped,
    ClickTick,
    Painted,
    DesktopQuits,
    DriveNames,
    WriteSpeeds,
    QueuePaths,
    QueueRemove,
    QueueMove,
    QueueState,
    QueueHeader,
    StoreHasKey,
    StoreCreateKey,
    StoreReadNumber,
    StoreReadText,
    StoreWriteNumber,
    StoreWriteText,
};

namespace op {

using Text = std::u16string;
using Texts = std::vector<std::u16string>;
using Key = std::string; // a key path or a value's name in the settings store

// Engine to windows: the life of the windows.
inline constexpr Op<bool()> kOpenDisplay{OpId::OpenDisplay}; // answers true, or not at all
inline constexpr Op<bool(Text text, Text title)> kShowStopBox{OpId::ShowStopBox}; // when closed
inline constexpr Op<std::optional<std::string>()> kOpenWindows{
    OpId::OpenWindows}; // answers the text of a failure
inline constexpr Op<void()> kQuit{OpId::Quit};

// CCDWriterUI. Cancel flags and percentages are known to the engine itself.
inline constexpr Op<DataParametersResult(Text header, bool verify)> kShowDataParameters{
    OpId::ShowDataParameters};
inline constexpr Op<CopyParametersResult(Text header, bool verify)> kShowAudioParameters{
    OpId::ShowAudioParameters};
inline constexpr Op<CopyParametersResult(Text header, bool verify)> kShowImageParameters{
    OpId::ShowImageParameters};
inline constexpr Op<EraseTypeResult(std::vector<double> speeds)> kShowEraseType{
    OpId::ShowEraseType};
inline constexpr Op<bool(Text text, Text title, BoxButtons, BoxIcon)> kAskUser{OpId::AskUser};
inline constexpr Op<void(JobKind, uint32_t diskType)> kStartProgress{OpId::StartProgress};
inline constexpr Op<void(JobKind)> kStopProgress{OpId::StopProgress};
inline constexpr Op<void(JobKind, Text status, uint64_t bytes, int percent)> kShowProgress{
    OpId::ShowProgress};
inline constexpr Op<void(JobKind)> kPushJobTrayCallbacks{OpId::PushJobTrayCallbacks};
inline constexpr Op<void()> kPopJobTrayCallbacks{OpId::PopJobTrayCallbacks};
inline constexpr Op<void()> kStartTrayAnimation{OpId::StartTrayAnimation};
inline constexpr Op<void()> kStopTrayAnimation{OpId::StopTrayAnimation};
inline constexpr Op<void(bool)> kSetNoProgressReport{OpId::SetNoProgressReport};
inline constexpr Op<void()> kHideQueueDialog{OpId::HideQueueDialog};

// IMainView. Numbers say which run of the timer, or which request, a tick belongs to.
inline constexpr Op<void(Text text, Text title, BalloonIcon, uint32_t timeoutMs)> kShowBalloon{
    OpId::ShowBalloon};
inline constexpr Op<void(uint32_t ms, uint32_t number)> kStartClickTimer{OpId::StartClickTimer};
inline constexpr Op<void()> kKillClickTimer{OpId::KillClickTimer};
inline constexpr Op<void(uint32_t number)> kAfterPainting{OpId::AfterPainting};
inline constexpr Op<void(std::optional<IdleMenuState>)> kIdleMenu{OpId::IdleMenu};
inline constexpr Op<void()> kShowQueueEditor{OpId::ShowQueueEditor};
inline constexpr Op<void()> kCancelQuestions{OpId::CancelQuestions};
inline constexpr Op<void(Text text, Text title)> kShowErrorBox{OpId::ShowErrorBox};

// Windows to engine: what the user did.
inline constexpr Op<void(JobKind, uint32_t run)> kCancelled{OpId::Cancelled};
inline constexpr Op<void(uint32_t doubleClickMs)> kTrayLeftClick{OpId::TrayLeftClick};
inline constexpr Op<void()> kAskIdleMenu{OpId::AskIdleMenu}; // the reply is told: kIdleMenu
inline constexpr Op<void(uint32_t command)> kMenuChoice{OpId::MenuChoice};
inline constexpr Op<void(Text path)> kPathDropped{OpId::PathDropped};
inline constexpr Op<void(uint32_t number)> kClickTick{OpId::ClickTick};
inline constexpr Op<void(uint32_t number)> kPainted{OpId::Painted};
inline constexpr Op<void()> kDesktopQuits{OpId::DesktopQuits}; // the session is ending

// IDriveCatalog, IQueueModel and ISettingsStore.
inline constexpr Op<std::vector<DriveNames>()> kDriveNames{OpId::DriveNames};
inline constexpr Op<std::vector<double>(uint32_t drive)> kWriteSpeeds{OpId::WriteSpeeds};
inline constexpr Op<Texts()> kQueuePaths{OpId::QueuePaths};
inline constexpr Op<bool(Texts paths)> kQueueRemove{OpId::QueueRemove};
inline constexpr Op<bool(Texts paths, Text before)> kQueueMove{OpId::QueueMove};
inline constexpr Op<QueueState(bool)> kQueueState{OpId::QueueState};
inline constexpr Op<std::optional<Text>(JobKind)> kQueueHeader{OpId::QueueHeader};
inline constexpr Op<bool(Key key)> kStoreHasKey{OpId::StoreHasKey};
inline constexpr Op<bool(Key key)> kStoreCreateKey{OpId::StoreCreateKey};
inline constexpr Op<std::optional<uint32_t>(Key key, Key name)> kStoreReadNumber{
    OpId::StoreReadNumber};
inline constexpr Op<std::optional<Text>(Key key, Key name)> kStoreReadText{OpId::StoreReadText};
inline constexpr Op<bool(Key key, Key name, uint32_t value)> kStoreWriteNumber{
    OpId::StoreWriteNumber};
inline constexpr Op<bool(Key key, Key name, Text value)> kStoreWriteText{OpId::StoreWriteText};

} // namespace op

} // namespace larkspin
