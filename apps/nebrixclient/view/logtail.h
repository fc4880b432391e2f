// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "apps/nebrixclient/view/logsearch.h"
#include "libs/base/string.h"

namespace tessel::view {

/// Follows a log file of any size without holding it whole: its last lines at first, those that are appended, and on
/// demand earlier ones.
///
/// What is held is a run of neighbouring lines of the file, bounded in number and in bytes (kMostBytes): the oldest are
/// dropped. A line counts once its line feed is there; of one longer than kLongestLine only the beginning is held.
///
/// It reads from the disk in poll(), earlier() and later(): not for the GUI thread. Not synchronised. It owns a
/// descriptor.
class LogTail {
public:
    enum class Change {
        Nothing,
        Appended,
        Restarted,  ///< the file shrank or is another one: what was held is gone, and the new one's lines are held
        Unreadable  ///< what was held stays
    };

    static constexpr std::size_t kPiece = 64 * 1024;
    static constexpr std::size_t kLongestLine = 64 * 1024 + 256;
    static constexpr std::size_t kMostBytes = 16 * 1024 * 1024;

    /// Reads nothing yet. The first poll() begins at a line's beginning within the file's last `firstBytes`.
    explicit LogTail(const String& path, std::size_t firstBytes = 256 * 1024, std::size_t keepLines = 20'000);
    LogTail(const LogTail&) = delete;
    LogTail& operator=(const LogTail&) = delete;
    ~LogTail();

    /// Reads what was appended, `budget` bytes of it at most: poll again at once until it says Nothing.
    Change poll(std::size_t budget = kPiece);
    /// Reads the lines of about kPiece bytes before the first held line, as many of them as there is room for. False
    /// when nothing was added: the file begins here, cannot be read, or no more lines may be held. A line longer than a
    /// piece comes torn.
    bool earlier();
    /// The same behind the last held line, where moveTo() has gone back; the oldest make room. False when the newest
    /// are held already.
    bool later();

    /// Searches the whole file from behind the line with this number, from the file's beginning without one; see
    /// searchLog().
    [[nodiscard]] std::optional<LogPlace> find(const LogQuery& query, std::optional<std::int64_t> behind,
                                               const std::function<bool()>& goOn) const;
    /// The number of the held line that begins there, if there is one.
    [[nodiscard]] std::optional<std::int64_t> numberAt(std::uint64_t offset) const;
    /// Holds other lines, with other numbers: some before the one that begins at the offset, and as many from there on
    /// as there is room for. They are read by poll(), and stay held instead of the newest, until the file's end,
    /// newest() or a restart is reached.
    void moveTo(std::uint64_t offset);
    /// Holds the newest lines again; whether that changes anything, which takes polls as a beginning does.
    bool newest();

    [[nodiscard]] std::size_t size() const noexcept { return m_lines.size(); }
    [[nodiscard]] const LogLine& line(std::size_t position) const { return m_lines[position].line; }
    /// A snapshot that may go to another thread; it costs references, no copies of bytes.
    [[nodiscard]] std::vector<LogLine> lines() const;
    /// A number for the first held line; its neighbours are numbered on from it. A line keeps its number from poll to
    /// poll until a restart, so that a view can find its place again; those that earlier() adds count backwards.
    [[nodiscard]] std::int64_t firstNumber() const noexcept { return m_firstNumber; }
    /// Whether the file has anything before the first held line; there may be no room for it.
    [[nodiscard]] bool startsLater() const noexcept { return m_begin > 0; }
    /// Whether the file has more behind the last held line than is still to be polled: later() gives it.
    [[nodiscard]] bool endsEarlier() const noexcept { return m_stays && isFull(); }

private:
    struct Held {
        LogLine line;
        std::uint64_t bytes;  // in the file, with the line feed
    };

    bool openFile();
    void closeFile() noexcept;
    void startAt(std::uint64_t size);
    void begin(std::uint64_t offset);
    [[nodiscard]] bool isFull() const noexcept;
    [[nodiscard]] bool sameContent() const;
    bool readAppended(std::size_t budget);
    [[nodiscard]] bool atEnd() const noexcept;
    void take(std::string_view bytes);
    void takeLine();
    bool addBefore(std::string_view text, std::size_t bytes);

    const String m_path;
    const std::size_t m_firstBytes;
    const std::size_t m_keepLines;

    int m_descriptor = -1;
    std::uint64_t m_device = 0;
    std::uint64_t m_file = 0;

    // Offsets in the file: the held lines are [m_begin, m_end - m_partialBytes), read is up to m_end.
    std::uint64_t m_begin = 0;
    std::uint64_t m_end = 0;
    bool m_skipping = false;           // until the first line feed, since reading began within a line
    bool m_stays = false;              // what is held is not dropped for what is newer
    std::string m_partial;             // the beginning of the unfinished line, kLongestLine at most
    std::uint64_t m_partialBytes = 0;  // all that was read of it
    std::string m_mark;                // the last bytes before m_end, to notice that the file was written anew

    std::deque<Held> m_lines;
    std::size_t m_heldBytes = 0;  // of all m_lines
    std::int64_t m_firstNumber = 0;
};

}  // namespace tessel::view
