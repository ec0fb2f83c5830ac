#pragma once

#include <cstdint>
#include <string>

/// What the targets for messages share: reads a file of one product, message after message, and gives what is
/// kept of them to the sinks. Two bytes choose the options of the run (EOption and EMore in Decoding.cpp).
struct SDecoding {
  uint8_t nOptions, nMore;
  int nProduct;
};

/// Aborts when a run with new objects and the other kernels, which one input in sixteen has, writes other
/// bytes.
void Decode(const SDecoding& decoding, const std::string& szFile);
