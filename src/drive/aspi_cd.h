// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// CAspiCD: one optical drive and all its operations.
//
// The operations are spread over one source file per topic: drive discovery, disc identification,
// write speeds, CD recording, DVD recording, erasing, appending. The DVD logic keeps its own state,
// DvdRecording, which only the files in this folder use (dvd_detail.h). A block is 2048 bytes
// unless stated otherwise. One thread at a time owns the drives; nothing here is locked.
//
// Errors are reported in two ways. Direct operations return plain results. They judge a command by
// its sense data, where a recovered error counts as success. A command that moved data or closed a
// recording and came back neither completed nor with sense data has failed, so a time-out is never
// taken for a success. Operations of the DVD logic throw CgrowisofsException with a text for the
// user.
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

// Returns true once the user has cancelled. Called before each step of a long operation. Where a
// pointer to one is taken, it may be null.
using CancelFunctor = Loki::Functor<bool>;

// Receives the progress of a DVD recording in percent, 0 to 100.
using ProgressFunctor = std::function<void(int percent)>;

// Called on the waiting thread when a drive has been busy for a long time without making progress.
enum class BusyAnswer { WaitOn, GiveUp, NobodyThere };
using BusyFunctor = std::function<BusyAnswer()>;

// Bits of DiskReport (READ DISC INFORMATION, MMC).
enum DiskStateBits : uint32_t {
    DISK_BLANK = 1,
    DISK_APPENDABLE = 2,
    DISK_ERASABLE = 4,
    DISK_CAPACITY_KNOWN = 8, // in m_dwDiskKnown only: m_nCapacity is valid
    DISK_SESSION_OPEN = 16,  // the last session holds data and is not closed
};

// The result of ReadDiskInfo.
struct DiskReport {
    int32_t m_nCapacity = 0;    // last possible start of the lead-out, a block address
    int32_t m_nNextAddress = 0; // start of the next session-at-once recording plus 150
    uint32_t m_dwDiskState = 0; // DiskStateBits
    uint32_t m_dwDiskKnown = 0; // which of those bits are valid

    bool Knows(DiskStateBits bit) const { return (m_dwDiskKnown & bit) != 0; }
    bool IsKnownToBe(DiskStateBits bit) const { return (m_dwDiskState & m_dwDiskKnown & bit) != 0; }
    std::optional<int32_t> Capacity() const {
        return Knows(DISK_CAPACITY_KNOWN) ? std::optional(m_nCapacity) : std::nullopt;
    }
    // Media that are written in place can always be written, whatever the drive reports.
    void SetAppendable() {
        m_dwDiskState |= DISK_APPENDABLE;
        m_dwDiskKnown |= DISK_APPENDABLE;
    }
};

// The progress of a DVD recording, in blocks and bytes of the disc.
struct DvdFacts {
    uint32_t profile = 0;      // with MEDIA_BLANK
    int32_t previousStart = 0; // the descriptors of the volume appended to; 0 without one
    int32_t nextStart = 0;     // the first block of the recording
    int64_t startOffset = 0;
    int64_t currentOffset = 0;
    int64_t finalOffset = 0; // the end of the stream; 0 when unknown
    // Why the drive refused a chunk, as CScsiCommand::Transport returns it; 0 if every chunk since
    // ResetDvdState was accepted.
    int writeError = 0;
};

constexpr int64_t kLogicalBlockBytes = 2048; // in a data track and on all discs but CDs
constexpr size_t kDvdChunkBytes = 32768;
constexpr size_t kDvdBufferBytes = 2 * kDvdChunkBytes;

// The two texts with which a DVD recording fails at the edge of the disc. A full erase that
// succeeds ends with one of them, so its caller has to know both.
inline constexpr char kDvdWriteError[] = "write error";
inline constexpr char kDvdOutOfSpace[] = "out of disk space";

// Flag in IdentifyMedia's result, next to the profile in the low 16 bits: the disc is blank.
constexpr uint32_t MEDIA_BLANK = 0x10000;

// What ReadCapabilities may find in the drive.
enum CapabilityBits : uint32_t { CAP_BUFE = 2, CAP_VENDOR_BUFE = 4, CAP_VENDOR_SPEED = 8 };

