#pragma once

/// Brightness temperatures of consecutive channels, as single precision values in kelvin:
/// pOut[i] = (float)CPhysics::BrightnessTemperature(CPhysics::WaveNumber(nFirstChannel + i), pRadiance[i]),
/// bit for bit, for 0 <= i < nCount and any radiance (missing, infinite and nan included). Nothing
/// outside of these nCount values is read or written; the two arrays must not overlap.
///
/// Most values come from a vectorised logarithm that is sure of the rounded result; the others are
/// settled by the plain formula. Returns how many those were, for tests and benchmarks.
int BrightnessTemperatures(int nFirstChannel, const double* pRadiance, int nCount, float* pOut);
