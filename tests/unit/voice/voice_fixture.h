// What the voice tests share: a fake clock and network, a journal of the callbacks, the lines of
// the debug log, and datagrams as text or bytes.
#pragma once

#include "support/fake_clock.h"
#include "support/fake_udp_socket.h"
#include "voice/voice_internal.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

using Bytes = std::vector<std::uint8_t>;
using Lines = std::vector<std::string>;

constexpr std::uint64_t k_test_session = 0x0102030405060708;

Bytes bytes_of(std::string_view text);

/// A server's datagram with the test's session id.
Bytes server_packet(VoicePacketType type, const Bytes& payload = {});
Bytes server_packet(VoicePacketType type, std::string_view payload);
Bytes audio_packet(std::uint32_t sender_timestamp, const Bytes& audio);

/// Lines written to the debug log since the latest call of forget_log.
Lines log_lines();
void forget_log();

/// What the callbacks saw, in order, as "connected", "disconnected", "message 0 TEXT",
/// "audio HEX... @TICKS", "speaking ID 1", "error TEXT"; with "network: " before what ran on
/// another thread than the test's.
Lines journal();
void forget_journal();
void register_journal();
void remove_callbacks();

/// A session over the fake network, without a network thread.
class VoiceFixture : public testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    /// Lets the scripted server answer CONNECT at once.
    void answer_connect();

    /// Shakes hands; afterwards nothing is recorded as sent, logged or called.
    void begin();

    /// One pass of the network thread.
    bool pass();

    /// Passes until the clock has moved by `milliseconds`.
    void run_for(std::uint32_t milliseconds);

    /// Delivers a datagram now and takes it in with one pass.
    bool receive(const Bytes& datagram);

    /// The sent datagrams whose type is `type`.
    std::vector<Bytes> sent(VoicePacketType type) const;

    FakeClock clock{100000};
    FakeUdp udp{clock};

  private:
    std::shared_ptr<UdpSocket> m_socket;
    std::unique_ptr<NetworkThreadState> m_thread;
};
