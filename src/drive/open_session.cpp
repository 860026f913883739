// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// CAspiCD: closing a session that an interrupted recording left open.
#include "drive/direct_command.h"
#include "drive/dvd_detail.h"
#include "drive/mmc.h"
#include "drive/mode_pages.h"
#include "drive/profiles.h"
#include "drive/scsi_command.h"
#include "drive/waiting.h"
#include "platform/byte_order.h"

#include <algorithm>

namespace larkspin {

namespace {

constexpr int32_t kShortestCdTrack = 300; // Orange Book
constexpr uint8_t kAscSessionFixation = 0x72;

enum CloseFunction : uint8_t { kCloseTrack = 1, kCloseSession = 2 };

// The last track of the disc, as READ TRACK INFORMATION reports it.
class LastTrack {
  public:
    // Returns 0, or an error like DirectResult::Error.
    int Read(CAspiCD& drive) {
        std::array<uint8_t, 32> info = {};
        Cdb cdb(mmc::kReadDiscInformation);
        cdb[8] = info.size();
        DirectResult result = SendDirect(drive, SRB_DIR_IN, cdb, info.data(), info.size());
        if (result.Error() != 0) {
            return result.Error();
        }
        m_number = static_cast<uint16_t>(info[11] << 8 | info[6]);
        cdb = Cdb(mmc::kReadTrackInformation);
        cdb[1] = 1; // the number below is a track
        StoreBe16(&cdb[4], m_number);
        cdb[8] = m_track.size();
        result = SendDirect(drive, SRB_DIR_IN, cdb, m_track.data(), m_track.size());
        return result.Error();
    }

    uint16_t Number() const { return m_number; }
    bool IsBlank() const { return (m_track[6] & 0x40) != 0; }

    // The number of blocks that must be written before a drive will close the track: the rest of a
    // reserved track, or whatever makes any other one long enough. Nothing if it accepts no more
    // blocks.
    int32_t MissingBlocks() const {
        if ((m_track[7] & 1) == 0) {
            return 0;
        }
        const bool isReserved = (m_track[6] & 0x80) != 0;
        const int64_t free = LoadBe32(&m_track[16]);
        const int64_t written = NextBlock() - int64_t{LoadBe32(&m_track[8])};
        const int64_t missing = isReserved ? free : kShortestCdTrack - written;
        return static_cast<int32_t>(std::clamp<int64_t>(missing, 0, INT32_MAX));
    }
    int32_t NextBlock() const { return static_cast<int32_t>(LoadBe32(&m_track[12])); }

  private:
    uint16_t m_number = 0;
    std::array<uint8_t, 36> m_track = {};
};

int Close(CAspiCD& drive, CloseFunction function, uint16_t track = 0) {
    Cdb cdb(mmc::kCloseTrackSession);
    cdb[2] = function;
    StoreBe16(&cdb[4], track);
    return SendDirect(drive, SRB_DIR_OUT, cdb).Error();
}

void FillUp(CAspiCD& drive, const LastTrack& track, const CancelFunctor* cancel) {
    const std::vector<uint8_t> zeros(kDvdChunkBytes);
    int32_t next = track.NextBlock();
    const int32_t end = next + track.MissingBlocks();
    while (next < end && !IsCancelled(cancel)) {
        const int32_t blocks = std::min<int32_t>(end - next, kDvdChunkBlocks);
        if (drive.WriteBlocks(&next, zeros.data(), blocks, cancel, kLogicalBlockBytes) != 0) {
            return; // the close operation that follows tells why
        }
    }
}

// The write parameters tell a drive whether to close just the session or the whole disc.
void LeaveRoomForMore(CAspiCD& drive) {
    const MediumTraits& current = TraitsOf(drive.GetCurrentProfile());
    if (current.IsBd()) {
        return; // has no write parameters: only a close function of its own finalises the disc
    }
    if (!current.hasDvdWay) {
        drive.SetBlockSize2048();
        drive.SetTaoParameters();
        return;
    }
    drive.ResetDvdState();
    drive.Dvd().m_nProfile = drive.Dvd().IdentifyMedia();
    const MediumTraits& medium = TraitsOf(drive.Dvd().m_nProfile);
    if (!medium.IsIncremental()) {
        return;
    }
    CScsiCommand command(drive);
    drive.Dvd().SetupWriteParameters(command, medium.profile,
                                     kMultiSessionOpen | kWriteTypeIncremental);
}

} // namespace

int CAspiCD::CloseOpenSession(const CancelFunctor* cancel) {
    LastTrack track;
    if (const int code = track.Read(*this); code != 0) {
        return code;
    }
    LeaveRoomForMore(*this);
    // If the track could not be closed, closing its session will show it.
    if (!track.IsBlank()) {
        const int code = Close(*this, kCloseTrack, track.Number());
        if ((code >> 8 & 0xFF) == kAscSessionFixation && track.MissingBlocks() > 0) {
            FillUp(*this, track, cancel);
            Close(*this, kCloseTrack, track.Number());
        }
    }
    return Close(*this, kCloseSession);
}

} // namespace larkspin
