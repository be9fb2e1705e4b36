// The device lists and the choice of a device, idle and running.
#include "unit/audio/audio_engine_fixture.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

using namespace engine_test;
using fake_audio::Call;

namespace {

/// The operations of one direction, and its two endpoints.
struct Direction {
    AudioFlow flow;
    const char* word;
    std::int32_t (*count)();
    std::int32_t (*info)(std::int32_t, AudioDeviceInfo*);
    std::int32_t (*default_index)();
    void (*set)(std::int32_t);
    const char* first;
    const char* second;
};

constexpr Direction k_input{AudioFlow::capture,
                            "input",
                            Audio_GetInputDeviceCount,
                            Audio_GetInputDeviceInfo,
                            Audio_GetDefaultInputDevice,
                            Audio_SetInputDevice,
                            "mic",
                            "mic2"};
constexpr Direction k_output{AudioFlow::render,
                             "output",
                             Audio_GetOutputDeviceCount,
                             Audio_GetOutputDeviceInfo,
                             Audio_GetDefaultOutputDevice,
                             Audio_SetOutputDevice,
                             "speaker",
                             "speaker2"};

class AudioDevices : public AudioEngine, public ::testing::WithParamInterface<Direction> {
  protected:
    void SetUp() override {
        AudioEngine::SetUp();
        ASSERT_EQ(Audio_Init(), 1);
        clear_log();
    }

    std::string set_line(std::int32_t index, const char* changed) const {
        return std::string("Set ") + GetParam().word + " device index: " + std::to_string(index) +
               " (changed=" + changed + ")";
    }
};

/// The control calls made by `action`.
template <typename Action>
Lines calls_of(Action action) {
    const std::size_t before = fake_audio::calls().size();
    action();
    const Lines all = fake_audio::calls();
    return {all.begin() + static_cast<std::ptrdiff_t>(before), all.end()};
}

bool made(const Lines& calls, const std::string& call) {
    return std::find(calls.begin(), calls.end(), call) != calls.end();
}

} // namespace

TEST_P(AudioDevices, AreListedInTheSystemsOrder) {
    const Direction& direction = GetParam();
    EXPECT_EQ(direction.count(), 2);
    AudioDeviceInfo info;
    std::memset(&info, 0x55, sizeof info);
    EXPECT_EQ(direction.info(1, &info), 1);
    EXPECT_EQ(info.index, 1);
    EXPECT_STREQ(info.name,
                 direction.flow == AudioFlow::capture ? "Second microphone" : "Second loudspeaker");
    EXPECT_EQ(info.reserved1, 0);
    EXPECT_EQ(info.reserved2, 0);
    EXPECT_EQ(info.sampleRate, 48000.0);
    EXPECT_EQ(direction.info(0, &info), 1);
    EXPECT_STREQ(info.name, direction.flow == AudioFlow::capture ? "Microphone" : "Loudspeaker");
}

TEST_P(AudioDevices, ListIsReadAnewWithEveryCall) {
    const Direction& direction = GetParam();
    fake_audio::remove_endpoint(direction.first);
    EXPECT_EQ(direction.count(), 1);
    AudioDeviceInfo info{};
    EXPECT_EQ(direction.info(0, &info), 1);
    EXPECT_EQ(std::string(info.name).substr(0, 6), "Second");
    EXPECT_EQ(direction.info(1, &info), 0);
}

TEST_P(AudioDevices, InfoFailsOutsideTheListAndForNoRecord) {
    AudioDeviceInfo info;
    std::memset(&info, 0x55, sizeof info);
    const AudioDeviceInfo untouched = info;
    EXPECT_EQ(GetParam().info(2, &info), 0);
    EXPECT_EQ(GetParam().info(-1, &info), 0);
    EXPECT_EQ(GetParam().info(0, nullptr), 0);
    EXPECT_EQ(std::memcmp(&info, &untouched, sizeof info), 0);
}

TEST_P(AudioDevices, InfoFailsWithTheSystemAndLeavesTheRecordAlone) {
    for (const Call call : {Call::active_device, Call::friendly_name}) {
        AudioDeviceInfo info;
        std::memset(&info, 0x55, sizeof info);
        const AudioDeviceInfo untouched = info;
        const int live = fake_audio::live_handles();
        fake_audio::answer(call, k_audio_fail);
        EXPECT_EQ(GetParam().info(0, &info), 0);
        EXPECT_EQ(std::memcmp(&info, &untouched, sizeof info), 0);
        EXPECT_EQ(fake_audio::live_handles(), live);
        fake_audio::heal(call);
    }
}

