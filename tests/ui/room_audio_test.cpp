// The audio bar, and the meter that decides whether the local user speaks.
#include "room_fixture.h"

#include "base/text.h"
#include "support/fake_udp_socket.h"
#include "ui/hub/hub_rooms_internal.h"
#include "ui/localisation.h"
#include "ui/room/room_internal.h"
#include "voice/voice_connection.h"
#include "voice/voice_packet.h"

#include <limits>
#include <thread>

namespace {

class AudioBar : public RoomTest {
  protected:
    AudioBar() { g_states.clear(); }

    static std::vector<bool> g_states; // what the core was told
};

std::vector<bool> AudioBar::g_states;

std::string icon(GtkWidget* button) {
    return gtk_button_get_icon_name(GTK_BUTTON(button));
}

void expect_pressed(GtkWidget* button, bool pressed) {
    const GCharPtr difference(gtk_test_accessible_check_state(
        GTK_ACCESSIBLE(button), GTK_ACCESSIBLE_STATE_PRESSED,
        pressed ? GTK_ACCESSIBLE_TRISTATE_TRUE : GTK_ACCESSIBLE_TRISTATE_FALSE));
    EXPECT_EQ(difference, nullptr) << difference.get();
}

TEST_F(AudioBar, HoldsNameStatusTogglesAndTheWayBack) {
    run_interface([] {
        GtkWidget* const bar = gtk_widget_get_last_child(g_main_page);
        EXPECT_TRUE(has_class(bar, "audio-bar"));
        EXPECT_EQ(children_of(bar),
                  (std::vector<GtkWidget*>{g_user_label, g_status_label, g_mute_btn, g_deafen_btn,
                                           g_back_to_hub_btn}));
        EXPECT_TRUE(has_class(g_user_label, "user-name"));
        EXPECT_TRUE(gtk_widget_get_hexpand(g_user_label));
        EXPECT_EQ(label(g_user_label), "");
        EXPECT_TRUE(has_class(g_status_label, "status-text"));
        EXPECT_EQ(label(g_status_label), "Conectando...");
        EXPECT_TRUE(has_class(g_mute_btn, "audio-control"));
        EXPECT_EQ(icon(g_mute_btn), "microphone-sensitivity-high-symbolic");
        EXPECT_TRUE(has_class(g_deafen_btn, "audio-control"));
        EXPECT_EQ(icon(g_deafen_btn), "audio-volume-high-symbolic");
        EXPECT_TRUE(has_class(g_back_to_hub_btn, "btn-primary"));
        EXPECT_EQ(button_label(g_back_to_hub_btn), "Volver a tus espacios");
    });
}

TEST_F(AudioBar, MutingShowsItAndTellsTheNewState) {
    run_interface([] {
        GUI_SetMuteCallback([](bool on) { g_states.push_back(on); });
        for (const bool muted : {true, false, true}) {
            click(g_mute_btn);
            EXPECT_EQ(g_is_muted, muted);
            EXPECT_EQ(icon(g_mute_btn), muted ? "microphone-disabled-symbolic"
                                              : "microphone-sensitivity-high-symbolic");
            EXPECT_EQ(has_class(g_mute_btn, "muted"), muted);
            expect_pressed(g_mute_btn, muted);
            expect_tooltip_and_name(g_mute_btn, "Silenciar micrófono");
        }
        EXPECT_EQ(g_states, (std::vector<bool>{true, false, true}));
        EXPECT_FALSE(g_is_deafened);
        EXPECT_FALSE(has_class(g_deafen_btn, "muted"));
    });
}

TEST_F(AudioBar, DeafeningShowsItAndTellsTheNewState) {
    run_interface([] {
        GUI_SetDeafenCallback([](bool on) { g_states.push_back(on); });
        for (const bool deafened : {true, false, true}) {
            click(g_deafen_btn);
            EXPECT_EQ(g_is_deafened, deafened);
            EXPECT_EQ(icon(g_deafen_btn),
                      deafened ? "audio-volume-muted-symbolic" : "audio-volume-high-symbolic");
            EXPECT_EQ(has_class(g_deafen_btn, "muted"), deafened);
            expect_pressed(g_deafen_btn, deafened);
            expect_tooltip_and_name(g_deafen_btn, "Silenciar audio");
        }
        EXPECT_EQ(g_states, (std::vector<bool>{true, false, true}));
        EXPECT_FALSE(g_is_muted);
        EXPECT_FALSE(has_class(g_mute_btn, "muted"));
    });
}

TEST_F(AudioBar, WithNobodyToTellAndNoButtonTheStateChangesAllTheSame) {
    ASSERT_EQ(g_mute_btn, nullptr);
    on_mute_clicked(nullptr, nullptr);
    on_deafen_clicked(nullptr, nullptr);
    EXPECT_TRUE(g_is_muted);
    EXPECT_TRUE(g_is_deafened);
}

TEST_F(AudioBar, TheTogglesNamesAreSpanishInBothLanguages) {
    run_interface([] {
        g_language = k_language_english;
        apply_language_to_ui();
        on_mute_clicked(nullptr, nullptr);
        expect_tooltip_and_name(g_mute_btn, "Silenciar micrófono");
        expect_tooltip_and_name(g_deafen_btn, "Silenciar audio");
        expect_pressed(g_deafen_btn, false);
        EXPECT_EQ(button_label(g_back_to_hub_btn), "Back to your spaces");
    });
}

TEST_F(AudioBar, TheWayBackLeavesTheRoom) {
    run_interface([] {
        GUI_SetLeaveRoomCallback([] { g_states.push_back(true); });
        switch_to_main_page();
        g_is_connected = true;
        click(g_back_to_hub_btn);
        EXPECT_EQ(g_states.size(), 1U);
        EXPECT_FALSE(g_is_connected);
        EXPECT_EQ(visible_page(), "hub");
    });
}

constexpr std::uint64_t k_session = 7;

/// The meter as its timer calls it.
class Meter : public RoomTest {
  protected:
    ~Meter() override { Network_Disconnect(); }

