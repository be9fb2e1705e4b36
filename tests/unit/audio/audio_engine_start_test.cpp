// The device engine as it is when a program starts. One test, since the state is there once.
#include "unit/audio/audio_engine_fixture.h"

namespace {

TEST(AudioEngineAtStart, IsIdleAtFullGainWithASilentRing) {
    using namespace audio_engine;
    EXPECT_EQ(g_inputGain, 1.0F);
    EXPECT_EQ(g_outputVolume, 1.0F);
    EXPECT_FALSE(g_isMuted);
    EXPECT_FALSE(g_loopbackEnabled);
    EXPECT_EQ(g_isRunning, 0);
    EXPECT_EQ(Audio_IsRunning(), 0);
    EXPECT_EQ(g_loopbackWritePos, 0);
    EXPECT_EQ(g_loopbackReadPos, 0);
    EXPECT_EQ(g_loopbackBuffer.size(), 24000U);
    for (const auto& slot : g_loopbackBuffer) {
        ASSERT_EQ(slot, 0.0F);
    }
    EXPECT_EQ(g_inputCallback.load(), nullptr);
    EXPECT_EQ(g_levelCallback.load(), nullptr);

    EXPECT_EQ(g_pEnumerator, nullptr);
    EXPECT_EQ(g_pInputDevice, nullptr);
    EXPECT_EQ(g_pOutputDevice, nullptr);
    EXPECT_EQ(g_pInputClient, nullptr);
    EXPECT_EQ(g_pOutputClient, nullptr);
    EXPECT_EQ(g_pCaptureClient, nullptr);
    EXPECT_EQ(g_pRenderClient, nullptr);
    EXPECT_FALSE(g_hasRenderClient);
    EXPECT_FALSE(g_hCaptureThread.exists());
    EXPECT_FALSE(g_hRenderThread.exists());
}

} // namespace
