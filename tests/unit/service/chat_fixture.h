// A chat hub in memory beside a REST service on the same data, and clients who talk to it. Shared
// by the tests of the hub.
#pragma once

#include "service/chat/chat_hub.h"
#include "unit/service/rest_fixture.h"

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

class ChatTest : public RestTest {
  protected:
    ChatTest() {
        ChatLimits limits;
        limits.frames_burst = 100'000; // of their own test
        start_hub(limits);
    }

    /// A new hub on the same data.
    void start_hub(const ChatLimits& limits) {
        ChatHooks hooks;
        hooks.send = [this](ChatClientId to, const std::string& frame) {
            EXPECT_FALSE(m_closed.contains(to)) << frame;
            m_frames[to].push_back(frame);
        };
        hooks.close = [this](ChatClientId client, WebSocketClose code) {
            EXPECT_TRUE(m_closed.emplace(client, code).second);
        };
        hooks.now = [] { return g_test_now; };
        hooks.report = [](const char* line) { g_reports.emplace_back(line); };
        hooks.log = [this](const std::string& line) { m_log.push_back(line); };
        m_hub = std::make_unique<ChatHub>(*m_database, limits, hooks);
        m_service->set_chat_listener([this](const ChatEvent& event) { m_hub->announce(event); });
    }

    /// A client who is nobody yet.
    ChatClientId connect() {
        m_hub->open(++m_last_id);
        return m_last_id;
    }
    ChatClientId connect_as(const Person& person) {
        const ChatClientId client = connect();
        say(client, {{"type", "auth"}, {"sessionToken", person.token}});
        EXPECT_EQ(types(heard(client)), "auth:ok ");
        return client;
    }
    /// Signed in, and following the space as the desktop client does.
    ChatClientId connect_to(const Person& person, const std::string& space) {
        const ChatClientId client = connect_as(person);
        subscribe(client, "spaceRooms", {{"spaceId", space}});
        subscribe(client, "spaceMessages", {{"spaceId", space}});
        EXPECT_EQ(types(heard(client)), "rooms:snapshot subscribed stream:status ");
        return client;
    }

    void say_text(ChatClientId client, const std::string& frame) {
        m_hub->receive(client, frame, m_now);
    }
    void say(ChatClientId client, const Json& frame) { say_text(client, frame.dump()); }
    void subscribe(ChatClientId client, const char* channel, Json what) {
        what["type"] = "subscribe";
        what["channel"] = channel;
        say(client, what);
    }

    /// The frames that came since this was asked last, as they came.
    std::vector<std::string> heard_texts(ChatClientId client) {
        return std::exchange(m_frames[client], {});
    }
    std::vector<Json> heard(ChatClientId client) {
        std::vector<Json> frames;
        for (const std::string& text : heard_texts(client)) {
            frames.push_back(Json::parse(text, nullptr, false));
            EXPECT_TRUE(frames.back().is_object()) << text;
        }
        return frames;
    }
    /// The only frame since this was asked last; null otherwise.
    Json heard_one(ChatClientId client) {
        const std::vector<Json> frames = heard(client);
        EXPECT_EQ(frames.size(), 1U) << types(frames);
        return frames.size() == 1 ? frames[0] : Json();
    }
    static std::string types(const std::vector<Json>& frames) {
        std::string all;
        for (const Json& frame : frames) {
            all += frame.value("type", "?") + " ";
        }
        return all;
    }
    /// Whether the only answer is a refusal.
    bool is_refused(ChatClientId client, const Json& frame) {
        heard(client);
        say(client, frame);
        const std::vector<Json> frames = heard(client);
        return frames.size() == 1 && frames[0]["type"] == "error" &&
               !frames[0].value("error", "").empty();
    }
    bool is_closed(ChatClientId client) const { return m_closed.contains(client); }

    std::unique_ptr<ChatHub> m_hub;
    std::map<ChatClientId, std::vector<std::string>> m_frames;
    std::map<ChatClientId, WebSocketClose> m_closed;
    std::vector<std::string> m_log;
    ChatClientId m_last_id = 0;
    std::int64_t m_now = 0; // of the clock that never runs backwards
};
