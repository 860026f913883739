// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Discs that are written from the inside out, track after track: DVD-R and DVD-RW in sequential
// recording, DVD+R (dvd_sequential.h), BD-R (bd_r.h).
//
// A track is written only at its next writable address. Data is recorded in whole ECC blocks:
// SYNCHRONIZE CACHE and closing pad the last one with zeros. CLOSE TRACK/SESSION closes a session.
// Tracks of an open session can be read as far as they are recorded.
//
// If a recording in one go loses the disc or the power halfway, it is damaged: it can't be
// continued, only closed. Any other recording continues at the next ECC block.
//
// Unless a kind says otherwise, the mode page is ignored, and RESERVE TRACK sets the length of the
// next track. A reserved track that is closed early is padded with zeros. A reservation without a
// following write is dropped when the disc is removed.
#pragma once

#include "virtualdrive/ecc_medium.h"
#include "virtualdrive/tracks.h"

namespace larkspin {

class CSequentialMedium : public CEccMedium {
  public:
    CSequentialMedium(CDiscStore& store, const EccFacts& facts);

    DiscInformation Information(const WriteParameters& parameters) const override;
    SenseCode Track(TrackAddress by, uint32_t number, const WriteParameters& parameters,
                    TrackInformation* track) const override;
    SenseCode Toc(uint8_t format, bool msf, uint8_t start, CAnswer& answer) const override;
    std::vector<FormatCapacity> FormatCapacities() const override;
    uint32_t LastBlock() const override;
    SenseCode Read(int32_t block, uint32_t count, std::span<uint8_t> data) override;
    SenseCode Write(const WriteParameters& parameters, int32_t block, uint32_t count,
                    std::span<const uint8_t> data) override;
    SenseCode Flush(const WriteParameters& parameters, Aftermath* aftermath) override;
    SenseCode Close(const WriteParameters& parameters, uint8_t function, uint16_t track) override;
    SenseCode CheckParameters(const WriteParameters& parameters) const override;
    SenseCode Reserve(const WriteParameters& parameters, uint32_t blocks) override;
    bool IsWritable() const override { return !State().finalized; }

  protected:
    virtual bool IsErasable() const { return false; }
    // Checks whether the disc accepts the beginning of a track now.
    virtual SenseCode CheckTrackBegin(bool) const { return sense::kGood; }
    virtual bool IsInOneGo(const WriteParameters&) const { return false; }
    // True if tracks that are not written in one go consist of packets.
    virtual bool HasPackets() const { return false; }
    virtual uint32_t MaxTracks() const = 0;
    // Blocks between a session's end and the next one's start, and between two tracks.
    virtual int32_t SessionGap(size_t closedSessions) const = 0;
    virtual int32_t TrackGap() const = 0;
    virtual bool ClosesDisc(const WriteParameters&, uint8_t function) const {
        return function != kCloseSession;
    }
    virtual bool IsSessionFunction(uint8_t function) const = 0;

    const CTracks& Tracks() const { return m_tracks; }
    SenseCode ReserveNext(uint32_t blocks);
    void ForgetReservation() { m_nReserved = 0; }

  private:
    int32_t NextTrackStart() const;
    // The end of a track that begins at `start` with a reservation or without (0).
    int32_t TrackEnd(int32_t start, uint32_t reserved) const;
    TrackInformation InvisibleTrack(const WriteParameters& parameters) const;
    // Blocks reserved for the next track; 0 for none.
    uint32_t Reserved(bool inOneGo) const;
    SenseCode FillUp(const DiscTrack& track, uint32_t blocks);
    SenseCode CompleteTrack(DiscTrack& track);
    SenseCode CloseSession(bool closeDisc);

    CTracks m_tracks;
    uint32_t m_nReserved = 0; // set by RESERVE TRACK until the first write
};

} // namespace larkspin
