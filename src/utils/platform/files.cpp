#include "platform/files.h"
#include "platform/tempfiles.h"

#include <cerrno>
#include <climits>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <fstream>
#include <iconv.h>
#include <mutex>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include "platform/codepage.h"

namespace ut::platform {

// ---------------------------------------------------------------- names

namespace {

constexpr wchar_t kEscapeBase = 0xDC00;

bool isEscape(wchar_t c) { return c >= 0xDC80 && c <= 0xDCFF; }

// The codeset a locale name gives after its ".", or empty.
std::string codesetOf(const std::string& locale) {
    const size_t dot = locale.find('.');
    if (dot == std::string::npos)
        return std::string();
    std::string set = locale.substr(dot + 1);
    set = set.substr(0, set.find('@'));
    return set;
}

bool isUtf8Name(std::string set) {
    std::string folded;
    for (char c : set)
        if (c != '-' && c != '_')
            folded += char(std::tolower(static_cast<unsigned char>(c)));
    return folded.empty() || folded == "utf8";
}

// The file-name encoding: the codeset the locale environment names, UTF-8 when it
// names none (the C locale included: names made by today's systems are UTF-8).
// Decided once: a process does not change how its names are spelt.
const std::string& nameCodeset() {
    static const std::string codeset = [] {
        for (const char* var : {"LC_ALL", "LC_CTYPE", "LANG"}) {
            const char* v = std::getenv(var);
            if (v && *v) {
                std::string set = codesetOf(v);
                if (isUtf8Name(set))
                    return std::string();
                iconv_t probe = iconv_open("WCHAR_T", set.c_str());
                if (probe == (iconv_t)-1)
                    return std::string();
                iconv_close(probe);
                return set;
            }
        }
        return std::string();
    }();
    return codeset;
}

// Overlong forms and encoded surrogates are no characters: escaping their bytes
// keeps the mapping one to one (an encoded U+DCxx would otherwise read as a byte).
std::wstring decodeUtf8Name(std::string_view bytes) {
    std::wstring out;
    out.reserve(bytes.size());
    const auto* s = reinterpret_cast<const unsigned char*>(bytes.data());
    size_t i = 0;
    while (i < bytes.size()) {
        char32_t cp = 0;
        const size_t len = utf8Sequence(s + i, bytes.size() - i, cp);
        if (len == 0) {
            out += wchar_t(kEscapeBase + s[i]);
            ++i;
        } else {
            out += wchar_t(cp);
            i += len;
        }
    }
    return out;
}

std::string encodeUtf8Name(std::wstring_view name) {
    std::string out;
    out.reserve(name.size());
    for (wchar_t c : name) {
        if (isEscape(c))
            out += char(c - kEscapeBase);
        else if ((c >= 0xD800 && c <= 0xDFFF) || char32_t(c) > 0x10FFFF)
            appendUtf8(out, 0xFFFD);
        else
            appendUtf8(out, char32_t(c));
    }
    return out;
}

// The same over another codeset, through iconv one stretch at a time: a byte the
// codeset cannot start a character with is escaped, and a character it lacks is
// written as UTF-8.
std::wstring decodeLegacyName(std::string_view bytes, const std::string& codeset) {
    std::wstring out;
    iconv_t cd = iconv_open("WCHAR_T", codeset.c_str());
    if (cd == (iconv_t)-1)
        return decodeUtf8Name(bytes);
    char* src = const_cast<char*>(bytes.data());
    size_t left = bytes.size();
    wchar_t buf[256];
    while (left > 0) {
        char* dst = reinterpret_cast<char*>(buf);
        size_t room = sizeof buf;
        const size_t r = iconv(cd, &src, &left, &dst, &room);
        out.append(buf, size_t(reinterpret_cast<wchar_t*>(dst) - buf));
        if (r == size_t(-1) && errno != E2BIG) {
            out += wchar_t(kEscapeBase + static_cast<unsigned char>(*src));
            ++src;
            --left;
            iconv(cd, nullptr, nullptr, nullptr, nullptr);
        }
    }
    iconv_close(cd);
    return out;
}

std::string encodeLegacyName(std::wstring_view name, const std::string& codeset) {
    iconv_t cd = iconv_open(codeset.c_str(), "WCHAR_T");
    if (cd == (iconv_t)-1)
        return encodeUtf8Name(name);
    std::string out;
    char buf[512];
    for (size_t i = 0; i < name.size();) {
        if (isEscape(name[i])) {
            out += char(name[i] - kEscapeBase);
            ++i;
            continue;
        }
        size_t end = i;
        while (end < name.size() && !isEscape(name[end]))
            ++end;
        char* src = reinterpret_cast<char*>(const_cast<wchar_t*>(name.data() + i));
        size_t left = (end - i) * sizeof(wchar_t);
        while (left > 0) {
            char* dst = buf;
            size_t room = sizeof buf;
            const size_t r = iconv(cd, &src, &left, &dst, &room);
            out.append(buf, size_t(dst - buf));
            if (r == size_t(-1) && errno != E2BIG) {
                wchar_t c;
                std::memcpy(&c, src, sizeof c);
                out += encodeUtf8Name(std::wstring_view(&c, 1));
                src += sizeof(wchar_t);
                left -= sizeof(wchar_t);
            }
        }
        char* dst = buf;
        size_t room = sizeof buf;
        iconv(cd, nullptr, nullptr, &dst, &room);
        out.append(buf, size_t(dst - buf));
        i = end;
    }
    iconv_close(cd);
    return out;
}

} // namespace

std::string fileNameToBytes(std::wstring_view name) {
    const std::string& codeset = nameCodeset();
    return codeset.empty() ? encodeUtf8Name(name) : encodeLegacyName(name, codeset);
}

std::wstring fileNameFromBytes(std::string_view bytes) {
    const std::string& codeset = nameCodeset();
    return codeset.empty() ? decodeUtf8Name(bytes) : decodeLegacyName(bytes, codeset);
}

std::string nativePath(const OdString& path) {
    OdString p(path);
    p.replace(L'\\', L'/');
    return fileNameToBytes(p.str());
}

OdString fromNativePath(std::string_view bytes) { return OdString(fileNameFromBytes(bytes)); }

// ---------------------------------------------------------------- failures

FileStatus statusFromErrno(int error) {
    switch (error) {
    case 0:
        return FileStatus::Ok;
    case ENOENT:
    case ENOTDIR:
    case ENAMETOOLONG:
        return FileStatus::Missing;
    case EISDIR:
        return FileStatus::Directory;
    case ENXIO:
    case ENODEV:
        return FileStatus::NotRegularFile;
    case ELOOP:
        return FileStatus::SymbolicLink;
    case EAGAIN:
    case ETXTBSY:
    case EBUSY:
        return FileStatus::InUse;
    case EACCES:
    case EPERM:
    case EROFS:
        return FileStatus::AccessDenied;
    case EFBIG:
        return FileStatus::TooLarge;
    case EEXIST:
    case ENOTEMPTY:
        return FileStatus::Exists;
    case ENOSPC:
    case EDQUOT:
        return FileStatus::NoSpace;
    default:
        return FileStatus::Failed;
    }
}

const char* describe(FileStatus status) {
    switch (status) {
    case FileStatus::Ok:
        return "done";
    case FileStatus::Missing:
        return "no such file";
    case FileStatus::Directory:
        return "is a directory";
    case FileStatus::NotRegularFile:
        return "not a regular file";
    case FileStatus::SymbolicLink:
        return "a symbolic link is in the way";
    case FileStatus::InUse:
        return "in use by another process";
    case FileStatus::AccessDenied:
        return "permission denied";
    case FileStatus::TooLarge:
        return "file too large";
    case FileStatus::HeldFile:
        return "the name belongs to the drawing itself";
    case FileStatus::Exists:
        return "already exists";
    case FileStatus::NoSpace:
        return "no space left on the disk";
    case FileStatus::Failed:
        break;
    }
    return "system error";
}

// ---------------------------------------------------------------- opening

namespace {

void setStatus(FileStatus* out, FileStatus value) {
    if (out)
        *out = value;
}

EntryKind kindOf(mode_t mode) {
    if (S_ISREG(mode))
        return EntryKind::Regular;
    if (S_ISDIR(mode))
        return EntryKind::Directory;
    return EntryKind::Other;
}

int64_t milliseconds(const struct timespec& t) { return int64_t(t.tv_sec) * 1000 + t.tv_nsec / 1000000; }

struct timespec timespecOf(int64_t ms) {
    struct timespec t {};
    int64_t sec = ms / 1000, rest = ms % 1000;
    if (rest < 0) {
        rest += 1000;
        --sec;
    }
    t.tv_sec = time_t(sec);
    t.tv_nsec = long(rest) * 1000000;
    return t;
}

// Opens for reading a regular file only. O_NONBLOCK keeps the open from hanging
// on a pipe that has no writer; it is cleared once the file is known to be plain.
FILE* openForReading(const std::string& path, FileStatus* why) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    if (fd < 0) {
        setStatus(why, statusFromErrno(errno));
        return nullptr;
    }
    struct stat st {};
    FileStatus status = FileStatus::Ok;
    if (::fstat(fd, &st) != 0)
        status = statusFromErrno(errno);
    else if (S_ISDIR(st.st_mode))
        status = FileStatus::Directory;
    else if (!S_ISREG(st.st_mode))
        status = FileStatus::NotRegularFile;
    else if (::fcntl(fd, F_SETFL, 0) != 0)
        status = statusFromErrno(errno);
    FILE* f = status == FileStatus::Ok ? ::fdopen(fd, "rb") : nullptr;
    if (!f) {
        if (status == FileStatus::Ok)
            status = statusFromErrno(errno);
        ::close(fd);
    }
    setStatus(why, status);
    return f;
}

} // namespace

