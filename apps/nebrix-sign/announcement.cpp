// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-sign/signing.h"
#include "libs/json/jsonmutwrapper.h"

namespace tessel::sign {

std::string toJson(const Announcement& announcement) {
    json::JSONMutWrapper object = json::JSONMutWrapper::object();
    object.set("filename", announcement.filename.c_str())
        .set("md5", announcement.md5.c_str())
        .set("urlpath", announcement.urlpath.c_str())
        .set("pattern", announcement.pattern.c_str())
        .set("version", announcement.version.c_str());
    return std::string(json::toString(object).view()) + "\n";
}

}  // namespace tessel::sign
