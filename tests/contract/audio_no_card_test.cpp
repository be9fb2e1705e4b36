// The audio seam on a machine without any sound card.
#include "contract/audio_support.h"

using AudioWithoutCards = AudioContract;

TEST_F(AudioWithoutCards, ListsAreEmptyAndThereIsNoDefault) {
    ASSERT_EQ(sound_cards(), 0);
    for (const AudioFlow flow : {AudioFlow::render, AudioFlow::capture}) {
        EXPECT_EQ(count_endpoints(*m_enumerator, flow), 0);
        AudioPtr<AudioDevice> device;
        EXPECT_EQ(audio_default_device(*m_enumerator, flow, device), k_audio_not_found);
        EXPECT_EQ(audio_active_device(*m_enumerator, flow, 0, device), k_audio_not_found);
        EXPECT_EQ(device, nullptr);
    }
}
