// How long a program takes from its start to its first painted window: watches the middle of the
// screen until it is no longer what it was. Run by ./bench, in a display with nothing else on it.
#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdio>
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

// Of a square of places, for one alone may have the ground's colour.
constexpr int k_side = 3;
using Colours = std::array<unsigned long, std::size_t{k_side} * k_side>;

Colours colours_of(Display* display) {
    const int screen = DefaultScreen(display);
    const int width = DisplayWidth(display, screen);
    const int height = DisplayHeight(display, screen);
    Colours colours{};
    for (std::size_t i = 0; i < colours.size(); ++i) {
        const int x = width * static_cast<int>(i % k_side + 1) / (k_side + 1);
        const int y = height * static_cast<int>(i / k_side + 1) / (k_side + 1);
        const std::unique_ptr<XImage, ImageDestroyer> image(
            XGetImage(display, RootWindow(display, screen), x, y, 1, 1, AllPlanes, ZPixmap));
        if (image != nullptr) {
            colours[i] = XGetPixel(image.get(), 0, 0);
        }
    }
    return colours;
}

// A program that was started; ends with the object.
class Child {
  public:
    explicit Child(char** arguments) : m_process(fork()) {
        if (m_process == 0) {
            execvp(arguments[0], arguments);
            _exit(127);
        }
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    ~Child() {
        if (is_running()) {
            kill(m_process, SIGTERM);
            waitpid(m_process, nullptr, 0);
        }
    }

    bool is_running() {
        if (m_process > 0 && waitpid(m_process, nullptr, WNOHANG) != 0) {
            m_process = -1;
        }
        return m_process > 0;
    }

  private:
    pid_t m_process;
};

// Negative when it does not come.
double wait_for_paint(Display* display, const Colours& before, Child& child,
                      Clock::time_point start) {
    while (child.is_running() && Clock::now() - start < k_longest) {
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
    Child child(argv + 1);
    const double taken = wait_for_paint(display.get(), before, child, start);
    if (taken < 0.0) {
        std::fprintf(stderr, "bench_first_paint: %s painted nothing\n", argv[1]);
        return 1;
    }
    std::printf("%.1f\n", taken);
    return 0;
}
