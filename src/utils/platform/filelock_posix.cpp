#include "platform/filelock.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <ctime>
#include <cwchar>
#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "platform/codepage.h"

namespace ut::platform {

namespace {

void setStatus(FileStatus* out, FileStatus value) {
    if (out)
        *out = value;
}

FileHandle failWith(FileStatus* out, FileStatus value, int fd = kNoFile) {
    if (fd != kNoFile)
        ::close(fd);
    setStatus(out, value);
    return kNoFile;
}

// O_NONBLOCK keeps an open from hanging on a pipe or on a file whose lease
// another process holds; on regular files it changes nothing else.
constexpr int kOpenFlags = O_CLOEXEC | O_NOCTTY | O_NONBLOCK;

bool lockWholeFile(int fd, short type) {
    struct flock fl {};
    fl.l_type = type;
    fl.l_whence = SEEK_SET;
    fl.l_start = 0;
    fl.l_len = 0; // to the end, however far the file grows
    return ::fcntl(fd, F_OFD_SETLK, &fl) == 0;
}

// A read lease is granted only while no process has the file open for writing,
// which is the one way to notice a writer that takes no lock. Yes, no, or -1 when
// the system cannot tell (not the owner, leases off, network file system).
int someoneWrites(int readOnlyFd) {
    if (::fcntl(readOnlyFd, F_SETLEASE, F_RDLCK) == 0) {
        ::fcntl(readOnlyFd, F_SETLEASE, F_UNLCK);
        return 0;
    }
    return errno == EAGAIN ? 1 : -1;
}

bool sameFile(const struct stat& a, const struct stat& b) { return a.st_dev == b.st_dev && a.st_ino == b.st_ino; }

bool writeAll(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        ssize_t n = ::write(fd, bytes.data(), bytes.size());
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        bytes.remove_prefix(size_t(n));
    }
    return true;
}

// Names from the system are bytes; they are nearly always UTF-8, and the
// user's code page is the better guess for the rest.
std::wstring systemText(const char* s) {
    std::string_view bytes(s ? s : "");
    return isValidUtf8(bytes) ? utf8ToWide(bytes) : codePageToWide(bytes, ansiCodePage());
}

} // namespace

FileHandle openDenyWrite(const std::string& path, FileStatus* status) {
    if (path.empty())
        return failWith(status, FileStatus::Missing);

    // The writer check needs a descriptor that does not write, and must run
    // before this process opens one that does (its own would count).
    int probe = ::open(path.c_str(), O_RDONLY | kOpenFlags);
    if (probe < 0)
        return failWith(status, statusFromErrno(errno));
    struct stat probed {};
    if (::fstat(probe, &probed) != 0)
        return failWith(status, statusFromErrno(errno), probe);
    if (!S_ISREG(probed.st_mode))
        return failWith(status, FileStatus::NotRegularFile, probe);
    if (someoneWrites(probe) == 1)
        return failWith(status, FileStatus::InUse, probe);

    int fd = ::open(path.c_str(), O_RDWR | kOpenFlags);
    const int openError = errno;
    ::close(probe);
    if (fd < 0)
        return failWith(status, statusFromErrno(openError));
    struct stat held {};
    // The name may have been switched to another file between the two opens.
    if (::fstat(fd, &held) != 0 || !sameFile(held, probed))
        return failWith(status, FileStatus::InUse, fd);
    if (!lockWholeFile(fd, F_WRLCK)) {
        const int error = errno;
        return failWith(status, error == EAGAIN || error == EACCES ? FileStatus::InUse : statusFromErrno(error), fd);
    }
    setStatus(status, FileStatus::Ok);
    return fd;
}

bool closeFile(FileHandle handle) {
    if (handle == kNoFile)
        return true;
    // Linux releases the descriptor even when close reports an error.
    return ::close(handle) == 0;
}

