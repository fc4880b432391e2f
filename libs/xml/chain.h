// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <iterator>
#include <string_view>
#include <type_traits>

namespace tessel::xml {

/// Parts of a document that hang together in a chain, in its order: a forward range, to be walked with a range-based
/// `for` or the standard algorithms. A view (std::ranges::view), no bigger than a pointer: it and its iterators stand
/// as long as the document. What is appended behind the iterator is walked as well.
/// following(const T&), beside T, gives the next part or null.
template <class T>
class Chain {
public:
    class Iterator {
    public:
        using iterator_category = std::forward_iterator_tag;
        using difference_type = std::ptrdiff_t;
        using value_type = std::remove_const_t<T>;
        using pointer = T*;
        using reference = T&;

        /// The end.
        constexpr Iterator() noexcept = default;
        explicit constexpr Iterator(T* at) noexcept : m_at(at) {}
        T& operator*() const noexcept { return *m_at; }
        T* operator->() const noexcept { return m_at; }
        Iterator& operator++() noexcept {
            m_at = following(*m_at);
            return *this;
        }
        Iterator operator++(int) noexcept {
            const Iterator before = *this;
            ++*this;
            return before;
        }
        friend bool operator==(const Iterator&, const Iterator&) noexcept = default;

    private:
        T* m_at = nullptr;
    };

    explicit constexpr Chain(T* first) noexcept : m_first(first) {}
    [[nodiscard]] Iterator begin() const noexcept { return Iterator(m_first); }
    [[nodiscard]] Iterator end() const noexcept { return Iterator(); }
    [[nodiscard]] bool empty() const noexcept { return m_first == nullptr; }

private:
    T* m_first;
};

}  // namespace tessel::xml

// <string_view> declares these two, for its own view.
template <class T>
inline constexpr bool std::ranges::enable_view<tessel::xml::Chain<T>> = true;
template <class T>
inline constexpr bool std::ranges::enable_borrowed_range<tessel::xml::Chain<T>> = true;
