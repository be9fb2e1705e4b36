// Pages of history, read out of what the server answered.
#include "chat/history_payload.h"

#include <gtest/gtest.h>

#include <string>

namespace {

/// "SENDER|TEXT|TIME;" for each message.
std::string messages(const std::string& payload) {
    std::string text;
    for (const HistoryMessage& message : read_history_page(payload.c_str()).messages) {
        text += std::string(message.sender_display_name) + "|" + message.text + "|" +
                message.created_at + ";";
    }
    return text;
}

std::string message(const std::string& sender, const std::string& text, const std::string& time) {
    return R"({"senderDisplayName":")" + sender + R"(","text":")" + text + R"(","createdAt":")" +
           time + "\"}";
}

std::string page(const std::string& list) {
    return R"({"hasMore":true,"nextBefore":"c","messages":[)" + list + "]}";
}

TEST(HistoryPayload, PageHasMessagesAndWhereToGoOn) {
    const HistoryPage read = read_history_page(
        (R"({"hasMore":true,"nextBefore":"m-7","messages":[)" + message("Ana", "uno", "10:00") +
         "," + message("Eva", "dos", "10:01") + "]}")
            .c_str());
    EXPECT_TRUE(read.has_more);
    EXPECT_STREQ(read.next_before, "m-7");
    ASSERT_EQ(read.messages.size(), 2U);
    EXPECT_STREQ(read.messages[0].sender_display_name, "Ana");
    EXPECT_STREQ(read.messages[0].text, "uno");
    EXPECT_STREQ(read.messages[0].created_at, "10:00");
    EXPECT_STREQ(read.messages[1].sender_display_name, "Eva");
}

TEST(HistoryPayload, WithoutHasMoreThereIsNoMore) {
    for (const char* payload :
         {"", "{}", R"({"hasMore":false})", R"({"hasMore":"true"})", R"({"hasMore":1})"}) {
        const HistoryPage read = read_history_page(payload);
        EXPECT_FALSE(read.has_more) << payload;
        EXPECT_STREQ(read.next_before, "") << payload;
        EXPECT_TRUE(read.messages.empty()) << payload;
    }
    EXPECT_TRUE(read_history_page(nullptr).messages.empty());
}

TEST(HistoryPayload, NeedNotBeCompact) {
    const HistoryPage read = read_history_page(
        "{\n  \"hasMore\" : true,\r\n\t\"nextBefore\": \"c\",\n  \"messages\" : [\n    {\n"
        "      \"senderDisplayName\" : \"A na\",\n \"text\": \" u\tno \" } ] }");
    EXPECT_TRUE(read.has_more);
    EXPECT_STREQ(read.next_before, "c");
    ASSERT_EQ(read.messages.size(), 1U);
    EXPECT_STREQ(read.messages[0].sender_display_name, "A na");
    EXPECT_STREQ(read.messages[0].text, " u\tno ");
}

TEST(HistoryPayload, EscapedQuoteEndsAValue) {
    EXPECT_EQ(messages(page(message("Ana", R"(di \"hola\" y)", "t"))), R"(Ana|di \|t;)");
    EXPECT_EQ(messages(page(message(R"(A\\na)", "x", "t"))), R"(A\\na|x|t;)");
}

TEST(HistoryPayload, ListMustBeThere) {
    EXPECT_EQ(messages("[" + message("Ana", "uno", "t") + "]"), "");
    EXPECT_EQ(messages(R"({"messages":{)" + message("Ana", "uno", "t") + "}}"), "");
    EXPECT_EQ(messages(R"({"messages":[]})"), "");
    EXPECT_EQ(messages(message("Ana", "before the list", "t") + R"("messages":[])"), "");
}

TEST(HistoryPayload, StopsWhereSenderOrTextIsMissing) {
    EXPECT_EQ(messages(page(message("Ana", "uno", "t") + R"(,{"senderDisplayName":"Eva"})")),
              "Ana|uno|t;");
    EXPECT_EQ(messages(page(message("Ana", "uno", "t") + R"(,{"text":"dos"})")), "Ana|uno|t;");
    EXPECT_EQ(messages(page(R"({"senderDisplayName":7,"text":"dos"})")), "");
}

TEST(HistoryPayload, MissingTimeLeavesItEmpty) {
    EXPECT_EQ(messages(page(R"({"senderDisplayName":"Ana","text":"uno"})")), "Ana|uno|;");
}

// Each is looked for by itself, from where the last text ended.
TEST(HistoryPayload, MissingTimeIsTakenFromTheNextThatHasOne) {
    EXPECT_EQ(messages(page(R"({"senderDisplayName":"Ana","text":"uno"},)" +
                            message("Eva", "dos", "t2"))),
              "Ana|uno|t2;Eva|dos|t2;");
}

TEST(HistoryPayload, MissingSenderIsTakenFromTheNextThatHasOne) {
    EXPECT_EQ(messages(page(R"({"text":"uno"},)" + message("Eva", "dos", "t2"))),
              "Eva|uno|t2;Eva|dos|t2;");
}

TEST(HistoryPayload, TimeBeforeTheTextBelongsToItsMessage) {
    EXPECT_EQ(messages(page(R"({"createdAt":"t1","senderDisplayName":"Ana","text":"uno"},)"
                            R"({"createdAt":"t2","senderDisplayName":"Eva","text":"dos"})")),
              "Ana|uno|t1;Eva|dos|t2;");
}

TEST(HistoryPayload, EmptyValuesAreValues) {
    EXPECT_EQ(messages(page(message("", "", ""))), "||;");
}

TEST(HistoryPayload, ValuesAreCutToTheirRoom) {
    const std::string many(600, 'x');
    EXPECT_EQ(messages(page(message(many, many, many))),
              many.substr(0, 95) + "|" + many.substr(0, 511) + "|" + many.substr(0, 63) + ";");
    const std::string payload = R"({"nextBefore":")" + many + "\"}";
    EXPECT_EQ(read_history_page(payload.c_str()).next_before, many.substr(0, 63));
}

TEST(HistoryPayload, PageHasAtMost256Messages) {
    std::string list;
    for (int i = 0; i < 300; ++i) {
        list += message("A", std::to_string(i), "t") + ",";
    }
    const HistoryPage read = read_history_page(page(list).c_str());
    ASSERT_EQ(read.messages.size(), 256U);
    EXPECT_STREQ(read.messages.back().text, "255");
}

TEST(HistoryPayload, PayloadIsReadUpTo65535Bytes) {
    const std::string begin = R"({"messages":[)" + message("Ana", "uno", "t") + R"(,"x":")";
    const std::string rest = "\"," + message("Eva", "dos", "t") + "]}";
    const std::size_t room = 65535 - begin.size() - rest.size();
    EXPECT_EQ(messages(begin + std::string(room, 'x') + rest), "Ana|uno|t;Eva|dos|t;");
    EXPECT_EQ(messages(begin + std::string(room + 30, 'x') + rest), "Ana|uno|t;");
}

TEST(HistoryPayload, TextThatNothingEndsGoesToTheEnd) {
    EXPECT_EQ(messages(R"({"messages":[{"senderDisplayName":"Ana","text":"uno)"), "Ana|uno|;");
    EXPECT_EQ(messages(R"({"messages":[{"text":"uno","senderDisplayName":"Ana)"), "Ana|uno|;");
}

} // namespace
