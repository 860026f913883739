// CMpegStream: libmad's stream over a file, through a window of fixed size that moves on.
//
// Gives the same frames as a stream over the whole file in one buffer, except that junk can't pose
// as a frame of more than a window, and that tags are stepped over: those behind the sound, and
// those that stand in front of it or between two frames. In the place of tags behind the sound
// libmad sees as many zeros as it needs to decode the last frame. For the readers' source files
// only; this is where libmad's types are seen.
#pragma once

#include "platform/files.h"

#include <mad.h>
#include <memory>
#include <vector>

namespace larkspin {

class CMpegStream {
  public:
    // `file` stands at its start. What is appended to it from now on is not read.
    explicit CMpegStream(std::unique_ptr<ISequentialFile> file);
    CMpegStream(const CMpegStream&) = delete;
    CMpegStream& operator=(const CMpegStream&) = delete;
    ~CMpegStream();

    // Back to the start of the file. False if it can't be read or has no bytes.
    bool Rewind();
    // Goes to the next frame; false at the end or if an error came that libmad can't recover from.
    bool NextHeader(mad_header* header);
    bool NextFrame(mad_frame* frame);
    // Whether the last call met the end of the file, with all of it read.
    bool AtEnd() const;

  private:
    template <class Decode>
    bool Next(Decode decode);
    void StepOverTags();
    void Refill();

    std::unique_ptr<ISequentialFile> m_pFile;
    std::vector<uint8_t> m_Window;
    mad_stream m_Stream = {};
    uint64_t m_nEnd; // of the sound, in the file
    bool m_bTagsBehind;
    size_t m_nFilled = 0;    // bytes in the window
    uint64_t m_nLeft = 0;    // bytes of the file not read yet
    bool m_bFailed = false;  // a read failed
    bool m_bGuarded = false; // the zeros behind the sound are in the window
};

} // namespace larkspin
