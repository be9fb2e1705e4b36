// Where the servers are: the backend's address and what follows from it, the voice server and the
// chat channel. Used by every backend call, the sign-in, the session restore and the voice join.
//
// All of it belongs to the main thread.
#pragma once

extern char g_backend_url[128];    ///< the REST API's base address, without a slash at its end
extern char g_chat_url[128];       ///< the address that the chat channel's was last derived from
extern char (&g_chat_ws_url)[128]; ///< the chat channel's address
extern char g_server_url[128];     ///< the voice server, as host:port

using VoiceServerCallback = void (*)(const char* server_url);

/// Called with the new text whenever g_server_url is written; a new callback replaces the old one.
void Endpoints_SetVoiceServerCallback(VoiceServerCallback callback);

/// The address built into the program; there is no other to choose. In backend_address.cpp, so that
/// a test can link another one.
const char* get_selected_backend_url();

/// Derives g_server_url from the host of `url`, then the chat channel's address. Changes nothing
/// when `url` is null or names no host.
void sync_voice_server_from_backend_url(const char* url);

/// Derives g_chat_url and g_chat_ws_url. A local host has its chat on a port of its own, in the
/// clear; any other on the path /ws, as secure as `url`.
void sync_chat_server_from_backend_url(const char* url);

/// Called when a saved session brings its address back. Does nothing: there is one realm.
void sync_backend_realm_from_url(const char* url);
