// The mix of one room and one tick: the sum of all talkers, and for each listener that sum without
// the listener's own voice. Called by the room rules every 10 ms.
#pragma once

#include "service/voice/talker_queue.h"

#include <array>
#include <cstdint>

/// Summing all once and taking each listener's own voice out again makes the work grow with the
/// number of people, not with its square. 32 bits hold 65536 voices; a sum is cut to 16 bits only
/// on its way out, so a voice that is taken out leaves no trace of an overload it took part in.
class VoiceMix {
  public:
    void clear() { m_sum.fill(0); }

    void add(const AudioBlock& block);

    /// The mix, saturated, without `own` (null: of everyone), which must have been added.
    void take_without(const AudioBlock* own, AudioBlock& block) const;

  private:
    std::array<std::int32_t, k_block_samples> m_sum{};
};
