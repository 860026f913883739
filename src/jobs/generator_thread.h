// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The thread that feeds a data disc's volume into the pipe.
//
// The job's thread owns the object and everything that the arguments point at; all of it stays in
// place until the generator has ended, because the destructor waits for it. The two threads meet in
// the pipe, in the `ready` event, and in the results, which the generator stores before it sets
// the event or closes its end of the pipe.
#pragma once

#include "drive/aspi_cd.h"
#include "jobs/file_list.h"
#include "jobs/jobs.h"
#include "jobs/volume_title.h"
#include "jobs/written_record.h"
#include "platform/byte_pipe.h"
#include "platform/event.h"
#include "volume/model/options.h"
#include "volume/model/volume_notice.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace larkspin {

struct GeneratorThreadArgs {
    const std::vector<std::u16string>* paths = nullptr;
    BytePipe* pipe = nullptr;
    uint32_t previousStart = 0; // start of the last session on the disc, in sectors
    uint32_t previousEnd = 0;   // behind its last sector; 0 if the drive doesn't tell
    uint32_t nextStart = 0;     // where this session begins; 0 for an empty disc
    CAspiCD* drive = nullptr;   // the previous session is read through it until `ready` is set
    bool merge = false;         // lay the volume over the previous session
    bool hasPrevious = true;    // false: none of the sessions is whole
    std::vector<CutSession> cutSessions; // behind the previous one
    VolumeTitle title;
    WrittenRecord* record = nullptr; // filled until the generator has been joined; may be null
    bool keepsHashes = false;        // in the record; without them it has the extents alone
    IFileSystem* files = nullptr;
    IClock* clock = nullptr;
};

class ImageGeneratorThread {
  public:
    explicit ImageGeneratorThread(GeneratorThreadArgs args);
    ImageGeneratorThread(const ImageGeneratorThread&) = delete;
    ImageGeneratorThread& operator=(const ImageGeneratorThread&) = delete;
    ~ImageGeneratorThread();

    // False if the thread can't be had. To be called once.
    bool Start(const ThreadStarter& startThread);

    // Waits until the volume's length stands or the generator has failed. False if `goOn`, which is
    // asked ten times a second, said no first; Stop is due then.
    bool WaitReady(const GoOn& goOn);
    // Sectors of the volume; 0 when the generator failed before it knew. Valid after WaitReady.
    uint32_t TotalSectors() const { return m_nTotalSectors; }
    // True if it failed because the previous session was cut off. Valid after WaitReady.
    bool FoundCutSession() const { return m_bFoundCutSession; }
    // What went wrong, empty if nothing did so far. Complete once the pipe has run dry.
    std::u16string Error();
    // What was left out of the volume. Valid after WaitReady.
    std::vector<VolumeNotice> LeftOut();
    // The same, and what changed while it was read, complete once the last sector is through the
    // pipe.
    std::vector<VolumeNotice> Notices();

    // Closes the pipe's read end, which makes the generator stop, and waits for it. The first
    // thing that the generator asks of the file system or the drive fails from then on, so that a
    // long scan does not hold up the end.
    void Stop();

  private:
    class StoppableFiles;
    class StoppableReader;

    void Run();
    void GenerateOrTell();
    void Generate();
    void SetError(const std::u16string& text);

    const GeneratorThreadArgs m_args;
    CEvent m_ready{CEvent::Reset::Manual};
    std::atomic<uint32_t> m_nTotalSectors = 0;
    std::atomic<bool> m_bFoundCutSession = false;
    std::atomic<bool> m_bStop = false;
    std::atomic<bool> m_bOutOfMemory = false; // there may have been none for the text either
    std::atomic<size_t> m_nCount = 0;         // names looked at so far
    std::mutex m_mutex;                       // guards the next four
    std::u16string m_strFolder;               // that is being read
    std::u16string m_strGeneratorError;
    std::vector<VolumeNotice> m_notices;
    size_t m_nLeftOut = 0; // how many of them told of what was left out
    std::thread m_hThread;
};

} // namespace larkspin
