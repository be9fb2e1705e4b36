// Who follows what: which events a client of the chat half wants. Used by the hub.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <vector>

/// A connection, for as long as the service runs.
using ChatClientId = std::uint64_t;

enum class ChatChannel {
    space_rooms,    ///< rooms made and deleted
    space_messages, ///< of the space's own chat, and streams
    space_joined,   ///< has joined the space's chat: streams
    room_messages,
};

struct ChatTopic {
    ChatChannel channel = ChatChannel::space_rooms;
    std::string space_id;
    std::string room_id{}; ///< of room_messages only

    bool operator<(const ChatTopic& other) const {
        return std::tie(channel, space_id, room_id) <
               std::tie(other.channel, other.space_id, other.room_id);
    }
};

class ChatFollows {
  public:
    /// Nothing when it follows that already.
    void add(ChatClientId client, const ChatTopic& topic);
    bool has(ChatClientId client, const ChatTopic& topic) const;
    /// How many topics the client follows.
    std::size_t count(ChatClientId client) const;

    void remove_client(ChatClientId client);
    /// All that the client follows of a space and its rooms.
    void remove_space(ChatClientId client, const std::string& space_id);
    /// For all clients.
    void remove_topic(const ChatTopic& topic);

    /// In the order of their numbers, as the others below.
    std::vector<ChatClientId> followers(const ChatTopic& topic) const;
    /// Those who are told of a space's streams.
    std::vector<ChatClientId> stream_followers(const std::string& space_id) const;
    /// The spaces of whose streams the client is told.
    std::vector<std::string> stream_spaces(ChatClientId client) const;

  private:
    void remove(ChatClientId client, const ChatTopic& topic);

    std::map<ChatTopic, std::set<ChatClientId>> m_followers; // none of them empty
    std::map<ChatClientId, std::set<ChatTopic>> m_topics;    // the same
};
