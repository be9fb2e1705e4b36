// See ui/localisation.h.
#include "ui/localisation.h"

#include <string_view>

namespace {

struct TextRow {
    std::string_view key;
    const char* spanish;
    const char* english;
};

constexpr TextRow k_texts[] = {
    {"app_window_title", "Velmo Voice Chat", "Velmo Voice Chat"},
    {"tab_channel", "Canal", "Channel"},
    {"status_in_channel", "En canal: %s", "In channel: %s"},
};

} // namespace

std::int32_t g_language = k_language_spanish;

const char* tr(const char* key) {
    const bool english = g_language == k_language_english;
    for (const TextRow& row : k_texts) {
        if (row.key == key) {
            return english ? row.english : row.spanish;
        }
    }
    return key;
}
