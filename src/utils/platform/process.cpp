#include "platform/process.h"

#include <algorithm>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ut::platform {

std::string executableDirectory() {
    std::string buf(4096, '\0');
    const ssize_t n = ::readlink("/proc/self/exe", buf.data(), buf.size());
    if (n <= 0 || size_t(n) >= buf.size())
        return std::string();
    buf.resize(size_t(n));
    const size_t slash = buf.rfind('/');
    if (slash == std::string::npos)
        return std::string();
    return slash == 0 ? std::string("/") : buf.substr(0, slash);
}

std::vector<std::string> subfolders(const std::string& dir) {
    std::vector<std::string> names;
    const int fd = ::open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return names;
    DIR* d = ::fdopendir(fd);
    if (!d) {
        ::close(fd);
        return names;
    }
    while (const dirent* e = ::readdir(d)) {
        const std::string name = e->d_name;
        if (name == "." || name == "..")
            continue;
        struct stat st;
        // Follows links: a language folder may be a link to a shared one.
        if (::fstatat(fd, e->d_name, &st, 0) == 0 && S_ISDIR(st.st_mode))
            names.push_back(name);
    }
    ::closedir(d);
    std::sort(names.begin(), names.end());
    return names;
}

std::string createTempFile(const std::string& dir, const std::string& prefix, const std::string& suffix) {
    std::string name = (dir.empty() ? std::string(".") : dir);
    if (name.back() != '/')
        name += '/';
    name += prefix + "XXXXXX" + suffix;
    const int fd = ::mkostemps(name.data(), int(suffix.size()), O_CLOEXEC);
    if (fd < 0)
        return std::string();
    ::close(fd);
    return name;
}

} // namespace ut::platform
