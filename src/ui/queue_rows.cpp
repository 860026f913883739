#include "ui/queue_rows.h"

#include <algorithm>
#include <clocale>
#include <cwctype>
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

std::u16string SortKey(const std::u16string& path) {
    std::u16string key = path;
    for (char16_t& unit : key) {
        unit = static_cast<char16_t>(::towlower_l(unit, UnicodeLocale()));
    }
    return key;
}

bool RowLess(const QueueRow& a, const QueueRow& b) {
    const int order = a.strSortKey.compare(b.strSortKey);
    return order != 0 ? order < 0 : a.strPath < b.strPath;
}

// Adds a row to the last edit where it continues it.
void Extend(std::vector<RowEdit>& edits, RowEdit::Kind kind, size_t row, size_t source) {
    if (!edits.empty() && edits.back().kind == kind) {
        RowEdit& last = edits.back();
        const bool continues =
            kind == RowEdit::Kind::Remove
                ? last.first == row
                : last.first + last.count == row && last.source + last.count == source;
        if (continues) {
            ++last.count;
            return;
        }
    }
    edits.push_back({kind, row, 1, source});
}

} // namespace

std::vector<QueueRow> SortedRows(std::vector<std::u16string> paths) {
    std::vector<QueueRow> rows;
    rows.reserve(paths.size());
    for (std::u16string& path : paths) {
        std::u16string key = SortKey(path);
        rows.push_back({std::move(path), std::move(key)});
    }
    std::sort(rows.begin(), rows.end(), RowLess);
    return rows;
}

std::vector<RowEdit> RowEdits(const std::vector<QueueRow>& before,
                              const std::vector<QueueRow>& after) {
    std::vector<RowEdit> edits;
    size_t old = 0;
    size_t next = 0; // rows of `after` that stand in place, so also the row where we are
    while (old < before.size() || next < after.size()) {
        if (next == after.size() || (old < before.size() && RowLess(before[old], after[next]))) {
            Extend(edits, RowEdit::Kind::Remove, next, 0);
            ++old;
        } else if (old == before.size() || RowLess(after[next], before[old])) {
            Extend(edits, RowEdit::Kind::Insert, next, next);
            ++next;
        } else {
            ++old;
            ++next;
        }
    }
    return edits;
}

} // namespace larkspin
