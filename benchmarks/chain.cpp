// Measures what a 10 ms block costs in the processing chain, beside the plain transcription of the
// same formulas and beside speexdsp's preprocessor. Run by ./bench chain.
//
// All take turns block by block, so that a busy machine slows all of them; of every block's passes
// the fastest counts. Ends with status 1 when the chain misses a bar or computes something else
// than the transcription.
#include "audio/audio_processing.h"
#include "chain_speech.h"
#include "support/reference_chain.h"

#include <speex/speex_preprocess.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace {

constexpr std::int32_t k_rate = 48000;
constexpr std::size_t k_block = 960; ///< samples: 10 ms of two channels
constexpr std::size_t k_block_frames = k_block / 2;
constexpr int k_passes = 15;
constexpr double k_bar = 4.0;
constexpr float k_tolerance = 1e-6F;

using Block = std::array<float, k_block>;

/// Microseconds per block, on average over a scene's blocks.
struct Cost {
    double chain = 0.0;
    double transcription = 0.0;
    double speex = 0.0;
};

template <typename Work>
double microseconds(Work work) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    const std::chrono::duration<double, std::micro> taken =
        std::chrono::steady_clock::now() - begin;
    return taken.count();
}

/// speexdsp knows one channel only, so there are two of it.
class SpeexPair {
  public:
    SpeexPair() {
        for (Channel& channel : m_channels) {
            channel.state.reset(speex_preprocess_state_init(k_block_frames, k_rate));
            int on = 1;
            speex_preprocess_ctl(channel.state.get(), SPEEX_PREPROCESS_SET_DENOISE, &on);
            speex_preprocess_ctl(channel.state.get(), SPEEX_PREPROCESS_SET_AGC, &on);
        }
    }

    /// The conversion to 16 bits is not counted.
    double process(const Block& block) {
        for (std::size_t i = 0; i < k_block; ++i) {
            const float scaled = std::clamp(block[i], -1.0F, 1.0F) * 32767.0F;
            m_channels[i % 2].samples[i / 2] = static_cast<spx_int16_t>(scaled);
        }
        return microseconds([this] {
            for (Channel& channel : m_channels) {
                speex_preprocess_run(channel.state.get(), channel.samples.data());
            }
        });
    }

  private:
    struct Destroy {
        void operator()(SpeexPreprocessState* state) const {
            speex_preprocess_state_destroy(state);
        }
    };
    struct Channel {
        std::unique_ptr<SpeexPreprocessState, Destroy> state;
        std::array<spx_int16_t, k_block_frames> samples{};
    };
    std::array<Channel, 2> m_channels;
};

class Bench {
  public:
    Bench() {
        AudioProcessing_Init(k_rate, 2);
        reference_init(m_reference, k_rate, 2);
    }

    Cost measure(std::span<const float> signal) {
        const std::size_t blocks = signal.size() / k_block;
        constexpr double k_never = std::numeric_limits<double>::max();
        std::vector<Cost> fastest(blocks, Cost{k_never, k_never, k_never});
        for (int pass = 0; pass < k_passes; ++pass) {
            for (std::size_t i = 0; i < blocks; ++i) {
                const Cost cost = run(signal.subspan(i * k_block, k_block));
                Cost& best = fastest[i];
                best.chain = std::min(best.chain, cost.chain);
                best.transcription = std::min(best.transcription, cost.transcription);
                best.speex = std::min(best.speex, cost.speex);
            }
        }
        Cost mean;
        for (const Cost& best : fastest) {
            mean.chain += best.chain / static_cast<double>(blocks);
            mean.transcription += best.transcription / static_cast<double>(blocks);
            mean.speex += best.speex / static_cast<double>(blocks);
        }
        return mean;
    }

    /// Takes everybody through a signal without measuring.
    void go_through(std::span<const float> signal) {
        for (std::size_t i = 0; i + k_block <= signal.size(); i += k_block) {
            run(signal.subspan(i, k_block));
        }
    }

    float largest_difference() const { return m_largest_difference; }

  private:
    Cost run(std::span<const float> samples) {
        Block input;
        std::copy(samples.begin(), samples.end(), input.begin());
        Block ours = input;
        Block plain = input;
        Cost cost;
        cost.chain = microseconds([&ours] { AudioProcessing_Process(ours.data(), k_block); });
        cost.transcription =
            microseconds([this, &plain] { reference_process(m_reference, plain.data(), k_block); });
        cost.speex = m_speex.process(input);
        for (std::size_t i = 0; i < k_block; ++i) {
            m_largest_difference = std::max(m_largest_difference, std::fabs(ours[i] - plain[i]));
        }
        return cost;
    }

    ReferenceChain m_reference{};
    SpeexPair m_speex;
    float m_largest_difference = 0.0F;
};

/// The chain keeps a debug log in the working folder; here it goes with the folder.
class TemporaryFolder {
  public:
    TemporaryFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "velmo-bench.XXXXXX").string();
        if (mkdtemp(name.data()) != nullptr) {
            m_folder = name;
            std::filesystem::current_path(m_folder);
        }
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::current_path(std::filesystem::temp_directory_path(), ignored);
        if (!m_folder.empty()) {
            std::filesystem::remove_all(m_folder, ignored);
        }
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  private:
    std::filesystem::path m_folder;
};

void print_scene(const char* scene, const Cost& cost) {
    std::printf("\n%s\n", scene);
    std::printf("  %5.2f  %7.1f us   plain transcription of the same formulas\n",
                cost.transcription / cost.chain, cost.transcription);
    std::printf("  %5.2f  %7.1f us   speexdsp preprocessor, denoise and AGC, one per channel\n",
                cost.speex / cost.chain, cost.speex);
    std::printf("  %5.2f  %7.1f us   the chain\n", 1.0, cost.chain);
}

} // namespace

int main() {
    const std::vector<float> speech = load_speech();
    if (speech.empty()) {
        std::fprintf(stderr, "bench_chain: cannot read " VELMO_BENCH_DATA "/speech.wav\n");
        return 1;
    }
    const TemporaryFolder folder;

    std::printf("A 10 ms block of two channels: ratio to the chain, and time. The fastest of %d "
                "passes counts.\n(RNNoise is not compared: Debian 12 has no package of "
                "it.) About 10 s.\n",
                k_passes);
    Bench bench;
    const Cost loud = bench.measure(speech);
    print_scene("speech at normal level", loud);

    std::vector<float> soft = speech;
    for (float& sample : soft) {
        sample *= 0.03F;
    }
    print_scene("the same 30 dB softer: nothing to compress, the gate closed", bench.measure(soft));

    // Long enough for every filter to die away into numbers that processors are slow with.
    bench.go_through(speech);
    const std::vector<float> silence(100 * k_block, 0.0F); // a second
    for (int second = 0; second < 25; ++second) {
        bench.go_through(silence);
    }
    const Cost silent = bench.measure(silence);
    print_scene("digital silence, 25 s after speech", silent);

    const bool same = bench.largest_difference() <= k_tolerance;
    std::printf("\nlargest difference from the transcription: %.1e, bar %.0e: %s\n",
                double{bench.largest_difference()}, double{k_tolerance}, same ? "ok" : "short");
    const bool cheaper = loud.speex > loud.chain;
    std::printf("cheaper than speexdsp: %s\n", cheaper ? "ok" : "short");
    const double ratio = loud.transcription / loud.chain;
    const bool ok = ratio >= k_bar && cheaper && same;
    std::printf("chain: %.2f, bar %.2f: %s\n", ratio, k_bar, ok ? "ok" : "short");
    return ok ? 0 : 1;
}
