// What is said about a microphone that delivers nothing and a server that fell silent.
#include "peer/peer_watch.h"
#include "support/fake_clock.h"

#include <gtest/gtest.h>

#include <string>

namespace {

constexpr const char* k_microphone =
    "velmo-peer: the microphone delivers nothing; type: input DEVICE\n";

class PeerWatch : public testing::Test {
  protected:
    PeerWatch() { peer_watch_reset(); }

    /// What is said during `milliseconds`, in steps of the main loop.
    std::string said(std::uint32_t milliseconds, bool capturing, std::uint32_t server_silent_ms) {
        testing::internal::CaptureStderr();
        for (std::uint32_t passed = 0; passed < milliseconds; passed += 50) {
            m_clock.advance(50);
            peer_watch_look(capturing, server_silent_ms);
        }
        return testing::internal::GetCapturedStderr();
    }

    FakeClock m_clock{4294966000U}; ///< wraps on the way
};

TEST_F(PeerWatch, MicrophoneThatDeliversNothingIsToldOnceAfterTwoSeconds) {
    EXPECT_EQ(said(1950, true, 0), "");
    EXPECT_EQ(said(50, true, 0), k_microphone);
    EXPECT_EQ(said(60'000, true, 0), "");
}

TEST_F(PeerWatch, MicrophoneThatCameBackAndWentIsToldAgain) {
    EXPECT_EQ(said(5000, true, 0), k_microphone);
    peer_watch_note_capture();
    EXPECT_EQ(said(1950, true, 0), "");
    EXPECT_EQ(said(10'000, true, 0), k_microphone);
}

TEST_F(PeerWatch, MicrophoneThatDeliversIsNotTold) {
    for (int i = 0; i < 10; ++i) {
        peer_watch_note_capture();
        EXPECT_EQ(said(1500, true, 0), "");
    }
}

TEST_F(PeerWatch, NothingIsExpectedFromNoMicrophoneOrAMutedOne) {
    EXPECT_EQ(said(10'000, false, 0), "");
    EXPECT_EQ(said(1950, true, 0), "");
    EXPECT_EQ(said(1950, false, 0), "");
    EXPECT_EQ(said(1950, true, 0), "");
    EXPECT_EQ(said(100, true, 0), k_microphone);
    // Muting does not bring it back.
    EXPECT_EQ(said(100, false, 0), "");
    EXPECT_EQ(said(5000, true, 0), "");
}

TEST_F(PeerWatch, AnotherMicrophoneHasItsOwnTwoSeconds) {
    EXPECT_EQ(said(5000, true, 0), k_microphone);
    peer_watch_expect_capture();
    EXPECT_EQ(said(1950, true, 0), "");
    EXPECT_EQ(said(5000, true, 0), k_microphone);
}

TEST_F(PeerWatch, SilentServerIsToldOncePerOutage) {
    EXPECT_EQ(said(50, false, 4999), "");
    EXPECT_EQ(said(50, false, 5010), "velmo-peer: no answer from the server for 5 s\n");
    EXPECT_EQ(said(500, false, 9000), "");
    EXPECT_EQ(said(50, false, 20), "");
    EXPECT_EQ(said(50, false, 7000), "velmo-peer: no answer from the server for 7 s\n");
}

} // namespace
