// The session file: its exact bytes, and whatever may stand in it.
#include "base/text.h"
#include "storage/local_files.h"
#include "unit/storage/user_folder.h"

#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

class Session : public UserFolder {
  protected:
    bool load() { return load_local_session(m_url, m_username, m_token); }

    /// Whether it loads, and the three texts.
    std::string loaded(std::string_view bytes) {
        write(session(), bytes);
        const bool result = load();
        return std::string(result ? "1" : "0") + "|" + m_url + "|" + m_username + "|" + m_token;
    }

    char m_url[128] = "before";
    char m_username[64] = "before";
    char m_token[256] = "before";
};

TEST_F(Session, IsSavedAsThreeLines) {
    EXPECT_TRUE(save_local_session("http://127.0.0.1:3600", "ana", "t0k3n"));
    EXPECT_EQ(read(session()),
              "backend_url=http://127.0.0.1:3600\nusername=ana\nsession_token=t0k3n\n");
    EXPECT_EQ(names(), std::vector<std::string>{"auth_session.txt"});
    EXPECT_TRUE(save_local_session("u", "", "t"));
    EXPECT_EQ(read(session()), "backend_url=u\nusername=\nsession_token=t\n");
    EXPECT_TRUE(save_local_session("", "n", "t"));
    EXPECT_EQ(read(session()), "backend_url=\nusername=n\nsession_token=t\n");
}

TEST_F(Session, SavesTextsAsTheyStand) {
    EXPECT_TRUE(save_local_session(" u=\xC3\xB1 ", "Jos\xC3\xA9 \r\t\"\\%s", "a=b=\xFF"));
    EXPECT_EQ(read(session()), "backend_url= u=\xC3\xB1 \nusername=Jos\xC3\xA9 \r\t\"\\%s\n"
                               "session_token=a=b=\xFF\n");
}

TEST_F(Session, WritesNothingForANullOrWithoutAToken) {
    EXPECT_TRUE(save_local_session("u", "n", "t"));
    const std::string before = read(session());
    EXPECT_FALSE(save_local_session(nullptr, "n", "x"));
    EXPECT_FALSE(save_local_session("u", nullptr, "x"));
    EXPECT_FALSE(save_local_session("u", "n", nullptr));
    EXPECT_FALSE(save_local_session("u", "n", ""));
    EXPECT_EQ(read(session()), before);
}

TEST_F(Session, SaysWhenItCannotBeSaved) {
    fs::create_directories(session());
    EXPECT_FALSE(save_local_session("u", "n", "t"));
    g_user_folder += "/missing";
    EXPECT_FALSE(save_local_session("u", "n", "t"));
    g_user_folder = "";
    EXPECT_FALSE(save_local_session("u", "n", "t"));
}

TEST_F(Session, StaysWholeWhenItCannotBeSaved) {
    EXPECT_TRUE(save_local_session("u", "n", "t"));
    write(own_folder() / "auth_session.txt.new" / "file", "x");
    EXPECT_FALSE(save_local_session("v", "m", "s"));
    EXPECT_EQ(read(session()), "backend_url=u\nusername=n\nsession_token=t\n");
    EXPECT_EQ(names(), (std::vector<std::string>{"auth_session.txt", "auth_session.txt.new"}));
}

TEST_F(Session, ALineBreakInANameSendsTheTokenNowhereElse) {
    EXPECT_TRUE(save_local_session("http://good", "eva\nbackend_url=http://evil", "t\nusername=x"));
    EXPECT_EQ(read(session()), "backend_url=http://good\nusername=eva\nsession_token=t\n");
    EXPECT_TRUE(load());
    EXPECT_STREQ(m_url, "http://good");
    EXPECT_STREQ(m_username, "eva");
}

// What a line of 767 bytes has beyond them would be read as a line of its own.
TEST_F(Session, ANameAsLongAsALineSendsTheTokenNowhereElse) {
    const std::string name = std::string(767 - 9, 'n') + "backend_url=http://evil";
    EXPECT_TRUE(save_local_session("http://good", name.c_str(), "t"));
    EXPECT_EQ(read(session()),
              "backend_url=http://good\nusername=" + std::string(758, 'n') + "\nsession_token=t\n");
    EXPECT_TRUE(load());
    EXPECT_STREQ(m_url, "http://good");
    EXPECT_STREQ(m_token, "t");
}

TEST_F(Session, ComesBackAsItWasSaved) {
    const std::string url(127, 'u');
    const std::string name(63, 'n');
    const std::string token(255, 't');
    EXPECT_TRUE(save_local_session(url.c_str(), name.c_str(), token.c_str()));
    EXPECT_TRUE(load());
    EXPECT_EQ(m_url, url);
    EXPECT_EQ(m_username, name);
    EXPECT_EQ(m_token, token);
}

TEST_F(Session, EmptiesTheTextsWithoutAFile) {
    EXPECT_FALSE(load());
    EXPECT_STREQ(m_url, "");
    EXPECT_STREQ(m_username, "");
    EXPECT_STREQ(m_token, "");
    copy_text(m_token, "before");
    g_user_folder = "";
    EXPECT_FALSE(load());
    EXPECT_STREQ(m_token, "");
}