FILE* openFile(const OdString& path, const char* mode, FileStatus* why) {
    const std::string native = nativePath(path);
    if (mode && mode[0] == 'r' && !std::strchr(mode, '+'))
        return openForReading(native, why);
    std::string m = std::string(mode ? mode : "rb") + "e";
    FILE* f = std::fopen(native.c_str(), m.c_str());
    setStatus(why, f ? FileStatus::Ok : statusFromErrno(errno));
    return f;
}

int64_t fileSize(FILE* file) {
    struct stat st;
    if (!file || ::fstat(fileno(file), &st) != 0)
        return -1;
    return static_cast<int64_t>(st.st_size);
}

bool removeFile(const OdString& path) {
    if (path.isEmpty())
        return true;
    const std::string native = nativePath(path);
    const bool removed = ::unlink(native.c_str()) == 0 || errno == ENOENT;
    if (removed)
        unregisterTemporary(native);
    return removed;
}

bool fileExists(const OdString& path) { return entryKind(path) == EntryKind::Regular; }

// ---------------------------------------------------------------- queries

bool fileInfo(const OdString& path, FileInfo& info) {
    info = FileInfo();
    struct stat st {};
    if (path.isEmpty() || ::stat(nativePath(path).c_str(), &st) != 0)
        return false;
    info.kind = kindOf(st.st_mode);
    info.size = uint64_t(st.st_size);
    info.mode = unsigned(st.st_mode & 07777);
    info.accessMs = milliseconds(st.st_atim);
    info.modifyMs = milliseconds(st.st_mtim);
    info.changeMs = milliseconds(st.st_ctim);
    return true;
}

