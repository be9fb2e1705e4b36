// See service/rest/rest_farewells.h.
#include "service/rest/rest_farewells.h"

#include "service/rest/soup_message.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include <sys/socket.h>

void RestFarewells::begin(GObjectPtr<GIOStream> stream, GSocketOwner socket,
                          const RestAnswer& answer) {
    const std::string text = "HTTP/1.1 " + std::to_string(answer.status) + " " +
                             status_reason(answer.status) +
                             "\r\nContent-Type: " + answer.content_type +
                             "\r\nContent-Length: " + std::to_string(answer.body.size()) +
                             "\r\nConnection: close\r\n\r\n" + answer.body;
    const int file = g_socket_get_fd(socket.get());
    // A few hundred bytes into a buffer that holds nothing yet.
    [[maybe_unused]] const ssize_t sent =
        ::send(file, text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    ::shutdown(file, SHUT_WR);

    m_lingering.push_back({std::move(stream), std::move(socket), deadline_after(m_limits.linger_ms),
                           m_limits.linger_bytes});
    Lingering& lingering = m_lingering.back();
    const GSocketSourceFunc readable = &RestFarewells::on_readable;
    lingering.source =
        attach_source(g_socket_create_source(lingering.socket.get(), G_IO_IN, nullptr),
                      G_SOURCE_FUNC(readable), this);
}

void RestFarewells::sweep(std::int64_t now) {
    std::erase_if(m_lingering, [&](const Lingering& one) { return one.deadline <= now; });
}

gboolean RestFarewells::on_readable(GSocket* socket, GIOCondition /*condition*/, gpointer self) {
    auto& all = static_cast<RestFarewells*>(self)->m_lingering;
    const auto found = std::find_if(
        all.begin(), all.end(), [&](const Lingering& one) { return one.socket.get() == socket; });
    if (found != all.end() && !read_away(*found)) {
        all.erase(found);
        return G_SOURCE_REMOVE;
    }
    return G_SOURCE_CONTINUE;
}

// False once the client has nothing more to say, or has said too much.
bool RestFarewells::read_away(Lingering& lingering) {
    std::array<char, 16 * 1024> buffer;
    const ssize_t count =
        ::recv(g_socket_get_fd(lingering.socket.get()), buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) {
        return true;
    }
    if (count <= 0 || static_cast<std::size_t>(count) >= lingering.bytes_left) {
        return false;
    }
    lingering.bytes_left -= static_cast<std::size_t>(count);
    return true;
}
