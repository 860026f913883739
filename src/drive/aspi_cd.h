// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// CAspiCD: one optical drive and all its operations.
//
// The operations are spread over one source file per topic: drive discovery, disc identification,
// write speeds, CD recording, DVD recording, erasing, appending. The DVD logic has a state of its
// own, DvdRecording, which only the files of this folder look into (dvd_detail.h). A block is 2048
// bytes unless a size is given. One thread at a time owns the drives; nothing here is locked.
//
// Two ways of failing. Direct operations return plain results: they judge a command by its sense
// (a recovered error is none), and a command that moved data or closed a recording and came back
// neither completed nor with sense counts as failed, so that a time-out is never taken for a
// success. Operations of the DVD logic throw CgrowisofsException with a text for the user.
#pragma once

#include "drive/transport.h"
#include "platform/byte_stream.h"

#include <array>
#include <cstdint>
#include <exception>
#include <functional>
#include <loki/Functor.h>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace larkspin {

class CScsiCommand;
class DvdRecording;

// True once the user has cancelled. Asked before each step of a long operation; may be null where
// a pointer to it is taken.
using CancelFunctor = Loki::Functor<bool>;

// Told the progress of a DVD recording in percent, 0 to 100.
using ProgressFunctor = std::function<void(int percent)>;

// Asked about a drive that has been busy for long without getting on, on the thread that waits.
enum class BusyAnswer { WaitOn, GiveUp, NobodyThere };
using BusyFunctor = std::function<BusyAnswer()>;

// Bits of DiskReport (READ DISC INFORMATION, MMC).
enum DiskStateBits : uint32_t {
    DISK_BLANK = 1,
    DISK_APPENDABLE = 2,
    DISK_ERASABLE = 4,
    DISK_CAPACITY_KNOWN = 8, // known only: m_nCapacity is valid
    DISK_SESSION_OPEN = 16,  // the last session has something in it, and is not closed
};

// What ReadDiskInfo has found out.
struct DiskReport {
    int32_t m_nCapacity = 0;    // last possible start of the lead-out, a block address
    int32_t m_nNextAddress = 0; // start of the next session-at-once recording plus 150
    uint32_t m_dwDiskState = 0; // DiskStateBits
    uint32_t m_dwDiskKnown = 0; // which of them are valid

    bool Knows(DiskStateBits bit) const { return (m_dwDiskKnown & bit) != 0; }
    bool IsKnownToBe(DiskStateBits bit) const { return (m_dwDiskState & m_dwDiskKnown & bit) != 0; }
    std::optional<int32_t> Capacity() const {
        return Knows(DISK_CAPACITY_KNOWN) ? std::optional(m_nCapacity) : std::nullopt;
    }
    // Media that are written in place can be written whatever the drive says.
    void SetAppendable() {
        m_dwDiskState |= DISK_APPENDABLE;
        m_dwDiskKnown |= DISK_APPENDABLE;
    }
};

// How far a DVD recording is. Blocks and bytes of the disc.
struct DvdFacts {
    uint32_t profile = 0;      // with MEDIA_BLANK
    int32_t previousStart = 0; // the descriptors of the volume that is added to; 0 without one
    int32_t nextStart = 0;     // the first block of the recording
    int64_t startOffset = 0;
    int64_t currentOffset = 0;
    int64_t finalOffset = 0; // the end of the stream; 0 when unknown
    // Why the drive did not take a chunk, as CScsiCommand::Transport gives it; 0 since
    // ResetDvdState if it took all.
    int writeError = 0;
};

constexpr int64_t kLogicalBlockBytes = 2048; // of a data track, and of every disc but CDs
constexpr size_t kDvdChunkBytes = 32768;
constexpr size_t kDvdBufferBytes = 2 * kDvdChunkBytes;

// The two texts by which a DVD recording ends at the edge of the disc. The full erase of a disc
// ends this way when all went well, so who runs it has to know them.
inline constexpr char kDvdWriteError[] = "write error";
inline constexpr char kDvdOutOfSpace[] = "out of disk space";

// In IdentifyMedia's answer, beside the profile in the low 16 bits: the disc is blank.
constexpr uint32_t MEDIA_BLANK = 0x10000;

// What ReadCapabilities may find.
enum CapabilityBits : uint32_t { CAP_BUFE = 2, CAP_VENDOR_BUFE = 4, CAP_VENDOR_SPEED = 8 };

