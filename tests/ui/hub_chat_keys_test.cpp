// The hub's chat under a real keyboard and wheel. For X11, where xdotool can play them.
#include "hub_chat_fixture.h"

#include "backend/hub_tables.h"
#include "base/text.h"
#include "chat/chat_connection.h"
#include "ui/hub/hub_chat_internal.h"

#include <initializer_list>

namespace {

class HubChatKeys : public HubChatTest {
  protected:
    void SetUp() override {
        show_column();
        copy_text(g_hub_chat_scope_type, "space");
        copy_text(g_hub_chat_scope_id, "s1");
        open_channel();
        ASSERT_TRUE(wait_until([] { return gtk_window_is_active(GTK_WINDOW(g_window)) != FALSE; }));
    }

    static void press(std::initializer_list<const char*> keys) {
        std::vector<const char*> command{"key", "--clearmodifiers"};
        command.insert(command.end(), keys);
        play(command);
    }

    static void play(std::vector<const char*> command) {
        command.insert(command.begin(), "xdotool");
        command.push_back(nullptr);
        GErrorSlot error;
        EXPECT_TRUE(g_spawn_sync(nullptr, const_cast<char**>(command.data()), nullptr,
                                 G_SPAWN_SEARCH_PATH, nullptr, nullptr, nullptr, nullptr, nullptr,
                                 error.address()));
    }
};

TEST_F(HubChatKeys, ShiftReturnBreaksTheLineAndReturnSends) {
    gtk_widget_grab_focus(g_hub_chat_input_view);
    press({"a", "shift+Return", "b", "shift+KP_Enter", "c"});
    wait_until([] { return input() == "a\nb\nc"; });
    EXPECT_EQ(sent_requests(), Texts{});
    press({"Return"});
    wait_until([] { return input().empty(); });
    press({"d", "KP_Enter"});
    wait_until([this] { return sent_requests().size() == 2; });
    EXPECT_EQ(fake_frame_value(sent_requests().at(0), "text"), "a b c");
    EXPECT_EQ(fake_frame_value(sent_requests().at(1), "text"), "d");
    EXPECT_EQ(input(), "");
    EXPECT_EQ(keyboard(), g_hub_chat_input_view);
}

TEST_F(HubChatKeys, TabGoesFromTheMessagesToTheInputToTheButton) {
    append_hub_chat_row("Ana", "hola", nullptr);
    append_hub_chat_row("Ana", "adiós", nullptr);
    gtk_widget_grab_focus(g_hub_chat_scroll);
    press({"Tab"});
    wait_until([] { return keyboard() == g_hub_chat_input_view; });
    press({"Tab"});
    wait_until([] { return keyboard() == g_hub_chat_send_btn; });
    press({"shift+Tab", "shift+Tab"});
    wait_until([] { return keyboard() == g_hub_chat_scroll; });
}

TEST_F(HubChatKeys, TheArrowKeysScrollAndKeepTheKeyboard) {
    for (int i = 0; i < 100; ++i) {
        append_hub_chat_row("Ana", "hola", nullptr);
    }
    ASSERT_TRUE(wait_for_pictures());
    GtkAdjustment* const adjustment = HubChatTest::scrolling();
    const double bottom = gtk_adjustment_get_value(adjustment);
    ASSERT_GT(bottom, 0.0);
    gtk_widget_grab_focus(g_hub_chat_scroll);
    press({"Up", "Up"});
    wait_until([=] { return gtk_adjustment_get_value(adjustment) < bottom; });
    press({"Down", "Down", "Down", "Down"});
    wait_until([=] { return gtk_adjustment_get_value(adjustment) == bottom; });
    press({"Prior"});
    wait_until([=] { return gtk_adjustment_get_value(adjustment) < bottom; });
    EXPECT_EQ(keyboard(), g_hub_chat_scroll);
}

TEST_F(HubChatKeys, AMessageThatIsClickedCanBeCopied) {
    append_hub_chat_row("Ana", "hola", nullptr);
    ASSERT_TRUE(wait_for_pictures());
    GtkWidget* const text = gtk_widget_get_last_child(
        gtk_list_box_row_get_child(GTK_LIST_BOX_ROW(row_widgets().at(0))));
    double x = 0.0;
    double y = 0.0;
    gtk_widget_translate_coordinates(text, g_window, 10.0, gtk_widget_get_height(text) / 2.0, &x,
                                     &y);
    const std::string place_x = std::to_string(static_cast<int>(x));
    const std::string place_y = std::to_string(static_cast<int>(y));
    play({"getactivewindow", "mousemove", "--window", "%1", place_x.c_str(), place_y.c_str(),
          "click", "--repeat", "2", "--delay", "20", "1"});
    wait_until([text] { return keyboard() == text; });
    press({"ctrl+c"});
    press({"Tab"});
    wait_until([] { return keyboard() == g_hub_chat_input_view; });
    press({"ctrl+v"});
    wait_until([] { return input() == "hola"; });
}

TEST_F(HubChatKeys, UpAndPageUpAtTheTopOfAShortPageAskForTheOlderOne) {
    for (const char* const key : {"Up", "Prior"}) {
        hold_history(4, 2);
        ASSERT_TRUE(load_space_chat_by_index(0));
        ASSERT_TRUE(wait_until([] { return row_widgets().size() == 2; }));
        gtk_widget_grab_focus(g_hub_chat_scroll);
        press({key});
        ASSERT_TRUE(wait_until([] { return row_widgets().size() == 4; }));
        EXPECT_EQ(rows(), held_messages(1, 4));
    }
}

TEST_F(HubChatKeys, TheWheelAtTheTopOfAShortPageAsksForTheOlderOne) {
    hold_history(4, 2);
    ASSERT_TRUE(load_space_chat_by_index(0));
    ASSERT_TRUE(wait_until([] { return row_widgets().size() == 2; }));
    play({"getactivewindow", "mousemove", "--window", "%1", "200", "200", "click", "4"});
    ASSERT_TRUE(wait_until([] { return row_widgets().size() == 4; }));
    EXPECT_EQ(rows(), held_messages(1, 4));
}

} // namespace
