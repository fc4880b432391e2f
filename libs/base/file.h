#pragma once

#include <memory>

#include "libs/base/errors.h"
#include "libs/base/memory.h"
#include "libs/base/serialize.h"
#include "libs/base/string.h"

namespace tessel {

TESSEL_EXCEPTION(EFile, IOException);

/// A binary file, and static operations on paths and the file system.
///
/// Every operation first replaces each backslash of its paths with "/". Sizes are bytes, 32-bit: what is longer
/// counts as the longest. An object is used by one thread at a time; the static operations may be called on any
/// thread. It is an IWriter, so that a request's body or a document can be written straight into it.
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
    /// The file's length; 0 when it is closed.
    [[nodiscard]] unsigned size() const;
    /// Bytes left after the position.
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

    /// Whether the path can be opened for reading.
    static bool exists(const String& path);
    /// Raises EFile after logging "cannot open <path>" when it cannot be opened.
    static String readAllFile(const String& path);
    /// The same with a limit: a longer file raises EFile.
    static String readAllFile(const String& path, unsigned limit);
    static void writeAllFile(const String& path, const String& content);
    /// Replaces the file in one step: at any moment, also after a crash of the machine, the old content or the new
    /// one stands there whole. The new file has mode 0777 as every other; a symbolic link is itself replaced.
    static void writeAtomically(const String& path, const String& content);
    /// Copies the content and the times of last access and change. A file onto itself raises EFile.
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
    /// Adds the bare names of the directory's entries, in no order; logs when it cannot be read.
    static void getFullList(const String& directory, List<String>& out);
    /// The directory part, with its final "/"; normalised and without double quotes.
    static String getPath(const String& path);
    /// The directory part without its final "/".
    static String getSubPath(const String& path);
    static String normalise(const String& path);
    static String getCurrentDirectory();
    /// "$HOME/.Nebrix/" ("/home/$USER/.Nebrix/" without HOME, the current directory without either). Not created here.
    static String getUserApplicationDataDirectory();
    /// Takes everybody's right to write, or gives it back to the owner.
    static void setReadOnly(const String& path, bool readOnly);
    static bool isReadOnly(const String& path);
    /// Time of the last change, in seconds since 1970; 0 for what is missing.
    static long getLastWriteTime(const String& path);

private:
    enum class State { Closed = 0, Writing = 1, Reading = 2 };

    void fill();
    void writeAll(const char* data, unsigned n);
    void leaveReading();
    bool peek(char& next);
    String readWord(bool (*belongs)(char));
    [[nodiscard]] unsigned long position() const;

    int m_descriptor = -1;
    State m_state = State::Closed;
    String m_path;
    // The buffer holds either bytes read ahead, [m_begin, m_end), or bytes to be written, [0, m_end) with m_dirty.
    std::unique_ptr<char[]> m_buffer;
    unsigned m_begin = 0;
    unsigned m_end = 0;
    bool m_dirty = false;
};

}  // namespace tessel
