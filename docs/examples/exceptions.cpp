#include <tessel/base/errors.h>
#include <tessel/base/file.h>

#include <string_view>

#include "expect.h"

TESSEL_EXCEPTION(EShop, tessel::IOException);
constexpr tessel::RaiseSite kDoor{"shop/door", 12};  // what the texts show: stays when the code moves

int main() {
    try {
        (void)tessel::File::readAllFile("nowhere/at-all");
        expect(false);
    } catch (const std::exception& caught) {  // who knows only the standard library is told it all
        expect(std::string_view(caught.what()).ends_with(": nowhere/at-all: No such file or directory"));
    }
    try {
        tessel::raise<EShop>("closed", kDoor, {.subject = "front", .words = "it is Sunday"});
    } catch (const tessel::IOException& caught) {  // by its family, by value or by its facts
        expect(caught.toString() == "closed:door:12" && caught.facts().subject == "front");
        expect(caught.trace("shop/customer", 7) == "closed:door:12 -> customer:7");
        expect(std::string_view(caught.what()) == "closed:door:12: front: it is Sunday");
    }
}
