// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/qt/queue_loader.h"

#include "platform/insist.h"
#include "platform/paths.h"
#include "ui/qt/qt_text.h"

#include <QMimeDatabase>
#include <QMimeType>

#include <utility>

namespace larkspin {

namespace {

std::u16string TypeName(const std::u16string& path, const QueueItemDetails& details) {
    const QMimeDatabase types;
    const QMimeType type =
        details.bFolder && !details.bVanished
            ? types.mimeTypeForName(QStringLiteral("inode/directory"))
            : types.mimeTypeForFile(ToQt(LeafName(path)), QMimeDatabase::MatchExtension);
    return FromQt(type.comment());
}

} // namespace

CQueueLoader::CQueueLoader(IFileSystem& files, IClock& clock, CMainThread& main, Deliver deliver)
    : m_files(files), m_clock(clock), m_main(main), m_deliver(std::move(deliver)),
      m_thread([this] { Run(); }) {}

CQueueLoader::~CQueueLoader() {
    {
        const std::lock_guard lock(m_mutex);
        m_bStop = true;
    }
    m_changed.notify_all();
    m_thread.join();
}

void CQueueLoader::Request(const std::u16string& path) {
    {
        const std::lock_guard lock(m_mutex);
        m_requests.push_back(path);
    }
    m_changed.notify_all();
}

void CQueueLoader::Clear() {
    const std::lock_guard lock(m_mutex);
    m_requests.clear();
}

void CQueueLoader::Run() {
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_changed.wait(lock, [&] { return m_bStop || !m_requests.empty(); });
        if (m_bStop) {
            return;
        }
        const std::u16string path = std::move(m_requests.back());
        m_requests.pop_back();
        lock.unlock();
        Insist([&] { Load(path); }); // otherwise the row stays without details
        lock.lock();
    }
}

void CQueueLoader::Load(const std::u16string& path) {
    QueueItemTexts texts;
    texts.details = ReadQueueItemDetails(m_files, m_clock, path);
    texts.strType = TypeName(path, texts.details);
    m_main.Post([this, path, texts = std::move(texts)] { m_deliver(path, texts); });
}

} // namespace larkspin
