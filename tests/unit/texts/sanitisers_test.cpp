// The sanitisers of names, addresses, codes and passwords, and the check of an address.
#include "ui/sanitisers.h"

#include "support/allocation_counter.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string repeated(std::size_t count, const std::string& text) {
    std::string result;
    for (std::size_t i = 0; i < count; ++i) {
        result += text;
    }
    return result;
}

/// Every byte but NUL, in order.
std::string all_bytes() {
    std::string result;
    for (int byte = 1; byte < 256; ++byte) {
        result += static_cast<char>(byte);
    }
    return result;
}

constexpr const char* k_all_name_bytes =
    "-0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ_abcdefghijklmnopqrstuvwxyz";

TEST(SanitizeUsername, DropsAccentedLettersAndBlanks) {
    EXPECT_STREQ(sanitize_username("José María"), "JosMara");
}

TEST(SanitizeUsername, KeepsTheFirst63Of100Letters) {
    const std::string letters = repeated(10, "abcdefghij");
    EXPECT_EQ(sanitize_username(letters.c_str()), letters.substr(0, 63));
    EXPECT_EQ(sanitize_username(letters.substr(0, 63).c_str()), letters.substr(0, 63));
    EXPECT_EQ(sanitize_username(letters.substr(0, 62).c_str()), letters.substr(0, 62));
}

TEST(SanitizeUsername, CountsOnlyWhatItKeeps) {
    EXPECT_EQ(sanitize_username(repeated(100, "ñ a").c_str()), std::string(63, 'a'));
}

TEST(SanitizeUsername, KeepsLettersDigitsHyphenAndUnderscoreOnly) {
    EXPECT_EQ(sanitize_username(all_bytes().c_str()), std::string(k_all_name_bytes).substr(0, 63));
    EXPECT_STREQ(sanitize_username("z.@/:[`{"), "z");
}

TEST(SanitizeUsername, KeepsCase) {
    EXPECT_STREQ(sanitize_username("AnA_b-C9"), "AnA_b-C9");
}

TEST(SanitizeUsername, MayLeaveNothing) {
    EXPECT_STREQ(sanitize_username(""), "");
    EXPECT_STREQ(sanitize_username("¡ñ! …"), "");
}

TEST(SanitizeInviteCode, DropsBlanksAndPunctuation) {
    EXPECT_STREQ(sanitize_invite_code("ab-12 CD_3!"), "ab-12CD_3");
}

TEST(SanitizeInviteCode, KeepsTheSameBytesAsAUserNameButTwiceAsMany) {
    EXPECT_STREQ(sanitize_invite_code(all_bytes().c_str()), k_all_name_bytes);
    const std::string letters = repeated(20, "abcdefghij");
    EXPECT_EQ(sanitize_invite_code(letters.c_str()), letters.substr(0, 127));
}

TEST(SanitizeSpaceName, CollapsesBlanksAndDropsPunctuation) {
    EXPECT_STREQ(sanitize_space_name("  My   Room!! "), "My Room");
}

TEST(SanitizeSpaceName, OnlyBlanksLeaveNothing) {
    EXPECT_STREQ(sanitize_space_name("     "), "");
    EXPECT_STREQ(sanitize_space_name(" \t\r\n "), "");
    EXPECT_STREQ(sanitize_space_name(""), "");
}

TEST(SanitizeSpaceName, ADroppedByteBetweenBlanksLeavesOneBlank) {
    EXPECT_STREQ(sanitize_space_name("a ! b"), "a b");
    EXPECT_STREQ(sanitize_space_name("a!b"), "ab");
    EXPECT_STREQ(sanitize_space_name("! a"), "a");
    EXPECT_STREQ(sanitize_space_name("a !"), "a");
}

TEST(SanitizeSpaceName, TabsAndLineBreaksAreBlanksButOtherControlBytesAreDropped) {
    EXPECT_STREQ(sanitize_space_name("a\tb\rc\nd\r\n\te"), "a b c d e");
    EXPECT_STREQ(sanitize_space_name("a\vb\fc\x01"), "abc");
    EXPECT_STREQ(sanitize_space_name("a\u00A0b"), "ab");
}

