// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "libs/base/mutex.h"
#include "libs/base/string.h"

namespace tessel {

class Exception;
class RequestInfo;
struct ErrorFacts;
namespace tls {
struct PeerCertificate;
}

/// What ended a session. The names that name() gives are seen by programs and never change.
enum class EndKind {
    None,  // nothing ended yet
    // Ends that somebody wanted.
    User,
    Component,
    Gateway,
    // Failures.
    Unreachable,
    Certificate,
    Refused,
    AnswerUnreadable,
    ArchiveMissing,
    NotUnpacked,
    Signature,
    ComponentUnusable,
    ComponentFailed,
    HostCheckRefused,
    PostLost,
    NotWritable,
    Settings,
    Internal,
};

/// Why it did, where the kind alone does not say. The names are seen by programs as well.
enum class EndCause {
    None,
    // Of a request: Unreachable, ArchiveMissing, PostLost, and of an answer that is too long.
    Address,
    RequestTooLong,
    Name,
    NoRoute,
    ConnectionRefused,
    Silent,
    Proxy,
    Tls,
    NotHttp,
    Cut,
    TooLarge,
    HttpStatus,
    NoRoom,
    // Of an answer.
    NotJson,
    MissingKey,
    WrongValue,
    // Of a signature, and of what is not in an archive.
    Digest,
    BadSignature,
    Missing,
    Unreadable,
    // Of a certificate.
    SelfSigned,
    UnknownIssuer,
    Expired,
    NotYetValid,
    OtherName,
    Weak,
    Revoked,
    Changed,    // another key than the one that was trusted
    NotTheOne,  // another one than the one that was asked for
    // Of the client's own certificate.
    CertificateWanted,    // the gateway asks for one
    CertificateUnwanted,  // and does not take this one
    // Of a file that settings are, or name.
    Unguarded,  // others than its owner may write it
    WrongPassword,
    OtherKey,
    // Of a component.
    NotLoadable,
    MissingEntry,
    NoInstance,
    Older,        // than the last one, and refused
    AskedAtOnce,  // a close request of reason 1, 2 or 4
    AskedAgain,   // a wish, upheld
    ResourceFailed,
    TextTooLong,
    Raised,  // an exception
    Killed,  // its process, by a signal
    Exited,
    NoAnswer,
    NotUnderstood,  // its process did not keep to the protocol
    // Of the machine.
    Memory,
    System,
};

/// How a session ended, as plain facts: log, terminal, JSON lines and windows are four ways to read it. A value that
/// shares nothing with the session; what does not apply is empty or 0. No field ever holds a secret.
struct SessionEnd {
    EndKind kind = EndKind::None;
    EndCause cause = EndCause::None;
    String host{};  // the authority asked, without user information
    int httpStatus = 0;
    String path{};         // of a file or directory
    String key{};          // of the configuration, with those around it, or a component's entry
    String text{};         // the gateway's own words, what was expected, or what a library or the system says
    String certificate{};  // whose, by whom and for how long, in one line
    String olderThan{};    // version and date of the component that ran last, when this session's is older
    int systemError = 0;   // errno
    int number = 0;        // a close request's reason, a resource's result, a process's signal or status
    std::shared_ptr<const tls::PeerCertificate> peer{};  // the certificate's facts; never change
    // With Certificate, what the same request would have ended as for another reason: Unreachable is the gateway's own,
    // ArchiveMissing and PostLost are of hosts that it names.
    EndKind request = EndKind::None;

    /// Whether the user, the component or the gateway wanted it so.
    [[nodiscard]] bool wanted() const noexcept;
    /// Whether the gateway could not be talked to at all.
    [[nodiscard]] bool unreachable() const noexcept;
};

/// The fixed words for programs: "unreachable", "signature"; empty for None.
const char* name(EndKind kind) noexcept;
const char* name(EndCause cause) noexcept;

/// The end in one English sentence without a final stop. What others chose of it (a gateway's text, a path) stands
/// there as it is: whoever shows it escapes it (libs/base/printable.h), as the log does by itself.
String describe(const SessionEnd& end);

/// What an exception that ended an attempt says about the end.
SessionEnd endOf(const Exception& caught);
/// What the facts of an EFile say: the file cannot be had, or the disk is full.
SessionEnd endOfFile(const ErrorFacts& facts);
/// What a request that failed, or that was answered with another status than 200, says. `failure` is the kind when
/// nothing more particular applies: Unreachable, ArchiveMissing or PostLost. `host` is whom it asked.
SessionEnd endOf(const RequestInfo& request, EndKind failure, const String& host);
/// What a page says that some servers answer with in place of ending the handshake, when it is about the client's own
/// certificate; None for any other page.
EndCause identityCauseOf(const RequestInfo& request);

/// Hears how a session ended, beside INebrixClientNotify.
class IAccountNotify {
public:
    /// On the driver's thread, right before the notification that ends the attempt. Must return at once.
    virtual void onSessionEnd(const SessionEnd& end) noexcept = 0;
    virtual ~IAccountNotify() = default;
};

/// Keeps the first cause of an attempt's end. Any thread.
class SessionAccount {
public:
    /// For a new attempt.
    void clear();
    /// Kept unless something was recorded before.
    void record(const SessionEnd& end);
    /// The session's component is older than the last one, which is described so; whatever the end will be.
    void noteOlder(const String& last);
    [[nodiscard]] SessionEnd end() const;

private:
    mutable Mutex m_mutex;
    // Guarded by m_mutex.
    SessionEnd m_end;
    String m_olderThan;
};

}  // namespace tessel
