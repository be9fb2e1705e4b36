// The client's own calls, over its real web exchange, against the service as a program: what one
// side writes, the other reads.
#include "backend/auth_api.h"
#include "backend/endpoints.h"
#include "backend/http_transport.h"
#include "backend/hub_tables.h"
#include "backend/identity.h"
#include "backend/spaces_api.h"
#include "base/clock.h"
#include "base/text.h"
#include "chat/history_payload.h"
#include "chat/scope_chat.h"
#include "support/empty_hub_tables.h"
#include "support/rest_client.h"
#include "unit/backend/fake_browser.h"
#include "unit/service/service_program.h"

#include <functional>

namespace {

constexpr const char* k_password = "Correct-Horse-1";

/// What signing in as somebody leaves.
struct Person {
    std::string id;
    std::string token;
    std::string username;
    std::string email;
};

/// What the person at the browser does while the client sleeps.
std::function<void()> g_meanwhile;

class RestBackend : public ::testing::Test {
  protected:
    explicit RestBackend(const std::vector<std::string>& more = {})
        : m_program(on_free_ports(more)) {
        m_program.listening_port();
        m_port = m_program.rest_port();
        format_text(g_backend_url, "http://127.0.0.1:%d", int{m_port});
        empty_hub_tables();
        be({});
        fake_browser_reset();
    }

    static void be(const Person& person) {
        copy_text(g_user_id, person.id);
        copy_text(g_session_token, person.token);
    }

    SignInTexts out() { return {m_username, m_email, m_token, m_error}; }
    /// Who the call signed in, and signed in as them from here on.
    Person signed_in() {
        const Person person{g_user_id, m_token, m_username, m_email};
        be(person);
        return person;
    }
    Person sign_up(const char* email) {
        EXPECT_TRUE(backend_auth_register(email, k_password, out())) << m_error;
        return signed_in();
    }

    /// The index of the space of this name; -1: none.
    static std::int32_t find_space(const std::string& name) {
        for (std::int32_t i = 0; i < g_hub_server_count; ++i) {
            if (name == g_hub_servers[i].name) {
                return i;
            }
        }
        return -1;
    }
    /// A new space of whoever is signed in.
    HubSpace make_space(const char* name) {
        EXPECT_TRUE(backend_create_space(name, nullptr, nullptr, m_error)) << m_error;
        const std::int32_t index = find_space(name);
        EXPECT_GE(index, 0);
        return g_hub_servers[std::max(index, 0)];
    }
    static std::string room_names() {
        std::string names;
        for (std::int32_t i = 0; i < g_hub_room_count; ++i) {
            names += std::string(g_hub_rooms[i].name) + "|";
        }
        return names;
    }

