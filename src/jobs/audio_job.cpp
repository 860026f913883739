// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "audio/factory.h"
#include "drive/cue_sheet.h"
#include "drive/profiles.h"
#include "jobs/capacity_marks.h"
#include "jobs/drive_wait.h"
#include "jobs/in_job_erase.h"
#include "jobs/left_out.h"
#include "jobs/prompts.h"
#include "jobs/verification.h"
#include "platform/event.h"
#include "platform/stoppable_files.h"
#include "platform/text.h"

#include <atomic>
#include <exception>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <stop_token>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace larkspin {

namespace {

constexpr int64_t kGraceBlocks = 7000; // past the reported capacity; the drive decides

constexpr const char16_t* kNotStarted = u"Internal error #663. Unable to initiate recording.";
constexpr const char16_t* kWriteFailed = u"Internal error #965. Writing failed. Process aborted.";
// Title of the box for a source that can't be opened.
constexpr const char16_t* kReaderBoxTitle = u"Brackwater";

// The sources of one copy: one reader for each track, all opened before the first block.
struct Tracks {
    std::vector<std::unique_ptr<CReader>> readers;
    std::vector<std::u16string> paths;
    std::vector<uint32_t> bytes;
    uint64_t totalBytes = 0;
    std::stop_source stop; // ends all reading
};

// The files that can't be tracks, and why.
struct Refusals {
    std::vector<std::u16string> texts;
    std::set<std::u16string> files;
};

// "7 tracks, 61:05 (min:sec)"
std::u16string ContentsText(const Tracks& tracks) {
    const size_t count = tracks.readers.size();
    const uint64_t seconds = tracks.totalBytes / kPcmBytesPerSecond;
    return FormatWide("%zu %s, %llu:%02llu (min:sec)", count, count == 1 ? "track" : "tracks",
                      static_cast<unsigned long long>(seconds / 60),
                      static_cast<unsigned long long>(seconds % 60));
}

enum class CopyEnd { Written, Cancelled, GiveUp };

class AudioWriting {
  public:
    AudioWriting(JobEnv& env, CAspiCD& drive, const FileList& list,
                 const CopyParametersResult& parameters)
        : m_env(env), m_drive(drive), m_list(list), m_dSpeed(parameters.dSpeed),
          m_bVerify(parameters.bVerify), m_cancel(CancelOf(env, drive, JobKind::Audio)) {}

    CopyEnd WriteCopy();

  private:
    void Status(const std::u16string& text) { m_env.ui.SetStatus(JobKind::Audio, text); }
    bool CheckDisc();
    bool OpenTracks(Tracks* tracks);
    bool AwaitTracks(Tracks* tracks, Refusals* refusals);
    std::u16string OpenTrack(const std::u16string& file, Tracks* tracks);
    bool AskToLeaveOut(const std::vector<std::u16string>& refusals, size_t files, size_t others);
    bool FitsDisc(const Tracks& tracks);
    bool WriteTracks(Tracks& tracks);
    bool WriteTrack(CReader& reader, int32_t* address, uint64_t totalBytes, uint64_t* written);

