// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "audio/piped_reader.h"

#include "audio/source_limits.h"

#include <algorithm>
#include <exception>
#include <new>
#include <system_error>

namespace larkspin {

CPipedReader::~CPipedReader() {
    StopDecoder();
}

void CPipedReader::StartTriedDecoder(const char* noPipe, const char* noThread) {
    m_nTrial = TrialBytes(*this);
    StartDecoder(noPipe, noThread);
    m_trial.get_future().wait();
    try {
        CheckTrial(m_nDecoded - m_nDamaged, m_nTrial);
    } catch (const CReaderException&) {
        StopDecoder(); // while everything that it decodes with still exists
        throw;
    }
}

void CPipedReader::StartDecoder(const char* noPipe, const char* noThread) {
    try {
        m_pPipe = std::make_unique<BytePipe>(std::max<size_t>(kDecoderPipeBytes, m_nTrial));
    } catch (const std::bad_alloc&) {
        throw CReaderException(noPipe);
    }
    try {
        m_hThread = std::thread([this] {
            try {
                Decode();
            } catch (const std::exception&) {
                // Ends the stream early, like any other failure of a decoder. If it left the
                // thread, it would end the process, and with it a disc that is being written.
            }
            m_pPipe->CloseWrite();
            EndTrial();
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

void CPipedReader::EndTrial() {
    if (!m_bTrialEnded) {
        m_bTrialEnded = true;
        m_trial.set_value();
    }
}

bool CPipedReader::WritePcm(const void* data, size_t bytes) {
    // Before the pipe can be full.
    if (!m_bTrialEnded) {
        m_nDecoded += bytes;
        if (m_nDecoded >= m_nTrial) {
            EndTrial();
        }
    }
    return m_pPipe->Write(data, bytes);
}

void CPipedReader::CountDamaged(size_t bytes) {
    m_nDamaged += bytes;
}

void CPipedReader::Read(void* buffer, uint32_t bytes, uint32_t* bytesRead) {
    const auto filled = static_cast<uint32_t>(m_pPipe->ReadFully(buffer, bytes));
    if (bytesRead != nullptr) {
        *bytesRead = filled;
    }
}

} // namespace larkspin
