// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "apps/component/moduleloader.h"
#include "apps/nebrix-component-probe/observer.h"
#include "apps/nebrix-component-probe/values.h"

namespace tessel::probe {

/// What a component is loaded as. The names are those of the probe's arguments.
enum class Kind { Tunnel, Resource, HostChecker };
inline constexpr const char* kKindNames[] = {"plugindll", "plugindllnotunnel", "hostchecker"};

/// What every session of a check shares; outlives all of them.
struct Stage {
    Kind kind;
    LibrarySource source;
    String directory;
    Report& report;
    Observer& observer;
};

/// One session of a component: its entries in the order in which the client calls them, each observed. All calls on
/// one thread. Lets through what an entry throws.
class Session {
public:
    /// Loads the library, or finds it loaded, and has it make its instance where its kind has one. Raises what loading
    /// does (moduleloader.h, plugindllinstance.h). The values' texts must be there until this call returns.
    static std::unique_ptr<Session> open(Stage& stage, const Values& values);
    virtual ~Session() = default;
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /// Hands the values over and begins. They must be there until hand() returns, and are not used afterwards.
    virtual void hand(const Values& values) = 0;
    virtual void start() = 0;
    /// What the client asks for again and again.
    virtual void look(const Values& values) = 0;
    virtual void stop() = 0;

protected:
    explicit Session(Stage& stage) : m_stage(stage) {}
    [[nodiscard]] Report& report() const { return m_stage.report; }
    template <class Calls>
    auto observed(Calls&& calls) {
        return m_stage.observer.around(std::forward<Calls>(calls));
    }

private:
    Stage& m_stage;
};

}  // namespace tessel::probe
