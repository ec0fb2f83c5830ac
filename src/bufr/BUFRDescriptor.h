#pragma once

/// One data descriptor of section 3: F-X-Y.
class CBUFRDescriptor {
 public:
  CBUFRDescriptor() = default;
  CBUFRDescriptor(int f, int x, int y) : nF(f), nX(x), nY(y) {}
  virtual ~CBUFRDescriptor() = default;

  bool operator==(const CBUFRDescriptor& other) const {
    return nF == other.nF && nX == other.nX && nY == other.nY;
  }

  int nF = 0;  // 0 element, 1 replication, 2 operator, 3 sequence
  int nX = 0;  // 0 to 63
  int nY = 0;  // 0 to 255
};
