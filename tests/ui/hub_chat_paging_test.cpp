// Older pages of the hub's chat, and where its reader is while they come.
#include "hub_chat_fixture.h"

#include "backend/hub_tables.h"
#include "base/text.h"
#include "chat/chat_connection.h"
#include "support/fake_clock.h"
#include "ui/hub/hub_chat_internal.h"

#include <optional>
#include <utility>

namespace {

constexpr const char* k_older_of_space =
    R"({"type":"messages:history","spaceId":"s1","sessionToken":"tok","limit":100,"before":"c"})";
constexpr const char* k_older_of_room =
    R"({"type":"messages:history","roomId":"r1","sessionToken":"tok","limit":100,"before":"c"})";

/// Where a row was in every picture that was painted while this lives, but for those in which the
/// window manager came late with another size: the reader is brought to its place in the next one.
class PaintedPlaces {
  public:
    explicit PaintedPlaces(GtkWidget* row)
        : m_row(row), m_height(gtk_widget_get_height(g_hub_chat_scroll)),
          m_clock(gtk_widget_get_frame_clock(row)),
          m_handler(g_signal_connect_after(m_clock, "paint", G_CALLBACK(on_paint), this)) {}
    ~PaintedPlaces() { g_signal_handler_disconnect(m_clock, m_handler); }
    PaintedPlaces(const PaintedPlaces&) = delete;
    PaintedPlaces& operator=(const PaintedPlaces&) = delete;

    const std::vector<double>& places() const { return m_places; }
    /// From the bottom of what is seen, which another size moves.
    const std::vector<double>& places_from_bottom() const { return m_places_from_bottom; }
    /// Runs the main loop until `count` more pictures were painted.
    void wait_for(std::size_t count) const {
        const std::size_t end = m_places.size() + count;
        ASSERT_TRUE(wait_until([this, end] {
            gtk_widget_queue_draw(g_window);
            return m_places.size() >= end;
        }));
    }

  private:
    static void on_paint(GdkFrameClock*, PaintedPlaces* self) {
        const int height = gtk_widget_get_height(g_hub_chat_scroll);
        if (std::exchange(self->m_height, height) != height) {
            return;
        }
        double y = 0.0;
        gtk_widget_translate_coordinates(self->m_row, g_hub_chat_scroll, 0.0, 0.0, nullptr, &y);
        self->m_places.push_back(y);
        self->m_places_from_bottom.push_back(height - y);
    }

    GtkWidget* m_row;
    int m_height;
    GdkFrameClock* m_clock;
    gulong m_handler;
    std::vector<double> m_places;
    std::vector<double> m_places_from_bottom;
};

class HubChatPaging : public HubChatTest {
  protected:
    /// A scope with more history behind the cursor "c", and a channel that is not opened.
    static void offer_more(const char* scope_type = "space", const char* scope_id = "s1") {
        copy_text(g_hub_chat_scope_type, scope_type);
        copy_text(g_hub_chat_scope_id, scope_id);
        g_hub_chat_has_more_history = true;
        copy_text(g_hub_chat_next_before, "c");
    }

    /// Rows enough to be scrolled, and their reader at the newest.
    void show_many_rows(int count = 60) {
        show_column();
        for (int i = 0; i < count; ++i) {
            append_hub_chat_row("Ana", std::to_string(i).c_str(), nullptr);
        }
        settle();
        ASSERT_TRUE(is_at_bottom());
        ASSERT_GT(bottom(), 100.0);
    }