TEST_P(AudioDevices, LongNameIsCutAt255Bytes) {
    // 127 two-byte letters and one of three: the cut falls into the last.
    std::string name;
    for (int letter = 0; letter < 127; ++letter) {
        name += "ñ";
    }
    name += "€ and more";
    fake_audio::add_endpoint(GetParam().flow, "long", name);
    AudioDeviceInfo info{};
    EXPECT_EQ(GetParam().info(2, &info), 1);
    EXPECT_EQ(std::strlen(info.name), 255U);
    EXPECT_EQ(std::string(info.name), name.substr(0, 255));
}

TEST_P(AudioDevices, NameOf255BytesIsWhole) {
    const std::string name(255, 'x');
    fake_audio::add_endpoint(GetParam().flow, "long", name);
    AudioDeviceInfo info{};
    EXPECT_EQ(GetParam().info(2, &info), 1);
    EXPECT_EQ(std::string(info.name), name);
}

TEST_P(AudioDevices, NameOf256BytesLosesItsLast) {
    const std::string name = std::string(255, 'x') + "y";
    fake_audio::add_endpoint(GetParam().flow, "long", name);
    AudioDeviceInfo info{};
    EXPECT_EQ(GetParam().info(2, &info), 1);
    EXPECT_EQ(std::string(info.name), std::string(255, 'x'));
}

TEST_P(AudioDevices, DefaultIsFoundByItsIdentifier) {
    EXPECT_EQ(GetParam().default_index(), 0);
    fake_audio::set_default(GetParam().flow, GetParam().second);
    EXPECT_EQ(GetParam().default_index(), 1);
}

TEST_P(AudioDevices, DefaultIsTheFirstWhenNotInTheList) {
    fake_audio::set_default(GetParam().flow, "elsewhere");
    EXPECT_EQ(GetParam().default_index(), 0);
    fake_audio::set_default(GetParam().flow, "");
    EXPECT_EQ(GetParam().default_index(), 0);
}

TEST_P(AudioDevices, DefaultIsTheFirstWhenAStepFails) {
    fake_audio::set_default(GetParam().flow, GetParam().second);
    const int live = fake_audio::live_handles();
    for (const Call call : {Call::default_device, Call::device_id}) {
        fake_audio::answer(call, k_audio_fail);
        EXPECT_EQ(GetParam().default_index(), 0);
        fake_audio::heal(call);
    }
    EXPECT_EQ(GetParam().default_index(), 1);
    EXPECT_EQ(fake_audio::live_handles(), live);
}

TEST_P(AudioDevices, DefaultIsLookedUpInOneReadingOfTheList) {
    for (int more = 0; more < 5; ++more) {
        fake_audio::add_endpoint(GetParam().flow, "more" + std::to_string(more), "More");
    }
    fake_audio::set_default(GetParam().flow, "more4");
    EXPECT_EQ(GetParam().default_index(), 6);
    EXPECT_EQ(fake_audio::count(Call::active_ids), 1);
    EXPECT_EQ(fake_audio::count(Call::active_count), 0);
    EXPECT_EQ(fake_audio::count(Call::active_device), 0);
}

TEST_P(AudioDevices, WithoutEndpointsThereIsNoDefaultAndNothingToChoose) {
    const Direction& direction = GetParam();
    fake_audio::remove_endpoint(direction.first);
    fake_audio::remove_endpoint(direction.second);
    EXPECT_EQ(direction.count(), 0);
    EXPECT_EQ(direction.default_index(), -1);
    direction.set(0);
    EXPECT_EQ(log_lines(), Lines{set_line(0, "NO")});
    const auto& device = direction.flow == AudioFlow::capture ? audio_engine::g_pInputDevice
                                                              : audio_engine::g_pOutputDevice;
    EXPECT_EQ(device, nullptr);
}

TEST_P(AudioDevices, ListThatCannotBeHadIsEmpty) {
    fake_audio::answer(Call::active_count, k_audio_fail);
    fake_audio::answer(Call::active_ids, k_audio_fail);
    EXPECT_EQ(GetParam().count(), 0);
    EXPECT_EQ(GetParam().default_index(), -1);
}

