#include "ut_filename.h"

#include <wx/filename.h>
#include <wx/log.h>

#include "platform/files.h"
#include "ut_strings.h"

namespace ut {

OdString FileName::s_appTempPath;

// wxFileName splits, joins and normalises the text of a name; everything that
// reaches the disk goes through the platform layer instead, whose conversion of
// names to bytes is lossless (wx's own would fail on a name that is not valid
// UTF-8 and report that to the active log, a message box in the application).

namespace {

wxString wx(const OdString& s) { return wxString(s.c_str()); }
OdString od(const wxString& s) { return OdString(s.ToStdWstring()); }

DateTime fromMs(int64_t ms) { return DateTime::fromMilliseconds(ms); }

// Paths that other code spells with backslashes (the Windows habit kept by
// correctSlashes) must still name the same file here.
OdString nativeSlashes(const OdString& s) {
    OdString r(s);
    r.replace(L'\\', L'/');
    return r;
}

// A directory that wx would make of an empty path: the current one.
OdString orCwd(const OdString& dir) { return dir.isEmpty() ? platform::currentDirectory() : dir; }

bool removeTree(const OdString& path) {
    std::vector<std::pair<OdString, platform::EntryKind>> entries;
    // Links are not followed: removing a tree never reaches into what a link in it
    // points to; the link itself goes like a file.
    if (!platform::listDirectory(path, entries, false))
        return false;
    const OdString prefix = path.right(1) == L"/" ? path : path + L"/";
    // Hidden entries are deliberately left alone: a directory holding them
    // survives a recursive removal.
    for (const auto& [name, kind] : entries)
        if (kind == platform::EntryKind::Directory && name.getAt(0) != L'.')
            removeTree(prefix + name);
    for (const auto& [name, kind] : entries)
        if (kind != platform::EntryKind::Directory && name.getAt(0) != L'.')
            platform::removeFile(prefix + name);
    return platform::removeDirectory(path);
}

} // namespace

FileName::FileName() : m_pImpl(new wxFileName) {}
FileName::FileName(const FileName& other) : m_pImpl(new wxFileName(wx(other.getFullPath()))) {}
FileName::FileName(const OdString& fullPath) : m_pImpl(new wxFileName(wx(fullPath))) {}
FileName::FileName(const OdString& dir, const OdString& name) : m_pImpl(new wxFileName(wx(dir), wx(name))) {}
FileName::FileName(const OdString& dir, const OdString& name, const OdString& ext)
    : m_pImpl(new wxFileName(wx(dir), wx(name), wx(ext))) {}
FileName::~FileName() { delete m_pImpl; }

FileName& FileName::operator=(const FileName& other) {
    if (this != &other)
        *m_pImpl = *other.m_pImpl;
    return *this;
}

FileName& FileName::operator=(const OdString& fullPath) {
    assign(fullPath);
    return *this;
}

void FileName::assign(const OdString& fullPath) { m_pImpl->Assign(wx(fullPath)); }
void FileName::assign(const OdString& dir, const OdString& name) { m_pImpl->Assign(wx(dir), wx(name)); }
void FileName::assign(const OdString& dir, const OdString& name, const OdString& ext) {
    m_pImpl->Assign(wx(dir), wx(name), wx(ext));
}
void FileName::assignDir(const OdString& dir) { m_pImpl->AssignDir(wx(dir)); }

OdString FileName::getVolume() const { return od(m_pImpl->GetVolume()); }
OdString FileName::getName() const { return od(m_pImpl->GetName()); }
OdString FileName::getExt() const { return od(m_pImpl->GetExt()); }
OdString FileName::getFullName() const { return od(m_pImpl->GetFullName()); }
OdString FileName::getFullPath() const { return od(m_pImpl->GetFullPath()); }
OdString FileName::getPath(int flags) const { return od(m_pImpl->GetPath(flags)); }
uint64_t FileName::getDirCount() const { return m_pImpl->GetDirCount(); }

uint64_t FileName::getSize() const { return getSize(getFullPath()); }

uint64_t FileName::getSize(const OdString& path) {
    platform::FileInfo info;
    return platform::fileInfo(path, info) && info.kind == platform::EntryKind::Regular ? info.size : 0;
}

bool FileName::getTimes(DateTime* access, DateTime* modify, DateTime* create) const {
    platform::FileInfo info;
    if (!platform::fileInfo(getFullPath(), info))
        return false;
    if (access)
        *access = fromMs(info.accessMs);
    if (modify)
        *modify = fromMs(info.modifyMs);
    if (create)
        *create = fromMs(info.changeMs);
    return true;
}

bool FileName::setTimes(const DateTime* access, const DateTime* modify, const DateTime*) const {
    // A time the caller leaves out (or gives invalid) keeps its current value.
    const int64_t a = access ? access->milliseconds() : 0, m = modify ? modify->milliseconds() : 0;
    return platform::setFileTimes(getFullPath(), access && access->isValid() ? &a : nullptr,
                                  modify && modify->isValid() ? &m : nullptr);
}

void FileName::appendDir(const OdString& dir) { m_pImpl->AppendDir(wx(dir)); }
void FileName::removeLastDir() { m_pImpl->RemoveLastDir(); }
void FileName::setName(const OdString& name) { m_pImpl->SetName(wx(name)); }
void FileName::setExt(const OdString& ext) { m_pImpl->SetExt(wx(ext)); }
void FileName::setFullName(const OdString& fullName) { m_pImpl->SetFullName(wx(fullName)); }
void FileName::clear() { m_pImpl->Clear(); }
void FileName::clearExt() { m_pImpl->ClearExt(); }

bool FileName::hasName() const { return m_pImpl->HasName(); }
bool FileName::hasVolume() const { return m_pImpl->HasVolume(); }
bool FileName::hasExt() const { return m_pImpl->HasExt(); }

bool FileName::hasExt(const OdString& ext) const {
    OdString e = (!ext.isEmpty() && ext.getAt(0) == L'.') ? ext.mid(1) : ext;
    return getExt().iCompare(e.c_str()) == 0;
}

bool FileName::isAbsolute() const { return m_pImpl->IsAbsolute(); }
bool FileName::isDir() const { return m_pImpl->IsDir(); }
bool FileName::dirExists() const { return dirExists(getPath()); }
bool FileName::fileExists() const { return fileExists(getFullPath()); }
bool FileName::isDirReadable() const { return platform::isAccessible(getPath(), 4); }
bool FileName::isDirWritable() const { return platform::isAccessible(getPath(), 2); }
bool FileName::isFileReadable() const { return platform::isAccessible(getFullPath(), 4); }
bool FileName::isFileWritable() const { return platform::isAccessible(getFullPath(), 2); }
bool FileName::isFileExecutable() const { return platform::isAccessible(getFullPath(), 1); }

// No drive letters or volumes exist here, so every non-empty name is on a
// mounted volume.
bool FileName::isOk() const { return m_pImpl->IsOk(); }

bool FileName::normalize(int flags, const OdString& cwd) {
    wxLogNull quiet;
    return m_pImpl->Normalize(flags, wx(orCwd(cwd)));
}

bool FileName::makeAbsolute(const OdString& cwd) {
    // ".." is refused on purpose: callers must pass a real directory.
    if (cwd == L"..")
        return false;
    return normalize(NORM_DOTS | NORM_TILDE | NORM_ABSOLUTE, cwd);
}

bool FileName::makeRelativeTo(const OdString& base) {
    wxLogNull quiet;
    // Both made absolute here first, so that wx never needs the working directory
    // itself (it could not spell one whose name is not valid UTF-8).
    const wxString cwd = wx(platform::currentDirectory());
    wxFileName from = wxFileName::DirName(base.isEmpty() ? cwd : wx(base));
    from.MakeAbsolute(cwd);
    m_pImpl->MakeAbsolute(cwd);
    return m_pImpl->MakeRelativeTo(from.GetPath());
}

bool FileName::mkdir(int perm, int flags) const { return mkdir(getPath(), perm, flags); }
bool FileName::mkdir(const OdString& path, int perm, int flags) {
    return platform::makeDirectory(path, perm, (flags & PATH_MKDIR_FULL) != 0);
}
bool FileName::rmdir() const { return platform::removeDirectory(getPath()); }

namespace {

// As wx compares names: normalised spellings first, then, for two spellings of
// one existing file (a link, a second hard link), the file itself.
bool sameName(const wxFileName& a, const wxFileName& b) {
    wxLogNull quiet;
    const wxString cwd = wx(platform::currentDirectory());
    wxFileName x(a), y(b);
    x.Normalize(wxPATH_NORM_DOTS | wxPATH_NORM_TILDE | wxPATH_NORM_ABSOLUTE, cwd);
    y.Normalize(wxPATH_NORM_DOTS | wxPATH_NORM_TILDE | wxPATH_NORM_ABSOLUTE, cwd);
    return x.GetFullPath() == y.GetFullPath() ||
           platform::sameFile(od(x.GetFullPath()), od(y.GetFullPath()));
}

} // namespace

bool FileName::operator==(const FileName& other) const { return sameName(*m_pImpl, *other.m_pImpl); }
bool FileName::operator==(const OdString& path) const { return sameName(*m_pImpl, wxFileName(wx(path))); }

bool FileName::dirExists(const OdString& path) {
    return platform::entryKind(path) == platform::EntryKind::Directory;
}
bool FileName::fileExists(const OdString& path) { return platform::entryKind(path) == platform::EntryKind::Regular; }

bool FileName::isFileReadOnly(const OdString& path) {
    platform::FileInfo info;
    if (!platform::fileInfo(path, info) || info.kind != platform::EntryKind::Regular)
        return false;
    return (info.mode & 0222) == 0;
}

bool FileName::setCwd(const OdString& path) { return platform::setCurrentDirectory(path); }
OdString FileName::getCwd(const OdString&) { return platform::currentDirectory(); }
OdString FileName::getHomeDir() { return platform::homeDirectory(); }

OdString FileName::getTempDir() {
    static const OdString separators = getPathSeparators();
    OdString dir = s_appTempPath.isEmpty() ? platform::systemTempDirectory() : s_appTempPath;
    if (!dir.isEmpty() && separators.find(dir.getAt(dir.getLength() - 1)) < 0)
        dir += getPathSeparator();
    return dir;
}

OdString FileName::setApplicationTempPath(const OdString& path) {
    s_appTempPath = path;
    return s_appTempPath;
}

OdString FileName::createTempFileName(const OdString& prefix) {
    OdString base = prefix;
    FileName name(prefix);
    if (!name.isAbsolute()) {
        base = s_appTempPath + prefix;
        name.assign(nativeSlashes(base));
    }
    const OdString dir = name.getPath();
    if (!dir.isEmpty() && !dirExists(dir))
        mkdir(dir, 0777, PATH_MKDIR_FULL);
    OdString created = platform::createUniqueFile(nativeSlashes(base));
    if (created.isEmpty())
        created = platform::createUniqueFile(nativeSlashes(prefix));
    return created;
}

bool FileName::rmdir(const OdString& path, bool recursive) {
    if (!recursive)
        return platform::removeDirectory(path);
    if (!dirExists(path))
        return false;
    return removeTree(path);
}

bool FileName::isPathSeparator(wchar_t c) { return wxFileName::IsPathSeparator(c); }

OdString FileName::getPathSeparator() {
    OdString s;
    s.format(L"%lc", wint_t(wxFileName::GetPathSeparator()));
    return s;
}

OdString FileName::getPathSeparators() { return od(wxFileName::GetPathSeparators()); }

// Empty: POSIX paths have no volume separator.
OdString FileName::getVolumeSeparator() { return od(wxFileName::GetVolumeSeparator()); }

} // namespace ut
