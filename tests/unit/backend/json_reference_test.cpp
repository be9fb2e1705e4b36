// The scanners beside the plain transcription of their rules, on random texts that look like JSON.
#include "support/reference_json_scan.h"
#include "unit/backend/json_texts.h"

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <vector>

namespace {

constexpr int k_rounds = 20000;

class JsonReference : public testing::Test {
  protected:
    std::size_t below(std::size_t limit) { return m_random() % limit; }

    template <std::size_t N>
    std::string pick(const std::array<const char*, N>& pieces) {
        return pieces[below(N)];
    }

    /// Mostly what scanners look at, some of it broken, sometimes long stretches between.
    std::string text() {
        constexpr std::array<const char*, 30> k_pieces = {"\"id\":\"",
                                                          "\"id\":",
                                                          "\"on\":",
                                                          "\"on\":true",
                                                          "\"on\": \tfalse",
                                                          "true",
                                                          "false",
                                                          "\"",
                                                          "\"",
                                                          "\\",
                                                          "\\\"",
                                                          "{",
                                                          "}",
                                                          "{",
                                                          "}",
                                                          "[",
                                                          "]",
                                                          ",",
                                                          ":",
                                                          " ",
                                                          "\n",
                                                          "\t\r",
                                                          "|",
                                                          "name",
                                                          "\"name\":\"",
                                                          "\xC3\xB1",
                                                          "\xFF",
                                                          "kkkkkkkkkkkkkkkkkkkkkkk",
                                                          "\"a\":\"\"",
                                                          "[{\"id\":\"x\"},"};
        std::string made;
        for (std::size_t pieces = below(below(8) == 0 ? 400 : 24); pieces > 0; --pieces) {
            made += below(40) == 0 ? std::string(below(500), '.') : pick(k_pieces);
        }
        return made;
    }

    std::string key() {
        constexpr std::array<const char*, 6> k_keys = {"id", "on", "name", "a", "", "\""};
        return below(10) == 0 ? std::string(100 + below(40), 'k') : pick(k_keys);
    }

    std::size_t capacity() { return below(below(2) == 0 ? 6 : 80); }

  private:
    std::mt19937 m_random{20240517};
};

/// Every byte of the buffer counts: what was not to be touched must not be.
template <typename Call>
std::string outcome(std::size_t capacity, Call call) {
    std::vector<char> out(capacity, '#');
    const bool result = call(std::span<char>(out));
    // What follows the NUL is nobody's business once there is one.
    std::string left(out.begin(), out.end());
    if (const std::size_t nul = left.find('\0'); nul != std::string::npos) {
        left.resize(nul + 1);
    }
    return (result ? "true " : "false ") + left;
}

TEST_F(JsonReference, StringFields) {
    for (int round = 0; round < k_rounds; ++round) {
        const ExactText json(text());
        const std::string name = key();
        const std::size_t size = capacity();
        const auto ours = outcome(size, [&](std::span<char> out) {
            return extract_json_string_field(json.begin(), name.c_str(), out);
        });
        const auto plain = outcome(size, [&](std::span<char> out) {
            return reference_string_field(json.begin(), name.c_str(), out);
        });
        ASSERT_EQ(ours, plain) << json.begin() << "\nkey " << name;
    }
}

TEST_F(JsonReference, StringFieldsInRanges) {
    for (int round = 0; round < k_rounds; ++round) {
        const std::string made = text();
        const ExactText json(made);
        const char* const start = json.begin() + below(made.size() + 1);
        const char* const end = json.begin() + below(made.size() + 2);
        const std::string name = key();
        const std::size_t size = capacity();
        const auto ours = outcome(size, [&](std::span<char> out) {
            return extract_json_string_field_in_range(start, end, name.c_str(), out);
        });
        const auto plain = outcome(size, [&](std::span<char> out) {
            return reference_string_field_in_range(start, end, name.c_str(), out);
        });
        ASSERT_EQ(ours, plain) << start << "\nkey " << name << ", " << end - start;
    }
}

TEST_F(JsonReference, BoolFields) {
    for (int round = 0; round < k_rounds; ++round) {
        const std::string made = text();
        const ExactText json(made);
        const char* const start = json.begin() + below(made.size() + 1);
        const char* const end = json.begin() + below(made.size() + 2);
        const std::string name = key();
        for (const bool before : {false, true}) {
            bool ours = before;
            bool plain = before;
            ASSERT_EQ(extract_json_bool_field(start, name.c_str(), &ours),
                      reference_bool_field(start, name.c_str(), &plain))
                << start << "\nkey " << name;
            ASSERT_EQ(ours, plain) << start << "\nkey " << name;
            ours = plain = before;
            ASSERT_EQ(extract_json_bool_field_in_range(start, end, name.c_str(), &ours),
                      reference_bool_field_in_range(start, end, name.c_str(), &plain))
                << start << "\nkey " << name << ", " << end - start;
            ASSERT_EQ(ours, plain) << start << "\nkey " << name << ", " << end - start;
        }
    }
}

TEST_F(JsonReference, Walks) {
    for (int round = 0; round < k_rounds; ++round) {
        const std::string made = text();
        const ExactText json(made);
        const char* ours = below(2) == 0 ? nullptr : json.begin() + below(made.size() + 1);
        const char* plain = ours;
        bool more = true;
        while (more) {
            const char* start = nullptr;
            const char* end = nullptr;
            const char* plain_start = nullptr;
            const char* plain_end = nullptr;
            more = find_next_top_level_json_object(json.begin(), &ours, &start, &end);
            ASSERT_EQ(more, reference_next_object(json.begin(), &plain, &plain_start, &plain_end))
                << json.begin();
            ASSERT_EQ(ours, plain) << json.begin();
            ASSERT_EQ(start, plain_start) << json.begin();
            ASSERT_EQ(end, plain_end) << json.begin();
        }
    }
}

TEST_F(JsonReference, EscapesAndCompactions) {
    for (int round = 0; round < k_rounds; ++round) {
        const ExactText json(text());
        const std::size_t size = capacity();
        const auto run = [&](auto convert) {
            return outcome(size, [&](std::span<char> out) {
                convert(json.begin(), out);
                return true;
            });
        };
        ASSERT_EQ(run(json_escape), run(reference_escape)) << json.begin();
        ASSERT_EQ(run(compact_json_for_scan), run(reference_compact)) << json.begin();
    }
}

TEST_F(JsonReference, Counts) {
    for (int round = 0; round < k_rounds; ++round) {
        const ExactText json(text());
        const std::string whole = text();
        const std::string needle = whole.substr(0, below(12));
        ASSERT_EQ(count_json_field_occurrences(json.begin(), needle.c_str()),
                  reference_count(json.begin(), needle.c_str()))
            << json.begin() << "\nneedle " << needle;
    }
}

} // namespace
