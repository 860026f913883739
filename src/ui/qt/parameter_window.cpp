// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/qt/parameter_window.h"

#include "ui/parameter_dialogs.h"
#include "ui/qt/artwork.h"
#include "ui/qt/controls.h"
#include "ui/qt/qt_text.h"

#include <QCheckBox>
#include <QComboBox>
#include <QCompleter>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>
#include <QSpinBox>
#include <QVBoxLayout>

#include <algorithm>
#include <limits>

namespace larkspin {

namespace {

constexpr int kWidthUnits = 267;

QStringList ToQtList(const std::vector<std::u16string>& texts) {
    QStringList list;
    for (const std::u16string& text : texts) {
        list.append(ToQt(text));
    }
    return list;
}

// The arrows respect the limits of the copies; typed text is left alone.
class CCopiesBox final : public QSpinBox {
  public:
    CCopiesBox() {
        setRange(0, std::numeric_limits<int>::max());
        setValue(static_cast<int>(kMinCopies));
        setObjectName(QStringLiteral("1006"));
        lineEdit()->setObjectName(QStringLiteral("1005"));
        lineEdit()->setMaxLength(static_cast<int>(kCopiesTextLimit));
        setAccessibleName(QStringLiteral("Copies"));
        lineEdit()->setAccessibleName(QStringLiteral("Copies"));
    }
    QLineEdit* Edit() const { return lineEdit(); }
    QSize sizeHint() const override {
        QSize hint = QSpinBox::sizeHint(); // for ten digits
        hint.setWidth(hint.width() / 2);
        return hint;
    }
    QSize minimumSizeHint() const override { return sizeHint(); }

