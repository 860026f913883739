// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "drive/cue_sheet.h"
#include "drive/profiles.h"
#include "jobs/capacity_marks.h"
#include "jobs/cd_writing.h"
#include "jobs/drive_reason.h"
#include "jobs/drive_wait.h"
#include "jobs/file_list.h"
#include "jobs/in_job_erase.h"
#include "jobs/prompts.h"
#include "jobs/verification.h"
#include "platform/paths.h"
#include "platform/text.h"

#include <algorithm>
#include <array>
#include <memory>
#include <new>
#include <span>
#include <utility>
#include <vector>

namespace larkspin {

namespace {

// From this capacity on, a disc counts as large enough for any image.
constexpr int32_t kAnyImageBlocks = 400'000;

constexpr const char16_t* kNoImage = u"Internal error #561. Unable to open image file.";
constexpr const char16_t* kImageGone = u"Internal error #562. Unable to open image file.";
constexpr const char16_t* kNotStarted = u"Internal error #563. Unable to initiate recording.";
constexpr const char16_t* kReadFailed =
    u"Internal error #564. Reading of image failed. Writing process aborted.";
constexpr const char16_t* kWriteFailed =
    u"Internal error #565. Writing process failed. Process aborted.";
constexpr const char16_t* kImageTooSmall =
    u"The image is smaller than 64 kb, which is too small for a DVD. Nothing was written.";
constexpr const char16_t* kImageTooSmallForBd =
    u"The image is smaller than 64 kb, which is too small for a Blu-ray disk. Nothing was "
    u"written.";
constexpr const char16_t* kImageShorter =
    u"The image file ended before all of it was written. The disk is not complete.";

// Returns null unless `path` is a readable regular file, whose size goes to *bytes.
std::unique_ptr<ISequentialFile> OpenImage(IFileSystem& files, const std::u16string& path,
                                           int64_t* bytes) {
    FileStatus status;
    if (!files.Status(path, &status) || status.type != FileStatus::Type::Regular) {
        return nullptr;
    }
    std::unique_ptr<ISequentialFile> image = files.OpenSequential(path);
    *bytes = image != nullptr ? image->Size() : -1;
    return *bytes >= 0 ? std::move(image) : nullptr;
}

// An image has no named parts, so the report says where in it something is wrong.
ExtentList PiecesOf(int64_t imageBytes) {
    constexpr uint64_t kPieceBytes = uint64_t{4} << 20;
    ExtentList pieces;
    const auto end = static_cast<uint64_t>(imageBytes);
    for (uint64_t at = 0; at < end; at += kPieceBytes) {
        const uint64_t bytes = std::min(kPieceBytes, end - at);
        pieces.Add({at, bytes}, FormatWide("The image from byte %llu to %llu",
                                           static_cast<unsigned long long>(at),
                                           static_cast<unsigned long long>(at + bytes - 1)));
    }
    return pieces;
}

// Counts what the DVD logic takes from the image: it notices the end, but not whether it is the
// right one.
class CountedSource final : public IByteSource {
  public:
    explicit CountedSource(IByteSource& source) : m_source(source) {}

    std::ptrdiff_t Read(void* buffer, size_t bytes) override {
        const std::ptrdiff_t got = m_source.Read(buffer, bytes);
        m_nBytes += std::max<std::ptrdiff_t>(got, 0);
        return got;
    }
    int64_t Bytes() const { return m_nBytes; }

  private:
    IByteSource& m_source;
    int64_t m_nBytes = 0;
};

class ImageWriting {
  public:
    ImageWriting(JobEnv& env, CAspiCD& drive, const std::u16string& imagePath, int64_t imageBytes,
                 const CopyParametersResult& parameters)
        : m_env(env), m_drive(drive), m_strPath(imagePath), m_nBytes(imageBytes),
          m_nSectors(HeldSectors(static_cast<uint64_t>(imageBytes) / kSectorBytes)),
          m_dSpeed(parameters.dSpeed), m_bVerify(parameters.bVerify),
          m_cancel(CancelOf(env, drive, JobKind::Image)) {}

