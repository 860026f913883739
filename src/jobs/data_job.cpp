// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "drive/profiles.h"
#include "jobs/cd_writing.h"
#include "jobs/data_check.h"
#include "jobs/drive_reason.h"
#include "jobs/file_list.h"
#include "jobs/generator_thread.h"
#include "jobs/left_out.h"
#include "jobs/prompts.h"
#include "jobs/verification.h"
#include "platform/text.h"
#include "volume/formats/iso9660.h"

#include <algorithm>
#include <array>
#include <memory>
#include <new>
#include <utility>

namespace larkspin {

namespace {

constexpr size_t kDvdPipeBytes = size_t{32} << 20;
constexpr size_t kCdPipeBytes = size_t{16} << 20;
constexpr uint32_t kSectorsPerDvdChunk = kDvdChunkBytes / kSectorBytes;
constexpr int32_t kShortestTrack = 300; // sectors of a data track on a CD (Orange Book)

constexpr const char16_t* kGeneratorNotStarted = u"Internal error #175.";
constexpr const char16_t* kGeneratorFailed = u"Internal error #176.";
constexpr const char16_t* kPipeFailed =
    u"Internal error #164. Filesystem creation failed. Writing process aborted.";
constexpr const char16_t* kWriteFailed =
    u"Internal error #165. Writing process failed. Process aborted.";
constexpr const char16_t* kPaddingFailed =
    u"Internal error #166. Writing process failed. Process aborted.";
constexpr const char16_t* kSettingsRefused =
    u"The drive does not take the settings for a disk that files can be added to later. Nothing "
    u"was written. Please switch the drive off and on and try again, or use another drive.";

std::u16string CreationFailedText(const std::u16string& error) {
    return u"Disk creation failed with following error:\n\n" + error + u".";
}

// The job after the disc check: one disc, written in the way that suits it. Up to the first block,
// it may be started again, on this disc or another.
class DataWriting {
  public:
    DataWriting(JobEnv& env, CAspiCD& drive, const std::vector<std::u16string>& queue,
                const VolumeTitle& title, double speed, bool verify, LeftOut& leftOut)
        : m_env(env), m_drive(drive), m_dSpeed(speed), m_leftOut(leftOut),
          m_cancel(CancelOf(env, drive, JobKind::Data)), m_bVerify(verify),
          m_verification(env, drive, JobKind::Data) {
        m_args.paths = &queue;
        m_args.drive = &drive;
        m_args.title = title;
        m_args.files = &env.files;
        m_args.clock = &env.clock;
        m_args.record = &m_record; // also for the reports at the end
        m_args.keepsHashes = verify;
    }

    // CutInPlace: nothing can be appended to the volume on the disc, and there is no earlier one.
    enum class Start { Ready, Cancelled, Failed, Stopped, CutInPlace };

    // Finds the start of the session and lays the volume out. Writes nothing. The windows of the
    // job come up, and are gone again unless the result is Ready.
    Start Prepare(const DataDisc& disc);
    // Valid once Prepare has returned Ready: the sizes of the volume and the disc.
    DataRoom Room() const { return m_room; }
    // Likewise: the user has accepted what is left out of the volume.
    bool IsAccepted() { return m_leftOut.Accept(m_pGenerator->LeftOut()); }
    // Undoes Prepare, which may be called again.
    void Abandon();
    // The last chance to leave the queue as it is.
    bool IsCancelled() const { return m_cancel(); }
    // Writes what Prepare has laid out. True if the disc is to be ejected.
    bool Write() {
        const PathsTaking taking(m_env.host, m_drive);
        return m_bDvd ? WriteDvd() : WriteCd();
    }

    // Reads back what Write has written, if that is wanted and nothing went wrong.
    void Verify();
    // Tells the user the results at the end.
    void TellResults();

  private:
    void Status(const char16_t* text) { m_env.ui.SetStatus(JobKind::Data, text); }
    Start PrepareDvd(const DataDisc& disc);
    Start PrepareCd();
    Start StartGenerator(size_t pipeBytes, int32_t previousStart, int32_t nextStart);
    bool TakeEarlierSession();
    void StopGenerator();
    void End();

