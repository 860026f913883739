// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Reads what the queue editor shows about its paths on its own thread, so that neither a long queue
// nor a slow disk blocks the window.
#pragma once

#include "platform/clock.h"
#include "platform/files.h"
#include "ui/qt/main_thread.h"
#include "ui/queue_details.h"

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace larkspin {

struct QueueItemTexts {
    QueueItemDetails details;
    std::u16string strType; // the desktop's name for this kind of file
};

class CQueueLoader {
  public:
    using Deliver = std::function<void(const std::u16string& path, const QueueItemTexts& texts)>;

    // `deliver` is called on the main thread. All references are kept and must outlive the last
    // function posted to `main`.
    CQueueLoader(IFileSystem& files, IClock& clock, CMainThread& main, Deliver deliver);
    CQueueLoader(const CQueueLoader&) = delete;
    CQueueLoader& operator=(const CQueueLoader&) = delete;
    // Joins the thread, which stops after its current path.
    ~CQueueLoader();

    // Main thread. The last request is served first: it is what the user is looking at.
    void Request(const std::u16string& path);
    // Drops requests that have not been started.
    void Clear();

  private:
    void Run();
    void Load(const std::u16string& path);

    IFileSystem& m_files;
    IClock& m_clock;
    CMainThread& m_main;
    const Deliver m_deliver;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<std::u16string> m_requests;
    bool m_bStop = false;
    std::thread m_thread; // last: it uses all of the above
};

} // namespace larkspin
