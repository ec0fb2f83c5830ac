#pragma once

/// The standard streams of a program that may be started anywhere.
class CStandardStreams {
 public:
  /// To be called first: has all three of them open, lets writes that fail return, and standard output take
  /// whole lines.
  static void Prepare();
};
