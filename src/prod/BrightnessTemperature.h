#pragma once

/// Brightness temperatures of consecutive channels, as single precision values in kelvin:
/// pOut[i] = (float)CPhysics::BrightnessTemperature(CPhysics::WaveNumber(nFirstChannel + i), pRadiance[i]),
/// bit for bit, for 0 <= i < nCount and any radiance (missing, infinite and nan included). Nothing
/// outside of these nCount values is read or written; the two arrays must not overlap.
///
/// Most values come from a vectorised logarithm that is sure of the rounded result; the others are
/// settled by the plain formula, as are the last values of a count that is no multiple of 4 and channels
/// outside of 1 to 8699. Returns how many the plain formula settled, for tests and benchmarks.
/// Runs of 64 channels and more are fastest; those below 4 cost what the plain formula costs.
int BrightnessTemperatures(int nFirstChannel, const double* pRadiance, int nCount, float* pOut);
