// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/hostcheckerclient.h"

#include <limits>

#include "apps/nebrixclient/client.h"
#include "apps/nebrixclient/mediationresponse.h"
#include "apps/nebrixclient/signeddll.h"
#include "apps/nebrixclient/sites.h"
#include "libs/base/log.h"
#include "libs/base/numbers.h"
#include "libs/http/authority.h"
#include "libs/http/uri.h"

namespace tessel {

namespace {

constexpr const char* kClassName = "NebrixClientHostchecker";
constexpr unsigned kMillisecondsPerSecond = 1000;

/// A part of the rules must not pass for the whole.
bool tooLong(const String& rules, SessionAccount& account) {
    if (rules.length() <= kLongestComponentText) {
        return false;
    }
    log(LogCategory::Error, kClassName, "run",
        String("The rules are longer than " + toString(kLongestComponentText) + " bytes: nothing is posted"));
    account.record(
        {.kind = EndKind::ComponentFailed, .cause = EndCause::TextTooLong, .key = NEBRIX_NAME_GET_VALID_RULES});
    return true;
}

}  // namespace

void ResponseHostcheckerResult::keywrite(IKeyReader& reader) {
    ConfReadHelper::readKey(reader, "continue", goOn, false);
    ConfReadHelper::readKey(reader, "info", info, false);
}

NebrixClientHostchecker::NebrixClientHostchecker(NebrixClient& client, INebrixClientNotify& notify,
                                                 ClientHostcheckerDllConfiguration& configuration,
                                                 DownloadManager& downloadManager, bool download)
    : m_client(client),
      m_notify(notify),
      m_configuration(configuration),
      m_downloadManager(downloadManager),
      m_files(client, kClassName, "Hostchecker_", hostcheckerDirectory(), download) {}

void NebrixClientHostchecker::run(CurlSession& session) {
    m_notify.onStatus(ClientStatus::DownloadingComponents);
    const Dll dll = m_configuration.hostcheckerDlls.current();
    ComponentDownload::checkNames(dll);
    m_files.fetch(dll);
    if (m_files.cancelled()) {
        return;
    }
    loadDll(dll);
    m_instance->start(hostcheckerDirectory() + "/", m_configuration.hostname, m_configuration.language);
    m_notify.onStatus(ClientStatus::HostChecking);
    check(session);
    m_instance->stop();
}

void NebrixClientHostchecker::loadDll(const Dll& dll) {
    log(LogCategory::Trace, kClassName, "loadDll", "Load macosx (openssl3) module");
    m_client.component().prepare(hostcheckerDirectory() + "/");
    const VerifiedComponent component = m_files.verify(dll);
    m_instance.emplace(m_client.component(), component.sealed);
    m_files.remember(component);
    log(LogCategory::Trace, kClassName, "loadDll", "Module loaded");
}

void NebrixClientHostchecker::check(CurlSession& session) {
    while (!m_stop.requested()) {
        const String rules = m_instance->getValidRules(m_configuration.hostcheckingrequest);
        if (tooLong(rules, m_client.account()) || !sendResponse(session, rules)) {
            return;
        }
        if (IProgressNotify* const progress = m_downloadManager.progress(); progress != nullptr) {
            progress->onNextHostCheck(interval());
        }
        if (m_stop.wait(interval())) {
            return;
        }
    }
}

unsigned NebrixClientHostchecker::interval() const {
    constexpr unsigned kLongest = std::numeric_limits<int>::max() / kMillisecondsPerSecond;
    const unsigned seconds = m_configuration.hostcheckingtimer;
    if (seconds == 0) {
        return kMillisecondsPerSecond;
    }
    return (seconds < kLongest ? seconds : kLongest) * kMillisecondsPerSecond;
}

bool NebrixClientHostchecker::sendResponse(CurlSession& session, const String& rules) {
    Memory body;
    const String url = m_downloadManager.resolve(m_configuration.responseurl);
    RequestInfo info;
    const String host = http::Authority(http::Uri::parse(url).getAuthority()).getServer();
    if (!session.request(url, body, "rulesChecked=" + http::Uri::encode(rules), info)) {
        log(LogCategory::Error, kClassName, "run", "Error while sending response");
        m_client.account().record(endOf(info, EndKind::PostLost, host));
        return false;
    }
    return readReply(String(body), info.getResponseHeader().getResponseCode(), host);
}

bool NebrixClientHostchecker::readReply(const String& text, int httpStatus, const String& host) {
    SessionAccount& account = m_client.account();
    try {
        MediationResponse response{text};
        if (!response.success()) {
            log(LogCategory::Error, kClassName, "main", response.exception());
            account.record({.kind = EndKind::HostCheckRefused,
                            .host = host,
                            .httpStatus = httpStatus,
                            .text = response.exception()});
            return false;
        }
        ResponseHostcheckerResult result;
        ConfReadHelper::readKey(response.reader(), "result", result, true);
        if (!result.info.empty()) {
            log(LogCategory::Trace, kClassName, "sendResponse", result.info);
        }
        if (!result.goOn) {
            account.record({.kind = EndKind::Gateway, .host = host});
        }
        return result.goOn;
    } catch (const Exception& caught) {
        // EMediationResponse, or a result whose values have not their types.
        logCaught(caught, sites::kHostcheckerCatch);
        log(LogCategory::Error, kClassName, "run", "Bad response from mediation");
        SessionEnd end = endOf(caught);
        end.kind = EndKind::PostLost;
        end.host = host;
        end.httpStatus = httpStatus;
        account.record(end);
        return false;
    }
}

}  // namespace tessel
