// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace nebrix::test {

/// An empty directory of its own, readable by its owner alone, removed with everything in it at the end.
class TemporaryDirectory {
public:
    /// Raises std::runtime_error when none can be made.
    TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    ~TemporaryDirectory();

    /// Absolute, without a final "/".
    [[nodiscard]] const std::string& path() const noexcept { return m_path; }
    /// The path of an entry, which need not exist.
    [[nodiscard]] std::string path(const std::string& name) const { return m_path + "/" + name; }
    /// Writes a file, making the directories above it, and returns its path.
    std::string write(const std::string& name, const std::string& content) const;

private:
    std::string m_path;
};

/// The whole file. A test failure is recorded, and nothing returned, when it cannot be read.
std::string readFile(const std::string& path);
/// Replaces the file. Raises std::runtime_error when that fails.
void writeFile(const std::string& path, const std::string& content);
/// The files below a directory, relative to it, sorted: a picture that can be compared.
std::string listTree(const std::string& path);

}  // namespace nebrix::test
