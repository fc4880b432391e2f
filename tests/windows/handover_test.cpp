// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <wx/app.h>
#include <wx/frame.h>

#include <atomic>
#include <thread>

#include "apps/nebrixclient/gui/clientwxevent.h"
#include "apps/nebrixclient/gui/notificationpanel.h"

namespace nebrix::test {
namespace {

using tessel::ClientStatus;
using tessel::String;

/// What the main frame is to the driver's thread, with a panel of the real kind.
class Receiver final : public wxFrame {
public:
    explicit Receiver(std::vector<int>& seen) : wxFrame(nullptr, wxID_ANY, "receiver"), m_seen(seen) {
        m_panel = new NebrixClientNotificationPanel(this);
        Bind(EVT_TYPE_CLIENTNOTIFY, &Receiver::onStatus, this, ID_CLIENT_STATUS);
        Bind(EVT_TYPE_CLIENTNOTIFY, &NebrixClientNotificationPanel::onVpnStatus, m_panel, ID_CLIENT_VPN_STATUS);
        Bind(EVT_TYPE_CLIENTNOTIFY, &Receiver::onLine, this, ID_CLIENT_VPN_STATUS);
    }
    [[nodiscard]] int lines() const { return m_lines; }
    NebrixClientGuiNotifyHandler& handler() { return m_handler; }

private:
    void onStatus(wxThreadEvent& event) { m_seen.push_back(event.GetInt()); }
    void onLine(wxThreadEvent& event) {
        ++m_lines;
        event.Skip();
    }

    NebrixClientGuiNotifyHandler m_handler{this};
    std::vector<int>& m_seen;
    int m_lines = 0;
    NebrixClientNotificationPanel* m_panel = nullptr;
};

constexpr int kPosts = 20;

void post(NebrixClientGuiNotifyHandler& handler, std::atomic<int>& posted) {
    for (int i = 0; i < kPosts; ++i) {
        handler.onStatus(static_cast<ClientStatus>(100 + i));
        handler.onVpnStatus(String::copy(i % 2 == 0 ? "init" : "connected ip=192.0.2.7"));
        handler.onVpnStatus(String::copy(i % 2 == 0 ? "init" : "connected ip=192.0.2.7"));  // wakes nobody
        handler.onTransfer(static_cast<std::uint64_t>(i), kPosts, false);
        ++posted;
    }
}

/// A thousand frames come and go while a thread posts: those that stay get everything in order, those that are closed
/// in the middle nothing after their end (which the address sanitizer sees).
TEST(HandOver, nothingIsLostAndNothingComesAfterTheEnd) {
    constexpr int kRounds = 1000;
    for (int round = 0; round < kRounds; ++round) {
        std::vector<int> seen;
        auto* const frame = new Receiver(seen);
        std::atomic<int> posted{0};
        std::thread poster([&] { post(frame->handler(), posted); });
        const bool stays = round % 2 == 0;
        while (stays ? seen.size() < kPosts : posted < round % kPosts) {
            wxTheApp->ProcessPendingEvents();
            std::this_thread::yield();  // to the thread, where there is one processor
        }
        poster.join();  // the driver too is waited for before its frame goes
        if (stays) {
            wxTheApp->ProcessPendingEvents();
            ASSERT_EQ(frame->lines(), kPosts);
        }
        for (std::size_t i = 0; i < seen.size(); ++i) {
            ASSERT_EQ(seen[i], 100 + static_cast<int>(i)) << "round " << round;
        }
        frame->Close(true);
        delete frame;
        const std::size_t before = seen.size();
        wxTheApp->ProcessPendingEvents();
        ASSERT_EQ(seen.size(), before) << "round " << round;
    }
}

}  // namespace
}  // namespace nebrix::test
