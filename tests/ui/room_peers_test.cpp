// The participants of the room: who is listed, and how.
#include "room_fixture.h"

#include "backend/hub_tables.h"
#include "backend/identity.h"
#include "base/text.h"
#include "chat/chat_connection.h"
#include "support/fake_clock.h"
#include "ui/hub/hub_chat_internal.h"
#include "ui/hub/hub_rooms_internal.h"
#include "ui/localisation.h"
#include "ui/room/room_internal.h"

namespace {

class RoomPeers : public RoomTest {};

std::string icon_of(GtkWidget* image) {
    return gtk_image_get_icon_name(GTK_IMAGE(image));
}

TEST_F(RoomPeers, TheLocalUserComesFirstThenThePeersInTheirOrder) {
    run_interface([] {
        show_peers({make_peer("luis"), make_peer("Berta"), make_peer("carla")});
        EXPECT_EQ(peer_names(), (Texts{"Anita (Tú)", "luis", "Berta", "carla"}));
        show_peers({make_peer("carla"), make_peer("luis")});
        EXPECT_EQ(peer_names(), (Texts{"Anita (Tú)", "carla", "luis"}));
        show_peers({});
        EXPECT_EQ(peer_names(), (Texts{"Anita (Tú)"}));
    });
}

TEST_F(RoomPeers, ARowIsBuiltAsDesigned) {
    run_interface([] {
        show_peers({make_peer("luis")});
        for (const PeerRow& row : peer_rows()) {
            EXPECT_TRUE(has_class(row.box, "peer-item"));
            EXPECT_EQ(gtk_orientable_get_orientation(GTK_ORIENTABLE(row.box)),
                      GTK_ORIENTATION_HORIZONTAL);
            EXPECT_EQ(gtk_box_get_spacing(GTK_BOX(row.box)), 8);
            EXPECT_EQ(gtk_widget_get_margin_start(row.box), 8);
            EXPECT_EQ(gtk_widget_get_margin_end(row.box), 8);
            EXPECT_EQ(gtk_widget_get_margin_top(row.box), 6);
            EXPECT_EQ(gtk_widget_get_margin_bottom(row.box), 6);
            EXPECT_EQ(label(row.dot), "●");
            EXPECT_TRUE(has_class(row.dot, "speaking-indicator"));
            EXPECT_TRUE(gtk_widget_get_hexpand(row.name));
            EXPECT_EQ(gtk_widget_get_halign(row.name), GTK_ALIGN_START);
            EXPECT_EQ(gtk_label_get_ellipsize(GTK_LABEL(row.name)), PANGO_ELLIPSIZE_END);
            EXPECT_FALSE(gtk_list_box_row_get_activatable(GTK_LIST_BOX_ROW(row.row)));
            EXPECT_FALSE(gtk_list_box_row_get_selectable(GTK_LIST_BOX_ROW(row.row)));
        }
        const std::vector<PeerRow> rows = peer_rows();
        EXPECT_TRUE(has_class(rows[0].name, "local-user"));
        EXPECT_FALSE(has_class(rows[1].name, "local-user"));
        EXPECT_EQ(icon_of(rows[0].microphone), "microphone-sensitivity-high-symbolic");
        EXPECT_EQ(label(rows[1].microphone), "🎤");
        EXPECT_NE(rows[0].button, nullptr);
        EXPECT_EQ(rows[1].button, nullptr);
    });
}

TEST_F(RoomPeers, TheLocalUserIsListedOnceWhicheverNameTheServerSays) {
    run_interface([] {
        show_peers({make_peer("ana"), make_peer("luis"), make_peer("Anita")});
        EXPECT_EQ(peer_names(), (Texts{"Anita (Tú)", "luis"}));
    });
}

TEST_F(RoomPeers, ANameThatOnlyResemblesOnesOwnIsSomebodyElse) {
    run_interface([] {
        show_peers({make_peer("ANA"), make_peer("anita"), make_peer("ana "), make_peer("an")});
        EXPECT_EQ(peer_names(), (Texts{"Anita (Tú)", "ANA", "anita", "ana ", "an"}));
    });
}

TEST_F(RoomPeers, WithoutADisplayNameTheUserNameIsShown) {
    run_interface([] {
        copy_text(g_display_name, "");
        show_peers({make_peer("ana"), make_peer("Anita")});
        EXPECT_EQ(peer_names(), (Texts{"ana (Tú)", "Anita"}));
        copy_text(g_username, "");
        show_peers({make_peer("ana")});
        EXPECT_EQ(peer_names(), (Texts{" (Tú)", "ana"}));
    });
}

TEST_F(RoomPeers, ThePeerWithoutANameHasNoRow) {
    run_interface([] {
        show_peers({make_peer(""), make_peer("luis"), make_peer("")});
        EXPECT_EQ(peer_names(), (Texts{"Anita (Tú)", "luis"}));
    });
}

TEST_F(RoomPeers, AFullRosterIsShownWhole) {
    run_interface([] {
        std::vector<Peer> peers;
        Texts expected{"Anita (Tú)"};
        for (int i = 0; i < k_max_peers; ++i) {
            expected.push_back("p" + std::to_string(i));
            peers.push_back(make_peer(expected.back()));
        }
        show_peers(peers);
        EXPECT_EQ(peer_names(), expected);
    });
}

TEST_F(RoomPeers, ALongNameIsShownWhole) {
    run_interface([] {
        const std::string name(63, 'n');
        copy_text(g_display_name, name);
        show_peers({});
        EXPECT_EQ(peer_names(), (Texts{name + " (Tú)"}));
    });
}

TEST_F(RoomPeers, NoNamesOddBytesNorLinesBreakTheList) {
    run_interface([] {
        GUI_UpdatePeerList(nullptr, 3);
        const Peer one = make_peer("luis");
        GUI_UpdatePeerList(&one, -1);
        EXPECT_EQ(peer_names(), (Texts{"Anita (Tú)"}));
        show_peers({make_peer("\xFF"), make_peer("a\nb"), make_peer("<b>c</b>")});
        EXPECT_EQ(peer_names(), (Texts{"Anita (Tú)", "\uFFFD", "a\nb", "<b>c</b>"}));
        EXPECT_TRUE(gtk_label_get_single_line_mode(GTK_LABEL(peer_rows()[2].name)));
    });
}

TEST_F(RoomPeers, ADotSaysWhoSpeaks) {
    run_interface([] {
        show_peers({make_peer("luis", true), make_peer("marta"), make_peer("carla", true)});
        EXPECT_EQ(speaking_names(), (Texts{"luis", "carla"}));
        show_peers({make_peer("luis"), make_peer("marta", true), make_peer("carla", true)});
        EXPECT_EQ(speaking_names(), (Texts{"marta", "carla"}));
    });
}

TEST_F(RoomPeers, TheLocalDotSaysWhatTheMeterFoundHoweverTheRowCameToBe) {
    run_interface([] {
        GUI_UpdateAudioLevel(1.0F);
        show_peers({});
        EXPECT_EQ(speaking_names(), Texts{});
        update_audio_meter(nullptr);
        EXPECT_EQ(speaking_names(), (Texts{"Anita (Tú)"}));
        show_peers({make_peer("luis")});
        EXPECT_EQ(speaking_names(), (Texts{"Anita (Tú)"}));
        clear_peers_list();
        add_local_user_to_peers();
        EXPECT_EQ(speaking_names(), (Texts{"Anita (Tú)"}));
        GUI_UpdateAudioLevel(0.0F);
        update_audio_meter(nullptr);
        EXPECT_EQ(speaking_names(), Texts{});
    });
}

TEST_F(RoomPeers, TheLocalRowSaysWhetherTheMicrophoneIsMuted) {
    run_interface([] {
        g_is_muted = true;
        show_peers({});
        EXPECT_EQ(icon_of(peer_rows()[0].microphone), "microphone-disabled-symbolic");
        on_mute_clicked(nullptr, nullptr);
        EXPECT_EQ(icon_of(peer_rows()[0].microphone), "microphone-sensitivity-high-symbolic");
        on_mute_clicked(nullptr, nullptr);
        EXPECT_EQ(icon_of(peer_rows()[0].microphone), "microphone-disabled-symbolic");
    });
}

TEST_F(RoomPeers, AChangedNameOfOnesOwnIsShown) {
    run_interface([] {
        show_peers({make_peer("luis")});
        copy_text(g_display_name, "Ana_2");
        show_peers({make_peer("luis")});
        EXPECT_EQ(peer_names(), (Texts{"Ana_2 (Tú)", "luis"}));
        ASSERT_NE(g_local_speaking_indicator, nullptr);
        EXPECT_EQ(g_local_speaking_indicator, peer_rows()[0].dot);
    });
}

TEST_F(RoomPeers, ClearingLeavesNoRowAndNoDot) {
    run_interface([] {
        show_peers({make_peer("luis")});
        EXPECT_EQ(g_local_speaking_indicator, peer_rows()[0].dot);
        clear_peers_list();
        EXPECT_EQ(peer_names(), Texts{});
        EXPECT_EQ(g_local_speaking_indicator, nullptr);
        clear_peers_list();
        on_mute_clicked(nullptr, nullptr); // no row to show it
        show_peers({make_peer("luis")});
        EXPECT_EQ(peer_names(), (Texts{"Anita (Tú)", "luis"}));
    });
    EXPECT_EQ(g_peers_list, nullptr);
    EXPECT_EQ(g_local_speaking_indicator, nullptr);
}

TEST_F(RoomPeers, TheHubIsToldWhoIsPresent) {
    run_interface([] {
        copy_text(g_hub_presence_room_id, "r1");
        show_peers({make_peer("luis", true), make_peer("")});
        ASSERT_EQ(g_hub_room_presence_count, 2);
        EXPECT_STREQ(g_hub_room_presence[0].username, "Anita");
        EXPECT_STREQ(g_hub_room_presence[1].username, "luis");
        EXPECT_TRUE(g_hub_room_presence[1].speaking);
        show_peers({});
        EXPECT_EQ(g_hub_room_presence_count, 1);
    });
}

TEST_F(RoomPeers, WithoutAListNothingHappens) {
    ASSERT_EQ(g_peers_list, nullptr);
    copy_text(g_hub_presence_room_id, "r1");
    show_peers({make_peer("luis")});
    add_local_user_to_peers();
    clear_peers_list();
    refresh_peers_list();
    EXPECT_EQ(g_hub_room_presence_count, 0);
    EXPECT_EQ(g_local_speaking_indicator, nullptr);
}

// Who has the keyboard.

void let_stream(const char* user_id, const char* username, const char* display_name) {
    copy_text(g_hub_streaming_user_id, "u2");
    HubSpaceUser& user = g_hub_space_users[g_hub_space_user_count++];
    user = {};
    copy_text(user.id, user_id);
    copy_text(user.username, username);
    copy_text(user.displayName, display_name);
}

TEST_F(RoomPeers, SomebodysBeginningToSpeakLeavesTheKeyboardAndTheButtonsWhereTheyAre) {
    run_interface([] {
        let_stream("u2", "luis", "");
        switch_to_main_page();
        show_peers({make_peer("marta"), make_peer("luis")});
        const PeerRow before = peer_rows()[2];
        gtk_widget_grab_focus(before.button);
        show_peers({make_peer("marta", true), make_peer("luis", true)});
        EXPECT_EQ(speaking_names(), (Texts{"marta", "luis"}));
        EXPECT_EQ(peer_rows()[2].button, before.button);
        EXPECT_EQ(keyboard(), before.button);
    });
}

TEST_F(RoomPeers, TheKeyboardStaysWithThePersonWhenSomebodyComesOrGoes) {
    run_interface([] {
        let_stream("u2", "luis", "");
        switch_to_main_page();
        show_peers({make_peer("marta"), make_peer("carla"), make_peer("luis")});
        gtk_widget_grab_focus(peer_rows()[3].button);
        show_peers({make_peer("carla"), make_peer("luis"), make_peer("pepe")});
        ASSERT_EQ(peer_names(), (Texts{"Anita (Tú)", "carla", "luis", "pepe"}));
        EXPECT_EQ(keyboard(), peer_rows()[2].button);
        gtk_widget_grab_focus(peer_rows()[3].row);
        show_peers({make_peer("pepe")});
        EXPECT_EQ(keyboard(), peer_rows()[1].row);
    });
}

TEST_F(RoomPeers, TheKeyboardGoesToTheNextOneWhenThePersonLeaves) {
    run_interface([] {
        let_stream("u2", "luis", "");
        switch_to_main_page();
        show_peers({make_peer("luis"), make_peer("carla")});
        gtk_widget_grab_focus(peer_rows()[1].button);
        show_peers({make_peer("carla")});
        EXPECT_EQ(keyboard(), peer_rows()[1].row);
        show_peers({});
        EXPECT_EQ(keyboard(), peer_rows()[0].row);
    });
}

TEST_F(RoomPeers, TheKeyboardElsewhereStaysElsewhere) {
    run_interface([] {
        switch_to_main_page();
        show_peers({make_peer("luis"), make_peer("carla")});
        gtk_widget_grab_focus(g_mute_btn);
        show_peers({make_peer("carla")});
        EXPECT_EQ(keyboard(), g_mute_btn);
    });
}

TEST_F(RoomPeers, ALongListStaysWhereItWasScrolledWhenItIsBuiltAnew) {
    run_interface([] {
        std::vector<Peer> peers;
        for (int i = 0; i < k_max_peers; ++i) {
            peers.push_back(make_peer("p" + std::to_string(i)));
        }
        switch_to_main_page();
        show_peers(peers);
        GtkAdjustment* const position = gtk_list_box_get_adjustment(GTK_LIST_BOX(g_peers_list));
        wait_until([position] {
            return gtk_adjustment_get_upper(position) > 900.0 &&
                   gtk_widget_get_height(peer_rows()[20].row) > 0;
        });
        gtk_widget_grab_focus(peer_rows()[20].row);
        wait_until([position] { return gtk_adjustment_get_value(position) > 300.0; });
        wait_for_pictures(k_scroll_pictures);
        const double before = gtk_adjustment_get_value(position);
        peers.erase(peers.begin());
        show_peers(peers);
        wait_for_pictures(k_scroll_pictures);
        EXPECT_EQ(gtk_adjustment_get_value(position), before);
        EXPECT_EQ(keyboard(), peer_rows()[19].row);
    });
}

TEST_F(RoomPeers, SomebodysBeginningToSpeakDoesNotStopTheList) {
    run_interface([] {
        std::vector<Peer> peers;
        for (int i = 0; i < k_max_peers; ++i) {
            peers.push_back(make_peer("p" + std::to_string(i)));
        }
        switch_to_main_page();
        show_peers(peers);
        GtkAdjustment* const position = gtk_list_box_get_adjustment(GTK_LIST_BOX(g_peers_list));
        wait_until([position] { return gtk_adjustment_get_upper(position) > 900.0; });
        wait_for_pictures(k_scroll_pictures);
        gtk_widget_grab_focus(peer_rows().back().row);
        for (int i = 0; i < 6; ++i) {
            wait_for_pictures(1);
            peers[3].speaking = i % 2 == 0 ? 1 : 0;
            show_peers(peers);
        }
        const double end =
            gtk_adjustment_get_upper(position) - gtk_adjustment_get_page_size(position);
        wait_until([position, end] { return gtk_adjustment_get_value(position) > end - 20.0; });
    });
}

TEST_F(RoomPeers, AnotherWindowBeginsWithoutThePeersOfTheLast) {
    run_interface([] { show_peers({make_peer("luis")}); });
    run_interface([] {
        add_local_user_to_peers();
        refresh_peers_list();
        EXPECT_EQ(peer_names(), Texts{"Anita (Tú)"});
    });
}

// Streams.

bool streams(const char* name) {
    return peer_name_matches_active_streamer(name);
}

TEST_F(RoomPeers, TheStreamerIsKnownByEitherNameInAnyCase) {
    let_stream("u3", "otro", "Otro");
    let_stream("u2", "luis", "Luigi");
    for (const char* name : {"luis", "LUIS", "Luigi", "luigi"}) {
        EXPECT_TRUE(streams(name)) << name;
    }
    for (const char* name : {"otro", "lui", "luisa", "u2", "Luigi ", ""}) {
        EXPECT_FALSE(streams(name)) << name;
    }
    EXPECT_FALSE(streams(nullptr));
}

TEST_F(RoomPeers, LettersBeyondAsciiHaveNoCase) {
    let_stream("u2", "ñu", "Ñandú");
    EXPECT_TRUE(streams("ñU"));
    EXPECT_TRUE(streams("ÑANDú"));
    EXPECT_FALSE(streams("ÑU"));
    EXPECT_FALSE(streams("ñandú"));
}

TEST_F(RoomPeers, NobodyStreamsUnlessAMemberDoes) {
    let_stream("u2", "luis", "");
    g_hub_streaming_user_id[0] = '\0';
    EXPECT_FALSE(streams("luis"));
    copy_text(g_hub_streaming_user_id, "u9");
    EXPECT_FALSE(streams("luis"));
    copy_text(g_hub_streaming_user_id, "u2");
    EXPECT_TRUE(streams("luis"));
    EXPECT_FALSE(streams(""));
    g_hub_space_user_count = 0;
    EXPECT_FALSE(streams("luis"));
}

TEST_F(RoomPeers, OnlyTheStreamersRowHasAButtonThatKeepsWhoseItIs) {
    run_interface([] {
        let_stream("u2", "luis", "");
        show_peers({make_peer("marta"), make_peer("Luis")});
        const std::vector<PeerRow> rows = peer_rows();
        EXPECT_EQ(rows[1].button, nullptr);
        ASSERT_NE(rows[2].button, nullptr);
        EXPECT_EQ(button_label(rows[2]), "Ver");
        EXPECT_TRUE(has_class(rows[2].button, "suggested-action"));
        copy_text(g_hub_streaming_user_id, "u3");
        EXPECT_EQ(text_data(rows[2].button, "stream-user-id"), "u2");
        show_peers({make_peer("marta"), make_peer("Luis")});
        EXPECT_EQ(peer_rows()[2].button, nullptr);
    });
}

TEST_F(RoomPeers, TheButtonFollowsAnotherStreamer) {
    run_interface([] {
        let_stream("u2", "luis", "");
        show_peers({make_peer("luis")});
        copy_text(g_hub_space_users[0].id, "u5");
        copy_text(g_hub_streaming_user_id, "u5");
        show_peers({make_peer("luis")});
        EXPECT_EQ(text_data(peer_rows()[1].button, "stream-user-id"), "u5");
    });
}

/// In a space, so that streams can be announced there.
class RoomStreams : public RoomTest {
  protected:
    RoomStreams() {
        add_space("s1", "Uno");
        be_in_space();
    }

