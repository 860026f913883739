// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "platform/named_mutex.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <sys/wait.h>
#include <unistd.h>

namespace larkspin {
namespace {

using Result = NamedMutex::Result;

// The first one owns `name` until it goes.
void ExpectOneOwner(const std::string& name) {
    {
        const NamedMutex first(name);
        EXPECT_EQ(first.Outcome(), Result::Owned) << first.ErrorText();
        EXPECT_EQ(first.ErrorText(), "");
        EXPECT_EQ(NamedMutex(name).Outcome(), Result::AlreadyExists);
        EXPECT_EQ(NamedMutex(name + "-other").Outcome(), Result::Owned);
    }
    EXPECT_EQ(NamedMutex(name).Outcome(), Result::Owned);
}

TEST(NamedMutex, HasOneOwnerAlsoWhenThatDies) {
    const TempFolder folder;
    ASSERT_EQ(::setenv("XDG_RUNTIME_DIR", folder.Path().c_str(), 1), 0);
    ExpectOneOwner("mutex");
    const pid_t child = ::fork();
    if (child == 0) {
        const NamedMutex held("mutex");
        ::_exit(held.Outcome() == Result::Owned ? 0 : 1); // runs no destructor
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_EQ(status, 0);
    EXPECT_EQ(NamedMutex("mutex").Outcome(), Result::Owned);
}

TEST(NamedMutex, FailureCarriesTheSystemsText) {
    ASSERT_EQ(::setenv("XDG_RUNTIME_DIR", "/nonexistent-folder", 1), 0);
    const NamedMutex mutex("mutex");
    EXPECT_EQ(mutex.Outcome(), Result::Failed);
    EXPECT_EQ(mutex.ErrorText(), "No such file or directory");
}

TEST(NamedMutex, WithoutARuntimeFolderTheUsersOwnServes) {
    ASSERT_EQ(::unsetenv("XDG_RUNTIME_DIR"), 0);
    const std::string name = "test-" + std::to_string(::getpid());
    ExpectOneOwner(name);
    const std::string path = "/tmp/larkspin-" + std::to_string(::getuid()) + "/" + name;
    EXPECT_EQ(::unlink(path.c_str()), 0);
    EXPECT_EQ(::unlink((path + "-other").c_str()), 0);
}

} // namespace
} // namespace larkspin
