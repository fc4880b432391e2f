// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/mediationresponse.h"

#include "apps/nebrixclient/sites.h"

namespace tessel {

namespace {

json::JSONWrapperFromString parse(const String& text) {
    try {
        return json::JSONWrapperFromString(text);
    } catch (const json::EJsonError& caught) {
        logCaught(caught, sites::kMediationNotJson);
        raise<EMediationResponse>("EMediationResponse", sites::kMediationNotJson, {.words = "JSON"});
    }
}

[[noreturn]] void raiseMissingKey(const Exception& caught) {
    logCaught(caught, sites::kMediationMissingKey);
    raise<EMediationResponse>("EMediationResponse", sites::kMediationMissingKey, caught.facts());
}

}  // namespace

MediationResponse::MediationResponse(const String& text) : m_json(parse(text)) {
    try {
        keywrite(reader());
    } catch (const EConfMissingKey& caught) {
        raiseMissingKey(caught);
    } catch (const EKeyReader& caught) {
        raiseMissingKey(caught);
    }
}

void MediationResponse::keywrite(IKeyReader& reader) {
    ConfReadHelper::readKey(reader, "success", m_success, true);
    ConfReadHelper::readKey(reader, "code", m_code, false);
    ConfReadHelper::readKey(reader, "exception", m_exception, false);
    ConfReadHelper(reader).get("result", true);
}

}  // namespace tessel
