// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/qt/windows.h"

#include "ui/qt/artwork.h"
#include "ui/qt/controls.h"
#include "ui/qt/qt_text.h"

#include <QGridLayout>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QTimer>

#include <algorithm>
#include <chrono>

namespace larkspin {

namespace {

constexpr int kLeastBoxUnits = 140;
constexpr int kLongTextUnits = 320;
constexpr std::chrono::seconds kHoldTime{1}; // of a guarded box

QMessageBox::StandardButtons ButtonsOf(BoxButtons buttons) {
    switch (buttons) {
    case BoxButtons::Ok:
        return QMessageBox::Ok;
    case BoxButtons::OkCancel:
        return QMessageBox::Ok | QMessageBox::Cancel;
    case BoxButtons::YesNo:
    case BoxButtons::YesNoGuarded:
        return QMessageBox::Yes | QMessageBox::No;
    }
    return QMessageBox::Ok;
}

QMessageBox::Icon IconOf(BoxIcon icon) {
    switch (icon) {
    case BoxIcon::None:
        return QMessageBox::NoIcon;
    case BoxIcon::Question:
        return QMessageBox::Question;
    case BoxIcon::Stop:
        return QMessageBox::Critical;
    }
    return QMessageBox::NoIcon;
}

// The button that corresponds to Escape and the window's close button.
QMessageBox::StandardButton WayOut(BoxButtons buttons) {
    switch (buttons) {
    case BoxButtons::Ok:
        return QMessageBox::Ok;
    case BoxButtons::OkCancel:
        return QMessageBox::Cancel;
    case BoxButtons::YesNo:
    case BoxButtons::YesNoGuarded:
        return QMessageBox::No;
    }
    return QMessageBox::Ok;
}

QMessageBox::StandardButton DefaultOf(BoxButtons buttons) {
    return buttons == BoxButtons::YesNo          ? QMessageBox::Yes
           : buttons == BoxButtons::YesNoGuarded ? QMessageBox::No
                                                 : QMessageBox::Ok;
}

// A key or click meant for what was there before must not answer `box`.
void HoldAnswers(QMessageBox& box) {
    const auto setEnabled = [&box](bool enabled) {
        for (QAbstractButton* button : box.buttons()) {
            button->setEnabled(enabled);
        }
    };
    setEnabled(false);
    QTimer::singleShot(kHoldTime, &box, [&box, setEnabled] {
        setEnabled(true);
        box.defaultButton()->setFocus();
    });
}

// A text too long for the screen scrolls, so that the buttons can be reached.
void LetLongTextScroll(QMessageBox& box) {
    auto* label = box.findChild<QLabel*>(QStringLiteral("qt_msgbox_label"));
    const int most = box.screen()->availableGeometry().height() / 2;
    if (label == nullptr || label->sizeHint().height() <= most) {
        return;
    }
    auto* area = new QScrollArea(&box);
    delete box.layout()->replaceWidget(label, area);
    label->setWordWrap(true);
    label->setAlignment(Qt::AlignTop | Qt::AlignLeft);
    area->setWidget(label);
    area->setWidgetResizable(true);
    area->setFrameShape(QFrame::NoFrame);
    area->setMinimumSize(DialogWidth(box, kLongTextUnits), most);
}

} // namespace

void BringToFront(QWidget& window) {
    window.setWindowState(window.windowState() & ~Qt::WindowMinimized);
    window.show();
    window.raise();
    window.activateWindow();
}

QDialog* CWindowSet::Open(std::unique_ptr<QDialog> dialog, std::function<void(int)> done) {
    QDialog* const open = dialog.get();
    QObject::connect(
        open, &QDialog::finished, open, [this, open, done = std::move(done)](int result) {
            const auto own = std::find_if(m_open.begin(), m_open.end(),
                                          [&](const auto& other) { return other.get() == open; });
            if (own != m_open.end()) {
                own->release()->deleteLater(); // this is called from one of its own signals
                m_open.erase(own);
            }
            done(result);
        });
    m_open.push_back(std::move(dialog));
    BringToFront(*open);
    return open;
}

QDialog* OpenMessageBox(CWindowSet& windows, const std::u16string& text,
                        const std::u16string& title, BoxButtons buttons, BoxIcon icon,
                        std::function<void(bool)> done) {
    auto box = std::make_unique<QMessageBox>();
    box->setWindowTitle(ToQt(title));
    box->setWindowIcon(AppIcon());
    box->setTextFormat(Qt::PlainText);
    box->setText(ToQt(text));
    box->setIcon(IconOf(icon));
    box->setStandardButtons(ButtonsOf(buttons));
    box->setEscapeButton(WayOut(buttons));
    box->setDefaultButton(DefaultOf(buttons));
    if (buttons == BoxButtons::YesNoGuarded) {
        HoldAnswers(*box);
    }
    box->setWindowModality(Qt::NonModal);
    LetLongTextScroll(*box);
    // Room for the title beside the window's buttons, even if the text is short.
    if (auto* grid = qobject_cast<QGridLayout*>(box->layout())) {
        grid->addItem(new QSpacerItem(DialogWidth(*box, kLeastBoxUnits), 0), grid->rowCount(), 0, 1,
                      grid->columnCount());
    }
    return windows.Open(std::move(box), [done = std::move(done)](int result) {
        done(result == QMessageBox::Ok || result == QMessageBox::Yes);
    });
}

} // namespace larkspin
