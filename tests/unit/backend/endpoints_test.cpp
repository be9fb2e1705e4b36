// Where the servers are, as derived from an address. Built with https://talk.velmo.test:8443 as the
// built-in one.
#include "backend/endpoints.h"
#include "base/text.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

constexpr const char* k_built_in = "https://talk.velmo.test:8443";

struct Endpoints {
    std::string backend = g_backend_url;
    std::string chat = g_chat_url;
    std::string chat_socket = g_chat_ws_url;
    std::string voice = g_server_url;

    bool operator==(const Endpoints&) const = default;
};

/// As the program starts with them: taken before any test.
const Endpoints& at_start() {
    static const Endpoints endpoints;
    return endpoints;
}

std::vector<std::string> g_shown; ///< "voice server|chat socket" at each callback

class EndpointsTest : public testing::Test {
  protected:
    static void SetUpTestSuite() { at_start(); }
    void SetUp() override {
        copy_text(g_backend_url, "backend");
        copy_text(g_chat_url, "chat");
        copy_text(g_chat_ws_url, "socket");
        copy_text(g_server_url, "voice");
        g_shown.clear();
    }
    void TearDown() override { Endpoints_SetVoiceServerCallback(nullptr); }

    static void expect(const std::string& url, const std::string& voice,
                       const std::string& chat_socket) {
        sync_voice_server_from_backend_url(url.c_str());
        EXPECT_EQ(g_server_url, voice) << url;
        EXPECT_EQ(g_chat_ws_url, chat_socket) << url;
        EXPECT_EQ(g_chat_url, url);
        EXPECT_STREQ(g_backend_url, "backend") << "it is the caller's";
    }
};

TEST_F(EndpointsTest, ProgramStartsWithTheBuiltInAddress) {
    EXPECT_EQ(at_start().backend, k_built_in);
    EXPECT_EQ(at_start().chat, k_built_in);
    EXPECT_EQ(at_start().chat_socket, "ws://talk.velmo.test:3603");
    EXPECT_EQ(at_start().voice, "127.0.0.1:3602");
    EXPECT_STREQ(get_selected_backend_url(), k_built_in);
}

TEST_F(EndpointsTest, LocalHostHasItsChatOnAPortOfItsOwn) {
    expect("http://localhost:8080", "localhost:3602", "ws://localhost:3603");
    expect("http://127.0.0.1:3600", "127.0.0.1:3602", "ws://127.0.0.1:3603");
}

TEST_F(EndpointsTest, LocalChatIsNeverSecure) {
    expect("https://127.0.0.1", "127.0.0.1:3602", "ws://127.0.0.1:3603");
    expect("https://localhost/", "localhost:3602", "ws://localhost:3603");
}

TEST_F(EndpointsTest, OtherHostsHaveTheirChatOnAPathAsSecureAsTheAddress) {
    expect("https://talk.example", "talk.example:3602", "wss://talk.example/ws");
    expect("http://talk.example", "talk.example:3602", "ws://talk.example/ws");
    expect("https://talk.example:8443/api", "talk.example:3602", "wss://talk.example/ws");
}

TEST_F(EndpointsTest, LocalNamesAreExact) {
    expect("http://LOCALHOST", "LOCALHOST:3602", "ws://LOCALHOST/ws");
    expect("http://localhost.example", "localhost.example:3602", "ws://localhost.example/ws");
    expect("http://127.0.0.10", "127.0.0.10:3602", "ws://127.0.0.10/ws");
}

TEST_F(EndpointsTest, SecureSchemeIsExact) {
    expect("HTTPS://talk.example", "talk.example:3602", "ws://talk.example/ws");
    expect("xhttps://talk.example", "talk.example:3602", "ws://talk.example/ws");
    expect("https:talk.example", "https:3602", "ws://https/ws");
}

TEST_F(EndpointsTest, AddressWithoutSchemeIsNotSecure) {
    expect("talk.example:8443/api", "talk.example:3602", "ws://talk.example/ws");
    expect("localhost", "localhost:3602", "ws://localhost:3603");
}

