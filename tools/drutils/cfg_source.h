// Printer configurations (.pc3) and user-defined model files (.pmp) as JSON
// source: every value the library keeps, the configuration a JSON document
// describes (every fault named by its path), and differences by field path.
#pragma once

#include <string>
#include <vector>

#include "json_source.h"
#include "plotcfg.h"

namespace source {

// intact false (a custom block that could not be read and was dropped) is told
// under "presentation", with the file's name when given.
Json cfgToJson(const CPlotCfg3& cfg, bool intact, const std::string* file);
// Throws Fault.
CPlotCfg3 cfgFromJson(const Json& j);

Json pmpToJson(const PlotModelParam& pmp, const std::string* file);
PlotModelParam pmpFromJson(const Json& j);

// Whether a document is a model file's (it has "udm") rather than a configuration's.
bool isModelJson(const Json& j);

// One difference between two documents of the same form: the field's path
// (custom values named by name and kind, custom papers by name, foreign items by
// name and kind), and its values before and after (absent when added or removed).
struct CfgChange {
    std::string path;
    std::optional<Json> before, after;
    std::string line() const;
    Json json() const;
};
// "presentation" members are left out.
std::vector<CfgChange> diffDocuments(const Json& a, const Json& b);

} // namespace source
