#include "apps/nebrix-sign/signing.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "apps/nebrix-sign/storedarchive.h"
#include "apps/nebrixclient/plainname.h"
#include "apps/nebrixclient/signeddll.h"
#include "libs/base/file.h"
#include "libs/openssl/digest.h"
#include "libs/openssl/rsa_wrapper.h"

namespace tessel::sign {

namespace {

constexpr unsigned kLongestKeyFile = 64 * 1024;

String toString(const std::string& text) { return String::copy(text); }
std::string toStd(const String& text) { return std::string(text.view()); }

/// A key out of a PEM file.
void loadKey(tls::RSA& key, const std::string& path, bool publicKey) {
    const String pem = File::readAllFile(toString(path), kLongestKeyFile);
    if (key.loadFromMem(pem.str(), "", publicKey) != 1) {
        raise<ESign>(toString(path + " holds no RSA " + (publicKey ? "public" : "private") + " key in PEM form"),
                     sites::kBadKey);
    }
}

/// Whether all bytes were written.
bool writeAll(int file, std::string_view content) {
    while (!content.empty()) {
        const ssize_t written = ::write(file, content.data(), content.size());
        if (written <= 0) {
            return false;
        }
        content.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

/// Puts a file in place as a whole, by way of a temporary one beside it. Without `replace` an existing file stays and
/// ESign is raised.
void place(const std::string& path, std::string_view content, mode_t mode, bool replace) {
    std::string temporary = path + ".XXXXXX";
    const int file = ::mkostemp(temporary.data(), O_CLOEXEC);
    bool good = file >= 0 && ::fchmod(file, mode) == 0 && writeAll(file, content);
    if (file >= 0) {
        good = ::close(file) == 0 && good;
    }
    const bool placed =
        good && (replace ? std::rename(temporary.c_str(), path.c_str()) : ::link(temporary.c_str(), path.c_str())) == 0;
    const bool exists = good && !placed && errno == EEXIST;
    if (file >= 0 && !(placed && replace)) {
        ::unlink(temporary.c_str());
    }
    if (exists) {
        raise<ESign>(toString(path + " exists already"), sites::kFileExists);
    }
    if (!placed) {
        raise<ESign>(toString("cannot write " + path), sites::kCannotWrite);
    }
}

std::string fileName(const std::string& path) { return path.substr(path.find_last_of('/') + 1); }

void requirePlain(const std::string& name) {
    if (!isPlainName(toString(name))) {
        raise<ESign>(toString("clients refuse the name \"" + name + "\""), sites::kBadName);
    }
}

}  // namespace

std::string signaturePath(const std::string& library) { return library + ".sig"; }

std::string readWhole(const std::string& path) { return toStd(File::readAllFile(toString(path))); }

std::string md5Hex(const std::string& bytes) {
    tls::MD5 digest;
    digest.feed(bytes.data(), bytes.size());
    return toStd(digest.result().toHex().lower());
}

void writeKeyPair(const std::string& privatePath, const std::string& publicPath, bool force) {
    // Looked at beforehand, so that no private key is written for nothing; place() decides.
    for (const std::string& path : {privatePath, publicPath}) {
        if (!force && File::exists(toString(path))) {
            raise<ESign>(toString(path + " exists already"), sites::kFileExists);
        }
    }
    tls::RSA key;
    key.generate();
    place(privatePath, key.privatePem().view(), 0600, force);
    place(publicPath, key.publicPem().view(), 0644, force);
}

void signLibrary(const std::string& library, const std::string& signatureFile, const std::string& privateKeyPath,
                 const std::string& name, const std::string& version) {
    tls::RSA key;
    loadKey(key, privateKeyPath, false);
    SignedDll signedLibrary;
    signedLibrary.name = toString(name);
    signedLibrary.version = toString(version);
    signedLibrary.compute(key, toString(library));
    signedLibrary.save(toString(signatureFile));
    // The file toolkit opens what it writes to everybody.
    if (::chmod(signatureFile.c_str(), 0644) != 0) {
        raise<ESign>(toString("cannot set the permissions of " + signatureFile), sites::kCannotWrite);
    }
}

Verification verifyLibrary(const std::string& library, const std::string& publicKeyPath) {
    tls::RSA key;
    loadKey(key, publicKeyPath, true);
    SignedDll signedLibrary;
    signedLibrary.loadFromFile(toString(signaturePath(library)));
    const DllInfos& infos = signedLibrary;
    return {SignedDll::hashFile(toString(library)) == signedLibrary.sha256,
            ContentSigner(infos).verifySignature(key, signedLibrary.signature)};
}

Announcement packLibrary(const std::string& library, const std::string& archivePath, const std::string& version,
                         const std::string& urlpath) {
    const std::string pattern = fileName(library);
    requirePlain(pattern);
    requirePlain(fileName(archivePath));
    StoredArchive archive;
    archive.addFile(pattern, readWhole(library), 0755);
    archive.addFile(signaturePath(pattern), readWhole(signaturePath(library)));
    const std::string bytes = archive.bytes();
    place(archivePath, bytes, 0644, true);
    return {fileName(archivePath), md5Hex(bytes), urlpath, pattern, version};
}

}  // namespace tessel::sign
