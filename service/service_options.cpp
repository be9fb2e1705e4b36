// See service/service_options.h.
#include "service/service_options.h"

#include "base/glib_owner.h"

#include <glib.h>

#include <array>
#include <memory>

namespace {

constexpr int k_max_session_hours = 10 * 365 * 24;

struct Values {
    GCharSlot host;
    GCharSlot data_folder;
    int voice_port = 0;
    int rest_port = 0;
    int chat_port = 0;
    int session_hours = 0;
    gboolean demo = FALSE;
    gboolean verbose = FALSE;
    gboolean help = FALSE;
    gboolean version = FALSE;
};

using ContextPtr = std::unique_ptr<GOptionContext, void (*)(GOptionContext*)>;

// Fills `values` when it parses, which must live until then.
ContextPtr make_context(Values& values) {
    const std::array<GOptionEntry, 11> entries{{
        {"host", 0, 0, G_OPTION_ARG_STRING, values.host.address(),
         "Address to listen on (127.0.0.1)", "ADDRESS"},
        {"voice-port", 0, 0, G_OPTION_ARG_INT, &values.voice_port,
         "UDP port for voice (3602); 0 takes a free one", "PORT"},
        {"rest-port", 0, 0, G_OPTION_ARG_INT, &values.rest_port,
         "TCP port for the REST calls (3600); 0 takes a free one", "PORT"},
        {"chat-port", 0, 0, G_OPTION_ARG_INT, &values.chat_port,
         "TCP port for the chat channel (3603); 0 takes a free one", "PORT"},
        {"data", 0, 0, G_OPTION_ARG_FILENAME, values.data_folder.address(),
         "Folder for all that is kept (velmo-service in the user's data folder)", "DIR"},
        {"demo", 0, 0, G_OPTION_ARG_NONE, &values.demo,
         "Make demo accounts, a space, rooms and a history, and let anybody be them", nullptr},
        {"session-hours", 0, 0, G_OPTION_ARG_INT, &values.session_hours,
         "How long a session lasts after its sign-in or last restore (720)", "N"},
        {"verbose", 0, 0, G_OPTION_ARG_NONE, &values.verbose,
         "Tell on standard error who comes and goes", nullptr},
        {"version", 0, 0, G_OPTION_ARG_NONE, &values.version, "Print the version and end", nullptr},
        {"help", 'h', 0, G_OPTION_ARG_NONE, &values.help, "Print this and end", nullptr},
        {},
    }};
    ContextPtr context(g_option_context_new(nullptr), g_option_context_free);
    g_option_context_set_help_enabled(context.get(), FALSE);
    g_option_context_set_summary(
        context.get(), "The local service: accounts, spaces, rooms, chats, and voice rooms\n"
                       "in which people hear each other. Runs until Ctrl-C; prints one\n"
                       "line for each thing that it listens for.");
    g_option_context_add_main_entries(context.get(), entries.data(), nullptr);
    return context;
}

} // namespace

bool parse_service_options(int argc, const char* const* argv, ServiceOptions& options,
                           std::string& error) {
    Values values;
    values.voice_port = options.voice_port;
    values.rest_port = options.rest_port;
    values.chat_port = options.chat_port;
    values.session_hours = options.session_hours;
    const ContextPtr context = make_context(values);

    // The parser takes what it knows out of its list, so it gets one of its own.
    GStrvSlot arguments(g_new0(char*, static_cast<gsize>(argc) + 1));
    for (std::size_t i = 0; i < static_cast<std::size_t>(argc); ++i) {
        arguments[i] = g_strdup(argv[i]);
    }
    GErrorSlot failure;
    if (!g_option_context_parse_strv(context.get(), arguments.address(), failure.address())) {
        error = failure->message;
        return false;
    }
    if (arguments[0] != nullptr && arguments[1] != nullptr) {
        error = std::string("Unexpected argument ") + arguments[1];
        return false;
    }
    for (const int port : {values.voice_port, values.rest_port, values.chat_port}) {
        if (port < 0 || port > 65535) {
            error = "A port is a number from 0 to 65535, not " + std::to_string(port);
            return false;
        }
    }
    if (values.session_hours < 1 || values.session_hours > k_max_session_hours) {
        error = "A session lasts from 1 to " + std::to_string(k_max_session_hours) +
                " hours, not " + std::to_string(values.session_hours);
        return false;
    }
    if (values.data_folder && values.data_folder[0] == '\0') {
        error = "The data folder has no name";
        return false;
    }
    if (values.host) {
        options.host = values.host.get();
    }
    if (values.data_folder) {
        options.data_folder = values.data_folder.get();
    }
    options.voice_port = static_cast<std::uint16_t>(values.voice_port);
    options.rest_port = static_cast<std::uint16_t>(values.rest_port);
    options.chat_port = static_cast<std::uint16_t>(values.chat_port);
    options.session_hours = values.session_hours;
    options.demo = values.demo != FALSE;
    options.verbose = values.verbose != FALSE;
    options.show_help = values.help != FALSE;
    options.show_version = values.version != FALSE;
    return true;
}

std::string data_folder_of(const ServiceOptions& options) {
    return options.data_folder.empty() ? std::string(g_get_user_data_dir()) + "/velmo-service"
                                       : options.data_folder;
}

std::string service_help() {
    Values values;
    const ContextPtr context = make_context(values);
    const GCharPtr text(g_option_context_get_help(context.get(), TRUE, nullptr));
    return text.get();
}
