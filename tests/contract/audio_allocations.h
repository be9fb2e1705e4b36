// Counts allocations, for the audio contract tests of real-time calls.
#pragma once

#include <cstdint>

/// How often the calling thread has allocated through operator new: our own code does, the
/// libraries below it are C and do not.
std::uint64_t allocations_of_this_thread();
