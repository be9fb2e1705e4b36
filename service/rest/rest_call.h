// One request on its way through the service: what the handlers see. Used by service/rest.
#pragma once

#include "service/rest/google_requests.h"
#include "service/rest/image_cache.h"
#include "service/rest/password_pool.h"
#include "service/rest/rest_json.h"
#include "service/rest/rest_message.h"
#include "service/rest/wrong_passwords.h"
#include "service/store/accounts.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

WallTime system_wall_time();

struct RestOptions {
    WallTime session_ms = WallTime{30} * 24 * 60 * 60 * 1000;
    bool demo = false; ///< lets demo accounts be signed in to without a password
    int password_threads = k_password_threads; ///< 0: in the call, for tests
    PasswordCost password_cost;
    WallTime (*now)() = system_wall_time;
    std::string own_address; ///< host and port, for links in answers, when the client names none
};

/// What all requests share. Main thread.
struct RestContext {
    RestContext(Database& the_database, RestOptions the_options)
        : database(the_database), options(std::move(the_options)),
          passwords(options.password_threads, options.password_cost) {}

    Database& database;
    RestOptions options;
    PasswordPool passwords;
    WrongPasswords wrong_passwords;
    GoogleRequests google_requests;
    ImageCache images;
};

/// Takes the answer, once.
using RestReply = std::function<void(const RestAnswer& answer)>;

struct RestCall {
    RestContext& context;
    const RestRequest& request;
    RestReply reply; ///< for a handler that answers later; outlives the call when copied
    std::vector<std::string> ids{}; ///< of the path, in its order
    RestFields fields{};            ///< of the body, or the query when the route has none
    std::string token{}; ///< the session's, and its account: where the route asks for one
    Account account{};
    std::optional<RestAnswer> refusal{}; ///< set by the readers below, with what is wrong

    Database& database() { return context.database; }
    WallTime now() const { return context.options.now(); }

    /// The text `key`; null when it is not there, and also, with a refusal, when it is no text.
    const std::string* optional_text(const char* key);

    /// The text `key`; null, with a refusal, when it is not there or no text.
    const std::string* required_text(const char* key);
};

/// Empty when the answer comes later, through the call's reply.
using RestHandler = std::optional<RestAnswer> (*)(RestCall& call);
