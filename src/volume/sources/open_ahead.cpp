// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "volume/sources/open_ahead.h"

#include <algorithm>
#include <utility>

namespace larkspin {

namespace {

constexpr size_t kMostFiles = 256;                        // a process may have 1024 open
constexpr uint64_t kMostBytes = uint64_t{32} << 20;       // asked for at one look
constexpr uint64_t kMostBytesOfOne = uint64_t{512} << 10; // the rest is read in sequence

} // namespace

OpenAhead::Opened OpenAhead::TakeFront() {
    Opened front = std::exchange(m_front, {});
    return front.file != nullptr ? std::move(front) : Open(m_contents.front());
}

void OpenAhead::FrontSent(bool hasWaited) {
    m_bWaited = m_bWaited || hasWaited;
    if (m_bWaited && m_ahead.size() <= kMostFiles / 2) {
        LookAhead();
    }
    m_front = {};
    if (!m_ahead.empty()) {
        m_front = std::move(m_ahead.front());
        m_ahead.pop_front();
    }
}

OpenAhead::Opened OpenAhead::Open(const DeferredFile& item) {
    if (m_pFolder == nullptr || *m_pFolderPath != *item.source_folder) {
        m_pFolder = m_files.OpenFolder(*item.source_folder);
    }
    m_pFolderPath = item.source_folder;
    return {m_pFolder, m_pFolder->OpenSequential(item.name)};
}

void OpenAhead::LookAhead() {
    m_bWaited = false;
    uint64_t bytes = 0;
    while (m_ahead.size() < kMostFiles && m_ahead.size() + 1 < m_contents.size() &&
           bytes < kMostBytes) {
        const DeferredFile& item = m_contents[m_ahead.size() + 1];
        Opened& opened = m_ahead.emplace_back();
        if (item.memory_contents != nullptr) {
            continue;
        }
        opened = Open(item);
        if (opened.file != nullptr) {
            const uint64_t wanted = std::min(item.size, kMostBytesOfOne);
            opened.file->Prefetch(wanted);
            bytes += wanted;
        }
    }
}

} // namespace larkspin
