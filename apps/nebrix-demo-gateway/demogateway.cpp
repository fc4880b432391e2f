// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-demo-gateway/demogateway.h"

#include <fcntl.h>
#include <httplib.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <condition_variable>
#include <map>
#include <mutex>
#include <random>
#include <thread>
#include <utility>

#include "apps/nebrix-demo-gateway/documents.h"
#include "apps/nebrix-sign/scratchdirectory.h"
#include "libs/base/base64.h"
#include "libs/base/descriptor.h"
#include "libs/http/uri.h"
#include "libs/openssl/digest.h"
#include "libs/openssl/fingerprint.h"
#include "libs/openssl/selfsignedcertificate.h"

namespace tessel::gateway {

namespace {

constexpr std::string_view kMediationPath = "/mediation/";
constexpr std::string_view kMovedPath = "/moved/";
constexpr std::string_view kResourcePath = "/resources/";
constexpr std::string_view kRulesField = "rulesChecked=";
constexpr std::size_t kOversize = 20 * 1024 * 1024;
constexpr std::size_t kNesting = 100000;
constexpr const char* kJson = "application/json";
constexpr const char* kText = "text/plain";
constexpr const char* kBinary = "application/octet-stream";

std::string randomIdentifier() {
    std::random_device source;
    std::string identifier;
    for (int i = 0; i < 32; ++i) {
        identifier += "0123456789abcdef"[source() % 16];
    }
    return identifier;
}

/// Whether the request's cookies (RFC 6265, section 4.2.1) hold the pair.
bool hasCookie(const httplib::Request& request, std::string_view pair) {
    const std::string header = request.get_header_value("Cookie");
    for (std::string_view rest = header; !rest.empty();) {
        const auto end = std::min(rest.find("; "), rest.size());
        if (rest.substr(0, end) == pair) {
            return true;
        }
        rest.remove_prefix(std::min(end + 2, rest.size()));
    }
    return false;
}

std::string authorityOf(const std::string& address, unsigned port) {
    const bool bracketed = address.find(':') != std::string::npos;
    return (bracketed ? "[" + address + "]" : address) + ":" + std::to_string(port);
}

/// SHA-256 of what the PEM block holds, as people compare it.
std::string fingerprintOf(std::string_view pem) {
    const auto begin = pem.find('\n');
    const Memory der = Base64::decode(String::copy(pem.substr(begin, pem.find("-----END") - begin)));
    tls::SHA256 digest;
    digest.feed(der);
    return std::string(tls::fingerprintText(digest.result().toHex()).view());
}

}  // namespace

class DemoGateway::Implementation {
public:
    explicit Implementation(GatewayOptions options);
    ~Implementation() { stop(); }

    void start();
    void stop();

    GatewayOptions m_options;
    Descriptor m_certificateFile;  // open, no longer in any directory
    std::string m_fingerprint;
    std::string m_clientId;
    std::map<ComponentType, ServedComponent> m_components;
    unsigned m_port = 0;
    RequestLog m_requests;

    [[nodiscard]] std::vector<std::string> hostChecks() const {
        const std::lock_guard lock(m_mutex);
        return m_hostChecks;
    }

private:
    using Request = httplib::Request;
    using Response = httplib::Response;

    void record(const Request& request);
    void get(const Request& request, Response& response);
    void post(const Request& request, Response& response);
    void mediate(ComponentType type, const Request& request, Response& response);
    void serveArchive(const ServedComponent& component, Response& response);
    /// Sends a body in one piece, or trickling.
    void send(Response& response, std::string body, const char* contentType);
    /// Sends the first half of a body; what then happens decides `more`, which has the meaning of a content provider.
    void sendHalf(Response& response, const std::string& body, std::function<bool()> more);
    /// Waits; true when the gateway ends meanwhile.
    bool pause(std::chrono::milliseconds duration);
    void waitForEnd();
    [[nodiscard]] bool has(Fault fault) const { return m_options.faults.has(fault); }
    [[nodiscard]] bool isKnown(const Request& request) const { return hasCookie(request, "Nebrix-Id=" + m_clientId); }

    // Constant after construction.
    TunnelCertificates m_certificates;

    mutable std::mutex m_mutex;
    std::condition_variable m_ending;
    bool m_ended = false;                   // guarded by m_mutex
    std::vector<std::string> m_hostChecks;  // guarded by m_mutex

