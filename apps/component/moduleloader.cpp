// SPDX-License-Identifier: Apache-2.0
#include "apps/component/moduleloader.h"

#include <dlfcn.h>

#include "apps/component/sites.h"
#include "libs/base/log.h"

namespace tessel {

namespace {

EntryObserver g_observer = nullptr;

}  // namespace

void observeEntries(EntryObserver observer) noexcept { g_observer = observer; }

void tellEntry(const char* name) {
    if (g_observer != nullptr) {
        g_observer(name);
    }
}

ModuleLoader::ModuleLoader(const LibrarySource& library) : m_library(library), m_handle(dlopen(library.opened)) {
    if (m_handle == nullptr) {
        loadError(m_library.path);
    }
}

ModuleLoader::~ModuleLoader() { dlclose(); }

void* ModuleLoader::load(const char* name) const {
    void* address = dlsym(m_handle, name);
    if (address == nullptr) {
        loadError(String::copy(name));
    }
    return address;
}

void ModuleLoader::loadError(const String& what) const {
    const String why = dlerror();
    log(LogCategory::Error, "ModuleLoader", "ModuleLoader", String("Unable to load \"" + what + "\": " + why));
    raise<EModuleLoader>("EModuleLoader", sites::kModuleLoad, {.subject = what, .words = why});
}

void* ModuleLoader::dlopen(const String& path) { return ::dlopen(path.str(), RTLD_LAZY); }

void* ModuleLoader::dlsym(void* handle, const char* name) { return ::dlsym(handle, name); }

String ModuleLoader::dlerror() const {
    const char* text = ::dlerror();
    return text == nullptr ? String() : String::copy(text).replace(m_library.opened, m_library.path);
}

}  // namespace tessel
