// Signing in from the saved session, with the backend's answers in the test's hand.
#include "storage/session_restore.h"

#include "backend/auth_api.h"
#include "backend/endpoints.h"
#include "backend/identity.h"
#include "backend/spaces_api.h"
#include "base/text.h"
#include "storage/local_files.h"
#include "unit/storage/user_folder.h"

#include <string>
#include <vector>

namespace {

struct Answer {
    bool success = true;
    std::string username;
    std::string email;
    std::string token;
};

Answer g_answer;
std::vector<std::string> g_calls;
std::string g_session_at_load;
bool g_spaces_load = true;
bool g_texts_have_their_sizes = true;

std::string file_content() {
    char url[128];
    char username[64];
    char token[256];
    load_local_session(url, username, token);
    return std::string(url) + "|" + username + "|" + token;
}

} // namespace

// In place of the real one, which the linker then leaves in its library.
bool backend_auth_restore_session(const char* saved_token, const SignInTexts& out) {
    g_calls.push_back("restore " + std::string(saved_token) + " at " + g_backend_url + " voice " +
                      g_server_url + " chat " + g_chat_ws_url);
    g_texts_have_their_sizes = out.username.size() == 64 && out.email.size() == 128 &&
                               out.session_token.size() == 256 && out.error.size() == 256;
    copy_text(out.username.data(), out.username.size(), g_answer.username);
    copy_text(out.email.data(), out.email.size(), g_answer.email);
    copy_text(out.session_token.data(), out.session_token.size(), g_answer.token);
    copy_text(out.error.data(), out.error.size(), g_answer.success ? "" : "error");
    return g_answer.success;
}

bool backend_load_spaces(std::span<char> error) {
    g_calls.push_back("spaces of " + std::string(g_username) + " with " + g_session_token);
    g_session_at_load = file_content();
    copy_text(error.data(), error.size(), std::string(1000, 'e'));
    return g_spaces_load;
}

namespace {

class Restore : public UserFolder {
  protected:
    Restore() {
        g_answer = {};
        g_calls.clear();
        g_session_at_load.clear();
        g_spaces_load = true;
        sync_voice_server_from_backend_url("http://before");
    }

