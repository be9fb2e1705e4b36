// See storage/local_files.h.
#include "storage/local_files.h"

#include "backend/identity.h"
#include "base/text.h"
#include "platform/desktop.h"
#include "platform/file.h"
#include "ui/localisation.h"
#include "ui/sanitisers.h"

#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>

namespace {

// How many bytes are taken for a line at once; what a longer one has beyond them is a line of its
// own.
constexpr std::size_t k_settings_line_max = 255;
constexpr std::size_t k_session_line_max = 767;

constexpr std::string_view k_language = "language=";
constexpr std::string_view k_display_name = "display_name=";
constexpr std::string_view k_backend_url = "backend_url=";
constexpr std::string_view k_username = "username=";
constexpr std::string_view k_session_token = "session_token=";

using PathText = char[512];

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

bool get_file_path(std::span<char> out, const char* name) {
    if (out.data() == nullptr || out.empty()) {
        return false;
    }
    out[0] = '\0';
    const std::string user_folder = desktop_user_data_folder();
    if (user_folder.empty()) {
        return false;
    }
    constexpr auto k_separator = static_cast<char>(std::filesystem::path::preferred_separator);
    PathText folder;
    PathText path;
    if (!format_text(folder, "%s%cVelmoTalkPro", user_folder.c_str(), k_separator)) {
        return false;
    }
    folder_create(folder);
    if (!format_text(path, "%s%c%s", folder, k_separator, name)) {
        return false;
    }
    const std::string_view text = path;
    if (text.size() >= out.size()) {
        return false;
    }
    copy_text(out, text);
    return true;
}

struct Entry {
    std::string_view key;
    std::string_view value;
};

/// One line per entry, each of which the reader takes for one. Names and tokens come from a server:
/// a line break in one, or a length that makes it two lines, must not write other entries.
std::string text_of(std::initializer_list<Entry> entries, std::size_t line_max) {
    std::string text;
    for (const Entry& entry : entries) {
        text += entry.key;
        text +=
            entry.value.substr(0, entry.value.find('\n')).substr(0, line_max - entry.key.size());
        text += '\n';
    }
    return text;
}

/// Calls `take(line)` for every line of the file, without its CR and LF bytes and what follows a
/// NUL byte in it.
template <std::size_t LineMax, typename Take>
void read_lines(const char* path, Take take) {
    const FilePtr file(file_open(path, "rb"));
    if (!file) {
        return;
    }
    char buffer[LineMax + 1];
    while (std::fgets(buffer, sizeof buffer, file.get())) {
        const std::string_view line = buffer;
        take(line.substr(0, line.find_last_not_of("\r\n") + 1));
    }
}

/// Takes the key from the begin of `line`. False, and the line as it was, when it has another.
bool skip_key(std::string_view& line, std::string_view key) {
    if (!line.starts_with(key)) {
        return false;
    }
    line.remove_prefix(key.size());
    return true;
}

bool is_filled(std::span<char> text) {
    return !text.empty() && text[0] != '\0';
}

void take_setting(std::string_view line) {
    if (skip_key(line, k_language)) {
        g_language = line == "en" ? k_language_english : k_language_spanish;
    } else if (skip_key(line, k_display_name)) {
        copy_text(g_display_name, sanitize_username(std::string(line).c_str()));
    }
}

} // namespace

bool get_settings_file_path(std::span<char> out) {
    return get_file_path(out, "settings.txt");
}

bool get_session_file_path(std::span<char> out) {
    return get_file_path(out, "auth_session.txt");
}

void save_local_settings() {
    PathText path;
    if (!get_settings_file_path(path)) {
        return;
    }
    const char* const language = g_language == k_language_english ? "en" : "es";
    file_replace_whole(path, text_of({{k_language, language}, {k_display_name, g_display_name}},
                                     k_settings_line_max));
}

void load_local_settings() {
    PathText path;
    if (get_settings_file_path(path)) {
        read_lines<k_settings_line_max>(path, take_setting);
    }
}

bool save_local_session(const char* backend_url, const char* username, const char* token) {
    PathText path;
    if (backend_url == nullptr || username == nullptr || is_empty(token) ||
        !get_session_file_path(path)) {
        return false;
    }
    return file_replace_whole(
        path,
        text_of({{k_backend_url, backend_url}, {k_username, username}, {k_session_token, token}},
                k_session_line_max));
}

bool load_local_session(std::span<char> backend_url, std::span<char> username,
                        std::span<char> token) {
    struct Field {
        std::string_view key;
        std::span<char> out;
    };
    const Field fields[] = {
        {k_backend_url, backend_url}, {k_username, username}, {k_session_token, token}};
    for (const Field& field : fields) {
        copy_text(field.out, "");
    }
    PathText path;
    if (!get_session_file_path(path)) {
        return false;
    }
    read_lines<k_session_line_max>(path, [&fields](std::string_view line) {
        for (const Field& field : fields) {
            if (skip_key(line, field.key)) {
                copy_text(field.out, line);
                return;
            }
        }
    });
    return is_filled(backend_url) && is_filled(token);
}

void clear_local_session() {
    PathText path;
    if (get_session_file_path(path)) {
        file_remove(path);
    }
}
