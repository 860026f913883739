// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/qt/stand_in.h"

#include "ui/qt/qt_text.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>
#include <utility>

namespace larkspin {

namespace {

constexpr int kIconSize = 32;
constexpr int kUsualNoticeLines = 2;

} // namespace

CStandIn::CStandIn(QWidget* parent) : QWidget(parent) {
    m_pIcon = new QToolButton(this);
    m_pIcon->setObjectName(QStringLiteral("tray"));
    m_pIcon->setText(ToQt(CCDWriterUITrayIcon::kTip));
    m_pIcon->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    m_pIcon->setIconSize(QSize(kIconSize, kIconSize));
    m_pIcon->setPopupMode(QToolButton::MenuButtonPopup);
    m_pNotice = new QLabel(this);
    m_pNotice->setObjectName(QStringLiteral("notice"));
    m_pNotice->setAccessibleName(QStringLiteral("Notice"));
    m_pNotice->setTextFormat(Qt::PlainText);
    m_pNotice->setWordWrap(true);
    m_pNotice->setAlignment(Qt::AlignLeft | Qt::AlignTop);

    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_pIcon);
    buttons->addWidget(MakeButton(CMD_WRITE_DATA, QStringLiteral("&Write data disc")));
    buttons->addWidget(MakeButton(CMD_WRITE_AUDIO, QStringLiteral("Write &audio CD")));
    buttons->addStretch(1);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->addLayout(buttons);
    column->addWidget(m_pNotice, 1);

    m_noticeTimer.setSingleShot(true);
    connect(&m_noticeTimer, &QTimer::timeout, this, [this] { SetNotice({}); });
}

QPushButton* CStandIn::MakeButton(uint32_t command, const QString& text) {
    auto* button = new QPushButton(text, this);
    button->setObjectName(QString::number(command));
    button->setEnabled(false);
    connect(button, &QPushButton::clicked, this, [this, command] {
        const std::function<void(uint32_t)> chosen = m_command; // it may be replaced
        chosen(command);
    });
    m_buttons.push_back(button);
    return button;
}

void CStandIn::Connect(QMenu& menu, std::function<void()> clicked) {
    m_pIcon->setMenu(&menu);
    connect(m_pIcon, &QToolButton::clicked, this, std::move(clicked));
    m_pIcon->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(m_pIcon, &QWidget::customContextMenuRequested, m_pIcon, &QToolButton::showMenu);
}

void CStandIn::SetMenu(const std::vector<MenuItem>& items, std::function<void(uint32_t)> command) {
    m_command = std::move(command);
    for (QPushButton* button : m_buttons) {
        button->setEnabled(std::ranges::any_of(items, [&](const MenuItem& item) {
            return item.bEnabled && QString::number(item.nCommand) == button->objectName();
        }));
    }
}

void CStandIn::SetIcon(const QIcon& icon) {
    m_pIcon->setIcon(icon);
}

void CStandIn::ShowNotice(const Balloon& balloon) {
    QString text = ToQt(balloon.strText);
    if (!balloon.strTitle.empty()) {
        text.prepend(ToQt(balloon.strTitle) + QLatin1Char('\n'));
    }
    SetNotice(text);
    m_noticeTimer.start(static_cast<int>(balloon.nTimeoutMs));
}

void CStandIn::SetNotice(const QString& text) {
    m_pNotice->setText(text);
    emit HeightChanged();
}

int CStandIn::HeightFor(int width) const {
    const int usual = kUsualNoticeLines * m_pNotice->fontMetrics().lineSpacing();
    const int notice = std::max(usual, m_pNotice->heightForWidth(width));
    return m_pIcon->sizeHint().height() + layout()->spacing() + notice;
}

} // namespace larkspin
