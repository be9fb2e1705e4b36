// Records how blocks grow, for tests of who grows them. Takes a program that is linked with
// --wrap=realloc.
#pragma once

#include <cstddef>
#include <limits>
#include <vector>

/// Records while it lives; one at a time, one thread.
class ReallocRecord {
  public:
    ReallocRecord();
    ReallocRecord(const ReallocRecord&) = delete;
    ReallocRecord& operator=(const ReallocRecord&) = delete;
    ~ReallocRecord();

    /// Of every call, in bytes, those that were refused among them.
    const std::vector<std::size_t>& sizes() const { return m_sizes; }

    /// Memory ends here.
    void refuse_above(std::size_t size) { m_most = size; }

    /// False when there is no memory for it.
    bool add(std::size_t size);

  private:
    std::vector<std::size_t> m_sizes;
    std::size_t m_most = std::numeric_limits<std::size_t>::max();
};
