// Entering a voice room and leaving it.
#include "hub_fixture.h"

#include "backend/endpoints.h"
#include "backend/identity.h"
#include "base/clock.h"
#include "base/text.h"
#include "core/peer.h"
#include "ui/hub/hub_internal.h"
#include "ui/hub/hub_rooms_internal.h"
#include "ui/localisation.h"
#include "ui/room/room_internal.h"
#include "voice/voice_connection.h"

#include <functional>
#include <utility>

namespace {

constexpr const char* k_members = "GET /api/spaces/s1/members";

/// What the core was told, and what was to be seen then.
Texts g_told;

class HubVoice : public HubTest {
  protected:
    HubVoice() {
        g_told.clear();
        answer(k_members, 200, R"({"members":[]})");
    }

    static void tell(const std::string& what) { g_told.push_back(what + ", " + popup_text()); }

    /// A core that connects, and tells the interface so, as the real one does.
    static void listen() {
        play_core();
        static const GuiConnectCallback connect = g_on_connect;
        static const GuiJoinRoomCallback join = g_on_join_room;
        GUI_SetConnectCallback([](const char* name, const char* url) {
            tell(std::string("connect ") + name + " " + url);
            connect(name, url);
        });
        GUI_SetJoinRoomCallback([](const char* room_id) {
            tell(std::string("join ") + room_id);
            join(room_id);
        });
    }

    /// The two messages of a connection that fails: the core's comes first.
    static void expect_failure_messages() {
        EXPECT_EQ(take_alert(), failure("Error de conexión", "No se pudo conectar al servidor"));
        EXPECT_EQ(take_alert(), failure("Error", "No se pudo conectar al servidor de voz "
                                                 "(udp://backend.example:3602)"));
        EXPECT_TRUE(no_window_over_the_hub());
    }

