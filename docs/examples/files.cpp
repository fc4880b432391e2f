#include <tessel/base/file.h>
#include <tessel/base/filelock.h>

#include <algorithm>

#include "expect.h"

using tessel::File;
using tessel::String;

int main() {
    const String directory = "example-files/deep/er";
    File::ensureDirectory(directory);
    const String path = directory + "/settings";

    // At any moment, also after a crash, the old content or the new one stands there whole.
    File::writeAtomically(path, "colour=green\n");
    File::writeAtomically(path, "colour=blue\n");
    expect(File::readAllFile(path, 1024) == "colour=blue\n");  // raises EFile for a longer one

    {
        File file;  // buffered; also an IWriter, to download or serialise into
        expect(file.open(path, File::kOut | File::kAppend));
        file.write("size=");
        file.write(42);
        file.flush();  // raises where the disk is full; the destructor cannot
    }
    File file;
    expect(file.open(path, File::kIn) && file.size() == 19);
    file.setReadPos(17);
    int size = 0;
    file.read(size);
    expect(size == 42 && file.sizeToRead() == 0);

    File::setUserApplicationDirectoryName(".shop");
    expect(File::getUserApplicationDataDirectory().ends("/.shop/"));

    const tessel::FileLock lock(directory + "/lock", [] { return false; });  // between processes
    expect(lock.held());
    tessel::Strings names;
    File::getFullList(directory, names);
    std::ranges::sort(names);
    expect(names == tessel::Strings{"lock", "settings"});
    File::removeTree("example-files");
    expect(!File::exists(path));
}
