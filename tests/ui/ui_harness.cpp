// See ui_harness.h.
#include "ui_harness.h"

#include "base/text.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

constexpr std::int64_t k_wait_limit_us = 10'000'000;
constexpr std::int64_t k_maximise_limit_us = 2'000'000;
constexpr int k_frame = 12; // which GTK draws itself where no compositor does

bool is_maximised() {
    return gtk_window_is_maximized(GTK_WINDOW(g_window)) != FALSE;
}

bool holds_within_us(std::int64_t microseconds, const std::function<bool()>& condition) {
    const std::int64_t limit = g_get_monotonic_time() + microseconds;
    while (!condition()) {
        if (g_get_monotonic_time() > limit) {
            return false;
        }
        if (!g_main_context_iteration(nullptr, FALSE)) {
            g_usleep(1000);
        }
    }
    return true;
}

void close_from_main_loop(GtkWindow* window) {
    g_idle_add_once([](gpointer data) { gtk_window_close(GTK_WINDOW(data)); }, window);
}

gboolean run_body(gpointer data) {
    (*static_cast<const std::function<void()>*>(data))();
    if (g_window != nullptr) {
        gtk_window_destroy(GTK_WINDOW(g_window));
    }
    return G_SOURCE_REMOVE;
}

/// The files of the user's own folder are the test's, whoever runs it.
void make_user_folder_private() {
    const std::filesystem::path folder = std::filesystem::current_path() / "user-data";
    std::filesystem::create_directories(folder);
    g_setenv("XDG_CONFIG_HOME", folder.string().c_str(), TRUE);
    g_setenv("APPDATA", folder.string().c_str(), TRUE);
}

/// Opens the display and sets the font before the first test. Criticals of our own are fatal
/// (G_DEBUG says so); one that GTK itself logs on the way, because Wine names no system font, is
/// not.
class OpenDisplay : public testing::Environment {
  public:
    void SetUp() override {
        const GLogLevelFlags fatal =
            g_log_set_always_fatal(static_cast<GLogLevelFlags>(G_LOG_FATAL_MASK));
        gtk_init();
        make_user_folder_private(); // after GTK has read its own settings
        g_object_set(gtk_settings_get_default(), "gtk-font-name", "DejaVu Sans 10", nullptr);
        g_log_set_always_fatal(fatal);
    }
};

testing::Environment* const g_open_display =
    testing::AddGlobalTestEnvironment(new OpenDisplay); // GoogleTest owns it

} // namespace

int run_interface(const std::function<void()>& body) {
    g_idle_add(run_body, const_cast<std::function<void()>*>(&body));
    char name[] = "velmo";
    char* arguments[] = {name, nullptr};
    const int status = GUI_Init(1, arguments);
    GUI_Cleanup();
    if (g_css_provider != nullptr) { // or it would style the next test's window, too
        gtk_style_context_remove_provider_for_display(gdk_display_get_default(),
                                                      GTK_STYLE_PROVIDER(g_css_provider.get()));
        g_css_provider.reset();
    }
    return status;
}

bool wait_until(const std::function<bool()>& condition, std::source_location caller) {
    if (!holds_within_us(k_wait_limit_us, condition)) {
        ADD_FAILURE_AT(caller.file_name(), static_cast<int>(caller.line()))
            << "the condition never held";
        return false;
    }
    return true;
}

bool wait_for_pictures(int count) {
    GdkFrameClock* const clock = gtk_widget_get_frame_clock(g_window);
    int painted = 0;
    const gulong handler = g_signal_connect_after(
        clock, "paint", G_CALLBACK(+[](GdkFrameClock*, int* n) { ++*n; }), &painted);
    const bool is_done = wait_until([count, &painted] {
        gtk_widget_queue_draw(g_window);
        return painted >= count;
    });
    g_signal_handler_disconnect(clock, handler);
    return is_done;
}

void run_pending() {
    while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
    }
}

void run_past_timers(unsigned int interval_ms) {
    bool is_past = false;
    // Behind all that is due by then.
    const guint timer = g_timeout_add_full(
        G_PRIORITY_LOW, interval_ms,
        [](gpointer past) -> gboolean {
            *static_cast<bool*>(past) = true;
            return G_SOURCE_REMOVE;
        },
        &is_past, nullptr);
    if (!wait_until([&is_past] { return is_past; })) {
        g_source_remove(timer);
    }
}

void run_main_loop_for_ms(std::int64_t milliseconds) {
    const std::int64_t end = g_get_monotonic_time() + milliseconds * 1000;
    wait_until([end] { return g_get_monotonic_time() >= end; });
}

void wait_for_page() {
    wait_until([] { return gtk_stack_get_transition_running(GTK_STACK(g_main_stack)) == FALSE; });
}

bool comes_up_maximised() {
    return holds_within_us(k_maximise_limit_us, is_maximised);
}

