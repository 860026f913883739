// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What drives answer, for the tests of the drive layer.
#pragma once

#include "drive/mmc.h"
#include "platform/byte_order.h"
#include "support/scripted_port.h"

#include <gmock/gmock.h>
#include <string>
#include <vector>

namespace larkspin {

// Tests speak of commands all the time.
using namespace mmc;

// One list behind another.
template <typename T>
std::vector<T> operator+(std::vector<T> first, const std::vector<T>& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

// The text of the failure that `operation` throws; empty if it throws none.
template <typename Operation>
std::string FailureOf(Operation operation) {
    try {
        operation();
    } catch (const CAspiCD::CgrowisofsException& failure) {
        return failure.what();
    }
    return {};
}

struct Field {
    size_t position;
    uint32_t value;
    int bytes = 1; // 1, 2 or 4, big-endian
};

// `length` zero bytes but for these fields.
inline Bytes Answer(size_t length, const std::vector<Field>& fields = {}) {
    Bytes answer(length);
    for (const Field& field : fields) {
        for (int i = 0; i < field.bytes; ++i) {
            answer.at(field.position + static_cast<size_t>(i)) =
                static_cast<uint8_t>(field.value >> 8 * (field.bytes - 1 - i));
        }
    }
    return answer;
}

inline Bytes ProfileAnswer(uint32_t profile) {
    return Answer(8, {{3, 4}, {6, profile & 0xFFFF, 2}});
}

// A page whose bytes behind code and length are all `fill`.
inline Bytes Page(uint8_t code, uint8_t length, uint8_t fill = 0) {
    Bytes page(length + size_t{2}, fill);
    page[0] = code;
    page[1] = length;
    return page;
}

// MODE SENSE(10)'s answer with this page behind a header and block descriptors of 0xDD.
inline Bytes ModeAnswer(const Bytes& page, size_t descriptorBytes = 0) {
    Bytes answer = Bytes(8 + descriptorBytes, 0xDD) + page;
    StoreBe16(answer.data(), static_cast<uint16_t>(answer.size() - 2));
    answer[2] = 0x41; // medium type
    answer[3] = 0x42; // device-specific
    StoreBe16(&answer[6], static_cast<uint16_t>(descriptorBytes));
    return answer;
}

// READ TRACK INFORMATION's answer: the next writable address, the free blocks, and the bytes that
// hold blank, packet and data mode bits and what is valid.
inline Bytes TrackAnswer(uint32_t next, uint32_t free = 0, uint8_t byte6 = 1, uint8_t byte7 = 1) {
    return Answer(36, {{5, 4}, {6, byte6}, {7, byte7}, {12, next, 4}, {16, free, 4}});
}

struct FormatDescriptor {
    uint32_t blocks;
    uint8_t type; // a format type, or the descriptor type in the first one
};

// READ FORMAT CAPACITIES' answer; the current capacity first.
inline Bytes FormatsAnswer(const std::vector<FormatDescriptor>& descriptors,
                           uint32_t blockLength = 2048) {
    Bytes answer = Answer(4, {{3, static_cast<uint32_t>(8 * descriptors.size())}});
    for (const auto& [blocks, type] : descriptors) {
        answer = answer + Answer(8, {{0, blocks, 4}, {4, uint32_t{type} << 2}});
    }
    answer[8] = descriptors[0].type;
    StoreBe16(&answer[10], static_cast<uint16_t>(blockLength));
    return answer;
}

} // namespace larkspin
