// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrix-component-probe/observer.h"

#include "apps/component/moduleloader.h"

namespace tessel::probe {

namespace {

Observer* g_observer = nullptr;

}  // namespace

Observer::Observer(Report& report) : m_report(report), m_before(ProcessState::now()) {
    g_observer = this;
    observeEntries(&Observer::entering);
}

Observer::~Observer() {
    observeEntries(nullptr);
    g_observer = nullptr;
}

void Observer::entering(const char* name) { g_observer->enter(name); }

void Observer::enter(const char* name) {
    leave();
    look("after " + m_entry);
    m_entry = name;
    m_inside = true;
    m_report.entered(name);
}

void Observer::leave() {
    if (m_inside) {
        m_inside = false;
        m_report.left();
        look("in " + m_entry);
    }
}

/// What changed since the last look is told once.
void Observer::look(const std::string& when) {
    ProcessState now = ProcessState::now();
    now.compare(m_before, [&](Rule rule, const std::string& what) { m_report.fault(rule, when + " " + what); });
    m_before = std::move(now);
}

}  // namespace tessel::probe
