// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "app/settings.h"
#include "platform/settings_store.h"

#include <array>

namespace larkspin {

namespace {

// Created in this order if they are missing; the second belongs to a sibling program.
constexpr std::array<const char*, 3> kNewKeys = {
    "Software\\Quernstone Development",
    "Software\\Quernstone Development\\Tunebarrow",
    kSettingsKey,
};

struct Row {
    const char* name;
    uint32_t Settings::*value;
    uint32_t defaultValue;
};

constexpr std::array<Row, 6> kRows = {{
    {"BufferUnderrunProtection", &Settings::BufferUnderrunProtection, 1},
    {"WriteSpeedControl", &Settings::WriteSpeedControl, 1},
    {"BeepWhenDone", &Settings::BeepWhenDone, 0},
    {"GaplessAudioWrite", &Settings::GaplessAudioWrite, 1},
    {kShowFileIconsValue, &Settings::ShowFileIcons, 1},
    {"VerifyAfterWriting", &Settings::VerifyAfterWriting, 1},
}};

} // namespace

Settings::Settings(ISettingsStore& store) : m_pStore(&store) {
    Load();
}

void Settings::Load() {
    if (!m_pStore->HasKey(kSettingsKey)) {
        for (const char* key : kNewKeys) {
            if (!m_pStore->CreateKey(key)) {
                return;
            }
        }
    }
    for (const Row& row : kRows) {
        this->*row.value = m_pStore->ReadNumber(kSettingsKey, row.name).value_or(row.defaultValue);
    }
}

} // namespace larkspin