    Program m_program;
    std::uint16_t m_port = 0;
    char m_username[64] = "";
    char m_email[128] = "";
    char m_token[256] = "";
    char m_error[256] = "";
};

// --- Signing in ----------------------------------------------------------------------------------

TEST_F(RestBackend, RegistrationLoginAndRestoreTellTheSameIdentity) {
    const Person ana = sign_up("ana@example.org");
    EXPECT_EQ(ana.id.size(), 20U);
    EXPECT_EQ(ana.username, "ana");
    ASSERT_TRUE(backend_auth_login("ana@example.org", k_password, out())) << m_error;
    const Person again = signed_in();
    EXPECT_EQ(again.id, ana.id);
    EXPECT_EQ(again.username, "ana");
    EXPECT_EQ(again.email, "ana@example.org");
    EXPECT_NE(again.token, ana.token);
    ASSERT_TRUE(backend_auth_restore_session(again.token.c_str(), out())) << m_error;
    const Person restored = signed_in();
    EXPECT_EQ(restored.id, ana.id);
    EXPECT_EQ(restored.username, "ana");
    EXPECT_EQ(restored.email, "ana@example.org");
    EXPECT_EQ(restored.token, again.token);
}

TEST_F(RestBackend, RefusalsBringTheServicesSentence) {
    sign_up("ana@example.org");
    EXPECT_FALSE(backend_auth_login("ana@example.org", "Another-Horse-1", out()));
    EXPECT_STREQ(m_error, "Correo o contraseña incorrectos");
    EXPECT_FALSE(backend_auth_register("ana@example.org", k_password, out()));
    EXPECT_STREQ(m_error, "Ya hay una cuenta con ese correo electrónico");
    EXPECT_FALSE(backend_auth_restore_session("x", out()));
    EXPECT_STREQ(m_error, "La sesión no es válida o ha caducado");
    EXPECT_FALSE(backend_auth_google_oauth(out()));
    EXPECT_STREQ(m_error, "Este servicio no ofrece el inicio de sesión con Google");
}

TEST_F(RestBackend, PasswordOfEscapedCharactersSignsIn) {
    constexpr const char* k_odd = "Quote\" Back\\slash ñ 1";
    ASSERT_TRUE(backend_auth_register("eva@example.org", k_odd, out())) << m_error;
    EXPECT_TRUE(backend_auth_login("eva@example.org", k_odd, out())) << m_error;
}

// The client escapes no control bytes but line feeds.
TEST_F(RestBackend, ControlBytesAreJudgedByTheirField) {
    EXPECT_FALSE(backend_auth_register("ana@example.org", "Correct\tHorse-1", out()));
    EXPECT_STREQ(m_error, "La contraseña es demasiado larga o tiene caracteres no válidos");
    EXPECT_TRUE(backend_auth_register("\tana@example.org\r", k_password, out())) << m_error;
    signed_in();
    const HubSpace space = make_space("Uno");
    EXPECT_TRUE(backend_create_room(space.id, "\tMúsica\r\n", m_error)) << m_error;
    EXPECT_EQ(room_names(), "General|Música|");
    EXPECT_FALSE(backend_create_room(space.id, "Dos\x01tres", m_error));
    EXPECT_STREQ(m_error, "El nombre de la sala debe tener de 2 a 64 caracteres");
}

// --- Spaces --------------------------------------------------------------------------------------

TEST_F(RestBackend, EachSpaceIsReadFromItsOwnObject) {
    const Person ana = sign_up("ana@example.org");
    const Person eva = sign_up("eva@example.org");
    const HubSpace invited = make_space("De Eva");
    ASSERT_TRUE(backend_create_space_invitation(invited.id, "ana@example.org", m_error)) << m_error;
    be(ana);
    make_space("Uno } { ] [ , dos");
    make_space("Con \"comillas\" y \\");
    ASSERT_EQ(g_hub_server_count, 3);
    EXPECT_STREQ(g_hub_servers[0].name, "De Eva");
    EXPECT_STREQ(g_hub_servers[0].id, invited.id);
    EXPECT_STREQ(g_hub_servers[0].role, "invited");
    EXPECT_STREQ(g_hub_servers[0].adminUserId, eva.id.c_str());
    EXPECT_STREQ(g_hub_servers[0].invitationStatus, "pending");
    EXPECT_STRNE(g_hub_servers[0].invitationId, "");
    EXPECT_STREQ(g_hub_servers[0].inviteCode, "");
    EXPECT_STREQ(g_hub_servers[1].name, "Uno } { ] [ , dos");
    EXPECT_STREQ(g_hub_servers[1].role, "owner");
    EXPECT_STREQ(g_hub_servers[1].invitationId, "");
    EXPECT_STREQ(g_hub_servers[2].name, "Con \"comillas\" y \\");
    EXPECT_EQ(std::string(g_hub_servers[2].inviteCode).size(), 14U);
}

TEST_F(RestBackend, FullListOfLongNamesIsReadWhole) {
    sign_up("ana@example.org");
    for (int i = 0; i < k_max_hub_spaces; ++i) {
        const std::string name = std::to_string(i + 10) + std::string(61, '"');
        ASSERT_TRUE(backend_create_space(name.c_str(), nullptr, nullptr, m_error)) << m_error;
        ASSERT_EQ(g_hub_server_count, i + 1);
        EXPECT_EQ(name, g_hub_servers[i].name);
    }
    EXPECT_FALSE(backend_create_space("Una más", nullptr, nullptr, m_error));
    EXPECT_EQ(g_hub_server_count, k_max_hub_spaces);
}

TEST_F(RestBackend, PictureComesBackByteForByte) {
    sign_up("ana@example.org");
    ASSERT_TRUE(backend_create_space("Uno", "R0lGODlhAAECAw==", "image/gif", m_error)) << m_error;
    ASSERT_EQ(g_hub_server_count, 1);
    EXPECT_TRUE(g_hub_servers[0].hasImage);
    const std::string url =
        std::string(g_backend_url) + g_hub_servers[0].imageUrl + "?sessionToken=" + g_session_token;
    std::uint32_t status = 0;
    ByteBlock data;
    std::uint64_t size = 0;
    ASSERT_TRUE(http_get_binary(url.c_str(), &status, &data, &size));
    EXPECT_EQ(status, 200U);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(data.get()), size),
              std::string("GIF89a\0\1\2\3", 10));
}

