// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Faults by script: which command is answered badly in place of being run, and what the commands
// behind it are answered.
//
// As text, a rule a line; "#" begins a comment, numbers of commands count from 1:
//     28@2: 3/11/05*2              the second READ(10) and the one after it
//     2a@10> timeout 2/04/08*3     the tenth WRITE(10), and then three commands of whatever kind
//     *@40> gone*                  the fortieth command and all behind it
// What a rule tells of commands of whatever kind passes over those that a drive answers in any
// state. Answers, each with "*N" behind it for N times or "*" for ever:
//     3/11/05   this sense (key, code and qualifier in hex); with "+" in front, after the command
//               was run
//     timeout   the command outlives its time-out, and the drive is reset
//     gone      there is no drive any more
//     garbage   success, with garbage for what was read
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

// An answer that fails with this sense, with the command run before or not.
InjectedAnswer SenseAnswer(const SenseCode& code, bool runCommandFirst = false);
InjectedAnswer TimeOutAnswer();
InjectedAnswer DriveGoneAnswer();

struct FaultRule {
    std::optional<uint8_t> opcode =
        std::nullopt;     // of the command that begins it; empty: of whatever kind
    uint64_t nth = 1;     // of those, from 1
    bool anyThen = false; // the other answers are for commands of whatever kind
    bool forEver = false; // the last answer is for all that follow
    // One after the other; an empty one lets its command run.
    std::vector<std::optional<InjectedAnswer>> answers;
};

// Carries the rules out from now on. Where more than one has an answer the first one gives it.
VirtualDrive::Script MakeScript(std::vector<FaultRule> rules);

// Reads rules from their text form. False, with what is wrong in `problem`, if it is none.
bool ParseFaults(std::string_view text, std::vector<FaultRule>* rules, std::string* problem);

// The same from a file, set in the drive.
bool LoadFaults(VirtualDrive& drive, const std::string& path, std::string* problem);

} // namespace larkspin