// A quick look, only to be shown to the user: the jobs examine the disc more closely.
struct DiscGlance {
    enum class State {
        Unclear,  // an interrupted recording, or a kind of disc that is not written
        Writable, // blank or appendable
        InPlace,  // can be overwritten anywhere, so only its content shows what is free
        Closed,
    };

    uint32_t profile = 0;
    State state = State::Unclear;
    bool erasable = false;
    int64_t blocks = 0; // of the whole disc; 0 if unknown
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

    // kDvdChunkBytes bytes of a DVD.
    struct DvdChunk {
        uint32_t block;
        std::vector<uint8_t> bytes;
    };

    // `transport` is not owned and must outlive the object.
    CAspiCD(uint8_t target, uint8_t adapter, uint8_t lun, CAspiTransport* transport);
    // A copy has the same identity and a fresh recording state.
    CAspiCD(const CAspiCD& other);
    CAspiCD& operator=(const CAspiCD& other) = delete;
    // Runs a finisher that is still pending, so that no session stays open.
    ~CAspiCD() override;

    // --- drive discovery (discovery.cpp) ---
    // The peripheral device type (SPC): 5 for CD-ROM, 31 for none; 0 without an answer.
    uint8_t GetDeviceType();
    void ReadDriveName();      // fills Name() from INQUIRY
    char16_t GetDriveLetter(); // 0 if unknown
    // The drive's name for the user: "sr0", or the letter; empty if neither is known.
    std::u16string DisplayName();
    uint8_t EjectDisk(); // the SRB status, as of LockDoor; a locked door stays closed
    // Unmounts what is in the drive and keeps everybody else from using the drive until Unlock is
    // called or the transport is destroyed. An ASPI library offers no lock.
    LockResult LockAndDismount();
    void Unlock();
    uint8_t LockDoor(bool lock);

    // --- commands (command.cpp) ---
    // Sends a command and returns its SRB status.
    //
    // A command that completed but moved too few bytes to be of use (it must move all bytes sent,
    // all blocks read, or the head of an answer) returns SS_ERR without sense. If an answer is
    // shorter than the buffer, the rest of the buffer is zeroed.
    //
    // Success with a recovered error (sense key 1) returns SS_COMP without sense. After a deferred
    // report of a recovered error, the command was not run and is sent again; after a hundred such
    // reports it returns SS_ERR without sense. A deferred report of lost blocks is returned as it
    // is, and is also kept in IsCacheLost for callers that don't look at the sense. A time-out
    // returns SS_ABORTED.
    uint8_t SendCommand(uint8_t direction, std::span<const uint8_t> cdb, void* data,
                        uint32_t length, uint8_t* sense, uint8_t senseLength = 14);
    // The same for a command without data whose sense is not needed.
    uint8_t SendNoData(uint8_t direction, std::span<const uint8_t> cdb);
    bool ReadBlocks(void* buffer, uint32_t count, uint32_t lba) override;
    // Returns the event classes seen, one bit each. Stops after a hundred events in a row.
    uint32_t HandleEvents(CScsiCommand& command);
    // Polls once a second while the unit is not ready (for a busy drive, see SetBusyFunctor).
    // Returns 0 when it is ready, the error code when there is no medium, and -1 when the drive
    // gives no sense, answers a hundred times in a row with neither "not ready" nor a unit
    // attention, when the wait is given up, or when the user cancels (`cancel`, or Cancel() if that
    // is null). Sets LateError.
    int WaitForUnit(CScsiCommand& command, const CancelFunctor* cancel = nullptr);

    // --- disc identification (identification.cpp) ---
    // False for a drive without GET CONFIGURATION. Asks the drive once.
    bool HasCurrentProfile();
    // kUnknownProfile (profiles.h) for a drive without GET CONFIGURATION; 0 if the command fails on
    // a drive that has it.
    uint32_t GetCurrentProfile();
    bool IsDiskErasable(); // false also if the drive fails
    // Fills Disk(); DiskReport::Knows tells which parts the drive has reported. For an appendable
    // disc, this selects session at once, on which the next address depends.
    void ReadDiskInfo();
    // The next writable address of the invisible track, a block; 0 if there is none to write to.
    // `address` may be null. Returns 0, or 1 if the drive fails.
    int ReadNextWritableAddress(int32_t* address);
    // The same after selecting session at once.
    int ReadSaoNextAddress(int32_t* address);
    int32_t ReadLastSessionFirstTrack(); // a track number; 0 if the drive fails
    int32_t GetDvdCapacity();            // in blocks; -1 if the drive fails, 0 for an unknown kind

