// Measures the JSON scanners on two answers as they come from a backend, beside plain memmem over
// the same bytes. Run by ./bench json.
//
// memmem gets more than the scanners have: the finished pattern and the length of the text; and it
// has less to do: it copies no value, and the walks' memmem is told where the elements are. Both
// take turns, so that a busy machine slows both; the fastest pass of each counts. Ends with status
// 1 when a scan through a whole document misses the bar, or a scanner found something else.
#include "backend/json_scan.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <limits>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr double k_bar = 0.5;
constexpr int k_passes = 400;
constexpr double k_least_pass = 50.0; ///< microseconds; short work is repeated within a pass

using Work = std::function<std::size_t()>; ///< returns how much it found

struct Range {
    const char* begin;
    const char* end;
};

/// An answer that fills the client's buffer for it, and the keys that each element of its list is
/// read for.
struct Document {
    const char* name;
    std::string text;
    std::array<const char*, 8> keys;
    const char* early; ///< a text field of the first element
};

std::string words(std::mt19937& random, std::size_t length) {
    constexpr std::array<std::string_view, 16> k_words = {
        "mañana", "jugamos", "en",     "la sala", "de",    "siempre",    "quién",    "viene",
        "hello",  "there",   "stream", "a las",   "22:30", "\\\"ok\\\"", "perfecto", "\\n"};
    std::string text;
    while (text.size() < length) {
        text.append(k_words[random() % k_words.size()]).append(" ");
    }
    return text;
}

std::string identifier(std::mt19937& random) {
    std::string id;
    while (id.size() < 24) {
        id += "0123456789abcdef"[random() % 16];
    }
    return id;
}

/// Adds elements to a list as long as they fit, and makes the answer `size` bytes long.
std::string fill(std::string text, std::size_t size, const std::function<std::string()>& element) {
    const std::string_view pad = ",\"pad\":\"";
    const std::string_view last = "\",\"requestId\":\"c0ffee\"}";
    std::string next = element();
    while (text.size() + next.size() + 1 + pad.size() + last.size() <= size) {
        text.append(next).append(",");
        next = element();
    }
    text.back() = ']';
    const std::size_t rest = size - text.size() - pad.size() - last.size();
    return text.append(pad).append(rest, '.').append(last);
}

Document spaces_answer() {
    std::mt19937 random(1);
    const auto element = [&random] {
        const std::string id = identifier(random);
        return "{\"id\":\"" + id + "\",\"name\":\"" + words(random, 12) + "\",\"description\":\"" +
               words(random, 40 + random() % 100) + "\",\"inviteCode\":\"" + id.substr(0, 8) +
               "\",\"hasImage\":true,\"imageUrl\":\"/api/spaces/" + id +
               "/image?v=3\",\"knownBy\":\"member\",\"adminUserId\":\"" + identifier(random) +
               "\",\"createdAt\":\"2024-05-17T20:11:03.120Z\",\"memberCount\":17," +
               "\"invitationStatus\":\"accepted\",\"invitationId\":\"" + identifier(random) + "\"}";
    };
    return {"a list of spaces",
            fill("{\"spaces\":[", 16383, element),
            {"id", "name", "description", "inviteCode", "imageUrl", "adminUserId",
             "invitationStatus", "invitationId"},
            "name"};
}

Document history_answer() {
    std::mt19937 random(2);
    const auto element = [&random] {
        return "{\"id\":\"" + identifier(random) + "\",\"roomId\":\"" + identifier(random) +
               "\",\"senderUserId\":\"" + identifier(random) + "\",\"senderUsername\":\"" +
               words(random, 8) + "\",\"senderDisplayName\":\"" + words(random, 12) +
               "\",\"text\":\"" + words(random, 20 + random() % 500) +
               "\",\"kind\":\"text\",\"edited\":false," +
               "\"createdAt\":\"2024-05-17T20:11:03.120Z\"}";
    };
    return {"a page of history",
            fill("{\"hasMore\":true,\"messages\":[", 65535, element),
            {"id", "roomId", "senderUserId", "senderUsername", "senderDisplayName", "text", "kind",
             "createdAt"},
            "text"};
}

double microseconds(const Work& work, int times, std::size_t& found) {
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < times; ++i) {
        found = work();
    }
    const std::chrono::duration<double, std::micro> taken =
        std::chrono::steady_clock::now() - begin;
    return taken.count() / times;
}

