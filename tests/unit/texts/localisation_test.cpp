// The lookup of the interface's texts.
#include "ui/localisation.h"

#include <gtest/gtest.h>

#include <string>

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
    EXPECT_STREQ(tr("yes"), "Sí");
    g_language = 1;
    EXPECT_STREQ(tr("yes"), "Yes");
    EXPECT_STREQ(tr("status_in_channel"), "In channel: %s");
    g_language = 0;
    EXPECT_STREQ(tr("yes"), "Sí");
}

TEST_F(Localisation, AnyOtherLanguageIsSpanish) {
    for (const std::int32_t language : {2, -1, 256 + 1, INT32_MAX, INT32_MIN}) {
        g_language = language;
        EXPECT_STREQ(tr("status_in_channel"), "En canal: %s") << language;
        EXPECT_STREQ(tr("yes"), "Sí") << language;
    }
}

TEST_F(Localisation, AnUnknownKeyComesBackUnchanged) {
    for (const std::int32_t language : {0, 1}) {
        g_language = language;
        const std::string key = "no_such_key";
        EXPECT_EQ(tr(key.c_str()), key.c_str());
        EXPECT_EQ(key, "no_such_key");
        EXPECT_STREQ(tr("¿qué?"), "¿qué?");
        EXPECT_STREQ(tr(""), "");
    }
}

TEST_F(Localisation, AKeyIsComparedExactly) {
    for (const char* const key : {"TAB_CHANNEL", "Tab_channel", "tab_channel ", " tab_channel",
                                  "tab_channe", "tab_channel_", "tab-channel"}) {
        EXPECT_EQ(tr(key), key);
    }
}

TEST_F(Localisation, TheKeyNeedNotBeTheTablesOwnBytes) {
    const std::string key = std::string("tab_") + "channel";
    EXPECT_STREQ(tr(key.c_str()), "Canal");
}

TEST_F(Localisation, ATextMayBeKeptThroughAChangeOfLanguage) {
    const char* const spanish = tr("tab_channel");
    g_language = 1;
    const char* const english = tr("tab_channel");
    EXPECT_STREQ(spanish, "Canal");
    EXPECT_STREQ(english, "Channel");
    g_language = 0;
    EXPECT_EQ(tr("tab_channel"), spanish);
}

} // namespace
