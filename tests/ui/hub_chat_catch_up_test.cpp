// What was written while the chat channel was gone, and a chat that could not be loaded: shown as
// soon as the user does something.
#include "hub_chat_fixture.h"

#include "backend/hub_tables.h"
#include "base/text.h"
#include "chat/chat_connection.h"
#include "support/fake_clock.h"
#include "ui/hub/hub_chat_internal.h"

#include <algorithm>
#include <optional>

namespace {

constexpr const char* k_newest =
    R"({"type":"messages:history","spaceId":"s1","sessionToken":"tok","limit":100})";

class HubChatCatchUp : public HubChatTest {
  protected:
    void SetUp() override { show_column(); }

    /// The server is stopped, and the channel has noticed.
    void end_server() {
        server.say_close();
        ASSERT_TRUE(server.wait_until_gone());
        ASSERT_TRUE(wait_until([] { return !chat_ws_connection_is_usable(); }));
    }

    /// The chat of the space with its messages 1 to `count`; then the server goes, and is back with
    /// so many `more`.
    void open_space_and_miss(int count, int more) {
        hold_history(count);
        open_space();
        end_server();
        hold_history(count + more);
    }

    int count_requests(const std::string& request) const {
        const Texts requests = sent_requests();
        return static_cast<int>(std::count(requests.begin(), requests.end(), request));
    }

    /// Answers come when a test says them.
    static bool shows(const ChatRows& messages) {
        return wait_until([&messages] { return rows() == messages; });
    }

