// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// CD-R and CD-RW: track at once and session at once, sessions, the layouts of the Red Book.
//
// Track at once appends a track after the last one, with 2 run-out blocks and 150 blocks of pre-gap
// between them. A session is followed by its lead-out and the next one's lead-in: from the start of
// a lead-out to the first track of the next session there are 11,400 blocks after the first session
// and 6,900 after the others (MMC, "Multisession CD"). A track has at least 300 blocks; whereas
// real drives may pad a shorter one, this one refuses to close it. SYNCHRONIZE CACHE ends a track
// at once that is long enough. Only closed sessions can be read.
//
// A track or session at once is recorded without interruption: if the drive loses the disc or its
// power halfway, the recording is damaged, accepts no more blocks, and can only be closed.
//
// The next writable address of a blank disc is -150 while the mode page is set to session at once;
// for a further session it is always the start of the track, as common hosts expect.
#pragma once

#include "virtualdrive/cd_limits.h"
#include "virtualdrive/cue_plan.h"
#include "virtualdrive/medium.h"
#include "virtualdrive/tracks.h"

#include <memory>

namespace larkspin {

class CCdMedium : public IMedium {
  public:
    explicit CCdMedium(CDiscStore& store);

    bool IsFeatureCurrent(uint16_t feature) const override;
    std::span<const uint32_t> WriteSpeeds() const override;
    uint32_t ReadSpeed() const override;
    DiscInformation Information(const WriteParameters& parameters) const override;
    SenseCode Track(TrackAddress by, uint32_t number, const WriteParameters& parameters,
                    TrackInformation* track) const override;
    SenseCode Toc(uint8_t format, bool msf, uint8_t start, CAnswer& answer) const override;
    std::vector<FormatCapacity> FormatCapacities() const override;
    uint32_t LastBlock() const override;
    SenseCode Read(int32_t block, uint32_t count, std::span<uint8_t> data) override;
    SenseCode ReadCd(int32_t block, uint32_t count, const ReadCdRequest& request,
                     std::span<uint8_t> data, uint32_t* bytesPerBlock) override;
    SenseCode CheckParameters(const WriteParameters& parameters) const override;
    SenseCode Write(const WriteParameters& parameters, int32_t block, uint32_t count,
                    std::span<const uint8_t> data) override;
    SenseCode Flush(const WriteParameters& parameters, Aftermath* aftermath) override;
    SenseCode Close(const WriteParameters& parameters, uint8_t function, uint16_t track) override;
    SenseCode SendCueSheet(const WriteParameters& parameters,
                           std::span<const uint8_t> sheet) override;
    bool IsWritable() const override;

  protected:
    virtual bool IsErasable() const = 0;
    // Drops a recording in progress.
    void DropPlan() { m_plan.reset(); }

  private:
    // Blocks from the start of the last lead-out to the first track of the next session.
    static int32_t SessionGap(size_t closedSessions);
    int32_t NextTrackStart() const;
    int32_t LastLeadOut() const { return static_cast<int32_t>(State().capacity); }
    TrackInformation InvisibleTrack(const WriteParameters& parameters) const;
    bool IsTooShort(const DiscTrack& open) const;

    SenseCode WriteTrackAtOnce(const WriteParameters& parameters, int32_t block, uint32_t count,
                               std::span<const uint8_t> data);
    SenseCode WriteSessionAtOnce(int32_t block, uint32_t count, std::span<const uint8_t> data);
    SenseCode EndSessionAtOnce(const WriteParameters& parameters);
    void CutOffRecording();
    SenseCode CloseSession(const WriteParameters& parameters);

    void AppendPma(CAnswer& answer) const;
    void AppendFullToc(uint8_t firstSession, CAnswer& answer) const;
    void AppendAtip(CAnswer& answer) const;

    CTracks m_tracks;
    // A session at once, from its cue sheet to its last block.
    std::unique_ptr<CCuePlan> m_plan;
    int32_t m_nextPlanned = 0;
};

class CCdRMedium final : public CCdMedium {
  public:
    using CCdMedium::CCdMedium;
    uint16_t Profile() const override { return 0x09; }

  private:
    bool IsErasable() const override { return false; }
};

class CCdRwMedium final : public CCdMedium {
  public:
    using CCdMedium::CCdMedium;
    uint16_t Profile() const override { return 0x0A; }
    SenseCode Blank(uint8_t type, uint32_t address) override;

  private:
    bool IsErasable() const override { return true; }
};

} // namespace larkspin
