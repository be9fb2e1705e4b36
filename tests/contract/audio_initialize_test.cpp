// What the Windows half of the audio seam asks of the system for a stream, before a client that
// records it.
#include "platform/windows/wasapi_internal.h"

#include <mmreg.h>
#include <objbase.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <vector>

namespace {

using Bytes = std::vector<std::byte>;

/// A format with its extension.
Bytes bytes_of(const WAVEFORMATEX& wave) {
    const auto* first = reinterpret_cast<const std::byte*>(&wave);
    return {first, first + sizeof(WAVEFORMATEX) + wave.cbSize};
}

/// The arguments of one Initialize.
struct Initialisation {
    AUDCLNT_SHAREMODE mode;
    DWORD flags;
    REFERENCE_TIME duration;
    REFERENCE_TIME periodicity;
    WAVEFORMATEX wave;
    Bytes format;
    std::optional<GUID> session;
};

/// Records every Initialize and answers what a test wants. Lives on the stack, so references are
/// not counted.
class RecordingClient final : public IAudioClient {
  public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG STDMETHODCALLTYPE AddRef() override { return 1; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }

    HRESULT STDMETHODCALLTYPE Initialize(AUDCLNT_SHAREMODE mode, DWORD flags,
                                         REFERENCE_TIME duration, REFERENCE_TIME periodicity,
                                         const WAVEFORMATEX* wave, LPCGUID session) override {
        initialisations.push_back({mode, flags, duration, periodicity, *wave, bytes_of(*wave),
                                   session != nullptr ? std::optional(*session) : std::nullopt});
        return initialize_answer;
    }
    HRESULT STDMETHODCALLTYPE GetMixFormat(WAVEFORMATEX** wave) override {
        ++mix_format_questions;
        if (FAILED(mix_format_answer)) {
            return mix_format_answer;
        }
        void* memory = CoTaskMemAlloc(mix_format.size());
        if (memory == nullptr) {
            return E_OUTOFMEMORY;
        }
        std::copy(mix_format.begin(), mix_format.end(), static_cast<std::byte*>(memory));
        *wave = static_cast<WAVEFORMATEX*>(memory);
        return mix_format_answer;
    }

    // Nobody asks for these before a stream is initialised.
    HRESULT STDMETHODCALLTYPE GetBufferSize(UINT32*) override { return unexpected(); }
    HRESULT STDMETHODCALLTYPE GetStreamLatency(REFERENCE_TIME*) override { return unexpected(); }
    HRESULT STDMETHODCALLTYPE GetCurrentPadding(UINT32*) override { return unexpected(); }
    HRESULT STDMETHODCALLTYPE IsFormatSupported(AUDCLNT_SHAREMODE, const WAVEFORMATEX*,
                                                WAVEFORMATEX**) override {
        return unexpected();
    }
    HRESULT STDMETHODCALLTYPE GetDevicePeriod(REFERENCE_TIME*, REFERENCE_TIME*) override {
        return unexpected();
    }
    HRESULT STDMETHODCALLTYPE Start() override { return unexpected(); }
    HRESULT STDMETHODCALLTYPE Stop() override { return unexpected(); }
    HRESULT STDMETHODCALLTYPE Reset() override { return unexpected(); }
    HRESULT STDMETHODCALLTYPE SetEventHandle(HANDLE) override { return unexpected(); }
    HRESULT STDMETHODCALLTYPE GetService(REFIID, void**) override { return unexpected(); }

    std::vector<Initialisation> initialisations{};
    HRESULT initialize_answer = S_OK;
    Bytes mix_format{};
    HRESULT mix_format_answer = S_OK;
    int mix_format_questions = 0;

