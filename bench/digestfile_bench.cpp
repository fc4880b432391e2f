// SHA-256 and MD5 of a file of 50 MB: read through File in blocks of 1024 bytes, beside read(2) in 64 KiB blocks.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <openssl/evp.h>
#include <unistd.h>

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "libs/base/file.h"

namespace {

using tessel::File;
using tessel::String;
using Digest = std::array<unsigned char, EVP_MAX_MD_SIZE>;
using Context = std::unique_ptr<EVP_MD_CTX, decltype(&::EVP_MD_CTX_free)>;

constexpr unsigned kLength = 50'000'000;

/// The file, made once and removed at the end.
class Sample {
public:
    Sample() {
        std::string bytes(kLength, '\0');
        unsigned state = 1;
        for (char& byte : bytes) {
            state = state * 1664525U + 1013904223U;
            byte = static_cast<char>(state >> 24U);
        }
        File::writeAllFile(path(), String(bytes.data(), kLength));
    }
    ~Sample() { ::unlink(m_path.c_str()); }
    [[nodiscard]] String path() const { return String::copy(m_path); }

private:
    std::string m_path = "/tmp/nebrix-digest-bench-" + std::to_string(::getpid());
};

const Sample& sample() {
    static const Sample instance;
    return instance;
}

const EVP_MD* algorithm(const benchmark::State& state) { return state.range(0) == 0 ? ::EVP_sha256() : ::EVP_md5(); }

Digest throughFile(const EVP_MD* type) {
    File file;
    file.open(sample().path(), File::kIn);
    const Context context(::EVP_MD_CTX_new(), &::EVP_MD_CTX_free);
    ::EVP_DigestInit_ex(context.get(), type, nullptr);
    std::array<char, 1024> block{};
    while (const unsigned got = file.read(block.data(), block.size())) {
        ::EVP_DigestUpdate(context.get(), block.data(), got);
    }
    Digest digest{};
    ::EVP_DigestFinal_ex(context.get(), digest.data(), nullptr);
    return digest;
}

Digest throughSystem(const EVP_MD* type) {
    const int descriptor = ::open(sample().path().str(), O_RDONLY | O_CLOEXEC);
    const Context context(::EVP_MD_CTX_new(), &::EVP_MD_CTX_free);
    ::EVP_DigestInit_ex(context.get(), type, nullptr);
    std::vector<char> block(64 * 1024);
    for (ssize_t got = 0; (got = ::read(descriptor, block.data(), block.size())) > 0;) {
        ::EVP_DigestUpdate(context.get(), block.data(), static_cast<std::size_t>(got));
    }
    Digest digest{};
    ::EVP_DigestFinal_ex(context.get(), digest.data(), nullptr);
    ::close(descriptor);
    return digest;
}

void digestFile(benchmark::State& state) {
    if (throughFile(algorithm(state)) != throughSystem(algorithm(state))) {
        state.SkipWithError("the digests differ");
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(throughFile(algorithm(state)));
    }
}

void digestOpenSsl(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(throughSystem(algorithm(state)));
    }
}

BENCHMARK(digestFile)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(digestOpenSsl)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

}  // namespace
