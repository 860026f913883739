// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "volume/merge/old_directory.h"

#include "platform/text.h"
#include "volume/formats/rockridge.h"
#include "volume/formats/system_use.h"
#include "volume/merge/translation_table.h"
#include "volume/model/error.h"
#include "volume/model/sector_writers.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace larkspin {

namespace {

// Far above what any file system gives a file, in bytes.
constexpr size_t kLongestName = 4096;
constexpr uint32_t kMostAreas = 256; // continuation areas of one entry
constexpr uint32_t kLargestTranslationTable = 16U << 20;
// All entries of the old session together; real discs need a tenth of it.
constexpr uint64_t kMostMemory = uint64_t{1} << 30;
// Records whose continuation areas are fetched together.
constexpr size_t kBatch = 256;

constexpr uint8_t kNmNamesDots = 0x06; // CURRENT or PARENT
constexpr uint8_t kTfCreation = 0x01;
constexpr uint8_t kTfModification = 0x02;
constexpr uint8_t kTfAccess = 0x04;
constexpr uint8_t kTfAttributes = 0x08;
constexpr uint8_t kTfLongForm = 0x80;

// A problem with a single entry. If it is a file, the others are still usable.
class BrokenEntry final : public CCDWriterISOGenException {
  public:
    using CCDWriterISOGenException::CCDWriterISOGenException;
};

[[noreturn]] void FailToParse(const IsoEntry& entry) {
    throw BrokenEntry(
        FormatWide("Cannot parse Rock Ridge attributes for '%s'.", entry.record.name.c_str()));
}

std::string_view WithoutVersion(std::string_view isoName) {
    return isoName.substr(0, isoName.find(';'));
}

// True if a file system can have a file of that name.
bool IsFileName(std::string_view name) {
    return !name.empty() && name != "." && name != ".." &&
           name.find_first_of(std::string_view("/\0", 2)) == std::string_view::npos;
}

std::span<const uint8_t> SystemUseOf(std::span<const uint8_t> record, size_t nameBytes) {
    const size_t plain = DirectoryRecord::PlainLength(static_cast<uint32_t>(nameBytes));
    return plain < record.size() ? record.subspan(plain) : std::span<const uint8_t>();
}

// The area that a CE points to; nothing if the disc has no such area. Valid until the next call.
std::optional<std::span<const uint8_t>> Continuation(PreviousDisc& disc,
                                                     std::span<const uint8_t> ce) {
    const uint32_t sector = ReadLittle32(ce, kAtCeBlock);
    const uint64_t offset = ReadLittle32(ce, kAtCeOffset);
    const uint64_t length = ReadLittle32(ce, kAtCeLength);
    if (offset + length > kSectorBytes || !disc.Holds({sector, kSectorBytes})) {
        return std::nullopt;
    }
    return disc.Sector(sector).subspan(offset, length);
}

OldEntry MakeEntry(std::span<const uint8_t> bytes) {
    std::optional<DirectoryRecord> record = DirectoryRecord::Read(bytes);
    if (!record) {
        FailToMerge();
    }
    OldEntry old;
    old.entry.record = std::move(*record);
    old.entry.start_sector = old.entry.record.extent;
    old.entry.size = old.entry.record.size;
    old.entry.inode = static_cast<uint16_t>(old.entry.start_sector);
    old.entry.device = kPreviousSessionDevice;
    old.entry.flags = kEntryMayBeKept;
    const auto use = SystemUseOf(bytes, old.entry.record.name.size());
    old.entry.rr_data.assign(use.begin(), use.end());
    return old;
}

std::vector<OldEntry> SplitRecords(std::span<const uint8_t> sectors) {
    std::vector<OldEntry> entries;
    for (size_t at = 0; at < sectors.size();) {
        if (entries.size() > kMostMemory / sizeof(OldEntry)) {
            FailToMerge();
        }
        const size_t length = sectors[at];
        if (length == 0) {
            at = (at / kSectorBytes + 1) * kSectorBytes;
            continue;
        }
        if (at % kSectorBytes + length > kSectorBytes) {
            FailToMerge();
        }
        entries.push_back(MakeEntry(sectors.subspan(at, length)));
        at += length;
    }
    return entries;
}

bool IsFile(const OldEntry& old) {
    return !old.entry.record.IsDirectory() && !old.child_link;
}

void Break(OldEntry& old) {
    if (!IsFile(old)) {
        FailToMerge();
    }
    old.is_broken = true;
}

// Joins the records of a file in several extents, and an associated file with its file, into one
// entry: they share their name.
std::vector<OldEntry> JoinSections(std::vector<OldEntry> records) {
    std::vector<OldEntry> entries;
    for (OldEntry& record : records) {
        if (!entries.empty()) {
            OldEntry& before = entries.back();
            const uint8_t flags = before.entry.record.flags;
            const bool sameName = before.entry.record.name == record.entry.record.name;
            const bool goesOn = (flags & DirectoryRecord::kFlagMoreExtents) != 0;
            before.is_broken |= goesOn && !sameName;
            if (sameName && (goesOn || (flags & DirectoryRecord::kFlagAssociated) != 0)) {
                record.is_broken |= before.is_broken;
                record.same_name = std::move(before.same_name);
                record.same_name.push_back(std::move(before.entry));
                before = std::move(record);
                continue;
            }
        }
        entries.push_back(std::move(record));
    }
    for (OldEntry& old : entries) {
        const bool isCutOff = (old.entry.record.flags & DirectoryRecord::kFlagMoreExtents) != 0;
        old.is_broken |= isCutOff;
        if (old.entry.record.IsDirectory() && (isCutOff || !old.same_name.empty())) {
            FailToMerge();
        }
    }
    return entries;
}

// Gives twins names of their own, so that none hides another: if the disc has several versions of a
// file, the later ones get the version in their name.
void SeparateTwins(std::vector<OldEntry>& entries) {
    std::unordered_set<std::u16string> names;
    for (OldEntry& old : entries) {
        if (old.is_broken || old.relocated || old.entry.record.IsDots() ||
            names.insert(old.entry.name).second) {
            continue;
        }
        old.entry.name = ToWide(old.entry.record.name);
        if (!names.insert(old.entry.name).second) {
            Break(old);
        }
    }
}

} // namespace

