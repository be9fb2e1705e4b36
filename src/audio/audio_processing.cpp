// The voice processing chain: its configuration, its presets, and the order of its stages. Called
// by the start-up and, for every captured block, by the voice session.
#include "audio/audio_processing.h"

#include "audio/audio_dynamics.h"
#include "audio/biquad_filter.h"
#include "audio/denormals.h"
#include "audio/filter_bank.h"
#include "core/debug_log.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <mutex>
#include <span>
#include <string_view>

namespace {

std::atomic<std::int32_t> g_initialized = 0;
std::int32_t g_sampleRate = 48000;
std::int32_t g_channels = 2;
AudioProcessingConfig g_config{}; ///< as last set; the main thread's

/// On its way from the main thread to the capture thread, which adopts it before its next block.
std::mutex g_pending_mutex;
AudioProcessingConfig g_pending_config{};
std::atomic<bool> g_is_config_pending = false;

// From here on the capture thread's, once a capture runs.
AudioProcessingConfig g_running_config{};
FilterStage g_highpass{};
FilterStage g_lowpass{};
FilterStage g_notch50{};
FilterStage g_notch60{};
FilterStage g_deEsser{};
FilterStage g_presence{};
Compressor g_compressor{};
NoiseGate g_noiseGate{};

constexpr float k_butterworth_q = 0.707F; ///< flat up to the corner
constexpr float k_notch_q = 30.0F;        ///< narrow: hum goes, a bass voice stays
constexpr float k_de_esser_q = 2.0F;
constexpr float k_presence_freq = 3000.0F;
constexpr float k_presence_gain_db = 2.0F;
constexpr float k_presence_q = 1.0F;

constexpr AudioProcessingConfig k_default_config{
    .highpassEnabled = 1,
    .highpassFreq = 80.0F,
    .lowpassEnabled = 1,
    .lowpassFreq = 12000.0F,
    .noiseGateEnabled = 1,
    .noiseGateThreshold = 0.015F,
    .noiseGateAttack = 0.01F,
    .noiseGateRelease = 0.15F,
    .noiseGateHold = 0.2F,
    .compressorEnabled = 1,
    .compressorThreshold = -24.0F,
    .compressorRatio = 4.0F,
    .compressorAttack = 0.003F,
    .compressorRelease = 0.15F,
    .deEsserEnabled = 1,
    .deEsserFreq = 6000.0F,
    .deEsserGain = -4.0F,
    .limiterEnabled = 1,
    .limiterThreshold = -3.0F,
};

struct Preset {
    std::string_view name;
    void (*change)(AudioProcessingConfig& config);
};

constexpr Preset k_presets[] = {
    {"music",
     [](AudioProcessingConfig& config) {
         config.highpassFreq = 20.0F;
         config.lowpassFreq = 20000.0F;
         config.noiseGateEnabled = 0;
         config.compressorThreshold = -12.0F;
         config.compressorRatio = 2.0F;
         config.deEsserEnabled = 0;
     }},
    {"voice_soft",
     [](AudioProcessingConfig& config) {
         config.highpassEnabled = 1;
         config.highpassFreq = 80.0F;
         config.lowpassEnabled = 1;
         config.lowpassFreq = 12000.0F;
         config.noiseGateEnabled = 0;
         config.compressorEnabled = 0;
         config.deEsserEnabled = 0;
         config.limiterEnabled = 1;
         config.limiterThreshold = -3.0F;
     }},
    {"raw",
     [](AudioProcessingConfig& config) {
         config.highpassEnabled = 0;
         config.lowpassEnabled = 0;
         config.noiseGateEnabled = 0;
         config.compressorEnabled = 0;
         config.deEsserEnabled = 0;
         config.limiterEnabled = 0;
     }},
};

void set_highpass(float freq) {
    for (BiquadFilter& section : g_highpass) {
        BiquadFilter_SetHighpass(&section, freq, k_butterworth_q, g_sampleRate);
    }
}

void set_lowpass(float freq) {
    for (BiquadFilter& section : g_lowpass) {
        BiquadFilter_SetLowpass(&section, freq, k_butterworth_q, g_sampleRate);
    }
}

void set_notch(FilterStage& stage, float freq) {
    for (BiquadFilter& section : stage) {
        BiquadFilter_SetNotch(&section, freq, k_notch_q, g_sampleRate);
    }
}

void set_peaking(FilterStage& stage, float freq, float gain_db, float q) {
    for (BiquadFilter& section : stage) {
        BiquadFilter_SetPeaking(&section, freq, gain_db, q, g_sampleRate);
    }
}

/// Recomputes the filters that a configuration has enabled. The others' coefficients are of no
/// interest: what enables a filter recomputes it.
void set_enabled_filters(const AudioProcessingConfig& config) {
    if (config.highpassEnabled != 0) {
        set_highpass(config.highpassFreq);
    }
    if (config.lowpassEnabled != 0) {
        set_lowpass(config.lowpassFreq);
    }
    if (config.deEsserEnabled != 0) {
        set_peaking(g_deEsser, config.deEsserFreq, config.deEsserGain, k_de_esser_q);
    }
}

/// Never waits: a configuration that is being written at this very moment is for the next block.
void adopt_pending_config() {
    if (!g_is_config_pending.load(std::memory_order_relaxed)) {
        return;
    }
    const std::unique_lock lock(g_pending_mutex, std::try_to_lock);
    if (lock.owns_lock()) {
        g_is_config_pending = false;
        g_running_config = g_pending_config;
        set_enabled_filters(g_running_config);
    }
}

void filter(const AudioProcessingConfig& config, float* samples, std::int32_t count) {
    if (g_channels != 1 && g_channels != 2) {
        return; // the stages hold two channels
    }
    struct Slot {
        FilterStage* stage;
        bool enabled;
    };
    const Slot row[] = {
        {&g_highpass, config.highpassEnabled != 0},
        {&g_lowpass, config.lowpassEnabled != 0},
        {&g_notch50, true},
        {&g_notch60, true},
        {&g_deEsser, config.deEsserEnabled != 0},
        {&g_presence, true},
    };
    static_assert(std::size(row) == k_max_filter_stages);

    std::array<FilterStage*, k_max_filter_stages> enabled{};
    std::size_t stages = 0;
    for (const Slot& slot : row) {
        if (slot.enabled) {
            enabled[stages++] = slot.stage;
        }
    }
    filter_bank_process(std::span(enabled).first(stages), samples, count / g_channels, g_channels);
}

/// The compressor comes first, so that the gate decides on the compressed level.
void compress_and_gate(const AudioProcessingConfig& config, float* samples, std::int32_t count) {
    const CompressorSettings compression{config.compressorThreshold, config.compressorRatio,
                                         config.compressorAttack, config.compressorRelease};
    const NoiseGateSettings gating{config.noiseGateThreshold, config.noiseGateAttack,
                                   config.noiseGateRelease, config.noiseGateHold};
    if (config.compressorEnabled != 0 && config.noiseGateEnabled != 0) {
        CompressAndGate_Process(&g_compressor, compression, &g_noiseGate, gating, samples, count,
                                g_sampleRate);
    } else if (config.compressorEnabled != 0) {
        Compressor_Process(&g_compressor, samples, count, compression.threshold, compression.ratio,
                           compression.attack, compression.release, g_sampleRate);
    } else if (config.noiseGateEnabled != 0) {
        NoiseGate_Process(&g_noiseGate, samples, count, gating.threshold, gating.attack,
                          gating.release, gating.hold, g_sampleRate);
    }
}

} // namespace

