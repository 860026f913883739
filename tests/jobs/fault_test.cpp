// Every command of a job's road fails once, answers garbage once and times out once. Whatever the
// command, the job ends; the door is unlocked, its windows are gone; what it says is one of the
// texts of its road; and a disc that it did not complain about is whole.
#include "job_bench.h"

#include <map>
#include <set>

namespace larkspin {
namespace {

enum class Fault { Fails, FailsAfterwards, Garbage, TimesOut };

constexpr Fault kFaults[] = {Fault::Fails, Fault::FailsAfterwards, Fault::Garbage, Fault::TimesOut};

InjectedAnswer AnswerOf(Fault fault) {
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
    bool mayStayIdle = false; // a prompt that is cancelled leaves the program as it was
};

struct Outcome {
    uint64_t commands = 0;
    uint8_t faultedOpcode = 0;
    bool faultedUnlock = false;
    std::vector<std::u16string> texts;
};

Outcome RunRoad(const Road& road, std::optional<uint64_t> faultAt, Fault fault) {
    JobBench bench(road.kind);
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

TextsByOpcode WalkRoad(const Road& road) {
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

const FileBytes kNew = Payload(700'000, 2);

constexpr uint8_t kWrite = 0x2A;
constexpr uint8_t kCloseSession = 0x5B;
constexpr uint8_t kReadDiscInfo = 0x51;
constexpr uint8_t kSendCueSheet = 0x5D;

const std::vector<std::u16string> kDataCdTexts = {
    u"The disk is not suitable for writing.",
    u"Disk capacity is not enough",
    u"The disk in the drive is not blank and doesn't have enough space",
    u"The size of selected files exceeds disk capacity",
    u"Too much data for conventional CD-R/RW.",
    u"Stopped: ",
    u"Internal error #165.",
    u"Internal error #166.",
    u"Internal error #176.",
    u"Disk creation failed with following error:",
    u"The drive could not close the session.",
    // What the generator says of a previous session that it can't read.
    u"Cannot read disk.",
    u"Internal error",
};

TEST(Faults, DataOnABlankCd) {
    Road road;
    road.name = "data on a blank CD-R";
    road.prepare = [](JobBench& bench) { bench.host.queue = {bench.AddFile("new", kNew)}; };
    road.run = [](JobBench& bench) { return bench.RunData(); };
    road.isWhole = [](JobBench& bench) {
        return HoldsAtSector(bench.Track(), kNew) && bench.IsClosed();
    };
    road.texts = kDataCdTexts;
    const TextsByOpcode seen = WalkRoad(road);
    ASSERT_TRUE(seen.contains(kWrite));
    EXPECT_EQ(seen.at(kWrite), (std::set<std::string>{"Internal error #165."}));
    ASSERT_TRUE(seen.contains(kCloseSession));
    EXPECT_EQ(seen.at(kCloseSession), (std::set<std::string>{"The drive could not "}));
    ASSERT_TRUE(seen.contains(kReadDiscInfo));
    EXPECT_EQ(seen.at(kReadDiscInfo), (std::set<std::string>{"The disk is not suit"}));
}

TEST(Faults, DataThatNeedsPaddingOnACd) {
    Road road;
    road.name = "a short data track on a CD-R";
    const FileBytes little = Payload(1000, 3);
    road.prepare = [&](JobBench& bench) { bench.host.queue = {bench.AddFile("small", little)}; };
    road.run = [](JobBench& bench) { return bench.RunData(); };
    road.isWhole = [&](JobBench& bench) {
        return HoldsAtSector(bench.Track(), little) && bench.Track().size() == 300 * 2048 &&
               bench.IsClosed();
    };
    road.texts = kDataCdTexts;
    const TextsByOpcode seen = WalkRoad(road);
    ASSERT_TRUE(seen.contains(kWrite));
    EXPECT_EQ(seen.at(kWrite),
              (std::set<std::string>{"Internal error #165.", "Internal error #166."}));
}

TEST(Faults, ImageOnACd) {
    Road road;
    road.name = "an image on a CD-R";
    const FileBytes image = Payload(400 * 2048, 4);
    road.prepare = [&](JobBench& bench) { bench.AddFile("image", image); };
    road.run = [](JobBench& bench) {
        return bench.RunImage(ToWide((bench.Source() / "image").string()));
    };
    road.isWhole = [&](JobBench& bench) {
        return HoldsAtSector(bench.Track(), image) && bench.IsClosed();
    };
    road.texts = {u"The disk is not suitable for image burning.",
                  u"The disk in the drive is not blank.",
                  u"The disk type cannot be identified.",
                  u"The image size exceeds disk capacity",
                  u"Internal error #563.",
                  u"Internal error #565."};
    const TextsByOpcode seen = WalkRoad(road);
    ASSERT_TRUE(seen.contains(kSendCueSheet));
    EXPECT_EQ(seen.at(kSendCueSheet), (std::set<std::string>{"Internal error #563."}));
    ASSERT_TRUE(seen.contains(kWrite));
    EXPECT_EQ(seen.at(kWrite),
              (std::set<std::string>{"Internal error #563.", "Internal error #565."}))
        << "the pre-gap is part of the start";
}

TEST(Faults, AudioOnACd) {
    Road road;
    road.name = "audio on a CD-R";
    const FileBytes first = Payload(400 * 2352, 5);
    const FileBytes second = Payload(300 * 2352, 6);
    road.prepare = [&](JobBench& bench) {
        bench.host.queue = {bench.AddWav("1.wav", first), bench.AddWav("2.wav", second)};
    };
    road.run = [](JobBench& bench) { return bench.RunAudio(); };
    road.isWhole = [&](JobBench& bench) {
        return bench.AudioTrack(1) == first && bench.AudioTrack(2) == second && bench.IsClosed();
    };
    road.texts = {u"The disk is not suitable for creating audio disk.",
                  u"The disk in the drive is not blank.",
                  u"Creating DVD-Audio disks is not yet supported.",
                  u"The duration of selected audio files exceeds disk capacity",
                  u"Internal error #663.",
                  u"Internal error #965."};
    const TextsByOpcode seen = WalkRoad(road);
    ASSERT_TRUE(seen.contains(kWrite));
    EXPECT_EQ(seen.at(kWrite),
              (std::set<std::string>{"Internal error #663.", "Internal error #965."}));
}

TEST(Faults, EraseOfACdRw) {
    Road road;
    road.name = "erasing a CD-RW";
    road.kind = "cd-rw";
    road.prepare = [](JobBench& bench) {
        bench.Finalize();
        bench.drive.SetSpeed({.longOperationMs = 2000});
    };
    road.run = [](JobBench& bench) { return bench.RunErase(); };
    // A disc that refuses to be blanked shows as done: nothing tells the job.
    road.isWhole = [](JobBench&) { return true; };
    road.texts = {u"Cannot erase this disk in this drive."};
    road.mayStayIdle = true;
    WalkRoad(road);
}

} // namespace
} // namespace larkspin
