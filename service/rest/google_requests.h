// Google sign-ins that are under way: one opened by the client, answered in the browser, fetched by
// the client, again where the answer was lost. Used by the answers about them.
#pragma once

#include "service/rest/rest_limits.h"
#include "service/store/random_text.h"

#include <map>
#include <optional>
#include <string>

struct GoogleRequest {
    enum class State { pending, refused, completed };
    State state = State::pending;
    std::string account_id; ///< of the one who signed in, when completed
    std::string token;      ///< the session's, once the client has fetched it
    WallTime opened_at = 0;
};

/// Kept in memory: a restart ends them all.
class GoogleRequests {
  public:
    /// The id of a new request; empty while there are too many.
    std::optional<std::string> open(WallTime now) {
        std::erase_if(m_requests, [&](const auto& entry) { return !is_valid(entry.second, now); });
        if (m_requests.size() >= k_google_requests) {
            return std::nullopt;
        }
        std::string id = random_secret();
        m_requests[id].opened_at = now;
        return id;
    }

    /// Null when it is unknown or too old.
    GoogleRequest* find(const std::string& id, WallTime now) {
        const auto found = m_requests.find(id);
        return found != m_requests.end() && is_valid(found->second, now) ? &found->second : nullptr;
    }

  private:
    static bool is_valid(const GoogleRequest& request, WallTime now) {
        return now - request.opened_at < k_google_request_ms;
    }

    std::map<std::string, GoogleRequest> m_requests;
};
