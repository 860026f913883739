// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What a job has written to a disc, as a hash for each extent. The hashes are computed on the way
// to the drive, so that no source has to be read again.
//
// Filled by one thread, in disc order; read by another one after that has been joined.
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
    // Starts over. The first byte passed to Take is the one at `position`, counted as in the list.
    // No extent may end before it.
    void Expect(ExtentList extents, uint64_t position);
    // Takes the next bytes. Those that belong to no extent are ignored.
    void Take(std::span<const uint8_t> bytes);

    const ExtentList& Extents() const { return m_extents; }
    // Of the extents that are complete so far.
    const std::vector<Digest>& Digests() const { return m_digests; }
    // Everything that was expected has passed through, and it was not empty.
    bool IsComplete() const {
        return m_extents.Count() > 0 && m_digests.size() == m_extents.Count();
    }

  private:
    ExtentList m_extents;
    std::vector<Digest> m_digests;
    Hash m_hash; // of the extent at m_digests.size(), as far as it has been seen
    uint64_t m_nPosition = 0;
};

// Records what is written to `sink`. Both references must outlive it.
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

// Records what is read from `source`. Both references must outlive it.
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
