// Reading the flat JSON objects that clients send and writing those that they get. Used by the REST
// and the chat half.
//
// Clients look for the bytes "key":" in an answer: it is compact, in UTF-8 as it is, and in the
// order in which it is written here.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

/// Of a JSON body or a form.
constexpr std::size_t k_max_fields = 32;

/// An answer's object, which keeps the order of its keys.
using AnswerJson = nlohmann::ordered_json;

/// What a client sends: an object of plain values. Only its texts and whole numbers are kept.
class FlatFields {
  public:
    /// Empty for anything but such an object: lists and objects within, bytes that are not UTF-8
    /// (cut characters are the caller's to drop), a key given twice, too many keys. Control bytes
    /// within a text are a part of it, escaped or not.
    static std::optional<FlatFields> parse_json(std::string_view body);

    /// What an HTML form or a query says; no failure. The first value of a name counts.
    static FlatFields parse_form(std::string_view text);

    /// The value of `key` when it is a text; null otherwise.
    const std::string* find(std::string_view key) const;

    /// The value of `key` when it is a whole number of 64 bits.
    std::optional<std::int64_t> find_number(std::string_view key) const;

    /// True when there is `key` with a value that is not a text.
    bool is_other(std::string_view key) const;

  private:
    friend class FieldsReader;
    std::map<std::string, std::optional<std::string>, std::less<>> m_fields; // none: no text
    std::map<std::string, std::int64_t, std::less<>> m_numbers;              // of those
};

/// One line without blanks; bytes that are not UTF-8 are replaced.
std::string compact_text(const AnswerJson& json);
