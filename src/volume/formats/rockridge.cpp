// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "volume/formats/rockridge.h"

#include "volume/formats/system_use.h"
#include "volume/model/error.h"
#include "volume/model/run.h"
#include "volume/model/sector_stream.h"
#include "volume/model/sector_writers.h"

#include <algorithm>

namespace larkspin {

namespace {

constexpr uint32_t kRoomInRecord = 254;
constexpr uint32_t kRoomInArea = 2040;
constexpr uint32_t kLeastRecordBase = 70; // head and name count as at least this much
constexpr size_t kNameBytesPerNm = 248;
constexpr uint8_t kSystemUseVersion = 1;

// Bytes that must be free for an entry to go into the current area: its own, and those of the CE
// that may have to follow it.
constexpr uint32_t kNeedRr = 33;
constexpr uint32_t kNeedNm = 34;
constexpr uint32_t kNeedNmHead = 33;
constexpr uint32_t kNeedPx = 64;
constexpr uint32_t kNeedTf = 54;
constexpr uint32_t kNeedRe = 32;
constexpr uint32_t kNeedLink = 40;

// Bits of the RR entry, RRIP 1.09.
constexpr uint8_t kHasPx = 0x01;
constexpr uint8_t kHasNm = 0x08;
constexpr uint8_t kHasCl = 0x10;
constexpr uint8_t kHasPl = 0x20;
constexpr uint8_t kHasRe = 0x40;
constexpr uint8_t kHasTf = 0x80;

constexpr uint8_t kNmContinues = 1;
constexpr uint8_t kTfModifyAccessChange = 0x0E;

constexpr uint16_t kXaAttributesFile = 0x0D55;
constexpr uint16_t kXaAttributesDirectory = 0x8D55;

constexpr std::string_view kErIdentifier = "RRIP_1991A";
constexpr std::string_view kErDescriptor =
    "THE ROCK RIDGE INTERCHANGE PROTOCOL PROVIDES SUPPORT FOR POSIX FILE SYSTEM SEMANTICS";
constexpr std::string_view kErSource =
    "PLEASE CONTACT DISC PUBLISHER FOR SPECIFICATION SOURCE. SEE PUBLISHER IDENTIFIER IN PRIMARY "
    "VOLUME DESCRIPTOR FOR CONTACT INFORMATION.";
constexpr size_t kErHead = 8;
constexpr uint32_t kErBytes =
    kErHead + kErIdentifier.size() + kErDescriptor.size() + kErSource.size();
static_assert(kErBytes <= 255); // the length has one byte, and the entry one sector

// Lays out the System Use data of one entry as a chain of areas: the first is in the directory
// record, and each but the last ends with a CE that points to the next.
class SystemUseBuilder {
  public:
    explicit SystemUseBuilder(uint32_t plainRecordLength)
        : m_nRecordBase(std::max(plainRecordLength, kLeastRecordBase)) {
        m_bytes.reserve(512);
    }

    bool Fits(size_t bytes) const { return Used() + bytes <= m_nRoom; }
    // The number of bytes of the name that an NM added here can hold.
    size_t NameRoom() const { return m_nRoom - Used() - kNeedNmHead; }
    // Moves on to a new area if `bytes` don't fit.
    void Require(size_t bytes) {
        if (!Fits(bytes)) {
            Continue();
        }
    }
    FieldWriter Raw(size_t bytes) {
        m_bytes.resize(m_bytes.size() + bytes);
        return FieldWriter(std::span(m_bytes).last(bytes));
    }
    FieldWriter Add(std::string_view signature, size_t bytes) {
        FieldWriter entry = Raw(bytes);
        entry.Text(0, signature);
        entry.U8(kAtSystemUseLength, static_cast<uint8_t>(bytes));
        entry.U8(kAtSystemUseVersion, kSystemUseVersion);
        return entry;
    }
    // Ends the current area with a CE.
    void Continue() {
        if (!Fits(kCeBytes)) {
            throw CCDWriterISOGenException(u"Internal error #919.");
        }
        Add("CE", kCeBytes);
        FixAreaLength();
        m_nRecordBase = 0;
        m_nBlockStart = m_bytes.size();
        if (m_nInlineEnd == 0) {
            m_nInlineEnd = m_bytes.size();
        }
        m_nRoom = kRoomInArea;
    }
    size_t Size() const { return m_bytes.size(); }
    void Patch(size_t offset, uint8_t value) { m_bytes[offset] = value; }
    void Store(IsoEntry& entry) {
        FixAreaLength();
        entry.rr_data = m_bytes;
        entry.rr_inline_size =
            static_cast<uint32_t>(m_nInlineEnd != 0 ? m_nInlineEnd : m_bytes.size());
    }