std::int32_t AudioProcessing_Init(std::int32_t sampleRate, std::int32_t channels) {
    g_sampleRate = sampleRate;
    g_channels = channels;
    g_config = k_default_config;
    g_running_config = k_default_config;
    g_is_config_pending = false;
    set_enabled_filters(k_default_config);
    set_notch(g_notch50, 50.0F);
    set_notch(g_notch60, 60.0F);
    set_peaking(g_presence, k_presence_freq, k_presence_gain_db, k_presence_q);
    g_initialized = 1;
    DebugLog("Audio processing initialized: %dHz, %d channels", sampleRate, channels);
    return 1;
}

void AudioProcessing_Cleanup() {
    g_initialized = 0;
    DebugLog("Audio processing cleaned up");
}

void AudioProcessing_Process(float* samples, std::int32_t sampleCount) {
    if (g_initialized == 0 || sampleCount <= 0) {
        return;
    }
    const DenormalsAsZero denormals_as_zero;
    adopt_pending_config();
    const AudioProcessingConfig& config = g_running_config;
    filter(config, samples, sampleCount);
    compress_and_gate(config, samples, sampleCount);
    if (config.limiterEnabled != 0) {
        Limiter_Process(samples, sampleCount, config.limiterThreshold);
    }
}

void AudioProcessing_SetConfig(const AudioProcessingConfig* config) {
    if (config == nullptr) {
        return;
    }
    g_config = *config;
    {
        const std::lock_guard lock(g_pending_mutex);
        g_pending_config = *config;
        g_is_config_pending = true;
    }
    DebugLog("Audio processing config updated");
}

void AudioProcessing_GetConfig(AudioProcessingConfig* config) {
    if (config != nullptr) {
        *config = g_config;
    }
}

void AudioProcessing_LoadPreset(const char* name) {
    if (name == nullptr) {
        return;
    }
    for (const Preset& preset : k_presets) {
        if (name == preset.name) {
            preset.change(g_config);
        }
    }
    AudioProcessing_SetConfig(&g_config);
    DebugLog("Loaded audio preset: %s", name);
}
