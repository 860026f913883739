// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// A settings store in memory.
#pragma once

#include "platform/settings_store.h"

#include <map>
#include <set>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace larkspin {

class MemoryStore final : public ISettingsStore {
  public:
    bool refusesKeys = false;
    std::vector<std::string> created; // keys in the order in which they were made

    bool HasKey(const std::string& key) override { return m_keys.contains(key); }
    bool CreateKey(const std::string& key) override {
        if (refusesKeys) {
            return false;
        }
        created.push_back(key);
        m_keys.insert(key);
        return true;
    }
    std::optional<uint32_t> ReadNumber(const std::string& key, const std::string& name) override {
        return Read<uint32_t>(key, name);
    }
    std::optional<std::u16string> ReadText(const std::string& key,
                                           const std::string& name) override {
        return Read<std::u16string>(key, name);
    }
    bool WriteNumber(const std::string& key, const std::string& name, uint32_t value) override {
        return Write(key, name, value);
    }
    bool WriteText(const std::string& key, const std::string& name,
                   const std::u16string& value) override {
        return Write(key, name, value);
    }

  private:
    using Value = std::variant<uint32_t, std::u16string>;

    template <typename Type>
    std::optional<Type> Read(const std::string& key, const std::string& name) {
        const auto found = m_values.find({key, name});
        const Type* value = found != m_values.end() ? std::get_if<Type>(&found->second) : nullptr;
        return value != nullptr ? std::optional<Type>(*value) : std::nullopt;
    }
    bool Write(const std::string& key, const std::string& name, Value value) {
        m_keys.insert(key);
        m_values[{key, name}] = std::move(value);
        return true;
    }

    std::set<std::string> m_keys;
    std::map<std::pair<std::string, std::string>, Value> m_values;
};

} // namespace larkspin
