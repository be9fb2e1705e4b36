// Counts what the calling thread allocates, for tests of paths that must not. Linking this replaces
// the program's operator new.
#pragma once

/// Counts while it lives; one at a time per thread.
class AllocationCounter {
  public:
    AllocationCounter();
    AllocationCounter(const AllocationCounter&) = delete;
    AllocationCounter& operator=(const AllocationCounter&) = delete;
    ~AllocationCounter();

    int count() const;
};
