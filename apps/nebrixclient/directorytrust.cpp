// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/directorytrust.h"

#include <sys/stat.h>
#include <unistd.h>

#include "apps/nebrixclient/componentdownload.h"
#include "libs/base/file.h"
#include "libs/base/log.h"
#include "libs/base/numbers.h"

namespace tessel {

String writableByOthers(const String& directory) {
    struct stat status {};
    if (::stat(directory.str(), &status) != 0) {
        return {};
    }
    if (status.st_uid != ::geteuid() && status.st_uid != 0) {
        return "belongs to user " + toString(status.st_uid);
    }
    if ((status.st_mode & S_ISVTX) != 0 || (status.st_mode & (S_IWGRP | S_IWOTH)) == 0) {
        return {};
    }
    return (status.st_mode & S_IWOTH) != 0 ? "everybody may write" : "its group may write";
}

void warnOfOpenDirectories() {
    const String data = File::getUserApplicationDataDirectory();
    Strings open;
    for (const String& directory :
         {File::getSubPath(File::getSubPath(data)), data, pluginDirectory(), hostcheckerDirectory()}) {
        if (const String why = writableByOthers(directory); !why.empty()) {
            open.push_back(directory + " (" + why + ")");
        }
    }
    if (!open.empty()) {
        log(LogCategory::Warning, "NebrixClient", "main",
            String("Others can exchange files here, which is noticed for components alone: " +
                   String(", ").glue(open)));
    }
}

}  // namespace tessel
