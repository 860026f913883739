// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "volume/sources/scan.h"

#include "platform/paths.h"
#include "platform/text.h"
#include "volume/formats/rockridge.h"
#include "volume/formats/udf.h"
#include "volume/model/error.h"
#include "volume/model/names.h"
#include "volume/model/run.h"
#include "volume/model/sections.h"
#include "volume/sources/folder_walk.h"
#include "volume/sources/twins.h"

#include <algorithm>
#include <set>
#include <string_view>
#include <utility>

namespace larkspin {

namespace {

constexpr size_t kLongestScannedPath = 1024; // UTF-16 units
constexpr size_t kDriveRootLength = 3;       // "C:\"
constexpr uint32_t kModePermissions = 0x0FFF;

bool IsLetter(char16_t unit) {
    return (unit >= u'a' && unit <= u'z') || (unit >= u'A' && unit <= u'Z');
}

bool IsBackupName(std::u16string_view name) {
    constexpr std::u16string_view kSuffix = u".bak";
    return name.find_first_of(u"~#") != std::u16string_view::npos ||
           (name.size() > kSuffix.size() && EndsWithNoCase(name, kSuffix));
}

// Fails unless `path`, which is not a POSIX path, is a folder or file on a drive.
void CheckDrivePath(std::u16string_view path) {
    if (path.size() < kDriveRootLength) {
        throw CCDWriterISOGenException(u"Internal error #991.");
    }
    if (path.size() > kDriveRootLength) {
        return;
    }
    if (!IsLetter(path[0])) {
        throw CCDWriterISOGenException(u"Internal error #992.");
    }
    if (path[1] != u':') {
        throw CCDWriterISOGenException(u"Internal error #993.");
    }
    if (path[2] != SeparatorOf(path)) {
        throw CCDWriterISOGenException(u"Internal error #994.");
    }
}

IsoEntry& NewEntry(VolumeRun& run, IsoDirectory& directory, const std::u16string* folder,
                   std::u16string name, std::string_view native, const FileStatus& status) {
    const bool isFolder = status.type == FileStatus::Type::Folder;
    IsoEntry& entry = run.tree.NewEntry();
    entry.name = std::move(name);
    entry.source_folder = folder;
    entry.priority = kPriorityOrdinary;
    entry.inode = static_cast<uint16_t>(status.inode);
    entry.device = static_cast<uint32_t>(status.device);
    entry.record.date = run.dates.Get(status.modifyTime);
    entry.record.volume_sequence = run.options.volume_sequence;
    entry.record.flags = isFolder ? DirectoryRecord::kFlagDirectory : 0;
    entry.record.name = MakeIsoName(native, isFolder, run.options);
    directory.AddEntry(entry);
    return entry;
}

class Scanner final : public IWalkVisitor {
  public:
    explicit Scanner(VolumeRun& run)
        : m_run(run),
          m_walk(run.files, *this,
                 run.options.udf ? std::min(kFileSizeLimit, kUdfFileSizeLimit) : kFileSizeLimit) {}

    void AddQueueItem(const std::u16string& item) {
        FileStatus status;
        if (!m_run.files.Status(item, &status)) {
            Tell(WhyMissing(m_run.files, item), item);
            return;
        }
        if (!IsPosixPath(item)) {
            CheckDrivePath(item);
        }
        if (IsFolderByName(item)) {
            m_run.root_status = status;
            NormalizeStatus(m_run.options, *m_run.root_status);
        }
        m_walk.Add(item, status, &m_run.tree.Root());
    }

    void Finish() {
        m_walk.FollowLinks();
        const bool isEmpty = m_run.tree.Root().entries == nullptr;
        if (isEmpty || (!m_bHasFiles && m_bLeftOut)) {
            throw CCDWriterISOGenException(u"No files to write.");
        }
        // Several items may have filled the root, and folders of the same name become one.
        SeparateTwins(m_run, m_run.tree.Root());
        for (IsoDirectory* directory : m_shared) {
            SeparateTwins(m_run, *directory);
        }
    }

    bool GoesOn(const std::u16string& /*folder*/) override { return true; }

    bool Wants(const std::u16string& folder, const std::u16string& name) override {
        if (folder.size() + 1 + name.size() > kLongestScannedPath) {
            FailTooLong(name);
        }
        return m_run.options.keep_backup_files || !IsBackupName(name);
    }

    WalkPlace Open(IsoDirectory* directory, const std::u16string& folder) override {
        return {directory, m_run.tree.KeepPath(folder)};
    }

    void File(const WalkPlace& place, std::u16string name, const std::u16string& /*path*/,
              const FileStatus& status) override {
        m_bHasFiles = true;
        FileStatus shown = status;
        NormalizeStatus(m_run.options, shown);
        AddFile(*place.directory, place.folder, std::move(name), shown);
    }

    IsoDirectory* Folder(const WalkPlace& place, const std::u16string& name,
                         const std::u16string& path, const FileStatus& status) override {
        IsoDirectory* existing = m_run.tree.FindDirectory(*place.directory, name);
        if (existing != nullptr) {
            m_shared.insert(existing);
            return existing;
        }
        FileStatus shown = status;
        NormalizeStatus(m_run.options, shown);
        return &AddFolder(*place.directory, place.folder, name, path, shown);
    }

    void Tell(NoticeReason reason, const std::u16string& path) override {
        m_bLeftOut = true;
        m_run.Tell(reason, path);
    }

  private:
    [[noreturn]] static void FailTooLong(const std::u16string& name) {
        constexpr size_t kShown = 40; // units; the text of a failure is short
        throw CCDWriterISOGenException(
            FormatWide("Internal error #940. The path of \"%s\" is too long.",
                       ToNative(name.substr(0, kShown)).c_str()));
    }

