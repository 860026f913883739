// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// A Monkey's Audio file, decoded on its own thread.
//
// m_nBits is the file's; the chain refuses anything but 8 or 16.
//
// Constructor failures: "cannot open", "Internal error #610" (no pipe), "Internal error #111" (no
// thread).
#pragma once

#include "audio/piped_reader.h"
#include "audio/probe.h"
#include "audio/readers/libav_ape.h"
#include "platform/files.h"

#include <atomic>
#include <memory>

namespace larkspin {

class CAPEReader : public CPipedReader {
  public:
    CAPEReader(const std::u16string& name, IFileSystem& files);
    CAPEReader(HeaderOnly tag, const std::u16string& name, IFileSystem& files);
    ~CAPEReader() override;

    // Positions in whole seconds, callable on any thread. SetPosition takes effect at the next
    // decoded block; what is already in the pipe still comes first.
    virtual void SetPosition(uint32_t seconds) { m_nSeekSeconds = seconds; }
    virtual uint32_t GetPosition() const;
    virtual uint32_t GetDuration() const;

    uint64_t PcmBytes() const;

  protected:
    void Decode() override;

  private:
    // The file, for the decompressor: only reading and moving are implemented.
    class MyIO;

    std::unique_ptr<MyIO> m_pIO; // outlives m_pDecompress, which reads it
    std::unique_ptr<IAPEDecompress> m_pDecompress;
    int64_t m_nTotalBlocks = 0;               // samples of each channel
    int32_t m_nBlockAlign = 0;                // bytes of a block
    std::atomic<int64_t> m_nSeekSeconds = -1; // -1: no request
};

} // namespace larkspin
