// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <new>
#include <string_view>
#include <utility>
#include <vector>

#include "libs/base/log.h"
#include "libs/base/string.h"

namespace tessel::xml {

class Node;

/// Whether log lines about a document may quote it. A document that holds secrets is parsed with Withheld: the lines
/// then carry "[withheld]" in the quotation's place.
enum class Excerpts { Shown, Withheld };

/// Bytes that lie in a storage, or are static. As wide as a string_view; not counted.
using Piece = std::string_view;

/// What all parts of one document share: the document's text, the memory that its nodes lie in, and what the parser
/// must remember between constructs. Used by one thread at a time.
///
/// Nodes, attributes and namespace tables of a parsed document are made here one after the other and never destroyed
/// singly, so they hold nothing but pieces and pointers; all goes when the storage goes.
class Storage {
public:
    /// Elements inside one another, at most.
    static constexpr unsigned kDeepestNesting = 256;
    /// Bytes of a document that one log line quotes at most.
    static constexpr unsigned kLongestExcerpt = 1024;
    /// Lines that one document may cause in the log.
    static constexpr unsigned kMostLogLines = 1000;

    explicit Storage(Excerpts excerpts = Excerpts::Shown) noexcept;
    Storage(const Storage&) = delete;
    Storage& operator=(const Storage&) = delete;
    ~Storage();

    /// Makes this the text that pieces are cut from. Earlier texts are kept, for their pieces.
    void anchor(const String& text) {
        if (text.array() != m_text.array() || text.length() != m_text.length()) {
            take(text);
        }
    }
    [[nodiscard]] std::string_view text() const noexcept { return m_text.view(); }
    [[nodiscard]] Excerpts excerpts() const noexcept { return m_excerpts; }
    /// Where a piece of the text starts in it.
    [[nodiscard]] unsigned position(Piece piece) const noexcept {
        return static_cast<unsigned>(piece.data() - m_text.array());
    }
    /// A string that lives on its own: a view of the document's text, or a copy of what lies elsewhere.
    [[nodiscard]] String string(Piece piece) const;

    /// Copies the bytes into this storage.
    Piece keep(std::string_view bytes);
    Piece keepLower(std::string_view bytes);
    Piece keepJoined(std::string_view left, std::string_view right);
    template <class T, class... Arguments>
    T* make(Arguments&&... arguments) {
        static_assert(alignof(T) <= alignof(std::max_align_t));
        return new (allocate(sizeof(T))) T(std::forward<Arguments>(arguments)...);
    }
    void* allocate(std::size_t size);
    /// Keeps a node that was made on its own.
    void adopt(std::unique_ptr<Node> node);

    /// The next "-->" at or after `from`. Remembered, so that all searches of one pass together read the text once.
    unsigned findCommentEnd(unsigned from) noexcept;
    /// The next "-- >", likewise.
    unsigned findLooseCommentEnd(unsigned from) noexcept;

    /// Logs a line followed by a quotation from the document, within the limits above.
    void report(LogCategory category, const char* className, const char* method, const char* line, Piece quoted = {});
    /// Takes one line from the document's budget; false when it is used up.
    bool mayLog() noexcept;

    /// Elements open at this moment; counted by the element parser.
    unsigned depth = 0;
    /// How often a hidden mark was taken back; readers that remember where to look go by it.
    unsigned unhidings = 0;

private:
    struct NextFound {
        unsigned from = String::npos;
        unsigned at = String::npos;
    };

    void take(const String& text);
    unsigned findNext(NextFound& known, std::string_view what, unsigned from) noexcept;
    void grow(std::size_t size);

    const Excerpts m_excerpts;
    String m_text;
    std::vector<String> m_earlierTexts;
    std::vector<std::unique_ptr<char[]>> m_chunks;
    char* m_free = nullptr;
    std::size_t m_left = 0;
    std::size_t m_nextChunk = 0;
    std::vector<std::unique_ptr<Node>> m_adopted;
    NextFound m_commentEnd;
    NextFound m_looseCommentEnd;
    unsigned m_linesLeft = kMostLogLines;
};

/// What lies in a storage, or, when it was made on its own, owns one.
class Stored {
public:
    Stored(const Stored&) = delete;
    Stored& operator=(const Stored&) = delete;

protected:
    Stored() : m_storage(new Storage), m_ownsStorage(true) {}
    explicit Stored(Storage& storage) noexcept : m_storage(&storage) {}
    explicit Stored(Excerpts excerpts) : m_storage(new Storage(excerpts)), m_ownsStorage(true) {}
    ~Stored() {
        if (m_ownsStorage) {
            delete m_storage;
        }
    }
    [[nodiscard]] Storage& storage() const noexcept { return *m_storage; }

private:
    Storage* m_storage;
    bool m_ownsStorage = false;
};

}  // namespace tessel::xml
