// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// CMainDlg: the program's command interface, and what the tray icon's clicks mean while no job
// runs. It has no window of its own; messages reach it by number. All calls on the main thread.
//
// Leaving (UM_QUIT, "Exit", commands 1 and 2) while a job runs waits for the job's end, with the
// exit code that was asked for first; the message has its usual result at once. A disc that is
// being written is finished. Nobody has to be there for that: what the job asks of the user counts
// as cancelled, so that a job which has not begun to write ends at once. A path that arrives when
// the program is on its way out would be lost with the queue: UM_ADD_PATH does not take it, and
// gives 0, as a window that is gone.
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

// Tag of a WM_COPYDATA that carries a path.
constexpr uint32_t COPYDATA_PATH_TAG = 0x29756;

class CMainDlg {
  public:
    // All references are kept.
    CMainDlg(CCDWriter& writer, DriveCatalog& drives, IMainView& view);

    // `argument` is the tag of a WM_COPYDATA, the command of a WM_COMMAND, the VerifyWish of a
    // message that writes (any other number is AsSet), else without meaning;
    // `path` counts for WM_COPYDATA only. An unknown number gives 0.
    int32_t ProcessMessage(uint32_t message, uint32_t argument = 0,
                           const std::u16string& path = {});

    // Erases the disc in a drive by its Linux name ("sr0", "/dev/sr0") or letter; the staged path
    // becomes that drive's letter, as UM_ERASE_DISK wants it. Without a name the only drive is
    // taken, and of several the user is told how to choose. Result as of UM_ERASE_DISK.
    int32_t EraseDisk(std::u16string_view drive);
    // The same for the job that reads all of a disc. Nothing is staged.
    int32_t VerifyDisk(std::u16string_view drive);

    // Each left button release on the icon. A click and a double click are told apart here.
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
    std::vector<std::u16string> m_menuDrives; // labels in the idle menu that was shown last
    bool m_bClickPending = false;
    std::u16string m_strRefusedTold;    // of drives that can't be used
    std::optional<int32_t> m_nQuitCode; // of a quit that waits for a job
};

} // namespace larkspin
