// Temporary files that a process ended by a signal must not leave behind.
//
// Files are registered while they exist (the atomic writers' files beside their
// destination, the files of createUniqueFile) and unregistered when they are
// renamed into place or removed. A program that wants them gone when it is
// interrupted (the tool) installs the handlers; a host application that does
// not keeps its own signal handling untouched.
#pragma once

#include <string>

#include "drutils_export.h"

namespace ut::platform {

// A slot for removeRegisteredTemporaries, or -1 when the table is full or the
// path too long (the file is then simply not removed on a signal).
DRUTILS_API int registerTemporary(const std::string& nativePath);
DRUTILS_API void unregisterTemporary(int slot);
// Unregisters the slot that holds nativePath, if any.
DRUTILS_API void unregisterTemporary(const std::string& nativePath);

// Removes every registered file. Only async-signal-safe calls: for handlers.
DRUTILS_API void removeRegisteredTemporaries();

// Handlers for SIGINT, SIGTERM, SIGHUP and SIGQUIT that remove the registered
// files, then end the process as the signal would have. A command that waits
// for these signals itself (blocking them) is not affected.
DRUTILS_API void removeTemporariesOnSignals();

} // namespace ut::platform
