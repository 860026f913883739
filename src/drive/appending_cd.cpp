// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// CAspiCD: where the last session begins and ends.
#include "drive/direct_command.h"
#include "drive/mmc.h"
#include "platform/byte_order.h"

#include <algorithm>

namespace larkspin {

int CAspiCD::ReadMultiSessionStart(int32_t* address) {
    constexpr uint16_t kLengthBytes = 4;
    constexpr size_t kFirstBlockOfSession = 8;
    std::array<uint8_t, 256> toc = {};
    const auto read = [&](uint16_t allocation) {
        Cdb cdb(mmc::kReadToc);
        cdb[2] = 1; // session information
        StoreBe16(&cdb[7], allocation);
        return !SendDirect(*this, SRB_DIR_IN, cdb, toc.data(), allocation).Failed();
    };
    if (!read(kLengthBytes)) {
        return -1;
    }
    const size_t wanted = LoadBe16(toc.data()) + size_t{2};
    // Mistaking the first session for the last would hide all later ones from the new volume.
    if (wanted < kFirstBlockOfSession + 4) {
        return -1;
    }
    if (!read(static_cast<uint16_t>(std::min(wanted, toc.size())))) {
        return -1;
    }
    if (address != nullptr) {
        *address = static_cast<int32_t>(LoadBe32(&toc[kFirstBlockOfSession]));
    }
    return 0;
}

int32_t CAspiCD::ReadLastLeadOut() {
    constexpr uint8_t kLeadOutTrack = 0xAA;
    constexpr size_t kFirstTrackNumber = 6;
    constexpr size_t kFirstTrackAddress = 8;
    std::array<uint8_t, 12> toc = {};
    Cdb cdb(mmc::kReadToc);
    cdb[6] = kLeadOutTrack;
    cdb[8] = toc.size();
    if (SendDirect(*this, SRB_DIR_IN, cdb, toc.data(), toc.size()).Failed() ||
        toc[kFirstTrackNumber] != kLeadOutTrack) {
        return 0;
    }
    return static_cast<int32_t>(std::min<uint32_t>(LoadBe32(&toc[kFirstTrackAddress]), INT32_MAX));
}

int CAspiCD::FindEarlierSession(int32_t before, int32_t* start, int32_t* end) {
    std::array<uint8_t, 4> toc = {};
    Cdb cdb(mmc::kReadToc);
    cdb[8] = toc.size();
    if (SendDirect(*this, SRB_DIR_IN, cdb, toc.data(), toc.size()).Failed()) {
        return -1;
    }
    const int firstTrack = toc[2];
    int session = -1;
    bool beginsWithData = false;
    for (int number = toc[3]; number >= firstTrack && number > 0; --number) {
        std::array<uint8_t, 36> track = {};
        cdb = Cdb(mmc::kReadTrackInformation);
        cdb[1] = 1; // the number below is a track
        cdb[5] = static_cast<uint8_t>(number);
        cdb[8] = track.size();
        if (SendDirect(*this, SRB_DIR_IN, cdb, track.data(), track.size()).Failed()) {
            return -1;
        }
        const int64_t begin = LoadBe32(&track[8]);
        if (begin >= before) {
            continue;
        }
        if (const int holder = track[33] << 8 | track[3]; holder != session) {
            if (beginsWithData) {
                break;
            }
            session = holder;
            *end = static_cast<int32_t>(
                std::min<int64_t>(begin + int64_t{LoadBe32(&track[24])}, before));
        }
        constexpr uint8_t kDataTrack = 4;
        beginsWithData = (track[5] & kDataTrack) != 0;
        *start = static_cast<int32_t>(begin);
    }
    return beginsWithData ? 0 : 1;
}

} // namespace larkspin