    // Both return false if the job has to give up.
    bool CheckDisc();
    bool WriteCopy();
    // True if the last copy was cancelled while it was written.
    bool WasCancelled() const { return m_bCancelled; }

  private:
    enum class Verdict { Passed, Again, GiveUp };
    static Verdict AgainIf(bool answer) { return answer ? Verdict::Again : Verdict::GiveUp; }

    void Status(const char16_t* text) { m_env.ui.SetStatus(JobKind::Image, text); }
    Verdict CheckOnce();
    Verdict CheckDvd();
    Verdict CheckCd();
    Verdict WasteUnless(bool accepted);
    bool WriteDvd();
    bool WriteCd();
    bool RecordCd(ISequentialFile& image);
    bool Fail(const char16_t* message);

    JobEnv& m_env;
    CAspiCD& m_drive;
    DriveHold m_hold{m_env.ui, m_drive};
    const std::u16string& m_strPath;
    const int64_t m_nBytes;
    const int32_t m_nSectors; // without a last partial sector
    const double m_dSpeed;
    const bool m_bVerify;
    const CancelFunctor m_cancel;
    WrittenRecord m_record; // of this copy, if it is to be verified
    bool m_bWhole = false;  // as far as is known, this copy is on the disc
    bool m_bCancelled = false;
    std::vector<std::u16string> m_notices; // what the user has to be told about this copy
};

bool ImageWriting::CheckDisc() {
    while (m_hold.Take()) {
        const Verdict verdict = CheckOnce();
        if (verdict != Verdict::Again) {
            return verdict == Verdict::Passed;
        }
    }
    return false;
}

ImageWriting::Verdict ImageWriting::CheckOnce() {
    if (!ReadDiskInfoWhenReady(m_env, m_hold, m_drive, JobKind::Image)) {
        return Verdict::GiveUp;
    }
    const MediumTraits& medium = TraitsOf(m_drive.GetCurrentProfile());
    if (medium.recording == Recording::Random) {
        return AgainIf(prompts::RandomBdNotSupported(m_hold.UiWithFreeDrive()));
    }
    if (!medium.IsOverwritten() && !m_drive.Disk().IsKnownToBe(DISK_BLANK)) {
        return AgainIf(m_drive.Disk().IsKnownToBe(DISK_ERASABLE)
                           ? prompts::EraseNotBlank(m_env.ui) && InJobErase(m_env, m_drive)
                           : prompts::NotSuitableForImage(m_hold.UiWithFreeDrive()));
    }
    return HasDvdWay(m_drive) ? CheckDvd() : CheckCd();
}

ImageWriting::Verdict ImageWriting::WasteUnless(bool accepted) {
    return accepted ? Verdict::Passed
                    : AgainIf(prompts::InsertAnotherDisk(m_hold.UiWithFreeDrive()));
}

ImageWriting::Verdict ImageWriting::CheckDvd() {
    const int32_t capacity = m_drive.GetDvdCapacity();
    if (capacity <= 0) {
        return AgainIf(prompts::NotSuitableForImage(m_hold.UiWithFreeDrive()));
    }
    if (m_nSectors > capacity) {
        return AgainIf(prompts::ImageTooLargeForDisk(
            m_hold.UiWithFreeDrive(), prompts::ExcessMegabytes(m_nSectors - capacity)));
    }
    const MediumTraits& medium = TraitsOf(m_drive.GetCurrentProfile());
    const bool isWrittenOnce =
        m_drive.Disk().Knows(DISK_ERASABLE) && !m_drive.Disk().IsKnownToBe(DISK_ERASABLE);
    const bool fitsCd = m_nSectors < kCdLimitSectors;
    if (isWrittenOnce && medium.IsBd() && m_nSectors < kDvdLimitSectors) {
        return WasteUnless(prompts::WasteBluRay(m_env.ui, fitsCd ? u"CD-R/RW" : u"DVD"));
    }
    if (isWrittenOnce && fitsCd) {
        const Verdict verdict = WasteUnless(prompts::WasteDvd(m_env.ui));
        if (verdict != Verdict::Passed) {
            return verdict;
        }
    }
    if (medium.IsPlusRDl() && m_nSectors < kDvdLimitSectors) {
        return WasteUnless(prompts::WasteDoubleLayer(m_env.ui));
    }
    return Verdict::Passed;
}

ImageWriting::Verdict ImageWriting::CheckCd() {
    const std::optional<int32_t> capacity = m_drive.Disk().Capacity();
    if (!capacity) {
        return prompts::UseUnidentifiedDisk(m_env.ui) ? Verdict::Passed : Verdict::GiveUp;
    }
    if (*capacity < kAnyImageBlocks && m_nSectors > *capacity) {
        return AgainIf(prompts::ImageTooLargeForDisk(
            m_hold.UiWithFreeDrive(), prompts::ExcessMegabytes(m_nSectors - *capacity)));
    }
    return Verdict::Passed;
}

bool ImageWriting::WriteCopy() {
    m_bWhole = false;
    if (!(HasDvdWay(m_drive) ? WriteDvd() : WriteCd())) {
        return false;
    }
    m_bCancelled = m_cancel();
    Verification verification(m_env, m_drive, JobKind::Image);
    if (m_bVerify && m_bWhole && !m_bCancelled && m_record.IsComplete()) {
        verification.CompareData(std::array{static_cast<const WrittenRecord*>(&m_record)});
    }
    m_drive.EjectDisk();
    m_hold.Release();
    if (m_bWhole && m_drive.IsCacheLost()) { // may be reported as late as when the door is unlocked
        m_notices.push_back(kCacheLost);
    }
    const std::u16string contents =
        std::u16string(LeafName(m_strPath)) + u", " + FormatSize(m_nBytes);
    if (verification.WasBegun()) {
        verification.Tell(contents, &m_notices);
    } else if (m_bWhole && !m_bCancelled && m_notices.empty()) {
        m_env.host.TellSuccess(kDiscWritten + contents);
    }
    ShowClosingNotices(m_env.ui, std::exchange(m_notices, {}));
    return true;
}

bool ImageWriting::WriteDvd() {
    ProgressScope progress(m_env, JobKind::Image, m_drive.GetCurrentProfile());
    DoorLock door(m_drive, DoorLock::By::DvdLogic);
    int64_t bytesNow = 0;
    const std::unique_ptr<ISequentialFile> image = OpenImage(m_env.files, m_strPath, &bytesNow);
    if (image == nullptr) {
        return Fail(kImageGone);
    }
    Status(u"Writing image...");
    if (m_bVerify) {
        m_record.Expect(PiecesOf(m_nBytes), 0);
    }
    RecordingSource recording(*image, m_record);
    CountedSource source(recording);
    bool told = false;
    try {
        m_drive.ResetDvdState();
        m_drive.OpenDvdForWriting(true, m_dSpeed);
        m_drive.WriteDvdFromHandle(source, int64_t{m_drive.GetDvdFacts().nextStart} * kSectorBytes,
                                   DvdProgress(m_env.ui, m_drive, JobKind::Image), &m_cancel);
        if (!m_cancel() && source.Bytes() < m_nBytes) {
            m_notices.push_back(kImageShorter);
        }
        Status(u"Finalizing disk...");
    } catch (const CAspiCD::CgrowisofsException& failure) {
        m_env.ui.ShowMessage(StoppedText(failure));
        TellWriteError(m_drive, &m_notices);
        told = true;
    } catch (const std::bad_alloc&) {
        m_env.ui.ShowMessage(kOutOfMemory);
        told = true;
    }
    // Also after a failure: the disc is about to be ejected, and no session may stay open on it.
    const bool closed = m_drive.FinishDvd();
    door.Release();
    progress.End();
    const bool isTooSmall = m_nBytes < static_cast<int64_t>(kDvdBufferBytes);
    if (!told && isTooSmall) {
        m_notices.push_back(TraitsOf(m_drive.GetCurrentProfile()).IsBd() ? kImageTooSmallForBd
                                                                         : kImageTooSmall);
    } else if (!told && !closed) {
        m_notices.push_back(NotFinishedText(m_drive));
    }
    m_bWhole = !told && closed && !isTooSmall;
    return true;
}

bool ImageWriting::WriteCd() {
    ProgressScope progress(m_env, JobKind::Image, DiskTypeOf(m_drive));
    m_drive.SetCdSpeed(WholeSpeed(m_dSpeed));
    DoorLock door(m_drive);
    int64_t bytesNow = 0;
    const std::unique_ptr<ISequentialFile> image = OpenImage(m_env.files, m_strPath, &bytesNow);
    if (image == nullptr) {
        return Fail(kImageGone);
    }
    Status(u"Writing lead-in...");
    const std::vector<uint8_t> cueSheet = BuildImageCueSheet(m_nBytes);
    if (m_drive.PrepareSaoWrite(m_env.host.BufferUnderrunProtection(),
                                m_env.host.WriteSpeedControl(), cueSheet, &m_cancel,
                                kSectorBytes) != 0) {
        return Fail(UnlessGivenUp(m_drive, kNotStarted));
    }
    Status(u"Writing data...");
    return RecordCd(*image);
}

bool ImageWriting::RecordCd(ISequentialFile& image) {
    if (m_bVerify) {
        m_record.Expect(PiecesOf(int64_t{m_nSectors} * kSectorBytes), 0);
    }
    m_env.ui.SetAmount(JobKind::Image, uint64_t(m_nSectors) * kSectorBytes);
    CdStream stream{image, 0, m_nSectors, JobKind::Image, m_cancel, &m_record};
    switch (WriteStream(m_env.ui, m_drive, &stream)) {
    case CdStreamEnd::Ended:
        break;
    case CdStreamEnd::ReadFailed:
        return Fail(kReadFailed);
    case CdStreamEnd::WriteFailed:
        m_drive.SyncCache();
        return Fail(UnlessGivenUp(m_drive, kWriteFailed));
    }
    if (!m_cancel()) {
        Status(u"Writing lead-out...");
        m_bWhole = m_drive.FinishSaoWrite(&m_cancel) == 0;
        if (!m_bWhole) {
            m_notices.push_back(NoLeadOutText(m_drive));
        }
        if (stream.left > 0) {
            m_notices.push_back(kImageShorter);
        }
    }
    return true;
}

bool ImageWriting::Fail(const char16_t* message) {
    m_env.ui.ShowMessage(message);
    return false;
}

} // namespace

JobEnd ImageJob(JobEnv& env, const std::u16string& imagePath) {
    int64_t imageBytes = 0;
    if (OpenImage(env.files, imagePath, &imageBytes) == nullptr) {
        env.ui.ShowMessage(kNoImage);
        return JobEnd::Exit;
    }
    const CopyParametersResult parameters = env.ui.ShowImageParameters(
        FormatWide("Image to write contains %s of data.",
                   ToNative(FormatSize(imageBytes)).c_str()) +
            DiscSuffix(static_cast<uint64_t>(imageBytes), u" BluRay disc required."),
        env.host.VerifyAfterWriting());
    if (parameters.bCancelled) {
        return JobEnd::Exit;
    }
    CAspiCD* const drive = FindDrive(env, parameters.nDriveIndex);
    if (drive == nullptr) {
        return JobEnd::Exit;
    }
    const uint32_t copies = HeldCopies(parameters.nCopies);
    ImageWriting writing(env, *drive, imagePath, imageBytes, parameters);
    for (uint32_t written = 1; writing.CheckDisc() && writing.WriteCopy(); ++written) {
        if (written == copies || writing.WasCancelled() ||
            !prompts::NextCopy(env.ui, written, copies)) {
            break;
        }
    }
    return JobEnd::Exit;
}

} // namespace larkspin