    void lose_connection() {
        Network_SetDisconnectedCallback(nullptr);
        GUI_UpdateConnectionState(0);
    }
};

TEST_F(HubVoice, JoiningConnectsBehindAPopupAndShowsTheUserInTheRoom) {
    answer_voice();
    run_interface([this] {
        listen();
        show_hub_of_two_rooms();
        EXPECT_TRUE(connect_and_join_voice_room_by_index(1, false));
        EXPECT_EQ(g_told, (Texts{"connect ana udp://backend.example:3602, Ingresando a la sala...",
                                 "join r2, no popup"}));
        EXPECT_EQ(voice_journal(), (Texts{"connect", "join r2"}));
        EXPECT_TRUE(g_is_connected);
        EXPECT_FALSE(g_joining_room_transition);
        EXPECT_FALSE(g_room_join_loading_active);
        EXPECT_EQ(g_loading_popup, nullptr);
        EXPECT_TRUE(no_window_over_the_hub());
        EXPECT_EQ(g_selected_room_index, 1);
        EXPECT_STREQ(g_current_room, "Cine");
        EXPECT_STREQ(g_hub_presence_room_id, "r2");
        EXPECT_STREQ(g_server_url, "backend.example:3602");
        EXPECT_EQ(present(), Texts{"ana"});
        EXPECT_EQ(list_lines(), (Texts{"Uno", "  General", "  Cine", "    ana"}));
        EXPECT_EQ(visible_page(), "hub");
        EXPECT_EQ(requests(), Texts{k_members});
        EXPECT_EQ(g_state, 3);
    });
}

TEST_F(HubVoice, TheChosenNameComesFirst) {
    answer_voice();
    copy_text(g_display_name, "Anita");
    run_interface([] {
        copy_text(g_display_name, "Anita"); // the settings had none
        listen();
        show_hub_of_two_rooms();
        connect_and_join_voice_room_by_index(0, false);
        EXPECT_EQ(g_told.at(0).substr(0, 14), "connect Anita ");
        EXPECT_EQ(present(), Texts{"Anita"});
    });
}

TEST_F(HubVoice, JoiningMayShowTheRoomsPage) {
    answer_voice();
    run_interface([] {
        listen();
        show_hub_of_two_rooms();
        EXPECT_TRUE(connect_and_join_voice_room_by_index(1, true));
        EXPECT_EQ(visible_page(), "main");
        switch_to_hub_page();
        EXPECT_TRUE(connect_and_join_voice_room_by_index(1, true));
        EXPECT_EQ(visible_page(), "main");
    });
}

TEST_F(HubVoice, TheRoomsChatSaysWhereTheUserIs) {
    answer_voice();
    run_interface([] {
        listen();
        show_hub_of_two_rooms();
        connect_and_join_voice_room_by_index(1, false);
        EXPECT_NE(contents(g_chat_buffer).find("Te has unido a la sala Cine"), std::string::npos);
    });
}

TEST_F(HubVoice, ARoomOutOfRangeIsNotJoined) {
    answer_voice();
    run_interface([this] {
        listen();
        show_hub_of_two_rooms();
        EXPECT_FALSE(connect_and_join_voice_room_by_index(-1, true));
        EXPECT_FALSE(connect_and_join_voice_room_by_index(2, true));
        EXPECT_EQ(voice_journal(), Texts{});
        EXPECT_EQ(g_selected_room_index, -1);
        EXPECT_EQ(visible_page(), "hub");
    });
}

TEST_F(HubVoice, TheRoomThatOneIsInIsOnlySelected) {
    answer_voice();
    run_interface([this] {
        listen();
        show_hub_of_two_rooms();
        connect_and_join_voice_room_by_index(1, false);
        show_peers({make_peer("leo")});
        g_selected_room_index = -1;
        copy_text(g_hub_rooms[1].name, "Cine club");
        g_told.clear();
        EXPECT_TRUE(connect_and_join_voice_room_by_index(1, false));
        EXPECT_EQ(voice_journal(), (Texts{"connect", "join r2"}));
        EXPECT_EQ(g_told, Texts{});
        EXPECT_EQ(g_selected_room_index, 1);
        EXPECT_STREQ(g_current_room, "Cine club");
        EXPECT_EQ(present(), (Texts{"ana", "leo"}));
    });
}

void speak(float level) {
    GUI_UpdateAudioLevel(level);
    update_audio_meter(nullptr);
}

TEST_F(HubVoice, ARoomWhoseTransportIsGoneIsJoinedAnew) {
    answer_voice();
    run_interface([this] {
        listen();
        show_hub_of_two_rooms();
        connect_and_join_voice_room_by_index(1, false);
        Network_SetDisconnectedCallback(nullptr); // nobody tells the interface
        Network_Disconnect();
        ASSERT_TRUE(g_is_connected);
        EXPECT_TRUE(connect_and_join_voice_room_by_index(1, false));
        EXPECT_EQ(voice_journal(),
                  (Texts{"connect", "join r2", "disconnect", "connect", "join r2"}));
        // Nor does what was heard in a room that is gone count as speech in the next.
        speak(1.0F);
        Network_Disconnect();
        voice.fail_resolve_with = 11001;
        EXPECT_FALSE(connect_and_join_voice_room_by_index(0, false));
        update_audio_meter(nullptr);
        EXPECT_FALSE(g_is_speaking);
        EXPECT_EQ(present(), Texts{});
    });
}

TEST_F(HubVoice, JoiningAnotherRoomLeavesTheFirstBehindTheSamePopup) {
    answer_voice();
    run_interface([this] {
        listen();
        show_hub_of_two_rooms();
        connect_and_join_voice_room_by_index(0, false);
        show_peers({make_peer("leo")});
        g_told.clear();
        EXPECT_TRUE(connect_and_join_voice_room_by_index(1, false));
        EXPECT_EQ(voice_journal(),
                  (Texts{"connect", "join r1", "disconnect", "connect", "join r2"}));
        EXPECT_EQ(g_told.at(0), "connect ana udp://backend.example:3602, Ingresando a la sala...");
        EXPECT_TRUE(g_is_connected);
        EXPECT_EQ(list_lines(), (Texts{"Uno", "  General", "  Cine", "    ana"}));
        EXPECT_EQ(g_loading_popup, nullptr);
    });
}

TEST_F(HubVoice, AFailedConnectLeavesTheRoomEmptyAndSaysWhere) {
    voice.fail_resolve_with = 11001;
    run_interface([this] {
        listen();
        show_hub_of_two_rooms();
        GUI_UpdateConnectionState(2); // connected, and in no room
        EXPECT_FALSE(connect_and_join_voice_room_by_index(1, true));
        EXPECT_EQ(g_told, Texts{"connect ana udp://backend.example:3602, Ingresando a la sala..."});
        EXPECT_EQ(g_loading_popup, nullptr);
        EXPECT_EQ(g_state, 2); // of a failed connection the core shows none
        expect_failure_messages();
        EXPECT_STREQ(g_hub_presence_room_id, "r2");
        EXPECT_EQ(g_hub_room_presence_count, 0);
        EXPECT_FALSE(g_is_connected);
        EXPECT_FALSE(g_joining_room_transition);
        EXPECT_FALSE(g_room_join_loading_active);
        EXPECT_EQ(visible_page(), "hub");
        EXPECT_EQ(list_lines(), (Texts{"Uno", "  General", "  Cine"}));
    });
}

TEST_F(HubVoice, AFailedChangeOfRoomsLeavesTheFirst) {
    answer_voice();
    run_interface([this] {
        listen();
        show_hub_of_two_rooms();
        connect_and_join_voice_room_by_index(0, false);
        show_peers({make_peer("leo")});
        speak(1.0F);
        voice.fail_resolve_with = 11001;
        EXPECT_FALSE(connect_and_join_voice_room_by_index(1, false));
        EXPECT_EQ(g_loading_popup, nullptr);
        EXPECT_FALSE(g_room_join_loading_active);
        EXPECT_FALSE(g_joining_room_transition);
        expect_failure_messages();
        EXPECT_FALSE(g_is_connected);
        EXPECT_EQ(g_state, 0); // that of the connection before
        EXPECT_EQ(present(), Texts{});
        EXPECT_EQ(list_lines(), (Texts{"Uno", "  General", "  Cine"}));
        update_audio_meter(nullptr);
        EXPECT_FALSE(g_is_speaking);
        for (int i = 0; i < 2; ++i) { // mutes, and no more
            on_mute_clicked(g_mute_btn, nullptr);
            update_audio_meter(nullptr);
        }
        EXPECT_EQ(present(), Texts{});
        voice.fail_resolve_with = 0;
        EXPECT_TRUE(connect_and_join_voice_room_by_index(1, false));
        EXPECT_EQ(list_lines(), (Texts{"Uno", "  General", "  Cine", "    ana"}));
    });
}

TEST_F(HubVoice, ARoomStaysSelectedWhereThePopupsLoopHasListedItAnew) {
    answer_voice();
    answer_rooms("s1", {"r0:Primera", "r1:General", "r2:Cine"});
    run_interface([this] {
        listen();
        show_hub_of_two_rooms();
        do_behind_popup(load_rooms_for_selected_server);
        EXPECT_TRUE(connect_and_join_voice_room_by_index(1, false));
        EXPECT_EQ(voice_journal(), (Texts{"connect", "join r2"}));
        EXPECT_EQ(g_selected_room_index, 2);
        EXPECT_STREQ(g_current_room, "Cine");
    });
}

TEST_F(HubVoice, WithoutACoreNothingIsJoined) {
    run_interface([this] {
        show_hub_of_two_rooms();
        EXPECT_FALSE(connect_and_join_voice_room_by_index(0, false));
        EXPECT_EQ(take_alert().title, "Error");
        on_back_to_hub_clicked(nullptr, nullptr);
        EXPECT_EQ(voice.sent().size(), 0U);
    });
}

TEST_F(HubVoice, AWindowClosedWhileThePopupComesUpEndsTheJoin) {
    answer_voice();
    run_interface([this] {
        listen();
        show_hub_of_two_rooms();
        close_window_behind_popup();
        EXPECT_FALSE(connect_and_join_voice_room_by_index(0, false));
        EXPECT_EQ(voice_journal(), Texts{});
        EXPECT_FALSE(g_is_connected);
    });
}

TEST_F(HubVoice, AWindowClosedWhileAnotherRoomIsEnteredJoinsNothingOverTheOldConnection) {
    answer_voice();
    run_interface([this] {
        listen();
        show_hub_of_two_rooms();
        connect_and_join_voice_room_by_index(0, false);
        close_window_behind_popup();
        EXPECT_FALSE(connect_and_join_voice_room_by_index(1, false));
        EXPECT_EQ(voice_journal(), (Texts{"connect", "join r1"}));
        EXPECT_FALSE(g_is_connected);
    });
}

// --- Leaving ---

TEST_F(HubVoice, ALostConnectionEndsTheRoom) {
    answer_voice();
    run_interface([this] {
        listen();
        show_hub_of_two_rooms();
        connect_and_join_voice_room_by_index(1, false);
        lose_connection();
        EXPECT_FALSE(g_is_connected);
        EXPECT_STREQ(g_hub_presence_room_id, "");
        EXPECT_EQ(list_lines(), (Texts{"Uno", "  General", "  Cine"}));
        // The transport still counts as connected; entering the same room begins anew.
        EXPECT_TRUE(connect_and_join_voice_room_by_index(1, false));
        EXPECT_EQ(voice_journal(),
                  (Texts{"connect", "join r2", "disconnect", "connect", "join r2"}));
    });
}

TEST_F(HubVoice, StatesThatAreNoLossLeaveTheRoomAsItIs) {
    answer_voice();
    run_interface([] {
        listen();
        show_hub_of_two_rooms();
        connect_and_join_voice_room_by_index(1, false);
        for (const int state : {1, 2, 3, 7}) {
            GUI_UpdateConnectionState(state);
            EXPECT_TRUE(g_is_connected);
        }
        g_joining_room_transition = true;
        GUI_UpdateConnectionState(0);
        EXPECT_TRUE(g_is_connected);
        g_joining_room_transition = false;
    });
}

TEST_F(HubVoice, BackToTheHubLeavesTheRoom) {
    answer_voice();
    run_interface([this] {
        listen();
        show_hub_of_two_rooms();
        connect_and_join_voice_room_by_index(1, true);
        on_back_to_hub_clicked(nullptr, nullptr);
        EXPECT_EQ(voice_journal(), (Texts{"connect", "join r2", "leave {}", "disconnect"}));
        EXPECT_FALSE(Network_IsConnected());
        EXPECT_FALSE(g_is_connected);
        EXPECT_EQ(g_state, 0);
        EXPECT_STREQ(g_hub_presence_room_id, "");
        EXPECT_EQ(list_lines(), (Texts{"Uno", "  General", "  Cine"}));
        EXPECT_EQ(visible_page(), "hub");
        EXPECT_EQ(contents(g_chat_buffer), "");
        EXPECT_TRUE(children_of(g_peers_list).empty());
    });
}

TEST_F(HubVoice, BackToTheSpacesDisconnectsOnTheSamePage) {
    answer_voice();
    run_interface([this] {
        listen();
        show_hub_of_two_rooms();
        connect_and_join_voice_room_by_index(1, false);
        switch_to_rooms_page();
        on_back_to_servers_clicked(nullptr, nullptr);
        EXPECT_EQ(voice_journal(), (Texts{"connect", "join r2", "disconnect"}));
        EXPECT_FALSE(g_is_connected);
        EXPECT_EQ(g_state, 0);
        EXPECT_EQ(visible_page(), "rooms");
        EXPECT_EQ(list_lines(), (Texts{"Uno", "  General", "  Cine"}));
    });
}

// The meter's timer is the shell's: here it ticks when it is told to.
TEST_F(HubVoice, WhoLeavesInTheMiddleOfAWordIsSilentInTheNextRoom) {
    answer_voice();
    run_interface([this] {
        listen();
        show_hub_of_two_rooms();
        const std::function<void()> ways[] = {[] { on_back_to_hub_clicked(nullptr, nullptr); },
                                              [] { on_back_to_servers_clicked(nullptr, nullptr); },
                                              [this] { lose_connection(); }};
        for (const auto& leave : ways) {
            connect_and_join_voice_room_by_index(1, false);
            speak(1.0F);
            ASSERT_TRUE(g_is_speaking);
            leave();
            connect_and_join_voice_room_by_index(0, false);
            update_audio_meter(nullptr);
            EXPECT_FALSE(g_is_speaking);
        }
    });
}

TEST_F(HubVoice, WhoGoesOnTalkingInAnotherRoomIsToldOfThere) {
    answer_voice();
    run_interface([this] {
        listen();
        show_hub_of_two_rooms();
        connect_and_join_voice_room_by_index(0, false);
        speak(1.0F);
        connect_and_join_voice_room_by_index(1, false);
        speak(1.0F); // what the microphone hears next
        EXPECT_EQ(voice_journal(), (Texts{"connect", "join r1", "speaking 1", "disconnect",
                                          "connect", "join r2", "speaking 1"}));
        speak(0.0F);
    });
}

TEST_F(HubVoice, AClosedWindowInARoomAsksNobodyAnything) {
    answer_voice();
    run_interface([this] {
        listen();
        show_hub_of_two_rooms();
        connect_and_join_voice_room_by_index(1, false);
        forget_requests();
    });
    g_hub_space_users_space_id[0] = '\0';
    Network_Disconnect();
    EXPECT_FALSE(g_is_connected);
    EXPECT_EQ(requests(), Texts{});
}

} // namespace
