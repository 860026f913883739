// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "virtualdrive/fault_script.h"

#include "virtualdrive/script_text.h"
#include "virtualdrive/sense_data.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <istream>
#include <iterator>
#include <memory>
#include <utility>

namespace larkspin {

namespace {

constexpr uint64_t kMostTimes = 1'000'000;

// REQUEST SENSE, INQUIRY, GET CONFIGURATION, GET EVENT STATUS NOTIFICATION, REPORT LUNS: they
// report on a unit that can't be used, and don't fail with it (SPC, MMC).
bool IsAnsweredInAnyState(uint8_t opcode) {
    constexpr std::array<uint8_t, 5> kOpcodes = {0x03, 0x12, 0x46, 0x4A, 0xA0};
    return std::find(kOpcodes.begin(), kOpcodes.end(), opcode) != kOpcodes.end();
}

// A rule on its way.
class RunningRule {
  public:
    explicit RunningRule(FaultRule rule) : m_rule(std::move(rule)) {}

    // Called for every command in order. False if this rule does not affect it.
    bool Meets(uint8_t opcode) {
        const bool isOfKind = !m_rule.opcode || *m_rule.opcode == opcode;
        if (!m_hasBegun) {
            m_hasBegun = isOfKind && ++m_seen == m_rule.nth;
            return m_hasBegun && !m_rule.answers.empty();
        }
        if (m_next >= m_rule.answers.size()) {
            return false;
        }
        return m_rule.anyThen ? !IsAnsweredInAnyState(opcode) : isOfKind;
    }
    std::optional<InjectedAnswer> Take() {
        const bool stays = m_rule.forEver && m_next + 1 == m_rule.answers.size();
        return m_rule.answers[stays ? m_next : m_next++];
    }

  private:
    FaultRule m_rule;
    uint64_t m_seen = 0;
    size_t m_next = 0;
    bool m_hasBegun = false;
};

// "28@2:" or "*@40>".
bool ParseHead(std::string_view text, FaultRule* rule) {
    if (text.starts_with("*@")) {
        text.remove_prefix(2);
    } else {
        uint8_t opcode = 0;
        if (!TakeNumber(text, kHex, 0xFF, '@', &opcode)) {
            return false;
        }
        rule->opcode = opcode;
    }
    if (!TakeNumber(text, kDecimal, UINT64_MAX, 0, &rule->nth) || rule->nth == 0) {
        return false;
    }
    rule->anyThen = text == ">";
    return text == ">" || text == ":";
}

bool ParseSense(std::string_view text, InjectedAnswer* answer) {
    const bool runFirst = text.starts_with('+');
    if (runFirst) {
        text.remove_prefix(1);
    }
    SenseCode code;
    if (!TakeNumber(text, kHex, 0x0F, '/', &code.key) ||
        !TakeNumber(text, kHex, 0xFF, '/', &code.asc) ||
        !TakeNumber(text, kHex, 0xFF, 0, &code.ascq) || !text.empty() || code.IsGood()) {
        return false;
    }
    *answer = SenseAnswer(code, runFirst);
    return true;
}

bool ParseAnswer(std::string_view text, FaultRule* rule) {
    if (rule->forEver) {
        return false; // nothing comes after it
    }
    uint64_t times = 1;
    if (const size_t star = text.find('*'); star != std::string_view::npos) {
        std::string_view count = text.substr(star + 1);
        rule->forEver = count.empty();
        if (!rule->forEver &&
            (!TakeNumber(count, kDecimal, kMostTimes, 0, &times) || !count.empty())) {
            return false;
        }
        text = text.substr(0, star);
    }
    std::optional<InjectedAnswer> answer = InjectedAnswer();
    if (text == "timeout") {
        answer = TimeOutAnswer();
    } else if (text == "gone") {
        answer = DriveGoneAnswer();
    } else if (text == "garbage") {
        answer->garbageData = answer->runCommandFirst = true;
    } else if (text == "pass") {
        answer.reset();
    } else if (!ParseSense(text, &*answer)) {
        return false;
    }
    rule->answers.insert(rule->answers.end(), times, answer);
    return true;
}

} // namespace

InjectedAnswer SenseAnswer(const SenseCode& code, bool runCommandFirst) {
    InjectedAnswer answer;
    answer.completion = SenseCompletion(code, std::nullopt);
    answer.runCommandFirst = runCommandFirst;
    return answer;
}

InjectedAnswer TimeOutAnswer() {
    InjectedAnswer answer;
    answer.completion.error = PortError::TimedOut;
    answer.resetsDrive = true;
    return answer;
}

InjectedAnswer DriveGoneAnswer() {
    InjectedAnswer answer;
    answer.completion.error = PortError::InvalidHandle;
    return answer;
}

VirtualDrive::Script MakeScript(std::vector<FaultRule> rules) {
    // The drive copies its script, but the state of the rules must be shared.
    auto running = std::make_shared<std::vector<RunningRule>>();
    for (FaultRule& rule : rules) {
        running->emplace_back(std::move(rule));
    }
    return [running](const PortRequest& request, uint64_t) -> std::optional<InjectedAnswer> {
        RunningRule* first = nullptr;
        for (RunningRule& rule : *running) {
            if (rule.Meets(request.cdb[0]) && first == nullptr) {
                first = &rule;
            }
        }
        return first != nullptr ? first->Take() : std::nullopt;
    };
}

bool ParseFaults(std::string_view text, std::vector<FaultRule>* rules, std::string* problem) {
    return ParseRules(text, problem, [rules](std::string& word, std::istream& words) {
        FaultRule rule;
        bool isRule = ParseHead(word, &rule);
        while (isRule && words >> word) {
            isRule = ParseAnswer(word, &rule);
        }
        if (!isRule || rule.answers.empty()) {
            return false;
        }
        rules->push_back(std::move(rule));
        return true;
    });
}

bool LoadFaults(VirtualDrive& drive, const std::string& path, std::string* problem) {
    std::ifstream file(path, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (!file) {
        *problem = "it cannot be read";
        return false;
    }
    std::vector<FaultRule> rules;
    if (!ParseFaults(text, &rules, problem)) {
        return false;
    }
    drive.SetScript(MakeScript(std::move(rules)));
    return true;
}

} // namespace larkspin
