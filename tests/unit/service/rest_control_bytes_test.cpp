// Control bytes as clients send them within texts: as they are. What becomes of them is up to the
// field, as if they had come escaped.
#include "unit/service/rest_fixture.h"

#include "service/shared/client_json.h"

#include <array>
#include <cstdio>

namespace {

std::string escape_of(char byte) {
    std::array<char, 8> text{};
    std::snprintf(text.data(), text.size(), "\\u%04x", static_cast<unsigned>(byte));
    return text.data();
}

class RestControlBytes : public RestTest {
  protected:
    /// The body of a call by Ana with this text in `key`, byte for byte.
    std::string body(const char* key, const std::string& text) const {
        return R"({"sessionToken":")" + m_ana.token + "\",\"" + key + "\":\"" + text + "\"}";
    }
    Reply make_room_named(const std::string& text) {
        return send_body("POST", "/api/spaces/" + m_space + "/rooms", body("name", text));
    }

    const Person m_ana = sign_up("ana@example.org");
    const std::string m_space = make_space(m_ana);
    const std::string m_room = general_room(m_ana, m_space);
};

TEST_F(RestControlBytes, InAMessageAreBlanks) {
    const Reply reply = send_body("POST", "/api/chats/room/" + m_room + "/messages",
                                  body("text", "\tuna\t\tdos\r\ntres\x01\x1F"
                                               "cuatro\n"));
    EXPECT_EQ(reply.status, 201) << reply.text;
    EXPECT_EQ(reply.string("text"), "una dos tres cuatro");
}

TEST_F(RestControlBytes, AroundANameGoAndWithinItAreRefused) {
    const Reply trimmed = make_room_named("\t Música\r\n");
    EXPECT_EQ(trimmed.status, 201) << trimmed.text;
    EXPECT_EQ(trimmed.string("name"), "Música");
    EXPECT_EQ(make_room_named("Otra\tsala").status, 400);
    EXPECT_NE(make_room_named("Otra\tsala").error().find("nombre"), std::string::npos);
}

TEST_F(RestControlBytes, InAPasswordAreRefusedWithItsSentence) {
    for (const char* const tab : {"\t", "\\t", "\\u0009"}) {
        const Reply reply = send_body(
            "POST", "/api/auth/signup",
            std::string(R"({"email":"eva@example.org","password":"Correct)") + tab + "Horse-1\"}");
        EXPECT_EQ(reply.status, 400);
        EXPECT_NE(reply.error().find("contraseña"), std::string::npos) << reply.text;
    }
}

TEST_F(RestControlBytes, AreReadAsTheyCame) {
    for (char byte = 0; byte < 0x20; ++byte) {
        const auto fields = FlatFields::parse_json(std::string(R"({"k":"a)") + byte + R"(b"})");
        ASSERT_TRUE(fields) << escape_of(byte);
        const std::string* const text = fields->find("k");
        ASSERT_NE(text, nullptr);
        EXPECT_EQ(*text, std::string("a") + byte + "b") << escape_of(byte);
    }
}

// Whole calls but for one field, so that it is this one that is judged.
TEST_F(RestControlBytes, InAnyFieldAreWhatTheirEscapesAre) {
    struct Call {
        const char* path;
        const char* others; // fields
        const char* key;
    };
    for (const Call& call :
         {Call{"/api/auth/signup", R"("password":"Correct-Horse-1")", "email"},
          Call{"/api/auth/signup", R"("email":"eva@example.org")", "password"},
          Call{"/api/spaces/join-by-code", "\"x\":\"\"", "inviteCode"},
          Call{"/api/spaces", R"("name":"Uno","imageBase64":"R0lGODlh")", "imageMimeType"},
          Call{"/api/spaces", R"("name":"Uno","imageMimeType":"image/gif")", "imageBase64"}}) {
        for (char byte = 0; byte < 0x20; ++byte) {
            const std::string beginning = R"({"sessionToken":")" + m_ana.token + "\"," +
                                          call.others + ",\"" + call.key + "\":\"R0lG";
            const Reply raw = send_body("POST", call.path, beginning + byte + "ODlh\"}");
            const Reply escaped =
                send_body("POST", call.path, beginning + escape_of(byte) + "ODlh\"}");
            EXPECT_EQ(raw.status, escaped.status) << call.key << escape_of(byte);
            EXPECT_EQ(raw.text, escaped.text) << call.key << escape_of(byte);
            EXPECT_EQ(raw.text.find("Falta"), std::string::npos) << raw.text;
        }
    }
}

TEST_F(RestControlBytes, BehindAnEscapedBackslashOrQuoteAreStillWithinTheText) {
    const Reply reply = send_body("POST", "/api/chats/room/" + m_room + "/messages",
                                  body("text", "a\\\\\tb\\\"\tc\\\\"));
    EXPECT_EQ(reply.status, 201) << reply.text;
    EXPECT_EQ(reply.string("text"), "a\\ b\" c\\");
}

TEST_F(RestControlBytes, OfAnEscapeAndOutsideTextsAre400) {
    for (const std::string& bad : {body("text", "a\\\tb"), body("text", "a\\u00\t9"),
                                   "\x01" + body("text", "a"), body("text", "a") + "\x01"}) {
        EXPECT_EQ(send_body("POST", "/api/chats/room/" + m_room + "/messages", bad).status, 400);
    }
}

TEST(ClientJson, ValidTextsStayAsTheyAre) {
    for (const std::string text :
         {"", "{}", " {\t\"a\" :\r\n \"b\\t\\\"\\\\\" ,\"\xC3\xB1\":\"\x7F\"}", "\"", "\"\\"}) {
        EXPECT_EQ(with_escaped_controls(text), text);
    }
    EXPECT_EQ(with_escaped_controls("\"\n\"\n\"\x1F"), "\"\\u000a\"\n\"\\u001f");
}

} // namespace
