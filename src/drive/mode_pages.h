// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Answers of MODE SENSE(10): an 8-byte header, block descriptors, one page (SPC, MMC).
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace larkspin {

class CScsiCommand;

constexpr size_t kModeHeaderBytes = 8;

constexpr uint8_t kPageWriteParameters = 0x05;
constexpr uint8_t kPageCapabilities = 0x2A;
constexpr uint8_t kPageVendorWriteOptions = 0x30;

// Fields of the write parameters page (MMC), by byte.
enum WriteParametersField : size_t {
    kWriteType = 2, // BUFE, link size valid, test write, write type
    kTrackMode = 3, // multi-session, fixed packet, track mode
    kDataBlockType = 4,
    kLinkSize = 5,
    kSessionFormat = 8,
    kPacketSize = 10,    // four bytes
    kCatalogNumber = 16, // 16 bytes
};
constexpr uint8_t kParametersSavable = 0x80; // in byte 0; reserved when the page is selected
constexpr uint8_t kBufe = 0x40;
constexpr uint8_t kMultiSessionOpen = 0xC0; // in kTrackMode: another session is allowed
constexpr uint8_t kMode1Block = 8;

// Write types, the low bits of kWriteType. What a CD calls packets is incremental on a DVD.
enum WriteType : uint8_t {
    kWriteTypeIncremental = 0,
    kWriteTypeTrackAtOnce = 1,
    kWriteTypeSessionAtOnce = 2, // on a DVD: everything in one go
};

// Changes a page read from the drive to session at once, without test writing.
void SelectSessionAtOnce(std::span<uint8_t> writeParameters);

// The largest allocation length of a command that has a 16-bit field for it.
constexpr size_t kMaxAllocation = 0xFFFF;

// MODE SENSE(10) for a page's current values, without block descriptors if the drive complies.
// Reads as much as fits into `answer`. Returns what CScsiCommand::Transport does.
int SenseModePage(CScsiCommand& command, uint8_t page, std::span<uint8_t> answer);

// Bytes in the header and everything after it, according to the answer.
size_t ModeDataBytes(std::span<const uint8_t> answer);

// Allocation length for the whole of an answer whose first 10 bytes or more are given: the mode
// data length, or what the page's own length adds up to if that is more; at most kMaxAllocation.
size_t WholeAnswerBytes(std::span<const uint8_t> head);

// Bytes of block descriptors between header and page.
size_t BlockDescriptorBytes(std::span<const uint8_t> answer);

// The page in an answer, as far as the drive says it goes and the answer reaches; empty if there is
// none. It includes bytes beyond the page's own length if the mode data length covers them: old
// drives give a page length that is too short.
std::span<const uint8_t> PageOf(std::span<const uint8_t> answer);

} // namespace larkspin
