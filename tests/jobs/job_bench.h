// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// A job on the virtual drive: real files in, a disc in a folder out, the user by script. Time
// stands still but for the sleeps of the jobs.
#pragma once

#include "audio/codec_files.h"
#include "drive/mmc.h"
#include "jobs/jobs.h"
#include "platform/byte_order.h"
#include "platform/text.h"
#include "support/fake_ui.h"
#include "support/file_bytes.h"
#include "support/manual_clock.h"
#include "support/port_answers.h"
#include "support/temp_folder.h"
#include "virtualdrive/virtual_drive.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace larkspin {

namespace fs = std::filesystem;

using Texts = std::vector<std::u16string>;

// Texts that more than one kind of job shows.
inline constexpr const char16_t* kNotBlankText =
    u"The disk in the drive is not blank.\n\nShould Larkspin erase it for you?\n\n"
    u"If you say \"Yes\" all data on this disk will be LOST.";
inline constexpr const char16_t* kDataTooLargeText =
    u"The size of selected files exceeds disk capacity by 0Mb.\n\n"
    u"Please edit your selection or insert another disk and invoke Larkspin again";
inline constexpr const char16_t* kErasedText = u"The disk has been erased and is empty.";
inline constexpr const char16_t* kImageGoneText =
    u"Internal error #562. Unable to open image file.";
inline std::u16string NextCopyText(int written, int copies) {
    return FormatWide("Written %d of %d disks, %d disks left.\n\n"
                      "Please insert next disk and press \"OK\".",
                      written, copies, copies - written);
}

inline bool Holds(const Bytes& disc, const Bytes& payload) {
    return std::string_view(reinterpret_cast<const char*>(disc.data()), disc.size())
               .find({reinterpret_cast<const char*>(payload.data()), payload.size()}) !=
           std::string_view::npos;
}

// A name of a test on this kind of disc.
inline std::string TestName(std::string kind) {
    std::erase(kind, '-');
    std::replace(kind.begin(), kind.end(), '+', 'p');
    return kind;
}

// An answer that fails with this sense in place of running the command.
inline InjectedAnswer FailWith(uint8_t key, uint8_t asc, uint8_t ascq) {
    InjectedAnswer answer;
    answer.completion = CheckCondition(key, asc, ascq);
    return answer;
}

class FakeHost final : public JobHost {
  public:
    std::vector<std::u16string> queue;
    bool exclusive = false;
    std::atomic<bool> leaving = false;
    uint32_t audioBytes = 0;
    int measuring = 0; // looks until it is known
    int settingsLoads = 0;
    int clears = 0;

    std::vector<std::u16string> CopyQueue() override { return queue; }
    void TakePaths() override {
        queue.clear();
        ++clears;
    }
    bool IsLeaving() override { return leaving; }
    bool IsQueueExclusive() override { return exclusive; }
    std::optional<uint32_t> QueueAudioBytes() override {
        return measuring-- > 0 ? std::nullopt : std::optional(audioBytes);
    }
    std::u16string DataHeaderText() override { return u"data header"; }
    std::u16string AudioHeaderText(uint32_t) override { return u"audio header"; }
    void LoadSettings() override { ++settingsLoads; }
    bool underrunProtection = true;
    bool speedControl = true;
    bool BufferUnderrunProtection() override { return underrunProtection; }
    bool WriteSpeedControl() override { return speedControl; }
    bool VerifyAfterWriting() override { return false; }
    std::vector<std::u16string> successes;
    std::function<void(const std::u16string& what)> onSuccess = [this](const std::u16string& what) {
        successes.push_back(what);
    };
    void TellSuccess(const std::u16string& what) override { onSuccess(what); }
};

class JobBench {
  public:
    // A capacity of 0 is the usual one. The jobs see the world through `files`.
    explicit JobBench(const std::string& newKind = "cd-r", uint32_t capacityBlocks = 0,
                      IFileSystem& files = PosixFiles())
        : env{host, ui, drives, files, clock} {
        InsertNew(newKind, capacityBlocks);
        drive.SetOnEject([this](const std::string&) { ++ejects; });
        drive.SetScript(
            [this](const PortRequest& request, uint64_t) -> std::optional<InjectedAnswer> {
                ++commands[request.cdb[0]];
                return onCommand ? onCommand(request) : std::nullopt;
            });
        EXPECT_EQ(drives.ScanDrives(drive, clock, {}), DriveList::ScanResult::Found);
    }
    JobBench(const JobBench&) = delete;
    JobBench& operator=(const JobBench&) = delete;