// Reads the System Use data of one entry with its continuation areas.
class OldDirectoryReader::SystemUseReader {
  public:
    SystemUseReader(PreviousDisc& disc, OldEntry& old) : m_disc(disc), m_old(old) {}

    void Read() {
        IsoEntry& entry = m_old.entry;
        const size_t xaBytes = XaBytesInFront(entry.rr_data);
        uint32_t areas = 1;
        std::span<const uint8_t> next = WalkArea(std::span(entry.rr_data).subspan(xaBytes));
        for (; !next.empty(); next = WalkArea(next)) {
            if (++areas > kMostAreas) {
                FailToParse(entry);
            }
        }
        if (areas > 1) {
            LayOutSystemUse(entry, m_all);
        } else if (xaBytes != 0 && !m_all.empty()) {
            entry.rr_data.erase(entry.rr_data.begin(),
                                entry.rr_data.begin() + static_cast<std::ptrdiff_t>(xaBytes));
            entry.rr_inline_size = static_cast<uint32_t>(entry.rr_data.size());
        }
        if (!m_strName.empty() && !entry.record.IsDots()) {
            if (!IsFileName(m_strName)) {
                FailToParse(entry);
            }
            entry.name = ToWide(m_strName);
            entry.rr_name_seen = true;
        }
    }

  private:
    // Returns the next area; empty if this is the last.
    std::span<const uint8_t> WalkArea(std::span<const uint8_t> area) {
        std::span<const uint8_t> ce;
        SystemUseWalk walk(area);
        for (auto found = walk.Next(); !found.empty(); found = walk.Next()) {
            if (SignatureOf(found) != "CE") {
                Take(found);
            } else if (ce.empty()) {
                ce = found;
            } else {
                FailToParse(m_old.entry);
            }
        }
        if (walk.Failed()) {
            FailToParse(m_old.entry);
        }
        if (ce.empty()) {
            return ce;
        }
        const auto next = Continuation(m_disc, ce);
        if (!next) {
            FailToParse(m_old.entry);
        }
        return *next;
    }

    void Take(std::span<const uint8_t> found) {
        m_all.insert(m_all.end(), found.begin(), found.end());
        const std::string_view signature = SignatureOf(found);
        if (signature == "NM" && (found[kAtNmFlags] & kNmNamesDots) == 0) {
            m_strName.append(found.begin() + kAtNmText, found.end());
            if (m_strName.size() > kLongestName) {
                FailToParse(m_old.entry);
            }
        } else if (signature == "PX") {
            m_old.mode = ReadLittle32(found, kAtPxMode);
        } else if (signature == "TF") {
            TakeTimes(found);
        } else if (signature == "CL") {
            m_old.child_link = ReadLittle32(found, kAtLinkExtent);
        } else if (signature == "PL") {
            m_old.has_parent_link = true;
        } else if (signature == "RE") {
            m_old.relocated = true;
        } else if (signature == "ZF" || signature == "SF") {
            m_old.transformed = true;
        }
    }

