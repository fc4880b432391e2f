// SPDX-License-Identifier: Apache-2.0
#include "apps/nebrixclient/view/logsearch.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

namespace tessel::view {

namespace {

constexpr std::size_t kPiece = std::size_t{1024} * 1024;

constexpr char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

std::string lowered(std::string_view text) {
    std::string result(text.size(), '\0');
    std::transform(text.begin(), text.end(), result.begin(), &lower);
    return result;
}

/// One way through a file, line by line: remembers the first match of all and the first that is not before `from`.
class Search {
public:
    Search(const LogQuery& query, std::uint64_t from)
        : m_text(lowered(query.text.view())), m_category(query.category), m_from(from) {}

    /// The bytes behind those of the call before; returns how many of them were used.
    std::size_t take(std::string_view bytes) {
        const std::string searched = lowered(bytes);
        std::size_t begin = 0;
        while (!m_found) {
            const std::size_t feed = bytes.find('\n', begin);
            if (feed == std::string_view::npos) {
                break;
            }
            takeLine(bytes.substr(begin, feed - begin), std::string_view(searched).substr(begin, feed - begin));
            m_at = {m_at.offset + feed + 1 - begin, m_at.line + 1};
            begin = feed + 1;
        }
        if (begin == 0 && bytes.size() == kPiece) {
            takeLine(bytes, searched);  // it goes on behind the piece
            m_at.offset += bytes.size();
            return bytes.size();
        }
        return begin;
    }

    [[nodiscard]] bool done() const { return m_found.has_value(); }
    [[nodiscard]] std::optional<LogPlace> found() const { return m_found ? m_found : m_first; }

private:
    void takeLine(std::string_view line, std::string_view searched) {
        if (m_category != LogFilter::kAllCategories) {
            const int category = LogLine::categoryOf(line);
            m_current = category == LogLine::kContinuation ? m_current : category;
            if (m_current != m_category) {
                return;
            }
        }
        if (searched.find(m_text) == std::string_view::npos) {
            return;
        }
        if (m_at.offset >= m_from) {
            m_found = m_at;
        } else if (!m_first) {
            m_first = m_at;
        }
    }

    const std::string m_text;
    const int m_category;
    const std::uint64_t m_from;
    LogPlace m_at{0, 1};
    int m_current = LogLine::kContinuation;  // category of the last line that has one
    std::optional<LogPlace> m_first;
    std::optional<LogPlace> m_found;
};

}  // namespace

std::optional<LogPlace> searchLog(int descriptor, const LogQuery& query, std::uint64_t from,
                                  const std::function<bool()>& goOn) {
    if (query.text.empty()) {
        return std::nullopt;
    }
    Search search(query, from);
    std::string bytes(kPiece, '\0');
    std::size_t held = 0;      // of the bytes, not used yet
    std::uint64_t offset = 0;  // behind them
    while (!search.done()) {
        if (!goOn()) {
            return std::nullopt;
        }
        const ssize_t count = ::pread(descriptor, bytes.data() + held, bytes.size() - held, static_cast<off_t>(offset));
        if (count <= 0) {
            break;
        }
        held += static_cast<std::size_t>(count);
        offset += static_cast<std::uint64_t>(count);
        const std::size_t used = search.take({bytes.data(), held});
        held -= used;
        std::memmove(bytes.data(), bytes.data() + used, held);
    }
    return search.found();
}

}  // namespace tessel::view
