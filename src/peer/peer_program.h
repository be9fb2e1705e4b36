// velmo-peer from its arguments to its exit status. Called by main.
#pragma once

#include <span>
#include <string>

/// `arguments` in UTF-8, without the program's name.
int run_peer_program(std::span<const std::string> arguments);
