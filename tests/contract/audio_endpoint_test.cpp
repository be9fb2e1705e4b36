// The audio seam's endpoints and the order of its calls, against one virtual card.
#include "contract/audio_support.h"

#include <algorithm>
#include <limits>
#include <set>

namespace {

using AudioEndpoints = AudioContract;
using AudioClients = AudioContract;

constexpr AudioFlow k_flows[] = {AudioFlow::render, AudioFlow::capture};

AudioPtr<AudioClient> activate_default(AudioEnumerator& enumerator, AudioFlow flow) {
    AudioPtr<AudioDevice> device;
    AudioPtr<AudioClient> client;
    EXPECT_EQ(audio_default_device(enumerator, flow, device), k_audio_ok);
    if (device) {
        EXPECT_EQ(audio_device_activate(*device, client), k_audio_ok);
    }
    return client;
}

AudioPtr<AudioClient> initialize_default(AudioEnumerator& enumerator, AudioFlow flow) {
    AudioPtr<AudioClient> client = activate_default(enumerator, flow);
    if (client) {
        EXPECT_EQ(audio_client_initialize(*client, k_stereo_48k, 20), k_audio_ok);
    }
    return client;
}

} // namespace

TEST_F(AudioEndpoints, OneCardIsAMicrophoneAndTwoPlacesToPlay) {
    ASSERT_EQ(sound_cards(), 1);
    EXPECT_TRUE(find_endpoint(*m_enumerator, AudioFlow::capture, "Virtual microphone 1"));
    EXPECT_TRUE(find_endpoint(*m_enumerator, AudioFlow::render, "Virtual voice 1"));
    EXPECT_TRUE(find_endpoint(*m_enumerator, AudioFlow::render, "Virtual speaker 1"));
    if (lists_hold_cards_only()) {
        EXPECT_EQ(count_endpoints(*m_enumerator, AudioFlow::capture), 1);
        EXPECT_EQ(count_endpoints(*m_enumerator, AudioFlow::render), 2);
    }
}

TEST_F(AudioEndpoints, DefaultIsInTheListWithTheSameIdAndName) {
    for (const AudioFlow flow : k_flows) {
        AudioPtr<AudioDevice> by_default;
        ASSERT_EQ(audio_default_device(*m_enumerator, flow, by_default), k_audio_ok);
        int matches = 0;
        for (std::int32_t i = 0; i < count_endpoints(*m_enumerator, flow); ++i) {
            AudioPtr<AudioDevice> device;
            ASSERT_EQ(audio_active_device(*m_enumerator, flow, i, device), k_audio_ok);
            if (id_of(*device) == id_of(*by_default)) {
                ++matches;
                EXPECT_EQ(name_of(*device), name_of(*by_default));
            }
        }
        EXPECT_EQ(matches, 1);
        if (lists_hold_cards_only()) {
            EXPECT_EQ(name_of(*by_default),
                      flow == AudioFlow::render ? "Virtual speaker 1" : "Virtual microphone 1");
        }
    }
}

TEST_F(AudioEndpoints, IdsAreDistinctAndTheSameEveryTime) {
    AudioPtr<AudioEnumerator> second;
    ASSERT_EQ(audio_enumerator_create(second), k_audio_ok);
    for (const AudioFlow flow : k_flows) {
        std::set<std::string> ids;
        const std::int32_t count = count_endpoints(*m_enumerator, flow);
        ASSERT_EQ(count_endpoints(*second, flow), count);
        for (std::int32_t i = 0; i < count; ++i) {
            AudioPtr<AudioDevice> once;
            AudioPtr<AudioDevice> again;
            ASSERT_EQ(audio_active_device(*m_enumerator, flow, i, once), k_audio_ok);
            ASSERT_EQ(audio_active_device(*second, flow, i, again), k_audio_ok);
            EXPECT_FALSE(id_of(*once).empty());
            EXPECT_EQ(id_of(*once), id_of(*again));
            EXPECT_EQ(name_of(*once), name_of(*again));
            ids.insert(id_of(*once));
        }
        EXPECT_EQ(ids.size(), static_cast<std::size_t>(count));
    }
}

