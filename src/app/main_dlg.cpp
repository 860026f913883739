// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "app/main_dlg.h"
#include "platform/text.h"

#include <algorithm>

namespace larkspin {

namespace {

constexpr int32_t kStarted = 0;
constexpr int32_t kNotStarted = -1;
constexpr int32_t kDone = 1;
constexpr int32_t kGone = 0;
constexpr int32_t kNo = 1; // the queue is empty; no job runs
constexpr int32_t kYes = 2;

constexpr uint32_t kLongestClickMs = 500;

constexpr const char16_t* kErrorBoxTitle = u"Larkspin";
constexpr const char16_t* kFirstFiles =
    u"You have added first files to writing queue.\n\n"
    u"To add more files to queue use the file manager's right-click menu.\n"
    u"To start writing Data CD quickly double-click this icon.";
constexpr uint32_t kFirstFilesTimeMs = 5000;
constexpr const char16_t* kWhichDrive =
    u"There is more than one drive. Please choose one in the menu of Larkspin's icon.";
constexpr uint32_t kCalculatingTimeMs = 60000;
constexpr uint32_t kRefusedTimeMs = 20000;
constexpr uint32_t kSummaryTimeMs = 20000;

VerifyWish WishOf(uint32_t argument) {
    const auto wish = static_cast<VerifyWish>(argument);
    return wish == VerifyWish::Yes || wish == VerifyWish::No ? wish : VerifyWish::AsSet;
}

} // namespace

CMainDlg::CMainDlg(CCDWriter& writer, DriveCatalog& drives, IMainView& view)
    : m_writer(writer), m_drives(drives), m_view(view) {}

int32_t CMainDlg::ProcessMessage(uint32_t message, uint32_t argument, const std::u16string& path) {
    switch (message) {
    case WM_INITDIALOG:
        m_bQueueTakenOver = false;
        TellRefusedDrives();
        return kDone;
    case WM_COPYDATA:
        if (argument == COPYDATA_PATH_TAG) {
            m_strStagedPath = path.substr(0, path.find(u'\0'));
        }
        return kDone;
    case UM_QUIT:
        Quit(0);
        return kDone;
    case UM_QUERY_QUEUE:
        return m_writer.IsQueueEmpty() ? kNo : kYes;
    case UM_QUERY_BUSY:
        return m_writer.IsBusy() ? kYes : kNo;
    case UM_ADD_PATH:
        return AddPath();
    case UM_WRITE_DATA:
    case UM_WRITE_DATA_TOO:
        return WriteDataDisk(WishOf(argument));
    case UM_WRITE_AUDIO:
        return WriteAudioDisk(WishOf(argument));
    case UM_BURN_IMAGE:
        return BurnImageFile(WishOf(argument));
    case UM_ERASE_DISK:
        return EraseDiskInDrive();
    case UM_TAKE_OVER_QUEUE:
        return TakeOverQueue();
    case WM_TIMER:
        if (m_bClickPending) {
            ShowQueueSummary();
        }
        return 0;
    case WM_COMMAND:
        return Command(argument);
    default:
        return 0;
    }
}

int32_t CMainDlg::Command(uint32_t command) {
    switch (command) {
    case CMD_OK:
    case CMD_CANCEL:
        return Quit(static_cast<int32_t>(command));
    case CMD_EXIT:
        return Quit(0);
    case CMD_WRITE_DATA:
        WriteDataDisk();
        break;
    case CMD_WRITE_AUDIO:
        WriteAudioDisk();
        break;
    case CMD_EDIT_QUEUE:
        m_view.ShowQueueEditor();
        break;
    case CMD_CLEAR_QUEUE:
        m_writer.ClearQueue();
        break;
    default:
        if (const uint32_t drive = command - CMD_ERASE_FIRST_DRIVE; drive < m_menuDrives.size()) {
            EraseDisk(m_menuDrives[drive]);
        } else if (const uint32_t other = command - CMD_VERIFY_FIRST_DRIVE;
                   other < m_menuDrives.size()) {
            VerifyDisk(m_menuDrives[other]);
        }
        break;
    }
    return 0;
}

int32_t CMainDlg::Quit(int32_t code) {
    if (!m_nQuitCode) {
        m_nQuitCode = code;
    }
    if (m_writer.BeginQuit()) {
        m_view.Quit(*m_nQuitCode);
    } else {
        m_view.CancelQuestions();
    }
    return 0;
}

int32_t CMainDlg::AddPath() {
    if (!m_writer.AddPath(m_strStagedPath)) {
        return kGone;
    }
    if (!m_bQueueTakenOver && !m_bFirstFilesNoticeShown) {
        m_view.ShowBalloon(kFirstFiles, kBoxTitle, BalloonIcon::Information, kFirstFilesTimeMs);
        m_bFirstFilesNoticeShown = true;
    }
    return kDone;
}

int32_t CMainDlg::TakeOverQueue() {
    m_writer.TakeOverQueue();
    m_bQueueTakenOver = true;
    return kDone;
}

void CMainDlg::TellRefusedDrives() {
    const std::u16string text = m_drives.RefusedText();
    if (!text.empty() && text != m_strRefusedTold) {
        m_view.ShowBalloon(text, kBoxTitle, BalloonIcon::Warning, kRefusedTimeMs);
    }
    m_strRefusedTold = text;
}

// False, after telling the user, if there is no drive. A running job has the drives to itself.
bool CMainDlg::LookForDrives() {
    if (m_writer.IsBusy()) {
        return true;
    }
    m_drives.LookAgain();
    if (m_drives.Count() == 0) {
        m_view.ShowErrorBox(m_drives.NoDriveText(), kBoxTitle);
        return false;
    }
    TellRefusedDrives();
    return true;
}

template <typename Start>
int32_t CMainDlg::Guarded(Start start) {
    if (!LookForDrives()) {
        return kNotStarted;
    }
    try {
        start();
        return kStarted;
    } catch (const CCDWriterError& error) {
        m_view.ShowErrorBox(ToWide(error.what()), kErrorBoxTitle);
        return kNotStarted;
    }
}

int32_t CMainDlg::WriteDataDisk(VerifyWish verify) {
    if (m_writer.IsQueueEmpty()) {
        return kNotStarted;
    }
    return Guarded([&] { m_writer.StartDataWrite(verify); });
}

int32_t CMainDlg::WriteAudioDisk(VerifyWish verify) {
    if (m_writer.IsQueueEmpty()) {
        return kNotStarted;
    }
    return Guarded([&] { m_writer.StartAudioWrite(verify); });
}

int32_t CMainDlg::BurnImageFile(VerifyWish verify) {
    if (m_strStagedPath.empty()) {
        return kNotStarted;
    }
    return Guarded([&] { m_writer.StartImageBurn(m_strStagedPath, verify); });
}

int32_t CMainDlg::EraseDiskInDrive() {
    const char16_t letter = m_strStagedPath.empty() ? u'\0' : m_strStagedPath.front();
    m_strStagedPath.clear();
    if (!m_writer.IsBusy()) {
        m_drives.LookAgain();
    }
    const std::optional<uint32_t> index = m_drives.FindLetter(letter);
    if (!index) {
        return kNotStarted;
    }
    return Guarded([&] { m_writer.StartErase(*index); });
}

// The letter of the drive with that name, 0 if there is none; nothing, after telling the user, if a
// name is needed.
std::optional<char16_t> CMainDlg::ChooseDrive(std::u16string_view drive) {
    if (!m_writer.IsBusy()) {
        m_drives.LookAgain(); // it may just have been plugged in
    }
    if (drive.empty() && m_drives.Count() > 1) {
        m_view.ShowErrorBox(kWhichDrive, kBoxTitle);
        return std::nullopt;
    }
    return m_drives.LetterOf(drive.empty() && m_drives.Count() == 1 ? m_drives.Label(0)
                                                                    : std::u16string(drive));
}

int32_t CMainDlg::EraseDisk(std::u16string_view drive) {
    const std::optional<char16_t> letter = ChooseDrive(drive);
    if (!letter) {
        return kNotStarted;
    }
    m_strStagedPath = *letter != 0 ? std::u16string(1, *letter) : std::u16string();
    return EraseDiskInDrive();
}

int32_t CMainDlg::VerifyDisk(std::u16string_view drive) {
    const std::optional<char16_t> letter = ChooseDrive(drive);
    const std::optional<uint32_t> index = letter ? m_drives.FindLetter(*letter) : std::nullopt;
    return index ? Guarded([&] { m_writer.StartVerify(*index); }) : kNotStarted;
}

void CMainDlg::OnTrayLeftClick() {
    if (m_bClickPending) {
        m_bClickPending = false;
        m_view.KillClickTimer();
        WriteDataDisk();
        return;
    }
    m_bClickPending = true;
    m_view.StartClickTimer(std::min(kLongestClickMs, m_view.DoubleClickTimeMs()),
                           [this] { ProcessMessage(WM_TIMER); });
}

void CMainDlg::ShowQueueSummary() {
    m_bClickPending = false;
    m_view.KillClickTimer();
    m_view.ShowBalloon(kCalculating, u"", BalloonIcon::None, kCalculatingTimeMs);
    TellSummaryWhenMeasured();
}

// Polls, because nothing here may wait for a disk.
void CMainDlg::TellSummaryWhenMeasured() {
    m_view.AfterPainting([this] {
        if (const std::optional<std::u16string> text = m_writer.QueueSummaryText()) {
            m_view.ShowBalloon(*text, u"Queue files...", BalloonIcon::Information, kSummaryTimeMs);
        } else {
            TellSummaryWhenMeasured();
        }
    });
}

void CMainDlg::OnTrayRightClick() {
    if (m_writer.IsBusy()) {
        return;
    }
    IdleMenuState state;
    state.bQueueHasItems = !m_writer.IsQueueEmpty();
    state.bAllAudio = m_writer.IsAllAudio();
    for (size_t drive = 0; drive < m_drives.Count(); ++drive) {
        state.drives.push_back(m_drives.Label(drive));
    }
    m_menuDrives = state.drives;
    m_view.TrackIdleMenu(state, [this](uint32_t command) { ProcessMessage(WM_COMMAND, command); });
}

} // namespace larkspin
