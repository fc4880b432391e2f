// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>

#include "libs/base/errors.h"
#include "libs/base/memory.h"
#include "libs/base/serialize.h"
#include "libs/base/string.h"

namespace tessel {

TESSEL_EXCEPTION(EFile, IOException);

/// A binary file, and static operations on paths and the file system.
///
/// Every operation first replaces each backslash of its paths with "/". A path with a NUL byte in it, where the system
/// would see it end, names nothing: it is refused as a missing file is. An object is used by one thread at a time; the
/// static operations may be called on any thread. It is an IWriter, so that a request's body or a document can be
/// written straight into it.
///
/// Files may be of any length. Sizes and positions are bytes, and 32-bit but for wideSize(): one that would not fit
/// raises EFile (EFBIG), as does taking more than String::kMaxLength bytes into one value.
///
/// There is one position, for reading and writing. Reads and small writes go through a buffer of 64 KiB, which is
/// made when first needed; the descriptor is not inherited by other programs.
class File final : public IWriter {
public:
    /// Bit set of the standard stream's open modes.
    enum ModeOption : unsigned { kAppend = 1, kAtEnd = 2, kBinary = 4, kIn = 8, kOut = 16, kTruncate = 32 };
    using IWriter::write;

    File() = default;
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    /// Closes.
    ~File() override;

    /// Opens, binary always; kOut without kIn or kAppend truncates. A file opened for writing is made readable,
    /// writable and executable by everybody (mode 0777), deliberately. Never raises; false when it cannot be opened.
    bool open(const String& path, unsigned mode);
    [[nodiscard]] bool isOpened() const noexcept { return m_descriptor >= 0; }
    /// Hands over what is buffered; what cannot be written then is lost unnoticed, so call flush() first where it
    /// counts.
    void close() noexcept;
    [[nodiscard]] const String& path() const noexcept { return m_path; }
    /// The file's length, with what is still buffered; 0 when it is closed.
    [[nodiscard]] unsigned size() const;
    [[nodiscard]] std::uint64_t wideSize() const;
    /// Bytes left after the position, however far that is.
    [[nodiscard]] unsigned sizeToRead() const;
    [[nodiscard]] unsigned getReadPos() const;
    void setReadPos(unsigned position);

    /// Bytes read, fewer than n only at the end. Raises EFile when the file cannot be read.
    unsigned read(char* buffer, unsigned n);
    // The typed forms raise EFile when the file ends before the value does.
    void read(Memory& value, unsigned n);
    /// The rest of the file.
    void read(String& value);
    void read(Memory& value);
    /// One byte.
    void read(char& value);
    void read(unsigned char& value);
    /// Decimal text as write() puts it, up to the first byte that is none of it, which is not consumed.
    void read(int& value);
    void read(unsigned& value);
    void read(short& value);
    void read(unsigned short& value);
    /// "true" or "false".
    void read(bool& value);

    /// Raises EFile when the bytes cannot be written (a full disk).
    void write(const char* data, unsigned n) override;
    /// Hands what is buffered to the system; raises EFile when that fails.
    void flush();
    /// flush(), and waits until the storage holds it.
    void synchronise();

    /// Whether the path can be opened for reading. Nothing is opened: a pipe is not waited for, a device not touched.
    static bool exists(const String& path);
    /// Raises EFile after logging "cannot open <path>" when it cannot be opened.
    static String readAllFile(const String& path);
    /// The same with a limit: a longer file raises EFile.
    static String readAllFile(const String& path, unsigned limit);
    static void writeAllFile(const String& path, const String& content);
    /// Replaces the file in one step: at any moment, also after a crash of the machine, the old content or the new
    /// one stands there whole. The new file has mode 0777 as every other, but is its owner's alone (0600) until it is
    /// whole; a symbolic link is itself replaced. What savers that were killed left beside the file ("NAME.saving-" and
    /// six characters) is removed, for which the directory is read; what another saver works on is locked and stays.
    static void writeAtomically(const String& path, const String& content);
    /// Copies a regular file's content and its times of last access and change. A file onto itself raises EFile. A
    /// copy that fails on the way is removed, unless the target is a link or a device.
    static void copy(const String& from, const String& to);
    static void move(const String& from, const String& to);
    /// A file or an empty directory.
    static void remove(const String& path);
    /// Removes a directory with everything below it, or a file; links are removed, not followed. Nothing is raised
    /// for what is missing.
    static void removeTree(const String& path);
    static bool isDirectory(const String& path);
    /// With all missing parents, for their owner alone (mode 0700).
    static void createDirectory(const String& path);
    static void ensureDirectory(const String& path);
    /// Makes an existing directory its owner's alone (mode 0700). Logs a warning where it is another user's or that
    /// cannot be done.
    static void keepPrivate(const String& directory);
    /// Adds the bare names of the directory's entries, in no order; logs when it cannot be read.
    static void getFullList(const String& directory, List<String>& out);
    /// The directory part, with its final "/"; normalised and without double quotes.
    static String getPath(const String& path);
    /// The directory part without its final "/".
    static String getSubPath(const String& path);
    static String normalise(const String& path);
    static String getCurrentDirectory();
    /// "$HOME/.Nebrix/" ("/home/$USER/.Nebrix/" without HOME, the current directory without either). Not created here.
    /// Always absolute: a relative HOME, and the current directory, mean where the process was at the first call. An
    /// empty variable is none.
    static String getUserApplicationDataDirectory();
    /// Another name in place of ".Nebrix", for programs that are not this project's: a constant text.
    static void setUserApplicationDirectoryName(const char* name) noexcept;
    /// Takes everybody's right to write, or gives it back to the owner.
    static void setReadOnly(const String& path, bool readOnly);
    static bool isReadOnly(const String& path);
    /// Time of the last change, in seconds since 1970; 0 for what is missing.
    static long getLastWriteTime(const String& path);

private:
    enum class State { Closed = 0, Writing = 1, Reading = 2 };

    /// Opens a new file beside the target, for its owner alone and locked; false when there can be none.
    bool openTemporary(const String& target);
    /// A size as the interface tells it; raises EFile when 32 bits do not hold it.
    [[nodiscard]] unsigned told(std::uint64_t bytes) const;
    [[nodiscard]] std::uint64_t left() const;
    [[nodiscard]] std::uint64_t position() const;
    template <class Value>
    void take(Value& value, unsigned n);
    void fill();
    void writeAll(const char* data, unsigned n);
    void leaveReading();
    bool peek(char& next);
    String readWord(bool (*belongs)(char));

    int m_descriptor = -1;
    State m_state = State::Closed;
    bool m_appends = false;
    String m_path;
    // The buffer holds either bytes read ahead, [m_begin, m_end), or bytes to be written, [0, m_end) with m_dirty.
    std::unique_ptr<char[]> m_buffer;
    unsigned m_begin = 0;
    unsigned m_end = 0;
    bool m_dirty = false;
};

}  // namespace tessel
