// SPDX-License-Identifier: Apache-2.0
// Digests of a 50 MB file beside OpenSSL fed with large pieces, and loading a key to verify one signature beside
// OpenSSL's own decoder and EVP_PKEY_verify.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "libs/base/file.h"
#include "libs/openssl/digest.h"
#include "libs/openssl/rsa_wrapper.h"

namespace {

using namespace tessel;

/// A file of 50 MB, made once and removed at the end.
class BigFile {
public:
    BigFile() {
        File file;
        file.open(path.c_str(), File::kOut);
        std::string block(1024 * 1024, '\0');
        unsigned seed = 1;
        for (char& c : block) {
            seed = seed * 1664525U + 1013904223U;
            c = static_cast<char>(seed >> 24);
        }
        for (int i = 0; i < 50; ++i) {
            file.write(block.data(), static_cast<unsigned>(block.size()));
        }
    }
    BigFile(const BigFile&) = delete;
    BigFile& operator=(const BigFile&) = delete;
    ~BigFile() { ::unlink(path.c_str()); }

    const std::string path = "/tmp/nebrix-digest-bench." + std::to_string(::getpid());
};

const BigFile& bigFile() {
    static const BigFile file;
    return file;
}

Memory fileDigest(const char* name) {
    tls::EVPDigest digest(name);
    File file;
    file.open(bigFile().path.c_str(), File::kIn);
    char block[1024];
    while (const unsigned got = file.read(block, sizeof block)) {
        digest.feed(block, got);
    }
    return digest.result();
}

Memory opensslDigest(const char* name) {
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    EVP_DigestInit_ex(context.get(), EVP_get_digestbyname(name), nullptr);
    const int file = ::open(bigFile().path.c_str(), O_RDONLY | O_CLOEXEC);
    std::vector<char> block(64 * 1024);
    for (ssize_t got = 0; (got = ::read(file, block.data(), block.size())) > 0;) {
        EVP_DigestUpdate(context.get(), block.data(), static_cast<std::size_t>(got));
    }
    ::close(file);
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned length = 0;
    EVP_DigestFinal_ex(context.get(), digest, &length);
    return Memory::copy(digest, length);
}

using FileDigest = Memory (*)(const char* name);

void digestFile(benchmark::State& state, FileDigest digest, const char* name) {
    if (!(fileDigest(name) == opensslDigest(name))) {
        state.SkipWithError("the two digests differ");
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(digest(name));
    }
    state.SetBytesProcessed(state.iterations() * 50 * 1024 * 1024);
}
BENCHMARK_CAPTURE(digestFile, ourSha256, fileDigest, "sha256")
    ->Name("sha256-50MB/tessel-1KiB")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(digestFile, opensslSha256, opensslDigest, "sha256")
    ->Name("sha256-50MB/openssl-64KiB")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(digestFile, ourMd5, fileDigest, "md5")->Name("md5-50MB/tessel-1KiB")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(digestFile, opensslMd5, opensslDigest, "md5")
    ->Name("md5-50MB/openssl-64KiB")
    ->Unit(benchmark::kMillisecond);

struct Signed {
    const std::string content = std::string(200, 'c');
    String pem;
    Memory signature;

    Signed() {
        tls::RSA pair;
        pair.generate();
        pem = pair.publicPem();
        pem.str();
        signature = pair.sign(reinterpret_cast<const unsigned char*>(content.data()), content.size());
    }
    [[nodiscard]] const unsigned char* bytes() const { return reinterpret_cast<const unsigned char*>(content.data()); }
};

const Signed& made() {
    static const Signed once;
    return once;
}

void verifyOurs(benchmark::State& state) {
    made();
    for (auto _ : state) {
        tls::RSA key;
        key.loadFromMem(made().pem.str(), "", true);
        if (key.verify(made().bytes(), made().content.size(), made().signature) <= 0) {
            state.SkipWithError("not genuine");
        }
    }
}
BENCHMARK(verifyOurs)->Name("load-key-and-verify/tessel");

void verifyEvp(benchmark::State& state) {
    made();
    for (auto _ : state) {
        BIO* bio = BIO_new_mem_buf(made().pem.str(), -1);
        EVP_PKEY* key = PEM_read_bio_PUBKEY(bio, nullptr, nullptr, nullptr);
        EVP_MD_CTX* context = EVP_MD_CTX_new();
        const bool genuine = EVP_DigestVerifyInit(context, nullptr, EVP_sha1(), nullptr, key) == 1 &&
                             EVP_DigestVerify(context, made().signature.array(), made().signature.length(),
                                              made().bytes(), made().content.size()) == 1;
        EVP_MD_CTX_free(context);
        EVP_PKEY_free(key);
        BIO_free(bio);
        if (!genuine) {
            state.SkipWithError("not genuine");
        }
    }
}
BENCHMARK(verifyEvp)->Name("load-key-and-verify/openssl-evp");

}  // namespace
