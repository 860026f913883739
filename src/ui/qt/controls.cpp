#include "ui/qt/controls.h"

#include <QFontMetrics>

namespace larkspin {

QPushButton* MakeButton(int id, const QString& text, const QIcon& icon) {
    auto* button = new QPushButton(icon, text);
    button->setObjectName(QString::number(id));
    button->setAccessibleName(text);
    return button;
}

QLabel* MakeLine(int id, const QString& text) {
    auto* line = new QLabel(text);
    line->setObjectName(QString::number(id));
    line->setTextFormat(Qt::PlainText);
    line->setAlignment(Qt::AlignCenter);
    line->setWordWrap(true);
    return line;
}

int DialogWidth(const QWidget& window, int units) {
    return units * window.fontMetrics().averageCharWidth() / 4;
}

int DialogHeight(const QWidget& window, int units) {
    return units * window.fontMetrics().height() / 8;
}

void KeepWide(const QWidget& window, QVBoxLayout& column, int units) {
    const QMargins margins = column.contentsMargins();
    column.addStrut(DialogWidth(window, units) - margins.left() - margins.right());
}

} // namespace larkspin