TEST_P(AudioDevices, WithoutEnumeratorEverythingIsAbsent) {
    const Direction& direction = GetParam();
    Audio_Cleanup();
    clear_log();
    EXPECT_EQ(direction.count(), 0);
    EXPECT_EQ(direction.default_index(), -1);
    AudioDeviceInfo info{};
    EXPECT_EQ(direction.info(0, &info), 0);
    direction.set(0);
    EXPECT_EQ(log_lines(), Lines{});
}

TEST_P(AudioDevices, ChoosingWhileIdleOnlyChangesTheDevice) {
    const Direction& direction = GetParam();
    direction.set(1);
    EXPECT_EQ(log_lines(), Lines{set_line(1, "YES")});
    EXPECT_EQ(Audio_IsRunning(), 0);
    EXPECT_EQ(fake_audio::count(Call::activate), 0);
    EXPECT_EQ(fake_audio::live_handles(), 3);

    ASSERT_EQ(Audio_Start(), 1);
    EXPECT_TRUE(made(fake_audio::calls(), std::string("start ") + direction.second));
    EXPECT_FALSE(made(fake_audio::calls(), std::string("start ") + direction.first));
}

TEST_P(AudioDevices, ChoosingWhileRunningRestartsOnTheNewDevice) {
    const Direction& direction = GetParam();
    ASSERT_EQ(Audio_Start(), 1);
    clear_log();
    const Lines calls = calls_of([&direction] { direction.set(1); });
    EXPECT_EQ(log_lines(),
              (Lines{"Audio capture stopped", set_line(1, "YES"), "Audio capture started"}));
    EXPECT_EQ(Audio_IsRunning(), 1);
    EXPECT_TRUE(made(calls, std::string("start ") + direction.second));
    const std::string service = direction.flow == AudioFlow::capture ? "capture" : "render";
    const Lines first_five(calls.begin(), calls.begin() + 5);
    EXPECT_EQ(first_five, (Lines{"stop mic", "stop speaker",
                                 "release " + service + " service " + direction.first,
                                 std::string("release client ") + direction.first,
                                 std::string("release device ") + direction.first}));
    EXPECT_EQ(fake_audio::live_handles(), 7);
}

TEST_P(AudioDevices, IndexOutsideTheListTakesTheDeviceAway) {
    for (const std::int32_t index : {-1, 2, 2147483647}) {
        clear_log();
        GetParam().set(0);
        GetParam().set(index);
        EXPECT_EQ(log_lines(), (Lines{set_line(0, "YES"), set_line(index, "NO")}));
        EXPECT_EQ(fake_audio::live_handles(), 2);
    }
}

TEST_P(AudioDevices, ListThatCannotBeHadTakesTheDeviceAway) {
    fake_audio::answer(Call::active_device, k_audio_fail);
    GetParam().set(1);
    EXPECT_EQ(log_lines(), Lines{set_line(1, "NO")});
    EXPECT_EQ(fake_audio::live_handles(), 2);
    EXPECT_EQ(Audio_IsRunning(), 0);
    EXPECT_EQ(fake_audio::count(Call::activate), 0);
}

INSTANTIATE_TEST_SUITE_P(BothDirections, AudioDevices, ::testing::Values(k_input, k_output),
                         [](const auto& each) { return std::string(each.param.word); });

namespace {

class AudioDeviceChoice : public AudioEngine {};

} // namespace

TEST(AudioDeviceInfo, FieldsStandWhereTheyAlwaysDid) {
    EXPECT_EQ(offsetof(AudioDeviceInfo, index), 0U);
    EXPECT_EQ(offsetof(AudioDeviceInfo, name), 4U);
    EXPECT_EQ(offsetof(AudioDeviceInfo, reserved1), 260U);
    EXPECT_EQ(offsetof(AudioDeviceInfo, reserved2), 264U);
    EXPECT_EQ(offsetof(AudioDeviceInfo, sampleRate), 272U);
    EXPECT_EQ(sizeof(AudioDeviceInfo), 280U);
}

