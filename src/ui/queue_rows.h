// The rows of the queue editor: the queue's paths in the order of their names, and the smallest
// set of changes that leads from one such list to the next, so that a window keeps its selection
// and its place. Free of state; any thread.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace larkspin {

// A path with the key it is sorted by.
struct QueueRow {
    std::u16string strPath;
    std::u16string strSortKey;

    bool operator==(const QueueRow& other) const { return strPath == other.strPath; }
};

// Ascending, letters without regard to case; paths that differ in case alone by their units.
std::vector<QueueRow> SortedRows(std::vector<std::u16string> paths);

// Rows [first, first + count) leave, or are inserted, when the edit's turn comes.
struct RowEdit {
    enum class Kind { Remove, Insert };

    Kind kind = Kind::Insert;
    size_t first = 0; // index in the list as the edits before it have left it
    size_t count = 0;
    size_t source = 0; // Insert: index of the first row in the new list
};

// Both lists come from SortedRows. Applied in turn, the edits make `before` into `after`.
std::vector<RowEdit> RowEdits(const std::vector<QueueRow>& before,
                              const std::vector<QueueRow>& after);

} // namespace larkspin
