// See service/chat/chat_hub.h. This file: who streams in a space. One at a time, for as long as a
// connection of theirs follows the space; what is streamed goes another way.
#include "service/chat/chat_frames.h"
#include "service/chat/chat_hub.h"
#include "service/chat/chat_hub_texts.h"
#include "service/store/members.h"
#include "service/store/random_text.h"

#include <algorithm>

// The space's stream; without one, that `account` does not stream there. Its client may think so
// after it had to connect anew.
std::string ChatHub::stream_frame(const std::string& space_id, const std::string& account) const {
    const auto stream = m_streams.find(space_id);
    return stream != m_streams.end() ? stream_status_frame({space_id, stream->second, true})
                                     : stream_status_frame({space_id, account, false});
}

void ChatHub::tell_stream(const std::string& space_id, const std::string& publisher,
                          bool is_streaming) {
    tell(m_follows.stream_followers(space_id), space_id,
         stream_status_frame({space_id, publisher, is_streaming}));
}

// Ends the account's streams in those spaces that none of its connections follows any more.
void ChatHub::end_unheld_streams(const std::vector<std::string>& space_ids,
                                 const std::string& account_id) {
    for (const std::string& space_id : space_ids) {
        const auto stream = m_streams.find(space_id);
        if (stream == m_streams.end() || stream->second != account_id) {
            continue;
        }
        const std::vector<ChatClientId> followers = m_follows.stream_followers(space_id);
        const bool is_held = std::any_of(followers.begin(), followers.end(), [&](ChatClientId id) {
            const auto found = m_clients.find(id);
            return found != m_clients.end() && found->second.account.id == account_id;
        });
        if (!is_held) {
            m_streams.erase(stream);
            tell_stream(space_id, account_id, false);
        }
    }
}

// Ends the stream of somebody who is no member of the space any longer: it must not keep others
// from theirs. False when the database cannot say.
bool ChatHub::end_stale_stream(const std::string& space_id) {
    const auto stream = m_streams.find(space_id);
    if (stream == m_streams.end() || is_member(m_database, space_id, stream->second)) {
        return true;
    }
    if (take_failure()) {
        return false;
    }
    const std::string publisher = stream->second;
    m_streams.erase(stream);
    tell_stream(space_id, publisher, false);
    return true;
}

ChatHub::Reply ChatHub::on_stream_start(Client& client, const FlatFields& fields) {
    Reply refusal;
    const std::optional<std::string> space_id = find_space(client, fields, refusal);
    if (space_id && !end_stale_stream(*space_id)) {
        return refuse(k_failed);
    }
    // Whoever streams in a space follows it.
    if (!space_id || !follow(client, {ChatChannel::space_joined, *space_id}, refusal)) {
        return refusal;
    }
    const auto [stream, is_new] = m_streams.emplace(*space_id, client.account.id);
    if (is_new) {
        tell_stream(*space_id, client.account.id, true);
        return {};
    }
    Reply reply;
    if (stream->second != client.account.id) {
        reply = refuse("En ese espacio ya comparte pantalla otra persona");
    }
    reply.frames.push_back(stream_frame(*space_id, client.account.id));
    return reply;
}

ChatHub::Reply ChatHub::on_stream_stop(Client& client, const FlatFields& fields) {
    Reply refusal;
    const std::optional<std::string> space_id = find_space(client, fields, refusal);
    if (!space_id) {
        return refusal;
    }
    const auto stream = m_streams.find(*space_id);
    if (stream == m_streams.end() || stream->second != client.account.id) {
        return {{stream_frame(*space_id, client.account.id)}};
    }
    m_streams.erase(stream);
    tell_stream(*space_id, client.account.id, false);
    const std::vector<std::string> told = m_follows.stream_spaces(client.id);
    return std::find(told.begin(), told.end(), *space_id) != told.end()
               ? Reply{}
               : Reply{{stream_frame(*space_id, client.account.id)}};
}

// The publisher hears nothing of those who watch.
ChatHub::Reply ChatHub::on_stream_watch(Client& client, const FlatFields& fields) {
    Reply refusal;
    const std::optional<std::string> space_id = find_space(client, fields, refusal);
    if (!space_id) {
        return refusal;
    }
    const std::string* const publisher = fields.find("publisherUserId");
    if (publisher == nullptr || !is_id(*publisher)) {
        return refuse("Falta el campo publisherUserId");
    }
    const auto stream = m_streams.find(*space_id);
    if (stream == m_streams.end() || stream->second != *publisher) {
        Reply reply = refuse("Esa persona no comparte pantalla");
        reply.frames.push_back(stream_status_frame({*space_id, *publisher, false}));
        return reply;
    }
    return {};
}

ChatHub::Reply ChatHub::on_stream_unwatch(Client& client, const FlatFields& fields) {
    Reply refusal;
    return find_space(client, fields, refusal) ? Reply{} : refusal;
}
