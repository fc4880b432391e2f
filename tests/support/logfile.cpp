#include "tests/support/logfile.h"

#include <fnmatch.h>

#include <algorithm>
#include <filesystem>
#include <regex>
#include <sstream>

#include "tests/support/temporarydirectory.h"

namespace nebrix::test {

std::string LogFile::text() const { return std::filesystem::exists(m_path) ? readFile(m_path) : std::string(); }

std::vector<LogFile::Line> LogFile::lines() const {
    static const std::regex form(
        R"(\d\d-\d\d-\d\d \d\d:\d\d:\d\d\.\d{1,3} \[([^\]]*)\] (\S+) ([^\s:]+:|[^\s.]+\.\S+) (.*))");
    std::vector<Line> result;
    std::istringstream all(text());
    std::smatch parts;
    for (std::string line; std::getline(all, line);) {
        result.push_back(std::regex_match(line, parts, form) ? Line{parts[1], parts[2], parts[3], parts[4]}
                                                             : Line{{}, {}, {}, line});
    }
    return result;
}

unsigned LogFile::count(const std::string& label, const std::string& where, const std::string& text) const {
    const std::vector<Line> all = lines();
    const auto matches = [](const std::string& pattern, const std::string& part) {
        return ::fnmatch(pattern.c_str(), part.c_str(), 0) == 0;
    };
    return static_cast<unsigned>(std::ranges::count_if(all, [&](const Line& line) {
        return matches(label, line.label) && matches(where, line.where) && matches(text, line.text);
    }));
}

}  // namespace nebrix::test
