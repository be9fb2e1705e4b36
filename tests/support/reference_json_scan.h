// The JSON scanners in their plainest form: one byte after the other, each rule written down once.
// What the tests and the fuzz targets hold the real scanners against.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

bool reference_string_field(const char* text, const char* key, std::span<char> out);
bool reference_string_field_in_range(const char* start, const char* end, const char* key,
                                     std::span<char> out);
bool reference_bool_field(const char* text, const char* key, bool* out);
bool reference_bool_field_in_range(const char* start, const char* end, const char* key, bool* out);
bool reference_next_object(const char* text, const char** cursor, const char** out_start,
                           const char** out_end);
void reference_escape(const char* in, std::span<char> out);
void reference_compact(const char* in, std::span<char> out);
std::int32_t reference_count(const char* text, const char* needle);
