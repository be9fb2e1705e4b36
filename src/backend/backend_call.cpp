// See backend/backend_call.h.
#include "backend/backend_call.h"

#include "backend/endpoints.h"
#include "backend/http_transport.h"
#include "backend/json_scan.h"
#include "base/text.h"

#include <algorithm>
#include <string_view>

namespace {

constexpr std::uint32_t k_not_found = 404;

char g_answer[k_answer_size_max];

/// Writes pieces one behind the other into a fixed buffer.
class TextWriter {
  public:
    explicit TextWriter(std::span<char> out) : m_rest(out) { m_rest[0] = '\0'; }

    void append(std::string_view text) {
        copy_text(m_rest, text);
        m_is_cut = m_is_cut || text.size() >= m_rest.size();
        m_rest = m_rest.subspan(std::min(text.size(), m_rest.size() - 1));
    }

    bool is_cut() const { return m_is_cut; }

  private:
    std::span<char> m_rest;
    bool m_is_cut = false;
};

/// False when it does not fit.
bool write_address(std::span<char> out, std::string_view pattern,
                   std::initializer_list<const char*> names) {
    constexpr std::string_view k_place = "%s";
    TextWriter address(out);
    const char* const* name = names.begin();
    std::string_view value = g_backend_url;
    for (std::size_t place = 0; (place = pattern.find(k_place)) != std::string_view::npos;) {
        address.append(pattern.substr(0, place));
        address.append(value);
        pattern.remove_prefix(place + k_place.size());
        value = name != names.end() ? or_empty(*name++) : "";
    }
    address.append(pattern);
    return !address.is_cut();
}

/// False when it does not fit.
bool write_body(std::span<char> out, std::span<const BodyMember> members,
                std::initializer_list<const char*> values) {
    TextWriter body(out);
    body.append("{");
    const char* const* value = values.begin();
    const char* separator = "\"";
    for (const BodyMember& member : members) {
        if (member.key == nullptr || value == values.end()) {
            break;
        }
        char escaped[k_escaped_size_max] = "";
        json_escape(or_empty(*value++), std::span(escaped).first(member.escaped_size));
        body.append(separator);
        body.append(member.key);
        body.append("\":\"");
        body.append(escaped);
        body.append("\"");
        separator = ",\"";
    }
    body.append("}");
    return !body.is_cut();
}

bool send_request(CallMethod method, const char* address, const char* body, std::uint32_t* status,
                  std::span<char> answer) {
    switch (method) {
    case CallMethod::get:
        return http_get(address, status, answer);
    case CallMethod::post:
        return http_post_json(address, body, status, answer);
    case CallMethod::delete_json:
        return http_delete_json(address, body, status, answer);
    }
    return false;
}

bool ask(const BackendCall& call, const char* pattern, std::initializer_list<const char*> names,
         const char* body, std::uint32_t* status) {
    char address[k_address_size_max];
    *status = 0;
    return write_address(std::span(address).first(call.address_size), pattern, names) &&
           send_request(call.method, address, body, status,
                        std::span(g_answer).first(call.answer_size));
}

} // namespace

const char* perform_call(const BackendCall& call, std::initializer_list<const char*> names,
                         std::initializer_list<const char*> values, std::span<char> error) {
    char body[k_body_size_max] = "";
    if (call.method != CallMethod::get &&
        !write_body(std::span(body).first(call.body_size), call.body, values)) {
        copy_text(error, call.unreachable);
        return nullptr;
    }
    return perform_call_with_body(call, names, body, error);
}

const char* perform_call_with_body(const BackendCall& call,
                                   std::initializer_list<const char*> names, const char* body,
                                   std::span<char> error) {
    std::uint32_t status = 0;
    bool answered = ask(call, call.address, names, body, &status);
    if (answered && status == k_not_found && call.older_address != nullptr) {
        answered = ask(call, call.older_address, names, body, &status);
    }
    if (!answered || (call.status_alone_counts && status == 0)) {
        copy_text(error, call.unreachable);
        return nullptr;
    }
    if (status != 0 && std::ranges::find(call.success, status) != std::end(call.success)) {
        return g_answer;
    }
    if (call.status_alone_counts || !extract_json_string_field(g_answer, "error", error)) {
        char text[256];
        format_text(text, "%s (HTTP %d)", call.refused, static_cast<int>(status));
        copy_text(error, text);
    }
    return nullptr;
}
