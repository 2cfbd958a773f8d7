// Drawing locks. While a user edits a drawing, ut::FileLocker keeps the drawing
// open so that other processes may read it but not write it, and writes two small
// lock files beside it that tell others who holds it: "plan.dwl" (three lines of
// text: user, machine, local date and time) and "plan.dwl2" (the same in XML) for
// the drawing "plan.dwg". Peers on a shared folder, including other CAD programs,
// read these files; their names and contents follow those programs' format.
//
// The "others may read, not write" rule binds processes that lock the drawing
// through this class (or take their own locks on it); a program that writes
// without locking can only be noticed, where the system allows, when it already
// has the drawing open at lock time. Lock files are created without following a
// symbolic link and never replace one: a link at "plan.dwl" means no lock file is
// written. No operation throws.
#pragma once

#include "drutils_export.h"
#include "od/OdString.h"

namespace ut {

// An open drawing held so that others may read but not write it, released when
// closed or destroyed. Not copyable; moving hands the hold over.
class DRUTILS_API LockedFileHandle {
public:
    LockedFileHandle() = default;
    ~LockedFileHandle();
    LockedFileHandle(const LockedFileHandle&) = delete;
    LockedFileHandle& operator=(const LockedFileHandle&) = delete;
    LockedFileHandle(LockedFileHandle&& other) noexcept;
    LockedFileHandle& operator=(LockedFileHandle&& other) noexcept;

    // Opens an existing regular file for reading and writing, others allowed to
    // read only. Closes what this handle held first. False, with the handle left
    // closed, when the file is missing (it is never created), is not a regular
    // file, may not be written by the caller, or is held or being written by
    // another process.
    bool open(const OdString& path);
    // Releases the file. Always leaves the handle closed; false when the system
    // reported an error while closing.
    bool close();
    bool isValid() const { return m_handle != -1; }
    // The system's descriptor, -1 while closed; it stays owned by this object.
    int nativeHandle() const { return m_handle; }
    // The path given to open(); empty while closed.
    const OdString& getFileName() const { return m_fileName; }

private:
    int m_handle = -1;
    OdString m_fileName;
};

class DRUTILS_API FileLocker {
public:
    FileLocker() = default;
    // Locks path at once; isLocked() tells whether that worked.
    explicit FileLocker(const OdString& path);
    // Unlocks.
    ~FileLocker();

    // A drawing can be held by one locker only, so a copy starts free: copying
    // never duplicates a hold. Assignment unlocks the target and leaves it free.
    FileLocker(const FileLocker& other);
    FileLocker& operator=(const FileLocker& other);
    // Moving hands the hold (drawing and lock files) over; the source is left free.
    FileLocker(FileLocker&& other) noexcept;
    FileLocker& operator=(FileLocker&& other) noexcept;

    // Holds the drawing at path, releasing whatever this locker held before.
    // True when the drawing is now held; then its lock files are written anew
    // (a stale one is replaced), unless they cannot be created, which is logged as
    // a warning but does not fail the lock. False when the drawing cannot be held
    // (see LockedFileHandle::open).
    bool lock(const OdString& path);
    // Releases the drawing and deletes its lock files (only while they are still
    // the ones this locker wrote). True when the locker is free afterwards.
    bool unlock();
    bool isLocked() const { return m_drawing.isValid(); }
    // The held drawing's path; empty when free.
    const OdString& getFileName() const { return m_drawing.getFileName(); }
    // Whether lock(path) would succeed now: false while this locker holds any
    // drawing, otherwise tries to hold path and lets go at once.
    bool canLock(const OdString& path) const;

    // Same as hasDwl(path): lock files say the drawing is in use, whether or not a
    // process still holds it.
    static bool isLocked(const OdString& path);
    // Whether the "dwl" file of path exists as a regular file.
    static bool hasDwl(const OdString& path);
    // Whether the "dwl" file records another user or another machine than the
    // caller's (letter case ignored). False when there is no "dwl" file or it
    // cannot be read (permissions), so a lock left behind by the caller's own
    // earlier session counts as its own. A "dwl" file too large to be a lock file
    // names nobody, so it counts as another's, never as the caller's. The age of a
    // lock is not considered.
    static bool isLockedByOther(const OdString& path);

    // Who the lock files of a drawing say holds it, for callers that must not
    // take a lock file they cannot read for their own (a tool deciding whether to
    // take a drawing over). holder() never says Caller unless the "dwl" file was
    // read and records the caller's user and machine.
    struct LockInfo {
        enum EHolder {
            kNone,      // no "dwl" file
            kCaller,    // the caller's user on the caller's machine
            kOther,     // someone else, or nobody the file names (not a lock file)
            kUnreadable // a "dwl" file that cannot be read; problem says why
        };
        EHolder holder = kNone;
        OdString user, machine, dateTime;
        // Why the "dwl" file is no usable lock file, to follow "the lock file"
        // ("cannot be read: permission denied"); empty when it is one.
        OdString problem;
    };
    static LockInfo holder(const OdString& path);
    // Reads the "dwl" file of path (backslashes in path taken as separators):
    // its lines 1 to 3 go to user, machine and dateTime, each only when present,
    // so a short file leaves the rest unchanged. False when the file is missing,
    // is not a regular file (a symbolic link is not followed), is larger than
    // 64 KiB or cannot be read. Text with a byte-order mark is read in its
    // encoding, other text as UTF-8 when valid and in the ANSI code page otherwise.
    static bool readLockInfo(const OdString& path, OdString& user, OdString& machine, OdString& dateTime);
    // The same information as one text of up to three lines, "User: ...",
    // "Machine: ..." and "Since: ...", each only when the field is present.
    // False, with info unchanged, when readLockInfo above fails.
    static bool readLockInfo(const OdString& path, OdString& info);

    // The lock-file names of a drawing: its extension replaced by "dwl" or "dwl2"
    // ("plan" gets "plan.dwl" too). Empty when path names no file (a directory).
    static OdString getDwlPath(const OdString& path);
    static OdString getDwl2Path(const OdString& path);
    // Deletes both lock files of path (a link at their names is removed, never its
    // target) without looking at who wrote them; the caller decides whether they
    // are stale. True when neither exists afterwards.
    static bool removeLockFiles(const OdString& path);

private:
    struct LockFile {
        int handle = -1;
        OdString path;
    };
    void takeOver(FileLocker& other) noexcept;
    static void release(LockFile& file);

    LockedFileHandle m_drawing;
    LockFile m_dwl;
    LockFile m_dwl2;
};

} // namespace ut
