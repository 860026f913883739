// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "volume/formats/udf.h"

#include "volume/formats/udf_descriptors.h"
#include "volume/model/run.h"
#include "volume/model/sector_stream.h"

#include <algorithm>

namespace larkspin {

namespace {

constexpr uint32_t kSequencesAt = 32; // sectors from the start of the session
constexpr uint32_t kAnchorAt = 256;   // ECMA-167 3/8.4.2.1
// Some drives can't read the last sectors of a track, and readers look for an anchor in the last
// one that they can read: each of these is an anchor.
constexpr uint32_t kEndAnchors = 150;

void Write(SectorStream& stream, const std::vector<UdfSector>& sectors) {
    for (const UdfSector& sector : sectors) {
        stream.Write(sector);
    }
}

OutputFragment PadTo(VolumeRun& run, const char* name, uint32_t sectorOfSession) {
    const uint32_t end = run.session_base + sectorOfSession;
    OutputFragment fragment{.name = name};
    fragment.size = [&run, end] { run.plan_sector = std::max(run.plan_sector, end); };
    fragment.write = [end](SectorStream& stream) {
        if (stream.WrittenSector() < end) {
            stream.WriteZeros(end - stream.WrittenSector());
        }
    };
    return fragment;
}

OutputFragment VolumeSequence(VolumeRun& run, const char* name, uint32_t UdfPlan::*start) {
    OutputFragment fragment{.name = name};
    fragment.size = [&run, start] {
        run.udf.*start = run.plan_sector;
        run.plan_sector += kUdfSequenceSectors;
    };
    fragment.write = [&run](SectorStream& stream) {
        Write(stream, UdfVolumeSequence(run, stream.WrittenSector()));
    };
    return fragment;
}

OutputFragment IntegritySequence(VolumeRun& run) {
    OutputFragment fragment{.name = "UDF integ seq"};
    fragment.size = [&run] {
        run.udf.integrity_sequence = run.plan_sector;
        run.plan_sector += 2;
    };
    fragment.write = [&run](SectorStream& stream) {
        stream.Write(UdfIntegrityDescriptor(run));
        stream.Write(UdfTerminatingDescriptor(stream.WrittenSector()));
    };
    return fragment;
}

OutputFragment Anchor(VolumeRun& run) {
    OutputFragment fragment{.name = "UDF Anchor volume"};
    fragment.size = [&run] { ++run.plan_sector; };
    fragment.write = [&run](SectorStream& stream) {
        stream.Write(UdfAnchor(run, stream.WrittenSector()));
    };
    return fragment;
}

OutputFragment FileSet(VolumeRun& run) {
    OutputFragment fragment{.name = "UDF file set"};
    fragment.size = [&run] {
        run.udf.partition_start = run.plan_sector;
        run.plan_sector += 2;
    };
    fragment.write = [&run](SectorStream& stream) {
        stream.Write(UdfFileSetDescriptor(run));
        stream.Write(UdfTerminatingDescriptor(run.udf.BlockOf(stream.WrittenSector())));
    };
    return fragment;
}

// The partition ends after the first anchor of the tail if more follow, else before it.
OutputFragment EndAnchor(VolumeRun& run) {
    OutputFragment fragment{.name = "UDF Anchor end volume"};
    fragment.size = [&run] {
        run.udf.partition_end = run.plan_sector;
        ++run.plan_sector;
    };
    fragment.write = [&run](SectorStream& stream) {
        stream.Write(UdfAnchor(run, stream.WrittenSector()));
    };
    return fragment;
}

OutputFragment EndAnchors(VolumeRun& run) {
    OutputFragment fragment{.name = "UDF Pad end"};
    fragment.size = [&run] {
        run.udf.partition_end = run.plan_sector;
        run.plan_sector += kEndAnchors;
    };
    fragment.write = [&run](SectorStream& stream) {
        for (uint32_t i = 0; i < kEndAnchors; ++i) {
            stream.Write(UdfAnchor(run, stream.WrittenSector()));
        }
    };
    return fragment;
}

} // namespace

OutputFragment UdfRecognitionFragment(VolumeRun& run) {
    OutputFragment fragment{.name = "UDF volume recognition area"};
    fragment.size = [&run] { run.plan_sector += 3; };
    fragment.write = [](SectorStream& stream) { Write(stream, UdfRecognitionArea()); };
    return fragment;
}

std::vector<OutputFragment> UdfFragments(VolumeRun& run) {
    OutputFragment directories{.name = "UDF directory tree"};
    directories.size = [&run] { PlanUdfDirectories(run); };
    directories.write = [&run](SectorStream& stream) { WriteUdfDirectories(run, stream); };
    OutputFragment files{.name = "UDF file entries"};
    files.size = [&run] { PlanUdfFiles(run); };
    files.write = [&run](SectorStream& stream) { WriteUdfFiles(run, stream); };
    return {PadTo(run, "UDF pad to sector 32", kSequencesAt),
            VolumeSequence(run, "UDF main seq", &UdfPlan::main_sequence),
            VolumeSequence(run, "UDF second seq", &UdfPlan::reserve_sequence),
            IntegritySequence(run),
            PadTo(run, "UDF pad to sector 256", kAnchorAt),
            Anchor(run),
            FileSet(run),
            directories,
            files};
}

std::vector<OutputFragment> UdfTailFragments(VolumeRun& run) {
    std::vector<OutputFragment> list = {EndAnchor(run)};
    if (run.options.pad_end) {
        list.push_back(EndAnchors(run));
    }
    return list;
}

} // namespace larkspin
