// SPDX-License-Identifier: Apache-2.0
#include "tests/support/logfile.h"

#include <fnmatch.h>

#include <filesystem>
#include <sstream>

#include "tests/support/temporarydirectory.h"

namespace nebrix::test {

std::string LogFile::text() const { return std::filesystem::exists(m_path) ? readFile(m_path) : std::string(); }

unsigned LogFile::count(const std::string& label, const std::string& where, const std::string& text) const {
    const std::string pattern =
        "[0-9]*-[0-9]*-[0-9]* [0-9]*:[0-9]*:[0-9]*.[0-9]* [[]*] " + label + " " + where + " " + text;
    std::istringstream all(this->text());
    unsigned found = 0;
    for (std::string line; std::getline(all, line);) {
        found += ::fnmatch(pattern.c_str(), line.c_str(), 0) == 0 ? 1 : 0;
    }
    return found;
}

}  // namespace nebrix::test
