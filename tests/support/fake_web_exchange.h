// A scripted backend in place of platform/web_exchange.h: it records what is asked, answers what a
// test wrote, and fails where told.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

struct WebCall {
    std::string method;
    std::string url;
    std::string body;
    bool has_body;

    bool operator==(const WebCall&) const = default;
};

struct FakeWebAnswer {
    static constexpr std::size_t k_never = static_cast<std::size_t>(-1);

    std::optional<std::uint32_t> status = 200;
    std::string body{};
    bool reachable = true;                    ///< off: no answer at all
    std::size_t piece = k_never;              ///< how many bytes of the body are there at a time
    std::size_t read_fails_at = k_never;      ///< a read at this place of the body fails
    std::size_t available_fails_at = k_never; ///< a question at this place fails
    std::size_t claims = 0;                   ///< what is said to be there at the body's end
};

/// One at a time; every exchange of the seam belongs to it while it lives. Without one nobody
/// answers. Aborts the program, with a sentence, when there are two or an exchange outlives it. One
/// thread.
class FakeWeb {
  public:
    FakeWeb();
    ~FakeWeb();
    FakeWeb(const FakeWeb&) = delete;
    FakeWeb& operator=(const FakeWeb&) = delete;

    /// Queues the answer to the next request that has none yet. A request beyond the queue finds
    /// nobody, unless answer_always was called.
    void answer(std::uint32_t status, std::string body);
    void answer(FakeWebAnswer answer);
    void answer_unreachable();
    /// What every request beyond the queue gets.
    void answer_always(FakeWebAnswer answer);

    /// Called at each request, before its answer.
    void at_each_call(std::function<void()> callback) { m_at_call = std::move(callback); }

    const std::vector<WebCall>& calls() const { return m_calls; }
    const WebCall& last_call() const;
    void forget_calls() { m_calls.clear(); }

    std::size_t unused_answers() const { return m_answers.size(); }
    int open_exchanges() const { return m_open_exchanges; }
    /// The most bytes that one read asked for.
    std::size_t largest_read() const { return m_largest_read; }
    /// How many bytes of all bodies were read.
    std::size_t bytes_read() const { return m_bytes_read; }

  private:
    friend struct FakeWebSeam;

    std::deque<FakeWebAnswer> m_answers;
    FakeWebAnswer m_always{.reachable = false};
    std::vector<WebCall> m_calls;
    std::function<void()> m_at_call;
    int m_open_exchanges = 0;
    std::size_t m_largest_read = 0;
    std::size_t m_bytes_read = 0;
};
