#pragma once

#include <string>
#include <vector>

class CConfigParam;

/// The filters that a run applies, each as it could be given on the command line ("-mila 30").
std::vector<std::string> FiltersInForce(const CConfigParam& config);