TEST_F(AudioDeviceChoice, RunningEngineStaysStoppedWhenTheMicrophonesCannotBeListed) {
    start();
    fake_audio::answer(Call::active_device, k_audio_fail);
    const Lines calls = calls_of([] { Audio_SetInputDevice(1); });
    EXPECT_EQ(log_lines(),
              (Lines{"Audio capture stopped", "Set input device index: 1 (changed=NO)"}));
    EXPECT_EQ(audio_engine::g_pInputDevice, nullptr);
    EXPECT_EQ(Audio_IsRunning(), 0);
    EXPECT_EQ(calls, (Lines{"stop mic", "stop speaker", "release capture service mic",
                            "release client mic", "release device mic"}));
}

TEST_F(AudioDeviceChoice, RunningEngineGoesOnCapturingWhenTheLoudspeakersCannotBeListed) {
    start();
    fake_audio::answer(Call::active_device, k_audio_fail);
    Audio_SetOutputDevice(1);
    EXPECT_EQ(log_lines(),
              (Lines{"Audio capture stopped", "Set output device index: 1 (changed=NO)",
                     "Audio capture started"}));
    EXPECT_EQ(audio_engine::g_pOutputDevice, nullptr);
    EXPECT_EQ(audio_engine::g_pOutputClient, nullptr);
    EXPECT_EQ(Audio_IsRunning(), 1);
}

TEST_F(AudioDeviceChoice, RunningEngineStaysStoppedWithoutInput) {
    start();
    Audio_SetInputDevice(7);
    EXPECT_EQ(log_lines(),
              (Lines{"Audio capture stopped", "Set input device index: 7 (changed=NO)"}));
    EXPECT_EQ(Audio_IsRunning(), 0);

    // Not running any more: choosing a device again does not start it.
    Audio_SetInputDevice(0);
    EXPECT_EQ(Audio_IsRunning(), 0);
    EXPECT_EQ(Audio_Start(), 1);
}

TEST_F(AudioDeviceChoice, RunningEngineGoesOnCapturingWithoutOutput) {
    start();
    Audio_SetOutputDevice(7);
    EXPECT_EQ(log_lines(),
              (Lines{"Audio capture stopped", "Set output device index: 7 (changed=NO)",
                     "Audio capture started"}));
    EXPECT_EQ(Audio_IsRunning(), 1);
    const float half[] = {0.5F, 0.5F};
    audio_engine::g_loopbackWritePos = 0;
    Audio_PlaySamples(half, 1);
    EXPECT_EQ(audio_engine::g_loopbackWritePos, 0);

    Audio_SetOutputDevice(1);
    EXPECT_EQ(Audio_IsRunning(), 1);
    EXPECT_TRUE(fake_audio::wait_for_count(Call::render_release_buffer, 1));
}

TEST_F(AudioDeviceChoice, OutputAloneNeverStartsTheEngine) {
    start();
    // The input went missing behind a running engine, as only a change of device can bring about.
    {
        const std::lock_guard control(audio_engine::g_control);
        audio_engine::g_pInputDevice.reset();
    }
    Audio_SetOutputDevice(1);
    EXPECT_EQ(log_lines(),
              (Lines{"Audio capture stopped", "Set output device index: 1 (changed=YES)"}));
    EXPECT_EQ(Audio_IsRunning(), 0);
}

TEST_F(AudioDeviceChoice, NeitherDeviceLeftMeansNoStartIsTried) {
    start();
    {
        const std::lock_guard control(audio_engine::g_control);
        audio_engine::g_pInputDevice.reset();
    }
    const Lines calls = calls_of([] { Audio_SetOutputDevice(7); });
    EXPECT_EQ(log_lines(),
              (Lines{"Audio capture stopped", "Set output device index: 7 (changed=NO)"}));
    EXPECT_EQ(audio_engine::g_pOutputDevice, nullptr);
    EXPECT_EQ(Audio_IsRunning(), 0);
    EXPECT_EQ(calls, (Lines{"stop mic", "stop speaker", "release render service speaker",
                            "release client speaker", "release device speaker"}));
}

TEST_F(AudioDeviceChoice, NewDeviceThatFailsToStartIsLoggedAndLeavesTheEngineIdle) {
    start();
    fake_audio::answer(Call::start, k_audio_device_gone, AudioFlow::capture);
    Audio_SetInputDevice(1);
    EXPECT_EQ(log_lines(),
              (Lines{"Audio capture stopped", "Set input device index: 1 (changed=YES)",
                     "Error: Could not start capture: 0x88890004"}));
    EXPECT_EQ(Audio_IsRunning(), 0);
    fake_audio::heal(Call::start);
    EXPECT_EQ(Audio_Start(), 1);
}
