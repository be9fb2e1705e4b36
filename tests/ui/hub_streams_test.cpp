// Streams in the hub: announcing, watching and leaving one.
#include "hub_chat_fixture.h"

#include "backend/hub_tables.h"
#include "backend/identity.h"
#include "base/text.h"
#include "chat/chat_connection.h"
#include "support/fake_clock.h"
#include "ui/hub/hub_chat_internal.h"
#include "ui/hub/hub_internal.h"
#include "ui/localisation.h"

#include <string_view>

namespace {

std::string frame(const std::string& type, const std::string& publisher = "") {
    return R"({"type":")" + type + R"(","spaceId":"s1")" +
           (publisher.empty() ? "" : R"(,"publisherUserId":")" + publisher + '"') +
           R"(,"sessionToken":"tok"})";
}

class HubStreams : public HubChatTest {
  protected:
    void SetUp() override {
        show_column();
        m_button = gtk_button_new();
        g_object_ref_sink(m_button);
    }
    void TearDown() override { g_object_unref(m_button); }

    /// The button of a member's row.
    void click_row_of(const char* user_id) {
        g_object_set_data_full(G_OBJECT(m_button), "stream-user-id", g_strdup(user_id), g_free);
        on_hub_space_user_stream_action_clicked(m_button, nullptr);
    }

    static std::string status() { return label(g_hub_stream_status_label); }

    static bool is_input_shown() { return gtk_widget_get_visible(g_hub_chat_input_box) != FALSE; }

    void watch(const char* user_id) {
        copy_text(g_hub_streaming_user_id, user_id);
        click_row_of(user_id);
        ASSERT_EQ(shown_page(), "hub-stream-view");
    }