    /// Blocks the loop meanwhile: the check finds the connection gone, and what it said untaken.
    static void run_until_the_loss_check_is_due() {
        g_usleep(300'000);
        run_pending();
    }
};

TEST_F(HubChatPaging, AThousandMessagesArePagedBackToTheFirstAndTheReadersPlaceStays) {
    hold_history(1000);
    show_column();
    open_space();
    EXPECT_EQ(rows(), held_messages(901, 1000));
    EXPECT_TRUE(is_at_bottom());
    int first = 901;
    for (; first > 1; first -= 100) {
        // Anywhere near the top, also between two pixels' rows.
        const double value = (first / 100) % 9;
        scroll_to(9.0); // not there yet
        settle();
        const std::size_t before = rows().size();
        ASSERT_FALSE(g_hub_chat_loading_history);
        GtkWidget* const top = row_widgets().front();
        const double place = place_of(top) + 9.0 - value;
        scroll_to(value);
        ASSERT_TRUE(g_hub_chat_loading_history);
        ASSERT_TRUE(is_loading_shown());
        const PaintedPlaces painted(top);
        ASSERT_TRUE(wait_until([before] { return row_widgets().size() > before; }));
        painted.wait_for(3);
        for (const double there : painted.places()) {
            ASSERT_DOUBLE_EQ(there, place) << "page before " << first;
        }
        ASSERT_EQ(rows(), held_messages(first - 100, 1000));
        EXPECT_FALSE(is_loading_shown());
        EXPECT_FALSE(g_hub_chat_loading_history);
    }
    EXPECT_EQ(first, 1);
    EXPECT_FALSE(g_hub_chat_has_more_history);
    const std::size_t requests = sent_requests().size();
    EXPECT_EQ(requests, 10U);
    scroll_to(0.0);
    EXPECT_EQ(sent_requests().size(), requests);
}

TEST_F(HubChatPaging, ANewHistoryIsShownAtItsNewestRowFromTheFirstPicture) {
    hold_history(300);
    show_column();
    open_space();
    scroll_to(100.0);
    apply_chat_history_payload(history_frame(history_message("Ana", "x")).c_str(), false, false,
                               nullptr);
    for (int i = 0; i < 80; ++i) {
        append_hub_chat_row("Ana", "una línea", nullptr);
    }
    GtkWidget* const last = row_widgets().back();
    const PaintedPlaces painted(last);
    painted.wait_for(3);
    for (const double place : painted.places_from_bottom()) {
        EXPECT_EQ(place, painted.places_from_bottom().back());
    }
    EXPECT_TRUE(is_at_bottom());
}

TEST_F(HubChatPaging, AHistoryOfTheSameHeightIsShownAtItsNewestRowToo) {
    show_column();
    std::string messages = history_message("Ana", "0");
    for (int i = 1; i < 60; ++i) {
        messages += "," + history_message("Ana", std::to_string(i % 10));
    }
    const std::string page = history_frame(messages);
    apply_chat_history_payload(page.c_str(), false, false, nullptr);
    settle();
    scroll_to(20.0);
    settle();
    apply_chat_history_payload(page.c_str(), false, false, nullptr);
    settle();
    EXPECT_TRUE(is_at_bottom());
}

TEST_F(HubChatPaging, ALiveMessageIsScrolledToWhereTheReaderIsAtTheNewest) {
    show_many_rows();
    append_hub_chat_row("Luis", "nuevo, y de varias líneas\n2\n3\n4", nullptr);
    settle();
    EXPECT_TRUE(is_at_bottom());
    const double height = gtk_widget_get_height(row_widgets().back());
    EXPECT_GE(height, 60.0);
    EXPECT_LE(place_of(row_widgets().back()) + height, gtk_widget_get_height(g_hub_chat_scroll));
}

TEST_F(HubChatPaging, ALiveMessageLeavesAReaderWhoIsElsewhereThere) {
    show_many_rows();
    scroll_to(bottom() - 40.0);
    settle();
    const double value = gtk_adjustment_get_value(scrolling());
    const double before = bottom();
    append_hub_chat_row("Luis", "nuevo", nullptr);
    settle();
    EXPECT_EQ(gtk_adjustment_get_value(scrolling()), value);
    EXPECT_GT(bottom(), before);
    scroll_to(bottom());
    append_hub_chat_row("Luis", "otro", nullptr);
    settle();
    EXPECT_TRUE(wait_until(is_at_bottom));
}

TEST_F(HubChatPaging, TheNewestRowStaysInSightWhenTheWindowGetsLower) {
    show_many_rows();
    gtk_window_set_default_size(GTK_WINDOW(g_window), 480, 400);
    wait_until([] { return gtk_widget_get_height(g_window) == 400; });
    settle();
    EXPECT_TRUE(is_at_bottom());
}

TEST_F(HubChatPaging, AMessageThatComesWithAnOlderPageDoesNotMoveTheReader) {
    show_many_rows();
    scroll_to(30.0);
    settle();
    GtkWidget* const top = row_widgets().front();
    const double place = place_of(top);
    const PaintedPlaces painted(top);
    apply_chat_history_payload(history_frame(history_message("Ana", "viejo\n2\n3")).c_str(), true,
                               false, nullptr);
    append_hub_chat_row("Luis", "nuevo", nullptr);
    apply_chat_history_payload(history_frame(history_message("Ana", "aún más viejo")).c_str(), true,
                               false, nullptr);
    painted.wait_for(3);
    for (const double there : painted.places()) {
        EXPECT_DOUBLE_EQ(there, place);
    }
    EXPECT_EQ(row_widgets().size(), 63U);
}

TEST_F(HubChatPaging, APageThatIsNotOnTheScreenIsPlacedOnceItIs) {
    show_many_rows();
    show_hub_stream_view_for_user("u2");
    settle();
    apply_chat_history_payload(history_frame(history_message("Ana", "viejo")).c_str(), true, false,
                               nullptr);
    for (int i = 0; i < 20; ++i) {
        append_hub_chat_row("Luis", "nuevo", nullptr);
    }
    show_hub_room_chat_view();
    wait_until([] { return gtk_widget_get_mapped(g_hub_chat_list) != FALSE; });
    settle();
    EXPECT_TRUE(is_at_bottom());
}

// ---- the conditions

TEST_F(HubChatPaging, AtTheTopTheOlderPageIsAskedForOnce) {
    answer_later();
    show_many_rows();
    open_channel();
    offer_more();
    scroll_to(8.5);
    EXPECT_EQ(sent_requests(), Texts{});
    scroll_to(8.0);
    EXPECT_EQ(sent_requests(), Texts{k_older_of_space});
    EXPECT_TRUE(g_hub_chat_loading_history);
    EXPECT_TRUE(g_hub_chat_pending_history_prepend);
    EXPECT_TRUE(is_loading_shown());
    scroll_to(3.0);
    scroll_to(0.0);
    EXPECT_EQ(sent_requests().size(), 1U);
}

TEST_F(HubChatPaging, WithoutMoreOrACursorOrAChatNothingIsAskedFor) {
    answer_later();
    show_many_rows();
    open_channel();
    offer_more();
    g_hub_chat_has_more_history = false;
    scroll_to(5.0);
    offer_more();
    g_hub_chat_next_before[0] = '\0';
    scroll_to(4.0);
    offer_more();
    g_hub_chat_scope_id[0] = '\0';
    scroll_to(3.0);
    EXPECT_EQ(sent_requests(), Texts{});
    offer_more();
    scroll_to(2.0);
    EXPECT_EQ(sent_requests(), Texts{k_older_of_space});
}

TEST_F(HubChatPaging, APageWithoutHasMoreEndsThePaging) {
    answer_later();
    show_many_rows();
    open_channel();
    offer_more();
    scroll_to(5.0);
    say(history_frame(history_message("Ana", "el primero")));
    settle();
    EXPECT_FALSE(g_hub_chat_loading_history);
    scroll_to(0.0);
    EXPECT_EQ(sent_requests().size(), 1U);
}

TEST_F(HubChatPaging, AShortPageInPlaceOfALongListAsksForWhatIsBehindIt) {
    answer_later();
    show_many_rows();
    open_channel();
    copy_text(g_hub_chat_scope_type, "space");
    copy_text(g_hub_chat_scope_id, "s1");
    say(history_frame(history_message("Ana", "corto"), R"("hasMore":true,"nextBefore":"c",)"));
    ASSERT_TRUE(wait_until([] { return g_hub_chat_loading_history; }));
    EXPECT_EQ(gtk_adjustment_get_value(scrolling()), 0.0);
    EXPECT_EQ(rows().size(), 1U);
    settle();
    EXPECT_EQ(sent_requests(), Texts{k_older_of_space});
}

TEST_F(HubChatPaging, AListOnItsWayToTheNewestRowAsksForNothing) {
    answer_later();
    show_many_rows();
    open_channel();
    copy_text(g_hub_chat_scope_type, "space");
    copy_text(g_hub_chat_scope_id, "s1");
    std::string messages = history_message("Ana", "0");
    for (int i = 1; i < 40; ++i) {
        messages += "," + history_message("Ana", std::to_string(i));
    }
    say(history_frame(messages, R"("hasMore":true,"nextBefore":"c",)"));
    settle();
    EXPECT_TRUE(is_at_bottom());
    EXPECT_TRUE(g_hub_chat_has_more_history);
    EXPECT_EQ(sent_requests(), Texts{});
}

TEST_F(HubChatPaging, AWindowThatGrowsToTheTopAsksForOlderMessages) {
    answer_later();
    show_column(480, 300);
    for (int i = 0; i < 10; ++i) {
        append_hub_chat_row("Ana", "hola", nullptr);
    }
    settle();
    ASSERT_GT(bottom(), 50.0);
    open_channel();
    offer_more();
    wait_until([] {
        gtk_window_set_default_size(GTK_WINDOW(g_window), 480, 700);
        return gtk_widget_get_height(g_window) == 700;
    });
    ASSERT_TRUE(wait_until([] { return g_hub_chat_loading_history; }));
    settle();
    EXPECT_EQ(gtk_adjustment_get_value(scrolling()), 0.0);
    EXPECT_EQ(sent_requests(), Texts{k_older_of_space});
}

TEST_F(HubChatPaging, TheAnswerToAnotherScopeEndsTheLoadingButNotTheWait) {
    answer_later();
    show_many_rows();
    open_channel();
    offer_more();
    scroll_to(5.0);
    say(history_frame(history_message("Luis", "x"), "", R"("roomId":"r9")"));
    EXPECT_FALSE(g_hub_chat_loading_history);
    EXPECT_TRUE(g_hub_chat_pending_history_prepend);
    scroll_to(3.0);
    EXPECT_EQ(sent_requests(), Texts{k_older_of_space});
    say(history_frame(history_message("Ana", "viejo")));
    EXPECT_EQ(rows().size(), 61U);
    EXPECT_EQ(rows().front().text, "viejo");
}

TEST_F(HubChatPaging, APageIsLostWithItsConnectionAlsoAfterTheAnswerToAnotherScope) {
    answer_later();
    show_many_rows();
    open_channel();
    offer_more();
    scroll_to(5.0);
    say(history_frame(history_message("Luis", "x"), "", R"("roomId":"r9")"));
    server.say_close();
    EXPECT_TRUE(wait_until([] { return !g_hub_chat_pending_history_prepend; }));
}

TEST_F(HubChatPaging, AShortPageIsPagedByWheelKeysAndTouch) {
    show_column();
    open_channel();
    hold_history(6, 2);
    load_space_chat_by_index(0);
    ASSERT_TRUE(wait_until([] { return row_widgets().size() == 2; }));
    emit_wheel(1.0);
    EXPECT_FALSE(g_hub_chat_loading_history);
    emit_wheel(-1.0);
    ASSERT_TRUE(wait_until([] { return row_widgets().size() == 4; }));
    emit_key(GDK_KEY_Page_Down);
    EXPECT_FALSE(g_hub_chat_loading_history);
    emit_key(GDK_KEY_Page_Up);
    ASSERT_TRUE(wait_until([] { return row_widgets().size() == 6; }));
    EXPECT_EQ(rows(), held_messages(1, 6));
    answer_later();
    offer_more();
    g_signal_emit_by_name(g_hub_chat_scroll, "edge-overshot", GTK_POS_BOTTOM);
    EXPECT_FALSE(g_hub_chat_loading_history);
    g_signal_emit_by_name(g_hub_chat_scroll, "edge-overshot", GTK_POS_TOP);
    EXPECT_TRUE(g_hub_chat_loading_history);
}

// ---- failures

TEST_F(HubChatPaging, OfASpaceThatCannotBeAskedForEverythingIsAsBefore) {
    const FakeClock clock;
    server.refuse_openings("connect-host", 1);
    show_many_rows();
    offer_more();
    scroll_to(5.0);
    EXPECT_FALSE(g_hub_chat_loading_history);
    EXPECT_FALSE(g_hub_chat_pending_history_prepend);
    EXPECT_FALSE(is_loading_shown());
    EXPECT_TRUE(g_hub_chat_has_more_history);
    EXPECT_TRUE(web.calls().empty());

    char error[256] = "";
    EXPECT_FALSE(load_older_hub_chat_messages(error));
    EXPECT_STREQ(error, "No se pudo cargar historial por socket");
    EXPECT_EQ(row_widgets().size(), 60U);
}

TEST_F(HubChatPaging, WhoTurnsTheWheelOnAfterAFailureIsNotHeldUpEachTime) {
    std::optional<FakeClock> clock(1000);
    server.refuse_openings("connect-host", 1);
    show_many_rows();
    offer_more();
    scroll_to(5.0);
    const std::uint32_t failed = clock->now();
    emit_wheel(-1.0);
    EXPECT_EQ(clock->now(), failed); // nothing was waited for
    scroll_to(4.0);                  // scrolling does try again
    EXPECT_GT(clock->now(), failed);
    clock->advance(5000);
    const std::uint32_t later = clock->now();
    emit_wheel(-1.0);
    EXPECT_GT(clock->now(), later);
    chat_ws_stop();
    clock.reset();
}

TEST_F(HubChatPaging, OfARoomThatCannotBeAskedForThePageComesFromTheBackend) {
    const FakeClock clock;
    server.refuse_openings("connect-host", 1);
    show_many_rows();
    offer_more("room", "r1");
    web.answer(200, R"({"hasMore":true,"nextBefore":"b","messages":[)" +
                        history_message("Ana", "viejo") + "]}");
    set_hub_chat_title("Sala");
    scroll_to(5.0);
    EXPECT_EQ(web.last_call().url,
              "http://b/api/chats/room/r1?sessionToken=tok&limit=100&before=c");
    EXPECT_EQ(rows().size(), 61U);
    EXPECT_EQ(rows().front().text, "viejo");
    EXPECT_EQ(title(), "Sala");
    EXPECT_FALSE(g_hub_chat_pending_history_prepend);
    EXPECT_FALSE(g_hub_chat_loading_history);
    EXPECT_FALSE(is_loading_shown());
    EXPECT_STREQ(g_hub_chat_next_before, "b");
}

TEST_F(HubChatPaging, OfARoomThatNobodyAnswersForTheErrorIsTheBackends) {
    const FakeClock clock;
    server.refuse_openings("connect-host", 1);
    show_many_rows();
    offer_more("room", "r1");
    web.answer(500, "{}");
    g_hub_chat_loading_history = true;
    char error[256] = "";
    EXPECT_FALSE(load_older_hub_chat_messages(error));
    EXPECT_STREQ(error, "Consulta de chat falló (HTTP 500)");
    EXPECT_FALSE(g_hub_chat_loading_history);
    EXPECT_FALSE(is_loading_shown());
    EXPECT_EQ(rows().size(), 60U);
}

TEST_F(HubChatPaging, OfARoomThePageIsAskedForOverTheChannelFirst) {
    answer_later();
    show_many_rows();
    open_channel();
    offer_more("room", "r1");
    scroll_to(5.0);
    EXPECT_EQ(sent_requests(), Texts{k_older_of_room});
    EXPECT_TRUE(web.calls().empty());
    say(history_frame(history_message("Ana", "viejo"), "", R"("roomId":"r1")"));
    EXPECT_EQ(rows().front().text, "viejo");
    EXPECT_EQ(rows().size(), 61U);
}

TEST_F(HubChatPaging, AnOlderPageThatIsLostWithItsConnectionCanBeAskedForAgain) {
    answer_later();
    show_many_rows();
    open_channel();
    offer_more();
    scroll_to(5.0);
    ASSERT_TRUE(g_hub_chat_loading_history);
    run_past_timers(250);                    // what looks for the connection
    EXPECT_TRUE(g_hub_chat_loading_history); // the answer may take its time
    EXPECT_TRUE(is_loading_shown());
    server.say_close();
    ASSERT_TRUE(wait_until([] { return !g_hub_chat_loading_history; }));
    EXPECT_FALSE(is_loading_shown());
    EXPECT_FALSE(g_hub_chat_pending_history_prepend);
    scroll_to(3.0);
    ASSERT_EQ(sent_requests(), (Texts{k_older_of_space, k_older_of_space}));
    EXPECT_TRUE(g_hub_chat_loading_history);
    say(history_frame(history_message("Ana", "viejo")));
    EXPECT_EQ(rows().size(), 61U);
    EXPECT_EQ(rows().front().text, "viejo");
}

TEST_F(HubChatPaging, AnOlderPageIsLostToAnotherConnectionToo) {
    answer_later();
    show_many_rows();
    open_channel();
    offer_more();
    scroll_to(5.0);
    chat_ws_restart_for_selected_space();
    ASSERT_TRUE(chat_ws_wait_until_ready(5000));
    ASSERT_TRUE(wait_until([] { return !g_hub_chat_loading_history; }));
    EXPECT_FALSE(is_loading_shown());
}

TEST_F(HubChatPaging, APageThatTheConnectionSaysLastOfAllIsNotLost) {
    answer_later();
    show_many_rows();
    open_channel();
    offer_more();
    scroll_to(5.0);
    server.say(history_frame(history_message("Ana", "viejo")));
    server.say_close();
    server.wait_until_gone();
    run_until_the_loss_check_is_due();
    EXPECT_EQ(rows().size(), 61U);
    EXPECT_EQ(rows().front().text, "viejo");
    EXPECT_FALSE(g_hub_chat_loading_history);
}

TEST_F(HubChatPaging, TheFirstPagesLabelGoesWithTheConnection) {
    answer_later();
    show_column();
    ASSERT_TRUE(load_space_chat_by_index(0));
    ASSERT_TRUE(is_loading_shown());
    server.say_close();
    ASSERT_TRUE(wait_until([] { return !is_loading_shown(); }));
    cache_rooms(g_hub_servers[0], {"r1:General"});
    ASSERT_TRUE(load_room_chat_by_indices(0, 0));
    ASSERT_TRUE(is_loading_shown());
    server.say_close();
    ASSERT_TRUE(wait_until([] { return !is_loading_shown(); }));
}

TEST_F(HubChatPaging, WithoutAChatOrACursorItSaysWhy) {
    show_column();
    char error[256] = "";
    EXPECT_FALSE(load_older_hub_chat_messages(error));
    EXPECT_STREQ(error, "No hay chat seleccionado");
    offer_more();
    g_hub_chat_next_before[0] = '\0';
    EXPECT_FALSE(load_older_hub_chat_messages(error));
    EXPECT_STREQ(error, "No hay más historial");
    EXPECT_FALSE(g_hub_chat_pending_history_prepend);
}

TEST_F(HubChatPaging, APageThatComesAfterAnotherChatWasOpenedIsNotItsOwn) {
    answer_later();
    show_many_rows();
    open_channel();
    offer_more();
    scroll_to(5.0);
    ASSERT_TRUE(g_hub_chat_loading_history);
    ASSERT_TRUE(g_hub_chat_pending_history_prepend);
    copy_text(g_selected_space_id, "s2");
    ASSERT_TRUE(load_space_chat_by_index(1));
    EXPECT_FALSE(g_hub_chat_pending_history_prepend);
    EXPECT_FALSE(g_hub_chat_loading_history);
    EXPECT_TRUE(row_widgets().empty());
    say(history_frame(history_message("Ana", "del otro"), R"("hasMore":true,"nextBefore":"x",)"));
    EXPECT_TRUE(row_widgets().empty());
    EXPECT_FALSE(g_hub_chat_has_more_history);
    say(history_frame(history_message("Eva", "de este"), "", R"("spaceId":"s2")"));
    EXPECT_EQ(rows(), (ChatRows{{"Eva [2024-05-01-10:20:30]", "de este"}}));
}

} // namespace