  private:
    size_t Used() const { return m_nRecordBase + m_bytes.size() - m_nBlockStart; }
    // Stores the length of the area that has just ended in the CE that points to it.
    void FixAreaLength() {
        if (m_nBlockStart != 0) {
            FieldWriter(std::span(m_bytes).subspan(m_nBlockStart - kCeBytes, kCeBytes))
                .Both32(kAtCeLength, static_cast<uint32_t>(m_bytes.size() - m_nBlockStart));
        }
    }

    std::vector<uint8_t> m_bytes;
    size_t m_nRecordBase;
    size_t m_nBlockStart = 0; // where the current continuation area begins
    size_t m_nInlineEnd = 0;  // after the first CE
    size_t m_nRoom = kRoomInRecord;
};

void AddXa(SystemUseBuilder& builder, bool isDirectory, const FileStatus& status) {
    FieldWriter xa = builder.Raw(kXaBytes);
    xa.Big16(0, static_cast<uint16_t>(status.gid));
    xa.Big16(2, static_cast<uint16_t>(status.uid));
    xa.Big16(4, isDirectory ? kXaAttributesDirectory : kXaAttributesFile);
    xa.Text(6, "XA");
}

void AddName(SystemUseBuilder& builder, std::string_view native) {
    builder.Require(kNeedNm);
    while (!native.empty()) {
        size_t bytes = native.size();
        bool mustContinue = false;
        if (!builder.Fits(kNeedNmHead + bytes)) {
            bytes = builder.NameRoom();
            mustContinue = true;
        }
        if (bytes > kNameBytesPerNm) {
            bytes = kNameBytesPerNm;
            mustContinue = true;
        }
        FieldWriter nm = builder.Add("NM", kSystemUseHead + 1 + bytes);
        nm.U8(4, bytes < native.size() ? kNmContinues : 0);
        nm.Text(5, native.substr(0, bytes));
        native.remove_prefix(bytes);
        if (!native.empty() && mustContinue) {
            builder.Continue();
        }
    }
}

void AddAttributes(SystemUseBuilder& builder, const FileStatus& status) {
    builder.Require(kNeedPx);
    FieldWriter px = builder.Add("PX", kPxBytes);
    px.Both32(kAtPxMode, status.mode);
    px.Both32(kAtPxLinks, status.links);
    px.Both32(kAtPxUser, status.uid);
    px.Both32(kAtPxGroup, status.gid);
}

void AddTimes(SystemUseBuilder& builder, const FileStatus& status, RecordDateCache& dates) {
    builder.Require(kNeedTf);
    FieldWriter tf = builder.Add("TF", 26);
    tf.U8(4, kTfModifyAccessChange);
    tf.Bytes(5, dates.Get(status.modifyTime));
    tf.Bytes(12, dates.Get(status.accessTime));
    tf.Bytes(19, dates.Get(status.changeTime));
}

uint8_t RrMask(bool hasName, uint32_t flags) {
    uint8_t mask = kHasPx | kHasTf;
    mask |= hasName ? kHasNm : 0;
    mask |= (flags & kRrRelocated) != 0 ? kHasRe : 0;
    mask |= (flags & kRrParentLink) != 0 ? kHasPl : 0;
    mask |= (flags & kRrChildLink) != 0 ? kHasCl : 0;
    return mask;
}

void AddRockRidge(SystemUseBuilder& builder, std::string_view native, const IsoEntry& entry,
                  uint32_t flags, const FileStatus& status, VolumeRun& run) {
    if ((flags & kRrSuspStart) != 0) {
        FieldWriter sp = builder.Add("SP", 7);
        sp.U8(4, 0xBE);
        sp.U8(5, 0xEF);
        sp.U8(6, run.options.cd_xa ? kXaBytes : 0);
    }
    const bool hasName = !entry.record.IsDots();
    builder.Require(kNeedRr);
    builder.Add("RR", 5).U8(4, RrMask(hasName, flags));
    if (hasName) {
        AddName(builder, native);
    }
    AddAttributes(builder, status);
    AddTimes(builder, status, run.dates);
    if ((flags & kRrRelocated) != 0) {
        builder.Require(kNeedRe);
        builder.Add("RE", 4);
    }
    if ((flags & kRrParentLink) != 0) {
        builder.Require(kNeedLink);
        builder.Add("PL", kLinkBytes);
    }
    if ((flags & kRrChildLink) != 0) {
        builder.Require(kNeedLink);
        builder.Add("CL", kLinkBytes);
    }
    if ((flags & kRrExtensionPointer) != 0) {
        builder.Continue();
    }
}

// Calls `visit(ce, area)` for each continuation area of `entry` in order; both are parts of
// rr_data.
template <typename Byte, typename Visit>
void ForEachContinuation(std::span<Byte> data, size_t inlineSize, Visit&& visit) {
    size_t end = inlineSize;
    while (end < data.size()) {
        const std::span<Byte> ce = data.subspan(end - kCeBytes, kCeBytes);
        const size_t length = ReadLittle32(ce, kAtCeLength);
        visit(ce, data.subspan(end, length));
        end += length;
    }
}

void SetLinks(IsoEntry* entry, uint32_t links) {
    if (entry == nullptr) {
        return;
    }
    if (const std::span<uint8_t> px = FindSystemUse(*entry, "PX"); !px.empty()) {
        FieldWriter(px).Both32(kAtPxLinks, links);
    }
}

void SetExtent(IsoEntry& entry, std::string_view signature, uint32_t extent) {
    if (const std::span<uint8_t> link = FindSystemUse(entry, signature); !link.empty()) {
        FieldWriter(link).Both32(kAtLinkExtent, extent);
    }
}

// The ".." entry of a sorted directory.
IsoEntry* DotDotOf(const IsoDirectory& directory) {
    return directory.entries != nullptr ? directory.entries->next : nullptr;
}

void LinkRelocated(IsoDirectory& relocation) {
    for (IsoEntry* entry = relocation.entries; entry != nullptr; entry = entry->next) {
        if (entry->record.IsDots() || entry->Has(kEntryNotInIso)) {
            continue;
        }
        if (!entry->record.IsDirectory()) {
            continue; // a file that an earlier session had in there
        }
        IsoDirectory* moved = entry->own_directory;
        if (moved == nullptr) {
            throw CCDWriterISOGenException(u"Internal error #938.");
        }
        SetExtent(*DotDotOf(*moved), "PL", moved->TrueParent()->iso_extent);
        if (entry->relocated_from != nullptr) {
            SetExtent(*entry->relocated_from, "CL", moved->iso_extent);
        }
    }
}

// A directory has one link from its parent, one from its own ".", and one from the ".." of each
// subdirectory, including relocated ones.
uint32_t CountLinks(const IsoDirectory& directory) {
    uint32_t links = 2;
    for (const IsoDirectory* child = directory.first_child; child != nullptr; child = child->next) {
        links += child->Has(kDirectoryNotInIso) ? 0 : 1;
    }
    for (const IsoEntry* entry = directory.entries; entry != nullptr; entry = entry->next) {
        links += entry->Has(kEntryPlaceholder) && !entry->Has(kEntryNotInIso) ? 1 : 0;
    }
    return links;
}

void FixLinkCounts(IsoDirectory& root) {
    ForEachDirectory(root, [&](IsoDirectory& directory) {
        if (directory.Has(kDirectoryNotInIso)) {
            return;
        }
        const uint32_t links = CountLinks(directory);
        SetLinks(directory.self, links);
        SetLinks(directory.entries, links);
        if (&directory == &root) {
            SetLinks(DotDotOf(root), links); // the root is its own parent
        }
        for (IsoDirectory* child = directory.first_child; child != nullptr; child = child->next) {
            SetLinks(DotDotOf(*child), links);
        }
    });
}

constexpr uint32_t kModeReadable = 0x16D; // r-xr-xr-x

} // namespace

void NormalizeStatus(const GenOptions& options, FileStatus& status) {
    if (!options.normalize_attributes) {
        return;
    }
    status.uid = options.uid;
    status.gid = options.gid;
    const uint32_t mode =
        status.type == FileStatus::Type::Folder ? options.dir_mode : options.file_mode;
    status.mode = mode != 0 ? (status.mode & kModeTypeMask) | mode
                            : (status.mode & (kModeTypeMask | kModeReadable)) | kModeReadable;
}

void MakeRockRidge(VolumeRun& run, std::string_view native, IsoEntry& entry, uint32_t flags,
                   const FileStatus& status) {
    if ((!run.options.rock_ridge && !run.options.cd_xa) || entry.Has(kEntryNotInIso)) {
        return;
    }
    const auto nameBytes = static_cast<uint32_t>(entry.record.name.size());
    SystemUseBuilder builder(DirectoryRecord::PlainLength(nameBytes));
    if (run.options.cd_xa) {
        AddXa(builder, entry.record.IsDirectory(), status);
    }
    if (run.options.rock_ridge) {
        AddRockRidge(builder, native, entry, flags, status, run);
    }
    builder.Store(entry);
}

std::span<uint8_t> FindSystemUse(IsoEntry& entry, std::string_view signature) {
    const std::span<uint8_t> data = entry.rr_data;
    SystemUseWalk walk(data.subspan(XaBytesInFront(data)));
    while (true) {
        const std::span<const uint8_t> found = walk.Next();
        if (found.empty()) {
            return {};
        }
        if (SignatureOf(found) == signature) {
            return data.subspan(static_cast<size_t>(found.data() - data.data()), found.size());
        }
    }
}

void CopyAttributes(IsoEntry& from, IsoEntry& to) {
    for (const std::string_view signature : {"PX", "TF"}) {
        const std::span<const uint8_t> source = FindSystemUse(from, signature);
        const std::span<uint8_t> target = FindSystemUse(to, signature);
        const bool isAlike = signature == "PX" || (source.size() == target.size() &&
                                                   source[kAtTfFlags] == target[kAtTfFlags]);
        if (!source.empty() && !target.empty() && isAlike) {
            const size_t body = target.size() - kSystemUseHead;
            std::copy_n(source.begin() + kSystemUseHead, body, target.begin() + kSystemUseHead);
        }
    }
}

void LayOutSystemUse(IsoEntry& entry, std::span<const uint8_t> entries) {
    const auto nameBytes = static_cast<uint32_t>(entry.record.name.size());
    const uint32_t plainLength = DirectoryRecord::PlainLength(nameBytes);
    if (plainLength + entries.size() <= kRoomInRecord) {
        entry.rr_data.assign(entries.begin(), entries.end());
        entry.rr_inline_size = static_cast<uint32_t>(entries.size());
        return;
    }
    SystemUseBuilder builder(plainLength);
    SystemUseWalk walk(entries);
    for (auto next = walk.Next(); !next.empty(); next = walk.Next()) {
        builder.Require(next.size() + kCeBytes);
        builder.Raw(next.size()).Bytes(0, next);
    }
    builder.Store(entry);
}

void RefitSystemUse(IsoEntry& entry) {
    std::vector<uint8_t> entries;
    SystemUseWalk walk(entry.rr_data);
    for (auto next = walk.Next(); !next.empty(); next = walk.Next()) {
        if (SignatureOf(next) != "CE") {
            entries.insert(entries.end(), next.begin(), next.end());
        }
    }
    if (!walk.Failed()) {
        LayOutSystemUse(entry, entries);
    }
}

uint32_t PlaceContinuations(const IsoEntry& entry, uint32_t offset) {
    ForEachContinuation(std::span(entry.rr_data), entry.rr_inline_size,
                        [&](std::span<const uint8_t>, std::span<const uint8_t> area) {
                            const auto length = static_cast<uint32_t>(area.size());
                            offset = RoundToEven(PlaceInSector(offset, length) + length);
                        });
    return offset;
}

uint32_t WriteContinuations(IsoEntry& entry, uint32_t offset, uint32_t areasSector,
                            std::span<uint8_t> areas) {
    // An area ends with the CE of the next one, so all CEs are filled before any area is copied.
    uint32_t pointed = offset;
    ForEachContinuation(std::span(entry.rr_data), entry.rr_inline_size,
                        [&](std::span<uint8_t> ce, std::span<uint8_t> area) {
                            const auto length = static_cast<uint32_t>(area.size());
                            pointed = PlaceInSector(pointed, length);
                            FieldWriter pointer(ce);
                            pointer.Both32(kAtCeBlock, areasSector + pointed / kSectorBytes);
                            pointer.Both32(kAtCeOffset, pointed % kSectorBytes);
                            pointed = RoundToEven(pointed + length);
                        });
    ForEachContinuation(std::span(entry.rr_data), entry.rr_inline_size,
                        [&](std::span<uint8_t>, std::span<uint8_t> area) {
                            const auto length = static_cast<uint32_t>(area.size());
                            offset = PlaceInSector(offset, length);
                            FieldWriter(areas).Bytes(offset, area);
                            offset = RoundToEven(offset + length);
                        });
    return offset;
}

void MakeExtensionRecord(VolumeRun& run) {
    run.extension_record.assign(kSectorBytes, 0);
    FieldWriter er(run.extension_record);
    er.Text(0, "ER");
    er.U8(kAtSystemUseLength, kErBytes);
    er.U8(kAtSystemUseVersion, kSystemUseVersion);
    er.U8(4, kErIdentifier.size());
    er.U8(5, kErDescriptor.size());
    er.U8(6, kErSource.size());
    er.U8(7, 1); // version of the extension
    size_t offset = kErHead;
    for (const std::string_view text : {kErIdentifier, kErDescriptor, kErSource}) {
        er.Text(offset, text);
        offset += text.size();
    }
}

OutputFragment ExtensionRecordFragment(VolumeRun& run) {
    OutputFragment fragment{.name = "Extension record"};
    fragment.size = [&run] {
        IsoEntry& dot = *run.tree.Root().entries;
        if (run.options.rock_ridge) {
            FieldWriter ce(std::span(dot.rr_data).last(kCeBytes));
            ce.Both32(kAtCeBlock, run.plan_sector);
            ce.Both32(kAtCeLength, kErBytes);
        }
        ++run.plan_sector;
    };
    fragment.write = [&run](SectorStream& stream) { stream.Write(run.extension_record); };
    return fragment;
}

void FinishRockRidge(VolumeRun& run) {
    if (!run.options.rock_ridge) {
        return;
    }
    IsoDirectory* relocation = run.tree.RelocationDirectory();
    if (relocation != nullptr && !relocation->Has(kDirectoryNotInIso)) {
        LinkRelocated(*relocation);
    }
    FixLinkCounts(run.tree.Root());
}

} // namespace larkspin
