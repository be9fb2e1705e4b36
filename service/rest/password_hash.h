// What is stored of a password, and whether one fits. Called by the threads that take the time.
#pragma once

#include <cstddef>
#include <string>

/// What one hash costs: passes over so much memory.
struct PasswordCost {
    unsigned long long passes = 2;
    std::size_t memory_bytes = 64 * 1024 * 1024;
};

enum class PasswordCheck {
    fits,
    wrong,
    failed, ///< no memory to find out
};

/// The hash to store, with its salt and cost in it; empty when there is no memory for it. Any
/// thread, after sodium_init.
std::string hash_password(const std::string& password, PasswordCost cost);

/// Whether `password` is the one of `hash`; wrong for what is no hash. Any thread, after
/// sodium_init.
PasswordCheck check_password(const std::string& password, const std::string& hash);
