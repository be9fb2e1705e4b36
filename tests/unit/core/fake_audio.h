// Fakes of the audio engine and the processing chain: they keep the calls in the journal.
#pragma once

#include "audio/audio_engine.h"

#include <vector>

/// What the fakes answer, and what they were given. Reset before each test.
struct FakeAudio {
    std::int32_t init_result = 1;
    std::int32_t start_result = 1;
    std::int32_t processing_init_result = 1;
    float processing_offset = 0.0F; ///< added to every sample that the chain processes
    AudioInputCallback input_callback = nullptr;
    AudioLevelCallback level_callback = nullptr;
    std::vector<float> played; ///< samples of the last Audio_PlaySamples
};

extern FakeAudio g_fake_audio;