  private:
    static HRESULT unexpected() {
        ADD_FAILURE() << "asked for more than a stream";
        return E_NOTIMPL;
    }
};

constexpr std::uint32_t k_buffer_ms = 20;

WAVEFORMATEX plain(WORD tag, WORD bits, WORD channels, DWORD rate) {
    const WORD block = static_cast<WORD>(channels * bits / 8);
    return {tag, channels, rate, rate * block, block, bits, 0};
}

WAVEFORMATEXTENSIBLE extensible(WORD tag, WORD bits, WORD channels, DWORD rate) {
    WAVEFORMATEXTENSIBLE wave{};
    wave.Format = plain(WAVE_FORMAT_EXTENSIBLE, bits, channels, rate);
    wave.Format.cbSize = sizeof(WAVEFORMATEXTENSIBLE) - sizeof(WAVEFORMATEX);
    wave.Samples.wValidBitsPerSample = bits;
    wave.dwChannelMask = 5;
    wave.SubFormat = {tag, 0, 0x10, {0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71}};
    return wave;
}

class AudioInitialize : public testing::Test {
  protected:
    AudioInitialize() {
        *m_microphone.client.out() = &m_system;
        *m_speaker.client.out() = &m_system;
    }

    /// The system was asked for one stream: shared, polled, of 20 ms, in the common session.
    void expect_one_shared_polled_stream() const {
        ASSERT_EQ(m_system.initialisations.size(), 1U);
        const Initialisation& asked = m_system.initialisations.front();
        EXPECT_EQ(asked.mode, AUDCLNT_SHAREMODE_SHARED);
        EXPECT_EQ(asked.flags, 0U);
        EXPECT_EQ(asked.duration, 200'000);
        EXPECT_EQ(asked.periodicity, 0);
        EXPECT_FALSE(asked.session);
    }

    RecordingClient m_system;
    AudioClient m_microphone{{}, AudioFlow::capture};
    AudioClient m_speaker{{}, AudioFlow::render};
};

} // namespace

TEST_F(AudioInitialize, FixedFormatIsAskedForInBothDirections) {
    for (AudioClient* client : {&m_microphone, &m_speaker}) {
        m_system.initialisations.clear();
        ASSERT_EQ(audio_client_initialize(*client, k_stereo_48k, k_buffer_ms), k_audio_ok);
        ASSERT_NO_FATAL_FAILURE(expect_one_shared_polled_stream());
        const WAVEFORMATEX& wave = m_system.initialisations.front().wave;
        EXPECT_EQ(wave.wFormatTag, 3);
        EXPECT_EQ(wave.nChannels, 2);
        EXPECT_EQ(wave.nSamplesPerSec, 48'000U);
        EXPECT_EQ(wave.nAvgBytesPerSec, 384'000U);
        EXPECT_EQ(wave.nBlockAlign, 8);
        EXPECT_EQ(wave.wBitsPerSample, 32);
        EXPECT_EQ(wave.cbSize, 0);
        ASSERT_TRUE(client->format);
        EXPECT_EQ(client->format->kind, SampleKind::float32);
        EXPECT_EQ(client->format->channels, 2U);
    }
    EXPECT_EQ(m_system.mix_format_questions, 0);
}

TEST_F(AudioInitialize, BufferIsAsLongAsTheCallerWants) {
    ASSERT_EQ(audio_client_initialize(m_microphone, k_stereo_48k, 100), k_audio_ok);
    ASSERT_EQ(m_system.initialisations.size(), 1U);
    EXPECT_EQ(m_system.initialisations.front().duration, 1'000'000);
}

TEST_F(AudioInitialize, MixFormatIsAskedForAsTheEndpointToldIt) {
    struct Case {
        Bytes told;
        SampleKind kind;
        std::uint32_t channels;
    };
    const Case cases[] = {
        {bytes_of(extensible(WAVE_FORMAT_IEEE_FLOAT, 32, 6, 44'100).Format), SampleKind::float32,
         6},
        {bytes_of(extensible(WAVE_FORMAT_PCM, 24, 2, 96'000).Format), SampleKind::int24, 2},
        {bytes_of(plain(WAVE_FORMAT_PCM, 16, 1, 16'000)), SampleKind::int16, 1}};
    for (const Case& each : cases) {
        m_system.initialisations.clear();
        m_system.mix_format = each.told;
        ASSERT_EQ(audio_client_initialize_mix_format(m_microphone, k_buffer_ms), k_audio_ok);
        ASSERT_NO_FATAL_FAILURE(expect_one_shared_polled_stream());
        EXPECT_EQ(m_system.initialisations.front().format, each.told);
        ASSERT_TRUE(m_microphone.format);
        EXPECT_EQ(m_microphone.format->kind, each.kind);
        EXPECT_EQ(m_microphone.format->channels, each.channels);
    }
}

TEST_F(AudioInitialize, MixFormatThatCannotBeConvertedIsRefusedBeforeTheSystemIsAsked) {
    WAVEFORMATEX unpacked = plain(WAVE_FORMAT_PCM, 24, 2, 48'000);
    unpacked.nBlockAlign = 8;
    unpacked.nAvgBytesPerSec = 384'000;
    const Bytes unknown[] = {
        bytes_of(plain(WAVE_FORMAT_PCM, 8, 2, 48'000)),
        bytes_of(plain(WAVE_FORMAT_IEEE_FLOAT, 64, 2, 48'000)),
        bytes_of(extensible(WAVE_FORMAT_PCM, 8, 2, 48'000).Format),
        bytes_of(extensible(WAVE_FORMAT_IEEE_FLOAT, 64, 2, 48'000).Format),
        bytes_of(unpacked),
    };
    for (const Bytes& told : unknown) {
        m_system.mix_format = told;
        EXPECT_EQ(audio_client_initialize_mix_format(m_microphone, k_buffer_ms),
                  k_audio_unsupported_format);
    }
    EXPECT_EQ(m_system.mix_format_questions, static_cast<int>(std::size(unknown)));
    EXPECT_TRUE(m_system.initialisations.empty());
    EXPECT_FALSE(m_microphone.format);
}

TEST_F(AudioInitialize, SpeakerHasNoMixFormat) {
    m_system.mix_format = bytes_of(extensible(WAVE_FORMAT_IEEE_FLOAT, 32, 2, 48'000).Format);
    EXPECT_EQ(audio_client_initialize_mix_format(m_speaker, k_buffer_ms),
              k_audio_unsupported_format);
    EXPECT_EQ(m_system.mix_format_questions, 0);
    EXPECT_TRUE(m_system.initialisations.empty());
}

TEST_F(AudioInitialize, SystemIsNotAskedForWhatTheProgramDoesNotTake) {
    for (const AudioFormat format : {AudioFormat{1, 48'000}, AudioFormat{2, 7'999}}) {
        EXPECT_EQ(audio_client_initialize(m_microphone, format, k_buffer_ms),
                  k_audio_unsupported_format);
    }
    EXPECT_TRUE(m_system.initialisations.empty());
}

TEST_F(AudioInitialize, FailuresOfTheSystemAreToldAndLeaveNoStream) {
    m_system.mix_format = bytes_of(plain(WAVE_FORMAT_PCM, 16, 2, 48'000));
    m_system.initialize_answer = AUDCLNT_E_DEVICE_IN_USE;
    EXPECT_EQ(audio_client_initialize(m_microphone, k_stereo_48k, k_buffer_ms),
              AUDCLNT_E_DEVICE_IN_USE);
    EXPECT_EQ(audio_client_initialize_mix_format(m_microphone, k_buffer_ms),
              AUDCLNT_E_DEVICE_IN_USE);
    EXPECT_EQ(m_system.initialisations.size(), 2U);

    m_system.mix_format_answer = AUDCLNT_E_DEVICE_INVALIDATED;
    EXPECT_EQ(audio_client_initialize_mix_format(m_microphone, k_buffer_ms), k_audio_device_gone);
    EXPECT_EQ(m_system.initialisations.size(), 2U);
    EXPECT_FALSE(m_microphone.format);
}
