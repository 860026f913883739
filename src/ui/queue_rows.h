// The rows of the queue editor: the queue's paths in the order of their names. Free of state; any
// thread.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace larkspin {

// A path with the key it is sorted by.
struct QueueRow {
    std::u16string strPath;
    std::u16string strSortKey;
};

// Ascending, letters without regard to case; paths that differ in case alone by their units.
std::vector<QueueRow> SortedRows(std::vector<std::u16string> paths);

// Index of `path` in `rows`, or of the row that stands where it would: rows.size() at the end.
size_t RowAtOrAfter(const std::vector<QueueRow>& rows, const std::u16string& path);

// Which rows hold one of `paths`, ascending; paths that are gone are left out.
std::vector<size_t> RowsOf(const std::vector<QueueRow>& rows,
                           const std::vector<std::u16string>& paths);

} // namespace larkspin
