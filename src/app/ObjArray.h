#pragma once

#include <memory>
#include <utility>

/// Growable array of pointers to heap objects. An owning array deletes its elements through their
/// virtual destructor; a non-owning one releases only its own storage.
template <class T>
class TObjArray {
 public:
  explicit TObjArray(bool bOwner = true) : bOwnsElements(bOwner) {}
  TObjArray(const TObjArray&) = delete;
  TObjArray& operator=(const TObjArray&) = delete;
  virtual ~TObjArray() { DeleteContents(); }

  /// Appends one pointer; the capacity runs 10, 21, 33, 46, ...
  void Add(T* pElement) {
    if (nCount + 1 >= nCapacity) Grow();
    pElements[nCount++] = pElement;
  }

  /// Empties the array and keeps its storage.
  void DeleteContents() {
    for (int i = 0; bOwnsElements && i < nCount; ++i) delete std::exchange(pElements[i], nullptr);
    nCount = 0;
  }

  T* operator[](int i) const { return pElements[i]; }
  int Count() const { return nCount; }
  int Capacity() const { return nCapacity; }

 private:
  void Grow() {
    const int nNewCapacity = nCapacity + nCapacity / 10 + 10;
    auto pNew = std::make_unique<T*[]>(nNewCapacity);
    for (int i = 0; i < nCount; ++i) pNew[i] = pElements[i];
    pElements = std::move(pNew);
    nCapacity = nNewCapacity;
  }

  int nCapacity = 0;
  int nCount = 0;
  std::unique_ptr<T*[]> pElements;
  bool bOwnsElements;
};
