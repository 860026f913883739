// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The only code that knows about separators.
//
// A path that starts with '/' follows POSIX: the separator is '/', the root is "/". Any other path
// follows the drive-letter rules: the separator is '\', a root has the form "C:\". The functions
// only look at the text, never at the disk, and may be called on any thread.
#pragma once

#include <string>
#include <string_view>

namespace larkspin {

bool IsPosixPath(std::u16string_view path);
char16_t SeparatorOf(std::u16string_view path);

// True for paths that count as folders by their text alone: "/", and any path without a leading '/'
// that is shorter than 4 units, such as "C:\".
bool IsFolderByName(std::u16string_view path);

// The text after the last separator; the whole path if there is none.
std::u16string_view LeafName(std::u16string_view path);

// `folder`, one separator of the folder's kind, and `name`.
std::u16string JoinPath(std::u16string_view folder, std::u16string_view name);

// `path` without one trailing separator; a root keeps its own.
std::u16string_view TrimSeparator(std::u16string_view path);

// The folder that holds `path`, empty if its text has no separator. A root keeps its
// separator: the parent of "/a" is "/", that of "C:\a" is "C:\".
std::u16string_view ParentPath(std::u16string_view path);

} // namespace larkspin
