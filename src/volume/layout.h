// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The top level: sorts the tree, plans the volume, and sends it.
//
// The table of fragments is in layout.cpp. Each view of the volume supplies its rows, and a new
// view is added by adding its rows there.
#pragma once

#include "platform/byte_stream.h"
#include "volume/extent_list.h"

#include <cstdint>
#include <functional>

namespace larkspin {

struct VolumeRun;

// Called once, on the generator's thread, when the volume's length is known and before the first
// sector goes out.
using SizeReady = std::function<void(uint32_t totalSectors)>;
// Receives, right before SizeReady and on the same thread, what will go out.
using ExtentsReady = std::function<void(ExtentList extents)>;

// `run.tree` holds the whole volume. The size and generate passes run first, without any I/O. Then
// `extentsReady`, unless empty, receives what goes out, and `sizeReady` the length in sectors; then
// every sector goes out once, in address order. Returns early once the reader of `sink` has gone.
void SendVolume(VolumeRun& run, IByteSink& sink, const SizeReady& sizeReady,
                const ExtentsReady& extentsReady);

} // namespace larkspin
