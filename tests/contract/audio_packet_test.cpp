// The Windows half of the audio seam before a capture client that delivers what a test wants.
#include "platform/windows/wasapi_internal.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace {

/// Lends one packet of floats. Lives on the stack, so references are not counted.
class CaptureClient final : public IAudioCaptureClient {
  public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG STDMETHODCALLTYPE AddRef() override { return 1; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }

    HRESULT STDMETHODCALLTYPE GetBuffer(BYTE** data, UINT32* count, DWORD* packet_flags, UINT64*,
                                        UINT64*) override {
        *data = has_data ? reinterpret_cast<BYTE*>(samples.data()) : nullptr;
        *count = frames;
        *packet_flags = flags;
        return answer;
    }
    HRESULT STDMETHODCALLTYPE ReleaseBuffer(UINT32 count) override {
        released.push_back(count);
        return answer;
    }
    HRESULT STDMETHODCALLTYPE GetNextPacketSize(UINT32* count) override {
        *count = frames;
        return answer;
    }

    std::vector<float> samples{};
    UINT32 frames = 0;
    bool has_data = true;
    DWORD flags = 0;
    HRESULT answer = S_OK;
    std::vector<UINT32> released{};
};

constexpr UINT32 k_buffer_frames = 4800;

class AudioPacket : public testing::Test {
  protected:
    void SetUp() override {
        *m_service.service.out() = &m_client;
        m_service.packet.assign(std::size_t{k_buffer_frames} * 2, 7.0F);
    }

    void lend(UINT32 frames) {
        m_client.frames = frames;
        m_client.samples.resize(std::size_t{frames} * 2);
        for (std::size_t sample = 0; sample < m_client.samples.size(); ++sample) {
            m_client.samples[sample] = static_cast<float>(sample);
        }
    }

    AudioResult get() { return audio_capture_get_buffer(m_service, m_samples, m_frames); }

    CaptureClient m_client;
    AudioCaptureService m_service{{}, {}, {SampleKind::float32, 2}};
    float* m_samples = nullptr;
    std::uint32_t m_frames = 12345;
};

} // namespace

TEST_F(AudioPacket, IsDeliveredWholeInTheDevicesSize) {
    for (const UINT32 frames : {1U, 441U, 480U, 960U, 4800U}) {
        lend(frames);
        std::uint32_t next = 0;
        EXPECT_EQ(audio_capture_next_packet_size(m_service, next), k_audio_ok);
        EXPECT_EQ(next, frames);
        ASSERT_EQ(get(), k_audio_ok);
        EXPECT_EQ(m_frames, frames);
        EXPECT_TRUE(std::equal(m_client.samples.begin(), m_client.samples.end(), m_samples));
        EXPECT_EQ(audio_capture_release_buffer(m_service, frames), k_audio_ok);
        EXPECT_EQ(m_client.released.back(), frames);
    }
}

TEST_F(AudioPacket, FlagsAreNotConsulted) {
    lend(480);
    m_client.flags = AUDCLNT_BUFFERFLAGS_SILENT | AUDCLNT_BUFFERFLAGS_DATA_DISCONTINUITY |
                     AUDCLNT_BUFFERFLAGS_TIMESTAMP_ERROR;
    ASSERT_EQ(get(), k_audio_ok);
    EXPECT_TRUE(std::equal(m_client.samples.begin(), m_client.samples.end(), m_samples));
}

TEST_F(AudioPacket, WithoutDataIsSilence) {
    lend(480);
    m_client.has_data = false;
    ASSERT_EQ(get(), k_audio_ok);
    EXPECT_EQ(m_frames, 480U);
    EXPECT_TRUE(std::all_of(m_samples, m_samples + 960, [](float s) { return s == 0.0F; }));
    EXPECT_EQ(m_samples[960], 7.0F);
}

TEST_F(AudioPacket, NoneWaitingIsASuccessWithoutFrames) {
    m_client.has_data = false;
    m_client.answer = AUDCLNT_S_BUFFER_EMPTY;
    EXPECT_EQ(get(), AUDCLNT_S_BUFFER_EMPTY);
    EXPECT_EQ(m_frames, 0U);
}

TEST_F(AudioPacket, LongerThanTheBufferIsGivenBackUntaken) {
    lend(k_buffer_frames + 1);
    EXPECT_EQ(get(), AUDCLNT_E_BUFFER_ERROR);
    EXPECT_EQ(m_samples, nullptr);
    EXPECT_EQ(m_frames, 12345U);
    EXPECT_EQ(m_client.released, std::vector<UINT32>{k_buffer_frames + 1});
    EXPECT_EQ(m_service.packet, std::vector<float>(std::size_t{k_buffer_frames} * 2, 7.0F));
}

TEST_F(AudioPacket, FailuresAreToldAndLeaveTheOutputs) {
    lend(480);
    m_client.answer = AUDCLNT_E_DEVICE_INVALIDATED;
    EXPECT_EQ(get(), k_audio_device_gone);
    EXPECT_EQ(audio_capture_next_packet_size(m_service, m_frames), k_audio_device_gone);
    EXPECT_EQ(audio_capture_release_buffer(m_service, 480), k_audio_device_gone);
    EXPECT_EQ(m_samples, nullptr);
    EXPECT_EQ(m_frames, 12345U);
}
