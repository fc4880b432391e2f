// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-component-probe/session.h"

#include <chrono>
#include <cstring>
#include <thread>

#include "apps/component/hostcheckerdllinstance.h"
#include "apps/nebrix-component-probe/downloads.h"

namespace tessel::probe {

namespace {

/// A plug-in, with the getters called in the raw: what the client copies is cut, and given back at once.
class PluginSession : public Session {
public:
    PluginSession(Stage& stage, const Values& values)
        : Session(stage), m_plugin(stage.source, values.version, values.directory) {}

    void look(const Values& /*values*/) override { log(); }

protected:
    PluginDllInstance& plugin() { return m_plugin; }

    void log() {
        const String text = take(NEBRIX_NAME_GET_LOGS);
        report().text(Word::Log, text);
        tell(Rule::SecretInText, secretIn(text.view()), "DllGetLogs2 returned a text with ");
    }
    void tell(Rule rule, const char* secret, const char* sentence) {
        if (secret != nullptr) {
            report().fault(rule, std::string(sentence) + secret + " in it");
        }
    }
    /// What a getter returns, of which no more is copied than shows that it is too long.
    String take(const char* getter) {
        return observed([&] {
            char* const text = m_plugin.entry<NebrixDllGetErrors2>(getter)(m_plugin.instance());
            String copy = copyComponentText(text, kLongestComponentText + 1);
            if (text != nullptr) {
                m_plugin.entry<NebrixDllReleaseStr>(NEBRIX_NAME_RELEASE_STR)(text);
            }
            return copy;
        });
    }

private:
    PluginDllInstance m_plugin;
};

class TunnelSession final : public PluginSession {
public:
    using PluginSession::PluginSession;

    void hand(const Values& values) override {
        PluginDllInstance::Parameters parameters = values.parameters;
        parameters.downloadDelegate = &Downloads::downloadFileTo;
        observed([&] { plugin().setProxy(true, values.proxy); });
        observed([&] { plugin().configure(parameters); });
    }
    void start() override {
        observed([&] { plugin().start(); });
    }
    void look(const Values& values) override {
        const String list = take(NEBRIX_NAME_GET_ERRORS);
        report().text(Word::Status, list);
        tell(Rule::SecretInStatus, secretIn(list.view()), "DllGetErrors2 returned a status list with ");
        log();
        observed([&] { return plugin().execute(values.command, values.resource, values.language); });
    }
    void stop() override {
        observed([&] { plugin().stop(); });
        log();
    }
};

class ResourceSession final : public PluginSession {
public:
    using PluginSession::PluginSession;

    void hand(const Values& values) override {
        observed([&] {
            return plugin().LaunchSafeResource(values.resourceType, values.resource, &Downloads::downloadFileTo);
        });
    }
    void start() override {}
    void stop() override {}
};

/// Changes what a text lies in that its owner no longer keeps, on the heap or on the stack.
void useMemory(std::size_t length) {
    constexpr int kBlocks = 16;
    constexpr std::size_t kStack = 16384;
    const std::vector<std::string> blocks(kBlocks, std::string(length, '#'));
    char stack[kStack];
    char* volatile where = stack;
    std::memset(where, '#', sizeof stack);
}

class HostCheckerSession final : public Session {
public:
    explicit HostCheckerSession(Stage& stage) : Session(stage), m_loader(stage.source), m_checker(stage.source) {}

    void hand(const Values& values) override {
        observed([&] { m_checker.start(values.directory, values.parameters.hostname, values.language); });
    }
    void start() override {}
    void look(const Values& values) override {
        observed(
            [&] { judge(m_loader.entry<NebrixGetValidRules>(NEBRIX_NAME_GET_VALID_RULES)(values.request.str())); });
    }
    void stop() override {
        observed([&] { m_checker.stop(); });
    }

private:
    void judge(const char* rules) {
        constexpr std::chrono::milliseconds kWhile{20};
        const String copy = copyComponentText(rules, kLongestComponentText + 1);
        if (copy.length() > kLongestComponentText) {
            report().fault(
                Rule::BoundedRules,
                "GetValidRules returned more than 1 MiB; return the identifiers of rules, not their reasons");
            return;
        }
        useMemory(copy.length() + 1);
        std::this_thread::sleep_for(kWhile);
        if (rules != nullptr && copy != copyComponentText(rules, kLongestComponentText + 1)) {
            report().fault(Rule::LastingRules,
                           "what GetValidRules returned changed before its next call; keep it in static memory");
        }
    }

    ModuleLoader m_loader;
    HostCheckerDllInstance m_checker;
};

std::unique_ptr<Session> make(Stage& stage, const Values& values) {
    switch (stage.kind) {
        case Kind::Tunnel:
            return std::make_unique<TunnelSession>(stage, values);
        case Kind::Resource:
            return std::make_unique<ResourceSession>(stage, values);
        case Kind::HostChecker:
            break;
    }
    return std::make_unique<HostCheckerSession>(stage);
}

}  // namespace

std::unique_ptr<Session> Session::open(Stage& stage, const Values& values) {
    stage.observer.enter("dlopen");
    return stage.observer.around([&] { return make(stage, values); });
}

}  // namespace tessel::probe
