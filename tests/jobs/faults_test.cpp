// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Every command of a job's road fails once: with and without having been run, with garbage for an
// answer, by a time-out, for want of memory; and as hardware fails, which says something else next:
// that it was reset and is becoming ready, that a write takes long, that the medium has changed, or
// nothing ever again. It comes together with the wish to leave the program. And all of them bring
// recovered errors. Whatever the command, the job ends;
// the door is unlocked, its windows are gone; what it says is one of the texts of its road; a disc
// that it did not complain about is whole; what was on the disc before is still there; and a write
// that failed leaves no session of a DVD open.
#include "job_bench.h"
#include "jobs/job_frame.h"
#include "virtualdrive/fault_script.h"

#include <set>

namespace larkspin {
namespace {

const std::u16string kErase = u"The disk in the drive is not blank";
constexpr const char16_t* kNoMemory = u"Out of memory";

// What becomes of a command, and of those behind it.
struct Trouble {
    std::string name;
    InjectedAnswer first = {};
    std::vector<std::optional<InjectedAnswer>> then = {};
    bool isForEver = false;
    bool isNoMemory = false;
    bool isLeaving = false;  // no fault: the program is to end
    bool isDeferred = false; // blocks that the drive had taken before are lost
    size_t every = 0;        // at each command whose number this divides, and only `first`

