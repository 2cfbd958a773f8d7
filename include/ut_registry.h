// ut::Registry: one open key of the settings store, with its values, and the
// static key operations and registry-file export and import of any root.
//
// On Linux the registry is a per-user SQLite file:
// $XDG_CONFIG_HOME/Corvane/registry.db (default ~/.config/Corvane/registry.db),
// or the file that the environment variable DRUTILS_REGISTRY_DB names. It holds
// the five root keys; key and value names compare without regard to case (each
// character's Unicode uppercase form decides) and keep their case; values keep
// the registry's kinds and type numbers. Several processes may use the file at
// once; every write is committed before the call returns and survives the
// process being killed.
//
// This header names toolkit types (wxString, wxMemoryBuffer).
#pragma once

#include <wx/buffer.h>
#include <wx/string.h>

#include "drutils_export.h"
#include "od/OdString.h"

namespace ut {

class RegKey;

// The root keys, in this order; registry files name them "HKEY_CLASSES_ROOT\" ...
enum ERootKey : int {
    kHKeyClassesRoot = 0,
    kHKeyCurrentUser = 1,
    kHKeyLocalMachine = 2,
    kHKeyUsers = 3,
    kHKeyCurrentConfig = 4
};

// Kinds of values, with the Windows type numbers. valueType() may also give a
// number not listed here for a value that another program stored.
enum ERegType : int {
    kRegTypeNone = 0, // no such value
    kRegTypeString = 1,
    kRegTypeExpandString = 2,
    kRegTypeBinary = 3,
    kRegTypeDword = 4,
    kRegTypeMultiString = 7,
    kRegTypeQword = 11
};

class DRUTILS_API Registry {
public:
    // Expandable strings (REG_EXPAND_SZ) read with their %NAME% references expanded.
    Registry();
    // expandStrings false: expandable strings are read as stored.
    explicit Registry(bool expandStrings);
    Registry(const Registry& other);
    Registry& operator=(const Registry& other);
    virtual ~Registry();

    // Opens the key, creating it (and the keys above it) when missing.
    bool create(ERootKey root, const OdString& path);
    // Opens an existing key; false when there is none.
    bool open(ERootKey root, const OdString& path);
    void close();
    bool isOpen() const;

    // ---- on the open key; all false while none is open ----
    // Whether the open key (or a key below it, when sub is given) exists.
    bool verifyKey(const OdString& sub = OdString()) const;
    bool verifyValue(const OdString& name) const;
    // Whether the value name holds exactly value; when it does not and write is
    // set, writes it and answers the write's result.
    bool verifyData(const OdString& name, bool write, const OdString& value);
    bool verifyData(const OdString& name, bool write, long value);
    ERegType valueType(const OdString& name) const;
    // Integers: REG_DWORD (signed 32 bits) and REG_QWORD values.
    bool read(const OdString& name, long& value) const;
    // Strings: REG_SZ and REG_EXPAND_SZ values.
    bool read(const OdString& name, OdString& value) const;
    bool read(const OdString& name, wxMemoryBuffer& value) const;
    // Stored as REG_DWORD, as on Windows, where long has 32 bits. A value outside
    // -2147483648..2147483647 is refused (false, logged, nothing written): it
    // would not read back as the same long.
    bool write(const OdString& name, long value);
    bool write(const OdString& name, const OdString& value);
    bool write(const OdString& name, const wxMemoryBuffer& value);
    bool deleteValue(const OdString& name);

    // ---- static operations on any key ----
    static bool createKey(ERootKey root, const OdString& path);
    static bool verifyKey(ERootKey root, const OdString& path);
    static bool verifyValue(ERootKey root, const OdString& path, const OdString& name);
    // Deletes the key with everything below it.
    static bool deleteKey(ERootKey root, const OdString& path);
    // Copies a key's values and the keys below it into to (created as needed);
    // strings, numbers and binary values keep their kind, any other value
    // arrives as the string "[[Unknown type: N]]". Refused when to lies inside from.
    static bool copyKey(ERootKey fromRoot, const OdString& from, ERootKey toRoot, const OdString& to);
    // Writes the key and the keys below it (in name order) as a registry file:
    // key lines "[HKEY_...\path]"; strings, dwords and binary values as a
    // registry editor writes them; another kind as a string line
    // "[[Unknown type: N]]". Logs "Bad arguments", "Bad root" or "Failed to open
    // registry key" when report is set.
    static bool exportKey(ERootKey root, const OdString& path, const OdString& fileName, bool report = true);
    // Imports every key of a registry file into the root its key line names,
    // with "dword:", "hex:", "hex(2):" (expandable string) and "hex(b):" (64-bit
    // number) values and strings; other lines are skipped. False (logged as
    // "Failed to create %d registry keys") when keys could not be created.
    static bool importKey(const OdString& fileName, bool report = true);

private:
    RegKey* m_key = nullptr;
    bool m_expand = true;
};

// Registry-file escaping of string data: "\" to "\\", then '"' to '\"', then a
// line feed to CR LF (so that a text with line breaks spans several lines of the
// file). unescape undoes the three steps in reverse order.
DRUTILS_API wxString escape(const wxString& text);
DRUTILS_API wxString unescape(const wxString& text);

} // namespace ut