FileHandle createLockFile(const std::string& path, std::string_view bytes, FileHandle keep, FileStatus* status) {
    if (path.empty())
        return failWith(status, FileStatus::Missing);
    // Exclusive creation never follows a link and never opens an existing file;
    // a stale regular file is removed first and the creation retried. A few
    // rounds suffice unless someone keeps recreating the name.
    int fd = kNoFile;
    for (int attempt = 0; attempt < 4 && fd == kNoFile; ++attempt) {
        fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC | O_NOCTTY, 0644);
        if (fd >= 0)
            break;
        if (errno != EEXIST)
            return failWith(status, statusFromErrno(errno));
        struct stat existing {};
        if (::lstat(path.c_str(), &existing) != 0) {
            if (errno == ENOENT)
                continue;
            return failWith(status, statusFromErrno(errno));
        }
        if (S_ISLNK(existing.st_mode))
            return failWith(status, FileStatus::SymbolicLink);
        if (!S_ISREG(existing.st_mode))
            return failWith(status, FileStatus::NotRegularFile);
        struct stat kept {};
        if (keep != kNoFile && ::fstat(keep, &kept) == 0 && sameFile(kept, existing))
            return failWith(status, FileStatus::HeldFile);
        if (::unlink(path.c_str()) != 0 && errno != ENOENT)
            return failWith(status, statusFromErrno(errno));
    }
    if (fd == kNoFile)
        return failWith(status, FileStatus::InUse);

    if (!writeAll(fd, bytes)) {
        const FileStatus why = statusFromErrno(errno);
        removeLockFile(fd, path);
        return failWith(status, why);
    }
    // Readers are welcome; a second writer is not. Failing to lock leaves a
    // correct lock file, so it is not an error.
    lockWholeFile(fd, F_WRLCK);
    setStatus(status, FileStatus::Ok);
    return fd;
}

bool removeLockFile(FileHandle handle, const std::string& path) {
    bool gone = true;
    struct stat ours {}, named {};
    if (handle != kNoFile && ::fstat(handle, &ours) == 0 && !path.empty()) {
        if (::lstat(path.c_str(), &named) == 0 && sameFile(ours, named))
            gone = ::unlink(path.c_str()) == 0 || errno == ENOENT;
    }
    closeFile(handle);
    return gone;
}

bool isRegularFile(const std::string& path) {
    struct stat st {};
    return !path.empty() && ::lstat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

FileStatus readSmallFile(const std::string& path, size_t limit, std::string& bytes) {
    bytes.clear();
    if (path.empty())
        return FileStatus::Missing;
    int fd = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | kOpenFlags);
    if (fd < 0)
        return statusFromErrno(errno);
    struct stat st {};
    FileStatus result = FileStatus::Ok;
    if (::fstat(fd, &st) != 0)
        result = statusFromErrno(errno);
    else if (!S_ISREG(st.st_mode))
        result = FileStatus::NotRegularFile;
    else if (uint64_t(st.st_size) > limit)
        result = FileStatus::TooLarge;
    // The size may change under us: read to the end, but never past the limit.
    std::vector<char> buffer(4096);
    while (result == FileStatus::Ok) {
        ssize_t n = ::read(fd, buffer.data(), buffer.size());
        if (n < 0) {
            if (errno == EINTR)
                continue;
            result = statusFromErrno(errno);
        } else if (n == 0) {
            break;
        } else if (bytes.size() + size_t(n) > limit) {
            result = FileStatus::TooLarge;
        } else {
            bytes.append(buffer.data(), size_t(n));
        }
    }
    ::close(fd);
    if (result != FileStatus::Ok)
        bytes.clear();
    return result;
}

bool removeEntry(const std::string& path) {
    if (path.empty())
        return true;
    return ::unlink(path.c_str()) == 0 || errno == ENOENT;
}

std::wstring currentUserName() {
    long size = ::sysconf(_SC_GETPW_R_SIZE_MAX);
    std::vector<char> buffer(size > 0 ? size_t(size) : 16384);
    struct passwd entry {};
    struct passwd* found = nullptr;
    if (::getpwuid_r(::geteuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found && found->pw_name &&
        *found->pw_name)
        return systemText(found->pw_name);
    for (const char* variable : {"LOGNAME", "USER"})
        if (const char* value = std::getenv(variable); value && *value)
            return systemText(value);
    return std::wstring();
}

std::wstring hostName() {
    char name[HOST_NAME_MAX + 1] = {};
    if (::gethostname(name, sizeof name - 1) != 0)
        return std::wstring();
    return systemText(name);
}

std::wstring localTimeText(const wchar_t* format) {
    std::time_t now = std::time(nullptr);
    struct tm local {};
    if (!format || !::localtime_r(&now, &local))
        return std::wstring();
    wchar_t text[256];
    size_t n = std::wcsftime(text, sizeof text / sizeof text[0], format, &local);
    return std::wstring(text, n);
}

} // namespace ut::platform
