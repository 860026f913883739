#include "jobs/data_check.h"
#include "jobs/file_list.h"
#include "jobs/generator_thread.h"
#include "jobs/prompts.h"
#include "platform/text.h"

#include <algorithm>
#include <array>
#include <memory>
#include <new>

namespace larkspin {

namespace {

constexpr size_t kDvdPipeBytes = size_t{32} << 20;
constexpr size_t kCdPipeBytes = size_t{16} << 20;
constexpr int32_t kSectorsPerWrite = 16;
constexpr int32_t kShortestTrack = 300; // sectors of a data track on a CD (Orange Book)

constexpr const char16_t* kGeneratorNotStarted = u"Internal error #175.";
constexpr const char16_t* kGeneratorFailed = u"Internal error #176.";
constexpr const char16_t* kPipeFailed =
    u"Internal error #164. Filesystem creation failed. Writing process aborted.";
constexpr const char16_t* kWriteFailed =
    u"Internal error #165. Writing process failed. Process aborted.";
constexpr const char16_t* kPaddingFailed =
    u"Internal error #166. Writing process failed. Process aborted.";

// On a disc that is written in place a volume that is not found is lost: the new one lies over it.
// So it is looked for again, as the first look at a disc may fail for reasons of its own.
bool HasVolume(CAspiCD& drive) {
    return drive.HasIsoVolume() || drive.HasIsoVolume();
}

// The part of the job after the disc check: one disc, written in the way that suits it.
class DataWriting {
  public:
    DataWriting(JobEnv& env, CAspiCD& drive, const std::vector<std::u16string>& queue,
                const VolumeTitle& title, double speed)
        : m_env(env), m_drive(drive), m_dSpeed(speed),
          m_cancel(&env.ui, &CCDWriterUI::IsDataCancelled) {
        m_args.paths = &queue;
        m_args.drive = &drive;
        m_args.title = title;
        m_args.files = &env.files;
        m_args.clock = &env.clock;
    }

    // Both return true if the disc is to be ejected.
    bool WriteDvd();
    bool WriteCd();

    // What the user has to be told at the end.
    const std::vector<std::u16string>& Notices() const { return m_notices; }

  private:
    enum class Start { Ready, Cancelled, Failed };

    void Status(const char16_t* text) { m_env.ui.SetStatus(JobKind::Data, text); }
    Start StartGenerator(size_t pipeBytes, int32_t previousStart, int32_t nextStart);
    void StopGenerator();

    void RecordDvd();
    bool RecordCd(int32_t nextStart);
    bool WriteTrack(int32_t* address, int32_t totalSectors);
    bool PadTrack(int32_t* address, int32_t nextStart);
    bool Abort(const char16_t* message);

