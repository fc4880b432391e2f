// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <type_traits>
#include <utility>

#include "libs/base/atomiccounter.h"

namespace tessel::gc {

/// Base of every object kept alive by references that live inside it (intrusive counting).
///
/// An object is born with count 0; the first Pointer that takes it makes the count 1. It dies exactly once, when
/// the last reference goes: gcDestroy() then decides how (plain deletion, deferred disposal, return to a pool).
/// Counts are atomic: references may be copied and dropped on any thread.
class Object {
public:
    /// Called once, on the thread that dropped the last reference.
    virtual void gcDestroy() const = 0;
    virtual ~Object() = default;
    /// The class's own name, such as "MemoryBlock"; static text.
    [[nodiscard]] virtual const char* getClassName() const;

    Object(const Object&) noexcept {}
    Object& operator=(const Object&) noexcept { return *this; }

    /// Adds a reference. With onlyIfAlive an object whose count is 0 is left alone and false is returned: the way in
    /// which a registry of plain pointers takes a reference only if the object is not already being destroyed.
    bool gcAddRef(bool onlyIfAlive) const noexcept {
        std::atomic<long>& count = m_count.atomic();
        if (!onlyIfAlive) {
            count.fetch_add(1, std::memory_order_relaxed);
            return true;
        }
        long current = count.load(std::memory_order_relaxed);
        while (current != 0) {
            if (count.compare_exchange_weak(current, current + 1, std::memory_order_acquire,
                                            std::memory_order_relaxed)) {
                return true;
            }
        }
        return false;
    }

    /// The first reference of an object that no other thread knows yet: a plain store instead of a locked addition.
    void gcFirstRef() const noexcept { m_count.atomic().store(1, std::memory_order_relaxed); }

    /// Drops the reference of an owner who knows that nobody else can come by the object, without a locked
    /// instruction either.
    void gcLastRef() const noexcept { m_count.atomic().store(0, std::memory_order_relaxed); }

    /// Drops a reference; true when the count reached zero and the caller must call gcDestroy().
    bool gcRemoveRef() const noexcept { return m_count.atomic().fetch_sub(1, std::memory_order_acq_rel) == 1; }

    /// The current count. Acquire, so that a sole owner sees what the other owners wrote before they let go.
    [[nodiscard]] long gcRef() const noexcept { return m_count.atomic().load(std::memory_order_acquire); }

    /// Raises NullException ("tessel::NullException") when the object is missing.
    static void throwIfNull(const Object* object) {
        if (object == nullptr) [[unlikely]] {
            throwNullException();
        }
    }
    [[noreturn]] static void throwNullException();

protected:
    Object() noexcept = default;

private:
    mutable AtomicCounter m_count;
};

/// Deleted by whoever drops the last reference.
class ObjectDelete : public Object {
public:
    void gcDestroy() const override { delete this; }
};

/// Destroyed later, by the recycler's thread-independent queue (see recycle.h); the process waits at exit, within
/// limits, until all such objects have been handed over (see DisposeGuard).
class ObjectDispose : public Object {
public:
    ObjectDispose();
    ObjectDispose(const ObjectDispose& other);
    ObjectDispose& operator=(const ObjectDispose&) = default;
    void gcDestroy() const override;
};

/// A counted reference to a T (a gc::Object), or nothing. One raw pointer wide.
///
/// The variable itself is not synchronised: two threads must not assign the same Pointer at once.
template <class T>
class Pointer {
public:
    constexpr Pointer() noexcept = default;
    constexpr Pointer(std::nullptr_t) noexcept {}
    Pointer(T* object) noexcept : m_object(object) { addRef(); }
    Pointer(const Pointer& other) noexcept : m_object(other.m_object) { addRef(); }
    Pointer(Pointer&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}
    template <class U>
    requires std::is_convertible_v<U*, T*> Pointer(const Pointer<U>& other)
    noexcept : m_object(other.uget()) { addRef(); }
    ~Pointer() {
        // As removeRef(), but nobody is left to see the pointer cleared.
        if (m_object != nullptr && m_object->gcRemoveRef()) {
            m_object->gcDestroy();
        }
    }

    /// Takes an object with count 0 that only the caller knows.
    static Pointer fresh(T* object) noexcept {
        Pointer pointer;
        object->gcFirstRef();
        pointer.m_object = object;
        return pointer;
    }

    /// The new reference is added before the old one is dropped, so self-assignment is safe.
    Pointer& operator=(const Pointer& other) noexcept {
        if (m_object != other.m_object) {
            Pointer(other).swap(*this);
        }
        return *this;
    }
    Pointer& operator=(Pointer&& other) noexcept {
        Pointer(std::move(other)).swap(*this);
        return *this;
    }
    Pointer& operator=(T* object) noexcept {
        Pointer(object).swap(*this);
        return *this;
    }

    /// Both raise NullException when empty.
    T* operator->() const {
        check();
        return m_object;
    }
    T& operator*() const {
        check();
        return *m_object;
    }

    /// The raw pointer: get() raises NullException when empty, uget() is unchecked.
    T* get() const {
        check();
        return m_object;
    }
    T* uget() const noexcept { return m_object; }
    T* handle() const noexcept { return m_object; }
    [[nodiscard]] bool valid() const noexcept { return m_object != nullptr; }
    explicit operator bool() const noexcept { return valid(); }

    void clear() noexcept { removeRef(); }
    void swap(Pointer& other) noexcept { std::swap(m_object, other.m_object); }

    void addRef() const noexcept {
        if (m_object != nullptr) {
            m_object->gcAddRef(false);
        }
    }
    /// Drops the reference and leaves the pointer empty; the object is destroyed if this was the last one.
    void removeRef() noexcept {
        if (T* object = std::exchange(m_object, nullptr); object != nullptr && object->gcRemoveRef()) {
            object->gcDestroy();
        }
    }

    friend bool operator==(const Pointer& left, const Pointer& right) noexcept {
        return left.m_object == right.m_object;
    }

private:
    void check() const {
        if (m_object == nullptr) [[unlikely]] {
            Object::throwNullException();
        }
    }

    T* m_object = nullptr;
};

/// Clears a Pointer when the scope ends.
template <class T>
class AutoClear {
public:
    explicit AutoClear(Pointer<T>& pointer) noexcept : m_pointer(pointer) {}
    AutoClear(const AutoClear&) = delete;
    AutoClear& operator=(const AutoClear&) = delete;
    ~AutoClear() { m_pointer.clear(); }

private:
    Pointer<T>& m_pointer;
};

}  // namespace tessel::gc
