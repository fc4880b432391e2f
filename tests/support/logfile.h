#pragma once

#include <string>
#include <vector>

namespace nebrix::test {

/// Reads a log file line by line. The client's path is fixed, so a test that uses it holds the resource lock
/// "nebrixclient-log".
class LogFile {
public:
    static constexpr const char* kClientLog = "/tmp/nebrixclient.log";

    /// One line taken apart: "dd-mm-yy HH:MM:SS.m [thread] LABEL Class.method text".
    struct Line {
        std::string thread;
        std::string label;
        /// "Class.method", or "Class:" where there is no method.
        std::string where;
        std::string text;
    };

    explicit LogFile(std::string path = kClientLog) : m_path(std::move(path)) {}

    /// The file as it is now; empty when there is none.
    [[nodiscard]] std::string text() const;
    /// Its lines. One that has not the form above has the whole line as its text and nothing else.
    [[nodiscard]] std::vector<Line> lines() const;
    /// The number of lines with this label, place and text; "*" stands for any, a text that ends in "*" for a
    /// beginning.
    [[nodiscard]] unsigned count(const std::string& label, const std::string& where, const std::string& text) const;
    /// Whether some line contains the text.
    [[nodiscard]] bool contains(const std::string& part) const { return text().find(part) != std::string::npos; }

private:
    std::string m_path;
};

}  // namespace nebrix::test
