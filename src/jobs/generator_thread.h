// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The thread that writes a data disc's volume into the pipe.
//
// The job's thread owns the object and everything that the arguments point at; all of it stays in
// place until the generator has ended, because the destructor waits for it. The two threads share
// the pipe, the `ready` event, and the results, which the generator stores before it sets the event
// or closes its end of the pipe.
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
    uint32_t previousStart = 0;          // start of the last session on the disc, in sectors
    uint32_t previousEnd = 0;            // the one after its last sector; 0 if unknown
    uint32_t nextStart = 0;              // where this session begins; 0 for an empty disc
    CAspiCD* drive = nullptr;            // for reading the previous session until `ready` is set
    bool merge = false;                  // merge the volume with the previous session
    bool hasPrevious = true;             // false: none of the sessions is complete
    std::vector<CutSession> cutSessions; // after the previous one
    VolumeTitle title;
    WrittenRecord* record = nullptr; // filled until the generator is joined; may be null
    bool keepsHashes = false;        // in the record; otherwise it holds only the extents
    IFileSystem* files = nullptr;
    IClock* clock = nullptr;
};

class ImageGeneratorThread {
  public:
    explicit ImageGeneratorThread(GeneratorThreadArgs args);
    ImageGeneratorThread(const ImageGeneratorThread&) = delete;
    ImageGeneratorThread& operator=(const ImageGeneratorThread&) = delete;
    ~ImageGeneratorThread();

    // Returns false if no thread is available. To be called once.
    bool Start(const ThreadStarter& startThread);

    // Waits until the volume's length is known or the generator has failed. `goOn` is called ten
    // times a second; if it returns false first, so does this function, and Stop must follow.
    bool WaitReady(const GoOn& goOn);
    // Sectors of the volume; 0 if the generator failed before it knew. Valid after WaitReady.
    uint32_t TotalSectors() const { return m_nTotalSectors; }
    // True if it failed because the previous session was cut off. Valid after WaitReady.
    bool FoundCutSession() const { return m_bFoundCutSession; }
    // What went wrong; empty if nothing has so far. Complete once the pipe is empty.
    std::u16string Error();
    // What was left out of the volume. Valid after WaitReady.
    std::vector<VolumeNotice> LeftOut();
    // The same, plus what changed while it was read. Complete once the last sector is through the
    // pipe.
    std::vector<VolumeNotice> Notices();

    // Closes the pipe's read end, which makes the generator stop, and waits for it. From then on,
    // the generator's next access to the file system or the drive fails, so that a long scan does
    // not delay the end.
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
    std::atomic<bool> m_bOutOfMemory = false; // there may be none for a text either
    std::atomic<size_t> m_nCount = 0;         // names looked at so far
    std::mutex m_mutex;                       // guards the next four
    std::u16string m_strFolder;               // the folder being read
    std::u16string m_strGeneratorError;
    std::vector<VolumeNotice> m_notices;
    size_t m_nLeftOut = 0; // how many of them are about something left out
    std::thread m_hThread;
};

} // namespace larkspin