TEST_F(RestBackend, JoiningSelectsTheSpaceAndShowsItsRooms) {
    const Person ana = sign_up("ana@example.org");
    sign_up("eva@example.org");
    const HubSpace theirs = make_space("De Eva");
    ASSERT_TRUE(backend_create_room(theirs.id, "Música", m_error)) << m_error;
    be(ana);
    make_space("De Ana");
    EXPECT_FALSE(backend_join_space_by_code("AAAA-AAAA-AAAA", m_error));
    ASSERT_TRUE(backend_join_space_by_code(theirs.inviteCode, m_error)) << m_error;
    ASSERT_EQ(g_selected_server_index, find_space("De Eva"));
    EXPECT_STREQ(g_hub_servers[g_selected_server_index].role, "member");
    EXPECT_EQ(room_names(), "General|Música|");
}

TEST_F(RestBackend, InvitationIsAcceptedOrDeclined) {
    const Person ana = sign_up("ana@example.org");
    const Person eva = sign_up("eva@example.org");
    for (const bool is_wanted : {false, true}) {
        be(eva);
        const HubSpace space = make_space(is_wanted ? "Una" : "Otra");
        ASSERT_TRUE(backend_create_space_invitation(space.id, "ana@example.org", m_error));
        EXPECT_TRUE(backend_create_space_invitation(space.id, "ana@example.org", m_error))
            << "an invitation that waits already: " << m_error;
        be(ana);
        ASSERT_TRUE(backend_load_spaces(m_error)) << m_error;
        ASSERT_EQ(g_hub_server_count, 1);
        const std::string invitation = g_hub_servers[0].invitationId;
        const bool is_answered =
            is_wanted ? backend_accept_space_invitation(invitation.c_str(), m_error)
                      : backend_decline_space_invitation(invitation.c_str(), m_error);
        EXPECT_TRUE(is_answered) << m_error;
        EXPECT_EQ(g_hub_server_count, is_wanted ? 1 : 0);
    }
    EXPECT_STREQ(g_hub_servers[0].role, "member");
    EXPECT_STREQ(g_hub_servers[0].invitationStatus, "");
}

TEST_F(RestBackend, MembersAreReadFromBraceToBrace) {
    const Person ana = sign_up("ana@example.org");
    const HubSpace space = make_space("Uno");
    const Person eva = sign_up("eva@example.org");
    ASSERT_TRUE(backend_join_space_by_code(space.inviteCode, m_error)) << m_error;
    ASSERT_TRUE(backend_load_space_members(space.id, m_error)) << m_error;
    ASSERT_EQ(g_hub_space_user_count, 2);
    const Person* const expected[] = {&ana, &eva};
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(expected[i]->id, g_hub_space_users[i].id);
        EXPECT_EQ(expected[i]->username, g_hub_space_users[i].username);
        EXPECT_EQ(expected[i]->username, g_hub_space_users[i].displayName);
    }
    EXPECT_STREQ(g_hub_space_users[0].email, "ana@example.org");
    EXPECT_STREQ(g_hub_space_users[1].email, "eva@example.org");
}

