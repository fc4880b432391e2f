// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-sign/keyfile.h"

#include <filesystem>
#include <optional>

#include "apps/nebrix-sign/builtinfiles.h"
#include "apps/nebrix-sign/files.h"
#include "libs/openssl/rsa_pem.h"

namespace tessel::sign {

namespace {

constexpr unsigned kLongestKeyFile = 64 * 1024;

[[noreturn]] void fail(const std::string& text, RaiseSite site) { raise<ESign>(String::copy(text), site); }

}  // namespace

void loadPublicKey(tls::RSA& key, const std::string& path) {
    if (key.loadFromMem(readWhole(path, kLongestKeyFile).c_str(), "", true) != 1) {
        fail(path + " holds no RSA public key in PEM form", sites::kBadKey);
    }
}

void loadPrivateKey(tls::RSA& key, const std::string& path, const AskPassword& ask) {
    const std::string pem = path == kDevelopmentKey ? builtin::kDevelopmentKey : readWhole(path, kLongestKeyFile);
    if (!tls::isEncryptedPrivateKey(pem.c_str())) {
        if (key.loadFromMem(pem.c_str(), "", false) != 1) {
            fail(path + " holds no RSA private key in PEM form", sites::kBadKey);
        }
        return;
    }
    if (!ask) {
        fail(path + " is an encrypted key, and its password is not known", sites::kEncryptedKey);
    }
    if (key.loadFromMem(pem.c_str(), ask(path).c_str(), false) != 1) {
        fail("the password does not open the encrypted key " + path, sites::kEncryptedKey);
    }
}

void writeKeyPair(const std::string& privatePath, const std::string& publicPath, bool force) {
    // Looked at beforehand, so that no private key is written for nothing; place() decides.
    for (const std::string& path : {privatePath, publicPath}) {
        if (!force && std::filesystem::exists(path)) {
            fail(path + " exists already", sites::kFileExists);
        }
    }
    tls::RSA key;
    key.generate();
    place(privatePath, key.privatePem().view(), 0600, force);
    place(publicPath, key.publicPem().view(), 0644, force);
}

std::string passwordInFile(const std::string& path) {
    const std::string text = readWhole(path, kLongestKeyFile);
    return text.substr(0, text.find_first_of("\r\n"));
}

std::string passwordFromTerminal(const std::string& keyPath) {
    const std::optional<String> typed = tls::askPassword(String::copy("Password of " + keyPath + ": "));
    if (!typed) {
        fail(keyPath + " is an encrypted key: give its password with --password-file, or on a terminal",
             sites::kEncryptedKey);
    }
    return std::string(typed->view());
}

}  // namespace tessel::sign
