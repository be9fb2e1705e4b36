// What the tests of the hub's chat share: its column in a window of its own, a signed-in user, a
// scripted chat server that holds a history, and a scripted backend.
#pragma once

#include "interface_fixture.h"

#include "support/fake_web_exchange.h"
#include "support/fake_web_socket.h"

#include <cstdint>
#include <string>
#include <vector>

/// One message as the list shows it.
struct ChatRow {
    std::string header;
    std::string text;

    bool operator==(const ChatRow&) const = default;
};
void PrintTo(const ChatRow& row, std::ostream* out);

using ChatRows = std::vector<ChatRow>;

class HubChatTest : public InterfaceTest {
  protected:
    HubChatTest();
    ~HubChatTest() override;

    /// Puts the column into a window, in place of an earlier one, and waits until it is laid out.
    /// No screen makes it lower than `least_height`.
    void show_column(int width = 480, int height = 600, int least_height = -1);

    /// Lets the server, which is friendly, hold messages 1 to `count` of the space "s1": each page
    /// has at most `page_size` of them, and its cursor is the number of its first message.
    void hold_history(int count, int page_size = 100);
    /// The message of this number, as its row shows it.
    static ChatRow held_message(int number);
    static ChatRows held_messages(int first, int last);

    /// Shows the chat of the space "s1" and waits for its newest page.
    void open_space();

    /// The channel is open and knows that the chat of the space "s1" is read.
    static void open_channel();

    /// Answers to requests for messages come when a test says them.
    void answer_later();

    /// The server says it, and the column has taken it.
    void say(const std::string& frame);

    /// The texts that the server was sent, without who this is and what it follows.
    Texts sent_requests() const;

    static ChatRows rows();
    static std::vector<GtkWidget*> row_widgets();
    /// Where the row begins, in pixels below the top of what is seen of the list.
    static double place_of(GtkWidget* row);
    static GtkAdjustment* scrolling();
    /// Lets everything be laid out and placed that waits for it.
    static void settle();

    static double bottom();
    static bool is_at_bottom();
    static void scroll_to(double value);
    /// As the wheel and the keyboard do it, on the list.
    static void emit_wheel(double dy);
    static void emit_key(guint key);
    static bool is_loading_shown();

    static std::string title();
    static std::string input();
    static void write_input(const std::string& text);

    /// The page of the column: "hub-room-chat" or "hub-stream-view".
    static std::string shown_page();

    FakeWebSocketServer server;
    FakeWeb web;
};

/// A message:new of the server.
std::string live_message(const std::string& sender, const std::string& text,
                         const std::string& scope = R"("spaceId":"s1")",
                         const std::string& created_at = "2024-05-01T10:20:30.000Z");

/// A messages:history of the server; `messages` without its brackets.
std::string history_frame(const std::string& messages, const std::string& more = "",
                          const std::string& scope = R"("spaceId":"s1")");
std::string history_message(const std::string& sender, const std::string& text,
                            const std::string& created_at = "2024-05-01T10:20:30.000Z");
