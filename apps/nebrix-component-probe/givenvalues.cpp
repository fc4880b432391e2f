// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-component-probe/givenvalues.h"

#include <cerrno>
#include <fstream>

#include "apps/nebrix-component-probe/values.h"
#include "libs/base/platform.h"

namespace tessel::probe {

namespace {

constexpr RaiseSite kSite{"apps/nebrix-component-probe/givenvalues", 20};

}  // namespace

GivenValues readGivenValues(const std::string& path) {
    std::ifstream file(path);
    GivenValues values;
    int number = 0;
    for (std::string line; std::getline(file, line);) {
        ++number;
        if (line.empty() || line.front() == '#') {
            continue;
        }
        const auto equals = line.find('=');
        const std::string key = line.substr(0, equals);
        if (equals == std::string::npos || !isGivenKey(key)) {
            raise<EGivenValues>(String::copy(path + ", line " + std::to_string(number) +
                                             ": KEY=TEXT is wanted, with one of the keys that the manual lists"),
                                kSite);
        }
        const auto [place, fresh] = values.emplace(key, line.substr(equals + 1));
        if (!fresh) {
            place->second += "\n" + line.substr(equals + 1);
        }
    }
    if (!file.eof()) {  // not opened, or a directory
        raise<EGivenValues>(String::copy("cannot read " + path + ": ") + platform::errorText(errno), kSite);
    }
    return values;
}

}  // namespace tessel::probe
