// SPDX-License-Identifier: Apache-2.0
#include "tests/support/temporarydirectory.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <numeric>
#include <set>
#include <stdexcept>
#include <system_error>

namespace nebrix::test {

namespace fs = std::filesystem;

TemporaryDirectory::TemporaryDirectory() : m_path((fs::temp_directory_path() / "nebrix-test-XXXXXX").string()) {
    if (::mkdtemp(m_path.data()) == nullptr) {
        throw std::runtime_error("cannot make a temporary directory");
    }
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;
    fs::remove_all(m_path, ignored);
}

std::string TemporaryDirectory::write(const std::string& name, const std::string& content) const {
    const fs::path file = fs::path(m_path) / name;
    fs::create_directories(file.parent_path());
    writeFile(file.string(), content);
    return file.string();
}

std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << path;
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void writeFile(const std::string& path, const std::string& content) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << content;
    file.close();
    if (!file) {
        throw std::runtime_error("cannot write " + path);
    }
}

std::string listTree(const std::string& path) {
    std::set<std::string> names;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(path)) {
        names.insert(fs::relative(entry.path(), path).string() + (entry.is_directory() ? "/\n" : "\n"));
    }
    return std::accumulate(names.begin(), names.end(), std::string());
}

}  // namespace nebrix::test