TEST_F(RestBackend, RoomsAreMadeAndDeletedByTheirOwner) {
    const Person ana = sign_up("ana@example.org");
    const HubSpace space = make_space("Uno");
    ASSERT_TRUE(backend_create_room(space.id, "Música", m_error)) << m_error;
    ASSERT_EQ(room_names(), "General|Música|");
    const std::string room = g_hub_rooms[1].id;
    EXPECT_EQ(ana.id, g_hub_rooms[1].createdByUserId);
    EXPECT_FALSE(backend_delete_room(space.id, room.c_str(), "Musica", m_error));
    EXPECT_STREQ(m_error, "El nombre escrito no es el de la sala");
    EXPECT_FALSE(backend_delete_room(space.id, g_hub_rooms[0].id, "General", m_error));
    EXPECT_TRUE(backend_delete_room(space.id, room.c_str(), "Música", m_error)) << m_error;
    EXPECT_EQ(room_names(), "General|");
    sign_up("eva@example.org");
    EXPECT_FALSE(backend_load_rooms(space.id, m_error));
    EXPECT_STREQ(m_error, "No perteneces a ese espacio");
}

// --- Chats ---------------------------------------------------------------------------------------

/// Without a chat channel, which nobody waits for here.
class RestBackendChat : public RestBackend {
  protected:
    RestBackendChat() {
        clock_set_source(&k_clock);
        Chat_SetHistoryApplier([](const char* payload, bool, bool, const char*) {
            g_page = read_history_page(payload);
            return true;
        });
    }
    ~RestBackendChat() override {
        Chat_SetHistoryApplier(nullptr);
        clock_set_source(nullptr);
        g_page = {};
    }

    /// The first room of a new space of whoever is signed in.
    std::string make_room() {
        const HubSpace space = make_space("Uno");
        EXPECT_TRUE(backend_load_rooms(space.id, m_error)) << m_error;
        copy_text(g_selected_space_id, ""); // a sender restarts the channel of a selected space
        return g_hub_rooms[0].id;
    }
    void say(const std::string& room, const std::string& text) {
        EXPECT_TRUE(backend_send_scope_chat_message("room", room.c_str(), text.c_str(), m_error))
            << m_error;
    }
    bool load(const std::string& room, const char* before = nullptr) {
        return backend_load_scope_chat_page("room", room.c_str(), nullptr, before, false, false,
                                            m_error);
    }

    static HistoryPage g_page;

  private:
    static constexpr ClockSource k_clock{[] { return std::uint32_t{0}; }, [](std::uint32_t) {}};
};
HistoryPage RestBackendChat::g_page;

// The client looks for the sender, the text and the time from where the last text ended, each by
// itself, and takes what stands there up to the next quote.
TEST_F(RestBackendChat, EachMessageHasItsOwnSenderAndTime) {
    const Person eva = sign_up("eva@example.org");
    const Person ana = sign_up("ana@example.org");
    const HubSpace space = make_space("Uno");
    ASSERT_TRUE(backend_load_rooms(space.id, m_error)) << m_error;
    const std::string room = g_hub_rooms[0].id;
    be(eva);
    ASSERT_TRUE(backend_join_space_by_code(space.inviteCode, m_error)) << m_error;
    copy_text(g_selected_space_id, "");
    be(ana);
    say(room, "uno");
    be(eva);
    say(room, R"("senderDisplayName":"x","text":"y","createdAt":"z")");
    be(ana);
    say(room, "tres");

    ASSERT_TRUE(load(room)) << m_error;
    std::string read;
    for (const HistoryMessage& message : g_page.messages) {
        read += std::string(message.sender_display_name) + " " + message.text + "|";
        EXPECT_EQ(std::string(message.created_at).size(), 24U) << message.created_at;
    }
    EXPECT_EQ(read, "ana uno|eva \\|ana tres|");
    EXPECT_FALSE(g_page.has_more);
    EXPECT_STREQ(g_page.next_before, "");

    ASSERT_TRUE(backend_load_scope_chat("space", space.id, nullptr, m_error)) << m_error;
    EXPECT_TRUE(g_page.messages.empty()) << "a space's chat is not its rooms'";
}

