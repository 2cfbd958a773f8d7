#include "platform/regstore.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <locale.h>
#include <map>
#include <sqlite3.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <unordered_map>
#include <wctype.h>

#include "platform/codepage.h"
#include "platform/files.h"
#include "ut_log.h"

namespace ut::platform {

namespace {

const char kLogSource[] = "src/utils/ut_registry";

// ---- text in the database ------------------------------------------------------
// Names and texts are kept as UTF-8. Wide strings may hold code points that are
// not characters (lone surrogates, such as the stand-ins for undecodable file-name
// bytes); they are encoded the same way, so that whatever is written reads back.

bool encodeText(std::wstring_view text, std::string& out) {
    out.clear();
    out.reserve(text.size());
    for (wchar_t wc : text) {
        const uint32_t c = static_cast<uint32_t>(wc);
        if (c < 0x80)
            out += char(c);
        else if (c < 0x110000)
            appendUtf8(out, char32_t(c));
        else
            return false;
    }
    return true;
}

std::wstring decodeText(const unsigned char* s, size_t n) {
    std::wstring out;
    out.reserve(n);
    size_t i = 0;
    while (i < n) {
        if (s[i] < 0x80) {
            out += wchar_t(s[i++]);
            continue;
        }
        char32_t cp = 0;
        const size_t len = utf8Sequence(s + i, n - i, cp, true);
        out += len ? wchar_t(cp) : wchar_t(0xFFFD);
        i += len ? len : 1;
    }
    return out;
}

// ---- names ------------------------------------------------------------------------

locale_t foldLocale() {
    // C.UTF-8 is built into glibc (2.35 on); its tables give every character's
    // simple uppercase mapping. Without it only ASCII letters fold.
    static locale_t loc = newlocale(LC_CTYPE_MASK, "C.UTF-8", locale_t(0));
    return loc;
}


// ---- stored form of values ---------------------------------------------------------

bool encodeValue(const RegValue& v, std::string& out) {
    switch (v.type) {
    case kRegSz:
    case kRegExpandSz:
    case kRegMultiSz:
        return encodeText(v.text, out);
    case kRegDword: {
        const uint32_t n = static_cast<uint32_t>(static_cast<int32_t>(v.number));
        out.assign(4, '\0');
        for (int i = 0; i < 4; ++i)
            out[size_t(i)] = char((n >> (8 * i)) & 0xFF);
        return true;
    }
    case kRegQword: {
        const uint64_t n = static_cast<uint64_t>(v.number);
        out.assign(8, '\0');
        for (int i = 0; i < 8; ++i)
            out[size_t(i)] = char((n >> (8 * i)) & 0xFF);
        return true;
    }
    default:
        out = v.bytes;
        return true;
    }
}

RegValue decodeValue(uint32_t type, bool floating, const unsigned char* data, size_t n) {
    RegValue v;
    v.type = type;
    switch (type) {
    case kRegSz:
    case kRegExpandSz:
    case kRegMultiSz:
        v.text = decodeText(data, n);
        v.floating = floating && type == kRegSz;
        break;
    case kRegDword: {
        uint32_t x = 0;
        for (size_t i = 0; i < 4 && i < n; ++i)
            x |= uint32_t(data[i]) << (8 * i);
        v.number = static_cast<int32_t>(x);
        break;
    }
    case kRegQword: {
        uint64_t x = 0;
        for (size_t i = 0; i < 8 && i < n; ++i)
            x |= uint64_t(data[i]) << (8 * i);
        v.number = static_cast<int64_t>(x);
        break;
    }
    default:
        v.bytes.assign(reinterpret_cast<const char*>(data), n);
        break;
    }
    return v;
}

// ---- SQLite results in the library's terms ----------------------------------------------

// The one place where SQLite's result codes meet the store's.
RegStatus statusOf(int rc) {
    switch (rc & 0xFF) {
    case SQLITE_OK:
    case SQLITE_ROW:
    case SQLITE_DONE:
        return RegStatus::Ok;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        return RegStatus::Busy;
    case SQLITE_READONLY:
    case SQLITE_PERM:
    case SQLITE_AUTH:
        return RegStatus::ReadOnly;
    case SQLITE_NOTADB:
    case SQLITE_CORRUPT:
    case SQLITE_FORMAT:
    case SQLITE_SCHEMA:
        return RegStatus::NotADatabase;
    case SQLITE_CANTOPEN:
        return RegStatus::CannotOpen;
    case SQLITE_FULL:
        return RegStatus::Full;
    case SQLITE_TOOBIG:
        return RegStatus::TooLarge;
    case SQLITE_CONSTRAINT:
        return RegStatus::Exists;
    default:
        return RegStatus::Failed;
    }
}

std::string systemCause(int error) { return error ? std::string(": ") + std::strerror(error) : std::string(); }

// The path of the file a store path names, links and "." or ".." resolved; for
// a file not made yet, its folder's real path and its name.
std::string realFilePath(const std::string& given) {
    if (char* r = ::realpath(given.c_str(), nullptr)) {
        std::string out(r);
        std::free(r);
        return out;
    }
    // A link to a file not made yet: where the link leads.
    std::string path = given;
    struct stat st;
    for (int hops = 0; hops < 40 && ::lstat(path.c_str(), &st) == 0 && S_ISLNK(st.st_mode); ++hops) {
        std::string target(size_t(PATH_MAX), '\0');
        const ssize_t n = ::readlink(path.c_str(), target.data(), target.size());
        if (n <= 0)
            break;
        target.resize(size_t(n));
        const size_t cut = path.rfind('/');
        path = target[0] == '/' || cut == std::string::npos ? target : path.substr(0, cut + 1) + target;
    }
    const size_t slash = path.rfind('/');
    const std::string dir = slash == std::string::npos ? std::string(".") : slash == 0 ? std::string("/") : path.substr(0, slash);
    if (char* r = ::realpath(dir.c_str(), nullptr)) {
        std::string out(r);
        std::free(r);
        return (out == "/" ? out : out + "/") + path.substr(slash == std::string::npos ? 0 : slash + 1);
    }
    return path;
}

const char* const kSchema[] = {
    "CREATE TABLE keys(id INTEGER PRIMARY KEY AUTOINCREMENT, parent INTEGER NOT NULL,"
    " name TEXT NOT NULL, fold TEXT NOT NULL, UNIQUE(parent, fold))",
    "CREATE TABLE vals(id INTEGER PRIMARY KEY, key INTEGER NOT NULL, fold TEXT NOT NULL,"
    " name TEXT NOT NULL, type INTEGER NOT NULL, flags INTEGER NOT NULL, data BLOB NOT NULL,"
    " UNIQUE(key, fold))",
    "INSERT INTO keys(id, parent, name, fold) VALUES"
    " (1, 0, 'HKEY_CLASSES_ROOT', 'HKEY_CLASSES_ROOT'), (2, 0, 'HKEY_CURRENT_USER', 'HKEY_CURRENT_USER'),"
    " (3, 0, 'HKEY_LOCAL_MACHINE', 'HKEY_LOCAL_MACHINE'), (4, 0, 'HKEY_USERS', 'HKEY_USERS'),"
    " (5, 0, 'HKEY_CURRENT_CONFIG', 'HKEY_CURRENT_CONFIG')",
    "PRAGMA user_version = 1",
};
constexpr int kSchemaVersion = 1;
constexpr int64_t kFirstOrdinaryKey = 6; // ids 1..5 are the roots
constexpr int kBusyTimeoutMs = 10000;
constexpr uint32_t kFlagFloating = 1;

enum Stmt {
    kFindKey,
    kInsertKey,
    kSubKeys,
    kCountSubKeys,
    kValues,
    kCountValues,
    kUpsertValue,
    kDeleteValue,
    kRenameValue,
    kFindValue,
    kRenameKey,
    kDeleteTreeValues,
    kDeleteTreeKeys,
    kDeleteChildKeys,
    kDataVersion,
    kBeginWrite,
    kCommit,
    kStmtCount
};

const char* const kStmtText[kStmtCount] = {
    "SELECT id FROM keys WHERE parent = ?1 AND fold = ?2",
    "INSERT INTO keys(parent, name, fold) VALUES (?1, ?2, ?3)",
    "SELECT name FROM keys WHERE parent = ?1 ORDER BY fold",
    "SELECT count(*) FROM keys WHERE parent = ?1",
    "SELECT name, fold, type, flags, data FROM vals WHERE key = ?1 ORDER BY id",
    "SELECT count(*) FROM vals WHERE key = ?1",
    "INSERT INTO vals(key, fold, name, type, flags, data) VALUES (?1, ?2, ?3, ?4, ?5, ?6)"
    " ON CONFLICT(key, fold) DO UPDATE SET type = excluded.type, flags = excluded.flags, data = excluded.data",
    "DELETE FROM vals WHERE key = ?1 AND fold = ?2",
    "UPDATE vals SET name = ?3, fold = ?4 WHERE key = ?1 AND fold = ?2",
    "SELECT 1 FROM vals WHERE key = ?1 AND fold = ?2",
    "UPDATE keys SET name = ?2, fold = ?3 WHERE id = ?1",
    "WITH RECURSIVE t(id) AS (SELECT ?1 UNION ALL SELECT k.id FROM keys k JOIN t ON k.parent = t.id)"
    " DELETE FROM vals WHERE key IN t",
    "WITH RECURSIVE t(id) AS (SELECT ?1 UNION ALL SELECT k.id FROM keys k JOIN t ON k.parent = t.id)"
    " DELETE FROM keys WHERE id IN t",
    "WITH RECURSIVE t(id) AS (SELECT id FROM keys WHERE parent = ?1 UNION ALL"
    " SELECT k.id FROM keys k JOIN t ON k.parent = t.id) DELETE FROM keys WHERE id IN t",
    "PRAGMA data_version",
    "BEGIN IMMEDIATE",
    "COMMIT",
};

// Resets a statement when it goes out of scope, so that no read transaction is
// left open by a statement that was not stepped to its end.
class Use {
public:
    explicit Use(sqlite3_stmt* s) : m_s(s) {}
    ~Use() {
        sqlite3_reset(m_s);
        sqlite3_clear_bindings(m_s);
    }
    sqlite3_stmt* operator->() const { return m_s; }
    operator sqlite3_stmt*() const { return m_s; }

private:
    sqlite3_stmt* m_s;
};

void bindText(sqlite3_stmt* s, int i, const std::string& text) {
    sqlite3_bind_text(s, i, text.data(), int(text.size()), SQLITE_TRANSIENT);
}

std::wstring columnText(sqlite3_stmt* s, int i) {
    const unsigned char* t = sqlite3_column_text(s, i);
    return decodeText(t, size_t(sqlite3_column_bytes(s, i)));
}

// A row of kValues: name, fold, type, flags, data.
RegValueEntry valueRow(sqlite3_stmt* s) {
    RegValueEntry e;
    e.name = columnText(s, 0);
    const auto* data = static_cast<const unsigned char*>(sqlite3_column_blob(s, 4));
    e.value = decodeValue(uint32_t(sqlite3_column_int64(s, 2)), (sqlite3_column_int64(s, 3) & kFlagFloating) != 0,
                          data, size_t(sqlite3_column_bytes(s, 4)));
    return e;
}

struct CachedKey {
    int64_t id = 0; // 0: the key does not exist
    bool loaded = false;
    std::unordered_map<std::wstring, RegValueEntry> values; // by folded name, once loaded
};

} // namespace

// ---- public helpers ------------------------------------------------------------------

const char* describe(RegStatus status) {
    switch (status) {
    case RegStatus::Ok: return "no error";
    case RegStatus::NotFound: return "not found";
    case RegStatus::Exists: return "the name is taken";
    case RegStatus::Invalid: return "not a valid registry name";
    case RegStatus::TooLarge: return "too large";
    case RegStatus::Busy: return "in use by another process";
    case RegStatus::ReadOnly: return "read-only";
    case RegStatus::NotADatabase: return "not a settings store";
    case RegStatus::CannotOpen: return "cannot be opened";
    case RegStatus::Full: return "the disk is full";
    case RegStatus::Failed: return "failed";
    }
    return "failed";
}

static void foldInPlace(std::wstring& text) {
    bool ascii = true;
    for (wchar_t& c : text) {
        if (c >= L'a' && c <= L'z')
            c = wchar_t(c - (L'a' - L'A'));
        else if (static_cast<uint32_t>(c) >= 0x80)
            ascii = false;
    }
    if (!ascii) {
        if (locale_t loc = foldLocale()) {
            for (wchar_t& c : text)
                if (static_cast<uint32_t>(c) >= 0x80)
                    c = wchar_t(towupper_l(wint_t(c), loc));
        }
    }
}

std::wstring foldName(std::wstring_view name) {
    std::wstring out(name);
    foldInPlace(out);
    return out;
}

RegValue RegValue::string(std::wstring s, uint32_t type) {
    RegValue v;
    v.type = type;
    v.text = std::move(s);
    return v;
}

RegValue RegValue::dword(int32_t n) {
    RegValue v;
    v.type = kRegDword;
    v.number = n;
    return v;
}

RegValue RegValue::qword(int64_t n) {
    RegValue v;
    v.type = kRegQword;
    v.number = n;
    return v;
}

RegValue RegValue::binary(std::string b) {
    RegValue v;
    v.type = kRegBinary;
    v.bytes = std::move(b);
    return v;
}

bool RegValue::operator==(const RegValue& o) const {
    if (type != o.type)
        return false;
    switch (type) {
    case kRegSz:
        return text == o.text && floating == o.floating;
    case kRegExpandSz:
    case kRegMultiSz:
        return text == o.text;
    case kRegDword:
    case kRegQword:
        return number == o.number;
    default:
        return bytes == o.bytes;
    }
}

RegKeyPath::RegKeyPath(int root, std::wstring_view path) : m_root(root) {
    m_cacheKey = wchar_t(L'0' + root);
    size_t start = 0;
    while (start <= path.size()) {
        size_t end = path.find(L'\\', start);
        if (end == std::wstring_view::npos)
            end = path.size();
        if (end > start) {
            m_names.emplace_back(path.substr(start, end - start));
            m_cacheKey += L'\\';
            m_cacheKey += foldName(m_names.back());
        }
        start = end + 1;
    }
}

std::wstring RegKeyPath::text() const {
    std::wstring t;
    for (const auto& n : m_names) {
        if (!t.empty())
            t += L'\\';
        t += n;
    }
    return t;
}

RegKeyPath RegKeyPath::parent() const {
    RegKeyPath p;
    p.m_root = m_root;
    p.m_names = m_names;
    if (!p.m_names.empty())
        p.m_names.pop_back();
    const size_t cut = m_cacheKey.rfind(L'\\');
    p.m_cacheKey = m_names.empty() || cut == std::wstring::npos ? m_cacheKey : m_cacheKey.substr(0, cut);
    return p;
}

RegKeyPath RegKeyPath::child(std::wstring_view name) const {
    RegKeyPath c;
    c.m_root = m_root;
    c.m_names = m_names;
    c.m_cacheKey = m_cacheKey;
    // A child name with backslashes adds several levels, as a path would.
    RegKeyPath rest(m_root, name);
    for (size_t i = 0; i < rest.m_names.size(); ++i)
        c.m_names.push_back(rest.m_names[i]);
    c.m_cacheKey += rest.m_cacheKey.substr(1);
    return c;
}

// ---- the store -----------------------------------------------------------------------------

struct RegStore::Impl {
    explicit Impl(const std::string& path) : path(path) {}
    ~Impl() { close(); }

