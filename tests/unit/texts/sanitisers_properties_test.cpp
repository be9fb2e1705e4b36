// The sanitisers held against a slow reference, over many random texts.
#include "base/glib_owner.h"
#include "ui/sanitisers.h"
#include "unit/texts/sanitiser_reference.h"

#include <gtest/gtest.h>

#include <iterator>
#include <random>
#include <string>
#include <string_view>

namespace {

constexpr int k_texts_per_kind = 1500;

/// The same texts in every run, on every system.
class RandomTexts {
  public:
    std::string bytes() {
        std::string text;
        for (std::size_t left = length(); left > 0; --left) {
            text += static_cast<char>(1 + below(255));
        }
        return text;
    }

    std::string characters() {
        std::string text;
        for (std::size_t left = length(); left > 0; --left) {
            append(text, character());
        }
        return text;
    }

    /// What people type, mostly: letters, blanks, marks, few others.
    std::string typed() {
        static constexpr const char* k_pieces[] = {
            " ", "  ", "\t", "\n", "\r\n", "a", "Z", "é",  "ñ", "5",      "-",      "_", ".",
            "!", "@",  "@",  ".",  "b",    "🎤", "€", "ok", "X", "\u00A0", "\u2028", "q", "\x7F"};
        std::string text;
        for (std::size_t left = length(); left > 0; --left) {
            text += k_pieces[below(std::size(k_pieces))];
        }
        return text;
    }

    /// A run of one byte that ends around a limit, then some more.
    std::string around_a_limit() {
        static constexpr std::size_t k_limits[] = {63, 127, 255, 2046};
        const std::size_t run = k_limits[below(std::size(k_limits))] - 4 + below(8);
        return std::string(below(3), ' ') + std::string(run, 'a') + typed().substr(0, below(12));
    }

  private:
    std::size_t below(std::size_t limit) { return m_engine() % limit; }

    std::size_t length() {
        static constexpr std::size_t k_most[] = {4, 40, 300, 3000};
        return below(k_most[below(std::size(k_most))]);
    }

    gunichar character() {
        static constexpr gunichar k_ends[] = {0x80, 0x300, 0x3100, 0x10000, 0x110000};
        for (;;) {
            const auto value = static_cast<gunichar>(below(k_ends[below(std::size(k_ends))]));
            if (value != 0 && g_unichar_validate(value) != FALSE) {
                return value;
            }
        }
    }

    static void append(std::string& text, gunichar value) {
        char encoded[6];
        text.append(encoded, static_cast<std::size_t>(g_unichar_to_utf8(value, encoded)));
    }

    std::mt19937 m_engine{20240531};
};

/// Calls `check` with every random text.
template <typename Check>
void for_random_texts(Check check) {
    RandomTexts texts;
    for (int i = 0; i < k_texts_per_kind && !testing::Test::HasFailure(); ++i) {
        check(texts.bytes());
        check(texts.characters());
        check(texts.typed());
        check(texts.around_a_limit());
    }
}

std::string escaped(const std::string& text) {
    const GCharPtr readable(g_strescape(text.c_str(), nullptr));
    return readable.get();
}

class EverySanitiser : public testing::TestWithParam<SanitiserCase> {};

TEST_P(EverySanitiser, AgreesWithTheReference) {
    const SanitiserCase& sanitiser = GetParam();
    for_random_texts([&sanitiser](const std::string& text) {
        EXPECT_EQ(sanitiser.sanitise(text.c_str()), sanitiser.reference(text)) << escaped(text);
    });
}

TEST_P(EverySanitiser, KeepsToItsLimitItsAlphabetAndItsShape) {
    const SanitiserCase& sanitiser = GetParam();
    for_random_texts([&sanitiser](const std::string& text) {
        EXPECT_EQ(fault_of_result(sanitiser, sanitiser.sanitise(text.c_str())), "")
            << escaped(text);
    });
}

TEST_P(EverySanitiser, ReachesItsLimit) {
    const SanitiserCase& sanitiser = GetParam();
    EXPECT_EQ(sanitiser.sanitise(std::string(5000, 'a').c_str()),
              std::string(sanitiser.most_bytes, 'a'));
}

// It holds for all six: what a rule cuts or drops is never made allowed, or room for more, by the
// cut. The address is trimmed after its cut, and has only got shorter the second time.
TEST_P(EverySanitiser, ChangesNothingTheSecondTime) {
    const SanitiserCase& sanitiser = GetParam();
    for_random_texts([&sanitiser](const std::string& text) {
        const std::string once = sanitiser.sanitise(text.c_str());
        EXPECT_EQ(sanitiser.sanitise(once.c_str()), once) << escaped(text);
    });
}

TEST_P(EverySanitiser, TakesItsOwnBuffer) {
    const SanitiserCase& sanitiser = GetParam();
    for_random_texts([&sanitiser](const std::string& text) {
        const char* const result = sanitiser.sanitise(text.c_str());
        const std::string once = result;
        EXPECT_EQ(sanitiser.sanitise(result), result);
        EXPECT_EQ(result, once) << escaped(text);
    });
}

TEST_P(EverySanitiser, TakesTheBuffersOfTheOthers) {
    const SanitiserCase& sanitiser = GetParam();
    for_random_texts([&sanitiser](const std::string& text) {
        for (const SanitiserCase& other : k_sanitisers) {
            const char* const result = other.sanitise(text.c_str());
            const std::string copy = result;
            EXPECT_EQ(sanitiser.sanitise(result), sanitiser.reference(copy))
                << other.name << ": " << escaped(text);
        }
    });
}

INSTANTIATE_TEST_SUITE_P(Sanitisers, EverySanitiser, testing::ValuesIn(k_sanitisers),
                         [](const testing::TestParamInfo<SanitiserCase>& tested) {
                             std::string name = tested.param.name;
                             std::erase(name, ' ');
                             return name;
                         });

TEST(IsValidEmailProperties, AgreesWithTheReference) {
    for_random_texts([](const std::string& text) {
        EXPECT_EQ(is_valid_email(text.c_str()), reference_is_valid_email(text)) << escaped(text);
    });
    // Every text of up to seven of the bytes that matter.
    constexpr std::string_view k_alphabet = "a@.";
    for (std::size_t length = 0; length <= 7; ++length) {
        std::size_t count = 1;
        for (std::size_t i = 0; i < length; ++i) {
            count *= k_alphabet.size();
        }
        for (std::size_t number = 0; number < count; ++number) {
            std::string text;
            for (std::size_t rest = number; text.size() < length; rest /= k_alphabet.size()) {
                text += k_alphabet[rest % k_alphabet.size()];
            }
            EXPECT_EQ(is_valid_email(text.c_str()), reference_is_valid_email(text)) << text;
        }
    }
}

} // namespace
