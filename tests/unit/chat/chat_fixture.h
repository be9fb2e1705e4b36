// What the tests of the chat channel share: a scripted server, a signed-in user with a space, a
// clock that a test moves, what reached the main thread, and the lines of the hub's log.
#pragma once

#include "support/fake_web_socket.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

/// The program's clock while it lives: a sleep moves it and does what is due meanwhile. For the
/// thread of the test, which is the only one that sleeps.
class ChatClock {
  public:
    ChatClock();
    ~ChatClock();
    ChatClock(const ChatClock&) = delete;
    ChatClock& operator=(const ChatClock&) = delete;

    /// Milliseconds since it began.
    static std::uint32_t now();
    /// Does `action` during the sleep that reaches `time`.
    static void at(std::uint32_t time, std::function<void()> action);
};

using Texts = std::vector<std::string>;

/// Whether `condition` comes true within 10 s of real time.
bool comes_true(const std::function<bool()>& condition);

class ChatTest : public testing::Test {
  protected:
    ChatTest();
    ~ChatTest() override;

    /// Starts with a friendly server, which lets the client in.
    void start_ready();

    /// The same, and joins "space-1".
    void start_joined();

    /// Joins over a friendly server; may take 20 ms of the clock.
    bool join(const char* space);

    /// Waits for the connection of the opening with this number, counted from 1, to have heard all.
    bool wait_for_connection(std::size_t number);

    /// What the server was sent, without the introduction of each connection.
    Texts sent_after_introduction() const;

    /// What reached the main thread so far, a line for each event.
    Texts take_events();

    /// The lines of the hub's log without their times.
    static Texts log_lines();
    /// Those of them that begin with "[HUB][CHAT][PART]".
    static Texts log_lines_of(const std::string& part);
    /// Those of joins, without the one that the channel's thread writes whenever it comes to it.
    static Texts log_lines_of_joining();

    FakeWebSocketServer server;
    ChatClock clock;
};

/// The frames with which a connection introduces itself.
Texts introduction(const std::string& space = "space-1", const std::string& token = "the-token");
