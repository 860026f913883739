// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// A mutex known by name to all processes of one user; it tells who came first.
//
// It is an flock(2) on a file in $XDG_RUNTIME_DIR, or, without one, in a private folder of the user
// (mode 0700) below /tmp. The kernel releases it when the process ends in any way, so a crash
// leaves nothing behind that could block the next start. The file itself stays.
#pragma once

#include <string>

namespace larkspin {

class NamedMutex {
  public:
    enum class Result {
        Owned,         // this object holds the mutex until it is destroyed
        AlreadyExists, // another process, or another object of this one, holds it
        Failed,        // ErrorText says why
    };

    // Tries once, without waiting. `name` is used as a file name: no '/'.
    explicit NamedMutex(const std::string& name);
    NamedMutex(const NamedMutex&) = delete;
    NamedMutex& operator=(const NamedMutex&) = delete;
    ~NamedMutex();

    Result Outcome() const { return m_result; }
    // The system's text for the error if the outcome is Failed, else empty.
    const std::string& ErrorText() const { return m_strError; }

  private:
    void Fail(int error);

    Result m_result = Result::Failed;
    std::string m_strError;
    int m_fd = -1;
};

} // namespace larkspin
