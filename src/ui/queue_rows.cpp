#include "ui/queue_rows.h"

#include <algorithm>
#include <locale.h>
#include <wctype.h>

namespace larkspin {

namespace {

// Case rules of Unicode, whatever the user's locale is.
locale_t UnicodeLocale() {
    static const locale_t locale = [] {
        const locale_t unicode = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
        return unicode != nullptr ? unicode : ::newlocale(LC_CTYPE_MASK, "C", nullptr);
    }();
    return locale;
}

QueueRow MakeRow(std::u16string path) {
    QueueRow row;
    row.strSortKey = path;
    for (char16_t& unit : row.strSortKey) {
        unit = static_cast<char16_t>(::towlower_l(unit, UnicodeLocale()));
    }
    row.strPath = std::move(path);
    return row;
}

bool RowLess(const QueueRow& a, const QueueRow& b) {
    const int order = a.strSortKey.compare(b.strSortKey);
    return order != 0 ? order < 0 : a.strPath < b.strPath;
}

} // namespace

std::vector<QueueRow> SortedRows(std::vector<std::u16string> paths) {
    std::vector<QueueRow> rows;
    rows.reserve(paths.size());
    for (std::u16string& path : paths) {
        rows.push_back(MakeRow(std::move(path)));
    }
    std::sort(rows.begin(), rows.end(), RowLess);
    return rows;
}

size_t RowAtOrAfter(const std::vector<QueueRow>& rows, const std::u16string& path) {
    const auto found = std::lower_bound(rows.begin(), rows.end(), MakeRow(path), RowLess);
    return static_cast<size_t>(found - rows.begin());
}

std::vector<size_t> RowsOf(const std::vector<QueueRow>& rows,
                           const std::vector<std::u16string>& paths) {
    std::vector<size_t> found;
    for (const std::u16string& path : paths) {
        const size_t row = RowAtOrAfter(rows, path);
        if (row < rows.size() && rows[row].strPath == path) {
            found.push_back(row);
        }
    }
    std::sort(found.begin(), found.end());
    return found;
}

} // namespace larkspin
