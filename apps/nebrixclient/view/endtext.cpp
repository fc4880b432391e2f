#include "apps/nebrixclient/view/endtext.h"

namespace tessel::view {

namespace {

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
        default:
            return {"CERTIFICATE_NOT_TRUSTED %s", end.host};
    }
}

/// A text with the gateway's own words, or one that says that it gave none.
EndText quoting(const char* words, const char* silent, const SessionEnd& end) {
    return end.text.empty() ? EndText{silent} : EndText{words, end.text};
}

}  // namespace

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
        case EndCause::NotHttp:
        case EndCause::TooLarge:
            return {"CONNECTION_NO_GATEWAY %s", end.host};
        case EndCause::Cut:
            return {"CONNECTION_CUT %s", end.host};
        default:
            return {"CONNECTION_ERROR"};
    }
}

EndText failureText(const SessionEnd& end) {
    switch (end.kind) {
        case EndKind::Refused:
            return quoting("END_REFUSED %s", "END_REFUSED_SILENTLY", end);
        case EndKind::AnswerUnreadable:
            return {"END_ANSWER_UNREADABLE %s", end.host};
        case EndKind::ArchiveMissing:
            return end.cause == EndCause::NoRoom ? EndText{"END_NO_ROOM"} : EndText{"END_ARCHIVE_MISSING %s", end.host};
        case EndKind::NotUnpacked:
            return {"END_NOT_UNPACKED"};
        case EndKind::Signature:
            return {"END_SIGNATURE"};
        case EndKind::ComponentUnusable:
            return {"END_COMPONENT_UNUSABLE"};
        case EndKind::ComponentFailed:
            return {end.cause == EndCause::ResourceFailed ? "END_RESOURCE_FAILED" : "END_COMPONENT_FAILED"};
        case EndKind::HostCheckRefused:
            return quoting("END_HOSTCHECK_REFUSED %s", "END_HOSTCHECK_REFUSED_SILENTLY", end);
        case EndKind::PostLost:
            return {"END_POST_LOST %s", end.host};
        case EndKind::NotWritable:
            return end.cause == EndCause::NoRoom ? EndText{"END_NO_ROOM"} : EndText{"END_NOT_WRITABLE %s", end.path};
        default:
            return {};
    }
}

}  // namespace tessel::view
