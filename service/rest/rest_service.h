// The REST half of the service without its sockets: from a request to its answer. Called by the
// server, by tests and by the fuzzer.
#pragma once

#include "service/rest/rest_call.h"

#include <string>
#include <utility>

class RestService {
  public:
    /// `database` outlives the service. Main thread, as all that follows.
    RestService(Database& database, RestOptions options)
        : m_context(database, std::move(options)) {}

    /// Starts the threads for passwords. False when the system gives none.
    bool start() { return m_context.passwords.start(); }

    /// How many bytes the body of a request with this head may have.
    std::size_t max_body_bytes(const RestRequest& request) const;

    /// Calls `reply` once, in this call or, when a password is to be hashed or checked, from
    /// deliver().
    void handle(const RestRequest& request, RestReply reply);

    /// Readable when deliver() has something to do.
    int ready_file() const { return m_context.passwords.ready_file(); }
    void deliver() { m_context.passwords.deliver(); }

    /// Forgets expired sessions and wrong passwords of long ago; called now and then.
    void keep_house();

    /// Tells where the service is reached: host and port, for links in answers to clients that do
    /// not name it themselves.
    void set_own_address(std::string address) {
        m_context.options.own_address = std::move(address);
    }

    /// `listener` is told of every message and every change of rooms, within handle(), once it is
    /// kept. Its own failures of the database it takes itself.
    void set_chat_listener(ChatListener listener) { m_context.chat_listener = std::move(listener); }

    RestContext& context() { return m_context; }

  private:
    RestContext m_context;
};
