// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "platform/settings_store_file.h"
#include "platform/text.h"

#include <boost/property_tree/info_parser.hpp>
#include <boost/property_tree/ptree.hpp>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <pwd.h>
#include <sstream>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace larkspin {

namespace {

using Tree = boost::property_tree::ptree;

constexpr const char* kNumber = "number";
constexpr const char* kText = "text";
constexpr size_t kLargestFile = size_t{1} << 20;
constexpr int kDeepest = 4096; // ours has three levels, but braces in its texts are also counted

class Descriptor {
  public:
    explicit Descriptor(int fd) : m_fd(fd) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (m_fd >= 0) {
            ::close(m_fd);
        }
    }
    int Get() const { return m_fd; }

  private:
    int m_fd;
};

// Reads the whole file. ENOENT gives an empty text; any other error gives nothing.
std::optional<std::string> ReadWhole(const std::string& path) {
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (file.Get() < 0) {
        return errno == ENOENT ? std::optional<std::string>("") : std::nullopt;
    }
    std::string contents;
    std::vector<char> piece(65536);
    for (;;) {
        const ssize_t got = ::read(file.Get(), piece.data(), piece.size());
        if (got == 0) {
            return contents;
        }
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0 || contents.size() + static_cast<size_t>(got) > kLargestFile) {
            return std::nullopt;
        }
        contents.append(piece.data(), static_cast<size_t>(got));
    }
}

// Whether a file with these contents may be parsed. Others might include further files, or be
// nested so deeply that the recursive destruction of the tree overflows the stack.
bool IsHarmless(std::string_view contents) {
    int depth = 0;
    for (const char c : contents) {
        depth += c == '{' ? 1 : c == '}' ? -1 : 0;
        if (depth > kDeepest) {
            return false;
        }
    }
    return contents.size() <= kLargestFile && contents.find("#include") == std::string_view::npos;
}

std::optional<Tree> ReadTree(const std::string& path) {
    const std::optional<std::string> contents = ReadWhole(path);
    if (!contents || !IsHarmless(*contents)) {
        return std::nullopt;
    }
    Tree tree;
    std::istringstream stream(*contents);
    try {
        boost::property_tree::read_info(stream, tree);
    } catch (const boost::property_tree::info_parser_error&) {
        return std::nullopt;
    }
    return tree;
}

bool WriteAll(int fd, std::string_view text) {
    while (!text.empty()) {
        const ssize_t put = ::write(fd, text.data(), text.size());
        if (put < 0) {
            if (errno == EINTR) {
                continue;
            }
            return false;
        }
        text.remove_prefix(static_cast<size_t>(put));
    }
    return true;
}

// Creates the folder of `path`, including its parents.
bool MakeParents(const std::string& path) {
    for (size_t at = path.find('/', 1); at != std::string::npos; at = path.find('/', at + 1)) {
        if (::mkdir(path.substr(0, at).c_str(), 0700) != 0 && errno != EEXIST) {
            return false;
        }
    }
    return true;
}

bool WriteWhole(const std::string& path, const std::string& contents) {
    if (path.empty() || !MakeParents(path)) {
        return false;
    }
    std::string temporary = path + ".XXXXXX"; // created by mkostemp with mode 0600
    bool written = false;
    {
        const Descriptor file(::mkostemp(temporary.data(), O_CLOEXEC));
        if (file.Get() < 0) {
            return false;
        }
        written = WriteAll(file.Get(), contents) && ::fsync(file.Get()) == 0;
    }
    if (!written || ::rename(temporary.c_str(), path.c_str()) != 0) {
        ::unlink(temporary.c_str());
        return false;
    }
    return true;
}

// The child with exactly this name (not a dotted path); created if it is missing.
Tree& Child(Tree& tree, const std::string& name) {
    const auto found = tree.find(name);
    return found != tree.not_found() ? found->second : tree.push_back({name, Tree()})->second;
}

const Tree* FindChild(const Tree& tree, const std::string& name) {
    const auto found = tree.find(name);
    return found != tree.not_found() ? &found->second : nullptr;
}