// For the eye of the user alone: the jobs look closer.
struct DiscGlance {
    enum class State {
        Unclear,  // a recording was cut off, or it is of a kind that is not written
        Writable, // blank, or something can be added
        InPlace,  // written over anywhere, so that only its content tells what is free
        Closed,
    };

    uint32_t profile = 0;
    State state = State::Unclear;
    bool erasable = false;
    int64_t blocks = 0; // of the whole disc; 0 if not told
    std::optional<int64_t> freeBlocks = {};

    bool operator==(const DiscGlance&) const = default;
};

class CAspiCD : public IBlockReader {
  public:
    class CgrowisofsException : public std::exception {
      public:
        // Keeps at most 127 bytes of the text.
        explicit CgrowisofsException(const char* text);
        const char* what() const noexcept override { return m_szText.data(); }

      private:
        std::array<char, 128> m_szText = {};
    };

    // kDvdChunkBytes of a DVD.
    struct DvdChunk {
        uint32_t block;
        std::vector<uint8_t> bytes;
    };

    // `transport` is not owned and must outlive the object.
    CAspiCD(uint8_t target, uint8_t adapter, uint8_t lun, CAspiTransport* transport);
    // A copy takes the identity and starts with a fresh recording state.
    CAspiCD(const CAspiCD& other);
    CAspiCD& operator=(const CAspiCD& other) = delete;
    // Runs a finisher that is still set, so that no session stays open.
    ~CAspiCD() override;

    // --- drive discovery (discovery.cpp) ---
    uint8_t GetDeviceType();      // peripheral device type (SPC), 5 is CD-ROM, 31 none
    void ReadDriveName();         // fills Name() from INQUIRY
    char16_t GetDriveLetter();    // 0 when unknown; asked of the system once
    std::u16string DisplayName(); // what the user knows the drive by: "sr0", or the letter
    uint8_t EjectDisk();
    // Unmounts what is in the drive and keeps the drive from everybody else until Unlock or the
    // end of the transport. Through an ASPI library there is nothing to lock with.
    LockResult LockAndDismount();
    void Unlock();
    uint8_t LockDoor(bool lock);

    // --- commands (command.cpp) ---
    // The SRB status of one command. One that completed and moved fewer bytes than it needs to be
    // of use (all that were sent, all blocks that were read, the head of an answer) ends as SS_ERR
    // without sense. Of an answer that came short the rest of the buffer is zero.
    // One that succeeded with a recovered error (sense key 1) ends as SS_COMP without sense. A
    // deferred report of a recovered error is no answer: the command was not run, and is sent
    // again, up to a hundred times, which then is SS_ERR without sense. One of lost blocks is the
    // answer, and noted in IsCacheLost for callers that don't look at it.
    uint8_t SendCommand(uint8_t direction, std::span<const uint8_t> cdb, void* data,
                        uint32_t length, uint8_t* sense, uint8_t senseLength = 14);
    // The same without data, for whom the sense is of no use.
    uint8_t SendNoData(uint8_t direction, std::span<const uint8_t> cdb);
    bool ReadBlocks(void* buffer, uint32_t count, uint32_t lba) override;
    // The event classes met, one bit each; leaves a drive alone that has told a hundred in a row.
    uint32_t HandleEvents(CScsiCommand& command);
    // Polls once a second while the unit is not ready (a busy drive: see SetBusyFunctor). 0 ready;
    // the error code when there is no medium; -1 when the drive gives no sense, answers a hundred
    // times in a row with neither "not ready" nor a unit attention, the wait is given up, or the
    // user cancels (`cancel`, or Cancel() when that is null). Sets LateError.
    int WaitForUnit(CScsiCommand& command, const CancelFunctor* cancel = nullptr);

    // --- disc identification (identification.cpp) ---
    bool HasCurrentProfile();
    // kUnknownProfile (profiles.h) from a drive without GET CONFIGURATION; 0 when the command fails
    // on a drive that has profiles.
    uint32_t GetCurrentProfile();
    bool IsDiskErasable();
    void ReadDiskInfo();
    int ReadNextWritableAddress(int32_t* address);
    int ReadSaoNextAddress(int32_t* address);
    int32_t ReadLastSessionFirstTrack();
    int32_t GetDvdCapacity(); // blocks; -1 the drive fails, 0 unknown kind

