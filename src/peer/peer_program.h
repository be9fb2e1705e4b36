// velmo-peer from its arguments to its exit status. Called by main.
#pragma once

#include <span>

/// `arguments` without the program's name.
int run_peer_program(std::span<char* const> arguments);
