// One request on its way through the service: what the handlers see. Used by service/rest.
#pragma once

#include "service/rest/google_requests.h"
#include "service/rest/image_cache.h"
#include "service/rest/password_pool.h"
#include "service/rest/rest_message.h"
#include "service/rest/wrong_passwords.h"
#include "service/shared/chat_event.h"
#include "service/shared/flat_json.h"
#include "service/store/accounts.h"
#include "service/store/wall_time.h"

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

WallTime system_wall_time();
void report_on_standard_error(const char* line);

struct RestOptions {
    WallTime session_ms = WallTime{30} * 24 * 60 * 60 * 1000;
    bool demo = false; ///< lets demo accounts be signed in to without a password
    int password_threads = k_password_threads; ///< 0: in the call, for tests
    PasswordCost password_cost;
    WallTime (*now)() = system_wall_time;
    /// Gets one line for whoever runs the service about each failure that its clients are told of
    /// as a 500 only. Without anything that was sent.
    void (*report)(const char* line) = report_on_standard_error;
    std::string own_address; ///< host and port, for links in answers, when the client names none
};

/// What all requests share. Main thread.
struct RestContext {
    RestContext(Database& the_database, RestOptions the_options)
        : database(the_database), options(std::move(the_options)),
          passwords(options.password_threads, options.password_cost) {}

    /// True when the database failed since the last call; what was read since then may be
    /// incomplete. Reports it.
    bool take_failure();

    Database& database;
    RestOptions options;
    PasswordPool passwords;
    WrongPasswords wrong_passwords;
    GoogleRequests google_requests;
    ImageCache images;
    ChatListener chat_listener; ///< told of what calls have changed
};

/// Takes the answer, once.
using RestReply = std::function<void(const RestAnswer& answer)>;

/// Starts what an answer has to wait for, and gives that answer to `reply` once it is there; or
/// gives one at once when that cannot be started.
using RestWork = std::function<std::optional<RestAnswer>(const RestReply& reply)>;

/// The only answer when the database fails. The service gives it in place of any other whose
/// statements failed; handlers give it where they cannot go on without what they have written.
RestAnswer failure_answer();

/// To whoever has no session, or none any more.
RestAnswer no_session_answer();

struct RestCall {
    RestContext& context;
    const RestRequest& request;
    std::vector<std::string> ids{}; ///< of the path, in its order
    FlatFields fields{};            ///< of the body, or the query when the route has none
    std::string token{}; ///< the session's, and its account: where the route asks for one
    Account account{};
    /// Set by a handler that has changed something others follow. Told once it is kept.
    std::optional<ChatEvent> event{};
    std::optional<RestAnswer> refusal{}; ///< set by the readers below, with what is wrong
    /// Set by a handler that answers later. Started once that has returned, unless the database has
    /// failed: nothing is begun on what could not be read.
    RestWork work{};

    Database& database() { return context.database; }
    WallTime now() const { return context.options.now(); }

    /// The text `key`; null when it is not there, and also, with a refusal, when it is no text.
    const std::string* optional_text(const char* key);

    /// The text `key`; null, with a refusal, when it is not there or no text.
    const std::string* required_text(const char* key);
};

/// Empty when the answer comes later, out of the call's work.
using RestHandler = std::optional<RestAnswer> (*)(RestCall& call);
