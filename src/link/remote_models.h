// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What the dialogs need to know about drives, queue and settings, requested from the engine over
// the link. When the engine has gone, the answers are those for an empty queue and an empty store.
#pragma once

#include "link/link.h"
#include "link/protocol.h"
#include "platform/settings_store.h"
#include "ui/models.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace larkspin {

// Only on the worker that handles a job's question, except DiskTypeName; the job's thread answers.
class RemoteCatalog final : public IDriveCatalog {
  public:
    explicit RemoteCatalog(Link& link) : m_link(link) {}

    // Also requests the names again.
    size_t Count() override;
    std::u16string Name(size_t index) override { return m_drives.at(index).strName; }
    std::u16string Label(size_t index) override { return m_drives.at(index).strLabel; }
    std::vector<double> WriteSpeeds(size_t index) override;
    std::u16string DiskTypeName(uint32_t profile) override;

  private:
    Link& m_link;
    std::vector<DriveNames> m_drives;
};

// Not on the thread that reads the link.
class RemoteQueue final : public IQueueModel {
  public:
    explicit RemoteQueue(Link& link) : m_link(link) {}

    std::vector<std::u16string> Paths() override;
    void Remove(const std::vector<std::u16string>& paths) override;
    void Move(const std::vector<std::u16string>& paths, const std::u16string& before) override;
    QueueState State(bool showsDiscs) override;
    std::optional<std::u16string> HeaderText(JobKind kind) override;

  private:
    Link& m_link;
};

// Not on the thread that reads the link.
class RemoteStore final : public ISettingsStore {
  public:
    explicit RemoteStore(Link& link) : m_link(link) {}

    bool HasKey(const std::string& key) override;
    bool CreateKey(const std::string& key) override;
    std::optional<uint32_t> ReadNumber(const std::string& key, const std::string& name) override;
    std::optional<std::u16string> ReadText(const std::string& key,
                                           const std::string& name) override;
    bool WriteNumber(const std::string& key, const std::string& name, uint32_t value) override;
    bool WriteText(const std::string& key, const std::string& name,
                   const std::u16string& value) override;

  private:
    Link& m_link;
};

} // namespace larkspin
