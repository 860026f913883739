// Drives and a queue in memory, for the tests of the user interface.
#pragma once

#include "ui/models.h"

#include <algorithm>
#include <mutex>
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
        {
            const std::lock_guard lock(m_mutex);
            m_askers.push_back(std::this_thread::get_id());
        }
        if (drives.at(index).bFails) {
            throw std::runtime_error("no answer");
        }
        return drives.at(index).speeds;
    }
    std::u16string DiskTypeName(uint32_t profile) override {
        return profile == 0x0A ? u"CD-RW" : u"";
    }

    // The threads that have asked for speeds, call by call.
    std::vector<std::thread::id> Askers() {
        const std::lock_guard lock(m_mutex);
        return m_askers;
    }

    std::vector<FakeDrive> drives;

  private:
    std::mutex m_mutex;
    std::vector<std::thread::id> m_askers;
};

class FakeQueue final : public IQueueModel {
  public:
    std::vector<std::u16string> Paths() override {
        const std::lock_guard lock(m_mutex);
        return m_paths;
    }
    void Remove(const std::vector<std::u16string>& paths) override {
        std::vector<std::u16string> left = Paths();
        std::erase_if(left, [&](const std::u16string& path) {
            return std::find(paths.begin(), paths.end(), path) != paths.end();
        });
        Set(std::move(left));
    }
    uint64_t Version() override {
        const std::lock_guard lock(m_mutex);
        return m_version;
    }
    void Set(std::vector<std::u16string> paths) {
        const std::lock_guard lock(m_mutex);
        m_paths = std::move(paths);
        ++m_version;
    }

  private:
    std::mutex m_mutex;
    std::vector<std::u16string> m_paths;
    uint64_t m_version = 1;
};

} // namespace larkspin