    GtkWidget* m_button = nullptr;
};

TEST_F(HubStreams, TheOwnRowStartsThenStops) {
    open_channel();
    for (const char* const row : {STREAM_SELF_TARGET_ID, "u1"}) {
        click_row_of(row);
        EXPECT_TRUE(g_hub_local_streaming);
        EXPECT_STREQ(g_hub_streaming_user_id, "u1");
        EXPECT_EQ(status(), "Estás compartiendo tu pantalla.");
        EXPECT_EQ(shown_page(), "hub-room-chat");
        click_row_of(row);
        EXPECT_FALSE(g_hub_local_streaming);
        EXPECT_STREQ(g_hub_streaming_user_id, "");
        EXPECT_EQ(status(), "No hay stream activo ahora.");
    }
    EXPECT_EQ(sent_requests(), (Texts{frame("stream:start"), frame("stream:stop"),
                                      frame("stream:start"), frame("stream:stop")}));
}

TEST_F(HubStreams, WithoutAnIdentifierOfOnesOwnOnlyTheMarkerIsTheOwnRow) {
    open_channel();
    g_user_id[0] = '\0';
    click_row_of(STREAM_SELF_TARGET_ID);
    EXPECT_TRUE(g_hub_local_streaming);
    EXPECT_STREQ(g_hub_streaming_user_id, "");
    click_row_of("u1"); // nobody's stream
    EXPECT_TRUE(g_hub_local_streaming);
    EXPECT_EQ(sent_requests(), Texts{frame("stream:start")});
}

TEST_F(HubStreams, AStartThatCannotBeSentChangesNothing) {
    const FakeClock clock;
    server.refuse_openings("connect-host", 1);
    copy_text(g_hub_streaming_user_id, "u2");
    click_row_of(STREAM_SELF_TARGET_ID);
    EXPECT_FALSE(g_hub_local_streaming);
    EXPECT_STREQ(g_hub_streaming_user_id, "u2");
}

TEST_F(HubStreams, AStopThatCannotBeSentChangesNothing) {
    const FakeClock clock;
    server.refuse_openings("connect-host", 1);
    g_hub_local_streaming = true;
    copy_text(g_hub_streaming_user_id, "u1");
    click_row_of(STREAM_SELF_TARGET_ID);
    EXPECT_TRUE(g_hub_local_streaming);
    EXPECT_STREQ(g_hub_streaming_user_id, "u1");
}

TEST_F(HubStreams, StoppingLeavesAnothersStreamKnownUnlessTheMarkerSaysSo) {
    open_channel();
    g_hub_local_streaming = true;
    copy_text(g_hub_streaming_user_id, "u2");
    click_row_of("u1");
    EXPECT_FALSE(g_hub_local_streaming);
    EXPECT_STREQ(g_hub_streaming_user_id, "u2");
    g_hub_local_streaming = true;
    click_row_of(STREAM_SELF_TARGET_ID);
    EXPECT_STREQ(g_hub_streaming_user_id, "");
}

TEST_F(HubStreams, StoppingOnesOwnStreamLeavesItsView) {
    open_channel();
    for (const char* const row : {STREAM_SELF_TARGET_ID, "u1"}) {
        g_hub_local_streaming = true;
        show_hub_stream_view_for_user("u1");
        click_row_of(row);
        EXPECT_STREQ(g_hub_viewing_stream_user_id, "");
        EXPECT_EQ(shown_page(), "hub-room-chat");
    }
    g_hub_local_streaming = true;
    show_hub_stream_view_for_user("u2"); // another's is watched on
    click_row_of("u1");
    EXPECT_STREQ(g_hub_viewing_stream_user_id, "u2");
    EXPECT_EQ(shown_page(), "hub-stream-view");
}

TEST_F(HubStreams, AStreamingMembersRowOpensTheView) {
    open_channel();
    copy_text(g_hub_streaming_user_id, "u2");
    click_row_of("u2");
    EXPECT_EQ(sent_requests(), Texts{frame("stream:watch", "u2")});
    EXPECT_STREQ(g_hub_viewing_stream_user_id, "u2");
    EXPECT_EQ(shown_page(), "hub-stream-view");
    EXPECT_FALSE(is_input_shown());
    EXPECT_EQ(status(), "Viendo stream...");
}

TEST_F(HubStreams, ARowOfAMemberWhoDoesNotStreamDoesNothing) {
    open_channel();
    copy_text(g_hub_streaming_user_id, "u2");
    click_row_of("u3");
    EXPECT_EQ(sent_requests(), Texts{});
    EXPECT_EQ(shown_page(), "hub-room-chat");
    EXPECT_STREQ(g_hub_viewing_stream_user_id, "");
}

TEST_F(HubStreams, AWatchThatCannotBeSentChangesNothing) {
    const FakeClock clock;
    server.refuse_openings("connect-host", 1);
    copy_text(g_hub_streaming_user_id, "u2");
    click_row_of("u2");
    EXPECT_EQ(shown_page(), "hub-room-chat");
    EXPECT_STREQ(g_hub_viewing_stream_user_id, "");
}

TEST_F(HubStreams, AWatchThatCannotBeSentLeavesThePageThatIsShown) {
    open_channel();
    watch("u2");
    server.fail_sends(100);
    copy_text(g_hub_streaming_user_id, "u3");
    click_row_of("u3");
    EXPECT_GT(server.failed_sends(), 0U);
    EXPECT_STREQ(g_hub_viewing_stream_user_id, "u2");
    EXPECT_EQ(shown_page(), "hub-stream-view");
    EXPECT_FALSE(is_input_shown());
    EXPECT_EQ(status(), "Viendo stream...");
}

TEST_F(HubStreams, AButtonWithoutAnIdentifierOrWithoutASpaceDoesNothing) {
    open_channel();
    click_row_of("");
    g_object_set_data(G_OBJECT(m_button), "stream-user-id", nullptr);
    on_hub_space_user_stream_action_clicked(m_button, nullptr);
    g_selected_space_id[0] = '\0';
    click_row_of(STREAM_SELF_TARGET_ID);
    EXPECT_EQ(sent_requests(), Texts{});
    EXPECT_FALSE(g_hub_local_streaming);
}

TEST_F(HubStreams, BackToChatLeavesTheStream) {
    open_channel();
    watch("u2");
    click(g_hub_stream_back_btn);
    EXPECT_EQ(sent_requests(), (Texts{frame("stream:watch", "u2"), frame("stream:unwatch", "u2")}));
    EXPECT_STREQ(g_hub_viewing_stream_user_id, "");
    EXPECT_STREQ(g_hub_streaming_user_id, "u2");
    EXPECT_EQ(shown_page(), "hub-room-chat");
    EXPECT_TRUE(is_input_shown());
    EXPECT_EQ(status(), "Un usuario está compartiendo pantalla.");
}

TEST_F(HubStreams, BackToChatDoesSoAlsoWhereItCannotBeSaid) {
    const FakeClock clock;
    server.refuse_openings("connect-host", 1);
    show_hub_stream_view_for_user("u2");
    click(g_hub_stream_back_btn);
    EXPECT_EQ(shown_page(), "hub-room-chat");
    EXPECT_STREQ(g_hub_viewing_stream_user_id, "");
}

TEST_F(HubStreams, BackToChatSaysNothingWhereNothingIsWatched) {
    open_channel();
    show_hub_stream_view_for_user("");
    EXPECT_EQ(shown_page(), "hub-stream-view");
    EXPECT_STREQ(g_hub_viewing_stream_user_id, "");
    click(g_hub_stream_back_btn);
    EXPECT_EQ(sent_requests(), Texts{});
    EXPECT_EQ(shown_page(), "hub-room-chat");
}

TEST_F(HubStreams, BackToChatAsksNobodyWhereNoSpaceIsSelected) {
    open_channel();
    watch("u2");
    g_selected_space_id[0] = '\0';
    g_signal_emit_by_name(g_hub_stream_back_btn, "clicked");
    EXPECT_EQ(sent_requests(), Texts{frame("stream:watch", "u2")});
    EXPECT_EQ(server.openings().size(), 1U);
    EXPECT_EQ(shown_page(), "hub-room-chat");
    EXPECT_STREQ(g_hub_viewing_stream_user_id, "");
}

TEST_F(HubStreams, AnotherSpaceEndsTheViewWithoutAWord) {
    open_channel();
    watch("u2");
    g_hub_local_streaming = true;
    clear_hub_stream_state_for_space_change();
    EXPECT_EQ(sent_requests(), Texts{frame("stream:watch", "u2")});
    EXPECT_FALSE(g_hub_local_streaming);
    EXPECT_STREQ(g_hub_streaming_user_id, "");
    EXPECT_STREQ(g_hub_viewing_stream_user_id, "");
    EXPECT_EQ(shown_page(), "hub-room-chat");
    EXPECT_TRUE(is_input_shown());
    EXPECT_EQ(status(), "No hay stream activo ahora.");
}

/// The row of a space, as the list has it now.
GtkListBoxRow* row_of_space(const char* space_id) {
    for (GtkWidget* const row : children_of(g_servers_list)) {
        const auto* const id =
            static_cast<const char*>(g_object_get_data(G_OBJECT(row), "space-id"));
        if (GTK_IS_LIST_BOX_ROW(row) && std::string_view(or_empty(id)) == space_id) {
            return GTK_LIST_BOX_ROW(row);
        }
    }
    return nullptr;
}

TEST_F(HubChatTest, SelectingAnotherSpaceEndsTheViewWithoutAWord) {
    web.answer(200, R"({"rooms":[]})");
    run_interface([this] {
        switch_to_hub_page();
        refresh_hub_server_list();
        wait_until([] { return gtk_widget_get_height(g_servers_list) > 0; });
        ASSERT_STREQ(g_selected_space_id, "s1");
        chat_ws_start_for_selected_space();
        ASSERT_TRUE(chat_ws_join_space_chat("s1"));
        copy_text(g_hub_streaming_user_id, "u2");
        GtkWidget* const button = gtk_button_new();
        g_object_ref_sink(button);
        g_object_set_data_full(G_OBJECT(button), "stream-user-id", g_strdup("u2"), g_free);
        on_hub_space_user_stream_action_clicked(button, nullptr);
        g_object_unref(button);
        ASSERT_EQ(shown_page(), "hub-stream-view");
        gtk_list_box_select_row(GTK_LIST_BOX(g_servers_list), row_of_space("s2"));
        EXPECT_STREQ(g_selected_space_id, "s2");
        EXPECT_EQ(shown_page(), "hub-room-chat");
        EXPECT_TRUE(gtk_widget_get_visible(g_hub_chat_input_box));
        EXPECT_STREQ(g_hub_viewing_stream_user_id, "");
        EXPECT_STREQ(g_hub_streaming_user_id, "");
    });
    int watched = 0;
    for (const std::string& text : server.sent()) {
        watched += text == frame("stream:watch", "u2") ? 1 : 0;
        EXPECT_EQ(text.find("stream:unwatch"), std::string::npos) << text;
    }
    EXPECT_EQ(watched, 1);
}

TEST_F(HubStreams, TheStatusIsTheFirstThatAppliesInTheLanguageShown) {
    g_language = k_language_english;
    update_hub_stream_status_label();
    EXPECT_EQ(status(), "No active stream right now.");
    copy_text(g_hub_streaming_user_id, "u2");
    update_hub_stream_status_label();
    EXPECT_EQ(status(), "A user is sharing screen.");
    g_hub_local_streaming = true;
    update_hub_stream_status_label();
    EXPECT_EQ(status(), "You are sharing your screen.");
    copy_text(g_hub_viewing_stream_user_id, "u2");
    update_hub_stream_status_label();
    EXPECT_EQ(status(), "Viewing stream...");
}

TEST_F(HubStreams, AnIdentifierIsCutAtItsBuffer) {
    show_hub_stream_view_for_user(std::string(100, 'u').c_str());
    EXPECT_EQ(g_hub_viewing_stream_user_id, std::string(63, 'u'));
    show_hub_stream_view_for_user(nullptr);
    EXPECT_EQ(g_hub_viewing_stream_user_id, std::string(63, 'u'));
}

TEST_F(HubStreams, TheKeyboardGoesFromPageToPage) {
    gtk_widget_grab_focus(g_hub_chat_input_view);
    show_hub_stream_view_for_user("u2");
    EXPECT_EQ(keyboard(), g_hub_stream_back_btn);
    show_hub_room_chat_view();
    EXPECT_EQ(keyboard(), g_hub_chat_input_view);
    gtk_window_set_focus(GTK_WINDOW(g_window), nullptr);
    show_hub_stream_view_for_user("u2");
    EXPECT_EQ(keyboard(), nullptr);
}

TEST_F(HubStreams, TheKeyboardGoesFromPageToPageBehindAnotherWindow) {
    gtk_widget_grab_focus(g_hub_chat_input_view);
    GtkWidget* const other = gtk_window_new();
    gtk_window_present(GTK_WINDOW(other));
    ASSERT_TRUE(wait_until([] { return gtk_window_is_active(GTK_WINDOW(g_window)) == FALSE; }));
    show_hub_stream_view_for_user("u2");
    EXPECT_EQ(keyboard(), g_hub_stream_back_btn);
    show_hub_room_chat_view();
    EXPECT_EQ(keyboard(), g_hub_chat_input_view);
    gtk_window_destroy(GTK_WINDOW(other));
}

} // namespace
