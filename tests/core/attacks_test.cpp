// SPDX-License-Identifier: Apache-2.0
// The attacks on software updates that The Update Framework lists, against a client whose component ran once and whose
// settings refuse older ones. docs/security.md has the verdicts in words.

#include <gmock/gmock.h>

#include <fstream>

#include "apps/nebrixclient/directorytrust.h"
#include "apps/nebrixclient/rememberedcomponents.h"
#include "apps/nebrixclient/signeddll.h"
#include "libs/base/datetime.h"
#include "libs/base/numbers.h"
#include "tests/core/drivertest.h"

namespace tessel::test {
namespace {

using enum sign::ComponentKind;

constexpr std::time_t kHour = 60L * 60;
constexpr std::time_t kYear = 365L * 24 * kHour;

class AttackTest : public DriverTest {
public:
    /// What must be fetched, since its digest is another one.
    void serveAnew(Fault fault, const std::string& library = "test-hostchecker") {
        gateway::GatewayOptions options = nebrix::test::recordingComponents();
        options.pause = std::chrono::milliseconds(1);
        options.libraries[Hostchecker] = NEBRIX_TEST_COMPONENTS "/lib" + library + ".so";
        options.faults.add(Fault::WrongMd5);
        options.faults.add(fault);
        serve(std::move(options));
    }
    [[nodiscard]] std::string unpacked(const std::string& name) const {
        return m_home.data("hostchecker/Hostchecker_" + m_gateway->archiveMd5(Hostchecker) + "/" + name);
    }
    /// What is on disk as the key's owner might have signed it as well.
    void sign(const std::function<void(DllInfos&)>& change) const {
        const String path = String::copy(unpacked("libtest-hostchecker.so.sig"));
        tls::RSA key;
        ASSERT_EQ(key.loadFromMem(nebrix::test::readFile(NEBRIX_TEST_KEY).c_str(), "", false), 1);
        SignedDll component;
        component.loadFromFile(path);
        change(component);
        component.signature = ContentSigner(static_cast<const DllInfos&>(component)).computeSignature(key);
        component.save(path);
    }
    void signIn(std::time_t seconds) const {
        const DateTime date(DateTime::now().seconds() + seconds);
        sign([&](DllInfos& infos) { infos.signdate = date.toString(); });
    }
    using DriverTest::m_client;
    using DriverTest::run;
};

struct Attack {
    const char* name;
    void (*mount)(AttackTest& client);
    const char* end;     // of the session then; the component runs where the gateway is the one to end it
    const char* logged;  // by that session
};

const Attack kAttacks[] = {
    {"arbitrary_software", [](AttackTest& client) { client.serveAnew(Fault::ForeignKey); }, "end signature",
     "ERROR FileSignature.verify bad signature"},
    {"endless_data",
     [](AttackTest& client) {
         client.serveAnew(Fault::WrongMd5);
         client.m_client->downloadManager().setLargestFile(1000);
     },
     "end archive-missing", "ERROR DownloadManager.downloadFileTo Error while downloding"},
    {"extraneous_dependencies",
     [](AttackTest& client) {
         client.serveAnew(Fault::WrongMd5, "test-hostchecker-neighbour");
         (void)client.run(Hostchecker);
         const std::string neighbour = "libtest-neighbour.so";
         std::filesystem::copy_file(NEBRIX_TEST_COMPONENTS "/" + neighbour, client.unpacked(neighbour));
     },
     "end component-unusable", "libtest-neighbour.so: cannot open shared object file"},
    {"fast_forward",
     [](AttackTest& client) {
         client.signIn(10 * kYear);
         (void)client.run(Hostchecker);
         client.signIn(0);
     },
     "end gateway", "libtest-hostchecker.so was signed in the future: "},
    {"indefinite_freeze", [](AttackTest&) {}, "end gateway", " are already present."},
    {"malicious_mirror", [](AttackTest& client) { client.serveAnew(Fault::EditedLibrary); }, "end signature",
     "ERROR FileSignature.verify bad hash "},
    {"mix_and_match", [](AttackTest& client) { client.sign([](DllInfos& infos) { infos.name = "plugindll"; }); },
     "end gateway", " as hostchecker, which is signed as plugindll"},
    {"rollback", [](AttackTest& client) { client.signIn(-kHour); }, "end component-unusable",
     ", older than what ran last: 1.0.0 of 20"},
    {"slow_retrieval", [](AttackTest& client) { client.serveAnew(Fault::Slow); }, "end gateway",
     "NebrixClientHostchecker.loadDll Module loaded"},
    {"wrong_software", [](AttackTest& client) { client.sign([](DllInfos& infos) { infos.version = "0.9"; }); },
     "end gateway", "announces version 1.0.0 of libtest-hostchecker.so, which is signed as 0.9"}};

void PrintTo(const Attack& attack, std::ostream* out) { *out << attack.name; }

class Attacks : public AttackTest, public testing::WithParamInterface<Attack> {};

TEST_P(Attacks, endAsTheyShould) {
    m_settings = "<components><older>refuse</older></components>";
    serve();
    ASSERT_THAT(run(Hostchecker), testing::Contains("end gateway"));
    GetParam().mount(*this);
    std::filesystem::remove(recordedCalls());
    EXPECT_THAT(run(Hostchecker), testing::Contains(GetParam().end));
    EXPECT_EQ(calls().empty(), GetParam().end != std::string("end gateway"));
    EXPECT_TRUE(logged(GetParam().logged));
}

INSTANTIATE_TEST_SUITE_P(All, Attacks, testing::ValuesIn(kAttacks), [](const auto& test) { return test.param.name; });

TEST_F(AttackTest, anOlderComponentIsToldOnceWhereItMayRun) {
    serve();
    (void)run(Hostchecker);
    signIn(-kHour);
    EXPECT_THAT(run(Hostchecker), testing::Contains("end gateway"));
    EXPECT_TRUE(describe(m_client->account().end())
                    .starts("the gateway needs no further host check; the component is older than the last one that "
                            "ran, 1.0.0 of 20"));
    (void)run(Hostchecker);
    EXPECT_EQ(m_client->account().end().olderThan, "");
}

TEST_F(AttackTest, directoriesThatOthersCanWriteAreNamed) {
    serve();
    const std::pair<int, const char*> modes[] = {
        {0700, ""}, {0755, ""}, {0775, "its group may write"}, {0707, "everybody may write"}, {01777, ""}};
    for (const auto& [mode, why] : modes) {
        std::filesystem::permissions(m_home.path(), static_cast<std::filesystem::perms>(mode));
        EXPECT_EQ(writableByOthers(String::copy(m_home.path())), why) << mode;
    }
    std::filesystem::permissions(m_home.path(), std::filesystem::perms::all);
    (void)run(Hostchecker);
    EXPECT_TRUE(logged("for components alone: " + m_home.path() + " (everybody may write)\n"));
}

TEST_F(AttackTest, whatRanIsKeptInAFileThatMayBeLost) {
    serve();
    const String path = RememberedComponents::defaultPath();
    std::ofstream(path.str()) << "<components><component><gateway>g</gateway></component></components>";
    DllInfos infos;
    infos.version = "7";
    RememberedComponents::remember(path, "g", "t", infos);
    EXPECT_TRUE(logged("WARNING RememberedComponents.load "));
    RememberedComponents kept = RememberedComponents::load(path);
    ASSERT_NE(kept.find("g", "t"), nullptr);
    EXPECT_EQ(kept.find("g", "t")->version, "7");
    EXPECT_EQ(kept.find("g", "other"), nullptr);
    for (unsigned i = 0; i < RememberedComponents::kMost; ++i) {
        kept.put(toString(i), "t", infos);
    }
    EXPECT_EQ(kept.find("g", "t"), nullptr) << "the one that changed longest ago";
    EXPECT_NE(kept.find("0", "t"), nullptr);
    RememberedComponents::remember("/nonexistent/file", "g", "t", infos);
    EXPECT_TRUE(logged("WARNING RememberedComponents.remember /nonexistent/file cannot be written"));
}

}  // namespace
}  // namespace tessel::test
