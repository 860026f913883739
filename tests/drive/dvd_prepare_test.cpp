#include "drive/dvd_bench.h"

namespace larkspin {
namespace {

using Lines = std::vector<std::string>;

constexpr int64_t kBlock = 2048;

// Lists of commands that the roads have in common.
const Lines kLockAndEvents = {"1E 00 00 00 01", "4A 01 00 00 FF 00 00 00 08"};
const Lines kWriteParameters = {"52 01 00 00 00 01 00 00 20", "5A 08 05 00 00 00 00 00 0C",
                                "5A 08 05 00 00 00 00 00 3C", "55 10 00 00 00 00 00 00 3C"};
const Lines kSpeed = {"5A 08 2A 00 00 00 00 00 0C", "5A 08 2A 00 00 00 00 00 28",
                      "AC 00 00 00 00 00 00 00 00 01 03"};
const Lines kFeature = {"46 02 00 21 00 00 00 00 10"};
const Lines kStoredCalibration = {"51 00 00 00 00 00 00 00 08"};
const Lines kReadAddress = {"52 01 00 00 00 01 00 00 20"};

Lines Joined(std::initializer_list<Lines> parts) {
    Lines all;
    for (const Lines& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

TEST(DvdPrepareTest, SetsTheDriveUpAsTheMediumAsks) {
    struct Case {
        const char* what;
        uint32_t profile;
        std::function<void(DvdBench&)> arrange;
        Lines trace;
        void (CAspiCD::*finish)();
        uint32_t nextAddress;
    };
    const auto asIs = [](DvdBench&) {};
    const Case cases[] = {
        {"DVD-R", 0x11, asIs,
         Joined({kLockAndEvents, kFeature, kWriteParameters, kSpeed, kStoredCalibration,
                 kReadAddress}),
         &CAspiCD::FinishMinusR, 4096},
        {"DVD-R, second session", 0x11, [](DvdBench& bench) { bench.drive.m_nNextTrack = 2; },
         Joined({kLockAndEvents,
                 kWriteParameters,
                 kSpeed,
                 kStoredCalibration,
                 {"52 01 00 00 00 02 00 00 20"}}),
         &CAspiCD::FinishMinusR, 4096},
        {"DVD-R that only takes one go", 0x11,
         [](DvdBench& bench) { bench.incremental.data[10] = 0; },
         Joined({kLockAndEvents,
                 kFeature,
                 kWriteParameters,
                 kSpeed,
                 kStoredCalibration,
                 {"53 00 00 00 00 00 00 03 F0"},
                 kReadAddress}),
         &CAspiCD::FinishMinusR, 4096},
        {"DVD-R without a stored calibration", 0x11,
         [](DvdBench& bench) {
             bench.SetDiscInfo(Answer(32, {{1, 32}}));
         },
         Joined({kLockAndEvents,
                 kFeature,
                 kWriteParameters,
                 kSpeed,
                 kStoredCalibration,
                 {"54 01"},
                 kReadAddress}),
         &CAspiCD::FinishMinusR, 4096},
        {"DVD-RW sequential", 0x14 | MEDIA_BLANK, asIs,
         Joined({kLockAndEvents, kFeature, kWriteParameters, kSpeed, kStoredCalibration,
                 kReadAddress}),
         &CAspiCD::FinishMinusR, 4096},
        {"DVD-R DL", 0x15,
         [](DvdBench& bench) {
             bench.port.Always(mmc::kReadDvdStructure,
                               GoodAnswer(Answer(20, {{16, 0xFF}, {18, 3}, {19, 0xE7}}))); // 999
         },
         Joined({kLockAndEvents,
                 kFeature,
                 kWriteParameters,
                 kSpeed,
                 kStoredCalibration,
                 {"AD 00 00 00 00 00 00 10 00 14"},
                 kReadAddress}),
         &CAspiCD::FinishMinusR, 4096},
        {"DVD-RW overwrite", 0x13,
         [](DvdBench& bench) {
             bench.SetFormats({{2000, 2}, {2000, 0}});
         },
         Joined({kLockAndEvents, kWriteParameters, kSpeed, kStoredCalibration}),
         &CAspiCD::FinishMinusRw, 0},
        {"DVD-RW overwrite that has to grow", 0x13,
         [](DvdBench& bench) {
             bench.SetFormats({{992, 2}, {5000, 0x13}});
         },
         Joined({kLockAndEvents, kWriteParameters, kSpeed, kStoredCalibration, {"04 11", "00"}}),
         &CAspiCD::FinishMinusRw, 0},
        {"DVD-RAM", 0x12, asIs, Joined({kLockAndEvents, kSpeed}), &CAspiCD::FinishRam, 0},
        {"DVD+RW never formatted", 0x1A,
         [](DvdBench& bench) {
             bench.SetFormats({{2295104, 1}, {2295104, 0x26}});
         },
         Joined({kLockAndEvents, {"04 11", "00", "35"}, kSpeed}), &CAspiCD::FinishPlusRw, 0},
        {"DVD+RW, format interrupted", 0x1A,
         [](DvdBench& bench) {
             bench.SetFormats({{992, 2}, {2295104, 0x26}});
             bench.drive.m_abyDiscInfo[7] = 1;
         },
         Joined({kLockAndEvents, {"04 11", "00"}, kSpeed}), &CAspiCD::FinishPlusRw, 0},
        {"DVD+RW formatted", 0x1A, [](DvdBench& bench) { bench.drive.m_abyDiscInfo[7] = 3; },
         Joined({kLockAndEvents, kSpeed}), &CAspiCD::FinishPlusRw, 0},
        {"DVD+R", 0x1B, asIs, Joined({kLockAndEvents, kWriteParameters, kSpeed, kReadAddress}),
         &CAspiCD::FinishPlusR, 4096},
        {"DVD+R DL", 0x2B, asIs, Joined({kLockAndEvents, kSpeed, kReadAddress}),
         &CAspiCD::FinishPlusR, 4096},
        {"DVD+R DL in one go", 0x2B,
         [](DvdBench& bench) {
             bench.drive.m_bDaoOnly = true;
             bench.port.Always(mmc::kReadDvdStructure, GoodAnswer(Answer(12, {{1, 10}})));
         },
         Joined({kLockAndEvents,
                 kSpeed,
                 {"AD 00 00 00 00 00 00 20 00 0C", "BF 00 00 00 00 00 00 20 00 0C"},
                 kReadAddress}),
         &CAspiCD::FinishPlusR, 4096},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        DvdBench bench(c.profile);
        bench.port.Always(mmc::kReadTrackInformation,
                          GoodAnswer(TrackAnswer(4096, 0, (c.profile & 0xFFFF) == 0x13)));
        c.arrange(bench);
        bench.drive.PrepareDvdMedia(1000 * kBlock);
        EXPECT_EQ(bench.Trace(), c.trace);
        EXPECT_EQ(bench.drive.m_nNextWriteAddress, c.nextAddress);
        EXPECT_EQ(bench.drive.m_nDriveBufferKB, 1024u);
        EXPECT_EQ(bench.drive.m_nVelocity, 5540);
        ASSERT_NE(bench.drive.m_pfnFinalize, nullptr);
        EXPECT_FALSE(bench.drive.m_bMediaWritten);

        // The finisher is the medium's own: both leave the same trace.
        DvdBench direct(c.profile);
        for (CAspiCD* drive : {&bench.drive, &direct.drive})
            drive->m_bMediaWritten = true;
        direct.drive.m_bDaoMode = bench.drive.m_bDaoMode;
        direct.drive.m_bDaoOnly = bench.drive.m_bDaoOnly;
        direct.drive.m_bQuickGrown = bench.drive.m_bQuickGrown;
        direct.drive.m_nNextTrack = bench.drive.m_nNextTrack;
        bench.port.Clear();
        std::exchange(bench.drive.m_pfnFinalize, nullptr)(bench.drive);
        (direct.drive.*c.finish)();
        EXPECT_EQ(bench.Trace(), direct.Trace());
    }
}

TEST(DvdPrepareTest, AnAddressTheDriveDoesNotVouchForIsNone) {
    for (const bool fails : {false, true}) {
        DvdBench bench(0x2B);
        Bytes track = TrackAnswer(4096, 0);
        track[7] = 0;
        bench.port.Always(mmc::kReadTrackInformation,
                          fails ? SenseAnswer(5, 0x24, 0, track) : GoodAnswer(track));
        bench.drive.PrepareDvdMedia(0);
        EXPECT_EQ(bench.drive.m_nNextWriteAddress, 0u);
        EXPECT_NE(bench.drive.m_pfnFinalize, nullptr);
        bench.drive.m_pfnFinalize = nullptr;
    }
}

TEST(DvdPrepareTest, WithoutASizeNothingIsReservedOrSplit) {
    DvdBench bench(0x15);
    bench.incremental.data[10] = 0;
    bench.drive.PrepareDvdMedia(0);
    EXPECT_TRUE(bench.drive.m_bDaoMode);
    EXPECT_TRUE(bench.port.Sent(mmc::kReserveTrack).empty());
    EXPECT_TRUE(bench.port.Sent(mmc::kReadDvdStructure).empty());
}

TEST(DvdPrepareTest, FindsTheDrivesBufferOnPage2A) {
    struct {
        uint8_t pageLength;
        uint16_t bufferKB;
        uint32_t expected;
    } const cases[] = {{30, 2048, 2048}, {30, 511, 512}, {12, 8192, 8192}, {11, 8192, 512}};
    for (const auto& c : cases) {
        SCOPED_TRACE(int{c.pageLength});
        DvdBench bench(0x12);
        Bytes page(c.pageLength + size_t{2});
        page[0] = 0x2A;
        page[1] = c.pageLength;
        if (page.size() >= 14)
            StoreBe16(&page[12], c.bufferKB);
        bench.page2A = GoodAnswer(ModeAnswer(page));
        bench.drive.PrepareDvdMedia(0);
        EXPECT_EQ(bench.drive.m_nDriveBufferKB, c.expected);
    }
}

TEST(DvdPrepareTest, CalibrationMayFailButForItsOwnError) {
    struct {
        ScriptedAnswer answer;
        const char* text;
    } const cases[] = {
        {SenseAnswer(1, 0x73, 0x01), ""}, // the area is almost full
        {SenseAnswer(3, 0x73, 0x03), "power calibration failed"},
        {SenseAnswer(5, 0x20, 0x00), ""},
        {FailedAnswer(PortError::TimedOut), ""},
    };
    for (const auto& c : cases) {
        DvdBench bench(0x14);
        bench.SetDiscInfo(Answer(32, {{1, 32}}));
        bench.port.Always(mmc::kSendOpcInformation, c.answer);
        EXPECT_EQ(FailureOf([&] { bench.drive.PrepareDvdMedia(0); }), c.text);
        EXPECT_EQ(bench.port.Sent(mmc::kSendOpcInformation).at(0).timeoutSeconds, 120u);
        bench.drive.m_pfnFinalize = nullptr;
    }
}

struct ParameterCase {
    const char* what;
    uint32_t profile;
    uint8_t writeMode;
    uint8_t fill; // every byte of the page as the drive has it
    bool fixedPackets;
    uint8_t p2, p3, p5;
    uint32_t packetSize;
};

TEST(DvdWriteParametersTest, AreFilledForEachMedium) {
    const ParameterCase cases[] = {
        {"DVD-R", 0x11, 0xC0, 0x00, false, 0x60, 0xE5, 0x10, 16},
        {"DVD-R, bits set before", 0x11, 0xC0, 0xFF, false, 0xE0, 0xF5, 0x10, 16},
        {"DVD-R in one go", 0x11, 0x02, 0x00, false, 0x62, 0x25, 0x10, 16},
        {"DVD-RW overwrite", 0x13, 0xC0, 0x00, true, 0x40, 0x2D, 0x00, 0x01020304},
        {"DVD-RW overwrite, bits set before", 0x13, 0xC0, 0xFF, true, 0xC0, 0x3D, 0x00, 0x01020304},
        {"DVD-RW sequential", 0x14, 0xC0, 0x00, false, 0x60, 0xCD, 0x10, 0},
        {"DVD-RW sequential in one go", 0x14, 0xC2, 0xFF, false, 0xE2, 0xDD, 0x10, 0},
        {"DVD-R DL", 0x15, 0x00, 0xFF, false, 0xC0, 0x1D, 0x00, 0},
        {"DVD+R", 0x1B, 0xC0, 0x00, false, 0x40, 0xCD, 0x00, 0},
        {"DVD+R with fixed packets", 0x1B, 0xC0, 0xFF, true, 0xC0, 0xFD, 0x00, 0x01020304},
    };
    for (const ParameterCase& c : cases) {
        for (const size_t descriptorBytes : {0, 8, 16}) {
            SCOPED_TRACE(testing::Message() << c.what << " behind " << descriptorBytes);
            DvdBench bench(c.profile);
            Bytes page(52, c.fill);
            page[0] = 0x85;
            page[1] = 50;
            bench.writeParameters = GoodAnswer(ModeAnswer(page, descriptorBytes));
            bench.writeParameters.data[2] = 0x77; // medium type, not to be sent back
            Bytes track = Answer(32, {{5, 0xDD}, {6, 0x01}});
            if (c.fixedPackets)
                track[6] = 0x11;
            StoreBe32(&track[20], 0x01020304);
            bench.port.Always(mmc::kReadTrackInformation, GoodAnswer(track));

            CScsiCommand command(bench.drive);
            bench.drive.SetupWriteParameters(command, c.profile, c.writeMode);

            Bytes expected(8 + page.size()); // behind a mode header of zeros
            page[0] = 0x05;
            page[2] = c.p2;
            page[3] = c.p3;
            page[4] = 8;
            page[5] = c.p5;
            page[8] = 0;
            StoreBe32(&page[10], c.packetSize);
            std::copy(page.begin(), page.end(), expected.begin() + 8);
            const SentCommand& select = bench.port.Sent().back();
            EXPECT_EQ(Trace({select}), Lines{"55 10 00 00 00 00 00 00 3C"});
            EXPECT_EQ(select.direction, PortDirection::Out);
            EXPECT_EQ(select.dataOut, expected);
        }
    }
}

TEST(DvdWriteParametersTest, WriteTypeAndOpenSessionFollowFromDiscAndDrive) {
    const auto asIs = [](DvdBench&) {};
    const auto oneGoOnly = [](DvdBench& bench) { bench.incremental.data[10] = 0; };
    struct {
        const char* what;
        uint32_t profile;
        std::function<void(DvdBench&)> arrange;
        uint8_t writeType, multiSession;
    } const cases[] = {
        {"DVD-R", 0x11, asIs, 0, 0xC0},
        {"DVD-R, one go only", 0x11, oneGoOnly, 2, 0x00},
        {"DVD-R, the drive doesn't know the feature", 0x11,
         [](DvdBench& bench) {
             bench.incremental = GoodAnswer(Answer(16, {{3, 4}}));
         },
         0, 0xC0},
        {"DVD-R in one go by choice", 0x11, [](DvdBench& bench) { bench.drive.m_bDaoMode = true; },
         2, 0xC0},
        {"DVD-R, later track", 0x11,
         [](DvdBench& bench) {
             bench.drive.m_nNextTrack = 2;
             bench.incremental.data[10] = 0;
         },
         0, 0xC0},
        {"DVD-RW", 0x14, asIs, 0, 0xC0},
        {"DVD-RW, one go only", 0x14, oneGoOnly, 2, 0x00},
        {"DVD-R DL", 0x15, asIs, 0, 0x00},
        {"DVD-R DL, one go only", 0x15, oneGoOnly, 2, 0x00},
        {"DVD+R", 0x1B, asIs, 0, 0xC0},
        {"DVD-RW overwrite", 0x13, asIs, 0, 0x00},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        DvdBench bench(c.profile);
        c.arrange(bench);
        CScsiCommand command(bench.drive);
        bench.drive.PrepareDvdRecording(command, c.profile);
        const Bytes page(bench.port.Sent(mmc::kModeSelect10).at(0).dataOut);
        EXPECT_EQ(page.at(8 + 2) & 0x0F, c.writeType);
        EXPECT_EQ(page.at(8 + 3) & 0xC0, c.multiSession);
    }
}

TEST(DvdWriteParametersTest, ADriveThatMakesNoSenseIsRefused) {
    struct Case {
        const char* text;
        uint32_t profile;
        std::function<void(DvdBench&)> arrange;
    };
    const Case cases[] = {
        {"internal error #1015", 0x11,
         [](DvdBench& bench) {
             bench.port.Always(mmc::kReadTrackInformation, SenseAnswer(5, 0x24, 0));
         }},
        {"internal error #1016", 0x11,
         [](DvdBench& bench) { bench.writeParameters = SenseAnswer(5, 0x24, 0); }},
        {"internal error #1017", 0x11,
         [](DvdBench& bench) { bench.writeParameters = GoodAnswer(ModeAnswer(Bytes(14), 8)); }},
        {"internal error #1018", 0x11,
         [](DvdBench& bench) { bench.FailCommand(2, SenseAnswer(5, 0x24, 0)); }},
        {"internal error #1019", 0x11,
         [](DvdBench& bench) { bench.FailCommand(2, GoodAnswer(ModeAnswer(Bytes(13)))); }},
        {"internal error #1019", 0x11,
         [](DvdBench& bench) {
             // The first answer promises more than the second one holds behind its descriptors.
             bench.writeParameters = GoodAnswer(ModeAnswer(Bytes(52), 40));
             bench.FailCommand(2, GoodAnswer(ModeAnswer(Bytes(52), 0)));
         }},
        {"track 1 is not mode 1. cannot continue", 0x1B,
         [](DvdBench& bench) {
             bench.port.Always(mmc::kReadTrackInformation, GoodAnswer(Answer(32, {{6, 2}})));
         }},
        {"internal error #1020. packet size is not fixed", 0x13,
         [](DvdBench& bench) {
             bench.port.Always(mmc::kReadTrackInformation, GoodAnswer(Answer(32, {{6, 0x01}})));
         }},
        {"internal error #1021. packet size is fixed", 0x11,
         [](DvdBench& bench) {
             bench.port.Always(mmc::kReadTrackInformation, GoodAnswer(Answer(32, {{6, 0x11}})));
         }},
        {"internal error #1021. packet size is fixed", 0x14,
         [](DvdBench& bench) {
             bench.port.Always(mmc::kReadTrackInformation, GoodAnswer(Answer(32, {{6, 0x11}})));
         }},
        {"internal error #1022", 0x11,
         [](DvdBench& bench) { bench.port.Always(mmc::kModeSelect10, SenseAnswer(5, 0x26, 0)); }},
    };
    for (const Case& c : cases) {
        DvdBench bench(c.profile);
        c.arrange(bench);
        CScsiCommand command(bench.drive);
        EXPECT_EQ(FailureOf([&] { bench.drive.SetupWriteParameters(command, c.profile, 0xC0); }),
                  c.text);
        const bool selected = !bench.port.Sent(mmc::kModeSelect10).empty();
        EXPECT_EQ(selected, std::string(c.text) == "internal error #1022");
    }
}

TEST(DvdWriteParametersTest, ALengthThatLiesStaysInsideTheBuffer) {
    // A mode data length of 0 with no descriptors: the page's own length counts.
    DvdBench bench(0x1B);
    StoreBe16(bench.writeParameters.data.data(), 0);
    CScsiCommand command(bench.drive);
    EXPECT_EQ(FailureOf([&] { bench.drive.SetupWriteParameters(command, 0x1B, 0xC0); }),
              "internal error #1019");
    EXPECT_EQ(bench.Trace().at(2), "5A 08 05 00 00 00 00 00 3C");

    // A second answer that claims more than was asked for is cut to what was.
    DvdBench larger(0x1B);
    Bytes second = larger.writeParameters.data;
    StoreBe16(second.data(), 0xFFFF);
    larger.FailCommand(2, GoodAnswer(second));
    CScsiCommand again(larger.drive);
    larger.drive.SetupWriteParameters(again, 0x1B, 0xC0);
    EXPECT_EQ(larger.port.Sent().back().length, 60u);
}

TEST(DvdPrepareTest, SaysWhatIsWrongWithTheDriveOrTheDisc) {
    struct Case {
        const char* text;
        uint32_t profile;
        int64_t blocks;
        std::function<void(DvdBench&)> arrange;
    };
    const auto structure = [](const Bytes& answer) {
        return [answer](DvdBench& bench) {
            bench.drive.m_bDaoOnly = true;
            bench.port.Always(mmc::kReadDvdStructure, GoodAnswer(answer));
        };
    };
    const char* const wasteMinus = "more than half of space on DVD-R DL disk will be wasted, use "
                                   "single layer disk instead";
    const char* const wastePlus = "more than half of space on DVD+R DL disk will be wasted, use "
                                  "single layer disk instead";
    const Case cases[] = {
        {"disk type not supported", 0x16, 0, [](DvdBench&) {}},
        {"disk type not supported", 0x2A, 0, [](DvdBench&) {}},
        {"cannot access drive configuration", 0x11, 0,
         [](DvdBench& bench) { bench.incremental = SenseAnswer(5, 0x24, 0); }},
        {"internal error #1006", 0x13, 0,
         [](DvdBench& bench) {
             bench.port.Always(mmc::kReadDiscInformation, SenseAnswer(5, 0x24, 0));
         }},
        {"unable to read dvd-r dl structure", 0x15, 1,
         [](DvdBench& bench) {
             bench.port.Always(mmc::kReadDvdStructure, SenseAnswer(5, 0x24, 0));
         }},
        {wasteMinus, 0x15, 0x12345, structure(Answer(20, {{17, 1}, {18, 0x23}, {19, 0x45}}))},
        {"", 0x15, 0x12346, structure(Answer(20, {{17, 1}, {18, 0x23}, {19, 0x45}}))},
        {"cannot read DVD+R DL boundary information", 0x2B, 1,
         [](DvdBench& bench) {
             bench.drive.m_bDaoOnly = true;
             bench.port.Always(mmc::kReadDvdStructure, SenseAnswer(5, 0x24, 0));
         }},
        {"internal error #1007", 0x2B, 1, structure(Answer(12, {{1, 9}}))},
        {wastePlus, 0x2B, 32, structure(Answer(12, {{1, 10}, {11, 32}}))},
        {"", 0x2B, 32, structure(Answer(12, {{1, 10}, {4, 0x80}, {11, 32}}))}, // fixed
        {"", 0x2B, 33, structure(Answer(12, {{1, 10}, {11, 32}}))},
        {"cannot set DVD+R DL layer information", 0x2B, 33,
         [](DvdBench& bench) {
             bench.drive.m_bDaoOnly = true;
             bench.port.Always(mmc::kReadDvdStructure, GoodAnswer(Answer(12, {{1, 10}})));
             bench.port.Always(mmc::kSendDvdStructure, SenseAnswer(5, 0x24, 0));
         }},
    };
    for (const Case& c : cases) {
        DvdBench bench(c.profile);
        c.arrange(bench);
        EXPECT_EQ(FailureOf([&] { bench.drive.PrepareDvdMedia(c.blocks * kBlock); }), c.text);
        bench.drive.m_pfnFinalize = nullptr;
    }
}

TEST(DvdPrepareTest, TheLayersOfADvdPlusRDlAreSplitInHalvesOfWholeEccBlocks) {
    struct {
        int64_t blocks;
        uint32_t split;
    } const cases[] = {{1, 16}, {16, 16}, {17, 16}, {33, 32}, {4'000'000, 2'000'000}};
    for (const auto& c : cases) {
        DvdBench bench(0x2B);
        bench.port.Always(mmc::kReadDvdStructure, GoodAnswer(Answer(12, {{1, 10}})));
        CScsiCommand command(bench.drive);
        bench.drive.SplitPlusRDl(command, c.blocks * kBlock);
        Bytes expected = Answer(12, {{1, 10}});
        StoreBe32(&expected[8], c.split);
        EXPECT_EQ(bench.port.Sent().back().dataOut, expected) << c.blocks;
    }
}

} // namespace
} // namespace larkspin
