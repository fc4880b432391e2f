// SPDX-License-Identifier: Apache-2.0
#include "libs/xml/writerkeywriter.h"

#include "libs/base/numbers.h"
#include "libs/xml/escape.h"
#include "libs/xml/xmlerrors.h"

namespace tessel::xml {

WriterKeyWriter& WriterKeyWriter::operator[](const char* key) { return (*this)[String::copy(key)]; }

WriterKeyWriter& WriterKeyWriter::operator[](const String& key) {
    enter();
    m_hasChildren = true;
    if (m_child == nullptr) {
        m_child = std::make_unique<WriterKeyWriter>(m_sink, String(m_indentation + " "));
        m_child->m_closed = true;
    }
    m_sink.write(String("\r\n" + m_indentation + "<" + key));
    m_child->open(key);
    return *m_child;
}

void WriterKeyWriter::write(const String& value) {
    enter();
    m_sink.write(escape(value));
}

void WriterKeyWriter::write(bool value) { write(toString(value)); }
void WriterKeyWriter::write(int value) { write(toString(value)); }
void WriterKeyWriter::write(unsigned value) { write(toString(value)); }

void WriterKeyWriter::enter() {
    if (m_closed) {
        raise<EParser>("EParser", sites::kClosedElement);
    }
    finishStartTag();
    close();
}

void WriterKeyWriter::open(const String& key) {
    m_key = key;
    m_closed = false;
    m_startTagOpen = true;
    m_hasChildren = false;
}

void WriterKeyWriter::close() {
    if (m_child != nullptr) {
        m_child->closeElement(m_indentation);
    }
}

void WriterKeyWriter::closeElement(const String& indentation) {
    if (m_closed) {
        return;
    }
    finishStartTag();
    close();
    m_sink.write(m_hasChildren ? String("\r\n" + indentation + "</" + m_key + ">") : String("</" + m_key + ">"));
    m_closed = true;
}

void WriterKeyWriter::finishStartTag() {
    if (m_startTagOpen) {
        m_startTagOpen = false;
        m_sink.write(String(">"));
    }
}

}  // namespace tessel::xml