class Bench {
  public:
    /// Prints one row; one that goes through a whole document counts for the bar.
    void row(const char* name, bool whole, const Work& scanner, const Work& plain) {
        std::size_t found = 0;
        std::size_t plainly_found = 0;
        const double once =
            std::min(microseconds(scanner, 20, found), microseconds(plain, 20, plainly_found));
        const int times = 1 + static_cast<int>(k_least_pass / once);
        double ours = std::numeric_limits<double>::max();
        double memmem = ours;
        for (int pass = 0; pass < k_passes; ++pass) {
            ours = std::min(ours, microseconds(scanner, times, found));
            memmem = std::min(memmem, microseconds(plain, times, plainly_found));
        }
        const double ratio = memmem / ours;
        std::printf("  %5.2f  %8.3f us  %8.3f us  %s%s\n", ratio, ours, memmem, name,
                    whole ? "" : " (not a whole document)");
        if (found != plainly_found) {
            std::printf("         found %zu, memmem %zu\n", found, plainly_found);
            m_same = false;
        }
        if (whole) {
            m_worst = std::min(m_worst, ratio);
        }
    }

    double worst() const { return m_worst; }
    bool same() const { return m_same; }

  private:
    double m_worst = std::numeric_limits<double>::max();
    bool m_same = true;
};

std::size_t plain_find(Range range, const std::string& pattern) {
    const auto size = static_cast<std::size_t>(range.end - range.begin);
    return memmem(range.begin, size, pattern.data(), pattern.size()) != nullptr ? 1 : 0;
}

std::string text_pattern(const char* key) {
    return std::string("\"") + key + "\":\"";
}

void field_row(Bench& bench, const Document& document, const char* name, const char* key,
               bool whole) {
    const char* const text = document.text.c_str();
    const Range all{text, text + document.text.size()};
    const std::string pattern = text_pattern(key);
    bench.row(
        name, whole,
        [text, key] {
            char value[256];
            return std::size_t{extract_json_string_field(text, key, value)};
        },
        [all, &pattern] { return plain_find(all, pattern); });
}

std::vector<Range> elements_of(const char* text) {
    std::vector<Range> elements;
    const char* cursor = nullptr;
    const char* start = nullptr;
    const char* end = nullptr;
    while (find_next_top_level_json_object(text, &cursor, &start, &end)) {
        elements.push_back({start, end + 1});
    }
    return elements;
}

std::size_t walk(const char* text, std::span<const char* const> keys) {
    std::size_t found = 0;
    const char* cursor = nullptr;
    const char* start = nullptr;
    const char* end = nullptr;
    char value[256];
    while (find_next_top_level_json_object(text, &cursor, &start, &end)) {
        for (const char* const key : keys) {
            found += std::size_t{extract_json_string_field_in_range(start, end + 1, key, value)};
        }
    }
    return found;
}

void walk_row(Bench& bench, const Document& document) {
    const char* const text = document.text.c_str();
    const std::vector<Range> elements = elements_of(text);
    std::vector<std::string> patterns;
    for (const char* const key : document.keys) {
        patterns.push_back(text_pattern(key));
    }
    const std::string name =
        "walking all " + std::to_string(elements.size()) + " elements, 8 fields of each";
    bench.row(
        name.c_str(), true, [text, &document] { return walk(text, document.keys); },
        [&elements, &patterns] {
            std::size_t found = 0;
            for (const Range element : elements) {
                for (const std::string& pattern : patterns) {
                    found += plain_find(element, pattern);
                }
            }
            return found;
        });
}

void measure(Bench& bench, const Document& document) {
    std::printf("\n%s, %zu bytes\n", document.name, document.text.size());
    field_row(bench, document, "a field of the first element", document.early, false);
    field_row(bench, document, "the last field", "requestId", true);
    field_row(bench, document, "a field that is not there", "error", true);
    const char* const text = document.text.c_str();
    const Range all{text, text + document.text.size()};
    const std::string pattern = "\"deleted\":";
    bench.row(
        "a true or false that is not there", true,
        [text] {
            bool value = false;
            return std::size_t{extract_json_bool_field(text, "deleted", &value)};
        },
        [all, &pattern] { return plain_find(all, pattern); });
    walk_row(bench, document);
}

} // namespace

int main() {
    std::printf("Speed of the JSON scanners as a ratio to memmem's over the same bytes; time of "
                "ours, of memmem.\nThe fastest of %d passes counts. A few seconds.\n",
                k_passes);
    Bench bench;
    measure(bench, spaces_answer());
    measure(bench, history_answer());
    if (!bench.same()) {
        std::printf("\nthe scanners found something else than memmem: short\n");
    }
    const bool ok = bench.same() && bench.worst() >= k_bar;
    std::printf("\njson: %.2f, bar %.2f: %s\n", bench.worst(), k_bar, ok ? "ok" : "short");
    return ok ? 0 : 1;
}
