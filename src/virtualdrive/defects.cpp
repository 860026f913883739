// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "virtualdrive/defects.h"

#include "virtualdrive/cd_limits.h"
#include "virtualdrive/script_text.h"

#include <algorithm>
#include <fstream>
#include <istream>
#include <iterator>
#include <system_error>

#include <filesystem>

namespace larkspin {

bool CDefects::Load(const std::string& folder, std::string* problem) {
    m_rules.clear();
    const std::string path = folder + "/" + kDefectsName;
    std::error_code error;
    if (!std::filesystem::exists(path, error) && !error) {
        return true;
    }
    std::ifstream file(path, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (!file) {
        *problem = "it cannot be read";
        return false;
    }
    return ParseRules(text, problem, [this](std::string& word, std::istream& words) {
        Rule rule;
        const bool isRule =
            ParseBlocks(word, &rule) && words >> word && ParseKind(word, &rule) && !(words >> word);
        m_rules.push_back(rule);
        return isRule;
    });
}

// "100:" or "100-199:".
bool CDefects::ParseBlocks(std::string_view text, Rule* rule) {
    constexpr uint64_t kMostBlocks = 0x1000'0000;
    if (!TakeNumber(text, kDecimal, kMostBlocks, 0, &rule->first)) {
        return false;
    }
    rule->last = rule->first;
    if (text.starts_with('-')) {
        text.remove_prefix(1);
        if (!TakeNumber(text, kDecimal, kMostBlocks, 0, &rule->last)) {
            return false;
        }
    }
    return text == ":" && rule->first <= rule->last;
}

// A name, some with "=" and a number, and "@" and a number for a single read.
bool CDefects::ParseKind(std::string_view text, Rule* rule) {
    constexpr uint64_t kMostMs = 600'000;
    const size_t at = text.find('@');
    if (at != std::string_view::npos) {
        std::string_view count = text.substr(at + 1);
        if (!TakeNumber(count, kDecimal, UINT64_MAX, 0, &rule->onlyAt) || !count.empty() ||
            rule->onlyAt == 0) {
            return false;
        }
        text = text.substr(0, at);
    }
    const size_t equals = text.find('=');
    const std::string_view name = text.substr(0, equals);
    rule->kind = name == "flip"   ? Kind::Flip
                 : name == "lost" ? Kind::Lost
                 : name == "slow" ? Kind::Slow
                                  : Kind::Unreadable;
    if (rule->kind == Kind::Lost) {
        return text == "lost" && rule->onlyAt == 0;
    }
    if (rule->kind == Kind::Unreadable) {
        return text == "unreadable";
    }
    std::string_view number = text.substr(std::min(equals, text.size() - 1) + 1);
    const uint64_t most = rule->kind == Kind::Flip ? kAudioBlockBytes * 8 - 1 : kMostMs;
    return TakeNumber(number, kDecimal, most, 0, &rule->value) && number.empty();
}

SenseCode CDefects::Read(int32_t block, std::span<uint8_t> data, size_t blockBytes,
                         uint64_t* waitMs) {
    const int32_t end = block + static_cast<int32_t>(data.size() / blockBytes);
    SenseCode code;
    for (Rule& rule : m_rules) {
        const int32_t first = std::max(rule.first, block);
        const int32_t behind = std::min(rule.last + 1, end);
        if (first >= behind) {
            continue;
        }
        ++rule.reads;
        if (rule.onlyAt != 0 && rule.reads != rule.onlyAt) {
            continue;
        }
        if (rule.kind == Kind::Unreadable) {
            code = sense::kUnrecoveredRead;
        }
        if (rule.kind == Kind::Slow) {
            *waitMs += uint64_t{rule.value} * static_cast<uint32_t>(behind - first);
        }
        const size_t byte = rule.value / 8;
        for (int32_t i = first; rule.kind == Kind::Flip && byte < blockBytes && i < behind; ++i) {
            data[static_cast<size_t>(i - block) * blockBytes + byte] ^=
                static_cast<uint8_t>(1U << (rule.value % 8));
        }
    }
    return code;
}

bool CDefects::IsLost(int32_t block) const {
    return std::any_of(m_rules.begin(), m_rules.end(), [block](const Rule& rule) {
        return rule.kind == Kind::Lost && rule.first <= block && block <= rule.last;
    });
}

} // namespace larkspin
