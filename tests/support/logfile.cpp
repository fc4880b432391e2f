#include "tests/support/logfile.h"

#include <fnmatch.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>

namespace nebrix::test {

namespace {

LogFile::Line takeApart(const std::string& line) {
    static const std::regex form(
        R"((\d\d-\d\d-\d\d \d\d:\d\d:\d\d\.\d{1,3}) \[([^\]]*)\] (\S+) ([^\s:]+:|[^\s.]+\.\S+) (.*))");
    std::smatch parts;
    if (!std::regex_match(line, parts, form)) {
        return {{}, {}, {}, {}, line};
    }
    return {parts[1], parts[2], parts[3], parts[4], parts[5]};
}

bool matches(const std::string& pattern, const std::string& text) {
    return ::fnmatch(pattern.c_str(), text.c_str(), 0) == 0;
}

}  // namespace

std::string LogFile::text() const {
    std::ifstream file(m_path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::vector<LogFile::Line> LogFile::lines() const {
    std::vector<Line> result;
    std::istringstream all(text());
    for (std::string line; std::getline(all, line);) {
        result.push_back(takeApart(line));
    }
    return result;
}

unsigned LogFile::count(const std::string& label, const std::string& where, const std::string& text) const {
    const std::vector<Line> all = lines();
    return static_cast<unsigned>(std::ranges::count_if(all, [&](const Line& line) {
        return matches(label, line.label) && matches(where, line.where) && matches(text, line.text);
    }));
}

bool LogFile::contains(const std::string& part) const { return text().find(part) != std::string::npos; }

}  // namespace nebrix::test
