// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-sign/check/componentcheck.h"

#include <algorithm>
#include <filesystem>

#include "apps/nebrix-component-probe/givenvalues.h"
#include "apps/nebrix-sign/check/proberun.h"
#include "apps/nebrix-sign/check/valgrind.h"
#include "apps/nebrix-sign/files.h"
#include "apps/nebrix-sign/scratchdirectory.h"

namespace tessel::sign {

namespace {

struct KindName {
    ComponentKind kind;
    Kinds bit;
    std::string name = std::string(componentKindName(kind));
};

/// The kinds as which the library can be checked.
std::vector<KindName> kindsOf(const CheckOptions& options) {
    std::vector<KindName> kinds;
    for (const KindName& each :
         {KindName{ComponentKind::PluginDll, kTunnel}, KindName{ComponentKind::PluginDllNoTunnel, kResource},
          KindName{ComponentKind::Hostchecker, kHostChecker}}) {
        const bool wanted = options.kind ? *options.kind == each.kind : hasEntriesOf(options.path, each.kind);
        if (wanted) {
            kinds.push_back(each);
        }
    }
    return kinds;
}

/// One check, from the library's bytes to the verdicts.
class Check {
public:
    explicit Check(const CheckOptions& options) : m_options(options) {
        m_report.path = options.path;
        for (const RuleText& rule : ruleTexts()) {
            m_report.verdicts.push_back({&rule, Verdict::Result::NotChecked, {}});
        }
    }
    CheckReport run();

private:
    Verdict& of(Rule rule) { return m_report.verdicts[static_cast<std::size_t>(rule)]; }
    void fail(const Fault& fault);
    void pass(Rule rule, Kinds kinds);
    bool hasEntries();
    void checkAs(const KindName& kind);
    void play(const KindName& kind, const Step& step);
    void playUnderValgrind(const KindName& kind);
    Outcome runStep(ProbeStart start, const std::string& kind, const char* scenario);
    void sayWhyNot();

    const CheckOptions& m_options;
    const ScratchDirectory m_scratch{"nebrix-check"};
    CheckReport m_report;
    unsigned m_kinds = 0;
    bool m_broken = false;  // by the plain session
};

/// The first fault of a rule is the one that is told: what follows may come of it.
void Check::fail(const Fault& fault) {
    Verdict& verdict = of(fault.rule);
    if (verdict.result != Verdict::Result::Failed) {
        verdict.result = Verdict::Result::Failed;
        verdict.sentence = fault.sentence;
    }
}

void Check::pass(Rule rule, Kinds kinds) {
    Verdict& verdict = of(rule);
    if (verdict.result == Verdict::Result::NotChecked && (verdict.rule->kinds & kinds) != 0) {
        verdict.result = Verdict::Result::Ok;
    }
}

bool Check::hasEntries() {
    const Finding finding = examineComponent(m_options.path, m_options.kind);
    if (finding.verdict == Finding::Verdict::NoComponent) {
        fail({Rule::Entries, finding.text});
        m_broken = true;
    }
    return !m_broken;
}

Outcome Check::runStep(ProbeStart start, const std::string& kind, const char* scenario) {
    const std::string directory = m_scratch.path(kind + "-" + scenario) + "/";
    std::filesystem::create_directory(directory);
    if (!m_options.values.empty()) {
        start.arguments.insert(start.arguments.end(), {"--values", m_options.values});
    }
    start.arguments.insert(start.arguments.end(), {kind, scenario, m_options.path, directory});
    Outcome outcome = runProbe(start);
    std::for_each(outcome.faults.begin(), outcome.faults.end(), [this](const Fault& fault) { fail(fault); });
    return outcome;
}

void Check::play(const KindName& kind, const Step& step) {
    const Outcome outcome = runStep({.arguments = {}, .blame = step.blame}, kind.name, step.scenario);
    if (outcome.completed) {
        for (const Rule rule : step.rules) {
            pass(rule, kind.bit);
        }
    } else if (!step.blame) {
        m_broken = true;
    }
    for (const Rule rule : outcome.seen) {
        pass(rule, kind.bit);
    }
}

void Check::playUnderValgrind(const KindName& kind) {
    constexpr int kPatience = 30;
    const std::string log = m_scratch.path(kind.name + ".valgrind");
    const char* const scenario = kind.bit == kResource ? "next-session" : "again";
    const ProbeStart start{
        .wrapper = valgrindCommand(log), .arguments = {"--plain"}, .blame = std::nullopt, .patience = kPatience};
    const bool completed = runStep(start, kind.name, scenario).completed;
    const auto faults = readValgrindLog(log);
    for (const Fault& fault : faults.value_or(std::vector<Fault>())) {
        fail(fault);
    }
    if (completed && faults) {
        pass(Rule::NoMemoryLeft, kind.bit);
    }
}

void Check::checkAs(const KindName& kind) {
    m_report.types.push_back(kind.name);
    m_kinds |= kind.bit;
    pass(Rule::Entries, kind.bit);
    for (const Step& step : steps()) {
        const bool pointless = step.several && of(Rule::NextSession).result == Verdict::Result::Failed;
        if ((step.kinds & kind.bit) != 0 && !m_broken && !pointless) {
            play(kind, step);
        }
    }
    if (m_options.valgrind && !m_broken) {
        playUnderValgrind(kind);
    }
}

void Check::sayWhyNot() {
    for (Verdict& verdict : m_report.verdicts) {
        if (verdict.result != Verdict::Result::NotChecked) {
            continue;
        }
        if ((verdict.rule->kinds & m_kinds) == 0 && m_kinds != 0) {
            verdict.sentence = "not for components of this type";
        } else if (m_broken) {
            verdict.sentence = "needs a component that lives through a plain session";
        } else if (verdict.rule->rule == Rule::NoMemoryLeft) {
            verdict.sentence = m_options.valgrind ? "valgrind did not come to its end" : "needs --valgrind";
        } else if (verdict.rule->rule == Rule::Download) {
            verdict.sentence = "it asked for no download";
        } else if (of(Rule::NextSession).result == Verdict::Result::Failed) {
            verdict.sentence = "needs a component that serves several sessions";
        } else {
            verdict.sentence = "its scenario did not come to its end";
        }
    }
}

CheckReport Check::run() {
    const std::vector<KindName> kinds = kindsOf(m_options);
    if (hasEntries()) {
        for (const KindName& kind : kinds) {
            checkAs(kind);
        }
    }
    sayWhyNot();
    return std::move(m_report);
}

}  // namespace

unsigned CheckReport::count(Verdict::Result result) const {
    return static_cast<unsigned>(std::count_if(verdicts.begin(), verdicts.end(),
                                               [&](const Verdict& verdict) { return verdict.result == result; }));
}

CheckReport checkComponent(const CheckOptions& options) {
    requireReadable(options.path);
    requireComponent(options.path);
    if (!options.values.empty()) {
        probe::readGivenValues(options.values);  // raises what the probe could not say
    }
    return Check(options).run();
}

}  // namespace tessel::sign
