// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-sign/files.h"
#include "apps/nebrix-sign/signing.h"
#include "apps/nebrix-sign/ziparchive.h"
#include "apps/nebrixclient/plainname.h"
#include "apps/nebrixclient/signeddll.h"
#include "libs/base/base64.h"
#include "libs/openssl/digest.h"

namespace tessel::sign {

namespace {

[[noreturn]] void refuse(const std::string& text, RaiseSite site) { raise<ESign>(String::copy(text), site); }

void requirePlain(const std::string& name) {
    if (!isPlainName(String::copy(name))) {
        refuse("clients refuse the name \"" + name + "\"", sites::kBadName);
    }
}

void requireDigestOf(const SignedDll& signedLibrary, const std::string& bytes, const std::string& library) {
    tls::SHA256 digest;
    digest.feed(bytes.data(), bytes.size());
    if (!(Base64::encode(digest.result()) == signedLibrary.sha256)) {
        refuse(library + " is not the library that " + signaturePath(library) + " was made for",
               sites::kNotThatLibrary);
    }
}

/// What clients check before they load the library, on the bytes that go into the archive.
void requireFit(const SignedDll& signedLibrary, const std::string& bytes, const std::string& library,
                const PackOptions& options) {
    requireDigestOf(signedLibrary, bytes, library);
    const std::string signedVersion(signedLibrary.version.view());
    if (options.version.value_or(signedVersion) != signedVersion) {
        refuse("version \"" + *options.version + "\" cannot be announced: \"" + signedVersion + "\" is signed",
               sites::kOtherVersion);
    }
    if (options.publicKeyPath) {
        tls::RSA key;
        loadPublicKey(key, *options.publicKeyPath);
        const DllInfos& infos = signedLibrary;
        if (!ContentSigner(infos).verifySignature(key, signedLibrary.signature)) {
            refuse("the signature in " + signaturePath(library) + " does not hold: another key than " +
                       *options.publicKeyPath + " made it, or a signed value was edited",
                   sites::kOtherKey);
        }
    }
}

}  // namespace

std::string md5Hex(const std::string& bytes) {
    tls::MD5 digest;
    digest.feed(bytes.data(), bytes.size());
    return std::string(digest.result().toHex().lower().view());
}

void requireOwnSignature(const std::string& library) {
    SignedDll signedLibrary;
    loadSignature(signedLibrary, library);
    requireDigestOf(signedLibrary, readWhole(library), library);
}

Announcement packLibrary(const std::string& library, const PackOptions& options) {
    requireDigests({"SHA256", "SHA1", "MD5"});
    const std::string pattern = fileName(library);
    const std::string filename = fileName(options.archivePath);
    requirePlain(pattern);
    requirePlain(filename);
    requireReadable(library);
    SignedDll signedLibrary;
    loadSignature(signedLibrary, library);
    const std::string bytes = readWhole(library);
    requireFit(signedLibrary, bytes, library, options);

    ZipArchive archive;
    archive.addFile(pattern, bytes, 0755);
    archive.addFile(signaturePath(pattern), readWhole(signaturePath(library)));
    const std::string packed = archive.finish();
    place(options.archivePath, packed, 0644, true);
    return {filename, md5Hex(packed), options.urlpath, pattern, std::string(signedLibrary.version.view())};
}

}  // namespace tessel::sign
