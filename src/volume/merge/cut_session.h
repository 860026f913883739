// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What is lost with a session that was cut off before its folders were on the disc.
#pragma once

#include "platform/byte_stream.h"
#include "volume/model/options.h"

namespace larkspin {

struct VolumeRun;

// Tells (OldCut) that the session is left out, and names each file of its own (OldBroken) that the
// folders which did come to the disc still tell of, unless the queue brings it. Never fails but for
// what the drive throws of its own.
void TellCutSession(VolumeRun& run, IBlockReader& drive, const CutSession& session);

} // namespace larkspin
