// See ui/localisation.h.
#include "ui/localisation.h"

#include "ui/localisation_table.h"

#include <cstddef>
#include <iterator>

namespace {

constexpr bool has_unique_keys() {
    for (std::size_t row = 0; row < std::size(k_text_rows); ++row) {
        for (std::size_t other = 0; other < row; ++other) {
            if (k_text_rows[row].key == k_text_rows[other].key) {
                return false;
            }
        }
    }
    return true;
}

static_assert(std::size(k_text_rows) == 179);
static_assert(has_unique_keys());

} // namespace

std::int32_t g_language = k_language_spanish;

const char* tr(const char* key) {
    const bool english = g_language == k_language_english;
    const std::string_view wanted = key; // measured once: most rows differ in length already
    for (const TextRow& row : k_text_rows) {
        if (row.key == wanted) {
            return english ? row.english : row.spanish;
        }
    }
    return key;
}
