#pragma once

#include <memory>
#include <utility>

/// Growable array of pointers to heap objects. An owning array deletes its elements through their
/// virtual destructor; a non-owning one releases only its own storage.
template <class T>
class TObjArray {
 public:
  explicit TObjArray(bool bOwner = true) : m_bOwnsElements(bOwner) {}
  TObjArray(const TObjArray&) = delete;
  TObjArray& operator=(const TObjArray&) = delete;
  virtual ~TObjArray() { DeleteContents(); }

  /// Appends one pointer; the capacity runs 10, 21, 33, 46, ...
  void Add(T* pElement) {
    if (m_nCount + 1 >= m_nCapacity) Grow();
    m_pElements[m_nCount++] = pElement;
  }

  /// Empties the array and keeps its storage.
  void DeleteContents() {
    for (int i = 0; m_bOwnsElements && i < m_nCount; ++i) delete std::exchange(m_pElements[i], nullptr);
    m_nCount = 0;
  }

  T* operator[](int i) const { return m_pElements[i]; }
  int Count() const { return m_nCount; }
  int Capacity() const { return m_nCapacity; }

 private:
  void Grow() {
    const int nNewCapacity = m_nCapacity + m_nCapacity / 10 + 10;
    auto pNew = std::make_unique<T*[]>(nNewCapacity);
    for (int i = 0; i < m_nCount; ++i) pNew[i] = m_pElements[i];
    m_pElements = std::move(pNew);
    m_nCapacity = nNewCapacity;
  }

  int m_nCapacity = 0;
  int m_nCount = 0;
  std::unique_ptr<T*[]> m_pElements;
  bool m_bOwnsElements;
};
