// How long a program takes from its start to its first painted window: watches the middle of the
// screen until it is no longer what it was. Run by ./bench, in a display with nothing else on it.
#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <thread>

#include <sys/wait.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr auto k_pause = std::chrono::microseconds(500);
constexpr auto k_longest = std::chrono::seconds(30);

struct DisplayCloser {
    void operator()(Display* display) const { XCloseDisplay(display); }
};

struct ImageDestroyer {
    void operator()(XImage* image) const { XDestroyImage(image); }
};

// Of a few places, for one alone may have the ground's colour.
using Colours = std::array<unsigned long, 9>;

Colours colours_of(Display* display) {
    const int screen = DefaultScreen(display);
    const int width = DisplayWidth(display, screen);
    const int height = DisplayHeight(display, screen);
    Colours colours{};
    for (int i = 0; i < 9; ++i) {
        const int x = width * (i % 3 + 1) / 4;
        const int y = height * (i / 3 + 1) / 4;
        const std::unique_ptr<XImage, ImageDestroyer> image(
            XGetImage(display, RootWindow(display, screen), x, y, 1, 1, AllPlanes, ZPixmap));
        if (image != nullptr) {
            colours[static_cast<std::size_t>(i)] = XGetPixel(image.get(), 0, 0);
        }
    }
    return colours;
}

// Negative when it does not come.
double wait_for_paint(Display* display, const Colours& before, Clock::time_point start) {
    while (Clock::now() - start < k_longest) {
        if (colours_of(display) != before) {
            return Milliseconds(Clock::now() - start).count();
        }
        std::this_thread::sleep_for(k_pause);
    }
    return -1.0;
}

} // namespace

// bench_first_paint PROGRAM ARGUMENT...: prints the milliseconds, then ends the program.
int main(int argc, char** argv) {
    const std::unique_ptr<Display, DisplayCloser> display(XOpenDisplay(nullptr));
    if (argc < 2 || display == nullptr) {
        std::fputs("usage, in a display: bench_first_paint PROGRAM ARGUMENT...\n", stderr);
        return 2;
    }
    const Colours before = colours_of(display.get());
    const auto start = Clock::now();
    const pid_t child = fork();
    if (child == 0) {
        execvp(argv[1], argv + 1);
        _exit(127);
    }
    if (child < 0) {
        return 1;
    }
    const double taken = wait_for_paint(display.get(), before, start);
    kill(child, SIGTERM);
    waitpid(child, nullptr, 0);
    if (taken < 0.0) {
        std::fprintf(stderr, "bench_first_paint: %s painted nothing\n", argv[1]);
        return 1;
    }
    std::printf("%.1f\n", taken);
    return 0;
}
