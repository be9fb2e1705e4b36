// The chat half without its sockets: who is signed in, who follows what, and what each frame of a
// client brings about. Called by the server, by tests and by the fuzzer.
#pragma once

#include "service/chat/chat_follows.h"
#include "service/chat/chat_limits.h"
#include "service/chat/web_socket_frames.h"
#include "service/shared/chat_event.h"
#include "service/shared/flat_json.h"
#include "service/shared/rate_limit.h"
#include "service/store/accounts.h"
#include "service/store/wall_time.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

class Database;

/// What reaches the outside. None of it calls the hub.
struct ChatHooks {
    std::function<void(ChatClientId to, const std::string& frame)> send;
    /// The hub has forgotten the client: nothing more is sent to it.
    std::function<void(ChatClientId client, WebSocketClose code)> close;
    /// The time for messages and sessions.
    std::function<WallTime()> now;
    /// Gets one line for whoever runs the service about each failure of the database. Without
    /// anything that was sent.
    std::function<void(const char* line)> report;
    /// Gets one line per frame that came: who and which type; may be empty.
    std::function<void(const std::string& line)> log{};
};

/// Main thread. `database` outlives the hub.
class ChatHub {
  public:
    ChatHub(Database& database, const ChatLimits& limits, ChatHooks hooks)
        : m_database(database), m_limits(limits), m_hooks(std::move(hooks)) {}

    /// A new client, who is nobody yet.
    void open(ChatClientId client);
    /// It is gone, and its streams with it. Nothing for one that is not there.
    void leave(ChatClientId client);
    /// What it says. `now` is in milliseconds of a clock that never runs backwards.
    void receive(ChatClientId client, std::string_view frame, std::int64_t now);

    bool is_signed_in(ChatClientId client) const;
    /// Ends the conversation with a client whose session has ended meanwhile.
    void check_session(ChatClientId client);

    /// Tells those who follow it. It is stored.
    void announce(const ChatEvent& event);

  private:
    struct Client {
        ChatClientId id;
        RateLimit rate;
        bool is_signed_in = false;
        std::string token{};
        Account account{};
    };
    // The frames that go to whoever spoke.
    struct Reply {
        std::vector<std::string> frames{};
        bool is_end = false; // of the conversation
    };
    struct FrameKind;

    static Reply refuse(std::string_view text);
    static Reply end_with(std::string_view text);
    Reply answer(Client& client, std::string_view frame);
    void finish(Client& client, const Reply& reply);
    bool take_failure();
    void put_failure_aside();

    // One for each type of frame (chat_hub.cpp, chat_hub_messages.cpp, chat_hub_streams.cpp).
    Reply on_auth(Client& client, const FlatFields& fields);
    Reply on_subscribe(Client& client, const FlatFields& fields);
    Reply on_join(Client& client, const FlatFields& fields);
    Reply on_message(Client& client, const FlatFields& fields);
    Reply on_history(Client& client, const FlatFields& fields);
    Reply on_stream_start(Client& client, const FlatFields& fields);
    Reply on_stream_stop(Client& client, const FlatFields& fields);
    Reply on_stream_watch(Client& client, const FlatFields& fields);
    Reply on_stream_unwatch(Client& client, const FlatFields& fields);

    // What frames say, checked; with the refusal where that is empty.
    std::optional<std::string> find_space(Client& client, const FlatFields& fields, Reply& refusal);
    std::optional<ChatScope> find_chat(Client& client, const FlatFields& fields, Reply& refusal);
    bool is_own_session(Client& client, const FlatFields& fields, Reply& refusal);
    bool follow(Client& client, const ChatTopic& topic, Reply& refusal);

    void tell(const std::vector<ChatClientId>& clients, const std::string& space_id,
              const std::string& frame);
    void tell_stream(const std::string& space_id, const std::string& publisher, bool is_streaming);
    std::string stream_frame(const std::string& space_id, const std::string& publisher) const;
    bool end_stale_stream(const std::string& space_id);
    void end_unheld_streams(const std::vector<std::string>& space_ids,
                            const std::string& account_id);

    Database& m_database;
    const ChatLimits m_limits;
    const ChatHooks m_hooks;
    std::map<ChatClientId, Client> m_clients;
    ChatFollows m_follows;
    std::map<std::string, std::string> m_streams; // the publisher's account, by space
};
