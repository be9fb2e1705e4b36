// The capture and render services of the audio seam's Windows half. Called by the device engine, on
// its capture and render threads.
#include "platform/windows/wasapi_internal.h"

#include <algorithm>
#include <memory>
#include <span>

void AudioRelease::operator()(AudioCaptureService* service) const {
    delete service;
}

void AudioRelease::operator()(AudioRenderService* service) const {
    delete service;
}

AudioResult audio_client_capture_service(AudioClient& client,
                                         AudioPtr<AudioCaptureService>& service) {
    if (!client.format) {
        return k_audio_not_initialized;
    }
    auto created = std::make_unique<AudioCaptureService>();
    HRESULT result =
        client.client->GetService(__uuidof(IAudioCaptureClient), created->service.out_void());
    if (FAILED(result)) {
        return result;
    }
    UINT32 buffer_frames = 0;
    result = client.client->GetBufferSize(&buffer_frames);
    if (FAILED(result)) {
        return result;
    }
    created->client = client.client;
    created->format = *client.format;
    created->packet.resize(std::size_t{buffer_frames} * 2);
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
    UINT32 size = 0;
    const HRESULT result = service.service->GetNextPacketSize(&size);
    if (SUCCEEDED(result)) {
        frames = size;
    }
    return result;
}

AudioResult audio_capture_get_buffer(AudioCaptureService& service, float*& samples,
                                     std::uint32_t& frames) {
    BYTE* data = nullptr;
    UINT32 size = 0;
    DWORD flags = 0; // the system wants to tell them; nobody asks
    const HRESULT result = service.service->GetBuffer(&data, &size, &flags, nullptr, nullptr);
    if (FAILED(result)) {
        return result;
    }
    const std::size_t count = std::size_t{size} * 2;
    // More than the system's own buffer holds cannot come; from a driver that is wrong about that
    // it is not taken.
    if (count > service.packet.size()) {
        service.service->ReleaseBuffer(size);
        return AUDCLNT_E_BUFFER_ERROR;
    }
    if (data != nullptr) {
        const std::span<const std::byte> packet(reinterpret_cast<const std::byte*>(data),
                                                size * frame_bytes(service.format));
        copy_as_stereo(service.format, packet, service.packet.data());
    } else {
        std::fill_n(service.packet.begin(), count, 0.0F);
    }
    samples = service.packet.data();
    frames = size;
    return result;
}

AudioResult audio_capture_release_buffer(AudioCaptureService& service, std::uint32_t frames) {
    return service.service->ReleaseBuffer(frames);
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
