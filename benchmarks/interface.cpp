// See interface.h.
#include "interface.h"

#include "ui/gui_facade.h"
#include "ui/ui_internal.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace {

constexpr double k_quiet_ms = 200.0;
constexpr double k_longest_ms = 30'000.0; // until it is quiet

double now_ms() {
    return static_cast<double>(g_get_monotonic_time()) / 1000.0;
}

// How long this thread has worked: what else the machine does meanwhile is not counted.
double worked_ms() {
    timespec time;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1000.0 + static_cast<double>(time.tv_nsec) / 1e6;
}

// The longest frame since they were cleared, by worked_ms.
struct FrameTimes {
    double begin = 0.0;
    double laid_out = 0.0;
    double longest = 0.0;
    double longest_laid_out = 0.0;
    double longest_end = 0.0;
};
FrameTimes g_frame;

void on_before_paint(GdkFrameClock* /*clock*/, gpointer /*data*/) {
    g_frame.begin = worked_ms();
}

void on_layout_done(GdkFrameClock* /*clock*/, gpointer /*data*/) {
    g_frame.laid_out = worked_ms();
}

void on_after_paint(GdkFrameClock* /*clock*/, gpointer /*data*/) {
    const double end = worked_ms();
    if (end - g_frame.begin > g_frame.longest) {
        g_frame.longest = end - g_frame.begin;
        g_frame.longest_laid_out = g_frame.laid_out;
        g_frame.longest_end = end;
    }
}

void watch_frames() {
    GdkFrameClock* const clock = gtk_widget_get_frame_clock(g_window);
    g_signal_connect(clock, "before-paint", G_CALLBACK(on_before_paint), nullptr);
    g_signal_connect_after(clock, "layout", G_CALLBACK(on_layout_done), nullptr);
    g_signal_connect_after(clock, "after-paint", G_CALLBACK(on_after_paint), nullptr);
}

// Until nothing that takes time has come up for a while; the interface's timers always do.
void run_until_quiet() {
    const double begin = now_ms();
    double last_turn = begin;
    while (now_ms() - last_turn < k_quiet_ms) {
        const double start = now_ms();
        if (start - begin > k_longest_ms) {
            std::fprintf(stderr, "the interface was busy for %.0f s without a pause\n",
                         k_longest_ms / 1000.0);
            std::fflush(nullptr);
            std::_Exit(1);
        }
        if (g_main_context_iteration(nullptr, FALSE) == FALSE) {
            g_usleep(500);
        } else if (now_ms() - start > 1.0) {
            last_turn = now_ms();
        }
    }
}

gboolean run_body(gpointer data) {
    switch_to_hub_page();
    run_until_quiet();
    watch_frames();
    (*static_cast<const std::function<void()>*>(data))();
    gtk_window_destroy(GTK_WINDOW(g_window));
    return G_SOURCE_REMOVE;
}

} // namespace

int run_hub(const std::function<void()>& body) {
    g_idle_add(run_body, const_cast<std::function<void()>*>(&body));
    char name[] = "velmo";
    char* arguments[] = {name, nullptr};
    const int status = GUI_Init(1, arguments);
    GUI_Cleanup();
    return status;
}

ChangeTimes time_change(const std::function<void()>& change) {
    g_frame = {};
    const double start = worked_ms();
    change();
    const double called = worked_ms();
    run_until_quiet();
    return {called - start, g_frame.longest_laid_out - called,
            g_frame.longest_end - g_frame.longest_laid_out};
}

double print_median(const char* name, std::vector<ChangeTimes> times) {
    const auto sum = [](const ChangeTimes& t) { return t.call + t.layout; };
    std::ranges::sort(times, {}, sum);
    const ChangeTimes& middle = times.at(times.size() / 2);
    std::printf("%s, median of %zu: %.1f ms; with the layout %.1f ms; painting %.1f ms\n", name,
                times.size(), middle.call, sum(middle), middle.paint);
    return middle.call;
}

int judge(const char* name, double ms, double bar_ms) {
    const bool is_good = ms > 0.0 && ms <= bar_ms; // 0: nothing was measured
    std::printf("%s: %.1f ms, bar %.1f: %s\n", name, ms, bar_ms, is_good ? "ok" : "short");
    return is_good ? 0 : 1;
}
