// The audio seam with three virtual cards and two endpoints with names out of the common.
#include "contract/audio_support.h"

#include <set>

using AudioWithManyCards = AudioContract;

TEST_F(AudioWithManyCards, EveryCardIsInTheLists) {
    ASSERT_EQ(sound_cards(), 3);
    for (int card = 1; card <= 3; ++card) {
        const std::string number = std::to_string(card);
        EXPECT_TRUE(find_endpoint(*m_enumerator, AudioFlow::render, "Virtual voice " + number));
        EXPECT_TRUE(find_endpoint(*m_enumerator, AudioFlow::render, "Virtual speaker " + number));
        EXPECT_TRUE(
            find_endpoint(*m_enumerator, AudioFlow::capture, "Virtual microphone " + number));
    }
    if (lists_hold_cards_only()) {
        EXPECT_EQ(count_endpoints(*m_enumerator, AudioFlow::render), 8); // with the odd names
        EXPECT_EQ(count_endpoints(*m_enumerator, AudioFlow::capture), 3);
    }
}

TEST_F(AudioWithManyCards, EachMicrophoneHearsItsOwnCard) {
    Microphone second = open_microphone(*m_enumerator, "Virtual microphone 2");
    Microphone third = open_microphone(*m_enumerator, "Virtual microphone 3");
    Speaker voice_2 = open_speaker(*m_enumerator, "Virtual voice 2");
    Speaker voice_3 = open_speaker(*m_enumerator, "Virtual voice 3");
    ASSERT_TRUE(second.service && third.service && voice_2.service && voice_3.service);
    for (AudioClient* client :
         {second.client.get(), third.client.get(), voice_2.client.get(), voice_3.client.get()}) {
        ASSERT_EQ(audio_client_start(*client), k_audio_ok);
    }
    const TonePlayer player_2(voice_2, 440.0, 1000.0, 0.5F);
    const TonePlayer player_3(voice_3, 600.0, 1500.0, 0.25F);
    EXPECT_TRUE(hears_tone(second, 440.0, 1000.0, 0.5));
    EXPECT_TRUE(hears_tone(third, 600.0, 1500.0, 0.25));
}

TEST_F(AudioWithManyCards, NamesAreWholeUtf8) {
    EXPECT_TRUE(find_endpoint(*m_enumerator, AudioFlow::render,
                              "Altavoz del salón \xE2\x80\x94 señal \xF0\x9F\x8E\xA7"));
    // 300 bytes, of which a caller with a fixed buffer cuts what it has no room for.
    std::string long_name;
    for (int i = 0; i < 150; ++i) {
        long_name += "ñ";
    }
    EXPECT_TRUE(find_endpoint(*m_enumerator, AudioFlow::render, long_name));
}
