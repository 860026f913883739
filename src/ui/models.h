// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What the dialogs need to know of drives and of the queue, so that this library needs neither.
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
    virtual std::u16string Name(size_t index) = 0;  // vendor and product, blanks as they come
    virtual std::u16string Label(size_t index) = 0; // "sr0", or the drive letter
    // Write speeds for the disc now in the drive, in the drive's order; empty if it can't tell.
    // Sends commands: call it on the job's thread only.
    virtual std::vector<double> WriteSpeeds(size_t index) = 0;
    // The user's name of a medium by MMC profile; empty for an unknown one.
    virtual std::u16string DiskTypeName(uint32_t profile) = 0;
};

// What the queue comes to.
struct QueueState {
    uint64_t nVersion = 0;   // changes whenever the queue does
    bool bAllAudio = false;  // its order is the order of the tracks then
    std::u16string strTotal; // how much it is, for the user; empty for an empty queue
    std::u16string strDiscs; // what is in the drives and what fits, as far as it is known
};

// The queue as the editor sees it. Calls are safe on any thread.
class IQueueModel {
  public:
    virtual ~IQueueModel() = default;

    // In the order in which an audio job writes them.
    virtual std::vector<std::u16string> Paths() = 0;
    // Removes every path that equals one of `paths`, then rechecks whether all is audio.
    virtual void Remove(const std::vector<std::u16string>& paths) = 0;
    // Puts `paths`, in the order that they have, in front of `before`, or at the end if that is not
    // in the queue.
    virtual void Move(const std::vector<std::u16string>& paths, const std::u16string& before) = 0;
    // `showsDiscs`: the user sees the text on the discs, so that the drives are to be looked at,
    // which this does not wait for.
    virtual QueueState State(bool showsDiscs) = 0;
    // The head line of the data or audio dialog; empty while the queue is being measured, which
    // this does not wait for.
    virtual std::optional<std::u16string> HeaderText(JobKind kind) = 0;
};

} // namespace larkspin
