// A plain REST client on a blocking socket, which it keeps from one request to the next. Shared by
// the tests of the server and by the load program; each thread has its own.
#pragma once

#include <cstdint>
#include <string>

struct RestClientReply {
    int status = 0; ///< 0: there was no answer
    std::string content_type;
    std::string body;

    /// The first text value of `key`.
    std::string field(const std::string& key) const;
};

class RestClient {
  public:
    /// For a service on this machine.
    explicit RestClient(std::uint16_t port) : m_port(port) {}
    RestClient(const RestClient&) = delete;
    RestClient& operator=(const RestClient&) = delete;
    ~RestClient() { disconnect(); }

    /// `body` is sent as JSON unless empty; `target` is path and query. Waits a minute at most.
    RestClientReply send(const char* method, const std::string& target, const std::string& body) {
        return exchange({method, target, "application/json", body});
    }
    RestClientReply get(const std::string& target) { return send("GET", target, ""); }
    RestClientReply post(const std::string& target, const std::string& body) {
        return send("POST", target, body);
    }
    /// As a browser sends a form.
    RestClientReply post_form(const std::string& target, const std::string& body) {
        return exchange({"POST", target, "application/x-www-form-urlencoded", body});
    }

  private:
    struct Request {
        const char* method;
        const std::string& target;
        const char* content_type;
        const std::string& body;
    };

    RestClientReply exchange(const Request& request);
    bool connect();
    void disconnect();
    bool send_all(const std::string& text) const;
    bool receive_more();

    const std::uint16_t m_port;
    int m_socket = -1;
    std::string m_received; // and not yet used
};
