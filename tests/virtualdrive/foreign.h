// Runs programs that know nothing of the virtual drive with it as /dev/sr0, through the preloaded
// library.
#pragma once

#include "host.h"

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>

#ifdef LARKSPIN_FAKESR_LIBRARY

namespace larkspin {

inline void WriteFile(const std::string& path, const Bytes& bytes) {
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
}

// Programs look whether the blocks in front of a lead-out can be read, since run-out can't.
constexpr const char* kRunOutRead = "28 3/11/05";

// Programs with a folder and a disc of their own; several may be at work at the same time.
class ForeignPrograms {
  public:
    void Load(const std::string& kind) {
        ASSERT_TRUE(VirtualDrive::CreateDisc(Path("disc"), kind));
    }
    std::string Path(const std::string& name) const { return folder.Path() + "/" + name; }

    // Runs a program in the test's folder with the drive at /dev/sr0; what it printed is in
    // `output`. All its commands must have been to the drive's liking, but for news of the medium
    // and a refusal that `tolerated` names by opcode and sense.
    void RunProgram(const std::string& command, const std::string& tolerated = "") {
        std::filesystem::remove(Path("log"));
        const std::string line = "cd " + folder.Path() +
                                 " && LC_ALL=C LARKSPIN_FAKESR=" + Path("disc") +
                                 " LARKSPIN_FAKESR_LOG=" + Path("log") +
                                 " LD_PRELOAD=" LARKSPIN_FAKESR_LIBRARY " " + command + " 2>&1";
        std::FILE* pipe = ::popen(line.c_str(), "r");
        ASSERT_NE(pipe, nullptr);
        output.clear();
        std::array<char, 4096> buffer = {};
        while (const size_t count = std::fread(buffer.data(), 1, buffer.size(), pipe))
            output.append(buffer.data(), count);
        ASSERT_EQ(::pclose(pipe), 0) << command << "\n" << output;
        std::ifstream log(Path("log"));
        int commands = 0;
        for (std::string entry; std::getline(log, entry); ++commands) {
            const std::string result = entry.substr(entry.find("= ") + 2);
            if (result == "0/00/00" || result == "6/28/00")
                continue;
            EXPECT_EQ(entry.substr(0, 3) + result, tolerated) << command << "\n" << entry;
        }
        EXPECT_GT(commands, 0) << "the program never came to the drive";
    }
    void ExpectOutput(const std::string& text) const {
        EXPECT_NE(output.find(text), std::string::npos) << "\"" << text << "\" in:\n" << output;
    }

    TempFolder folder;
    std::string output;
};

class ForeignProgramsTest : public ::testing::Test, protected ForeignPrograms {};

} // namespace larkspin

#endif
