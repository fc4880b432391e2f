// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/gui/xsmpclient.h"

#include <X11/SM/SMlib.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <string>
#include <utility>

#include "libs/base/log.h"
#include "libs/base/thread.h"

namespace nebrix::gui {
namespace {

constexpr unsigned long kLeaveMilliseconds = 200;
constexpr const char* kProgram = "nebrixclient";

/// One text of the protocol's properties; libSM reads it only.
SmPropValue valueOf(std::string& text) { return {static_cast<int>(text.size()), text.data()}; }

/// What the protocol demands of every client. The command to start it again is without the argument, a secret.
void describe(SmcConn connection) {
    std::string program = kProgram;
    std::string user = std::to_string(::getuid());
    std::string never(1, static_cast<char>(SmRestartNever));
    std::array<std::string, 5> names{SmProgram, SmCloneCommand, SmRestartCommand, SmUserID, SmRestartStyleHint};
    std::array<std::string, 5> types{SmARRAY8, SmLISTofARRAY8, SmLISTofARRAY8, SmARRAY8, SmCARD8};
    std::array<SmPropValue, 5> values{valueOf(program), valueOf(program), valueOf(program), valueOf(user),
                                      valueOf(never)};
    std::array<SmProp, 5> properties{};
    std::array<SmProp*, 5> pointers{};
    for (std::size_t i = 0; i < properties.size(); ++i) {
        properties[i] = {names[i].data(), types[i].data(), 1, &values[i]};
        pointers[i] = &properties[i];
    }
    SmcSetProperties(connection, static_cast<int>(pointers.size()), pointers.data());
}

/// There is nothing to save: the manager need not wait.
void saveYourself(SmcConn connection, SmPointer, int, Bool, int, Bool) {
    describe(connection);
    SmcSaveYourselfDone(connection, True);
}

void nothing(SmcConn, SmPointer) {}

/// libICE's and libSM's own handlers end the program.
void surviveErrors() {
    IceSetIOErrorHandler([](IceConn) {});
    IceSetErrorHandler([](IceConn, Bool, int, unsigned long, int, int, IcePointer) {});
    SmcSetErrorHandler([](SmcConn, Bool, int, unsigned long, int, int, SmPointer) {});
}

}  // namespace

/// The thread and all that it shares.
class XsmpClient::Speaker final : public tessel::Thread {
public:
    Speaker(GuiCalls::Sender gui, std::function<void()> ended)
        : Thread("xsmp", 0, false), m_gui(std::move(gui)), m_ended(std::move(ended)) {}
    ~Speaker() override {
        join();
        ::close(m_wake);
    }

    /// Whether the thread has ended in time.
    bool leave() {
        ::eventfd_write(m_wake, 1);
        return join(kLeaveMilliseconds);
    }

protected:
    void main() override {
        surviveErrors();
        if (SmcConn connection = open()) {
            serve(connection);
            IceSetShutdownNegotiation(SmcGetIceConnection(connection), False);
            SmcCloseConnection(connection, 0, nullptr);
        }
    }

private:
    SmcConn open() {
        SmcCallbacks callbacks{};
        callbacks.save_yourself.callback = saveYourself;
        callbacks.die = {die, this};
        callbacks.save_complete.callback = nothing;
        callbacks.shutdown_cancelled.callback = nothing;
        constexpr unsigned long kAll =
            SmcSaveYourselfProcMask | SmcDieProcMask | SmcSaveCompleteProcMask | SmcShutdownCancelledProcMask;
        char* id = nullptr;
        char error[256] = "";
        SmcConn connection = SmcOpenConnection(nullptr, nullptr, SmProtoMajor, SmProtoMinor, kAll, &callbacks, nullptr,
                                               &id, sizeof error, error);
        std::free(id);
        if (connection == nullptr) {
            tessel::log(tessel::LogCategory::Trace, "XsmpClient", "open", error);
        }
        return connection;
    }

    void serve(SmcConn connection) {
        IceConn ice = SmcGetIceConnection(connection);
        ::fcntl(IceConnectionNumber(ice), F_SETFD, FD_CLOEXEC);
        pollfd sources[] = {{IceConnectionNumber(ice), POLLIN, 0}, {m_wake, POLLIN, 0}};
        for (;;) {
            if (::poll(sources, std::size(sources), -1) < 0) {
                if (errno == EINTR) {
                    continue;
                }
                return;
            }
            if (sources[1].revents != 0 ||
                (sources[0].revents != 0 && IceProcessMessages(ice, nullptr, nullptr) != IceProcessMessagesSuccess)) {
                return;
            }
        }
    }

    static void die(SmcConn, SmPointer speaker) {
        const Speaker& self = *static_cast<Speaker*>(speaker);
        self.m_gui.post(self.m_ended);
    }

    const GuiCalls::Sender m_gui;
    const std::function<void()> m_ended;
    const int m_wake = ::eventfd(0, EFD_CLOEXEC);
};

XsmpClient::XsmpClient(std::function<void()> ended) {
    if (const char* manager = std::getenv("SESSION_MANAGER"); manager != nullptr && *manager != '\0') {
        m_speaker = std::make_unique<Speaker>(m_calls.sender(), std::move(ended));
        try {
            m_speaker->launch();
        } catch (const tessel::EThread&) {
            m_speaker.reset();  // the log has it; other ways to hear of the session's end are left
        }
    }
}

XsmpClient::~XsmpClient() {
    if (m_speaker != nullptr && !m_speaker->leave()) {
        static_cast<void>(m_speaker.release());  // its thread uses it until the process ends
    }
}

}  // namespace nebrix::gui
