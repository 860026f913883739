// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Calls to system services, such as UDisks2 and logind, over their message bus (D-Bus).
//
// An interface, so that the libraries below the process entry need no toolkit and tests can play
// the services. Calls block, but never longer than their limit, and may come from any thread.
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
    std::string error; // D-Bus name of the error; empty on success
    std::string text;  // the error message, for the user
    // A file descriptor passed by the service, or -1. The caller closes it.
    int descriptor = -1;

    bool Failed() const { return !error.empty(); }
};

class ISystemBus {
  public:
    virtual ~ISystemBus() = default;

    // A missing bus, a service that does not run and an expired limit are errors like those from
    // the service itself.
    virtual BusReply Call(const BusCall& call) = 0;
};

} // namespace larkspin
