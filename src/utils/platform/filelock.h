// File services behind drawing locks. Windows lets a process open a file while
// forbidding others to write it (a share mode); here the same promise is kept
// with open-file-description locks among cooperating processes:
//   - a holder that writes and forbids writing takes a write lock on the whole file;
//   - a reader that forbids writing would take a read lock;
//   - a reader that allows writing takes no lock at all.
// So a second holder, or a reader that forbids writing, is refused while a drawing
// is held, and plain readers are never disturbed. Paths are the system's bytes
// (nativePath of platform/files.h).
#pragma once

#include <string>
#include <string_view>

#include "drutils_export.h"
#include "platform/files.h"

namespace ut::platform {

// An open file; kNoFile when there is none.
using FileHandle = int;
constexpr FileHandle kNoFile = -1;


// Opens an existing regular file for reading and writing and forbids others to
// write it for as long as the handle stays open. Never creates the file. Refused
// (InUse) when another open file description holds a lock on it, or when some
// process has it open for writing; the second check relies on file leases and is
// skipped where the file system or the caller's rights do not allow one (files of
// other users, network file systems), so a writer that takes no lock can then go
// unseen. The handle is not inherited across exec.
DRUTILS_API FileHandle openDenyWrite(const std::string& path, FileStatus* status = nullptr);

// Releases the handle and its lock. False when the system reported an error while
// closing; the handle is released all the same (retrying a close is never safe).
DRUTILS_API bool closeFile(FileHandle handle);

// Creates a lock file anew with the given bytes and keeps it open so that others
// may read but not write it. The name is never followed: a symbolic link at the
// name is left alone and refused (SymbolicLink), and no existing file is written
// through; an existing regular file is removed and replaced by a new one, unless
// it is the file behind keep (HeldFile).
DRUTILS_API FileHandle createLockFile(const std::string& path, std::string_view bytes, FileHandle keep,
                                      FileStatus* status = nullptr);

// Removes the file at path only while it is still the file behind handle (a newer
// lock file that replaced it stays), then closes the handle. True when the name no
// longer holds the file.
DRUTILS_API bool removeLockFile(FileHandle handle, const std::string& path);

// Whether a regular file sits at path, the name itself not followed.
DRUTILS_API bool isRegularFile(const std::string& path);

// Reads a whole regular file of at most limit bytes without following a link at
// the name and without blocking on pipes or devices.
DRUTILS_API FileStatus readSmallFile(const std::string& path, size_t limit, std::string& bytes);

// Removes the entry at path (a link itself, never its target). True when nothing
// is left at the name, including when there was nothing.
DRUTILS_API bool removeEntry(const std::string& path);

// The login name of the effective user (LOGNAME or USER when the user database
// has none); empty when unknown.
DRUTILS_API std::wstring currentUserName();
// The machine's host name; empty when unknown.
DRUTILS_API std::wstring hostName();
// The local time now, formatted by wcsftime in the process's locale; empty when
// the result does not fit 255 characters.
DRUTILS_API std::wstring localTimeText(const wchar_t* format);

} // namespace ut::platform
