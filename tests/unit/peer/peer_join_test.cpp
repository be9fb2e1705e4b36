// Whether the server let the participant in: the answer, an error instead, or silence.
#include "peer/peer_join.h"
#include "support/fake_clock.h"

#include <gtest/gtest.h>

namespace {

class PeerJoin : public testing::Test {
  protected:
    PeerJoin() { join_left(); }

    FakeClock m_clock{4294966000U}; ///< wraps on the way
};

TEST_F(PeerJoin, RoomMessageIsTheAnswerAndOnlyTheFirst) {
    EXPECT_FALSE(join_note_room_message());
    EXPECT_EQ(join_update(), JoinState::outside);
    join_asked();
    EXPECT_EQ(join_update(), JoinState::asked);
    EXPECT_TRUE(join_note_room_message());
    EXPECT_FALSE(join_note_room_message());
    EXPECT_EQ(join_update(), JoinState::inside);
}

TEST_F(PeerJoin, ErrorBeforeTheAnswerRefuses) {
    join_asked();
    join_note_error();
    EXPECT_EQ(join_update(), JoinState::refused);
    EXPECT_FALSE(join_note_room_message());
    EXPECT_EQ(join_update(), JoinState::refused);
}

TEST_F(PeerJoin, ErrorInsideOrOutsideARoomIsAboutSomethingElse) {
    join_note_error();
    EXPECT_EQ(join_update(), JoinState::outside);
    join_asked();
    join_note_room_message();
    join_note_error();
    EXPECT_EQ(join_update(), JoinState::inside);
}

TEST_F(PeerJoin, SilenceOfFiveSecondsIsNoAnswer) {
    join_asked();
    m_clock.advance(4999);
    EXPECT_EQ(join_update(), JoinState::asked);
    m_clock.advance(1);
    EXPECT_EQ(join_update(), JoinState::no_answer);
}

TEST_F(PeerJoin, AudioStandsForAnAnswerThatGotLost) {
    join_asked();
    m_clock.advance(1000);
    join_note_audio();
    m_clock.advance(3999);
    EXPECT_EQ(join_update(), JoinState::asked) << "the answer itself may still come";
    m_clock.advance(1);
    EXPECT_EQ(join_update(), JoinState::inside);
}

TEST_F(PeerJoin, LateAudioOfTheRoomJustLeftDoesNotCount) {
    join_asked();
    join_note_audio();
    m_clock.advance(999);
    join_note_audio();
    m_clock.advance(4001);
    EXPECT_EQ(join_update(), JoinState::no_answer);
}

TEST_F(PeerJoin, LatestAudioDecidesWhetherTheRoomIsHeard) {
    join_asked();
    for (int i = 0; i < 500; ++i) {
        join_note_audio();
        m_clock.advance(10);
    }
    EXPECT_EQ(join_update(), JoinState::inside);
}

TEST_F(PeerJoin, AudioOfAnEarlierRoomDoesNotCount) {
    join_asked();
    m_clock.advance(3000);
    join_note_audio();
    join_asked();
    m_clock.advance(5000);
    EXPECT_EQ(join_update(), JoinState::no_answer);
}

TEST_F(PeerJoin, NobodyWaitsOnceInsideOrLeft) {
    join_asked();
    join_note_room_message();
    m_clock.advance(6000);
    EXPECT_EQ(join_update(), JoinState::inside);
    join_asked();
    join_left();
    m_clock.advance(6000);
    EXPECT_EQ(join_update(), JoinState::outside);
}

} // namespace
