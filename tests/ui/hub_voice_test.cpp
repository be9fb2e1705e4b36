// Entering a voice room, who is shown in it, and leaving it.
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

std::string popup_text() {
    const Texts texts =
        g_loading_popup != nullptr && gtk_widget_get_mapped(g_loading_popup) != FALSE
            ? label_texts(g_loading_popup)
            : Texts{};
    return texts.empty() ? "no popup" : texts.front();
}

class HubVoice : public HubTest {
  protected:
    HubVoice() {
        g_told.clear();
        answer(k_members, 200, R"({"members":[]})");
    }

    /// A space with two rooms, selected; the hub is shown.
    static void enter_space() {
        add_space("s1", "Uno", {"r1:General", "r2:Cine"});
        add_rooms({"r1:General", "r2:Cine"});
        g_selected_server_index = 0;
        copy_text(g_selected_space_id, "s1");
        show_hub();
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

    static Texts present() {
        Texts names;
        for (std::int32_t i = 0; i < g_hub_room_presence_count; ++i) {
            names.push_back(std::string(g_hub_room_presence[i].username) +
                            (g_hub_room_presence[i].speaking ? "*" : ""));
        }
        return names;
    }

    static std::string room_chat() {
        GtkTextIter start;
        GtkTextIter end;
        gtk_text_buffer_get_bounds(g_chat_buffer, &start, &end);
        const GCharPtr text(gtk_text_buffer_get_text(g_chat_buffer, &start, &end, FALSE));
        return text.get();
    }

    static void show_peers(const std::vector<Peer>& peers) {
        sync_hub_room_presence_from_peers(peers.data(), static_cast<std::int32_t>(peers.size()));
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
        enter_space();
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
        enter_space();
        connect_and_join_voice_room_by_index(0, false);
        EXPECT_EQ(g_told.at(0).substr(0, 14), "connect Anita ");
        EXPECT_EQ(present(), Texts{"Anita"});
    });
}

TEST_F(HubVoice, JoiningMayShowTheRoomsPage) {
    answer_voice();
    run_interface([] {
        listen();
        enter_space();
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
        enter_space();
        connect_and_join_voice_room_by_index(1, false);
        EXPECT_NE(room_chat().find("Te has unido a la sala Cine"), std::string::npos);
    });
}

