// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace tessel {

/// The deleter of a std::unique_ptr that owns a C library's object, which one function of that library ends:
/// std::unique_ptr<std::FILE, FreeWith<std::fclose>>. Takes no room in the pointer.
template <auto Free>
struct FreeWith {
    template <class T>
    void operator()(T* object) const noexcept {
        Free(object);
    }
};

}  // namespace tessel
