// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstring>

#include "apps/nebrixclient/view/instancekey.h"

namespace tessel::view {
namespace {

TEST(Startup, namesTheLockByTheArgumentsDigest) {
    EXPECT_EQ(instanceLockName("A"), "nebrixclient:bc1M4j2I4u6VaLpUbAB8Y9kTHBs=");
    EXPECT_EQ(instanceLockName("nebrix://13@gw"), "nebrixclient:JexfLnU_DuY4RTfon2O_AgR30UI=");
}

TEST(Startup, dumpsCoreForOneAloneApartFromTrailingSpace) {
    for (const char* value : {"1", "1 ", "1 \t\n\v\f\r", "", " ", " 1", "1 1", "11", "yes", "true"}) {
        EXPECT_EQ(coreDumpsWanted(value), value[0] == '1' && std::strchr(value + 1, '1') == nullptr) << value;
    }
}

}  // namespace
}  // namespace tessel::view
