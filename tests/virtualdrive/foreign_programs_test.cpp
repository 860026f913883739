// Programs that know nothing of the virtual drive use it as /dev/sr0, through the preloaded
// library: they must get along with it, and what they write and list must be right.
#include "foreign.h"

#include <algorithm>
#include <array>
#include <filesystem>

#ifdef LARKSPIN_FAKESR_LIBRARY

namespace larkspin {

namespace {

// PCM as a RIFF WAVE file, 44.1 kHz stereo 16-bit.
Bytes Wave(const Bytes& pcm) {
    constexpr std::array<uint8_t, 44> kHeader = {
        'R', 'I', 'F', 'F', 0,  0, 0,   0,   'W', 'A',  'V',  'E', 'f', 'm',  't',
        ' ', 16,  0,   0,   0,  1, 0,   2,   0,   0x44, 0xAC, 0,   0,   0x10, 0xB1,
        2,   0,   4,   0,   16, 0, 'd', 'a', 't', 'a',  0,    0,   0,   0};
    Bytes wave(kHeader.size() + pcm.size());
    std::copy(kHeader.begin(), kHeader.end(), wave.begin());
    StoreLe32(&wave[4], static_cast<uint32_t>(pcm.size()) + 36);
    StoreLe32(&wave[40], static_cast<uint32_t>(pcm.size()));
    std::copy(pcm.begin(), pcm.end(), wave.begin() + kHeader.size());
    return wave;
}

TEST_F(ForeignProgramsTest, CdrskinBlanksWritesAppendsAndLists) {
    Load("cd-rw");
    const Bytes first = Pattern(603UL * 2048, 1);
    const Bytes second = Pattern(489UL * 2048, 2);
    WriteFile(Path("first.iso"), first);
    WriteFile(Path("second.iso"), second);
    RunProgram("cdrskin dev=/dev/sr0 -v -multi -tao first.iso", kRunOutRead);
    EXPECT_EQ(FileBytes(Path("disc/track-01.iso")), first);
    RunProgram("cdrskin dev=/dev/sr0 -msinfo", kRunOutRead);
    ExpectOutput("0,12005"); // 603 blocks and 2 of run-out, 11,400 on
    RunProgram("cdrskin dev=/dev/sr0 -v -tao second.iso", kRunOutRead);
    EXPECT_EQ(FileBytes(Path("disc/track-02.iso")), second);
    RunProgram("cdrskin dev=/dev/sr0 -toc", kRunOutRead);
    ExpectOutput("track:lout lba:       605");
    ExpectOutput("track:   2 lba:     12005");
    ExpectOutput("2 sessions, 2 tracks, closed CD-RW");
    RunProgram("cdrskin dev=/dev/sr0 -v blank=fast", kRunOutRead);
    EXPECT_FALSE(std::filesystem::exists(Path("disc/track-01.iso")));
    RunProgram("cdrskin dev=/dev/sr0 -v -sao second.iso");
    EXPECT_EQ(FileBytes(Path("disc/track-01.iso")), second);
    RunProgram("cdrskin dev=/dev/sr0 -toc");
    ExpectOutput("track:lout lba:       489");
}

TEST_F(ForeignProgramsTest, CdrskinWritesAnAudioDiscThatCdInfoReads) {
    Load("cd-r");
    Bytes all;
    std::string files;
    for (const int track : {1, 2, 3}) {
        const Bytes pcm = Pattern(size_t{2352} * static_cast<size_t>(300 + 100 * track),
                                  static_cast<uint32_t>(track));
        all.insert(all.end(), pcm.begin(), pcm.end());
        const std::string name = std::to_string(track) + ".wav";
        WriteFile(Path(name), Wave(pcm));
        files += " " + name;
    }
    RunProgram("cdrskin dev=/dev/sr0 -v -sao -audio" + files);
    EXPECT_EQ(FileBytes(Path("disc/disc.bin")), all);
    RunProgram("cd-info --no-header /dev/sr0");
    ExpectOutput("1: 00:02:00  000000 audio");
    ExpectOutput("2: 00:07:25  000400 audio");
    ExpectOutput("3: 00:14:00  000900 audio");
    ExpectOutput("170: 00:22:00  001500 leadout");
}

TEST_F(ForeignProgramsTest, XorrisoWritesAppendsAndReadsBack) {
    Load("cd-rw");
    std::filesystem::create_directories(Path("tree/deep"));
    std::filesystem::create_directories(Path("more"));
    WriteFile(Path("tree/deep/first.bin"), Pattern(3'000'000, 1));
    WriteFile(Path("more/second.bin"), Pattern(500'001, 2));
    RunProgram("xorriso -outdev /dev/sr0 -volid PAIR -map tree /tree");
    RunProgram("xorriso -dev /dev/sr0 -map more /more", kRunOutRead);
    RunProgram("xorriso -indev /dev/sr0 -toc", kRunOutRead);
    ExpectOutput("ISO session  :   2");
    RunProgram("xorriso -osirrox on -indev /dev/sr0 -extract / out", kRunOutRead);
    EXPECT_EQ(FileBytes(Path("out/tree/deep/first.bin")), Pattern(3'000'000, 1));
    EXPECT_EQ(FileBytes(Path("out/more/second.bin")), Pattern(500'001, 2));
    RunProgram("cd-info --no-header /dev/sr0", kRunOutRead);
    ExpectOutput("label `PAIR");
    ExpectOutput("session #2 starts at track  2");
    RunProgram("iso-info -f /dev/sr0", kRunOutRead);
    ExpectOutput("3000000 /tree/deep/first.bin");
    RunProgram("xorriso -outdev /dev/sr0 -blank fast", kRunOutRead);
    RunProgram("xorriso -outdev /dev/sr0 -toc");
    ExpectOutput("is blank");
}

} // namespace

} // namespace larkspin

#endif
