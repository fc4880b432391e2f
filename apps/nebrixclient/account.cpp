#include "apps/nebrixclient/account.h"

namespace tessel {

bool SessionEnd::wanted() const noexcept {
    return kind == EndKind::User || kind == EndKind::Component || kind == EndKind::Gateway;
}

bool SessionEnd::unreachable() const noexcept {
    switch (kind) {
        case EndKind::Unreachable:
        case EndKind::Certificate:
            return true;
        case EndKind::PostLost:
            return cause >= EndCause::Name && cause <= EndCause::Cut;
        default:
            return false;
    }
}

const char* name(EndKind kind) noexcept {
    switch (kind) {
        case EndKind::None:
            break;
        case EndKind::User:
            return "user";
        case EndKind::Component:
            return "component";
        case EndKind::Gateway:
            return "gateway";
        case EndKind::Unreachable:
            return "unreachable";
        case EndKind::Certificate:
            return "certificate";
        case EndKind::Refused:
            return "refused";
        case EndKind::AnswerUnreadable:
            return "answer-unreadable";
        case EndKind::ArchiveMissing:
            return "archive-missing";
        case EndKind::NotUnpacked:
            return "not-unpacked";
        case EndKind::Signature:
            return "signature";
        case EndKind::ComponentUnusable:
            return "component-unusable";
        case EndKind::ComponentFailed:
            return "component-failed";
        case EndKind::HostCheckRefused:
            return "host-check-refused";
        case EndKind::PostLost:
            return "post-lost";
        case EndKind::NotWritable:
            return "not-writable";
        case EndKind::Internal:
            return "internal";
    }
    return "";
}

const char* name(EndCause cause) noexcept {
    switch (cause) {
        case EndCause::None:
            break;
        case EndCause::Address:
            return "address";
        case EndCause::RequestTooLong:
            return "request-too-long";
        case EndCause::Name:
            return "name";
        case EndCause::NoRoute:
            return "no-route";
        case EndCause::ConnectionRefused:
            return "connection-refused";
        case EndCause::Silent:
            return "silent";
        case EndCause::Proxy:
            return "proxy";
        case EndCause::Tls:
            return "tls";
        case EndCause::NotHttp:
            return "not-http";
        case EndCause::Cut:
            return "cut";
        case EndCause::TooLarge:
            return "too-large";
        case EndCause::HttpStatus:
            return "http-status";
        case EndCause::NoRoom:
            return "no-room";
        case EndCause::NotJson:
            return "not-json";
        case EndCause::MissingKey:
            return "missing-key";
        case EndCause::WrongValue:
            return "wrong-value";
        case EndCause::Digest:
            return "digest";
        case EndCause::BadSignature:
            return "bad-signature";
        case EndCause::Missing:
            return "missing";
        case EndCause::Unreadable:
            return "unreadable";
        case EndCause::SelfSigned:
            return "self-signed";
        case EndCause::UnknownIssuer:
            return "unknown-issuer";
        case EndCause::Expired:
            return "expired";
        case EndCause::NotYetValid:
            return "not-yet-valid";
        case EndCause::OtherName:
            return "other-name";
        case EndCause::Weak:
            return "weak";
        case EndCause::Revoked:
            return "revoked";
        case EndCause::NotLoadable:
            return "not-loadable";
        case EndCause::MissingEntry:
            return "missing-entry";
        case EndCause::NoInstance:
            return "no-instance";
        case EndCause::AskedAtOnce:
            return "asked-at-once";
        case EndCause::AskedAgain:
            return "asked-again";
        case EndCause::ResourceFailed:
            return "resource-failed";
        case EndCause::TextTooLong:
            return "text-too-long";
        case EndCause::Raised:
            return "raised";
        case EndCause::Memory:
            return "memory";
        case EndCause::System:
            return "system";
    }
    return "";
}

void SessionAccount::clear() {
    Lock lock(m_mutex);
    m_end = SessionEnd();
}

void SessionAccount::record(const SessionEnd& end) {
    Lock lock(m_mutex);
    if (m_end.kind == EndKind::None) {
        m_end = end;
    }
}

SessionEnd SessionAccount::end() const {
    Lock lock(m_mutex);
    return m_end;
}

}  // namespace tessel
