// See peer/peer_options.h.
#include "peer/peer_options.h"

#include "peer/peer_text.h"
#include "voice/voice_packet.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace {

constexpr std::size_t k_host_bytes_max = 127;

struct NumberRange {
    double lowest;
    double highest;
};

constexpr NumberRange k_tone_range{20.0, 20000.0};
constexpr NumberRange k_seconds_range{0.05, 1e6};

std::optional<double> parse_number(std::string_view text, const NumberRange& range) {
    double value = 0.0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc{} || stop != end || !std::isfinite(value) || value < range.lowest ||
        value > range.highest) {
        return std::nullopt;
    }
    return value;
}

// 0 for what is none.
std::uint16_t parse_port(std::string_view text) {
    std::uint16_t port = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, port);
    return error == std::errc{} && stop == end ? port : std::uint16_t{0};
}

// Takes a value into the options; false when it is no good.
using TakeValue = bool (*)(PeerOptions& options, std::string_view value);

struct Option {
    std::string_view name;
    bool PeerOptions::*flag; ///< set by an option without a value
    TakeValue take;          ///< null for a flag
    std::string_view wants;  ///< what the value must be
};

bool take_text(std::string& text, std::string_view value) {
    text = value;
    return !value.empty();
}

constexpr std::string_view k_wants_seconds = "a number of seconds from 0.05 to 1000000";
constexpr std::string_view k_wants_device = "a device's index or name";
constexpr std::string_view k_wants_file = "a file name";

constexpr Option k_options[] = {
    {"--help", &PeerOptions::help, nullptr, ""},
    {"-h", &PeerOptions::help, nullptr, ""},
    {"--version", &PeerOptions::version, nullptr, ""},
    {"--list-devices", &PeerOptions::list_devices, nullptr, ""},
    {"--mute", &PeerOptions::mute, nullptr, ""},
    {"--deafen", &PeerOptions::deafen, nullptr, ""},
    {"--report", &PeerOptions::report, nullptr, ""},
    {"--server", nullptr,
     [](PeerOptions& options, std::string_view value) {
         options.server = value;
         return parse_peer_server(value).has_value();
     },
     "HOST or HOST:PORT, with PORT from 1 to 65535"},
    {"--room", nullptr,
     [](PeerOptions& options, std::string_view value) {
         options.room = value;
         return is_protocol_name(value);
     },
     k_protocol_name_wanted},
    {"--name", nullptr,
     [](PeerOptions& options, std::string_view value) {
         options.name = value;
         return is_protocol_name(value);
     },
     k_protocol_name_wanted},
    {"--play", nullptr,
     [](PeerOptions& options, std::string_view value) {
         return take_text(options.play_file, value);
     },
     k_wants_file},
    {"--tone", nullptr,
     [](PeerOptions& options, std::string_view value) {
         options.tone_hz = parse_number(value, k_tone_range);
         return options.tone_hz.has_value();
     },
     "a frequency from 20 to 20000 Hz"},
    {"--record", nullptr,
     [](PeerOptions& options, std::string_view value) {
         return take_text(options.record_file, value);
     },
     k_wants_file},
    {"--input", nullptr,
     [](PeerOptions& options, std::string_view value) {
         return take_text(options.input_device, value);
     },
     k_wants_device},
    {"--output", nullptr,
     [](PeerOptions& options, std::string_view value) {
         return take_text(options.output_device, value);
     },
     k_wants_device},
    {"--seconds", nullptr,
     [](PeerOptions& options, std::string_view value) {
         options.seconds = parse_number(value, k_seconds_range);
         return options.seconds.has_value();
     },
     k_wants_seconds},
    {"--report-every", nullptr,
     [](PeerOptions& options, std::string_view value) {
         options.report_every = parse_number(value, k_seconds_range);
         options.report = true;
         return options.report_every.has_value();
     },
     k_wants_seconds},
};

const Option* find_option(std::string_view name) {
    const auto* const found = std::find_if(std::begin(k_options), std::end(k_options),
                                           [name](const Option& o) { return o.name == name; });
    return found != std::end(k_options) ? found : nullptr;
}

template <typename... Parts>
std::string join(Parts... parts) {
    std::string text;
    (text.append(parts), ...);
    return text;
}

std::string check_combination(const PeerOptions& options) {
    if (options.help || options.version || options.list_devices) {
        return "";
    }
    const struct {
        std::string_view name;
        const std::string& value;
    } required[] = {
        {"--server", options.server}, {"--room", options.room}, {"--name", options.name}};
    for (const auto& [name, value] : required) {
        if (value.empty()) {
            return join(name, " is missing");
        }
    }
    if (!options.play_file.empty() && options.tone_hz) {
        return "--play and --tone exclude each other";
    }
    if (!options.input_device.empty() && !options.uses_microphone()) {
        return "--input chooses a microphone, which --play and --tone do without";
    }
    return "";
}

} // namespace