EntryKind entryKind(const OdString& path) {
    FileInfo info;
    fileInfo(path, info);
    return info.kind;
}

bool isAccessible(const OdString& path, int bits) {
    int mode = 0;
    if (bits & 4)
        mode |= R_OK;
    if (bits & 2)
        mode |= W_OK;
    if (bits & 1)
        mode |= X_OK;
    return !path.isEmpty() && ::access(nativePath(path).c_str(), mode ? mode : F_OK) == 0;
}

bool setFileTimes(const OdString& path, const int64_t* accessMs, const int64_t* modifyMs) {
    struct timespec times[2];
    times[0].tv_nsec = times[1].tv_nsec = UTIME_OMIT;
    times[0].tv_sec = times[1].tv_sec = 0;
    if (accessMs)
        times[0] = timespecOf(*accessMs);
    if (modifyMs)
        times[1] = timespecOf(*modifyMs);
    return !path.isEmpty() && ::utimensat(AT_FDCWD, nativePath(path).c_str(), times, 0) == 0;
}

bool sameFile(const OdString& a, const OdString& b) {
    struct stat sa {}, sb {};
    return !a.isEmpty() && !b.isEmpty() && ::stat(nativePath(a).c_str(), &sa) == 0 &&
           ::stat(nativePath(b).c_str(), &sb) == 0 && sa.st_dev == sb.st_dev && sa.st_ino == sb.st_ino;
}

