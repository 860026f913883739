// A job on the virtual drive: real files in, a disc in a folder out, the user by script. Time
// stands still but for the sleeps of the jobs.
#pragma once

#include "jobs/jobs.h"
#include "platform/text.h"
#include "support/fake_ui.h"
#include "support/manual_clock.h"
#include "support/port_answers.h"
#include "support/temp_folder.h"
#include "virtualdrive/virtual_drive.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

namespace larkspin {

using FileBytes = std::vector<uint8_t>;

inline FileBytes ReadFileBytes(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

inline void WriteFileBytes(const std::filesystem::path& path, const FileBytes& bytes) {
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
}

// Bytes that are found nowhere else.
inline FileBytes Payload(size_t bytes, uint32_t seed) {
    FileBytes payload(bytes);
    uint32_t state = seed * 2654435761U + 1;
    for (uint8_t& byte : payload) {
        state = state * 1664525U + 1013904223U;
        byte = static_cast<uint8_t>(state >> 24);
    }
    return payload;
}

// True if `disc` holds `payload` at the start of a sector.
inline bool HoldsAtSector(const FileBytes& disc, const FileBytes& payload) {
    for (size_t at = 0; at + payload.size() <= disc.size(); at += 2048) {
        if (std::equal(payload.begin(), payload.end(),
                       disc.begin() + static_cast<std::ptrdiff_t>(at))) {
            return true;
        }
    }
    return false;
}

class FakeHost final : public JobHost {
  public:
    std::vector<std::u16string> queue;
    bool exclusive = false;
    uint32_t audioBytes = 0;
    int settingsLoads = 0;
    int clears = 0;

    std::vector<std::u16string> CopyQueue() override { return queue; }
    void ClearQueue() override {
        queue.clear();
        ++clears;
    }
    bool IsQueueExclusive() override { return exclusive; }
    uint32_t QueueAudioBytes() override { return audioBytes; }
    std::u16string DataHeaderText() override { return u"data header"; }
    std::u16string AudioHeaderText(uint32_t) override { return u"audio header"; }
    void LoadSettings() override { ++settingsLoads; }
    bool BufferUnderrunProtection() override { return true; }
    bool WriteSpeedControl() override { return true; }
};

class JobBench {
  public:
    explicit JobBench(const std::string& kind = "cd-r", uint32_t capacityBlocks = 0) {
        InsertNew(kind, capacityBlocks);
        drive.SetOnEject([this](const std::string&) { ++ejects; });
        EXPECT_EQ(drives.ScanDrives(drive, clock, {}), DriveList::ScanResult::Found);
    }
    JobBench(const JobBench&) = delete;
    JobBench& operator=(const JobBench&) = delete;

    // Another blank disc takes the place of the one in the drive.
    void InsertNew(const std::string& kind, uint32_t capacityBlocks = 0) {
        disc = folder.Path() + "/disc" + std::to_string(++m_discs);
        ASSERT_TRUE(VirtualDrive::CreateDisc(disc, kind, capacityBlocks));
        ASSERT_TRUE(drive.Insert(disc));
    }
    // A file in the source folder; its path as the queue has it.
    std::u16string AddFile(const std::string& name, const FileBytes& bytes) {
        const std::filesystem::path path = Source() / name;
        std::filesystem::create_directories(path.parent_path());
        WriteFileBytes(path, bytes);
        return ToWide(path.string());
    }
    // A WAV file of CD audio with these PCM bytes.
    std::u16string AddWav(const std::string& name, const FileBytes& pcm) {
        FileBytes wav = {'R',  'I',  'F', 'F', 0, 0, 0,  0, 'W', 'A', 'V',  'E',  'f', 'm',
                         't',  ' ',  16,  0,   0, 0, 1,  0, 2,   0,   0x44, 0xAC, 0,   0,
                         0x10, 0xB1, 2,   0,   4, 0, 16, 0, 'd', 'a', 't',  'a'};
        const auto put32 = [&wav](size_t value) {
            for (int shift = 0; shift < 32; shift += 8) {
                wav.push_back(static_cast<uint8_t>(value >> shift));
            }
        };
        put32(pcm.size());
        wav.insert(wav.end(), pcm.begin(), pcm.end());
        const size_t riffBytes = wav.size() - 8;
        for (size_t i = 0; i < 4; ++i) {
            wav[4 + i] = static_cast<uint8_t>(riffBytes >> (8 * i));
        }
        return AddFile(name, wav);
    }
    // The PCM bytes of a track, by READ CD.
    FileBytes AudioTrack(uint8_t number) {
        EXPECT_TRUE(drive.Insert(disc));
        const FileBytes toc = In({0x43, 0, 0, 0, 0, 0, number, 0, 255, 0}, 255);
        if (toc.empty()) {
            return {};
        }
        const auto startOf = [&toc](size_t entry) {
            const size_t at = 4 + 8 * entry + 4;
            return static_cast<uint32_t>(toc[at] << 24 | toc[at + 1] << 16 | toc[at + 2] << 8 |
                                         toc[at + 3]);
        };
        FileBytes pcm;
        for (uint32_t block = startOf(0); block < startOf(1); ++block) {
            const FileBytes one = In({0xBE, 4, 0, static_cast<uint8_t>(block >> 8 >> 8),
                                      static_cast<uint8_t>(block >> 8), static_cast<uint8_t>(block),
                                      0, 0, 1, 0x10, 0, 0},
                                     2352);
            pcm.insert(pcm.end(), one.begin(), one.end());
        }
        return pcm;
    }
    std::filesystem::path Source() const { return std::filesystem::path(folder.Path()) / "source"; }
    FileBytes Track(int number = 1, const char* suffix = ".iso") const {
        std::string name = "track-00";
        name.replace(name.size() - 1, 1, std::to_string(number));
        return ReadFileBytes(disc + "/" + name + suffix);
    }
    CAspiCD& Drive() { return drives.At(0); }
    bool WasEjected() const { return ejects > 0; }

    // Puts the disc back in; true if it is a disc with a closed session on it.
    bool IsClosed() {
        Reload();
        return (Drive().m_dwDiskKnown & DISK_BLANK) != 0 &&
               (Drive().m_dwDiskState & DISK_BLANK) == 0 &&
               Drive().ReadMultiSessionStart(nullptr) == 0;
    }
    // Adds these of the source folder's files and folders to the disc, without a word to the user;
    // the disc goes back into the drive.
    void Burn(const std::vector<std::string>& names) {
        host.queue.clear();
        for (const std::string& name : names) {
            host.queue.push_back(ToWide((Source() / name).string()));
        }
        ASSERT_EQ(RunData(), JobEnd::Exit);
        ASSERT_EQ(ui.Texts(), std::vector<std::u16string>{});
        Reload();
    }
    // Puts the disc back in; the drive has no news left to tell.
    void Reload() {
        ASSERT_TRUE(drive.Insert(disc));
        Drive().ReadDiskInfo();
        Drive().ReadDiskInfo();
    }
    // Brings the disc to its end: nothing can be added to it.
    void Finalize() {
        const std::u16string image = AddFile("filler", Payload(400 * 2048, 9));
        ASSERT_EQ(RunImage(image), JobEnd::Exit);
        ASSERT_TRUE(drive.Insert(disc));
        std::filesystem::remove(Source() / "filler");
        ejects = 0;
    }

    JobEnd RunData() {
        return Run([this] { return DataJob(env); });
    }
    JobEnd RunAudio() {
        return Run([this] { return AudioJob(env); });
    }
    JobEnd RunImage(const std::u16string& image) {
        return Run([this, image] { return ImageJob(env, image); });
    }
    JobEnd RunErase(uint32_t index = 0) {
        return Run([this, index] { return EraseJob(env, index); });
    }
    JobEnd Run(const std::function<JobEnd()>& body) {
        const JobEnd end = RunJob(env, body);
        EXPECT_TRUE(ui.IsTidy()) << "a dialog, tray callbacks or the animation was left behind";
        return end;
    }

    TempFolder folder;
    ManualClock clock;
    VirtualDrive drive{clock};
    DriveList drives;
    FakeUi ui;
    FakeHost host;
    JobEnv env{host, ui, drives, PosixFiles(), clock};
    std::string disc;
    std::atomic<int> ejects = 0;

  private:
    // A command that reads, sent again once if the drive has news; empty if it fails.
    FileBytes In(const FileBytes& cdb, size_t bytes) {
        FileBytes data(bytes);
        PortRequest request;
        request.cdb = cdb;
        request.direction = PortDirection::In;
        request.data = data.data();
        request.length = static_cast<uint32_t>(bytes);
        PortCompletion completion = drive.Execute(request);
        for (int again = 0; again < 3 && completion.sense[2] == 6; ++again) {
            completion = drive.Execute(request);
        }
        return completion.status == 0 ? data : FileBytes();
    }

    int m_discs = 0;
};

// An answer that fails with this sense in place of running the command.
inline InjectedAnswer FailWith(uint8_t key, uint8_t asc, uint8_t ascq) {
    InjectedAnswer answer;
    answer.completion = CheckCondition(key, asc, ascq);
    return answer;
}

// A command that never comes back.
inline InjectedAnswer TimeOut() {
    InjectedAnswer answer;
    answer.completion.error = PortError::TimedOut;
    return answer;
}

} // namespace larkspin
