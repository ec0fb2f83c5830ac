#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "sample/Layouts.h"

/// What an input of eight bytes an order is made of: a program that makes files of messages. A message begins
/// as a sound one of any product in any layout; the orders change elements (their reference values, the
/// widths and values of their increments), counts, descriptors, section lengths and bytes. So a change of a
/// few bits gives another message that is sound up to the place that it is about.
enum class EOrder : uint8_t {
  MESSAGE,     // ends the message at hand and begins another one
  REFERENCE,   // one element: its reference value
  INCREMENTS,  // nArgument elements: increments (see EIncrements in MessageProgram.cpp)
  CONSTANT,    // nArgument elements: no increments
  MISSING,     // nArgument elements: all bits of the reference value
  BITS,        // bits in front of an element
  DROP,        // nArgument elements left out
  HEADER,      // a length, a count or another number of the sections in front of the data
  DESCRIPTOR,  // one more descriptor, behind the others
  SECTION2,    // local bytes
  POKE,        // bytes of the message as it is in the end
  CUT,         // the file ends inside of the message
  BETWEEN,     // bytes between two messages
  REPEAT,      // the message again and again
  NEW_FILE,    // whole runs: a file of another product
  ARGUMENT,    // whole runs: one or two arguments
  ORDERS
};

struct SOrder {
  EOrder eOrder;
  uint8_t nArgument;
  uint16_t nPlace;
  uint32_t nValue;
};

/// The orders of an input in turn.
class CProgram {
 public:
  CProgram(const uint8_t* pBytes, size_t nBytes) : m_pBytes(pBytes), m_nBytes(nBytes) {}
  /// False at the end; bytes that are no whole order are left.
  bool Next(SOrder& order);

 private:
  const uint8_t* m_pBytes;
  size_t m_nBytes;
};

/// A file of messages, made order by order.
class CFileProgram {
 public:
  /// bFitting: no increments are wider than their element.
  explicit CFileProgram(EKind eKind, bool bFitting = false) : m_eKind(eKind), m_bFitting(bFitting) {}

  /// Carries out one order; those for whole runs are none of its.
  void Do(const SOrder& order);
  /// Ends the last message. The bytes of the file.
  const std::string& End();

 private:
  void Begin(const SOrder& order);
  void EndMessage();

  EKind m_eKind;
  bool m_bFitting;
  bool m_bOpen = false;
  std::string m_szBytes;
};

/// One random step on a program of nBytes bytes in a buffer of nMax: an order is changed, doubled, dropped,
/// moved or made. Returns the new length.
size_t MutateProgram(uint8_t* pBytes, size_t nBytes, size_t nMax, size_t nHeader, uint64_t nSeed);