    const std::string path;
    sqlite3* db = nullptr;
    sqlite3_stmt* stmts[kStmtCount] = {};
    bool readOnly = false;
    bool closePending = false;
    // Opened for reading only because the disk was full.
    bool diskFull = false;
    std::wstring foldBuffer;

    // Cache of keys by RegKeyPath::m_cacheKey. epoch changes whenever it is emptied.
    std::unordered_map<std::wstring, CachedKey> keys;
    uint64_t epoch = 1;
    int64_t dataVersion = -1;

    // The shared change counter (null when it could not be mapped; read-only
    // when the file could only be opened for reading).
    uint64_t* changes = nullptr;
    bool changesWritable = false;
    uint64_t seenChanges = ~uint64_t(0);
    std::chrono::steady_clock::time_point lastCheck{};

    int batchDepth = 0;
    bool batchFailed = false;

    // The last failure logged for reads, so that a broken store does not fill
    // the log with the same line on every read.
    std::string lastLogged;

    // -- failures --
    RegStatus fail(const char* function, RegStatus status, const std::string& cause, bool always) {
        std::string line = "settings store " + path + ": " + describe(status);
        if (!cause.empty())
            line += " (" + cause + ")";
        if (always || line != lastLogged) {
            ut::logError(kLogSource, function, "%s", line.c_str());
            lastLogged = line;
        }
        return status;
    }

