// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "audio/reader.h"
#include "jobs/disc_reading.h"
#include "jobs/drive_wait.h"
#include "jobs/file_list.h"
#include "jobs/prompts.h"
#include "platform/text.h"
#include "volume/disc_files.h"

#include <algorithm>
#include <optional>
#include <vector>

namespace larkspin {

namespace {

// A track at once on a CD ends with two unreadable blocks that count as its own.
constexpr uint32_t kRunOutBlocks = 2;
// What belongs to no file is reported in pieces, so that a damaged block leaves most of it
// verified.
constexpr uint64_t kPieceBytes = uint64_t{4} << 20;

using Tracks = std::vector<CAspiCD::RecordedTrack>;

uint64_t BeginOf(const CAspiCD::RecordedTrack& track) {
    return uint64_t{track.begin} * kSectorBytes;
}

class DiscVerifying {
  public:
    DiscVerifying(JobEnv& env, CAspiCD& drive, const Tracks& tracks)
        : m_env(env), m_drive(drive), m_tracks(tracks) {}

    // To be called with the windows up.
    void Run();
    // To be called once they are down.
    void Tell() const;

  private:
    void ListFiles();
    uint64_t EndOf(const CAspiCD::RecordedTrack& track) const;
    void AddRest(uint64_t begin, uint64_t end);
    void ListBlocks();
    void Read(const ExtentList& extents, DiscWindow::Format format);
    std::u16string Contents() const;

