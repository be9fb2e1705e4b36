// A double click on a room whose first click switches to its space, with a real pointer. For X11,
// where xdotool can play it.
#include "hub_fixture.h"

#include "backend/hub_tables.h"
#include "base/glib_owner.h"
#include "ui/hub/hub_chat_internal.h"
#include "ui/hub/hub_internal.h"
#include "ui/hub/hub_rooms_internal.h"
#include "ui/ui_internal.h"

#include <utility>

namespace {

class HubDoubleClick : public HubTest {
  protected:
    HubDoubleClick() {
        answer_rooms("s1", {"r1:General"});
        answer_rooms("s2", {"r3:General", "r4:Cine"});
        answer_rooms("s3", {"r5:General"});
        answer("GET /api/spaces/s1/members", 200, R"({"members":[]})");
        answer("GET /api/spaces/s2/members", 200, R"({"members":[]})");
        answer_voice();
        at_each_request([this] {
            if (requests().back() == "GET /api/spaces/s2/rooms") {
                play(std::exchange(m_when_blocked, {}));
            }
        });
    }

    ~HubDoubleClick() override { set_double_click_time(m_double_click_time); }

    /// The first space selected, all others with their rooms.
    void show_spaces() {
        play_core();
        add_space("s1", "Uno", {"r1:General"});
        add_space("s2", "Dos", {"r3:General", "r4:Cine"});
        add_space("s3", "Tres", {"r5:General"});
        show_hub();
        select_first();
        set_double_click_time(60'000); // for slow machines
    }

    static void run_until_ready() {
        wait_until([] {
            return gtk_window_is_active(GTK_WINDOW(g_window)) != FALSE &&
                   gtk_widget_get_height(rows().back()) > 0 &&
                   g_main_context_pending(nullptr) == FALSE;
        });
    }

    /// The first space, and the window's number, for which no popup must be about.
    void select_first() {
        run_until_ready();
        m_window = play({"getactivewindow"});
        m_window.erase(m_window.find_last_not_of('\n') + 1);
        select(0);
        run_until_ready();
    }

    static void set_double_click_time(int milliseconds) {
        g_object_set(gtk_settings_get_default(), "gtk-double-click-time", milliseconds, nullptr);
    }

    /// Returns what xdotool printed.
    static std::string play(std::vector<std::string> command) {
        if (command.empty()) {
            return "";
        }
        std::vector<char*> arguments;
        command.insert(command.begin(), "xdotool");
        for (std::string& word : command) {
            arguments.push_back(word.data());
        }
        arguments.push_back(nullptr);
        GErrorSlot error;
        GCharSlot output;
        EXPECT_TRUE(g_spawn_sync(nullptr, arguments.data(), nullptr, G_SPAWN_SEARCH_PATH, nullptr,
                                 nullptr, output.address(), nullptr, nullptr, error.address()));
        return output.get() != nullptr ? output.get() : "";
    }

    /// What is played while the second space's rooms are asked for.
    void when_blocked(std::vector<std::string> command) { m_when_blocked = std::move(command); }

    /// What is played while the next popup comes up.
    static void when_popup_comes(const std::vector<std::string>& command) {
        struct Hook {
            std::vector<std::string> command;
            gulong handler;
        };
        auto* const hook = new Hook{command, 0}; // the handler deletes it
        hook->handler = g_signal_connect(
            gtk_window_get_toplevels(), "items-changed",
            G_CALLBACK(+[](GListModel* windows, guint, guint, guint added, Hook* data) {
                if (added > 0) {
                    g_signal_handler_disconnect(windows, data->handler);
                    play(data->command);
                    delete data;
                }
            }),
            hook);
    }

    /// Moves the pointer to `x` pixels into the row, or to its middle.
    std::vector<std::string> point_at(std::size_t index, float x = -1.0F) const {
        graphene_rect_t place;
        double left = 0.0;
        double top = 0.0;
        EXPECT_TRUE(gtk_widget_compute_bounds(rows().at(index), g_window, &place));
        gtk_native_get_surface_transform(GTK_NATIVE(g_window), &left, &top);
        const float middle = x >= 0.0F ? x : place.size.width / 2;
        return {"mousemove", "--window", m_window,
                std::to_string(static_cast<int>(left + place.origin.x + middle)),
                std::to_string(static_cast<int>(top + place.origin.y + place.size.height / 2))};
    }

    std::vector<std::string> press_on(std::size_t index) const {
        std::vector<std::string> command = point_at(index);
        command.insert(command.end(), {"click", "1"});
        return command;
    }

    static bool has_switched() { return std::string(g_selected_space_id) == "s2"; }

    static bool is_over() { return g_loading_popup == nullptr && has_switched(); }

    static void wait_for_switch() {
        wait_until(is_over);
        run_main_loop_for_ms(50);
    }

    void expect_entered(const std::string& room) {
        wait_until([] { return g_is_connected; });
        wait_for_switch();
        EXPECT_EQ(voice_journal(), (Texts{"connect", "join " + room}));
        EXPECT_STREQ(g_selected_space_id, "s2");
    }

    void expect_entered_none() {
        wait_for_switch();
        EXPECT_EQ(voice_journal(), Texts{});
        EXPECT_STREQ(g_selected_space_id, "s2");
    }

    static constexpr std::size_t k_cine = 4; ///< its row

  private:
    std::string m_window; // its number
    std::vector<std::string> m_when_blocked;
    int m_double_click_time = [] {
        int time = 0;
        g_object_get(gtk_settings_get_default(), "gtk-double-click-time", &time, nullptr);
        return time;
    }();
};

const std::vector<std::string> k_click{"click", "1"};

TEST_F(HubDoubleClick, EntersTheRoomWhenTheSecondPressComesWithThePopup) {
    run_interface([this] {
        show_spaces();
        when_popup_comes(k_click);
        play(press_on(k_cine));
        expect_entered("r4");
    });
}

TEST_F(HubDoubleClick, EntersTheRoomWhenTheSecondPressComesDuringTheRequest) {
    run_interface([this] {
        show_spaces();
        when_blocked(k_click);
        play(press_on(k_cine));
        expect_entered("r4");
    });
}

TEST_F(HubDoubleClick, EntersTheRoomWhenTheSecondPressComesAfterTheSwitch) {
    run_interface([this] {
        show_spaces();
        play(press_on(k_cine));
        wait_until(is_over);
        play(k_click);
        expect_entered("r4");
    });
}

TEST_F(HubDoubleClick, EntersTheRoomWhenAllOfItHasComeBeforeTheWindowLooks) {
    run_interface([this] {
        show_spaces();
        std::vector<std::string> command = press_on(k_cine);
        command.insert(command.end(), {"click", "1"});
        play(command);
        expect_entered("r4");
    });
}

TEST_F(HubDoubleClick, EntersTheRoomThatTheComingPopupCovers) {
    run_interface([this] {
        Texts rooms;
        for (int i = 0; i < 30; ++i) {
            rooms.push_back("q" + std::to_string(i) + ":Sala " + std::to_string(i));
        }
        answer_rooms("s2", rooms);
        play_core();
        add_space("s1", "Uno", {"r1:General"});
        add_space("s2", "Dos", rooms);
        show_hub();
        select_first();
        set_double_click_time(60'000);
        // The popup is in the window's middle.
        const float middle_x = static_cast<float>(gtk_widget_get_width(g_window)) / 2;
        const float middle_y = static_cast<float>(gtk_widget_get_height(g_window)) / 2;
        graphene_rect_t place{};
        std::size_t covered = 3;
        do {
            ++covered;
            ASSERT_TRUE(gtk_widget_compute_bounds(rows().at(covered), g_window, &place));
        } while (place.origin.y + place.size.height < middle_y);
        const float x = middle_x - 100.0F - place.origin.x;
        ASSERT_LT(x, place.size.width);
        when_popup_comes({"sleep", "0.01", "click", "1"});
        std::vector<std::string> command = point_at(covered, x);
        command.insert(command.end(), {"click", "1"});
        play(command);
        expect_entered("q" + std::to_string(covered - 3));
    });
}

TEST_F(HubDoubleClick, ASecondClickThatComesTooLateEntersNoRoom) {
    run_interface([this] {
        show_spaces();
        set_double_click_time(180);
        when_blocked({"sleep", "0.25", "click", "1"});
        play(press_on(k_cine));
        expect_entered_none();
        EXPECT_EQ(g_selected_room_index, 1);
    });
}

TEST_F(HubDoubleClick, AnImpatientClickElsewhereComesToNothing) {
    run_interface([this] {
        show_spaces();
        when_popup_comes(press_on(5)); // the third space
        when_blocked(press_on(6));
        play(press_on(k_cine));
        expect_entered_none();
        EXPECT_EQ(g_selected_room_index, 1);
        // Afterwards the window takes clicks again.
        play(press_on(5));
        wait_until([] { return std::string(g_selected_space_id) == "s3"; });
    });
}

TEST_F(HubDoubleClick, ARoomThatAKeyChoseIsNotEnteredByAClickElsewhere) {
    run_interface([this] {
        show_spaces();
        const auto wait_for = [](const char* space) {
            wait_until([space] { return std::string(g_selected_space_id) == space; });
            run_until_ready();
        };
        play(press_on(5));
        wait_for("s3");
        play({"key", "Up"}); // to the last room of the second space
        wait_for("s2");
        play(k_click);
        wait_for("s3");
        EXPECT_EQ(voice_journal(), Texts{});
    });
}

TEST_F(HubDoubleClick, OnASpaceEntersNoRoom) {
    run_interface([this] {
        show_spaces();
        when_blocked(k_click);
        play(press_on(2));
        expect_entered_none();
    });
}

TEST_F(HubDoubleClick, AClosedWindowEntersNoRoom) {
    run_interface([this] {
        show_spaces();
        at_each_request([this] {
            if (requests().back() == "GET /api/spaces/s2/rooms") {
                gtk_window_destroy(GTK_WINDOW(g_window));
            }
        });
        when_popup_comes(k_click);
        play(press_on(k_cine));
        wait_until([] { return g_window == nullptr; });
        run_main_loop_for_ms(50);
    });
    for (const std::string& line : log_lines()) {
        EXPECT_FALSE(line.starts_with("[HUB][DBLCLICK]")) << line;
    }
}

TEST_F(HubDoubleClick, WhatIsTypedAfterAClickEntersNoRoom) {
    run_interface([this] {
        show_spaces();
        play(press_on(1));
        wait_until([] { return g_selected_room_index == 0; });
        play({"key", "space", "ctrl+space", "a", "space", "Down"});
        wait_until([] { return keyboard() == rows().at(2); });
        EXPECT_EQ(voice_journal(), Texts{});
        run_until_ready();
        play({"key", "Down"});
        wait_until([] { return keyboard() == rows().at(3); });
        play({"key", "Return"});
        wait_until([this] { return voice_journal() == Texts{"connect", "join r3"}; });
    });
}

TEST_F(HubDoubleClick, WhoGoesOnToWriteAfterAMessageKeepsTheKeyboard) {
    run_interface([this] {
        show_spaces();
        note_message_closed();
        restore_main_window_focus_idle(nullptr);
        EXPECT_EQ(keyboard(), rows().at(0));
        play({"key", "Tab", "Tab"});
        wait_until([] { return keyboard() == g_hub_chat_input_view; });
        restore_main_window_focus_retry(GINT_TO_POINTER(1));
        EXPECT_EQ(keyboard(), g_hub_chat_input_view);
        restore_main_window_focus_idle(nullptr); // late, as after a loop that was busy
        EXPECT_EQ(keyboard(), g_hub_chat_input_view);
        note_message_closed(); // another message
        restore_main_window_focus_idle(nullptr);
        EXPECT_EQ(keyboard(), rows().at(0));
    });
}

} // namespace