    RegStatus failSql(const char* function, int rc, bool always) {
        const int sysErr = db ? sqlite3_system_errno(db) : 0;
        std::string cause = db ? sqlite3_errmsg(db) : sqlite3_errstr(rc);
        if (sysErr && (rc & 0xFF) != SQLITE_CONSTRAINT)
            cause += systemCause(sysErr);
        RegStatus status = statusOf(rc);
        // Closed (at the next call, when no statement is in use any more) and
        // opened again, in case the file was put right meanwhile.
        if (status == RegStatus::NotADatabase || status == RegStatus::CannotOpen)
            closePending = true;
        return fail(function, status, cause, always);
    }

    // -- opening --
    void close() {
        for (auto& s : stmts) {
            if (s)
                sqlite3_finalize(s);
            s = nullptr;
        }
        if (db)
            sqlite3_close_v2(db);
        db = nullptr;
        resetCache();
        dataVersion = -1;
    }

    void resetCache() {
        keys.clear();
        ++epoch;
    }

    void mapChangeCounter() {
        // Named after the file itself, not the spelling it was opened by: a
        // process that came through a symbolic link or "dir/../" must bump and
        // watch the same counter as the others.
        const std::string name = realFilePath(path) + "-changes";
        int fd = ::open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
        int prot = PROT_READ | PROT_WRITE;
        if (fd < 0) {
            fd = ::open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
            prot = PROT_READ;
        }
        if (fd < 0)
            return;
        struct stat st;
        const long page = ::sysconf(_SC_PAGESIZE);
        if (::fstat(fd, &st) == 0 && st.st_size < page && (prot & PROT_WRITE))
            (void)::ftruncate(fd, page); // only ever grows it, so racing openers agree
        if (::fstat(fd, &st) == 0 && st.st_size >= long(sizeof(uint64_t))) {
            void* p = ::mmap(nullptr, size_t(page), prot, MAP_SHARED, fd, 0);
            if (p != MAP_FAILED) {
                changes = static_cast<uint64_t*>(p);
                changesWritable = (prot & PROT_WRITE) != 0;
            }
        }
        ::close(fd);
    }

    int exec(const char* sql) { return sqlite3_exec(db, sql, nullptr, nullptr, nullptr); }
    // The statements of every write, prepared once.
    int run(Stmt which) {
        int rc = sqlite3_step(stmts[which]);
        sqlite3_reset(stmts[which]);
        return rc == SQLITE_DONE ? SQLITE_OK : rc;
    }

