// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What a job has written to a disc, as a hash for each extent: made from the bytes on their way to
// the drive, so that nobody has to read a source again.
//
// Filled by one thread, in the order of the disc; read by another once that one has been joined.
#pragma once

#include "jobs/hash.h"
#include "platform/byte_stream.h"
#include "volume/extent_list.h"

#include <cstdint>
#include <span>
#include <vector>

namespace larkspin {

class WrittenRecord {
  public:
    // Forgets everything. The first byte that Take is given is that at `position`, counted as in
    // the list, and in front of no extent's end.
    void Expect(ExtentList extents, uint64_t position);
    // The next bytes. What belongs to no extent is passed over.
    void Take(std::span<const uint8_t> bytes);

    const ExtentList& Extents() const { return m_extents; }
    // Of the extents that have gone by as a whole.
    const std::vector<Digest>& Digests() const { return m_digests; }
    // All of what was expected has gone by, and it was something.
    bool IsComplete() const {
        return m_extents.Count() > 0 && m_digests.size() == m_extents.Count();
    }

  private:
    ExtentList m_extents;
    std::vector<Digest> m_digests;
    Hash m_hash; // of the extent at m_digests.size(), as far as it has gone by
    uint64_t m_nPosition = 0;
};

// Keeps the record of what goes through to `sink`. Both outlive it.
class RecordingSink final : public IByteSink {
  public:
    RecordingSink(IByteSink& sink, WrittenRecord& record) : m_sink(sink), m_record(record) {}

    bool Write(const void* data, size_t bytes) override {
        m_record.Take({static_cast<const uint8_t*>(data), bytes});
        return m_sink.Write(data, bytes);
    }

  private:
    IByteSink& m_sink;
    WrittenRecord& m_record;
};

// Keeps the record of what is read from `source`. Both outlive it.
class RecordingSource final : public IByteSource {
  public:
    RecordingSource(IByteSource& source, WrittenRecord& record)
        : m_source(source), m_record(record) {}

    std::ptrdiff_t Read(void* buffer, size_t bytes) override {
        const std::ptrdiff_t got = m_source.Read(buffer, bytes);
        if (got > 0) {
            m_record.Take({static_cast<const uint8_t*>(buffer), static_cast<size_t>(got)});
        }
        return got;
    }

  private:
    IByteSource& m_source;
    WrittenRecord& m_record;
};

} // namespace larkspin
