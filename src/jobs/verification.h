// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Reads back what a job has written and reports whether it is there: between the end of the
// recording and the eject, through the drive. Nothing is written, and the sources are not used.
//
// Used by the job's thread.
#pragma once

#include "jobs/audio_record.h"
#include "jobs/disc_reading.h"
#include "jobs/written_record.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace larkspin {

class Verification {
  public:
    // Works with the windows of such a job, which must be down.
    Verification(JobEnv& env, CAspiCD& drive, JobKind kind)
        : m_env(env), m_drive(drive), m_kind(kind) {}

    // Compares the data described by `records`, which are complete and in disc order. The drive
    // must be held. The user may cancel, which costs nothing but the certainty. If the program is
    // about to exit, nothing is compared or reported.
    void CompareData(std::span<const WrittenRecord* const> records);

    // The same for an audio CD. The drive's offset is determined from the first sound.
    void CompareAudio(const AudioRecord& record);

    bool WasBegun() const { return m_reading.has_value(); }
    // Reports how good the disc is, if a comparison was begun: as a success, or in a box.
    // `contents` describes what has been written: "3 files, 1.20 Mb". If there are `notices` about
    // what was written, a good disc is not a success, and is added to them instead.
    void Tell(const std::u16string& contents, std::vector<std::u16string>* notices) const;

  private:
    using Records = std::span<const WrittenRecord* const>;

    // Runs `compare` with the disc readable and the windows up.
    void Run(Records records, const std::function<void(DiscWindow& window)>& compare);
    bool BringUp(Records records, DiscWindow& window);
    static bool IsShown(Records records, DiscWindow& window);
    void Compare(const WrittenRecord& record, DiscWindow& window);
    bool IsOutOfReach(const ExtentList& extents, const ExtentList::Extent& extent) const;
    void FindOffset(const AudioRecord& record, DiscWindow& window);

    JobEnv& m_env;
    CAspiCD& m_drive;
    const JobKind m_kind;
    std::optional<DiscReading> m_reading;
    Hash m_hash;
    int64_t m_nOffset = 0;        // the drive's offset in bytes; 0 for data
    bool m_bEdgesLeftOut = false; // what its offset puts out of the drive's reach
};

} // namespace larkspin
