// SPDX-License-Identifier: Apache-2.0
#include "libs/openssl/selfsignedcertificate.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

#include "libs/openssl/certificatebuilder.h"
#include "libs/openssl/sites.h"

namespace tessel::tls {
namespace {

/// Written beside its place and moved there, so that no moment shows half a file or one that others may read.
void writePrivateFile(const String& path, const String& text) {
    String fresh = path + ".new";
    ::unlink(fresh.str());
    const int file = ::open(fresh.str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR);
    const bool written = file >= 0 && ::write(file, text.array(), text.length()) == ssize_t{text.length()};
    const bool closed = file >= 0 && ::close(file) == 0;
    if (!written || !closed || std::rename(fresh.str(), path.clone().str()) != 0) {
        ::unlink(fresh.str());
        raise<ELibContext>("ELibContext: cannot write " + path, sites::kCertificateFile);
    }
}

}  // namespace

SelfSignedCertificate::SelfSignedCertificate(const Names& names, Key key, int days) {
    const EvpKeyPointer pair = makeKeyPair(key);
    const X509Pointer certificate = makeCertificate(
        names, pair.get(), days, {{NID_basic_constraints, "critical,CA:TRUE"}, {NID_subject_key_identifier, "hash"}});
    m_certificate = pemOf(certificate.get());
    m_key = pemOf(pair.get());
}

void SelfSignedCertificate::writeFiles(const String& certificatePath, const String& keyPath) const {
    writePrivateFile(certificatePath, m_certificate);
    writePrivateFile(keyPath, m_key);
}

}  // namespace tessel::tls
