// Takes denormal numbers for zero while an object of this class lives. Used by the processing chain
// around every block.
//
// In silence after speech the histories of the filters and the envelopes die away into the denormal
// range (below 1.2e-38) and stay there, where processors are slow: the chain would take some forty
// times as long. Taken for zero, such numbers change nothing that can be heard or sent: results
// differ only where they are below 1e-30 themselves, and the first sound after a silence makes the
// histories equal again to the last bit.
#pragma once

#ifdef __SSE2__
#include <xmmintrin.h>

class DenormalsAsZero {
  public:
    DenormalsAsZero() : m_saved(_mm_getcsr()) { _mm_setcsr(m_saved | k_flush_results | k_as_zero); }
    ~DenormalsAsZero() { _mm_setcsr(m_saved); }
    DenormalsAsZero(const DenormalsAsZero&) = delete;
    DenormalsAsZero& operator=(const DenormalsAsZero&) = delete;

  private:
    static constexpr unsigned k_flush_results = 0x8000;
    static constexpr unsigned k_as_zero = 0x0040;
    unsigned m_saved;
};

#else

/// Elsewhere denormals are computed as they are.
class DenormalsAsZero {
  public:
    DenormalsAsZero() {}
    ~DenormalsAsZero() {}
    DenormalsAsZero(const DenormalsAsZero&) = delete;
    DenormalsAsZero& operator=(const DenormalsAsZero&) = delete;
};

#endif
