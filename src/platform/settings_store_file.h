// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The settings store in a file.
//
// The file is a property tree in Boost's INFO format, which preserves every byte of names and texts
// and can be edited by hand: one node for each key path, below it one for each value, below that
// "number" or "text" with the contents. It is read again for every call, so a manual change takes
// effect with the next read.
//
// A write goes to a temporary file beside it, which then replaces it, so that a reader sees either
// the old or the new file. Files above 1 MiB, files that include others, and files nested thousands
// of levels deep count as broken.
#pragma once

#include "platform/settings_store.h"

#include <mutex>
#include <string>

namespace larkspin {

class FileSettingsStore final : public ISettingsStore {
  public:
    // `path` is in native form; its folder is created for the first write. With an empty path, the
    // store is empty and can't be written to.
    explicit FileSettingsStore(std::string path);

    // "larkspin/settings.info" below $XDG_CONFIG_HOME, or below ~/.config; empty if neither the
    // variable nor a home folder is known. A relative $XDG_CONFIG_HOME is ignored, as required by
    // the XDG Base Directory Specification.
    static std::string DefaultPath();

    bool HasKey(const std::string& key) override;
    bool CreateKey(const std::string& key) override;
    std::optional<uint32_t> ReadNumber(const std::string& key, const std::string& name) override;
    std::optional<std::u16string> ReadText(const std::string& key,
                                           const std::string& name) override;
    bool WriteNumber(const std::string& key, const std::string& name, uint32_t value) override;
    bool WriteText(const std::string& key, const std::string& name,
                   const std::u16string& value) override;

  private:
    std::optional<std::string> ReadTyped(const std::string& key, const std::string& name,
                                         const char* type);
    bool WriteTyped(const std::string& key, const std::string& name, const char* type,
                    const std::string& value);

    const std::string m_strPath;
    std::mutex m_mutex;
};

} // namespace larkspin
