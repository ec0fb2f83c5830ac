#include "prod/Column.h"

#include <type_traits>

#include "prod/Prod.h"

CColumn::CColumn(CProd& record, bool bKept) : m_nRows(bKept ? record.m_nKept : record.PixelCapacity) {
  record.m_arpColumns.push_back(this);
}

template <class T>
void TColumn<T>::SetMissing() {
  if constexpr (std::is_floating_point_v<T>)
    SetAll(CProd::DEFAULT_VALUE_REAL);
  else
    SetAll(static_cast<T>(CProd::DEFAULT_VALUE_M1));
}

template class TColumn<uint8_t>;
template class TColumn<int64_t>;
template class TColumn<double>;
