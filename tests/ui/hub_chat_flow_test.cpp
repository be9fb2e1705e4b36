// Thousands of messages in the hub's chat: none is lost, each is in its place, and the interface
// goes on meanwhile.
#include "hub_chat_fixture.h"

#include "backend/hub_tables.h"
#include "base/text.h"
#include "base/worker.h"
#include "chat/chat_internal.h"
#include "ui/hub/hub_chat_internal.h"

#include <algorithm>
#include <ctime>

namespace {

constexpr int k_messages = 5000;
constexpr double k_longest_turn_ms = 100.0;

/// This thread's own time: what other programs take of the machine is no turn of this one.
double thread_time_ms() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

/// How long the main loop's turns are while this lives: a timer that goes before everything else
/// looks how much was done since it last did.
class Turns {
  public:
    Turns()
        : m_last(thread_time_ms()),
          m_timer(g_timeout_add_full(G_PRIORITY_HIGH, 1, on_turn, this, nullptr)) {}
    ~Turns() { g_source_remove(m_timer); }
    Turns(const Turns&) = delete;
    Turns& operator=(const Turns&) = delete;

    /// Also what has been done since the last turn began.
    double longest_ms() const { return std::max(m_longest, thread_time_ms() - m_last); }

    void expect_short(const char* what) const {
        testing::Test::RecordProperty(what, std::to_string(longest_ms()) + " ms");
#if VELMO_TURNS_ARE_TIMED
        EXPECT_LE(longest_ms(), k_longest_turn_ms) << what;
#endif
    }

  private:
    static gboolean on_turn(gpointer data) {
        Turns* const self = static_cast<Turns*>(data);
        const double now = thread_time_ms();
        self->m_longest = std::max(self->m_longest, now - self->m_last);
        self->m_last = now;
        return G_SOURCE_CONTINUE;
    }

    double m_last;
    double m_longest = 0.0;
    guint m_timer;
};

class HubChatFlow : public HubChatTest {
  protected:
    void SetUp() override {
        load_css();
        show_column();
        copy_text(g_hub_chat_scope_type, "space");
        copy_text(g_hub_chat_scope_id, "s1");
    }

    static std::string text_of(int number) {
        return "mensaje " + std::to_string(number) + " y lo que sigue, que llena otra línea más";
    }

    /// What the channel's thread does with what it receives; ten times as often as it can receive.
    void pour_messages(int first, int end) {
        Worker channel;
        channel.start([this, first, end](const StopEvent& stop) {
            constexpr int k_bunch = 10;
            for (int i = first; i < end; ++i) {
                handle_chat_frame(m_run, live_message("Luis", text_of(i)).c_str());
                if (i % k_bunch == k_bunch - 1) {
                    stop.wait_ms(10);
                }
            }
        });
        wait_until([&channel] { return !channel.is_running(); });
        channel.wait_and_release(Worker::k_forever);
        wait_until([end] { return count_rows() >= end; });
    }

    static int count_rows() {
        int count = 0;
        for (GtkWidget* row = gtk_widget_get_first_child(g_hub_chat_list); row != nullptr;
             row = gtk_widget_get_next_sibling(row)) {
            ++count;
        }
        return count;
    }

    static void fill(int count) {
        for (int i = 0; i < count; ++i) {
            append_hub_chat_row("Luis", text_of(i).c_str(), nullptr);
        }
        wait_until(
            [] { return gtk_widget_get_height(row_widgets().back()) > 0 && is_at_bottom(); });
    }

    /// The lists in the scrolled window: the one that is shown, and those that are done with.
    static std::size_t count_lists() {
        const std::vector<GtkWidget*> held = children_of(gtk_widget_get_parent(g_hub_chat_list));
        return static_cast<std::size_t>(
            std::ranges::count_if(held, [](GtkWidget* widget) { return GTK_IS_LIST_BOX(widget); }));
    }

