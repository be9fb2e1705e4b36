// Clients that want what is not theirs, or send what nobody should: all of it is refused, and
// nothing changes.
#include "unit/service/rest_fixture.h"

#include <sstream>

namespace {

const std::vector<std::string>& nasty_texts() {
    static const std::vector<std::string> texts{
        "' OR '1'='1",
        "'; DROP TABLE accounts; --",
        "\" OR \"\"=\"",
        "%",
        "_",
        "x' UNION SELECT token_hash FROM sessions --",
        "../../etc/passwd",
        "..%2f..%2f",
        "\\..\\..",
        "${jndi:ldap://x}",
        "<script>alert(1)</script>",
        std::string("a\0b", 3),
        std::string(40'000, 'A'),
        "\xE2\x80\xAE",
    };
    return texts;
}

class RestHostile : public RestTest {
  protected:
    RestHostile() {
        join(m_eva, m_ana, m_space);
        post_as(m_ana, "/api/chats/room/" + m_room + "/messages", {{"text", "secreto"}});
        m_invitation = post_as(m_ana, "/api/spaces/" + m_space + "/invitations",
                               {{"invitedEmail", "kim@example.org"}})
                           .string("id");
    }

    struct Call {
        const char* method;
        std::string path;
        std::vector<const char*> fields;
    };
    /// Every call with fields in a body.
    std::vector<Call> body_calls() const {
        return {
            {"POST", "/api/auth/login", {"email", "password"}},
            {"POST", "/api/auth/signup", {"email", "password"}},
            {"POST", "/api/auth/session/restore", {}},
            {"POST", "/api/spaces", {"name", "imageBase64", "imageMimeType"}},
            {"POST", "/api/spaces/join-by-code", {"inviteCode"}},
            {"POST", "/api/spaces/" + m_space + "/invitations", {"invitedEmail"}},
            {"POST", "/api/spaces/invitations/" + m_invitation + "/accept", {}},
            {"POST", "/api/spaces/invitations/" + m_invitation + "/decline", {}},
            {"POST", "/api/spaces/" + m_space + "/rooms", {"name"}},
            {"DELETE", "/api/spaces/" + m_space + "/rooms/" + m_music, {"confirmName"}},
            {"POST", "/api/chats/room/" + m_room + "/messages", {"text"}},
        };
    }
    std::vector<std::string> get_paths() const {
        return {"/api/spaces",
                "/api/spaces/" + m_space + "/image",
                "/api/spaces/" + m_space + "/members",
                "/api/spaces/" + m_space + "/rooms",
                "/api/chats/room/" + m_room,
                "/api/chats/space/" + m_space};
    }

    const Person m_ana = sign_up("ana@example.org");
    const Person m_eva = sign_up("eva@example.org");
    const Person m_mallory = sign_up("mallory@example.org");
    const std::string m_space = make_space(m_ana);
    const std::string m_room = general_room(m_ana, m_space);
    const std::string m_music = make_room(m_ana, m_space, "Música");
    std::string m_invitation;
};

TEST_F(RestHostile, StrangerReadsAndChangesNothing) {
    const std::string before = dump();
    for (const std::string& path : get_paths()) {
        if (path != "/api/spaces") {
            const Reply reply = get_as(m_mallory, path);
            EXPECT_EQ(reply.status, 403) << path;
            EXPECT_EQ(reply.json.size(), 1U) << reply.text;
        }
    }
    EXPECT_EQ(get_as(m_mallory, "/api/spaces").text, R"({"spaces":[]})");
    for (const Call& call : body_calls()) {
        if (call.path.find(m_space) == std::string::npos &&
            call.path.find(m_invitation) == std::string::npos &&
            call.path.find(m_room) == std::string::npos) {
            continue;
        }
        Json body{{"sessionToken", m_mallory.token}};
        for (const char* const field : call.fields) {
            body[field] = std::string_view(field) == "confirmName" ? "Música" : "x@y.org";
        }
        EXPECT_EQ(send_body(call.method, call.path, body.dump()).status, 403) << call.path;
    }
    EXPECT_EQ(dump(), before);
}

TEST_F(RestHostile, MemberCannotDoWhatOnlyTheOwnerMay) {
    const std::string before = dump();
    EXPECT_EQ(post_as(m_eva, "/api/spaces/" + m_space + "/rooms", {{"name", "Otra"}}).status, 403);
    EXPECT_EQ(remove("/api/spaces/" + m_space + "/rooms/" + m_music,
                     {{"sessionToken", m_eva.token}, {"confirmName", "Música"}})
                  .status,
              403);
    EXPECT_EQ(dump(), before);
}

TEST_F(RestHostile, SqlAndOtherNastyTextsAreTextsInEveryField) {
    const std::string before = dump();
    for (const Call& call : body_calls()) {
        for (const char* const field : call.fields) {
            for (const std::string& nasty : nasty_texts()) {
                Json body{
                    {"sessionToken", m_mallory.token}, {"email", "x@y.org"}, {"password", "x"}};
                body[field] = nasty;
                const Reply reply = send_body(call.method, call.path, body.dump());
                const bool is_own_space = call.path == "/api/spaces" && reply.status == 201;
                EXPECT_TRUE(is_own_space || (reply.status >= 400 && reply.status < 500))
                    << call.path << " " << field << " " << nasty << " " << reply.text;
            }
        }
    }
    // What there was is there as it was; what is new is the stranger's own.
    const std::string after = dump();
    std::istringstream lines(before);
    for (std::string line; std::getline(lines, line);) {
        EXPECT_NE(after.find(line + "\n"), std::string::npos) << line;
    }
    EXPECT_EQ(get_as(m_ana, "/api/spaces").json["spaces"].size(), 1U);
    EXPECT_EQ(get_as(m_ana, "/api/spaces/" + m_space + "/rooms").json["rooms"].size(), 2U);
    EXPECT_EQ(get_as(m_ana, "/api/spaces/" + m_space + "/members").json["members"].size(), 2U);
}

TEST_F(RestHostile, NastyTokensAre401AndNastyTextsInPathsAre404) {
    const std::string before = dump();
    for (const std::string& nasty : nasty_texts()) {
        for (const std::string& path : get_paths()) {
            EXPECT_EQ(get(path, "sessionToken=" + nasty).status, 401);
        }
        for (const Call& call : body_calls()) {
            if (!call.path.starts_with("/api/auth/login") &&
                !call.path.starts_with("/api/auth/signup")) {
                EXPECT_EQ(
                    send_body(call.method, call.path, Json{{"sessionToken", nasty}}.dump()).status,
                    401);
            }
        }
        for (const std::string& path :
             {"/api/spaces/" + nasty + "/rooms", "/api/spaces/" + nasty + "/image",
              "/api/chats/room/" + nasty, "/api/spaces/" + m_space + "/../" + nasty, "/" + nasty,
              "/api/auth/google/session/" + nasty}) {
            EXPECT_EQ(get_as(m_ana, path).status, 404) << path;
        }
    }
    EXPECT_EQ(dump(), before);
}

TEST_F(RestHostile, PathsAreTakenToTheLetter) {
    for (const std::string& path :
         {std::string(), std::string("/"), std::string("api/spaces"), std::string("/api/spaces/"),
          std::string("//api/spaces"), std::string("/api//spaces"), std::string("/API/spaces"),
          std::string("/api/spaces/."), std::string("/api/spaces%2F" + m_space + "/rooms"),
          "/api/spaces/" + m_space, "/api/spaces/" + m_space + "/rooms/",
          "/api/spaces/%61" + m_space.substr(1) + "/rooms", std::string("/api/spaces/{id}/rooms"),
          "/api/spaces/" + m_space + "%00/rooms", std::string(100'000, '/')}) {
        EXPECT_EQ(get_as(m_ana, path).status, 404) << path;
    }
}

TEST_F(RestHostile, OtherMethodsAre405AndToldWhichWouldDo) {
    const Reply reply = send_body("PUT", "/api/spaces", "{}");
    EXPECT_EQ(reply.status, 405);
    ASSERT_EQ(reply.answer.headers.size(), 1U);
    EXPECT_EQ(reply.answer.headers[0].second, "GET, POST");
    for (const char* const method : {"HEAD", "OPTIONS", "TRACE", "get", "", "CONNECT"}) {
        EXPECT_EQ(send_body(method, "/api/spaces", "").status, 405) << method;
    }
}

TEST_F(RestHostile, BodiesThatAreNoFlatObjectAre400) {
    const std::string before = dump();
    for (const std::string& body : {
             std::string(),
             std::string("{"),
             std::string("null"),
             std::string("5"),
             std::string("\"text\""),
             std::string("[]"),
             std::string("{\"name\":[]}"),
             std::string("{\"name\":{\"a\":\"b\"}}"),
             std::string("{\"a\":\"b\",\"a\":\"c\"}"),
             std::string("{\"a\":\"b\"}{}"),
             std::string("{\"a\":\"\xFF\"}"),
             std::string("{\"a\":1e99999}"),
             std::string("{\"a\":\"\\ud800\"}"),
             std::string("\0{}", 3),
             std::string(60'000, '['),
             std::string(60'000, '{'),
             std::string(60'000, '"'),
         }) {
        for (const Call& call : body_calls()) {
            EXPECT_EQ(send_body(call.method, call.path, body).status, 400) << body.substr(0, 20);
        }
    }
    std::string many = "{\"k\":\"v\"";
    for (int i = 0; i < 1000; ++i) {
        many += ",\"k" + std::to_string(i) + "\":\"v\"";
    }
    EXPECT_EQ(send_body("POST", "/api/auth/login", many + "}").status, 400);
    EXPECT_EQ(dump(), before);
}

TEST_F(RestHostile, FieldsOfAnotherTypeAre400) {
    const std::string before = dump();
    for (const Call& call : body_calls()) {
        for (const char* const field : call.fields) {
            for (const Json& value : {Json(5), Json(true), Json(nullptr), Json(1.5)}) {
                Json body{{"sessionToken", m_ana.token},
                          {"email", "x@y.org"},
                          {"password", k_good_password},
                          {"name", "Otra"},
                          {"imageBase64", "R0lGODlh"}};
                body[field] = value;
                EXPECT_EQ(send_body(call.method, call.path, body.dump()).status, 400)
                    << call.path << " " << body;
            }
        }
    }
    EXPECT_EQ(dump(), before);
}

TEST_F(RestHostile, BodiesThatAreNotCalledJsonAre415) {
    for (const char* const type : {"", "text/plain", "application/x-www-form-urlencoded",
                                   "application/jsonx", "application/xml"}) {
        RestRequest request;
        request.method = "POST";
        request.path = "/api/auth/login";
        request.content_type = type;
        request.body = "{}";
        EXPECT_EQ(send(request).status, 415) << type;
    }
    RestRequest request;
    request.method = "POST";
    request.path = "/api/auth/login";
    request.content_type = "Application/JSON; charset=utf-8";
    request.body = "{}";
    EXPECT_EQ(send(request).status, 400); // read, and found without fields
}

TEST_F(RestHostile, QueriesOfAnyShapeAreReadWithoutHarm) {
    for (const std::string& query :
         {std::string("&&&&=&=&a"), std::string("%"), std::string("%zz=%zz"), std::string("=%00"),
          "sessionToken=" + random_token() + "&sessionToken=" + m_ana.token,
          std::string("sessionToken=%FF%FE"), std::string(100'000, '&')}) {
        EXPECT_EQ(get("/api/spaces", query).status, 401) << query.substr(0, 40);
    }
    std::string escaped = "sessionToken=";
    for (const char c : m_ana.token) {
        static const char* const k_digits = "0123456789ABCDEF";
        escaped += {'%', k_digits[c >> 4 & 15], k_digits[c & 15]};
    }
    EXPECT_EQ(get("/api/spaces", escaped).status, 200);
}

} // namespace