TEST_F(HubVoice, ARoomOutOfRangeIsNotJoined) {
    answer_voice();
    run_interface([this] {
        listen();
        enter_space();
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
        enter_space();
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

TEST_F(HubVoice, JoiningAnotherRoomLeavesTheFirstBehindTheSamePopup) {
    answer_voice();
    run_interface([this] {
        listen();
        enter_space();
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
        enter_space();
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
        enter_space();
        connect_and_join_voice_room_by_index(0, false);
        show_peers({make_peer("leo")});
        voice.fail_resolve_with = 11001;
        EXPECT_FALSE(connect_and_join_voice_room_by_index(1, false));
        EXPECT_EQ(g_loading_popup, nullptr);
        EXPECT_FALSE(g_room_join_loading_active);
        EXPECT_FALSE(g_joining_room_transition);
        expect_failure_messages();
        EXPECT_FALSE(g_is_connected);
        EXPECT_EQ(g_state, 0); // that of the connection before
        EXPECT_EQ(list_lines(), (Texts{"Uno", "  General", "  Cine"}));
        resync_hub_room_presence(); // as the meter does
        EXPECT_EQ(present(), Texts{"ana"});
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
        enter_space();
        do_behind_popup(load_rooms_for_selected_server);
        EXPECT_TRUE(connect_and_join_voice_room_by_index(1, false));
        EXPECT_EQ(voice_journal(), (Texts{"connect", "join r2"}));
        EXPECT_EQ(g_selected_room_index, 2);
        EXPECT_STREQ(g_current_room, "Cine");
    });
}

TEST_F(HubVoice, WithoutACoreNothingIsJoined) {
    run_interface([this] {
        enter_space();
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
        enter_space();
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
        enter_space();
        connect_and_join_voice_room_by_index(0, false);
        close_window_behind_popup();
        EXPECT_FALSE(connect_and_join_voice_room_by_index(1, false));
        EXPECT_EQ(voice_journal(), (Texts{"connect", "join r1"}));
        EXPECT_FALSE(g_is_connected);
    });
}

// --- Who is present ---

TEST_F(HubVoice, OfFortyPeersTheFirstThirtyTwoAreShown) {
    run_interface([] {
        enter_space();
        copy_text(g_hub_presence_room_id, "r1");
        std::vector<Peer> peers;
        for (int i = 0; i < 40; ++i) {
            peers.push_back(make_peer("p" + std::to_string(i), i % 2 != 0));
        }
        show_peers(peers);
        ASSERT_EQ(g_hub_room_presence_count, 33);
        EXPECT_EQ(present().at(0), "ana");
        EXPECT_EQ(present().at(1), "p0");
        EXPECT_EQ(present().at(32), "p31*");
        EXPECT_EQ(rows().size(), 3U + 33U);
    });
}

TEST_F(HubVoice, NamelessPeersAndANamelessUserAreLeftOut) {
    run_interface([] {
        enter_space();
        copy_text(g_hub_presence_room_id, "r1");
        g_username[0] = '\0';
        show_peers({make_peer(""), make_peer("leo", true), make_peer("")});
        EXPECT_EQ(present(), Texts{"leo*"});
    });
}

TEST_F(HubVoice, TheUserSpeaksWhileTheMeterSaysSoAndThePeersStay) {
    run_interface([] {
        enter_space();
        copy_text(g_hub_presence_room_id, "r1");
        show_peers({make_peer("leo", true)});
        g_is_speaking = true;
        resync_hub_room_presence();
        EXPECT_EQ(list_lines(), (Texts{"Uno", "  General", "    ana*", "    leo*", "  Cine"}));
        g_is_speaking = false;
        resync_hub_room_presence();
        EXPECT_EQ(present(), (Texts{"ana", "leo*"}));
    });
}

TEST_F(HubVoice, OutsideARoomNobodyIsPresent) {
    run_interface([this] {
        enter_space();
        g_hub_room_presence_count = 5;
        show_peers({make_peer("leo")});
        EXPECT_EQ(g_hub_room_presence_count, 0);
        EXPECT_EQ(requests(), Texts{});
        resync_hub_room_presence();
        EXPECT_EQ(g_hub_room_presence_count, 0);
    });
}

TEST_F(HubVoice, WhileJoiningTheListIsLeftAlone) {
    run_interface([] {
        enter_space();
        copy_text(g_hub_presence_room_id, "r1");
        g_joining_room_transition = true;
        show_peers({make_peer("leo")});
        EXPECT_EQ(list_lines(), (Texts{"Uno", "  General", "  Cine"}));
        EXPECT_EQ(present(), (Texts{"ana", "leo"}));
        g_joining_room_transition = false;
    });
}

TEST_F(HubVoice, ClearingForgetsTheRoomAndItsPeople) {
    run_interface([] {
        enter_space();
        copy_text(g_hub_presence_room_id, "r1");
        show_peers({make_peer("leo")});
        clear_hub_room_presence();
        EXPECT_STREQ(g_hub_presence_room_id, "");
        EXPECT_EQ(list_lines(), (Texts{"Uno", "  General", "  Cine"}));
        copy_text(g_hub_presence_room_id, "r1");
        resync_hub_room_presence();
        EXPECT_EQ(present(), Texts{"ana"});
    });
}

TEST_F(HubVoice, MembersAreAskedForOnceInTwentySeconds) {
    run_interface([this] {
        const FakeClock clock;
        enter_space();
        copy_text(g_hub_presence_room_id, "r1");
        show_peers({});
        clock_sleep_ms(20000);
        show_peers({make_peer("leo")});
        EXPECT_EQ(requests(), Texts{k_members});
        clock_sleep_ms(1);
        show_peers({});
        EXPECT_EQ(requests(), (Texts{k_members, k_members}));
        copy_text(g_selected_space_id, "s2"); // another space's are not these
        show_peers({});
        EXPECT_EQ(requests().back(), "GET /api/spaces/s2/members");
        copy_text(g_selected_space_id, "");
        show_peers({});
        EXPECT_EQ(requests().size(), 3U);
    });
}

TEST_F(HubVoice, MembersWhoseTableHoldsAnotherSpacesAreAskedForAgain) {
    run_interface([this] {
        const FakeClock clock;
        enter_space();
        sync_hub_space_users_from_room_presence();
        copy_text(g_hub_space_users_space_id, "s2");
        sync_hub_space_users_from_room_presence();
        EXPECT_EQ(requests(), (Texts{k_members, k_members}));
    });
}

TEST_F(HubVoice, RefusedMembersAreNotAskedForAtEachChangeOfSpeaking) {
    answer(k_members, 403, R"({"error":"Solo para miembros"})");
    run_interface([this] {
        const FakeClock clock;
        enter_space();
        begin_hub_room_presence("r1");
        show_peers({});
        show_peers({make_peer("leo", true)});
        clock_sleep_ms(20000);
        resync_hub_room_presence();
        EXPECT_EQ(requests(), Texts{k_members});
        clock_sleep_ms(1);
        resync_hub_room_presence();
        resync_hub_room_presence();
        EXPECT_EQ(requests(), (Texts{k_members, k_members}));
        EXPECT_EQ(log_lines().back(),
                  "[HUB][SPACE][USERS] members-load-fail spaceId=s1 error=Solo para miembros");
        copy_text(g_selected_space_id, "s2"); // that one may be willing
        show_peers({});
        EXPECT_EQ(requests().back(), "GET /api/spaces/s2/members");
        EXPECT_EQ(requests().size(), 3U);
    });
}

TEST_F(HubVoice, TheWaitAfterARefusalBeginsWithTheAnswer) {
    answer(k_members, 403, "{}");
    run_interface([this] {
        const FakeClock clock;
        enter_space();
        begin_hub_room_presence("r1");
        at_each_request([] { clock_sleep_ms(30000); });
        show_peers({});
        show_peers({make_peer("leo")});
        EXPECT_EQ(requests(), Texts{k_members});
    });
}

TEST_F(HubVoice, EnteringARoomAsksForRefusedMembersOnce) {
    answer_voice();
    answer(k_members, 403, "{}");
    run_interface([this] {
        listen();
        enter_space();
        run_room_text_and_voice_join(0, 0);
        EXPECT_EQ(requests(), Texts{k_members});
        run_room_text_and_voice_join(0, 1);
        EXPECT_EQ(requests(), (Texts{k_members, k_members}));
        EXPECT_EQ(present(), Texts{"ana"});
    });
}

TEST_F(HubVoice, LeavingARoomAsksForRefusedMembersOnce) {
    answer(k_members, 403, "{}");
    run_interface([this] {
        const FakeClock clock;
        play_core();
        enter_space();
        g_is_connected = true;
        begin_hub_room_presence("r1");
        show_peers({make_peer("leo")});
        clock_sleep_ms(20001);
        forget_requests();
        on_back_to_hub_clicked(nullptr, nullptr);
        EXPECT_EQ(requests(), Texts{k_members});
        EXPECT_EQ(list_lines(), (Texts{"Uno", "  General", "  Cine"}));
    });
}

TEST_F(HubVoice, MembersThatCannotBeLoadedAreOnlyLogged) {
    run_interface([this] {
        enter_space();
        answer(k_members, 403, R"({"error":"Solo para miembros"})");
        sync_hub_space_users_from_room_presence();
        EXPECT_EQ(log_lines().back(),
                  "[HUB][SPACE][USERS] members-load-fail spaceId=s1 error=Solo para miembros");
        EXPECT_TRUE(no_window_over_the_hub());
    });
}

TEST_F(HubVoice, TheRoomsPageShowsTheUserAlsoInAnEmptyList) {
    run_interface([] {
        switch_to_main_page();
        EXPECT_TRUE(children_of(g_peers_list).empty());
        g_is_connected = true;
        switch_to_main_page();
        EXPECT_EQ(children_of(g_peers_list).size(), 1U);
        switch_to_main_page();
        EXPECT_EQ(children_of(g_peers_list).size(), 1U);
        g_is_connected = false;
    });
}

// --- Leaving ---

TEST_F(HubVoice, ALostConnectionEndsTheRoom) {
    answer_voice();
    run_interface([this] {
        listen();
        enter_space();
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
        enter_space();
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
        enter_space();
        connect_and_join_voice_room_by_index(1, true);
        on_back_to_hub_clicked(nullptr, nullptr);
        EXPECT_EQ(voice_journal(), (Texts{"connect", "join r2", "leave {}", "disconnect"}));
        EXPECT_FALSE(Network_IsConnected());
        EXPECT_FALSE(g_is_connected);
        EXPECT_EQ(g_state, 0);
        EXPECT_STREQ(g_hub_presence_room_id, "");
        EXPECT_EQ(list_lines(), (Texts{"Uno", "  General", "  Cine"}));
        EXPECT_EQ(visible_page(), "hub");
        EXPECT_EQ(room_chat(), "");
        EXPECT_TRUE(children_of(g_peers_list).empty());
    });
}

TEST_F(HubVoice, BackToTheSpacesDisconnectsOnTheSamePage) {
    answer_voice();
    run_interface([this] {
        listen();
        enter_space();
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
void speak(float level) {
    GUI_UpdateAudioLevel(level);
    update_audio_meter(nullptr);
}

TEST_F(HubVoice, WhoLeavesInTheMiddleOfAWordIsSilentInTheNextRoom) {
    answer_voice();
    run_interface([this] {
        listen();
        enter_space();
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
        enter_space();
        connect_and_join_voice_room_by_index(0, false);
        speak(1.0F);
        connect_and_join_voice_room_by_index(1, false);
        update_audio_meter(nullptr);
        EXPECT_EQ(voice_journal(), (Texts{"connect", "join r1", "speaking 1", "disconnect",
                                          "connect", "join r2", "speaking 1"}));
        speak(0.0F);
    });
}

TEST_F(HubVoice, AClosedWindowInARoomAsksNobodyAnything) {
    answer_voice();
    run_interface([this] {
        listen();
        enter_space();
        connect_and_join_voice_room_by_index(1, false);
        forget_requests();
    });
    g_hub_space_users_space_id[0] = '\0';
    Network_Disconnect();
    EXPECT_FALSE(g_is_connected);
    EXPECT_EQ(requests(), Texts{});
}

} // namespace
