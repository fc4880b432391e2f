// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/account.h"
#include "apps/nebrixclient/certificatewords.h"
#include "libs/base/numbers.h"

// The account as a sentence.
namespace tessel {

namespace {

String quoted(const String& text) { return "\"" + text + "\""; }

/// "FIRST: SECOND", or FIRST alone.
String with(const String& first, const String& second) {
    return second.empty() ? first : String(first + ": " + second);
}

String said(const String& what, const String& text) {
    return text.empty() ? String(what + " and gave no reason") : String(what + ": " + quoted(text));
}

/// What went wrong with a request, after "... could not be ...: "; empty where the kind says it all.
String requestWords(const SessionEnd& end) {
    switch (end.cause) {
        case EndCause::Address:
            return "the link is no address that can be asked";
        case EndCause::RequestTooLong:
            return "the link is longer than can be sent";
        case EndCause::Name:
            return "no address is known for this name";
        case EndCause::NoRoute:
            return "no network leads there";
        case EndCause::ConnectionRefused:
            return "the connection was refused";
        case EndCause::Silent:
            return "no answer came";
        case EndCause::Proxy:
            return end.httpStatus == 0 ? String("the proxy could not be used")
                                       : String("the proxy refused with HTTP status " + toString(end.httpStatus));
        case EndCause::Tls:
            return "no secure connection could be agreed on";
        case EndCause::CertificateWanted:
            return "it asks for a client certificate, and there is none";
        case EndCause::CertificateUnwanted:
            return "it does not accept the client certificate";
        case EndCause::NotHttp:
            return "what answered does not speak HTTP";
        case EndCause::Cut:
            return "the connection was cut";
        case EndCause::TooLarge:
            return "it is larger than allowed";
        case EndCause::HttpStatus:
            return "HTTP status " + toString(end.httpStatus);
        case EndCause::NoRoom:
            return "there is no room on the disk";
        case EndCause::NotJson:
        case EndCause::MissingKey:
        case EndCause::WrongValue:
            return "the answer could not be understood";
        case EndCause::Memory:
        case EndCause::System:
            return "this machine gives the program too little";
        default:
            return {};
    }
}

String request(const String& what, const SessionEnd& end) { return with(with(what, requestWords(end)), end.text); }

String certificateWords(const SessionEnd& end) {
    const String flaws = end.peer != nullptr ? flawsInWords(*end.peer) : flawInWords(end.cause);
    return with(with("the certificate of " + end.host + " is not trusted", flaws),
                end.certificate.empty() ? end.text : end.certificate);
}

String answerWords(const SessionEnd& end) {
    const String answer = "the answer of " + end.host;
    switch (end.cause) {
        case EndCause::NotJson:
            return answer + " is not JSON" +
                   (end.httpStatus == 0 ? String() : String(" (HTTP status " + toString(end.httpStatus) + ")"));
        case EndCause::MissingKey:
            return answer + " lacks " + quoted(end.key);
        case EndCause::WrongValue:
            return end.text.empty() ? String("in " + answer + " " + quoted(end.key) + " cannot be used")
                                    : String("in " + answer + " " + quoted(end.key) + " must be " + end.text);
        default:
            return request(answer + " could not be read", end);
    }
}

String signatureWords(const SessionEnd& end) {
    switch (end.cause) {
        case EndCause::Digest:
            return end.path + " is not the library that was signed";
        case EndCause::BadSignature:
            return "the signature of " + end.path + " is not valid";
        case EndCause::Missing:
            return "the signature file " + end.path + " is missing";
        default:
            return "the signature file " + end.path + " cannot be read";
    }
}

String during(const String& entry) { return entry.empty() ? String(" between two calls") : String(" in " + entry); }

String componentWords(const SessionEnd& end) {
    switch (end.cause) {
        case EndCause::MissingEntry:
            return with("the component lacks the entry " + end.key, end.text);
        case EndCause::NoInstance:
            return "the component gives no instance";
        case EndCause::Older:
            return "the component " + end.path + " of " + end.text + " is refused";
        case EndCause::AskedAtOnce:
            return "the component asked for the end at once, reason " + toString(end.number);
        case EndCause::AskedAgain:
            return "the component asked for the end, reason " + toString(end.number);
        case EndCause::ResourceFailed:
            return "the component could not open the resource, result " + toString(end.number);
        case EndCause::TextTooLong:
            return "the component's answer to " + end.key + " is longer than allowed";
        case EndCause::Raised:
            return with("the component failed in " + end.key, end.text);
        case EndCause::Killed:
        case EndCause::Exited:
            return with("the component's process ended" + during(end.key), end.text);
        case EndCause::Memory:
            return "the component took more memory than it may have, " + toString(end.number) + " MiB";
        case EndCause::NoAnswer:
            return "the component did not answer" + during(end.key);
        case EndCause::NotUnderstood:
            return "the component's process said what cannot be understood" + during(end.key);
        case EndCause::NotLoadable:
            return with("the component cannot be loaded", end.text);
        default:
            return "the component has done its work";
    }
}

String internalWords(EndCause cause) {
    switch (cause) {
        case EndCause::Memory:
            return "this machine gives the program too little memory";
        case EndCause::System:
            return "this machine gives the program too little";
        default:
            return "an unexpected error";
    }
}

String sentence(const SessionEnd& end) {
    switch (end.kind) {
        case EndKind::None:
            break;
        case EndKind::User:
            return "the user ended it";
        case EndKind::Component:
        case EndKind::ComponentUnusable:
        case EndKind::ComponentFailed:
            return componentWords(end);
        case EndKind::Gateway:
            return "the gateway needs no further host check";
        case EndKind::Unreachable:
            return request("the gateway " + end.host + " could not be reached", end);
        case EndKind::Certificate:
            return certificateWords(end);
        case EndKind::Refused:
            return said("the gateway " + end.host + " refused the session", end.text);
        case EndKind::AnswerUnreadable:
            return answerWords(end);
        case EndKind::ArchiveMissing:
            return request("the component could not be fetched from " + end.host, end);
        case EndKind::NotUnpacked:
            return with("the archive " + end.path + " could not be unpacked", end.text);
        case EndKind::Signature:
            return signatureWords(end);
        case EndKind::HostCheckRefused:
            return said("the gateway " + end.host + " refused the host check", end.text);
        case EndKind::PostLost:
            return request("the result of the host check could not be given to " + end.host, end);
        case EndKind::NotWritable:
            return with(end.path + " cannot be read or written", end.text);
        case EndKind::Settings:
            return with(end.path + " cannot be used", end.text);
        case EndKind::Internal:
            return with(internalWords(end.cause), end.text);
    }
    return {};
}

}  // namespace

String describe(const SessionEnd& end) {
    const String words = sentence(end);
    return end.olderThan.empty()
               ? words
               : String(words + "; the component is older than the last one that ran, " + end.olderThan);
}

}  // namespace tessel