    bool IsGarbage() const { return first.garbageData; }
};

InjectedAnswer NoAnswer(bool resets) {
    InjectedAnswer answer = TimeOutAnswer();
    answer.resetsDrive = resets;
    return answer;
}

InjectedAnswer Garbage() {
    InjectedAnswer answer;
    answer.runCommandFirst = answer.garbageData = true;
    return answer;
}

// News of an earlier command, in the place of the one that brings it.
InjectedAnswer Deferred(const SenseCode& code) {
    InjectedAnswer answer = SenseAnswer(code);
    answer.completion.sense[0] = 0x71;
    return answer;
}

constexpr SenseCode kTargetFailure = {4, 0x44, 0};

std::vector<Trouble> SingleTroubles() {
    return {{"fails", SenseAnswer(kTargetFailure)},
            {"fails afterwards", SenseAnswer(kTargetFailure, true)},
            {"times out", NoAnswer(false)},
            {"garbage", Garbage()},
            {.name = "no memory", .isNoMemory = true},
            {.name = "leaves", .isLeaving = true},
            {.name = "lost blocks", .first = Deferred({3, 0x0C, 0}), .isDeferred = true}};
}

// Each way to fail with each thing that hardware says next.
std::vector<Trouble> PairedTroubles() {
    InjectedAnswer late = TimeOutAnswer();
    late.runCommandFirst = true;
    const std::pair<const char*, InjectedAnswer> firsts[] = {
        {"times out", TimeOutAnswer()},
        {"is run, and times out", late},
        {"3/11/05", SenseAnswer(sense::kUnrecoveredRead)},
        {"3/0C/00", SenseAnswer(sense::kWriteError)},
        {"5/30/05", SenseAnswer(sense::kCannotWriteIncompatibleMedium)},
    };
    std::vector<Trouble> troubles;
    for (const auto& [name, first] : firsts) {
        Trouble reset{std::string(name) + ", reset", first};
        reset.first.resetsDrive = true;
        Trouble alone{name, first};
        alone.first.resetsDrive = false;
        const auto add = [&](const char* next, const InjectedAnswer& answer, size_t times) {
            troubles.push_back(alone);
            troubles.back().name.append(next);
            troubles.back().then.assign(times, answer);
            troubles.back().isForEver = times == 1 && answer.completion.status == 0;
        };
        troubles.push_back(reset);
        add(", long write", SenseAnswer(sense::kLongWriteInProgress), 3);
        add(", new medium", SenseAnswer(sense::kMediumMayHaveChanged), 1);
        add(", gone", DriveGoneAnswer(), 1);
    }
    return troubles;
}

// What one kind of job does on one kind of disc, and how the disc is judged.
struct Road {
    std::string name;
    std::string kind;
    std::function<void(JobBench&)> prepare; // the bench, up to the job
    std::function<JobEnd(JobBench&)> run;
    // What is on the disc is what was to be written.
    std::function<bool(JobBench&)> isWhole;
    // What was on it before is still there; null where nothing is to be kept.
    std::function<bool(JobBench&)> isKept;
    Texts texts;     // beginnings of what the road may say
    Texts questions; // beginnings of what it may ask; the user says Yes
    Texts reasons;   // beginnings of what says nothing of the disc
    // All that a fault in the command with this operation code may bring up, garbage aside.
    std::map<uint8_t, std::set<std::u16string>> expected;
    bool mayStayIdle = false; // a prompt that is cancelled leaves the program as it was
    uint32_t capacity = 0;    // blocks; 0 for the usual ones
    uint32_t longOperationMs = 0;
};

void PrintTo(const Road& road, std::ostream* out) {
    *out << road.name;
}

bool BeginsWithOneOf(const std::u16string& text, const Texts& beginnings) {
    return std::any_of(beginnings.begin(), beginnings.end(), [&](const std::u16string& beginning) {
        return text.starts_with(beginning);
    });
}

std::string AllOf(const Texts& texts) {
    std::string all;
    for (const std::u16string& text : texts) {
        all.append("\n- ").append(ToNative(text));
    }
    return all;
}

bool ChangesDisc(uint8_t opcode) {
    return opcode == mmc::kWrite10 || opcode == mmc::kBlank || opcode == mmc::kFormatUnit ||
           opcode == mmc::kReserveTrack;
}

struct Outcome {
    std::vector<uint8_t> commands; // operation codes
    bool hasTouched = false;       // something on the disc was changed
    bool hasWritten = false;
    bool isLate = false; // what the job is about was done before the faulted command
    uint8_t faultedOpcode = 0;
    bool isUnlock = false; // the faulted command
    Texts texts;           // questions aside
};

// The job, with trouble at its command of that number, from 0; without any if there is none.
Outcome RunRoad(const Road& road, std::optional<size_t> at, const Trouble& trouble) {
    JobBench bench(road.kind, road.capacity);
    road.prepare(bench);
    bench.drive.SetSpeed({.longOperationMs = road.longOperationMs, .spinUpMs = 3000});
    bench.ui.onBox = [&](const FakeUi::Box& box) {
        return box.buttons == BoxButtons::Ok || BeginsWithOneOf(box.text, road.questions);
    };
    FaultRule rule;
    rule.nth = at.value_or(0) + 1;
    rule.anyThen = true;
    rule.forEver = trouble.isForEver;
    rule.answers = {trouble.first};
    rule.answers.insert(rule.answers.end(), trouble.then.begin(), trouble.then.end());
    const VirtualDrive::Script script =
        MakeScript(at ? std::vector<FaultRule>{rule} : std::vector<FaultRule>());
    Outcome outcome;
    const int clears = bench.host.clears;
    const bool hasQueue = !bench.host.queue.empty();
    bench.onCommand = [&](const PortRequest& request) -> std::optional<InjectedAnswer> {
        const size_t number = outcome.commands.size();
        outcome.commands.push_back(request.cdb[0]);
        const bool changed = outcome.hasTouched;
        const bool written = outcome.hasWritten || (changed && road.reasons == Texts{kErasedText});
        outcome.hasTouched = changed || ChangesDisc(request.cdb[0]);
        outcome.hasWritten = outcome.hasWritten || request.cdb[0] == mmc::kWrite10;
        if (trouble.isLeaving) {
            EXPECT_TRUE(!bench.host.leaving || changed || !ChangesDisc(request.cdb[0]))
                << "operation code " << int{request.cdb[0]} << " when the program was to end";
            bench.host.leaving = bench.host.leaving || number == at;
            return std::nullopt;
        }
        if (trouble.every != 0) {
            return number % trouble.every == 0 ? std::optional(trouble.first) : std::nullopt;
        }
        const bool isUnlock =
            request.cdb[0] == mmc::kPreventAllowMediumRemoval && request.cdb[4] == 0;
        if (number == at) {
            outcome.faultedOpcode = request.cdb[0];
            outcome.isLate = written;
            outcome.isUnlock = isUnlock;
            if (trouble.isNoMemory) {
                throw std::bad_alloc();
            }
        }
        const std::optional<InjectedAnswer> answer = script(request, number);
        bench.mayStayLocked = bench.mayStayLocked || (answer && isUnlock);
        return answer;
    };
    const JobEnd end = road.run(bench);
    bench.onCommand = nullptr;
    bench.drive.SetSpeed({});
    EXPECT_EQ(bench.host.clears - clears, hasQueue && outcome.hasWritten ? 1 : 0)
        << "paths leave the queue with the first block";
    for (const std::u16string& text : bench.ui.Texts()) {
        if (!BeginsWithOneOf(text, road.questions) && !BeginsWithOneOf(text, road.reasons)) {
            const bool isMemory = trouble.isNoMemory && text == kNoMemory;
            EXPECT_TRUE(isMemory || BeginsWithOneOf(text, road.texts))
                << "no text of this road: " << ToNative(text);
            outcome.texts.push_back(text);
        }
    }
    const bool isEraseAlone = road.questions == Texts{kErase} && !outcome.hasWritten;
    if (trouble.isLeaving && (!outcome.hasTouched || isEraseAlone)) {
        EXPECT_TRUE(outcome.texts.empty()) << ToNative(outcome.texts.front());
        return outcome;
    }
    EXPECT_TRUE(end == JobEnd::Exit || (road.mayStayIdle && !outcome.texts.empty()));
    SCOPED_TRACE(Format("operation code %d", int{outcome.faultedOpcode}));
    EXPECT_TRUE(!trouble.isNoMemory || outcome.isUnlock || !outcome.texts.empty());
    EXPECT_LE(bench.clock.TotalSleep(), 1'200'000) << "twenty minutes, in the drive's time";
    EXPECT_LE(outcome.commands.size(), 5000U);
    EXPECT_TRUE(!trouble.isDeferred || !outcome.isLate || !outcome.texts.empty())
        << "blocks were lost, and nobody was told";
    // A drive that lies about what is on its disc is beyond help.
    EXPECT_TRUE(!road.isKept || trouble.IsGarbage() || road.isKept(bench))
        << "old data is gone; said was: " << AllOf(outcome.texts);
    const bool isSuccess = !bench.host.successes.empty();
    if (outcome.texts.empty() || isSuccess) {
        EXPECT_TRUE(road.isWhole(bench)) << "the disc is not whole, and nobody was told";
    }
    EXPECT_TRUE(trouble.isLeaving || isSuccess || !outcome.texts.empty()) << "nothing was told";
    if (trouble.name == "fails" && outcome.faultedOpcode == mmc::kWrite10 &&
        !road.kind.starts_with("cd")) {
        // Two layers of the plus family: the failure leaves nothing marked as written, so that
        // nothing is closed.
        constexpr int kSessionOpen = 0x04;
        EXPECT_TRUE((bench.DiscStatus() & 0x0C) != kSessionOpen || road.kind == "dvd+r-dl");
    }
    return outcome;
}

class Faults : public testing::TestWithParam<Road> {};

TEST_P(Faults, EachCommandOnce) {
    const Road& road = GetParam();
    const std::vector<Trouble> singles = SingleTroubles();
    const std::vector<Trouble> pairs = PairedTroubles();
    const Outcome good = RunRoad(road, std::nullopt, singles.front());
    EXPECT_TRUE(good.texts.empty()) << ToNative(good.texts.front());
    ASSERT_GT(good.commands.size(), 20U);
    std::map<uint8_t, std::set<std::u16string>> seen;
    // Where in the list of pairs a road begins differs from road to road.
    size_t pair = std::hash<std::string>()(road.name);
    for (size_t number = 0; number < good.commands.size(); ++number) {
        // Of many equal commands in a row the first and the last one stand for all.
        if (number > 0 && number + 1 < good.commands.size() &&
            good.commands[number - 1] == good.commands[number] &&
            good.commands[number + 1] == good.commands[number]) {
            continue;
        }
        const auto run = [&](const Trouble& trouble) {
            SCOPED_TRACE(Format("command %zu: %s", number, trouble.name.c_str()));
            return RunRoad(road, number, trouble);
        };
        for (const Trouble& trouble : {singles[0], singles[1], singles[2]}) {
            const Outcome outcome = run(trouble);
            seen[outcome.faultedOpcode].insert(outcome.texts.begin(), outcome.texts.end());
        }
        // One of those that nothing is expected of, and one pair, by turns.
        run(singles[3 + pair % 4]);
        run(pairs[pair++ % pairs.size()]);
    }
    for (const auto& [opcode, texts] : road.expected) {
        EXPECT_EQ(seen[opcode], texts) << "operation code " << int{opcode};
    }
}

TEST_P(Faults, RecoveredErrorsAreNone) {
    Trouble recovered = {"recovered", SenseAnswer({1, 0x73, 1}, true)};
    recovered.every = 1;
    recovered.first.unlessItFails = true;
    const Trouble news = {.name = "news", .first = Deferred({1, 0x73, 1}), .every = 2};
    for (const Trouble& trouble : {recovered, news}) {
        SCOPED_TRACE(trouble.every);
        EXPECT_EQ(RunRoad(GetParam(), std::nullopt, trouble).texts, Texts{});
    }
}

// --- the roads ---

const Bytes kNew = Payload(150'000, 2);
const Bytes kLong = Payload(700'000, 2);
const Bytes kLittle = Payload(1000, 3);
const Bytes kOld = Payload(70'000, 4);
const Bytes kFirstSong = Payload(400 * 2352, 6);
const Bytes kSecondSong = Payload(300 * 2352, 7);

const std::u16string kNotSuitable =
    u"The disk is not suitable for writing. It is finalized or doesn't have enough free space and "
    u"cannot be erased.\n\nPlease insert another disk and press \"OK\".";
const std::u16string kNotClosed =
    u"The drive could not close the session. The disk may not be readable in other drives.";
const std::u16string kNoLeadOut =
    u"The drive could not write the lead-out. The disk may not be readable in other drives.";
const std::u16string k165 = u"Internal error #165. Writing process failed. Process aborted.";
const std::u16string k166 = u"Internal error #166. Writing process failed. Process aborted.";
const std::u16string k176 = u"Internal error #176.";
const std::u16string k563 = u"Internal error #563. Unable to initiate recording.";
const std::u16string k565 = u"Internal error #565. Writing process failed. Process aborted.";
const std::u16string k663 = u"Internal error #663. Unable to initiate recording.";
const std::u16string k965 = u"Internal error #965. Writing failed. Process aborted.";

// The last five are what the generator says of a session that it can't read or understand.
// What may follow on a text that says that the recording has ended.
const Texts kReasons = {u"The drive reports a failure of its own.",
                        u"The drive did not answer.",
                        u"The drive cannot write to the disk without errors.",
                        u"The drive takes no data at this place of the disk.",
                        u"The drive does not take this disk for what was to be done.",
                        u"The drive is still busy with the disk.",
                        u"The disk was taken out or changed meanwhile.",
                        u"The drive was reset.",
                        u"The drive answered with error "};
const std::u16string kNotEmpty = u"The disk is not empty.";
const std::u16string kMaybeEmpty = u"Larkspin could not find out whether the disk is empty.";

const std::u16string kNotGotReady = u"The drive has not got the disk ready for a minute.";

const Texts kDataTexts = {kNotSuitable,
                          kCacheLost,
                          kNotStopped,
                          kNotEmpty,
                          kMaybeEmpty,
                          kNotClosed,
                          k165,
                          k166,
                          kErase,
                          kNotGotReady,
                          u"The drive cannot read what is on the disk.",
                          u"The last session on the disk is not finished",
                          u"The drive does not take the settings for a disk that files can be",
                          u"Not everything that you have picked can be written as it is.",
                          u"The drive could not close the session that was interrupted",
                          u"The disk holds something that files cannot be added to",
                          u"Disk capacity is not enough",
                          u"The size of selected files exceeds disk capacity",
                          u"Too much data for conventional CD-R/RW.",
                          u"Disk creation failed with following error:",
                          k176,
                          u"Stopped: ",
                          u"Cannot read disk.",
                          u"Unable to find previous session.",
                          u"Cannot merge previous session.",
                          u"Previous session has ",
                          u"Cannot parse Rock Ridge attributes for "};
const Texts kImageTexts = {kNotGotReady,
                           u"The disk is not suitable for image burning.",
                           u"The disk type cannot be identified.",
                           u"The image size exceeds disk capacity",
                           u"Stopped: ",
                           kErase,
                           kCacheLost,
                           kNotStopped,
                           k563,
                           k565,
                           kNoLeadOut,
                           kNotClosed};

bool IsOpenCd(JobBench& bench) {
    return bench.kind.starts_with("cd-") && !bench.IsClosed();
}

// A data job for one new file.
Road DataRoad(const std::string& name, const std::string& kind, const Bytes& file) {
    Road road;
    road.name = name;
    road.kind = kind;
    road.prepare = [&file](JobBench& bench) { bench.host.queue = {bench.AddFile("new", file)}; };
    road.run = [](JobBench& bench) { return bench.RunData(); };
    // Whichever track it came to.
    road.isWhole = [&file](JobBench& bench) {
        return (Holds(bench.Track(1), file) || Holds(bench.Track(2), file)) && !IsOpenCd(bench);
    };
    road.texts = kDataTexts;
    road.reasons = kReasons;
    road.mayStayIdle = true; // a list of what is left out is refused
    return road;
}

// Another job goes first, on the same disc.
Road After(const std::function<JobEnd(JobBench&)>& first, Road road) {
    road.prepare = [first, prepare = road.prepare](JobBench& bench) {
        ASSERT_EQ(first(bench), JobEnd::Exit);
        ASSERT_EQ(bench.ui.Texts(), Texts{});
        bench.host.successes.clear();
        ASSERT_TRUE(bench.drive.Insert(bench.disc));
        prepare(bench);
    };
    return road;
}

JobEnd WriteOld(JobBench& bench) {
    bench.host.queue = {bench.AddFile("old", kOld)};
    return bench.RunData();
}

// The same on a disc that holds a volume, which stays.
Road BehindAVolume(Road road) {
    road.isKept = [](JobBench& bench) { return Holds(bench.Track(1), kOld); };
    return After(WriteOld, road);
}

Road ImageRoad(const std::string& name, const std::string& kind, size_t bytes) {
    Road road;
    road.name = name;
    road.kind = kind;
    road.prepare = [bytes](JobBench& bench) { bench.AddFile("image", Payload(bytes, 5)); };
    road.run = [](JobBench& bench) {
        return bench.RunImage(ToWide((bench.Source() / "image").string()));
    };
    road.isWhole = [whole = bytes / 2048 * 2048](JobBench& bench) {
        const Bytes image = Payload(whole, 5);
        const Bytes track = bench.Track();
        return track.size() >= whole && std::equal(image.begin(), image.end(), track.begin()) &&
               !IsOpenCd(bench);
    };
    road.texts = kImageTexts;
    road.reasons = kReasons;
    road.questions = {u"You are going to write "}; // a disc that is larger than needed
    return road;
}

Road EraseRoad(const std::string& name, const std::string& kind, EraseMode mode) {
    Road road;
    road.name = name;
    road.kind = kind;
    road.longOperationMs = 2000;
    road.prepare = [mode](JobBench& bench) { bench.ui.erase.mode = mode; };
    road.run = [](JobBench& bench) { return bench.RunErase(); };
    road.isWhole = [kind, mode](JobBench& bench) {
        const Bytes track = bench.Track();
        const auto isZero = [](uint8_t byte) { return byte == 0; };
        const bool isOverwritten = kind == "dvd+rw" || kind == "bd-re";
        return isOverwritten ? std::all_of(track.begin(), track.begin() + 65'536, isZero) &&
                                   (mode == EraseMode::Quick || !Holds(track, kOld))
                             : (bench.DiscStatus() & 3) == 0;
    };
    road.texts = {u"Cannot erase this disk in this drive.",
                  u"Stopped: ",
                  u"The disk looks empty",
                  kNotGotReady,
                  kNotEmpty,
                  kMaybeEmpty};
    road.mayStayIdle = true;
    return After(WriteOld, road);
}

Road AudioRoad() {
    Road road;
    road.name = "AudioOnACd";
    road.kind = "cd-r";
    road.prepare = [](JobBench& bench) {
        bench.host.queue = {bench.AddWav("1.wav", kFirstSong), bench.AddWav("2.wav", kSecondSong)};
    };
    road.run = [](JobBench& bench) { return bench.RunAudio(); };
    road.isWhole = [](JobBench& bench) {
        return bench.AudioTracks() == codecs::operator+(kFirstSong, kSecondSong) &&
               bench.IsClosed();
    };
    road.texts = {kNotGotReady,
                  u"The disk is not suitable for creating audio disk.",
                  u"Creating DVD-Audio disks is not yet supported.",
                  u"The duration of selected audio files exceeds disk capacity",
                  kErase,
                  k663,
                  k965,
                  kCacheLost,
                  kNoLeadOut};
    road.expected = {{mmc::kSendCueSheet, {k663}},
                     {mmc::kWrite10, {k663, k965}}, // the pre-gap is part of the start
                     {mmc::kTestUnitReady, {kNoLeadOut}}};
    return road;
}

std::vector<Road> Roads() {
    std::vector<Road> roads;
    const auto add = [&roads](Road road, decltype(Road::expected) expected = {}) {
        road.expected.merge(expected);
        roads.push_back(std::move(road));
    };
    add(DataRoad("DataOnABlankCd", "cd-r", kLong), {{mmc::kWrite10, {k165}},
                                                    {mmc::kCloseTrackSession, {kNotClosed}},
                                                    {mmc::kSynchronizeCache, {kCacheLost}},
                                                    {mmc::kReadDiscInformation, {}}});
    add(BehindAVolume(DataRoad("DataAddedToACd", "cd-r", kLong)),
        {{mmc::kWrite10, {k165}}, {mmc::kReadToc, {k176}}});
    Road padded = DataRoad("DataThatNeedsPaddingOnACd", "cd-r", kLittle);
    padded.isWhole = [isWhole = padded.isWhole](JobBench& bench) {
        const Bytes track = bench.Track();
        return track.size() == size_t{300} * 2048 && isWhole(bench) &&
               std::all_of(track.end() - 100 * 2048, track.end(), [](uint8_t b) { return b == 0; });
    };
    add(padded, {{mmc::kWrite10, {k165, k166}}});
    Road erased = DataRoad("DataOnACdRwThatIsErasedFirst", "cd-rw", kLong);
    erased.questions = {kErase};
    erased.longOperationMs = 2000;
    const auto finalize = [](JobBench& bench) {
        bench.Finalize();
        return JobEnd::Exit;
    };
    add(After(finalize, erased), {{mmc::kWrite10, {k165}}});
    // The second one ends with a part of a sector, in a write of less than the most.
    for (const size_t bytes : {size_t{400 * 2048}, size_t{302 * 2048 - 1}}) {
        add(ImageRoad(Format("ImageOf%zuBytesOnACd", bytes), "cd-r", bytes),
            {{mmc::kSendCueSheet, {k563}},
             {mmc::kWrite10, {k563, k565}},
             {mmc::kTestUnitReady, {kNoLeadOut}}});
    }
    add(AudioRoad());
    add(EraseRoad("EraseOfACdRw", "cd-rw", EraseMode::Quick));
    add(EraseRoad("EraseOfADvdRw", "dvd-rw", EraseMode::Full));
    add(EraseRoad("EraseOfADvdPlusRw", "dvd+rw", EraseMode::Quick));
    add(EraseRoad("EraseOfABdRe", "bd-re", EraseMode::Quick));
    Road filled = EraseRoad("FullEraseOfADvdPlusRw", "dvd+rw", EraseMode::Full);
    filled.capacity = 512;
    add(filled);

    for (const std::string kind :
         {"dvd-r", "dvd-rw", "dvd+r", "dvd+r-dl", "dvd+rw", "dvd-ram", "dvd-rw-ow", "bd-r"}) {
        const std::string name = TestName(kind);
        decltype(Road::expected) stopped = {{mmc::kWrite10, {u"Stopped: write error"}}};
        if ((kind.starts_with("dvd+r") && kind != "dvd+rw") || kind == "bd-r") {
            stopped[mmc::kCloseTrackSession] = {kNotClosed};
        }
        add(DataRoad("DataOn_" + name, kind, kNew), stopped);
        if (kind == "dvd-ram") {
            roads.back().expected[mmc::kStartStopUnit] = {kCacheLost, kNotStopped};
        }
        add(BehindAVolume(DataRoad("DataBehindAVolumeOn_" + name, kind, kNew)));
        add(ImageRoad("ImageOn_" + name, kind, 150'000), stopped);
    }
    add(BehindAVolume(DataRoad("DataBehindAVolumeOn_bdre", "bd-re", kNew)));
    for (const Road& road :
         {DataRoad("DataOn_bdre", "bd-re", kNew), ImageRoad("ImageOn_bdre", "bd-re", 150'000)}) {
        add(road, {{mmc::kFormatUnit, {u"Stopped: formatting the BD-RE failed"}},
                   {mmc::kWrite10, {u"Stopped: write error"}},
                   {mmc::kStartStopUnit, {kCacheLost, kNotStopped}}});
    }
    add(After([](JobBench& bench) { return bench.RunErase(); },
              DataRoad("DataInOneGo", "dvd-rw", kNew)));
    return roads;
}

INSTANTIATE_TEST_SUITE_P(Roads, Faults, testing::ValuesIn(Roads()),
                         [](const auto& road) { return road.param.name; });

} // namespace
} // namespace larkspin
