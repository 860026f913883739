// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Programs that know nothing of the virtual drive use it as /dev/sr0, through the preloaded
// library: they must get along with it, and what they write and list must be right.
#include "host.h"

#include <array>
#include <cstdio>
#include <fstream>
#include <functional>
#include <thread>

#ifdef LARKSPIN_FAKESR_LIBRARY

namespace larkspin {

namespace {

const Bytes kFirst = Blocks(603, 1);
const Bytes kSecond = Blocks(489, 2);
const Bytes kOverlaid = Bytes(kFirst.begin(), kFirst.begin() + 320L * 2048) + kSecond;

// Programs with a folder and a disc of their own; several may be at work at the same time.
class ForeignPrograms {
  public:
    explicit ForeignPrograms(const std::string& kind)
        : m_isCd(kind.starts_with("cd-")), m_unitBlocks(m_isCd                    ? 1
                                                        : kind.starts_with("bd-") ? 32
                                                                                  : 16) {
        EXPECT_TRUE(VirtualDrive::CreateDisc(Path("disc"), kind));
        WriteFileBytes(Path("first.iso"), kFirst);
        WriteFileBytes(Path("second.iso"), kSecond);
    }
    std::string Path(const std::string& name) const { return m_folder.Path() + "/" + name; }

    // Runs a program in the test's folder with the drive at /dev/sr0. All its commands must have
    // been to the drive's liking, but for news of the medium. Programs also look on a CD whether
    // the blocks in front of a lead-out can be read, since run-out can't.
    void Run(const std::string& command) {
        std::filesystem::remove(Path("log"));
        const std::string line = "cd " + m_folder.Path() +
                                 " && LC_ALL=C LARKSPIN_FAKESR=" + Path("disc") +
                                 " LARKSPIN_FAKESR_LOG=" + Path("log") +
                                 " LD_PRELOAD=" LARKSPIN_FAKESR_LIBRARY " " + command + " 2>&1";
        std::FILE* pipe = ::popen(line.c_str(), "r");
        ASSERT_NE(pipe, nullptr);
        m_output.clear();
        std::array<char, 4096> buffer = {};
        while (const size_t count = std::fread(buffer.data(), 1, buffer.size(), pipe)) {
            m_output.append(buffer.data(), count);
        }
        ASSERT_EQ(::pclose(pipe), 0) << command << "\n" << m_output;
        std::ifstream log(Path("log"));
        int commands = 0;
        for (std::string entry; std::getline(log, entry); ++commands) {
            const std::string result = entry.substr(entry.find("= ") + 2);
            const bool isRunOut = m_isCd && entry.starts_with("28") && result == "3/11/05";
            EXPECT_TRUE(result == "0/00/00" || result == "6/28/00" || isRunOut) << command << "\n"
                                                                                << entry;
        }
        EXPECT_GT(commands, 0) << "the program never came to the drive";
    }
    void ExpectOutput(const std::string& text) const {
        EXPECT_NE(m_output.find(text), std::string::npos) << "\"" << text << "\" in:\n" << m_output;
    }
    // The last ECC block, or cluster, may be filled up with zeros.
    void ExpectFile(const std::string& name, Bytes bytes) const {
        const Bytes file = ReadFileBytes(Path("disc/" + name));
        EXPECT_LT(file.size() - bytes.size(), m_unitBlocks * 2048) << name;
        bytes.resize(file.size());
        EXPECT_TRUE(file == bytes) << name << " differs";
    }

