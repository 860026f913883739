// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "volume/formats/path_tables.h"

#include "platform/text.h"
#include "volume/model/error.h"
#include "volume/model/run.h"
#include "volume/model/sector_stream.h"
#include "volume/model/sector_writers.h"
#include "volume/model/sectors.h"

#include <algorithm>
#include <unordered_map>
#include <utility>

namespace larkspin {

namespace {

// ECMA-119 9.4, table 10.
constexpr size_t kAtNameLength = 0;
constexpr size_t kAtExtent = 2;
constexpr size_t kAtParent = 6;
constexpr size_t kAtName = 8;
constexpr uint32_t kHighestParent = 0xFFFF; // a 16-bit field

struct Row {
    std::string name;
    IsoDirectory* directory;
};

[[noreturn]] void Fail(const char* text) {
    throw CCDWriterISOGenException(ToWide(text));
}

// The directories in the order of the tables.
std::vector<Row> OrderRows(IsoDirectory& root, const PathTableView& view) {
    std::unordered_map<const IsoDirectory*, std::vector<Row>> children;
    size_t count = 0;
    ForEachDirectory(root, [&](IsoDirectory& directory) {
        if (directory.Has(view.excluded)) {
            return;
        }
        ++count;
        if (directory.self == nullptr) {
            Fail(view.noSelf);
        }
        if (&directory != &root) {
            children[view.parentOf(directory)].push_back({view.nameOf(directory), &directory});
        }
    });

    std::vector<Row> rows = {{std::string(1, '\0'), &root}};
    rows.reserve(count);
    for (size_t i = 0; i < rows.size(); ++i) {
        const auto found = children.find(rows[i].directory);
        if (found == children.end()) {
            continue;
        }
        std::sort(found->second.begin(), found->second.end(),
                  [](const Row& a, const Row& b) { return a.name < b.name; });
        std::move(found->second.begin(), found->second.end(), std::back_inserter(rows));
    }
    if (rows.size() != count) {
        Fail(view.emptySlot);
    }
    return rows;
}

void BuildPathTables(IsoDirectory& root, const PathTableView& view, PathTables& tables) {
    const std::vector<Row> rows = OrderRows(root, view);
    tables.little.assign(size_t{tables.sectors} * kSectorBytes, 0);
    tables.big = tables.little;
    FieldWriter little(tables.little);
    FieldWriter big(tables.big);
    size_t offset = 0;
    uint32_t place = 0;
    for (const Row& row : rows) {
        row.directory->*view.index = ++place;
        const IsoDirectory& parent = &root == row.directory ? root : *view.parentOf(*row.directory);
        const uint32_t parentPlace = parent.*view.index;
        if (parentPlace > kHighestParent) {
            Fail(view.parentTooHigh);
        }
        for (FieldWriter* writer : {&little, &big}) {
            writer->U8(offset + kAtNameLength, static_cast<uint8_t>(row.name.size()));
            writer->Text(offset + kAtName, row.name);
        }
        little.Little32(offset + kAtExtent, row.directory->*view.extent);
        little.Little16(offset + kAtParent, static_cast<uint16_t>(parentPlace));
        big.Big32(offset + kAtExtent, row.directory->*view.extent);
        big.Big16(offset + kAtParent, static_cast<uint16_t>(parentPlace));
        offset += RoundToEven(static_cast<uint32_t>(kAtName + row.name.size()));
    }
}

} // namespace

OutputFragment PathTablesFragment(VolumeRun& run, const char* name, PathTables VolumeRun::*tables,
                                  PathTableView view) {
    OutputFragment fragment{.name = name};
    fragment.size = [&run, tables] {
        (run.*tables).start = run.plan_sector;
        run.plan_sector += 2 * (run.*tables).sectors;
    };
    fragment.generate = [&run, tables, view = std::move(view)] {
        BuildPathTables(run.tree.Root(), view, run.*tables);
    };
    fragment.write = [&run, tables](SectorStream& stream) {
        stream.Write((run.*tables).little);
        stream.Write((run.*tables).big);
    };
    return fragment;
}

} // namespace larkspin
