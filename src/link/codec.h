// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// How values are transferred between the engine and the windows' process.
//
// A value is transferred as its bytes in the machine's own order: both ends are the same program on
// the same machine. Numbers, texts, lists, optional values, enumerations and records are supported.
// An enumeration needs an IsKnown, which says whether a value exists, and a record a Fields, which
// ties its members together; both are in protocol.h.
//
// Stateless; any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

namespace larkspin {

// Invalid data has come from the other process.
class LinkError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// The bytes of a frame that have not been read yet.
class FrameReader {
  public:
    explicit FrameReader(std::string_view bytes) : m_rest(bytes) {}

    // Throws LinkError if there are fewer.
    std::string_view Take(size_t bytes) {
        if (bytes > m_rest.size()) {
            throw LinkError("a frame is too short");
        }
        const std::string_view taken = m_rest.substr(0, bytes);
        m_rest.remove_prefix(bytes);
        return taken;
    }
    size_t Left() const { return m_rest.size(); }

  private:
    std::string_view m_rest;
};

namespace codec {

template <typename T>
struct IsList : std::false_type {};
template <typename T>
struct IsList<std::vector<T>> : std::true_type {};
template <typename T>
struct IsText : std::false_type {};
template <typename T>
struct IsText<std::basic_string<T>> : std::true_type {};
template <typename T>
struct IsOptional : std::false_type {};
template <typename T>
struct IsOptional<std::optional<T>> : std::true_type {};

} // namespace codec

template <typename T>
void Put(std::string& out, const T& value) {
    if constexpr (std::is_same_v<T, bool>) {
        out += value ? '\1' : '\0';
    } else if constexpr (std::is_enum_v<T>) {
        Put(out, static_cast<uint32_t>(value));
    } else if constexpr (std::is_arithmetic_v<T>) {
        const size_t end = out.size();
        out.resize(end + sizeof(T));
        std::memcpy(out.data() + end, &value, sizeof(T));
    } else if constexpr (codec::IsText<T>::value) {
        Put(out, static_cast<uint32_t>(value.size()));
        const size_t end = out.size();
        out.resize(end + value.size() * sizeof(typename T::value_type));
        std::memcpy(out.data() + end, value.data(), out.size() - end);
    } else if constexpr (codec::IsList<T>::value) {
        Put(out, static_cast<uint32_t>(value.size()));
        for (const auto& element : value) {
            Put(out, element);
        }
    } else if constexpr (codec::IsOptional<T>::value) {
        Put(out, value.has_value());
        if (value) {
            Put(out, *value);
        }
    } else {
        std::apply([&out](const auto&... fields) { (Put(out, fields), ...); },
                   Fields(const_cast<T&>(value)));
    }
}

// Throws LinkError if `in` does not contain such a value.
template <typename T>
T Get(FrameReader& in) {
    if constexpr (std::is_same_v<T, bool>) {
        const char byte = in.Take(1).front();
        if (byte != '\0' && byte != '\1') {
            throw LinkError("a truth value is neither");
        }
        return byte == '\1';
    } else if constexpr (std::is_enum_v<T>) {
        const T value = static_cast<T>(Get<uint32_t>(in));
        if (!IsKnown(value)) {
            throw LinkError("a choice is none of those that there are");
        }
        return value;
    } else if constexpr (std::is_arithmetic_v<T>) {
        T value = {};
        std::memcpy(&value, in.Take(sizeof(T)).data(), sizeof(T));
        return value;
    } else if constexpr (codec::IsText<T>::value) {
        const size_t units = Get<uint32_t>(in);
        const std::string_view bytes = in.Take(units * sizeof(typename T::value_type));
        T text(units, 0);
        std::memcpy(text.data(), bytes.data(), bytes.size());
        return text;
    } else if constexpr (codec::IsList<T>::value) {
        const uint32_t count = Get<uint32_t>(in);
        if (count > in.Left()) { // each element has at least one byte
            throw LinkError("a list is longer than its frame");
        }
        T list;
        for (uint32_t i = 0; i < count; ++i) {
            list.push_back(Get<typename T::value_type>(in));
        }
        return list;
    } else if constexpr (codec::IsOptional<T>::value) {
        return Get<bool>(in) ? T(Get<typename T::value_type>(in)) : T();
    } else {
        T record;
        std::apply(
            [&in](auto&... fields) { ((fields = Get<std::decay_t<decltype(fields)>>(in)), ...); },
            Fields(record));
        return record;
    }
}

// Throws LinkError if anything is left.
template <typename... Values>
std::tuple<Values...> GetAll(std::string_view bytes) {
    FrameReader in(bytes);
    std::tuple<Values...> values{Get<Values>(in)...}; // braces: evaluated from left to right
    if (in.Left() != 0) {
        throw LinkError("a frame is too long");
    }
    return values;
}

} // namespace larkspin
