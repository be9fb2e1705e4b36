// See web_script.h; the files are those of tests/support/web_server.
#include "support/web_script.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cctype>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <thread>

namespace {

namespace fs = std::filesystem;

constexpr std::array<const char*, 3> k_framings{"length", "chunked", "close"};
constexpr std::array<const char*, 3> k_breaks{"", "before-head", "in-head"};

// Never twice the same in a process, so that an answer the server is just reading is no other's.
std::atomic<int> g_answers{0};

std::string environment(const char* name) {
    const char* value = std::getenv(name);
    if (value == nullptr) {
        std::fprintf(stderr,
                     "There is no scripted web server (%s): run this program with "
                     "scripts/with-web-server.\n",
                     name);
        std::abort();
    }
    return value;
}

std::string read_whole(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// Whoever looks sees the whole file or none.
void write_whole(const fs::path& folder, const std::string& name, std::string_view bytes) {
    const fs::path temporary = folder.string() + "." + name;
    {
        std::ofstream file(temporary, std::ios::binary);
        file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }
    std::error_code error;
    fs::rename(temporary, folder / name, error);
    if (error) {
        std::fprintf(stderr, "The web server was not told %s: %s\n", name.c_str(),
                     error.message().c_str());
        std::abort();
    }
}

void remove_files(const fs::path& folder) {
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder, error)) {
        fs::remove(entry.path(), error);
    }
}

std::vector<fs::path> files_of(const fs::path& folder) {
    std::vector<fs::path> paths;
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder, error)) {
        paths.push_back(entry.path());
    }
    std::sort(paths.begin(), paths.end());
    return paths;
}

bool is_same_name(std::string_view left, std::string_view right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(), [](char a, char b) {
        return std::tolower(static_cast<unsigned char>(a)) ==
               std::tolower(static_cast<unsigned char>(b));
    });
}

std::string text_of(std::string_view request, const WebAnswer& answer) {
    std::ostringstream text;
    text << "for " << request << "\nstatus " << answer.status;
    for (const std::string& header : answer.headers) {
        text << "\nheader " << header;
    }
    text << "\nframing " << k_framings.at(static_cast<std::size_t>(answer.framing));
    text << "\npart " << answer.part_size;
    text << "\nhead-delay " << answer.head_delay << "\npart-delay " << answer.part_delay;
    text << "\nhead-gate " << answer.head_gate << "\nbody-gate " << answer.body_gate;
    text << "\nbreak " << k_breaks.at(static_cast<std::size_t>(answer.broken));
    if (answer.cut) {
        text << "\ncut " << *answer.cut;
    }
    if (answer.is_reset) {
        text << "\nend reset";
    }
    if (answer.raw) {
        text << "\nraw yes";
    }
    if (answer.socket) {
        text << "\nsocket yes";
    }
    text << "\n\n" << answer.socket.value_or(answer.raw.value_or(answer.body));
    return text.str();
}

void add_header(WebSeen& seen, const std::string& line) {
    const std::size_t colon = line.find(':');
    const std::size_t value =
        colon == std::string::npos ? colon : line.find_first_not_of(" \t", colon + 1);
    seen.headers.emplace_back(line.substr(0, colon),
                              value == std::string::npos ? std::string() : line.substr(value));
}

WebSeen seen_of(const std::string& text) {
    WebSeen seen;
    const std::size_t end = text.find("\n\n");
    std::istringstream head(text.substr(0, end));
    for (std::string line; std::getline(head, line);) {
        const std::size_t blank = line.find(' ');
        const std::string key = line.substr(0, blank);
        const std::string value = blank == std::string::npos ? "" : line.substr(blank + 1);
        if (key == "connection") {
            seen.connection = std::atoi(value.c_str());
        } else if (key == "secure") {
            seen.is_secure = value == "1";
        } else if (key == "method") {
            seen.method = value;
        } else if (key == "target") {
            seen.target = value;
        } else if (key == "version") {
            seen.version = value;
        } else {
            add_header(seen, value);
        }
    }
    if (end != std::string::npos) {
        seen.body = text.substr(end + 2);
    }
    return seen;
}

} // namespace

bool WebSeen::has_header(std::string_view name) const {
    return std::any_of(headers.begin(), headers.end(),
                       [name](const auto& header) { return is_same_name(header.first, name); });
}

std::string WebSeen::header(std::string_view name) const {
    const auto found = std::find_if(headers.begin(), headers.end(), [name](const auto& header) {
        return is_same_name(header.first, name);
    });
    return found == headers.end() ? std::string() : found->second;
}

WebScript::WebScript()
    : m_folder(environment("VELMO_WEB_FOLDER")), m_url(environment("VELMO_WEB_SERVER")),
      m_tls_url(environment("VELMO_WEB_SERVER_TLS")), m_closed_url(environment("VELMO_WEB_CLOSED")),
      m_ipv6_url(environment("VELMO_WEB_SERVER_IPV6")) {
    forget_answers();
    remove_files(m_folder + "/seen");
    remove_files(m_folder + "/gates");
}

void WebScript::forget_answers() {
    remove_files(m_folder + "/answers");
}

void WebScript::answer(std::string_view request, const WebAnswer& answer) {
    const std::string number = std::to_string(++g_answers);
    write_whole(m_folder + "/answers", std::string(8 - number.size(), '0') + number,
                text_of(request, answer));
}

void WebScript::answer(std::string_view request, int status, std::string_view body) {
    WebAnswer simple;
    simple.status = status;
    simple.body = body;
    answer(request, simple);
}

std::vector<WebSeen> WebScript::seen() const {
    std::vector<WebSeen> requests;
    for (const fs::path& path : files_of(m_folder + "/seen")) {
        requests.push_back(seen_of(read_whole(path)));
    }
    return requests;
}

bool WebScript::wait_for_requests(std::size_t count) const {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (files_of(m_folder + "/seen").size() < count) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

void WebScript::open_gate(std::string_view gate) const {
    write_whole(m_folder + "/gates", std::string(gate), "");
}