bool Save(const std::string& path, const Tree& tree) {
    std::ostringstream stream;
    boost::property_tree::write_info(stream, tree);
    const std::string contents = stream.str();
    // A file that could not be read back must not replace one that can.
    return IsHarmless(contents) && WriteWhole(path, contents);
}

} // namespace

FileSettingsStore::FileSettingsStore(std::string path) : m_strPath(std::move(path)) {}

std::string FileSettingsStore::DefaultPath() {
    constexpr const char* kBelowConfig = "/larkspin/settings.info";
    const char* config = std::getenv("XDG_CONFIG_HOME");
    if (config != nullptr && config[0] == '/') {
        return std::string(config) + kBelowConfig;
    }
    const char* home = std::getenv("HOME");
    if (home == nullptr || home[0] != '/') {
        const passwd* user = ::getpwuid(::getuid());
        home = user != nullptr ? user->pw_dir : nullptr;
    }
    return home != nullptr ? std::string(home) + "/.config" + kBelowConfig : std::string();
}

bool FileSettingsStore::HasKey(const std::string& key) {
    const std::lock_guard lock(m_mutex);
    const std::optional<Tree> tree = ReadTree(m_strPath);
    if (!tree) {
        return false;
    }
    // A key whose descendant exists also exists.
    const std::string below = key + "\\";
    for (const auto& [name, contents] : *tree) {
        if (name == key || name.starts_with(below)) {
            return true;
        }
    }
    return false;
}

bool FileSettingsStore::CreateKey(const std::string& key) {
    if (HasKey(key)) {
        return true;
    }
    const std::lock_guard lock(m_mutex);
    std::optional<Tree> tree = ReadTree(m_strPath);
    if (!tree) {
        return false;
    }
    Child(*tree, key);
    return Save(m_strPath, *tree);
}

std::optional<std::string> FileSettingsStore::ReadTyped(const std::string& key,
                                                        const std::string& name, const char* type) {
    const std::lock_guard lock(m_mutex);
    const std::optional<Tree> tree = ReadTree(m_strPath);
    if (!tree) {
        return std::nullopt;
    }
    const Tree* values = FindChild(*tree, key);
    const Tree* value = values != nullptr ? FindChild(*values, name) : nullptr;
    const Tree* contents = value != nullptr ? FindChild(*value, type) : nullptr;
    return contents != nullptr ? std::optional<std::string>(contents->data()) : std::nullopt;
}

bool FileSettingsStore::WriteTyped(const std::string& key, const std::string& name,
                                   const char* type, const std::string& value) {
    const std::lock_guard lock(m_mutex);
    std::optional<Tree> tree = ReadTree(m_strPath);
    if (!tree) {
        return false;
    }
    Tree& node = Child(Child(*tree, key), name);
    node.clear();
    node.push_back({type, Tree(value)});
    return Save(m_strPath, *tree);
}

std::optional<uint32_t> FileSettingsStore::ReadNumber(const std::string& key,
                                                      const std::string& name) {
    const std::optional<std::string> text = ReadTyped(key, name, kNumber);
    if (!text) {
        return std::nullopt;
    }
    uint32_t value = 0;
    const char* end = text->data() + text->size();
    const auto [stop, error] = std::from_chars(text->data(), end, value);
    return error == std::errc() && stop == end ? std::optional<uint32_t>(value) : std::nullopt;
}

std::optional<std::u16string> FileSettingsStore::ReadText(const std::string& key,
                                                          const std::string& name) {
    const std::optional<std::string> text = ReadTyped(key, name, kText);
    return text ? std::optional<std::u16string>(ToWide(*text)) : std::nullopt;
}

bool FileSettingsStore::WriteNumber(const std::string& key, const std::string& name,
                                    uint32_t value) {
    return WriteTyped(key, name, kNumber, std::to_string(value));
}

bool FileSettingsStore::WriteText(const std::string& key, const std::string& name,
                                  const std::u16string& value) {
    return WriteTyped(key, name, kText, ToNative(value));
}

} // namespace larkspin
