// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Discs that are written from the inside out, track after track: DVD-R and DVD-RW in sequential
// recording, DVD+R (dvd_sequential.h), BD-R (bd_r.h).
//
// A track is written at its next writable address only. What was sent is recorded in whole ECC
// blocks: SYNCHRONIZE CACHE and closing fill the last one up with zeros. A session is closed by
// CLOSE TRACK/SESSION. Tracks of an open session can be read as far as they are recorded.
//
// A recording in one go that loses the disc or the power in the middle is damaged: it goes no
// further than it was written, and closing is all that can be done. Any other goes on at the next
// ECC block.
//
// Unless a kind says otherwise the mode page is not looked at, and RESERVE TRACK sets the length of
// the next track. A reserved track that is closed early is filled up with zeros; a reservation that
// no write follows is forgotten with the disc.
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
    // What a track that begins is written as; refuses what the disc does not take now.
    virtual SenseCode CheckTrackBegin(bool) const { return sense::kGood; }
    virtual bool IsInOneGo(const WriteParameters&) const { return false; }
    // True if tracks that are not written in one go are made of packets.
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
    // Where a track must end that begins at `start` with a reservation or with none (0).
    int32_t TrackEnd(int32_t start, uint32_t reserved) const;
    TrackInformation InvisibleTrack(const WriteParameters& parameters) const;
    // Blocks that are reserved for the track that begins next; 0 for none.
    uint32_t Reserved(bool inOneGo) const;
    SenseCode FillUp(const DiscTrack& track, uint32_t blocks);
    SenseCode CompleteTrack(DiscTrack& track);
    SenseCode CloseSession(bool closeDisc);

    CTracks m_tracks;
    uint32_t m_nReserved = 0; // blocks that RESERVE TRACK asked for, until the first write
};

} // namespace larkspin
