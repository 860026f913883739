// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Bytes for tests, in memory and in files.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>
#include <vector>

namespace larkspin {

using Bytes = std::vector<uint8_t>;

// Empty if there is no such file.
inline Bytes ReadFileBytes(const std::filesystem::path& path) {
    std::error_code missing;
    const auto size = std::filesystem::file_size(path, missing);
    Bytes bytes(missing ? 0 : size);
    std::ifstream file(path, std::ios::binary);
    file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return bytes;
}

inline void WriteFileBytes(const std::filesystem::path& path, const Bytes& bytes) {
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    if (!file.flush()) {
        throw std::runtime_error("cannot write " + path.string());
    }
}

// Bytes that differ from place to place and from seed to seed.
inline Bytes Payload(size_t bytes, uint32_t seed) {
    Bytes payload(bytes);
    uint32_t state = seed * 2654435761U + 1;
    for (uint8_t& byte : payload) {
        state = state * 1664525U + 1013904223U;
        byte = static_cast<uint8_t>(state >> 24);
    }
    return payload;
}

} // namespace larkspin
