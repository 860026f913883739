// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "volume/layout.h"

#include "platform/text.h"
#include "volume/formats/eltorito.h"
#include "volume/formats/iso9660.h"
#include "volume/formats/joliet.h"
#include "volume/formats/rockridge.h"
#include "volume/formats/udf.h"
#include "volume/model/error.h"
#include "volume/model/fragment.h"
#include "volume/model/run.h"
#include "volume/model/sector_stream.h"
#include "volume/sort.h"
#include "volume/sources/contents.h"

#include <utility>
#include <vector>

namespace larkspin {

namespace {

// Some drives can't read the last sectors of a track; these keep data out of them.
constexpr uint32_t kEndPadSectors = 150;

OutputFragment InitialPadFragment(VolumeRun& run) {
    OutputFragment fragment{.name = "Initial Padblock", .kind = OutputFragment::Kind::Padding};
    fragment.size = [&run] { run.plan_sector = run.session_base + kSystemAreaSectors; };
    fragment.write = [&run](SectorStream& stream) {
        stream.WriteZeros(run.session_base + kSystemAreaSectors - stream.WrittenSector());
    };
    return fragment;
}

OutputFragment EndPadFragment(VolumeRun& run) {
    OutputFragment fragment{.name = "Ending Padblock", .kind = OutputFragment::Kind::Padding};
    fragment.size = [&run] { run.plan_sector += kEndPadSectors; };
    fragment.write = [](SectorStream& stream) { stream.WriteZeros(kEndPadSectors); };
    return fragment;
}

// Has no sectors. Its position ensures that all directories have their extents when it is sized,
// and have all been sent when it is written.
OutputFragment CleanupFragment(VolumeRun& run) {
    OutputFragment fragment{.name = "Directory tree cleanup"};
    fragment.size = [&run] { FinishRockRidge(run); };
    fragment.write = [&run](SectorStream&) {
        DetachContents(run);
        run.tree.Clear();
    };
    return fragment;
}

OutputFragment ContentsFragment(VolumeRun& run) {
    OutputFragment fragment{.name = "The File(s)", .kind = OutputFragment::Kind::Contents};
    fragment.generate = [&run] { AssignContents(run); };
    fragment.write = [&run](SectorStream& stream) { StreamContents(run, stream); };
    return fragment;
}

std::vector<OutputFragment> MainFragments(VolumeRun& run) {
    const GenOptions& options = run.options;
    std::vector<OutputFragment> list;
    if (options.generic_boot) {
        list.push_back(GenericBootFragment(run));
    }
    list.push_back(InitialPadFragment(run));
    list.push_back(PrimaryDescriptorFragment(run));
    if (options.el_torito) {
        list.push_back(BootRecordFragment(run));
    }
    if (options.interchange_level > 3) {
        list.push_back(EnhancedDescriptorFragment(run));
    }
    if (options.joliet) {
        list.push_back(JolietDescriptorFragment(run));
    }
    list.push_back(EndDescriptorFragment(run));
    if (options.udf) {
        list.push_back(UdfRecognitionFragment(run));
    }
    list.push_back(VersionBlockFragment(run));
    if (options.udf) {
        for (OutputFragment& fragment : UdfFragments(run)) {
            list.push_back(std::move(fragment));
        }
    }
    list.push_back(PathTableFragment(run));
    if (options.joliet) {
        list.push_back(JolietPathTableFragment(run));
    }
    list.push_back(DirectoryTreeFragment(run));
    if (options.joliet) {
        list.push_back(JolietDirectoryTreeFragment(run));
    }
    list.push_back(CleanupFragment(run));
    list.push_back(ExtensionRecordFragment(run));
    list.push_back(ContentsFragment(run));
    return list;
}

// What follows the files; its place is known only once they have theirs.
std::vector<OutputFragment> TailFragments(VolumeRun& run) {
    if (run.options.udf) {
        return UdfTailFragments(run);
    }
    std::vector<OutputFragment> list;
    if (run.options.pad_end) {
        list.push_back(EndPadFragment(run));
    }
    return list;
}

void SortTree(VolumeRun& run) {
    const bool hasLongNames = run.options.joliet || run.options.udf;
    if (hasLongNames) {
        MakeJolietNamesUnique(run);
    }
    SortIsoTree(run);
    if (hasLongNames) {
        SortJolietTree(run);
    }
    IsoDirectory& root = run.tree.Root();
    root.self = root.entries; // "." stands for the root
}

void PlaceFragment(VolumeRun& run, OutputFragment& fragment) {
    fragment.start = run.plan_sector;
    if (fragment.size) {
        fragment.size();
    }
    fragment.sectors = run.plan_sector - fragment.start;
}

std::vector<OutputFragment> PlanVolume(VolumeRun& run) {
    std::vector<OutputFragment> fragments = MainFragments(run);
    run.plan_sector = run.session_base;
    for (OutputFragment& fragment : fragments) {
        PlaceFragment(run, fragment);
    }
    for (OutputFragment& fragment : fragments) {
        if (fragment.generate) {
            fragment.generate();
        }
    }
    for (OutputFragment& fragment : TailFragments(run)) {
        PlaceFragment(run, fragment);
        fragments.push_back(std::move(fragment));
    }
    return fragments;
}

void WriteFragments(VolumeRun& run, std::vector<OutputFragment>& fragments, SectorStream& stream) {
    for (OutputFragment& fragment : fragments) {
        if (fragment.start != stream.WrittenSector()) {
            throw CCDWriterISOGenException(
                FormatWide("Internal error #910. %s should start at %u but starts at %u.",
                           fragment.name, fragment.start, stream.WrittenSector()));
        }
        fragment.write(stream);
    }
    if (run.plan_sector != stream.WrittenSector()) {
        throw CCDWriterISOGenException(
            FormatWide("Internal error #911. file system should end at %u but ends at %u.",
                       run.plan_sector, stream.WrittenSector()));
    }
    stream.Flush();
    run.boot_patches.Keep();
}

} // namespace

void SendVolume(VolumeRun& run, IByteSink& sink, const SizeReady& sizeReady,
                const ExtentsReady& extentsReady) {
    SortTree(run);
    std::vector<OutputFragment> fragments = PlanVolume(run);
    if (extentsReady) {
        extentsReady(ListExtents(run, fragments));
    }
    if (sizeReady) {
        sizeReady(run.plan_sector - run.session_base);
    }
    SectorStream stream(sink, run.session_base);
    try {
        WriteFragments(run, fragments, stream);
    } catch (const ReaderGone&) {
        return; // the one who closed the reader knows why
    }
}

} // namespace larkspin