    void AddFile(IsoDirectory& directory, const std::u16string* folder, std::u16string name,
                 const FileStatus& status) {
        const std::string native = ToNative(name);
        IsoEntry& entry = NewEntry(m_run, directory, folder, std::move(name), native, status);
        MakeRockRidge(m_run, native, entry, 0, status);
        MakeSections(m_run.tree, entry, status.size);
    }

    IsoDirectory& AddFolder(IsoDirectory& directory, const std::u16string* folder,
                            const std::u16string& name, const std::u16string& path,
                            const FileStatus& status) {
        const std::string native = ToNative(name);
        IsoEntry& entry = NewEntry(m_run, directory, folder, name, native, status);
        IsoDirectory* place = nullptr;
        if (directory.depth > m_run.options.relocation_depth) {
            place = &Relocate(entry, native, path, status);
        } else {
            MakeRockRidge(m_run, native, entry, 0, status);
            place = &m_run.tree.NewDirectory(directory, entry, path, name);
        }
        m_run.tree.NameDirectory(directory, name, *place);
        return *place;
    }

    // ECMA-119 6.8.2.1 allows eight levels. A deeper directory goes to the relocation directory and
    // leaves a placeholder, an empty file to ISO 9660, in its real place.
    IsoDirectory& Relocate(IsoEntry& placeholder, std::string_view native,
                           const std::u16string& path, FileStatus status) {
        IsoDirectory& relocation = RelocationDirectory(m_run);
        IsoEntry& moved = NewEntry(m_run, relocation, placeholder.source_folder, placeholder.name,
                                   native, status);
        moved.priority = kPriorityFixed;
        moved.relocated_from = &placeholder;
        placeholder.relocated_to = &moved;
        MakeRockRidge(m_run, native, moved, kRrRelocated, status);
        IsoDirectory& directory = m_run.tree.NewDirectory(relocation, moved, path, moved.name);

        placeholder.flags |= kEntryPlaceholder;
        placeholder.record.flags = 0;
        placeholder.inode = kNoInode;
        status.mode &= kModePermissions;
        MakeRockRidge(m_run, native, placeholder, kRrChildLink, status);
        return directory;
    }

    VolumeRun& m_run;
    FolderWalk m_walk;
    std::set<IsoDirectory*> m_shared; // filled from several folders
    bool m_bHasFiles = false;
    bool m_bLeftOut = false;
};

// Adds a dot to `directory` that points to `target` and has its status: some systems take a
// folder's status from there.
void AddDot(VolumeRun& run, IsoDirectory& directory, const IsoDirectory& target,
            std::u16string name, uint32_t rrFlags) {
    const FileStatus& status = run.root_status.value_or(run.default_status);
    const std::string native = ToNative(name);
    IsoEntry& entry = run.tree.NewEntry();
    entry.name = std::move(name);
    entry.record.name = MakeIsoName(native, true, run.options);
    entry.record.flags = DirectoryRecord::kFlagDirectory;
    entry.record.date =
        target.self != nullptr ? target.self->record.date : run.dates.Get(status.modifyTime);
    entry.record.volume_sequence = run.options.volume_sequence;
    directory.AddEntry(entry);
    MakeRockRidge(run, native, entry, rrFlags, status);
    if (target.self != nullptr) { // the root has none yet
        CopyAttributes(*target.self, entry);
    }
}

} // namespace

std::u16string_view RelocationName(const GenOptions& options) {
    return options.rr_moved_visible_name ? u".rr_moved" : u"rr_moved";
}

void AddQueue(VolumeRun& run, const std::vector<std::u16string>& queue) {
    if (queue.empty()) {
        throw CCDWriterISOGenException(u"No files to write.");
    }
    Scanner scanner(run);
    for (const std::u16string& item : queue) {
        scanner.AddQueueItem(item);
    }
    scanner.Finish();
}

IsoDirectory& RelocationDirectory(VolumeRun& run) {
    if (IsoDirectory* existing = run.tree.RelocationDirectory()) {
        return *existing;
    }
    const std::string native = ToNative(RelocationName(run.options));
    IsoDirectory& root = run.tree.Root();
    IsoEntry& entry = NewEntry(run, root, nullptr, ToWide(native), native, run.default_status);
    entry.priority = kPriorityFixed;
    entry.inode = kNoInode;
    entry.device = kNoDevice;
    entry.flags |= kEntryNotInJoliet; // Joliet shows deep directories at their true places
    MakeRockRidge(run, native, entry, 0, run.default_status);
    IsoDirectory& directory = run.tree.NewFirstDirectory(root, entry, {}, entry.name);
    directory.flags |= kDirectoryNotInJoliet;
    run.tree.SetRelocationDirectory(directory);
    AddDotEntries(run, directory);
    return directory;
}

void AddDotEntries(VolumeRun& run, IsoDirectory& directory) {
    const IsoDirectory* root = &run.tree.Root();
    const IsoDirectory* relocation = run.tree.RelocationDirectory();
    if (!directory.Has(kDirectoryHasDotDot)) {
        const bool isMoved = relocation != nullptr && directory.parent == relocation;
        AddDot(run, directory, *directory.TrueParent(), u"..", isMoved ? kRrParentLink : 0);
        directory.flags |= kDirectoryHasDotDot;
    }
    if (!directory.Has(kDirectoryHasDot)) {
        AddDot(run, directory, directory, u".",
               &directory == root ? kRrSuspStart | kRrExtensionPointer : 0);
        directory.flags |= kDirectoryHasDot;
    }
}

} // namespace larkspin
