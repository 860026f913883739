// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The program's own pictures. They are drawn as vectors. The build converts them to pixels inside
// the executable, so that no toolkit plug-in is needed. Main thread.
#pragma once

#include <QIcon>
#include <QPixmap>

#include "ui/ccdwriter_ui.h"

class QWidget;

namespace larkspin {

QIcon AppIcon();
QIcon TrayFrame(int frame); // 0 to 2
QIcon OkIcon();
QIcon CancelIcon();
QIcon HideIcon();
QIcon FolderIcon();
QIcon FileIcon();

// The width and height of a dialog's picture, in device independent pixels.
inline constexpr int kPictureSize = 100;

// A disc of that kind at rest, and the two pictures that alternate while a job works on one.
QPixmap Picture(JobKind kind, const QWidget& shownOn);
QPixmap WorkingPicture(JobKind kind, int frame, const QWidget& shownOn);

} // namespace larkspin
