// Programs that know nothing of the virtual drive write, blank, format, append to and read DVDs.
#include "foreign.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <thread>
#include <vector>

#ifdef LARKSPIN_FAKESR_LIBRARY

namespace larkspin {

namespace {

const Bytes kFirst = Pattern(603 * 2048, 1);
const Bytes kSecond = Pattern(489 * 2048, 2);

class DvdPrograms : public ForeignPrograms {
  public:
    explicit DvdPrograms(const std::string& kind) {
        Load(kind);
        WriteFile(Path("first.iso"), kFirst);
        WriteFile(Path("second.iso"), kSecond);
    }
    // True if a file of the disc begins with these bytes, and what fills it up is zeros.
    ::testing::AssertionResult Holds(const std::string& name, const Bytes& bytes) const {
        const Bytes file = FileBytes(Path("disc/" + name));
        if (file.size() < bytes.size() || !std::equal(bytes.begin(), bytes.end(), file.begin()))
            return ::testing::AssertionFailure() << name << " differs";
        const bool isPadded = std::all_of(file.begin() + static_cast<std::ptrdiff_t>(bytes.size()),
                                          file.end(), [](uint8_t byte) { return byte == 0; });
        return isPadded ? ::testing::AssertionSuccess()
                        : ::testing::AssertionFailure() << "no zeros behind " << name;
    }
};

// Programs wait a lot: each kind of disc gets a thread.
void OnEachKind(const std::vector<std::string>& kinds,
                const std::function<void(DvdPrograms&, const std::string&)>& body) {
    std::vector<std::thread> threads;
    for (const std::string& kind : kinds)
        threads.emplace_back([&body, kind] {
            SCOPED_TRACE(kind);
            DvdPrograms programs(kind);
            body(programs, kind);
        });
    for (std::thread& thread : threads)
        thread.join();
}

TEST(DvdPrograms, CdrskinAppendsAndCloses) {
    struct Expected {
        const char* msinfo;
        const char* summary;
    };
    const std::map<std::string, Expected> expected = {
        {"dvd-r", {"0,16992", "closed DVD-R sequential recording"}},
        {"dvd-rw", {"0,16992", "closed DVD-RW sequential recording"}},
        {"dvd+r", {"0,2656", "closed DVD+R"}},
        {"dvd+r-dl", {"0,2656", "closed DVD+R/DL"}},
    };
    const auto append = [&](DvdPrograms& programs, const std::string& kind) {
        programs.RunProgram("cdrskin dev=/dev/sr0 -v -multi -tao first.iso");
        programs.RunProgram("cdrskin dev=/dev/sr0 -msinfo");
        programs.ExpectOutput(expected.at(kind).msinfo);
        programs.RunProgram("cdrskin dev=/dev/sr0 -v -tao second.iso");
        programs.RunProgram("cdrskin dev=/dev/sr0 -toc");
        programs.ExpectOutput("2 sessions, 2 tracks, ");
        programs.ExpectOutput(expected.at(kind).summary);
        EXPECT_TRUE(programs.Holds("track-01.iso", kFirst));
        EXPECT_TRUE(programs.Holds("track-02.iso", kSecond));
    };
    OnEachKind({"dvd-r", "dvd-rw", "dvd+r", "dvd+r-dl"}, append);
}

TEST(DvdPrograms, CdrskinWritesOneSession) {
    // In one go, or the one session that it takes two layers of the dash family for.
    const auto write = [](DvdPrograms& programs, const std::string& kind) {
        programs.RunProgram(std::string("cdrskin dev=/dev/sr0 -v ") +
                            (kind == "dvd-r-dl" ? "-tao" : "-sao") + " first.iso");
        programs.RunProgram("cdrskin dev=/dev/sr0 -toc");
        programs.ExpectOutput("1 sessions, 1 tracks, closed DVD-R");
        EXPECT_TRUE(programs.Holds("track-01.iso", kFirst));
    };
    OnEachKind({"dvd-r", "dvd-rw", "dvd-r-dl"}, write);
}

TEST(DvdPrograms, CdrskinBlanksAndFormatsDvdRw) {
    DvdPrograms programs("dvd-rw");
    programs.RunProgram("cdrskin dev=/dev/sr0 -v -tao first.iso");
    programs.RunProgram("cdrskin dev=/dev/sr0 -v blank=deformat_sequential_quickest");
    EXPECT_FALSE(std::filesystem::exists(programs.Path("disc/track-01.iso")));
    // It finds that only one go is possible.
    programs.RunProgram("cdrskin dev=/dev/sr0 -v second.iso");
    EXPECT_TRUE(programs.Holds("track-01.iso", kSecond));
    programs.RunProgram("cdrskin dev=/dev/sr0 -v blank=all");
    programs.RunProgram("cdrskin dev=/dev/sr0 -v blank=format_overwrite_quickest");
    programs.RunProgram("cdrskin dev=/dev/sr0 -v second.iso");
    EXPECT_TRUE(programs.Holds("track-01.iso", kSecond));
    programs.RunProgram("cdrskin dev=/dev/sr0 -v blank=deformat_sequential");
    programs.RunProgram("cdrskin dev=/dev/sr0 -v -multi -tao first.iso");
    EXPECT_TRUE(programs.Holds("track-01.iso", kFirst));
}

TEST(DvdPrograms, CdrskinWritesInPlace) {
    const auto write = [](DvdPrograms& programs, const std::string&) {
        programs.RunProgram("cdrskin dev=/dev/sr0 -v first.iso");
        EXPECT_TRUE(programs.Holds("track-01.iso", kFirst));
        programs.RunProgram("cdrskin dev=/dev/sr0 -v write_start_address=320s second.iso");
        Bytes both(kFirst.begin(), kFirst.begin() + 320 * 2048);
        both.insert(both.end(), kSecond.begin(), kSecond.end());
        EXPECT_TRUE(programs.Holds("track-01.iso", both));
    };
    OnEachKind({"dvd+rw", "dvd-ram", "dvd-rw-ow"}, write);
}

TEST(DvdPrograms, XorrisoAddsASessionToEachKind) {
    const auto append = [](DvdPrograms& programs, const std::string&) {
        std::filesystem::create_directories(programs.Path("tree/deep"));
        std::filesystem::create_directories(programs.Path("more"));
        WriteFile(programs.Path("tree/deep/first.bin"), Pattern(1'000'000, 1));
        WriteFile(programs.Path("more/second.bin"), Pattern(500'001, 2));
        programs.RunProgram("xorriso -outdev /dev/sr0 -volid PAIR -map tree /tree");
        programs.RunProgram("xorriso -dev /dev/sr0 -map more /more");
        programs.RunProgram("xorriso -indev /dev/sr0 -toc");
        programs.ExpectOutput("ISO session  :   2");
        programs.RunProgram("xorriso -osirrox on -indev /dev/sr0 -extract / out");
        EXPECT_TRUE(FileBytes(programs.Path("out/tree/deep/first.bin")) == Pattern(1'000'000, 1));
        EXPECT_TRUE(FileBytes(programs.Path("out/more/second.bin")) == Pattern(500'001, 2));
    };
    OnEachKind({"dvd-r", "dvd-rw", "dvd+r", "dvd+r-dl", "dvd+rw", "dvd-ram", "dvd-rw-ow"}, append);
}

} // namespace

} // namespace larkspin

#endif
