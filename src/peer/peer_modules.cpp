// See peer/peer_modules.h.
#include "peer/peer_modules.h"

#include "audio/audio_devices.h"
#include "audio/audio_engine.h"
#include "audio/audio_processing.h"
#include "audio/sound_format.h"
#include "core/app_state.h"
#include "peer/peer_callbacks.h"
#include "peer/peer_devices.h"
#include "peer/peer_exit.h"
#include "peer/peer_output.h"
#include "peer/peer_text.h"
#include "voice/voice_codec.h"
#include "voice/voice_connection.h"

#include <string>
#include <utility>

namespace {

// Runs what undoes a step, when the scope of the step ends.
template <typename Action>
class AtScopeEnd {
  public:
    explicit AtScopeEnd(Action action) : m_action(std::move(action)) {}
    AtScopeEnd(const AtScopeEnd&) = delete;
    AtScopeEnd& operator=(const AtScopeEnd&) = delete;
    ~AtScopeEnd() { m_action(); }

  private:
    Action m_action;
};

int choose_devices(const PeerOptions& options, bool has_sound) {
    std::string name;
    if (options.uses_microphone()) {
        if (!has_sound || Audio_GetInputDeviceCount() == 0) {
            peer_complain("there is no microphone (--play and --tone need none)");
            return k_peer_no_microphone;
        }
        if (!options.input_device.empty()) {
            const std::string error =
                select_peer_device(PeerDeviceKind::input, options.input_device, name);
            if (!error.empty()) {
                peer_complain("%s", printable(error).c_str());
                return k_peer_no_microphone;
            }
        }
    }
    if (!options.output_device.empty()) {
        const std::string error =
            has_sound ? select_peer_device(PeerDeviceKind::output, options.output_device, name)
                      : "the sound system cannot be used";
        if (!error.empty()) {
            peer_complain("%s", printable(error).c_str());
            return k_peer_other;
        }
    }
    return k_peer_ok;
}

// Asked first, because a service that hangs is waited for every time.
int look_for_sound_service(const PeerOptions& options) {
    const bool microphone = options.uses_microphone();
    if ((!microphone && options.output_device.empty()) || Audio_IsServiceMissing() == 0) {
        return k_peer_ok;
    }
    peer_complain("%s%s", k_no_sound_service, microphone ? " (--play and --tone need none)" : "");
    return microphone ? k_peer_no_microphone : k_peer_other;
}

} // namespace

int run_with_peer_modules(const PeerOptions& options, int (*stay)()) {
    if (const int missing = look_for_sound_service(options); missing != k_peer_ok) {
        return missing;
    }
    app_state_set_defaults();
    if (!Network_Init()) {
        peer_complain("the network cannot be used");
        return k_peer_other;
    }
    const AtScopeEnd network_cleanup(Network_Cleanup);
    const bool has_sound = Audio_Init() != 0;
    const AtScopeEnd audio_cleanup([has_sound] {
        if (has_sound) {
            Audio_Cleanup();
        }
    });
    AudioProcessing_Init(k_sound_rate, k_sound_channels);
    const AtScopeEnd processing_cleanup(AudioProcessing_Cleanup);
    OpusCodec_Init(k_sound_rate, k_sound_channels, k_sound_bitrate);
    const AtScopeEnd codec_cleanup(OpusCodec_Cleanup);

    const int status = choose_devices(options, has_sound);
    if (status != k_peer_ok) {
        return status;
    }
    peer_callbacks_register(options.uses_microphone());
    return stay();
}
