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

// The largest allocation length of a command that has 16 bits for it.
constexpr size_t kMaxAllocation = 0xFFFF;

// MODE SENSE(10) of a page's current values, without block descriptors if the drive obeys; as much
// as `answer` holds. Returns what CScsiCommand::Transport does.
int SenseModePage(CScsiCommand& command, uint8_t page, std::span<uint8_t> answer);

// Bytes that belong to the header and what follows it, as the answer tells.
size_t ModeDataBytes(std::span<const uint8_t> answer);

// Bytes of block descriptors between header and page.
size_t BlockDescriptorBytes(std::span<const uint8_t> answer);

// The page in an answer, as far as the drive says it goes and the answer reaches; empty if there
// is none. Bytes behind the page's own length, which the mode data length may promise, belong to
// it: old drives give a page length that is too short.
std::span<const uint8_t> PageOf(std::span<const uint8_t> answer);

} // namespace larkspin