    enum class DiscPresence {
        None,    // or not ready to be read, or no answer
        Unmoved, // as far as the drive knows
        New,     // perhaps: it has been changed since, or the drive was reset
    };
    // Asks whether there is a disc, which wakes no drive. Its notice of a change ends with that.
    DiscPresence AskForDisc();
    // What a ready drive tells of its disc without reading from it or changing a setting; nothing
    // if it does not tell.
    std::optional<DiscGlance> GlanceAtDisc();

    // --- before a disc is judged (disc_look.cpp) ---
    // Asked before each pause of a wait, every 200 ms: false ends the wait.
    using GoOn = std::function<bool()>;
    enum class UnitState {
        Ready, // or in a state that waiting does not change
        NoDisc,
        Busy, // for a whole minute
        Cancelled,
    };
    // Waits up to a minute for a unit that is becoming ready, was reset or is at work. One that has
    // stopped is started.
    UnitState AwaitUnit(const GoOn& goOn);
    // Three ways to answer whether block 16 of the disc is a primary volume descriptor. A question
    // that the drive doesn't answer is put again when the unit is ready, three times in all; then
    // the answer is Unknown, and never None.
    enum class VolumeLook { Found, None, Unknown };
    VolumeLook LookForIsoVolume(const GoOn& goOn);
    bool HasIsoVolume(); // True for Found alone.
    // What a disc holds, blank or not. A disc that is written in place holds Nothing if blocks 0 to
    // 31 are zeros, and there is no anchor of ECMA-167 at block 256 or at the end of the disc.
    enum class DiscContent { Nothing, IsoVolume, Other, Unknown };
    DiscContent LookAtContent(const GoOn& goOn);

    // --- write speeds (speeds.cpp) ---
    std::vector<double> GetWriteSpeeds(); // throws
    // True when the drive reported an error. 0, and what has no form in the command, is the
    // maximum.
    bool SetCdSpeed(uint32_t speed);

    // --- CD recording (cd_recording.cpp, mode_pages.cpp, cue_sheet.h) ---
    // `header` and `blockDescriptor` are 8 bytes each, or null when not wanted. 1 also when the
    // drive answers with another page than the one asked for.
    int ModeSense(uint8_t page, std::span<uint8_t> buffer, uint8_t* header = nullptr,
                  uint8_t* blockDescriptor = nullptr);
    int ModeSelect(std::span<const uint8_t> page, const uint8_t* header = nullptr);
    void ReadCapabilities();
    int SetVendorWriteOptions(bool burnFree, bool speedControl);
    uint8_t SetBlockSize2048();
    // Track at once, data, with a next session allowed. 1 if the drive does not take that, or does
    // not tell its present settings: what is written then is another kind of disc.
    int SetTaoParameters();
    void SendOpc();
    int PrepareSaoWrite(bool burnFree, bool speedControl, std::span<const uint8_t> cueSheet,
                        const CancelFunctor* cancel, uint32_t blockSize);
    // 0 also when the user cancels: `address` tells how far it got. 1 is a failure. A drive whose
    // buffer is full is a busy one.
    int WriteBlocks(int32_t* address, const void* buffer, int32_t count,
                    const CancelFunctor* cancel, uint32_t blockSize);
    // Always 0; IsCacheLost tells whether blocks that the drive had taken were lost. A drive that
    // is still busy is waited for until that is given up, which is a loss, or the user cancels,
    // which is none.
    int SyncCache(const CancelFunctor* cancel = nullptr);
    // Waits for the lead-out. 0 when the drive is done or the user cancelled; 1 when it reports an
    // error, could not empty its cache or the wait was given up.
    int FinishSaoWrite(const CancelFunctor* cancel = nullptr);
    int CloseSession(); // 0, or -1 when it failed or the drive gave no answer
    int TestUnitReady();
    int GetUnitBusy();

