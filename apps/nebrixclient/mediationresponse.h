// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/confhelper.h"
#include "libs/json/jsonerrors.h"
#include "libs/json/jsonreader.h"
#include "libs/json/jsonwrapper.h"

namespace tessel {

/// An answer of the gateway's mediation service is not what it must be.
TESSEL_EXCEPTION(EMediationResponse, Exception);

/// The gateway's answer to the mediation request, and to a host check's verdict: a JSON object with "success",
/// optional "code" and "exception", and "result". Used by one thread.
class MediationResponse final : public IConf {
public:
    /// Parses and reads. Raises EMediationResponse for a text that is not JSON, for a missing "success" or "result"
    /// (looked for in a refusal too) and for one of these that has not its type.
    explicit MediationResponse(const String& text);

    void keywrite(IKeyReader& reader) override;

    [[nodiscard]] bool success() const noexcept { return m_success; }
    /// Carried, not interpreted.
    [[nodiscard]] unsigned code() const noexcept { return m_code; }
    /// Why the gateway refuses.
    [[nodiscard]] const String& exception() const noexcept { return m_exception; }
    /// The whole document; belongs to this object.
    IKeyReader& reader() { return *m_json.getReader(); }

private:
    bool m_success = false;
    unsigned m_code = 0;
    String m_exception;
    json::JSONWrapperFromString m_json;
};

}  // namespace tessel
