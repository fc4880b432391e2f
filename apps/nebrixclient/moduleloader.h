#pragma once

#include "libs/base/exception.h"

namespace tessel {

/// A component library cannot be opened or lacks an entry.
TESSEL_EXCEPTION(EModuleLoader, Exception);

/// An open component library, whose entries are found by name. Never unloaded, also when this object goes: threads
/// and static data of the component may live on. Used by one thread.
class ModuleLoader {
public:
    /// Opens the library (lazy binding). Its constructors run here: the caller has verified it. Raises EModuleLoader
    /// after logging `Unable to load "path": reason`.
    explicit ModuleLoader(const String& path);
    ModuleLoader(const ModuleLoader&) = delete;
    ModuleLoader& operator=(const ModuleLoader&) = delete;
    virtual ~ModuleLoader();

    /// The entry of this name, never null. A missing one is logged likewise and raises EModuleLoader.
    void* load(const char* name) const;
    /// The same as a function of the given type.
    template <class Function>
    Function entry(const char* name) const {
        return reinterpret_cast<Function>(load(name));
    }

protected:
    [[noreturn]] static void loadError(const String& what);
    static void* dlopen(const String& path);
    static void* dlsym(void* handle, const char* name);
    static String dlerror();
    /// Does nothing, deliberately: a component is never unloaded.
    void dlclose() noexcept {}

private:
    void* const m_handle;  // never null
};

}  // namespace tessel
