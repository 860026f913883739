#include "platform/named_mutex.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <sys/wait.h>
#include <unistd.h>

namespace larkspin {
namespace {

TEST(NamedMutex, TheFirstOwnsItUntilItGoes) {
    const TempFolder folder;
    ASSERT_EQ(::setenv("XDG_RUNTIME_DIR", folder.Path().c_str(), 1), 0);
    std::optional<NamedMutex> first(std::in_place, "mutex");
    EXPECT_EQ(first->Outcome(), NamedMutex::Result::Owned);
    EXPECT_EQ(first->ErrorText(), "");
    EXPECT_EQ(NamedMutex("mutex").Outcome(), NamedMutex::Result::AlreadyExists);
    EXPECT_EQ(NamedMutex("other").Outcome(), NamedMutex::Result::Owned);
    first.reset();
    EXPECT_EQ(NamedMutex("mutex").Outcome(), NamedMutex::Result::Owned);
}

TEST(NamedMutex, AnOwnerThatDiesLetsGo) {
    const TempFolder folder;
    ASSERT_EQ(::setenv("XDG_RUNTIME_DIR", folder.Path().c_str(), 1), 0);
    const pid_t child = ::fork();
    if (child == 0) {
        const NamedMutex held("mutex");
        ::_exit(held.Outcome() == NamedMutex::Result::Owned ? 0 : 1); // runs no destructor
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_EQ(status, 0);
    EXPECT_EQ(NamedMutex("mutex").Outcome(), NamedMutex::Result::Owned);
}

TEST(NamedMutex, FailureCarriesTheSystemsText) {
    ASSERT_EQ(::setenv("XDG_RUNTIME_DIR", "/nonexistent-folder", 1), 0);
    const NamedMutex mutex("mutex");
    EXPECT_EQ(mutex.Outcome(), NamedMutex::Result::Failed);
    EXPECT_EQ(mutex.ErrorText(), "No such file or directory");
}

TEST(NamedMutex, WithoutARuntimeFolderTheUsersOwnServes) {
    ASSERT_EQ(::unsetenv("XDG_RUNTIME_DIR"), 0);
    const std::string name = "test-" + std::to_string(::getpid());
    {
        const NamedMutex first(name);
        EXPECT_EQ(first.Outcome(), NamedMutex::Result::Owned) << first.ErrorText();
        EXPECT_EQ(NamedMutex(name).Outcome(), NamedMutex::Result::AlreadyExists);
    }
    ::unlink(("/tmp/larkspin-" + std::to_string(::getuid()) + "/" + name).c_str());
}

} // namespace
} // namespace larkspin
