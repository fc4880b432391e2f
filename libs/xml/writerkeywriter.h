// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "libs/base/serialize.h"

namespace tessel::xml {

/// Writes keys as nested elements into a sink, as they come; every value is escaped (see escape.h).
///
/// One writer stands for one level. operator[] closes the element that the level has open and opens the next; the
/// writer that it returns, always the same one, takes that element's value or keys. It stands until the level is
/// written to again: a value given to the level itself closes the open element first, and stands behind it. Writing to
/// an element that is closed raises EParser. Elements with children are laid out one tag a line ("\r\n", one space for
/// each level); text stands directly between its tags. close() ends what is open: the destructor does not, since the
/// sink may raise.
///
/// The sink must outlive the writer; what it raises passes through. Keys are written as they are. An element may take
/// several values and keys in any order, but KeyReader gives back the first text only.
class WriterKeyWriter final : public IKeyWriter {
public:
    explicit WriterKeyWriter(IWriter& sink, const String& indentation = String())
        : m_sink(sink), m_indentation(indentation) {}
    WriterKeyWriter(const WriterKeyWriter&) = delete;
    WriterKeyWriter& operator=(const WriterKeyWriter&) = delete;
    ~WriterKeyWriter() override = default;

    using IKeyWriter::write;
    WriterKeyWriter& operator[](const char* key) TESSEL_LIFETIMEBOUND override;
    WriterKeyWriter& operator[](const String& key) TESSEL_LIFETIMEBOUND override;
    void write(const String& value) override;
    void write(bool value) override;
    void write(int value) override;
    void write(unsigned value) override;

    /// Writes the end tags of everything below this level.
    void close();

private:
    /// Whatever is written next goes directly into this level.
    void enter();
    void finishStartTag();
    void open(const String& key);
    void closeElement(const String& indentation);

    IWriter& m_sink;
    const String m_indentation;
    /// The element that this writer takes values for; none at the top level.
    String m_key;
    bool m_closed = false;
    bool m_startTagOpen = false;
    bool m_hasChildren = false;
    std::unique_ptr<WriterKeyWriter> m_child;
};

}  // namespace tessel::xml
