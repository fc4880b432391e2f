// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

// The functions that end a C library's object are named as template arguments, so this header needs none of them.

namespace nebrix::gui {

template <auto release>
struct ReleaseWith {
    template <class T>
    void operator()(T* object) const noexcept {
        release(object);
    }
};

/// The only owner of one reference to a C object. GObjectPtr<GCancellable, g_object_unref>, for example.
template <class T, auto release>
using GObjectPtr = std::unique_ptr<T, ReleaseWith<release>>;

}  // namespace nebrix::gui
