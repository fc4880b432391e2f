#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "apps/nebrixclient/view/panelgeometry.h"
#include "apps/nebrixclient/view/panelstate.h"

namespace tessel::view {
namespace {

TEST(StatusKey, isEmptyForTheEndAndForUnknownNumbers) {
    std::string keys;
    for (int status = 0; status < 7; ++status) {
        keys += statusKey(status) + std::string(",");
    }
    EXPECT_EQ(keys, ",STATUS_IDLE,STATUS_DOWNLOADING_COMPENENTS,STATUS_CONNECTED,,HOSTCHECKING,,");
}

/// Runs a script on a fresh panel: "S" a status, "." a tick, "<" and ">" the beginning and end of a download, anything
/// else but blanks a line, "''" the empty one. Gives what each step did, then what is shown.
std::string run(const std::string& script) {
    PanelState panel;
    std::string told;
    std::istringstream steps(script);
    for (std::string step; steps >> step;) {
        if (step == "S") {
            told += panel.status() ? "shown " : "refused ";
        } else if (step == ".") {
            const auto [redrawDots, hide] = panel.tick();
            told += redrawDots ? "dots" + std::to_string(panel.dots()) + " " : "";
            told += hide ? "hidden " : redrawDots ? "" : "- ";
        } else if (step == "<" || step == ">") {
            panel.transferring(step == "<");
        } else {
            const auto [ignored, leftDriverMode] = panel.line(String::copy(step == "''" ? "" : step.c_str()));
            told += ignored ? "same " : leftDriverMode ? "first " : "line ";
        }
    }
    const VpnPhrase& phrase = panel.phrase();
    told += std::string(panel.driverMode() ? "D " : "P ") + phrase.key + std::to_string(panel.dots());
    return phrase.address.has_value() ? told + " " + phrase.address->str() : told;
}

TEST(PanelState, followsStatusesLinesTicksAndDownloads) {
    const std::pair<const char*, const char*> cases[] = {
        // A driver status hides itself at the second tick after the last one.
        {". S . S . . .", "- shown - shown - hidden - P 0"},
        // Not while a download runs; then the count starts anew.
        {"S . < . . . > . .", "shown - - - - - hidden P 0"},
        {"< init > . .", "line dots1 dots2 P VPN_INIT2"},
        // Lines: a repeated one does nothing, and the first is compared with an empty one.
        {"'' S", "same shown D 0"},
        {"S init S . . . .", "shown first refused dots1 dots2 dots3 dots0 P VPN_INIT0"},
        {"S . . init", "shown - hidden line P VPN_INIT0"},
        {"init . . init authenticating init", "line dots1 dots2 same line line P VPN_INIT0"},
        {"reconnecting . getconfig authError .", "line dots1 line line - P VPN_AUTHERROR0"},
        {"init '' . S", "line line - refused P VPN_STOPPED0"},
        // One that is not understood leaves phrase and dots on, but counts as a line.
        {"init . strange .", "line dots1 line dots1 P VPN_INIT1"},
        {"S Init . S", "shown first - refused P 0"},
        // The address is all that follows the first "ip=".
        {"connected", "line P VPN_CONNECTED0"},
        {"connectedip=", "line P VPN_GIVENIP %s0 "},
        {"init connected/ip=10.0.0.7/ip=8 .", "line line - P VPN_GIVENIP %s0 10.0.0.7/ip=8"}};
    for (const auto& [script, told] : cases) {
        EXPECT_EQ(run(script), told) << script;
    }
}

TEST(PanelGeometry, growsInHundredsAndNeverShrinks) {
    const std::tuple<Size, Size, bool, std::optional<Size>> cases[] = {
        {{341, 129}, {300, 100}, true, Size{300, 100}},  {{341, 129}, {341, 129}, false, std::nullopt},
        {{341, 129}, {405, 129}, false, Size{500, 129}}, {{400, 129}, {500, 100}, false, Size{600, 129}},
        {{500, 129}, {405, 129}, false, std::nullopt},   {{500, 129}, {341, 160}, false, Size{500, 160}}};
    for (const auto& [current, best, first, size] : cases) {
        EXPECT_EQ(panelSize(current, best, 341, first), size) << best.width << " in " << current.width;
    }
    EXPECT_EQ(panelPosition({-1920, 25, 1920, 1080}, 500), (Point{-501, 25}));
}

}  // namespace
}  // namespace tessel::view