    // RRIP 4.1.6: the stamps announced by the flags follow in bit order. Those in long form are
    // ignored; a file that has them counts as changed.
    void TakeTimes(std::span<const uint8_t> tf) {
        const uint8_t flags = tf[kAtTfFlags];
        size_t at = kAtTfStamps;
        const auto take = [&](std::optional<RecordDate>& date) {
            date.emplace();
            if ((flags & kTfLongForm) == 0 && at + date->size() <= tf.size()) {
                std::copy_n(tf.begin() + static_cast<std::ptrdiff_t>(at), date->size(),
                            date->begin());
            }
            at += date->size();
        };
        if ((flags & kTfCreation) != 0) {
            take(m_old.created);
        }
        if ((flags & kTfModification) != 0) {
            take(m_old.modified);
        }
        if ((flags & kTfAttributes) != 0) {
            at += (flags & kTfAccess) != 0 ? RecordDate().size() : 0;
            take(m_old.changed);
        }
    }

    PreviousDisc& m_disc;
    OldEntry& m_old;
    std::vector<uint8_t> m_all; // all entries except CE
    std::string m_strName;
};

void OldDirectoryReader::DetectRockRidge(const OldExtent& root) {
    const std::vector<uint8_t> sector = m_disc.ReadSectors({root.sector, kSectorBytes});
    m_bHasRockRidge = false;
    const std::span<const uint8_t> bytes = std::span(sector).first(sector[0]);
    const std::optional<DirectoryRecord> dot = DirectoryRecord::Read(bytes);
    if (!dot) {
        return;
    }
    const std::span<const uint8_t> use = SystemUseOf(bytes, dot->name.size());
    const size_t xaBytes = XaBytesInFront(use);
    bool hasApple = false;
    bool hasOther = false;
    bool isSound = true;
    // SUSP 5.3 requires SP in the record itself; if there is a CE instead, names must not get lost.
    std::span<const uint8_t> area = use.subspan(xaBytes);
    for (uint32_t areas = 0; areas < kMostAreas && !area.empty() && !m_bHasSusp; ++areas) {
        std::span<const uint8_t> ce;
        SystemUseWalk walk(area);
        for (auto found = walk.Next(); !found.empty(); found = walk.Next()) {
            const std::string_view signature = SignatureOf(found);
            if (signature == "CE") {
                ce = found;
                continue;
            }
            m_bHasSusp |= signature == "SP";
            hasApple |= signature == "AA";
            hasOther |= signature != "AA";
        }
        isSound &= !walk.Failed();
        // A CE that leads nowhere is reported when the directory is read.
        area = ce.empty() ? ce : Continuation(m_disc, ce).value_or(std::span<const uint8_t>());
    }
    // With only CD-XA or Apple's entries, the data is kept although nothing announces it.
    m_bHasRockRidge = isSound && (hasOther ? m_bHasSusp : hasApple || xaBytes != 0);
}

std::vector<OldEntry> OldDirectoryReader::Read(const OldExtent& directory) {
    if (directory.bytes == 0) {
        return {};
    }
    if (directory.bytes > kMostMemory || !m_read.insert(directory.sector).second) {
        FailToMerge();
    }
    const std::vector<uint8_t> sectors = m_disc.ReadSectors(directory);
    if (sectors[0] == 0) { // no "." (ECMA-119 6.8.2.2): zeros were written instead
        throw CutSessionException();
    }
    std::vector<OldEntry> entries = SplitRecords(sectors);
    Check(entries);
    ReadSystemUse(entries);
    entries = JoinSections(std::move(entries));
    ApplyTranslation(entries);
    SeparateTwins(entries);
    CountMemory(entries);
    return entries;
}

// The dots come first, once each; contents that stay in place are within the disc.
void OldDirectoryReader::Check(std::vector<OldEntry>& entries) const {
    for (size_t i = 0; i < entries.size(); ++i) {
        DirectoryRecord& record = entries[i].entry.record;
        if (record.IsDots()) {
            const bool isSecond = i == 1 && record.name != entries[0].entry.record.name;
            if (i != 0 && !isSecond) {
                FailToMerge();
            }
            record.flags |= DirectoryRecord::kFlagDirectory;
        } else if (record.IsDirectory()) {
            // ECMA-119 6.8.1: a directory is one piece.
            if (record.unit_size != 0 || record.gap != 0) {
                FailToMerge();
            }
        } else {
            entries[i].is_broken = record.size != 0 && !m_disc.Holds(OldExtent::Of(record));
        }
    }
}

