#pragma once

#include <aws/core/utils/memory/stl/AWSString.h>
#include <aws/core/utils/memory/stl/AWSVector.h>

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstring>
#include <memory>
#include <type_traits>
#include <utility>

namespace Aws {
namespace Utils {

// A heap array with a logical length that may be smaller than its capacity. Copies are
// deep; moves steal the storage and leave the source empty.
template <typename T>
class Array {
 public:
  explicit Array(size_t arraySize = 0)
      : m_length(arraySize), m_capacity(arraySize), m_data(arraySize > 0 ? new T[arraySize] : nullptr) {}

  // Copies `arraySize` elements. A null source or a zero size allocates nothing, yet the
  // length still reads `arraySize`, as callers of the original type expect.
  Array(const T* arrayToCopy, size_t arraySize) : m_length(arraySize), m_capacity(0), m_data(nullptr) {
    if (arrayToCopy != nullptr && arraySize > 0) {
      m_data.reset(new T[arraySize]);
      m_capacity = arraySize;
      std::copy(arrayToCopy, arrayToCopy + arraySize, m_data.get());
    }
  }

  // Bytes of a string: length = string length, capacity = string capacity.
  template <typename U = T, typename = std::enable_if_t<std::is_same<U, unsigned char>::value>>
  Array(const Aws::String& text) : m_length(text.size()), m_capacity(0), m_data(nullptr) {
    if (text.capacity() > 0) {
      m_data.reset(new T[text.capacity()]);
      m_capacity = text.capacity();
      std::memcpy(m_data.get(), text.data(), text.size());
    }
  }

  // Concatenation of the pieces, in order.
  explicit Array(Aws::Vector<Array*>&& pieces) : m_length(0), m_capacity(0), m_data(nullptr) {
    size_t total = 0;
    for (const Array* piece : pieces) total += piece ? piece->m_length : 0;
    if (total == 0) return;
    m_data.reset(new T[total]);
    m_length = m_capacity = total;
    size_t at = 0;
    for (const Array* piece : pieces) {
      if (piece == nullptr || piece->m_data == nullptr) continue;
      std::copy(piece->m_data.get(), piece->m_data.get() + piece->m_length, m_data.get() + at);
      at += piece->m_length;
    }
  }

  Array(const Array& other) : m_length(other.m_length), m_capacity(0), m_data(nullptr) {
    if (other.m_data != nullptr && other.m_capacity > 0) {
      m_data.reset(new T[other.m_capacity]);
      m_capacity = other.m_capacity;
      // Only the logical part holds defined values.
      const size_t used = std::min(other.m_length, other.m_capacity);
      std::copy(other.m_data.get(), other.m_data.get() + used, m_data.get());
    }
  }

  Array(Array&& other) noexcept
      : m_length(other.m_length), m_capacity(other.m_capacity), m_data(std::move(other.m_data)) {
    other.m_length = 0;
    other.m_capacity = 0;
  }

  Array& operator=(const Array& other) {
    if (this != &other) {
      Array copy(other);
      swap(copy);
    }
    return *this;
  }

  Array& operator=(Array&& other) noexcept {
    if (this != &other) {
      m_data = std::move(other.m_data);
      m_length = other.m_length;
      m_capacity = other.m_capacity;
      other.m_length = 0;
      other.m_capacity = 0;
    }
    return *this;
  }

  virtual ~Array() = default;

  bool operator==(const Array& other) const {
    if (this == &other) return true;
    if (m_length != other.m_length) return false;
    if (m_length == 0) return true;
    if (m_data == nullptr || other.m_data == nullptr) return m_data == other.m_data;
    return std::equal(m_data.get(), m_data.get() + m_length, other.m_data.get());
  }
  bool operator!=(const Array& other) const { return !(*this == other); }

  T const& GetItem(size_t index) const {
    assert(index < m_length);
    return m_data[index];
  }
  T& GetItem(size_t index) {
    assert(index < m_length);
    return m_data[index];
  }
  T& operator[](size_t index) {
    assert(index < m_length);
    return m_data[index];
  }
  T const& operator[](size_t index) const {
    assert(index < m_length);
    return m_data[index];
  }

  inline size_t GetLength() const { return m_length; }
  inline size_t GetSize() const { return m_capacity; }
  inline T* GetUnderlyingData() const { return m_data.get(); }
  inline void SetLength(size_t length) { m_length = length; }

 protected:
  void swap(Array& other) noexcept {
    std::swap(m_length, other.m_length);
    std::swap(m_capacity, other.m_capacity);
    std::swap(m_data, other.m_data);
  }

  size_t m_length;
  size_t m_capacity;
  std::unique_ptr<T[]> m_data;
};

typedef Array<unsigned char> ByteBuffer;

}  // namespace Utils
}  // namespace Aws
