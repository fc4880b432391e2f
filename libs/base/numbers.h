// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <concepts>
#include <string_view>

#include "libs/base/string.h"

/// Numbers as text and text as numbers.
///
/// Formatting takes its storage from the pool of blocks, never from the general heap while the pool has one.
///
/// Parsing never fails and never raises: it reads digits up to the first byte that is not a digit of the base and
/// gives what it has read, 0 when that is nothing. Base 0 reads the base from the text ("0x" or "0X": 16, else "0": 8,
/// else 10); base 16 skips a leading "0x" or "0X". Digits above 9 are letters of either case. One leading "+" is
/// skipped and one leading "-" negates, in the unsigned forms as well: toUint32("-1") is 4294967295. Values that do
/// not fit the type wrap.
///
/// Everything here may be called on any thread.
namespace tessel {

String toString(int value);
String toString(unsigned value);
String toString(long value);
String toString(unsigned long value);
String toString(short value);
String toString(unsigned short value);
String toString(unsigned char value);
/// "true" or "false".
String toString(bool value);
/// The address as printf's "%p" writes it.
String toString(const void* address);
// No numbers: a text would be written as its address, a character as its code, a function as "true".
String toString(const char* text) = delete;
String toString(char character) = delete;
template <class T>
requires(!std::convertible_to<T*, const void*>) String toString(T* pointer)
= delete;
/// The number in the caller's printf format, which takes one unsigned int; cut at 255 bytes.
String toString(unsigned value, const char* format);
/// Lower-case hexadecimal digits without leading zeros.
String uint32ToHex(unsigned value);
String uint16ToHex(unsigned short value);

int toInt32(std::string_view text, int base = 10) noexcept;
unsigned toUint32(std::string_view text, int base = 10) noexcept;
short toInt16(std::string_view text, int base = 10) noexcept;
unsigned short toUint16(std::string_view text, int base = 10) noexcept;
long toLong(std::string_view text, int base = 10) noexcept;
unsigned long toUint64(std::string_view text, int base = 10) noexcept;
unsigned hexToUint32(std::string_view text) noexcept;

/// The strict form: `fallback` when there are no bytes or any of them is not a decimal digit, else the value, which
/// wraps beyond 32 bits.
int smartIntConversion(const char* text, unsigned length, int fallback) noexcept;

}  // namespace tessel
