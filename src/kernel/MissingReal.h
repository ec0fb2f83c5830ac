#pragma once

/// What stands for a real that is missing, in records and in all that is written.
inline constexpr double MISSING_REAL = -777.0;