    RegStatus open() {
        if (closePending) {
            closePending = false;
            close();
        }
        if (db)
            return RegStatus::Ok;
        const RegStatus s = openFile();
        // Half an opening is no opening: the next call starts again.
        if (s != RegStatus::Ok) {
            closePending = false;
            close();
        }
        return s;
    }

    RegStatus openFile() {
        static constexpr char fn[] = "ut::platform::RegStore::open";
        if (path.empty())
            return fail(fn, RegStatus::CannotOpen, "no file name", false);
        // The folder is the user's own: private, as the settings in it are.
        if (const size_t slash = path.rfind('/'); slash != std::string::npos && slash > 0) {
            const std::string dir = path.substr(0, slash);
            if (!makeNativeDirectories(dir, 0700))
                return fail(fn, RegStatus::CannotOpen, "cannot create folder " + dir + systemCause(errno), false);
        }

        // A file that nobody may write is read-only, as a file with the Windows
        // read-only attribute is, whoever opens it.
        struct stat st;
        const bool exists = ::stat(path.c_str(), &st) == 0;
        readOnly = exists && (st.st_mode & 0222) == 0;
        // Settings are the user's alone. SQLite gives the write-ahead log and
        // the shared memory file the mode of the database, so a database made
        // private here keeps its companions private too, whatever the umask.
        if (!exists && errno == ENOENT) {
            const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600);
            if (fd >= 0)
                ::close(fd);
        }
        const int flags = (readOnly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE) |
                          SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE;
        diskFull = false;
        int rc = sqlite3_open_v2(path.c_str(), &db, flags, nullptr);
        if (rc != SQLITE_OK)
            return failSql(fn, rc, false);
        sqlite3_busy_timeout(db, kBusyTimeoutMs);
        // Prepared first: the first read of the file shows whether it is a database.
        if ((rc = exec("PRAGMA journal_mode = WAL")) != SQLITE_OK ||
            (rc = exec("PRAGMA synchronous = NORMAL")) != SQLITE_OK) {
            if (!noSpace(rc) || !openForReadingOnly())
                return failSql(fn, rc, false);
            rc = SQLITE_OK;
        }
        int version = 0;
        if ((rc = userVersion(version)) != SQLITE_OK)
            return failSql(fn, rc, false);
        if (version == 0) {
            if (readOnly)
                return fail(fn, RegStatus::ReadOnly, "the file holds no settings and cannot be written", false);
            if ((rc = exec("BEGIN IMMEDIATE")) != SQLITE_OK)
                return failSql(fn, rc, false);
            // Another process may have set the file up while this one waited.
            if ((rc = userVersion(version)) == SQLITE_OK && version == 0) {
                for (const char* sql : kSchema)
                    if ((rc = exec(sql)) != SQLITE_OK)
                        break;
            }
            if (rc == SQLITE_OK)
                rc = exec("COMMIT");
            if (rc != SQLITE_OK) {
                exec("ROLLBACK");
                return failSql(fn, rc, false);
            }
            version = kSchemaVersion;
        }
        if (version != kSchemaVersion)
            return fail(fn, RegStatus::NotADatabase,
                        "schema version " + std::to_string(version) + ", expected " + std::to_string(kSchemaVersion),
                        false);
        for (int i = 0; i < kStmtCount; ++i) {
            if ((rc = sqlite3_prepare_v3(db, kStmtText[i], -1, SQLITE_PREPARE_PERSISTENT, &stmts[i], nullptr)) !=
                SQLITE_OK)
                return failSql(fn, rc, false);
        }
        if (!changes)
            mapChangeCounter();
        lastLogged.clear();
        return RegStatus::Ok;
    }

    bool noSpace(int rc) const {
        return (rc & 0xFF) == SQLITE_FULL || (db && sqlite3_system_errno(db) == ENOSPC);
    }

    // With the disk full, the write-ahead log's shared memory cannot be made,
    // and without it SQLite reads nothing. When no other connection holds
    // changes in the log (then the shared memory would be there already), the
    // database file alone is the whole state: it is read as it stands, and
    // writes fail as on a full disk until the store is opened again.
    bool openForReadingOnly() {
        struct stat st;
        if (::stat((path + "-wal").c_str(), &st) == 0 && st.st_size > 0)
            return false;
        std::string uri = "file:";
        for (char c : realFilePath(path)) {
            if (c == '%' || c == '?' || c == '#') {
                char hex[4];
                std::snprintf(hex, sizeof hex, "%%%02X", static_cast<unsigned char>(c));
                uri += hex;
            } else {
                uri += c;
            }
        }
        uri += "?immutable=1";
        sqlite3_close_v2(db);
        db = nullptr;
        if (sqlite3_open_v2(uri.c_str(), &db, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI | SQLITE_OPEN_NOMUTEX, nullptr) !=
            SQLITE_OK)
            return false;
        diskFull = true;
        return true;
    }

    int userVersion(int& version) {
        sqlite3_stmt* s = nullptr;
        int rc = sqlite3_prepare_v2(db, "PRAGMA user_version", -1, &s, nullptr);
        if (rc == SQLITE_OK) {
            rc = sqlite3_step(s);
            if (rc == SQLITE_ROW) {
                version = sqlite3_column_int(s, 0);
                rc = SQLITE_OK;
            }
        }
        sqlite3_finalize(s);
        return rc;
    }

    // -- freshness --
    uint64_t loadChanges() const {
        return changes ? std::atomic_ref<uint64_t>(*changes).load(std::memory_order_acquire) : 0;
    }

    void bumpChanges() {
        if (changes && changesWritable)
            std::atomic_ref<uint64_t>(*changes).fetch_add(1, std::memory_order_acq_rel);
    }

    int readDataVersion(int64_t& v) {
        Use s(stmts[kDataVersion]);
        int rc = sqlite3_step(s);
        if (rc == SQLITE_ROW)
            v = sqlite3_column_int64(s, 0);
        return rc == SQLITE_ROW ? SQLITE_OK : rc;
    }

    // Empties the cache when another connection changed the database since the
    // cache was filled. Cheap unless the shared counter moved or a second passed.
    int refresh() {
        const uint64_t seen = loadChanges();
        const auto now = std::chrono::steady_clock::now();
        if (changes && seen == seenChanges && now - lastCheck < std::chrono::seconds(1))
            return SQLITE_OK;
        int64_t v = 0;
        int rc = readDataVersion(v);
        if (rc != SQLITE_OK)
            return rc;
        seenChanges = seen;
        lastCheck = now;
        if (v != dataVersion) {
            resetCache();
            dataVersion = v;
        }
        return SQLITE_OK;
    }