TEST_F(AudioEndpoints, IdsAreListedInTheOrderOfTheDevices) {
    for (const AudioFlow flow : k_flows) {
        std::vector<std::string> one_by_one;
        for (std::int32_t i = 0; i < count_endpoints(*m_enumerator, flow); ++i) {
            AudioPtr<AudioDevice> device;
            ASSERT_EQ(audio_active_device(*m_enumerator, flow, i, device), k_audio_ok);
            one_by_one.push_back(id_of(*device));
        }
        std::vector<std::string> ids{"what was there before"};
        EXPECT_EQ(audio_active_ids(*m_enumerator, flow, ids), k_audio_ok);
        EXPECT_EQ(ids, one_by_one);
    }
}

TEST_F(AudioEndpoints, UnknownIndexIsNotFoundAndLeavesTheOutput) {
    for (const AudioFlow flow : k_flows) {
        AudioPtr<AudioDevice> device;
        ASSERT_EQ(audio_default_device(*m_enumerator, flow, device), k_audio_ok);
        const AudioDevice* before = device.get();
        for (const std::int32_t index :
             {-1, count_endpoints(*m_enumerator, flow), std::numeric_limits<std::int32_t>::max(),
              std::numeric_limits<std::int32_t>::min()}) {
            EXPECT_EQ(audio_active_device(*m_enumerator, flow, index, device), k_audio_not_found);
            EXPECT_EQ(device.get(), before);
        }
    }
}

TEST_F(AudioEndpoints, SystemMayBeInitialisedMoreThanOnce) {
    ASSERT_TRUE(audio_ok(audio_system_init()));
    audio_system_uninit();
    EXPECT_GE(count_endpoints(*m_enumerator, AudioFlow::render), 2);
}

TEST_F(AudioClients, NothingWorksBeforeInitialise) {
    for (const AudioFlow flow : k_flows) {
        const AudioPtr<AudioClient> client = activate_default(*m_enumerator, flow);
        ASSERT_TRUE(client);
        AudioPtr<AudioCaptureService> capture;
        AudioPtr<AudioRenderService> render;
        std::uint32_t number = 12345;
        EXPECT_EQ(audio_client_capture_service(*client, capture), k_audio_not_initialized);
        EXPECT_EQ(audio_client_render_service(*client, render), k_audio_not_initialized);
        EXPECT_EQ(audio_client_start(*client), k_audio_not_initialized);
        EXPECT_EQ(audio_client_stop(*client), k_audio_not_initialized);
        EXPECT_EQ(audio_client_buffer_size(*client, number), k_audio_not_initialized);
        EXPECT_EQ(audio_client_padding(*client, number), k_audio_not_initialized);
        EXPECT_EQ(audio_client_latency_us(*client, number), k_audio_not_initialized);
        EXPECT_FALSE(capture);
        EXPECT_FALSE(render);
        EXPECT_EQ(number, 12345U);
    }
}

TEST_F(AudioClients, SecondInitialiseFailsAndLeavesTheFirst) {
    for (const AudioFlow flow : k_flows) {
        const AudioPtr<AudioClient> client = initialize_default(*m_enumerator, flow);
        ASSERT_TRUE(client);
        EXPECT_FALSE(audio_ok(audio_client_initialize(*client, k_stereo_48k, 20)));
        EXPECT_EQ(audio_client_start(*client), k_audio_ok);
    }
}