    // --- DVD recording (dvd_recording.cpp; the logic: dvd_detail.h) ---
    // A recording is: ResetDvdState, OpenDvdForWriting, WriteDvdFromHandle or FormatDvdRewritable,
    // UpdateVolumeDescriptors, then FinishDvd, also after a failure or a cancel. A disc that was
    // not written to needs no closing and gets none.
    void ResetDvdState();
    // Identifies the disc and finds where the recording begins (DvdFacts::nextStart; block 0 with
    // ignorePrevious). `speed` in multiples of 1x, -1.0 for no wish.
    void OpenDvdForWriting(bool ignorePrevious, double speed); // throws
    // The volume that will be recorded states its size from block 0, not from the start of its
    // session. Until the next ResetDvdState.
    void CountSpaceFromDiscStart();
    int64_t GetDvdBytes(); // of the whole disc; 0 when unknown
    // Records `source` up to its end from byte `offset` on, a multiple of kDvdChunkBytes. The last
    // chunk is padded with zeros. A source of less than kDvdBufferBytes holds no volume: nothing is
    // written. One whose Read fails ends the recording with "cannot read source", one that lies
    // before the first writable block as a whole with "write error".
    //
    // A cancel is no failure: it returns, from a wait for a busy drive too, at the latest 200 ms
    // later; a format that has begun runs to its end. What was written stays, to be closed.
    void WriteDvdFromHandle(IByteSource& source, int64_t offset, const ProgressFunctor& progress,
                            const CancelFunctor* cancel); // throws
    // Overwrites with zeros from byte `offset` on: 64 KB if `quick`, else until the drive refuses,
    // which is a failure with kDvdWriteError or kDvdOutOfSpace. A cancel as in WriteDvdFromHandle.
    void FormatDvdRewritable(int64_t offset, bool quick, const ProgressFunctor& progress,
                             const CancelFunctor* cancel); // throws
    // Lays the new descriptors over those at block 16 of a disc that is written in place, as
    // descriptor_set.h tells. Does nothing on sequential media, or when nothing was appended. Gives
    // what it has written, in the order of the disc.
    std::vector<DvdChunk> UpdateVolumeDescriptors(); // throws
    // Runs the finisher of a recording if one is still due. False if the drive could not close what
    // was written, or lost some of it.
    bool FinishDvd();
    DvdFacts GetDvdFacts() const;
    // The inside of the DVD logic, for the files of this folder.
    DvdRecording& Dvd() { return *m_pDvd; }
    const DvdRecording& Dvd() const { return *m_pDvd; }

    // --- erasing and formatting (erasing.cpp) ---
    // Starts a blank that runs in the drive: 0, an error code, or -1 when the drive gave no answer
    // and may be at it all the same. Sets BlankError to that.
    int BlankDisk(bool full);
    // *percent is -1 if the drive gives no percentage. A medium or hardware error in the answer is
    // how a drive tells that the blank has failed: it goes to BlankError.
    bool IsBlankingInProgress(int* percent);

    // --- reading what is on a disc (read_back.cpp) ---
    struct RecordedTrack {
        uint32_t number = 0;
        uint32_t session = 0;
        bool isData = false;
        uint32_t begin = 0; // block
        uint32_t end = 0;   // behind the last; on a CD it may count two that can't be read
    };
    // Adds the tracks of the closed sessions that hold something, in their order. False if the
    // drive does not tell them, as of a blank disc.
    bool ReadTracks(std::vector<RecordedTrack>* tracks);
    // Both give 0, an error code, or -1 without an answer. Nothing is tried twice.
    int ReadData(void* buffer, uint32_t count, uint32_t lba);
    // Blocks of 2352 bytes of CD audio; the drive may be off by some samples, always the same.
    int ReadAudio(void* buffer, uint32_t count, int32_t lba);
    // Takes the disc out and in again, for a drive that looks at it only then, and waits for it.
    // NoDisc from a drive that can't close its tray itself. The door must not be locked.
    UnitState ReloadDisc(const GoOn& goOn);

    // --- appending (appending.cpp, appending_cd.cpp, open_session.cpp) ---
    // Closes a session that a recording left open when it was cut off, and its track; the disc
    // stays open for another one. A track that is too short for the drive gets zeros first, which a
    // cancel ends. 0, or an error code, -1 without an answer.
    int CloseOpenSession(const CancelFunctor* cancel); // throws
    // 0, or -1 when the drive fails or does not tell the last session's start.
    int ReadMultiSessionStart(int32_t* address);
    // The start of the lead-out of the last closed session, a block; 0 if the drive does not tell.
    int32_t ReadLastLeadOut();
    // The last closed session that begins with a data track in front of block `before`: its first
    // block, and the one behind its last track. 0; 1 if there is none; -1 if the drive fails.
    int FindEarlierSession(int32_t before, int32_t* start, int32_t* end);