    // -- keys --
    // Finds (and with create, makes) the key; null with rc SQLITE_OK when it
    // does not exist.
    CachedKey* findKey(const RegKeyPath& key, bool create, int& rc, const void* owner) {
        rc = SQLITE_OK;
        if (key.m_store == owner && key.m_epoch == epoch && key.m_entry) {
            auto* k = static_cast<CachedKey*>(key.m_entry);
            if (k->id != 0 || !create)
                return k->id ? k : nullptr;
        }
        int64_t id = 1 + key.m_root;
        size_t at = 1; // m_cacheKey[0] is the root digit
        std::wstring prefix = key.m_cacheKey.substr(0, 1);
        CachedKey* entry = &keys[prefix];
        entry->id = id;
        for (size_t i = 0; i < key.m_names.size(); ++i) {
            size_t next = key.m_cacheKey.find(L'\\', at + 1);
            if (next == std::wstring::npos)
                next = key.m_cacheKey.size();
            const std::wstring_view folded(key.m_cacheKey.data() + at + 1, next - at - 1);
            prefix.assign(key.m_cacheKey, 0, next);
            at = next;
            auto it = keys.find(prefix);
            if (it != keys.end() && (it->second.id != 0 || !create)) {
                entry = &it->second;
                if (entry->id == 0)
                    return nullptr;
                id = entry->id;
                continue;
            }
            std::string foldedText, nameText;
            encodeText(folded, foldedText);
            int64_t childId = 0;
            {
                Use s(stmts[kFindKey]);
                sqlite3_bind_int64(s, 1, id);
                bindText(s, 2, foldedText);
                rc = sqlite3_step(s);
                if (rc == SQLITE_ROW)
                    childId = sqlite3_column_int64(s, 0), rc = SQLITE_OK;
                else if (rc == SQLITE_DONE)
                    rc = SQLITE_OK;
                else
                    return nullptr;
            }
            bool created = false;
            if (childId == 0 && create) {
                encodeText(key.m_names[i], nameText);
                Use s(stmts[kInsertKey]);
                sqlite3_bind_int64(s, 1, id);
                bindText(s, 2, nameText);
                bindText(s, 3, foldedText);
                rc = sqlite3_step(s);
                if (rc != SQLITE_DONE)
                    return nullptr;
                rc = SQLITE_OK;
                childId = sqlite3_last_insert_rowid(db);
                created = true;
            }
            entry = &keys[prefix];
            entry->id = childId;
            if (created) {
                entry->loaded = true; // a new key has no values
                entry->values.clear();
            }
            if (childId == 0) {
                // Remembered as missing under the whole path, never under the
                // prefix: a prefix made later must not stand for the whole key.
                CachedKey* whole = &keys[key.m_cacheKey];
                if (whole->id == 0) {
                    key.m_store = owner, key.m_epoch = epoch, key.m_entry = whole;
                }
                return nullptr;
            }
            id = childId;
        }
        key.m_store = owner, key.m_epoch = epoch, key.m_entry = entry;
        return entry;
    }

    int loadValues(CachedKey& k) {
        if (k.loaded)
            return SQLITE_OK;
        k.values.clear();
        Use s(stmts[kValues]);
        sqlite3_bind_int64(s, 1, k.id);
        int rc;
        while ((rc = sqlite3_step(s)) == SQLITE_ROW) {
            std::wstring folded = columnText(s, 1);
            k.values.emplace(std::move(folded), valueRow(s));
        }
        if (rc != SQLITE_DONE) {
            k.values.clear();
            return rc;
        }
        k.loaded = true;
        return SQLITE_OK;
    }

    // -- transactions --
    bool inTransaction() const { return db && !sqlite3_get_autocommit(db); }

    // Runs body in a write transaction of its own, or in the open batch.
    template <class Body> RegStatus write(const char* function, Body body) {
        RegStatus s = open();
        if (s != RegStatus::Ok)
            return s;
        if (diskFull) {
            // Opened again at the next call, in case space came back.
            closePending = true;
            return fail(function, RegStatus::Full, "no space left for the write-ahead log", true);
        }
        if (readOnly)
            return fail(function, RegStatus::ReadOnly, "the file is read-only", true);
        const bool own = batchDepth == 0;
        int rc = SQLITE_OK;
        if (!inTransaction()) {
            if (!own && batchTouched)
                batchFailed = true; // the batch's transaction was rolled back under it
            if ((rc = run(kBeginWrite)) != SQLITE_OK)
                return failSql(function, rc, true);
            int64_t v = 0;
            if ((rc = readDataVersion(v)) != SQLITE_OK) {
                exec("ROLLBACK");
                return failSql(function, rc, true);
            }
            if (v != dataVersion) {
                resetCache();
                dataVersion = v;
            }
        }
        if (!own)
            batchTouched = true;
        s = body(rc);
        const bool sqlFailed = rc != SQLITE_OK && rc != SQLITE_DONE && rc != SQLITE_ROW;
        if (sqlFailed || s != RegStatus::Ok) {
            if (own && inTransaction())
                exec("ROLLBACK");
            if (!sqlFailed)
                return s; // a missing or taken name: nothing was changed
            resetCache();
            if (!own && !inTransaction())
                batchFailed = true;
            return failSql(function, rc, true);
        }
        if (own) {
            if ((rc = run(kCommit)) != SQLITE_OK) {
                exec("ROLLBACK");
                resetCache();
                return failSql(function, rc, true);
            }
            bumpChanges();
        }
        return RegStatus::Ok;
    }

    // write() for a change to a key that must exist: body(k, rc) runs with the
    // key found; a missing key is NotFound and changes nothing.
    template <class Body>
    RegStatus writeKey(const char* function, const RegKeyPath& key, const void* owner, Body body) {
        return write(function, [&](int& rc) {
            CachedKey* k = findKey(key, false, rc, owner);
            if (rc != SQLITE_OK)
                return RegStatus::Ok;
            if (!k)
                return RegStatus::NotFound;
            return body(k, rc);
        });
    }

    bool batchTouched = false;

    bool endBatch() {
        bool ok = !batchFailed;
        if (inTransaction()) {
            if (ok) {
                int rc = exec("COMMIT");
                if (rc != SQLITE_OK) {
                    failSql("ut::platform::RegStore::Batch::commit", rc, true);
                    ok = false;
                }
            }
            if (!ok) {
                exec("ROLLBACK");
                resetCache();
            } else {
                bumpChanges();
            }
        } else if (batchTouched) {
            resetCache();
        }
        batchFailed = false;
        batchTouched = false;
        return ok;
    }