    JobEnv& m_env;
    CAspiCD& m_drive;
    const Tracks& m_tracks;
    const bool m_bIsDvd = HasDvdWay(m_drive);
    const CAspiCD::GoOn m_goOn = [this] { return !IsGivenUp(m_env, JobKind::Verify); };
    DiscVolume m_volume; // in the last session
    uint32_t m_nVolumeBegin = 0;
    ExtentList m_data;
    ExtentList m_sound;
    std::optional<DiscReading> m_reading;
};

void DiscVerifying::Run() {
    m_env.ui.SetStatus(JobKind::Verify, u"Reading the folders...");
    m_drive.SetCdSpeed(0); // full speed
    ListFiles();
    ListBlocks();
    m_reading.emplace(m_env, JobKind::Verify, m_data.Bytes() + m_sound.Bytes());
    // If the drive has gone meanwhile, no folder could be read.
    if (const CAspiCD::UnitState state = m_drive.AwaitUnit(m_goOn);
        state != CAspiCD::UnitState::Ready) {
        m_reading->Stop(state);
        return;
    }
    for (const std::u16string& line : m_volume.problems) {
        m_reading->AddBad(line);
    }
    m_env.ui.SetAmount(JobKind::Verify, m_data.Bytes() + m_sound.Bytes());
    m_env.ui.SetStatus(JobKind::Verify, u"Verifying...");
    Read(m_data, DiscWindow::Format::Data);
    Read(m_sound, DiscWindow::Format::Audio);
}

// The folders of the volume in the last session also name what is in the earlier ones.
void DiscVerifying::ListFiles() {
    const auto first =
        std::ranges::find(m_tracks, m_tracks.back().session, &CAspiCD::RecordedTrack::session);
    if (first->isData) {
        m_nVolumeBegin = first->begin;
        m_volume = ListVolume(m_drive, first->begin, m_tracks.back().end, m_goOn);
    }
}

// After a volume there may be blocks that were never written, or can't be read.
uint64_t DiscVerifying::EndOf(const CAspiCD::RecordedTrack& track) const {
    const uint64_t end = uint64_t{track.end} * kSectorBytes;
    if (m_volume.end != 0 && track.begin == m_nVolumeBegin) {
        return std::min(end, m_volume.end);
    }
    return m_bIsDvd ? end : end - std::min(end, uint64_t{kRunOutBlocks} * kSectorBytes);
}

// What lies between two files, where it belongs to a track.
void DiscVerifying::AddRest(uint64_t begin, uint64_t end) {
    for (const CAspiCD::RecordedTrack& track : m_tracks) {
        uint64_t at = std::max(begin, BeginOf(track));
        const uint64_t stop = track.isData ? std::min(end, EndOf(track)) : at;
        while (at < stop) {
            const uint64_t bytes = std::min(kPieceBytes, stop - at);
            m_data.Add({at, bytes}, u"Outside of all files");
            at += bytes;
        }
    }
}

void DiscVerifying::ListBlocks() {
    uint64_t done = 0;
    for (size_t i = 0; i < m_volume.extents.Count(); ++i) {
        const ExtentList::Extent extent = m_volume.extents.At(i);
        AddRest(done, extent.begin);
        m_data.Add(extent, m_volume.extents.NameOf(i));
        done = (extent.End() + kSectorBytes - 1) / kSectorBytes * kSectorBytes;
    }
    AddRest(done, UINT64_MAX);
    for (const CAspiCD::RecordedTrack& track : m_tracks) {
        if (!track.isData) {
            m_sound.Add({uint64_t{track.begin} * kCdBlockBytes,
                         uint64_t{track.end - track.begin} * kCdBlockBytes},
                        FormatWide("Track %u", track.number));
        }
    }
}

void DiscVerifying::Read(const ExtentList& extents, DiscWindow::Format format) {
    if (extents.Count() == 0) {
        return;
    }
    DiscWindow window(m_drive, format, extents.At(extents.Count() - 1).End(), m_goOn);
    for (size_t i = 0; i < extents.Count() && !m_reading->IsOver(); ++i) {
        const ExtentList::Extent extent = extents.At(i);
        const uint64_t read = m_reading->Read(extent, window, 0, [](auto) {});
        if (read < extent.bytes && !m_reading->IsOver()) {
            m_reading->AddUnreadable(extents.NameOf(i), extent, read, window);
        }
    }
}

std::u16string DiscVerifying::Contents() const {
    std::u16string text;
    if (m_volume.end != 0) {
        text = FormatWide("%zu %s, ", m_volume.files, m_volume.files == 1 ? "file" : "files") +
               FormatSize(static_cast<long long>(m_volume.fileBytes));
    } else if (m_data.Count() > 0) {
        text = FormatSize(static_cast<long long>(m_data.Bytes()));
    }
    if (m_sound.Count() > 0) {
        text += (text.empty() ? u"" : u", ") +
                FormatWide("%zu %s", m_sound.Count(), m_sound.Count() == 1 ? "track" : "tracks");
    }
    return text;
}

void DiscVerifying::Tell() const {
    if (m_env.host.IsLeaving()) {
        return;
    }
    const std::u16string text =
        m_reading->IsOver() ? u"The disk has not been read to its end. " + m_reading->EndText()
                            : u"All of the disk can be read: " + Contents() + u".";
    if (!m_reading->IsBad()) {
        if (!m_reading->IsOver()) {
            m_env.host.TellSuccess(text);
        } else if (m_reading->Ended() != DiscReading::End::Cancelled) {
            m_env.ui.ShowMessage(text);
        }
        return;
    }
    m_env.ui.AskUser((m_reading->IsOver() ? text + u"\n\n" : u"") +
                         u"The disk is damaged. This cannot be read:\n" + m_reading->BadLines() +
                         u"\n\nPlease copy the other files to a safe place soon.",
                     kBoxTitle, BoxButtons::Ok, BoxIcon::Stop);
}

} // namespace

JobEnd VerifyJob(JobEnv& env, uint32_t driveIndex) {
    CAspiCD* const drive = FindDrive(env, driveIndex);
    if (drive == nullptr) {
        return JobEnd::Idle;
    }
    DriveHold hold(env.ui, *drive);
    Tracks tracks;
    for (;;) {
        if (!hold.Take() || !ReadDiskInfoWhenReady(env, hold, *drive, JobKind::Verify)) {
            return JobEnd::Idle;
        }
        if (drive->ReadTracks(&tracks) && !tracks.empty()) {
            break;
        }
        tracks.clear();
        if (!prompts::NothingToVerify(hold.UiWithFreeDrive())) {
            return JobEnd::Idle;
        }
    }
    DiscVerifying verifying(env, *drive, tracks);
    {
        const ProgressScope progress(env, JobKind::Verify);
        const DoorLock door(*drive);
        verifying.Run();
    }
    hold.Release();
    verifying.Tell();
    return JobEnd::Exit;
}

} // namespace larkspin
