// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What is lost with a session that was cut off before its folders were on the disc.
#pragma once

#include "platform/byte_stream.h"
#include "volume/model/options.h"

namespace larkspin {

struct VolumeRun;

// Reports that the session is left out (OldCut), and each of its own files (OldBroken) that can be
// found through those of its folders that are on the disc, unless the queue includes it. Fails only
// with exceptions of the drive itself.
void TellCutSession(VolumeRun& run, IBlockReader& drive, const CutSession& session);

} // namespace larkspin
