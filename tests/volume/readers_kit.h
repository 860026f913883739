// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Running other programs over a volume, and comparing trees of files.
#pragma once

#include "support/temp_folder.h"

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <map>
#include <string>

namespace larkspin {

namespace fs = std::filesystem;

struct CommandResult {
    int status = -1;
    std::string output;
};

inline CommandResult RunCommand(const std::string& command) {
    CommandResult result;
    std::FILE* pipe = ::popen(command.c_str(), "r");
    if (pipe == nullptr) {
        return result;
    }
    std::array<char, 65536> buffer = {};
    while (const size_t got = std::fread(buffer.data(), 1, buffer.size(), pipe)) {
        result.output.append(buffer.data(), got);
    }
    result.status = ::pclose(pipe);
    return result;
}

inline void WriteFile(const fs::path& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

inline std::string ReadFile(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// Every path below `top` with its contents; a folder's contents are "folder".
inline std::map<std::string, std::string> TreeOf(const fs::path& top) {
    std::map<std::string, std::string> tree;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(top)) {
        tree[entry.path().lexically_relative(top).native()] =
            entry.is_directory() ? "folder" : ReadFile(entry.path());
    }
    return tree;
}

// The paths in which two trees differ, a line each.
inline std::string Difference(const std::map<std::string, std::string>& found,
                              const std::map<std::string, std::string>& expected) {
    std::string lines;
    for (const auto& [path, contents] : expected) {
        const auto at = found.find(path);
        if (at == found.end() || at->second != contents) {
            lines += (at == found.end() ? "missing: " : "other contents: ") + path + "\n";
        }
    }
    for (const auto& [path, contents] : found) {
        lines += expected.contains(path) ? "" : "unexpected: " + path + "\n";
    }
    return lines;
}

// What a program extracts: `command` runs in an empty folder and must fill it.
inline std::map<std::string, std::string> Extract(const std::string& command,
                                                  CommandResult* result = nullptr) {
    const TempFolder out;
    const CommandResult run =
        RunCommand("cd '" + out.Path() + "' && LC_ALL=C.UTF-8 " + command + " 2>&1");
    RunCommand("chmod -R u+rwX '" + out.Path() + "'"); // so that the folder can go away
    if (result != nullptr) {
        *result = run;
    } else {
        EXPECT_EQ(run.status, 0) << command << "\n" << run.output;
    }
    return TreeOf(out.Path());
}

} // namespace larkspin