    // Another blank disc takes the place of the one in the drive.
    void InsertNew(const std::string& newKind, uint32_t capacityBlocks = 0) {
        kind = newKind;
        disc = folder.Path() + "/disc" + std::to_string(++m_discs);
        ASSERT_TRUE(VirtualDrive::CreateDisc(disc, kind, capacityBlocks));
        ASSERT_TRUE(drive.Insert(disc));
    }
    // A file in the source folder; its path as the queue has it.
    std::u16string AddFile(const std::string& name, const Bytes& bytes) {
        const fs::path path = Source() / name;
        fs::create_directories(path.parent_path());
        WriteFileBytes(path, bytes);
        return ToWide(path.string());
    }
    // A WAV file of CD audio with these PCM bytes.
    std::u16string AddWav(const std::string& name, const Bytes& pcm) {
        return AddFile(name, codecs::MakeWav(pcm, 44100, 2, 16));
    }
    // The next `nth` command with this operation code ends with `answer`.
    void FailCommand(uint8_t opcode, int nth, const InjectedAnswer& answer) {
        onCommand = [this, opcode, which = commands[opcode] + nth,
                     answer](const PortRequest& request) {
            return request.cdb[0] == opcode && commands[opcode] == which
                       ? std::optional<InjectedAnswer>(answer)
                       : std::nullopt;
        };
    }
    // Every command with this operation code that reads is answered with these bytes.
    void AnswerCommand(uint8_t opcode, const Bytes& bytes) {
        onCommand = [opcode, bytes](const PortRequest& request) -> std::optional<InjectedAnswer> {
            if (request.cdb[0] != opcode) {
                return std::nullopt;
            }
            std::copy_n(bytes.begin(), std::min<size_t>(request.length, bytes.size()),
                        static_cast<uint8_t*>(request.data));
            return InjectedAnswer();
        };
    }
    fs::path Source() const { return fs::path(folder.Path()) / "source"; }
    Bytes Track(int number = 1) const {
        return ReadFileBytes(disc + Format("/track-%02d.iso", number));
    }
    // The PCM bytes of all audio tracks.
    Bytes AudioTracks() const { return ReadFileBytes(disc + "/disc.bin"); }
    // Sends a command until the drive has no news to tell in its place; it must succeed. `data`
    // goes to the drive or comes from there.
    void Send(PortDirection direction, const Bytes& cdb, Bytes* data) {
        PortRequest request;
        request.cdb = cdb;
        request.direction = direction;
        request.data = data->data();
        request.length = static_cast<uint32_t>(data->size());
        PortCompletion completion = drive.Execute(request);
        for (int again = 0; again < 3 && completion.sense[2] == 6; ++again) {
            completion = drive.Execute(request);
        }
        EXPECT_EQ(completion.status, 0);
    }
    // READ DISC INFORMATION with the disc back in the drive: the state of the disc and of its last
    // session, and 16 if it is erasable.
    int DiscStatus() { return DiscInformation().at(2); }
    // How far the background format of a DVD+RW is: 1 stopped, 2 at work, 3 done.
    int BackgroundFormat() { return DiscInformation().at(7) & 3; }
    CAspiCD& Drive() { return drives.At(0); }
    bool WasEjected() const { return ejects > 0; }

    // Puts the disc back in; true if it is a disc with a closed session on it.
    bool IsClosed() {
        Reload();
        return Drive().Disk().Knows(DISK_BLANK) && !Drive().Disk().IsKnownToBe(DISK_BLANK) &&
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
        const std::u16string image = AddFile("filler", Payload(size_t{400} * 2048, 9));
        ASSERT_EQ(RunImage(image), JobEnd::Exit);
        ASSERT_TRUE(drive.Insert(disc));
        fs::remove(Source() / "filler");
        ejects = 0;
    }

    JobEnd RunData() { return Run(std::bind(DataJob, std::ref(env))); }
    JobEnd RunAudio() { return Run(std::bind(AudioJob, std::ref(env))); }
    JobEnd RunImage(const std::u16string& image) {
        return Run(std::bind(ImageJob, std::ref(env), image));
    }
    JobEnd RunErase(uint32_t index = 0) { return Run(std::bind(EraseJob, std::ref(env), index)); }
    JobEnd RunVerify(uint32_t index = 0) { return Run(std::bind(VerifyJob, std::ref(env), index)); }
    // A job with one path in the queue, which is also its image, on the drive of that index.
    JobEnd RunOne(JobKind job, const std::u16string& path, uint32_t index = 0) {
        host.queue = {path};
        ui.data.nDriveIndex = ui.audio.nDriveIndex = ui.image.nDriveIndex = index;
        switch (job) {
        case JobKind::Data:
            return RunData();
        case JobKind::Audio:
            return RunAudio();
        case JobKind::Image:
            return RunImage(path);
        case JobKind::Verify:
            return RunVerify(index);
        case JobKind::Erase:
            break;
        }
        return RunErase(index);
    }
    JobEnd Run(const std::function<JobEnd()>& body) {
        const JobEnd end = RunJob(env, body);
        EXPECT_TRUE(ui.IsTidy()) << "a dialog, tray callbacks or the animation was left behind";
        EXPECT_TRUE(!drive.IsDoorLocked() || mayStayLocked);
        return end;
    }

    TempFolder folder;
    ManualClock clock;
    std::map<uint8_t, int> commands; // sent so far, by operation code
    // What a test makes of a command in place of running it.
    std::function<std::optional<InjectedAnswer>(const PortRequest& request)> onCommand;
    bool mayStayLocked = false; // the drive refuses to unlock its door
    VirtualDrive drive{clock};
    DriveList drives;
    FakeUi ui;
    FakeHost host;
    JobEnv env;
    std::string disc; // its folder
    std::string kind;
    std::atomic<int> ejects = 0;

  private:
    Bytes DiscInformation() {
        EXPECT_TRUE(drive.Insert(disc));
        Bytes information(8);
        Send(PortDirection::In, {mmc::kReadDiscInformation, 0, 0, 0, 0, 0, 0, 0, 8, 0},
             &information);
        return information;
    }

    int m_discs = 0;
};

} // namespace larkspin
