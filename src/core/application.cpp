// See core/application.h. Called by the client's main.
#include "core/application.h"

#include "audio/audio_engine.h"
#include "audio/audio_processing.h"
#include "audio/sound_format.h"
#include "base/printf_format.h"
#include "core/app_state.h"
#include "core/voice_session.h"
#include "ui/gui_facade.h"
#include "voice/voice_codec.h"
#include "voice/voice_connection.h"

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <iterator>

// The backslash and the n that end the texts below are shown as these two characters: after its
// first line the start-up log is one long line of markers, and stays that way.

namespace {

struct Subsystem {
    bool (*init)();
    void (*cleanup)();
    const char* marker_ok;
    const char* marker_failed;
    const char* error_text;
};

// In the order of starting. What a failure leaves is cleaned up backwards, as at the end of a run.
constexpr Subsystem k_subsystems[] = {
    {[] { return Network_Init(); }, Network_Cleanup, "Network_Init OK\\n", "Network_Init failed\\n",
     "Error al inicializar la red\\n"},
    {[] { return Audio_Init() != 0; }, Audio_Cleanup, "Audio_Init OK\\n", "Audio_Init failed\\n",
     "Error al inicializar el audio\\n"},
    {[] { return AudioProcessing_Init(k_sound_rate, k_sound_channels) != 0; },
     AudioProcessing_Cleanup, "AudioProcessing_Init OK\\n", "AudioProcessing_Init failed\\n",
     "Error al inicializar el procesador de audio\\n"},
    {[] { return OpusCodec_Init(k_sound_rate, k_sound_channels, k_sound_bitrate); },
     OpusCodec_Cleanup, "OpusCodec_Init OK\\n", "OpusCodec_Init failed\\n",
     "Error al inicializar el codec Opus\\n"},
};

// The start-up log: one file per start, every marker on disk before the next step begins. Does
// nothing when the file could not be opened.
class StartupLog {
  public:
    StartupLog() : m_file(std::fopen("velmotalk_gtk_debug.log", "w")) {}
    StartupLog(const StartupLog&) = delete;
    StartupLog& operator=(const StartupLog&) = delete;
    ~StartupLog() { close(); }

    VELMO_PRINTF(2, 3) void write(const char* format, ...) {
        if (m_file == nullptr) {
            return;
        }
        va_list arguments;
        va_start(arguments, format);
        std::vfprintf(m_file, format, arguments);
        va_end(arguments);
        std::fflush(m_file);
    }

    void close() {
        if (m_file != nullptr) {
            std::fclose(m_file);
            m_file = nullptr;
        }
    }

  private:
    std::FILE* m_file;
};

void print_banner() {
    constexpr const char* k_rule = "========================================\\n";
    std::fputs(k_rule, stdout);
    std::fputs("Velmo - Starting (GTK4)\\n", stdout);
    std::fputs(k_rule, stdout);
    std::fflush(stdout);
}

void clean_up(std::size_t started) {
    while (started > 0) {
        --started;
        k_subsystems[started].cleanup();
    }
}

// Starts every subsystem; on a failure says so, ends those already started and returns false.
bool start_subsystems(StartupLog& log) {
    std::size_t started = 0;
    for (const Subsystem& subsystem : k_subsystems) {
        if (!subsystem.init()) {
            log.write("%s", subsystem.marker_failed);
            log.close();
            std::fputs(subsystem.error_text, stderr);
            clean_up(started);
            return false;
        }
        log.write("%s", subsystem.marker_ok);
        ++started;
    }
    return true;
}

void register_callbacks() {
    Audio_SetInputCallback(OnAudioInput);
    Audio_SetLevelCallback(OnAudioLevel);

    Network_SetConnectedCallback(OnNetworkConnected);
    Network_SetDisconnectedCallback(OnNetworkDisconnected);
    Network_SetMessageCallback(OnNetworkMessage);
    Network_SetAudioCallback(OnNetworkAudio);
    Network_SetSpeakingCallback(OnSpeakingState);
    Network_SetErrorCallback(OnNetworkError);

    GUI_SetConnectCallback(OnConnect);
    GUI_SetJoinRoomCallback(OnJoinRoom);
    GUI_SetLeaveRoomCallback(OnLeaveRoom);
    GUI_SetMuteCallback(OnMuteToggle);
    GUI_SetDeafenCallback(OnDeafenToggle);
    GUI_SetLoopbackCallback(OnLoopbackToggle);
    GUI_SetGainCallback(OnGainChange);
    GUI_SetVolumeCallback(OnVolumeChange);
    GUI_SetChatSendCallback(OnChatSend);
}

} // namespace

int run_application(int argc, char** argv) {
    StartupLog log;
    log.write("Velmo - Starting (GTK4)\n");
    print_banner();

    app_state_set_defaults();
    log.write("%s", "State initialized\\n");

    if (!start_subsystems(log)) {
        return 1;
    }
    register_callbacks();
    log.write("%s", "Callbacks configured, starting GUI...\\n");

    const int status = GUI_Init(argc, argv);
    log.write("GUI_Init returned: %d\\n", status);

    GUI_Cleanup();
    clean_up(std::size(k_subsystems));

    log.write("%s", "Cleanup done, exiting\\n");
    log.close();
    std::fputs("Velmo - Exiting\\n", stdout);
    return status;
}
