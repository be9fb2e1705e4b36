// Outputs that were recorded once and must come out again on every system and with every compiler.
//
// The filters use nothing but float multiplication and addition, which round alike everywhere, so
// for given coefficients their output is held to the last bit. The coefficients come from cosf,
// sinf and powf, and the time constants from expf, whose last bit is the C library's own affair. It
// is no trifle: the notches have their poles so close to the unit circle that one bit of any
// coefficient moves samples by 1.5e-4. So the whole chain is held to 1e-6 where the library gives
// the recorded numbers, as it does on Linux and under Wine, and to a looser bound where it does
// not; and the numbers themselves are held to a unit or two in the last place everywhere.
//
// The recording was made by the plain transcription (reference_chain.h), not by the chain. To make
// a new one, build and run record_chain.
#include "audio/audio_processing.h"
#include "audio/filter_bank.h"
#include "unit/audio/golden/chain_golden.h"
#include "unit/audio/golden/chain_recording.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <vector>

namespace {

bool library_gives_the_recorded_numbers() {
    return std::ranges::equal(library_numbers(), k_golden_numbers);
}

TEST(AudioGolden, InputIsTheRecordedOne) {
    EXPECT_EQ(hash_of(recorded_input()), k_golden_input_hash);
}

TEST(AudioGolden, LibraryNumbersAreWithinTwoUnitsInTheLastPlace) {
    const std::vector<float> numbers = library_numbers();
    ASSERT_EQ(numbers.size(), std::size(k_golden_numbers));
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        // The low-pass's a1 is all but zero, the cosine of a right angle: hence the absolute part.
        const float wanted = k_golden_numbers[i];
        EXPECT_NEAR(numbers[i], wanted, 2.4e-7F * std::fabs(wanted) + 1e-7F) << i;
    }
}

TEST(AudioGolden, FilterBankGivesTheRecordedBits) {
    std::array<FilterStage, 6> stages{};
    std::array<FilterStage*, 6> row{};
    for (std::size_t i = 0; i < stages.size(); ++i) {
        const float* c = k_golden_numbers + i * 5;
        stages[i].fill(BiquadFilter{c[0], c[1], c[2], c[3], c[4], 0, 0, 0, 0});
        row[i] = &stages[i];
    }
    std::vector<float> samples = recorded_input();
    std::int32_t size = 0;
    for (std::int32_t done = 0; done < k_recorded_frames; done += size) {
        size = std::min(size % 701 + 1, k_recorded_frames - done);
        filter_bank_process(row, samples.data() + std::ptrdiff_t{2} * done, size, 2);
    }
    EXPECT_EQ(hash_of(samples), k_golden_filter_hash);
}

TEST(AudioGolden, ChainGivesTheRecordedSamples) {
    // Silence brings the dynamics back to their state at program start.
    AudioProcessing_Init(48000, 2);
    std::vector<float> silence(768000, 0.0F);
    AudioProcessing_Process(silence.data(), static_cast<std::int32_t>(silence.size()));
    AudioProcessing_Init(48000, 2);

    std::vector<float> samples = recorded_input();
    for (std::int32_t done = 0; done < 2 * k_recorded_frames; done += 960) {
        AudioProcessing_Process(samples.data() + done, 960);
    }
    AudioProcessing_Cleanup();

    const float tolerance = library_gives_the_recorded_numbers() ? 1e-6F : 2e-3F;
    for (std::size_t i = 0; i < std::size(k_golden_samples); ++i) {
        ASSERT_LT(checkpoint(i), samples.size());
        EXPECT_NEAR(samples[checkpoint(i)], k_golden_samples[i], tolerance)
            << "at sample " << checkpoint(i);
    }
    double energy = 0.0;
    for (const float sample : samples) {
        energy += double{sample} * double{sample};
    }
    EXPECT_NEAR(energy / k_golden_energy, 1.0, tolerance);
}

} // namespace
