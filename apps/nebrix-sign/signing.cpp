// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-sign/signing.h"

#include <sys/stat.h>

#include "apps/nebrix-sign/files.h"
#include "apps/nebrixclient/signeddll.h"
#include "libs/openssl/digest.h"
#include "libs/xml/xmlerrors.h"

namespace tessel::sign {

std::string signaturePath(const std::string& library) { return library + ".sig"; }

void requireDigests(std::initializer_list<const char*> names) {
    std::string refused;
    for (const char* name : names) {
        try {
            const tls::EVPDigest digest(name);
        } catch (const tls::EEVPDigest&) {
            refused += (refused.empty() ? "" : ", ") + std::string(name);
        }
    }
    if (!refused.empty()) {
        raise<ESign>(String::copy("OpenSSL's configuration on this machine forbids " + refused +
                                  ", which signature files and archives need"),
                     sites::kRefusedDigest);
    }
}

void loadSignature(SignedDll& signedLibrary, const std::string& library) {
    const std::string path = signaturePath(library);
    requireReadable(path);
    try {
        signedLibrary.loadFromFile(String::copy(path));
    } catch (const EBadSignature&) {
        raise<ESign>(String::copy(path + " is no signature file"), sites::kBadSignatureFile);
    }
}

std::string signedVersion(const std::string& library) {
    SignedDll signedLibrary;
    loadSignature(signedLibrary, library);
    return std::string(signedLibrary.version.view());
}

void signLibrary(const std::string& library, const std::string& signatureFile, const std::string& privateKeyPath,
                 const std::string& name, const std::string& version, const AskPassword& ask) {
    requireDigests({"SHA256", "SHA1"});
    requireReadable(library);
    tls::RSA key;
    loadPrivateKey(key, privateKeyPath, ask);
    SignedDll signedLibrary;
    signedLibrary.name = String::copy(name);
    signedLibrary.version = String::copy(version);
    signedLibrary.compute(key, String::copy(library));
    try {
        signedLibrary.save(String::copy(signatureFile));
    } catch (const xml::EParser&) {
        raise<ESign>(String::copy("cannot write " + signatureFile), sites::kCannotWrite);
    }
    // The file toolkit opens what it writes to everybody.
    if (::chmod(signatureFile.c_str(), 0644) != 0) {
        raise<ESign>(String::copy("cannot set the permissions of " + signatureFile), sites::kCannotWrite);
    }
}

Verification verifyLibrary(const std::string& library, const std::string& publicKeyPath) {
    requireDigests({"SHA256", "SHA1"});
    requireReadable(library);
    tls::RSA key;
    loadPublicKey(key, publicKeyPath);
    SignedDll signedLibrary;
    loadSignature(signedLibrary, library);
    const DllInfos& infos = signedLibrary;
    return {SignedDll::hashFile(String::copy(library)) == signedLibrary.sha256,
            ContentSigner(infos).verifySignature(key, signedLibrary.signature)};
}

}  // namespace tessel::sign
