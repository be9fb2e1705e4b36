// What the patient clock's program and the library that shows its time to other programs share.
#pragma once

#include <atomic>
#include <cstdint>

/// The clock's page in shared memory, whose path is in the environment. Written by
/// patient_clock_main.cpp alone.
struct PatientClock {
    std::atomic<std::int64_t> now_ns; ///< what CLOCK_MONOTONIC and its kind tell
    std::int64_t day_offset_ns;       ///< from there to CLOCK_REALTIME
    std::int64_t slowness;            ///< at least so many real nanoseconds make one of the clock's
    std::int64_t step_ns;             ///< what it advances by at once
    int owner;                        ///< the process that moves it on
};

inline constexpr const char* k_patient_clock_variable = "VELMO_PATIENT_CLOCK";
