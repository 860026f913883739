// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What becomes of a drive that a job waits for and that does not get on: the user decides.
#pragma once

#include "drive/aspi_cd.h"
#include "ui/ccdwriter_ui.h"

namespace larkspin {

// Puts the drive's waits before the user (CAspiCD::SetBusyFunctor) until the object ends. A wait is
// given up only by a Yes, so that neither a Return too many nor a display that has gone ends a disc
// whose drive is merely slow. With nobody there, half an hour does.
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

// What a failed operation is told as: `text`, or that the drive was not waited for any longer.
const char16_t* UnlessGivenUp(const CAspiCD& drive, const char16_t* text);

} // namespace larkspin