TEST(SanitizeSpaceName, KeepsDotsBesidesTheBytesOfAUserName) {
    std::string expected = k_all_name_bytes;
    expected.insert(1, ".");
    EXPECT_EQ(sanitize_space_name(all_bytes().substr(' ').c_str()), expected);
}

TEST(SanitizeSpaceName, KeepsAtMost127BytesAndNoBlankAtTheCut) {
    const std::string letters = repeated(20, "abcdefghij");
    EXPECT_EQ(sanitize_space_name(letters.c_str()), letters.substr(0, 127));
    const std::string before = letters.substr(0, 126);
    EXPECT_EQ(sanitize_space_name((before + " xyz").c_str()), before);
    EXPECT_EQ(sanitize_space_name((letters.substr(0, 125) + " xyz").c_str()),
              letters.substr(0, 125) + " x");
    EXPECT_EQ(sanitize_space_name((letters.substr(0, 127) + " xyz").c_str()),
              letters.substr(0, 127));
}

TEST(SanitizeSpaceName, BlanksInFrontDoNotCount) {
    EXPECT_STREQ(sanitize_space_name((std::string(500, ' ') + "sala").c_str()), "sala");
}

TEST(SanitizeEmail, LowersCaseAndTakesBlanksOffBothEnds) {
    EXPECT_STREQ(sanitize_email("  Ana.Perez@Example.COM  "), "ana.perez@example.com");
    EXPECT_STREQ(sanitize_email("\r\n\tANA@B.CL \n"), "ana@b.cl");
}

TEST(SanitizeEmail, LeavesEverythingInsideAsItIs) {
    EXPECT_STREQ(sanitize_email(" a b\t@\x01 c! "), "a b\t@\x01 c!");
    EXPECT_STREQ(sanitize_email("\va@b.c\f"), "\va@b.c\f");
    EXPECT_STREQ(sanitize_email("JOSÉ@[Z`].ES"), "josÉ@[z`].es");
}

TEST(SanitizeEmail, OnlyBlanksLeaveNothing) {
    EXPECT_STREQ(sanitize_email(""), "");
    EXPECT_STREQ(sanitize_email(" "), "");
    EXPECT_EQ(sanitize_email(std::string(127, '\n').c_str()), std::string());
}

TEST(SanitizeEmail, BlanksInFrontCountAgainstItsLength) {
    const std::string address = repeated(20, "abcdefghij");
    EXPECT_EQ(sanitize_email(address.c_str()), address.substr(0, 127));
    EXPECT_EQ(sanitize_email(("  " + address).c_str()), address.substr(0, 125));
    EXPECT_EQ(sanitize_email((std::string(127, ' ') + "a@b.c").c_str()), std::string());
    EXPECT_STREQ(sanitize_email((std::string(126, ' ') + "a@b.c").c_str()), "a");
    EXPECT_EQ(sanitize_email((address.substr(0, 126) + " z").c_str()), address.substr(0, 126));
}

TEST(SanitizePassword, KeepsBlanksAndNonAsciiLettersAndDropsATab) {
    EXPECT_STREQ(sanitize_password_input("Contraseña \tde Año"), "Contraseña de Año");
}

TEST(SanitizePassword, KeepsOuterBlanksAndCase) {
    EXPECT_STREQ(sanitize_password_input("  aB  "), "  aB  ");
}

TEST(SanitizePassword, DropsControlBytesAndDeleteOnly) {
    std::string expected;
    for (const char byte : all_bytes()) {
        const auto value = static_cast<unsigned char>(byte);
        if (value >= 32 && value != 127) {
            expected += byte;
        }
    }
    EXPECT_EQ(expected.size(), 223U);
    EXPECT_EQ(sanitize_password_input(all_bytes().c_str()), expected);
}

TEST(SanitizePassword, OfControlBytesAloneIsEmpty) {
    EXPECT_STREQ(sanitize_password_input("\t\r\n\x7F\x01"), "");
    EXPECT_STREQ(sanitize_password_input(""), "");
}

TEST(SanitizePassword, KeepsAtMost255Bytes) {
    const std::string password = repeated(30, "0123456789");
    EXPECT_EQ(sanitize_password_input(password.c_str()), password.substr(0, 255));
    const std::string eñes = repeated(200, "ñ");
    EXPECT_EQ(sanitize_password_input(eñes.c_str()), eñes.substr(0, 255));
}

