// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The two texts by which a DVD recording ends at the edge of the disc. The full erase of a disc
// ends this way when all went well, so who runs it has to know them.
#pragma once

namespace larkspin {

inline constexpr char kDvdWriteError[] = "write error";
inline constexpr char kDvdOutOfSpace[] = "out of disk space";

} // namespace larkspin
