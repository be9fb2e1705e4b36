// The Windows half of the audio seam over WASAPI: COM, endpoints and clients. Called by the device
// engine and the device lists.
#include "platform/windows/wasapi_internal.h"
#include "platform/windows/wide_text.h"

// Gives the property key below a place to live.
#include <initguid.h>

#include <functiondiscoverykeys_devpkey.h>
#include <mmreg.h>
#include <mmsystem.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <string_view>

namespace {

/// In 100-nanosecond units.
constexpr REFERENCE_TIME k_microsecond = 10;
constexpr REFERENCE_TIME k_millisecond = 10'000;

/// Successes of audio_system_init on this thread that are still to be ended.
thread_local int t_com_inits = 0;

struct TaskMemory {
    void operator()(void* memory) const { CoTaskMemFree(memory); }
};

template <typename T>
using TaskPtr = std::unique_ptr<T, TaskMemory>;

/// A property as it was read, cleared at the end.
struct Property {
    Property() { PropVariantInit(&value); }
    Property(const Property&) = delete;
    Property& operator=(const Property&) = delete;
    ~Property() { PropVariantClear(&value); }
    PROPVARIANT value;
};

EDataFlow data_flow(AudioFlow flow) {
    return flow == AudioFlow::render ? eRender : eCapture;
}

AudioResult list_active(AudioEnumerator& enumerator, AudioFlow flow,
                        ComRef<IMMDeviceCollection>& list, UINT& count) {
    const HRESULT result =
        enumerator.enumerator->EnumAudioEndpoints(data_flow(flow), DEVICE_STATE_ACTIVE, list.out());
    return SUCCEEDED(result) ? list->GetCount(&count) : result;
}

AudioResult id_of(IMMDevice& device, std::string& id) {
    LPWSTR text = nullptr;
    const HRESULT result = device.GetId(&text);
    if (FAILED(result)) {
        return result;
    }
    const TaskPtr<WCHAR> owned(text);
    id = utf8_of(text);
    return k_audio_ok;
}

WAVEFORMATEX wave_format(const AudioFormat& format) {
    constexpr WORD bits = 32;
    WAVEFORMATEX wave{};
    wave.wFormatTag = WAVE_FORMAT_IEEE_FLOAT;
    wave.nChannels = static_cast<WORD>(format.channels);
    wave.nSamplesPerSec = format.samples_per_second;
    wave.nBlockAlign = static_cast<WORD>(wave.nChannels * bits / 8);
    wave.nAvgBytesPerSec = wave.nSamplesPerSec * wave.nBlockAlign;
    wave.wBitsPerSample = bits;
    wave.cbSize = 0;
    return wave;
}

AudioResult initialize_shared(AudioClient& client, const WAVEFORMATEX& wave,
                              const MixFormat& format, std::uint32_t buffer_ms) {
    const HRESULT result = client.client->Initialize(AUDCLNT_SHAREMODE_SHARED, 0,
                                                     buffer_ms * k_millisecond, 0, &wave, nullptr);
    if (SUCCEEDED(result)) {
        client.format = format;
    }
    return result;
}

} // namespace

