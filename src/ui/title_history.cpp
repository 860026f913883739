// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/title_history.h"

#include "platform/settings_store.h"

#include <algorithm>
#include <boost/lexical_cast.hpp>

namespace larkspin {

namespace {

std::string ValueName(size_t index) {
    return boost::lexical_cast<std::string>(index);
}

} // namespace

void CAutoCompletionList::Load(ISettingsStore& store) {
    m_titles.clear();
    if (!store.HasKey(kTitlesKey)) {
        store.CreateKey(kTitlesKey);
        return;
    }
    for (size_t i = 0; i < kMaxTitles; ++i) {
        const auto title = store.ReadText(kTitlesKey, ValueName(i));
        if (!title) {
            break;
        }
        m_titles.push_back(title->substr(0, kTitleLimit));
    }
}

void CAutoCompletionList::Add(const std::u16string& title) {
    if (title.empty() || std::find(m_titles.begin(), m_titles.end(), title) != m_titles.end()) {
        return;
    }
    m_titles.push_back(title);
    while (m_titles.size() > kMaxTitles) {
        m_titles.pop_front();
    }
}

void CAutoCompletionList::Store(ISettingsStore& store) const {
    if (!store.CreateKey(kTitlesKey)) {
        return;
    }
    size_t index = 0;
    for (const std::u16string& title : m_titles) {
        store.WriteText(kTitlesKey, ValueName(index), title);
        ++index;
    }
}

} // namespace larkspin
