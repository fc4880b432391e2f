#include <tessel/base/confhelper.h>
#include <tessel/json/jsonmutwrapper.h>
#include <tessel/json/jsonreader.h>

#include <algorithm>
#include <iterator>

#include "expect.h"

using namespace tessel;
using json::JSONMutWrapper;

static_assert(std::forward_iterator<json::JSONWrapperConstIterator>);

int main() {
    const json::JSONWrapperFromString answer(R"({"ok": true, "hosts": ["a", "b"], "limits": {"depth": 3}})");
    expect(answer["ok"].asBool() && answer["limits"]["depth"].asInt32() == 3);
    expect(answer["none"].getType() == json::JSON::nullValue);

    String joined;
    for (const json::JSONWrapper host : answer["hosts"]) {
        joined.append(host.asString(), ';');
    }
    expect(joined == "a;b;" && std::ranges::distance(answer) == 3 && answer.begin().name() == "hosts");

    // By the interface that XML is read by as well: required keys, words of what was expected, the key's whole path.
    try {
        int depth = 0;
        ConfReadHelper::readKey((*answer.getReader())["limits"], "width", depth, true);
        expect(false);
    } catch (const Exception& caught) {
        expect(caught.facts().subject == "width" && caught.getMessage() == "EConfMissingKey");
    }

    JSONMutWrapper made = JSONMutWrapper::object();
    made.set("name", "shop").set("doors", 2).set("hosts", answer["hosts"]);
    expect(json::toLine(made) == R"({"doors":2,"hosts":["a","b"],"name":"shop"})");
}
