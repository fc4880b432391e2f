#pragma once

#include <httplib.h>

#include <string>
#include <thread>

#include "libs/openssl/selfsignedcertificate.h"
#include "tests/support/temporarydirectory.h"

namespace nebrix::test {

/// The files of a certificate for 127.0.0.1 that signed itself.
struct CertificateFiles {
    CertificateFiles() {
        const tessel::tls::SelfSignedCertificate made({{"localhost"}, {"127.0.0.1"}});
        made.writeFiles(tessel::String::copy(certificate), tessel::String::copy(key));
    }
    TemporaryDirectory directory;
    std::string certificate = directory.path("cert.pem");
    std::string key = directory.path("key.pem");
};

/// HTTPS on loopback with one handler for every GET.
class HttpsServer {
public:
    explicit HttpsServer(const httplib::Server::Handler& handler)
        : m_server(m_files.certificate.c_str(), m_files.key.c_str()) {
        m_server.Get(".*", handler);
        m_port = m_server.bind_to_any_port("127.0.0.1");
        m_thread = std::thread([this] { m_server.listen_after_bind(); });
        while (!m_server.is_running()) {
            std::this_thread::yield();
        }
    }
    HttpsServer(const HttpsServer&) = delete;
    HttpsServer& operator=(const HttpsServer&) = delete;
    ~HttpsServer() {
        m_server.stop();
        m_thread.join();
    }
    [[nodiscard]] tessel::String url() const {
        return tessel::String::copy("https://127.0.0.1:" + std::to_string(m_port) + "/");
    }

private:
    CertificateFiles m_files;
    httplib::SSLServer m_server;
    int m_port = 0;
    std::thread m_thread;
};

}  // namespace nebrix::test
