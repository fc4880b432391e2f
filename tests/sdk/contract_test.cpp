#include "tests/sdk/component.h"
#include "tests/support/components/setters.h"

extern "C" int contract_calls_that_arrived(void);

namespace nebrix::test {
namespace {

TEST(Contract, EveryEntryTypeFitsItsPrototypeInC) { EXPECT_EQ(contract_calls_that_arrived(), 27); }

TEST(Contract, ComponentsExportWhatTheirTableRequires) {
#define NAME(entry) #entry " "
    const std::string plugin = PLUGIN_SETTERS(NAME)
        "DllCreatePluginFrontal DllSetDownloadDelegate2 DllExecute2 DllGetLogs2 DllGetErrors2 DllStart2 DllStop2 "
        "DllReleaseStr DllAddSslServerCertificateName";
    const std::string checker = "InitHostCheckerDll CloseHostCheckerDll GetValidRules";
    for (const auto& [name, entries] : {std::pair{"tunnel", plugin}, {"notunnel", plugin}, {"hostchecker", checker}}) {
        const Component component(name);
        for (const std::string& entry : split(entries, ' '))
            EXPECT_TRUE(component.has(entry)) << name << " lacks " << entry;
        EXPECT_FALSE(component.has("nebrix_text_append")) << name << " exports more than its entries";
    }
    EXPECT_FALSE(Component("tunnel").has("LaunchSafeResource"));
    EXPECT_TRUE(Component("notunnel").has("LaunchSafeResource"));
}

}  // namespace
}  // namespace nebrix::test
