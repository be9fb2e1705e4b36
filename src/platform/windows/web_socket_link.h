// What WinHTTP's callbacks tell of one web socket, and the memory that it reads and writes
// meanwhile. Private to the Windows half.
#pragma once

#include <array>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>

#include <windows.h>

#include <winhttp.h>

struct InternetClose {
    void operator()(void* handle) const { WinHttpCloseHandle(handle); }
};
using InternetHandle = std::unique_ptr<void, InternetClose>;

/// An operation that was begun; the callback ends it, on a thread of the system or, at once, on the
/// one that began it.
struct WebSocketOperation {
    bool is_under_way = false;
    DWORD error = 0;
    WINHTTP_WEB_SOCKET_STATUS status{};
};

/// Shared by the web socket and by each handle that calls back, until the system has closed that:
/// what is still under way then writes into memory that is there.
struct WebSocketLink {
    std::mutex lock; ///< not held while WinHTTP is called
    std::condition_variable changed;

    WebSocketOperation opening; ///< a step of it
    WebSocketOperation sending;
    WebSocketOperation receiving;
    WebSocketOperation closing;
    bool is_ended = false;   ///< nothing more is received
    DWORD end_error = 0;     ///< 0: the peer closed
    bool is_closed = false;  ///< by this side
    bool is_aborted = false; ///< by this side: nobody waits any more

    std::string text;                      ///< that is being sent
    std::array<char, 16384> buffer;        ///< that is received into
    DWORD count = 0;                       ///< asked for by the call; the callback tells it
    WINHTTP_WEB_SOCKET_BUFFER_TYPE type{}; ///< as well

    /// With the lock held. The first one stands.
    void end(DWORD error);

    /// Begins an operation by `call`, which returns 0 or an error, and which alone is called
    /// without the lock.
    template <typename Call>
    void begin(std::unique_lock<std::mutex>& held, WebSocketOperation& operation, Call call) {
        operation = {true, 0, {}};
        held.unlock();
        const DWORD error = call();
        held.lock();
        if (error != 0) {
            operation = {false, error, {}};
        }
    }

    /// False when the operation is still under way after that time, or once it is of no use.
    bool wait(std::unique_lock<std::mutex>& held, const WebSocketOperation& operation,
              std::chrono::milliseconds most);
};

/// A value that makes `handle` call the link, and keep it, for web_socket_callback.
DWORD_PTR web_socket_context(const std::shared_ptr<WebSocketLink>& link);

/// Gives up a context that no handle has taken.
void web_socket_forget_context(DWORD_PTR context);

void CALLBACK web_socket_callback(HINTERNET handle, DWORD_PTR context, DWORD status, void* info,
                                  DWORD size);
