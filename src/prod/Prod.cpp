#include "prod/Prod.h"

void CProd::SetNull() {
  CProd::DeleteContents();
  PixelCount = 0;
  PixelCapacity = 0;
}

void CProd::DeleteContents() {
  KeepPixel.Release();
  EachColumn([](auto& column) { column.Release(); });
}

void CProd::InitFirstAll(int nSize) {
  if (PixelCapacity < nSize) {
    DeleteContents();
    PixelCapacity = nSize;
    KeepPixel.Allocate(nSize);
    EachColumn([nSize](auto& column) { column.Allocate(nSize); });
  }
  PixelCount = nSize;
}

void CProd::FillWithMissingValues() {
  InitFirstAll(1);
  KeepPixel.Write()[0] = 0;
  EachColumn([]<class T>(TColumn<T>& column) {
    column.Write()[0] = static_cast<T>(std::is_integral_v<T> ? DEFAULT_VALUE_M1 : DEFAULT_VALUE_M777);
  });
}