    // Read access: opens, refreshes the cache, and when not inside a transaction
    // holds a read transaction for the duration, so that the lookups see one state.
    class Reader {
    public:
        Reader(Impl& impl, const char* function) : m_impl(impl), m_function(function) {
            m_status = impl.open();
            if (m_status != RegStatus::Ok)
                return;
            if (!impl.inTransaction()) {
                int rc = impl.refresh();
                if (rc != SQLITE_OK) {
                    m_status = impl.failSql(function, rc, false);
                    return;
                }
            }
        }
        ~Reader() {
            if (m_began)
                m_impl.exec("COMMIT");
        }
        // Called before the first statement that is not served from the cache.
        int begin() {
            if (m_began || m_impl.inTransaction())
                return SQLITE_OK;
            int rc = m_impl.exec("BEGIN");
            if (rc != SQLITE_OK)
                return rc;
            m_began = true;
            int64_t v = 0;
            rc = m_impl.readDataVersion(v);
            if (rc == SQLITE_OK && v != m_impl.dataVersion) {
                m_impl.resetCache();
                m_impl.dataVersion = v;
            }
            return rc;
        }
        RegStatus status() const { return m_status; }
        RegStatus failed(int rc) { return m_status = m_impl.failSql(m_function, rc, false); }
        // The key a listing reads, found inside the read transaction; null with
        // status() NotFound (never logged) when it does not exist, or the
        // logged failure.
        CachedKey* existingKey(const RegKeyPath& key, const void* owner) {
            if (m_status != RegStatus::Ok)
                return nullptr;
            int rc = begin();
            CachedKey* k = rc == SQLITE_OK ? m_impl.findKey(key, false, rc, owner) : nullptr;
            if (rc != SQLITE_OK)
                failed(rc);
            else if (!k)
                m_status = RegStatus::NotFound;
            return k;
        }

    private:
        Impl& m_impl;
        const char* m_function;
        RegStatus m_status;
        bool m_began = false;
    };
};

namespace {

std::mutex g_storesMutex;
std::map<std::string, std::weak_ptr<RegStore>>& stores() {
    static auto* m = new std::map<std::string, std::weak_ptr<RegStore>>;
    return *m;
}

RegStatus checkName(std::wstring_view name, size_t limit, std::string& cause) {
    if (name.size() > limit) {
        cause = "a name of more than " + std::to_string(limit) + " characters";
        return RegStatus::Invalid;
    }
    for (wchar_t c : name) {
        if (static_cast<uint32_t>(c) >= 0x110000) {
            cause = "a name holds a code point outside Unicode";
            return RegStatus::Invalid;
        }
    }
    return RegStatus::Ok;
}

RegStatus checkKeyPath(const RegKeyPath& key, std::string& cause) {
    if (key.root() < 0 || key.root() >= kRootCount) {
        cause = "no such root key";
        return RegStatus::Invalid;
    }
    for (const auto& n : key.names()) {
        RegStatus s = checkName(n, RegStore::kMaxKeyName, cause);
        if (s != RegStatus::Ok)
            return s;
    }
    return RegStatus::Ok;
}

// A key the store could hold; one it could not is simply not there for reads
// and deletions.
bool validKey(const RegKeyPath& key) {
    std::string cause;
    return checkKeyPath(key, cause) == RegStatus::Ok;
}

} // namespace

std::string RegStore::currentUserPath() {
    if (const char* v = std::getenv("DRUTILS_REGISTRY_DB"); v && *v)
        return v;
    std::string base;
    if (const char* x = std::getenv("XDG_CONFIG_HOME"); x && *x == '/')
        base = x;
    else if (const char* h = std::getenv("HOME"); h && *h)
        base = std::string(h) + "/.config";
    if (base.empty())
        return std::string();
    return base + "/Corvane/registry.db";
}

std::shared_ptr<RegStore> RegStore::get(const std::string& path) {
    std::lock_guard<std::mutex> lock(g_storesMutex);
    // One object per file, whichever way its path is spelt.
    auto& slot = stores()[realFilePath(path)];
    if (auto s = slot.lock())
        return s;
    std::shared_ptr<RegStore> s(new RegStore(path));
    slot = s;
    return s;
}

RegStore::RegStore(std::string path) : m_path(std::move(path)), m_impl(std::make_unique<Impl>(m_path)) {}

RegStore::~RegStore() {
    if (m_impl->changes)
        ::munmap(m_impl->changes, size_t(::sysconf(_SC_PAGESIZE)));
}

RegStatus RegStore::keyExists(const RegKeyPath& key) {
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    static constexpr char fn[] = "ut::platform::RegStore::keyExists";
    if (!validKey(key))
        return RegStatus::NotFound;
    Impl::Reader r(*m_impl, fn);
    if (r.status() != RegStatus::Ok)
        return r.status();
    int rc = SQLITE_OK;
    if (!(key.m_store == this && key.m_epoch == m_impl->epoch && key.m_entry) && (rc = r.begin()) != SQLITE_OK)
        return r.failed(rc);
    CachedKey* k = m_impl->findKey(key, false, rc, this);
    if (rc != SQLITE_OK)
        return r.failed(rc);
    return k ? RegStatus::Ok : RegStatus::NotFound;
}

RegStatus RegStore::createKey(const RegKeyPath& key) {
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    std::string cause;
    if (RegStatus s = checkKeyPath(key, cause); s != RegStatus::Ok)
        return m_impl->fail("ut::platform::RegStore::createKey", s, cause, true);
    return m_impl->write(
        "ut::platform::RegStore::createKey",
        [&](int& rc) {
            m_impl->findKey(key, true, rc, this);
            return RegStatus::Ok;
        });
}

RegStatus RegStore::deleteKey(const RegKeyPath& key) {
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (!validKey(key))
        return RegStatus::NotFound;
    return m_impl->writeKey(
        "ut::platform::RegStore::deleteKey", key, this,
        [&](CachedKey* k, int& rc) {
            const int64_t id = k->id;
            {
                Use s(m_impl->stmts[kDeleteTreeValues]);
                sqlite3_bind_int64(s, 1, id);
                if ((rc = sqlite3_step(s)) != SQLITE_DONE)
                    return RegStatus::Ok;
            }
            Use s(m_impl->stmts[id < kFirstOrdinaryKey ? kDeleteChildKeys : kDeleteTreeKeys]);
            sqlite3_bind_int64(s, 1, id);
            if ((rc = sqlite3_step(s)) != SQLITE_DONE)
                return RegStatus::Ok;
            rc = SQLITE_OK;
            m_impl->resetCache();
            return RegStatus::Ok;
        });
}

