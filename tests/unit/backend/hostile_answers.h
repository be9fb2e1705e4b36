// Runs any of the REST calls against a scripted server of any kind and looks whether what it left
// behind is sound. For the property test and the fuzz target.
#pragma once

#include "support/fake_web_exchange.h"

#include <cstddef>
#include <string>

constexpr std::size_t k_hostile_calls = 15;

/// The client beside the server: signed in, with what the calls before have left in its tables.
class HostileServer {
  public:
    HostileServer();
    ~HostileServer();
    HostileServer(const HostileServer&) = delete;
    HostileServer& operator=(const HostileServer&) = delete;

    /// Makes a call with the answers of `web`. Returns what is wrong afterwards; empty: nothing.
    std::string run(std::size_t call, const FakeWeb& web);
};