void wait_until_maximised() {
    if (!comes_up_maximised()) {
        gtk_window_maximize(GTK_WINDOW(g_window));
    }
    wait_until(is_maximised);
}

void resize_window(int width, int height) {
    GtkWindow* const window = GTK_WINDOW(g_window);
    gtk_window_unmaximize(window);
    wait_until([] { return !is_maximised(); });
    const auto is_so = [width, height] {
        return std::abs(gtk_widget_get_width(g_window) - width) <= k_frame &&
               std::abs(gtk_widget_get_height(g_window) - height) <= k_frame;
    };
    // What was maximised a moment ago may be given its old size once more.
    int times_so = 0;
    wait_until([&] {
        gtk_window_set_default_size(window, width, height);
        run_main_loop_for_ms(60);
        times_so = is_so() ? times_so + 1 : 0;
        return times_so == 3;
    });
}

GtkWindow* find_dialog() {
    GListModel* const windows = gtk_window_get_toplevels();
    for (guint i = 0; i < g_list_model_get_n_items(windows); ++i) {
        auto* const window = static_cast<GtkWindow*>(g_list_model_get_item(windows, i));
        g_object_unref(window); // the list keeps its own reference
        if (g_window != nullptr && gtk_window_get_transient_for(window) == GTK_WINDOW(g_window)) {
            return window;
        }
    }
    return nullptr;
}

GtkWindow* wait_for_dialog() {
    wait_until([] {
        GtkWindow* const dialog = find_dialog();
        return dialog != nullptr && gtk_widget_get_mapped(GTK_WIDGET(dialog)) != FALSE;
    });
    return find_dialog();
}

void close_dialog(GtkWindow* dialog) {
    close_from_main_loop(dialog);
    wait_until([] { return find_dialog() == nullptr; });
}

namespace {

// Over the main window or over a popup, which is none itself.
GtkWindow* find_alert() {
    GListModel* const windows = gtk_window_get_toplevels();
    for (guint i = 0; i < g_list_model_get_n_items(windows); ++i) {
        auto* const window = static_cast<GtkWindow*>(g_list_model_get_item(windows, i));
        g_object_unref(window); // the list keeps its own reference
        if (gtk_window_get_transient_for(window) != nullptr &&
            gtk_widget_get_mapped(GTK_WIDGET(window)) != FALSE &&
            !has_class(GTK_WIDGET(window), "hub-popup")) {
            return window;
        }
    }
    return nullptr;
}

} // namespace

AlertTexts take_alert_texts() {
    wait_until([] { return find_alert() != nullptr; });
    GtkWindow* const dialog = find_alert();
    if (dialog == nullptr) {
        return {"no alert", ""};
    }
    const Texts texts = label_texts(gtk_window_get_child(dialog));
    bool is_gone = false;
    g_signal_connect(dialog, "destroy", G_CALLBACK(+[](GtkWidget*, bool* gone) { *gone = true; }),
                     &is_gone);
    close_from_main_loop(dialog);
    wait_until([&is_gone] { return is_gone; });
    return texts.size() < 2 ? AlertTexts{"no texts", ""} : AlertTexts{texts[0], texts[1]};
}

std::string visible_page() {
    return or_empty(gtk_stack_get_visible_child_name(GTK_STACK(g_main_stack)));
}

Pixels paint(GdkPaintable* paintable, int width, int height) {
    Pixels pixels{width, height,
                  std::vector<std::uint32_t>(static_cast<std::size_t>(width) *
                                             static_cast<std::size_t>(height))};
    GtkSnapshot* const snapshot = gtk_snapshot_new();
    gdk_paintable_snapshot(paintable, snapshot, width, height);
    GskRenderNode* const node = gtk_snapshot_free_to_node(snapshot);
    if (node == nullptr) {
        return pixels;
    }
    cairo_surface_t* const surface =
        cairo_image_surface_create_for_data(reinterpret_cast<unsigned char*>(pixels.data.data()),
                                            CAIRO_FORMAT_ARGB32, width, height, width * 4);
    cairo_t* const context = cairo_create(surface);
    gsk_render_node_draw(node, context);
    cairo_destroy(context);
    cairo_surface_destroy(surface);
    gsk_render_node_unref(node);
    return pixels;
}

Pixels paint_widget(GtkWidget* widget) {
    const GObjectPtr<GdkPaintable> paintable(gtk_widget_paintable_new(widget));
    return paint(paintable.get(), gtk_widget_get_width(widget), gtk_widget_get_height(widget));
}

std::string read_file(const char* path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream contents;
    contents << file.rdbuf();
    return contents.str();
}

void write_file(const char* path, const std::string& contents) {
    const std::filesystem::path folder = std::filesystem::path(path).parent_path();
    if (!folder.empty()) {
        std::filesystem::create_directories(folder);
    }
    std::ofstream(path, std::ios::binary) << contents;
}