RegStatus RegStore::renameKey(const RegKeyPath& key, std::wstring_view newName) {
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    static constexpr char fn[] = "ut::platform::RegStore::renameKey";
    std::string cause;
    if (key.isRoot() || newName.empty() || newName.find(L'\\') != std::wstring_view::npos)
        return m_impl->fail(fn, RegStatus::Invalid, "a key name is empty or holds a backslash", true);
    if (RegStatus s = checkName(newName, kMaxKeyName, cause); s != RegStatus::Ok)
        return m_impl->fail(fn, s, cause, true);
    if (!validKey(key))
        return RegStatus::NotFound;
    return m_impl->writeKey(
        fn, key, this,
        [&](CachedKey* k, int& rc) {
            const int64_t id = k->id;
            const std::wstring folded = foldName(newName);
            if (folded != foldName(key.names().back())) {
                RegKeyPath sibling = key.parent().child(newName);
                if (m_impl->findKey(sibling, false, rc, this) || rc != SQLITE_OK)
                    return rc == SQLITE_OK ? RegStatus::Exists : RegStatus::Ok;
            }
            std::string nameText, foldText;
            encodeText(newName, nameText);
            encodeText(folded, foldText);
            Use s(m_impl->stmts[kRenameKey]);
            sqlite3_bind_int64(s, 1, id);
            bindText(s, 2, nameText);
            bindText(s, 3, foldText);
            if ((rc = sqlite3_step(s)) == SQLITE_DONE)
                rc = SQLITE_OK;
            m_impl->resetCache();
            return RegStatus::Ok;
        });
}

namespace {

// A listing: the rows of statement which for the existing key, each made by row.
template <class T, class Row>
RegStatus listRows(RegStore::Impl& impl, const void* owner, const char* function, const RegKeyPath& key, Stmt which,
                   std::vector<T>& out, Row row) {
    out.clear();
    if (!validKey(key))
        return RegStatus::NotFound;
    RegStore::Impl::Reader r(impl, function);
    CachedKey* k = r.existingKey(key, owner);
    if (!k)
        return r.status();
    Use s(impl.stmts[which]);
    sqlite3_bind_int64(s, 1, k->id);
    int rc;
    while ((rc = sqlite3_step(s)) == SQLITE_ROW)
        out.push_back(row(s));
    if (rc != SQLITE_DONE) {
        out.clear();
        return r.failed(rc);
    }
    return RegStatus::Ok;
}

} // namespace

RegStatus RegStore::subKeys(const RegKeyPath& key, std::vector<std::wstring>& names) {
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    return listRows(*m_impl, this, "ut::platform::RegStore::subKeys", key, kSubKeys, names,
                    [](sqlite3_stmt* s) { return columnText(s, 0); });
}

RegStatus RegStore::values(const RegKeyPath& key, std::vector<RegValueEntry>& out) {
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    return listRows(*m_impl, this, "ut::platform::RegStore::values", key, kValues, out, valueRow);
}

RegStatus RegStore::counts(const RegKeyPath& key, size_t& subKeyCount, size_t& valueCount) {
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    subKeyCount = valueCount = 0;
    if (!validKey(key))
        return RegStatus::NotFound;
    Impl::Reader r(*m_impl, "ut::platform::RegStore::counts");
    CachedKey* k = r.existingKey(key, this);
    if (!k)
        return r.status();
    int rc = SQLITE_OK;
    for (Stmt which : {kCountSubKeys, kCountValues}) {
        Use s(m_impl->stmts[which]);
        sqlite3_bind_int64(s, 1, k->id);
        if ((rc = sqlite3_step(s)) != SQLITE_ROW)
            return r.failed(rc);
        (which == kCountSubKeys ? subKeyCount : valueCount) = size_t(sqlite3_column_int64(s, 0));
    }
    return RegStatus::Ok;
}

RegStatus RegStore::getValue(const RegKeyPath& key, std::wstring_view name, RegValue& out) {
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    static constexpr char fn[] = "ut::platform::RegStore::getValue";
    if (key.root() < 0 || key.root() >= kRootCount)
        return RegStatus::NotFound;
    Impl::Reader r(*m_impl, fn);
    if (r.status() != RegStatus::Ok)
        return r.status();
    int rc = SQLITE_OK;
    CachedKey* k = nullptr;
    if (key.m_store == this && key.m_epoch == m_impl->epoch && key.m_entry &&
        static_cast<CachedKey*>(key.m_entry)->loaded) {
        k = static_cast<CachedKey*>(key.m_entry);
        if (k->id == 0)
            return RegStatus::NotFound;
    } else {
        if (!validKey(key))
            return RegStatus::NotFound;
        if (!(k = r.existingKey(key, this)))
            return r.status();
        if ((rc = m_impl->loadValues(*k)) != SQLITE_OK)
            return r.failed(rc);
    }
    // Folded into a buffer kept for the purpose: reads are frequent.
    std::wstring& folded = m_impl->foldBuffer;
    folded.assign(name);
    foldInPlace(folded);
    auto it = k->values.find(folded);
    if (it == k->values.end())
        return RegStatus::NotFound;
    out = it->second.value;
    return RegStatus::Ok;
}

RegStatus RegStore::setValue(const RegKeyPath& key, std::wstring_view name, const RegValue& value) {
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    static constexpr char fn[] = "ut::platform::RegStore::setValue";
    std::string cause, data, nameText, foldText;
    RegStatus s = checkKeyPath(key, cause);
    if (s == RegStatus::Ok)
        s = checkName(name, kMaxValueName, cause);
    if (s == RegStatus::Ok && !encodeValue(value, data)) {
        cause = "the text holds a code point outside Unicode";
        s = RegStatus::Invalid;
    }
    if (s == RegStatus::Ok && data.size() > kMaxValueBytes) {
        cause = std::to_string(data.size()) + " bytes, more than the " + std::to_string(kMaxValueBytes) +
                " a value may hold";
        s = RegStatus::TooLarge;
    }
    if (s != RegStatus::Ok)
        return m_impl->fail(fn, s, cause, true);
    const std::wstring folded = foldName(name);
    encodeText(name, nameText);
    encodeText(folded, foldText);
    return m_impl->write(
        fn,
        [&](int& rc) {
            CachedKey* k = m_impl->findKey(key, true, rc, this);
            if (rc != SQLITE_OK || !k)
                return RegStatus::Ok;
            Use st(m_impl->stmts[kUpsertValue]);
            sqlite3_bind_int64(st, 1, k->id);
            bindText(st, 2, foldText);
            bindText(st, 3, nameText);
            sqlite3_bind_int64(st, 4, value.type);
            sqlite3_bind_int64(st, 5, value.floating && value.type == kRegSz ? kFlagFloating : 0);
            sqlite3_bind_blob(st, 6, data.data(), int(data.size()), SQLITE_STATIC);
            if ((rc = sqlite3_step(st)) != SQLITE_DONE)
                return RegStatus::Ok;
            rc = SQLITE_OK;
            if (k->loaded) {
                auto [it, inserted] = k->values.try_emplace(folded);
                if (inserted)
                    it->second.name = name;
                // As a later load would give it back (a DWORD keeps 32 bits).
                it->second.value = decodeValue(value.type, value.floating, reinterpret_cast<const unsigned char*>(data.data()),
                                               data.size());
            }
            return RegStatus::Ok;
        });
}

