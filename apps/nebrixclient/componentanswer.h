// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdexcept>

#include "apps/component/channel.h"
#include "apps/component/protocol.h"

namespace tessel {

/// What left an entry of a component, although nothing may: its words, if it had any.
class ComponentException : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// What a call returned.
struct ComponentAnswer {
    int number;
    String text;
};

/// The host's first word, which says that it is of this version. Raises EProtocol, and EChannel when it is gone.
void meetComponentHost(Channel& host);

/// Everything up to the end of the answer to a call. Log lines are logged, under one of the classes that load
/// components or as the component's, and `entry` names the last entry that was begun. Raises what kept a component from
/// being loaded (EModuleLoader, EPluginDllInstance, EFile), ComponentException, EProtocol for what is no answer, and
/// EChannel when the host is gone.
ComponentAnswer readComponentAnswer(Channel& host, String& entry);

}  // namespace tessel
