#include <tessel/base/numbers.h>
#include <tessel/base/splitter.h>
#include <tessel/base/string.h>

#include <string>

#include "expect.h"

using tessel::String;

int main() {
    const String line = "user=ada; shell=/bin/zsh; uid=0x3e8";  // a view of the literal
    String shell;
    unsigned uid = 0;
    for (const String& field : tessel::CharSplitter(line, ';')) {  // views of the same bytes
        const String name = field.trim().left('=');
        if (name == "shell") {
            shell = field.right('=');
        } else if (name == "uid") {
            uid = tessel::toUint32(field.right('='), 0);
        }
    }
    expect(shell == "/bin/zsh" && shell.array() == line.array() + 16 && uid == 1000);

    const std::string home = "/home/ada";
    const String command = shell + " --home=" + home + " --uid=" + tessel::toString(uid);  // one allocation
    expect(command == "/bin/zsh --home=/home/ada --uid=1000");

    String changed = command;  // shares the bytes
    expect(changed.array() == command.array());
    changed += " &";  // has its own from here on
    expect(command.ends("1000") && changed.ends("1000 &") && changed.find("--uid") == 26);
    expect(command.replace("zsh", "sh").starts("/bin/sh ") && String(", ").glue({"a", "b"}) == "a, b");

    const String kept{home};  // string_view and std::string are copied, a const char* is viewed
    expect(kept == home && kept.array() != home.data());
}
