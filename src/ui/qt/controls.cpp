// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/qt/controls.h"

#include <QEvent>
#include <QFontMetrics>

namespace larkspin {

namespace {

// The toolkit's own frame handles the keys for pressing a button on behalf of its check box, even
// if it has none. On some desktops that includes Return, which would never reach the default
// button.
class CGroup final : public QGroupBox {
  public:
    using QGroupBox::QGroupBox;

  protected:
    bool event(QEvent* event) override {
        if (event->type() == QEvent::KeyPress || event->type() == QEvent::KeyRelease) {
            event->ignore();
            return false;
        }
        return QGroupBox::event(event);
    }
};

} // namespace

QPushButton* MakeButton(int id, const QString& text, const QIcon& icon) {
    auto* button = new QPushButton(icon, text);
    button->setObjectName(QString::number(id));
    button->setAccessibleName(text);
    return button;
}

QGroupBox* MakeGroup(const QString& title) {
    auto* group = new CGroup(title);
    group->setAccessibleName(title.trimmed()); // the blanks are only visual
    group->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Maximum);
    return group;
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
