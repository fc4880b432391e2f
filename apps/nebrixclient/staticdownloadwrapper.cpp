// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/staticdownloadwrapper.h"

#include "apps/nebrixclient/downloadmanager.h"
#include "apps/nebrixclient/sites.h"
#include "libs/base/log.h"

namespace tessel {

std::shared_mutex StaticDownloadWrapper::m_mutex;
DownloadManager* StaticDownloadWrapper::m_downloadManager = nullptr;

namespace {

String argument(const char* text) { return text == nullptr ? String() : String::copy(text); }

}  // namespace

bool StaticDownloadWrapper::downloadFileTo(const char* url, const char* localPath) noexcept {
    try {
        std::shared_lock lock(m_mutex);
        if (m_downloadManager == nullptr) {
            log(LogCategory::Error, "StaticDownloadWrapper", "downloadFromConfig",
                "StaticDownloadWrapper is not configured !");
            return false;
        }
        return m_downloadManager->downloadFileTo(argument(url), argument(localPath));
    } catch (const Exception& caught) {
        logCaught(caught, sites::kDownloadCallbackCatch);
    } catch (...) {
        log(LogCategory::Error, "StaticDownloadWrapper", "downloadFileTo", "unhandled exception");
    }
    return false;
}

void StaticDownloadWrapper::set(DownloadManager& manager) {
    std::unique_lock lock(m_mutex);
    m_downloadManager = &manager;
}

void StaticDownloadWrapper::unset(const DownloadManager& manager) {
    std::unique_lock lock(m_mutex);
    if (m_downloadManager == &manager) {
        m_downloadManager = nullptr;
    }
}

}  // namespace tessel
