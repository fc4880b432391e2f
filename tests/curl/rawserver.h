#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "libs/base/string.h"

namespace nebrix::test {

/// Plain HTTP on loopback that answers every request with the same bytes, well-formed or not, and closes.
/// One connection at a time; requests without a body or with one that arrives with its header.
class RawServer {
public:
    explicit RawServer(std::string answer) : m_answer(std::move(answer)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        ::bind(m_listener, reinterpret_cast<sockaddr*>(&address), length);
        ::listen(m_listener, 8);
        ::getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &length);
        m_port = ntohs(address.sin_port);
        m_thread = std::thread([this] { serve(); });
    }
    RawServer(const RawServer&) = delete;
    RawServer& operator=(const RawServer&) = delete;
    ~RawServer() {
        ::shutdown(m_listener, SHUT_RDWR);
        m_thread.join();
        ::close(m_listener);
    }

    [[nodiscard]] tessel::String url(const std::string& host = "127.0.0.1") const {
        return tessel::String::copy("http://" + host + ":" + std::to_string(m_port) + "/p");
    }
    [[nodiscard]] std::string lastRequest() const {
        const std::lock_guard lock(m_mutex);
        return m_requests.empty() ? std::string() : m_requests.back();
    }

private:
    void serve() {
        for (int connection = 0; (connection = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;
             ::close(connection)) {
            char buffer[65536];
            std::string request;
            while (request.find("\r\n\r\n") == std::string::npos) {
                const ssize_t got = ::recv(connection, buffer, sizeof buffer, 0);
                if (got <= 0) {
                    break;
                }
                request.append(buffer, static_cast<std::size_t>(got));
            }
            {
                const std::lock_guard lock(m_mutex);
                m_requests.push_back(request);
            }
            ::send(connection, m_answer.data(), m_answer.size(), MSG_NOSIGNAL);
        }
    }

    const std::string m_answer;
    const int m_listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    int m_port = 0;
    mutable std::mutex m_mutex;
    std::vector<std::string> m_requests;
    std::thread m_thread;
};

}  // namespace nebrix::test