    /// Streams are announced over an open channel only.
    static void open_chat() {
        chat_ws_start_for_selected_space();
        wait_until([] { return chat_ws_wait_until_ready(0); });
    }

    /// The stream signals that the chat server was sent.
    Texts signals() const {
        Texts types;
        for (const std::string& text : chat_server.sent()) {
            if (const std::string type = fake_frame_value(text, "type");
                type.starts_with("stream:")) {
                types.push_back(type);
            }
        }
        return types;
    }
};

TEST_F(RoomStreams, TheButtonOfTheStreamerOpensTheStreamWhereItIsShown) {
    run_interface([this] {
        open_chat();
        let_stream("u2", "luis", "");
        switch_to_main_page();
        show_peers({make_peer("luis")});
        click(peer_rows()[1].button);
        EXPECT_EQ(signals(), (Texts{"stream:watch"}));
        EXPECT_STREQ(g_hub_viewing_stream_user_id, "u2");
        EXPECT_EQ(visible_page(), "hub");
    });
}

TEST_F(RoomStreams, WhoStreamsNoMoreIsNotWatched) {
    run_interface([this] {
        open_chat();
        let_stream("u2", "luis", "");
        switch_to_main_page();
        show_peers({make_peer("luis")});
        g_hub_streaming_user_id[0] = '\0';
        click(peer_rows()[1].button);
        EXPECT_EQ(signals(), Texts{});
        EXPECT_STREQ(g_hub_viewing_stream_user_id, "");
        EXPECT_EQ(visible_page(), "main");
    });
}

TEST_F(RoomStreams, AWatchThatCannotBeSentChangesNothing) {
    run_interface([this] {
        let_stream("u2", "luis", "");
        switch_to_main_page();
        show_peers({make_peer("luis")});
        const FakeClock clock; // the wait for a channel that is not there
        click(peer_rows()[1].button);
        EXPECT_EQ(signals(), Texts{});
        EXPECT_STREQ(g_hub_viewing_stream_user_id, "");
        EXPECT_EQ(visible_page(), "main");
        click(peer_rows()[0].button);
        EXPECT_EQ(button_label(peer_rows()[0]), "Compartir pantalla");
    });
}

TEST_F(RoomStreams, OnesOwnButtonSharesThenStopsAndSaysWhich) {
    run_interface([this] {
        open_chat();
        switch_to_main_page();
        show_peers({});
        GtkWidget* const button = peer_rows()[0].button;
        EXPECT_EQ(text_data(button, "stream-user-id"), "__self__");
        EXPECT_TRUE(has_class(button, "suggested-action"));
        EXPECT_EQ(button_label(peer_rows()[0]), "Compartir pantalla");
        click(button);
        EXPECT_EQ(button_label(peer_rows()[0]), "Detener");
        show_peers({make_peer("luis")});
        EXPECT_EQ(button_label(peer_rows()[0]), "Detener");
        click(button);
        EXPECT_EQ(button_label(peer_rows()[0]), "Compartir pantalla");
        EXPECT_EQ(signals(), (Texts{"stream:start", "stream:stop"}));
        EXPECT_EQ(visible_page(), "main");
    });
}

TEST_F(RoomStreams, OnesOwnButtonFollowsWhatTheServerAndTheSpacesSay) {
    run_interface([this] {
        open_chat();
        show_peers({});
        chat_server.say(
            R"({"type":"stream:status","spaceId":"s1","publisherUserId":"u1","isStreaming":true})");
        EXPECT_TRUE(wait_until([] { return button_label(peer_rows()[0]) == "Detener"; }));
        clear_hub_stream_state_for_space_change();
        EXPECT_EQ(button_label(peer_rows()[0]), "Compartir pantalla");
    });
}

TEST_F(RoomStreams, TheStreamersButtonComesAndGoesWithTheServersWord) {
    run_interface([this] {
        open_chat();
        let_stream("u2", "luis", "");
        g_hub_streaming_user_id[0] = '\0';
        show_peers({make_peer("marta"), make_peer("luis")});
        EXPECT_EQ(peer_rows()[2].button, nullptr);
        const auto say = [this](const char* is_streaming) {
            chat_server.say(
                R"({"type":"stream:status","spaceId":"s1","publisherUserId":"u2","isStreaming":)" +
                std::string(is_streaming) + "}");
        };
        say("true");
        EXPECT_TRUE(wait_until([] { return button_label(peer_rows()[2]) == "Ver"; }));
        EXPECT_EQ(peer_names(), (Texts{"Anita (Tú)", "marta", "luis"}));
        say("false");
        EXPECT_TRUE(wait_until([] { return peer_rows()[2].button == nullptr; }));
        clear_peers_list();
        say("true");
        EXPECT_TRUE(wait_until([] { return streams("luis"); }));
        EXPECT_EQ(peer_names(), Texts{}) << "in no room";
    });
}

TEST_F(RoomStreams, ButtonsTakeTheTextOfTheNewLanguage) {
    run_interface([] {
        let_stream("u2", "luis", "");
        show_peers({make_peer("luis")});
        g_language = k_language_english;
        apply_language_to_ui();
        EXPECT_EQ(button_label(peer_rows()[0]), "Share screen");
        EXPECT_EQ(button_label(peer_rows()[1]), "View");
        EXPECT_EQ(peer_names(), (Texts{"Anita (Tú)", "luis"}));
        g_hub_local_streaming = true;
        show_peers({make_peer("luis")});
        EXPECT_EQ(button_label(peer_rows()[0]), "Stop");
        g_language = k_language_spanish;
        apply_language_to_ui();
        EXPECT_EQ(button_label(peer_rows()[0]), "Detener");
        EXPECT_EQ(button_label(peer_rows()[1]), "Ver");
    });
}

} // namespace
