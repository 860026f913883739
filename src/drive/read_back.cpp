// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// CAspiCD: reading what has just been written.
#include "drive/direct_command.h"
#include "drive/mmc.h"
#include "platform/byte_order.h"

#include <algorithm>

namespace larkspin {

namespace {

constexpr uint32_t kAudioBlockBytes = 2352;

} // namespace

int CAspiCD::ReadData(void* buffer, uint32_t count, uint32_t lba) {
    Cdb cdb(mmc::kRead10);
    StoreBe32(&cdb[2], lba);
    StoreBe16(&cdb[7], static_cast<uint16_t>(count));
    return SendDirect(*this, SRB_DIR_IN, cdb, buffer,
                      static_cast<uint32_t>(count * kLogicalBlockBytes))
        .Error();
}

int CAspiCD::ReadAudio(void* buffer, uint32_t count, int32_t lba) {
    constexpr uint8_t kCdDaAlone = 1 << 2; // expected sector type
    constexpr uint8_t kUserData = 0x10;
    Cdb cdb(mmc::kReadCd);
    cdb[1] = kCdDaAlone;
    StoreBe32(&cdb[2], static_cast<uint32_t>(lba));
    cdb[6] = static_cast<uint8_t>(count >> 16);
    StoreBe16(&cdb[7], static_cast<uint16_t>(count));
    cdb[9] = kUserData;
    return SendDirect(*this, SRB_DIR_IN, cdb, buffer, count * kAudioBlockBytes).Error();
}

bool CAspiCD::ReadTracks(std::vector<RecordedTrack>* tracks) {
    constexpr uint8_t kDataTrack = 4;
    std::array<uint8_t, 4> toc = {};
    Cdb cdb(mmc::kReadToc);
    cdb[8] = toc.size();
    if (SendDirect(*this, SRB_DIR_IN, cdb, toc.data(), toc.size()).Failed()) {
        return false;
    }
    const auto end = static_cast<uint32_t>(ReadLastLeadOut());
    for (uint32_t number = toc[2]; number != 0 && number <= toc[3]; ++number) {
        std::array<uint8_t, 36> answer = {};
        cdb = Cdb(mmc::kReadTrackInformation);
        cdb[1] = 1; // the number below is a track
        StoreBe16(&cdb[4], static_cast<uint16_t>(number));
        cdb[8] = answer.size();
        if (SendDirect(*this, SRB_DIR_IN, cdb, answer.data(), answer.size()).Failed()) {
            return false;
        }
        RecordedTrack track;
        track.number = number;
        track.session = static_cast<uint32_t>(answer[33] << 8 | answer[3]);
        track.isData = (answer[5] & kDataTrack) != 0;
        track.begin = LoadBe32(&answer[8]);
        // A disc that is written in place counts as a single track.
        track.end = static_cast<uint32_t>(
            std::min<uint64_t>(uint64_t{track.begin} + LoadBe32(&answer[24]), end));
        if (track.begin < track.end) {
            tracks->push_back(track);
        }
    }
    return true;
}

CAspiCD::UnitState CAspiCD::ReloadDisc(const GoOn& goOn) {
    EjectDisk();
    Cdb cdb(mmc::kStartStopUnit);
    cdb[4] = 3; // load and start
    SendDirect(*this, SRB_DIR_OUT, cdb);
    return AwaitUnit(goOn);
}

} // namespace larkspin
