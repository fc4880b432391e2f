// SPDX-License-Identifier: Apache-2.0
#include "libs/base/serialize.h"

#include "libs/base/errors.h"
#include "libs/base/numbers.h"
#include "libs/base/runtimesites.h"

namespace tessel {

namespace {

[[noreturn]] void notImplemented() { raise<ENotImplemented>("ENotImplemented", sites::kReaderDefault); }

}  // namespace

void IReader::read(unsigned short&) { notImplemented(); }
void IReader::read(unsigned int&) { notImplemented(); }
void IReader::read(short&) { notImplemented(); }
void IReader::read(int&) { notImplemented(); }
void IReader::read(bool&) { notImplemented(); }
void IReader::read(unsigned char&) { notImplemented(); }
void IReader::read(char&) { notImplemented(); }
void IReader::read(String&) { notImplemented(); }
void IReader::read(Memory&) { notImplemented(); }
void IReader::read(ISerialize& value) { value.write(*this); }
void IReader::read(Memory&, unsigned) { notImplemented(); }
void IReader::read(char*, unsigned) { notImplemented(); }
unsigned IReader::sizeToRead() const { notImplemented(); }
unsigned IReader::getReadPos() const { notImplemented(); }
void IReader::setReadPos(unsigned) { notImplemented(); }

void IKeyReader::read(ISerialize& value) { value.write(*this); }
bool IKeyReader::hasAttribute(const String&) { return false; }
String IKeyReader::getAttribute(const String&) { return {}; }

void IWriter::write(const Memory& value) { write(reinterpret_cast<const char*>(value.array()), value.length()); }
void IWriter::write(int value) { write(toString(value)); }
void IWriter::write(unsigned value) { write(toString(value)); }
void IWriter::write(bool value) { write(toString(value)); }
void IWriter::write(const ISerialize& value) { value.read(*this); }

void IKeyWriter::write(const ISerialize& value) { value.read(*this); }

}  // namespace tessel
