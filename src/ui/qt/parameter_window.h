// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The window of the four parameter dialogs. It shows a ParameterContent and collects the user's
// input; it does not access drives. Main thread.
#pragma once

#include "ui/parameter_dialogs.h"

#include <QDialog>

#include <functional>
#include <string>
#include <vector>

class QBoxLayout;
class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QRadioButton;

namespace larkspin {

class CParameterWindow final : public QDialog {
    Q_OBJECT

  public:
    explicit CParameterWindow(const ParameterContent& content);

    // Called when another drive is chosen. The speed list is just "Max" until SetSpeeds.
    void OnDriveChanged(std::function<void(uint32_t)> changed) { m_changed = std::move(changed); }
    // Speed texts of that drive; ignored if the user has chosen another one meanwhile.
    void SetSpeeds(uint32_t drive, const std::vector<std::u16string>& texts);

    void SetHeader(const std::u16string& text);

    ParameterInput Input() const;

  private:
    void AddTitle(QBoxLayout& column, const ParameterContent& content);
    void AddDriveAndSpeed(QBoxLayout& column, const ParameterContent& content);
    void AddDriveAndCopies(QBoxLayout& column, const ParameterContent& content);
    void AddEraseTypes(QBoxLayout& column, const ParameterContent& content);
    QComboBox* MakeDrives(const ParameterContent& content);
    QComboBox* MakeSpeeds(const ParameterContent& content);
    QCheckBox* MakeVerify(const ParameterContent& content);

    QLabel* m_pHeader = nullptr;
    QLineEdit* m_pTitle = nullptr;
    QComboBox* m_pDrives = nullptr;
    QComboBox* m_pSpeeds = nullptr;
    QLineEdit* m_pCopies = nullptr;
    QCheckBox* m_pVerify = nullptr;
    QRadioButton* m_pQuick = nullptr;
    std::function<void(uint32_t)> m_changed;
};

} // namespace larkspin
