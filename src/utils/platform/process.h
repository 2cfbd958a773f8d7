// Facts about the running process and its files that the portable code asks for.
#pragma once

#include <string>
#include <vector>

#include "drutils_export.h"

namespace ut::platform {

// The folder of the running executable, in the file system's bytes; empty when
// the system does not tell.
DRUTILS_API std::string executableDirectory();
// Names of the folders directly inside dir (bytes), sorted bytewise; hidden
// entries included. Empty when dir cannot be read.
DRUTILS_API std::vector<std::string> subfolders(const std::string& dir);

// Creates a new empty file dir/prefixXXXXXXsuffix exclusively, mode 0600, and
// returns its path; empty (errno set) when none could be made.
DRUTILS_API std::string createTempFile(const std::string& dir, const std::string& prefix, const std::string& suffix);

} // namespace ut::platform
