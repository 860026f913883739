// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Lets the user decide about a drive that a job waits for and that makes no progress.
#pragma once

#include "drive/aspi_cd.h"
#include "ui/ccdwriter_ui.h"

namespace larkspin {

// Asks the user about the drive's waits (CAspiCD::SetBusyFunctor) as long as the object lives. Only
// a Yes gives a wait up, so that neither a stray Return nor a lost display ends a disc whose drive
// is merely slow. With nobody there, half an hour does.
class BusyQuestion {
  public:
    BusyQuestion(CCDWriterUI& ui, CAspiCD& drive);
    BusyQuestion(const BusyQuestion&) = delete;
    BusyQuestion& operator=(const BusyQuestion&) = delete;
    ~BusyQuestion();

  private:
    CAspiCD& m_drive;
};

inline constexpr const char16_t* kGivenUp =
    u"The drive was busy for so long that it was not waited for any longer. The disk is not "
    u"complete. Please switch the drive off and on before you use it again.";

// The text for a failed operation: `text`, or that the wait for the drive was given up.
const char16_t* UnlessGivenUp(const CAspiCD& drive, const char16_t* text);

} // namespace larkspin
