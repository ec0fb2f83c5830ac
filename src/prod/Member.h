#pragma once

#include <type_traits>

/// Record and field type of a pointer to a member.
template <class TMember>
struct SMember;
template <class TRecord, class TField>
struct SMember<TField TRecord::*> {
  using Record = TRecord;
  using Field = TField;
};

/// A record's member: a column or number, or of an array of columns the one with the given index, or (-1)
/// with the index of the repetition. TBase is the record's base class, const or not.
template <auto MEMBER, int INDEX, class TBase>
auto* MemberAt(TBase& base, int nIndex) {
  using Record = typename SMember<decltype(MEMBER)>::Record;
  using Field = typename SMember<decltype(MEMBER)>::Field;
  using Derived = std::conditional_t<std::is_const_v<TBase>, const Record, Record>;
  auto& field = static_cast<Derived&>(base).*MEMBER;
  if constexpr (std::is_array_v<Field>)
    return &field[INDEX < 0 ? nIndex : INDEX];
  else
    return &field;
}