TEST_F(AudioClients, UnsupportedFormatsAreRefusedAndASupportedOneWorksAfterwards) {
    for (const AudioFlow flow : k_flows) {
        const AudioPtr<AudioClient> client = activate_default(*m_enumerator, flow);
        ASSERT_TRUE(client);
        for (const AudioFormat& format :
             {AudioFormat{0, 48000}, AudioFormat{1, 48000}, AudioFormat{3, 48000},
              AudioFormat{2, 0}, AudioFormat{2, 7999}, AudioFormat{2, 192001}}) {
            EXPECT_EQ(audio_client_initialize(*client, format, 20), k_audio_unsupported_format)
                << format.channels << " channels, " << format.samples_per_second << " Hz";
        }
        EXPECT_EQ(audio_client_initialize(*client, k_stereo_48k, 20), k_audio_ok);
    }
}

TEST_F(AudioClients, MixFormatIsForCaptureOnly) {
    const AudioPtr<AudioClient> client = activate_default(*m_enumerator, AudioFlow::render);
    ASSERT_TRUE(client);
    EXPECT_EQ(audio_client_initialize_mix_format(*client, 20), k_audio_unsupported_format);
    EXPECT_EQ(audio_client_initialize(*client, k_stereo_48k, 20), k_audio_ok);
}

TEST_F(AudioClients, OnlyTheServiceOfTheirDirectionIsHad) {
    const AudioPtr<AudioClient> render = initialize_default(*m_enumerator, AudioFlow::render);
    const AudioPtr<AudioClient> capture = initialize_default(*m_enumerator, AudioFlow::capture);
    ASSERT_TRUE(render);
    ASSERT_TRUE(capture);
    AudioPtr<AudioCaptureService> capture_service;
    AudioPtr<AudioRenderService> render_service;
    EXPECT_FALSE(audio_ok(audio_client_capture_service(*render, capture_service)));
    EXPECT_FALSE(audio_ok(audio_client_render_service(*capture, render_service)));
    EXPECT_FALSE(capture_service);
    EXPECT_FALSE(render_service);
}

TEST_F(AudioClients, BufferIsAtLeastWhatWasAskedFor) {
    const AudioPtr<AudioClient> client = initialize_default(*m_enumerator, AudioFlow::render);
    ASSERT_TRUE(client);
    std::uint32_t frames = 0;
    ASSERT_EQ(audio_client_buffer_size(*client, frames), k_audio_ok);
    EXPECT_GE(frames, 960U);
    EXPECT_LE(frames, 4800U);
}

TEST_F(AudioClients, StartAndStopKnowWhatTheStreamDoes) {
    for (const AudioFlow flow : k_flows) {
        const AudioPtr<AudioClient> client = initialize_default(*m_enumerator, flow);
        ASSERT_TRUE(client);
        EXPECT_TRUE(audio_ok(audio_client_stop(*client))); // not started: nothing to do
        EXPECT_EQ(audio_client_start(*client), k_audio_ok);
        EXPECT_FALSE(audio_ok(audio_client_start(*client)));
        EXPECT_EQ(audio_client_stop(*client), k_audio_ok);
        EXPECT_TRUE(audio_ok(audio_client_stop(*client)));
        EXPECT_EQ(audio_client_start(*client), k_audio_ok);
    }
}

TEST_F(AudioClients, LatencyIsToldOnceTheStreamRuns) {
    for (const AudioFlow flow : k_flows) {
        const AudioPtr<AudioClient> client = initialize_default(*m_enumerator, flow);
        ASSERT_TRUE(client);
        ASSERT_EQ(audio_client_start(*client), k_audio_ok);
        std::uint32_t microseconds = 0;
        EXPECT_TRUE(
            eventually([&] { return audio_ok(audio_client_latency_us(*client, microseconds)); }));
        EXPECT_LT(microseconds, 1'000'000U);
    }
}

