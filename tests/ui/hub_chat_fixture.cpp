// See hub_chat_fixture.h.
#include "hub_chat_fixture.h"

#include "backend/endpoints.h"
#include "backend/identity.h"
#include "base/text.h"
#include "chat/chat_connection.h"
#include "ui/glib_poster.h"
#include "ui/hub/hub_chat_internal.h"

#include <algorithm>
#include <array>
#include <ostream>

namespace {

std::string text_of(int number) {
    // Of one to five lines, so that heights differ.
    std::string text = "mensaje " + std::to_string(number);
    for (int i = 0; i < number * 7 % 5; ++i) {
        text += " y lo que sigue, que no cabe en una sola línea de la columna";
    }
    return text;
}

std::vector<std::string> page_before(const std::string& request, int count, int page_size) {
    const std::string before = fake_frame_value(request, "before");
    const int end = before.empty() ? count + 1 : std::stoi(before);
    const int first = std::max(1, end - page_size);
    std::string messages;
    for (int i = first; i < end; ++i) {
        messages += (i > first ? "," : "") + history_message("Ana", text_of(i));
    }
    const std::string more =
        first > 1 ? R"("hasMore":true,"nextBefore":")" + std::to_string(first) + "\"," : "";
    return {history_frame(messages, more)};
}

} // namespace

void PrintTo(const ChatRow& row, std::ostream* out) {
    *out << row.header << ": " << row.text;
}

HubChatTest::HubChatTest() {
    glib_poster_start();
    add_space("s1", "Astronomía");
    add_space("s2", "Música");
    be_in_space();
    copy_text(g_session_token, "tok");
    copy_text(g_user_id, "u1");
    copy_text(g_username, "ana");
    copy_text(g_display_name, "Anita");
    copy_text(g_backend_url, "http://b");
    copy_text(g_chat_ws_url, "ws://chat/ws");
    server.answer_friendly();
}

HubChatTest::~HubChatTest() {
    chat_ws_stop();
    if (g_window != nullptr) {
        gtk_window_destroy(GTK_WINDOW(g_window));
    }
    glib_poster_stop();
    if (g_css_provider != nullptr) {
        gtk_style_context_remove_provider_for_display(gdk_display_get_default(),
                                                      GTK_STYLE_PROVIDER(g_css_provider.get()));
        g_css_provider.reset();
    }
}

void HubChatTest::show_column(int width, int height, int least_height) {
    if (g_window != nullptr) {
        gtk_window_destroy(GTK_WINDOW(g_window));
    }
    keep(g_window, gtk_window_new());
    watch_keyboard_moves(g_window);
    gtk_window_set_default_size(GTK_WINDOW(g_window), width, height);
    gtk_widget_set_size_request(g_window, -1, least_height);
    gtk_window_set_child(GTK_WINDOW(g_window), create_hub_chat_column());
    // A layout tick that an earlier interface left behind would do so later.
    update_hub_chat_input_height(height);
    gtk_window_present(GTK_WINDOW(g_window));
    // Until it is active, the window manager may still change its size.
    wait_until([] {
        return gtk_widget_get_height(g_hub_chat_scroll) > 0 &&
               gtk_window_is_active(GTK_WINDOW(g_window)) != FALSE;
    });
}

void HubChatTest::hold_history(int count, int page_size) {
    server.answer("messages:history", [count, page_size](const std::string& request) {
        return page_before(request, count, page_size);
    });
}

ChatRow HubChatTest::held_message(int number) {
    return {"Ana [2024-05-01-10:20:30]", text_of(number)};
}

ChatRows HubChatTest::held_messages(int first, int last) {
    ChatRows messages;
    for (int i = first; i <= last; ++i) {
        messages.push_back(held_message(i));
    }
    return messages;
}

void HubChatTest::open_space() {
    ASSERT_TRUE(load_space_chat_by_index(0));
    ASSERT_TRUE(wait_until([] { return !row_widgets().empty() && !is_loading_shown(); }));
    // Laid out, and brought to its newest row.
    ASSERT_TRUE(wait_until(
        [] { return gtk_widget_get_height(row_widgets().back()) > 0 && is_at_bottom(); }));
}

void HubChatTest::open_channel() {
    chat_ws_start_for_selected_space();
    ASSERT_TRUE(chat_ws_join_space_chat("s1"));
}

void HubChatTest::answer_later() {
    server.answer("messages:history", [](const std::string&) { return Texts{}; });
}

