// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/account.h"

#include <cstddef>

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
        case EndKind::Settings:
            return "settings";
        case EndKind::Internal:
            return "internal";
    }
    return "";
}

namespace {

struct CauseName {
    EndCause cause;
    const char* name;
};

/// In the order of the causes.
constexpr CauseName kCauseNames[] = {
    {EndCause::None, ""},
    {EndCause::Address, "address"},
    {EndCause::RequestTooLong, "request-too-long"},
    {EndCause::Name, "name"},
    {EndCause::NoRoute, "no-route"},
    {EndCause::ConnectionRefused, "connection-refused"},
    {EndCause::Silent, "silent"},
    {EndCause::Proxy, "proxy"},
    {EndCause::Tls, "tls"},
    {EndCause::NotHttp, "not-http"},
    {EndCause::Cut, "cut"},
    {EndCause::TooLarge, "too-large"},
    {EndCause::HttpStatus, "http-status"},
    {EndCause::NoRoom, "no-room"},
    {EndCause::NotJson, "not-json"},
    {EndCause::MissingKey, "missing-key"},
    {EndCause::WrongValue, "wrong-value"},
    {EndCause::Digest, "digest"},
    {EndCause::BadSignature, "bad-signature"},
    {EndCause::Missing, "missing"},
    {EndCause::Unreadable, "unreadable"},
    {EndCause::SelfSigned, "self-signed"},
    {EndCause::UnknownIssuer, "unknown-issuer"},
    {EndCause::Expired, "expired"},
    {EndCause::NotYetValid, "not-yet-valid"},
    {EndCause::OtherName, "other-name"},
    {EndCause::Weak, "weak"},
    {EndCause::Revoked, "revoked"},
    {EndCause::Changed, "changed"},
    {EndCause::NotTheOne, "not-the-one"},
    {EndCause::CertificateWanted, "certificate-wanted"},
    {EndCause::CertificateUnwanted, "certificate-unwanted"},
    {EndCause::Unguarded, "unguarded"},
    {EndCause::WrongPassword, "wrong-password"},
    {EndCause::OtherKey, "other-key"},
    {EndCause::NotLoadable, "not-loadable"},
    {EndCause::MissingEntry, "missing-entry"},
    {EndCause::NoInstance, "no-instance"},
    {EndCause::Older, "older"},
    {EndCause::AskedAtOnce, "asked-at-once"},
    {EndCause::AskedAgain, "asked-again"},
    {EndCause::ResourceFailed, "resource-failed"},
    {EndCause::TextTooLong, "text-too-long"},
    {EndCause::Raised, "raised"},
    {EndCause::Killed, "killed"},
    {EndCause::Exited, "exited"},
    {EndCause::NoAnswer, "no-answer"},
    {EndCause::NotUnderstood, "not-understood"},
    {EndCause::Memory, "memory"},
    {EndCause::System, "system"},
};

constexpr bool complete() {
    std::size_t next = 0;
    for (const CauseName& row : kCauseNames) {
        if (row.cause != static_cast<EndCause>(next++)) {
            return false;
        }
    }
    return next == static_cast<std::size_t>(EndCause::System) + 1;
}
static_assert(complete());

}  // namespace

const char* name(EndCause cause) noexcept { return kCauseNames[static_cast<std::size_t>(cause)].name; }

void SessionAccount::clear() {
    Lock lock(m_mutex);
    m_end = SessionEnd();
    m_olderThan = String();
}

void SessionAccount::noteOlder(const String& last) {
    Lock lock(m_mutex);
    m_olderThan = last;
}

void SessionAccount::record(const SessionEnd& end) {
    Lock lock(m_mutex);
    if (m_end.kind == EndKind::None) {
        m_end = end;
    }
}

SessionEnd SessionAccount::end() const {
    Lock lock(m_mutex);
    SessionEnd end = m_end;
    end.olderThan = m_olderThan;
    return end;
}

}  // namespace tessel