    JobEnv& m_env;
    CAspiCD& m_drive;
    const double m_dSpeed;
    const CancelFunctor m_cancel;
    GeneratorThreadArgs m_args;
    std::vector<std::u16string> m_notices;
    std::unique_ptr<BytePipe> m_pPipe; // outlives the generator: declared first
    std::unique_ptr<ImageGeneratorThread> m_pGenerator;
};

DataWriting::Start DataWriting::StartGenerator(size_t pipeBytes, int32_t previousStart,
                                               int32_t nextStart) {
    m_pPipe = std::make_unique<BytePipe>(pipeBytes);
    m_args.pipe = m_pPipe.get();
    m_args.previousStart = static_cast<uint32_t>(previousStart);
    m_args.nextStart = static_cast<uint32_t>(nextStart);
    m_args.merge = nextStart != 0;
    m_pGenerator = std::make_unique<ImageGeneratorThread>(m_args);
    if (!m_pGenerator->Start(m_env.startThread)) {
        m_env.ui.ShowMessage(kGeneratorNotStarted);
        return Start::Failed;
    }
    if (!m_pGenerator->WaitReady(m_cancel)) {
        return Start::Cancelled;
    }
    if (m_pGenerator->TotalSectors() == 0) {
        m_env.ui.ShowMessage(kGeneratorFailed);
        m_notices.push_back(m_pGenerator->Error());
        return Start::Failed;
    }
    return Start::Ready;
}

void DataWriting::StopGenerator() {
    if (m_pGenerator) {
        m_pGenerator->Stop();
        for (const VolumeNotice& notice : m_pGenerator->Notices()) {
            m_notices.push_back(TextOf(notice));
        }
    }
}

// --- DVD ---

bool DataWriting::WriteDvd() {
    ProgressScope progress(m_env, JobKind::Data, m_drive.GetCurrentProfile());
    DoorLock door(m_drive, DoorLock::By::DvdLogic);
    Status(u"Initializing...");
    bool eject = true;
    try {
        m_drive.ResetDvdState();
        m_drive.m_bSpaceFromDiscStart = true; // as the generator is told to count
        m_drive.OpenDvdForWriting(!HasVolume(m_drive), m_dSpeed);
        const Start start =
            StartGenerator(kDvdPipeBytes, m_drive.m_nPreviousStart, m_drive.m_nNextStart);
        if (start == Start::Ready) {
            RecordDvd();
        }
        eject = start != Start::Failed;
    } catch (const CAspiCD::CgrowisofsException& failure) {
        m_env.ui.ShowMessage(StoppedText(failure));
    } catch (const std::bad_alloc&) {
        m_env.ui.ShowMessage(kOutOfMemory);
    }
    // After a failure the recording is still open, and the disc is about to be ejected.
    RunFinisher(m_drive);
    StopGenerator();
    door.Release();
    progress.End();
    return eject;
}

void DataWriting::RecordDvd() {
    Status(u"Writing data...");
    m_drive.WriteDvdFromHandle(
        *m_pPipe, int64_t{m_drive.m_nNextStart} * kSectorBytes,
        [this](int percent) { m_env.ui.SetProgress(JobKind::Data, percent); }, &m_cancel);
    const bool cancelled = m_cancel();
    // The stream has just ended early if there is one.
    const std::u16string error = m_pGenerator->Error();
    // A volume that was cut short must not take the place of the one on the disc.
    if (!cancelled && error.empty()) {
        m_drive.UpdateVolumeDescriptors();
    }
    Status(u"Finalizing disk...");
    if (!RunFinisher(m_drive)) {
        m_notices.push_back(kSessionNotClosed);
    }
    // Nothing else would tell this disc from a good one.
    if (!cancelled && !error.empty()) {
        m_notices.push_back(error);
    }
}

// --- CD ---

bool DataWriting::WriteCd() {
    ProgressScope progress(m_env, JobKind::Data, DiskTypeOf(m_drive));
    Status(u"Initializing...");
    m_drive.SetBlockSize2048();
    // A drive tells the next address for the write type in effect (MMC, READ TRACK INFORMATION),
    // and the disc report, or an earlier job, may have left another one there.
    m_drive.SetTaoParameters();
    int32_t previousStart = 0;
    int32_t nextStart = 0;
    const bool previousKnown = m_drive.ReadMultiSessionStart(&previousStart) == 0;
    m_drive.ReadNextWritableAddress(&nextStart);
    // A drive that is still set for another write type counts from the pre-gap of a blank disc.
    nextStart = std::max(nextStart, 0);
    if (nextStart != 0 && !previousKnown) {
        // Merging with a wrong session would hide the files of the right one.
        m_env.ui.ShowMessage(kGeneratorFailed);
        return false;
    }
    const Start start = StartGenerator(kCdPipeBytes, previousStart, nextStart);
    bool eject = start != Start::Failed;
    if (start == Start::Ready) {
        eject = RecordCd(nextStart);
    }
    StopGenerator();
    progress.End();
    return eject;
}

bool DataWriting::RecordCd(int32_t nextStart) {
    const auto totalSectors = static_cast<int32_t>(m_pGenerator->TotalSectors());
    // The estimate of the disc check knows neither directories nor what is on the disc already.
    if (const std::optional<int32_t> capacity = KnownCapacity(m_drive)) {
        const int64_t excess = int64_t{nextStart} + totalSectors - *capacity;
        if (excess > 0) {
            prompts::DataTooLargeForDisk(m_env.ui, prompts::ExcessMegabytes(excess));
            return false;
        }
    }
    m_drive.SetCdSpeed(WholeSpeed(m_dSpeed));
    if (m_cancel()) {
        return true;
    }
    const DoorLock door(m_drive);
    m_drive.SetTaoParameters();
    m_drive.SendOpc();
    Status(u"Writing data...");
    int32_t address = nextStart;
    if (!WriteTrack(&address, totalSectors) || !PadTrack(&address, nextStart)) {
        return false;
    }
    if (!m_cancel()) {
        m_drive.SyncCache();
        // What the drive could not empty its cache of is missing on the disc, closed or not.
        const bool isLost = m_drive.m_bCacheLost;
        Status(u"Writing lead-in and lead-out...");
        if (m_drive.CloseSession() != 0 || isLost) {
            m_notices.push_back(kSessionNotClosed);
        }
    }
    if (const std::u16string error = m_pGenerator->Error(); !error.empty()) {
        m_env.ui.ShowMessage(u"Disk creation failed with following error:\n\n" + error + u".");
    }
    return true;
}

bool DataWriting::WriteTrack(int32_t* address, int32_t totalSectors) {
    std::vector<uint8_t> buffer(size_t{kSectorsPerWrite} * kSectorBytes);
    int32_t remaining = totalSectors;
    while (remaining > 0 && !m_cancel()) {
        const std::ptrdiff_t bytesRead = ReadFully(
            *m_pPipe, buffer.data(), size_t(std::min(remaining, kSectorsPerWrite)) * kSectorBytes);
        if (bytesRead < 0) {
            return Abort(kPipeFailed);
        }
        const auto sectors = static_cast<int32_t>(bytesRead / kSectorBytes);
        if (sectors == 0) {
            break; // the generator has closed its end
        }
        if (m_drive.WriteBlocks(address, buffer.data(), sectors, &m_cancel, kSectorBytes) != 0) {
            return Abort(kWriteFailed);
        }
        remaining -= sectors;
        m_env.ui.SetProgress(JobKind::Data,
                             static_cast<int>(100 - int64_t{remaining} * 100 / totalSectors));
    }
    return true;
}

// Also fills up the track of a generator that failed early: drives refuse to close a shorter one.
bool DataWriting::PadTrack(int32_t* address, int32_t nextStart) {
    static constexpr std::array<uint8_t, size_t{kSectorsPerWrite}* kSectorBytes> kZeros = {};
    while (*address - nextStart < kShortestTrack && !m_cancel()) {
        const int32_t missing = kShortestTrack - (*address - nextStart);
        if (m_drive.WriteBlocks(address, kZeros.data(), std::min(missing, kSectorsPerWrite),
                                &m_cancel, kSectorBytes) != 0) {
            return Abort(kPaddingFailed);
        }
    }
    return true;
}

bool DataWriting::Abort(const char16_t* message) {
    m_drive.SyncCache();
    m_env.ui.ShowMessage(message);
    return false;
}

} // namespace

JobEnd DataJob(JobEnv& env) {
    const std::vector<std::u16string> queueCopy = env.host.CopyQueue();
    const DataParametersResult parameters = env.ui.ShowDataParameters(env.host.DataHeaderText());
    if (parameters.bCancelled) {
        return env.host.IsQueueExclusive() ? JobEnd::Exit : JobEnd::Idle;
    }
    CAspiCD* const drive = FindDrive(env, parameters.nDriveIndex);
    if (drive == nullptr) {
        return JobEnd::Idle;
    }
    const std::vector<std::u16string> files = ExpandPaths(env.files, queueCopy);
    if (!CheckDataDisc(env, *drive, HeldSectors(SectorsOfFiles(env.files, files)))) {
        return JobEnd::Exit;
    }
    const VolumeTitle title = MakeVolumeTitle(parameters.strTitle, env.clock.Now());
    env.host.ClearQueue();

    DataWriting writing(env, *drive, queueCopy, title, parameters.dSpeed);
    const bool eject = IsDvd(*drive) ? writing.WriteDvd() : writing.WriteCd();
    if (eject) {
        drive->EjectDisk();
    }
    ShowClosingNotices(env.ui, writing.Notices());
    return JobEnd::Exit;
}

} // namespace larkspin
