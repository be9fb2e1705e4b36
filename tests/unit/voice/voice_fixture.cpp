// See voice_fixture.h.
#include "voice_fixture.h"

#include "base/clock.h"
#include "base/text.h"
#include "voice/jitter_buffer.h"

#include <array>
#include <fstream>
#include <mutex>
#include <thread>

namespace {

constexpr const char* k_log = "velmotalk_debug.log";

std::mutex g_journal_lock;
Lines g_journal;
std::thread::id g_test_thread;

void note(std::string line) {
    if (std::this_thread::get_id() != g_test_thread) {
        line.insert(0, "network: ");
    }
    const std::lock_guard lock(g_journal_lock);
    g_journal.push_back(std::move(line));
}

std::string hex(const std::uint8_t* data, int length) {
    std::string text;
    for (int i = 0; i < length; ++i) {
        char digits[3];
        format_text(digits, "%02x", data[i]);
        text += digits;
    }
    return text;
}

} // namespace

Bytes bytes_of(std::string_view text) {
    return {text.begin(), text.end()};
}

Bytes server_packet(VoicePacketType type, const Bytes& payload) {
    Bytes datagram(k_voice_header_bytes + payload.size());
    write_voice_packet(datagram, type, k_test_session, 0, payload);
    return datagram;
}

Bytes server_packet(VoicePacketType type, std::string_view payload) {
    return server_packet(type, bytes_of(payload));
}

Bytes audio_packet(std::uint32_t sender_timestamp, const Bytes& audio) {
    Bytes payload(4);
    write_big_endian_32(payload.data(), sender_timestamp);
    payload.insert(payload.end(), audio.begin(), audio.end());
    return server_packet(VoicePacketType::audio, payload);
}

Lines log_lines() {
    std::ifstream file(k_log);
    Lines lines;
    for (std::string line; std::getline(file, line);) {
        lines.push_back(line);
    }
    return lines;
}

void forget_log() {
    std::ofstream(k_log, std::ios::trunc);
}

Lines journal() {
    const std::lock_guard lock(g_journal_lock);
    return g_journal;
}

void forget_journal() {
    const std::lock_guard lock(g_journal_lock);
    g_journal.clear();
}

void register_journal() {
    g_test_thread = std::this_thread::get_id();
    Network_SetConnectedCallback([] { note("connected"); });
    Network_SetDisconnectedCallback([] { note("disconnected"); });
    Network_SetMessageCallback(
        [](int kind, const char* text) { note("message " + std::to_string(kind) + " " + text); });
    Network_SetAudioCallback([](const std::uint8_t* data, int length) {
        note("audio " + hex(data, length) + " @" + std::to_string(clock_ticks_ms()));
    });
    Network_SetSpeakingCallback([](const char* peerId, int speaking) {
        note(std::string("speaking ") + peerId + " " + std::to_string(speaking));
    });
    Network_SetErrorCallback([](const char* text) { note(std::string("error ") + text); });
}

void remove_callbacks() {
    Network_SetConnectedCallback(nullptr);
    Network_SetDisconnectedCallback(nullptr);
    Network_SetMessageCallback(nullptr);
    Network_SetAudioCallback(nullptr);
    Network_SetSpeakingCallback(nullptr);
    Network_SetErrorCallback(nullptr);
}

void VoiceFixture::SetUp() {
    register_journal();
    forget_journal();
    forget_log();
}

void VoiceFixture::TearDown() {
    remove_callbacks();
    m_socket.reset();
    Network_Disconnect();
    Network_ResetAdaptiveJitterState();
}

void VoiceFixture::answer_connect() {
    udp.set_on_send([this](const SentDatagram& datagram) {
        if (datagram.bytes[0] == static_cast<std::uint8_t>(VoicePacketType::connect)) {
            udp.deliver(server_packet(VoicePacketType::connect_ack));
        }
    });
}

void VoiceFixture::begin() {
    answer_connect();
    m_socket = begin_session("voice.example");
    ASSERT_TRUE(m_socket);
    m_thread.reset(new NetworkThreadState{*m_socket, clock.now()});
    udp.set_on_send(nullptr);
    udp.forget_sent();
    forget_log();
    forget_journal();
}

bool VoiceFixture::pass() {
    return network_pass(*m_thread);
}

void VoiceFixture::run_for(std::uint32_t milliseconds) {
    const std::uint32_t start = clock.now();
    while (clock.now() - start < milliseconds) {
        ASSERT_TRUE(pass());
    }
}

bool VoiceFixture::receive(const Bytes& datagram) {
    udp.deliver(datagram);
    return pass();
}

std::vector<Bytes> VoiceFixture::sent(VoicePacketType type) const {
    std::vector<Bytes> matching;
    for (const SentDatagram& datagram : udp.sent()) {
        if (datagram.bytes[0] == static_cast<std::uint8_t>(type)) {
            matching.push_back(datagram.bytes);
        }
    }
    return matching;
}
