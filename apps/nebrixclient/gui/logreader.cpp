// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/gui/logreader.h"

#include <utility>

namespace nebrix::gui {
namespace {

/// Pieces read in one turn: a file that grows faster than it is read must not keep the thread from other tasks.
constexpr int kPiecesInTurn = 64;

}  // namespace

std::size_t LogSnapshot::row(std::int64_t wanted) const {
    std::size_t low = 0;
    std::size_t high = size();
    while (low < high) {
        const std::size_t middle = low + (high - low) / 2;
        if (number(middle) < wanted) {
            low = middle + 1;
        } else {
            high = middle;
        }
    }
    return low;
}

LogReader::LogReader(const tessel::String& path, BackgroundWorker& worker, GuiCalls::Sender calls, Receive receive)
    : m_worker(worker), m_calls(std::move(calls)), m_receive(std::move(receive)), m_tail(path) {}

void LogReader::poll() {
    if (m_pollQueued.exchange(true)) {
        return;
    }
    m_worker.post([self = shared_from_this()] {
        self->m_pollQueued = false;
        self->readAppended();
    });
}

void LogReader::earlier() {
    m_worker.post([self = shared_from_this()] {
        self->m_tail.earlier();
        self->publish(false);
    });
}

void LogReader::later() {
    m_worker.post([self = shared_from_this()] {
        self->m_tail.later();
        self->publish(false);
    });
}

void LogReader::setCategory(int category) {
    m_worker.post([self = shared_from_this(), category] {
        self->m_category = category;
        self->publish(false);
    });
}

void LogReader::find(const tessel::String& text, std::optional<std::int64_t> behind, Found found) {
    m_worker.post([self = shared_from_this(), text, behind, found = std::move(found)] {
        const std::optional<FoundLine> line = self->search({text, self->m_category}, behind);
        self->m_calls.post([found, line] { found(line); });
    });
}

std::optional<LogReader::FoundLine> LogReader::search(const tessel::view::LogQuery& query,
                                                      std::optional<std::int64_t> behind) {
    const std::optional<tessel::view::LogPlace> place =
        m_tail.find(query, behind, [this] { return m_calls.connected(); });
    if (!place) {
        return std::nullopt;
    }
    std::optional<std::int64_t> number = m_tail.numberAt(place->offset);
    if (!number) {
        m_tail.moveTo(place->offset);
        while (m_calls.connected() && m_tail.poll() == tessel::view::LogTail::Change::Appended) {
        }
        publish(true);
        number = m_tail.numberAt(place->offset);
    }
    return number ? std::optional(FoundLine{*number, place->line}) : std::nullopt;
}

void LogReader::newest() {
    m_worker.post([self = shared_from_this()] {
        if (self->m_tail.newest()) {
            self->m_restarted = true;
            self->readAppended();
        }
    });
}

void LogReader::readAppended() {
    using Change = tessel::view::LogTail::Change;
    if (!m_calls.connected()) {
        return;
    }
    bool restarted = std::exchange(m_restarted, false);
    bool changed = !m_published || restarted;
    Change change = Change::Appended;
    for (int piece = 0; piece < kPiecesInTurn && (change == Change::Appended || change == Change::Restarted); ++piece) {
        change = m_tail.poll();
        changed = changed || change == Change::Appended || change == Change::Restarted;
        restarted = restarted || change == Change::Restarted;
    }
    const bool readable = change != Change::Unreadable;
    changed = changed || readable != m_readable;
    m_readable = readable;
    if (changed) {
        publish(restarted);
    }
}

void LogReader::publish(bool restarted) {
    auto filter = std::make_shared<tessel::view::LogFilter>();
    filter->setCategory(m_category);
    filter->setLines(m_tail.lines());
    LogSnapshot snapshot{std::move(filter), m_tail.firstNumber(), m_tail.startsLater(), m_tail.endsEarlier(), restarted,
                         m_readable};
    m_published = true;
    // The reader is not held by the call: a window that is gone receives nothing.
    m_calls.post([receive = m_receive, snapshot = std::move(snapshot)] { receive(snapshot); });
}

}  // namespace nebrix::gui
