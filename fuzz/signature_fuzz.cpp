// SPDX-License-Identifier: Apache-2.0
// A signature file of any content: it is refused with EBadSignature, or read and then checked against a library that it
// was not made for. Nothing else may happen.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "apps/nebrixclient/signeddll.h"
#include "generated/component_public_key.h"

namespace {

/// The two files that every input is tried with.
struct Files {
    std::string libraryPath;
    std::string signature;

    Files() {
        char directory[] = "/tmp/signature_fuzz-XXXXXX";
        if (mkdtemp(directory) == nullptr) {
            std::abort();
        }
        libraryPath = std::string(directory) + "/liba.so";
        signature = libraryPath + ".sig";
        write(libraryPath, "a library", 9);
    }
    ~Files() {
        std::remove(libraryPath.c_str());
        std::remove(signature.c_str());
        rmdir(libraryPath.substr(0, libraryPath.rfind('/')).c_str());
    }

    static void write(const std::string& path, const void* bytes, std::size_t size) {
        std::FILE* file = std::fopen(path.c_str(), "wb");
        if (file == nullptr || std::fwrite(bytes, 1, size, file) != size) {
            std::abort();
        }
        std::fclose(file);
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Files files;
    Files::write(files.signature, data, size);
    tessel::tls::RSA key;
    key.loadFromMem(tessel::kComponentPublicKeyPem, "", true);
    tessel::SignedDll component;
    try {
        component.loadFromFile(tessel::String::copy(files.signature));
    } catch (const tessel::EBadSignature&) {
        return 0;
    }
    if (component.verify(key, tessel::String::copy(files.libraryPath))) {
        std::abort();
    }
    // The content is another one than was signed, whatever the digest says.
    component.sha256 = tessel::SignedDll::hashFile(tessel::String::copy(files.libraryPath));
    if (component.verify(key, tessel::String::copy(files.libraryPath))) {
        std::abort();
    }
    return 0;
}
