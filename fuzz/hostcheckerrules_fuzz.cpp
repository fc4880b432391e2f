// SPDX-License-Identifier: Apache-2.0
// The host checker's request, which comes from a gateway: whatever it holds, the answer is a list of readable IDs.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" {
#include "sdk/components/hostchecker/rules.h"
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string request(reinterpret_cast<const char*>(data), size);
    nebrix_text answer = NEBRIX_TEXT_INIT(kRuleLimit * (kIdLimit + 1));
    facts machine;
    facts_init(&machine, "/nonexistent");
    rules_evaluate(request.c_str(), &machine, &answer);
    facts_free(&machine);
    const std::string ids = nebrix_text_get(&answer);
    nebrix_text_free(&answer);
    if (ids.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.,") !=
        std::string::npos)
        std::abort();

    // Both orders of two versions must agree.
    const std::string a = request.substr(0, size / 2);
    const std::string b = request.substr(size / 2);
    const int forth = version_compare(a.c_str(), b.c_str());
    const int back = version_compare(b.c_str(), a.c_str());
    if ((forth < 0) != (back > 0) || (forth == 0) != (back == 0))
        std::abort();
    return 0;
}
