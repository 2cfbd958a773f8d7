#include "ut_filelock.h"

#include <utility>

#include <wx/translation.h>

#include "platform/codepage.h"
#include "platform/filelock.h"
#include "ut_filelock_text.h"
#include "ut_filename.h"
#include "ut_log.h"

namespace ut {

namespace {

const char kSource[] = "src/utils/ut_filelock";

// Every path reaches the system through the one lossless conversion.
std::string osPath(const OdString& path) { return platform::nativePath(path); }

// Paths that reach this family in the Windows spelling must still name the file.
OdString nativeSlashes(const OdString& path) {
    OdString result(path);
    result.replace(L'\\', L'/');
    return result;
}

OdString lockFileName(const OdString& drawing, const wchar_t* ext) {
    FileName name(drawing);
    if (!name.hasName())
        return OdString();
    name.setExt(ext);
    return name.getFullPath();
}

std::string encode(const OdString& text) { return platform::wideToCodePage(text.str(), platform::ansiCodePage()); }

OdString xmlEscaped(const OdString& text) {
    OdString result;
    for (wchar_t c : text.str()) {
        switch (c) {
        case L'&':
            result += L"&amp;";
            break;
        case L'<':
            result += L"&lt;";
            break;
        case L'>':
            result += L"&gt;";
            break;
        default:
            result += c;
        }
    }
    return result;
}

struct Identity {
    OdString user;
    OdString machine;
};

Identity currentIdentity() { return {OdString(platform::currentUserName()), OdString(platform::hostName())}; }

} // namespace

// ---------------------------------------------------------------------------
// Lock-file text

namespace lockfile {

std::string formatDwl(const OdString& user, const OdString& machine, const OdString& dateTime) {
    return encode(user) + "\n" + encode(machine) + "\n" + encode(dateTime);
}

std::string formatDwl2(const OdString& user, const OdString& machine, const OdString& dateTime) {
    // Peers read this file with XML parsers, so markup characters in a name are
    // escaped rather than written raw; ordinary names are unaffected.
    return "<?xml version=\"1.0\"?>\n"
           "<whprops>\n"
           "<username>" + encode(xmlEscaped(user)) + "</username>\n"
           "<machinename>" + encode(xmlEscaped(machine)) + "</machinename>\n"
           "<fullname></fullname>\n"
           "<datetime>" + encode(xmlEscaped(dateTime)) + "</datetime>\n"
           "</whprops>\n";
}

OdString decode(std::string_view bytes) {
    std::wstring text = platform::decodeTextFile(bytes);
    // Callers handle the fields as C strings, which would end there anyway.
    if (size_t nul = text.find(L'\0'); nul != std::wstring::npos)
        text.resize(nul);
    return OdString(std::move(text));
}

std::vector<OdString> splitLines(const OdString& text) {
    std::vector<OdString> lines;
    for (auto& line : platform::splitLines(text.str()))
        lines.emplace_back(std::move(line));
    return lines;
}

void roundTrip(OdString& user, OdString& machine) {
    std::vector<OdString> lines = splitLines(decode(formatDwl(user, machine, OdString())));
    user = lines.size() > 0 ? lines[0] : OdString();
    machine = lines.size() > 1 ? lines[1] : OdString();
}

} // namespace lockfile

// ---------------------------------------------------------------------------
// LockedFileHandle

LockedFileHandle::~LockedFileHandle() { close(); }

LockedFileHandle::LockedFileHandle(LockedFileHandle&& other) noexcept
    : m_handle(std::exchange(other.m_handle, -1)), m_fileName(std::move(other.m_fileName)) {
    other.m_fileName.empty();
}

LockedFileHandle& LockedFileHandle::operator=(LockedFileHandle&& other) noexcept {
    if (this != &other) {
        close();
        m_handle = std::exchange(other.m_handle, -1);
        m_fileName = std::move(other.m_fileName);
        other.m_fileName.empty();
    }
    return *this;
}

bool LockedFileHandle::open(const OdString& path) {
    close();
    m_handle = platform::openDenyWrite(osPath(path));
    if (m_handle != platform::kNoFile)
        m_fileName = path;
    return isValid();
}

bool LockedFileHandle::close() {
    bool ok = platform::closeFile(m_handle);
    m_handle = platform::kNoFile;
    m_fileName.empty();
    return ok;
}

// ---------------------------------------------------------------------------
// FileLocker

FileLocker::FileLocker(const OdString& path) { lock(path); }

FileLocker::~FileLocker() { unlock(); }

FileLocker::FileLocker(const FileLocker&) {}

FileLocker& FileLocker::operator=(const FileLocker& other) {
    if (this != &other)
        unlock();
    return *this;
}

FileLocker::FileLocker(FileLocker&& other) noexcept { takeOver(other); }

FileLocker& FileLocker::operator=(FileLocker&& other) noexcept {
    if (this != &other) {
        unlock();
        takeOver(other);
    }
    return *this;
}

void FileLocker::takeOver(FileLocker& other) noexcept {
    m_drawing = std::move(other.m_drawing);
    m_dwl = std::exchange(other.m_dwl, LockFile());
    m_dwl2 = std::exchange(other.m_dwl2, LockFile());
}

void FileLocker::release(LockFile& file) {
    if (file.handle != platform::kNoFile && !platform::removeLockFile(file.handle, osPath(file.path)))
        logWarning(kSource, "ut::FileLocker::unlock", L"lock file %ls could not be deleted", file.path.c_str());
    file = LockFile();
}

bool FileLocker::lock(const OdString& path) {
    if (isLocked())
        unlock();

    Identity me = currentIdentity();
    const OdString since(platform::localTimeText(L"%A, %B %d, %Y %X"));
    if (!m_drawing.open(path))
        return false;

    const struct {
        LockFile& file;
        OdString name;
        std::string text;
    } lockFiles[] = {
        {m_dwl, getDwlPath(path), lockfile::formatDwl(me.user, me.machine, since)},
        {m_dwl2, getDwl2Path(path), lockfile::formatDwl2(me.user, me.machine, since)},
    };
    for (const auto& f : lockFiles) {
        // A drawing that itself carries a lock-file extension would be replaced by
        // its own lock file.
        if (f.name.isEmpty() || f.name == path)
            continue;
        platform::FileStatus status = platform::FileStatus::Ok;
        f.file.handle = platform::createLockFile(osPath(f.name), f.text, m_drawing.nativeHandle(), &status);
        if (f.file.handle != platform::kNoFile)
            f.file.path = f.name;
        else
            logWarning(kSource, "ut::FileLocker::lock", L"lock file %ls not written: %s", f.name.c_str(),
                       platform::describe(status));
    }
    return isLocked();
}

bool FileLocker::unlock() {
    if (isLocked()) {
        // The lock files announce the hold, so they go before the hold itself:
        // whoever can take the drawing next never finds them still in place.
        release(m_dwl);
        release(m_dwl2);
        m_drawing.close();
    }
    return !isLocked();
}

bool FileLocker::canLock(const OdString& path) const {
    if (isLocked())
        return false;
    LockedFileHandle probe;
    return probe.open(path);
}

bool FileLocker::isLocked(const OdString& path) { return hasDwl(path); }

bool FileLocker::hasDwl(const OdString& path) { return platform::isRegularFile(osPath(getDwlPath(path))); }

bool FileLocker::isLockedByOther(const OdString& path) { return holder(path).holder == LockInfo::kOther; }

FileLocker::LockInfo FileLocker::holder(const OdString& path) {
    LockInfo info;
    const OdString dwl = getDwlPath(nativeSlashes(path));
    std::string bytes;
    const platform::FileStatus status = platform::readSmallFile(osPath(dwl), lockfile::kMaxBytes, bytes);
    switch (status) {
    case platform::FileStatus::Ok:
        break;
    case platform::FileStatus::Missing:
    case platform::FileStatus::NotRegularFile:
    case platform::FileStatus::Directory:
    case platform::FileStatus::SymbolicLink:
        // Not a lock file at all: nothing sits where one would.
        return info;
    case platform::FileStatus::TooLarge:
        info.holder = LockInfo::kOther;
        info.problem.format(L"is larger than %zu bytes, not a lock file", lockfile::kMaxBytes);
        return info;
    default:
        info.holder = LockInfo::kUnreadable;
        info.problem = OdString(L"cannot be read: ") + OdString(platform::describe(status));
        return info;
    }
    const std::vector<OdString> lines = lockfile::splitLines(lockfile::decode(bytes));
    OdString* fields[] = {&info.user, &info.machine, &info.dateTime};
    for (size_t i = 0; i < lines.size() && i < 3; ++i)
        *fields[i] = lines[i];
    Identity me = currentIdentity();
    lockfile::roundTrip(me.user, me.machine);
    const bool mine =
        !info.user.isEmpty() && info.user.iCompare(me.user) == 0 && info.machine.iCompare(me.machine) == 0;
    info.holder = mine ? LockInfo::kCaller : LockInfo::kOther;
    if (info.user.isEmpty() && info.machine.isEmpty())
        info.problem = L"names no user and no machine";
    return info;
}

bool FileLocker::readLockInfo(const OdString& path, OdString& user, OdString& machine, OdString& dateTime) {
    const OdString dwl = getDwlPath(nativeSlashes(path));
    std::string bytes;
    const platform::FileStatus status = platform::readSmallFile(osPath(dwl), lockfile::kMaxBytes, bytes);
    if (status == platform::FileStatus::TooLarge)
        logWarning(kSource, "ut::FileLocker::readLockInfo", L"%ls is not a lock file: larger than %zu bytes",
                   dwl.c_str(), lockfile::kMaxBytes);
    if (status != platform::FileStatus::Ok)
        return false;
    const std::vector<OdString> lines = lockfile::splitLines(lockfile::decode(bytes));
    OdString* fields[] = {&user, &machine, &dateTime};
    for (size_t i = 0; i < lines.size() && i < 3; ++i)
        *fields[i] = lines[i];
    return true;
}

bool FileLocker::readLockInfo(const OdString& path, OdString& info) {
    OdString fields[3];
    if (!readLockInfo(path, fields[0], fields[1], fields[2]))
        return false;
    const wchar_t* labels[] = {L"User", L"Machine", L"Since"};
    OdString text;
    for (int i = 0; i < 3; ++i) {
        if (fields[i].isEmpty())
            continue;
        if (!text.isEmpty())
            text += L"\n";
        text += OdString(wxGetTranslation(labels[i]).ToStdWstring()) + L": " + fields[i];
    }
    info = text;
    return true;
}

OdString FileLocker::getDwlPath(const OdString& path) { return lockFileName(path, L"dwl"); }

OdString FileLocker::getDwl2Path(const OdString& path) { return lockFileName(path, L"dwl2"); }

bool FileLocker::removeLockFiles(const OdString& path) {
    const bool dwlGone = platform::removeEntry(osPath(getDwlPath(path)));
    const bool dwl2Gone = platform::removeEntry(osPath(getDwl2Path(path)));
    return dwlGone && dwl2Gone;
}

} // namespace ut