    // --- who the drive is, and what it has told ---
    const std::u16string& Name() const { return m_strName; } // with its trailing blanks
    CAspiTransport& Transport() const { return *m_pTransport; }
    IClock& Clock() const { return m_pTransport->Clock(); }
    uint8_t Lun() const { return m_byLun; }
    uint8_t LastStatus() const { return m_byLastStatus; } // SRB status of the last command
    void SetDriveLetter(char16_t letter) { m_wDriveLetter = letter; }
    // Of ReadDiskInfo.
    DiskReport& Disk() { return m_disk; }
    const DiskReport& Disk() const { return m_disk; }
    // Of the last blank: see BlankDisk and IsBlankingInProgress.
    int BlankError() const { return m_nBlankError; }
    // The first medium or hardware error that the drive reported during the last WaitForUnit, which
    // goes on for all that; 0 if there was none. It concerns the command before the wait.
    int LateError() const { return m_nLateError; }

    // --- what is noted on the way, from one disc to the next ---
    void BeginWithDisc() { m_bDiscTouched = m_bCacheLost = false; }
    // A command that changes what is on the disc has been sent.
    bool IsDiscTouched() const { return m_bDiscTouched; }
    // Blocks that the drive had taken may not be on the disc. A SyncCache or FlushDvdCache ended in
    // an error that says so or without an answer, the drive was reset before it or stayed busy; or
    // the drive stopped the disc with a medium or hardware error; or a deferred error of that kind
    // came, at any command, once the disc had been changed. A drive reports only once that it
    // failed to record what it had taken before.
    bool IsCacheLost() const { return m_bCacheLost; }
    void NoteCacheLost() { m_bCacheLost = true; }
    // Called before the next WRITE(10), and forgotten then; may be empty.
    void SetBeforeFirstBlock(std::function<void()> call) { m_beforeFirstBlock = std::move(call); }

    // --- waiting for a busy drive (waiting.h) ---
    // What becomes of a wait, wherever one is in here: asked after each two minutes in which the
    // drive got nowhere. Left empty it counts as NobodyThere. With nobody there a wait goes on for
    // half an hour, and then is given up.
    void SetBusyFunctor(BusyFunctor functor) { m_busyFunctor = std::move(functor); }
    BusyAnswer AskAboutBusy() const {
        return m_busyFunctor ? m_busyFunctor() : BusyAnswer::NobodyThere;
    }
    // A wait was given up: what waited has failed, and nothing waits any more until this is
    // cleared, which is for whoever set the functor.
    bool IsGivenUp() const { return m_bGivenUp; }
    void SetGivenUp(bool isGivenUp) { m_bGivenUp = isGivenUp; }
    // Asked by the waits inside a DVD operation that have no end of their own; see CancelScope.
    const CancelFunctor* Cancel() const { return m_pCancel; }
    const CancelFunctor* ExchangeCancel(const CancelFunctor* cancel) {
        return std::exchange(m_pCancel, cancel);
    }

  private:
    friend struct CAspiCDPeek; // what only the tests of this folder see

    // Overwrites `sense` unless the command timed out.
    uint8_t SendOnce(uint8_t direction, std::span<const uint8_t> cdb, void* data, uint32_t length,
                     std::span<uint8_t> sense);
    void TakeDiskInfo(std::span<const uint8_t> info);

    std::u16string m_strName;
    uint8_t m_byTarget = 0;
    uint8_t m_byAdapter = 0; // logical adapter number
    uint8_t m_byLun = 0;
    CAspiTransport* m_pTransport = nullptr;
    uint8_t m_byLastStatus = 1;
    char16_t m_wDriveLetter = 0;
    bool m_bHasConfig = false;
    bool m_bConfigKnown = false;
    uint32_t m_dwCapabilities = 0; // CapabilityBits
    DiskReport m_disk;

    bool m_bCacheLost = false;
    bool m_bDiscTouched = false;
    int m_nBlankError = 0;
    int m_nLateError = 0;
    std::function<void()> m_beforeFirstBlock;
    BusyFunctor m_busyFunctor;
    bool m_bGivenUp = false;
    const CancelFunctor* m_pCancel = nullptr;

    std::unique_ptr<DvdRecording> m_pDvd;
};

} // namespace larkspin
