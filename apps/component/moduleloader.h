// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/exception.h"
#include "libs/base/sealedfile.h"

namespace tessel {

/// A component library cannot be opened or lacks an entry.
TESSEL_EXCEPTION(EModuleLoader, Exception);

/// Which library is opened: the file of a path, or exactly the bytes that were sealed, which texts then name by the
/// path that they came from. Making it of a sealed file takes a descriptor for good, as loading takes memory.
struct LibrarySource {
    LibrarySource(const String& file) : path(file), opened(file) {}
    LibrarySource(const SealedFile& file) : path(file.path()), opened(file.lastingPath()) {}

    String path;
    String opened;
};

/// Told the name of each entry right before it is called; null for nobody. One for the process, set before any call.
using EntryObserver = void (*)(const char* name);
void observeEntries(EntryObserver observer) noexcept;
void tellEntry(const char* name);

/// A component's function and its name; may be null.
template <class Function>
struct ComponentEntry {
    const char* name;
    Function function;

    explicit operator bool() const noexcept { return function != nullptr; }
    template <class... Arguments>
    auto operator()(Arguments... arguments) const {
        tellEntry(name);
        return function(arguments...);
    }
};

/// An open component library, whose entries are found by name. Never unloaded, also when this object goes: threads
/// and static data of the component may live on. Used by one thread.
class ModuleLoader {
public:
    /// Opens the library (lazy binding). Its constructors run here: the caller has verified it. Raises EModuleLoader
    /// after logging `Unable to load "path": reason`.
    explicit ModuleLoader(const LibrarySource& library);
    ModuleLoader(const ModuleLoader&) = delete;
    ModuleLoader& operator=(const ModuleLoader&) = delete;
    virtual ~ModuleLoader();

    /// The entry of this name, never null. A missing one is logged likewise and raises EModuleLoader.
    void* load(const char* name) const;
    /// The same as a function of the given type.
    template <class Function>
    ComponentEntry<Function> entry(const char* name) const {
        return {name, reinterpret_cast<Function>(load(name))};
    }

protected:
    [[noreturn]] void loadError(const String& what) const;
    static void* dlopen(const String& path);
    static void* dlsym(void* handle, const char* name);
    /// The loader's words, in which the library has the path that the user knows.
    [[nodiscard]] String dlerror() const;
    /// Does nothing, deliberately: a component is never unloaded.
    void dlclose() noexcept {}

private:
    const LibrarySource m_library;
    void* const m_handle;  // never null
};

}  // namespace tessel