    enum class DiscPresence {
        None,    // or it can't be read yet, or no answer
        Unmoved, // as far as the drive knows
        New,     // possibly: it has been changed since, or the drive was reset
    };
    // Asks whether there is a disc, without waking the drive. This consumes its notice of a change.
    DiscPresence AskForDisc();
    // What a ready drive reports about its disc, without reading the disc or changing a setting;
    // nothing if it reports nothing.
    std::optional<DiscGlance> GlanceAtDisc();

    // --- before a disc is judged (disc_look.cpp) ---
    // Called before each pause of a wait, every 200 ms: false ends the wait.
    using GoOn = std::function<bool()>;
    enum class UnitState {
        Ready, // or in a state that waiting won't change
        NoDisc,
        Busy, // for a full minute
        Cancelled,
    };
    // Waits up to a minute for a unit that is becoming ready, was reset or is at work. Starts a
    // unit that has stopped.
    UnitState AwaitUnit(const GoOn& goOn);
    // Whether block 16 of the disc is a primary volume descriptor. If the drive can't answer, it is
    // asked again once the unit is ready, three times in all; after that the result is Unknown,
    // never None.
    enum class VolumeLook { Found, None, Unknown };
    VolumeLook LookForIsoVolume(const GoOn& goOn);
    bool HasIsoVolume(); // True only for Found.
    // What a disc holds, blank or not. A disc that is written in place holds Nothing if blocks 0 to
    // 31 are zeros and there is no ECMA-167 anchor at block 256 or at the end of the disc.
    enum class DiscContent { Nothing, IsoVolume, Other, Unknown };
    DiscContent LookAtContent(const GoOn& goOn);

    // --- write speeds (speeds.cpp) ---
    // In multiples of the medium's 1x, in the drive's order. Throws CgrowisofsException if
    // they can't be determined or the medium is of an unknown kind.
    std::vector<double> GetWriteSpeeds();
    // `speed` is in multiples of a CD's 1x; 0, or a speed that does not fit into the command,
    // selects the maximum. Returns true if the drive reports an error.
    bool SetCdSpeed(uint32_t speed);

    // --- CD recording (cd_recording.cpp, mode_pages.cpp, cue_sheet.h) ---
    // Reads the current values of a page, as much as fits into `buffer`. `header` and
    // `blockDescriptor` are 8 bytes each, or null. Returns 0, or 1 if the drive fails or answers
    // with a page other than the one requested.
    int ModeSense(uint8_t page, std::span<uint8_t> buffer, uint8_t* header = nullptr,
                  uint8_t* blockDescriptor = nullptr);
    // Sends a page, whose second byte is its length. `header` is the one from ModeSense, or null.
    // Returns 0, or 1 if the drive fails.
    int ModeSelect(std::span<const uint8_t> page, const uint8_t* header = nullptr);
    void ReadCapabilities(); // for the next two; none if the drive fails
    // Sets buffer underrun protection and speed control on the vendor page of a drive that has
    // them. Returns 0, also if it has neither, or 1 if the drive fails.
    int SetVendorWriteOptions(bool burnFree, bool speedControl);
    uint8_t SetBlockSize2048(); // the SRB status
    // Selects track at once, data, with another session allowed. Returns 1 if the drive refuses, or
    // does not report its present settings: writing would then produce another kind of disc.
    int SetTaoParameters();
    void SendOpc(); // calibrates the laser; a failure has no consequences
    // Locks the drive, selects session at once, sends the cue sheet and writes the pre-gap as zeros
    // of `blockSize` bytes per block. Returns 0, also if the user cancels, or 1 on failure.
    int PrepareSaoWrite(bool burnFree, bool speedControl, std::span<const uint8_t> cueSheet,
                        const CancelFunctor* cancel, uint32_t blockSize);
    // Writes `count` blocks of `blockSize` bytes at block `address`, and advances that. Returns 1
    // on failure, and 0 otherwise, also when the user cancels: `address` shows how far it got. A
    // drive whose buffer is full counts as busy.
    int WriteBlocks(int32_t* address, const void* buffer, int32_t count,
                    const CancelFunctor* cancel, uint32_t blockSize);
    // Always returns 0; IsCacheLost tells whether blocks that the drive had accepted were lost.
    // Waits for a busy drive until the wait is given up, which counts as a loss, or the user
    // cancels, which does not.
    int SyncCache(const CancelFunctor* cancel = nullptr);
    // Waits for the lead-out. Returns 0 when the drive is done or the user cancelled, 1 when the
    // drive reports an error or could not empty its cache, or when the wait was given up.
    int FinishSaoWrite(const CancelFunctor* cancel = nullptr);
    int CloseSession(); // 0, or -1 if it failed or the drive did not answer
    // 0 if the unit is ready or reports a unit attention, 2 if it is not ready, 1 for any other
    // error or without an answer.
    int TestUnitReady();
    int GetUnitBusy(); // the same, but also 2 while a long write or another operation is running

