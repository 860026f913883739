// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What the dialogs need to know about drives and queue, so that this library needs neither.
#pragma once

#include "ui/ccdwriter_ui.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace larkspin {

class IDriveCatalog {
  public:
    virtual ~IDriveCatalog() = default;

    virtual size_t Count() = 0;
    virtual std::u16string Name(size_t index) = 0;  // vendor and product, with all blanks
    virtual std::u16string Label(size_t index) = 0; // "sr0", or the drive letter
    // Write speeds for the disc now in the drive, in the drive's order; empty if unknown. Sends
    // commands: call it only on the job's thread.
    virtual std::vector<double> WriteSpeeds(size_t index) = 0;
    // A medium's name for the user, by MMC profile; empty if unknown.
    virtual std::u16string DiskTypeName(uint32_t profile) = 0;
};

// A summary of the queue.
struct QueueState {
    uint64_t nVersion = 0;   // changes whenever the queue does
    bool bAllAudio = false;  // its order is then that of the tracks
    std::u16string strTotal; // its size, for the user; empty for an empty queue
    std::u16string strDiscs; // what is in the drives and what fits, as far as known
};

// The queue as seen by the editor. May be called on any thread.
class IQueueModel {
  public:
    virtual ~IQueueModel() = default;

    // In the order in which an audio job writes them.
    virtual std::vector<std::u16string> Paths() = 0;
    // Removes every path equal to one of `paths`, then checks again whether everything is audio.
    virtual void Remove(const std::vector<std::u16string>& paths) = 0;
    // Moves `paths`, in their present order, to before `before`, or to the end if that is not in
    // the queue.
    virtual void Move(const std::vector<std::u16string>& paths, const std::u16string& before) = 0;
    // `showsDiscs`: the user can see the text about the discs, so the drives are to be looked at.
    // Does not wait for that.
    virtual QueueState State(bool showsDiscs) = 0;
    // The head line of the data or audio dialog; empty while the queue is still being measured.
    // Does not wait for that.
    virtual std::optional<std::u16string> HeaderText(JobKind kind) = 0;
};

} // namespace larkspin
