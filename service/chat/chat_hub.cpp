// See service/chat/chat_hub.h. This file: clients, their sessions, and the way of a frame.
#include "service/chat/chat_hub.h"

#include "service/chat/chat_frames.h"
#include "service/chat/chat_hub_texts.h"
#include "service/store/database.h"
#include "service/store/members.h"
#include "service/store/sessions.h"

#include <algorithm>
#include <array>
#include <set>

// What a client says, and who answers it.
struct ChatHub::FrameKind {
    std::string_view type;
    Reply (ChatHub::*handle)(Client& client, const FlatFields& fields);
};

ChatHub::Reply ChatHub::refuse(std::string_view text) {
    return {{error_frame(text)}, false};
}

ChatHub::Reply ChatHub::end_with(std::string_view text) {
    return {{error_frame(text)}, true};
}

void ChatHub::open(ChatClientId client) {
    m_clients.emplace(client,
                      Client{client, RateLimit(m_limits.frames_per_second, m_limits.frames_burst)});
}

bool ChatHub::is_signed_in(ChatClientId client) const {
    const auto found = m_clients.find(client);
    return found != m_clients.end() && found->second.is_signed_in;
}

bool ChatHub::take_failure() {
    if (!m_database.take_failure()) {
        return false;
    }
    m_hooks.report(("the database failed: " + m_database.failure_text()).c_str());
    return true;
}

// What failed before is not the fault of what begins now; it is reported all the same.
void ChatHub::put_failure_aside() {
    take_failure();
}

void ChatHub::receive(ChatClientId id, std::string_view frame, std::int64_t now) {
    const auto found = m_clients.find(id);
    if (found == m_clients.end()) {
        return;
    }
    Client& client = found->second;
    if (!client.rate.allow(now)) {
        finish(client, end_with(k_too_fast));
        return;
    }
    put_failure_aside();
    const Reply reply = answer(client, frame);
    // What a failing database gave may be incomplete, so nothing of it is told.
    finish(client, take_failure() ? refuse(k_failed) : reply);
}

ChatHub::Reply ChatHub::answer(Client& client, std::string_view frame) {
    static constexpr std::array k_kinds = std::to_array<FrameKind>({
        {"auth", &ChatHub::on_auth},
        {"subscribe", &ChatHub::on_subscribe},
        {"chat:join", &ChatHub::on_join},
        {"message:send", &ChatHub::on_message},
        {"messages:history", &ChatHub::on_history},
        {"stream:start", &ChatHub::on_stream_start},
        {"stream:stop", &ChatHub::on_stream_stop},
        {"stream:watch", &ChatHub::on_stream_watch},
        {"stream:unwatch", &ChatHub::on_stream_unwatch},
    });
    const std::optional<FlatFields> fields = FlatFields::parse_json(frame);
    const std::string* const type = fields ? fields->find("type") : nullptr;
    const auto* const kind =
        std::find_if(k_kinds.begin(), k_kinds.end(),
                     [&](const FrameKind& one) { return type != nullptr && one.type == *type; });
    if (m_hooks.log) {
        m_hooks.log("chat: " + (client.is_signed_in ? client.account.username : "somebody") + " " +
                    (kind != k_kinds.end() ? std::string(kind->type) : "something unknown"));
    }
    if (!fields) {
        return refuse("El mensaje no es un objeto JSON sencillo y válido");
    }
    if (kind == k_kinds.end()) {
        return refuse("Ese tipo de mensaje no existe");
    }
    if (kind->type != "auth") {
        if (!client.is_signed_in) {
            return refuse("Primero hay que iniciar sesión");
        }
        if (!find_session_account(m_database, client.token, m_hooks.now())) {
            return end_with(k_no_session);
        }
        Reply refusal;
        if (!is_own_session(client, *fields, refusal)) {
            return refusal;
        }
    }
    return (this->*kind->handle)(client, *fields);
}

void ChatHub::finish(Client& client, const Reply& reply) {
    for (const std::string& frame : reply.frames) {
        m_hooks.send(client.id, frame);
    }
    if (reply.is_end) {
        const ChatClientId id = client.id;
        m_hooks.close(id, WebSocketClose::policy);
        leave(id);
    }
}

