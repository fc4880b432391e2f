// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>

#include "apps/nebrixclient/componentdownload.h"
#include "apps/nebrixclient/componentstandin.h"
#include "apps/nebrixclient/notify.h"
#include "apps/nebrixclient/stopflag.h"
#include "apps/nebrixclient/subclient.h"

namespace tessel {

class NebrixClient;

/// What the gateway says to a verdict; missing keys leave the defaults.
struct ResponseHostcheckerResult final : IConf {
    bool goOn = false;  ///< "continue"
    String info;

    void keywrite(IKeyReader& reader) override;
};

/// Runs the host checker: fetches, verifies and loads it, then posts its verdict to the gateway again and again, at
/// the gateway's interval, until the gateway says that it is enough.
class NebrixClientHostchecker final : public ISubClient {
public:
    /// All references must outlive this object.
    NebrixClientHostchecker(NebrixClient& client, INebrixClientNotify& notify,
                            ClientHostcheckerDllConfiguration& configuration, DownloadManager& downloadManager,
                            bool download);

    void run(CurlSession& session) override;
    void stop() override { m_stop.request(); }
    void showLogs() override {}

    /// Posts the verdict; whether checking is to go on. What goes wrong is logged and ends the checking.
    bool sendResponse(CurlSession& session, const String& rules);

private:
    void loadDll(const Dll& dll);
    void check(CurlSession& session);
    bool readReply(const String& text, int httpStatus, const String& host);
    [[nodiscard]] unsigned interval() const;

    NebrixClient& m_client;
    INebrixClientNotify& m_notify;
    ClientHostcheckerDllConfiguration& m_configuration;
    DownloadManager& m_downloadManager;
    ComponentDownload m_files;
    std::optional<HostCheckerProcess> m_instance;
    StopFlag m_stop;
};

}  // namespace tessel
