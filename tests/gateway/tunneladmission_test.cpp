// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-demo-gateway/tunneladmission.h"

#include <gtest/gtest.h>

#include <vector>

namespace tessel::gateway {
namespace {

using Lines = std::vector<std::string>;

TEST(TunnelAdmission, takesWhoKnowsEverythingAndNobodyElse) {
    const std::string right = "client-auth-nt 7 1\n";
    const std::string stranger = "client-deny 7 1 \"wrong login or ticket\" \"wrong login or ticket\"\n";
    const std::string other = "client-deny 7 1 \"wrong session id\" \"wrong session id\"\n";
    const std::tuple<Lines, std::string, const char*> cases[] = {
        {{"username=me", "password=a=b,c"}, right, "accepted: right login and ticket, no organisation, no session id"},
        {{"password=a=b,c", "UV_SESSION=s_1", "UV_ORGANIZATION=__rg", "username=me"},
         right,
         "accepted: right login and ticket, right organisation, right session id"},
        {{"username=me", "password=a=b"}, stranger, "refused: wrong login or ticket"},
        {{"username=you", "password=a=b,c", "UV_SESSION=s_1"}, stranger, "refused: wrong login or ticket"},
        {{"password=a=b,c"}, stranger, "refused: wrong login or ticket"},
        {{"username=me", "password=a=b,c", "UV_SESSION=s 2"}, other, "refused: wrong session id"}};
    TunnelAdmission admission({.login = "me", .ticket = "a=b,c", .organisation = "Örg", .sessionId = "s 1"});
    for (const auto& [environment, commands, news] : cases) {
        for (const char* event : {"CONNECT", "REAUTH"}) {
            EXPECT_EQ(admission.take(std::string(">CLIENT:") + event + ",7,1").commands, "");
            for (const std::string& variable : environment) {
                EXPECT_EQ(admission.take(">CLIENT:ENV," + variable).commands, "") << variable;
            }
            const auto answer = admission.take(">CLIENT:ENV,END");
            EXPECT_EQ(answer.commands, commands) << &environment - &std::get<0>(cases[0]);
            EXPECT_EQ(answer.news, news);
        }
        for (const char* line : {">CLIENT:ESTABLISHED,7", ">CLIENT:ENV,username=me", ">CLIENT:ENV,END"}) {
            EXPECT_EQ(admission.take(line).commands, "") << "nobody is to be judged";
        }
    }
}

TEST(TunnelAdmission, letsTheServerGoToWorkAfterEachRestart) {
    TunnelAdmission admission({});
    for (int start = 0; start < 2; ++start) {
        EXPECT_EQ(admission.take(">HOLD:Waiting for hold release:0").commands, "state on\nhold release\n");
        EXPECT_EQ(admission.take(">STATE:1,ASSIGN_IP,,10.88.0.1,,,,").commands, "");
        EXPECT_EQ(admission.ready(), start == 1);
        admission.take(">STATE:1,CONNECTED,SUCCESS,10.88.0.1,,,10.99.0.1,1194");
        EXPECT_TRUE(admission.ready());
    }
    EXPECT_EQ(admission.failure(), "");
    admission.take(">FATAL:no tun");
    EXPECT_EQ(admission.failure(), "no tun");
}

}  // namespace
}  // namespace tessel::gateway
