// Plain file access for the portable code: opening by wide path, sizes, removal,
// and replacing a file atomically. Paths are wide strings in which a backslash is
// taken as a directory separator, so that paths written the Windows way still name
// the same file here.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

#include "drutils_export.h"
#include "od/OdString.h"

namespace ut::platform {

// The narrow file-system form of a wide path (UTF-8, backslashes as "/").
DRUTILS_API std::string nativePath(const OdString& path);

// fopen by wide path; null on failure (errno set). Files are opened close-on-exec.
DRUTILS_API FILE* openFile(const OdString& path, const char* mode);
// Size of an open file in bytes; -1 when it cannot be examined.
DRUTILS_API int64_t fileSize(FILE* file);
// Removes a file; true when it is gone afterwards (also when it never existed).
DRUTILS_API bool removeFile(const OdString& path);
DRUTILS_API bool fileExists(const OdString& path);

// Writes a file that replaces destination only once it is complete: the bytes go
// to a new file beside destination (same folder, so the final rename cannot cross
// file systems), which is flushed to disk and renamed over destination by commit().
// Until then, and whenever commit() fails or is never called, destination keeps its
// old content and the new file is removed. A symbolic link at destination is
// followed: the file it points to is replaced, the link stays.
class DRUTILS_API AtomicFileWriter {
public:
    explicit AtomicFileWriter(const OdString& destination);
    ~AtomicFileWriter();
    AtomicFileWriter(const AtomicFileWriter&) = delete;
    AtomicFileWriter& operator=(const AtomicFileWriter&) = delete;

    // Null when the new file could not be created (missing or read-only folder).
    FILE* file() const { return m_file; }
    // Flushes, syncs and renames; false (and nothing replaced) on any failure.
    bool commit();

private:
    void discard();
    std::string m_destination;
    std::string m_temporary;
    FILE* m_file = nullptr;
};

} // namespace ut::platform
