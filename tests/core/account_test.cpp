// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/account.h"

#include <gtest/gtest.h>

namespace tessel::test {
namespace {

TEST(SessionEnd, isASentence) {
    const std::pair<SessionEnd, const char*> cases[] = {
        {{.kind = EndKind::Refused, .host = "gw"}, "the gateway gw refused the session and gave no reason"},
        {{.kind = EndKind::Unreachable, .cause = EndCause::Proxy, .host = "gw"},
         "the gateway gw could not be reached: the proxy could not be used"},
        {{.kind = EndKind::Unreachable, .cause = EndCause::Proxy, .host = "gw", .httpStatus = 407},
         "the gateway gw could not be reached: the proxy refused with HTTP status 407"},
        {{.kind = EndKind::NotUnpacked, .path = "a.zip", .text = "why"},
         "the archive a.zip could not be unpacked: why"},
        {{.kind = EndKind::Component, .cause = EndCause::AskedAgain, .number = 3},
         "the component asked for the end, reason 3"},
        {{.kind = EndKind::Component, .cause = EndCause::AskedAtOnce, .number = 4},
         "the component asked for the end at once, reason 4"},
        {{.kind = EndKind::ComponentFailed, .cause = EndCause::Raised, .key = "DllStop2", .text = "what"},
         "the component failed in DllStop2: what"},
        {{.kind = EndKind::NotWritable, .path = "/p", .text = "why"}, "/p cannot be read or written: why"}};
    for (const auto& [end, sentence] : cases) {
        EXPECT_EQ(describe(end), sentence);
    }
}

}  // namespace
}  // namespace tessel::test