    // --- DVD recording (dvd_recording.cpp; the logic: dvd_detail.h) ---
    // A recording consists of ResetDvdState, OpenDvdForWriting, WriteDvdFromHandle or
    // FormatDvdRewritable, UpdateVolumeDescriptors, then FinishDvd, which is also called after a
    // failure or a cancel. A disc that was not written to needs no closing and is not closed.
    void ResetDvdState();
    // Identifies the disc and finds where the recording begins (DvdFacts::nextStart; block 0 with
    // ignorePrevious). `speed` is in multiples of 1x, or -1.0 for no preference.
    void OpenDvdForWriting(bool ignorePrevious, double speed); // throws
    // Says that the volume to be recorded counts its size from block 0 and not from the start of
    // its session. Holds until the next ResetDvdState.
    void CountSpaceFromDiscStart();
    int64_t GetDvdBytes(); // of the whole disc; 0 when unknown
    // Records `source` to its end, starting at byte `offset`, a multiple of kDvdChunkBytes. The
    // last chunk is padded with zeros. A source shorter than kDvdBufferBytes can't hold a volume,
    // and nothing is written. If Read fails, the recording ends with "cannot read source"; if the
    // whole source lies before the first writable block, with "write error".
    //
    // A cancel is not a failure. The function returns at most 200 ms after it, even while waiting
    // for a busy drive, but a format that has begun runs to its end. What was written stays, and
    // has to be closed.
    void WriteDvdFromHandle(IByteSource& source, int64_t offset, const ProgressFunctor& progress,
                            const CancelFunctor* cancel); // throws
    // Writes zeros from byte `offset` on: 64 KB if `quick`, otherwise until the drive refuses,
    // which is a failure with kDvdWriteError or kDvdOutOfSpace. Cancels like WriteDvdFromHandle.
    void FormatDvdRewritable(int64_t offset, bool quick, const ProgressFunctor& progress,
                             const CancelFunctor* cancel); // throws
    // Merges the new descriptors into those at block 16 of a disc that is written in place, as
    // described in descriptor_set.h. Does nothing on sequential media, or when nothing was
    // appended. Returns what it has written, in disc order.
    std::vector<DvdChunk> UpdateVolumeDescriptors(); // throws
    // Runs the finisher of a recording if it is still pending. False if the drive could not close
    // what was written, or lost some of it.
    bool FinishDvd();
    DvdFacts GetDvdFacts() const;
    // The internals of the DVD logic, for the files in this folder.
    DvdRecording& Dvd() { return *m_pDvd; }
    const DvdRecording& Dvd() const { return *m_pDvd; }

    // --- erasing and formatting (erasing.cpp) ---
    // Starts a blank that runs in the drive. Returns 0, an error code, or -1 if the drive did not
    // answer, in which case it may be blanking all the same. The result also goes to BlankError.
    int BlankDisk(bool full);
    // *percent is -1 if the drive reports no percentage. A drive reports a failed blank as a medium
    // or hardware error in its answer, which goes to BlankError.
    bool IsBlankingInProgress(int* percent);

    // --- reading what is on a disc (read_back.cpp) ---
    struct RecordedTrack {
        uint32_t number = 0;
        uint32_t session = 0;
        bool isData = false;
        uint32_t begin = 0; // block
        uint32_t end = 0;   // one past the last; on a CD it may include two unreadable blocks
    };
    // Adds the tracks of the closed sessions that hold data, in order. False if the drive does not
    // list them, for example for a blank disc.
    bool ReadTracks(std::vector<RecordedTrack>* tracks);
    // Both return 0, an error code, or -1 without an answer. Neither retries.
    int ReadData(void* buffer, uint32_t count, uint32_t lba);
    // Reads blocks of 2352 bytes of CD audio. The drive may be off by a constant number of samples.
    int ReadAudio(void* buffer, uint32_t count, int32_t lba);
    // Takes the disc out and in again, for a drive that only then looks at it anew, and waits for
    // it. Returns NoDisc if the drive can't close its own tray. The door must not be locked.
    UnitState ReloadDisc(const GoOn& goOn);

