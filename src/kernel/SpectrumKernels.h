#pragma once

#include <cstddef>
#include <cstdint>

/// Most rows that one call of TransposeTile takes.
constexpr int TILE_ROWS = 16;

/// Turns a channel-major tile into pixel-major rows: pOut[p * nOutStride + r] = pTile[r * nTileStride + p]
/// for r < nRows (1 to TILE_ROWS) and p < nPixels. Strides count values. Nothing else is written.
void TransposeTile(const int32_t* pTile, size_t nTileStride, int nRows, int nPixels, int32_t* pOut,
                   size_t nOutStride);

/// pOut[i] = pRaw[i] / fDivisor, divided in double precision and rounded once more to single; -777
/// where pRaw[i] is RAW_MISSING. The singles may stand at any address.
void ScaleToReal4(const int32_t* pRaw, int nCount, double fDivisor, void* pOut);

/// pOut[i] = pRaw[i] / fDivisor, or -777 where pRaw[i] is RAW_MISSING.
void ScaleToReal8(const int32_t* pRaw, int nCount, double fDivisor, double* pOut);

/// Reverses the bytes of nCount 4-byte values in place.
void ReverseBytes4(void* pValues, int nCount);
