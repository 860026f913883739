// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "jobs/cd_writing.h"
#include "volume/model/sectors.h"

#include <algorithm>
#include <optional>
#include <span>
#include <vector>

namespace larkspin {

CdStreamEnd WriteStream(CCDWriterUI& ui, CAspiCD& drive, CdStream* stream) {
    const int64_t all = stream->left;
    std::vector<uint8_t> buffer(size_t{kSectorsPerWrite} * kSectorBytes);
    while (stream->left > 0 && !stream->cancel()) {
        const auto wanted = static_cast<size_t>(std::min(stream->left, kSectorsPerWrite));
        const std::span<uint8_t> piece = std::span(buffer).first(wanted * kSectorBytes);
        const std::optional<size_t> bytes = ReadUpTo(stream->source, piece);
        if (!bytes) {
            return CdStreamEnd::ReadFailed;
        }
        const auto sectors = static_cast<int32_t>(*bytes / kSectorBytes);
        if (sectors == 0) {
            break;
        }
        if (drive.WriteBlocks(&stream->address, buffer.data(), sectors, &stream->cancel,
                              kSectorBytes) != 0) {
            return CdStreamEnd::WriteFailed;
        }
        if (stream->record != nullptr) {
            stream->record->Take(piece.first(static_cast<size_t>(sectors) * kSectorBytes));
        }
        stream->left -= sectors;
        ui.SetProgress(stream->kind, static_cast<int>(100 - int64_t{stream->left} * 100 / all));
    }
    return CdStreamEnd::Ended;
}

} // namespace larkspin
