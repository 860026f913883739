// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Converts wide text to the toolkit's and back. Both are UTF-16; the units don't change.
#pragma once

#include <QString>
#include <QTextDocument>

#include <string>
#include <string_view>

namespace larkspin {

inline QString ToQt(std::u16string_view text) {
    return QString(reinterpret_cast<const QChar*>(text.data()),
                   static_cast<qsizetype>(text.size()));
}

// A tool tip that looks like markup is read as such, and a file may have such a name.
inline QString PlainToolTip(const QString& text) {
    return Qt::mightBeRichText(text) ? Qt::convertFromPlainText(text) : text;
}

inline std::u16string FromQt(const QString& text) {
    return text.toStdU16String();
}

} // namespace larkspin
