// The device engine on a machine that has no room for another thread. Built natively only: the room
// is taken by means of Linux.
#include "unit/audio/audio_engine_fixture.h"

#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

using namespace engine_test;
using fake_audio::Call;

namespace {

constexpr std::size_t k_gigabyte = std::size_t{1} << 30;

/// While it lives, a thread takes one gigabyte of addresses, and there are so many for `threads`
/// threads more.
class RoomForThreads {
  public:
    explicit RoomForThreads(std::size_t threads) {
        pthread_getattr_default_np(&m_attributes);
        pthread_attr_t greedy;
        pthread_getattr_default_np(&greedy);
        EXPECT_EQ(pthread_attr_setstacksize(&greedy, k_gigabyte), 0);
        EXPECT_EQ(pthread_setattr_default_np(&greedy), 0);
        pthread_attr_destroy(&greedy);

        getrlimit(RLIMIT_AS, &m_limit);
        std::size_t pages = 0;
        std::ifstream("/proc/self/statm") >> pages;
        const std::size_t used = pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        rlimit tight = m_limit;
        tight.rlim_cur = used + threads * k_gigabyte + k_gigabyte / 2;
        EXPECT_EQ(setrlimit(RLIMIT_AS, &tight), 0);
    }
    RoomForThreads(const RoomForThreads&) = delete;
    RoomForThreads& operator=(const RoomForThreads&) = delete;
    ~RoomForThreads() {
        setrlimit(RLIMIT_AS, &m_limit);
        pthread_setattr_default_np(&m_attributes);
        pthread_attr_destroy(&m_attributes);
    }

  private:
    pthread_attr_t m_attributes{};
    rlimit m_limit{};
};

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
