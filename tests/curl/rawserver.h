#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <mutex>
#include <string>
#include <thread>

#include "libs/base/string.h"

namespace nebrix::test {

/// Plain HTTP on loopback that answers every request with the same bytes, well-formed or not, and closes.
/// One connection at a time; requests that arrive in one piece.
class RawServer {
public:
    explicit RawServer(std::string answer) : m_answer(std::move(answer)) {
        sockaddr_in address{AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
        socklen_t length = sizeof address;
        ::bind(m_listener, reinterpret_cast<sockaddr*>(&address), length);
        ::listen(m_listener, 8);
        ::getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &length);
        m_port = std::to_string(ntohs(address.sin_port));
        m_thread = std::thread([this] { serve(); });
    }
    RawServer(const RawServer&) = delete;
    RawServer& operator=(const RawServer&) = delete;
    ~RawServer() {
        ::shutdown(m_listener, SHUT_RDWR);
        m_thread.join();
        ::close(m_listener);
    }

    [[nodiscard]] const std::string& port() const { return m_port; }
    [[nodiscard]] tessel::String url(const std::string& host = "127.0.0.1") const {
        return tessel::String::copy("http://" + host + ":" + m_port + "/p");
    }
    [[nodiscard]] std::string lastRequest() const {
        const std::lock_guard lock(m_mutex);
        return m_request;
    }

private:
    void serve() {
        for (int connection = 0; (connection = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;
             ::close(connection)) {
            const std::lock_guard lock(m_mutex);
            m_request.resize(65536);
            const ssize_t got = ::recv(connection, m_request.data(), m_request.size(), 0);
            m_request.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
            ::send(connection, m_answer.data(), m_answer.size(), MSG_NOSIGNAL);
        }
    }

    const std::string m_answer;
    const int m_listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    std::string m_port;
    mutable std::mutex m_mutex;
    std::string m_request;
    std::thread m_thread;
};

}  // namespace nebrix::test
