// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-component-probe/scenarios.h"

#include <dlfcn.h>

#include <algorithm>
#include <chrono>
#include <exception>
#include <thread>

#include "apps/nebrix-component-probe/downloads.h"

namespace tessel::probe {

namespace {

using std::chrono::milliseconds;
using std::this_thread::sleep_for;

constexpr milliseconds kPoll{50};
constexpr int kPolls = 4;

/// Opens a session that stays to the end of the process, as an instance does: its handle is not lost.
Session& open(Stage& stage, const Values& values) {
    static auto* const sessions = new std::vector<std::unique_ptr<Session>>;
    sessions->push_back(Session::open(stage, values));
    return *sessions->back();
}

void begin(Session& session, const Values& values) {
    session.hand(values);
    session.start();
}

void playWhole(Stage& stage, const Values& values) {
    Session& session = open(stage, values);
    begin(session, values);
    for (int poll = 0; poll < kPolls; ++poll) {
        sleep_for(kPoll);
        session.look(values);
    }
    session.stop();
}

/// The dynamic loader looks for functions when they are first called; here for all of them.
void loading(Stage& stage) {
    stage.observer.enter("dlopen");
    const bool opened = stage.observer.around([&] { return ::dlopen(stage.source.opened.str(), RTLD_NOW) != nullptr; });
    if (!opened) {
        stage.report.fault(Rule::Loading,
                           "a function that the library calls is nowhere to be found: " + std::string(::dlerror()));
    }
}

void tellSecret(Stage& stage, Rule rule, const char* secret, const char* where) {
    if (secret != nullptr) {
        stage.report.fault(rule, std::string(secret) + where);
    }
}

/// A plain session, watched for secrets.
void session(Stage& stage) {
    Downloads::answer(Downloads::Answer::Delivered);
    const Values values = ordinaryValues(stage.directory);
    Session& session = open(stage, values);
    begin(session, values);
    for (int poll = 0; poll < kPolls; ++poll) {
        sleep_for(kPoll);
        session.look(values);
        tellSecret(stage, Rule::SecretInArgument, secretInArguments(), " is in the arguments of a process");
    }
    session.stop();
    tellSecret(stage, Rule::SecretInName, secretInNames(std::string(stage.directory.view())),
               " is in the name of a file below the directory that the component was given");
    sleep_for(kPoll);
}

void nextSession(Stage& stage) {
    const Values values = ordinaryValues(stage.directory);
    playWhole(stage, values);
    stage.report.moment("in the second session of one process");
    playWhole(stage, values);
}

/// Runs what plays on a thread of its own, which calls all entries from then on.
void onThread(Stage& stage, const Values& values) {
    std::exception_ptr thrown;
    std::thread([&] {
        try {
            stage.observer.begin();
            playWhole(stage, values);
        } catch (...) {
            thrown = std::current_exception();
        }
    }).join();
    stage.observer.begin();
    if (thrown) {
        std::rethrow_exception(thrown);
    }
}

void anyThread(Stage& stage) {
    const Values values = ordinaryValues(stage.directory);
    stage.report.moment("in a session on a thread that is not the process's first");
    onThread(stage, values);
    stage.report.moment("in a second session, on another thread than the first");
    onThread(stage, values);
}

void anyBytes(Stage& stage) {
    const Values ordinary = ordinaryValues(stage.directory);
    for (const HostileText& hostile : hostileTexts()) {
        stage.report.moment(std::string("with ") + hostile.name);
        const Values values = valuesOf(ordinary, hostile.text);
        Session& session = open(stage, values);
        begin(session, values);
        session.look(values);
        sleep_for(kPoll);
        session.look(values);
        session.stop();
    }
}

/// Every text is gone once the entries that were given it have returned.
void clientStrings(Stage& stage) {
    const Values values = ordinaryValues(stage.directory);
    LentTexts lent;
    const auto lend = [&] { return lent.lend(values); };
    stage.report.moment("after it was given strings that are valid only during the call");
    Session& session = open(stage, lend());
    lent.takeBack();
    session.hand(lend());
    lent.takeBack();
    session.start();
    for (int poll = 0; poll < kPolls; ++poll) {
        sleep_for(kPoll);
        session.look(lend());
        lent.takeBack();
    }
    session.stop();
}

void releaseNull(Stage& stage) {
    const Values values = ordinaryValues(stage.directory);
    open(stage, values);
    stage.report.moment("when it was given a null pointer");
    const ModuleLoader loader(stage.source);
    const auto release = loader.entry<NebrixDllReleaseStr>(NEBRIX_NAME_RELEASE_STR);
    stage.observer.around([&] { release(nullptr); });
}

/// Threads and open files of this process, once they are no more than so many, or after some patience.
struct Held {
    std::size_t threads = countOwn("task");
    std::size_t files = countOwn("fd");
};
Held heldAfter(const Held& most, int looks) {
    Held held;
    for (int look = 0; look < looks && (held.threads > most.threads || held.files > most.files); ++look) {
        sleep_for(kPoll);
        held = {};
    }
    return held;
}

void tellGrowth(Stage& stage, const char* what, std::size_t before, std::size_t after, int rounds) {
    constexpr std::size_t kSome = 10;  // what a component may make when it first needs it
    if (after > before + kSome) {
        stage.report.fault(Rule::NothingLeft, std::to_string(rounds) + " starts and stops left " +
                                                  std::to_string(after - before) + " more " + what +
                                                  " open; end in the stop what the start began");
    }
}

void again(Stage& stage) {
    constexpr int kFirst = 10;
    constexpr int kMost = 100;
    constexpr int kPatience = 20;
    const Values values = ordinaryValues(stage.directory);
    Session& session = open(stage, values);
    Held before;
    for (int round = 1; round <= kMost; ++round) {
        stage.report.moment("in start " + std::to_string(round) + " of " + std::to_string(kMost));
        begin(session, values);
        session.look(values);
        session.stop();
        if (round == kFirst) {
            before = heldAfter({0, 0}, kPolls);
        }
    }
    const Held after = heldAfter(before, kPatience);
    tellGrowth(stage, "threads", before.threads, after.threads, kMost - kFirst);
    tellGrowth(stage, "files", before.files, after.files, kMost - kFirst);
}

void stopAnyTime(Stage& stage) {
    const Values values = ordinaryValues(stage.directory);
    if (stage.kind == Kind::Tunnel) {
        stage.report.moment("when it was stopped without having been started");
        open(stage, values).stop();
    }
    Session& session = open(stage, values);
    for (const int wait : {0, 1, 2, 5, 10, 20, 50, 100, 200, 400}) {
        stage.report.moment("when it was stopped " + std::to_string(wait) + " ms after its start");
        begin(session, values);
        sleep_for(milliseconds(wait));
        session.stop();
    }
}

/// What is asked for does not come, or not before the stop.
void downloads(Stage& stage) {
    const Values values = ordinaryValues(stage.directory);
    stage.report.moment("while its downloads fail");
    Downloads::answer(Downloads::Answer::Failed);
    playWhole(stage, values);
    stage.report.moment("while its downloads take longer than the session");
    Downloads::answer(Downloads::Answer::Held);
    playWhole(stage, values);
    stage.report.moment("after the stop, when a download that was under way failed");
    Downloads::release();
    sleep_for(kPoll);
}

constexpr Scenario kScenarios[] = {
    {"session", &session},          {"loading", &loading},    {"next-session", &nextSession},
    {"any-thread", &anyThread},     {"any-bytes", &anyBytes}, {"client-strings", &clientStrings},
    {"release-null", &releaseNull}, {"again", &again},        {"stop-any-time", &stopAnyTime},
    {"downloads", &downloads},
};

}  // namespace

const Scenario* scenarioNamed(std::string_view name) noexcept {
    const auto* const found = std::find_if(std::begin(kScenarios), std::end(kScenarios),
                                           [&](const Scenario& scenario) { return name == scenario.name; });
    return found == std::end(kScenarios) ? nullptr : found;
}

}  // namespace tessel::probe