std::optional<PeerServer> parse_peer_server(std::string_view text) {
    const std::size_t colon = text.find(':');
    const std::string_view host = text.substr(0, colon);
    if (host.empty() || host.size() > k_host_bytes_max || !is_protocol_text(host) ||
        host.find_first_of(" /") != std::string_view::npos) {
        return std::nullopt;
    }
    const std::uint16_t port =
        colon == std::string_view::npos ? k_voice_default_port : parse_port(text.substr(colon + 1));
    if (port == 0) {
        return std::nullopt;
    }
    return PeerServer{std::string(host), port};
}

std::string parse_peer_options(std::span<const std::string> arguments, PeerOptions& options) {
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string_view argument = arguments[i];
        const std::size_t equals = argument.find('=');
        const std::string_view name = argument.substr(0, equals);
        const Option* const option = find_option(name);
        if (option == nullptr) {
            return join("unknown option: ", argument);
        }
        if (option->take == nullptr) {
            if (equals != std::string_view::npos) {
                return join(name, " takes no value");
            }
            options.*(option->flag) = true;
            continue;
        }
        std::string_view value;
        if (equals != std::string_view::npos) {
            value = argument.substr(equals + 1);
        } else if (++i < arguments.size()) {
            value = arguments[i];
        } else {
            return join(name, " needs a value");
        }
        if (!option->take(options, value)) {
            return join(name, " must be ", option->wants);
        }
    }
    return check_combination(options);
}

std::string_view peer_help_text() {
    return R"(velmo-peer: a participant of a voice room for the command line.

Usage: velmo-peer --server HOST[:PORT] --room ID --name NAME [OPTION...]
       velmo-peer --list-devices | --help | --version

Connects to a voice server (UDP, port 3602 unless told otherwise), joins a room and stays until the
given time is over, Ctrl-C, the command "quit", the end of what is typed (Ctrl-D; on Windows Ctrl-Z
and Enter), or the end of the session by the server.

  --server HOST[:PORT]  the voice server
  --room ID             the room to join
  --name NAME           the name to appear under; names must differ, for two of one name in a room do
                        not see each other
                        (ID and NAME: 1 to 63 bytes of UTF-8, no quotation marks, backslashes or
                        control characters)

What to say:
  --input DEVICE        speak through this microphone instead of the default one
  --play FILE.wav       speak a WAV file instead, once, then silence (mono or stereo; 16, 24 or 32
                        bit, or float; 48 kHz, other rates are resampled linearly)
  --tone HZ             speak a sine tone instead
                        With --play and --tone no microphone is needed, nor any sound device.
  --mute                begin muted (to listen only, without a microphone: --tone 440 --mute)

What to hear:
  --output DEVICE       play the room on this device instead of the default one
  --deafen              begin deafened: what arrives is not played
  --record FILE.wav     write what arrives from the room, packet after packet, also while deafened
                        (48 kHz, stereo, 16 bit); replaces a file of this name on entering the room

A DEVICE is an index or a name, whole or in part, as --list-devices shows them.

How long, and what to tell:
  --seconds N           end N seconds after entering the room
  --report              print a line of figures in JSON at the end
  --report-every N      print one every N seconds, too
  --list-devices        list microphones and outputs, the default ones marked, and end
  -h, --help, --version this page; the version

Commands, one a line on standard input, each answered by a line:
  mute  unmute  deafen  undeafen  leave  join ROOM  input DEVICE  output DEVICE  chat TEXT  report
  help  quit

What happens in the room appears on standard output, one event a line:
  state: connected, state: joining, state: in room, state: disconnected, peer joined: NAME,
  peer left: NAME, peer speaking: NAME, peer silent: NAME, chat: NAME: TEXT, speaking, silent
Errors appear on standard error, also that the microphone delivers nothing for 2 seconds, or that
nothing comes from the server for 5. The modules' debug log is velmotalk_debug.log in the working folder.
Arguments, commands, file names and output are UTF-8.

Exit status:
  0  done
  1  the server did not let NAME into the room, or did not answer within 5 seconds; other failures
  2  wrong usage
  3  not connected: unknown host, no answer within 5 seconds, refused, or interrupted before
  4  no microphone, or no sound server for one
  5  WAV file unreadable or not one
  6  the server ended the session
)";
}
