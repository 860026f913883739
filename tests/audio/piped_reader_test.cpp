#include "audio/piped_reader.h"

#include <array>
#include <gtest/gtest.h>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

namespace larkspin {
namespace {

// Gives four bytes and fails with an exception.
template <class Exception>
class FailingReader final : public CPipedReader {
  public:
    explicit FailingReader(Exception failure) : m_failure(std::move(failure)) {
        StartDecoder("no thread");
    }
    ~FailingReader() override { StopDecoder(); }

  private:
    void Decode() override {
        WritePcm("abcd", 4);
        throw m_failure;
    }

    Exception m_failure;
};

template <class Exception>
void ExpectEndAfterFourBytes(Exception failure) {
    FailingReader reader(std::move(failure));
    std::array<char, 8> bytes = {};
    uint32_t count = 0;
    reader.Read(bytes.data(), bytes.size(), &count);
    EXPECT_EQ(std::string(bytes.data(), count), "abcd");
    reader.Read(bytes.data(), bytes.size(), &count);
    EXPECT_EQ(count, 0u);
}

TEST(PipedReaderTest, AnExceptionOfTheDecoderEndsTheStreamAndNoMore) {
    ExpectEndAfterFourBytes(std::bad_alloc());
    ExpectEndAfterFourBytes(std::runtime_error("a library of another mind"));
}

} // namespace
} // namespace larkspin
