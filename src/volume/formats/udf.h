// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The UDF 1.02 bridge: rows of the fragment table that put a UDF volume beside ISO 9660 and Joliet,
// with the file contents shared. The order of the rows is that of their declarations.
//
// UDF has no addresses in front of its partition, so a session that keeps files of an earlier one
// has no UDF view, and the run fails.
#pragma once

#include "volume/model/fragment.h"

#include <vector>

namespace larkspin {

struct VolumeRun;

// Directly behind the End Volume Descriptor.
OutputFragment UdfRecognitionFragment(VolumeRun& run);
// Behind the "Version block": all up to the file entries.
std::vector<OutputFragment> UdfFragments(VolumeRun& run);
// Behind the files.
std::vector<OutputFragment> UdfTailFragments(VolumeRun& run);

} // namespace larkspin
