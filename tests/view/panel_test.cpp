// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>

#include "apps/nebrixclient/view/displaytext.h"
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

/// Runs a script on a fresh panel: "A" an attempt, "K" its component, "E" its end, "S" a status, "." a tick, "B"
/// brought back, "<" and ">" the beginning and end of a download, anything else but blanks a line, "''" the empty one.
/// Gives what each step did ("idle" for a tick that need not have been), then what is shown: the main line's kind, "+"
/// and "%" for the row below, phrase and dots.
std::string run(const std::string& script) {
    const std::map<std::string, void (*)(PanelState&)> acts{{"A", [](PanelState& panel) { panel.asking(); }},
                                                            {"K", [](PanelState& panel) { panel.accepted(); }},
                                                            {"E", [](PanelState& panel) { panel.ended(); }},
                                                            {"B", [](PanelState& panel) { panel.broughtBack(); }},
                                                            {"<", [](PanelState& panel) { panel.transferring(true); }},
                                                            {">", [](PanelState& panel) { panel.transferring(false); }},
                                                            {"?", [](PanelState& panel) { panel.silent(true); }},
                                                            {"!", [](PanelState& panel) { panel.silent(false); }}};
    PanelState panel;
    std::string told;
    std::istringstream steps(script);
    for (std::string step; steps >> step;) {
        if (const auto act = acts.find(step); act != acts.end()) {
            act->second(panel);
        } else if (step == "S") {
            told += panel.status() ? "shown " : "refused ";
        } else if (step == ".") {
            const bool counts = panel.ticking();
            told += counts ? "" : "idle ";
            const auto [redrawDots, hide, show] = panel.tick();
            told += redrawDots ? "dots" + std::to_string(panel.dots()) + " " : "";
            told += hide ? "hidden " : show ? "back " : counts && !redrawDots ? "- " : "";
        } else {
            told += panel.line(String::copy(step == "''" ? "" : step.c_str())) ? "line " : "same ";
        }
    }
    const VpnPhrase& phrase = panel.phrase();
    told += "SCWXN"[static_cast<std::size_t>(panel.main())];
    told += panel.pluginRow() ? "+" : panel.progressRow() ? "%" : "";
    told += std::string(" ") + phrase.key + std::to_string(panel.dots());
    return phrase.address.has_value() ? told + " " + phrase.address->str() : told;
}

TEST(PanelState, followsStatusesLinesTicksAndDownloads) {
    const std::pair<const char*, const char*> cases[] = {
        // A driver status hides itself at the second tick after the last one, and is what lasts until more is known.
        {". S . S . . .", "idle shown - shown - hidden idle S 0"},
        // Not while a download runs; then the count starts anew.
        {"S . < . . . > . .", "shown - - - - - hidden C 0"},
        {"S <", "shown S% 0"},
        {"< init > . .", "line dots1 dots2 C+ VPN_INIT2"},
        // Lines: a repeated one does nothing, and the first is compared with an empty one.
        {"'' S", "same shown S 0"},
        {"S init S . . . .", "shown line refused dots1 dots2 dots3 dots0 C+ VPN_INIT0"},
        {"S . . init", "shown - hidden line C+ VPN_INIT0"},
        {"init . . init authenticating init", "line dots1 dots2 same line line C+ VPN_INIT0"},
        {"reconnecting . getconfig authError .", "line dots1 line line idle C+ VPN_AUTHERROR0"},
        {"init '' . S", "line line idle refused C+ VPN_STOPPED0"},
        // One that is not understood leaves phrase and dots on, but counts as a line.
        {"init . strange .", "line dots1 line dots1 C+ VPN_INIT1"},
        {"S Init . S", "shown line idle refused C+ 0"},
        // A component that does not answer is told until it does, or is over.
        {"connected ?", "line X+ VPN_CONNECTED0"},
        {"connected ? !", "line C+ VPN_CONNECTED0"},
        {"connected ? E", "line N VPN_CONNECTED0"},
        {"connected ? A", "line C+ VPN_CONNECTED0"},
        // The address is all that follows the first "ip=".
        {"connected", "line C+ VPN_CONNECTED0"},
        {"connectedip=", "line C+ VPN_GIVENIP %s0 "},
        {"init connected/ip=10.0.0.7/ip=8 .", "line line idle C+ VPN_GIVENIP %s0 10.0.0.7/ip=8"},
        // A status keeps its time; what it announced may be over by then. Brought back, the panel stays.
        {"A S K", "shown S 0"},
        {"A S K . .", "shown - hidden C 0"},
        {"A S K B . . .", "shown idle idle idle C 0"},
        {"A S K S . .", "shown shown - hidden S 0"},
        // Ten ticks without an answer bring it back until there is one.
        {"A S . . . . . . . . . . .", "shown - hidden - - - - - - - back idle W 0"},
        {"A S . . . . . . . . . . K .", "shown - hidden - - - - - - - back idle C 0"},
        {"A S . . . . . E A S . . . . . .", "shown - hidden - - - shown - hidden - - - - S 0"},
        {"A . . . . . . . . . . E . . .", "- - - - - - - - - back - hidden idle N 0"},
        // Nothing is connected after the end.
        {"A S E", "shown N 0"},
        {"A K connected E", "line N VPN_CONNECTED0"}};
    for (const auto& [script, told] : cases) {
        EXPECT_EQ(run(script), told) << script;
    }
}

TEST(PanelGeometry, growsInHundredsUpToTheScreenAndNeverShrinks) {
    const std::tuple<Size, Size, bool, std::optional<Size>> cases[] = {
        {{341, 129}, {300, 100}, true, Size{300, 100}},   {{341, 129}, {341, 129}, false, std::nullopt},
        {{341, 129}, {405, 129}, false, Size{500, 129}},  {{400, 129}, {500, 100}, false, Size{600, 129}},
        {{500, 129}, {405, 129}, false, std::nullopt},    {{500, 129}, {341, 160}, false, Size{500, 160}},
        {{341, 129}, {2405, 800}, false, Size{800, 600}}, {{900, 700}, {405, 129}, false, Size{800, 600}},
        {{341, 129}, {2405, 129}, true, Size{800, 129}}};
    for (const auto& [current, best, first, size] : cases) {
        EXPECT_EQ(panelSize(current, best, {800, 600}, 341, first), size) << best.width << " in " << current.width;
    }
    EXPECT_EQ(panelPosition({-1920, 25, 1920, 1080}, 500), (Point{-501, 25}));
}

TEST(DisplayText, isOneBoundedLineWhateverTheText) {
    const std::tuple<const char*, unsigned, const char*> cases[] = {
        {"", 3, ""},
        {"abc", 3, "abc"},
        {"abcd", 3, "a\u2026d"},
        {"abcdef", 4, "ab\u2026f"},
        {"a\n\r\tb\x01", 9, "a   b\\x01"},
        {"\u00e4\u00f6\u00fc", 3, "\u00e4\u00f6\u00fc"},
        {"\u00e4\u00f6\u00fc\u00df", 3, "\u00e4\u2026\u00df"},
        {"\xbf\xbf\xbf\xbf", 2, "\\xbf\\xbf\\xbf\\xbf"},
        {"\u202Eab", 9, "\\xe2\\x80\\xaeab"}};
    for (const auto& [text, most, shown] : cases) {
        EXPECT_EQ(forLabel(text, most), shown) << text;
    }
    EXPECT_EQ(forToolTip("abc\ndefgh", 9, 4), "abc \ndefg\nh");
}

}  // namespace
}  // namespace tessel::view