void HubChatTest::say(const std::string& frame) {
    server.say(frame);
    ASSERT_TRUE(server.wait_until_heard());
    bool is_taken = false; // posted behind what the frame posted, at the same priority
    g_idle_add_full(
        G_PRIORITY_HIGH_IDLE,
        [](gpointer taken) -> gboolean {
            *static_cast<bool*>(taken) = true;
            return G_SOURCE_REMOVE;
        },
        &is_taken, nullptr);
    ASSERT_TRUE(wait_until([&is_taken] { return is_taken; }));
}

Texts HubChatTest::sent_requests() const {
    Texts requests;
    for (const std::string& text : server.sent()) {
        const std::string type = fake_frame_value(text, "type");
        if (type != "auth" && type != "subscribe" && type != "chat:join") {
            requests.push_back(text);
        }
    }
    return requests;
}

std::vector<GtkWidget*> HubChatTest::row_widgets() {
    return children_of(g_hub_chat_list);
}

ChatRows HubChatTest::rows() {
    ChatRows shown;
    for (GtkWidget* const row : row_widgets()) {
        const Texts texts = label_texts(row);
        shown.push_back(texts.size() == 2 ? ChatRow{texts[0], texts[1]} : ChatRow{"?", "?"});
    }
    return shown;
}

double HubChatTest::place_of(GtkWidget* row) {
    double y = 0.0;
    EXPECT_TRUE(gtk_widget_translate_coordinates(row, g_hub_chat_scroll, 0.0, 0.0, nullptr, &y));
    return y;
}

GtkAdjustment* HubChatTest::scrolling() {
    return scrolling_of(g_hub_chat_scroll);
}

void HubChatTest::settle() {
    const auto place = [] {
        return std::array{gtk_adjustment_get_value(scrolling()),
                          gtk_adjustment_get_upper(scrolling()),
                          gtk_adjustment_get_page_size(scrolling())};
    };
    for (auto before = std::array{-1.0, -1.0, -1.0}; before != place();) {
        before = place();
        ASSERT_TRUE(wait_for_pictures());
    }
}

double HubChatTest::bottom() {
    return gtk_adjustment_get_upper(scrolling()) - gtk_adjustment_get_page_size(scrolling());
}

bool HubChatTest::is_at_bottom() {
    return gtk_adjustment_get_value(scrolling()) >= bottom() - 0.5;
}

void HubChatTest::scroll_to(double value) {
    gtk_adjustment_set_value(scrolling(), value);
}

void HubChatTest::emit_wheel(double dy) {
    for (const auto& controller :
         controllers_of(g_hub_chat_scroll, GTK_TYPE_EVENT_CONTROLLER_SCROLL)) {
        if (gtk_event_controller_get_propagation_phase(controller.get()) == GTK_PHASE_CAPTURE) {
            gboolean handled = FALSE;
            g_signal_emit_by_name(controller.get(), "scroll", 0.0, dy, &handled);
            EXPECT_FALSE(handled);
        }
    }
}

void HubChatTest::emit_key(guint key) {
    for (const auto& controller :
         controllers_of(g_hub_chat_scroll, GTK_TYPE_EVENT_CONTROLLER_KEY)) {
        press_key(controller.get(), key);
    }
}

bool HubChatTest::is_loading_shown() {
    return gtk_widget_get_visible(g_hub_chat_loading_label) != FALSE;
}

std::string HubChatTest::title() {
    return label(g_hub_chat_title_label);
}

std::string HubChatTest::input() {
    return contents(gtk_text_view_get_buffer(GTK_TEXT_VIEW(g_hub_chat_input_view)));
}

void HubChatTest::write_input(const std::string& text) {
    gtk_text_buffer_set_text(gtk_text_view_get_buffer(GTK_TEXT_VIEW(g_hub_chat_input_view)),
                             text.c_str(), -1);
}

std::string HubChatTest::shown_page() {
    return gtk_stack_get_visible_child_name(GTK_STACK(g_hub_content_stack));
}

std::string live_message(const std::string& sender, const std::string& text,
                         const std::string& scope, const std::string& created_at) {
    return R"({"type":"message:new",)" + scope + R"(,"senderDisplayName":")" + sender +
           R"(","text":")" + text + R"(","createdAt":")" + created_at + R"("})";
}

std::string history_frame(const std::string& messages, const std::string& more,
                          const std::string& scope) {
    return R"({"type":"messages:history",)" + scope + "," + more + R"("messages":[)" + messages +
           "]}";
}

std::string history_message(const std::string& sender, const std::string& text,
                            const std::string& created_at) {
    return R"({"senderDisplayName":")" + sender + R"(","text":")" + text + R"(","createdAt":")" +
           created_at + R"("})";
}
