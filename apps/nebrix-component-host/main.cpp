// SPDX-License-Identifier: Apache-2.0
// The process that one session's component runs in: no window, no network and nothing of the session, but what the
// client says over the two connections that it starts this program with.
//
// Threads: the main thread calls the component's entries; the component's own threads are its own, and meet ours only
// in the download callback.

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <new>

#include "apps/component/sites.h"
#include "apps/nebrix-component-host/callserver.h"
#include "apps/nebrix-component-host/confinement.h"
#include "apps/nebrix-component-host/downloadclient.h"
#include "libs/base/log.h"
#include "libs/base/platform.h"

namespace tessel {
namespace {

constexpr int kUsage = 2;
constexpr int kConversationFailed = 1;

/// What this program starts for the component, and the component itself, gets neither connection.
bool keepToOurselves(int descriptor) { return ::fcntl(descriptor, F_SETFD, FD_CLOEXEC) == 0; }

/// Before a component is loaded. The client's texts are waited for no longer when it is gone.
void prepare(const String& directory, const HostOptions& options) {
    for (const String& lacking : confine(directory, options)) {
        log(LogCategory::Warning, "Component", "confine", lacking);
    }
    if (!watchMemory(options.memoryMiB)) {
        log(LogCategory::Warning, "Component", "confine", "no thread can be had that watches the component's memory");
    }
    if (options.debugger && !waitForDebugger(kCallsDescriptor)) {
        raise<EChannel>("EChannel", sites::kChannelReceive);
    }
}

int serve(const HostOptions& options) {
    try {
        DownloadClient::use(Descriptor(kDownloadsDescriptor));
        CallServer server(Descriptor(kCallsDescriptor), &DownloadClient::downloadFileTo,
                          [&](const String& directory) { prepare(directory, options); });
        server.serve();
        return 0;
    } catch (const EChannel&) {
        return 0;  // the client is gone
    } catch (const Exception& caught) {
        std::fprintf(stderr, "nebrix-component-host: %s\n", caught.toString().str());
    } catch (const std::bad_alloc&) {
        std::fputs("nebrix-component-host: memory has ended\n", stderr);
    }
    return kConversationFailed;
}

}  // namespace
}  // namespace tessel

int main(int argc, char** argv) {
    using namespace tessel;
    platform::endWithParent();
    if (!keepToOurselves(kCallsDescriptor) || !keepToOurselves(kDownloadsDescriptor)) {
        std::fputs("nebrix-component-host: is started by the client, for one component\n", stderr);
        return kUsage;
    }
    // A component's lines are to come while it runs, and when it ends badly.
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    const int status = serve(readHostOptions(argc, argv));
    // The component's threads may still run: nothing is taken down under them.
    _exit(status);
}
