// The voice connection on a machine that has no room for its thread.
#include "support/room_for_threads.h"
#include "voice/voice_connection.h"
#include "voice_fixture.h"

using VoiceNoThread = VoiceFixture;

TEST_F(VoiceNoThread, ConnectFailsAndTellsTheServerThatItsSessionHasEnded) {
    answer_connect();
    {
        const RoomForThreads none(0);
        EXPECT_FALSE(Network_Connect("voice.example"));
    }
    EXPECT_EQ(Network_GetConnectFailure(), NetworkConnectFailure::thread);
    EXPECT_FALSE(Network_IsConnected());
    EXPECT_EQ(udp.open_sockets, 0);
    EXPECT_EQ(journal(), Lines{});
    EXPECT_EQ(log_lines().back(), "Error: Could not start the network thread");
    const Bytes disconnect = {3, 1, 2, 3, 4, 5, 6, 7, 8, 0, 0, 0, 1};
    EXPECT_EQ(sent(VoicePacketType::disconnect), std::vector<Bytes>{disconnect});

    EXPECT_TRUE(Network_Connect("voice.example"));
    EXPECT_EQ(Network_GetConnectFailure(), NetworkConnectFailure::none);
    EXPECT_EQ(journal(), Lines{"connected"});
}
