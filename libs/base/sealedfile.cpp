// SPDX-License-Identifier: Apache-2.0
#include "libs/base/sealedfile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "libs/base/file.h"
#include "libs/base/log.h"
#include "libs/base/numbers.h"
#include "libs/base/platform.h"

namespace tessel {

namespace {

constexpr RaiseSite kOpen{"libs/base/sealedfile", 24};
constexpr RaiseSite kCopy{"libs/base/sealedfile", 33};
constexpr RaiseSite kAdopt{"libs/base/sealedfile", 47};
constexpr RaiseSite kLast{"libs/base/sealedfile", 61};

[[noreturn]] void fail(const String& path, RaiseSite site, const String& words, int systemError) {
    log(LogCategory::Error, "File", "seal", String("cannot open " + path + ": " + words));
    raise<EFile>("EFile", site, {.subject = path, .words = words, .systemError = systemError});
}

[[noreturn]] void fail(const String& path, RaiseSite site, int systemError) {
    fail(path, site, platform::errorText(systemError), systemError);
}

String pathOf(int descriptor) { return String("/proc/" + toString(::getpid()) + "/fd/" + toString(descriptor)); }

// Without waiting, so that a pipe under the name holds nobody.
Descriptor openRegular(const String& path, std::uint64_t most) {
    Descriptor file(::open(File::normalise(path).str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status {};
    if (!file.valid() || ::fstat(file.get(), &status) != 0) {
        fail(path, kOpen, errno);
    }
    if (!S_ISREG(status.st_mode)) {
        fail(path, kOpen, "it is no regular file", 0);
    }
    if (static_cast<std::uint64_t>(status.st_size) > most) {
        fail(path, kOpen, EFBIG);
    }
    return file;
}

}  // namespace

SealedFile::SealedFile(const String& path, std::uint64_t most) : m_path(path) {
    const Descriptor file = openRegular(path, most);
    String why;
    m_descriptor = platform::sealedCopy(file.get(), most, why);
    if (!m_descriptor.valid()) {
        const int systemError = errno;
        fail(path, kCopy, why.empty() ? platform::errorText(systemError) : why, systemError);
    }
}

SealedFile SealedFile::adopt(Descriptor descriptor, const String& path) {
    if (!platform::isSealed(descriptor.get())) {
        fail(path, kAdopt, "it is not sealed", 0);
    }
    SealedFile adopted;
    adopted.m_descriptor = std::move(descriptor);
    adopted.m_path = path;
    return adopted;
}

String SealedFile::openPath() const { return pathOf(m_descriptor.get()); }

String SealedFile::lastingPath() const {
    const int lasting = ::fcntl(m_descriptor.get(), F_DUPFD_CLOEXEC, 0);
    if (lasting < 0) {
        fail(m_path, kLast, errno);
    }
    return pathOf(lasting);
}

}  // namespace tessel
