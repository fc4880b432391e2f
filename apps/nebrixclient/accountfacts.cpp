// SPDX-License-Identifier: Apache-2.0
#include "apps/component/moduleloader.h"
#include "apps/component/plugindllinstance.h"
#include "apps/nebrixclient/account.h"
#include "apps/nebrixclient/certificatewords.h"
#include "apps/nebrixclient/clientconfiguration.h"
#include "apps/nebrixclient/mediationresponse.h"
#include "apps/nebrixclient/settingsfile.h"
#include "apps/nebrixclient/signeddll.h"
#include "libs/base/file.h"
#include "libs/base/thread.h"
#include "libs/curl/requestinfo.h"

#include <algorithm>
#include <cerrno>
#include <iterator>

// What errors and requests tell the account: the one place that knows which class of exception means which end.
namespace tessel {

namespace {

constexpr int kHttpOk = 200;
// What servers say with no common standard: 400 and 403 of HTTP, 495 and 496 of their own.
constexpr int kIdentityStatuses[] = {400, 403, 495, 496};

bool lacksRoom(int systemError) noexcept { return systemError == ENOSPC || systemError == EDQUOT; }

/// Of a request whose server asked for the client's certificate and was not content.
EndCause identityCause(const RequestInfo& request) {
    return request.hadIdentity() ? EndCause::CertificateUnwanted : EndCause::CertificateWanted;
}

SessionEnd unreadable(const ErrorFacts& facts) {
    SessionEnd end{.kind = EndKind::AnswerUnreadable, .key = facts.subject, .text = facts.words};
    end.cause = facts.subject.empty() ? EndCause::NotJson
                : facts.words.empty() ? EndCause::MissingKey
                                      : EndCause::WrongValue;
    return end;
}

template <class... Errors>
bool isAnyOf(const Exception& caught) {
    return ((dynamic_cast<const Errors*>(&caught) != nullptr) || ...);
}

EndCause signatureCause(int fault) noexcept {
    switch (static_cast<SignatureFault>(fault)) {
        case SignatureFault::Missing:
            return EndCause::Missing;
        case SignatureFault::Digest:
            return EndCause::Digest;
        case SignatureFault::BadSignature:
            return EndCause::BadSignature;
        case SignatureFault::Unreadable:
            break;
    }
    return EndCause::Unreadable;
}

EndCause causeOf(TransferFailure failure) {
    switch (failure) {
        case TransferFailure::Url:
            return EndCause::Address;
        case TransferFailure::RequestTooLong:
            return EndCause::RequestTooLong;
        case TransferFailure::Name:
            return EndCause::Name;
        case TransferFailure::NoRoute:
            return EndCause::NoRoute;
        case TransferFailure::Refused:
            return EndCause::ConnectionRefused;
        case TransferFailure::Silent:
            return EndCause::Silent;
        case TransferFailure::Proxy:
            return EndCause::Proxy;
        case TransferFailure::Tls:
            return EndCause::Tls;
        case TransferFailure::NotHttp:
            return EndCause::NotHttp;
        case TransferFailure::Cut:
            return EndCause::Cut;
        case TransferFailure::BodyTooLong:
            return EndCause::TooLarge;
        case TransferFailure::Resources:
            return EndCause::System;
        case TransferFailure::None:
        case TransferFailure::Certificate:
        case TransferFailure::WriteFailed:
        case TransferFailure::Cancelled:
        case TransferFailure::Other:
            break;
    }
    return EndCause::None;
}

SessionEnd certificateEnd(const RequestInfo& request, EndKind failure, const String& host) {
    SessionEnd end{.kind = EndKind::Certificate, .host = host, .text = request.getErrorBuffer()};
    if (const auto& peer = request.getPeerCertificate(); peer != nullptr) {
        end.cause = tessel::causeOf(peer->reason);
        end.certificate = summaryOf(*peer);
        end.peer = peer;
    }
    end.request = failure;
    return end;
}

}  // namespace

SessionEnd endOf(const Exception& caught) {
    const ErrorFacts& facts = caught.facts();
    if (isAnyOf<EBadSignature>(caught)) {
        return {.kind = EndKind::Signature, .cause = signatureCause(facts.cause), .path = facts.subject};
    }
    if (isAnyOf<EModuleLoader>(caught)) {
        const bool entry = facts.subject.find('/') == String::npos;
        SessionEnd end{.kind = EndKind::ComponentUnusable, .text = facts.words};
        end.cause = entry ? EndCause::MissingEntry : EndCause::NotLoadable;
        (entry ? end.key : end.path) = facts.subject;
        return end;
    }
    if (isAnyOf<EPluginDllInstance>(caught)) {
        return {.kind = EndKind::ComponentUnusable, .cause = EndCause::NoInstance};
    }
    if (isAnyOf<EMediationResponse, EClientConfiguration, EConfMissingKey, EConfUsingMissingOptionalConf, EKeyReader>(
            caught)) {
        return unreadable(facts);
    }
    if (isAnyOf<ESettingsFile>(caught)) {
        return {.kind = EndKind::Settings,
                .cause = static_cast<EndCause>(facts.cause),
                .path = facts.subject,
                .text = facts.words};
    }
    if (isAnyOf<EFile>(caught)) {
        return endOfFile(facts);
    }
    if (isAnyOf<EThread>(caught)) {
        return {.kind = EndKind::Internal, .cause = EndCause::System, .text = caught.getMessage()};
    }
    return {.kind = EndKind::Internal, .text = caught.toString()};
}

SessionEnd endOfFile(const ErrorFacts& facts) {
    return {.kind = EndKind::NotWritable,
            .cause = lacksRoom(facts.systemError) ? EndCause::NoRoom : EndCause::System,
            .path = facts.subject,
            .text = facts.words,
            .systemError = facts.systemError};
}

SessionEnd endOf(const RequestInfo& request, EndKind failure, const String& host) {
    if (request.failure() == TransferFailure::Certificate) {
        return certificateEnd(request, failure, host);
    }
    const String& words = request.getErrorBuffer().empty() ? request.getErrorString() : request.getErrorBuffer();
    SessionEnd end{.kind = failure, .cause = causeOf(request.failure()), .host = host};
    if (request.failure() == TransferFailure::None) {
        end.httpStatus = request.getResponseHeader().getResponseCode();
        end.cause = end.httpStatus == kHttpOk ? EndCause::None : EndCause::HttpStatus;
    } else {
        end.httpStatus = request.getProxyStatus();
        end.text = words;
        if (request.askedForIdentity() && (end.cause == EndCause::Tls || end.cause == EndCause::Cut)) {
            end.cause = identityCause(request);
        }
    }
    if (failure == EndKind::Unreachable && end.cause == EndCause::TooLarge) {
        end.kind = EndKind::AnswerUnreadable;  // whoever sends too much was reached
    }
    return end;
}

EndCause identityCauseOf(const RequestInfo& request) {
    const int status = request.getResponseHeader().getResponseCode();
    const bool isAboutIt = std::ranges::find(kIdentityStatuses, status) != std::end(kIdentityStatuses);
    return request.askedForIdentity() && isAboutIt ? identityCause(request) : EndCause::None;
}

}  // namespace tessel
