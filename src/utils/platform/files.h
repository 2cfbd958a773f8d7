// Plain file access for the portable code: the conversion between the library's
// wide paths and the system's byte names, opening by wide path, queries and edits
// on the file system, and replacing a file atomically. Paths are wide strings in
// which a backslash is taken as a directory separator, so that paths written the
// Windows way still name the same file here.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "drutils_export.h"
#include "od/OdString.h"

namespace ut::platform {

// ---------------------------------------------------------------- names

// The one conversion between wide file names and the system's bytes. Linux names
// are bytes in no guaranteed encoding, so it is lossless both ways for any name:
// a sequence valid in the locale's encoding (UTF-8 unless LC_ALL, LC_CTYPE or
// LANG names another codeset) maps to its characters, and any other byte b to
// the character U+DC00 + b (U+DC80..U+DCFF), which maps back to b. A wide text
// that never came from a name may hold characters the locale's encoding lacks;
// they are written as UTF-8.
DRUTILS_API std::string fileNameToBytes(std::wstring_view name);
DRUTILS_API std::wstring fileNameFromBytes(std::string_view bytes);

// The system's form of a wide path: backslashes as "/", then fileNameToBytes.
DRUTILS_API std::string nativePath(const OdString& path);
// A name the system handed out (a directory entry, the working directory).
DRUTILS_API OdString fromNativePath(std::string_view bytes);

// ---------------------------------------------------------------- failures

// Why a file operation failed, in the few terms users are told.
enum class FileStatus {
    Ok,
    Missing,        // no such file (or a folder on the way is missing)
    Directory,      // a directory where a file was expected
    NotRegularFile, // a device, pipe or socket
    SymbolicLink,   // refused: a symbolic link sits at the name
    InUse,          // another holder or writer has the file
    AccessDenied,   // permissions or a read-only file system
    TooLarge,       // larger than the caller's limit
    HeldFile,       // the name is another name of the file being held
    Exists,         // the name is taken and was not to be replaced
    NoSpace,        // the disk or the user's quota is full
    Failed          // anything else
};

// The one place where errno meets those terms.
DRUTILS_API FileStatus statusFromErrno(int error);
// A few words for people: "no such file", "is a directory", ...
DRUTILS_API const char* describe(FileStatus status);

// ---------------------------------------------------------------- opening

// fopen by wide path; null on failure, with the reason in why when given. Files
// are opened close-on-exec. A file opened for reading must be a regular file: a
// directory, device or pipe is refused (without blocking on a pipe).
DRUTILS_API FILE* openFile(const OdString& path, const char* mode, FileStatus* why = nullptr);
// Size of an open file in bytes; -1 when it cannot be examined.
DRUTILS_API int64_t fileSize(FILE* file);
// Removes a file; true when it is gone afterwards (also when it never existed).
DRUTILS_API bool removeFile(const OdString& path);
// Whether a regular file sits at path (a link is followed).
DRUTILS_API bool fileExists(const OdString& path);

// ---------------------------------------------------------------- queries

enum class EntryKind { None, Regular, Directory, Other };

struct FileInfo {
    EntryKind kind = EntryKind::None;
    uint64_t size = 0;
    unsigned mode = 0; // permission bits
    // Milliseconds since 1970-01-01 UTC; "change" is the status-change time.
    int64_t accessMs = 0, modifyMs = 0, changeMs = 0;
};

// What sits at path, a link followed; false (kind None) when nothing does.
DRUTILS_API bool fileInfo(const OdString& path, FileInfo& info);
DRUTILS_API EntryKind entryKind(const OdString& path);
// access(): the caller may read, write or execute path. Bits R 4, W 2, X 1.
DRUTILS_API bool isAccessible(const OdString& path, int bits);
// Times left null keep their value.
DRUTILS_API bool setFileTimes(const OdString& path, const int64_t* accessMs, const int64_t* modifyMs);
// Whether both names lead to one existing file (links and ".." resolved by the
// system, not by spelling).
DRUTILS_API bool sameFile(const OdString& a, const OdString& b);

// ---------------------------------------------------------------- directories

// parents: missing parents are made too. True when the directory exists afterwards
// (only when it was made here, without parents).
DRUTILS_API bool makeDirectory(const OdString& path, int perm, bool parents);
// The same with parents on a path that is the system's bytes already (one taken
// from the environment); false with errno telling why (ENOTDIR: a file is in
// the way).
DRUTILS_API bool makeNativeDirectories(const std::string& native, unsigned perm);
DRUTILS_API bool removeDirectory(const OdString& path);
// The entries of a directory except "." and "..", each with its kind; a link is
// followed, or with followLinks false reported as Other. False when the directory
// cannot be read.
DRUTILS_API bool listDirectory(const OdString& path, std::vector<std::pair<OdString, EntryKind>>& entries,
                               bool followLinks = true);
DRUTILS_API bool setCurrentDirectory(const OdString& path);
// Empty when it cannot be told.
DRUTILS_API OdString currentDirectory();
DRUTILS_API OdString homeDirectory();
// The folder of the running executable; empty when the system does not tell.
DRUTILS_API OdString executableDirectory();
// $TMPDIR when it names a directory, else /tmp.
DRUTILS_API OdString systemTempDirectory();
// Creates a new empty file (mode 0600, exclusively, so no other process can have
// made or opened it) whose name is prefix, a unique part and suffix; a prefix
// without a directory goes to the system temporary directory. Empty when none
// could be made.
DRUTILS_API OdString createUniqueFile(const OdString& prefix, const OdString& suffix = OdString());

// ---------------------------------------------------------------- writing

// Writes a file that replaces destination only once it is complete: the bytes go
// to a new file beside destination (same folder, so the final rename cannot cross
// file systems), which is flushed to disk and renamed over destination by commit().
// Until then, and whenever commit() fails or is never called, destination keeps its
// old content and the new file is removed. The new file is readable by its owner
// only until commit() gives it the destination's owner, group and permissions
// (those of the file it replaces, else the usual ones for a new file). A process
// that may not give a file away (neither root nor the owner) makes the
// replacement its own, in the old group where it is a member, with the old
// permission bits but no set-ID bit that would then name someone else. A symbolic
// link at destination is followed: the file it points to is replaced, the link
// stays. Only a regular file is ever replaced: a directory (Directory) or a pipe,
// device or socket (NotRegularFile) at destination is refused, also one that
// appears there while the new file is written. A file the caller may not write
// (read-only) is not replaced (AccessDenied). With replaceExisting false, commit()
// fails (status Exists) when destination exists by then, however late it
// appeared: nothing is ever replaced.
class DRUTILS_API AtomicFileWriter {
public:
    explicit AtomicFileWriter(const OdString& destination, bool replaceExisting = true);
    ~AtomicFileWriter();
    AtomicFileWriter(const AtomicFileWriter&) = delete;
    AtomicFileWriter& operator=(const AtomicFileWriter&) = delete;

    // Null when the new file could not be created (missing or read-only folder).
    FILE* file() const { return m_file; }
    // Flushes, syncs and renames; false (and nothing replaced) on any failure.
    bool commit();
    // Why the last step failed; Ok while nothing did.
    FileStatus status() const { return m_status; }

private:
    void discard();
    // Gives the new file the replaced one's owner and group where it may; the
    // mode to set afterwards.
    unsigned keepOwner(int fd) const;
    std::string m_destination;
    std::string m_temporary;
    FILE* m_file = nullptr;
    unsigned m_finalMode = 0;
    // The owner and group of the file replaced; -1 for a new file.
    long long m_owner = -1, m_group = -1;
    bool m_replace = true;
    FileStatus m_status = FileStatus::Ok;
};

} // namespace ut::platform
