// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The DVD-Video layout over control data of any bytes. The input gives the sizes of the parts, the
// heads of three IFO files, and what follows the head of the manager. Whatever they say, a folder
// is refused or has every title set where the manager's table puts it, and the volume's length is
// the one that was told.
#include "platform/byte_order.h"
#include "platform/text.h"
#include "volume/formats/dvdvideo.h"
#include "volume/model/tree.h"
#include "volume/volume_kit.h"

#include <array>
#include <cstdlib>
#include <set>

namespace {

using namespace larkspin;

// Above this a volume is not made: it would be zeros mostly.
constexpr int64_t kMostPadding = 2000;
constexpr size_t kHeadBytes = 200;

void Require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

class Input {
  public:
    explicit Input(std::string_view bytes) : m_left(bytes) {}

    std::string_view Take(size_t bytes) {
        const std::string_view taken = m_left.substr(0, bytes);
        m_left.remove_prefix(taken.size());
        return taken;
    }
    uint8_t Byte() {
        const std::string_view byte = Take(1);
        return byte.empty() ? 0 : static_cast<uint8_t>(byte[0]);
    }

  private:
    std::string_view m_left;
};

struct Part {
    std::u16string name;
    std::string bytes;
};

// `sizes` below 8 are sectors; above they make a part absent or ragged.
void AddPart(std::vector<Part>& parts, std::u16string name, uint8_t size) {
    const bool isAbsent = (size & 0xF8) == 8;
    if (!isAbsent) {
        const bool isRagged = (size & 0xF8) == 16;
        parts.push_back(
            {std::move(name), std::string((size & 7) * 2048U + (isRagged ? 1 : 0), 'v')});
    }
}

// An IFO with a backup of the same bytes. The magic is right, as a rule.
void AddControl(std::vector<Part>& parts, const std::u16string& name, std::string_view magic,
                std::string_view head, std::string_view rest, uint8_t size) {
    std::string bytes(head);
    if (size < 0xF0 && bytes.size() > magic.size()) {
        std::copy(magic.begin(), magic.end(), bytes.begin());
        bytes[magic.size()] = '\0';
    }
    bytes.resize(2048);
    bytes += rest;
    bytes.resize((bytes.size() + 2047) / 2048 * 2048 + size_t{size & 3U} * 2048);
    parts.push_back({name + u".IFO", bytes});
    parts.push_back({name + u".BUP", std::move(bytes)});
}

std::vector<Part> PartsOf(Input input) {
    std::vector<Part> parts;
    std::array<uint8_t, 3> controlSizes = {};
    for (uint8_t& size : controlSizes) {
        size = input.Byte();
    }
    AddPart(parts, u"VIDEO_TS.VOB", input.Byte());
    for (uint32_t set = 1; set <= 2; ++set) {
        for (uint32_t vob = 0; vob <= 3; ++vob) {
            AddPart(parts, FormatWide("VTS_%02u_%u.VOB", set, vob), input.Byte());
        }
    }
    std::array<std::string_view, 3> heads;
    for (std::string_view& head : heads) {
        head = input.Take(kHeadBytes);
    }
    AddControl(parts, u"VIDEO_TS", "DVDVIDEO-VMG", heads[0], input.Take(SIZE_MAX), controlSizes[0]);
    AddControl(parts, u"VTS_01_0", "DVDVIDEO-VTS", heads[1], {}, controlSizes[1]);
    AddControl(parts, u"VTS_02_0", "DVDVIDEO-VTS", heads[2], {}, controlSizes[2]);
    return parts;
}

// The set for the folder as the generator would find it.
std::optional<DvdFileSet> Build(SourceFiles& files, const std::vector<Part>& parts, IsoTree& tree,
                                IsoDirectory*& folder) {
    folder = &tree.NewDirectory(tree.Root(), tree.NewEntry(), u"/VIDEO_TS", u"VIDEO_TS");
    const std::u16string* path = tree.KeepPath(u"/VIDEO_TS");
    for (const Part& part : parts) {
        IsoEntry& entry = tree.NewEntry();
        entry.name = part.name;
        entry.size = static_cast<uint32_t>(part.bytes.size());
        entry.source_folder = path;
        folder->AddEntry(entry);
    }
    return BuildFileSet(files, *folder);
}

// Where the manager's table says that the title sets start.
std::set<int64_t> StartsIn(const std::string& manager) {
    const auto at = [&](uint64_t offset) {
        Require(offset < manager.size());
        return reinterpret_cast<const uint8_t*>(manager.data()) + offset;
    };
    const uint64_t table = uint64_t{LoadBe32(at(196))} * 2048;
    std::set<int64_t> starts;
    for (uint32_t title = 0; title < LoadBe16(at(table)); ++title) {
        starts.insert(LoadBe32(at(table + 8 + uint64_t{12} * title + 8)));
    }
    return starts;
}

// The greatest padding behind a part; nothing if one is negative. Goes through the parts in the
// order of their addresses and compares the places of the sets.
std::optional<int64_t> CheckPlaces(const DvdFileSet& set, const IsoDirectory& folder,
                                   const std::string& manager) {
    const std::set<int64_t> starts = StartsIn(manager);
    Require(starts.size() == set.TitleSets());
    auto start = starts.begin();
    int64_t place = 0;
    int64_t greatest = 0;
    bool isNegative = false;
    uint32_t controls = 0;
    for (const IsoEntry* entry : PlayersOrder(set, folder)) {
        if (entry->name == u"VIDEO_TS.IFO") {
            Require(place == 0);
        } else if (entry->name.ends_with(u".IFO") && controls++ < set.TitleSets()) {
            Require(isNegative || place == *start++);
        }
        const int64_t padding = PadFor(set, entry->name);
        isNegative = isNegative || padding < 0;
        greatest = std::max(greatest, padding);
        place += entry->size / 2048 + padding;
    }
    return isNegative ? std::nullopt : std::optional(greatest);
}

void MakeWholeVolume(SourceFiles& files, bool isWrong) {
    const VolumeResult result =
        MakeVolume(files, {u"/VIDEO_TS"}, 0, [](GenOptions& options) { options.dvd_video = true; });
    Require(result.error == (isWrong ? u"Internal error #941." : u""));
    Require(isWrong || result.image.size() == size_t{result.toldSectors.value_or(0)} * 2048);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::vector<Part> parts =
        PartsOf(Input({reinterpret_cast<const char*>(data), std::min<size_t>(size, 1 << 16)}));
    SourceFiles files;
    files.AddFolder(u"/VIDEO_TS");
    const std::string* manager = nullptr;
    for (const Part& part : parts) {
        files.AddFile(u"/VIDEO_TS/" + part.name, part.bytes);
        manager = part.name == u"VIDEO_TS.IFO" ? &part.bytes : manager;
    }
    IsoTree tree(6);
    IsoDirectory* folder = nullptr;
    const std::optional<DvdFileSet> set = Build(files, parts, tree, folder);
    if (!set) {
        return 0;
    }
    const std::optional<int64_t> greatest = CheckPlaces(*set, *folder, *manager);
    if (!greatest || *greatest <= kMostPadding) {
        MakeWholeVolume(files, !greatest);
    }
    return 0;
}