  private:
    bool m_isCd;
    size_t m_unitBlocks; // that are recorded as one
    TempFolder m_folder;
    std::string m_output;
};

// Programs wait a lot: each disc gets a thread.
template <class Disc>
void OnEach(const std::vector<Disc>& discs,
            const std::function<void(ForeignPrograms&, const Disc&)>& body) {
    std::vector<std::thread> threads;
    threads.reserve(discs.size());
    for (const Disc& disc : discs) {
        threads.emplace_back([&body, &disc] {
            SCOPED_TRACE(disc.kind);
            ForeignPrograms programs(disc.kind);
            body(programs, disc);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST(ForeignPrograms, CdrskinWritesAppendsBlanksAndFormats) {
    struct Step {
        std::string arguments;
        std::vector<Bytes> tracks; // what is on the disc then
        std::string output;        // a part of what it says
    };
    struct Disc {
        const char* kind;
        std::vector<Step> steps;
        std::vector<const char*> toc;
    };
    const auto append = [](const char* msinfo) {
        return std::vector<Step>{{"-multi -tao first.iso", {kFirst}, ""},
                                 {"-msinfo", {kFirst}, msinfo},
                                 {"-tao second.iso", {kFirst, kSecond}, ""}};
    };
    const std::vector<Step> inPlace = {{"first.iso", {kFirst}, ""},
                                       {"write_start_address=320s second.iso", {kOverlaid}, ""}};
    const std::vector<Disc> discs = {
        // On a CD: 603 blocks and 2 of run-out, 11,400 on.
        {"cd-rw",
         append("0,12005"),
         {"track:lout lba:       605", "track:   2 lba:     12005", "2 tracks, closed CD-RW"}},
        {"dvd-r", append("0,16992"), {"2 sessions, 2 tracks, closed DVD-R sequential recording"}},
        {"dvd-rw", append("0,16992"), {"2 sessions, 2 tracks, closed DVD-RW sequential recording"}},
        {"dvd+r", append("0,2656"), {"2 sessions, 2 tracks, closed DVD+R"}},
        {"dvd+r-dl", append("0,2656"), {"2 sessions, 2 tracks, closed DVD+R/DL"}},
        {"cd-rw",
         {{"-tao first.iso", {kFirst}, ""},
          {"blank=fast", {}, ""},
          {"-sao second.iso", {kSecond}, ""}},
         {"track:lout lba:       489"}},
        {"dvd-r", {{"-sao first.iso", {kFirst}, ""}}, {"1 sessions, 1 tracks, closed DVD-R"}},
        {"dvd-r-dl", {{"-tao first.iso", {kFirst}, ""}}, {"1 sessions, 1 tracks, closed DVD-R"}},
        {"dvd-rw",
         {{"-tao first.iso", {kFirst}, ""},
          {"blank=deformat_sequential_quickest", {}, ""},
          {"second.iso", {kSecond}, ""}, // it finds that only one go is possible
          {"blank=all", {}, ""},
          {"-sao first.iso", {kFirst}, ""},
          {"blank=format_overwrite_quickest", {}, ""},
          {"second.iso", {kSecond}, ""},
          {"blank=deformat_sequential", {}, ""},
          {"-tao first.iso", {kFirst}, ""}},
         {"1 sessions, 1 tracks, closed DVD-RW"}},
        {"dvd+rw", inPlace, {"DVD+RW"}},
        {"dvd-ram", inPlace, {"DVD-RAM"}},
        {"dvd-rw-ow", inPlace, {"DVD-RW restricted overwrite"}},
        {"bd-r", append("0,608"), {"2 sessions, 2 tracks, closed BD-R sequential recording"}},
        {"bd-re",
         {{"blank=as_needed first.iso", {kFirst}, ""},
          {"write_start_address=320s second.iso", {kOverlaid}, ""},
          {"blank=format_defectmgt_min", {}, ""},
          {"first.iso", {kFirst}, ""},
          {"blank=format_defectmgt_cert_on", {}, ""},
          {"blank=format_by_index_4", {}, ""}},
         {"BD-RE"}},
        {"bd-r",
         {{"blank=format_defectmgt_min", {}, ""}, {"-tao first.iso", {kFirst}, ""}},
         {"1 sessions, 1 tracks, closed BD-R sequential recording"}},
    };
    OnEach<Disc>(discs, [](ForeignPrograms& programs, const Disc& disc) {
        for (const Step& step : disc.steps) {
            programs.Run("cdrskin dev=/dev/sr0 -v " + step.arguments);
            programs.ExpectOutput(step.output);
            for (size_t i = 0; i < step.tracks.size(); ++i) {
                programs.ExpectFile("track-0" + std::to_string(i + 1) + ".iso", step.tracks[i]);
            }
            EXPECT_EQ(std::filesystem::exists(programs.Path("disc/track-01.iso")),
                      !step.tracks.empty())
                << step.arguments;
        }
        programs.Run("cdrskin dev=/dev/sr0 -toc");
        for (const char* text : disc.toc) {
            programs.ExpectOutput(text);
        }
    });
}

TEST(ForeignPrograms, CdrskinWritesAnAudioDiscThatCdInfoReads) {
    ForeignPrograms programs("cd-r");
    Bytes all;
    for (const uint32_t track : {1U, 2U, 3U}) {
        const Bytes pcm = Blocks(300 + 100 * track, track, 2352);
        WriteFileBytes(programs.Path(std::to_string(track) + ".pcm"), pcm);
        all = all + pcm;
    }
    programs.Run("cdrskin dev=/dev/sr0 -v -sao -swab -audio 1.pcm 2.pcm 3.pcm");
    programs.ExpectFile("disc.bin", all);
    programs.Run("cd-info --no-header /dev/sr0");
    for (const char* row : {"1: 00:02:00  000000 audio", "2: 00:07:25  000400 audio",
                            "3: 00:14:00  000900 audio", "170: 00:22:00  001500 leadout"}) {
        programs.ExpectOutput(row);
    }
}

TEST(ForeignPrograms, XorrisoAddsASessionToEachKind) {
    struct Disc {
        const char* kind;
    };
    const std::vector<Disc> discs = {{"cd-rw"},    {"dvd-r"},   {"dvd-rw"},  {"dvd+r"},
                                     {"dvd+r-dl"}, {"dvd+rw"},  {"dvd-ram"}, {"dvd-rw-ow"},
                                     {"bd-r"},     {"bd-r-ql"}, {"bd-re"}};
    OnEach<Disc>(discs, [](ForeignPrograms& programs, const Disc& disc) {
        std::filesystem::create_directories(programs.Path("tree/deep"));
        std::filesystem::create_directories(programs.Path("more"));
        WriteFileBytes(programs.Path("tree/deep/first.bin"), Payload(1'000'000, 1));
        WriteFileBytes(programs.Path("more/second.bin"), Payload(500'001, 2));
        programs.Run("xorriso -outdev /dev/sr0 -volid PAIR -map tree /tree");
        programs.Run("xorriso -dev /dev/sr0 -map more /more");
        programs.Run("xorriso -indev /dev/sr0 -toc");
        programs.ExpectOutput("ISO session  :   2");
        programs.Run("xorriso -osirrox on -indev /dev/sr0 -extract / out");
        EXPECT_TRUE(ReadFileBytes(programs.Path("out/tree/deep/first.bin")) ==
                    Payload(1'000'000, 1));
        EXPECT_TRUE(ReadFileBytes(programs.Path("out/more/second.bin")) == Payload(500'001, 2));
        if (std::string(disc.kind) != "cd-rw") {
            return;
        }
        programs.Run("cd-info --no-header /dev/sr0");
        programs.ExpectOutput("label `PAIR");
        programs.ExpectOutput("session #2 starts at track  2");
        programs.Run("dd if=/dev/sr0 of=copy bs=2048 count=100 status=none");
        Bytes first = ReadFileBytes(programs.Path("disc/track-01.iso"));
        first.resize(100L * 2048);
        EXPECT_TRUE(ReadFileBytes(programs.Path("copy")) == first);
        programs.Run("iso-info -f /dev/sr0");
        programs.ExpectOutput("1000000 /tree/deep/first.bin");
        programs.Run("xorriso -outdev /dev/sr0 -blank fast");
        programs.Run("xorriso -outdev /dev/sr0 -toc");
        programs.ExpectOutput("is blank");
    });
}

} // namespace

} // namespace larkspin

#endif
