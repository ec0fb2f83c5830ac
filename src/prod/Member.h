#pragma once

#include <type_traits>

#include "prod/Column.h"  // IWYU pragma: export

/// Record and field of a pointer to a member, and what the field is or, of a family, its columns.
template <class TMember>
struct SMember;
template <class TRecord, class TField>
struct SMember<TField TRecord::*> {
  using Record = TRecord;
  using Element = TField;
  static constexpr bool FAMILY = false;
};
template <class TRecord, class TColumnType, int N>
struct SMember<TFamily<TColumnType, N> TRecord::*> {
  using Record = TRecord;
  using Element = TColumnType;
  static constexpr bool FAMILY = true;
};

/// A record's member: a column or number, or of a family the column with the given index, or (-1) with the
/// index of the repetition. TBase is the record's base class, const or not.
template <auto MEMBER, int INDEX, class TBase>
auto* MemberAt(TBase& base, int nIndex) {
  using Member = SMember<decltype(MEMBER)>;
  using Record = typename Member::Record;
  using Derived = std::conditional_t<std::is_const_v<TBase>, const Record, Record>;
  auto& field = static_cast<Derived&>(base).*MEMBER;
  if constexpr (Member::FAMILY)
    return &field[INDEX < 0 ? nIndex : INDEX];
  else
    return &field;
}
