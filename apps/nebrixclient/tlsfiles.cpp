// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/tlsfiles.h"

#include <sys/stat.h>

#include <array>
#include <fstream>

#include "apps/nebrixclient/sites.h"
#include "libs/base/file.h"
#include "libs/base/log.h"
#include "libs/curl/curleasy.h"
#include "libs/openssl/clientidentity.h"

namespace tessel {

namespace {

constexpr unsigned kLongestFile = 1024 * 1024;

[[noreturn]] void fail(const String& path, EndCause cause, const String& words) {
    raise<ESettingsFile>("ESettingsFile", sites::kTlsFiles,
                         {.subject = path, .words = words, .cause = static_cast<int>(cause)});
}

/// What cannot be read here is what has another name or is somebody else's.
void requireFile(const String& path) {
    struct stat status {};
    if (::stat(path.str(), &status) != 0 && (errno == ENOENT || errno == ENOTDIR)) {
        fail(path, EndCause::Missing, "there is no such file");
    }
}

Memory contentOf(const String& path) {
    if (path.empty()) {
        return {};
    }
    requireFile(path);
    try {
        return Memory(File::readAllFile(path, kLongestFile));
    } catch (const EFile& caught) {
        fail(path, EndCause::Unreadable, caught.facts().words);
    }
}

/// Also from a pipe, which has no size.
String firstLineOf(const String& path) {
    requireFile(path);
    std::array<char, 4096> line{};
    std::ifstream file(path.str());
    if (!file.getline(line.data(), line.size())) {
        fail(path, EndCause::Unreadable, "there is no password in its first line");
    }
    return String::copy(line.data());
}

EndCause causeOf(tls::IdentityFault fault) noexcept {
    switch (fault) {
        case tls::IdentityFault::PasswordMissing:
        case tls::IdentityFault::WrongPassword:
            return EndCause::WrongPassword;
        case tls::IdentityFault::OtherKey:
            return EndCause::OtherKey;
        case tls::IdentityFault::Expired:
            return EndCause::Expired;
        case tls::IdentityFault::NotYetValid:
            return EndCause::NotYetValid;
        case tls::IdentityFault::NoCertificate:
        case tls::IdentityFault::NoKey:
        case tls::IdentityFault::OldEncryption:
            break;
    }
    return EndCause::Unreadable;
}

/// Of the two files the one that the fault is about.
const String& blamed(const TlsFiles& files, tls::IdentityFault fault) {
    const bool key = fault == tls::IdentityFault::NoKey || fault == tls::IdentityFault::PasswordMissing ||
                     fault == tls::IdentityFault::WrongPassword || fault == tls::IdentityFault::OtherKey;
    return key && !files.key.empty() ? files.key : files.certificate;
}

void readIdentity(const TlsFiles& files, TlsCredentials& into) {
    std::optional<String> password = files.password;
    if (!password && !files.passwordFile.empty()) {
        password = firstLineOf(files.passwordFile);
    }
    try {
        const tls::ClientIdentity identity =
            tls::ClientIdentity::read(contentOf(files.certificate), contentOf(files.key), password);
        into.certificatePem = identity.certificatePem;
        into.keyPem = identity.keyPem;
        log(LogCategory::Trace, "TlsFiles", "read",
            String("client certificate " + files.certificate + ": " + identity.subject));
    } catch (const tls::EClientIdentity& caught) {
        const auto fault = static_cast<tls::IdentityFault>(caught.facts().cause);
        fail(blamed(files, fault), causeOf(fault), caught.facts().words);
    }
}

}  // namespace

std::shared_ptr<const TlsCredentials> readTlsFiles(const TlsFiles& files) {
    if (files.authorities.empty() && files.certificate.empty() && files.key.empty()) {
        return nullptr;
    }
    auto credentials = std::make_shared<TlsCredentials>();
    if (!files.authorities.empty()) {
        const Memory pem = contentOf(files.authorities);
        if (tls::certificatesIn(pem) == 0) {
            fail(files.authorities, EndCause::Unreadable, "there is no certificate in it that can be read");
        }
        credentials->authoritiesPem = String(pem);
        log(LogCategory::Trace, "TlsFiles", "read", "the authorities are those of " + files.authorities + " alone");
    }
    if (!files.certificate.empty()) {
        readIdentity(files, *credentials);
    } else if (!files.key.empty()) {
        fail(files.key, EndCause::OtherKey, "a key is of no use without its certificate");
    }
    return credentials;
}

}  // namespace tessel
