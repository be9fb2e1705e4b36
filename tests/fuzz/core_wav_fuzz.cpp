// Feeds bytes to the WAV reader, and what it accepts to the source that plays it.
#include "peer/peer_source.h"
#include "peer/wav_file.h"

#include <array>
#include <cmath>
#include <cstdlib>

namespace {

void expect(bool condition) {
    if (!condition) {
        std::abort();
    }
}

bool is_playable(float sample) {
    return std::isfinite(sample) && sample >= -1.0F && sample <= 1.0F;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    SourceSignal signal;
    std::string error;
    if (!wav_parse({data, size}, signal.sound, error)) {
        expect(!error.empty() && signal.sound.samples.empty());
        return 0;
    }
    expect(signal.sound.channels == 1 || signal.sound.channels == 2);
    expect(signal.sound.frame_count() >= 1 && signal.sound.samples.size() <= size / 2);
    for (const float sample : signal.sound.samples) {
        expect(is_playable(sample));
    }
    std::array<float, k_source_block_frames * 2> block;
    for (int i = 0; i < 4; ++i) {
        fill_source_block(signal, block);
        for (const float sample : block) {
            expect(is_playable(sample));
        }
    }
    return 0;
}