void ChatHub::leave(ChatClientId id) {
    const auto found = m_clients.find(id);
    if (found == m_clients.end()) {
        return;
    }
    const std::string account_id = found->second.account.id;
    const std::vector<std::string> spaces = m_follows.stream_spaces(id);
    m_follows.remove_client(id);
    m_clients.erase(found);
    end_unheld_streams(spaces, account_id);
}

// --- Sessions ------------------------------------------------------------------------------------

ChatHub::Reply ChatHub::on_auth(Client& client, const FlatFields& fields) {
    const std::string* const token = fields.find("sessionToken");
    std::optional<Account> account;
    if (token != nullptr) {
        account = find_session_account(m_database, *token, m_hooks.now());
    }
    if (!account) {
        return end_with(k_no_session);
    }
    if (client.is_signed_in && client.account.id != account->id) {
        return end_with(k_other_session);
    }
    client.is_signed_in = true;
    client.token = *token;
    client.account = std::move(*account);
    return {{auth_ok_frame(client.account)}, false};
}

// Frames need not name a session; one that they name has to be of the same account.
bool ChatHub::is_own_session(Client& client, const FlatFields& fields, Reply& refusal) {
    const std::string* const token = fields.find("sessionToken");
    if (token == nullptr && !fields.is_other("sessionToken")) {
        return true;
    }
    if (token != nullptr) {
        if (*token == client.token) {
            return true;
        }
        const std::optional<Account> account =
            find_session_account(m_database, *token, m_hooks.now());
        if (account && account->id == client.account.id) {
            return true;
        }
    }
    refusal = refuse(k_other_session);
    return false;
}

void ChatHub::check_session(ChatClientId id) {
    const auto found = m_clients.find(id);
    if (found == m_clients.end() || !found->second.is_signed_in) {
        return;
    }
    Client& client = found->second;
    put_failure_aside();
    const bool is_there = find_session_account(m_database, client.token, m_hooks.now()).has_value();
    if (!take_failure() && !is_there) {
        finish(client, end_with(k_no_session));
    }
}

// --- Telling -------------------------------------------------------------------------------------

// Members of the space only. Whoever is one no longer is told that, once, and follows it no more.
void ChatHub::tell(const std::vector<ChatClientId>& clients, const std::string& space_id,
                   const std::string& frame) {
    std::map<std::string, bool> is_inside; // by account
    std::set<std::string> gone;
    put_failure_aside();
    for (const ChatClientId id : clients) {
        const auto found = m_clients.find(id);
        if (found == m_clients.end()) {
            continue;
        }
        const std::string& account_id = found->second.account.id;
        const auto known = is_inside.find(account_id);
        const bool is_told =
            known != is_inside.end() ? known->second : is_member(m_database, space_id, account_id);
        if (take_failure()) {
            continue; // nobody can say
        }
        is_inside[account_id] = is_told;
        if (is_told) {
            m_hooks.send(id, frame);
        } else {
            m_hooks.send(id, error_frame(k_no_member));
            m_follows.remove_space(id, space_id);
            gone.insert(account_id);
        }
    }
    for (const std::string& account_id : gone) {
        end_unheld_streams({space_id}, account_id);
    }
}

void ChatHub::announce(const ChatEvent& event) {
    if (const auto* const stored = std::get_if<MessageStored>(&event)) {
        const ChatScope& scope = stored->scope;
        const ChatChannel channel =
            scope.room_id.empty() ? ChatChannel::space_messages : ChatChannel::room_messages;
        tell(m_follows.followers({channel, scope.space_id, scope.room_id}), scope.space_id,
             message_frame(scope, stored->message));
    } else if (const auto* const created = std::get_if<RoomCreated>(&event)) {
        const Room& room = created->room;
        tell(m_follows.followers({ChatChannel::space_rooms, room.space_id}), room.space_id,
             room_created_frame(room));
    } else if (const auto* const deleted = std::get_if<RoomDeleted>(&event)) {
        const Room& room = deleted->room;
        m_follows.remove_topic({ChatChannel::room_messages, room.space_id, room.id});
        tell(m_follows.followers({ChatChannel::space_rooms, room.space_id}), room.space_id,
             room_deleted_frame(room));
    }
}
