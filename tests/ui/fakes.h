// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Drives and a queue in memory, for the tests of the user interface.
#pragma once

#include "ui/models.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace larkspin {

struct FakeDrive {
    std::u16string name;
    std::u16string label;
    std::vector<double> speeds;
    bool bFails = false;
};

class FakeDrives final : public IDriveCatalog {
  public:
    size_t Count() override { return drives.size(); }
    std::u16string Name(size_t index) override { return drives.at(index).name; }
    std::u16string Label(size_t index) override { return drives.at(index).label; }
    std::vector<double> WriteSpeeds(size_t index) override {
        askers.push_back(std::this_thread::get_id());
        if (drives.at(index).bFails) {
            throw std::runtime_error("no answer");
        }
        return drives.at(index).speeds;
    }
    std::u16string DiskTypeName(uint32_t profile) override {
        return profile == 0x0A ? u"CD-RW" : u"";
    }

    std::vector<FakeDrive> drives;
    std::vector<std::thread::id> askers; // for speeds, call by call; a job's thread alone
};

// Of the main thread alone.
class FakeQueue final : public IQueueModel {
  public:
    std::vector<std::u16string> Paths() override { return m_paths; }
    void Remove(const std::vector<std::u16string>& paths) override {
        std::erase_if(m_paths, [&](const std::u16string& path) {
            return std::find(paths.begin(), paths.end(), path) != paths.end();
        });
        ++m_version;
    }
    void Move(const std::vector<std::u16string>& paths, const std::u16string& before) override {
        Remove(paths);
        m_paths.insert(std::find(m_paths.begin(), m_paths.end(), before), paths.begin(),
                       paths.end());
    }
    QueueState State(bool showsDiscs) override {
        return {m_version, bAllAudio, u"total", showsDiscs ? discs : u""};
    }
    bool bAllAudio = false;
    std::u16string discs = u"discs";
    std::optional<std::u16string> HeaderText(JobKind /*kind*/) override { return header; }

    std::optional<std::u16string> header; // empty: not measured yet

    void Set(std::vector<std::u16string> paths) {
        m_paths = std::move(paths);
        ++m_version;
    }

  private:
    std::vector<std::u16string> m_paths;
    uint64_t m_version = 1;
};

} // namespace larkspin
