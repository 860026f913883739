#include "audio/piped_reader.h"

#include <exception>
#include <new>
#include <system_error>

namespace larkspin {

CPipedReader::~CPipedReader() {
    StopDecoder();
}

void CPipedReader::StartDecoder(const char* noPipe, const char* noThread) {
    try {
        m_pPipe = std::make_unique<BytePipe>(kDecoderPipeBytes);
    } catch (const std::bad_alloc&) {
        throw CReaderException(noPipe);
    }
    try {
        m_hThread = std::thread([this] {
            try {
                Decode();
            } catch (const std::exception&) {
                // Ends the stream early, as any failure of a decoder does. Out of a thread it
                // would end the process, and the disc that is being written with it.
            }
            m_pPipe->CloseWrite();
        });
    } catch (const std::system_error&) {
        throw CReaderException(noThread);
    }
}

void CPipedReader::StopDecoder() {
    if (m_hThread.joinable()) {
        m_pPipe->CloseRead();
        m_hThread.join();
    }
}

void CPipedReader::Read(void* buffer, uint32_t bytes, uint32_t* bytesRead) {
    const auto filled = static_cast<uint32_t>(m_pPipe->ReadFully(buffer, bytes));
    if (bytesRead != nullptr) {
        *bytesRead = filled;
    }
}

} // namespace larkspin
