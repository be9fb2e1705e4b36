// See peer/peer_session.h.
#include "peer/peer_session.h"

#include "audio/audio_engine.h"
#include "audio/sound_format.h"
#include "base/clock.h"
#include "core/app_state.h"
#include "core/voice_session.h"
#include "peer/peer_callbacks.h"
#include "peer/peer_connect.h"
#include "peer/peer_exit.h"
#include "peer/peer_facade.h"
#include "peer/peer_join.h"
#include "peer/peer_loop.h"
#include "peer/peer_modules.h"
#include "peer/peer_output.h"
#include "peer/peer_recorder.h"
#include "peer/peer_report.h"
#include "peer/peer_session_internal.h"
#include "peer/peer_source.h"
#include "peer/peer_watch.h"
#include "platform/console.h"
#include "voice/voice_connection.h"

#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

namespace {

constexpr std::uint32_t k_tick_ms = 50;
constexpr float k_speaking_threshold = 0.05F;

// The main thread's own, all of it.
PeerOptions g_options;
std::uint64_t g_sent_before = 0; ///< audio packets, by an earlier session
SourceSignal g_signal;           ///< what to speak once inside, without a microphone
bool g_source_failed = false;
bool g_told_inside = false;       ///< of the latest join
bool g_was_inside = false;        ///< of any join
std::uint32_t g_joined_at_ms = 0; ///< first, or asked to
std::uint32_t g_reported_at_ms = 0;
bool g_speaking = false;
bool g_quit = false;
bool g_record_failed = false;

double seconds_since(std::uint32_t ticks_ms) {
    return static_cast<double>(clock_ticks_ms() - ticks_ms) / 1000.0;
}

void complain_about_recording() {
    if (!g_record_failed) {
        g_record_failed = true;
        peer_complain("%s cannot be written", g_options.record_file.c_str());
    }
}

} // namespace

bool peer_session_is_in_room() {
    return g_appState.connectionState.load(std::memory_order_relaxed) == ConnectionState::in_room;
}

void peer_session_join_room(const std::string& room) {
    g_told_inside = false;
    join_asked();
    OnJoinRoom(room.c_str());
}

void peer_session_leave_room() {
    join_left();
    peer_facade_forget_others();
    OnLeaveRoom();
}

void peer_session_print_report() {
    const NetworkStatistics network = Network_GetStatistics();
    const AudioDelays delays = Audio_MeasureDelays();
    PeerReport report;
    report.seconds = seconds_since(g_joined_at_ms);
    report.room = g_appState.roomId;
    // The transport counts as connected until its own farewell.
    report.connected =
        Network_IsConnected() &&
        g_appState.connectionState.load(std::memory_order_relaxed) != ConnectionState::disconnected;
    report.muted = g_appState.muted.load(std::memory_order_relaxed);
    report.deafened = g_appState.deafened.load(std::memory_order_relaxed);
    report.speaking = g_speaking;
    report.peers = peer_facade_others();
    report.rtt_ms = network.smoothed_rtt_ms;
    report.jitter_ms = network.jitter_estimate_ms;
    report.target_delay_ms = network.target_jitter_delay_ms;
    report.queued_packets = network.queued_packets;
    report.capture_delay_ms = static_cast<double>(delays.capture);
    report.ring_delay_ms = static_cast<double>(delays.ring);
    report.render_delay_ms = static_cast<double>(delays.render);
    report.packets_in = peer_callbacks_packets_in();
    report.packets_out = audio_packets_sent() - g_sent_before;
    report.level = static_cast<double>(peer_facade_level());
    report.received_peak = static_cast<double>(peer_callbacks_take_received_peak());
    peer_print("%s", format_peer_report(report).c_str());
}

void peer_session_tell_inside() {
    if (g_told_inside || join_update() != JoinState::inside) {
        return;
    }
    g_told_inside = true;
    peer_print("state: in room");
    if (g_was_inside) {
        return;
    }
    g_was_inside = true;
    if (!begin_peer_recorder()) {
        complain_about_recording();
    }
    g_joined_at_ms = clock_ticks_ms();
    g_reported_at_ms = g_joined_at_ms;
    if (!g_options.uses_microphone()) {
        g_source_failed = !start_peer_source(std::move(g_signal), OnAudioInput, OnAudioLevel);
    }
}

void peer_session_end_stay() {
    g_quit = true;
}

bool peer_session_uses_microphone() {
    return g_options.uses_microphone();
}

