// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "jobs/generator_thread.h"
#include "jobs/job_frame.h"
#include "platform/text.h"
#include "volume/iso_gen.h"

#include <optional>
#include <system_error>
#include <utility>

namespace larkspin {

namespace {

constexpr std::chrono::milliseconds kCancelTestTime{100};

// Ends a generator whose job has gone; never shown to the user.
class Stopped final : public std::exception {};

} // namespace

// The job's file system, until the generator is told to stop. Counts the names looked at.
class ImageGeneratorThread::StoppableFiles final : public IFileSystem {
  public:
    explicit StoppableFiles(ImageGeneratorThread& owner) : m_owner(owner) {}

    bool Status(const std::u16string& path, FileStatus* status) override {
        ++m_owner.m_nCount;
        return Live().Status(path, status);
    }
    Absence WhyAbsent(const std::u16string& path) override { return Live().WhyAbsent(path); }
    bool IsLink(const std::u16string& path) override { return Live().IsLink(path); }
    bool IsReadable(const std::u16string& path) override { return Live().IsReadable(path); }
    bool Enumerate(const std::u16string& folder, std::vector<std::u16string>* names) override {
        {
            const std::lock_guard lock(m_owner.m_mutex);
            m_owner.m_strFolder = folder;
        }
        return Live().Enumerate(folder, names);
    }
    std::unique_ptr<IFolder> OpenFolder(const std::u16string& path) override {
        return std::make_unique<Folder>(*this, Live().OpenFolder(path));
    }
    std::unique_ptr<ISequentialFile> OpenSequential(const std::u16string& path) override {
        return Live().OpenSequential(path);
    }

  private:
    class Folder final : public IFolder {
      public:
        Folder(StoppableFiles& files, std::unique_ptr<IFolder> folder)
            : m_files(files), m_pFolder(std::move(folder)) {}

        bool Status(const std::u16string& name, FileStatus* status) override {
            ++m_files.m_owner.m_nCount;
            return Live().Status(name, status);
        }
        std::unique_ptr<ISequentialFile> OpenSequential(const std::u16string& name) override {
            return Live().OpenSequential(name);
        }
        bool IsReadable(const std::u16string& name, const FileStatus& status) override {
            return Live().IsReadable(name, status);
        }

      private:
        IFolder& Live() {
            m_files.Live();
            return *m_pFolder;
        }

        StoppableFiles& m_files;
        const std::unique_ptr<IFolder> m_pFolder;
    };

    IFileSystem& Live() {
        if (m_owner.m_bStop) {
            throw Stopped();
        }
        return *m_owner.m_args.files;
    }

    ImageGeneratorThread& m_owner;
};

class ImageGeneratorThread::StoppableReader final : public IBlockReader {
  public:
    StoppableReader(IBlockReader& drive, const std::atomic<bool>& stop)
        : m_drive(drive), m_bStop(stop) {}

    bool ReadBlocks(void* buffer, uint32_t count, uint32_t lba) override {
        if (m_bStop) {
            throw Stopped();
        }
        return m_drive.ReadBlocks(buffer, count, lba);
    }

  private:
    IBlockReader& m_drive;
    const std::atomic<bool>& m_bStop;
};

ImageGeneratorThread::ImageGeneratorThread(GeneratorThreadArgs args) : m_args(std::move(args)) {}

ImageGeneratorThread::~ImageGeneratorThread() {
    Stop();
}

bool ImageGeneratorThread::Start(const ThreadStarter& startThread) {
    try {
        m_hThread = startThread([this] { Run(); });
    } catch (const std::system_error&) {
        return false;
    }
    return true;
}

bool ImageGeneratorThread::WaitReady(const GoOn& goOn) {
    while (!m_ready.Lock(kCancelTestTime)) {
        std::u16string folder;
        {
            const std::lock_guard lock(m_mutex);
            folder = m_strFolder;
        }
        if (!goOn(m_nCount, folder)) {
            return false;
        }
    }
    return true;
}

std::u16string ImageGeneratorThread::Error() {
    const std::lock_guard lock(m_mutex);
    return m_bOutOfMemory ? kOutOfMemory : m_strGeneratorError;
}

std::vector<VolumeNotice> ImageGeneratorThread::LeftOut() {
    const std::lock_guard lock(m_mutex);
    return {m_notices.begin(), m_notices.begin() + static_cast<std::ptrdiff_t>(m_nLeftOut)};
}

std::vector<VolumeNotice> ImageGeneratorThread::Notices() {
    const std::lock_guard lock(m_mutex);
    return m_notices;
}

void ImageGeneratorThread::Stop() {
    m_bStop = true;
    m_args.pipe->CloseRead();
    if (m_hThread.joinable()) {
        m_hThread.join();
    }
}

void ImageGeneratorThread::SetError(const std::u16string& text) {
    const std::lock_guard lock(m_mutex);
    m_strGeneratorError = text;
}

void ImageGeneratorThread::Run() {
    // Whatever happens in here, the job must neither wait for ever nor die with this thread.
    try {
        GenerateOrTell();
    } catch (const std::bad_alloc&) {
        m_bOutOfMemory = true;
    }
    m_args.pipe->CloseWrite();
    m_ready.Set();
}

void ImageGeneratorThread::GenerateOrTell() {
    try {
        Generate();
    } catch (const CutSessionException& failure) {
        m_bFoundCutSession = true;
        SetError(failure.WideText());
    } catch (const CCDWriterISOGenException& failure) {
        SetError(failure.WideText());
    } catch (const Stopped&) {
        // The job is ending and asks for nothing more.
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& failure) {
        SetError(ToWide(failure.what()));
    }
}

void ImageGeneratorThread::Generate() {
    StoppableFiles files(*this);
    CCDWriterISOGen generator(files, *m_args.clock);
    generator.ResetOptions();
    generator.Options().volume_id = m_args.title.narrow;
    generator.Options().joliet_volume_id = m_args.title.wide;
    generator.Options().space_from_disc_start = true;
    generator.Options().previous_end = m_args.previousEnd;
    generator.Options().has_previous = m_args.hasPrevious;
    generator.Options().cut_sessions = m_args.cutSessions;
    generator.SetNotice([this](const VolumeNotice& notice) {
        const std::lock_guard lock(m_mutex);
        m_notices.push_back(notice);
    });
    std::optional<RecordingSink> recording;
    if (m_args.record != nullptr) {
        if (m_args.keepsHashes) {
            recording.emplace(*m_args.pipe, *m_args.record);
        }
        generator.SetExtentsReady([this](ExtentList extents) {
            m_args.record->Expect(std::move(extents), uint64_t{m_args.nextStart} * kSectorBytes);
        });
    }
    IByteSink& sink = recording ? static_cast<IByteSink&>(*recording) : *m_args.pipe;
    const auto sizeReady = [this](uint32_t totalSectors) {
        m_nTotalSectors = totalSectors;
        {
            const std::lock_guard lock(m_mutex);
            m_nLeftOut = m_notices.size();
        }
        m_ready.Set();
    };
    if (m_args.merge) {
        StoppableReader drive(*m_args.drive, m_bStop);
        generator.MakeMergedVolume(*m_args.paths, sink, m_args.previousStart, m_args.nextStart,
                                   drive, sizeReady);
    } else {
        generator.MakeVolume(*m_args.paths, sink, m_args.previousStart, m_args.nextStart,
                             sizeReady);
    }
}

} // namespace larkspin