    JobEnv& m_env;
    CAspiCD& m_drive;
    DriveHold m_hold{m_env.ui, m_drive};
    const FileList& m_list;
    const double m_dSpeed;
    const bool m_bVerify;
    const CancelFunctor m_cancel;
    std::set<std::u16string> m_leftOut;    // files, as the user has decided
    AudioRecord m_record;                  // of this copy, if it is to be verified
    std::vector<std::u16string> m_notices; // what the user has to be told about this copy
    bool m_bBrokenOff = false;             // a track of this copy has silence in it
    int m_nLastPercent = 0;                // the bar is touched only when the percentage changes
};

// Prompts until the disc is a blank CD; false if the user gives up.
bool AudioWriting::CheckDisc() {
    while (m_hold.Take()) {
        if (!AwaitDrive(m_env, m_hold, m_drive, JobKind::Audio)) {
            return false;
        }
        bool again = false;
        if (HasDvdWay(m_drive)) {
            const bool isBd = TraitsOf(m_drive.GetCurrentProfile()).IsBd();
            CCDWriterUI& ui = m_hold.UiWithFreeDrive();
            again = isBd ? prompts::BluRayAudioNotSupported(ui) : prompts::DvdAudioNotSupported(ui);
        } else {
            if (!ReadDiskInfoWhenReady(m_env, m_hold, m_drive, JobKind::Audio)) {
                return false;
            }
            const bool blank = m_drive.Disk().IsKnownToBe(DISK_BLANK);
            if (blank && m_drive.Disk().Capacity()) {
                return true;
            }
            again = !blank && m_drive.Disk().IsKnownToBe(DISK_ERASABLE)
                        ? prompts::EraseNotBlank(m_env.ui) && InJobErase(m_env, m_drive)
                        : prompts::NotSuitableForAudio(m_hold.UiWithFreeDrive());
        }
        if (!again) {
            return false;
        }
    }
    return false;
}

// Opens all files that can be tracks. The user is told at once about those that can't, and may
// leave them out of all copies; false if they give up.
bool AudioWriting::OpenTracks(Tracks* tracks) {
    Refusals refusals;
    if (!AwaitTracks(tracks, &refusals)) {
        return false;
    }
    if (refusals.texts.empty()) {
        return true;
    }
    m_leftOut.merge(refusals.files);
    return AskToLeaveOut(refusals.texts, m_list.files.size(), tracks->readers.size());
}

// Opens all files on another thread, so that it can be cancelled; false if it was. A file may
// contain nothing, so that a library searches it to its end, or be on a slow server.
bool AudioWriting::AwaitTracks(Tracks* tracks, Refusals* refusals) {
    CEvent done(CEvent::Reset::Manual);
    std::atomic<size_t> looked = 0;
    std::exception_ptr failure;
    const auto openAll = [&] {
        try {
            for (size_t i = 0; i < m_list.files.size() && !tracks->stop.stop_requested(); ++i) {
                looked = i + 1;
                const std::u16string& file = m_list.files[i].path;
                if (m_leftOut.contains(file)) {
                    continue;
                }
                std::u16string refusal = OpenTrack(file, tracks);
                if (!refusal.empty()) {
                    refusals->texts.push_back(FormatWide("%zu. ", i + 1) + refusal);
                    refusals->files.insert(file);
                }
            }
        } catch (const std::exception&) {
            failure = std::current_exception();
        }
        done.Set();
    };
    std::thread opening;
    try {
        opening = m_env.startThread(openAll);
    } catch (const std::system_error&) {
        openAll(); // can't be cancelled
    }
    LateProgress progress(m_env, JobKind::Audio, kSilentMs);
    const auto status = [&] {
        return FormatWide("Opening the audio files... %zu of %zu", looked.load(),
                          m_list.files.size());
    };
    try {
        while (!done.Lock(kLookTime)) {
            if (!progress.Continue(status)) {
                tracks->stop.request_stop();
            }
        }
    } catch (const std::exception&) {
        tracks->stop.request_stop();
        opening.join();
        throw;
    }
    if (opening.joinable()) {
        opening.join();
    }
    if (failure) {
        std::rethrow_exception(failure);
    }
    return !progress.WasCancelled();
}

// Returns nothing, or why `file` can't be a track.
std::u16string AudioWriting::OpenTrack(const std::u16string& file, Tracks* tracks) {
    if (!IsSupportedAudioFile(file)) {
        return u"Error: cannot write " + file +
               u". It's not an audio or this format is not supported.";
    }
    try {
        StoppableFiles files(m_env.files, tracks->stop.get_token());
        std::unique_ptr<CReader> reader = CreateAudioReader(file, files);
        tracks->bytes.push_back(static_cast<uint32_t>(reader->m_nLength));
        tracks->totalBytes += tracks->bytes.back();
        tracks->readers.push_back(std::move(reader));
        tracks->paths.push_back(file);
    } catch (const CReaderException& failure) {
        return ToWide(failure.what());
    }
    return {};
}

// `files` is the number of all, `others` of those that can be written. Songs can't be added to a
// disc later, so No is the default.
bool AudioWriting::AskToLeaveOut(const std::vector<std::u16string>& refusals, size_t files,
                                 size_t others) {
    std::u16string text =
        FormatWide("%zu of %zu files cannot be written to an audio disk.", refusals.size(), files);
    if (others > 0) {
        // At the front, in case the list is longer than the box.
        text += FormatWide(" Should Larkspin write the other %zu without them?", others);
    }
    text += u"\n";
    for (const std::u16string& refusal : refusals) {
        text += u"\n" + refusal;
    }
    const BoxButtons buttons = others > 0 ? BoxButtons::YesNoGuarded : BoxButtons::Ok;
    return m_env.ui.AskUser(text, kReaderBoxTitle, buttons, BoxIcon::Stop) && others > 0;
}

bool AudioWriting::FitsDisc(const Tracks& tracks) {
    const int64_t excess =
        static_cast<int64_t>(tracks.totalBytes / kCdBlockBytes) - m_drive.Disk().m_nCapacity;
    if (excess <= kGraceBlocks) {
        return true;
    }
    const MsfAddress time(HeldSectors(static_cast<uint64_t>(excess)));
    prompts::AudioTooLongForDisk(m_env.ui, time.minutes, time.seconds);
    return false;
}

CopyEnd AudioWriting::WriteCopy() {
    Tracks tracks;
    // The songs come first, so that a disc is not erased for nothing.
    if (!OpenTracks(&tracks) || !CheckDisc() || !FitsDisc(tracks) || m_env.host.IsLeaving()) {
        return CopyEnd::GiveUp;
    }
    const PathsTaking taking(m_env.host, m_drive);

    ProgressScope progress(m_env, JobKind::Audio, CdTypeOf(m_drive));
    m_drive.SetCdSpeed(WholeSpeed(m_dSpeed));
    DoorLock door(m_drive);
    m_record.Expect(m_bVerify ? tracks.bytes : std::vector<uint32_t>());
    Status(u"Writing lead-in...");
    const std::vector<uint8_t> cueSheet = BuildAudioCueSheet(tracks.bytes);
    if (m_drive.PrepareSaoWrite(m_env.host.BufferUnderrunProtection(),
                                m_env.host.WriteSpeedControl(), cueSheet, &m_cancel,
                                kCdBlockBytes) != 0) {
        m_env.ui.ShowMessage(UnlessGivenUp(m_drive, kNotStarted));
        return CopyEnd::GiveUp;
    }
    if (!WriteTracks(tracks)) {
        m_drive.SyncCache();
        m_env.ui.ShowMessage(UnlessGivenUp(m_drive, kWriteFailed));
        return CopyEnd::GiveUp;
    }
    bool finished = true;
    if (!m_cancel()) {
        Status(u"Writing lead-out...");
        finished = m_drive.FinishSaoWrite(&m_cancel) == 0;
    }
    const bool cancelled = m_cancel();
    door.Release();
    progress.End();
    Verification verification(m_env, m_drive, JobKind::Audio);
    if (finished && !cancelled && m_record.Written().IsComplete()) {
        verification.CompareAudio(m_record);
    }
    m_drive.EjectDisk();
    m_hold.Release();
    if (!finished || (m_drive.IsCacheLost() && !cancelled)) {
        m_notices.push_back(NoLeadOutText(m_drive));
    }
    if (!m_bBrokenOff) {
        ShowClosingNotices(m_env.ui, std::exchange(m_notices, {}));
    }
    if (verification.WasBegun()) {
        verification.Tell(ContentsText(tracks), &m_notices);
    } else if (finished && !cancelled && !m_bBrokenOff) {
        m_env.host.TellSuccess(kDiscWritten + ContentsText(tracks));
    }
    ShowClosingNotices(m_env.ui, std::exchange(m_notices, {}));
    return cancelled ? CopyEnd::Cancelled : CopyEnd::Written;
}

bool AudioWriting::WriteTracks(Tracks& tracks) {
    int32_t address = 0;
    uint64_t written = 0;
    std::u16string clipped; // the tracks concerned, in one notice
    m_bBrokenOff = false;
    m_env.ui.SetAmount(JobKind::Audio, tracks.totalBytes);
    for (size_t i = 0; i < tracks.readers.size() && !m_cancel(); ++i) {
        Status(FormatWide("Writing track %zu...", i + 1));
        if (!WriteTrack(*tracks.readers[i], &address, tracks.totalBytes, &written)) {
            return false;
        }
        const SoundLoss loss = tracks.readers[i]->Loss();
        if (loss.clippedSamples > 0) {
            clipped +=
                clipped.empty() ? u"Louder than a disk can hold, and cut off there: " : u", ";
            clipped += FormatWide("track %zu (%llu samples)", i + 1,
                                  static_cast<unsigned long long>(loss.clippedSamples));
        }
        m_bBrokenOff = m_bBrokenOff || loss.brokeOff;
        if (!m_cancel() && loss.brokeOff) {
            m_notices.push_back(FormatWide("Track %zu is not complete: ", i + 1) + tracks.paths[i] +
                                u" is damaged or could not be read to its end. Silence stands for "
                                u"what is missing.");
        }
    }
    if (!clipped.empty() && !m_cancel()) {
        m_notices.push_back(clipped + u'.');
    }
    return true;
}

bool AudioWriting::WriteTrack(CReader& reader, int32_t* address, uint64_t totalBytes,
                              uint64_t* written) {
    std::vector<uint8_t> buffer(kCdReadChunkBytes);
    uint32_t count = 0;
    for (;;) {
        reader.Read(buffer.data(), kCdReadChunkBytes, &count);
        if (count == 0 || m_cancel()) {
            return true;
        }
        if (m_drive.WriteBlocks(address, buffer.data(), static_cast<int32_t>(count / kCdBlockBytes),
                                &m_cancel, kCdBlockBytes) != 0) {
            return false;
        }
        m_record.Take(std::span(buffer).first(count));
        *written += count;
        const int percent = static_cast<int>(*written * 100 / totalBytes);
        if (percent != m_nLastPercent) {
            m_env.ui.SetProgress(JobKind::Audio, percent);
            m_nLastPercent = percent;
        }
    }
}

// Empty if the user has given up.
std::optional<uint32_t> AwaitAudioBytes(JobEnv& env) {
    LateProgress progress(env, JobKind::Audio, 0);
    std::optional<uint32_t> audioBytes = env.host.QueueAudioBytes();
    while (!audioBytes) {
        if (!progress.Continue([] { return std::u16string(u"Measuring the audio files..."); })) {
            return std::nullopt;
        }
        env.clock.Sleep(kLookTime);
        audioBytes = env.host.QueueAudioBytes();
    }
    return audioBytes;
}

bool IsTooLong(JobEnv& env, const std::optional<uint32_t>& audioBytes) {
    const bool isTooLong = audioBytes.value_or(0) > kCdAudioBytes;
    if (isTooLong) {
        prompts::AudioOverEightyMinutes(env.ui);
    }
    return isTooLong;
}

} // namespace

