// See service/service_options.h.
#include "service/service_options.h"

#include "base/glib_owner.h"

#include <glib.h>

#include <array>
#include <memory>

namespace {

struct Values {
    GCharSlot host;
    int voice_port = 0;
    gboolean verbose = FALSE;
    gboolean help = FALSE;
    gboolean version = FALSE;
};

using ContextPtr = std::unique_ptr<GOptionContext, void (*)(GOptionContext*)>;

// Fills `values` when it parses, which must live until then.
ContextPtr make_context(Values& values) {
    const std::array<GOptionEntry, 6> entries{{
        {"host", 0, 0, G_OPTION_ARG_STRING, values.host.address(),
         "Address to listen on (127.0.0.1)", "ADDRESS"},
        {"voice-port", 0, 0, G_OPTION_ARG_INT, &values.voice_port,
         "UDP port for voice (3602); 0 takes a free one", "PORT"},
        {"verbose", 0, 0, G_OPTION_ARG_NONE, &values.verbose,
         "Tell on standard error who comes and goes", nullptr},
        {"version", 0, 0, G_OPTION_ARG_NONE, &values.version, "Print the version and end", nullptr},
        {"help", 'h', 0, G_OPTION_ARG_NONE, &values.help, "Print this and end", nullptr},
        {},
    }};
    ContextPtr context(g_option_context_new(nullptr), g_option_context_free);
    g_option_context_set_help_enabled(context.get(), FALSE);
    g_option_context_set_summary(context.get(),
                                 "The local voice service: rooms in which people hear each other.\n"
                                 "Runs until Ctrl-C; prints one line once it listens.");
    g_option_context_add_main_entries(context.get(), entries.data(), nullptr);
    return context;
}

} // namespace

bool parse_service_options(int argc, const char* const* argv, ServiceOptions& options,
                           std::string& error) {
    Values values;
    values.voice_port = options.voice_port;
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
    if (values.voice_port < 0 || values.voice_port > 65535) {
        error = "A port is a number from 0 to 65535, not " + std::to_string(values.voice_port);
        return false;
    }
    if (values.host) {
        options.host = values.host.get();
    }
    options.voice_port = static_cast<std::uint16_t>(values.voice_port);
    options.verbose = values.verbose != FALSE;
    options.show_help = values.help != FALSE;
    options.show_version = values.version != FALSE;
    return true;
}

std::string service_help() {
    Values values;
    const ContextPtr context = make_context(values);
    const GCharPtr text(g_option_context_get_help(context.get(), TRUE, nullptr));
    return text.get();
}