TEST_F(Session, NeedsAnAddressAndAToken) {
    EXPECT_EQ(loaded("backend_url=u\nusername=n\nsession_token=t\n"), "1|u|n|t");
    EXPECT_EQ(loaded("backend_url=u\nsession_token=t\n"), "1|u||t");
    EXPECT_EQ(loaded("backend_url=u\nusername=n\n"), "0|u|n|");
    EXPECT_EQ(loaded("username=n\nsession_token=t\n"), "0||n|t");
    EXPECT_EQ(loaded("backend_url=\nusername=n\nsession_token=t\n"), "0||n|t");
    EXPECT_EQ(loaded("backend_url=u\nusername=n\nsession_token=\n"), "0|u|n|");
    EXPECT_EQ(loaded(""), "0|||");
}

TEST_F(Session, IsNoneForACallerWithoutRoomForItsAddressOrToken) {
    EXPECT_EQ(loaded("backend_url=u\nusername=n\nsession_token=t\n"), "1|u|n|t");
    EXPECT_FALSE(load_local_session(m_url, m_username, {}));
    EXPECT_STREQ(m_url, "u");
    EXPECT_STREQ(m_username, "n");
    EXPECT_FALSE(load_local_session({}, m_username, m_token));
    EXPECT_STREQ(m_token, "t");
    EXPECT_TRUE(load_local_session(m_url, {}, m_token)) << "a name may lack";
    EXPECT_FALSE(load_local_session({}, {}, {}));
}

TEST_F(Session, KeysAreMatchedAtTheStartInTheirCaseWithoutBlanks) {
    EXPECT_EQ(loaded(" backend_url=u\nUsername=n\nsession_token =t\nxusername=n\nusername\n"),
              "0|||");
    EXPECT_EQ(loaded("backend_url= u =v\nusername== n\nsession_token=t\t\n"), "1| u =v|= n|t\t");
}

TEST_F(Session, MayHaveLineEndsOfWindowsAndNoneAtItsEnd) {
    EXPECT_EQ(loaded("backend_url=u\r\nusername=n\r\nsession_token=t"), "1|u|n|t");
    EXPECT_EQ(loaded("backend_url=u\r\r\nusername=n\rm\r\n\r\n\nsession_token=t\r"), "1|u|n\rm|t");
}

TEST_F(Session, TheLastOfAKeyCountsAlsoWhenItIsEmpty) {
    EXPECT_EQ(loaded("session_token=a\nbackend_url=u\nbackend_url=v\nsession_token=b\n"), "1|v||b");
    EXPECT_EQ(loaded("session_token=a\nbackend_url=u\nsession_token=\n"), "0|u||");
}

TEST_F(Session, CutsTextsToTheirBuffers) {
    write(session(), "backend_url=" + std::string(200, 'u') + "\nusername=" +
                         std::string(200, 'n') + "\nsession_token=" + std::string(300, 't') + "\n");
    EXPECT_TRUE(load());
    EXPECT_EQ(m_url, std::string(127, 'u'));
    EXPECT_EQ(m_username, std::string(63, 'n'));
    EXPECT_EQ(m_token, std::string(255, 't'));
    char one[1] = {'x'};
    EXPECT_FALSE(load_local_session(m_url, {}, one));
    EXPECT_EQ(one[0], '\0');
    EXPECT_EQ(m_url, std::string(127, 'u'));
}

TEST_F(Session, ALineIsOf767BytesAndTheRestOfALongerOneALineOfItsOwn) {
    const std::string name = "username=" + std::string(758, 'n');
    const std::string cut(63, 'n');
    ASSERT_EQ(name.size(), 767U);
    EXPECT_EQ(loaded("backend_url=u\n" + name + "more\nsession_token=t\n"), "1|u|" + cut + "|t");
    EXPECT_EQ(loaded("backend_url=u\n" + name + "session_token=t\n"), "1|u|" + cut + "|t");
    EXPECT_EQ(loaded("backend_url=u\n" + name + "nsession_token=t\n"), "0|u|" + cut + "|");
    EXPECT_EQ(loaded("backend_url=u\n" + name + "\nsession_token=t\n"), "1|u|" + cut + "|t");
}

TEST_F(Session, ANulByteEndsItsLineAndNoOther) {
    using namespace std::string_literals;
    EXPECT_EQ(loaded("backend_url=u\0v\nusername=\0\n\0session_token=x\nsession_token=t\n"s),
              "1|u||t");
}

TEST_F(Session, AControlZIsAByteLikeAnother) {
    EXPECT_EQ(loaded("\x1A\nbackend_url=u\nusername=n\x1A"
                     "m\nsession_token=\x1At\x1A"),
              "1|u|n\x1Am|\x1At\x1A");
    EXPECT_TRUE(save_local_session("u", "n\x1Am", "t"));
    EXPECT_EQ(read(session()), "backend_url=u\nusername=n\x1Am\nsession_token=t\n");
}

TEST_F(Session, AFolderInItsPlaceIsNoFile) {
    fs::create_directories(session());
    EXPECT_FALSE(load());
    clear_local_session();
    EXPECT_TRUE(fs::is_directory(session()));
}

TEST_F(Session, ClearingDeletesItAndWhatAnInterruptedSaveLeft) {
    save_local_settings();
    EXPECT_TRUE(save_local_session("u", "n", "t"));
    write(own_folder() / "auth_session.txt.new", "session_token=secret");
    clear_local_session();
    EXPECT_EQ(names(), std::vector<std::string>{"settings.txt"});
    clear_local_session();
    g_user_folder = "";
    clear_local_session();
}

} // namespace