    ChatRun m_run = chat_ws_begin_run();
};

TEST_F(HubChatFlow, ThousandsOfMessagesAndAnOlderPageAreShownInTheirOrderAndHoldNothingUp) {
    {
        const Turns turns;
        constexpr int k_part = 1000;
        for (int first = 0; first < k_messages; first += k_part) {
            pour_messages(first, first + k_part);
        }
        wait_until(is_at_bottom);
        turns.expect_short("messages");
    }
    scroll_to(0.0);
    std::string page;
    for (int i = 0; i < 100; ++i) {
        page += (i > 0 ? "," : "") + history_message("Ana", "viejo " + std::to_string(i));
    }
    {
        const Turns turns;
        g_hub_chat_pending_history_prepend = true;
        handle_chat_frame(m_run, history_frame(page).c_str());
        wait_until([] { return count_rows() == 100 + k_messages; });
        settle();
        turns.expect_short("older page");
    }
    const ChatRows shown = rows();
    ASSERT_EQ(shown.size(), 100U + k_messages);
    for (std::size_t i = 0; i < shown.size(); ++i) {
        ASSERT_EQ(shown[i].text,
                  i < 100 ? "viejo " + std::to_string(i) : text_of(static_cast<int>(i) - 100));
    }
}

TEST_F(HubChatFlow, AnotherChatTakesThePlaceOfThousandsOfMessagesAtOnce) {
    server.answer("messages:history", [](const std::string&) { return Texts{}; });
    fill(k_messages);
    GtkWidget* watched = nullptr;
    keep(watched, row_widgets().back());
    const Turns turns;
    load_space_chat_by_index(0);
    ASSERT_TRUE(row_widgets().empty());
    append_hub_chat_row("Ana", "la primera", nullptr);
    wait_until([] { return gtk_widget_get_height(row_widgets().back()) > 0; });
    EXPECT_FALSE(watched != nullptr && gtk_widget_get_mapped(watched));
    EXPECT_EQ(rows(), (ChatRows{{"Ana", "la primera"}}));
    // What was there goes, too, in turns that nobody notices.
    wait_until([] { return count_lists() == 1; });
    EXPECT_EQ(watched, nullptr);
    turns.expect_short("another chat");
    forget(watched);
}

TEST_F(HubChatFlow, AWindowMayEndWhileRowsAreOnTheirWayOut) {
    fill(200);
    clear_hub_chat_list();
    append_hub_chat_row("Ana", "hola", nullptr);
    clear_hub_chat_list();
    EXPECT_EQ(count_lists(), 3U);
    gtk_window_destroy(GTK_WINDOW(g_window));
    run_pending();
    EXPECT_EQ(g_hub_chat_list, nullptr);
}

/// Rows in sight that are not painted, in any picture while this lives.
class RowsMissed {
  public:
    RowsMissed()
        : m_clock(gtk_widget_get_frame_clock(g_hub_chat_scroll)),
          m_handler(g_signal_connect(m_clock, "paint", G_CALLBACK(on_paint), this)) {}
    ~RowsMissed() { g_signal_handler_disconnect(m_clock, m_handler); }
    RowsMissed(const RowsMissed&) = delete;
    RowsMissed& operator=(const RowsMissed&) = delete;

    int pictures() const { return m_pictures; }
    int rows() const { return m_rows; }

  private:
    static void on_paint(GdkFrameClock*, RowsMissed* self) {
        ++self->m_pictures;
        for (GtkWidget* const row : children_of(g_hub_chat_list)) {
            double y = 0.0;
            gtk_widget_translate_coordinates(row, g_hub_chat_scroll, 0.0, 0.0, nullptr, &y);
            const bool is_in_sight = y + gtk_widget_get_height(row) > 0.0 &&
                                     y < gtk_widget_get_height(g_hub_chat_scroll);
            self->m_rows += is_in_sight && gtk_widget_get_opacity(row) < 1.0 ? 1 : 0;
        }
    }

    GdkFrameClock* m_clock;
    gulong m_handler;
    int m_pictures = 0;
    int m_rows = 0;
};

TEST_F(HubChatFlow, WhatIsInSightIsPaintedAndWhatIsFarIsNot) {
    fill(300);
    const RowsMissed missed;
    const auto wait_for_picture = [&missed] {
        const int before = missed.pictures();
        wait_until([&missed, before] {
            gtk_widget_queue_draw(g_window);
            return missed.pictures() > before + 1;
        });
    };
    wait_for_picture();
    EXPECT_EQ(gtk_widget_get_opacity(row_widgets().front()), 0.0);
    EXPECT_EQ(gtk_widget_get_opacity(row_widgets().back()), 1.0);
    for (const double value : {0.0, bottom() / 2, bottom() / 2 + 40.0, bottom() - 1.0, 3.0}) {
        scroll_to(value);
        wait_for_picture();
    }
    EXPECT_EQ(gtk_widget_get_opacity(row_widgets().back()), 0.0);
    append_hub_chat_row("Luis", "abajo", nullptr);
    prepend_hub_chat_row("Ana", "arriba", nullptr);
    gtk_window_set_default_size(GTK_WINDOW(g_window), 480, 700);
    wait_until([] { return gtk_widget_get_height(g_window) == 700; });
    wait_for_picture();
    show_hub_stream_view_for_user("u2");
    wait_for_picture();
    show_hub_room_chat_view();
    wait_for_picture();
    EXPECT_EQ(missed.rows(), 0);
}

} // namespace
