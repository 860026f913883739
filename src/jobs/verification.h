// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Reading back what a job has written, and telling whether it is there: between the end of the
// recording and the eject, through the drive. Nothing is written, and no source is looked at.
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
    // Works with the windows of a job of that kind, which must be down.
    Verification(JobEnv& env, CAspiCD& drive, JobKind kind)
        : m_env(env), m_drive(drive), m_kind(kind) {}

    // Compares the data that `records` tell of; they are complete and in the order of the disc. The
    // drive must be held. The user may cancel it, which costs nothing but the certainty; nothing is
    // compared, or told, when the program is to end.
    void CompareData(std::span<const WrittenRecord* const> records);

    // The same for an audio CD. The offset of the drive is found from the first sound.
    void CompareAudio(const AudioRecord& record);

    bool WasBegun() const { return m_reading.has_value(); }
    // How good the disc is, if a comparison was begun: told as a success, or in a box. `contents`
    // names what has been written: "3 files, 1.20 Mb". A good disc is no success if there are
    // `notices` of what is wrong with what was written; it then goes to these.
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
    int64_t m_nOffset = 0;        // bytes that the drive is off by; 0 with data
    bool m_bEdgesLeftOut = false; // of an audio CD, what the drive can't read for its offset
};

} // namespace larkspin
