// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <vector>

#include "libs/base/mutex.h"
#include "libs/http/proxyroute.h"

namespace tessel {

/// Asks the desktop's settings, a script of the network's (PAC) among them, which ways lead to a host.
///
/// Whoever answers runs foreign code and waits for foreign servers, so it is a process of its own, which is told
/// nothing of a URL but scheme, host and port, and is killed when it takes too long. What it said holds until forget().
/// Any thread may call; who waits holds nobody else up.
class ProxySearch {
public:
    /// From the beginning of a search to its end, whatever comes.
    static constexpr std::chrono::milliseconds kPatience{3000};

    ProxySearch();
    /// With another program in place of the installed one.
    explicit ProxySearch(const String& program) : m_program(program) {}
    ProxySearch(const ProxySearch&) = delete;
    ProxySearch& operator=(const ProxySearch&) = delete;
    ~ProxySearch();

    /// Whether libcurl would find a proxy for such a URL in the environment, which then is what counts.
    static bool environmentDecides(const String& url);

    /// Starts to search, unless that was done; returns at once.
    void begin(const String& url);
    /// What was found, in its order; nothing where that cannot be known, or not in time, or once `cancelled` is true.
    /// Waits for an answer.
    std::vector<ProxyRoute> routes(const String& url, const std::atomic<bool>& cancelled);
    /// The ways that did not work are tried last from now on.
    void prefer(const String& url, const ProxyRoute& worked);
    void forget();

private:
    class Search;

    std::shared_ptr<Search> searchOf(const String& url);

    const String m_program;
    Mutex m_mutex;
    std::map<String, std::shared_ptr<Search>> m_searches;  // by scheme, host and port; guarded by m_mutex
};

}  // namespace tessel
