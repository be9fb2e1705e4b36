// The local service from entry to exit: options, data, voice, REST, chat, and an orderly end on
// Ctrl-C or SIGTERM.
#include "service/chat/chat_server.h"
#include "service/demo/demo_data.h"
#include "service/rest/rest_server.h"
#include "service/service_options.h"
#include "service/store/data_folder.h"
#include "service/store/wall_time.h"
#include "service/voice/voice_server.h"

#include <glib-unix.h>
#include <sodium.h>

#include <csignal>
#include <cstdio>
#include <string>

#include <sys/signalfd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// The signals that end the service, as an event of the main loop. They are blocked in this thread
// and all that it starts, so that nothing else takes them.
class EndingSignals {
  public:
    EndingSignals() {
        sigset_t signals;
        sigemptyset(&signals);
        sigaddset(&signals, SIGINT);
        sigaddset(&signals, SIGTERM);
        if (pthread_sigmask(SIG_BLOCK, &signals, nullptr) == 0) {
            m_file = signalfd(-1, &signals, SFD_NONBLOCK | SFD_CLOEXEC);
        }
    }
    EndingSignals(const EndingSignals&) = delete;
    EndingSignals& operator=(const EndingSignals&) = delete;
    ~EndingSignals() {
        if (m_file >= 0) {
            close(m_file);
        }
    }

    /// False when the system gives no such event. Blocked as they are, only SIGKILL would be left.
    bool are_heard() const { return m_file >= 0; }

    /// Runs the main context until one comes. They are heard.
    void run_until_one() const {
        GMainLoop* const loop = g_main_loop_new(nullptr, FALSE);
        g_unix_fd_add(
            m_file, G_IO_IN,
            [](gint, GIOCondition, gpointer running) {
                g_main_loop_quit(static_cast<GMainLoop*>(running));
                return G_SOURCE_REMOVE;
            },
            loop);
        g_main_loop_run(loop);
        g_main_loop_unref(loop);
    }

  private:
    int m_file = -1;
};

void log_line(const char* line) {
    std::fprintf(stderr, "%s\n", line);
}

int fail(const std::string& error) {
    std::fprintf(stderr, "velmo-service: %s\n", error.c_str());
    return 1;
}

// 192.0.2.1, of an address in host byte order.
std::string dotted(std::uint32_t ipv4) {
    return std::to_string(ipv4 >> 24) + "." + std::to_string(ipv4 >> 16 & 255) + "." +
           std::to_string(ipv4 >> 8 & 255) + "." + std::to_string(ipv4 & 255);
}

RestOptions rest_options_of(const ServiceOptions& options) {
    RestOptions rest;
    rest.session_ms = WallTime{options.session_hours} * 60 * 60 * 1000;
    rest.demo = options.demo;
    return rest;
}

int serve(const ServiceOptions& options) {
    const EndingSignals signals;
    if (!signals.are_heard()) {
        return fail("the system gives no way to hear of signals");
    }
    umask(S_IRWXG | S_IRWXO); // what is made from here on is for its owner only
    std::string error;
    DataFolder data;
    const RestOptions rest_options = rest_options_of(options);
    if (!data.open(data_folder_of(options), error) ||
        (options.demo &&
         !make_demo_data(data.database(), rest_options.password_cost, rest_options.now(), error))) {
        return fail(error);
    }
    VoiceServer voice;
    if (!voice.start({options.host, options.voice_port, options.verbose ? log_line : nullptr},
                     error)) {
        return fail(error);
    }
    RestService rest(data.database(), rest_options);
    if (!rest.start()) {
        return fail("the system gives no thread, or too little memory");
    }
    RestServer rest_server;
    const std::string host = dotted(voice.address().ipv4); // a name is resolved once, for both
    if (!rest_server.start(
            rest, {host, options.rest_port, {}, options.verbose ? log_line : nullptr}, error)) {
        return fail(error);
    }
    ChatServer chat_server;
    ChatServerOptions chat_options;
    chat_options.host = host;
    chat_options.port = options.chat_port;
    chat_options.log = options.verbose ? log_line : nullptr;
    chat_options.now = rest_options.now;
    chat_options.report = rest_options.report;
    if (!chat_server.start(data.database(), chat_options, error)) {
        return fail(error);
    }
    rest.set_chat_listener([&](const ChatEvent& event) { chat_server.announce(event); });

    std::printf("voice: listening on %s:%u\n", options.host.c_str(),
                unsigned{voice.address().port});
    std::printf("rest: listening on http://%s:%u\n", options.host.c_str(),
                unsigned{rest_server.port()});
    std::printf("chat: listening on ws://%s:%u\n", options.host.c_str(),
                unsigned{chat_server.port()});
    if (options.demo) {
        for (const DemoLogin& login : demo_logins()) {
            std::printf("demo: %s with the password %s\n", login.email.c_str(),
                        login.password.c_str());
        }
    }
    std::fflush(stdout);

    signals.run_until_one();
    chat_server.stop();
    rest_server.stop();
    voice.stop();
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    ServiceOptions options;
    std::string error;
    if (!parse_service_options(argc, argv, options, error)) {
        std::fprintf(stderr, "velmo-service: %s (--help tells the options)\n", error.c_str());
        return 2; // a wrong command line, as everywhere in this project
    }
    if (options.show_help) {
        std::printf("%s", service_help().c_str());
        return 0;
    }
    if (options.show_version) {
        std::printf("velmo-service %s\n", VELMO_VERSION);
        return 0;
    }
    if (sodium_init() < 0) {
        return fail("the system gives no random numbers");
    }
    return serve(options);
}
