#include "platform/files.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <fcntl.h>
#include <random>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/codepage.h"

namespace ut::platform {

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

// A name nobody else is likely to pick; O_EXCL settles the rare collision.
std::string uniqueSuffix() {
    static std::atomic<unsigned> counter{0};
    static const unsigned long long seed = [] {
        std::random_device rd;
        return (static_cast<unsigned long long>(rd()) << 32) ^ rd();
    }();
    unsigned long long v = seed ^ (static_cast<unsigned long long>(getpid()) << 20) ^ counter.fetch_add(1) * 0x9E3779B97F4A7C15ull;
    static const char digits[] = "0123456789abcdefghijklmnopqrstuvwxyz";
    std::string s;
    for (int i = 0; i < 8; ++i, v /= 36)
        s += digits[v % 36];
    return s;
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

} // namespace

std::string nativePath(const OdString& path) {
    OdString p(path);
    p.replace(L'\\', L'/');
    return wideToUtf8(p.str());
}

FILE* openFile(const OdString& path, const char* mode) {
    std::string m = std::string(mode) + "e";
    return std::fopen(nativePath(path).c_str(), m.c_str());
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
    return ::unlink(nativePath(path).c_str()) == 0 || errno == ENOENT;
}

bool fileExists(const OdString& path) {
    struct stat st;
    return ::stat(nativePath(path).c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

AtomicFileWriter::AtomicFileWriter(const OdString& destination) : m_destination(nativePath(destination)) {
    struct stat st;
    if (::lstat(m_destination.c_str(), &st) == 0 && S_ISLNK(st.st_mode)) {
        char resolved[PATH_MAX];
        if (::realpath(m_destination.c_str(), resolved))
            m_destination = resolved;
    }
    const bool existing = ::stat(m_destination.c_str(), &st) == 0;
    const std::string dir = directoryOf(m_destination);
    const std::string base = baseNameOf(m_destination);
    for (int attempt = 0; attempt < 100; ++attempt) {
        std::string candidate = dir + "/." + base + "." + uniqueSuffix() + ".tmp";
        // 0666 lets the umask decide, as for any new file; an existing file's
        // permissions are carried over below.
        int fd = ::open(candidate.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd < 0) {
            if (errno == EEXIST)
                continue;
            return;
        }
        if (existing)
            (void)::fchmod(fd, st.st_mode & 07777);
        m_file = ::fdopen(fd, "wb");
        if (!m_file) {
            ::close(fd);
            ::unlink(candidate.c_str());
            return;
        }
        m_temporary = candidate;
        return;
    }
}

AtomicFileWriter::~AtomicFileWriter() { discard(); }

void AtomicFileWriter::discard() {
    if (m_file) {
        std::fclose(m_file);
        m_file = nullptr;
    }
    if (!m_temporary.empty()) {
        ::unlink(m_temporary.c_str());
        m_temporary.clear();
    }
}

bool AtomicFileWriter::commit() {
    if (!m_file)
        return false;
    bool ok = std::fflush(m_file) == 0 && ::fsync(fileno(m_file)) == 0;
    ok = std::fclose(m_file) == 0 && ok;
    m_file = nullptr;
    if (!ok || ::rename(m_temporary.c_str(), m_destination.c_str()) != 0) {
        discard();
        return false;
    }
    m_temporary.clear();
    syncDirectory(directoryOf(m_destination));
    return true;
}

} // namespace ut::platform