    // --- appending (appending.cpp, appending_cd.cpp, open_session.cpp) ---
    // Closes a session that an interrupted recording left open, and its track. The disc stays open
    // for another session. A track that is too short for the drive is first padded with zeros,
    // which can be cancelled. Returns 0, an error code, or -1 without an answer.
    int CloseOpenSession(const CancelFunctor* cancel); // throws
    // Returns 0, or -1 if the drive fails or does not report the start of the last session.
    int ReadMultiSessionStart(int32_t* address);
    // The block where the lead-out of the last closed session starts; 0 if the drive does not tell.
    int32_t ReadLastLeadOut();
    // Finds the last closed session that begins with a data track before block `before`: its first
    // block, and the block after its last track. Returns 0, 1 if there is none, -1 if the drive
    // fails.
    int FindEarlierSession(int32_t before, int32_t* start, int32_t* end);

    // --- who the drive is, and what it has reported ---
    const std::u16string& Name() const { return m_strName; } // with trailing blanks
    CAspiTransport& Transport() const { return *m_pTransport; }
    IClock& Clock() const { return m_pTransport->Clock(); }
    uint8_t Lun() const { return m_byLun; }
    uint8_t LastStatus() const { return m_byLastStatus; } // SRB status of the last command
    void SetDriveLetter(char16_t letter) { m_wDriveLetter = letter; }
    // The result of ReadDiskInfo.
    DiskReport& Disk() { return m_disk; }
    const DiskReport& Disk() const { return m_disk; }
    // The error of the last blank: see BlankDisk and IsBlankingInProgress.
    int BlankError() const { return m_nBlankError; }
    // The first medium or hardware error that the drive reported during the last WaitForUnit, which
    // keeps waiting all the same; 0 if there was none. It belongs to the command before the wait.
    int LateError() const { return m_nLateError; }

    // --- what is noted on the way, from one disc to the next ---
    void BeginWithDisc() { m_bDiscTouched = m_bCacheLost = false; }
    // A command that changes what is on the disc has been sent.
    bool IsDiscTouched() const { return m_bDiscTouched; }
    // Blocks that the drive had accepted may not be on the disc: a SyncCache or FlushDvdCache got
    // no answer or an error that says so, the drive was reset before it or stayed busy, the drive
    // stopped the disc with a medium or hardware error, or a deferred error of that kind came with
    // any command after the disc had been changed. A drive reports such a failure only once.
    bool IsCacheLost() const { return m_bCacheLost; }
    void NoteCacheLost() { m_bCacheLost = true; }
    // Called once, before the next WRITE(10). May be empty.
    void SetBeforeFirstBlock(std::function<void()> call) { m_beforeFirstBlock = std::move(call); }

    // --- waiting for a busy drive (waiting.h) ---
    // Decides what happens to a wait inside any operation of this class. It is called after every
    // two minutes in which the drive made no progress. An empty functor counts as NobodyThere, with
    // which a wait is given up after half an hour.
    void SetBusyFunctor(BusyFunctor functor) { m_busyFunctor = std::move(functor); }
    BusyAnswer AskAboutBusy() const {
        return m_busyFunctor ? m_busyFunctor() : BusyAnswer::NobodyThere;
    }
    // A wait was given up: the operation has failed, and nothing waits any more until whoever set
    // the functor clears this.
    bool IsGivenUp() const { return m_bGivenUp; }
    void SetGivenUp(bool isGivenUp) { m_bGivenUp = isGivenUp; }
    // Asked by the waits inside a DVD operation that would otherwise never end; see CancelScope.
    const CancelFunctor* Cancel() const { return m_pCancel; }
    const CancelFunctor* ExchangeCancel(const CancelFunctor* cancel) {
        return std::exchange(m_pCancel, cancel);
    }

  private:
    friend struct CAspiCDPeek; // for the tests of this folder only

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
