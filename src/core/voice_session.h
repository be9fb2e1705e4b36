// The voice session: handlers that join the interface, the audio engine and the voice transport.
// The start-up registers them; who calls each, and on which thread, stands with it.
#pragma once

#include <cstdint>

// Called by the interface's facade, on the main thread.
void OnConnect(const char* username, const char* url);
void OnJoinRoom(const char* roomId);
void OnLeaveRoom();
void OnMuteToggle(bool muted);
void OnDeafenToggle(bool deafened);
void OnLoopbackToggle(bool enabled);
void OnGainChange(float gain);
void OnVolumeChange(float volume);
void OnChatSend(const char* text);

// Called by the audio engine, on its capture thread: at most the first 480 frames (10 ms) are sent.
void OnAudioInput(float* samples, std::int32_t frameCount);
void OnAudioLevel(float level);

/// Audio packets that the network took since the program began. Any thread.
std::uint64_t audio_packets_sent();

// Called by the voice transport: the first on the connecting thread, the second on the network
// thread or the disconnecting one, the others on the network thread.
void OnNetworkConnected();
void OnNetworkDisconnected();
void OnNetworkMessage(int kind, const char* text);
void OnNetworkAudio(const std::uint8_t* data, int length);
void OnSpeakingState(const char* peerId, int speaking);
void OnNetworkError(const char* text);