    std::unique_ptr<httplib::SSLServer> m_server;
    std::thread m_thread;
};

DemoGateway::Implementation::Implementation(GatewayOptions options)
    : m_options(std::move(options)), m_clientId(m_options.clientId.empty() ? randomIdentifier() : m_options.clientId) {
    const tls::SelfSignedCertificate server({.dns = {"localhost"}, .addresses = {String::copy(m_options.address)}});
    const sign::ScratchDirectory scratch("nebrix-demo-gateway");
    const std::string certificate = scratch.path("server.pem");
    const std::string key = scratch.path("server-key.pem");
    server.writeFiles(String::copy(certificate), String::copy(key));
    m_fingerprint = fingerprintOf(server.certificatePem().view());
    m_certificateFile = Descriptor(::open(certificate.c_str(), O_RDONLY | O_CLOEXEC));
    m_certificates = !m_options.certificatesFolder.empty() ? certificatesOf(m_options.certificatesFolder)
                     : m_options.certificates.has_value()
                         ? *m_options.certificates
                         : madeUpCertificates(std::string(server.certificatePem().view()));
    for (const ComponentType type : kComponentTypes) {
        m_components[type] = packComponent(m_options, type, scratch.path());
    }

    m_server = std::make_unique<httplib::SSLServer>(certificate.c_str(), key.c_str());
    if (!m_server->is_valid()) {
        raise<EGateway>("the server's certificate cannot be used", sites::kNoCertificate);
    }
    m_server->set_keep_alive_timeout(1);
    m_server->set_tcp_nodelay(true);  // an answer goes out in several small writes
    // Not the library's choice, SO_REUSEPORT: a port that is taken must be refused, not shared.
    m_server->set_socket_options([](socket_t listener) {
        const int yes = 1;
        ::setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    });
    m_server->set_payload_max_length(1024 * 1024);
    m_server->Get(".*", [this](const Request& request, Response& response) { get(request, response); });
    m_server->Post(".*", [this](const Request& request, Response& response) { post(request, response); });
}

void DemoGateway::Implementation::start() {
    const bool fixed = m_options.port != 0;
    const int port = static_cast<int>(m_options.port);
    const int bound = !fixed                                            ? m_server->bind_to_any_port(m_options.address)
                      : m_server->bind_to_port(m_options.address, port) ? port
                                                                        : -1;
    if (bound <= 0) {
        raise<EGateway>("cannot listen on " + String::copy(authorityOf(m_options.address, m_options.port)),
                        sites::kNoPort);
    }
    m_port = static_cast<unsigned>(bound);
    m_thread = std::thread([this] { m_server->listen_after_bind(); });
    // The socket already listens; stop() is heard only once the accepting loop runs, and nothing announces that.
    while (!m_server->is_running()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

void DemoGateway::Implementation::stop() {
    {
        const std::lock_guard lock(m_mutex);
        m_ended = true;
        m_ending.notify_all();
    }
    if (m_thread.joinable()) {
        m_server->stop();
        m_thread.join();
    }
}

bool DemoGateway::Implementation::pause(std::chrono::milliseconds duration) {
    std::unique_lock lock(m_mutex);
    return m_ending.wait_for(lock, duration, [&] { return m_ended; });
}

void DemoGateway::Implementation::waitForEnd() {
    std::unique_lock lock(m_mutex);
    m_ending.wait(lock, [&] { return m_ended; });
}

void DemoGateway::Implementation::record(const Request& request) {
    m_requests.add({request.method, request.target, request.get_header_value("Cookie"),
                    request.get_header_value("User-Agent"), request.body});
}

void DemoGateway::Implementation::send(Response& response, std::string body, const char* contentType) {
    if (!has(Fault::Slow)) {
        response.set_content(body, contentType);
        return;
    }
    const auto whole = std::make_shared<const std::string>(std::move(body));
    response.set_content_provider(whole->size(), contentType,
                                  [this, whole](std::size_t offset, std::size_t length, httplib::DataSink& sink) {
                                      const std::size_t piece = std::min(length, whole->size() / 8 + 1);
                                      return !pause(m_options.pause) && sink.write(whole->data() + offset, piece);
                                  });
}

void DemoGateway::Implementation::sendHalf(Response& response, const std::string& body, std::function<bool()> more) {
    const auto whole = std::make_shared<const std::string>(body);
    response.set_content_provider(
        whole->size(), kBinary,
        [whole, more = std::move(more)](std::size_t offset, std::size_t /*length*/, httplib::DataSink& sink) {
            const std::size_t half = whole->size() / 2;
            return offset < half ? sink.write(whole->data() + offset, half - offset) : more();
        });
}

void DemoGateway::Implementation::get(const Request& request, Response& response) {
    record(request);
    const std::string_view path = request.path;
    for (const ComponentType type : kComponentTypes) {
        const std::string_view name = typeName(type);
        if (path == std::string(kMediationPath).append(name) || path == std::string(kMovedPath).append(name)) {
            return mediate(type, request, response);
        }
    }
    if (!isKnown(request)) {
        response.status = 403;
        return send(response, "unknown client\n", kText);
    }
    for (const auto& [type, component] : m_components) {
        if (path == component.urlPath + component.filename && !component.archive.empty()) {
            return serveArchive(component, response);
        }
    }
    for (const auto* certificate : {&m_certificates.client, &m_certificates.authority}) {
        if (path == kCertificatePath + certificate->filename) {
            return send(response, certificate->content, kBinary);
        }
    }
    if (path == std::string(kResourcePath) + m_options.service) {
        return send(response, "Welcome: this text was published by the demonstration gateway.\n", kText);
    }
    response.status = 404;
    send(response, "no such file\n", kText);
}

void DemoGateway::Implementation::serveArchive(const ServedComponent& component, Response& response) {
    if (has(Fault::ArchiveCut)) {
        sendHalf(response, component.archive, [] { return false; });
    } else if (has(Fault::ArchiveSilent)) {
        sendHalf(response, component.archive, [this] {
            waitForEnd();
            return false;
        });
    } else {
        send(response, component.archive, kBinary);
    }
}

void DemoGateway::Implementation::mediate(ComponentType type, const Request& request, Response& response) {
    if (has(Fault::Silent)) {
        waitForEnd();
        return;
    }
    if (!isKnown(request)) {
        return send(response, refusal("unknown client identifier"), kJson);
    }
    if (request.get_param_value_count("clientversion") != 1 || request.get_param_value("clientversion").empty()) {
        return send(response, refusal("no client version"), kJson);
    }
    if (has(Fault::Redirect) && request.path.starts_with(kMediationPath)) {
        const std::string target = request.target.substr(kMediationPath.size());
        return response.set_redirect(std::string(kMovedPath) + target);
    }
    if (has(Fault::Refusal)) {
        return send(response, refusal("the demonstration refuses"), kJson);
    }
    if (has(Fault::Status404)) {
        response.status = 404;
        return send(response, "<html><body>Not found</body></html>\n", "text/html");
    }
    if (has(Fault::NotJson)) {
        return send(response, "this is not JSON\n", kJson);
    }
    if (has(Fault::DeepJson)) {
        return send(response, std::string(kNesting, '[') + std::string(kNesting, ']'), kJson);
    }
    const std::string language = request.has_param("lang") ? request.get_param_value("lang") : "en";
    std::string answer = mediationAnswer({m_options, m_components.at(type), m_certificates, type, language, m_clientId,
                                          authorityOf(m_options.address, m_port)});
    if (has(Fault::Oversize)) {
        answer.resize(kOversize, ' ');
    }
    response.status = has(Fault::Status500) ? 500 : 200;
    send(response, std::move(answer), kJson);
}

void DemoGateway::Implementation::post(const Request& request, Response& response) {
    record(request);
    const std::string_view body = request.body;
    if (!isKnown(request) || request.path != kResponsePath) {
        response.status = isKnown(request) ? 404 : 403;
        return send(response, refusal("unknown client identifier or path"), kJson);
    }
    if (!body.starts_with(kRulesField) || body.find('&') != std::string_view::npos) {
        return send(response, refusal("the post is not one field \"rulesChecked\""), kJson);
    }
    const String rules = http::Uri::decode(String::copy(body.substr(kRulesField.size())));
    std::size_t posts = 0;
    {
        const std::lock_guard lock(m_mutex);
        m_hostChecks.emplace_back(rules.view());
        posts = m_hostChecks.size();
    }
    if (has(Fault::BadPostAnswer)) {
        return send(response, "this is not JSON\n", kJson);
    }
    if (has(Fault::PostRefusal)) {
        return send(response, refusal("the demonstration refuses the host check"), kJson);
    }
    send(response, hostCheckAnswer(posts <= m_options.continuedPosts, m_options.hostCheckingInfo), kJson);
}

DemoGateway::DemoGateway(GatewayOptions options)
    : m_implementation(std::make_unique<Implementation>(std::move(options))) {}

DemoGateway::~DemoGateway() = default;

void DemoGateway::start() { m_implementation->start(); }
void DemoGateway::stop() { m_implementation->stop(); }
unsigned DemoGateway::port() const noexcept { return m_implementation->m_port; }
std::string DemoGateway::authority() const {
    return authorityOf(m_implementation->m_options.address, m_implementation->m_port);
}
const std::string& DemoGateway::clientId() const noexcept { return m_implementation->m_clientId; }

std::string DemoGateway::mediation(ComponentType type) const {
    return "https://" + clientId() + "@" + authority() + std::string(kMediationPath).append(typeName(type)) +
           "?lang=en";
}

std::string DemoGateway::certificatePath() const {
    return "/proc/" + std::to_string(::getpid()) + "/fd/" + std::to_string(m_implementation->m_certificateFile.get());
}

const std::string& DemoGateway::certificateFingerprint() const noexcept { return m_implementation->m_fingerprint; }

std::string DemoGateway::archiveMd5(ComponentType type) const { return m_implementation->m_components.at(type).md5; }

const RequestLog& DemoGateway::requests() const noexcept { return m_implementation->m_requests; }

std::vector<std::string> DemoGateway::hostChecks() const { return m_implementation->hostChecks(); }

}  // namespace tessel::gateway
