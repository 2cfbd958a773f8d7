// The toolkit's faces of the settings store: RegConfig, a wxConfigBase over one
// key of the store, stands where wxRegConfig stands; RegKey, one key of any root,
// stands where wxRegKey stands.
//
// RegConfig follows wxRegConfig: its root ("/") is the key
// HKEY_CURRENT_USER\Software\<vendor>\<application>; groups are keys and entries
// are values; a path is absolute when it begins with "/", "." and ".." work, and
// a backslash separates groups as "/" does (registry key names cannot hold one).
// Nothing is created by SetPath; writes create the keys they need. Writes reach
// the store at once, so Flush has nothing to do.
//
// Kinds: strings are REG_SZ, integers and booleans REG_DWORD (REG_QWORD when the
// number does not fit 32 bits), binary values REG_BINARY, and floating-point
// numbers REG_SZ holding the shortest text that reads back to the same double
// (remembered as floating, which GetEntryType reports as Type_Float). Reading a
// string from a number gives its decimal text; reading a number from a string
// parses the whole string.
//
// Environment variables: the toolkit's expansion ($NAME, ${NAME}) applies to every
// string read while IsExpandingEnvVars(); in addition REG_EXPAND_SZ values have
// their %NAME% references replaced as Windows does, while IsExpandingRegValues()
// (an unknown name stays as it is).
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <wx/buffer.h>
#include <wx/config.h>
#include <wx/string.h>

#include "drutils_export.h"
#include "platform/regstore.h"

namespace ut {

class DRUTILS_API RegConfig : public wxConfigBase {
public:
    // The key Software\vendorName\appName below HKEY_CURRENT_USER of the current
    // user's store (RegStore::currentUserPath() at the time of construction).
    RegConfig(const wxString& appName, const wxString& vendorName);
    // Any key of a given store.
    RegConfig(std::shared_ptr<platform::RegStore> store, const platform::RegKeyPath& rootKey);
    ~RegConfig() override;

    void SetPath(const wxString& path) override;
    const wxString& GetPath() const override { return m_path; }

    bool GetFirstGroup(wxString& name, long& index) const override;
    bool GetNextGroup(wxString& name, long& index) const override;
    bool GetFirstEntry(wxString& name, long& index) const override;
    bool GetNextEntry(wxString& name, long& index) const override;
    size_t GetNumberOfEntries(bool recursive = false) const override;
    size_t GetNumberOfGroups(bool recursive = false) const override;

    bool HasGroup(const wxString& name) const override;
    bool HasEntry(const wxString& name) const override;
    EntryType GetEntryType(const wxString& name) const override;

    bool Flush(bool currentOnly = false) override;
    // Names without a path, in the current group; false when oldName is missing
    // or newName is taken.
    bool RenameEntry(const wxString& oldName, const wxString& newName) override;
    bool RenameGroup(const wxString& oldName, const wxString& newName) override;
    // With deleteGroupIfEmpty, a group left without entries and groups goes too
    // (never the root).
    bool DeleteEntry(const wxString& key, bool deleteGroupIfEmpty = true) override;
    bool DeleteGroup(const wxString& key) override;
    // Deletes the root key with everything below it.
    bool DeleteAll() override;

    // The registry type of an entry (kRegNone when there is none); floating, when
    // given, tells whether a REG_SZ was written as a floating-point number.
    uint32_t GetValueType(const wxString& key, bool* floating = nullptr) const;
    // The stored value as it is, unexpanded.
    bool ReadRaw(const wxString& key, platform::RegValue& value) const;
    bool WriteRaw(const wxString& key, const platform::RegValue& value);

    void SetExpandRegValues(bool on) { m_expandRegValues = on; }
    bool IsExpandingRegValues() const { return m_expandRegValues; }

    platform::RegStore& Store() const { return *m_store; }
    const std::shared_ptr<platform::RegStore>& StorePtr() const { return m_store; }
    // The store key named by a group path (absolute, or relative to the current path).
    platform::RegKeyPath KeyOf(const wxString& groupPath) const;
    const platform::RegKeyPath& RootKey() const { return m_root; }

protected:
    bool DoReadString(const wxString& key, wxString* value) const override;
    bool DoReadLong(const wxString& key, long* value) const override;
    bool DoReadBinary(const wxString& key, wxMemoryBuffer* value) const override;
    bool DoWriteString(const wxString& key, const wxString& value) override;
    bool DoWriteLong(const wxString& key, long value) override;
    bool DoWriteDouble(const wxString& key, double value) override;
    bool DoWriteBool(const wxString& key, bool value) override;
    bool DoWriteBinary(const wxString& key, const wxMemoryBuffer& value) override;

private:
    // The key and value name an entry path names.
    const platform::RegKeyPath& resolveEntry(const wxString& key, std::wstring& name) const;
    std::vector<std::wstring> normalizedComponents(const wxString& path) const;
    bool writeValue(const wxString& key, const platform::RegValue& value);
    size_t countBelow(const platform::RegKeyPath& key, bool groups) const;

