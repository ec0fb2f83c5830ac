#pragma once

/// Room that a caller leaves for one number: the formatters write up to this many bytes, whatever length they
/// return (no text is longer than 12, the bytes behind it are scratch).
constexpr int TEXT_REAL_MAX = 16;

/// Writes the value as printf's "%g" does in the C locale (six significant digits, exact halves to even,
/// "-0", "inf", "-nan" by the sign bit), without terminator. Returns the length.
int FormatReal4(float fValue, char* pOut);

/// Writes the value as "%d" does, without terminator. Returns the length, at most 11.
int FormatInt(int nValue, char* pOut);
