// See service/rest/rest_message.h.
#include "service/rest/rest_message.h"

#include "service/shared/flat_json.h"

#include <nlohmann/json.hpp>

RestAnswer json_answer(int status, std::string body) {
    return {status, "application/json; charset=utf-8", std::move(body), nullptr, {}};
}

RestAnswer error_answer(int status, std::string_view text) {
    return json_answer(status, compact_text({{"error", text}}));
}