TEST_F(AudioClients, RenderBufferIsLentOnceAndNeverBeyondTheRoom) {
    const AudioPtr<AudioClient> client = initialize_default(*m_enumerator, AudioFlow::render);
    ASSERT_TRUE(client);
    AudioPtr<AudioRenderService> service;
    ASSERT_EQ(audio_client_render_service(*client, service), k_audio_ok);
    std::uint32_t size = 0;
    ASSERT_EQ(audio_client_buffer_size(*client, size), k_audio_ok);

    float* samples = nullptr;
    EXPECT_FALSE(audio_ok(audio_render_release_buffer(*service, 1)));
    EXPECT_FALSE(audio_ok(audio_render_get_buffer(*service, size + 1, samples)));
    EXPECT_EQ(samples, nullptr);

    ASSERT_EQ(audio_render_get_buffer(*service, 480, samples), k_audio_ok);
    ASSERT_NE(samples, nullptr);
    float* other = nullptr;
    EXPECT_FALSE(audio_ok(audio_render_get_buffer(*service, 100, other)));
    EXPECT_FALSE(audio_ok(audio_render_release_buffer(*service, 481)));
    std::fill_n(samples, 960, 0.0F);
    EXPECT_EQ(audio_render_release_buffer(*service, 100), k_audio_ok); // fewer than got
    EXPECT_FALSE(audio_ok(audio_render_release_buffer(*service, 100)));

    std::uint32_t padding = 0;
    ASSERT_EQ(audio_client_padding(*client, padding), k_audio_ok);
    EXPECT_EQ(padding, 100U);
    EXPECT_FALSE(audio_ok(audio_render_get_buffer(*service, size - 99, samples)));
    ASSERT_EQ(audio_render_get_buffer(*service, size - 100, samples), k_audio_ok);
    std::fill_n(samples, std::size_t{size - 100} * 2, 0.0F);
    EXPECT_EQ(audio_render_release_buffer(*service, size - 100), k_audio_ok);
    ASSERT_EQ(audio_client_padding(*client, padding), k_audio_ok);
    EXPECT_EQ(padding, size);
}

TEST_F(AudioClients, HandlesMayBeReleasedInAnyOrder) {
    int order[] = {0, 1, 2, 3};
    do {
        for (const AudioFlow flow : k_flows) {
            AudioPtr<AudioEnumerator> enumerator;
            AudioPtr<AudioDevice> device;
            AudioPtr<AudioClient> client;
            AudioPtr<AudioCaptureService> capture;
            AudioPtr<AudioRenderService> render;
            ASSERT_EQ(audio_enumerator_create(enumerator), k_audio_ok);
            ASSERT_EQ(audio_default_device(*enumerator, flow, device), k_audio_ok);
            ASSERT_EQ(audio_device_activate(*device, client), k_audio_ok);
            ASSERT_EQ(audio_client_initialize(*client, k_stereo_48k, 20), k_audio_ok);
            if (flow == AudioFlow::capture) {
                ASSERT_EQ(audio_client_capture_service(*client, capture), k_audio_ok);
            } else {
                ASSERT_EQ(audio_client_render_service(*client, render), k_audio_ok);
            }
            ASSERT_EQ(audio_client_start(*client), k_audio_ok);
            for (const int handle : order) {
                switch (handle) {
                case 0:
                    enumerator.reset();
                    break;
                case 1:
                    device.reset();
                    break;
                case 2:
                    client.reset();
                    break;
                default:
                    capture.reset();
                    render.reset();
                    break;
                }
                // What is left still works.
                if (device) {
                    EXPECT_FALSE(id_of(*device).empty());
                }
                if (client) {
                    std::uint32_t padding = 0;
                    EXPECT_EQ(audio_client_padding(*client, padding), k_audio_ok);
                }
                if (capture) {
                    std::uint32_t frames = 0;
                    EXPECT_EQ(audio_capture_next_packet_size(*capture, frames), k_audio_ok);
                }
                if (render) {
                    float* samples = nullptr;
                    EXPECT_EQ(audio_render_get_buffer(*render, 1, samples), k_audio_ok);
                    EXPECT_EQ(audio_render_release_buffer(*render, 0), k_audio_ok);
                }
            }
        }
    } while (std::next_permutation(std::begin(order), std::end(order)));
}
