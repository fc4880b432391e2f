// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <type_traits>

#include "libs/base/errors.h"
#include "libs/base/serialize.h"

namespace tessel {

/// A required key is missing.
TESSEL_EXCEPTION(EConfMissingKey, Exception);
/// An optional entry is used although the configuration has it not.
TESSEL_EXCEPTION(EConfUsingMissingOptionalConf, Exception);

/// A configuration that is read by key. Loading by ISerialize is keywrite(); the other three operations raise
/// ENotImplemented unless the class offers them.
class IConf : public ISerialize {
public:
    /// Fills the fields from the reader.
    virtual void keywrite(IKeyReader& reader) = 0;

    void read(IWriter& writer) const override;
    void read(IKeyWriter& writer) const override;
    void write(IReader& reader) override;
    void write(IKeyReader& reader) override { keywrite(reader); }
};

/// Reads keys of a configuration and says in the log which required one is missing. Whatever the reader raises for a
/// value of the wrong type passes through. The facts of both tell the key, with those around it.
class ConfReadHelper {
public:
    /// Reads the value under the key into out and returns true; without the key returns false and leaves out as it
    /// is, or raises EConfMissingKey after logging "Missing tag: <key>" when it is required.
    template <class T>
    static bool readKey(IKeyReader& reader, const char* key, T& out, bool required) {
        if (!present(reader, key, required)) {
            return false;
        }
        try {
            readValue(reader[key], out);
        } catch (Exception& caught) {
            caught.under(key);
            throw;
        }
        return true;
    }

    /// A list of strings: every item under the key, replacing what out holds. `item` names the items in sources
    /// that name them (XML); others ignore it.
    static bool readList(IKeyReader& reader, const char* key, const char* item, List<String>& out, bool required);

    template <class T>
    static std::optional<T> readKeyOptional(IKeyReader& reader, const char* key, bool required) {
        T value{};
        return readKey(reader, key, value, required) ? std::optional<T>(std::move(value)) : std::nullopt;
    }

    explicit ConfReadHelper(IKeyReader& reader) noexcept : m_reader(reader) {}
    /// Whether the key is there; raises as readKey() does when it is required and is not.
    bool get(const char* key, bool required) { return present(m_reader, key, required); }

private:
    static bool present(IKeyReader& reader, const char* key, bool required);

    template <class T>
    static void readValue(IKeyReader& reader, T& out) {
        if constexpr (std::is_base_of_v<ISerialize, T>) {
            reader.read(static_cast<ISerialize&>(out));
        } else {
            reader.read(out);
        }
    }

    IKeyReader& m_reader;
};

/// Logs that an absent optional entry was asked for, and raises EConfUsingMissingOptionalConf.
[[noreturn]] void throwMissingOptionalConf(const String& key);

/// A value that may be absent. Asking for an absent one raises EConfUsingMissingOptionalConf after logging
/// `Using missing configuration: "key"`, so that a configuration without it is refused only when it is needed.
template <class T>
class OptionalConf {
public:
    OptionalConf() = default;

    void set(const char* key, T value) {
        m_key = key;
        m_value = std::move(value);
    }
    /// Marks the entry absent; the key must be a literal.
    void setMissing(const char* key) {
        m_key = key;
        m_value.reset();
    }
    /// Reads the optional key.
    void read(IKeyReader& reader, const char* key) {
        m_key = key;
        m_value = ConfReadHelper::readKeyOptional<T>(reader, key, false);
    }
    [[nodiscard]] bool present() const noexcept { return m_value.has_value(); }
    [[nodiscard]] const char* key() const noexcept { return m_key; }

    [[nodiscard]] T value() const {
        if (!m_value.has_value()) {
            throwMissingOptionalConf(String(m_key));
        }
        return *m_value;
    }

private:
    const char* m_key = "";
    std::optional<T> m_value;
};

/// An OptionalConf that converts to its value, checked at that moment.
template <class T>
class DeferredOptionalConf : public OptionalConf<T> {
public:
    operator T() const { return this->value(); }
};

}  // namespace tessel