  protected:
    QValidator::State validate(QString& /*text*/, int& /*position*/) const override {
        return QValidator::Acceptable;
    }
    int valueFromText(const QString& text) const override {
        return static_cast<int>(ParseCopies(FromQt(text)));
    }
    void stepBy(int steps) override {
        const int64_t wanted = int64_t{value()} + steps;
        setValue(static_cast<int>(std::clamp<int64_t>(wanted, kMinCopies, kMaxCopies)));
        selectAll();
    }
    StepEnabled stepEnabled() const override {
        StepEnabled enabled = StepNone;
        enabled.setFlag(StepUpEnabled, value() < static_cast<int>(kMaxCopies));
        enabled.setFlag(StepDownEnabled, value() > static_cast<int>(kMinCopies));
        return enabled;
    }
};

// A screen reader reads out label and control together.
QLabel* MakeLabel(const QString& text, QWidget& control) {
    auto* label = new QLabel(text);
    label->setBuddy(&control);
    return label;
}

// A screen reader takes what is chosen for the list's name. The description tells what the choice
// is of.
QComboBox* MakeDropDown(int id, const QString& description) {
    auto* list = new QComboBox;
    list->setObjectName(QString::number(id));
    list->setAccessibleDescription(description);
    return list;
}

} // namespace

CParameterWindow::CParameterWindow(const ParameterContent& content) {
    setWindowTitle(QStringLiteral("Larkspin"));
    setWindowIcon(AppIcon());

    auto* picture = new QLabel;
    picture->setPixmap(Picture(content.kind, *this));
    picture->setAlignment(Qt::AlignCenter);

    auto* column = new QVBoxLayout;
    switch (content.kind) {
    case JobKind::Data:
        AddTitle(*column, content);
        AddDriveAndSpeed(*column, content);
        break;
    case JobKind::Audio:
    case JobKind::Image:
        AddDriveAndCopies(*column, content);
        break;
    case JobKind::Erase:
        AddEraseTypes(*column, content);
        break;
    case JobKind::Verify: // asks for none
        break;
    }
    column->addStretch();

    QPushButton* ok = MakeButton(1, QStringLiteral("OK"), OkIcon());
    ok->setDefault(true);
    connect(ok, &QPushButton::clicked, this, &QDialog::accept);
    QPushButton* cancel = MakeButton(2, QStringLiteral("Cancel"), CancelIcon());
    cancel->setAutoDefault(false);
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
    auto* buttons = new QVBoxLayout;
    buttons->addWidget(ok);
    buttons->addWidget(cancel);
    buttons->addStretch();

    auto* upper = new QHBoxLayout;
    upper->addWidget(picture);
    upper->addLayout(column, 1);
    upper->addLayout(buttons);
    auto* all = new QVBoxLayout(this);
    all->addLayout(upper);
    m_pHeader = MakeLine(1016, ToQt(content.strHeader));
    all->addWidget(m_pHeader);
    KeepWide(*this, *all, kWidthUnits);
}

void CParameterWindow::AddTitle(QBoxLayout& column, const ParameterContent& content) {
    m_pTitle = new QLineEdit(ToQt(content.strTitle));
    m_pTitle->setObjectName(QStringLiteral("1011"));
    m_pTitle->setAccessibleName(QStringLiteral("Disk title"));
    m_pTitle->setMaxLength(static_cast<int>(kTitleLimit));
    m_pTitle->selectAll();
    auto* completer = new QCompleter(ToQtList(content.completion), m_pTitle);
    completer->setCaseSensitivity(Qt::CaseInsensitive);
    m_pTitle->setCompleter(completer);

    QGroupBox* group = MakeGroup(QStringLiteral(" Disk title "));
    auto* inside = new QVBoxLayout(group);
    inside->addWidget(m_pTitle);
    column.addWidget(group);
}

void CParameterWindow::AddDriveAndSpeed(QBoxLayout& column, const ParameterContent& content) {
    QGroupBox* group = MakeGroup(QStringLiteral(" Write to "));
    auto* inside = new QHBoxLayout(group);
    inside->addWidget(MakeDrives(content), 1);
    inside->addWidget(MakeSpeeds(content));
    inside->addWidget(MakeVerify(content));
    column.addWidget(group);
}

void CParameterWindow::AddDriveAndCopies(QBoxLayout& column, const ParameterContent& content) {
    QGroupBox* target = MakeGroup(QStringLiteral(" Write to "));
    auto* targetInside = new QVBoxLayout(target);
    targetInside->addWidget(MakeDrives(content));
    column.addWidget(target);

    auto* copies = new CCopiesBox;
    m_pCopies = copies->Edit();
    QGroupBox* options = MakeGroup(QStringLiteral(" Writing options "));
    auto* inside = new QHBoxLayout(options);
    QComboBox* speeds = MakeSpeeds(content);
    inside->addWidget(MakeLabel(QStringLiteral("Copies"), *copies));
    inside->addWidget(copies);
    inside->addStretch();
    inside->addWidget(MakeLabel(QStringLiteral("Speed"), *speeds));
    inside->addWidget(speeds);
    inside->addWidget(MakeVerify(content));
    column.addWidget(options);
}

void CParameterWindow::AddEraseTypes(QBoxLayout& column, const ParameterContent& content) {
    m_pQuick = new QRadioButton(QStringLiteral("&Quick erase (quickly clean the disk)"));
    m_pQuick->setObjectName(QStringLiteral("1001"));
    m_pQuick->setChecked(true);
    auto* full = new QRadioButton(QStringLiteral("&Full erase (for corrupted disks)"));
    full->setObjectName(QStringLiteral("1002"));

    QGroupBox* group = MakeGroup(QStringLiteral(" Erase disk "));
    auto* inside = new QVBoxLayout(group);
    inside->addWidget(m_pQuick);
    inside->addWidget(full);
    auto* speed = new QHBoxLayout;
    QComboBox* speeds = MakeSpeeds(content);
    speed->addWidget(MakeLabel(QStringLiteral("Erasing speed"), *speeds));
    speed->addWidget(speeds);
    speed->addStretch();
    inside->addLayout(speed);
    column.addWidget(group);
}

QComboBox* CParameterWindow::MakeDrives(const ParameterContent& content) {
    m_pDrives = MakeDropDown(1003, QStringLiteral("Drive"));
    m_pDrives->addItems(ToQtList(content.drives));
    connect(m_pDrives, &QComboBox::currentIndexChanged, this, [this](int index) {
        m_pSpeeds->clear();
        m_pSpeeds->addItem(ToQt(SpeedTexts({}).front()));
        if (m_changed && index >= 0) {
            m_changed(static_cast<uint32_t>(index));
        }
    });
    return m_pDrives;
}

QComboBox* CParameterWindow::MakeSpeeds(const ParameterContent& content) {
    m_pSpeeds = MakeDropDown(1004, QStringLiteral("Speed"));
    m_pSpeeds->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    m_pSpeeds->addItems(ToQtList(content.speeds));
    return m_pSpeeds;
}

QCheckBox* CParameterWindow::MakeVerify(const ParameterContent& content) {
    m_pVerify = new QCheckBox(QStringLiteral("&Verify"));
    m_pVerify->setObjectName(QStringLiteral("1020"));
    m_pVerify->setToolTip(QStringLiteral("Read the disk back and compare it"));
    m_pVerify->setChecked(content.bVerify);
    return m_pVerify;
}

void CParameterWindow::SetSpeeds(uint32_t drive, const std::vector<std::u16string>& texts) {
    if (m_pDrives != nullptr && m_pDrives->currentIndex() == static_cast<int>(drive)) {
        m_pSpeeds->clear();
        m_pSpeeds->addItems(ToQtList(texts));
    }
}

void CParameterWindow::SetHeader(const std::u16string& text) {
    m_pHeader->setText(ToQt(text));
}

ParameterInput CParameterWindow::Input() const {
    const auto row = [](const QComboBox* list) {
        return list == nullptr ? 0U : static_cast<uint32_t>(std::max(0, list->currentIndex()));
    };
    ParameterInput input;
    input.nDriveRow = row(m_pDrives);
    input.nSpeedRow = row(m_pSpeeds);
    if (m_pTitle != nullptr) {
        input.strTitle = FromQt(m_pTitle->text());
    }
    if (m_pCopies != nullptr) {
        input.strCopies = FromQt(m_pCopies->text());
    }
    input.bVerify = m_pVerify != nullptr && m_pVerify->isChecked();
    input.bQuickErase = m_pQuick != nullptr && m_pQuick->isChecked();
    return input;
}

} // namespace larkspin
