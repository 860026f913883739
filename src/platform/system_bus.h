// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Calls to services of the system, such as UDisks2 and logind, over its message bus (D-Bus).
//
// An interface, so that the libraries below the process entry need no toolkit and tests can play
// the services. Calls block, never longer than their limit, and may come from any thread.
#pragma once

#include <chrono>
#include <map>
#include <string>
#include <variant>
#include <vector>

namespace larkspin {

using BusOptions = std::map<std::string, bool>; // "a{sv}" with booleans
using BusArgument = std::variant<std::string, BusOptions>;

struct BusCall {
    std::string service;
    std::string path;
    std::string interface;
    std::string method;
    std::vector<BusArgument> arguments;
    std::chrono::milliseconds limit{10'000};
};

struct BusReply {
    std::string error; // D-Bus name of the error, empty after a success
    std::string text;  // what the error says, for the user
    // A file descriptor that the service handed over, -1 if there is none. The caller closes it.
    int descriptor = -1;

    bool Failed() const { return !error.empty(); }
};

class ISystemBus {
  public:
    virtual ~ISystemBus() = default;

    // A bus that is not there, a service that does not run and a limit that runs out are errors
    // like those that the service itself gives.
    virtual BusReply Call(const BusCall& call) = 0;
};

} // namespace larkspin
