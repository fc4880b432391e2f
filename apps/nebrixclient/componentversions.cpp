// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/componentversions.h"

#include "apps/nebrixclient/client.h"
#include "apps/nebrixclient/rememberedcomponents.h"
#include "apps/nebrixclient/sites.h"
#include "libs/base/datetime.h"
#include "libs/base/log.h"

namespace tessel {

namespace {

constexpr bool kBuildRefusesOlder = NEBRIX_REFUSE_OLDER_COMPONENTS != 0;
constexpr std::time_t kDay = 24L * 60 * 60;

/// Whether the signed name is that of the announced library, with or without "lib" and ".so", or of the type.
bool agrees(const String& signedName, const String& pattern, const String& type) {
    return signedName == pattern || signedName == type || "lib" + signedName + ".so" == pattern;
}

bool inTheFuture(const DateTime& date) { return date.seconds() - DateTime::now().seconds() > kDay; }

}  // namespace

ComponentVersions::ComponentVersions(NebrixClient& client, const char* className, String type)
    : m_client(client), m_className(className), m_type(std::move(type)) {}

void ComponentVersions::warn(const String& text) const { log(LogCategory::Warning, m_className, "verify", text); }

void ComponentVersions::judge(const Dll& announced, const VerifiedComponent& component) const {
    compareAnnounced(announced, component.infos);
    compareLast(component.sealed.path(), component.infos);
}

void ComponentVersions::compareAnnounced(const Dll& announced, const DllInfos& infos) const {
    if (!(announced.version == infos.version)) {
        warn("The gateway announces version " + announced.version + " of " + announced.pattern +
             ", which is signed as " + infos.version);
    }
    if (!agrees(infos.name, announced.pattern, m_type)) {
        warn("The gateway announces " + announced.pattern + " as " + m_type + ", which is signed as " + infos.name);
    }
}

void ComponentVersions::compareLast(const String& library, const DllInfos& infos) const {
    const auto date = DateTime::parse(infos.signdate);
    if (!date) {
        warn("The signing date of " + library + " cannot be compared: " + infos.signdate);
    } else if (inTheFuture(*date)) {
        warn(library + " was signed in the future: " + infos.signdate);
    }
    const auto known = RememberedComponents::load(RememberedComponents::defaultPath());
    const DllInfos* const last = known.find(m_client.getServer().lower(), m_type);
    const auto lastDate = last == nullptr ? std::nullopt : DateTime::parse(last->signdate);
    if (!lastDate || (date && date->seconds() >= lastDate->seconds())) {
        return;
    }
    const String before = last->version + " of " + last->signdate;
    const char* const relation = date ? ", older than what ran last: " : ", not comparable with what ran last: ";
    warn(library + " is " + infos.version + " of " + infos.signdate + relation + before);
    m_client.account().noteOlder(before);
    if (kBuildRefusesOlder || m_client.localConfiguration().getRefuseOlder()) {
        m_client.account().record(
            {.kind = EndKind::ComponentUnusable, .cause = EndCause::Older, .path = library, .text = infos.signdate});
        raise<EOlderComponent>("EOlderComponent", sites::kOlderComponent);
    }
}

void ComponentVersions::remember(const DllInfos& infos) const {
    const auto date = DateTime::parse(infos.signdate);
    if (date && !inTheFuture(*date)) {
        RememberedComponents::remember(RememberedComponents::defaultPath(), m_client.getServer().lower(), m_type,
                                       infos);
    }
}

}  // namespace tessel
