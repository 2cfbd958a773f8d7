#include "ut_filename.h"

#include <filesystem>

#include <wx/datetime.h>
#include <wx/dir.h>
#include <wx/filename.h>
#include <wx/log.h>

#include "ut_strings.h"

namespace ut {

OdString FileName::s_appTempPath;

// wx reports its own failures to the active log, which in the application is a
// message box; the library reports failures by its results instead, so calls that
// touch the disk run under wxLogNull.

namespace {

wxString wx(const OdString& s) { return wxString(s.c_str()); }
OdString od(const wxString& s) { return OdString(s.ToStdWstring()); }

DateTime fromWx(const wxDateTime& d) {
    return d.IsValid() ? DateTime::fromMilliseconds(d.GetValue().GetValue()) : DateTime();
}

wxDateTime toWx(const DateTime& d) { return wxDateTime(wxLongLong(d.milliseconds())); }

// Paths that other code spells with backslashes (the Windows habit kept by
// correctSlashes) must still name the same file here.
OdString nativeSlashes(const OdString& s) {
    OdString r(s);
    r.replace(L'\\', L'/');
    return r;
}

bool isDirectoryPath(const wxString& path) { return wxFileName::DirExists(path); }

bool removeTree(const wxString& path) {
    wxDir dir(path);
    if (!dir.IsOpened())
        return false;
    wxString name;
    // Hidden entries are deliberately not listed: a directory holding them
    // survives a recursive removal.
    wxArrayString subdirs, files;
    for (bool more = dir.GetFirst(&name, wxEmptyString, wxDIR_DIRS); more; more = dir.GetNext(&name))
        subdirs.push_back(name);
    for (bool more = dir.GetFirst(&name, wxEmptyString, wxDIR_FILES); more; more = dir.GetNext(&name))
        files.push_back(name);
    dir.Close();
    const wxString sep = wxFileName::GetPathSeparator();
    const wxString prefix = path.EndsWith(sep) ? path : path + sep;
    for (const auto& sub : subdirs)
        if (isDirectoryPath(prefix + sub))
            removeTree(prefix + sub);
    for (const auto& file : files)
        wxRemoveFile(prefix + file);
    return wxFileName::Rmdir(path);
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

uint64_t FileName::getSize() const {
    wxLogNull quiet;
    wxULongLong size = m_pImpl->GetSize();
    return size == wxInvalidSize ? 0 : size.GetValue();
}

uint64_t FileName::getSize(const OdString& path) {
    wxLogNull quiet;
    wxULongLong size = wxFileName::GetSize(wx(path));
    return size == wxInvalidSize ? 0 : size.GetValue();
}

bool FileName::getTimes(DateTime* access, DateTime* modify, DateTime* create) const {
    wxLogNull quiet;
    wxDateTime a, m, c;
    if (!m_pImpl->GetTimes(&a, &m, &c))
        return false;
    if (access)
        *access = fromWx(a);
    if (modify)
        *modify = fromWx(m);
    if (create)
        *create = fromWx(c);
    return true;
}

bool FileName::setTimes(const DateTime* access, const DateTime* modify, const DateTime* create) const {
    wxLogNull quiet;
    // The file system takes both times at once; a time the caller leaves out
    // keeps its current value.
    wxDateTime a, m;
    if (!m_pImpl->GetTimes(&a, &m, nullptr))
        return false;
    if (access && access->isValid())
        a = toWx(*access);
    if (modify && modify->isValid())
        m = toWx(*modify);
    return m_pImpl->SetTimes(&a, &m, nullptr);
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
bool FileName::dirExists() const { return m_pImpl->DirExists(); }
bool FileName::fileExists() const { return m_pImpl->FileExists(); }
bool FileName::isDirReadable() const { return m_pImpl->IsDirReadable(); }
bool FileName::isDirWritable() const { return m_pImpl->IsDirWritable(); }
bool FileName::isFileReadable() const { return m_pImpl->IsFileReadable(); }
bool FileName::isFileWritable() const { return m_pImpl->IsFileWritable(); }
bool FileName::isFileExecutable() const { return m_pImpl->IsFileExecutable(); }

// No drive letters or volumes exist here, so every non-empty name is on a
// mounted volume.
bool FileName::isOk() const { return m_pImpl->IsOk(); }

bool FileName::normalize(int flags, const OdString& cwd) {
    wxLogNull quiet;
    return m_pImpl->Normalize(flags, wx(cwd));
}

bool FileName::makeAbsolute(const OdString& cwd) {
    // ".." is refused on purpose: callers must pass a real directory.
    if (cwd == L"..")
        return false;
    return normalize(NORM_DOTS | NORM_TILDE | NORM_ABSOLUTE, cwd);
}

bool FileName::makeRelativeTo(const OdString& base) {
    wxLogNull quiet;
    return m_pImpl->MakeRelativeTo(wx(base));
}

bool FileName::mkdir(int perm, int flags) const {
    wxLogNull quiet;
    return m_pImpl->Mkdir(perm, flags);
}
bool FileName::mkdir(const OdString& path, int perm, int flags) {
    wxLogNull quiet;
    return wxFileName::Mkdir(wx(path), perm, flags);
}
bool FileName::rmdir() const {
    wxLogNull quiet;
    return m_pImpl->Rmdir();
}

bool FileName::operator==(const FileName& other) const { return m_pImpl->SameAs(*other.m_pImpl); }
bool FileName::operator==(const OdString& path) const { return m_pImpl->SameAs(wxFileName(wx(path))); }

bool FileName::dirExists(const OdString& path) { return wxFileName::DirExists(wx(path)); }
bool FileName::fileExists(const OdString& path) { return wxFileName::FileExists(wx(path)); }

bool FileName::isFileReadOnly(const OdString& path) {
    namespace fs = std::filesystem;
    std::error_code ec;
    fs::file_status st = fs::status(fs::path(path.str()), ec);
    if (ec || !fs::is_regular_file(st))
        return false;
    const fs::perms writable = fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write;
    return (st.permissions() & writable) == fs::perms::none;
}

bool FileName::setCwd(const OdString& path) {
    wxLogNull quiet; return wxFileName::SetCwd(wx(path)); }
OdString FileName::getCwd(const OdString& volume) { return od(wxFileName::GetCwd(wx(volume))); }
OdString FileName::getHomeDir() { return od(wxFileName::GetHomeDir()); }

OdString FileName::getTempDir() {
    static const OdString separators = getPathSeparators();
    OdString dir = s_appTempPath.isEmpty() ? od(wxFileName::GetTempDir()) : s_appTempPath;
    if (!dir.isEmpty() && separators.find(dir.getAt(dir.getLength() - 1)) < 0)
        dir += getPathSeparator();
    return dir;
}

OdString FileName::setApplicationTempPath(const OdString& path) {
    s_appTempPath = path;
    return s_appTempPath;
}

OdString FileName::createTempFileName(const OdString& prefix) {
    wxLogNull quiet;
    OdString base = prefix;
    FileName name(prefix);
    if (!name.isAbsolute()) {
        base = s_appTempPath + prefix;
        name.assign(nativeSlashes(base));
    }
    const OdString dir = name.getPath();
    if (!dir.isEmpty() && !dirExists(dir))
        mkdir(dir, 0777, PATH_MKDIR_FULL);
    // wx creates the file with mkstemp: exclusive, mode 0600, no name race.
    wxString created = wxFileName::CreateTempFileName(wx(nativeSlashes(base)));
    if (created.empty() || !wxFileName::FileExists(created))
        created = wxFileName::CreateTempFileName(wx(prefix));
    return od(created);
}

bool FileName::rmdir(const OdString& path, bool recursive) {
    wxLogNull quiet;
    if (!recursive)
        return wxFileName::Rmdir(wx(path));
    if (!dirExists(path))
        return false;
    return removeTree(wx(path));
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