TEST(Sanitisers, NullIsEmpty) {
    for (const auto sanitise :
         {sanitize_username, sanitize_space_name, sanitize_email, sanitize_invite_code,
          sanitize_password_input, sanitize_chat_text}) {
        sanitise("earlier");
        EXPECT_STREQ(sanitise(nullptr), "");
    }
    EXPECT_FALSE(is_valid_email(nullptr));
}

TEST(Sanitisers, EachHasOneBufferOfItsOwn) {
    const char* const results[] = {sanitize_username("one"),        sanitize_space_name("two"),
                                   sanitize_email("three"),         sanitize_invite_code("four"),
                                   sanitize_password_input("five"), sanitize_chat_text("six")};
    EXPECT_STREQ(results[0], "one");
    EXPECT_STREQ(results[1], "two");
    EXPECT_STREQ(results[2], "three");
    EXPECT_STREQ(results[3], "four");
    EXPECT_STREQ(results[4], "five");
    EXPECT_STREQ(results[5], "six");
    EXPECT_EQ(sanitize_username("x"), results[0]);
    EXPECT_EQ(sanitize_space_name("x"), results[1]);
    EXPECT_EQ(sanitize_email("x"), results[2]);
    EXPECT_EQ(sanitize_invite_code("x"), results[3]);
    EXPECT_EQ(sanitize_password_input("x"), results[4]);
    EXPECT_EQ(sanitize_chat_text("x"), results[5]);
    for (const char* const result : results) {
        EXPECT_STREQ(result, "x");
    }
}

TEST(Sanitisers, AShorterResultFollowsALongerOne) {
    sanitize_space_name("a long name of a space");
    EXPECT_STREQ(sanitize_space_name("ab"), "ab");
    sanitize_email("someone@example.com");
    EXPECT_STREQ(sanitize_email(" a "), "a");
}

TEST(Sanitisers, NoneAllocatesThroughThisProgram) {
    const std::string text = repeated(200, " Añb! ");
    const AllocationCounter counter;
    sanitize_username(text.c_str());
    sanitize_space_name(text.c_str());
    sanitize_email(text.c_str());
    sanitize_invite_code(text.c_str());
    sanitize_password_input(text.c_str());
    sanitize_chat_text(text.c_str()); // its copy is GLib's
    EXPECT_EQ(counter.count(), 0);
}

TEST(IsValidEmail, TakesTheShortestAddress) {
    EXPECT_TRUE(is_valid_email("a@b.c"));
}

TEST(IsValidEmail, NeedsSomethingBeforeTheAtSign) {
    EXPECT_FALSE(is_valid_email("@b.c"));
    EXPECT_FALSE(is_valid_email("@a@b.c"));
}

TEST(IsValidEmail, NeedsSomethingBetweenTheAtSignAndTheLastDot) {
    EXPECT_FALSE(is_valid_email("a@.c"));
    EXPECT_TRUE(is_valid_email("a@.b.c"));
    EXPECT_TRUE(is_valid_email("a@..c"));
}

TEST(IsValidEmail, NeedsSomethingAfterTheLastDot) {
    EXPECT_FALSE(is_valid_email("a@b."));
    EXPECT_FALSE(is_valid_email("a@b.c."));
    EXPECT_FALSE(is_valid_email("a@."));
}

TEST(IsValidEmail, NeedsADotAfterTheAtSign) {
    EXPECT_FALSE(is_valid_email("a@b"));
    EXPECT_FALSE(is_valid_email("a.b@c"));
    EXPECT_FALSE(is_valid_email("a@"));
}

TEST(IsValidEmail, NeedsAnAtSign) {
    EXPECT_FALSE(is_valid_email(""));
    EXPECT_FALSE(is_valid_email("a.b"));
    EXPECT_FALSE(is_valid_email("."));
}

TEST(IsValidEmail, AsksForNothingElse) {
    EXPECT_TRUE(is_valid_email("a b@c d.e f"));
    EXPECT_TRUE(is_valid_email("a@b@c.d"));
    EXPECT_TRUE(is_valid_email("a@b.c@d"));
    EXPECT_TRUE(is_valid_email("a@b..c"));
    EXPECT_TRUE(is_valid_email(" @ . "));
    EXPECT_TRUE(is_valid_email("\xFF@\xFF.\xFF"));
}

} // namespace
