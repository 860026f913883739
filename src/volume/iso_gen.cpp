// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "volume/iso_gen.h"

#include "volume/formats/eltorito.h"
#include "volume/formats/rockridge.h"
#include "volume/layout.h"
#include "volume/merge/merge.h"
#include "volume/model/run.h"
#include "volume/sources/scan.h"

#include <utility>

namespace larkspin {

namespace {

// The settings that make a volume a data disc, whatever the options were before.
GenOptions DataDiscOptions(GenOptions options) {
    options.no_name_version = true;
    options.no_trailing_dot = false;
    options.keep_lowercase = false;
    options.keep_inner_dots = true;
    options.mangle_specials = false;
    options.long_clash_names = false;
    options.joliet = true;
    options.joliet_name_limit = 103;
    options.ucs_level = 3;
    options.rock_ridge = true;
    options.normalize_attributes = true;
    options.rr_moved_visible_name = true;
    return options;
}

} // namespace

struct CCDWriterISOGen::State {
    IFileSystem& files;
    IClock& clock;
    GenOptions options = {};
    Notice notice = {};
    ExtentsReady extents_ready = {};
};

CCDWriterISOGen::CCDWriterISOGen(IFileSystem& files, IClock& clock)
    : m_pState(new State{files, clock}) {}

CCDWriterISOGen::~CCDWriterISOGen() = default;

void CCDWriterISOGen::ResetOptions() {
    m_pState->options = GenOptions();
}

GenOptions& CCDWriterISOGen::Options() {
    return m_pState->options;
}

void CCDWriterISOGen::SetNotice(Notice notice) {
    m_pState->notice = std::move(notice);
}

void CCDWriterISOGen::SetExtentsReady(ExtentsReady extentsReady) {
    m_pState->extents_ready = std::move(extentsReady);
}

void CCDWriterISOGen::MakeVolume(const std::vector<std::u16string>& queue, IByteSink& stream,
                                 uint32_t previousBase, uint32_t sessionBase,
                                 const SizeReady& sizeReady) {
    VolumeRun run(m_pState->files, m_pState->clock, DataDiscOptions(m_pState->options),
                  m_pState->notice, previousBase, sessionBase);
    MakeExtensionRecord(run);
    AddQueue(run, queue);
    if (run.options.el_torito) {
        AddBootCatalog(run);
    }
    SendVolume(run, stream, sizeReady, m_pState->extents_ready);
}

void CCDWriterISOGen::MakeMergedVolume(const std::vector<std::u16string>& queue, IByteSink& stream,
                                       uint32_t previousBase, uint32_t sessionBase,
                                       IBlockReader& drive, const SizeReady& sizeReady) {
    VolumeRun run(m_pState->files, m_pState->clock, DataDiscOptions(m_pState->options),
                  m_pState->notice, previousBase, sessionBase);
    MakeExtensionRecord(run);
    AddQueue(run, queue);
    if (run.options.el_torito) {
        AddBootCatalog(run);
    }
    MergePreviousSession(run, drive);
    SendVolume(run, stream, sizeReady, m_pState->extents_ready);
}

} // namespace larkspin
