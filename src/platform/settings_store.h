// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// A small store of typed values under key paths, one file for each user.
//
// A key path consists of names joined by '\', such as "Software\Maker\program"; value names are any
// text. The file is below $XDG_CONFIG_HOME (or ~/.config) and is written as a whole, atomically,
// with mode 0600. A file that can't be parsed is treated as an empty store and never overwritten:
// every write to it fails. All functions may be called on any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace larkspin {

// Where the settings store has the program's values.
inline constexpr const char* kSettingsKey = "Software\\Quernstone Development\\cdwrite";
inline constexpr const char* kTitlesKey = "Software\\Quernstone Development\\cdwrite\\titles";
inline constexpr const char* kShowFileIconsValue = "ShowFileIcons";

class ISettingsStore {
  public:
    virtual ~ISettingsStore() = default;

    // True also for a key above an existing one; false if the store can't be read.
    virtual bool HasKey(const std::string& key) = 0;
    // Creates the key if it is missing. False if that fails.
    virtual bool CreateKey(const std::string& key) = 0;
    // Empty if the key or value is missing or the value has another type.
    virtual std::optional<uint32_t> ReadNumber(const std::string& key, const std::string& name) = 0;
    virtual std::optional<std::u16string> ReadText(const std::string& key,
                                                   const std::string& name) = 0;
    // Both create the key if it is missing. False if the store can't be written.
    virtual bool WriteNumber(const std::string& key, const std::string& name, uint32_t value) = 0;
    virtual bool WriteText(const std::string& key, const std::string& name,
                           const std::u16string& value) = 0;
};

} // namespace larkspin
