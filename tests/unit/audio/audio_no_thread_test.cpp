// The device engine on a machine that has no room for another thread.
#include "support/room_for_threads.h"
#include "unit/audio/audio_engine_fixture.h"

using namespace engine_test;
using fake_audio::Call;

namespace {

class AudioNoThread : public AudioEngine {
  protected:
    void SetUp() override {
        AudioEngine::SetUp();
        ASSERT_EQ(Audio_Init(), 1);
        clear_log();
    }

    static void expect_whole_session() {
        EXPECT_EQ(Audio_Start(), 1);
        EXPECT_TRUE(fake_audio::wait_for_count(Call::next_packet_size, 1));
        EXPECT_TRUE(fake_audio::wait_for_count(Call::padding, 1));
        EXPECT_EQ(fake_audio::live_handles(), 7);
    }
};

} // namespace

TEST_F(AudioNoThread, WithoutCaptureThreadTheStartFailsAndStopsTheStreams) {
    {
        const RoomForThreads none(0);
        EXPECT_EQ(Audio_Start(), 0);
    }
    EXPECT_EQ(log_lines(), Lines{"Error: Could not create capture thread"});
    EXPECT_EQ(Audio_IsRunning(), 0);
    EXPECT_EQ(fake_audio::count(Call::next_packet_size), 0);
    EXPECT_EQ(fake_audio::count(Call::buffer_size), 0);
    const Lines calls = fake_audio::calls();
    ASSERT_GE(calls.size(), 2U);
    EXPECT_EQ(Lines(calls.end() - 2, calls.end()), (Lines{"stop mic", "stop speaker"}));
    const float half[] = {0.5F, 0.5F};
    Audio_PlaySamples(half, 1);
    EXPECT_EQ(audio_engine::g_loopbackWritePos, 0);

    expect_whole_session();
}

TEST_F(AudioNoThread, WithoutRenderThreadTheSessionOnlyCaptures) {
    {
        const RoomForThreads one(1);
        EXPECT_EQ(Audio_Start(), 1);
    }
    EXPECT_EQ(log_lines(), Lines{"Audio capture started"});
    EXPECT_EQ(Audio_IsRunning(), 1);
    EXPECT_TRUE(fake_audio::wait_for_count(Call::next_packet_size, 3));
    EXPECT_EQ(fake_audio::count(Call::buffer_size), 0);
    EXPECT_EQ(fake_audio::live_handles(), 5);
    const float half[] = {0.5F, 0.5F};
    Audio_PlaySamples(half, 1);
    EXPECT_EQ(audio_engine::g_loopbackWritePos, 0);

    Audio_Stop();
    expect_whole_session();
}
