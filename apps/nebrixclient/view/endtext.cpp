// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/view/endtext.h"

#include "apps/nebrixclient/view/displaytext.h"

namespace tessel::view {

namespace {

constexpr int kNotFound = 404;  // RFC 9110

EndText certificateText(const SessionEnd& end) {
    switch (end.cause) {
        case EndCause::SelfSigned:
            return {"CERTIFICATE_SELF_SIGNED %s", end.host};
        case EndCause::UnknownIssuer:
            return {"CERTIFICATE_UNKNOWN_ISSUER %s", end.host};
        case EndCause::Expired:
            return {"CERTIFICATE_EXPIRED %s", end.host};
        case EndCause::NotYetValid:
            return {"CERTIFICATE_NOT_YET_VALID %s", end.host};
        case EndCause::OtherName:
            return {"CERTIFICATE_OTHER_NAME %s", end.host};
        case EndCause::Weak:
            return {"CERTIFICATE_WEAK %s", end.host};
        case EndCause::Revoked:
            return {"CERTIFICATE_REVOKED %s", end.host};
        case EndCause::Changed:
            return {"CERTIFICATE_CHANGED %s", end.host};
        default:
            return {"CERTIFICATE_NOT_TRUSTED %s", end.host};
    }
}

EndText archiveText(const SessionEnd& end) {
    if (end.cause == EndCause::NoRoom) {
        return {"END_NO_ROOM"};
    }
    return {end.httpStatus == kNotFound ? "END_ARCHIVE_NOT_FOUND %s" : "END_ARCHIVE_MISSING %s", end.host};
}

EndText internalText(const SessionEnd& end) {
    const bool tooLittle = end.cause == EndCause::Memory || end.cause == EndCause::System;
    return tooLittle ? EndText{"END_TOO_LITTLE"} : EndText{};
}

EndText settingsText(const SessionEnd& end) {
    switch (end.cause) {
        case EndCause::Missing:
            return {"END_FILE_MISSING %s", shown(end.path)};
        case EndCause::WrongPassword:
            return {"END_KEY_PASSWORD %s", shown(end.path)};
        case EndCause::OtherKey:
            return {"END_KEY_OTHER %s", shown(end.path)};
        case EndCause::Expired:
            return {"END_CLIENT_CERTIFICATE_EXPIRED %s", shown(end.path)};
        default:
            return {"END_SETTINGS %s", shown(end.path)};
    }
}

/// A text with the gateway's own words, or one that says that it gave none.
EndText quoting(const char* words, const char* silent, const SessionEnd& end) {
    return end.text.empty() ? EndText{silent} : EndText{words, shown(end.text)};
}

EndText componentText(EndCause cause) {
    switch (cause) {
        case EndCause::ResourceFailed:
            return {"END_RESOURCE_FAILED"};
        case EndCause::Killed:
        case EndCause::Exited:
            return {"END_COMPONENT_GONE"};
        case EndCause::NoAnswer:
            return {"END_COMPONENT_SILENT"};
        default:
            return {"END_COMPONENT_FAILED"};
    }
}

}  // namespace

String shown(const String& text) {
    constexpr unsigned kLongest = 200;
    return forLabel(text, kLongest);
}

EndText connectionErrorText(const SessionEnd& end) {
    if (end.kind == EndKind::Certificate) {
        return certificateText(end);
    }
    switch (end.cause) {
        case EndCause::Address:
        case EndCause::RequestTooLong:
            return {"CONNECTION_BAD_LINK"};
        case EndCause::Name:
            return {"CONNECTION_NO_NAME %s", end.host};
        case EndCause::NoRoute:
            return {"CONNECTION_NO_ROUTE %s", end.host};
        case EndCause::ConnectionRefused:
            return {"CONNECTION_REFUSED %s", end.host};
        case EndCause::Silent:
            return {"CONNECTION_SILENT %s", end.host};
        case EndCause::Proxy:
            return {"CONNECTION_PROXY %s", end.host};
        case EndCause::Tls:
            return {"CONNECTION_TLS %s", end.host};
        case EndCause::CertificateWanted:
            return {"CONNECTION_CLIENT_CERTIFICATE %s", end.host};
        case EndCause::CertificateUnwanted:
            return {"CONNECTION_CLIENT_CERTIFICATE_REFUSED %s", end.host};
        case EndCause::NotHttp:
        case EndCause::TooLarge:
            return {"CONNECTION_NO_GATEWAY %s", end.host};
        case EndCause::Cut:
            return {"CONNECTION_CUT %s", end.host};
        case EndCause::Memory:
        case EndCause::System:
            return {"CONNECTION_TOO_LITTLE"};
        default:
            return {"CONNECTION_ERROR"};
    }
}

EndText failureText(const SessionEnd& end) {
    switch (end.kind) {
        case EndKind::Certificate:  // a component's host, or the host check's
            return certificateText(end);
        case EndKind::Refused:
            return quoting("END_REFUSED %s", "END_REFUSED_SILENTLY", end);
        case EndKind::AnswerUnreadable:
            return {"END_ANSWER_UNREADABLE %s", end.host};
        case EndKind::ArchiveMissing:
            return archiveText(end);
        case EndKind::NotUnpacked:
            return {"END_NOT_UNPACKED"};
        case EndKind::Signature:
            return {"END_SIGNATURE"};
        case EndKind::ComponentUnusable:
            return {end.cause == EndCause::Older ? "END_COMPONENT_OLDER" : "END_COMPONENT_UNUSABLE"};
        case EndKind::ComponentFailed:
            return componentText(end.cause);
        case EndKind::HostCheckRefused:
            return quoting("END_HOSTCHECK_REFUSED %s", "END_HOSTCHECK_REFUSED_SILENTLY", end);
        case EndKind::PostLost:
            return {"END_POST_LOST %s", end.host};
        case EndKind::NotWritable:
            return end.cause == EndCause::NoRoom ? EndText{"END_NO_ROOM"}
                                                 : EndText{"END_NOT_WRITABLE %s", shown(end.path)};
        case EndKind::Unreachable:  // told by a page in place of an answer
            return connectionErrorText(end);
        case EndKind::Settings:
            return settingsText(end);
        case EndKind::Internal:
            return internalText(end);
        default:
            return {};
    }
}

}  // namespace tessel::view