// A quick measurement is awaited before the dialog, which a slow disk must not delay.
JobEnd AudioJob(JobEnv& env) {
    const std::vector<std::u16string> queueCopy = env.host.CopyQueue();
    std::optional<uint32_t> audioBytes = env.host.QueueAudioBytes();
    for (int looks = 0; looks < kLooksBeforeDialog && !audioBytes; ++looks) {
        env.clock.Sleep(kLookTime);
        audioBytes = env.host.QueueAudioBytes();
    }
    if (IsTooLong(env, audioBytes)) {
        return JobEnd::Idle;
    }
    const CopyParametersResult parameters = env.ui.ShowAudioParameters(
        audioBytes ? env.host.AudioHeaderText(*audioBytes) : kCalculating,
        env.host.VerifyAfterWriting());
    if (parameters.bCancelled) {
        return EndOfCancelledDialog(env.host);
    }
    CAspiCD* const drive = FindDrive(env, parameters.nDriveIndex);
    if (drive == nullptr) {
        return JobEnd::Idle;
    }
    if (!audioBytes) {
        audioBytes = AwaitAudioBytes(env);
        if (!audioBytes) {
            return EndOfCancelledDialog(env.host);
        }
        if (IsTooLong(env, audioBytes)) {
            return JobEnd::Idle;
        }
    }
    LeftOut leftOut(env.ui);
    const std::optional<FileList> list = ListQueue(env, JobKind::Audio, queueCopy, leftOut);
    if (!list) {
        return EndOfCancelledDialog(env.host);
    }
    const uint32_t copies = HeldCopies(parameters.nCopies);
    AudioWriting writing(env, *drive, *list, parameters);
    for (uint32_t written = 1; writing.WriteCopy() == CopyEnd::Written; ++written) {
        if (written == copies || !prompts::NextCopy(env.ui, written, copies)) {
            break;
        }
    }
    return JobEnd::Exit;
}

} // namespace larkspin
