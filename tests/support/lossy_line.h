// One direction of a bad network: loses, doubles, delays and reorders datagrams, the same way for
// the same seed. Pure; used by the lossy relay.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <random>
#include <span>
#include <utility>
#include <vector>

/// Percentages are of all datagrams, 0 to 100.
struct LossyLineOptions {
    double loss_percent = 0;
    std::uint64_t spared = 0; ///< so many datagrams, the first, are not lost
    double duplicate_percent = 0;
    /// Datagrams that those behind them may overtake: delayed by `overtaken_ms` more. All others
    /// keep their order whatever their jitter.
    double reorder_percent = 0;
    std::uint32_t delay_ms = 0;  ///< of every datagram
    std::uint32_t jitter_ms = 0; ///< 0 to this much more, evenly spread
    std::uint32_t overtaken_ms = 25;
    std::uint64_t seed = 1;
};

struct LossyLineCounts {
    std::uint64_t sent = 0;
    std::uint64_t lost = 0;
    std::uint64_t doubled = 0;
    std::uint64_t overtaken = 0; ///< delayed for being overtaken
};

/// Times are milliseconds of any clock that does not run backwards. One thread.
class LossyLine {
  public:
    explicit LossyLine(const LossyLineOptions& options);

    /// Puts a datagram on the line. `cut`: the line is broken, so the datagram is lost.
    void send(std::span<const std::uint8_t> datagram, std::int64_t now, bool cut);

    /// The next datagram that has come through by `now`, empty when none has.
    std::optional<std::vector<std::uint8_t>> take_due(std::int64_t now);

    const LossyLineCounts& counts() const { return m_counts; }

  private:
    bool chance(double percent);
    std::int64_t arrival(std::int64_t now);

    static constexpr std::size_t k_max_under_way = 4096; // what comes on top of them is lost

    LossyLineOptions m_options;
    LossyLineCounts m_counts;
    std::mt19937_64 m_random;
    std::int64_t m_last_arrival; // of those that keep their order
    std::uint64_t m_next_number = 0;
    /// By arrival, then by number.
    std::map<std::pair<std::int64_t, std::uint64_t>, std::vector<std::uint8_t>> m_under_way;
};
