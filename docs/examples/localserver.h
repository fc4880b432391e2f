#pragma once

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>
#include <thread>

#include "expect.h"

/// Answers one HTTP request on loopback with this body.
class LocalServer {
public:
    explicit LocalServer(const std::string& body) : m_socket(::socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        auto* const plain = reinterpret_cast<sockaddr*>(&address);
        expect(::bind(m_socket, plain, length) == 0 && ::listen(m_socket, 1) == 0);
        expect(::getsockname(m_socket, plain, &length) == 0);
        url = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/file";
        m_thread = std::thread([this, body] { answer(body); });
    }
    LocalServer(const LocalServer&) = delete;
    LocalServer& operator=(const LocalServer&) = delete;
    ~LocalServer() {
        m_thread.join();
        ::close(m_socket);
    }

    std::string url;

private:
    void answer(const std::string& body) const {
        const int peer = ::accept(m_socket, nullptr, nullptr);
        std::string request;
        for (char c = 0; request.find("\r\n\r\n") == std::string::npos && ::read(peer, &c, 1) == 1;) {
            request += c;
        }
        const std::string text =
            "HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nContent-Length: " + std::to_string(body.size()) +
            "\r\nConnection: close\r\n\r\n" + body;
        expect(::write(peer, text.data(), text.size()) == static_cast<ssize_t>(text.size()));
        ::close(peer);
    }

    int m_socket;
    std::thread m_thread;
};
