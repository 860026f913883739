// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// A Windows Media audio file, decoded on its own thread by the runtime's synchronous reader.
//
// If there are several audio streams, the one listed last is read. m_nLength is the playing time in
// bytes plus 5000, so that it is rather too long than too short and no sound is cut off.
//
// Constructor failures, in order: "Cannot open %s.", "WMA decoding libraries aren't installed.",
// "Cannot access WMA decoding library.", "Cannot open %s, file is digitally protected (DRM).",
// "Internal error #201." (no stream count), "#202." (no such stream), "Cannot open %s: no audio
// streams found in file.", "#203." (a stream without a number), "#205." (no playing time), "#206"
// (not Windows Media audio, or a form of it that the runtime doesn't know), "#207" (the decoder
// refuses the stream), "#210." (no pipe), "#211." (no thread).
#pragma once

#include "audio/piped_reader.h"
#include "audio/probe.h"
#include "audio/readers/libav_sync_reader.h"
#include "platform/files.h"

#include <memory>

namespace larkspin {

class CWmaReader final : public CPipedReader {
  public:
    // `create` makes the runtime's reader; only tests pass another one.
    CWmaReader(const std::u16string& name, IFileSystem& files,
               CreateSyncReaderFunction create = &CreateSyncReader);
    CWmaReader(HeaderOnly tag, const std::u16string& name, IFileSystem& files,
               CreateSyncReaderFunction create = &CreateSyncReader);
    ~CWmaReader() override;

    uint64_t PcmBytes() const;

  protected:
    void Decode() override;

  private:
    void FindStream(const std::u16string& name);
    void TakeFormat();

    std::unique_ptr<ISequentialFile> m_hFile; // outlives m_pSyncReader, which reads it
    std::unique_ptr<ISyncReader> m_pSyncReader;
    WaveFormat m_Format;
    uint64_t m_nDuration = 0; // in units of 100 ns
    uint16_t m_nStream = 0;   // number of the audio stream; 0 while none is found
};

} // namespace larkspin
