// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "virtualdrive/disc_store.h"

#include "platform/text.h"
#include "virtualdrive/defects.h"
#include "virtualdrive/msf.h"

#include <boost/property_tree/ini_parser.hpp>
#include <boost/property_tree/ptree.hpp>

#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <set>
#include <sstream>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include <filesystem>

namespace larkspin {

namespace {

using boost::property_tree::ptree;

constexpr const char* kStateName = "disc.txt";
constexpr const char* kCueName = "disc.cue";

ptree TrackToTree(const DiscTrack& track) {
    ptree tree;
    tree.put("session", track.session);
    tree.put("start", track.start);
    tree.put("pregap", track.pregap);
    tree.put("blocks", track.blocks);
    tree.put("reserved", track.reserved);
    tree.put("control", static_cast<unsigned>(track.control));
    tree.put("block-bytes", track.blockBytes);
    tree.put("run-out", track.runOut);
    tree.put("complete", track.complete);
    tree.put("in-one-go", track.inOneGo);
    tree.put("damaged", track.damaged);
    tree.put("file", track.file);
    tree.put("file-start", track.fileStart);
    return tree;
}

DiscTrack TrackFromTree(uint32_t number, const ptree& tree) {
    DiscTrack track;
    track.number = number;
    track.session = tree.get<uint32_t>("session");
    track.start = tree.get<int32_t>("start");
    track.pregap = tree.get<int32_t>("pregap");
    track.blocks = tree.get<uint32_t>("blocks");
    track.reserved = tree.get<uint32_t>("reserved");
    track.control = static_cast<uint8_t>(tree.get<unsigned>("control"));
    track.blockBytes = tree.get<uint32_t>("block-bytes");
    track.runOut = tree.get<uint32_t>("run-out");
    track.complete = tree.get<bool>("complete");
    track.inOneGo = tree.get<bool>("in-one-go");
    track.damaged = tree.get<bool>("damaged");
    track.file = tree.get<std::string>("file");
    track.fileStart = tree.get<int32_t>("file-start");
    return track;
}

std::string ToText(const DiscState& state) {
    ptree root;
    ptree& disc = root.put_child("disc", {});
    disc.put("kind", state.kind);
    disc.put("capacity", state.capacity);
    disc.put("finalized", state.finalized);
    ptree extra;
    for (const auto& [name, value] : state.extra) {
        extra.put(name, value);
    }
    if (!extra.empty()) {
        root.put_child("extra", extra);
    }
    for (const DiscSession& session : state.sessions) {
        root.put_child(Format("session-%02u", session.number), {}).put("lead-out", session.leadOut);
    }
    for (const DiscTrack& track : state.tracks) {
        root.put_child(Format("track-%03u", track.number), TrackToTree(track));
    }
    std::ostringstream text;
    boost::property_tree::write_ini(text, root);
    return text.str();
}

// A state written by somebody else could point outside the folder or make the drive look for
// something that does not exist.
bool IsConsistent(const DiscState& state) {
    constexpr uint32_t kMostBlocks = 0x1000'0000;
    uint32_t number = 0;
    uint32_t session = 0;
    for (const DiscTrack& track : state.tracks) {
        const bool isNext = track.number == number + 1 &&
                            (track.session == session || track.session == session + 1);
        const bool isBlockGood =
            track.blockBytes == kDataBlockBytes || track.blockBytes == kAudioBlockBytes;
        const bool isPlaceGood = track.start >= 0 && track.pregap >= 0 &&
                                 track.fileStart <= track.start - track.pregap &&
                                 uint64_t{track.blocks} + static_cast<uint32_t>(track.start) +
                                         track.reserved + track.runOut <=
                                     kMostBlocks;
        const bool isFileGood = !track.file.empty() && track.file.find('/') == std::string::npos;
        if (!isNext || !isBlockGood || !isPlaceGood || !isFileGood) {
            return false;
        }
        number = track.number;
        session = track.session;
    }
    for (size_t i = 0; i < state.sessions.size(); ++i) {
        if (state.sessions[i].number != i + 1 || state.sessions[i].leadOut < 0) {
            return false;
        }
    }
    // Every closed session has tracks; one more may be open.
    const size_t closed = state.sessions.size();
    return state.capacity > 0 && state.capacity <= kMostBlocks &&
           (session == closed || session == closed + 1) && (!state.finalized || session == closed);
}

// Throws boost::property_tree::ptree_error for anything that is not a state.
DiscState FromText(const std::string& text) {
    ptree root;
    std::istringstream stream(text);
    boost::property_tree::read_ini(stream, root);
    DiscState state;
    const ptree& disc = root.get_child("disc");
    state.kind = disc.get<std::string>("kind");
    state.capacity = disc.get<uint32_t>("capacity");
    state.finalized = disc.get<bool>("finalized");
    for (const auto& [name, section] : root) {
        unsigned number = 0;
        if (name == "extra") {
            for (const auto& [key, value] : section) {
                state.extra[key] = value.get_value<uint32_t>();
            }
        } else if (std::sscanf(name.c_str(), "session-%u", &number) == 1) {
            state.sessions.push_back({number, section.get<int32_t>("lead-out")});
        } else if (std::sscanf(name.c_str(), "track-%u", &number) == 1) {
            state.tracks.push_back(TrackFromTree(number, section));
        }
    }
    if (!IsConsistent(state)) {
        throw boost::property_tree::ptree_error("contradictory state");
    }
    return state;
}

bool WriteAll(int descriptor, uint64_t offset, std::span<const uint8_t> bytes) {
    while (!bytes.empty()) {
        const ssize_t count =
            ::pwrite(descriptor, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return false;
        }
        bytes = bytes.subspan(static_cast<size_t>(count));
        offset += static_cast<uint64_t>(count);
    }
    return true;
}

// Zeros take no room: true if the file system stores them as a hole.
bool LeaveHole(int descriptor, uint64_t offset, std::span<const uint8_t> bytes) {
    struct stat status = {};
    const bool areZeros = !bytes.empty() && bytes[0] == 0 &&
                          std::equal(bytes.begin() + 1, bytes.end(), bytes.begin());
    if (!areZeros || ::fstat(descriptor, &status) != 0) {
        return false;
    }
    const auto size = static_cast<uint64_t>(status.st_size);
    if (offset >= size) {
        return ::ftruncate(descriptor, static_cast<off_t>(offset + bytes.size())) == 0;
    }
    return offset + bytes.size() <= size &&
           ::fallocate(descriptor, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE,
                       static_cast<off_t>(offset), static_cast<off_t>(bytes.size())) == 0;
}

bool ReplaceFile(const std::string& path, const std::string& text) {
    const std::string fresh = path + ".new";
    {
        std::ofstream file(fresh, std::ios::binary | std::ios::trunc);
        file << text;
        file.close();
        if (!file) {
            return false;
        }
    }
    return std::rename(fresh.c_str(), path.c_str()) == 0;
}

std::string IndexLine(int index, int32_t blocks) {
    const Msf time = MsfOfFrames(blocks);
    return Format("    INDEX %02d %02d:%02d:%02d\n", index, time.minute, time.second, time.frame);
}

} // namespace

CDiscStore::~CDiscStore() {
    CloseFiles();
}

bool CDiscStore::Create(const std::string& folder, const DiscState& state) {
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    const auto isOther = [](const std::filesystem::directory_entry& entry) {
        return entry.path().filename() != kDefectsName;
    };
    if (error || std::any_of(std::filesystem::directory_iterator(folder, error), {}, isOther) ||
        error) {
        return false;
    }
    return ReplaceFile(folder + "/" + kStateName, ToText(state));
}

bool CDiscStore::Open(const std::string& folder) {
    std::ifstream file(folder + "/" + kStateName, std::ios::binary);
    if (!file) {
        return false;
    }
    std::ostringstream text;
    text << file.rdbuf();
    try {
        m_state = FromText(text.str());
    } catch (const boost::property_tree::ptree_error&) {
        return false;
    }
    CloseFiles();
    m_folder = folder;
    return true;
}

bool CDiscStore::Save() {
    return ReplaceFile(m_folder + "/" + kStateName, ToText(m_state)) && SaveCue();
}

bool CDiscStore::SaveCue() {
    const auto isAudio = [](const DiscTrack& track) { return !track.IsData(); };
    if (std::none_of(m_state.tracks.begin(), m_state.tracks.end(), isAudio)) {
        return true;
    }
    std::string text;
    const std::string* lastFile = nullptr;
    for (const DiscTrack& track : m_state.tracks) {
        if (lastFile == nullptr || *lastFile != track.file) {
            text += Format("FILE \"%s\" BINARY\n", track.file.c_str());
        }
        lastFile = &track.file;
        text += Format("  TRACK %02u %s\n", track.number, track.IsData() ? "MODE1/2048" : "AUDIO");
        if (track.pregap > 0) {
            text += IndexLine(0, track.start - track.pregap - track.fileStart);
        }
        text += IndexLine(1, track.start - track.fileStart);
    }
    return ReplaceFile(m_folder + "/" + kCueName, text);
}

bool CDiscStore::BeginFile(const std::string& file) {
    const int descriptor = Descriptor(file, true);
    return descriptor >= 0 && ::ftruncate(descriptor, 0) == 0;
}

bool CDiscStore::Write(const std::string& file, uint64_t offset, std::span<const uint8_t> bytes) {
    const int descriptor = Descriptor(file, true);
    return descriptor >= 0 &&
           (LeaveHole(descriptor, offset, bytes) || WriteAll(descriptor, offset, bytes));
}

bool CDiscStore::Read(const std::string& file, uint64_t offset, std::span<uint8_t> bytes) {
    const int descriptor = Descriptor(file, false);
    while (descriptor >= 0 && !bytes.empty()) {
        const ssize_t count =
            ::pread(descriptor, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            return false;
        }
        if (count == 0) {
            break;
        }
        bytes = bytes.subspan(static_cast<size_t>(count));
        offset += static_cast<uint64_t>(count);
    }
    std::fill(bytes.begin(), bytes.end(), uint8_t{0});
    return true;
}

uint64_t CDiscStore::FileBytes(const std::string& file) const {
    struct stat status = {};
    const int descriptor = Descriptor(file, false);
    if (descriptor < 0 || ::fstat(descriptor, &status) != 0) {
        return 0;
    }
    return static_cast<uint64_t>(status.st_size);
}

bool CDiscStore::Erase() {
    std::set<std::string> files = {kCueName};
    for (const DiscTrack& track : m_state.tracks) {
        files.insert(track.file);
    }
    m_state.tracks.clear();
    m_state.sessions.clear();
    m_state.finalized = false;
    // The state first: files that belong to no track are not part of the disc.
    if (!Save()) {
        return false;
    }
    CloseFiles();
    for (const std::string& file : files) {
        ::unlink((m_folder + "/" + file).c_str());
    }
    return true;
}

int CDiscStore::Descriptor(const std::string& file, bool create) const {
    const auto known = m_descriptors.find(file);
    if (known != m_descriptors.end()) {
        return known->second;
    }
    const std::string path = m_folder + "/" + file;
    int descriptor = ::open(path.c_str(), O_RDWR | O_CLOEXEC | (create ? O_CREAT : 0), 0666);
    if (descriptor < 0 && !create) {
        descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    }
    if (descriptor >= 0) {
        m_descriptors[file] = descriptor;
    }
    return descriptor;
}

void CDiscStore::CloseFiles() {
    for (const auto& [file, descriptor] : m_descriptors) {
        ::close(descriptor);
    }
    m_descriptors.clear();
}

} // namespace larkspin
