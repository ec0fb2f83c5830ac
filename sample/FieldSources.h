#pragma once

#include "sample/Layouts.h"

struct SSamplePixel;
struct STemplateField;

/// What the value of an element is made from.
struct SAsk {
  const SSamplePixel& pixel;
  int nIndex;   // among the elements of the source, from 0
  int nLayout;  // of the message
};

/// Where the value of an element comes from.
struct SFieldSource {
  int nFXY;
  int nFirst, nLast;              // occurrences that the source serves
  bool bMayMiss;                  // a real product may lack the value
  double (*pValue)(const SAsk&);  // in the unit of the element, NaN when missing
};

/// The source of an element, null for codes and flags of no geophysical meaning, for which any value that
/// fits will do.
const SFieldSource* FindSource(EKind eKind, int nLayout, const STemplateField& field);
