// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/qt/progress_window.h"

#include "ui/qt/artwork.h"
#include "ui/qt/controls.h"
#include "ui/qt/qt_text.h"

#include <QCloseEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QVBoxLayout>

namespace larkspin {

namespace {

constexpr int kWidthUnits = 267;

QGroupBox* Framed(const QString& title, QWidget* inside) {
    QGroupBox* group = MakeGroup(title);
    auto* layout = new QVBoxLayout(group);
    layout->addWidget(inside);
    return group;
}

} // namespace

CProgressWindow::CProgressWindow(CProgressDialog& logic, IClock& clock, CWindowSet& windows,
                                 std::function<void()> visibilityChanged)
    : m_logic(logic), m_clock(clock), m_windows(windows),
      m_visibilityChanged(std::move(visibilityChanged)) {
    setWindowTitle(QStringLiteral("Larkspin"));
    setWindowIcon(AppIcon());
    for (int frame = 0; frame < 2; ++frame) {
        m_pictures.at(static_cast<size_t>(frame)) = WorkingPicture(logic.Kind(), frame, *this);
    }

    m_pPicture = new QLabel;
    m_pPicture->setObjectName(QStringLiteral("1018"));
    m_pPicture->setPixmap(Picture(logic.Kind(), *this));
    m_pPicture->setFixedSize(kPictureSize, kPictureSize);

    m_pStatus = new QLabel;
    m_pStatus->setObjectName(QStringLiteral("1009"));
    m_pStatus->setTextFormat(Qt::PlainText);
    // A long text is cut with an ellipsis instead of widening the window.
    m_pStatus->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    m_pBar = new QProgressBar;
    m_pBar->setObjectName(QStringLiteral("1000"));
    m_pBar->setAccessibleName(QStringLiteral("Progress"));
    m_pBar->setRange(0, 100);
    auto* column = new QVBoxLayout;
    column->addWidget(Framed(QStringLiteral(" Currently writing "), m_pStatus));
    column->addWidget(Framed(QStringLiteral(" Progress "), m_pBar));
    column->addStretch();

    // Return does nothing here: neither button should be pressed by accident.
    QPushButton* cancel = MakeButton(CMD_CANCEL, QStringLiteral("Cancel"), CancelIcon());
    cancel->setAutoDefault(false);
    connect(cancel, &QPushButton::clicked, this, [this] { Command(CMD_CANCEL); });
    QPushButton* hideButton = MakeButton(CMD_HIDE, QStringLiteral("Hide"), HideIcon());
    hideButton->setAutoDefault(false);
    connect(hideButton, &QPushButton::clicked, this, [this] { Command(CMD_HIDE); });
    auto* buttons = new QVBoxLayout;
    buttons->addWidget(cancel);
    buttons->addWidget(hideButton);
    buttons->addStretch();

    m_pElapsed = MakeLine(1016, QString());
    m_pLeft = MakeLine(1021, QString());
    auto* upper = new QHBoxLayout;
    upper->addWidget(m_pPicture);
    upper->addLayout(column, 1);
    upper->addLayout(buttons);
    auto* all = new QVBoxLayout(this);
    all->addLayout(upper);
    all->addWidget(m_pElapsed);
    all->addWidget(m_pLeft);
    KeepWide(*this, *all, kWidthUnits);

    connect(&m_timer, &QTimer::timeout, this, [this] { OnTimer(); });
}

void CProgressWindow::Start() {
    CloseQuestion();
    m_pElapsed->setText(ToQt(ElapsedText(0)));
    m_pLeft->clear();
    BringToFront(*this);
    Refresh();
    m_timer.start(static_cast<int>(CProgressDialog::kTimerPeriodMs));
    m_visibilityChanged();
}

void CProgressWindow::Stop() {
    m_timer.stop();
    CloseQuestion();
    hide();
}

void CProgressWindow::Refresh() {
    m_pBar->setValue(m_logic.Progress());
    const QString status = ToQt(m_logic.Status());
    m_pStatus->setText(
        m_pStatus->fontMetrics().elidedText(status, Qt::ElideMiddle, m_pStatus->width()));
    m_pStatus->setAccessibleName(status);
    m_pStatus->setToolTip(PlainToolTip(status));
}

void CProgressWindow::Command(uint32_t command) {
    if (!m_timer.isActive()) {
        return; // from a menu that was still open when the job ended
    }
    switch (command) {
    case CMD_CANCEL:
        AskCancel();
        break;
    case CMD_HIDE:
        hide();
        m_logic.Hide();
        m_visibilityChanged();
        break;
    case CMD_SHOW:
        BringToFront(*this);
        m_logic.Show();
        m_visibilityChanged();
        break;
    default:
        break;
    }
}

void CProgressWindow::closeEvent(QCloseEvent* event) {
    event->ignore();
    Command(CMD_CANCEL);
}

void CProgressWindow::resizeEvent(QResizeEvent* event) {
    QDialog::resizeEvent(event);
    Refresh(); // the status line may now fit better or worse
}

void CProgressWindow::AskCancel() {
    if (m_logic.IsCancelled()) {
        return; // it can't be undone, so there is nothing to ask
    }
    if (m_pQuestion != nullptr) {
        BringToFront(*m_pQuestion);
        return;
    }
    m_pQuestion = OpenMessageBox(
        m_windows, m_logic.CancelQuestion(), kBoxTitle, BoxButtons::YesNoGuarded, BoxIcon::Question,
        [&logic = m_logic, run = m_logic.Run()](bool yes) { logic.AnswerCancel(run, yes); });
}

void CProgressWindow::CloseQuestion() {
    if (m_pQuestion != nullptr) {
        m_pQuestion->reject();
    }
}

void CProgressWindow::OnTimer() {
    const CProgressDialog::TimerStep step = m_logic.OnTimer(m_clock.TickMs());
    m_pPicture->setPixmap(m_pictures.at(static_cast<size_t>(step.nFrame)));
    m_pElapsed->setText(ToQt(step.strElapsed));
    m_pLeft->setText(ToQt(step.strLeft));
}

} // namespace larkspin
