// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/parameter_dialogs.h"

#include "platform/text.h"

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <limits>

namespace larkspin {

namespace {

std::u16string SpeedText(double speed) {
    if (static_cast<long long>(speed * 10.0) % 10 == 0) {
        return FormatWide("%lldx", static_cast<long long>(speed));
    }
    return FormatWide("%.1fx", speed);
}

std::u16string FoldBlanks(const std::u16string& text) {
    std::u16string folded;
    for (const char16_t unit : text) {
        if (unit != u' ' || folded.empty() || folded.back() != u' ') {
            folded += unit;
        }
    }
    return folded;
}

bool IsBlank(char16_t unit) {
    return unit == u' ' || (unit >= u'\t' && unit <= u'\r');
}

} // namespace

std::vector<std::u16string> SpeedTexts(const std::vector<double>& speeds) {
    std::vector<std::u16string> texts = {u"Max"};
    texts.reserve(speeds.size() + 1);
    for (const double speed : speeds) {
        texts.push_back(SpeedText(speed));
    }
    return texts;
}

double ReadSpeedChoice(const std::vector<double>& speeds, size_t selected) {
    const size_t index = selected == 0 ? 0 : selected - 1;
    return index < speeds.size() ? speeds[index] : kNoSpeedWish;
}

uint32_t ParseCopies(const std::u16string& text) {
    constexpr uint32_t kLimit = std::numeric_limits<int32_t>::max();
    auto unit = std::find_if_not(text.begin(), text.end(), IsBlank);
    if (unit != text.end() && (*unit == u'+' || *unit == u'-')) {
        if (*unit == u'-') {
            return 0;
        }
        ++unit;
    }
    uint32_t number = 0;
    for (; unit != text.end() && *unit >= u'0' && *unit <= u'9'; ++unit) {
        const uint32_t digit = *unit - u'0';
        if (number > (kLimit - digit) / 10) {
            return kLimit;
        }
        number = number * 10 + digit;
    }
    return number;
}

std::vector<std::u16string> CDriveParameters::SelectDrive(uint32_t index) {
    try {
        m_speeds = m_drives.WriteSpeeds(index);
    } catch (const std::exception&) {
        m_speeds.clear(); // the user can still write at "Max"
    }
    return SpeedTexts(m_speeds);
}

std::vector<std::u16string> CDriveParameters::DriveTexts(Blanks blanks) {
    std::vector<std::u16string> texts;
    for (size_t i = 0; i < m_drives.Count(); ++i) {
        const std::u16string text = m_drives.Name(i) + u" (" + m_drives.Label(i) + u")";
        texts.push_back(blanks == Blanks::Fold ? FoldBlanks(text) : text);
    }
    return texts;
}

double CDriveParameters::Speed(const ParameterInput& input) const {
    return ReadSpeedChoice(m_speeds, input.nSpeedRow);
}

ParameterContent CDataParameters::Open(const std::u16string& header, bool verify) {
    ParameterContent content;
    content.kind = JobKind::Data;
    content.strHeader = header;
    content.bVerify = verify;
    content.drives = DriveTexts(Blanks::Fold);
    content.speeds = SelectDrive(0);
    content.strTitle = FormatDayMonthYear(m_clock.Now());
    m_titles.Load(m_store);
    content.completion.assign(m_titles.Titles().begin(), m_titles.Titles().end());
    return content;
}

DataParametersResult CDataParameters::Accept(const ParameterInput& input) {
    DataParametersResult result;
    result.bCancelled = false;
    result.nDriveIndex = input.nDriveRow;
    result.dSpeed = Speed(input);
    result.bVerify = input.bVerify;
    result.strTitle = input.strTitle.substr(0, kTitleLimit);
    m_titles.Add(result.strTitle);
    m_titles.Store(m_store);
    return result;
}

ParameterContent CCopyParameters::Open(const std::u16string& header, bool verify) {
    ParameterContent content;
    content.kind = m_kind;
    content.strHeader = header;
    content.bVerify = verify;
    content.drives = DriveTexts(Blanks::Keep);
    content.speeds = SelectDrive(0);
    return content;
}

CopyParametersResult CCopyParameters::Accept(const ParameterInput& input) const {
    CopyParametersResult result;
    result.bCancelled = false;
    result.nDriveIndex = input.nDriveRow;
    result.dSpeed = Speed(input);
    result.bVerify = input.bVerify;
    result.nCopies = ParseCopies(input.strCopies.substr(0, kCopiesTextLimit));
    return result;
}

ParameterContent CEraseTypeDialog::Open() const {
    ParameterContent content;
    content.kind = JobKind::Erase;
    content.speeds = SpeedTexts(m_speeds);
    return content;
}

EraseTypeResult CEraseTypeDialog::Accept(const ParameterInput& input) const {
    return {input.bQuickErase ? EraseMode::Quick : EraseMode::Full,
            ReadSpeedChoice(m_speeds, input.nSpeedRow)};
}

} // namespace larkspin
