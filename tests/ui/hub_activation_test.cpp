// Activating the rows of the hub's list, by a double click or Enter: which room is entered, and
// what a click alone would do.
#include "hub_fixture.h"

#include "base/text.h"
#include "ui/hub/hub_chat_internal.h"
#include "ui/hub/hub_internal.h"
#include "ui/hub/hub_rooms_internal.h"

#include <algorithm>
#include <utility>

namespace {

class HubActivation : public HubTest {
  protected:
    HubActivation() {
        answer_rooms("s1", {"r1:General", "r2:Cine"});
        answer_rooms("s2", {"r3:General"});
        answer("GET /api/spaces/s1/members", 200, R"({"members":[]})");
    }
};

TEST_F(HubActivation, ActivatingARoomEntersIt) {
    answer_voice();
    run_interface([this] {
        play_core();
        add_space("s1", "Uno");
        show_hub();
        select(0);
        forget_requests();
        g_last_room_click_space_index = 0;
        g_last_room_click_index = 1;
        g_last_room_click_time_us = 5;
        g_pending_room_click_space_index = 0;
        g_pending_room_click_index = 1;
        g_room_single_click_timeout_id = g_timeout_add_seconds(
            1000, [](gpointer) -> gboolean { return G_SOURCE_REMOVE; }, nullptr);
        const guint timer = g_room_single_click_timeout_id;
        activate(2);
        EXPECT_TRUE(g_is_connected);
        EXPECT_EQ(voice_journal(), (Texts{"connect", "join r2"}));
        EXPECT_EQ(visible_page(), "hub");
        EXPECT_EQ(list_lines(), (Texts{"Uno", "  General", "  Cine", "    ana"}));
        EXPECT_EQ(requests(), Texts{"GET /api/spaces/s1/members"});
        EXPECT_EQ(g_main_context_find_source_by_id(nullptr, timer), nullptr);
        EXPECT_EQ(g_room_single_click_timeout_id, 0U);
        EXPECT_EQ(g_pending_room_click_space_index, -1);
        EXPECT_EQ(g_pending_room_click_index, -1);
        EXPECT_EQ(g_last_room_click_space_index, -1);
        EXPECT_EQ(g_last_room_click_index, -1);
        EXPECT_EQ(g_last_room_click_time_us, 0);
        Texts lines = log_lines();
        std::erase_if(lines,
                      [](const std::string& line) { return !line.starts_with("[HUB][DBLCLICK]"); });
        EXPECT_EQ(lines, (Texts{"[HUB][DBLCLICK] logical space=0 room=1 -> voice start",
                                "[HUB][DBLCLICK] voice result=ok space=0 room=1"}));
    });
}

TEST_F(HubActivation, EnterOnARoomEntersIt) {
    answer_voice();
    run_interface([this] {
        play_core();
        add_space("s1", "Uno");
        show_hub();
        select(0);
        press_enter_on(1);
        EXPECT_EQ(voice_journal(), (Texts{"connect", "join r1"}));
        EXPECT_EQ(keyboard(), rows().at(1));
    });
}

TEST_F(HubActivation, EnterOnARoomThatIsGoneWhenItsSpaceIsLoadedEntersNone) {
    answer_voice();
    run_interface([this] {
        play_core();
        add_space("s1", "Uno", {"r1:General"});
        add_space("s2", "Dos", {"r3:General"});
        show_hub();
        answer_rooms("s2", {});
        press_enter_on(3);
        EXPECT_STREQ(g_selected_space_id, "s2");
        EXPECT_EQ(g_selected_room_index, -1);
        EXPECT_EQ(list_lines(), (Texts{"Uno", "  General", "Dos"}));
        EXPECT_EQ(selected_row(), rows().at(2));
        EXPECT_EQ(keyboard(), rows().at(2));
        EXPECT_EQ(voice_journal(), Texts{});
        EXPECT_TRUE(no_window_over_the_hub());
        // The next keys go on from there.
        press_on_list("activate-cursor-row");
        EXPECT_EQ(voice_journal(), Texts{});
        move_cursor(-1);
        EXPECT_STREQ(g_selected_space_id, "s1");
        EXPECT_EQ(g_selected_room_index, 0);
    });
}

TEST_F(HubActivation, EnterOnARoomEntersItAlsoWhenItsSpaceHasMovedMeanwhile) {
    answer_voice();
    answer("GET /api/spaces", 200,
           R"({"spaces":[{"id":"s0","name":"Cero"},{"id":"s1","name":"Uno"},)"
           R"({"id":"s2","name":"Dos"}]})");
    run_interface([this] {
        play_core();
        add_space("s1", "Uno", {"r1:General"});
        add_space("s2", "Dos", {"r3:General"});
        show_hub();
        load_spaces_behind_popup();
        press_enter_on(3);
        EXPECT_EQ(g_selected_server_index, 2);
        EXPECT_STREQ(g_selected_space_id, "s2");
        EXPECT_EQ(voice_journal(), (Texts{"connect", "join r3"}));
        EXPECT_EQ(list_lines(), (Texts{"Cero", "Uno", "Dos", "  General", "    ana"}));
    });
}

TEST_F(HubActivation, ActivatingTakesTheSpacesCachedRooms) {
    answer_voice();
    run_interface([this] {
        play_core();
        add_space("s1", "Uno", {"r1:General"});
        add_space("s2", "Dos", {"r5:Patio", "r3:General"});
        add_rooms({"r1:General"});
        show_hub();
        activate(4);
        EXPECT_STREQ(g_selected_space_id, "s2");
        EXPECT_EQ(voice_journal(), (Texts{"connect", "join r3"}));
        EXPECT_EQ(g_selected_room_index, 1);
        EXPECT_EQ(g_hub_room_count, 2);
        EXPECT_EQ(chat.openings().size(), 1U); // the channel was not usable
    });
}

TEST_F(HubActivation, ActivatingASpaceLoadsItsRoomsAndEntersNone) {
    answer_voice();
    run_interface([this] {
        play_core();
        add_space("s1", "Uno");
        show_hub();
        activate(0);
        EXPECT_EQ(list_lines(), (Texts{"Uno", "  General", "  Cine"}));
        EXPECT_FALSE(g_is_connected);
        EXPECT_EQ(voice_journal(), Texts{});
    });
}

TEST_F(HubActivation, ActivatingIsSilentAboutRoomsThatCannotBeLoaded) {
    run_interface([this] {
        add_space("s1", "Uno");
        show_hub();
        answer("GET /api/spaces/s1/rooms", 403, R"({"error":"Solo para miembros"})");
        g_last_room_click_index = 3;
        activate(0);
        EXPECT_TRUE(no_window_over_the_hub());
        EXPECT_EQ(g_last_room_click_index, 3);
        g_last_room_click_index = -1;
    });
}

TEST_F(HubActivation, ARoomThatIsActivatedDoesNotLookPressedAfterwards) {
    run_interface([] {
        add_space("s1", "Uno", {"r1:General"});
        show_hub();
        gtk_widget_set_state_flags(rows().at(1), GTK_STATE_FLAG_ACTIVE, FALSE);
        activate(1);
        take_alert();
        EXPECT_EQ(gtk_widget_get_state_flags(rows().at(1)) & GTK_STATE_FLAG_ACTIVE, 0);
    });
}

TEST_F(HubActivation, AnActivationOfNoRoomOfTheTablesIsNotLogged) {
    run_interface([] {
        add_space("s1", "Uno");
        add_rooms({"r1:General"});
        run_room_text_and_voice_join(1, 0);
        run_room_text_and_voice_join(-1, 0);
        run_room_text_and_voice_join(0, 1);
        run_room_text_and_voice_join(0, -1);
        EXPECT_EQ(log_lines(), Texts{"[HUB][LOG] GUI_Init start"});
        run_room_text_and_voice_join(0, 0);
        take_alert();
        EXPECT_EQ(log_lines().back(), "[HUB][DBLCLICK] voice result=fail space=0 room=0");
    });
}

// --- What nothing arms ---

TEST_F(HubActivation, ASingleClicksTimerOpensTheRoomsChat) {
    run_interface([] {
        add_space("s1", "Uno", {"r1:General", "r2:Cine"});
        be_in_space();
        g_room_single_click_timeout_id = 77;
        g_pending_room_click_space_index = 0;
        g_pending_room_click_index = 1;
        EXPECT_EQ(on_room_single_click_timeout(nullptr), G_SOURCE_REMOVE);
        EXPECT_EQ(g_room_single_click_timeout_id, 0U);
        EXPECT_EQ(g_pending_room_click_space_index, -1);
        EXPECT_EQ(g_pending_room_click_index, -1);
        EXPECT_STREQ(g_hub_chat_scope_type, "room");
        EXPECT_STREQ(g_hub_chat_scope_id, "r2");
        EXPECT_EQ(click_lines(), Texts{"single-commit space=0 room=1"});
        on_room_single_click_timeout(nullptr);
        EXPECT_EQ(click_lines().size(), 1U);
    });
}

TEST_F(HubActivation, ASingleClicksTimerNeedsASpaceAndARoom) {
    run_interface([] {
        add_space("s1", "Uno", {"r1:General", "r2:Cine"});
        be_in_space();
        const auto commit = [](std::int32_t space, std::int32_t room) {
            g_pending_room_click_space_index = space;
            g_pending_room_click_index = room;
            EXPECT_EQ(on_room_single_click_timeout(nullptr), G_SOURCE_REMOVE);
            EXPECT_EQ(g_pending_room_click_space_index, -1);
            EXPECT_EQ(g_pending_room_click_index, -1);
            return std::string(g_hub_chat_scope_id);
        };
        EXPECT_EQ(commit(-1, 0), "");
        EXPECT_EQ(commit(0, -1), "");
        EXPECT_EQ(click_lines(), Texts{});
        EXPECT_EQ(commit(0, 2), "");
        EXPECT_EQ(commit(1, 0), "");
        EXPECT_EQ(commit(0, 0), "r1");
        EXPECT_EQ(click_lines(),
                  (Texts{"single-commit space=0 room=2", "single-commit space=1 room=0",
                         "single-commit space=0 room=0"}));
    });
}

TEST_F(HubActivation, TheDoubleClicksTimeIsTheToolkitsWithinBounds) {
    GtkSettings* const settings = gtk_settings_get_default();
    for (const auto& [time, expected] : {std::pair{400, 400},
                                         {0, 180},
                                         {179, 180},
                                         {180, 180},
                                         {181, 181},
                                         {899, 899},
                                         {900, 900},
                                         {901, 900},
                                         {5000, 900}}) {
        g_object_set(settings, "gtk-double-click-time", time, nullptr);
        EXPECT_EQ(get_natural_double_click_time_ms(), expected);
    }
    gtk_settings_reset_property(settings, "gtk-double-click-time");
}

} // namespace