TEST_F(EndpointsTest, HostFollowsTheFirstSchemeMarkWhereverItStands) {
    expect("talk.example/x://other.example/y://z", "other.example:3602", "ws://other.example/ws");
}

TEST_F(EndpointsTest, AddressWithoutHostChangesNothing) {
    Endpoints_SetVoiceServerCallback([](const char*) { g_shown.emplace_back("called"); });
    const Endpoints before;
    for (const char* const url : {"", "https://", "http:///api", "http://:80", ":80", "/api"}) {
        sync_voice_server_from_backend_url(url);
        sync_chat_server_from_backend_url(url);
        EXPECT_EQ(Endpoints(), before) << url;
    }
    sync_voice_server_from_backend_url(nullptr);
    sync_chat_server_from_backend_url(nullptr);
    EXPECT_EQ(Endpoints(), before);
    EXPECT_TRUE(g_shown.empty());
}

TEST_F(EndpointsTest, HostIsCutAt95Bytes) {
    const std::string host(95, 'h');
    expect("https://" + host + ":1", host + ":3602", "wss://" + host + "/ws");
    expect("https://" + host + "x", host + ":3602", "wss://" + host + "/ws");
}

TEST_F(EndpointsTest, ChatAddressIsCutAt127Bytes) {
    const std::string url = "https://talk.example/" + std::string(200, 'p');
    sync_voice_server_from_backend_url(url.c_str());
    EXPECT_EQ(g_chat_url, url.substr(0, 127));
    EXPECT_STREQ(g_chat_ws_url, "wss://talk.example/ws");
}

TEST_F(EndpointsTest, ChatAloneLeavesTheVoiceServer) {
    sync_chat_server_from_backend_url("https://talk.example");
    EXPECT_STREQ(g_server_url, "voice");
    EXPECT_STREQ(g_chat_url, "https://talk.example");
    EXPECT_STREQ(g_chat_ws_url, "wss://talk.example/ws");
}

TEST_F(EndpointsTest, VoiceServerIsShownBeforeTheChatIsDerived) {
    Endpoints_SetVoiceServerCallback([](const char* server) {
        g_shown.push_back(std::string(server) + "|" + g_server_url + "|" + g_chat_ws_url);
    });
    sync_voice_server_from_backend_url("http://localhost");
    EXPECT_EQ(g_shown, std::vector<std::string>{"localhost:3602|localhost:3602|socket"});
    sync_voice_server_from_backend_url("http://localhost");
    EXPECT_EQ(g_shown.size(), 2u) << "also when it stays the same";
    sync_chat_server_from_backend_url("http://talk.example");
    EXPECT_EQ(g_shown.size(), 2u);
}

TEST_F(EndpointsTest, LaterCallbackReplacesTheEarlier) {
    Endpoints_SetVoiceServerCallback([](const char*) { g_shown.emplace_back("earlier"); });
    Endpoints_SetVoiceServerCallback([](const char*) { g_shown.emplace_back("later"); });
    sync_voice_server_from_backend_url("http://localhost");
    EXPECT_EQ(g_shown, std::vector<std::string>{"later"});
    Endpoints_SetVoiceServerCallback(nullptr);
    sync_voice_server_from_backend_url("http://localhost");
    EXPECT_EQ(g_shown.size(), 1u);
}

TEST_F(EndpointsTest, OwnBuffersMayBePassed) {
    copy_text(g_backend_url, get_selected_backend_url());
    sync_voice_server_from_backend_url(g_backend_url);
    sync_voice_server_from_backend_url(g_chat_url);
    EXPECT_STREQ(g_server_url, "talk.velmo.test:3602");
    EXPECT_STREQ(g_chat_url, k_built_in);
    EXPECT_STREQ(g_chat_ws_url, "wss://talk.velmo.test/ws");
}

TEST_F(EndpointsTest, RealmHookDoesNothing) {
    const Endpoints before;
    sync_backend_realm_from_url("https://talk.example");
    sync_backend_realm_from_url(nullptr);
    EXPECT_EQ(Endpoints(), before);
}

} // namespace
