// The per-user settings store that stands where the Windows registry stands: one
// SQLite database holding the five root keys, each the top of a tree of keys that
// carry named values of the registry's kinds.
//
// Names: key and value names compare without regard to case and keep the case
// they were created with. Two names are the same when their characters' simple
// Unicode uppercase mappings agree (glibc's C.UTF-8 tables, character by
// character), as Windows compares registry names by uppercasing each character;
// so "straße" and "STRASSE" differ, "Ä" and "ä" agree, and so do "i", "I" and the
// dotless "ı". A key name holds no backslash (the separator of key paths) and at
// most 255 characters; "." and ".." are ordinary names at this level.
//
// Sharing: several processes (the application, plug-ins, the tool) open the same
// file. Every change is one transaction (or one per Batch), taken with the write
// lock up front and a busy timeout, so concurrent writers queue instead of losing
// writes. The journal is a write-ahead log with synchronous=NORMAL: a change is in
// the log file (handed to the kernel) when the call returns, so it survives the
// process being killed at any moment; only a crash of the whole machine may take
// back the last changes.
//
// Reading is served from a cache of the keys a process has used. A small shared
// counter file beside the database ("<database>-changes") is bumped after every
// commit; a reader compares it with the value it last saw (one memory load) and,
// when it moved, asks SQLite whether another connection changed the database. A
// reader also asks SQLite once a second regardless, which covers a writer killed
// between its commit and its bump.
//
// Failures are returned as RegStatus and logged (source "src/utils/ut_registry")
// with the database file and the cause; a missing key or value is not a failure
// and is never logged.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "drutils_export.h"

namespace ut::platform {

// The registry's type numbers, kept as Windows has them.
enum RegType : uint32_t {
    kRegNone = 0,
    kRegSz = 1,
    kRegExpandSz = 2,
    kRegBinary = 3,
    kRegDword = 4,
    kRegMultiSz = 7,
    kRegQword = 11,
};

// Root keys, in the order of ut::ERootKey.
enum RegRoot : int { kClassesRoot = 0, kCurrentUser = 1, kLocalMachine = 2, kUsers = 3, kCurrentConfig = 4 };
constexpr int kRootCount = 5;

// One value. Text kinds (REG_SZ, REG_EXPAND_SZ, REG_MULTI_SZ with its strings
// separated by L'\0') use text; REG_DWORD (signed 32 bits) and REG_QWORD use
// number; REG_BINARY and kinds the store does not interpret use bytes.
struct DRUTILS_API RegValue {
    uint32_t type = kRegNone;
    // A REG_SZ that was written as a floating-point number (the toolkit's
    // configuration has such a kind; the registry keeps it as a string).
    bool floating = false;
    std::wstring text;
    int64_t number = 0;
    std::string bytes;

    static RegValue string(std::wstring s, uint32_t type = kRegSz);
    static RegValue dword(int32_t v);
    static RegValue qword(int64_t v);
    static RegValue binary(std::string b);
    bool isText() const { return type == kRegSz || type == kRegExpandSz || type == kRegMultiSz; }
    bool operator==(const RegValue& o) const;
};

enum class RegStatus {
    Ok,
    NotFound,     // no such key or value (never logged)
    Exists,       // a rename or create met an existing name
    Invalid,      // a name the registry cannot hold (empty, backslash, too long)
    TooLarge,     // a value beyond the store's size limit
    Busy,         // another process held the store longer than the busy timeout
    ReadOnly,     // the file, its folder or the file system is read-only
    NotADatabase, // the file is not a settings store (or is damaged)
    CannotOpen,   // the file or its folder cannot be created or opened
    Full,         // the disk is full
    Failed        // any other failure of the database
};

DRUTILS_API const char* describe(RegStatus status);

// Case-folded form of a name, as the store compares names.
DRUTILS_API std::wstring foldName(std::wstring_view name);

struct RegValueEntry {
    std::wstring name;
    RegValue value;
};

class RegStore;

// A key named by a root and a path of names separated by backslashes
// ("Software\\Corvane\\Draftium"); empty components are skipped, so the empty
// path is the root itself. The folded form is computed once, so a path kept by
// its user (the configuration object keeps its current one) costs nothing to
// look up again.
class DRUTILS_API RegKeyPath {
public:
    RegKeyPath() = default;
    RegKeyPath(int root, std::wstring_view path);

