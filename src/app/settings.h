// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The program's options. The program only reads them; it does not offer a way to change them.
#pragma once

#include "platform/settings_store.h"

#include <cstdint>

namespace larkspin {

struct Settings {
    // Loads the settings. `store` must outlive the object.
    explicit Settings(ISettingsStore& store);

    // Sets every value to its default and overrides it with the stored one, if there is one of the
    // right type. Creates the program's key in a store without it. Reports no errors: if the store
    // can't be used, the values do not change.
    void Load();

    uint32_t BufferUnderrunProtection = 1;
    uint32_t WriteSpeedControl = 1;
    uint32_t BeepWhenDone = 0;      // a sound with the notification of a finished disc
    uint32_t GaplessAudioWrite = 1; // unused: audio discs are always gapless
    uint32_t ShowFileIcons = 1;
    uint32_t VerifyAfterWriting = 1; // a disc is read back unless the user unticks it

  private:
    ISettingsStore* m_pStore;
};

} // namespace larkspin
