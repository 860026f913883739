// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// An engine with its surroundings faked: files and settings in memory, two drives that answer by
// script, a user interface that answers by script.
#pragma once

#include "app/ccdwriter.h"
#include "app/drive_catalog.h"
#include "support/fake_files.h"
#include "support/fake_main_view.h"
#include "support/fake_ui.h"
#include "support/memory_store.h"
#include "support/scripted_port.h"

namespace larkspin {

struct EngineBench {
    explicit EngineBench(CCDWriter::Options options = QuickOptions())
        : writer(ScannedDrives(), store, files, clock, std::move(options)), catalog(drives) {
        writer.Attach(ui, view);
    }
    ~EngineBench() { writer.Detach(); }
    EngineBench(const EngineBench&) = delete;
    EngineBench& operator=(const EngineBench&) = delete;

    static CCDWriter::Options QuickOptions() {
        CCDWriter::Options options;
        options.queueSettle = std::chrono::milliseconds(0);
        options.audioLength = [](const std::u16string&, IFileSystem&) { return 61U * 176'400U; };
        return options;
    }

    // Waits until the queue has been measured.
    std::u16string Summary() {
        for (;; std::this_thread::yield()) {
            if (const std::optional<std::u16string> text = writer.QueueSummaryText()) {
                return *text;
            }
        }
    }

    // A job that is in its parameter dialog until Release; the user cancels it then.
    void HoldJobsInDialog() {
        ui.data.bCancelled = ui.audio.bCancelled = ui.image.bCancelled = true;
        ui.erase.mode = EraseMode::Cancelled;
        ui.onDialog = [this] {
            inDialog.Set();
            release.Lock();
        };
    }

    ManualClock clock;
    ScriptedPort port;
    DriveList drives;
    MemoryStore store;
    FakeFiles files;
    FakeUi ui;
    FakeMainView view;
    CEvent inDialog{CEvent::Reset::Auto};
    CEvent release{CEvent::Reset::Auto};
    CCDWriter writer;
    DriveCatalog catalog;

  private:
    DriveList& ScannedDrives() {
        port.AddDrive(kFirstLetterIndex, {0, 0, 0}, "LARK", "FIRST");
        port.AddDrive(kFirstLetterIndex + 1, {0, 1, 0}, "LARK", "SECOND");
        drives.ScanDrives(port, clock, {});
        return drives;
    }
};

} // namespace larkspin
