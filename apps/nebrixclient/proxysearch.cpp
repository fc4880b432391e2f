// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/proxysearch.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <optional>

#include "apps/component/helperprogram.h"
#include "libs/base/log.h"
#include "libs/base/platform.h"
#include "libs/http/authority.h"
#include "libs/http/uri.h"

namespace tessel {

namespace {

constexpr const char* kClassName = "ProxySearch";
constexpr const char* kProgram = "nebrix-proxy-query";
constexpr unsigned kLongestAnswer = 8192;
constexpr std::size_t kMostRoutes = 16;
constexpr std::chrono::milliseconds kBetweenLooks{50};

/// "https://host:port/": nothing else of a URL is anybody's business. Empty where it names no server: what stands in
/// that one's place may be a secret, and arguments of processes are none.
String placeOf(const String& url) {
    const http::Uri uri = http::Uri::parse(url);
    const http::Authority authority(uri.getAuthority());
    return authority.valid() ? String(uri.getScheme() + "://" + authority.getAsciiServer() + "/") : String();
}

/// One a line; what is no route is passed over, and so is a line without its end, which is not whole.
std::vector<ProxyRoute> routesIn(const String& answer) {
    std::vector<ProxyRoute> routes;
    std::string_view rest = answer.view();
    for (std::size_t end = rest.find('\n'); end != std::string_view::npos && routes.size() < kMostRoutes;
         end = rest.find('\n')) {
        addRoutes(routes, String::copy(rest.data(), static_cast<unsigned>(end)));
        rest.remove_prefix(end + 1);
    }
    return routes;
}

String inWords(const std::vector<ProxyRoute>& routes) {
    Strings ways;
    for (const ProxyRoute& route : routes) {
        ways.push_back(route.shown());
    }
    return String(", ").glue(ways);
}

}  // namespace

/// One question, and the process that it was put to.
class ProxySearch::Search {
public:
    Search(const String& program, const String& place) : m_place(place) {
        std::array<int, 2> ends{-1, -1};
        if (place.empty() || ::pipe2(ends.data(), O_CLOEXEC) != 0) {
            return;
        }
        m_answers = Descriptor(ends[0]);
        const Descriptor writing(ends[1]);
        m_process = platform::startProcess({.program = program, .arguments = {place.str()}, .descriptors = {ends[1]}});
        if (m_process.id < 0) {
            log(LogCategory::Trace, kClassName, "begin",
                String("The desktop's proxy settings are not asked: " + program + ": " +
                       platform::errorText(m_process.systemError)));
        }
    }
    Search(const Search&) = delete;
    Search& operator=(const Search&) = delete;
    ~Search() { end(); }

    std::vector<ProxyRoute> routes(const std::atomic<bool>& cancelled) {
        Lock lock(m_mutex);
        if (m_process.id >= 0) {
            const bool whole = listen(cancelled);
            end();
            tell(whole, cancelled);
        }
        return m_routes;
    }

    void prefer(const ProxyRoute& worked) {
        Lock lock(m_mutex);
        const auto found = std::ranges::find_if(m_routes, [&](const ProxyRoute& one) { return one.sameWay(worked); });
        std::rotate(m_routes.begin(), found, m_routes.end());
    }

private:
    using Clock = std::chrono::steady_clock;

    /// Until the answer ends; false when that is not to be waited for. What is there already counts however late it is.
    bool listen(const std::atomic<bool>& cancelled) {
        std::array<char, kLongestAnswer> block{};
        while (!cancelled) {
            const bool late = Clock::now() >= m_begun + kPatience;
            pollfd answers{m_answers.get(), POLLIN, 0};
            if (::poll(&answers, 1, late ? 0 : static_cast<int>(kBetweenLooks.count())) <= 0) {
                if (late) {
                    return false;
                }
                continue;
            }
            const ssize_t count = ::read(m_answers.get(), block.data(), block.size());
            if (count <= 0) {
                return count == 0;
            }
            m_text.append(block.data(), static_cast<unsigned>(count));
            if (m_text.length() > kLongestAnswer) {
                return true;
            }
        }
        return false;
    }

    void tell(bool whole, const std::atomic<bool>& cancelled) {
        if (whole) {
            m_routes = routesIn(m_text);
            if (const String ways = inWords(m_routes); !ways.empty() && !(ways == "direct")) {
                log(LogCategory::Trace, kClassName, "routes", String("The desktop's way to " + m_place + ": " + ways));
            }
        } else if (!cancelled) {
            log(LogCategory::Warning, kClassName, "routes",
                String("The desktop's proxy settings gave no answer in time: " + m_place + " is asked directly"));
        }
    }

    void end() noexcept {
        if (m_process.id >= 0) {
            platform::killProcessGroup(m_process.id);  // libproxy starts programs too
            platform::reapProcess(m_process.id);
            m_process.id = -1;
        }
    }

    const String m_place;
    const Clock::time_point m_begun = Clock::now();
    Mutex m_mutex;
    // Guarded by m_mutex.
    Descriptor m_answers;
    platform::StartedProcess m_process;
    String m_text;
    std::vector<ProxyRoute> m_routes;
};

ProxySearch::ProxySearch() : ProxySearch(helperProgram(kProgram)) {}

ProxySearch::~ProxySearch() = default;

bool ProxySearch::environmentDecides(const String& url) {
    const bool secure = http::Uri::parse(url).getScheme().equalsNoCase2("https", 5);
    // As libcurl does: HTTP_PROXY is left out, since a web server puts a request's header line there.
    const std::array<const char*, 4> names{secure ? "https_proxy" : "http_proxy", secure ? "HTTPS_PROXY" : "all_proxy",
                                           "all_proxy", "ALL_PROXY"};
    return std::ranges::any_of(names, [](const char* name) {
        const char* const value = std::getenv(name);
        return value != nullptr && *value != '\0';
    });
}

std::shared_ptr<ProxySearch::Search> ProxySearch::searchOf(const String& url) {
    const String place = placeOf(url);
    Lock lock(m_mutex);
    std::shared_ptr<Search>& search = m_searches[place];
    if (search == nullptr) {
        search = std::make_shared<Search>(m_program, place);
    }
    return search;
}

void ProxySearch::begin(const String& url) { searchOf(url); }

std::vector<ProxyRoute> ProxySearch::routes(const String& url, const std::atomic<bool>& cancelled) {
    return searchOf(url)->routes(cancelled);
}

void ProxySearch::prefer(const String& url, const ProxyRoute& worked) { searchOf(url)->prefer(worked); }

void ProxySearch::forget() {
    Lock lock(m_mutex);
    m_searches.clear();
}

}  // namespace tessel
