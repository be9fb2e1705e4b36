// What of a voice address is the host and what the port.
#include "voice/voice_internal.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace {

struct UrlCase {
    const char* url;
    const char* host;
    int port;
};

void PrintTo(const UrlCase& url_case, std::ostream* stream) {
    *stream << '"' << url_case.url << '"';
}

class VoiceUrl : public testing::TestWithParam<UrlCase> {};

TEST_P(VoiceUrl, IsReadAsHostAndPort) {
    const VoiceEndpoint endpoint = parse_voice_url(GetParam().url);
    EXPECT_STREQ(endpoint.host, GetParam().host);
    EXPECT_EQ(endpoint.port, GetParam().port);
}

constexpr UrlCase k_cases[] = {
    {"voice.example", "voice.example", 3602},
    {"voice.example:4000", "voice.example", 4000},
    {"voice.example:4000/room", "voice.example", 4000},
    {"voice.example/room", "voice.example", 3602},
    {"ws://voice.example", "voice.example", 3602},
    {"ws://voice.example:4000/", "voice.example", 4000},
    {"udp://voice.example", "voice.example", 3602},
    {"udp://127.0.0.1:3602", "127.0.0.1", 3602},
    // Only one scheme is stripped, and only these two are known.
    {"ws://udp://voice.example", "udp", 3602},
    {"udp://ws://voice.example", "ws", 3602},
    {"http://voice.example:80", "http", 3602},
    {"wss://voice.example", "wss", 3602},
    // A colon in the path is not a port.
    {"voice.example/a:99", "voice.example", 3602},
    // Port texts: empty or longer than 15 characters leave the default.
    {"voice.example:/", "voice.example", 3602},
    {"voice.example:", "voice.example", 3602},
    {"voice.example:000000000000007", "voice.example", 7},
    {"voice.example:0000000000000007", "voice.example", 3602},
    {"voice.example:0000000000000007/x", "voice.example", 3602},
    // The low 16 bits of the number count.
    {"voice.example:70000", "voice.example", 4464},
    {"voice.example:65535", "voice.example", 65535},
    {"voice.example:65536", "voice.example", 0},
    {"voice.example:4294970898", "voice.example", 3602},
    {"voice.example:999999999999999", "voice.example", 32767},
    {"voice.example:-1", "voice.example", 65535},
    // Decimal conversion stops at the first other character.
    {"voice.example:12x4", "voice.example", 12},
    {"voice.example:x", "voice.example", 0},
    {"voice.example:12:34", "voice.example", 12},
    {"", "", 3602},
    {"/", "", 3602},
    {":5", "", 5},
    {"ws://", "", 3602},
    {"udp:///x", "", 3602},
};

INSTANTIATE_TEST_SUITE_P(Cases, VoiceUrl, testing::ValuesIn(k_cases));

TEST(VoiceUrlLimits, NullCountsAsEmpty) {
    const VoiceEndpoint endpoint = parse_voice_url(nullptr);
    EXPECT_STREQ(endpoint.host, "");
    EXPECT_EQ(endpoint.port, 3602);
}

TEST(VoiceUrlLimits, HostIsCutAt127Bytes) {
    const std::string url = std::string(200, 'h') + ":77";
    const VoiceEndpoint endpoint = parse_voice_url(url.c_str());
    EXPECT_EQ(endpoint.host, std::string(127, 'h'));
    EXPECT_EQ(endpoint.port, 77);
}

} // namespace