    void tick(float level) {
        GUI_UpdateAudioLevel(level);
        EXPECT_EQ(update_audio_meter(nullptr), G_SOURCE_CONTINUE);
    }

    /// Connects to a voice server, which answers.
    void connect_voice() {
        udp.set_on_send([this](const SentDatagram& datagram) {
            if (datagram.bytes[0] == static_cast<std::uint8_t>(VoicePacketType::connect)) {
                std::vector<std::uint8_t> answer(k_voice_header_bytes);
                write_voice_packet(answer, VoicePacketType::connect_ack, k_session, 0, {});
                udp.deliver(answer);
            }
        });
        ASSERT_TRUE(Network_Init());
        ASSERT_TRUE(Network_Connect("udp://voice.example"));
    }

    /// What the voice server was told of the local user's speaking.
    std::vector<int> told_speaking() const {
        std::vector<int> states;
        for (const SentDatagram& datagram : udp.sent()) {
            if (datagram.bytes[0] == static_cast<std::uint8_t>(VoicePacketType::speaking)) {
                EXPECT_EQ(datagram.bytes.size(), k_voice_header_bytes + 1);
                states.push_back(datagram.bytes.back());
            }
        }
        return states;
    }

    FakeClock clock{100000};
    FakeUdp udp{clock};
};

TEST_F(Meter, SpeakingIsALevelAboveTheThresholdUnlessMuted) {
    struct Row {
        float level;
        bool muted;
        bool speaking;
    };
    constexpr Row k_rows[] = {
        {0.0F, false, false},   {0.05F, false, false},
        {0.0501F, false, true}, {1.0F, false, true},
        {-1.0F, false, false},  {std::numeric_limits<float>::quiet_NaN(), false, false},
        {0.0F, true, false},    {0.0501F, true, false},
        {1.0F, true, false},
    };
    for (const bool before : {false, true}) {
        for (const Row& row : k_rows) {
            g_is_muted = false;
            tick(before ? 1.0F : 0.0F);
            g_is_muted = row.muted;
            tick(row.level);
            EXPECT_EQ(g_is_speaking, row.speaking) << row.level << row.muted << before;
            EXPECT_EQ(g_was_speaking, row.speaking) << row.level << row.muted << before;
        }
    }
}

TEST_F(Meter, MutingWhileSpeakingEndsIt) {
    tick(1.0F);
    EXPECT_TRUE(g_is_speaking);
    on_mute_clicked(nullptr, nullptr);
    tick(1.0F);
    EXPECT_FALSE(g_is_speaking);
    on_mute_clicked(nullptr, nullptr);
    tick(1.0F);
    EXPECT_TRUE(g_is_speaking);
}

TEST_F(Meter, TheVoiceServerIsToldOfChangesOnly) {
    connect_voice();
    g_is_connected = true;
    for (const float level : {0.0F, 0.5F, 0.9F, 0.06F, 0.05F, 0.0F, 0.2F}) {
        tick(level);
    }
    EXPECT_EQ(told_speaking(), (std::vector<int>{1, 0, 1}));
}

TEST_F(Meter, OutOfARoomTheVoiceServerIsToldNothing) {
    connect_voice();
    tick(1.0F);
    tick(0.0F);
    EXPECT_TRUE(told_speaking().empty());
}

TEST_F(Meter, ThePresenceIsRenewedOnAChangeWhereThereIsARoom) {
    run_interface([this] {
        copy_text(g_hub_presence_room_id, "r1");
        show_peers({make_peer("luis", true)});
        ASSERT_EQ(g_hub_room_presence_count, 2);
        EXPECT_FALSE(g_hub_room_presence[0].speaking);
        tick(1.0F);
        ASSERT_EQ(g_hub_room_presence_count, 2);
        EXPECT_TRUE(g_hub_room_presence[0].speaking);
        EXPECT_TRUE(g_hub_room_presence[1].speaking);

        g_hub_room_presence_count = 0;
        tick(0.9F); // no change
        EXPECT_EQ(g_hub_room_presence_count, 0);
        tick(0.0F);
        ASSERT_EQ(g_hub_room_presence_count, 2);
        EXPECT_FALSE(g_hub_room_presence[0].speaking);

        g_hub_presence_room_id[0] = '\0';
        g_hub_room_presence_count = 1; // whatever it is stays without a room
        tick(1.0F);
        EXPECT_EQ(g_hub_room_presence_count, 1);
    });
}

TEST_F(Meter, TheLocalDotIsSwitched) {
    run_interface([this] {
        show_peers({make_peer("luis")});
        tick(1.0F);
        EXPECT_EQ(speaking_names(), (Texts{"Anita (Tú)"}));
        tick(0.0F);
        EXPECT_EQ(speaking_names(), Texts{});
    });
}

TEST_F(Meter, ShowsTheLevelWhateverItIs) {
    keep(g_audio_meter, gtk_level_bar_new());
    const GObjectPtr<GtkWidget> owner(GTK_WIDGET(g_object_ref_sink(g_audio_meter)));
    const auto shown = [] { return gtk_level_bar_get_value(GTK_LEVEL_BAR(g_audio_meter)); };
    for (const float level : {0.0F, 0.03F, 0.5F, 1.0F}) {
        tick(level);
        EXPECT_FLOAT_EQ(static_cast<float>(shown()), level);
    }
    tick(7.0F);
    EXPECT_EQ(shown(), 1.0);
    tick(-1.0F);
    EXPECT_EQ(shown(), 0.0);
    tick(0.5F);
    tick(std::numeric_limits<float>::quiet_NaN());
    EXPECT_EQ(shown(), 0.0);
    g_is_muted = true;
    tick(0.5F); // the level is shown all the same
    EXPECT_EQ(shown(), 0.5);
}

TEST_F(Meter, TheLevelMayComeFromAnotherThread) {
    std::thread([] { GUI_UpdateAudioLevel(0.75F); }).join();
    EXPECT_EQ(g_audio_level.load(), 0.75F);
    update_audio_meter(nullptr);
    EXPECT_TRUE(g_is_speaking);
}

TEST_F(Meter, TheWindowsTimerRunsIt) {
    run_interface([] {
        GUI_UpdateAudioLevel(1.0F);
        wait_until([] { return g_is_speaking; });
    });
}

} // namespace