    int root() const { return m_root; }
    const std::vector<std::wstring>& names() const { return m_names; }
    // The path as given, components joined by backslashes.
    std::wstring text() const;
    bool isRoot() const { return m_names.empty(); }
    RegKeyPath parent() const;
    RegKeyPath child(std::wstring_view name) const;

private:
    friend class RegStore;
    int m_root = -1;
    std::vector<std::wstring> m_names;
    std::wstring m_cacheKey; // root digit, then "\" and each folded name
    // The store's cache entry for this path, valid while the store and its
    // cache generation are the ones recorded here.
    mutable const void* m_store = nullptr;
    mutable uint64_t m_epoch = 0;
    mutable void* m_entry = nullptr;
};

class DRUTILS_API RegStore {
public:
    // Largest value the store takes, in bytes of its stored form.
    static constexpr size_t kMaxValueBytes = 16u << 20;
    static constexpr size_t kMaxKeyName = 255;
    static constexpr size_t kMaxValueName = 16383;

    // The current user's store: DRUTILS_REGISTRY_DB when set and non-empty, else
    // $XDG_CONFIG_HOME/Corvane/registry.db, else ~/.config/Corvane/registry.db.
    static std::string currentUserPath();
    // One store object per file within the process; the file is opened (and
    // created, with its folder) on first use, and again after a failure.
    static std::shared_ptr<RegStore> get(const std::string& path);
    static std::shared_ptr<RegStore> forCurrentUser() { return get(currentUserPath()); }

    ~RegStore();
    RegStore(const RegStore&) = delete;
    RegStore& operator=(const RegStore&) = delete;

    const std::string& path() const { return m_path; }

    RegStatus keyExists(const RegKeyPath& key);
    RegStatus createKey(const RegKeyPath& key);
    // The key with its values and every key below it. A root cannot be deleted:
    // deleting one empties it.
    RegStatus deleteKey(const RegKeyPath& key);
    // Gives the key (the last name of its path) a new name; Exists when a
    // sibling already has it (a change of case alone is allowed).
    RegStatus renameKey(const RegKeyPath& key, std::wstring_view newName);
    // Names of the keys directly below, in case-folded order (as Windows lists them).
    RegStatus subKeys(const RegKeyPath& key, std::vector<std::wstring>& names);
    // The values of a key, in the order they were first created.
    RegStatus values(const RegKeyPath& key, std::vector<RegValueEntry>& out);
    RegStatus counts(const RegKeyPath& key, size_t& subKeys, size_t& values);

    // name is found without regard to case; the empty name is the key's default value.
    RegStatus getValue(const RegKeyPath& key, std::wstring_view name, RegValue& out);
    // Creates the key and any missing key above it. An existing value keeps its
    // name's case and its place in the order.
    RegStatus setValue(const RegKeyPath& key, std::wstring_view name, const RegValue& value);
    RegStatus deleteValue(const RegKeyPath& key, std::wstring_view name);
    // Exists when newName names another value of the key.
    RegStatus renameValue(const RegKeyPath& key, std::wstring_view oldName, std::wstring_view newName);

    // SQLite's integrity check of the file: Ok and "ok" in report when sound.
    RegStatus checkIntegrity(std::string& report);

    // Groups the changes made through this store, on the calling thread, into
    // one transaction: committed when the outermost Batch ends (commit() tells
    // whether it succeeded), so many changes cost one commit. Other threads of
    // the process wait for the batch to end; other processes wait as for any
    // write, up to the busy timeout.
    class DRUTILS_API Batch {
    public:
        explicit Batch(RegStore& store);
        ~Batch();
        Batch(const Batch&) = delete;
        Batch& operator=(const Batch&) = delete;
        // Ends the batch early; false when its transaction could not be committed.
        bool commit();
        // Takes the write lock now instead of at the first change, so that what
        // the batch reads before it writes cannot be changed by another process
        // until it ends (a check and the write it decides).
        RegStatus begin();
        // Makes the outermost batch undo every change it holds when it ends.
        void abandon();

    private:
        RegStore* m_store;
        bool m_open = true;
    };

    // Reads on the calling thread see one state of the file until it ends, so
    // that several reads that belong together (a name and whether its key
    // exists) cannot straddle another process's change. No writes inside it.
    // Does nothing inside a Batch, which already sees one state.
    class DRUTILS_API ReadSnapshot {
    public:
        explicit ReadSnapshot(RegStore& store);
        ~ReadSnapshot();
        ReadSnapshot(const ReadSnapshot&) = delete;
        ReadSnapshot& operator=(const ReadSnapshot&) = delete;

    private:
        RegStore* m_store;
        bool m_began = false;
    };

    struct Impl;

private:
    explicit RegStore(std::string path);
    std::string m_path;
    std::unique_ptr<Impl> m_impl;
    std::recursive_mutex m_mutex;
};

} // namespace ut::platform
