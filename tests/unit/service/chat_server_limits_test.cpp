// The chat server and clients that say too much, too little, too slowly, or nothing that is a web
// socket.
#include "unit/service/running_chat.h"

#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using Json = nlohmann::json;

// --- Too much ------------------------------------------------------------------------------------

TEST(ChatServerLimits, FrameOfTenMegabytesIsRefusedFromItsHead) {
    RunningChat server;
    ChatClient client(server.port());
    ASSERT_TRUE(client.sign_in(server.ana()));
    client.send(client_frame(k_text_opcode, std::string(10'000'000, 'x')));
    EXPECT_EQ(client.end_code(), 1009);
    EXPECT_TRUE(server.is_alive());
}

TEST(ChatServerLimits, LongestFrameIsTaken) {
    RunningChat server;
    ChatClient client(server.port());
    ASSERT_TRUE(client.sign_in(server.ana()));
    client.say_text(std::string(65'536, ' '));
    EXPECT_EQ(client.next()["type"], "error"); // read, and found to be no JSON
    client.say_text(std::string(65'537, ' '));
    EXPECT_EQ(client.end_code(), 1009);
}

TEST(ChatServerLimits, FragmentsWithoutAnEndAreRefusedWhereTheyBecomeTooLong) {
    RunningChat server;
    ChatClient client(server.port());
    ASSERT_TRUE(client.sign_in(server.ana()));
    client.send(client_frame(k_text_opcode, "x", false));
    bool is_taken = true;
    for (int i = 0; i < 100 && is_taken; ++i) {
        is_taken = client.send(client_frame(k_continuation_opcode, std::string(8000, 'x'), false));
    }
    EXPECT_EQ(client.end_code(), 1009);
    EXPECT_TRUE(server.is_alive());
}

TEST(ChatServerLimits, WhatIsNoTextIsAGoodbyeWithItsReason) {
    RunningChat server;
    const auto end_code = [&](const std::string& bytes) {
        ChatClient client(server.port());
        EXPECT_TRUE(client.sign_in(server.ana()));
        client.send(bytes);
        return client.end_code();
    };
    EXPECT_EQ(end_code(client_frame(k_binary_opcode, "x")), 1003);
    EXPECT_EQ(end_code(client_frame(k_text_opcode, "\xFF")), 1007);
    EXPECT_EQ(end_code(std::string(100, '\xFF')), 1002);
    EXPECT_EQ(end_code("GET / HTTP/1.1\r\n\r\n"), 1002);
    EXPECT_TRUE(server.is_alive());
}

TEST(ChatServerLimits, FramesThatComeTooFastAreTheEnd) {
    RunningChat server;
    ChatClient client(server.port());
    ASSERT_TRUE(client.sign_in(server.ana()));
    std::string frames;
    for (int i = 0; i < 1000; ++i) {
        frames += client_frame(k_text_opcode, "{}");
    }
    client.send(frames);
    EXPECT_EQ(client.end_code(), 1008);
    EXPECT_TRUE(server.is_alive());
}

TEST(ChatServerLimits, PingsWithoutEndWhoseAnswersNobodyTakesAreTheEnd) {
    ChatLimits limits;
    limits.pending_bytes = 64 * 1024;
    RunningChat server(limits);
    ChatClient client(server.port(), 4096);
    ASSERT_TRUE(client.sign_in(server.ana()));
    std::string pings;
    for (int i = 0; i < 1000; ++i) {
        pings += client_frame(k_ping_opcode, std::string(125, 'p'));
    }
    bool is_taken = true;
    for (int i = 0; i < 10'000 && is_taken; ++i) {
        is_taken = client.send(pings);
    }
    EXPECT_FALSE(is_taken);
    EXPECT_TRUE(server.is_alive());
}

TEST(ChatServerLimits, ListenerWhoDoesNotReadIsDroppedAndTheOthersMissNothing) {
    constexpr int k_messages = 2000;
    ChatLimits limits;
    limits.frames_burst = 2 * k_messages;
    limits.pending_bytes = 64 * 1024;
    RunningChat server(limits);
    ChatClient slow(server.port(), 4096);
    ChatClient other(server.port());
    ASSERT_TRUE(slow.enter(server.luis(), server.space()));
    ASSERT_TRUE(other.enter(server.luis(), server.space()));
    ChatClient sender(server.port());
    ASSERT_TRUE(sender.sign_in(server.ana()));
    const std::string text(2000, 'x');
    for (int i = 0; i < k_messages; ++i) { // 4 MB
        sender.say({{"type", "message:send"},
                    {"spaceId", server.space()},
                    {"text", std::to_string(i) + text}});
        ASSERT_EQ(other.next()["text"], std::to_string(i) + text);
    }
    int heard = 0;
    while (slow.next_text()) {
        ++heard;
    }
    EXPECT_LT(heard, k_messages);
    EXPECT_TRUE(slow.is_cut());
    EXPECT_TRUE(server.is_alive());
}

// --- Too slow, too many --------------------------------------------------------------------------

TEST(ChatServerLimits, HalfFramesWaitWithoutHinderingAnybody) {
    RunningChat server;
    ChatClient slow(server.port());
    ASSERT_TRUE(slow.sign_in(server.ana()));
    const std::string frame =
        client_frame(k_text_opcode, R"({"type":"chat:join","spaceId":")" + server.space() + "\"}");
    for (std::size_t i = 0; i + 1 < frame.size(); ++i) {
        slow.send(frame.substr(i, 1));
        if (i % 20 == 0) {
            EXPECT_TRUE(server.is_alive());
        }
    }
    slow.send(frame.substr(frame.size() - 1));
    EXPECT_EQ(slow.next()["type"], "chat:joined");
    ChatClient gone(server.port());
    ASSERT_TRUE(gone.sign_in(server.ana()));
    gone.send(frame.substr(0, 10));
}

TEST(ChatServerLimits, WhoDoesNotSignInInTimeIsClosed) {
    ChatLimits limits;
    limits.sweep_ms = 10;
    limits.sign_in_ms = 100;
    limits.close_ms = 100;
    RunningChat server(limits);
    ChatClient silent(server.port());
    EXPECT_TRUE(silent.is_cut());
    ChatClient in_head(server.port());
    in_head.send("GET / HT");
    EXPECT_TRUE(in_head.is_cut());
    ChatClient nobody(server.port());
    EXPECT_EQ(nobody.shake_hands(), 101);
    EXPECT_EQ(nobody.end_code(), 1008);
    EXPECT_TRUE(nobody.is_cut());
}

TEST(ChatServerLimits, WhoAnswersNoPingsIsDroppedAndWhoDoesIsNot) {
    ChatLimits limits;
    limits.sweep_ms = 10;
    limits.ping_ms = 200;
    RunningChat server(limits);
    ChatClient dead(server.port());
    ASSERT_TRUE(dead.sign_in(server.ana()));
    dead.is_answering_pings = false;
    ChatClient alive(server.port());
    ASSERT_TRUE(alive.enter(server.ana(), server.space()));
    std::thread ear([&] { EXPECT_EQ(alive.next()["text"], "sigue ahí"); }); // and answers pings
    EXPECT_EQ(dead.end_code(), 0);
    EXPECT_TRUE(dead.is_cut());
    ChatClient sender(server.port());
    EXPECT_TRUE(sender.sign_in(server.ana()));
    sender.say({{"type", "message:send"}, {"spaceId", server.space()}, {"text", "sigue ahí"}});
    ear.join();
}

TEST(ChatServerLimits, OldestStrangerMakesRoomForANewcomer) {
    ChatLimits limits;
    limits.connections = 3;
    RunningChat server(limits);
    ChatClient member(server.port());
    ASSERT_TRUE(member.sign_in(server.ana()));
    ChatClient first(server.port());
    EXPECT_EQ(first.shake_hands(), 101);
    ChatClient second(server.port());
    EXPECT_EQ(second.shake_hands(), 101);
    ChatClient third(server.port());
    EXPECT_TRUE(third.sign_in(server.luis()));
    EXPECT_TRUE(first.is_cut());
    second.say({{"type", "auth"}, {"sessionToken", server.luis()}});
    EXPECT_EQ(second.next()["type"], "auth:ok");
    ChatClient fourth(server.port()); // all are signed in
    EXPECT_EQ(fourth.shake_hands(), 503);
    EXPECT_TRUE(fourth.is_cut());
    member.say({{"type", "chat:join"}, {"spaceId", server.space()}});
    EXPECT_EQ(member.next()["type"], "chat:joined");
}

TEST(ChatServerLimits, FloodOfConnectionsLeavesMembersAlone) {
    ChatLimits limits;
    limits.connections = 20;
    RunningChat server(limits);
    ChatClient member(server.port());
    ASSERT_TRUE(member.enter(server.ana(), server.space()));
    std::vector<std::unique_ptr<ChatClient>> flood;
    for (int i = 0; i < 400; ++i) {
        flood.push_back(std::make_unique<ChatClient>(server.port()));
        flood.back()->send(i % 2 == 0 ? handshake_request("/") : std::string("GET / HT"));
    }
    member.say({{"type", "message:send"}, {"spaceId", server.space()}, {"text", "sigo"}});
    EXPECT_EQ(member.next()["text"], "sigo");
    EXPECT_TRUE(server.is_alive());
}

TEST(ChatServerLimits, WhatIsNoHttpIsRefusedAndTheServerGoesOn) {
    RunningChat server;
    for (const std::string& bytes :
         {std::string("\r\n\r\n"), std::string("BLA\r\n\r\n"), std::string(100'000, '\0'),
          std::string(100'000, 'x'), std::string("GET /ws HTTP/1.1\r\n\r\n"),
          std::string("\x16\x03\x01\x02\x00\x01\x00\x01\xFC\x03\x03\r\n\r\n", 15)}) {
        ChatClient client(server.port());
        client.send(bytes);
        EXPECT_TRUE(client.is_cut());
        ChatClient gone(server.port());
        gone.send(bytes.substr(0, bytes.size() / 2));
    }
    EXPECT_TRUE(server.is_alive());
}

} // namespace
