// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// CMainDlg: the program's command interface, and what clicks on the tray icon do while no job runs.
// It has no window of its own; messages are identified by number. All calls on the main thread.
//
// Leaving (UM_QUIT, "Exit", commands 1 and 2) while a job runs waits for the job's end, with the
// exit code that was requested first; the message itself returns its usual result at once. A disc
// that is being written is finished, and nobody has to be there for that: questions of the job
// count as cancelled, so that a job which has not begun to write ends at once. A path that arrives
// while the program is exiting would be lost with the queue, so UM_ADD_PATH rejects it and returns
// 0, like a window that no longer exists.
#pragma once

#include "app/ccdwriter.h"
#include "app/drive_catalog.h"
#include "ui/main_view.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace larkspin {

enum MainMessage : uint32_t {
    WM_COPYDATA = 74,
    WM_INITDIALOG = 272,
    WM_COMMAND = 273,
    WM_TIMER = 275,
    UM_QUIT = 1117,
    UM_QUERY_QUEUE = 1123,
    UM_QUERY_BUSY = 1125,
    UM_ADD_PATH = 1126,
    UM_WRITE_DATA = 1127,
    UM_WRITE_DATA_TOO = 1128, // the same
    UM_WRITE_AUDIO = 1129,
    UM_BURN_IMAGE = 1130,
    UM_ERASE_DISK = 1131,
    UM_TAKE_OVER_QUEUE = 1132,
};

// The tag of a WM_COPYDATA with a path.
constexpr uint32_t COPYDATA_PATH_TAG = 0x29756;

class CMainDlg {
  public:
    // Keeps all references.
    CMainDlg(CCDWriter& writer, DriveCatalog& drives, IMainView& view);

    // `argument` is the tag of a WM_COPYDATA, the command of a WM_COMMAND or the VerifyWish of a
    // message that writes (any other number is AsSet), and otherwise unused. `path` is only used
    // for WM_COPYDATA. An unknown number returns 0.
    int32_t ProcessMessage(uint32_t message, uint32_t argument = 0,
                           const std::u16string& path = {});

    // Erases the disc in a drive given by its Linux name ("sr0", "/dev/sr0") or letter; the staged
    // path becomes that drive's letter, as UM_ERASE_DISK expects it. Without a name, the only drive
    // is used; if there are several, the user is told how to choose. Returns the result of
    // UM_ERASE_DISK.
    int32_t EraseDisk(std::u16string_view drive);
    // The same for the job that reads a whole disc. Nothing is staged.
    int32_t VerifyDisk(std::u16string_view drive);

    // For each release of the left button on the icon. Clicks and double clicks are told apart
    // here.
    void OnTrayLeftClick();
    void OnTrayRightClick();

  private:
    int32_t AddPath();
    int32_t WriteDataDisk(VerifyWish verify = VerifyWish::AsSet);
    int32_t WriteAudioDisk(VerifyWish verify = VerifyWish::AsSet);
    int32_t BurnImageFile(VerifyWish verify);
    int32_t EraseDiskInDrive();
    std::optional<char16_t> ChooseDrive(std::u16string_view drive);
    int32_t TakeOverQueue();
    int32_t Command(uint32_t command);
    int32_t Quit(int32_t code);
    void ShowQueueSummary();
    void TellSummaryWhenMeasured();
    bool LookForDrives();
    void TellRefusedDrives();
    template <typename Start>
    int32_t Guarded(Start start);

    CCDWriter& m_writer;
    DriveCatalog& m_drives;
    IMainView& m_view;
    bool m_bQueueTakenOver = false;
    bool m_bFirstFilesNoticeShown = false;
    std::u16string m_strStagedPath;
    std::vector<std::u16string> m_menuDrives; // labels in the idle menu shown last
    bool m_bClickPending = false;
    std::u16string m_strRefusedTold;    // about drives that can't be used
    std::optional<int32_t> m_nQuitCode; // of an exit that waits for a job
};

} // namespace larkspin
