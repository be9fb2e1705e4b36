// Feeds datagrams to the voice network thread's pass, over the scripted network. The input is a row
// of records: a length (16 bit, big-endian), the milliseconds until the next record, the datagram.
#include "support/fake_clock.h"
#include "support/fake_udp_socket.h"
#include "voice/jitter_buffer.h"
#include "voice/voice_internal.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

void desktop_debug_output(const char*) {}

namespace {

FakeClock* g_clock = nullptr;
FakeUdp* g_udp = nullptr;
std::shared_ptr<UdpSocket> g_session;
volatile std::size_t g_sink = 0;

void expect(bool condition) {
    if (!condition) {
        std::abort();
    }
}

void on_message(int kind, const char* text) {
    expect(kind == k_voice_message_join || kind == k_voice_message_leave ||
           kind == k_voice_message_chat);
    expect(std::strlen(text) <= k_voice_payload_max);
}

void on_error(const char* text) {
    expect(std::strlen(text) <= k_voice_payload_max);
}

void on_speaking(const char* peerId, int speaking) {
    const std::size_t length = std::strlen(peerId);
    expect(length >= 1 && length < k_peer_id_size);
    expect(speaking == 0 || speaking == 1);
}

void on_audio(const std::uint8_t* data, int length) {
    expect(length >= 1 && length < k_audio_length_limit);
    std::size_t sum = 0;
    for (int i = 0; i < length; ++i) {
        sum += data[i];
    }
    g_sink = sum;
}

void check_state() {
    const NetworkStatistics statistics = Network_GetStatistics();
    expect(statistics.queued_packets <= static_cast<std::uint32_t>(k_audio_queue_keep));
    expect(statistics.target_jitter_delay_ms >= k_min_jitter_delay_ms &&
           statistics.target_jitter_delay_ms <= k_max_jitter_delay_ms);
    expect(statistics.smoothed_rtt_ms < k_rtt_limit_ms);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // A folder in the debug log's place: the log cannot be opened, and millions of runs fill no
    // disk.
    std::error_code ignored;
    std::filesystem::create_directory("velmotalk_debug.log", ignored);

    g_clock = new FakeClock(1000);
    g_udp = new FakeUdp(*g_clock);
    std::uint8_t answer[k_voice_header_bytes];
    write_voice_packet(answer, VoicePacketType::connect_ack, 1, 0, {});
    g_udp->deliver(answer);
    g_session = begin_session("voice.example");
    expect(g_session != nullptr);
    Network_SetMessageCallback(on_message);
    Network_SetErrorCallback(on_error);
    Network_SetSpeakingCallback(on_speaking);
    Network_SetAudioCallback(on_audio);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    g_clock->set(1000);
    Network_ResetAdaptiveJitterState();
    g_udp->forget_sent();
    NetworkThreadState thread{*g_session, 1000};

    std::span<const std::uint8_t> input(data, size);
    while (input.size() >= 3) {
        const std::size_t length =
            std::min<std::size_t>(std::size_t{input[0]} << 8 | input[1], input.size() - 3);
        const std::uint32_t gap_ms = input[2];
        g_udp->deliver(input.subspan(3, length));
        input = input.subspan(3 + length);
        if (!network_pass(thread)) {
            return 0; // the server ended the session
        }
        for (const std::uint32_t until = g_clock->now() + gap_ms; g_clock->now() < until;) {
            network_pass(thread);
        }
        check_state();
    }
    return 0;
}
