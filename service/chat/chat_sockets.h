// Connections of the chat server: reading and writing without ever waiting for one, times, and who
// goes where there are too many. Called by the server.
#pragma once

#include "service/chat/chat_hub.h"
#include "service/chat/chat_line.h"
#include "service/chat/chat_server.h"
#include "service/shared/glib_sources.h"

#include <map>
#include <set>

class ChatSockets {
  public:
    /// `listener` listens and does not block. Begins to accept.
    ChatSockets(Database& database, const ChatServerOptions& options, GObjectPtr<GSocket> listener);
    ChatSockets(const ChatSockets&) = delete;
    ChatSockets& operator=(const ChatSockets&) = delete;
    /// Says goodbye, as far as the wires take it.
    ~ChatSockets();

    void announce(const ChatEvent& event);

  private:
    struct Peer {
        GSocketOwner socket;
        ChatLine line;
        GSourceOwner readable{};
        GSourceOwner writable{}; // while the wire takes no more
        bool is_shut = false;    // on this side
    };

    ChatHooks hooks(const ChatServerOptions& options);
    void listen();
    void accept();
    bool make_room();
    void welcome(GSocketOwner socket);
    void read(ChatClientId id);
    void flush_all();
    bool flush(ChatClientId id, Peer& peer);
    void sweep();

    const ChatLimits m_limits;
    ChatHub m_hub;
    GObjectPtr<GSocket> m_listener;
    std::map<ChatClientId, Peer> m_peers;
    std::set<ChatClientId> m_changed; // to be looked at by flush_all()
    ChatClientId m_last_id = 0;
    GSourceOwner m_accept;
    GSourceOwner m_sweep;
};
