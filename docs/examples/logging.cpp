#include <tessel/base/console.h>
#include <tessel/base/file.h>
#include <tessel/base/numbers.h>
#include <tessel/base/platform.h>

#include "expect.h"

using tessel::Console;
using tessel::LogCategory;
using tessel::String;

int main() {
    tessel::platform::setSystemLogIdentity("shop");  // for the system's log, which has every line as well
    tessel::log(LogCategory::Trace, "Shop", "open", "nobody hears this: there is no console yet");

    Console::start();
    Console& console = *Console::instance();
    expect(console.setStream(LogCategory::Trace, "example.log"));
    expect(console.setStream(LogCategory::Debug, "null"));

    tessel::log(LogCategory::Trace, "Shop", "open", "customers: " + tessel::toString(3));  // queued, never waits
    tessel::log(LogCategory::Debug, "Shop", "open", "not in the file");
    tessel::log(LogCategory::Trace, "Shop", "close", "two lines\nare made one");
    expect(console.flush(5000));

    const String text = tessel::File::readAllFile("example.log");  // "22-11-26 09:05:07.47 [main] TRACE ..."
    expect(text.find(" [main] TRACE Shop.open customers: 3\n") != String::npos);
    expect(text.ends(" [main] TRACE Shop.close two lines\\x0aare made one\n") && text.find("DEBUG") == String::npos);
}
