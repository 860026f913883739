// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The program's options. The program only reads them; somebody else sets them.
#pragma once

#include "platform/settings_store.h"

#include <cstdint>

namespace larkspin {

struct Settings {
    // Loads. `store` must outlive the record.
    explicit Settings(ISettingsStore& store);

    // Sets every value to its default and reads the stored one over it; one that is missing or of
    // another type keeps the default. A store without the program's key gets it. Nothing is
    // reported: a store that can't be used leaves the record as it was.
    void Load();

    uint32_t BufferUnderrunProtection = 1;
    uint32_t WriteSpeedControl = 1;
    uint32_t BeepWhenDone = 0;      // a sound with the notice of a finished disc
    uint32_t GaplessAudioWrite = 1; // nothing depends on it: audio discs are always gapless
    uint32_t ShowFileIcons = 1;
    uint32_t VerifyAfterWriting = 1; // a disc is read back unless the user unticks it

  private:
    ISettingsStore* m_pStore;
};

} // namespace larkspin
