// A scripted chat server in place of platform/web_socket.h: it takes or refuses connections,
// records what is sent, and says what a test wrote.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

/// Where a connection was asked for.
struct FakeSocketOpening {
    std::string host;
    std::uint16_t port;
    std::string path;
    bool is_secure;

    bool operator==(const FakeSocketOpening&) const = default;
};

struct FakeSocketSent {
    std::size_t connection; ///< 0 for the first one that was taken
    std::string text;
    std::thread::id thread;
};

/// What the server says to a text that was sent.
using FakeSocketAnswer = std::function<std::vector<std::string>(const std::string& text)>;

struct FakeSocketState;

/// One at a time; it takes every connection unless told otherwise. Without one all openings fail.
/// Its end breaks what is still connected and waits for the seam's callers to let go. Aborts the
/// program, with a sentence, when they do not, when there are two of it, and when the rules of the
/// seam are broken: two senders at once, a send beside a close, two receivers, an end during a
/// call.
///
/// Any thread. Whatever says "waits" does so for 10 s at most and returns whether it came.
class FakeWebSocketServer {
  public:
    FakeWebSocketServer();
    ~FakeWebSocketServer();
    FakeWebSocketServer(const FakeWebSocketServer&) = delete;
    FakeWebSocketServer& operator=(const FakeWebSocketServer&) = delete;

    /// Openings from now on fail at `stage` with `code`, until accept_openings.
    void refuse_openings(const char* stage, std::uint32_t code);
    void accept_openings();

    /// Openings from now on wait for release_openings, and are taken or refused then; one that is
    /// stopped meanwhile fails.
    void hold_openings();
    void release_openings();

    /// Openings that wait do not look for a stop, as those of a slow system.
    void deaf_to_stops();

    /// Says "auth:ok" to an "auth", "chat:joined" to a "chat:join" and an empty page to a
    /// "messages:history"; nothing to anything else.
    void answer_friendly();

    /// What is said to a text whose "type" is `type`, in the order of the texts; replaces what was
    /// registered for it. Called on the sender's thread.
    void answer(const std::string& type, FakeSocketAnswer answer);

    /// Called for each text that is sent, on the sender's thread, before it is recorded.
    void at_each_send(std::function<void(const std::string& text)> callback);

    /// The next `count` sends fail and are not recorded as sent.
    void fail_sends(std::size_t count);

    /// A receive goes on waiting though this side closed, until the server's end or
    /// `deaf_to_closing(false)`.
    void deaf_to_closing(bool is_deaf);

    /// Sends from now on wait, until this is taken back, their connection is aborted, or the
    /// server ends.
    void read_nothing(bool is_so);

    // To the latest connection, which must be one that was taken. A text longer than the receiver's
    // buffer arrives in fragments, as it does in the real seams.
    void say(const std::string& text);
    void say_fragment(const std::string& text); ///< more of the message follows
    void say_binary(const std::string& bytes);
    void say_close();
    void fail(std::uint32_t code); ///< the connection breaks

    /// Waits until the client has asked for `count` connections in all.
    bool wait_for_openings(std::size_t count) const;
    /// Waits until `count` texts were sent in all.
    bool wait_for_sent(std::size_t count) const;
    /// Waits until a send over the latest connection waits for read_nothing's end.
    bool wait_until_stuck() const;
    /// Waits until the latest connection's receiver has handled all that was said and asks for
    /// more.
    bool wait_until_heard() const;
    /// Waits until no connection is left.
    bool wait_until_gone() const;

    std::vector<FakeSocketOpening> openings() const;
    std::vector<FakeSocketSent> sent_by() const;
    std::vector<std::string> sent() const;
    std::size_t failed_sends() const;
    /// The first closing of each connection, in their order.
    std::vector<std::uint16_t> closings() const;
    /// Connections that were taken and not let go of.
    std::size_t open_connections() const;

  private:
    std::shared_ptr<FakeSocketState> m_state;
};

/// The text behind the first `"KEY":"` of `text`, up to the next quote; empty: none.
std::string fake_frame_value(const std::string& text, const std::string& key);
