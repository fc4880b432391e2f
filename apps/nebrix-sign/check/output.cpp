// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>

#include "apps/nebrix-sign/check/componentcheck.h"
#include "libs/json/jsonmutwrapper.h"

namespace tessel::sign {

namespace {

constexpr std::array kResults{"ok", "failed", "not checked"};

const char* nameOf(Verdict::Result result) { return kResults[static_cast<std::size_t>(result)]; }

std::string column(const std::string& text, std::size_t width) {
    return text + std::string(width - std::min(width, text.size()), ' ');
}

}  // namespace

std::string toText(const CheckReport& report) {
    constexpr std::size_t kResultWidth = 13;
    constexpr std::size_t kNumberWidth = 5;
    std::string text;
    for (const Verdict& verdict : report.verdicts) {
        text += column(nameOf(verdict.result), kResultWidth) + column(verdict.rule->number, kNumberWidth) +
                verdict.rule->title + (verdict.sentence.empty() ? "" : ": " + verdict.sentence) + "\n";
    }
    std::string separator = "";
    for (const auto result : {Verdict::Result::Ok, Verdict::Result::Failed, Verdict::Result::NotChecked}) {
        text += separator + std::to_string(report.count(result)) + " " + nameOf(result);
        separator = ", ";
    }
    return text + ": " + report.path + "\n";
}

std::string toJson(const CheckReport& report) {
    using json::JSONMutWrapper;
    JSONMutWrapper types = JSONMutWrapper::array();
    for (const std::string& type : report.types) {
        types.append(String::copy(type));
    }
    JSONMutWrapper rules = JSONMutWrapper::array();
    for (const Verdict& verdict : report.verdicts) {
        JSONMutWrapper rule = JSONMutWrapper::object();
        rule.set("rule", verdict.rule->number).set("title", verdict.rule->title);
        rule.set("result", nameOf(verdict.result)).set("sentence", String::copy(verdict.sentence));
        rules.append(rule);
    }
    JSONMutWrapper document = JSONMutWrapper::object();
    document.set("library", String::copy(report.path)).set("types", types);
    document.set("passed", report.passed()).set("rules", rules);
    return std::string(json::toString(document).view()) + "\n";
}

}  // namespace tessel::sign
