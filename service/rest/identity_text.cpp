// See service/rest/identity_text.h.
#include "service/rest/identity_text.h"

#include "service/shared/flat_json.h"

#include <nlohmann/json.hpp>

std::string identity_text(const Account& account, std::string_view token, std::string_view status) {
    AnswerJson identity;
    if (!status.empty()) {
        identity["status"] = status;
    }
    identity["id"] = account.id;
    identity["username"] = account.username;
    identity["email"] = account.email;
    identity["sessionToken"] = token;
    return compact_text(identity);
}
