// The service's measure of time. Used by whatever writes or judges one.
#pragma once

#include <cstdint>

/// Milliseconds since 1970, UTC.
using WallTime = std::int64_t;
