// See chat_fixture.h.
#include "unit/chat/chat_fixture.h"

#include "backend/endpoints.h"
#include "backend/hub_tables.h"
#include "backend/identity.h"
#include "base/clock.h"
#include "base/text.h"
#include "chat/chat_connection.h"
#include "chat/chat_events.h"
#include "chat/chat_internal.h"
#include "unit/core/fake_main_queue.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <map>
#include <memory>
#include <thread>
#include <utility>

namespace {

std::uint32_t g_now = 0;
std::multimap<std::uint32_t, std::function<void()>> g_due;
Texts g_events;

std::uint32_t now_ms() {
    return g_now;
}

void sleep_ms(std::uint32_t milliseconds) {
    const std::uint32_t end = g_now + milliseconds;
    while (!g_due.empty() && g_due.begin()->first <= end) {
        auto next = g_due.extract(g_due.begin());
        g_now = std::max(g_now, next.key());
        next.mapped()();
    }
    g_now = end;
}

constexpr ClockSource k_source{now_ms, sleep_ms};

} // namespace

ChatClock::ChatClock() {
    g_now = 0;
    g_due.clear();
    clock_set_source(&k_source);
}

ChatClock::~ChatClock() {
    clock_set_source(nullptr);
    g_due.clear();
}

std::uint32_t ChatClock::now() {
    return g_now;
}

void ChatClock::at(std::uint32_t time, std::function<void()> action) {
    g_due.emplace(time, std::move(action));
}

bool comes_true(const std::function<bool()>& condition) {
    using namespace std::chrono;
    for (const auto end = steady_clock::now() + seconds(10); steady_clock::now() < end;) {
        if (condition()) {
            return true;
        }
        std::this_thread::sleep_for(milliseconds(1));
    }
    return false;
}

ChatTest::ChatTest() {
    std::remove("hub_click_debug.log");
    copy_text(g_selected_space_id, "space-1");
    copy_text(g_session_token, "the-token");
    copy_text(g_chat_ws_url, "ws://chat.test:3603");
    chat_ws_begin_run(); // forgets what an earlier test left
    fake_main_queue_install();
    g_events.clear();
    Chat_SetRoomsCallback([] { g_events.emplace_back("rooms"); });
    Chat_SetMessageCallback([](const ChatMessageEvent& event) {
        g_events.push_back(std::string("message ") + event.room_id + "|" + event.space_id + "|" +
                           event.sender_display_name + "|" + event.text + "|" + event.created_at);
    });
    Chat_SetHistoryCallback([](const ChatHistoryEvent& event) {
        g_events.push_back(std::string("history ") + event.room_id + "|" + event.space_id + "|" +
                           event.payload);
    });
    Chat_SetStreamCallback([](const ChatStreamEvent& event) {
        g_events.push_back(std::string("stream ") + event.space_id + "|" + event.publisher_user_id +
                           (event.is_streaming ? "|on" : "|off"));
    });
}

ChatTest::~ChatTest() {
    server.deaf_to_closing(false);
    server.read_nothing(false);
    server.release_openings();
    chat_ws_stop();
    EXPECT_TRUE(server.wait_until_gone());
    Chat_SetRoomsCallback(nullptr);
    Chat_SetMessageCallback(nullptr);
    Chat_SetHistoryCallback(nullptr);
    Chat_SetStreamCallback(nullptr);
    fake_main_queue_install(); // frees what nobody took
}

void ChatTest::start_ready() {
    server.answer_friendly();
    chat_ws_start_for_selected_space();
    ASSERT_TRUE(wait_for_connection(1));
    ASSERT_TRUE(chat_ws_is_ready());
}

void ChatTest::start_joined() {
    start_ready();
    ASSERT_TRUE(join("space-1"));
}

bool ChatTest::join(const char* space) {
    // The answer has been said once the request was sent, and wants to be heard.
    const auto is_joining = std::make_shared<bool>(true);
    ChatClock::at(ChatClock::now() + 1,
                  [this, is_joining] { EXPECT_TRUE(!*is_joining || server.wait_until_heard()); });
    const bool has_joined = chat_ws_join_space_chat(space);
    *is_joining = false;
    return has_joined;
}

bool ChatTest::wait_for_connection(std::size_t number) {
    return server.wait_for_openings(number) && server.wait_until_heard();
}

Texts ChatTest::sent_after_introduction() const {
    Texts texts;
    std::size_t introduced = 0;
    std::size_t connection = static_cast<std::size_t>(-1);
    for (const FakeSocketSent& sent : server.sent_by()) {
        introduced = sent.connection == connection ? introduced + 1 : 1;
        connection = sent.connection;
        if (introduced > introduction().size()) {
            texts.push_back(sent.text);
        }
    }
    return texts;
}

Texts ChatTest::take_events() {
    fake_main_queue_run();
    return std::exchange(g_events, {});
}

Texts ChatTest::log_lines() {
    constexpr std::size_t k_stamp = 22; // "[2024-05-01 10:20:30] "
    Texts lines;
    std::ifstream file("hub_click_debug.log");
    for (std::string line; std::getline(file, line);) {
        lines.push_back(line.substr(std::min(line.size(), k_stamp)));
    }
    return lines;
}

Texts ChatTest::log_lines_of(const std::string& part) {
    Texts lines = log_lines();
    const std::string mark = "[HUB][CHAT][" + part + "]";
    std::erase_if(lines, [&](const std::string& line) { return !line.starts_with(mark); });
    return lines;
}

Texts ChatTest::log_lines_of_joining() {
    Texts lines = log_lines_of("JOIN");
    std::erase(lines, "[HUB][CHAT][JOIN] ws-chat:joined spaceId=space-1");
    return lines;
}

Texts introduction(const std::string& space, const std::string& token) {
    const std::string follow = R"({"type":"subscribe","channel":")";
    const std::string whose = R"(","spaceId":")" + space + R"(","sessionToken":")" + token + "\"}";
    return {R"({"type":"auth","sessionToken":")" + token + "\"}", follow + "spaceRooms" + whose,
            follow + "spaceMessages" + whose};
}
