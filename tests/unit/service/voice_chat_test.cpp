// Chat lines: what is relayed to whom, how it is escaped, and what is refused.
#include "unit/service/voice_rooms_fixture.h"

namespace {

using Type = VoicePacketType;
using VoiceChatTest = VoiceRoomsTest;

TEST_F(VoiceChatTest, ChatIsRelayedToTheOthersUnderTheSessionsOwnName) {
    Client& ana = member("r", "ana");
    Client& bob = member("r", "bob");
    Client& elsewhere = member("x", "eva");
    bob.send_text(Type::chat, R"({"room":"x","username":"ana","message":"hola"})");
    EXPECT_EQ(ana.take_text(Type::chat), R"({"room":"r","username":"bob","message":"hola"})");
    EXPECT_TRUE(bob.take().empty());
    EXPECT_TRUE(elsewhere.take().empty());
}

TEST_F(VoiceChatTest, ChatIsEscapedOnItsWayOut) {
    Client& ana = member("r", "ana");
    Client& bob = member("r", "bob");
    bob.send_text(Type::chat, R"({"room":"r","username":"bob","message":"a\"b\\c\nd\u0001é"})");
    EXPECT_EQ(ana.take_text(Type::chat),
              R"({"room":"r","username":"bob","message":"a\"b\\c\nd\u0001é"})");
}

TEST_F(VoiceChatTest, ChatThatAClientPutUnescapedIntoItsTextArrivesWhole) {
    Client& ana = member("r", "ana");
    Client& bob = member("r", "bob");
    bob.send_text(Type::chat, R"({"room":"r","username":"bob","message":"di "hola" \o/"})");
    EXPECT_EQ(ana.take_text(Type::chat),
              R"({"room":"r","username":"bob","message":"di \"hola\" \\o/"})");
}

TEST_F(VoiceChatTest, ChatThatAClientCutOffArrivesAsFarAsItGoes) {
    Client& ana = member("r", "ana");
    Client& bob = member("r", "bob");
    bob.send_text(Type::chat, "{\"room\":\"r\",\"username\":\"bob\",\"message\":\"ma\xC3");
    EXPECT_EQ(ana.take_text(Type::chat),
              "{\"room\":\"r\",\"username\":\"bob\",\"message\":\"ma\xEF\xBF\xBD\"}");
}

TEST_F(VoiceChatTest, ChatOutsideARoomAndWithoutAMessageIsIgnored) {
    Client& ana = member("r", "ana");
    Client& bob = member("r", "bob");
    connected().send_text(Type::chat, R"({"room":"r","username":"eva","message":"hola"})");
    for (const char* text : {"", "{}", "x", "[]", R"({"message":7})", R"({"message":""})",
                             R"({"room":"r","username":"bob"})"}) {
        bob.send_text(Type::chat, text);
    }
    EXPECT_TRUE(ana.take().empty());
    EXPECT_TRUE(bob.take().empty());
}

TEST_F(VoiceChatTest, ChatOf512BytesIsRelayedAndALongerOneRefused) {
    Client& ana = member("r", "ana");
    Client& bob = member("r", "bob");
    const std::string full(512, 'x');
    bob.send_text(Type::chat, R"({"message":")" + full + "\"}");
    EXPECT_EQ(ana.take_text(Type::chat),
              R"({"room":"r","username":"bob","message":")" + full + "\"}");
    bob.send_text(Type::chat, R"({"message":")" + full + "x\"}");
    EXPECT_TRUE(ana.take().empty());
    EXPECT_EQ(bob.take_text(Type::error), "El mensaje es demasiado largo");
    for (const std::size_t length : {1'011U, 1'012U, 1'013U, 60'000U}) {
        bob.send_text(Type::chat, R"({"message":")" + std::string(length, 'x') + "\"}");
        EXPECT_TRUE(ana.take().empty());
        EXPECT_EQ(bob.take_text(Type::error), "El mensaje es demasiado largo");
    }
}

TEST_F(VoiceChatTest, ChatUnderANameCutInsideACharacterIsRelayed) {
    Client& ana = member("r", "ana");
    Client& bob = member("r", "bo\xC3");
    bob.send_text(Type::chat, "{\"room\":\"r\",\"username\":\"bo\xC3\",\"message\":\"hola\"}");
    EXPECT_EQ(ana.take_text(Type::chat), R"({"room":"r","username":"bo","message":"hola"})");
    bob.send_text(Type::chat, "{\"username\":\"bo\xC3\",\"message\":\"a\\\"b\"}");
    EXPECT_EQ(ana.take_text(Type::chat), R"({"room":"r","username":"bo","message":"a\"b"})");
}

TEST_F(VoiceChatTest, LongestChatOfControlCharactersIsRelayedWhole) {
    Client& ana = member("r", std::string(63, 'a'));
    Client& bob = member("r", std::string(63, 'b'));
    bob.send_text(Type::chat, R"({"message":")" + std::string(512, '\x01'));
    const std::string text = ana.take_text(Type::chat);
    EXPECT_EQ(text.size(), 38U + 1 + 63 + 512 * 6);
    EXPECT_TRUE(text.ends_with("\\u0001\\u0001\"}"));
}

TEST_F(VoiceChatTest, ChatIsLimitedTo20ASecond) {
    Client& ana = member("r", "ana");
    Client& bob = member("r", "bob");
    for (int i = 0; i < 100; ++i) {
        bob.send_text(Type::chat, R"({"message":"hola"})");
    }
    EXPECT_EQ(ana.take(Type::chat).size(), std::size_t{k_chat_burst});
    pass(500);
    for (int i = 0; i < 100; ++i) {
        bob.send_text(Type::chat, R"({"message":"hola"})");
    }
    EXPECT_EQ(ana.take(Type::chat).size(), std::size_t{k_chat_rate / 2});
}

} // namespace
