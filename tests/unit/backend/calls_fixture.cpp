// See calls_fixture.h.
#include "unit/backend/calls_fixture.h"

#include "backend/endpoints.h"
#include "backend/identity.h"
#include "backend/spaces_api.h"
#include "base/text.h"
#include "support/empty_hub_tables.h"
#include "unit/backend/fake_browser.h"

#include <utility>

CallsTest::CallsTest() {
    copy_text(g_backend_url, k_backend);
    copy_text(g_session_token, "the-token");
    copy_text(g_user_id, "me");
    empty_hub_tables();
    fake_browser_reset();
}

CallsTest::~CallsTest() {
    Backend_SetSpacesLoadedCallback(nullptr);
    Backend_SetRoomsLoadedCallback(nullptr);
    Backend_SetMembersLoadedCallback(nullptr);
    EXPECT_EQ(web.open_exchanges(), 0);
}

std::string CallsTest::take_error() {
    std::string text = error_text;
    copy_text(error_text, "");
    return text;
}

std::string plainly_escaped(const std::string& text, std::size_t size) {
    std::string escaped;
    for (const char c : text) {
        if (escaped.size() + 2 >= size) {
            break;
        }
        if (c == '\\' || c == '"') {
            escaped += '\\';
        }
        escaped += c == '\n' ? std::string("\\n") : std::string(1, c);
    }
    return escaped;
}

std::string json_object(std::initializer_list<std::pair<const char*, std::string>> members) {
    std::string text = "{";
    for (const auto& [key, value] : members) {
        text += (text.size() > 1 ? ",\"" : "\"") + std::string(key) + "\":\"" + value + "\"";
    }
    return text + "}";
}
