// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "link/remote_models.h"

#include "drive/profiles.h"

#include <optional>

namespace larkspin {

size_t RemoteCatalog::Count() {
    m_drives = m_link.Ask(op::kDriveNames).value_or(std::vector<DriveNames>());
    return m_drives.size();
}

std::vector<double> RemoteCatalog::WriteSpeeds(size_t index) {
    return m_link.Ask(op::kWriteSpeeds, static_cast<uint32_t>(index))
        .value_or(std::vector<double>());
}

// Both processes know these: it is called on the thread that reads the link.
std::u16string RemoteCatalog::DiskTypeName(uint32_t profile) {
    return larkspin::DiskTypeName(profile);
}

std::vector<std::u16string> RemoteQueue::Paths() {
    return m_link.Ask(op::kQueuePaths).value_or(std::vector<std::u16string>());
}

void RemoteQueue::Remove(const std::vector<std::u16string>& paths) {
    m_link.Ask(op::kQueueRemove, paths);
}

void RemoteQueue::Move(const std::vector<std::u16string>& paths, const std::u16string& before) {
    m_link.Ask(op::kQueueMove, paths, before);
}

QueueState RemoteQueue::State(bool showsDiscs) {
    return m_link.Ask(op::kQueueState, showsDiscs).value_or(QueueState());
}

std::optional<std::u16string> RemoteQueue::HeaderText(JobKind kind) {
    return m_link.Ask(op::kQueueHeader, kind).value_or(std::nullopt);
}

bool RemoteStore::HasKey(const std::string& key) {
    return m_link.Ask(op::kStoreHasKey, key).value_or(false);
}

bool RemoteStore::CreateKey(const std::string& key) {
    return m_link.Ask(op::kStoreCreateKey, key).value_or(false);
}

std::optional<uint32_t> RemoteStore::ReadNumber(const std::string& key, const std::string& name) {
    return m_link.Ask(op::kStoreReadNumber, key, name).value_or(std::nullopt);
}

std::optional<std::u16string> RemoteStore::ReadText(const std::string& key,
                                                    const std::string& name) {
    return m_link.Ask(op::kStoreReadText, key, name).value_or(std::nullopt);
}

bool RemoteStore::WriteNumber(const std::string& key, const std::string& name, uint32_t value) {
    return m_link.Ask(op::kStoreWriteNumber, key, name, value).value_or(false);
}

bool RemoteStore::WriteText(const std::string& key, const std::string& name,
                            const std::u16string& value) {
    return m_link.Ask(op::kStoreWriteText, key, name, value).value_or(false);
}

} // namespace larkspin
