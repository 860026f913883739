// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "platform/paths.h"

namespace larkspin {

namespace {

constexpr size_t kShortestUnseen = 4; // shorter drive-letter paths are taken for roots

bool IsRoot(std::u16string_view path) {
    if (IsPosixPath(path)) {
        return path.size() == 1;
    }
    return path.size() == 3 && path[1] == u':' && path[2] == u'\\';
}

} // namespace

bool IsPosixPath(std::u16string_view path) {
    return !path.empty() && path.front() == u'/';
}

char16_t SeparatorOf(std::u16string_view path) {
    return IsPosixPath(path) ? u'/' : u'\\';
}

bool IsFolderByName(std::u16string_view path) {
    return IsPosixPath(path) ? path.size() == 1 : path.size() < kShortestUnseen;
}

std::u16string_view LeafName(std::u16string_view path) {
    const size_t last = path.rfind(SeparatorOf(path));
    return last == std::u16string_view::npos ? path : path.substr(last + 1);
}

std::u16string JoinPath(std::u16string_view folder, std::u16string_view name) {
    std::u16string path(folder);
    if (path.empty() || path.back() != SeparatorOf(folder)) {
        path += SeparatorOf(folder);
    }
    path += name;
    return path;
}

std::u16string_view TrimSeparator(std::u16string_view path) {
    if (!path.empty() && !IsRoot(path) && path.back() == SeparatorOf(path)) {
        path.remove_suffix(1);
    }
    return path;
}

std::u16string_view ParentPath(std::u16string_view path) {
    const size_t last = path.rfind(SeparatorOf(path));
    if (last == std::u16string_view::npos) {
        return {};
    }
    const std::u16string_view withSeparator = path.substr(0, last + 1);
    return IsRoot(withSeparator) ? withSeparator : path.substr(0, last);
}

} // namespace larkspin
