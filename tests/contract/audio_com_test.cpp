// What the Windows half of the audio seam promises about COM.
#include "contract/audio_support.h"

#include <objbase.h>

namespace {

/// Runs on a thread of its own, because COM is set up per thread.
template <typename Body>
void on_fresh_thread(Body body) {
    std::thread(body).join();
}

} // namespace

TEST(AudioCom, SecondInitialiseSucceedsAndIsBalanced) {
    on_fresh_thread([] {
        EXPECT_EQ(audio_system_init(), k_audio_ok);
        EXPECT_EQ(audio_system_init(), 1); // set up before, in the same mode
        audio_system_uninit();
        // Still set up ...
        EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_FALSE);
        CoUninitialize();
        audio_system_uninit();
        // ... and now not any more.
        EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
        CoUninitialize();
    });
}

TEST(AudioCom, OtherModeIsToldAndLeftToWhoSetItUp) {
    on_fresh_thread([] {
        ASSERT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
        EXPECT_EQ(audio_system_init(), k_audio_changed_mode);
        audio_system_uninit();
        EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_FALSE); // still there
        CoUninitialize();

        // Audio works in that mode as well.
        AudioPtr<AudioEnumerator> enumerator;
        EXPECT_EQ(audio_enumerator_create(enumerator), k_audio_ok);
        if (enumerator) {
            EXPECT_GE(count_endpoints(*enumerator, AudioFlow::render), 2);
        }
        enumerator.reset();
        CoUninitialize();
    });
}

TEST(AudioCom, WithoutItThereIsNoEnumerator) {
    on_fresh_thread([] {
        AudioPtr<AudioEnumerator> enumerator;
        EXPECT_FALSE(audio_ok(audio_enumerator_create(enumerator)));
        EXPECT_FALSE(enumerator);
    });
}
