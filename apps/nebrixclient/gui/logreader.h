// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "apps/nebrixclient/gui/backgroundworker.h"
#include "apps/nebrixclient/view/logtail.h"

namespace nebrix::gui {

/// What a log window shows at one moment. A value; the filter in it is read by both threads and changed by none.
struct LogSnapshot {
    std::shared_ptr<const tessel::view::LogFilter> shown;
    std::int64_t firstNumber = 0;  ///< of the snapshot's first line, shown or not; see LogTail
    bool startsLater = false;      ///< earlier lines may be had
    bool endsEarlier = false;      ///< later lines may be had
    bool restarted = false;        ///< numbers have nothing to do with those before
    bool readable = true;

    [[nodiscard]] std::size_t size() const { return shown->size(); }
    [[nodiscard]] std::int64_t number(std::size_t row) const {
        return firstNumber + static_cast<std::int64_t>(shown->position(row));
    }
    /// The row of the line with this number, or of the next one that is shown; size() behind the last.
    [[nodiscard]] std::size_t row(std::int64_t number) const;
};

/// The half of a log window that lives on the worker's thread: reads the file and filters its lines there.
/// Held by the tasks it posts, so that it outlives them. Its operations are called on the GUI thread.
class LogReader : public std::enable_shared_from_this<LogReader> {
public:
    using Receive = std::function<void(LogSnapshot)>;
    /// A line that was found: its number in the snapshot received last, and in the file, from 1.
    struct FoundLine {
        std::int64_t number;
        std::uint64_t lineOfFile;
    };
    using Found = std::function<void(std::optional<FoundLine>)>;

    /// `receive` is called on the GUI thread, through `calls`, whenever there is something new to show.
    LogReader(const tessel::String& path, BackgroundWorker& worker, GuiCalls::Sender calls, Receive receive);

    /// Reads what was appended; nothing when the last such task still waits for its turn.
    void poll();
    /// Reads a piece before the first line.
    void earlier();
    /// Reads a piece behind the last line, after something was found far from the file's end.
    void later();
    /// LogFilter::kAllCategories or a LogCategory.
    void setCategory(int category);
    /// Searches the whole file for the text among the lines of the category, from behind the line with this number and
    /// round to it again, and loads what is found if need be. `found` is called on the GUI thread.
    void find(const tessel::String& text, std::optional<std::int64_t> behind, Found found);
    /// Goes back to the file's end from what was found.
    void newest();

private:
    void readAppended();
    std::optional<FoundLine> search(const tessel::view::LogQuery& query, std::optional<std::int64_t> behind);
    void publish(bool restarted);

    BackgroundWorker& m_worker;
    const GuiCalls::Sender m_calls;
    const Receive m_receive;
    std::atomic<bool> m_pollQueued = false;

    // Of the worker's thread:
    tessel::view::LogTail m_tail;
    int m_category = tessel::view::LogFilter::kAllCategories;
    bool m_published = false;
    bool m_restarted = false;  // what is held is other lines than those published last
    bool m_readable = true;
};

}  // namespace nebrix::gui
