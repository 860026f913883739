// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "audio/piped_reader.h"

#include "audio/codec_files.h"
#include "audio/memory_reader.h"
#include "audio/readers/ape_reader.h"
#include "audio/readers/flac_reader.h"
#include "audio/readers/mp3_reader.h"
#include "audio/readers/wma_reader.h"
#include "audio/stages/resampler.h"

#include <cstdlib>
#include <exception>
#include <gtest/gtest.h>
#include <limits>
#include <new>
#include <pthread.h>

namespace {

thread_local bool g_bNoPipes = false;

} // namespace

// The memory of a pipe is the only large array.
void* operator new[](size_t bytes) {
    void* const memory =
        g_bNoPipes && bytes >= larkspin::kDecoderPipeBytes ? nullptr : std::malloc(bytes);
    return memory == nullptr ? throw std::bad_alloc() : memory;
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, size_t /*bytes*/) noexcept {
    std::free(memory);
}

namespace larkspin {
namespace {

using namespace codecs;

// While one lives, the stack of a new thread is larger than all memory.
class NoThreads {
  public:
    NoThreads() {
        pthread_getattr_default_np(&m_before);
        pthread_attr_t huge = m_before;
        pthread_attr_setstacksize(&huge, std::numeric_limits<size_t>::max() / 4);
        pthread_setattr_default_np(&huge);
    }
    NoThreads(const NoThreads&) = delete;
    NoThreads& operator=(const NoThreads&) = delete;
    ~NoThreads() { pthread_setattr_default_np(&m_before); }

  private:
    pthread_attr_t m_before;
};

TEST(PipedReader, TellsThatItHasNoPipeOrNoThread) {
    const TempFolder folder;
    const auto path = [&](const char* name) { return ToWide(folder.Path() + name); };
    for (const char* name : {"/a.mp3", "/a.wma", "/a.ape", "/a.flac"}) {
        WriteSound(folder.Path() + name, MakeTones(12000));
    }
    const auto expect = [](const std::function<void()>& make, const char* noPipe,
                           const char* noThread) {
        g_bNoPipes = true;
        EXPECT_EQ(FailureOf(make), noPipe);
        g_bNoPipes = false;
        const NoThreads noThreads;
        EXPECT_EQ(FailureOf(make), noThread);
    };
    IFileSystem& files = PosixFiles();
    expect([&] { CMP3Reader(path("/a.mp3"), files); }, "Internal error #210.",
           "Internal error #211.");
    expect([&] { CWmaReader(path("/a.wma"), files); }, "Internal error #210.",
           "Internal error #211.");
    expect([&] { CAPEReader(path("/a.ape"), files); }, "Internal error #610",
           "Internal error #111");
    expect([&] { CFLACReader(path("/a.flac"), files); }, "Internal error #280",
           "Internal error #281");
    expect([] { CResampler(std::make_unique<MemoryReader>(Bytes(4), SourceFormat()), 48000); },
           "Internal error #185.", "Internal error #186.");
}

// Gives four bytes and fails with an exception.
class FailingReader final : public CPipedReader {
  public:
    FailingReader() { StartDecoder("no pipe", "no thread"); }
    ~FailingReader() override { StopDecoder(); }

  private:
    void Decode() override {
        WritePcm("abcd", 4);
        throw std::exception();
    }
};

TEST(PipedReader, AnExceptionOfTheDecoderEndsTheStreamAndNoMore) {
    FailingReader reader;
    EXPECT_EQ(Drain(reader), Text("abcd"));
    EXPECT_TRUE(Drain(reader).empty());
}

} // namespace
} // namespace larkspin
