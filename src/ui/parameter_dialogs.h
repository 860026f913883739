// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What the parameter dialogs show and what their answers mean.
//
// An object of these classes serves one run of its dialog and lives on the job's thread, which is
// where the drives may be asked for their speeds. The window, on the main thread, gets a
// ParameterContent and gives back a ParameterInput; nothing else is shared.
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

// The speed behind row `selected` of that list. "Max" is the first speed that the drive reports,
// or kNoSpeedWish if it reports none; so is a row past the end.
double ReadSpeedChoice(const std::vector<double>& speeds, size_t selected);

// All that a window needs to open. Rows of `drives` are indexes into the drive list.
struct ParameterContent {
    JobKind kind = JobKind::Data;
    std::u16string strHeader;
    std::vector<std::u16string> drives;     // empty for the erase dialog
    std::vector<std::u16string> speeds;     // texts for drive 0, "Max" first
    std::u16string strTitle;                // data only
    std::vector<std::u16string> completion; // data only
    bool bVerify = false;                   // not in the erase dialog
};

// What the window held when OK was pressed.
struct ParameterInput {
    uint32_t nDriveRow = 0;
    uint32_t nSpeedRow = 0;
    std::u16string strTitle = {};
    std::u16string strCopies = {};
    bool bQuickErase = true;
    bool bVerify = false;
};

inline constexpr uint32_t kMinCopies = 1;
inline constexpr uint32_t kMaxCopies = 20; // limits of the arrows; typed text is not held to them
inline constexpr size_t kCopiesTextLimit = 15;

// The number that `text` starts with, after blanks and a sign; 0 if there is none. Past 2147483647
// it stays there. A negative count is no count and gives 0.
uint32_t ParseCopies(const std::u16string& text);

// The part that the dialogs with a drive list have in common.
class CDriveParameters {
  public:
    // Speeds of that drive from now on, as texts. A drive that fails gives "Max" alone.
    std::vector<std::u16string> SelectDrive(uint32_t index);

  protected:
    explicit CDriveParameters(IDriveCatalog& drives) : m_drives(drives) {}

    enum class Blanks { Keep, Fold };
    // "%s (%s)" of name and label for each drive. Fold turns runs of blanks in a name into one.
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

    // Today's date is the title to start with.
    ParameterContent Open(const std::u16string& header, bool verify);
    // OK was pressed: the title, cut to kTitleLimit units, joins the history.
    DataParametersResult Accept(const ParameterInput& input);

  private:
    ISettingsStore& m_store;
    IClock& m_clock;
    CAutoCompletionList m_titles;
};

// The audio and the image dialog: one design, two pictures.
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
