// A chat connection for which the system has no thread.
#include "chat/chat_connection.h"
#include "support/room_for_threads.h"
#include "unit/chat/chat_fixture.h"

namespace {

using ChatNoThread = ChatTest;

TEST_F(ChatNoThread, StartLeavesNothing) {
    {
        const RoomForThreads none(0);
        chat_ws_start_for_selected_space();
    }
    EXPECT_FALSE(chat_ws_connection_is_usable());
    EXPECT_TRUE(server.openings().empty());
    EXPECT_FALSE(chat_ws_wait_until_ready(0));
    start_ready();
    EXPECT_TRUE(chat_ws_connection_is_usable());
}

TEST_F(ChatNoThread, RestartHasEndedWhatWas) {
    start_ready();
    {
        const RoomForThreads none(0);
        chat_ws_restart_for_selected_space();
    }
    EXPECT_FALSE(chat_ws_connection_is_usable());
    EXPECT_FALSE(chat_ws_wait_until_ready(0));
    EXPECT_EQ(server.open_connections(), 0U);
}

} // namespace
