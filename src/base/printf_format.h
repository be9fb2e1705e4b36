// Lets the compiler check printf-style arguments of our own functions on every supported compiler.
#pragma once

#if defined(__clang__)
#define VELMO_PRINTF(format_index, first_argument)                                                 \
    __attribute__((format(printf, format_index, first_argument)))
#else
// GNU rules also for Windows, where the C runtime's own dialect differs.
#define VELMO_PRINTF(format_index, first_argument)                                                 \
    __attribute__((format(gnu_printf, format_index, first_argument)))
#endif
