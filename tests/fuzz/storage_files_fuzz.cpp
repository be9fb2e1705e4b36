// Reads and writes the settings and session files in memory, and holds both readers to a plain
// byte-for-byte reading of their rules. The input is a file's content; then, as three texts that
// NUL bytes separate, what is saved.
#include "backend/identity.h"
#include "base/text.h"
#include "platform/desktop.h"
#include "platform/file.h"
#include "storage/local_files.h"
#include "ui/localisation.h"
#include "ui/sanitisers.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

namespace {

std::string g_file;
bool g_is_there = true;

void expect(bool condition) {
    if (!condition) {
        std::abort();
    }
}

// A line ends behind its LF byte or at the limit; of each, what stands before a NUL byte and the
// last run of CR and LF bytes.
std::vector<std::string> lines_of(std::string_view bytes, std::size_t limit) {
    std::vector<std::string> lines(1);
    std::size_t size = 0;
    bool is_over = false;
    for (const char byte : bytes) {
        if (size == limit || is_over) {
            lines.emplace_back();
            size = 0;
        }
        lines.back() += byte;
        ++size;
        is_over = byte == '\n';
    }
    for (std::string& line : lines) {
        line.resize(std::min(line.find('\0'), line.size()));
        while (!line.empty() && (line.back() == '\r' || line.back() == '\n')) {
            line.pop_back();
        }
    }
    return lines;
}

// The value of the last line with `key`; `otherwise` without one.
std::string last_value(const std::vector<std::string>& lines, std::string_view key,
                       const std::string& otherwise) {
    std::string value = otherwise;
    for (const std::string& line : lines) {
        if (line.compare(0, key.size(), key) == 0) {
            value = line.substr(key.size());
        }
    }
    return value;
}

void check_settings_reader() {
    g_language = k_language_english;
    copy_text(g_display_name, "before");
    load_local_settings();
    const std::vector<std::string> lines = lines_of(g_file, 255);
    expect((g_language == k_language_english) == (last_value(lines, "language=", "en") == "en"));
    const std::string name = last_value(lines, "display_name=", "before");
    expect(std::string_view(g_display_name) == std::string_view(sanitize_username(name.c_str())));
}

struct Session {
    char url[128];
    char username[64];
    char token[256];
    bool is_loaded;

    Session() : is_loaded(load_local_session(url, username, token)) {}
};

void check_session_reader() {
    const Session session;
    const std::vector<std::string> lines = lines_of(g_file, 767);
    expect(session.url == last_value(lines, "backend_url=", "").substr(0, 127));
    expect(session.username == last_value(lines, "username=", "").substr(0, 63));
    expect(session.token == last_value(lines, "session_token=", "").substr(0, 255));
    expect(session.is_loaded == (session.url[0] != '\0' && session.token[0] != '\0'));
}

// What comes back of a saved text: its first line without the CR bytes at its end.
std::string kept(const std::string& text, std::size_t line_rest, std::size_t size) {
    const std::string line = text.substr(0, text.find('\n')).substr(0, line_rest);
    return line.substr(0, line.find_last_not_of('\r') + 1).substr(0, size);
}

void check_session_writer(const std::string& url, const std::string& username,
                          const std::string& token) {
    const bool is_saved = save_local_session(url.c_str(), username.c_str(), token.c_str());
    expect(is_saved == !token.empty());
    if (is_saved) {
        const Session session;
        expect(session.url == kept(url, 755, 127));
        expect(session.username == kept(username, 758, 63));
        expect(session.token == kept(token, 753, 255));
    }
}

void check_settings_writer(const std::string& name) {
    copy_text(g_display_name, name);
    const std::string first_line = kept(g_display_name, 242, 63);
    g_language = k_language_english;
    save_local_settings();
    g_language = k_language_spanish;
    load_local_settings();
    expect(g_language == k_language_english);
    expect(std::string_view(g_display_name) ==
           std::string_view(sanitize_username(first_line.c_str())));
}

std::string take_text(std::string_view& rest) {
    const std::size_t end = std::min(rest.find('\0'), rest.size());
    const std::string text(rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
    return text;
}

} // namespace

std::string desktop_user_data_folder() {
    return "folder";
}

// What the file library's place holds here.
std::FILE* file_open(const char*, const char*) {
    return g_is_there ? fmemopen(g_file.data(), g_file.size(), "rb") : nullptr;
}

bool file_replace_whole(const char*, std::string_view bytes) {
    g_file = bytes;
    g_is_there = true;
    return true;
}

bool file_remove(const char*) {
    g_is_there = false;
    return true;
}

bool folder_create(const char*) {
    return true;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    g_file = input;
    g_is_there = true;
    check_settings_reader();
    check_session_reader();

    std::string_view rest = input;
    const std::string url = take_text(rest);
    const std::string username = take_text(rest);
    const std::string token = take_text(rest);
    check_session_writer(url, username, token);
    check_settings_writer(username);

    clear_local_session();
    expect(!Session().is_loaded);
    return 0;
}
