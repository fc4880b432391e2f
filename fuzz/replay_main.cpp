// SPDX-License-Identifier: Apache-2.0
// Runs a fuzz target once over every file of a seed directory, so that what fuzzing found stays found in every build.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

std::vector<std::filesystem::path> filesOf(const std::filesystem::path& directory) {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(directory)) {
        if (entry.is_regular_file()) {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

void replay(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    // A heap block of the exact size lets the address sanitizer see a read past the end.
    const std::vector<std::uint8_t> input(bytes.begin(), bytes.end());
    LLVMFuzzerTestOneInput(input.data(), input.size());
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s SEED-DIRECTORY\n", argc > 0 ? argv[0] : "replay");
        return 2;
    }
    try {
        const auto files = filesOf(argv[1]);
        if (files.empty()) {
            std::fprintf(stderr, "%s holds no seed: nothing was replayed\n", argv[1]);
            return 1;
        }
        for (const auto& file : files) {
            // Named before it runs, so that a crash tells which input it was.
            std::printf("%s\n", file.c_str());
            std::fflush(stdout);
            replay(file);
        }
        std::printf("%zu seeds replayed\n", files.size());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return 0;
}