    static void send(const char* text) {
        write_input(text);
        click(g_hub_chat_send_btn);
    }
};

TEST_F(HubChatCatchUp, WhoeverSendsAfterTheServerWasGoneSeesWhatWasMissed) {
    open_space_and_miss(3, 2);
    send("hola");
    EXPECT_EQ(count_requests(R"({"type":"message:send","spaceId":"s1","sessionToken":"tok","text":)"
                             R"("hola"})"),
              1);
    EXPECT_TRUE(shows(held_messages(1, 5)));
    EXPECT_EQ(count_requests(k_newest), 2);
    EXPECT_TRUE(wait_until([] { return !is_loading_shown() && !g_hub_chat_loading_history; }));
    // What comes from here on comes live.
    say(live_message("Luis", "nuevo"));
    EXPECT_EQ(rows().back().text, "nuevo");
    send("otra vez");
    EXPECT_EQ(count_requests(k_newest), 2);
}

TEST_F(HubChatCatchUp, WhoeverScrollsAtTheNewestMessageSeesWhatWasMissed) {
    for (const auto move :
         {+[] { emit_wheel(1.0); }, +[] { emit_key(GDK_KEY_Down); }, +[] { emit_key(GDK_KEY_End); },
          +[] { g_signal_emit_by_name(g_hub_chat_scroll, "edge-overshot", GTK_POS_BOTTOM); }}) {
        open_space_and_miss(1, 1); // all of them are in sight: there is nothing to scroll
        move();
        EXPECT_TRUE(shows(held_messages(1, 2)));
        EXPECT_TRUE(wait_until([] { return !g_hub_chat_loading_history; }));
    }
}

TEST_F(HubChatCatchUp, AReaderOfOlderMessagesKeepsThePlaceUntilTheNewestIsInSight) {
    open_space_and_miss(60, 2);
    scroll_to(bottom() / 2);
    emit_wheel(1.0);
    settle();
    EXPECT_FALSE(chat_ws_connection_is_usable());
    EXPECT_EQ(rows(), held_messages(1, 60));
    scroll_to(bottom());
    EXPECT_TRUE(shows(held_messages(1, 62)));
    EXPECT_TRUE(wait_until(is_at_bottom));
}

TEST_F(HubChatCatchUp, WhoGoesUpFromTheNewestMessageIsNotTakenBack) {
    open_space_and_miss(60, 2);
    emit_wheel(-1.0);
    emit_key(GDK_KEY_Page_Up);
    g_signal_emit_by_name(g_hub_chat_scroll, "edge-overshot", GTK_POS_TOP);
    EXPECT_FALSE(chat_ws_connection_is_usable());
    emit_wheel(1.0);
    EXPECT_TRUE(chat_ws_connection_is_usable());
    scroll_to(bottom() / 2); // before the channel is there
    ASSERT_TRUE(wait_until(chat_ws_is_ready));
    run_past_timers(100); // what waits for the channel looks every 100
    EXPECT_EQ(count_requests(k_newest), 1);
    EXPECT_EQ(rows(), held_messages(1, 60));
    refresh_hub_chat_if_missed(); // a click on the space wants it
    EXPECT_TRUE(shows(held_messages(1, 62)));
}

TEST_F(HubChatCatchUp, WhereNothingWasMissedNothingIsAskedForAndThePlaceStays) {
    hold_history(60);
    open_space();
    GtkWidget* const first = row_widgets().front();
    send("hola");
    emit_wheel(1.0);
    refresh_hub_chat_if_missed();
    scroll_to(bottom() / 2);
    settle();
    const double place = place_of(first);
    refresh_hub_chat_if_missed();
    settle();
    EXPECT_EQ(count_requests(k_newest), 1);
    EXPECT_EQ(row_widgets().front(), first);
    EXPECT_EQ(place_of(first), place);
    EXPECT_EQ(server.openings().size(), 1U);
}

TEST_F(HubChatCatchUp, WithoutAChatNothingIsAskedFor) {
    refresh_hub_chat_if_missed();
    emit_wheel(1.0);
    EXPECT_TRUE(server.openings().empty());
    open_space_and_miss(1, 1);
    g_hub_chat_scope_type[0] = '\0'; // the spaces were loaded anew
    refresh_hub_chat_if_missed();
    EXPECT_EQ(server.openings().size(), 1U);
}

TEST_F(HubChatCatchUp, AChatThatIsLeftWhileItsChannelComesIsNotAskedFor) {
    open_space_and_miss(1, 1);
    server.hold_openings();
    refresh_hub_chat_if_missed();
    copy_text(g_hub_chat_scope_type, "");
    server.release_openings();
    ASSERT_TRUE(chat_ws_wait_until_ready(5000));
    run_past_timers(100); // what waits for it looks every 100
    EXPECT_EQ(count_requests(k_newest), 1);
}

TEST_F(HubChatCatchUp, TheChannelIsNotWaitedForAndTriedOnceIn5SecondsOfScrolling) {
    hold_history(1);
    open_space();
    end_server();
    std::optional<FakeClock> clock(1000);
    server.refuse_openings("connect-host", 1);
    const auto scroll = [] {
        emit_wheel(1.0);
        wait_until([] { return !chat_ws_connection_is_usable(); });
        run_past_timers(100); // what waits for the channel looks every 100
    };
    scroll();
    EXPECT_EQ(clock->now(), 1000U);
    EXPECT_EQ(server.openings().size(), 2U);
    scroll();
    clock->advance(4999);
    scroll();
    EXPECT_EQ(server.openings().size(), 2U);
    EXPECT_EQ(rows(), held_messages(1, 1)); // they are not taken away
    EXPECT_FALSE(is_loading_shown());
    clock->advance(1);
    scroll();
    EXPECT_EQ(server.openings().size(), 3U);
    refresh_hub_chat_if_missed(); // a click need not wait
    wait_until([] { return !chat_ws_connection_is_usable(); });
    EXPECT_EQ(server.openings().size(), 4U);
    chat_ws_stop();
    clock.reset();
}

TEST_F(HubChatCatchUp, AChatThatCouldNotBeLoadedIsLoadedLater) {
    std::optional<FakeClock> clock(1000);
    server.refuse_openings("connect-host", 1);
    EXPECT_FALSE(load_space_chat_by_index(0));
    show_hub_chat_notice("No se pudo cargar el chat del espacio");
    chat_ws_stop();
    clock.reset();
    hold_history(2);
    server.accept_openings();
    refresh_hub_chat_if_missed();
    EXPECT_TRUE(shows(held_messages(1, 2)));
}

TEST_F(HubChatCatchUp, AChatThatTheServerDidNotLetInIsLoadedLaterOverTheSameChannel) {
    chat_ws_start_for_selected_space();
    ASSERT_TRUE(chat_ws_wait_until_ready(5000));
    server.answer("chat:join", [](const std::string&) { return Texts{}; });
    {
        const FakeClock clock;
        EXPECT_FALSE(load_space_chat_by_index(0));
    }
    server.answer_friendly();
    hold_history(2);
    refresh_hub_chat_if_missed();
    EXPECT_TRUE(shows(held_messages(1, 2)));
    EXPECT_EQ(server.openings().size(), 1U);
}

TEST_F(HubChatCatchUp, AChannelWhoseEndNobodyHasNoticedYetIsMissedToo) {
    hold_history(1);
    open_space();
    server.say_close();
    ASSERT_TRUE(server.wait_until_gone());
    hold_history(2);
    // Its thread may be about to end.
    EXPECT_TRUE(wait_until([] {
        refresh_hub_chat_if_missed();
        return rows() == held_messages(1, 2);
    }));
}

TEST_F(HubChatCatchUp, APageThatIsLostAgainIsAskedForAgain) {
    open_space_and_miss(1, 1);
    answer_later();
    refresh_hub_chat_if_missed();
    ASSERT_TRUE(wait_until([] { return is_loading_shown(); }));
    refresh_hub_chat_if_missed(); // once is enough
    EXPECT_EQ(count_requests(k_newest), 2);
    end_server();
    ASSERT_TRUE(wait_until([] { return !is_loading_shown(); }));
    hold_history(2);
    refresh_hub_chat_if_missed();
    EXPECT_TRUE(shows(held_messages(1, 2)));
    EXPECT_EQ(count_requests(k_newest), 3);
}

TEST_F(HubChatCatchUp, NoOlderPageIsTakenForTheNewestOrTheOtherWayRound) {
    hold_history(4, 2);
    open_space();
    end_server();
    answer_later();
    emit_wheel(-1.0); // asks for the older page, and restarts the channel for it
    ASSERT_TRUE(g_hub_chat_loading_history);
    refresh_hub_chat_if_missed();
    run_past_timers(100); // what waits for its answer looks every 100
    EXPECT_EQ(count_requests(k_newest), 1);
    hold_history(5, 2);
    say(history_frame(history_message("Ana", "1") + "," + history_message("Ana", "2"),
                      R"("hasMore":true,"nextBefore":"1",)"));
    EXPECT_TRUE(shows(held_messages(4, 5)));
    EXPECT_TRUE(wait_until([] { return !g_hub_chat_loading_history; }));

    end_server();
    answer_later();
    refresh_hub_chat_if_missed();
    ASSERT_TRUE(wait_until([] { return is_loading_shown(); }));
    const std::size_t requests = sent_requests().size();
    emit_wheel(-1.0);
    EXPECT_EQ(sent_requests().size(), requests);
    say(history_frame(history_message("Ana", "la última")));
    EXPECT_EQ(rows().size(), 1U);
}

TEST_F(HubChatCatchUp, TheNewestPageIsNotTakenForAnOlderOneWhoseAnswerWasLost) {
    hold_history(4, 2);
    open_space();
    answer_later();
    emit_wheel(-1.0);
    ASSERT_TRUE(g_hub_chat_loading_history);
    say(history_frame(history_message("Ana", "x"), "", R"("spaceId":"s2")")); // another chat's
    ASSERT_FALSE(g_hub_chat_loading_history);
    ASSERT_TRUE(g_hub_chat_pending_history_prepend);
    end_server();
    hold_history(5, 2);
    refresh_hub_chat_if_missed();
    EXPECT_TRUE(shows(held_messages(4, 5)));
}

TEST_F(HubChatCatchUp, ARoomIsFollowedAgain) {
    HubSpace& space = g_hub_servers[0];
    space.roomsCached = true;
    space.cachedRoomCount = 1;
    copy_text(space.cachedRooms[0].id, "r1");
    server.answer("messages:history", [](const std::string&) {
        return Texts{history_frame(history_message("Ana", "en la sala"), "", R"("roomId":"r1")")};
    });
    ASSERT_TRUE(load_room_chat_by_indices(0, 0));
    ASSERT_TRUE(wait_until([] { return rows().size() == 1; }));
    end_server();
    clear_hub_chat_list();
    refresh_hub_chat_if_missed();
    EXPECT_TRUE(wait_until([] { return rows().size() == 1; }));
    const std::string follow = R"({"type":"subscribe","channel":"roomMessages","roomId":"r1"})";
    EXPECT_TRUE(wait_until([&] {
        const Texts sent = server.sent();
        return std::count(sent.begin(), sent.end(), follow) == 2;
    }));
}

} // namespace
