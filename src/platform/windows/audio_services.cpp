// The capture and render services of the audio seam's Windows half. Called by the device engine, on
// its capture and render threads.
#include "platform/windows/wasapi_internal.h"

#include <algorithm>
#include <memory>
#include <span>

namespace {

UINT32 next_slice(const AudioCaptureService& service) {
    return std::min(service.packet_frames - service.frames_done, k_max_packet_frames);
}

/// Fetches the system's next packet. The system takes whole packets back only, so it is kept until
/// its last slice is done.
HRESULT fetch_packet(AudioCaptureService& service) {
    BYTE* data = nullptr;
    UINT32 frames = 0;
    DWORD flags = 0;
    const HRESULT result = service.service->GetBuffer(&data, &frames, &flags, nullptr, nullptr);
    if (FAILED(result) || result == AUDCLNT_S_BUFFER_EMPTY || frames == 0) {
        return result;
    }
    service.packet = reinterpret_cast<const std::byte*>(data);
    service.packet_frames = frames;
    service.frames_done = 0;
    // Such a packet's bytes may be anything.
    service.is_silent = data == nullptr || (flags & AUDCLNT_BUFFERFLAGS_SILENT) != 0;
    return result;
}

HRESULT return_packet(AudioCaptureService& service) {
    const HRESULT result = service.service->ReleaseBuffer(service.packet_frames);
    service.packet = nullptr;
    service.packet_frames = 0;
    service.frames_done = 0;
    return result;
}

} // namespace

void AudioRelease::operator()(AudioCaptureService* service) const {
    const std::unique_ptr<AudioCaptureService> owned(service);
    if (service->packet_frames > 0) {
        return_packet(*service);
    }
}

void AudioRelease::operator()(AudioRenderService* service) const {
    delete service;
}

AudioResult audio_client_capture_service(AudioClient& client,
                                         AudioPtr<AudioCaptureService>& service) {
    auto created = std::make_unique<AudioCaptureService>();
    const HRESULT result =
        client.client->GetService(__uuidof(IAudioCaptureClient), created->service.out_void());
    if (FAILED(result)) {
        return result;
    }
    if (!client.format) {
        return k_audio_not_initialized;
    }
    created->client = client.client;
    created->format = *client.format;
    service.reset(created.release());
    return result;
}

AudioResult audio_client_render_service(AudioClient& client,
                                        AudioPtr<AudioRenderService>& service) {
    auto created = std::make_unique<AudioRenderService>();
    const HRESULT result =
        client.client->GetService(__uuidof(IAudioRenderClient), created->service.out_void());
    if (FAILED(result)) {
        return result;
    }
    created->client = client.client;
    service.reset(created.release());
    return result;
}

AudioResult audio_capture_next_packet_size(AudioCaptureService& service, std::uint32_t& frames) {
    if (service.packet_frames > 0) {
        frames = next_slice(service);
        return k_audio_ok;
    }
    UINT32 size = 0;
    const HRESULT result = service.service->GetNextPacketSize(&size);
    if (SUCCEEDED(result)) {
        frames = std::min(size, k_max_packet_frames);
    }
    return result;
}

AudioResult audio_capture_get_buffer(AudioCaptureService& service, float*& samples,
                                     std::uint32_t& frames) {
    if (service.slice_frames > 0) {
        return AUDCLNT_E_OUT_OF_ORDER;
    }
    HRESULT result = S_OK;
    if (service.packet_frames == 0) {
        result = fetch_packet(service);
        if (FAILED(result)) {
            return result;
        }
    }
    const UINT32 slice = next_slice(service);
    if (service.is_silent) {
        std::fill_n(service.slice.begin(), std::size_t{slice} * 2, 0.0F);
    } else if (slice > 0) {
        const std::size_t frame = frame_bytes(service.format);
        const std::span<const std::byte> packet(service.packet, service.packet_frames * frame);
        copy_as_stereo(service.format, packet.subspan(service.frames_done * frame, slice * frame),
                       service.slice.data());
    }
    service.slice_frames = slice;
    samples = service.slice.data();
    frames = slice;
    return result;
}

AudioResult audio_capture_release_buffer(AudioCaptureService& service, std::uint32_t frames) {
    if (frames == 0) { // the same slice is the next one again
        service.slice_frames = 0;
        return k_audio_ok;
    }
    if (service.slice_frames == 0) {
        return AUDCLNT_E_OUT_OF_ORDER;
    }
    if (frames != service.slice_frames) {
        return AUDCLNT_E_INVALID_SIZE;
    }
    service.slice_frames = 0;
    service.frames_done += frames;
    return service.frames_done == service.packet_frames ? return_packet(service) : k_audio_ok;
}

AudioResult audio_render_get_buffer(AudioRenderService& service, std::uint32_t frames,
                                    float*& samples) {
    BYTE* data = nullptr;
    const HRESULT result = service.service->GetBuffer(frames, &data);
    if (SUCCEEDED(result)) {
        samples = reinterpret_cast<float*>(data);
    }
    return result;
}

AudioResult audio_render_release_buffer(AudioRenderService& service, std::uint32_t frames) {
    return service.service->ReleaseBuffer(frames, 0);
}
