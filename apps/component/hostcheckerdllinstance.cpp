// SPDX-License-Identifier: Apache-2.0
#include "apps/component/hostcheckerdllinstance.h"

#include "apps/component/plugindllinstance.h"

namespace tessel {

HostCheckerDllInstance::HostCheckerDllInstance(const LibrarySource& library)
    : m_loader(library),
      m_init(m_loader.entry<NebrixInitHostCheckerDll>(NEBRIX_NAME_INIT_HOST_CHECKER)),
      m_close(m_loader.entry<NebrixCloseHostCheckerDll>(NEBRIX_NAME_CLOSE_HOST_CHECKER)),
      m_getValidRules(m_loader.entry<NebrixGetValidRules>(NEBRIX_NAME_GET_VALID_RULES)) {}

void HostCheckerDllInstance::start(const String& directory, const String& hostname, const String& language) {
    m_init("", "", directory.str(), hostname.str(), language.str());
}

void HostCheckerDllInstance::stop() { m_close(); }

String HostCheckerDllInstance::getValidRules(const String& request) {
    return copyComponentText(m_getValidRules(request.str()), kLongestComponentText + 1);
}

}  // namespace tessel
