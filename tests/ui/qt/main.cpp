// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Windows need an application object, and no screen.
#include <QApplication>

#include <gtest/gtest.h>

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    qputenv("QT_QPA_PLATFORM", "offscreen");
    // No balloons on the desktop of whoever runs the tests.
    qputenv("DBUS_SESSION_BUS_ADDRESS", "disabled:");
    const QApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
