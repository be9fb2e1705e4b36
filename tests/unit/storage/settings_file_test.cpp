// The settings file: its path, its exact bytes, and whatever may stand in it.
#include "backend/identity.h"
#include "base/text.h"
#include "storage/local_files.h"
#include "ui/localisation.h"
#include "unit/storage/user_folder.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

using Settings = UserFolder;

constexpr char k_separator = static_cast<char>(fs::path::preferred_separator);

std::string named_folder(std::string_view name) {
    return std::string(1, k_separator) + std::string(name);
}

TEST_F(Settings, AreInAFolderOfTheirOwnMadeWithThePath) {
    char path[512];
    EXPECT_TRUE(get_settings_file_path(path));
    EXPECT_EQ(path, g_user_folder + named_folder("VelmoTalkPro") + named_folder("settings.txt"));
    EXPECT_TRUE(fs::is_directory(own_folder()));
    EXPECT_TRUE(get_settings_file_path(path));
    EXPECT_TRUE(get_session_file_path(path));
    EXPECT_EQ(path,
              g_user_folder + named_folder("VelmoTalkPro") + named_folder("auth_session.txt"));
    EXPECT_TRUE(names().empty());
}

TEST_F(Settings, PathIsNoneWithoutABufferOrAUserFolder) {
    EXPECT_FALSE(get_settings_file_path({}));
    EXPECT_FALSE(get_session_file_path({}));
    g_user_folder = "";
    char path[512] = "before";
    EXPECT_FALSE(get_settings_file_path(path));
    EXPECT_STREQ(path, "");
    EXPECT_FALSE(get_session_file_path(path));
}

