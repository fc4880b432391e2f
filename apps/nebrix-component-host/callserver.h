// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>

#include "apps/component/channel.h"
#include "apps/component/hostcheckerdllinstance.h"
#include "apps/component/plugindllinstance.h"
#include "apps/component/protocol.h"
#include "libs/base/log.h"

namespace tessel {

/// Answers the client's calls by calling the component's entries, one after the other, on one thread: the component's
/// contract names it. At most one in a process, since a component is never unloaded.
class CallServer {
public:
    /// Called once, before a library is loaded, with the directory that a host checker may write to, or nothing for a
    /// plug-in.
    using Prepare = std::function<void(const String& directory)>;

    CallServer(Descriptor calls, NebrixDownloadFileTo download, Prepare prepare);
    ~CallServer();
    CallServer(const CallServer&) = delete;
    CallServer& operator=(const CallServer&) = delete;

    /// Until the client has no more to say. Raises EChannel and EProtocol.
    void serve();

private:
    void prepare(const Message& request);
    void answer(Message& call);
    MessageWriter resultOf(Message& call);
    MessageWriter plugin(MessageKind call, MessageReader& reader);
    MessageWriter hostChecker(MessageKind call, MessageReader& reader);
    void loadPlugin(Message& call);
    void loadHostChecker(Message& call);
    void takeLibrary(Message& call, const String& path);

    static void forwardLog(LogCategory category, const String& className, const String& method, const String& text);
    static void forwardEntry(const char* name);

    Channel m_channel;
    const NebrixDownloadFileTo m_download;
    Prepare m_prepare;  // nothing once it was called
    SealedFile m_library;
    std::unique_ptr<PluginDllInstance> m_plugin;
    std::unique_ptr<HostCheckerDllInstance> m_hostChecker;
};

}  // namespace tessel