namespace {

// The client's rule: what the input level says is told to the server when it changes.
void update_speaking() {
    const bool muted = g_appState.muted.load(std::memory_order_relaxed);
    const bool speaking = !muted && peer_facade_level() > k_speaking_threshold;
    if (speaking == g_speaking) {
        return;
    }
    g_speaking = speaking;
    if (Network_IsConnected()) {
        Network_SendSpeakingState(speaking);
    }
    peer_print("%s", speaking ? "speaking" : "silent");
}

void tick() {
    peer_session_tell_inside();
    update_speaking();
    peer_watch_look(g_options.uses_microphone() &&
                        !g_appState.muted.load(std::memory_order_relaxed),
                    Network_GetStatistics().silent_ms);
    if (!drain_peer_recorder()) {
        complain_about_recording();
    }
    if (g_options.report_every && seconds_since(g_reported_at_ms) >= *g_options.report_every) {
        g_reported_at_ms = clock_ticks_ms();
        peer_session_print_report();
    }
}

// Why to end now; empty to go on.
std::optional<int> end_of_stay() {
    if (peer_facade_state() == static_cast<int>(ConnectionState::disconnected)) {
        peer_complain("the server ended the session");
        return k_peer_session_ended;
    }
    if (g_quit || peer_loop_was_interrupted()) {
        return k_peer_ok;
    }
    if (g_was_inside && g_options.seconds && seconds_since(g_joined_at_ms) >= *g_options.seconds) {
        return k_peer_ok;
    }
    if (g_source_failed) {
        peer_complain("no thread to play from");
        return k_peer_other;
    }
    switch (join_update()) {
    case JoinState::refused:
        peer_complain("the server did not let %s into room %s", g_appState.username,
                      g_appState.roomId);
        return k_peer_other;
    case JoinState::no_answer:
        peer_complain("the server did not answer the wish to enter room %s", g_appState.roomId);
        return k_peer_other;
    case JoinState::outside:
    case JoinState::asked:
    case JoinState::inside:
        break;
    }
    return std::nullopt;
}

int join_and_stay() {
    peer_session_join_room(g_options.room);
    peer_watch_reset();
    if (console_input_is_terminal()) {
        peer_print("type help for the commands, quit to end");
    }
    g_joined_at_ms = clock_ticks_ms();
    g_reported_at_ms = g_joined_at_ms;
    if (g_options.uses_microphone() && Audio_IsRunning() == 0) {
        peer_complain("the microphone cannot be used");
        return k_peer_no_microphone;
    }
    std::optional<int> status;
    while (!status) {
        peer_loop_run_for(k_tick_ms);
        status = end_of_stay();
        if (!status) {
            tick();
        }
    }
    stop_peer_source();
    if (g_options.report) {
        peer_session_print_report();
    }
    return *status;
}

int connect_and_stay() {
    if (const int status = connect_to_server(g_options); status != k_peer_ok) {
        return status;
    }
    if (g_options.mute) {
        OnMuteToggle(true);
    }
    if (g_options.deafen) {
        OnDeafenToggle(true);
    }
    const int status = join_and_stay();
    if (peer_session_is_in_room()) {
        peer_session_leave_room();
    }
    Network_Disconnect();
    Audio_Stop();
    return status;
}

// What is spoken without a microphone. False after complaining.
bool prepare_signal() {
    g_signal = {};
    g_signal.tone_hz = g_options.tone_hz.value_or(0.0);
    if (g_options.play_file.empty()) {
        return true;
    }
    std::string error;
    if (!wav_read_file(g_options.play_file.c_str(), g_signal.sound, error)) {
        peer_complain("%s %s", g_options.play_file.c_str(), error.c_str());
        return false;
    }
    if (g_signal.sound.is_cut_short) {
        peer_complain("note: %s is cut short; %.1f seconds are left", g_options.play_file.c_str(),
                      static_cast<double>(g_signal.sound.frame_count()) /
                          g_signal.sound.sample_rate);
    }
    if (g_signal.sound.sample_rate != static_cast<std::uint32_t>(k_sound_rate)) {
        peer_complain("note: %s has %u samples per second and is resampled to %d",
                      g_options.play_file.c_str(), g_signal.sound.sample_rate, k_sound_rate);
    }
    return true;
}

std::filesystem::path path_of(const std::string& name) {
    return std::u8string(name.begin(), name.end());
}

// Whether two names lead to one file, also by different ways. False when one is empty.
bool is_same_file(const std::string& a, const std::string& b) {
    if (a.empty() || b.empty()) {
        return false;
    }
    std::error_code error;
    return a == b || std::filesystem::equivalent(path_of(a), path_of(b), error);
}

} // namespace

int run_peer_session(const PeerOptions& options) {
    g_options = options;
    g_sent_before = audio_packets_sent();
    g_speaking = false;
    g_quit = false;
    g_source_failed = false;
    g_told_inside = false;
    g_was_inside = false;
    join_left();
    g_record_failed = false;
    peer_facade_reset();

    if (is_same_file(options.play_file, options.record_file)) {
        peer_complain("--play and --record name the same file");
        return k_peer_usage;
    }
    if (!prepare_signal()) {
        return k_peer_bad_wav;
    }
    if (!options.record_file.empty() && !open_peer_recorder(options.record_file.c_str())) {
        peer_complain("%s cannot be written", options.record_file.c_str());
        return k_peer_other;
    }
    const int status = run_with_peer_modules(options, connect_and_stay);
    if (!close_peer_recorder() || g_record_failed) {
        peer_complain("%s is not complete", options.record_file.c_str());
        return status == k_peer_ok ? k_peer_other : status;
    }
    return status;
}
