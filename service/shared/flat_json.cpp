// See service/shared/flat_json.h.
#include "service/shared/flat_json.h"

#include "base/glib_owner.h"
#include "service/shared/client_json.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <limits>
#include <utility>

using Json = nlohmann::json;

// Takes a text's tokens as they come, so that a deep or broad one costs no more than its bytes.
class FieldsReader : public nlohmann::json_sax<Json> {
  public:
    explicit FieldsReader(FlatFields& fields) : m_fields(fields) {}

    bool null() override { return store(std::nullopt); }
    bool boolean(bool) override { return store(std::nullopt); }
    bool number_integer(number_integer_t value) override { return store_number(value); }
    bool number_unsigned(number_unsigned_t value) override {
        constexpr auto k_largest = std::numeric_limits<std::int64_t>::max();
        return value <= k_largest ? store_number(static_cast<std::int64_t>(value))
                                  : store(std::nullopt);
    }
    bool number_float(number_float_t, const string_t&) override { return store(std::nullopt); }
    bool string(string_t& value) override { return store(std::move(value)); }
    bool binary(binary_t&) override { return false; }
    bool start_object(std::size_t) override { return !std::exchange(m_is_inside, true); }
    bool key(string_t& name) override {
        m_key = std::move(name);
        return m_fields.m_fields.size() < k_max_fields;
    }
    bool end_object() override { return true; }
    bool start_array(std::size_t) override { return false; }
    bool end_array() override { return false; }
    bool parse_error(std::size_t, const std::string&, const Json::exception&) override {
        return false;
    }

  private:
    bool store(std::optional<std::string> value) {
        return m_is_inside && m_fields.m_fields.emplace(m_key, std::move(value)).second;
    }

    bool store_number(std::int64_t value) {
        return store(std::nullopt) && m_fields.m_numbers.emplace(m_key, value).second;
    }

    FlatFields& m_fields;
    std::string m_key;
    bool m_is_inside = false;
};

namespace {

std::string unescaped(std::string text) {
    for (char& character : text) {
        character = character == '+' ? ' ' : character;
    }
    const GCharPtr plain(g_uri_unescape_string(text.c_str(), nullptr));
    return plain && g_utf8_validate(plain.get(), -1, nullptr) ? std::string(plain.get())
                                                              : std::string();
}

} // namespace

std::optional<FlatFields> FlatFields::parse_json(std::string_view body) {
    FlatFields fields;
    FieldsReader reader(fields);
    if (!Json::sax_parse(with_escaped_controls(body), &reader)) {
        return std::nullopt;
    }
    return fields;
}

FlatFields FlatFields::parse_form(std::string_view text) {
    FlatFields fields;
    while (!text.empty() && fields.m_fields.size() < k_max_fields) {
        const std::string_view pair = text.substr(0, text.find('&'));
        text.remove_prefix(std::min(pair.size() + 1, text.size()));
        const std::size_t equals = pair.find('=');
        const std::string_view value =
            equals == std::string_view::npos ? std::string_view() : pair.substr(equals + 1);
        fields.m_fields.emplace(unescaped(std::string(pair.substr(0, equals))),
                                unescaped(std::string(value)));
    }
    return fields;
}

const std::string* FlatFields::find(std::string_view key) const {
    const auto found = m_fields.find(key);
    return found != m_fields.end() && found->second ? &*found->second : nullptr;
}

std::optional<std::int64_t> FlatFields::find_number(std::string_view key) const {
    const auto found = m_numbers.find(key);
    return found != m_numbers.end() ? std::optional(found->second) : std::nullopt;
}

bool FlatFields::is_other(std::string_view key) const {
    const auto found = m_fields.find(key);
    return found != m_fields.end() && !found->second;
}

std::string compact_text(const AnswerJson& json) {
    return json.dump(-1, ' ', false, AnswerJson::error_handler_t::replace);
}
