// CAspiCD: reading what has just been written.
#include "drive/direct_command.h"
#include "drive/mmc.h"
#include "platform/byte_order.h"

namespace larkspin {

namespace {

constexpr uint32_t kDataBlockBytes = 2048;
constexpr uint32_t kAudioBlockBytes = 2352;

} // namespace

int CAspiCD::ReadData(void* buffer, uint32_t count, uint32_t lba) {
    Cdb cdb(mmc::kRead10);
    StoreBe32(&cdb[2], lba);
    StoreBe16(&cdb[7], static_cast<uint16_t>(count));
    return SendDirect(*this, SRB_DIR_IN, cdb, buffer, count * kDataBlockBytes).Error();
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

CAspiCD::UnitState CAspiCD::ReloadDisc(const GoOn& goOn) {
    EjectDisk();
    Cdb cdb(mmc::kStartStopUnit);
    cdb[4] = 3; // load and start
    SendDirect(*this, SRB_DIR_OUT, cdb);
    return AwaitUnit(goOn);
}

} // namespace larkspin
