// See chain_speech.h. The file was made once, at 24 kHz to keep it small:
//     espeak-ng -v es -s 175 -w t.wav "Buenas noches a todos. ¿Me oís bien? La música está un poco
//     alta."; sox t.wav -r 24000 -c 1 -b 16 speech.wav norm -3 trim 0 4.1
#include "chain_speech.h"

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>

namespace {

constexpr std::size_t k_wav_header = 44;

/// The 16-bit samples of a WAV file with the plainest header.
std::vector<float> read_wav(const char* path) {
    std::ifstream file(path, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    std::vector<float> samples;
    if (bytes.size() < k_wav_header || bytes.compare(0, 4, "RIFF") != 0 ||
        bytes.compare(36, 4, "data") != 0) {
        return samples;
    }
    for (std::size_t i = k_wav_header; i + 1 < bytes.size(); i += 2) {
        const auto low = static_cast<std::uint8_t>(bytes[i]);
        const auto high = static_cast<std::uint8_t>(bytes[i + 1]);
        const auto value = static_cast<std::int16_t>(low | (high << 8));
        samples.push_back(static_cast<float>(value) / 32768.0F);
    }
    return samples;
}

} // namespace

std::vector<float> load_speech() {
    const std::vector<float> at_24k = read_wav(VELMO_BENCH_DATA "/speech.wav");
    std::vector<float> speech;
    speech.reserve(at_24k.size() * 4);
    std::uint32_t noise = 1;
    const auto add_frame = [&](float sample) {
        for (int channel = 0; channel < 2; ++channel) {
            noise = noise * 1664525U + 1013904223U;
            const auto hiss = static_cast<float>(static_cast<std::int32_t>(noise >> 16) - 32768);
            speech.push_back(sample + hiss / 32768.0F * 0.0004F); // -73 dBFS
        }
    };
    for (std::size_t i = 0; i < at_24k.size(); ++i) {
        const float next = i + 1 < at_24k.size() ? at_24k[i + 1] : 0.0F;
        add_frame(at_24k[i]);
        add_frame(0.5F * (at_24k[i] + next));
    }
    return speech;
}
