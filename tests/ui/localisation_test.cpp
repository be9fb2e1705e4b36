// The interface's texts.
#include "ui/localisation.h"

#include <gtest/gtest.h>

namespace {

class Localisation : public testing::Test {
  protected:
    void TearDown() override { g_language = k_language_spanish; }
};

TEST_F(Localisation, StartsInSpanish) {
    EXPECT_EQ(g_language, 0);
    EXPECT_STREQ(tr("status_in_channel"), "En canal: %s");
}

TEST_F(Localisation, GivesTheTextOfTheChosenLanguage) {
    EXPECT_STREQ(tr("app_window_title"), "Velmo Voice Chat");
    EXPECT_STREQ(tr("tab_channel"), "Canal");
    g_language = k_language_english;
    EXPECT_STREQ(tr("app_window_title"), "Velmo Voice Chat");
    EXPECT_STREQ(tr("tab_channel"), "Channel");
    EXPECT_STREQ(tr("status_in_channel"), "In channel: %s");
}

TEST_F(Localisation, AnyOtherLanguageIsSpanish) {
    g_language = 2;
    EXPECT_STREQ(tr("status_in_channel"), "En canal: %s");
    g_language = -1;
    EXPECT_STREQ(tr("status_in_channel"), "En canal: %s");
}

TEST_F(Localisation, AnUnknownKeyComesBackUnchanged) {
    const char* const key = "no_such_key";
    EXPECT_EQ(tr(key), key);
    EXPECT_STREQ(tr("TAB_CHANNEL"), "TAB_CHANNEL");
    EXPECT_STREQ(tr("tab_channel "), "tab_channel ");
    EXPECT_STREQ(tr(""), "");
}

} // namespace
