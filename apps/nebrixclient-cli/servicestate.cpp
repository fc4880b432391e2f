// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient-cli/servicestate.h"

#include "apps/nebrixclient-cli/eventline.h"
#include "libs/base/printable.h"
#include "sdk/include/nebrix_component.h"

namespace tessel {

String ServiceState::message(const String& status, bool ready) {
    String text;
    if (ready && !m_ready) {
        m_ready = true;
        text += "READY=1\n";
    }
    if (m_status != status) {
        m_status = status;
        text += "STATUS=" + printable(status) + "\n";
    }
    return text;
}

String ServiceState::onStatus(ClientStatus status) {
    if (status == ClientStatus::SessionOver) {
        return {};  // the end tells more
    }
    return message(eventline::nameOf(status), status == ClientStatus::HostChecking);
}

String ServiceState::onVpn(const String& line) {
    // A poll without a line says nothing new.
    return line.empty() ? String() : message(line, line.starts(NEBRIX_STATUS_CONNECTED));
}

String ServiceState::onEnd(const SessionEnd& end, bool wanted) { return message(describe(end), wanted); }

}  // namespace tessel
