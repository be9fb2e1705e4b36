// The room view as a whole: what it is made of, the keyboard's way through it, its texts, its room.
#include "room_fixture.h"

#include "base/text.h"
#include "ui/localisation.h"
#include "ui/room/room_internal.h"

namespace {

class RoomView : public RoomTest {};

GtkWidget* only_child(GtkWidget* widget) {
    const std::vector<GtkWidget*> children = children_of(widget);
    EXPECT_EQ(children.size(), 1U);
    return children.empty() ? nullptr : children[0];
}

bool is_vertical(GtkWidget* box) {
    return gtk_orientable_get_orientation(GTK_ORIENTABLE(box)) == GTK_ORIENTATION_VERTICAL;
}

TEST_F(RoomView, HoldsHeaderParticipantsAndChat) {
    run_interface([] {
        EXPECT_TRUE(is_vertical(g_channel_tab));
        const std::vector<GtkWidget*> parts = children_of(g_channel_tab);
        ASSERT_EQ(parts.size(), 3U);

        EXPECT_TRUE(has_class(parts[0], "channel-header"));
        EXPECT_FALSE(is_vertical(parts[0]));
        const std::vector<GtkWidget*> header = children_of(parts[0]);
        ASSERT_EQ(header.size(), 2U);
        EXPECT_STREQ(gtk_image_get_icon_name(GTK_IMAGE(header[0])), "audio-volume-high-symbolic");
        EXPECT_EQ(header[1], g_channel_name_label);
        EXPECT_TRUE(has_class(g_channel_name_label, "channel-name"));
        EXPECT_EQ(label(g_channel_name_label), "General");

        EXPECT_TRUE(has_class(parts[1], "peers-panel"));
        EXPECT_EQ(gtk_widget_get_first_child(parts[1]), g_peers_header_label);
        EXPECT_TRUE(has_class(g_peers_header_label, "section-header"));
        EXPECT_EQ(label(g_peers_header_label), "Participantes");
        EXPECT_TRUE(gtk_widget_is_ancestor(g_peers_list, parts[1]));
        EXPECT_TRUE(has_class(g_peers_list, "peer-list"));
        EXPECT_EQ(gtk_list_box_get_selection_mode(GTK_LIST_BOX(g_peers_list)), GTK_SELECTION_NONE);
        EXPECT_EQ(gtk_widget_get_first_child(g_peers_list), nullptr);

        EXPECT_TRUE(has_class(parts[2], "chat-panel"));
        GtkWidget* const container = only_child(parts[2]);
        EXPECT_TRUE(has_class(container, "chat-container"));
        const std::vector<GtkWidget*> chat = children_of(container);
        ASSERT_EQ(chat.size(), 2U);
        EXPECT_TRUE(gtk_widget_is_ancestor(g_chat_view, chat[0]));
        EXPECT_TRUE(has_class(chat[1], "chat-input-container"));
        EXPECT_FALSE(is_vertical(chat[1]));
        const std::vector<GtkWidget*> input = children_of(chat[1]);
        ASSERT_EQ(input.size(), 2U);
        EXPECT_EQ(input[0], g_chat_entry);
        EXPECT_TRUE(has_class(g_chat_entry, "chat-input"));
        EXPECT_EQ(placeholder(g_chat_entry), "Escribe un mensaje...");
        EXPECT_STREQ(gtk_button_get_icon_name(GTK_BUTTON(input[1])), "mail-send-symbolic");
        EXPECT_TRUE(has_class(input[1], "chat-send-btn"));
    });
    for (GtkWidget* widget : {g_channel_name_label, g_peers_header_label, g_peers_list, g_chat_view,
                              g_chat_entry, g_mute_btn, g_deafen_btn, g_back_to_hub_btn}) {
        EXPECT_EQ(widget, nullptr);
    }
}

TEST_F(RoomView, TheChatIsToBeReadOnly) {
    run_interface([] {
        GtkTextView* const view = GTK_TEXT_VIEW(g_chat_view);
        EXPECT_TRUE(has_class(g_chat_view, "chat-messages"));
        EXPECT_FALSE(gtk_text_view_get_editable(view));
        EXPECT_FALSE(gtk_text_view_get_cursor_visible(view));
        EXPECT_EQ(gtk_text_view_get_wrap_mode(view), GTK_WRAP_WORD_CHAR);
        EXPECT_EQ(gtk_text_view_get_buffer(view), g_chat_buffer);
        for (const char* tag : {"username", "system", "time"}) {
            EXPECT_NE(gtk_text_tag_table_lookup(gtk_text_buffer_get_tag_table(g_chat_buffer), tag),
                      nullptr)
                << tag;
        }
    });
}

TEST_F(RoomView, TakesTheTextsOfTheNewLanguage) {
    run_interface([] {
        GtkWidget* const send = gtk_widget_get_next_sibling(g_chat_entry);
        for (const std::int32_t language : {k_language_english, k_language_spanish}) {
            g_language = language;
            apply_language_to_ui();
            const bool english = language == k_language_english;
            EXPECT_EQ(label(g_peers_header_label), english ? "Participants" : "Participantes");
            EXPECT_EQ(placeholder(g_chat_entry),
                      english ? "Write a message..." : "Escribe un mensaje...");
            expect_spoken_name(g_chat_entry,
                               english ? "Write a message..." : "Escribe un mensaje...");
            EXPECT_EQ(tooltip(send), english ? "Send" : "Enviar");
            expect_spoken_name(send, english ? "Send" : "Enviar");
        }
    });
}

/// The one of these that has the keyboard, or holds what has it.
std::string focused_name() {
    const std::pair<const char*, GtkWidget*> stations[] = {
        {"list", g_peers_list},     {"chat", g_chat_view},
        {"entry", g_chat_entry},    {"send", gtk_widget_get_next_sibling(g_chat_entry)},
        {"mute", g_mute_btn},       {"deafen", g_deafen_btn},
        {"back", g_back_to_hub_btn}};
    for (const auto& [name, widget] : stations) {
        if (holds_keyboard(widget)) {
            return name;
        }
    }
    return "elsewhere";
}

TEST_F(RoomView, BeginsInTheEntryAndTheTabKeyReachesEverything) {
    run_interface([] {
        show_peers({make_peer("luis")});
        switch_to_main_page();
        wait_until([] { return gtk_widget_get_height(g_chat_view) > 0; });
        EXPECT_EQ(focused_name(), "entry");
        Texts way;
        for (int i = 0; i < 5; ++i) {
            press_tab();
            way.push_back(focused_name());
        }
        EXPECT_EQ(way, (Texts{"send", "mute", "deafen", "back", "elsewhere"})); // the title bar
        gtk_widget_grab_focus(g_chat_entry);
        way.clear();
        for (int i = 0; i < 3; ++i) {
            press_shift_tab();
            way.push_back(focused_name());
        }
        EXPECT_EQ(way, (Texts{"chat", "list", "elsewhere"})); // the title bar
        const PeerRow self = peer_rows().at(0);
        gtk_widget_grab_focus(self.row);
        press_tab();
        EXPECT_EQ(keyboard(), self.button);
        press_tab();
        EXPECT_EQ(focused_name(), "chat");
    });
}

TEST_F(RoomView, ShowsARoomFullOfPeopleAndLongNamesWithoutWideningTheWindow) {
    run_styled_interface([] {
        std::vector<Peer> peers;
        for (int i = 0; i < k_max_peers; ++i) {
            peers.push_back(make_peer((std::to_string(i) + std::string(60, 'W')).c_str()));
        }
        copy_text(g_current_room, std::string(63, 'W'));
        switch_to_main_page();
        GUI_SetStatusText(std::string(120, 'W').c_str());
        gtk_label_set_text(GTK_LABEL(g_user_label), std::string(63, 'W').c_str());
        show_peers(peers);
        GUI_AddChatMessage(std::string(79, 'W').c_str(), std::string(2046, 'W').c_str());
        wait_until_maximised();
        wait_until([] { return gtk_widget_get_height(peer_rows()[0].row) > 0; });

        // The participants scroll, and leave the chat as much.
        GtkAdjustment* const people = gtk_list_box_get_adjustment(GTK_LIST_BOX(g_peers_list));
        EXPECT_LE(gtk_adjustment_get_page_size(people), 210.0);
        EXPECT_GE(gtk_adjustment_get_upper(people), 33.0 * 40.0);
        EXPECT_GE(gtk_widget_get_height(gtk_widget_get_parent(g_chat_view)), 200);

        int least_width = 0;
        int least_height = 0;
        gtk_widget_measure(g_main_page, GTK_ORIENTATION_HORIZONTAL, -1, &least_width, nullptr,
                           nullptr, nullptr);
        gtk_widget_measure(g_main_page, GTK_ORIENTATION_VERTICAL, 500, &least_height, nullptr,
                           nullptr, nullptr);
        EXPECT_LE(least_width, 500);
        EXPECT_LE(least_height, 350);
    });
}

TEST_F(RoomView, AllRowsAreOfOneHeight) {
    run_styled_interface([] {
        switch_to_main_page();
        show_peers({make_peer("luis"), make_peer("marta")});
        wait_until([] { return gtk_widget_get_height(peer_rows()[2].row) > 0; });
        const std::vector<PeerRow> rows = peer_rows();
        EXPECT_EQ(gtk_widget_get_height(rows[0].row), gtk_widget_get_height(rows[1].row));
        EXPECT_EQ(gtk_widget_get_height(rows[1].row), gtk_widget_get_height(rows[2].row));
    });
}

} // namespace
