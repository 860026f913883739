// Every command of a job's road fails once, answers garbage once and times out once. Whatever the
// command, the job ends; the door is unlocked, its windows are gone; what it says is one of the
// texts of its road; and a disc that it did not complain about is whole.
#pragma once

#include "job_bench.h"

#include <map>
#include <set>

namespace larkspin {

enum class Fault { Fails, FailsAfterwards, Garbage, TimesOut };

inline constexpr Fault kFaults[] = {Fault::Fails, Fault::FailsAfterwards, Fault::Garbage,
                                    Fault::TimesOut};

inline InjectedAnswer AnswerOf(Fault fault) {
    switch (fault) {
    case Fault::Fails:
        return FailWith(4, 0x44, 0); // HARDWARE ERROR, INTERNAL TARGET FAILURE
    case Fault::FailsAfterwards: {
        InjectedAnswer answer = FailWith(4, 0x44, 0);
        answer.runCommandFirst = true;
        return answer;
    }
    case Fault::Garbage: {
        InjectedAnswer answer;
        answer.runCommandFirst = true;
        answer.garbageData = true;
        return answer;
    }
    case Fault::TimesOut:
        break;
    }
    return TimeOut();
}

// What the generator says of a previous session that it can't read or understand.
inline const std::vector<std::u16string> kMergeTexts = {
    u"Cannot read disk.", u"Unable to find previous session.", u"Cannot merge previous session.",
    u"Previous session has ", u"Cannot parse Rock Ridge attributes for "};

// What one kind of job does, and how its disc is judged.
struct Road {
    const char* name;
    // Sets the bench up, up to the job.
    std::function<void(JobBench&)> prepare;
    std::function<JobEnd(JobBench&)> run;
    // What is on the disc is what was to be written.
    std::function<bool(JobBench&)> isWhole;
    // Beginnings of the texts that the road may show.
    std::vector<std::u16string> texts;
    std::string kind = "cd-r";
    uint32_t capacity = 0;    // blocks; 0 for the usual ones
    bool mayStayIdle = false; // a prompt that is cancelled leaves the program as it was
};

struct Outcome {
    uint64_t commands = 0;
    uint8_t faultedOpcode = 0;
    bool faultedUnlock = false;
    std::vector<std::u16string> texts;
};

inline Outcome RunRoad(const Road& road, std::optional<uint64_t> faultAt, Fault fault) {
    JobBench bench(road.kind, road.capacity);
    road.prepare(bench);
    Outcome outcome;
    const uint64_t first = bench.drive.CommandCount();
    bench.drive.SetScript(
        [&](const PortRequest& request, uint64_t number) -> std::optional<InjectedAnswer> {
            if (!faultAt || number - first != *faultAt) {
                return std::nullopt;
            }
            outcome.faultedOpcode = request.cdb[0];
            outcome.faultedUnlock = request.cdb[0] == 0x1E && request.cdb[4] == 0;
            return AnswerOf(fault);
        });
    const JobEnd end = road.run(bench);
    outcome.commands = bench.drive.CommandCount() - first;
    bench.drive.SetScript(nullptr);
    outcome.texts = bench.ui.Texts();

    EXPECT_TRUE(end == JobEnd::Exit || (road.mayStayIdle && !outcome.texts.empty()));
    EXPECT_TRUE(!bench.drive.IsDoorLocked() || outcome.faultedUnlock);
    EXPECT_LE(bench.clock.TotalSleep(), 600'000) << "ten minutes at most, in the drive's time";
    for (const std::u16string& text : outcome.texts) {
        EXPECT_TRUE(
            std::any_of(road.texts.begin(), road.texts.end(),
                        [&](const std::u16string& begin) { return text.starts_with(begin); }))
            << "a text that is none of this road: " << ToNative(text);
    }
    if (outcome.texts.empty()) {
        EXPECT_TRUE(road.isWhole(bench)) << "the disc is not whole, and nobody was told";
    }
    return outcome;
}

// Texts by the operation code whose fault brought them up.
using TextsByOpcode = std::map<uint8_t, std::set<std::string>>;

inline TextsByOpcode WalkRoad(const Road& road) {
    const Outcome good = RunRoad(road, std::nullopt, Fault::Fails);
    EXPECT_TRUE(good.texts.empty()) << ToNative(good.texts.front());
    EXPECT_GT(good.commands, 20U);
    TextsByOpcode seen;
    for (uint64_t number = 0; number < good.commands; ++number) {
        for (const Fault fault : kFaults) {
            SCOPED_TRACE(Format("%s, command %d, fault %d", road.name, static_cast<int>(number),
                                static_cast<int>(fault)));
            const Outcome outcome = RunRoad(road, number, fault);
            for (const std::u16string& text : outcome.texts) {
                if (fault != Fault::Garbage) {
                    seen[outcome.faultedOpcode].insert(ToNative(text.substr(0, 20)));
                }
            }
        }
    }
    return seen;
}

} // namespace larkspin
