// Scanners that read single fields out of compact JSON text, and the escaping for what is sent. The
// client has no other JSON code; used by the backend calls and the chat channel.
//
// They look for the bytes "key":" wherever they stand, blind to nesting and without any blank
// allowed between them: servers write compact JSON. All work on NUL-terminated bytes, allocate
// nothing, write into the caller's buffers only and may be called from any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

/// Copies the text value of the first `key` in `text` into `out`, cut to its size less one and
/// NUL-terminated. A backslash is dropped and the byte after it copied as it is. True when at least
/// one byte was copied. Without the key, or with a null or empty argument, false, and `out` stays
/// as it was.
bool extract_json_string_field(const char* text, const char* key, std::span<char> out);

/// The same for a key and a value that begin between `start` and `end` (exclusive) of a
/// NUL-terminated text; the value ends at `end` at the latest. `out` is emptied first, unless an
/// argument is null or empty.
bool extract_json_string_field_in_range(const char* start, const char* end, const char* key,
                                        std::span<char> out);

/// Stores the value of the first `key` when it is true or false, after any blanks and tabs. False,
/// and `out` untouched, for anything else.
bool extract_json_bool_field(const char* text, const char* key, bool* out);

/// The same for a key that begins between `start` and `end` (exclusive) and a value that ends
/// before `end`.
bool extract_json_bool_field_in_range(const char* start, const char* end, const char* key,
                                      bool* out);

/// Finds the next object that stands directly in a first-level array. `*cursor` is null at the
/// first call and moves behind each object found; `*out_start` is its first byte and `*out_end` its
/// last, both braces. False at the end of the list.
bool find_next_top_level_json_object(const char* text, const char** cursor, const char** out_start,
                                     const char** out_end);

/// Copies `in` with backslash, quote and line feed escaped. Stops before the byte for which fewer
/// than two places besides the NUL are left, so no escape is ever split; NUL-terminates. Nothing
/// when `in` is null or `out` empty.
void json_escape(const char* in, std::span<char> out);

/// Copies `in` without the whitespace between its tokens, cut to the size of `out` less one;
/// NUL-terminates. Empty for a null `in`.
void compact_json_for_scan(const char* in, std::span<char> out);

/// How often `needle` occurs in `text`, without overlaps. 0 when either is null or `needle` empty.
std::int32_t count_json_field_occurrences(const char* text, const char* needle);
