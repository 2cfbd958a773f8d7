// Pieces of ut::Config that the family's sources share and the tests reach
// without a window or an installation around them.
#pragma once

#include <string>
#include <vector>

#include <wx/gdicmn.h>

#include "ut_config.h"

namespace ut {

class RegConfig;

namespace config_detail {

extern const char kSource[]; // "src/utils/ut_config"

// The configuration object as the store's own class (null when there is none,
// or when another object was installed); created on demand.
DRUTILS_API RegConfig* regConfig();

// The language rule of Config::currentLanguage: curver when one of folders is
// named so; else the first folder named like "de_DE"; else "en_US".
DRUTILS_API OdString chooseLanguage(const OdString& curver, const std::vector<std::string>& folders);

// Window places by window name: key "rect/<name>" (or "pos/<name>") of group.
DRUTILS_API bool saveRect(ECfgGroup group, const OdString& windowName, const wxRect& rect);
DRUTILS_API bool loadRect(ECfgGroup group, const OdString& windowName, wxRect& rect);
DRUTILS_API bool savePos(ECfgGroup group, const OdString& windowName, const wxPoint& pos);
DRUTILS_API bool loadPos(ECfgGroup group, const OdString& windowName, wxPoint& pos);
// Moves rect into area (shrinking it to fit when it is larger).
DRUTILS_API void fitIntoArea(wxRect& rect, const wxRect& area);

// "%g" in the C locale, whatever locale the application runs in.
std::wstring formatG(double v);
// Whether s begins with prefix, compared without regard to case (registry-file
// key lines against this installation's keys).
bool startsWithNoCase(const std::wstring& s, const std::wstring& prefix);

} // namespace config_detail
} // namespace ut
