#pragma once

/// Record and field type of a pointer to a member.
template <class TMember>
struct SMember;
template <class TRecord, class TField>
struct SMember<TField TRecord::*> {
  using Record = TRecord;
  using Field = TField;
};