    bool WriteDvd();
    void RecordDvd();
    void RecordDescriptors(const std::vector<CAspiCD::DvdChunk>& chunks);
    bool WriteCd();
    bool RecordCd();
    bool WriteTrack(int32_t* address, int32_t totalSectors);
    bool PadTrack(int32_t* address);
    bool Fail(const char16_t* message);
    bool Abort(const char16_t* message);

    JobEnv& m_env;
    CAspiCD& m_drive;
    const double m_dSpeed;
    LeftOut& m_leftOut;
    const CancelFunctor m_cancel;
    bool m_bDvd = false;
    DataRoom m_room;
    GeneratorThreadArgs m_args;
    std::vector<std::u16string> m_notices;
    const bool m_bVerify;
    bool m_bWhole = false;  // as far as is known, the disc holds all that was to be recorded
    WrittenRecord m_record; // of the volume
    std::vector<WrittenRecord> m_descriptors; // that lead to it on a disc that is written in place
    Verification m_verification;
    std::optional<ProgressScope> m_progress;
    std::unique_ptr<BytePipe> m_pPipe; // outlives the generator: declared first
    std::unique_ptr<ImageGeneratorThread> m_pGenerator;
};

DataWriting::Start DataWriting::Prepare(const DataDisc& disc) {
    m_bDvd = disc.isDvd;
    m_progress.emplace(m_env, JobKind::Data, DiskTypeOf(m_drive));
    Status(u"Initializing...");
    const Start start = m_bDvd ? PrepareDvd(disc) : PrepareCd();
    if (start == Start::Cancelled) {
        Abandon();
    } else if (start != Start::Ready) {
        End();
    }
    return start;
}

void DataWriting::Abandon() {
    if (m_bDvd) {
        m_drive.LockDoor(false);
    }
    End();
    m_notices.clear(); // of a volume that is not written; the next generator has its own
}

void DataWriting::End() {
    StopGenerator();
    m_progress.reset();
}

DataWriting::Start DataWriting::StartGenerator(size_t pipeBytes, int32_t previousStart,
                                               int32_t nextStart) {
    m_args.previousStart = static_cast<uint32_t>(previousStart);
    m_args.nextStart = static_cast<uint32_t>(nextStart);
    m_args.merge = nextStart != 0;
    const bool hasLeadOut =
        m_args.merge && !TraitsOf(m_drive.GetCurrentProfile()).IsWrittenInPlace();
    m_args.previousEnd = hasLeadOut ? static_cast<uint32_t>(m_drive.ReadLastLeadOut()) : 0;
    m_args.hasPrevious = true;
    m_args.cutSessions.clear();
    std::u16string counting;
    const auto goOn = [&](size_t count, const std::u16string& folder) {
        if (std::u16string text = CountingText(count, folder); text != counting) {
            counting = std::move(text);
            m_env.ui.SetStatus(JobKind::Data, counting);
        }
        return !m_cancel();
    };
    do {
        m_pGenerator.reset(); // what it has to report will be reported again
        m_pPipe = std::make_unique<BytePipe>(pipeBytes);
        m_args.pipe = m_pPipe.get();
        m_pGenerator = std::make_unique<ImageGeneratorThread>(m_args);
        if (!m_pGenerator->Start(m_env.startThread)) {
            m_env.ui.ShowMessage(kGeneratorNotStarted);
            return Start::Failed;
        }
        if (!m_pGenerator->WaitReady(goOn)) {
            return Start::Cancelled;
        }
    } while (m_pGenerator->FoundCutSession() && hasLeadOut && TakeEarlierSession());
    if (m_pGenerator->FoundCutSession() && !hasLeadOut) {
        return Start::CutInPlace;
    }
    if (m_pGenerator->TotalSectors() == 0) {
        m_env.ui.ShowMessage(kGeneratorFailed);
        m_notices.push_back(m_pGenerator->Error());
        return Start::Failed;
    }
    m_room.start = nextStart;
    m_room.sectors = m_pGenerator->TotalSectors();
    return Start::Ready;
}

// False if the drive reports neither a session nor that there is none.
bool DataWriting::TakeEarlierSession() {
    const uint32_t toDescriptors = m_bDvd ? kSystemAreaSectors : 0;
    m_args.cutSessions.push_back(
        {m_args.previousStart, m_args.previousEnd != 0 ? m_args.previousEnd : m_args.nextStart});
    int32_t end = 0;
    int32_t start = 0;
    const auto before = static_cast<int32_t>(m_args.previousStart - toDescriptors);
    switch (m_drive.FindEarlierSession(before, &start, &end)) {
    case 0:
        m_args.previousStart = static_cast<uint32_t>(start) + toDescriptors;
        m_args.previousEnd = static_cast<uint32_t>(end);
        return true;
    case 1:
        m_args.hasPrevious = false;
        return true;
    default:
        return false;
    }
}

void DataWriting::StopGenerator() {
    if (m_pGenerator) {
        m_pGenerator->Stop();
        for (const VolumeNotice& notice : m_pGenerator->Notices()) {
            if (!m_leftOut.WasShown(notice)) {
                m_notices.push_back(TextOf(notice));
            }
        }
        m_pGenerator.reset();
    }
}

// --- DVD ---

DataWriting::Start DataWriting::PrepareDvd(const DataDisc& disc) {
    try {
        m_drive.ResetDvdState();
        m_drive.CountSpaceFromDiscStart(); // as the generator is told to count
        m_drive.OpenDvdForWriting(disc.ignorePrevious, m_dSpeed);
        m_room.capacity = m_drive.GetDvdBytes() / kSectorBytes;
        m_room.unit = kSectorsPerDvdChunk;
        const DvdFacts facts = m_drive.GetDvdFacts();
        return StartGenerator(kDvdPipeBytes, facts.previousStart, facts.nextStart);
    } catch (const CAspiCD::CgrowisofsException& failure) {
        m_env.ui.ShowMessage(StoppedText(failure));
    } catch (const std::bad_alloc&) {
        m_env.ui.ShowMessage(kOutOfMemory);
    }
    return Start::Stopped;
}

bool DataWriting::WriteDvd() {
    DoorLock door(m_drive, DoorLock::By::DvdLogic);
    try {
        RecordDvd();
    } catch (const CAspiCD::CgrowisofsException& failure) {
        m_env.ui.ShowMessage(StoppedText(failure));
        TellWriteError(m_drive, &m_notices);
    } catch (const std::bad_alloc&) {
        m_env.ui.ShowMessage(kOutOfMemory);
    }
    // After a failure the recording is still open, and the disc is about to be ejected.
    m_drive.FinishDvd();
    door.Release();
    End();
    return true;
}

void DataWriting::RecordDvd() {
    Status(u"Writing data...");
    m_drive.WriteDvdFromHandle(*m_pPipe, int64_t{m_drive.GetDvdFacts().nextStart} * kSectorBytes,
                               DvdProgress(m_env.ui, m_drive, JobKind::Data), &m_cancel);
    const bool cancelled = m_cancel();
    // If there is one, the stream has simply ended early.
    const std::u16string error = m_pGenerator->Error();
    // A volume that was cut short must not replace the one on the disc.
    if (!cancelled && error.empty()) {
        RecordDescriptors(m_drive.UpdateVolumeDescriptors());
    }
    Status(u"Finalizing disk...");
    const bool finished = m_drive.FinishDvd();
    if (!finished) {
        m_notices.push_back(NotFinishedText(m_drive));
    }
    m_bWhole = finished && !m_cancel() && error.empty();
    // Nothing else distinguishes this disc from a good one.
    if (!cancelled && !error.empty()) {
        m_notices.push_back(CreationFailedText(error));
    }
}

void DataWriting::RecordDescriptors(const std::vector<CAspiCD::DvdChunk>& chunks) {
    for (const CAspiCD::DvdChunk& chunk : chunks) {
        const uint64_t position = uint64_t{chunk.block} * kSectorBytes;
        ExtentList extents;
        extents.Add({position, chunk.bytes.size()}, u"Volume descriptors");
        WrittenRecord& record = m_descriptors.emplace_back();
        record.Expect(std::move(extents), position);
        record.Take(chunk.bytes);
    }
}

// --- CD ---

DataWriting::Start DataWriting::PrepareCd() {
    m_drive.SetBlockSize2048();
    // A drive reports the next address for the current write type (MMC, READ TRACK INFORMATION),
    // which the disc report, or an earlier job, may have changed.
    if (m_drive.SetTaoParameters() != 0) {
        m_env.ui.ShowMessage(kSettingsRefused);
        return Start::Failed;
    }
    int32_t previousStart = 0;
    int32_t nextStart = 0;
    const bool previousKnown = m_drive.ReadMultiSessionStart(&previousStart) == 0;
    m_drive.ReadNextWritableAddress(&nextStart);
    // A drive still set to another write type counts from the pre-gap of a blank disc.
    nextStart = std::max(nextStart, 0);
    if (nextStart != 0 && !previousKnown) {
        // Merging with the wrong session would hide the files of the right one.
        m_env.ui.ShowMessage(kGeneratorFailed);
        return Start::Failed;
    }
    m_room.capacity = m_drive.Disk().Capacity().value_or(0);
    m_room.unit = 1;
    return StartGenerator(kCdPipeBytes, previousStart, nextStart);
}

bool DataWriting::WriteCd() {
    const bool eject = RecordCd();
    End();
    return eject;
}

bool DataWriting::RecordCd() {
    m_drive.SetCdSpeed(WholeSpeed(m_dSpeed));
    if (m_cancel()) {
        return true;
    }
    const DoorLock door(m_drive);
    // Again, because a reset would have undone them.
    if (m_drive.SetTaoParameters() != 0) {
        return Fail(kSettingsRefused);
    }
    m_drive.SendOpc();
    Status(u"Writing data...");
    m_env.ui.SetAmount(JobKind::Data, static_cast<uint64_t>(m_room.sectors) * kSectorBytes);
    auto address = static_cast<int32_t>(m_room.start);
    if (!WriteTrack(&address, static_cast<int32_t>(m_room.sectors)) || !PadTrack(&address)) {
        return false;
    }
    if (!m_cancel()) {
        m_drive.SyncCache(&m_cancel);
        Status(u"Writing lead-in and lead-out...");
        // A drive that is still busy would take the command's full time to refuse it.
        const bool closed = !m_drive.IsGivenUp() && m_drive.CloseSession() == 0;
        // Whatever could not be flushed is missing from the disc, closed or not.
        if (m_drive.IsCacheLost()) {
            m_notices.push_back(UnlessGivenUp(m_drive, kCacheLost));
        }
        if (!closed && !m_drive.IsGivenUp()) {
            m_notices.push_back(kSessionNotClosed);
        }
        m_bWhole = closed && !m_drive.IsCacheLost() && !m_cancel();
    }
    if (const std::u16string error = m_pGenerator->Error(); !error.empty()) {
        m_bWhole = false;
        m_env.ui.ShowMessage(CreationFailedText(error));
    }
    return true;
}

bool DataWriting::WriteTrack(int32_t* address, int32_t totalSectors) {
    CdStream stream{*m_pPipe, *address, totalSectors, JobKind::Data, m_cancel, nullptr};
    const CdStreamEnd end = WriteStream(m_env.ui, m_drive, &stream);
    *address = stream.address;
    if (end != CdStreamEnd::Ended) {
        return Abort(end == CdStreamEnd::ReadFailed ? kPipeFailed : kWriteFailed);
    }
    return true;
}

// Also fills up the track if the generator failed early: drives refuse to close a shorter one.
bool DataWriting::PadTrack(int32_t* address) {
    static constexpr std::array<uint8_t, size_t{kSectorsPerWrite}* kSectorBytes> kZeros = {};
    const auto nextStart = static_cast<int32_t>(m_room.start);
    while (*address - nextStart < kShortestTrack && !m_cancel()) {
        const int32_t missing = kShortestTrack - (*address - nextStart);
        if (m_drive.WriteBlocks(address, kZeros.data(), std::min(missing, kSectorsPerWrite),
                                &m_cancel, kSectorBytes) != 0) {
            return Abort(kPaddingFailed);
        }
    }
    return true;
}

bool DataWriting::Fail(const char16_t* message) {
    m_env.ui.ShowMessage(message);
    return false;
}

bool DataWriting::Abort(const char16_t* message) {
    m_drive.SyncCache();
    return Fail(UnlessGivenUp(m_drive, message));
}

void DataWriting::Verify() {
    if (!m_bVerify || !m_bWhole || !m_record.IsComplete()) {
        return;
    }
    std::vector<const WrittenRecord*> records;
    for (const WrittenRecord& descriptors : m_descriptors) {
        records.push_back(&descriptors);
    }
    records.push_back(&m_record);
    m_verification.CompareData(records);
}

void DataWriting::TellResults() {
    if (m_bWhole && m_drive.IsCacheLost()) { // may be reported as late as when the door is unlocked
        m_notices.push_back(kCacheLost);
    }
    const ExtentList& extents = m_record.Extents();
    const size_t files = extents.Files();
    std::u16string contents = m_args.title.wide.empty() ? u"" : m_args.title.wide + u", ";
    contents += FormatWide("%zu %s, ", files, files == 1 ? "file" : "files") +
                FormatSize(static_cast<long long>(extents.FileBytes()));
    if (m_verification.WasBegun()) {
        m_verification.Tell(contents, &m_notices);
    } else if (m_bWhole && m_notices.empty()) {
        m_env.host.TellSuccess(kDiscWritten + contents);
    }
    ShowClosingNotices(m_env.ui, m_notices);
}

// Brings together the disc, the volume and the room for it, with the user's help. Writes nothing,
// apart from an erase that the user has asked for.
std::optional<DataWriting::Start> BeginWriting(JobEnv& env, DriveHold& hold, CAspiCD& drive,
                                               DataWriting& writing, int32_t estimate) {
    DataDisc disc;
    for (Verdict verdict = Verdict::Again;;) {
        if (verdict == Verdict::Again && !CheckDataDisc(env, hold, drive, estimate, &disc)) {
            return std::nullopt;
        }
        const DataWriting::Start start = writing.Prepare(disc);
        const bool isCut = start == DataWriting::Start::CutInPlace;
        if (!isCut && (start != DataWriting::Start::Ready || writing.Room().Excess() == 0)) {
            return start;
        }
        writing.Abandon();
        verdict = isCut ? AskToWriteOver(env, &disc)
                        : AskForRoom(env, hold, drive, writing.Room(), &disc);
        if (verdict == Verdict::GiveUp) {
            return std::nullopt;
        }
    }
}

} // namespace

JobEnd DataJob(JobEnv& env) {
    const std::vector<std::u16string> queueCopy = env.host.CopyQueue();
    // A quick measurement is awaited before the dialog, which a slow disk must not delay.
    std::u16string header = env.host.DataHeaderText();
    for (int looks = 0; looks < kLooksBeforeDialog && header == kCalculating; ++looks) {
        env.clock.Sleep(kLookTime);
        header = env.host.DataHeaderText();
    }
    const DataParametersResult parameters =
        env.ui.ShowDataParameters(header, env.host.VerifyAfterWriting());
    if (parameters.bCancelled) {
        return EndOfCancelledDialog(env.host);
    }
    CAspiCD* const drive = FindDrive(env, parameters.nDriveIndex);
    if (drive == nullptr) {
        return JobEnd::Idle;
    }
    LeftOut leftOut(env.ui);
    const std::optional<FileList> list = ListQueue(env, JobKind::Data, queueCopy, leftOut);
    if (!list) {
        return EndOfCancelledDialog(env.host);
    }
    const VolumeTitle title = MakeVolumeTitle(parameters.strTitle, env.clock.Now());
    DriveHold hold(env.ui, *drive);
    DataWriting writing(env, *drive, queueCopy, title, parameters.dSpeed, parameters.bVerify,
                        leftOut);
    const std::optional<DataWriting::Start> start =
        BeginWriting(env, hold, *drive, writing, HeldSectors(SectorsOfFiles(*list)));
    if (!start) {
        return JobEnd::Exit;
    }
    bool eject = *start != DataWriting::Start::Failed;
    if (*start == DataWriting::Start::Ready) {
        if (!writing.IsAccepted()) {
            writing.Abandon();
            return EndOfCancelledDialog(env.host);
        }
        if (writing.IsCancelled()) {
            writing.Abandon();
        } else {
            eject = writing.Write();
            writing.Verify();
        }
    }
    if (eject) {
        drive->EjectDisk();
    }
    hold.Release();
    writing.TellResults();
    return JobEnd::Exit;
}

} // namespace larkspin
