#pragma once

#include <compare>
#include <cstddef>
#include <iterator>
#include <type_traits>
#include <utility>

namespace qnunicode {

// A random-access iterator over a container that answers its elements by position
// (`container[i]`) without keeping them in one array: entries in blocks, keys reached through a
// list of positions. The container must outlive its iterators.
template <typename Container>
class IndexIterator {
 public:
  using reference = decltype(std::declval<const Container&>()[std::size_t{}]);
  using value_type = std::remove_cvref_t<reference>;
  using difference_type = std::ptrdiff_t;
  using pointer = std::conditional_t<std::is_reference_v<reference>,
                                     std::add_pointer_t<std::remove_reference_t<reference>>, void>;
  using iterator_category = std::random_access_iterator_tag;

  IndexIterator() = default;
  IndexIterator(const Container* container, std::size_t index)
      : _container(container), _index(index) {}

  reference operator*() const { return (*_container)[_index]; }
  pointer operator->() const requires std::is_reference_v<reference> { return &**this; }
  reference operator[](difference_type n) const { return *(*this + n); }
  IndexIterator& operator++() { return ++_index, *this; }
  IndexIterator operator++(int) { return {_container, _index++}; }
  IndexIterator& operator--() { return --_index, *this; }
  IndexIterator operator--(int) { return {_container, _index--}; }
  IndexIterator& operator+=(difference_type n) { return _index += n, *this; }
  IndexIterator& operator-=(difference_type n) { return _index -= n, *this; }
  friend IndexIterator operator+(IndexIterator i, difference_type n) { return i += n; }
  friend IndexIterator operator+(difference_type n, IndexIterator i) { return i += n; }
  friend IndexIterator operator-(IndexIterator i, difference_type n) { return i -= n; }
  friend difference_type operator-(IndexIterator a, IndexIterator b) {
    return static_cast<difference_type>(a._index - b._index);
  }
  friend bool operator==(IndexIterator a, IndexIterator b) { return a._index == b._index; }
  friend auto operator<=>(IndexIterator a, IndexIterator b) { return a._index <=> b._index; }

 private:
  const Container* _container = nullptr;
  std::size_t _index = 0;
};

}  // namespace qnunicode