// ---------------------------------------------------------------- directories

namespace {

bool isDirectory(const std::string& native) {
    struct stat st {};
    return ::stat(native.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

} // namespace

bool makeNativeDirectories(const std::string& native, unsigned perm) {
    if (native.empty() || isDirectory(native))
        return true;
    const size_t slash = native.find_last_not_of('/') == std::string::npos
                             ? std::string::npos
                             : native.rfind('/', native.find_last_not_of('/'));
    if (slash != std::string::npos && slash > 0 && !makeNativeDirectories(native.substr(0, slash), perm))
        return false;
    if (::mkdir(native.c_str(), mode_t(perm)) == 0)
        return true;
    if (errno != EEXIST)
        return false;
    if (isDirectory(native)) // made by another meanwhile
        return true;
    errno = ENOTDIR; // a file is in the way
    return false;
}

bool makeDirectory(const OdString& path, int perm, bool parents) {
    if (path.isEmpty())
        return false;
    const std::string native = nativePath(path);
    if (parents)
        return makeNativeDirectories(native, unsigned(perm));
    return ::mkdir(native.c_str(), mode_t(perm)) == 0;
}

bool removeDirectory(const OdString& path) { return !path.isEmpty() && ::rmdir(nativePath(path).c_str()) == 0; }

bool listDirectory(const OdString& path, std::vector<std::pair<OdString, EntryKind>>& entries, bool followLinks) {
    entries.clear();
    const std::string native = nativePath(path);
    DIR* dir = ::opendir(native.c_str());
    if (!dir)
        return false;
    const std::string prefix = native.empty() || native.back() == '/' ? native : native + "/";
    while (const struct dirent* e = ::readdir(dir)) {
        const std::string name = e->d_name;
        if (name == "." || name == "..")
            continue;
        struct stat st {};
        const std::string full = prefix + name;
        const int rc = followLinks ? ::stat(full.c_str(), &st) : ::lstat(full.c_str(), &st);
        const EntryKind kind = rc == 0 ? kindOf(st.st_mode) : EntryKind::Other;
        entries.emplace_back(fromNativePath(name), kind);
    }
    ::closedir(dir);
    return true;
}

bool setCurrentDirectory(const OdString& path) { return !path.isEmpty() && ::chdir(nativePath(path).c_str()) == 0; }

OdString currentDirectory() {
    std::vector<char> buf(PATH_MAX);
    for (int attempt = 0; attempt < 8; ++attempt) {
        if (::getcwd(buf.data(), buf.size()))
            return fromNativePath(buf.data());
        if (errno != ERANGE)
            return OdString();
        buf.resize(buf.size() * 2);
    }
    return OdString();
}

OdString homeDirectory() {
    if (const char* home = std::getenv("HOME"); home && *home)
        return fromNativePath(home);
    return OdString(L"/");
}

OdString executableDirectory() {
    std::string buf(PATH_MAX, '\0');
    const ssize_t n = ::readlink("/proc/self/exe", buf.data(), buf.size());
    if (n <= 0 || size_t(n) >= buf.size())
        return OdString();
    buf.resize(size_t(n));
    const size_t slash = buf.rfind('/');
    if (slash == std::string::npos)
        return OdString();
    return fromNativePath(slash == 0 ? std::string("/") : buf.substr(0, slash));
}

OdString systemTempDirectory() {
    for (const char* var : {"TMPDIR", "TMP", "TEMP"}) {
        const char* v = std::getenv(var);
        if (v && *v && isDirectory(v))
            return fromNativePath(v);
    }
    return OdString(L"/tmp");
}

OdString createUniqueFile(const OdString& prefix, const OdString& suffix) {
    std::string base = nativePath(prefix);
    if (base.find('/') == std::string::npos) {
        std::string dir = nativePath(systemTempDirectory());
        base = (dir.empty() || dir.back() == '/' ? dir : dir + "/") + base;
    }
    const std::string tail = nativePath(suffix);
    std::string templ = base + "XXXXXX" + tail;
    // mkstemp: created exclusively with mode 0600, so nobody else can have opened
    // the name first or read what goes into it.
    const int fd = ::mkostemps(templ.data(), int(tail.size()), O_CLOEXEC);
    if (fd < 0)
        return OdString();
    ::close(fd);
    registerTemporary(templ);
    return fromNativePath(templ);
}

// ---------------------------------------------------------------- writing

namespace {

std::string directoryOf(const std::string& path) {
    size_t slash = path.rfind('/');
    if (slash == std::string::npos)
        return ".";
    if (slash == 0)
        return "/";
    return path.substr(0, slash);
}

std::string baseNameOf(const std::string& path) {
    size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

void syncDirectory(const std::string& dir) {
    int fd = ::open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0) {
        // Makes the rename itself durable; a file system that cannot sync a
        // directory still has the renamed file, so a failure here is not reported.
        (void)::fsync(fd);
        ::close(fd);
    }
}

// The process's file-creation mask, read without changing it (umask() can only
// be read by setting it, which would race with other threads creating files).
mode_t currentUmask() {
    static std::once_flag once;
    static mode_t mask = 022;
    std::call_once(once, [] {
        std::ifstream status("/proc/self/status");
        std::string line;
        while (std::getline(status, line)) {
            if (line.rfind("Umask:", 0) == 0) {
                mask = mode_t(std::strtoul(line.c_str() + 6, nullptr, 8) & 0777);
                break;
            }
        }
    });
    return mask;
}

// Renames without ever replacing an existing destination. A file system without
// renameat2's flag gets a hard link and the removal of the old name instead,
// which has the same effect.
bool renameNoReplace(const std::string& from, const std::string& to) {
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0)
        return true;
    if (errno != EINVAL && errno != ENOSYS)
        return false;
    if (::link(from.c_str(), to.c_str()) != 0)
        return false;
    ::unlink(from.c_str());
    return true;
}

// Checked again just before the rename: what sits at the name may have changed
// while the file was written. False with errno set when it is no regular file.
bool replaceable(const std::string& path) {
    struct stat st;
    if (::stat(path.c_str(), &st) != 0)
        return true; // gone or never there: the rename makes it
    if (S_ISREG(st.st_mode))
        return true;
    errno = S_ISDIR(st.st_mode) ? EISDIR : ENODEV;
    return false;
}

} // namespace

AtomicFileWriter::AtomicFileWriter(const OdString& destination, bool replaceExisting)
    : m_destination(nativePath(destination)), m_replace(replaceExisting) {
    struct stat st;
    if (::lstat(m_destination.c_str(), &st) == 0 && S_ISLNK(st.st_mode)) {
        char resolved[PATH_MAX];
        if (::realpath(m_destination.c_str(), resolved))
            m_destination = resolved;
    }
    const bool existing = ::stat(m_destination.c_str(), &st) == 0;
    if (existing && S_ISDIR(st.st_mode)) {
        m_status = FileStatus::Directory;
        return;
    }
    // A pipe, device or socket is not content this writer could replace: a rename
    // over /dev/sda or a FIFO a reader waits on would swap it for a plain file.
    if (existing && !S_ISREG(st.st_mode)) {
        m_status = FileStatus::NotRegularFile;
        return;
    }
    if (existing && !m_replace) {
        m_status = FileStatus::Exists;
        return;
    }
    // A rename would replace a file its owner made read-only as readily as any
    // other; the caller must be allowed to write the file itself.
    if (existing && ::access(m_destination.c_str(), W_OK) != 0) {
        m_status = statusFromErrno(errno);
        return;
    }
    m_finalMode = existing ? unsigned(st.st_mode & 07777) : unsigned(0666 & ~currentUmask());
    if (existing) {
        m_owner = (long long)st.st_uid;
        m_group = (long long)st.st_gid;
    }
    // Made as createUniqueFile makes its files: exclusively (never through a link
    // planted at the name) and owner only while it is written, since what goes in
    // may be private (deciphered text) and is incomplete until commit.
    std::string temporary = directoryOf(m_destination) + "/." + baseNameOf(m_destination) + ".XXXXXX.tmp";
    const int fd = ::mkostemps(temporary.data(), 4, O_CLOEXEC);
    if (fd < 0) {
        m_status = statusFromErrno(errno);
        return;
    }
    m_file = ::fdopen(fd, "wb");
    if (!m_file) {
        m_status = statusFromErrno(errno);
        ::close(fd);
        ::unlink(temporary.c_str());
        return;
    }
    m_temporary = temporary;
    registerTemporary(m_temporary);
}

AtomicFileWriter::~AtomicFileWriter() { discard(); }

unsigned AtomicFileWriter::keepOwner(int fd) const {
    if (m_owner < 0)
        return m_finalMode;
    struct stat st;
    if (::fstat(fd, &st) != 0)
        return m_finalMode & 0777;
    const uid_t owner = uid_t(m_owner);
    const gid_t group = gid_t(m_group);
    // Before the mode: a change of owner clears the set-ID bits.
    if ((st.st_uid != owner || st.st_gid != group) && ::fchown(fd, owner, group) != 0 && st.st_gid != group)
        (void)::fchown(fd, uid_t(-1), group); // a member of the group may keep at least that
    if (::fstat(fd, &st) != 0)
        return m_finalMode & 0777;
    // A set-ID bit grants the rights of whom the file belongs to: never carried
    // over to a file that now belongs to someone else.
    unsigned mode = m_finalMode;
    if (st.st_uid != owner)
        mode &= ~unsigned(S_ISUID);
    if (st.st_gid != group)
        mode &= ~unsigned(S_ISGID);
    return mode;
}

void AtomicFileWriter::discard() {
    if (m_file) {
        std::fclose(m_file);
        m_file = nullptr;
    }
    if (!m_temporary.empty()) {
        ::unlink(m_temporary.c_str());
        unregisterTemporary(m_temporary);
        m_temporary.clear();
    }
}

bool AtomicFileWriter::commit() {
    if (!m_file) {
        if (m_status == FileStatus::Ok)
            m_status = FileStatus::Failed;
        return false;
    }
    errno = 0;
    bool ok = std::fflush(m_file) == 0 && ::fchmod(fileno(m_file), mode_t(keepOwner(fileno(m_file)))) == 0 &&
              ::fsync(fileno(m_file)) == 0;
    int error = errno;
    if (std::fclose(m_file) != 0 && ok) {
        ok = false;
        error = errno;
    }
    m_file = nullptr;
    if (ok && m_replace && !replaceable(m_destination)) {
        ok = false;
        error = errno;
    }
    if (ok) {
        ok = m_replace ? ::rename(m_temporary.c_str(), m_destination.c_str()) == 0
                       : renameNoReplace(m_temporary, m_destination);
        error = errno;
    }
    if (!ok) {
        m_status = statusFromErrno(error);
        if (m_status == FileStatus::Ok)
            m_status = FileStatus::Failed;
        discard();
        return false;
    }
    unregisterTemporary(m_temporary);
    m_temporary.clear();
    syncDirectory(directoryOf(m_destination));
    return true;
}

} // namespace ut::platform
