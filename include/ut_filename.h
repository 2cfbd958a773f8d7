// ut::FileName: a file or directory name split into volume, directories, base name
// and extension, with queries on the file system behind it and static helpers for
// temporary files and directories. Splitting, normalising and comparing follow
// wxFileName in the native (POSIX) format; there are no volumes on Linux, so
// volume checks always pass and getVolume() is empty.
#pragma once

#include <cstdint>

#include "drutils_export.h"
#include "od/OdString.h"
#include "ut_datetime.h"

class wxFileName;

namespace ut {

class DRUTILS_API FileName {
public:
    // Bits of getPath().
    enum { PATH_GET_VOLUME = 1, PATH_GET_SEPARATOR = 2 };
    // Bits of normalize(); the values of wxPATH_NORM_*.
    enum {
        NORM_ENV_VARS = 0x0001,
        NORM_DOTS = 0x0002,
        NORM_TILDE = 0x0004,
        NORM_CASE = 0x0008,
        NORM_ABSOLUTE = 0x0010,
        NORM_LONG = 0x0020,
        NORM_SHORTCUT = 0x0040,
        NORM_ALL = 0x00ff & ~0x0008
    };
    // mkdir flag: create missing parents too.
    enum { PATH_MKDIR_FULL = 1 };

    FileName();
    // Rebuilt from other.getFullPath(), not copied part by part (see operator=).
    FileName(const FileName& other);
    FileName(const OdString& fullPath);
    FileName(const OdString& dir, const OdString& name);
    FileName(const OdString& dir, const OdString& name, const OdString& ext);
    ~FileName();

    // Copies the parts as they are (a directory-only name stays one).
    FileName& operator=(const FileName& other);
    FileName& operator=(const OdString& fullPath);

    void assign(const OdString& fullPath);
    void assign(const OdString& dir, const OdString& name);
    void assign(const OdString& dir, const OdString& name, const OdString& ext);
    // The whole text names a directory: no name part.
    void assignDir(const OdString& dir);

    OdString getVolume() const;
    OdString getName() const;
    OdString getExt() const;
    OdString getFullName() const;
    OdString getFullPath() const;
    OdString getPath(int flags = PATH_GET_VOLUME) const;
    uint64_t getDirCount() const;
    // File size in bytes; 0 when the file cannot be examined.
    uint64_t getSize() const;
    static uint64_t getSize(const OdString& path);
    // Any pointer may be null. Creation time is the status-change time on Linux.
    bool getTimes(DateTime* access, DateTime* modify, DateTime* create) const;
    // Creation time cannot be set on Linux and is ignored; an invalid or null
    // access or modification time leaves that time unchanged.
    bool setTimes(const DateTime* access, const DateTime* modify, const DateTime* create) const;

    void appendDir(const OdString& dir);
    void removeLastDir();
    void setName(const OdString& name);
    void setExt(const OdString& ext);
    void setFullName(const OdString& fullName);
    void clear();
    void clearExt();

    bool hasName() const;
    bool hasVolume() const;
    bool hasExt() const;
    // Case-insensitive; a leading "." of ext is ignored, so "dwg", ".dwg" and "DWG" agree,
    // and "." matches a name without extension.
    bool hasExt(const OdString& ext) const;
    bool isAbsolute() const;
    bool isRelative() const { return !isAbsolute(); }
    bool isDir() const;
    // Whether the directory part of this name exists (for "/a/b.txt": "/a").
    bool dirExists() const;
    bool fileExists() const;
    bool isDirReadable() const;
    bool isDirWritable() const;
    bool isFileReadable() const;
    bool isFileWritable() const;
    bool isFileExecutable() const;
    // Non-empty and on a mounted volume (always, on Linux).
    bool isOk() const;

    bool normalize(int flags, const OdString& cwd = OdString());
    // False, leaving the name unchanged, when cwd is exactly ".."; otherwise
    // normalize(NORM_DOTS | NORM_TILDE | NORM_ABSOLUTE, cwd).
    bool makeAbsolute(const OdString& cwd = OdString());
    // An empty base means the current directory.
    bool makeRelativeTo(const OdString& base = OdString());

    bool mkdir(int perm = 0777, int flags = 0) const;
    static bool mkdir(const OdString& path, int perm = 0777, int flags = 0);
    // Removes this directory, which must be empty.
    bool rmdir() const;

    bool operator==(const FileName& other) const;
    bool operator==(const OdString& path) const;
    bool operator!=(const FileName& other) const { return !(*this == other); }
    bool operator!=(const OdString& path) const { return !(*this == path); }

    static bool dirExists(const OdString& path);
    static bool fileExists(const OdString& path);
    // False for a missing file; true when nobody (owner, group, others) may write it.
    static bool isFileReadOnly(const OdString& path);
    static bool setCwd(const OdString& path);
    // The volume is ignored on Linux.
    static OdString getCwd(const OdString& volume = OdString());
    static OdString getHomeDir();
    // The application's temporary directory, else the system one; ends with a
    // separator unless empty.
    static OdString getTempDir();
    static OdString setApplicationTempPath(const OdString& path);
    // Creates a new empty file (mode 0600) whose name begins with prefix; a relative
    // prefix is placed in the application temporary path. Returns its full path, or
    // an empty string when no file could be created.
    static OdString createTempFileName(const OdString& prefix);
    // recursive: removes files and subdirectories first; hidden entries (names
    // starting with ".") are not removed, so a directory holding them survives.
    static bool rmdir(const OdString& path, bool recursive);
    static bool isPathSeparator(wchar_t c);
    static OdString getPathSeparator();
    static OdString getPathSeparators();
    // Empty: POSIX paths have no volume separator.
    static OdString getVolumeSeparator();

private:
    wxFileName* m_pImpl;
    static OdString s_appTempPath;
};

} // namespace ut
