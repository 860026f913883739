// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Turns a file name into CD audio, and into its length.
#pragma once

#include "audio/reader.h"
#include "platform/files.h"

#include <memory>

namespace larkspin {

// True if the name ends in ".wav", ".mp3", ".wma", ".ogg", ".ape", ".flac", ".m4a", ".aac",
// ".opus", ".aiff", ".aif" or ".wv", in upper or lower case. Does not open the file.
bool IsSupportedAudioFile(std::u16string_view name);

// A file that can't be a track: "NAME (FORMAT): REASON". The last component of the name is
// complete, so the text may be longer than those of other CReaderExceptions.
class CSourceRefusal final : public CReaderException {
  public:
    CSourceRefusal(const std::u16string& name, const char* format, const std::string& reason);
    const char* what() const noexcept override { return m_strText.c_str(); }

  private:
    std::string m_strText;
};

// The complete chain for a file: 44,100 Hz, two channels, 16 bits, a whole number of 2352-byte
// blocks. Null if the suffix is none of these. Throws CSourceRefusal.
std::unique_ptr<CReader> CreateAudioReader(const std::u16string& name,
                                           IFileSystem& files = PosixFiles());

// PCM bytes that the file will take up on an audio CD, from its headers alone. 0 if it can't be
// read, is of an unknown format, or is not a regular file, which is not opened. Never throws.
uint32_t GetAudioFileLength(const std::u16string& name, IFileSystem& files = PosixFiles());

} // namespace larkspin