    std::string identity() const {
        return std::string(g_username) + "|" + g_user_email + "|" + g_session_token;
    }
};

TEST_F(Restore, TakesOverWhatTheBackendSays) {
    save_local_session("https://velmo.example:8443/base", "saved", "old");
    g_answer = {true, "ana", "ana@velmo.example", "new"};
    EXPECT_TRUE(try_auto_restore_session());
    EXPECT_EQ(identity(), "ana|ana@velmo.example|new");
    EXPECT_EQ(g_calls,
              (std::vector<std::string>{
                  "restore old at https://velmo.example:8443/base voice velmo.example:3602 chat "
                  "wss://velmo.example/ws",
                  "spaces of ana with new"}));
    EXPECT_EQ(read(session()),
              "backend_url=https://velmo.example:8443/base\nusername=ana\nsession_token=new\n");
    EXPECT_TRUE(g_texts_have_their_sizes);
}

TEST_F(Restore, SavesTheSessionBeforeItLoadsTheSpaces) {
    save_local_session("http://localhost:3600", "saved", "old");
    g_answer = {true, "ana", "", "new"};
    EXPECT_TRUE(try_auto_restore_session());
    EXPECT_EQ(g_session_at_load, "http://localhost:3600|ana|new");
}

TEST_F(Restore, KeepsWhatWasSavedWhereTheAnswerHasNone) {
    save_local_session("http://localhost:3600", "saved", "old");
    EXPECT_TRUE(try_auto_restore_session());
    EXPECT_EQ(identity(), "saved|saved|old");
    EXPECT_EQ(g_session_at_load, "http://localhost:3600|saved|old");
}

TEST_F(Restore, TheEmailIsTheSavedUserNameAndNotTheNewOneWithoutAnEmail) {
    save_local_session("http://localhost:3600", "saved", "old");
    copy_text(g_user_email, "before@velmo.example");
    g_answer.username = "ana";
    EXPECT_TRUE(try_auto_restore_session());
    EXPECT_EQ(identity(), "ana|saved|old");
}

TEST_F(Restore, AnotherUserNameIsNotTheFilesWithoutOneSaved) {
    save_local_session("http://localhost:3600", "", "old");
    g_answer.username = "ana";
    EXPECT_TRUE(try_auto_restore_session());
    EXPECT_EQ(identity(), "ana||old");
}

TEST_F(Restore, NobodyIsSignedInWithoutAnyUserName) {
    save_local_session("http://localhost:3600", "", "old");
    copy_text(g_username, "before");
    g_answer.email = "ana@velmo.example";
    EXPECT_FALSE(try_auto_restore_session());
    EXPECT_EQ(identity(), "|ana@velmo.example|old");
    EXPECT_EQ(g_calls.size(), 2U);
    EXPECT_EQ(read(session()), "backend_url=http://localhost:3600\nusername=\nsession_token=old\n");
}

TEST_F(Restore, TheBackendsNoDeletesTheSession) {
    save_local_session("http://localhost:3600", "saved", "old");
    save_local_settings();
    g_answer = {false, "partial", "partial", "partial"};
    EXPECT_FALSE(try_auto_restore_session());
    EXPECT_EQ(identity(), "||");
    EXPECT_EQ(g_calls.size(), 1U);
    EXPECT_EQ(names(), std::vector<std::string>{"settings.txt"});
    // The address is adopted before the question.
    EXPECT_STREQ(g_backend_url, "http://localhost:3600");
    EXPECT_STREQ(g_server_url, "localhost:3602");
}

TEST_F(Restore, NothingIsAskedWithoutASession) {
    EXPECT_FALSE(try_auto_restore_session());
    g_user_folder = "";
    EXPECT_FALSE(try_auto_restore_session());
    EXPECT_TRUE(g_calls.empty());
    EXPECT_STREQ(g_server_url, "before:3602");
}

TEST_F(Restore, AFileWithoutATokenIsLeftInPlace) {
    const std::string text = "backend_url=http://localhost:3600\nusername=ana\n";
    write(session(), text);
    const std::string address = g_backend_url;
    EXPECT_FALSE(try_auto_restore_session());
    EXPECT_TRUE(g_calls.empty());
    EXPECT_EQ(read(session()), text);
    EXPECT_EQ(g_backend_url, address);
}

TEST_F(Restore, AnAddressWithoutAHostIsAdoptedAndTheServersStay) {
    write(session(), "backend_url=https://\nusername=ana\nsession_token=t\n");
    EXPECT_TRUE(try_auto_restore_session());
    EXPECT_STREQ(g_backend_url, "https://");
    EXPECT_STREQ(g_server_url, "before:3602");
}

TEST_F(Restore, GoesOnWithoutTheSpaces) {
    save_local_session("http://localhost:3600", "saved", "old");
    g_spaces_load = false;
    EXPECT_TRUE(try_auto_restore_session());
    EXPECT_EQ(identity(), "saved|saved|old");
}

TEST_F(Restore, TakesTheLongestTexts) {
    const std::string url = "http://" + std::string(120, 'u');
    save_local_session(url.c_str(), "saved", std::string(255, 's').c_str());
    g_answer = {true, std::string(63, 'n'), std::string(127, 'm'), std::string(255, 't')};
    EXPECT_TRUE(try_auto_restore_session());
    EXPECT_EQ(g_backend_url, url);
    EXPECT_EQ(identity(), g_answer.username + "|" + g_answer.email + "|" + g_answer.token);
}

TEST_F(Restore, ANameWithALineBreakIsNotAnotherBackendNextTime) {
    save_local_session("http://localhost:3600", "saved", "old");
    g_answer.username = "ana\nbackend_url=http://evil";
    EXPECT_TRUE(try_auto_restore_session());
    EXPECT_EQ(file_content(), "http://localhost:3600|ana|old");
}

TEST_F(Restore, SignsInWhenTheSessionCannotBeSavedAgain) {
    save_local_session("http://localhost:3600", "saved", "old");
    std::filesystem::create_directory(own_folder() / "auth_session.txt.new");
    g_answer = {true, "ana", "", "new"};
    EXPECT_TRUE(try_auto_restore_session());
    EXPECT_EQ(identity(), "ana|saved|new");
    EXPECT_EQ(file_content(), "http://localhost:3600|saved|old");
}

} // namespace
