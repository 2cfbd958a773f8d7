// Pieces of ut::Config that the family's sources share and the tests reach
// without a window or an installation around them.
#pragma once

#include <cstdint>
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

// Whether an integer may be written: the store keeps integers as the registry's
// 32-bit numbers (REG_DWORD), as Windows does, where long has 32 bits; a 64-bit
// number is a kind registry files and the product's readers do not carry. The
// signed range only: a DWORD reads back as long sign-extended, so 4294967295
// kept as its bit pattern would come back as -1.
inline bool fitsRegistryNumber(long value) { return value >= INT32_MIN && value <= INT32_MAX; }
// The log line of a refused integer write, under file and function.
void logNumberTooWide(const char* file, const char* function, const OdString& name, long value);

// "%g" in the C locale, whatever locale the application runs in.
std::wstring formatG(double v);
// Whether s begins with prefix, compared without regard to case (registry-file
// key lines against this installation's keys).
bool startsWithNoCase(const std::wstring& s, const std::wstring& prefix);

// Config::import over the lines of a registry file already read; fileName is
// the name its warnings give.
bool importLines(const std::vector<std::wstring>& lines, const OdString& fileName, bool report);

} // namespace config_detail
} // namespace ut
