// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Scripted faults: which command gets a faulty answer instead of being run, and how the commands
// after it are answered.
//
// One rule per line; "#" begins a comment, and commands are counted from 1:
//     28@2: 3/11/05*2             the second READ(10) and the one after it
//     2a@10> timeout 2/04/08*3     the tenth WRITE(10), and then three commands of any kind
//     *@40> gone*                  the fortieth command and all after it
// A rule for commands of any kind skips those that a drive answers in any state. Answers, each with
// "*N" at the end for N times or "*" for ever:
//     3/11/05   this sense (key, code and qualifier in hex); with "+" before it, after the command
//               was run
//     timeout   the command times out, and the drive is reset
//     gone      there is no drive any more
//     garbage   success, with garbage for what was read
//     pass      no fault: the command is run
//     pass      no fault: the command is run
#pragma once

#include "virtualdrive/sense_code.h"
#include "virtualdrive/virtual_drive.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace larkspin {

// An answer that fails with this sense, after running the command or not.
InjectedAnswer SenseAnswer(const SenseCode& code, bool runCommandFirst = false);
InjectedAnswer TimeOutAnswer();
InjectedAnswer DriveGoneAnswer();

struct FaultRule {
    std::optional<uint8_t> opcode =
        std::nullopt;     // the command that triggers it; empty: any command
    uint64_t nth = 1;     // which of those, from 1
    bool anyThen = false; // the other answers apply to commands of any kind
    bool forEver = false; // the last answer applies to all following commands
    // In order; an empty one lets its command run.
    std::vector<std::optional<InjectedAnswer>> answers;
};

// Applies the rules from now on. If several have an answer, the first one is used.
VirtualDrive::Script MakeScript(std::vector<FaultRule> rules);

// Parses rules. False, with the reason in `problem`, if the text is invalid.
bool ParseFaults(std::string_view text, std::vector<FaultRule>* rules, std::string* problem);

// The same from a file, for immediate use by the drive.
bool LoadFaults(VirtualDrive& drive, const std::string& path, std::string* problem);

} // namespace larkspin