std::optional<MixFormat> to_mix_format(const WAVEFORMATEX& wave) {
    WORD tag = wave.wFormatTag;
    if (tag == WAVE_FORMAT_EXTENSIBLE) {
        if (wave.cbSize < sizeof(WAVEFORMATEXTENSIBLE) - sizeof(WAVEFORMATEX)) {
            return std::nullopt;
        }
        // The sub-formats of wave tags differ in their first field only: there stands the tag.
        const auto& extensible = reinterpret_cast<const WAVEFORMATEXTENSIBLE&>(wave);
        GUID rest = extensible.SubFormat;
        tag = static_cast<WORD>(rest.Data1);
        rest.Data1 = WAVE_FORMAT_PCM;
        constexpr GUID pcm{WAVE_FORMAT_PCM, 0, 0x10, {0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71}};
        if (!IsEqualGUID(rest, pcm)) {
            return std::nullopt;
        }
    }

    SampleKind kind{};
    if (tag == WAVE_FORMAT_IEEE_FLOAT && wave.wBitsPerSample == 32) {
        kind = SampleKind::float32;
    } else if (tag == WAVE_FORMAT_PCM && wave.wBitsPerSample == 16) {
        kind = SampleKind::int16;
    } else if (tag == WAVE_FORMAT_PCM && wave.wBitsPerSample == 24) {
        kind = SampleKind::int24;
    } else if (tag == WAVE_FORMAT_PCM && wave.wBitsPerSample == 32) {
        kind = SampleKind::int32;
    } else {
        return std::nullopt;
    }
    const MixFormat format{kind, wave.nChannels};
    if (format.channels == 0 || frame_bytes(format) != wave.nBlockAlign) {
        return std::nullopt;
    }
    return format;
}

FineTimer::FineTimer() {
    timeBeginPeriod(1);
}

FineTimer::~FineTimer() {
    timeEndPeriod(1);
}

void AudioRelease::operator()(AudioEnumerator* enumerator) const {
    delete enumerator;
}

void AudioRelease::operator()(AudioDevice* device) const {
    delete device;
}

void AudioRelease::operator()(AudioClient* client) const {
    delete client;
}

AudioResult audio_system_init() {
    const HRESULT result = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    // S_FALSE, set up before in the same mode, counts as one more and is to be ended as well.
    if (SUCCEEDED(result)) {
        ++t_com_inits;
    }
    return result;
}

void audio_system_uninit() {
    if (t_com_inits > 0) {
        --t_com_inits;
        CoUninitialize();
    }
}

AudioResult audio_enumerator_create(AudioPtr<AudioEnumerator>& enumerator) {
    auto created = std::make_unique<AudioEnumerator>();
    const HRESULT result =
        CoCreateInstance(__uuidof(MMDeviceEnumerator), nullptr, CLSCTX_ALL,
                         __uuidof(IMMDeviceEnumerator), created->enumerator.out_void());
    if (SUCCEEDED(result)) {
        enumerator.reset(created.release());
    }
    return result;
}

AudioResult audio_default_device(AudioEnumerator& enumerator, AudioFlow flow,
                                 AudioPtr<AudioDevice>& device) {
    ComRef<IMMDevice> found;
    const HRESULT result =
        enumerator.enumerator->GetDefaultAudioEndpoint(data_flow(flow), eConsole, found.out());
    if (SUCCEEDED(result)) {
        device.reset(new AudioDevice{std::move(found), flow});
    }
    return result;
}

AudioResult audio_active_count(AudioEnumerator& enumerator, AudioFlow flow, std::int32_t& count) {
    ComRef<IMMDeviceCollection> list;
    UINT size = 0;
    const AudioResult result = list_active(enumerator, flow, list, size);
    if (audio_ok(result)) {
        count = static_cast<std::int32_t>(size);
    }
    return result;
}

AudioResult audio_active_ids(AudioEnumerator& enumerator, AudioFlow flow,
                             std::vector<std::string>& ids) {
    ComRef<IMMDeviceCollection> list;
    UINT size = 0;
    const AudioResult result = list_active(enumerator, flow, list, size);
    if (!audio_ok(result)) {
        return result;
    }
    std::vector<std::string> found(size);
    for (UINT index = 0; index < size; ++index) {
        ComRef<IMMDevice> device;
        if (SUCCEEDED(list->Item(index, device.out()))) {
            id_of(*device, found[index]);
        }
    }
    ids = std::move(found);
    return result;
}

