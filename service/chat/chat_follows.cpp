// See service/chat/chat_follows.h.
#include "service/chat/chat_follows.h"

#include <algorithm>
#include <iterator>

namespace {

bool tells_of_streams(const ChatTopic& topic) {
    return topic.channel == ChatChannel::space_messages ||
           topic.channel == ChatChannel::space_joined;
}

} // namespace

void ChatFollows::add(ChatClientId client, const ChatTopic& topic) {
    m_followers[topic].insert(client);
    m_topics[client].insert(topic);
}

bool ChatFollows::has(ChatClientId client, const ChatTopic& topic) const {
    const auto found = m_topics.find(client);
    return found != m_topics.end() && found->second.contains(topic);
}

std::size_t ChatFollows::count(ChatClientId client) const {
    const auto found = m_topics.find(client);
    return found != m_topics.end() ? found->second.size() : 0;
}

void ChatFollows::remove(ChatClientId client, const ChatTopic& topic) {
    const auto followers = m_followers.find(topic);
    if (followers != m_followers.end() && followers->second.erase(client) > 0 &&
        followers->second.empty()) {
        m_followers.erase(followers);
    }
    const auto topics = m_topics.find(client);
    if (topics != m_topics.end() && topics->second.erase(topic) > 0 && topics->second.empty()) {
        m_topics.erase(topics);
    }
}

void ChatFollows::remove_client(ChatClientId client) {
    const auto found = m_topics.find(client);
    if (found != m_topics.end()) {
        for (const ChatTopic& topic : std::set<ChatTopic>(found->second)) {
            remove(client, topic);
        }
    }
}

void ChatFollows::remove_space(ChatClientId client, const std::string& space_id) {
    const auto found = m_topics.find(client);
    if (found != m_topics.end()) {
        for (const ChatTopic& topic : std::set<ChatTopic>(found->second)) {
            if (topic.space_id == space_id) {
                remove(client, topic);
            }
        }
    }
}

void ChatFollows::remove_topic(const ChatTopic& topic) {
    for (const ChatClientId client : followers(topic)) {
        remove(client, topic);
    }
}

std::vector<ChatClientId> ChatFollows::followers(const ChatTopic& topic) const {
    const auto found = m_followers.find(topic);
    return found != m_followers.end()
               ? std::vector<ChatClientId>(found->second.begin(), found->second.end())
               : std::vector<ChatClientId>();
}

std::vector<ChatClientId> ChatFollows::stream_followers(const std::string& space_id) const {
    const std::vector<ChatClientId> messages = followers({ChatChannel::space_messages, space_id});
    const std::vector<ChatClientId> joined = followers({ChatChannel::space_joined, space_id});
    std::vector<ChatClientId> all;
    std::set_union(messages.begin(), messages.end(), joined.begin(), joined.end(),
                   std::back_inserter(all));
    return all;
}

std::vector<std::string> ChatFollows::stream_spaces(ChatClientId client) const {
    std::set<std::string> spaces;
    const auto found = m_topics.find(client);
    if (found != m_topics.end()) {
        for (const ChatTopic& topic : found->second) {
            if (tells_of_streams(topic)) {
                spaces.insert(topic.space_id);
            }
        }
    }
    return {spaces.begin(), spaces.end()};
}
