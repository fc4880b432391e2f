// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/tlsfiles.h"

#include <gtest/gtest.h>

#include "apps/nebrixclient/nebrixclientcurlsession.h"
#include "libs/openssl/certificateauthority.h"
#include "tests/support/temporarydirectory.h"

namespace tessel::test {

TEST(TlsFiles, areForTheGatewayAloneOrTheOneToBlameIsNamed) {
    const nebrix::test::TemporaryDirectory directory;
    const auto file = [&](const char* name, const auto& content) {
        return String::copy(directory.write(name, std::string(content.view())));
    };
    const tls::CertificateAuthority authority("authority.example");
    const tls::IssuedCertificate me = authority.issue({{"me"}, {}}, tls::CertificateAuthority::Purpose::Client);
    const String ca = file("ca", authority.certificatePem());
    const String own = file("own", me.certificatePem);
    const String packed = file("packed", me.pkcs12("secret"));
    const String other = file("other", authority.issue({{"me"}, {}}, {}).keyPem);
    const String words = file("words", String("secret\nmore"));
    const String blank = file("blank", String());
    const String large = file("large", String(me.certificatePem + String(std::string(1024 * 1024, '\n').c_str())));
    const std::tuple<TlsFiles, String, EndCause> cases[] = {{{ca, packed, "", words}, "", EndCause::None},
                                                            {{"", packed, "", other}, packed, EndCause::WrongPassword},
                                                            {{"", packed, "", blank}, blank, EndCause::Unreadable},
                                                            {{"", own, other, ""}, other, EndCause::OtherKey},
                                                            {{"", own, "", ""}, own, EndCause::Unreadable},
                                                            {{other, "", "", ""}, other, EndCause::Unreadable},
                                                            {{large, "", "", ""}, large, EndCause::Unreadable},
                                                            {{"/gone", "", "", ""}, "/gone", EndCause::Missing}};
    for (const auto& [files, blamed, cause] : cases) {
        ClientLocalConfiguration configuration;
        configuration.setTlsFiles(files);
        NebrixClientCurlSession session(configuration);
        try {
            session.begin("gw:8443");
            EXPECT_EQ(cause, EndCause::None) << blamed.str();
            EXPECT_FALSE(session.credentials("https://me@gw:8443/x")->keyPem.empty());
            const auto others = session.credentials("https://gw/");
            EXPECT_TRUE(others->keyPem.empty() && others->certificatePem.empty() && !others->authoritiesPem.empty());
        } catch (const ESettingsFile& caught) {
            EXPECT_EQ(caught.facts().subject, blamed);
            EXPECT_EQ(caught.facts().cause, static_cast<int>(cause)) << blamed.str();
        }
    }
}

}  // namespace tessel::test