AudioResult audio_active_device(AudioEnumerator& enumerator, AudioFlow flow, std::int32_t index,
                                AudioPtr<AudioDevice>& device) {
    ComRef<IMMDeviceCollection> list;
    UINT size = 0;
    const AudioResult listed = list_active(enumerator, flow, list, size);
    if (!audio_ok(listed)) {
        return listed;
    }
    if (index < 0 || static_cast<UINT>(index) >= size) {
        return k_audio_not_found;
    }
    ComRef<IMMDevice> found;
    const HRESULT result = list->Item(static_cast<UINT>(index), found.out());
    if (SUCCEEDED(result)) {
        device.reset(new AudioDevice{std::move(found), flow});
    }
    return result;
}

AudioResult audio_device_id(AudioDevice& device, std::string& id) {
    return id_of(*device.device, id);
}

AudioResult audio_device_friendly_name(AudioDevice& device, std::string& name) {
    ComRef<IPropertyStore> store;
    HRESULT result = device.device->OpenPropertyStore(STGM_READ, store.out());
    if (FAILED(result)) {
        return result;
    }
    Property property;
    result = store->GetValue(PKEY_Device_FriendlyName, &property.value);
    if (FAILED(result)) {
        return result;
    }
    if (property.value.vt != VT_LPWSTR || property.value.pwszVal == nullptr) {
        return k_audio_not_found;
    }
    name = utf8_of(property.value.pwszVal);
    return k_audio_ok;
}

AudioResult audio_device_activate(AudioDevice& device, AudioPtr<AudioClient>& client) {
    auto activated = std::make_unique<AudioClient>();
    activated->flow = device.flow;
    const HRESULT result = device.device->Activate(__uuidof(IAudioClient), CLSCTX_ALL, nullptr,
                                                   activated->client.out_void());
    if (SUCCEEDED(result)) {
        client.reset(activated.release());
    }
    return result;
}

AudioResult audio_client_initialize(AudioClient& client, const AudioFormat& format,
                                    std::uint32_t buffer_ms) {
    if (!is_supported(format)) {
        return k_audio_unsupported_format;
    }
    return initialize_shared(client, wave_format(format), {SampleKind::float32, format.channels},
                             buffer_ms);
}

AudioResult audio_client_initialize_mix_format(AudioClient& client, std::uint32_t buffer_ms) {
    if (client.flow != AudioFlow::capture) {
        return k_audio_unsupported_format;
    }
    WAVEFORMATEX* wave = nullptr;
    const HRESULT result = client.client->GetMixFormat(&wave);
    if (FAILED(result)) {
        return result;
    }
    const TaskPtr<WAVEFORMATEX> owned(wave);
    const std::optional<MixFormat> format = to_mix_format(*wave);
    return format ? initialize_shared(client, *wave, *format, buffer_ms)
                  : k_audio_unsupported_format;
}

AudioResult audio_client_start(AudioClient& client) {
    const HRESULT result = client.client->Start();
    if (SUCCEEDED(result)) {
        client.timer.emplace();
    }
    return result;
}

AudioResult audio_client_stop(AudioClient& client) {
    const HRESULT result = client.client->Stop();
    client.timer.reset();
    return result;
}

AudioResult audio_client_buffer_size(AudioClient& client, std::uint32_t& frames) {
    UINT32 size = 0;
    const HRESULT result = client.client->GetBufferSize(&size);
    if (SUCCEEDED(result)) {
        frames = size;
    }
    return result;
}

AudioResult audio_client_padding(AudioClient& client, std::uint32_t& frames) {
    UINT32 padding = 0;
    const HRESULT result = client.client->GetCurrentPadding(&padding);
    if (SUCCEEDED(result)) {
        frames = padding;
    }
    return result;
}

AudioResult audio_client_latency_us(AudioClient& client, std::uint32_t& microseconds) {
    REFERENCE_TIME latency = 0;
    const HRESULT result = client.client->GetStreamLatency(&latency);
    if (SUCCEEDED(result)) {
        microseconds = static_cast<std::uint32_t>(std::clamp<REFERENCE_TIME>(
            latency / k_microsecond, 0, std::numeric_limits<std::uint32_t>::max()));
    }
    return result;
}