TEST_F(RestBackendChat, OlderPagesFollowFromTheirCursors) {
    sign_up("ana@example.org");
    const std::string room = make_room();
    for (int i = 1; i <= 130; ++i) {
        say(room, std::to_string(i) + R"( "hasMore":false,"nextBefore":"x")");
    }
    ASSERT_TRUE(load(room)) << m_error;
    ASSERT_EQ(g_page.messages.size(), 100U);
    EXPECT_STREQ(g_page.messages.front().text, "31 \\");
    EXPECT_STREQ(g_page.messages.back().text, "130 \\");
    EXPECT_TRUE(g_page.has_more);
    const std::string cursor = g_page.next_before;
    ASSERT_FALSE(cursor.empty());
    ASSERT_TRUE(load(room, cursor.c_str())) << m_error;
    ASSERT_EQ(g_page.messages.size(), 30U);
    EXPECT_STREQ(g_page.messages.front().text, "1 \\");
    EXPECT_STREQ(g_page.messages.back().text, "30 \\");
    EXPECT_FALSE(g_page.has_more);
    EXPECT_STREQ(g_page.next_before, "");
}

TEST_F(RestBackendChat, StrangerReadsAndWritesNothing) {
    sign_up("ana@example.org");
    const std::string room = make_room();
    sign_up("eva@example.org");
    EXPECT_FALSE(load(room));
    EXPECT_STREQ(m_error, "No perteneces a ese espacio");
    EXPECT_FALSE(backend_send_scope_chat_message("room", room.c_str(), "x", m_error));
    EXPECT_STREQ(m_error, "No se pudo enviar por socket ni por fallback HTTP (HTTP 403)");
}

TEST_F(RestBackendChat, LongMessageArrivesAsFarAsItsLastWholeCharacter) {
    sign_up("ana@example.org");
    const std::string room = make_room();
    std::string text;
    for (int i = 0; i < 600; ++i) {
        text += "€";
    }
    say(room, text);
    ASSERT_TRUE(load(room)) << m_error;
    ASSERT_EQ(g_page.messages.size(), 1U);
    EXPECT_EQ(g_page.messages[0].text, text.substr(0, 511)) << "cut again when it is read";
}

// --- Google --------------------------------------------------------------------------------------

class RestBackendGoogle : public RestBackend {
  protected:
    RestBackendGoogle() : RestBackend({"--demo"}) { clock_set_source(&k_clock); }
    ~RestBackendGoogle() override {
        clock_set_source(nullptr);
        g_meanwhile = nullptr;
    }

    /// The path of the page that the browser was sent to.
    static std::string page() {
        if (fake_browser_opened().empty()) {
            return "/";
        }
        const std::string address = fake_browser_opened().back();
        return address.substr(address.find('/', std::string("http://").size()));
    }

  private:
    static constexpr ClockSource k_clock{[] { return std::uint32_t{0}; },
                                         [](std::uint32_t) { g_meanwhile(); }};
};

TEST_F(RestBackendGoogle, PersonPicksAnAccountInTheBrowserAndIsSignedIn) {
    int sleeps = 0;
    g_meanwhile = [&] {
        if (++sleeps != 2) { // the client asks once while nobody has decided
            return;
        }
        RestClient browser(m_port);
        const std::string form = browser.get(page()).body;
        const std::string mark = "name=\"account\" value=\"";
        const std::size_t begin = form.rfind(mark, form.find("luis@velmo.example")) + mark.size();
        const std::string account = form.substr(begin, form.find('"', begin) - begin);
        EXPECT_EQ(browser.post_form(page(), "account=" + account).status, 200);
    };
    ASSERT_TRUE(backend_auth_google_oauth(out())) << m_error;
    EXPECT_EQ(sleeps, 2);
    const Person luis = signed_in();
    EXPECT_EQ(luis.username, "luis");
    EXPECT_EQ(luis.email, "luis@velmo.example");
    EXPECT_TRUE(backend_load_spaces(m_error)) << m_error;
    EXPECT_GE(find_space("Comunidad Velmo"), 0);
}

TEST_F(RestBackendGoogle, PersonCancels) {
    g_meanwhile = [&] { RestClient(m_port).post_form(page(), "cancel=1"); };
    EXPECT_FALSE(backend_auth_google_oauth(out()));
    EXPECT_STREQ(m_error, "Inicio de sesión cancelado");
}

} // namespace
