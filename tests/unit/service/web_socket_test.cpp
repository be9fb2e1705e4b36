// Web socket frames, the request they begin with, and one connection without its socket.
#include "service/chat/chat_line.h"
#include "service/chat/web_socket_frames.h"
#include "service/chat/web_socket_handshake.h"
#include "unit/service/web_socket_bytes.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Kind = ReaderEvent::Kind;

ReaderEvent read_one(const std::string& bytes) {
    WebSocketReader reader(1000);
    reader.give(bytes);
    return reader.next();
}

// --- Frames --------------------------------------------------------------------------------------

TEST(WebSocketReader, GivesATextOfAnyLengthUnmasked) {
    for (const std::size_t size : {0U, 1U, 125U, 126U, 999U, 1000U}) {
        const std::string text(size, 'x');
        const ReaderEvent event = read_one(client_frame(k_text_opcode, text));
        EXPECT_EQ(event.kind, Kind::text);
        EXPECT_EQ(event.text, text);
    }
    WebSocketReader large(70'000);
    large.give(client_frame(k_text_opcode, std::string(70'000, 'y')));
    EXPECT_EQ(large.next().text, std::string(70'000, 'y'));
}

TEST(WebSocketReader, BytesMayComeOneByOne) {
    const std::string bytes =
        client_frame(k_text_opcode, "hola", false) + client_frame(k_ping_opcode, "p") +
        client_frame(k_continuation_opcode, " a", false) +
        client_frame(k_continuation_opcode, " todos") + client_frame(k_text_opcode, "x");
    WebSocketReader reader(1000);
    std::vector<std::string> texts;
    for (const char byte : bytes) {
        reader.give({&byte, 1});
        for (ReaderEvent event = reader.next(); event.kind != Kind::none; event = reader.next()) {
            texts.push_back((event.kind == Kind::ping ? "ping " : "") + event.text);
        }
    }
    EXPECT_EQ(texts, (std::vector<std::string>{"ping p", "hola a todos", "x"}));
}

TEST(WebSocketReader, SeveralFramesInOneGo) {
    WebSocketReader reader(1000);
    reader.give(client_frame(k_text_opcode, "a") + client_frame(k_pong_opcode, "") +
                client_frame(k_text_opcode, "b") + client_frame(k_close_opcode, "\x03\xE8 adiós"));
    EXPECT_EQ(reader.next().text, "a");
    EXPECT_EQ(reader.next().kind, Kind::pong);
    EXPECT_EQ(reader.next().text, "b");
    const ReaderEvent end = reader.next();
    EXPECT_EQ(end.kind, Kind::close);
    EXPECT_EQ(end.code, WebSocketClose::normal);
    EXPECT_EQ(reader.next().kind, Kind::none);
}

TEST(WebSocketReader, CloseWithoutACodeHasNoReason) {
    const ReaderEvent event = read_one(client_frame(k_close_opcode, ""));
    EXPECT_EQ(event.kind, Kind::close);
    EXPECT_EQ(event.code, WebSocketClose::no_reason);
}

TEST(WebSocketReader, WhatTheProtocolForbidsIsAFault) {
    std::string unmasked = client_frame(k_text_opcode, "x");
    unmasked[1] = static_cast<char>(unmasked[1] & 0x7F);
    std::string reserved = client_frame(k_text_opcode, "x");
    reserved[0] = static_cast<char>(reserved[0] | 0x40);
    const std::vector<std::string> wrong{
        unmasked,
        reserved,
        client_frame(0x3, "x"),
        client_frame(0xB, "x"),
        client_frame(k_continuation_opcode, "x"), // of nothing
        client_frame(k_text_opcode, "x", false) + client_frame(k_text_opcode, "y"),
        client_frame(k_ping_opcode, "x", false),
        client_frame(k_ping_opcode, std::string(126, 'x')),
        client_frame(k_close_opcode, "x"),
        client_frame(k_close_opcode, std::string("\x03\xED", 2)), // 1005
        client_frame(k_close_opcode, std::string("\0\0", 2)),
    };
    for (const std::string& bytes : wrong) {
        WebSocketReader reader(1000);
        reader.give(bytes);
        const ReaderEvent event = reader.next();
        EXPECT_EQ(event.kind, Kind::fault);
        EXPECT_EQ(event.code, WebSocketClose::protocol_error);
        reader.give(client_frame(k_text_opcode, "x"));
        EXPECT_EQ(reader.next().kind, Kind::none); // nothing comes after it
    }
}

TEST(WebSocketReader, BinaryIsAFaultOfItsOwn) {
    EXPECT_EQ(read_one(client_frame(k_binary_opcode, "x")).code, WebSocketClose::not_text);
}

TEST(WebSocketReader, TooLongIsKnownFromTheHeadAlone) {
    const std::string longer = client_frame(k_text_opcode, std::string(1001, 'x'));
    EXPECT_EQ(read_one(longer.substr(0, 8)).code, WebSocketClose::too_big);
    EXPECT_EQ(read_one(huge_frame_head()).code, WebSocketClose::too_big);
    WebSocketReader reader(1000);
    reader.give(client_frame(k_text_opcode, std::string(600, 'x'), false) +
                client_frame(k_continuation_opcode, std::string(401, 'x')).substr(0, 8));
    const ReaderEvent event = reader.next();
    EXPECT_EQ(event.kind, Kind::fault);
    EXPECT_EQ(event.code, WebSocketClose::too_big);
}

TEST(WebSocketFrames, AreWrittenWithTheShortestLength) {
    const auto head = [](std::size_t size) {
        std::string bytes;
        append_text_frame(bytes, std::string(size, 'x'));
        return bytes.substr(0, bytes.size() - size);
    };
    EXPECT_EQ(head(125), "\x81\x7D");
    EXPECT_EQ(head(126), std::string("\x81\x7E\0\x7E", 4));
    EXPECT_EQ(head(65'535), "\x81\x7E\xFF\xFF");
    EXPECT_EQ(head(65'536), std::string("\x81\x7F\0\0\0\0\0\x01\0\0", 10));
    std::string bytes;
    append_close_frame(bytes, WebSocketClose::too_big);
    append_close_frame(bytes, WebSocketClose::no_reason);
    append_ping_frame(bytes);
    append_pong_frame(bytes, "p");
    EXPECT_EQ(bytes, std::string("\x88\x02\x03\xF1\x88\0\x89\0\x8A\x01p", 11));
}

// --- The beginning -------------------------------------------------------------------------------

int status_of(const std::string& head) {
    return std::atoi(answer_handshake(head).bytes.c_str() + 9);
}

TEST(WebSocketHandshake, IsAcceptedAtBothPaths) {
    for (const char* const target : {"/", "/ws", "/ws?x=y"}) {
        const HandshakeAnswer answer = answer_handshake(handshake_request(target));
        EXPECT_TRUE(answer.is_accepted) << target;
        // The key of the protocol's own example.
        EXPECT_EQ(answer.bytes, "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\n"
                                "Connection: Upgrade\r\n"
                                "Sec-WebSocket-Accept: s3pPLMBiTxaQ9kYGzzhZRbK+xOo=\r\n\r\n");
    }
    EXPECT_TRUE(answer_handshake("GET /ws HTTP/1.1\r\nHOST: x\r\nupgrade: WebSocket\r\n"
                                 "connection: keep-alive, Upgrade\r\n"
                                 "sec-websocket-key: dGhlIHNhbXBsZSBub25jZQ==\r\n"
                                 "sec-websocket-version: 13\r\n\r\n")
                    .is_accepted);
}

TEST(WebSocketHandshake, AnythingElseIsRefusedWithAStatusAndAText) {
    const auto without = [](const std::string& part) {
        std::string head = handshake_request("/");
        return head.replace(head.find(part), part.size(), "X");
    };
    EXPECT_EQ(status_of(handshake_request("/other")), 404);
    EXPECT_EQ(status_of(handshake_request("/ws/")), 404);
    EXPECT_EQ(status_of("POST" + handshake_request("/").substr(3)), 405);
    EXPECT_EQ(status_of(without("Upgrade: websocket")), 426);
    EXPECT_EQ(status_of(without("Connection: Upgrade")), 426);
    EXPECT_EQ(status_of(without("Version: 13")), 426);
    EXPECT_EQ(status_of(without("Sec-WebSocket-Key")), 400);
    EXPECT_EQ(status_of(without("dGhlIHNhbXBsZSBub25jZQ==")), 400);
    EXPECT_EQ(status_of(without("HTTP/1.1")), 400);
    for (const char* const head :
         {"\r\n\r\n", "x\r\n\r\n", "GET\r\n\r\n", "", "\n", "GET / HTTP/1.0\r\n\r\n",
          "GET / HTTP/9.9\r\n\r\n", "\x16\x03\x01\r\n\r\n"}) {
        EXPECT_EQ(status_of(head), 400) << head;
    }
    EXPECT_EQ(status_of(std::string("GET /\0 HTTP/1.1\r\n\r\n", 20)), 400);
    EXPECT_NE(http_refusal(426).find("Sec-WebSocket-Version: 13\r\n"), std::string::npos);
    EXPECT_TRUE(http_refusal(503).ends_with("\"}"));
}

// --- A connection --------------------------------------------------------------------------------

class ChatLineTest : public ::testing::Test {
  protected:
    static ChatLimits limits() {
        ChatLimits limits;
        limits.pending_bytes = 1000;
        return limits;
    }
    void open() {
        m_line.receive(handshake_request("/"), 0);
        EXPECT_FALSE(m_line.next_text());
        EXPECT_TRUE(take().starts_with("HTTP/1.1 101 "));
    }
    /// All that is to be sent, as sent.
    std::string take() {
        std::string bytes(m_line.output());
        m_line.sent(bytes.size());
        return bytes;
    }
    std::vector<std::string> texts(const std::string& bytes) {
        m_line.receive(bytes, 0);
        std::vector<std::string> all;
        while (std::optional<std::string> text = m_line.next_text()) {
            all.push_back(*text);
        }
        return all;
    }
    static std::string close_frame(WebSocketClose code) {
        std::string bytes;
        append_close_frame(bytes, code);
        return bytes;
    }

    ChatLine m_line{limits(), 0};
};

TEST_F(ChatLineTest, FramesMayFollowTheRequestAtOnce) {
    EXPECT_EQ(texts(handshake_request("/ws") + client_frame(k_text_opcode, "hola")),
              std::vector<std::string>{"hola"});
}

TEST_F(ChatLineTest, RequestMayComeByteByByte) {
    for (const char byte : handshake_request("/")) {
        m_line.receive({&byte, 1}, 0);
    }
    EXPECT_TRUE(take().starts_with("HTTP/1.1 101 "));
}

TEST_F(ChatLineTest, RefusedRequestIsAnsweredAndThenNothingIsRead) {
    m_line.receive("GET /x HTTP/1.1\r\n\r\n", 0);
    EXPECT_FALSE(m_line.is_silent());
    EXPECT_TRUE(take().starts_with("HTTP/1.1 404 "));
    EXPECT_TRUE(m_line.is_silent());
    EXPECT_TRUE(texts(handshake_request("/") + client_frame(k_text_opcode, "x")).empty());
    m_line.sweep(false, 1999);
    EXPECT_FALSE(m_line.is_over());
    m_line.sweep(false, 2000);
    EXPECT_TRUE(m_line.is_over());
}

TEST_F(ChatLineTest, EndlessRequestIs431) {
    m_line.receive("GET / HTTP/1.1\r\nA: " + std::string(17'000, 'a'), 0);
    EXPECT_TRUE(take().starts_with("HTTP/1.1 431 "));
}

TEST_F(ChatLineTest, CharactersThatABufferCutAreDroppedAndOthersThatAreNoneAreTheEnd) {
    open();
    const std::string cut = "{\"text\":\"hola \xF0\x9F\x98\",\"a\":\"\xC3\"}";
    EXPECT_EQ(texts(client_frame(k_text_opcode, cut)),
              std::vector<std::string>{R"({"text":"hola ","a":""})"});
    EXPECT_TRUE(texts(client_frame(k_text_opcode, "{\"text\":\"\xFF\"}")).empty());
    EXPECT_EQ(take(), close_frame(WebSocketClose::not_utf8));
    EXPECT_TRUE(texts(client_frame(k_text_opcode, "{}")).empty());
}

TEST_F(ChatLineTest, PingsAreAnsweredWithWhatTheySaid) {
    open();
    EXPECT_TRUE(texts(client_frame(k_ping_opcode, "abc")).empty());
    EXPECT_EQ(take(), "\x8A\x03"
                      "abc");
}

TEST_F(ChatLineTest, FaultIsSaidAndNothingMoreIsRead) {
    open();
    EXPECT_TRUE(
        texts(client_frame(k_binary_opcode, "x") + client_frame(k_text_opcode, "y")).empty());
    EXPECT_EQ(take(), close_frame(WebSocketClose::not_text));
    EXPECT_TRUE(m_line.is_silent());
    EXPECT_TRUE(texts(client_frame(k_text_opcode, "y")).empty());
    m_line.sweep(true, 2000);
    EXPECT_TRUE(m_line.is_over());
}

TEST_F(ChatLineTest, GoodbyeIsAnsweredAndThenItIsOver) {
    open();
    m_line.send("antes");
    EXPECT_TRUE(texts(client_frame(k_close_opcode, "\x03\xE8")).empty());
    EXPECT_FALSE(m_line.is_over());
    EXPECT_EQ(take(), "\x81\x05"
                      "antes" +
                          close_frame(WebSocketClose::normal));
    EXPECT_TRUE(m_line.is_over());
}

TEST_F(ChatLineTest, OwnGoodbyeWaitsForTheOtherSidesAShortWhile) {
    open();
    m_line.close(WebSocketClose::policy);
    m_line.close(WebSocketClose::normal);
    m_line.send("nothing goes after it");
    EXPECT_EQ(take(), close_frame(WebSocketClose::policy));
    EXPECT_TRUE(texts(client_frame(k_text_opcode, "said before")).empty());
    EXPECT_FALSE(m_line.is_over());
    EXPECT_TRUE(texts(client_frame(k_close_opcode, "\x03\xF0")).empty());
    EXPECT_TRUE(m_line.is_over());
}

TEST_F(ChatLineTest, OwnGoodbyeThatIsNotAnsweredEndsAfterTwoSeconds) {
    open();
    m_line.close(WebSocketClose::policy);
    take();
    m_line.sweep(true, 1999);
    EXPECT_FALSE(m_line.is_over());
    m_line.sweep(true, 2000);
    EXPECT_TRUE(m_line.is_over());
}

TEST_F(ChatLineTest, ClientThatTakesNothingIsDropped) {
    open();
    m_line.send(std::string(498, 'x')); // 502 bytes
    m_line.send(std::string(494, 'x')); // all 1000
    EXPECT_FALSE(m_line.is_over());
    m_line.sent(1);
    m_line.send(""); // 2 more
    EXPECT_TRUE(m_line.is_over());
}

TEST_F(ChatLineTest, ClientThatTakesItIsNot) {
    open();
    std::string all;
    for (int i = 0; i < 1000; ++i) {
        m_line.send(std::string(400, 'x'));
        const std::size_t part = m_line.output().size() * 2 / 3;
        all += m_line.output().substr(0, part);
        m_line.sent(part);
    }
    all += take();
    EXPECT_FALSE(m_line.is_over());
    EXPECT_EQ(all.size(), 404'000U);
    EXPECT_EQ(all.substr(403'596), all.substr(0, 404));
}

TEST_F(ChatLineTest, PingsThatAreNotAnsweredPileUpUntilItIsDropped) {
    open();
    for (int i = 0; i < 400; ++i) {
        texts(client_frame(k_ping_opcode, "abc"));
    }
    EXPECT_TRUE(m_line.is_over());
}

TEST_F(ChatLineTest, SilenceAfterTwoPingsIsTheEnd) {
    open();
    EXPECT_FALSE(m_line.sweep(true, 29'999));
    EXPECT_EQ(take(), "");
    EXPECT_TRUE(m_line.sweep(true, 30'000));
    EXPECT_EQ(take(), std::string("\x89\0", 2));
    EXPECT_FALSE(m_line.sweep(true, 30'001));
    EXPECT_TRUE(m_line.sweep(true, 60'000));
    texts(client_frame(k_pong_opcode, ""));
    EXPECT_TRUE(m_line.sweep(true, 90'000));
    EXPECT_TRUE(m_line.sweep(true, 120'000));
    EXPECT_FALSE(m_line.is_over());
    EXPECT_FALSE(m_line.sweep(true, 150'000));
    EXPECT_TRUE(m_line.is_over());
}

TEST_F(ChatLineTest, WhoDoesNotSignInWithinTenSecondsIsClosed) {
    open();
    m_line.sweep(false, 9'999);
    EXPECT_EQ(take(), "");
    m_line.sweep(false, 10'000);
    EXPECT_EQ(take(), close_frame(WebSocketClose::policy));
    ChatLine in_head(ChatLimits{}, 0);
    in_head.receive("GET / HT", 9'999);
    in_head.sweep(false, 10'000);
    EXPECT_TRUE(in_head.is_over());
    ChatLine signed_in(ChatLimits{}, 0);
    signed_in.receive(handshake_request("/"), 0);
    signed_in.sweep(true, 10'000);
    EXPECT_TRUE(signed_in.output().starts_with("HTTP/1.1 101 "));
    EXPECT_TRUE(signed_in.output().ends_with("\r\n\r\n"));
}

} // namespace
