// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>

#include "apps/nebrixclient/gui/deferredcall.h"
#include "apps/nebrixclient/gui/gobjectptr.h"

// GLib's own types, so that no header of it is needed here.
using GDBusConnection = struct _GDBusConnection;
using GVariant = struct _GVariant;
using GCancellable = struct _GCancellable;
using GDBusNodeInfo = struct _GDBusNodeInfo;

/// D-Bus for the GUI thread: nothing here waits, every callback comes from the event loop, none comes after the object
/// it belongs to has ended, and what a callback raises is logged.
namespace nebrix::gui::bus {

enum class Kind { Session, System };

/// Before GTK starts, while there is one thread: where there is no session bus, GTK's accessibility would have one
/// started that nobody else is on, so it stays off.
void startNone();

/// Follows who owns a name, without starting its service nor a session bus where there is none. Keeps the program alive
/// when the bus goes away.
class NameWatch {
public:
    using Appeared = std::function<void(GDBusConnection* connection, const std::string& owner)>;

    /// Exactly one of the two is called first, once the bus has answered; `gone` also when there is no bus. A new
    /// owner that replaces another gives `gone`, then `appeared`.
    NameWatch(Kind kind, const char* name, Appeared appeared, std::function<void()> gone);
    NameWatch(const NameWatch&) = delete;
    NameWatch& operator=(const NameWatch&) = delete;
    ~NameWatch();

private:
    friend struct NameWatchCallbacks;
    Appeared m_appeared;
    std::function<void()> m_gone;
    DeferredCall m_noBus;  // stands in for the bus that would have said so
    unsigned m_id = 0;     // of the watch; 0 when there is no bus
};

/// A connection to the session bus beside the one that everything else here shares: what is offered on it is gone for
/// everybody when it closes, and never before.
class OwnConnection {
public:
    /// `opened` is called once, unless there is no bus; that is logged as a trace line.
    explicit OwnConnection(std::function<void(GDBusConnection* connection)> opened);
    OwnConnection(const OwnConnection&) = delete;
    OwnConnection& operator=(const OwnConnection&) = delete;
    /// Closes it. Nothing that uses it may be left.
    ~OwnConnection();

private:
    friend struct OwnConnectionCallbacks;
    std::function<void(GDBusConnection*)> m_opened;
    GCancellable* m_cancellable;
    GDBusConnection* m_connection = nullptr;  // until open
};

/// An object with one interface, offered to other programs for as long as this lives.
class Object {
public:
    struct Handlers {
        /// The results, floating, in a tuple; null where there are none, and for arguments to be refused where a method
        /// has results.
        std::function<GVariant*(const std::string& method, GVariant* arguments)> call;
        /// The value, which may be floating; null for a name that is none.
        std::function<GVariant*(const std::string& name)> property;
    };

    /// `introspection`: a node with the one interface. Methods that it does not name are refused as unknown.
    Object(GDBusConnection* connection, const char* path, const char* introspection, Handlers handlers);
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;
    ~Object();

    /// Takes over floating `arguments`; null for none.
    void emit(const char* signal, GVariant* arguments) const;

private:
    friend struct ObjectCallbacks;
    Handlers m_handlers;
    const char* m_path;
    GDBusConnection* m_connection;
    GDBusNodeInfo* m_node;
    unsigned m_id;  // 0 where the path is taken
};

/// The signals of one interface of one object of one sender.
class Signals {
public:
    using Received = std::function<void(const std::string& member, GVariant* arguments)>;

    Signals(GDBusConnection* connection, const std::string& sender, const std::string& path, const char* interface,
            Received received);
    Signals(const Signals&) = delete;
    Signals& operator=(const Signals&) = delete;
    ~Signals();

private:
    friend struct SignalsCallbacks;
    GDBusConnection* m_connection;
    Received m_received;
    unsigned m_id;
};

struct Method {
    std::string service;
    std::string path;
    const char* interface;
    const char* name;
};

/// What became of a call: answered, refused by an error of the other side, or lost (time ran out, no connection).
enum class Outcome { Answered, Refused, Lost };

/// Method calls whose answers are dropped when this object ends.
class Calls {
public:
    /// `result` is null unless the outcome is Answered.
    using Done = std::function<void(GVariant* result, Outcome outcome)>;

    Calls();
    Calls(const Calls&) = delete;
    Calls& operator=(const Calls&) = delete;
    ~Calls();

    /// Takes over floating `arguments`. A failure is logged as a trace line.
    void call(GDBusConnection* connection, const Method& method, GVariant* arguments, Done done);
    /// No answer of the calls made so far comes any more.
    void dropAnswers();

private:
    GCancellable* m_cancellable;
};

}  // namespace nebrix::gui::bus