RegStatus RegStore::deleteValue(const RegKeyPath& key, std::wstring_view name) {
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (!validKey(key))
        return RegStatus::NotFound;
    const std::wstring folded = foldName(name);
    std::string foldText;
    encodeText(folded, foldText);
    return m_impl->writeKey(
        "ut::platform::RegStore::deleteValue", key, this,
        [&](CachedKey* k, int& rc) {
            Use st(m_impl->stmts[kDeleteValue]);
            sqlite3_bind_int64(st, 1, k->id);
            bindText(st, 2, foldText);
            if ((rc = sqlite3_step(st)) != SQLITE_DONE)
                return RegStatus::Ok;
            rc = SQLITE_OK;
            if (sqlite3_changes(m_impl->db) == 0)
                return RegStatus::NotFound;
            if (k->loaded)
                k->values.erase(folded);
            return RegStatus::Ok;
        });
}

RegStatus RegStore::renameValue(const RegKeyPath& key, std::wstring_view oldName, std::wstring_view newName) {
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    static constexpr char fn[] = "ut::platform::RegStore::renameValue";
    std::string cause;
    if (RegStatus s = checkName(newName, kMaxValueName, cause); s != RegStatus::Ok)
        return m_impl->fail(fn, s, cause, true);
    if (!validKey(key))
        return RegStatus::NotFound;
    const std::wstring oldFold = foldName(oldName), newFold = foldName(newName);
    std::string oldFoldText, newFoldText, newNameText;
    encodeText(oldFold, oldFoldText);
    encodeText(newFold, newFoldText);
    encodeText(newName, newNameText);
    return m_impl->writeKey(
        fn, key, this,
        [&](CachedKey* k, int& rc) {
            if (oldFold != newFold) {
                Use f(m_impl->stmts[kFindValue]);
                sqlite3_bind_int64(f, 1, k->id);
                bindText(f, 2, newFoldText);
                rc = sqlite3_step(f);
                if (rc == SQLITE_ROW) {
                    rc = SQLITE_OK;
                    return RegStatus::Exists;
                }
                if (rc != SQLITE_DONE)
                    return RegStatus::Ok;
                rc = SQLITE_OK;
            }
            Use st(m_impl->stmts[kRenameValue]);
            sqlite3_bind_int64(st, 1, k->id);
            bindText(st, 2, oldFoldText);
            bindText(st, 3, newNameText);
            bindText(st, 4, newFoldText);
            if ((rc = sqlite3_step(st)) != SQLITE_DONE)
                return RegStatus::Ok;
            rc = SQLITE_OK;
            if (sqlite3_changes(m_impl->db) == 0)
                return RegStatus::NotFound;
            k->loaded = false;
            k->values.clear();
            return RegStatus::Ok;
        });
}

RegStatus RegStore::checkIntegrity(std::string& report) {
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    report.clear();
    Impl::Reader r(*m_impl, "ut::platform::RegStore::checkIntegrity");
    if (r.status() != RegStatus::Ok)
        return r.status();
    sqlite3_stmt* s = nullptr;
    int rc = sqlite3_prepare_v2(m_impl->db, "PRAGMA integrity_check", -1, &s, nullptr);
    while (rc == SQLITE_OK && (rc = sqlite3_step(s)) == SQLITE_ROW) {
        if (!report.empty())
            report += "\n";
        report += reinterpret_cast<const char*>(sqlite3_column_text(s, 0));
        rc = SQLITE_OK;
    }
    sqlite3_finalize(s);
    if (rc != SQLITE_DONE)
        return r.failed(rc);
    return report == "ok" ? RegStatus::Ok : RegStatus::NotADatabase;
}

RegStore::Batch::Batch(RegStore& store) : m_store(&store) {
    store.m_mutex.lock();
    ++store.m_impl->batchDepth;
}

RegStore::Batch::~Batch() { commit(); }

RegStore::ReadSnapshot::ReadSnapshot(RegStore& store) : m_store(&store) {
    store.m_mutex.lock();
    Impl& impl = *store.m_impl;
    if (impl.open() != RegStatus::Ok || impl.inTransaction() || impl.exec("BEGIN") != SQLITE_OK)
        return;
    m_began = true;
    // The first read of the file fixes the state the transaction sees; only then
    // does the data version tell whether the cache still matches it.
    int64_t v = 0;
    if (impl.exec("SELECT 1 FROM sqlite_master LIMIT 1") != SQLITE_OK || impl.readDataVersion(v) != SQLITE_OK) {
        impl.resetCache();
        return;
    }
    if (v != impl.dataVersion) {
        impl.resetCache();
        impl.dataVersion = v;
    }
}

RegStore::ReadSnapshot::~ReadSnapshot() {
    if (m_began)
        m_store->m_impl->exec("COMMIT");
    m_store->m_mutex.unlock();
}

RegStatus RegStore::Batch::begin() {
    // A write with no change takes the write lock and reads the database's
    // current state into the cache, as the first change of the batch would.
    return m_store->m_impl->write("ut::platform::RegStore::Batch::begin", [](int&) { return RegStatus::Ok; });
}

void RegStore::Batch::abandon() {
    if (m_open)
        m_store->m_impl->batchFailed = true;
}

bool RegStore::Batch::commit() {
    if (!m_open)
        return true;
    m_open = false;
    Impl& impl = *m_store->m_impl;
    bool ok = true;
    if (--impl.batchDepth == 0)
        ok = impl.endBatch();
    m_store->m_mutex.unlock();
    return ok;
}

} // namespace ut::platform
