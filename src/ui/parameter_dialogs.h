// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What the parameter dialogs show and what their results mean.
//
// An object of these classes serves one run of its dialog and lives on the job's thread, where
// drives may be asked for their speeds. The window, on the main thread, gets a ParameterContent and
// returns a ParameterInput; nothing else is shared.
#pragma once

#include "platform/clock.h"
#include "platform/settings_store.h"
#include "ui/ccdwriter_ui.h"
#include "ui/models.h"
#include "ui/title_history.h"

#include <cstdint>
#include <string>
#include <vector>

namespace larkspin {

inline constexpr double kNoSpeedWish = -1.0;

// "Max" first, then one text for each speed: "52x", "2.4x".
std::vector<std::u16string> SpeedTexts(const std::vector<double>& speeds);

// The speed in row `selected` of that list. "Max" is the first speed that the drive reports, or
// kNoSpeedWish if it reports none; so is any row past the end.
double ReadSpeedChoice(const std::vector<double>& speeds, size_t selected);

// Everything that a window needs to open. Rows of `drives` are indices into the drive list.
struct ParameterContent {
    JobKind kind = JobKind::Data;
    std::u16string strHeader;
    std::vector<std::u16string> drives;     // empty for the erase dialog
    std::vector<std::u16string> speeds;     // texts for drive 0, "Max" first
    std::u16string strTitle;                // data only
    std::vector<std::u16string> completion; // data only
    bool bVerify = false;                   // not in the erase dialog
};

// The contents of the window when OK was pressed.
struct ParameterInput {
    uint32_t nDriveRow = 0;
    uint32_t nSpeedRow = 0;
    std::u16string strTitle = {};
    std::u16string strCopies = {};
    bool bQuickErase = true;
    bool bVerify = false;
};

inline constexpr uint32_t kMinCopies = 1;
inline constexpr uint32_t kMaxCopies = 20; // limit of the arrows; typed text may be beyond it
inline constexpr size_t kCopiesTextLimit = 15;

// The number at the start of `text`, after blanks and a sign; 0 if there is none, or if it is
// negative. Limited to 2147483647.
uint32_t ParseCopies(const std::u16string& text);

// Common to the dialogs with a drive list.
class CDriveParameters {
  public:
    // Selects a drive and returns its speeds as texts. If the drive fails, only "Max".
    std::vector<std::u16string> SelectDrive(uint32_t index);

  protected:
    explicit CDriveParameters(IDriveCatalog& drives) : m_drives(drives) {}

    enum class Blanks { Keep, Fold };
    // "%s (%s)" of each drive's name and label. Fold reduces runs of blanks in a name to one.
    std::vector<std::u16string> DriveTexts(Blanks blanks);
    double Speed(const ParameterInput& input) const;

  private:
    IDriveCatalog& m_drives;
    std::vector<double> m_speeds;
};

class CDataParameters final : public CDriveParameters {
  public:
    CDataParameters(IDriveCatalog& drives, ISettingsStore& store, IClock& clock)
        : CDriveParameters(drives), m_store(store), m_clock(clock) {}

    // The initial title is today's date.
    ParameterContent Open(const std::u16string& header, bool verify);
    // OK was pressed: the title, cut to kTitleLimit units, is added to the history.
    DataParametersResult Accept(const ParameterInput& input);

  private:
    ISettingsStore& m_store;
    IClock& m_clock;
    CAutoCompletionList m_titles;
};

// The audio and the image dialog, which differ only in their picture.
class CCopyParameters : public CDriveParameters {
  public:
    ParameterContent Open(const std::u16string& header, bool verify);
    CopyParametersResult Accept(const ParameterInput& input) const;

  protected:
    CCopyParameters(IDriveCatalog& drives, JobKind kind) : CDriveParameters(drives), m_kind(kind) {}

  private:
    const JobKind m_kind;
};

class CAudioParameters final : public CCopyParameters {
  public:
    explicit CAudioParameters(IDriveCatalog& drives) : CCopyParameters(drives, JobKind::Audio) {}
};

class CBurnImageParameters final : public CCopyParameters {
  public:
    explicit CBurnImageParameters(IDriveCatalog& drives)
        : CCopyParameters(drives, JobKind::Image) {}
};

class CEraseTypeDialog {
  public:
    explicit CEraseTypeDialog(std::vector<double> speeds) : m_speeds(std::move(speeds)) {}

    ParameterContent Open() const;
    EraseTypeResult Accept(const ParameterInput& input) const;

  private:
    const std::vector<double> m_speeds;
};

} // namespace larkspin