TEST_F(Settings, PathThatDoesNotFitIsNone) {
    const std::size_t rest = std::strlen("/VelmoTalkPro/settings.txt");
    char path[512];
    g_user_folder = std::string(511 - rest, 'x');
    EXPECT_TRUE(get_settings_file_path(path));
    EXPECT_EQ(std::strlen(path), 511U);
    EXPECT_FALSE(get_session_file_path(path));
    EXPECT_STREQ(path, "");
    g_user_folder += 'x';
    EXPECT_FALSE(get_settings_file_path(path));
    g_user_folder = std::string(100'000, 'x');
    EXPECT_FALSE(get_settings_file_path(path));
    save_local_settings();
    load_local_settings();
}

TEST_F(Settings, NoFolderIsMadeWhoseNameDoesNotFit) {
    if (sizeof(fs::path::value_type) != 1) {
        GTEST_SKIP() << "a folder of so long a name cannot be made on Windows";
    }
    while (g_user_folder.size() < 505) {
        g_user_folder +=
            "/" + std::string(std::min<std::size_t>(504 - g_user_folder.size(), 50), 'x');
    }
    fs::create_directories(g_user_folder);
    save_local_settings();
    EXPECT_TRUE(fs::is_empty(g_user_folder));
}

TEST_F(Settings, PathFitsTheCallersBufferToo) {
    char path[512];
    ASSERT_TRUE(get_settings_file_path(path));
    std::string small(std::strlen(path) + 1, 'x');
    EXPECT_TRUE(get_settings_file_path(small));
    EXPECT_STREQ(small.c_str(), path);
    small.pop_back();
    EXPECT_FALSE(get_settings_file_path(small));
    EXPECT_EQ(small[0], '\0');
}

TEST_F(Settings, AreSavedAsTwoLines) {
    save_local_settings();
    EXPECT_EQ(read(settings()), "language=es\ndisplay_name=\n");
    g_language = k_language_english;
    copy_text(g_display_name, "Ana_1");
    save_local_settings();
    EXPECT_EQ(read(settings()), "language=en\ndisplay_name=Ana_1\n");
    EXPECT_EQ(names(), std::vector<std::string>{"settings.txt"});
}

TEST_F(Settings, AnyOtherLanguageIsSavedAsSpanish) {
    g_language = 7;
    save_local_settings();
    EXPECT_EQ(read(settings()), "language=es\ndisplay_name=\n");
}

TEST_F(Settings, SavesTheDisplayNameAsItStands) {
    copy_text(g_display_name, "Jos\xC3\xA9 =\r\t" + std::string(80, 'x'));
    save_local_settings();
    EXPECT_EQ(read(settings()),
              "language=es\ndisplay_name=Jos\xC3\xA9 =\r\t" + std::string(54, 'x') + "\n");
}

TEST_F(Settings, ADisplayNameWithALineBreakWritesNoOtherLine) {
    copy_text(g_display_name, "ana\nlanguage=en");
    save_local_settings();
    EXPECT_EQ(read(settings()), "language=es\ndisplay_name=ana\n");
}

TEST_F(Settings, ComeBackAsTheyWereSaved) {
    g_language = k_language_english;
    copy_text(g_display_name, std::string(63, 'n'));
    save_local_settings();
    g_language = k_language_spanish;
    copy_text(g_display_name, "other");
    load_local_settings();
    EXPECT_EQ(g_language, k_language_english);
    EXPECT_EQ(g_display_name, std::string(63, 'n'));
}

TEST_F(Settings, StayAsTheyAreWithoutAFile) {
    g_language = k_language_english;
    copy_text(g_display_name, "ana");
    load_local_settings();
    g_user_folder = "";
    load_local_settings();
    EXPECT_EQ(g_language, k_language_english);
    EXPECT_STREQ(g_display_name, "ana");
}

TEST_F(Settings, NothingIsWrittenWithoutAUserFolder) {
    g_user_folder = "";
    save_local_settings();
    EXPECT_FALSE(fs::exists("VelmoTalkPro"));
    EXPECT_FALSE(fs::exists("settings.txt"));
}

TEST_F(Settings, LanguageIsEnglishForEnExactly) {
    for (const char* const value : {"EN", "En", "en ", " en", "english", "e", "", "en=", "fr"}) {
        g_language = k_language_english;
        write(settings(), "language=" + std::string(value) + "\n");
        load_local_settings();
        EXPECT_EQ(g_language, k_language_spanish) << value;
    }
    write(settings(), "language=en\n");
    load_local_settings();
    EXPECT_EQ(g_language, k_language_english);
}

TEST_F(Settings, MayHaveLineEndsOfWindows) {
    write(settings(), "language=en\r\ndisplay_name=ana\r\n");
    load_local_settings();
    EXPECT_EQ(g_language, k_language_english);
    EXPECT_STREQ(g_display_name, "ana");
}

TEST_F(Settings, AnyRunOfLineEndsIsTakenOff) {
    write(settings(), "language=en\r\r\r\n");
    load_local_settings();
    EXPECT_EQ(g_language, k_language_english);
    write(settings(), "language=en\rx\n");
    load_local_settings();
    EXPECT_EQ(g_language, k_language_spanish);
}

TEST_F(Settings, TheLastLineNeedsNoEnd) {
    write(settings(), "display_name=ana\nlanguage=en");
    load_local_settings();
    EXPECT_EQ(g_language, k_language_english);
    EXPECT_STREQ(g_display_name, "ana");
}

TEST_F(Settings, TheLastOfAKeyCounts) {
    write(settings(), "language=en\ndisplay_name=one\nlanguage=es\ndisplay_name=two\n");
    load_local_settings();
    EXPECT_EQ(g_language, k_language_spanish);
    EXPECT_STREQ(g_display_name, "two");
}

TEST_F(Settings, TheDisplayNameIsCleanedAndCut) {
    write(settings(), "display_name=Jos\xC3\xA9 Mar\xC3\xAD\x61\n");
    load_local_settings();
    EXPECT_STREQ(g_display_name, "JosMara");
    write(settings(), "display_name=" + std::string(100, 'n') + "\n");
    load_local_settings();
    EXPECT_EQ(g_display_name, std::string(63, 'n'));
}

TEST_F(Settings, ADisplayNameOfNothingGoodIsEmpty) {
    for (const char* const value : {"", "   ", "\xC3\xB1!?"}) {
        copy_text(g_display_name, "before");
        write(settings(), "display_name=" + std::string(value) + "\n");
        load_local_settings();
        EXPECT_STREQ(g_display_name, "") << value;
    }
}

TEST_F(Settings, OtherLinesAreIgnored) {
    copy_text(g_display_name, "ana");
    write(settings(), "# language=en\n language=en\nLanguage=en\nlanguage =en\nlanguage\n\n=en\n"
                      "display_name\nxdisplay_name=eva\n\xFF\xFE\n");
    load_local_settings();
    EXPECT_EQ(g_language, k_language_spanish);
    EXPECT_STREQ(g_display_name, "ana");
}

TEST_F(Settings, ALineIsOf255BytesAndTheRestOfALongerOneALineOfItsOwn) {
    const std::string filler = "display_name=" + std::string(242, '!');
    ASSERT_EQ(filler.size(), 255U);
    write(settings(), filler + "language=en\n");
    load_local_settings();
    EXPECT_EQ(g_language, k_language_english);

    write(settings(), filler + "!language=en\n" + "language=es");
    g_language = k_language_english;
    load_local_settings();
    EXPECT_EQ(g_language, k_language_spanish);

    // Its own end is then a line of nothing.
    write(settings(), filler + "\nlanguage=en\n");
    load_local_settings();
    EXPECT_EQ(g_language, k_language_english);
}

TEST_F(Settings, AByteBeforeTheLimitAllOfALineCounts) {
    write(settings(), "display_name=" + std::string(241, '!') + "a\n");
    load_local_settings();
    EXPECT_STREQ(g_display_name, "a");
    write(settings(), "display_name=" + std::string(242, '!') + "b\n");
    load_local_settings();
    EXPECT_STREQ(g_display_name, "");
}

TEST_F(Settings, ANulByteEndsItsLineAndNoOther) {
    using namespace std::string_literals;
    write(settings(), "language=en\0x\n\0language=es\ndisplay_name=a\0b\n"s);
    load_local_settings();
    EXPECT_EQ(g_language, k_language_english);
    EXPECT_STREQ(g_display_name, "a");
}

TEST_F(Settings, AnEmptyFileChangesNothing) {
    g_language = k_language_english;
    write(settings(), "");
    load_local_settings();
    EXPECT_EQ(g_language, k_language_english);
}

TEST_F(Settings, AHugeFileIsReadToItsEnd) {
    std::string text = "language=es\n";
    text.append(20'000'000, '\0');
    text += "\nlanguage=en\n";
    write(settings(), text);
    load_local_settings();
    EXPECT_EQ(g_language, k_language_english);
    write(settings(), "language=en\n" + std::string(1'000'000, 'x') + "\nlanguage=es\n");
    load_local_settings();
    EXPECT_EQ(g_language, k_language_spanish);
}

TEST_F(Settings, AFolderInTheirPlaceIsNoFile) {
    fs::create_directories(settings());
    g_language = k_language_english;
    load_local_settings();
    EXPECT_EQ(g_language, k_language_english);
    save_local_settings();
    EXPECT_TRUE(fs::is_directory(settings()));
    EXPECT_EQ(names(), std::vector<std::string>{"settings.txt"});
}

TEST_F(Settings, StayWholeWhenTheyCannotBeSaved) {
    copy_text(g_display_name, "ana");
    save_local_settings();
    write(own_folder() / "settings.txt.new" / "file", "x");
    copy_text(g_display_name, "eva");
    save_local_settings();
    EXPECT_EQ(read(settings()), "language=es\ndisplay_name=ana\n");
    EXPECT_EQ(names(), (std::vector<std::string>{"settings.txt", "settings.txt.new"}));
}

TEST_F(Settings, AControlZIsAByteLikeAnother) {
    write(settings(), "\x1A\ndisplay_name=an\x1A"
                      "a\nlanguage=en\n\x1A");
    load_local_settings();
    EXPECT_STREQ(g_display_name, "ana");
    EXPECT_EQ(g_language, k_language_english);
    copy_text(g_display_name, "an\x1A"
                              "a");
    save_local_settings();
    EXPECT_EQ(read(settings()), "language=en\ndisplay_name=an\x1A"
                                "a\n");
}

TEST_F(Settings, AFileInPlaceOfTheirFolderIsKept) {
    write(own_folder(), "a file");
    save_local_settings();
    load_local_settings();
    EXPECT_EQ(read(own_folder()), "a file");
}

TEST_F(Settings, AUserFolderThatIsNotThereIsLeftAlone) {
    g_user_folder += "/missing";
    save_local_settings();
    load_local_settings();
    EXPECT_FALSE(fs::exists(g_user_folder));
}

} // namespace
