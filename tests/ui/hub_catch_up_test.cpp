// What the hub's list does for a chat that missed something, or could not be loaded.
#include "hub_fixture.h"

#include "chat/chat_connection.h"
#include "ui/hub/hub_chat_internal.h"
#include "ui/hub/hub_internal.h"
#include "ui/hub/hub_rooms_internal.h"

namespace {

class HubCatchUp : public HubTest {
  protected:
    HubCatchUp() {
        answer_rooms("s1", {"r1:General"});
        answer("GET /api/spaces/s1/members", 200, R"({"members":[]})");
        hold("antes");
    }

    /// The chat server has this message.
    void hold(const std::string& text) {
        chat.answer("messages:history", [text](const std::string&) {
            return Texts{R"({"type":"messages:history","spaceId":"s1","messages":[)"
                         R"({"senderDisplayName":"Luis","text":")" +
                         text + R"(","createdAt":""}]})"};
        });
    }

    static bool shows(const std::string& text) {
        return wait_until([&text] {
            return g_hub_chat_list != nullptr &&
                   label_texts(g_hub_chat_list) == Texts{"Luis", text};
        });
    }

    void show_only_space() {
        add_space("s1", "Uno");
        show_hub();
        select(0);
        ASSERT_TRUE(shows("antes"));
    }

    /// The chat server goes, somebody writes, and it is back.
    void restart_server() {
        chat.say_close();
        ASSERT_TRUE(chat.wait_until_gone());
        ASSERT_TRUE(wait_until([] { return !chat_ws_connection_is_usable(); }));
        hold("después");
    }
};

TEST_F(HubCatchUp, ADoubleClickOnTheOnlySpaceShowsWhatItsChatMissed) {
    run_interface([this] {
        show_only_space();
        restart_server();
        activate(0);
        EXPECT_TRUE(shows("después"));
    });
}

TEST_F(HubCatchUp, SelectingARoomOfTheSpaceShowsWhatItsChatMissed) {
    run_interface([this] {
        show_only_space();
        restart_server();
        select(1);
        EXPECT_TRUE(shows("después"));
    });
}

TEST_F(HubCatchUp, EnteringARoomShowsWhatTheSpacesChatMissed) {
    answer_voice();
    play_core();
    run_interface([this] {
        show_only_space();
        restart_server();
        ASSERT_TRUE(connect_and_join_voice_room_by_index(0, false));
        EXPECT_TRUE(shows("después"));
    });
}

TEST_F(HubCatchUp, ASpaceThatIsOpenedAgainShowsWhatItsChatMissed) {
    run_interface([this] {
        show_only_space();
        restart_server();
        show_hub_space_info_view_for_index(0);
        EXPECT_TRUE(shows("después"));
    });
}

TEST_F(HubCatchUp, WhereNothingWasMissedTheChatStays) {
    run_interface([this] {
        show_only_space();
        hold("después");
        GtkWidget* const row = gtk_widget_get_first_child(g_hub_chat_list);
        activate(0);
        select(1);
        show_hub_space_info_view_for_index(0);
        EXPECT_TRUE(wait_for_pictures());
        EXPECT_EQ(gtk_widget_get_first_child(g_hub_chat_list), row);
        EXPECT_TRUE(shows("antes"));
        EXPECT_EQ(chat.openings().size(), 1U);
    });
}

TEST_F(HubCatchUp, AChatThatCouldNotBeLoadedIsLoadedByADoubleClick) {
    const QuickClock clock;
    chat.refuse_openings("send-request", 12029);
    run_interface([this] {
        add_space("s1", "Uno");
        show_hub();
        select(0);
        const Texts notice{"-", "No se pudo cargar el chat del espacio"};
        EXPECT_EQ(label_texts(g_hub_chat_list), notice);
        activate(0); // the server is still away
        wait_until([] { return !chat_ws_connection_is_usable(); });
        run_past_timers(100); // what waits for the channel looks every 100
        EXPECT_EQ(label_texts(g_hub_chat_list), notice);
        chat.accept_openings();
        activate(0);
        EXPECT_TRUE(shows("antes"));
        EXPECT_EQ(gtk_widget_get_visible(g_hub_chat_loading_label), FALSE);
    });
    chat_ws_stop();
}

} // namespace
