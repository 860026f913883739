#include "ui/qt/artwork.h"

#include <QWidget>

namespace larkspin {

namespace {

// Trays and window managers want pixels; these are the sizes they ask for.
QIcon Load(const QString& name) {
    const QIcon drawing(QStringLiteral(":/artwork/%1.svg").arg(name));
    QIcon icon;
    for (const int side : {16, 22, 24, 32, 48, 64, 128}) {
        icon.addPixmap(drawing.pixmap(QSize(side, side), 1.0));
    }
    return icon;
}

QPixmap LoadPicture(const QString& name, const QWidget& shownOn) {
    return QIcon(QStringLiteral(":/artwork/%1.svg").arg(name))
        .pixmap(QSize(kPictureSize, kPictureSize), shownOn.devicePixelRatioF());
}

QString PictureName(JobKind kind) {
    switch (kind) {
    case JobKind::Data:
        return QStringLiteral("data");
    case JobKind::Audio:
        return QStringLiteral("audio");
    case JobKind::Image:
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