void OldDirectoryReader::ReadSystemUse(std::vector<OldEntry>& entries) {
    for (size_t i = 0; i < entries.size(); ++i) {
        if (i % kBatch == 0) {
            const size_t count = std::min(kBatch, entries.size() - i);
            PrefetchAreas(std::span(entries).subspan(i, count));
        }
        OldEntry& old = entries[i];
        IsoEntry& entry = old.entry;
        // If a length is missing where an entry has it, this is some other kind of data.
        const bool isForeign = entry.rr_data.size() >= kXaBytes &&
                               XaBytesInFront(entry.rr_data) == 0 &&
                               entry.rr_data[kAtSystemUseLength] == 0;
        if (isForeign && !m_bHasSusp) {
            m_bHasRockRidge = false;
        }
        if (!m_bHasRockRidge) {
            entry.rr_data.clear();
        }
        entry.rr_inline_size = static_cast<uint32_t>(entry.rr_data.size());
        if (!isForeign) {
            try {
                SystemUseReader(m_disc, old).Read();
            } catch (const BrokenEntry&) {
                const bool isFolder = !IsFile(old);
                if (isFolder && !m_disc.IsCut()) {
                    throw;
                }
                // The areas of the dots may lie after all folders, but new dots can be made.
                if (isFolder && !entry.record.IsDots()) {
                    throw CutSessionException();
                }
                old.is_broken = true;
            }
        }
        if (entry.record.IsDots()) {
            entry.name = entry.record.IsDot() ? u"." : u"..";
        } else if (!entry.rr_name_seen) {
            const std::string_view name = WithoutVersion(entry.record.name);
            if (!IsFileName(name)) {
                Break(old);
            }
            entry.name = ToWide(name);
        }
    }
}

void OldDirectoryReader::PrefetchAreas(std::span<const OldEntry> entries) {
    std::vector<uint32_t> sectors;
    for (const OldEntry& old : entries) {
        const std::span<const uint8_t> use = old.entry.rr_data;
        if (!m_bHasRockRidge) {
            break;
        }
        SystemUseWalk walk(use.subspan(XaBytesInFront(use)));
        for (auto found = walk.Next(); !found.empty(); found = walk.Next()) {
            if (SignatureOf(found) == "CE") {
                sectors.push_back(ReadLittle32(found, kAtCeBlock));
            }
        }
    }
    m_disc.Prefetch(std::move(sectors));
}

void OldDirectoryReader::ApplyTranslation(std::vector<OldEntry>& entries) {
    const auto table = std::find_if(entries.begin(), entries.end(), [](const OldEntry& old) {
        std::string_view name = WithoutVersion(old.entry.record.name);
        if (name.ends_with('.')) {
            name.remove_suffix(1);
        }
        return name == kTranslationTableName && !old.entry.record.IsDirectory() &&
               old.same_name.empty() && old.entry.size <= kLargestTranslationTable &&
               (!old.entry.rr_name_seen || ToNative(old.entry.name) == kTranslationTableName);
    });
    if (table == entries.end()) {
        return;
    }
    if (!table->entry.rr_name_seen) {
        table->entry.name = ToWide(kTranslationTableName);
    }
    if (table->is_broken || table->entry.size == 0 || table->entry.record.extent == 0) {
        return;
    }
    const OldExtent extent = OldExtent::Of(table->entry.record);
    const std::vector<uint8_t> bytes = m_disc.ReadSectors(extent);
    const auto names = ParseTranslationTable(std::span(bytes).first(extent.bytes));
    for (OldEntry& old : entries) {
        const auto found = names.find(old.entry.record.name);
        if (found == names.end() || old.entry.record.IsDots()) {
            continue;
        }
        table->is_translation_table = true;
        if (!old.entry.rr_name_seen && &old != &*table && IsFileName(found->second)) {
            old.entry.name = ToWide(found->second);
        }
    }
}

void OldDirectoryReader::CountMemory(const std::vector<OldEntry>& entries) {
    for (const OldEntry& old : entries) {
        m_nMemory += sizeof(IsoEntry) * (1 + old.same_name.size()) + old.entry.rr_data.size() +
                     old.entry.name.size() * sizeof(char16_t);
    }
    if (m_nMemory > kMostMemory) {
        FailToMerge();
    }
}

} // namespace larkspin
