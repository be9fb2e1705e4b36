// What the Linux half of the audio seam promises beyond the other: a bounded wait for a hanging
// server, endpoints named by the environment, no monitors among the microphones, and streams that
// the server moves or suspends. A Windows program has the system's own driver in between there.
#include "contract/audio_support.h"

#include <cstdlib>

namespace {

using Clock = std::chrono::steady_clock;

double seconds_since(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

class AudioOnPulse : public AudioContract {
  protected:
    void SetUp() override {
        ASSERT_TRUE(control_sound_server("--stop"));
        ASSERT_TRUE(control_sound_server("--start"));
        unsetenv("PULSE_SINK");
        unsetenv("PULSE_SOURCE");
        AudioContract::SetUp();
    }

    void TearDown() override {
        unsetenv("PULSE_SINK");
        unsetenv("PULSE_SOURCE");
        AudioContract::TearDown();
    }

    std::string default_id(AudioFlow flow) {
        AudioPtr<AudioDevice> device;
        const AudioResult result = audio_default_device(*m_enumerator, flow, device);
        if (!audio_ok(result)) {
            EXPECT_EQ(result, k_audio_not_found);
            return "none";
        }
        return id_of(*device);
    }

    std::vector<std::string> ids(AudioFlow flow) {
        std::vector<std::string> all;
        for (std::int32_t i = 0; i < count_endpoints(*m_enumerator, flow); ++i) {
            AudioPtr<AudioDevice> device;
            EXPECT_EQ(audio_active_device(*m_enumerator, flow, i, device), k_audio_ok);
            all.push_back(device ? id_of(*device) : "");
        }
        return all;
    }

    /// A running microphone that hears the tone of `player`.
    void start_streams() {
        m_microphone = open_microphone(*m_enumerator, "Virtual microphone 1");
        m_voice = open_speaker(*m_enumerator, "Virtual voice 1");
        ASSERT_TRUE(m_microphone.service && m_voice.service);
        ASSERT_EQ(audio_client_start(*m_microphone.client), k_audio_ok);
        ASSERT_EQ(audio_client_start(*m_voice.client), k_audio_ok);
        const TonePlayer player(m_voice, 440.0, 1000.0, 0.5F);
        ASSERT_TRUE(hears_tone(m_microphone, 440.0, 1000.0, 0.5));
    }

    AudioResult drained_result() {
        std::vector<float> samples;
        return drain_microphone(m_microphone, samples);
    }

    Microphone m_microphone;
    Speaker m_voice;
};

using Ids = std::vector<std::string>;

} // namespace

TEST_F(AudioOnPulse, IdsAreTheServersNames) {
    EXPECT_EQ(ids(AudioFlow::render), (Ids{"voice_1", "speaker_1"}));
    EXPECT_EQ(ids(AudioFlow::capture), (Ids{"microphone_1"}));
    EXPECT_EQ(default_id(AudioFlow::render), "speaker_1");
    EXPECT_EQ(default_id(AudioFlow::capture), "microphone_1");
}

TEST_F(AudioOnPulse, EnvironmentNamesTheDefaults) {
    setenv("PULSE_SINK", "voice_1", 1);
    setenv("PULSE_SOURCE", "microphone_1", 1);
    EXPECT_EQ(default_id(AudioFlow::render), "voice_1");
    EXPECT_EQ(default_id(AudioFlow::capture), "microphone_1");
    setenv("PULSE_SINK", "no such sink", 1);
    setenv("PULSE_SOURCE", "no such source", 1);
    EXPECT_EQ(default_id(AudioFlow::render), "speaker_1");
    EXPECT_EQ(default_id(AudioFlow::capture), "microphone_1");
    setenv("PULSE_SINK", "", 1);
    EXPECT_EQ(default_id(AudioFlow::render), "speaker_1");
}

TEST_F(AudioOnPulse, MonitorNamedByTheEnvironmentIsAMicrophone) {
    setenv("PULSE_SOURCE", "speaker_1.monitor", 1);
    EXPECT_EQ(default_id(AudioFlow::capture), "speaker_1.monitor");
    EXPECT_EQ(ids(AudioFlow::capture), (Ids{"microphone_1", "speaker_1.monitor"}));

    AudioPtr<AudioDevice> device;
    ASSERT_EQ(audio_default_device(*m_enumerator, AudioFlow::capture, device), k_audio_ok);
    EXPECT_EQ(name_of(*device), "Monitor of Virtual speaker 1");
    ASSERT_EQ(audio_device_activate(*device, m_microphone.client), k_audio_ok);
    ASSERT_EQ(audio_client_initialize(*m_microphone.client, k_stereo_48k, 20), k_audio_ok);
    take_capture_service(m_microphone);
    Speaker speaker = open_speaker(*m_enumerator, "Virtual speaker 1");
    ASSERT_TRUE(speaker.service);
    ASSERT_EQ(audio_client_start(*m_microphone.client), k_audio_ok);
    ASSERT_EQ(audio_client_start(*speaker.client), k_audio_ok);
    const TonePlayer player(speaker, 440.0, 1000.0, 0.5F);
    EXPECT_TRUE(hears_tone(m_microphone, 440.0, 1000.0, 0.5));
}

TEST_F(AudioOnPulse, MonitorAsTheServersDefaultCountsAsNoMicrophone) {
    ASSERT_TRUE(run_on_host("pactl set-default-source speaker_1.monitor"));
    EXPECT_EQ(default_id(AudioFlow::capture), "none");
    EXPECT_EQ(ids(AudioFlow::capture), (Ids{"microphone_1"}));
    ASSERT_TRUE(run_on_host("pactl unload-module module-remap-source"));
    EXPECT_EQ(default_id(AudioFlow::capture), "none");
    EXPECT_TRUE(ids(AudioFlow::capture).empty());
}

TEST_F(AudioOnPulse, EndpointThatIsGoneCannotBeActivated) {
    const AudioPtr<AudioDevice> device =
        find_endpoint(*m_enumerator, AudioFlow::capture, "Virtual microphone 1");
    ASSERT_TRUE(device);
    AudioPtr<AudioClient> before;
    ASSERT_EQ(audio_device_activate(*device, before), k_audio_ok);
    ASSERT_TRUE(run_on_host("pactl unload-module module-remap-source"));
    AudioPtr<AudioClient> client;
    EXPECT_EQ(audio_device_activate(*device, client), k_audio_device_gone);
    EXPECT_FALSE(client);
    EXPECT_EQ(audio_client_initialize(*before, k_stereo_48k, 20), k_audio_device_gone);
    EXPECT_EQ(audio_client_initialize_mix_format(*before, 20), k_audio_device_gone);
}

TEST_F(AudioOnPulse, WithoutAServerEveryQuestionFailsAtOnce) {
    ASSERT_TRUE(control_sound_server("--stop"));
    const auto start = Clock::now();
    AudioPtr<AudioEnumerator> enumerator;
    ASSERT_EQ(audio_enumerator_create(enumerator), k_audio_ok);
    std::int32_t count = 12345;
    AudioPtr<AudioDevice> device;
    EXPECT_EQ(audio_active_count(*enumerator, AudioFlow::capture, count), k_audio_server_gone);
    EXPECT_EQ(count, 12345);
    std::vector<std::string> ids{"untouched"};
    EXPECT_EQ(audio_active_ids(*enumerator, AudioFlow::capture, ids), k_audio_server_gone);
    EXPECT_EQ(ids, std::vector<std::string>{"untouched"});
    EXPECT_EQ(audio_default_device(*enumerator, AudioFlow::render, device), k_audio_server_gone);
    EXPECT_EQ(audio_active_device(*enumerator, AudioFlow::render, 0, device), k_audio_server_gone);
    EXPECT_LT(seconds_since(start), 1.0);

    ASSERT_TRUE(control_sound_server("--start"));
    EXPECT_EQ(audio_active_count(*enumerator, AudioFlow::capture, count), k_audio_ok);
    EXPECT_EQ(count, 1);
}

TEST_F(AudioOnPulse, StreamsOfADeadServerSaySo) {
    start_streams();
    ASSERT_TRUE(control_sound_server("--stop"));
    EXPECT_TRUE(eventually([&] { return drained_result() == k_audio_server_gone; }));
    std::uint32_t number = 0;
    EXPECT_EQ(audio_client_padding(*m_voice.client, number), k_audio_server_gone);
    EXPECT_EQ(audio_client_latency_us(*m_voice.client, number), k_audio_server_gone);
    EXPECT_EQ(audio_client_stop(*m_voice.client), k_audio_server_gone);
    EXPECT_EQ(audio_client_start(*m_voice.client), k_audio_server_gone);
}

TEST_F(AudioOnPulse, HangingServerIsGivenUpInThreeSecondsAndFoundAgain) {
    ASSERT_EQ(count_endpoints(*m_enumerator, AudioFlow::capture), 1);
    start_streams();
    ASSERT_TRUE(control_sound_server("--pause"));
    auto start = Clock::now();
    std::int32_t count = 0;
    EXPECT_EQ(audio_active_count(*m_enumerator, AudioFlow::capture, count), k_audio_server_gone);
    EXPECT_GT(seconds_since(start), 2.5); // it was given its chance
    EXPECT_LT(seconds_since(start), 3.5);

    // Whoever asks on, as a list of devices does, does not wait each time.
    start = Clock::now();
    AudioPtr<AudioDevice> device;
    EXPECT_EQ(audio_default_device(*m_enumerator, AudioFlow::capture, device), k_audio_server_gone);
    EXPECT_EQ(audio_active_count(*m_enumerator, AudioFlow::render, count), k_audio_server_gone);
    EXPECT_EQ(audio_client_stop(*m_microphone.client), k_audio_server_gone);
    EXPECT_LT(seconds_since(start), 0.5);

    ASSERT_TRUE(control_sound_server("--resume"));
    EXPECT_TRUE(eventually(
        [&] { return audio_ok(audio_active_count(*m_enumerator, AudioFlow::capture, count)); }));
    EXPECT_EQ(count, 1);
}

TEST_F(AudioOnPulse, NewConnectionToAHangingServerIsGivenUp) {
    ASSERT_TRUE(control_sound_server("--pause"));
    const auto start = Clock::now();
    std::int32_t count = 0;
    EXPECT_EQ(audio_active_count(*m_enumerator, AudioFlow::capture, count), k_audio_server_gone);
    EXPECT_LT(seconds_since(start), 3.5);
    ASSERT_TRUE(control_sound_server("--resume"));
}

TEST_F(AudioOnPulse, StopOfAStreamOnAHangingServerReturns) {
    start_streams();
    ASSERT_TRUE(control_sound_server("--pause"));
    const auto start = Clock::now();
    EXPECT_FALSE(audio_ok(audio_client_stop(*m_microphone.client)));
    EXPECT_FALSE(audio_ok(audio_client_stop(*m_voice.client)));
    m_microphone = {};
    m_voice = {};
    EXPECT_LT(seconds_since(start), 3.5);
    ASSERT_TRUE(control_sound_server("--resume"));
}

TEST_F(AudioOnPulse, MicrophoneMovedToAnotherGoesOn) {
    ASSERT_TRUE(run_on_host("pactl load-module module-null-sink sink_name=other &&"
                            " pactl load-module module-remap-source source_name=other_microphone"
                            " master=other.monitor"));
    start_streams();
    ASSERT_TRUE(run_on_host(
        "pactl move-source-output $(pactl list short source-outputs | grep float32le.*48000Hz |"
        " tail -1 | cut -f1) other_microphone"));
    std::vector<float> samples;
    EXPECT_TRUE(eventually([&] {
        return !audio_ok(drain_microphone(m_microphone, samples)) || samples.size() > 48000;
    }));
    EXPECT_EQ(drained_result(), k_audio_ok);
}

TEST_F(AudioOnPulse, MicrophoneMovedToAMonitorIsGone) {
    start_streams();
    ASSERT_TRUE(run_on_host(
        "pactl move-source-output $(pactl list short source-outputs | grep float32le.*48000Hz |"
        " tail -1 | cut -f1) speaker_1.monitor"));
    EXPECT_TRUE(eventually([&] { return drained_result() == k_audio_device_gone; }));
}

TEST_F(AudioOnPulse, SpeakerMovedToAnotherPlaysOn) {
    setenv("PULSE_SOURCE", "speaker_1.monitor", 1);
    start_streams();
    ASSERT_TRUE(run_on_host("pactl move-sink-input $(pactl list short sink-inputs | cut -f1)"
                            " speaker_1"));
    AudioPtr<AudioDevice> device;
    ASSERT_EQ(audio_default_device(*m_enumerator, AudioFlow::capture, device), k_audio_ok);
    ASSERT_EQ(audio_device_activate(*device, m_microphone.client), k_audio_ok);
    ASSERT_EQ(audio_client_initialize(*m_microphone.client, k_stereo_48k, 20), k_audio_ok);
    take_capture_service(m_microphone);
    ASSERT_EQ(audio_client_start(*m_microphone.client), k_audio_ok);
    const TonePlayer player(m_voice, 300.0, 700.0, 0.25F);
    EXPECT_TRUE(hears_tone(m_microphone, 300.0, 700.0, 0.25));
}

TEST_F(AudioOnPulse, SuspendedEndpointsPauseTheStreamsAndDoNotEndThem) {
    start_streams();
    ASSERT_TRUE(run_on_host("pactl suspend-sink voice_1 1 && pactl suspend-source microphone_1 1"));
    for (int pass = 0; pass < 20; ++pass) {
        std::uint32_t padding = 0;
        ASSERT_EQ(drained_result(), k_audio_ok);
        ASSERT_EQ(audio_client_padding(*m_voice.client, padding), k_audio_ok);
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    ASSERT_TRUE(run_on_host("pactl suspend-sink voice_1 0 && pactl suspend-source microphone_1 0"));
    const TonePlayer player(m_voice, 300.0, 700.0, 0.25F);
    EXPECT_TRUE(hears_tone(m_microphone, 300.0, 700.0, 0.25));
}
