// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace nebrix::test {

/// Reads a log file line by line. The client's path is fixed, so a test that uses it holds the resource lock
/// "nebrixclient-log".
class LogFile {
public:
    static constexpr const char* kClientLog = "/tmp/nebrixclient.log";

    explicit LogFile(std::string path = kClientLog) : m_path(std::move(path)) {}

    /// The file as it is now; empty when there is none.
    [[nodiscard]] std::string text() const;
    /// The number of lines "dd-mm-yy HH:MM:SS.m [thread] LABEL Class.method text" with this label, place ("Class:"
    /// where there is no method) and text; "*" stands for anything.
    [[nodiscard]] unsigned count(const std::string& label, const std::string& where, const std::string& text) const;
    /// Whether some line contains the text.
    [[nodiscard]] bool contains(const std::string& part) const { return text().find(part) != std::string::npos; }

private:
    std::string m_path;
};

}  // namespace nebrix::test
