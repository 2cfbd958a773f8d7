// The text of drawing lock files, apart from the files themselves, so that the
// reader can be tried on any bytes (tests, fuzzing) without touching the disk.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "drutils_export.h"
#include "od/OdString.h"

namespace ut::lockfile {

// Lock files hold three short lines; anything larger is not one of them.
constexpr size_t kMaxBytes = 64 * 1024;

// "user\nmachine\ndateTime" in the ANSI code page, no line end after the last line.
DRUTILS_API std::string formatDwl(const OdString& user, const OdString& machine, const OdString& dateTime);
// The seven-line XML form in the ANSI code page, every line ended by "\n".
DRUTILS_API std::string formatDwl2(const OdString& user, const OdString& machine, const OdString& dateTime);

// Lock-file bytes as text: a byte-order mark (UTF-8, UTF-16 either order) decides
// the encoding; without one, valid UTF-8 is read as UTF-8 and anything else in the
// ANSI code page. The text ends at the first NUL character.
DRUTILS_API OdString decode(std::string_view bytes);
// Lines split at "\r\n", "\n" or "\r"; a line end at the very end opens no further
// line, and empty lines in between are kept so that fields keep their places.
DRUTILS_API std::vector<OdString> splitLines(const OdString& text);

// Replaces user and machine by what a "dwl" file written with them reads back
// as, so that the caller's own lock is recognised even when the code page cannot
// hold every character of the names.
DRUTILS_API void roundTrip(OdString& user, OdString& machine);

} // namespace ut::lockfile
