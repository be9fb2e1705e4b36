// Prints chain_golden.h: what the plain transcription of the processing chain makes of the recorded
// input. For a developer who changes what the chain computes.
#include "support/reference_chain.h"
#include "unit/audio/golden/chain_recording.h"

#include <cstdio>

int main() {
    std::puts("// The recording that audio_golden_test.cpp holds the chain to; see there how it is "
              "made.\n"
              "#pragma once\n\n#include <cstdint>\n");

    std::vector<float> samples = recorded_input();
    std::printf("constexpr std::uint64_t k_golden_input_hash = 0x%016llXU;\n",
                static_cast<unsigned long long>(hash_of(samples)));

    ReferenceChain chain{};
    reference_init(chain, 48000, 2);
    std::vector<float> filtered = samples;
    reference_filter(chain, filtered.data(), 2 * k_recorded_frames);
    std::printf("constexpr std::uint64_t k_golden_filter_hash = 0x%016llXU;\n",
                static_cast<unsigned long long>(hash_of(filtered)));

    chain = {};
    reference_init(chain, 48000, 2);
    reference_process(chain, samples.data(), 2 * k_recorded_frames);
    double energy = 0.0;
    for (const float sample : samples) {
        energy += double{sample} * double{sample};
    }
    std::printf("constexpr double k_golden_energy = %.9g;\n", energy);
    std::puts("// Every 2971st sample of the output, from the 2000th.\n"
              "constexpr float k_golden_samples[] = {");
    for (std::size_t i = 0; checkpoint(i) < samples.size(); ++i) {
        std::printf("%.9gF,\n", double{samples[checkpoint(i)]});
    }
    std::puts("};\n// Six sections of b0, b1, b2, a1, a2; time constants of 3, 10 and 150 ms; -24 "
              "dB and -3 dB.\n"
              "constexpr float k_golden_numbers[] = {");
    for (const float number : library_numbers()) {
        std::printf("%aF,\n", double{number});
    }
    std::puts("};");
}
