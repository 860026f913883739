// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/qt/artwork.h"

#include <QWidget>

namespace larkspin {

namespace {

// A drawing as pixels, in the sizes that the build has produced.
QPixmap LoadPixels(const QString& name, int side) {
    return QPixmap(QStringLiteral(":/artwork/%1_%2.png").arg(name).arg(side));
}

QIcon Load(const QString& name) {
    QIcon icon;
    for (const int side : {16, 22, 24, 32, 48, 64, 128, 256}) {
        icon.addPixmap(LoadPixels(name, side));
    }
    return icon;
}

QPixmap LoadPicture(const QString& name, const QWidget& shownOn) {
    QIcon sizes;
    for (const int scale : {1, 2, 3}) {
        sizes.addPixmap(LoadPixels(name, scale * kPictureSize));
    }
    return sizes.pixmap(QSize(kPictureSize, kPictureSize), shownOn.devicePixelRatioF());
}

QString PictureName(JobKind kind) {
    switch (kind) {
    case JobKind::Data:
        return QStringLiteral("data");
    case JobKind::Audio:
        return QStringLiteral("audio");
    case JobKind::Image:
    case JobKind::Verify:
        return QStringLiteral("image");
    case JobKind::Erase:
        return QStringLiteral("erase");
    }
    return {};
}

} // namespace

QIcon AppIcon() {
    return Load(QStringLiteral("app"));
}
QIcon TrayFrame(int frame) {
    return Load(QStringLiteral("tray_%1").arg(frame));
}
QIcon OkIcon() {
    return Load(QStringLiteral("ok"));
}
QIcon CancelIcon() {
    return Load(QStringLiteral("cancel"));
}
QIcon HideIcon() {
    return Load(QStringLiteral("hide"));
}
QIcon FolderIcon() {
    return Load(QStringLiteral("folder"));
}
QIcon FileIcon() {
    return Load(QStringLiteral("file"));
}

QPixmap Picture(JobKind kind, const QWidget& shownOn) {
    return LoadPicture(PictureName(kind), shownOn);
}

QPixmap WorkingPicture(JobKind kind, int frame, const QWidget& shownOn) {
    return LoadPicture(QStringLiteral("%1_%2").arg(PictureName(kind)).arg(frame), shownOn);
}

} // namespace larkspin