    std::shared_ptr<platform::RegStore> m_store;
    platform::RegKeyPath m_root;
    wxString m_path;                            // "" at the root, else "/a/b"
    std::vector<std::wstring> m_components;     // of m_path
    platform::RegKeyPath m_current;
    bool m_expandRegValues = true;

    // Group paths already resolved, by their text as the caller gave it
    // (relative ones prefixed with the current path).
    mutable std::vector<std::pair<std::wstring, platform::RegKeyPath>> m_resolved;
    mutable size_t m_nextSlot = 0;
    mutable std::vector<std::wstring> m_enumGroups, m_enumEntries;
};

// Replaces each %NAME% whose variable is set by its value, as Windows expands
// REG_EXPAND_SZ strings; "%%" and unknown names stay as they are.
DRUTILS_API wxString expandRegString(const wxString& text);

class DRUTILS_API RegKey {
public:
    RegKey() = default;
    // A key of the current user's store (RegStore::currentUserPath() now).
    RegKey(int root, const wxString& path);
    RegKey(std::shared_ptr<platform::RegStore> store, int root, const wxString& path);

    // The name as registry files write it: "HKEY_CURRENT_USER\Software\...".
    wxString GetName(bool withRoot = true) const;
    int GetRoot() const { return m_key.root(); }
    const platform::RegKeyPath& GetKeyPath() const { return m_key; }
    bool IsValid() const { return m_store != nullptr && m_key.root() >= 0; }

    bool Exists() const;
    // Makes the key (and missing keys above it); true when it exists afterwards.
    bool Create();
    bool HasValue(const wxString& name) const;
    bool HasSubKey(const wxString& name) const;
    // kRegNone when the value does not exist.
    uint32_t GetValueType(const wxString& name) const;

    // Text of REG_SZ and REG_EXPAND_SZ values (the latter expanded unless raw).
    bool QueryValue(const wxString& name, wxString& value, bool raw = false) const;
    // REG_DWORD and REG_QWORD values.
    bool QueryValue(const wxString& name, long* value) const;
    bool QueryValue(const wxString& name, wxMemoryBuffer& value) const;
    bool QueryRawValue(const wxString& name, platform::RegValue& value) const;
    bool SetValue(const wxString& name, const wxString& value);
    // REG_DWORD when the number fits 32 bits, else REG_QWORD.
    bool SetValue(const wxString& name, long value);
    bool SetValue(const wxString& name, const wxMemoryBuffer& value);
    bool SetRawValue(const wxString& name, const platform::RegValue& value);
    bool DeleteValue(const wxString& name);
    // A key below this one (a path is allowed), with everything below it.
    bool DeleteKey(const wxString& subKey);
    bool DeleteSelf();
    // Gives this key another name within its parent; false when it is taken.
    bool Rename(const wxString& newName);

    bool GetSubKeys(std::vector<wxString>& names) const;
    bool GetValues(std::vector<platform::RegValueEntry>& values) const;
    bool GetKeyInfo(size_t* subKeys, size_t* values) const;

    RegKey SubKey(const wxString& path) const;
    const std::shared_ptr<platform::RegStore>& StorePtr() const { return m_store; }

private:
    std::shared_ptr<platform::RegStore> m_store;
    platform::RegKeyPath m_key;
};

// Copies from's values and the keys below it into to (created as needed), in
// one transaction: strings (expandable ones, and those written as numbers),
// DWORDs, QWORDs and binary values keep their kind; a value of any other kind
// arrives as a string, marker with its "%d" replaced by the type number. False
// when from is missing, when to lies inside from, or when a write fails.
DRUTILS_API bool copyKeyTree(const RegKey& from, const RegKey& to, const wchar_t* marker);

// The names of the root keys as registry files write them, without the
// trailing backslash ("HKEY_CURRENT_USER"); null for an unknown root.
DRUTILS_API const wchar_t* rootKeyName(int root);

} // namespace ut
