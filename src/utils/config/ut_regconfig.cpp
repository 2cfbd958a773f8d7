#include "config/ut_regconfig.h"

#include <charconv>
#include <cstdlib>

#include <wx/utils.h>

namespace ut {

using platform::RegKeyPath;
using platform::RegStatus;
using platform::RegStore;
using platform::RegValue;

namespace {

constexpr size_t kResolvedSlots = 16;

std::wstring joinBackslash(const std::vector<std::wstring>& parts) {
    std::wstring s;
    for (const auto& p : parts) {
        if (!s.empty())
            s += L'\\';
        s += p;
    }
    return s;
}

bool holdsSeparator(const wxString& name) {
    return name.find(L'/') != wxString::npos || name.find(L'\\') != wxString::npos;
}

RegValue integerValue(long long v) {
    if (v >= INT32_MIN && v <= INT32_MAX)
        return RegValue::dword(int32_t(v));
    return RegValue::qword(int64_t(v));
}

} // namespace

const wchar_t* rootKeyName(int root) {
    static const wchar_t* const names[platform::kRootCount] = {L"HKEY_CLASSES_ROOT", L"HKEY_CURRENT_USER",
                                                                L"HKEY_LOCAL_MACHINE", L"HKEY_USERS",
                                                                L"HKEY_CURRENT_CONFIG"};
    return root >= 0 && root < platform::kRootCount ? names[root] : nullptr;
}

wxString expandRegString(const wxString& text) {
    const std::wstring in = text.ToStdWstring();
    std::wstring out;
    out.reserve(in.size());
    size_t i = 0;
    while (i < in.size()) {
        if (in[i] != L'%') {
            out += in[i++];
            continue;
        }
        const size_t close = in.find(L'%', i + 1);
        if (close == std::wstring::npos) {
            out.append(in, i, std::wstring::npos);
            break;
        }
        wxString value;
        const wxString name(in.substr(i + 1, close - i - 1));
        if (!name.empty() && wxGetEnv(name, &value)) {
            out += value.ToStdWstring();
            i = close + 1;
        } else {
            // Not a reference: keep the text up to the second "%", which may
            // open the next one.
            out.append(in, i, close - i);
            i = close;
        }
    }
    return wxString(out);
}

// ---- RegConfig -------------------------------------------------------------------------

RegConfig::RegConfig(const wxString& appName, const wxString& vendorName)
    : wxConfigBase(appName, vendorName), m_store(RegStore::forCurrentUser()) {
    std::wstring path = L"Software";
    if (!vendorName.empty())
        path += L"\\" + vendorName.ToStdWstring();
    if (!appName.empty())
        path += L"\\" + appName.ToStdWstring();
    m_root = RegKeyPath(platform::kCurrentUser, path);
    m_current = m_root;
}

RegConfig::RegConfig(std::shared_ptr<RegStore> store, const RegKeyPath& rootKey)
    : m_store(std::move(store)), m_root(rootKey), m_current(rootKey) {}

RegConfig::~RegConfig() = default;

std::vector<std::wstring> RegConfig::normalizedComponents(const wxString& path) const {
    std::vector<std::wstring> parts;
    const std::wstring p = path.ToStdWstring();
    if (p.empty())
        return parts; // the root, as the toolkit's configurations take it
    if (p[0] != L'/' && p[0] != L'\\')
        parts = m_components;
    size_t start = 0;
    while (start <= p.size()) {
        size_t end = p.find_first_of(L"/\\", start);
        if (end == std::wstring::npos)
            end = p.size();
        const std::wstring_view part(p.data() + start, end - start);
        if (part == L"..") {
            if (!parts.empty())
                parts.pop_back();
        } else if (!part.empty() && part != L".") {
            parts.emplace_back(part);
        }
        start = end + 1;
    }
    return parts;
}

void RegConfig::SetPath(const wxString& path) {
    if (path == m_path)
        return;
    m_components = normalizedComponents(path);
    m_path.clear();
    for (const auto& c : m_components)
        m_path << L'/' << wxString(c);
    m_current = m_root.child(joinBackslash(m_components));
}

RegKeyPath RegConfig::KeyOf(const wxString& groupPath) const {
    return m_root.child(joinBackslash(normalizedComponents(groupPath)));
}

const RegKeyPath& RegConfig::resolveEntry(const wxString& key, std::wstring& name) const {
    const wchar_t* text = key.wc_str();
    const size_t length = key.length();
    const size_t slash = key.rfind(L'/');
    if (slash == wxString::npos) {
        name.assign(text, length);
        return m_current;
    }
    name.assign(text + slash + 1, length - slash - 1);
    // The group part as an absolute text, which is what the memo is keyed by;
    // an absolute key is compared where it stands, without a copy.
    std::wstring relative;
    std::wstring_view group;
    if (text[0] == L'/') {
        group = std::wstring_view(text, slash == 0 ? 1 : slash);
    } else {
        relative = m_path.ToStdWstring();
        relative += L'/';
        relative.append(text, slash);
        group = relative;
    }
    for (auto& [memo, resolved] : m_resolved)
        if (memo == group)
            return resolved;
    const wxString groupText(group.data(), group.size());
    if (m_resolved.size() < kResolvedSlots) {
        m_resolved.emplace_back(std::wstring(group), KeyOf(groupText));
        return m_resolved.back().second;
    }
    auto& slot = m_resolved[m_nextSlot++ % kResolvedSlots];
    slot = {std::wstring(group), KeyOf(groupText)};
    return slot.second;
}

bool RegConfig::GetFirstGroup(wxString& name, long& index) const {
    m_enumGroups.clear();
    m_store->subKeys(m_current, m_enumGroups);
    index = 0;
    return GetNextGroup(name, index);
}

bool RegConfig::GetNextGroup(wxString& name, long& index) const {
    if (index < 0 || size_t(index) >= m_enumGroups.size())
        return false;
    name = m_enumGroups[size_t(index++)];
    return true;
}

bool RegConfig::GetFirstEntry(wxString& name, long& index) const {
    m_enumEntries.clear();
    std::vector<platform::RegValueEntry> values;
    m_store->values(m_current, values);
    for (auto& v : values)
        m_enumEntries.push_back(std::move(v.name));
    index = 0;
    return GetNextEntry(name, index);
}

bool RegConfig::GetNextEntry(wxString& name, long& index) const {
    if (index < 0 || size_t(index) >= m_enumEntries.size())
        return false;
    name = m_enumEntries[size_t(index++)];
    return true;
}

size_t RegConfig::countBelow(const RegKeyPath& key, bool groups) const {
    size_t subKeys = 0, values = 0;
    if (m_store->counts(key, subKeys, values) != RegStatus::Ok)
        return 0;
    size_t total = groups ? subKeys : values;
    if (subKeys > 0) {
        std::vector<std::wstring> names;
        m_store->subKeys(key, names);
        for (const auto& n : names)
            total += countBelow(key.child(n), groups);
    }
    return total;
}

size_t RegConfig::GetNumberOfEntries(bool recursive) const {
    size_t subKeys = 0, values = 0;
    if (!recursive)
        return m_store->counts(m_current, subKeys, values) == RegStatus::Ok ? values : 0;
    return countBelow(m_current, false);
}

size_t RegConfig::GetNumberOfGroups(bool recursive) const {
    size_t subKeys = 0, values = 0;
    if (!recursive)
        return m_store->counts(m_current, subKeys, values) == RegStatus::Ok ? subKeys : 0;
    return countBelow(m_current, true);
}

bool RegConfig::HasGroup(const wxString& name) const { return m_store->keyExists(KeyOf(name)) == RegStatus::Ok; }

bool RegConfig::HasEntry(const wxString& name) const { return GetValueType(name) != platform::kRegNone; }

uint32_t RegConfig::GetValueType(const wxString& key, bool* floating) const {
    RegValue v;
    if (!ReadRaw(key, v))
        return platform::kRegNone;
    if (floating)
        *floating = v.floating;
    return v.type;
}

wxConfigBase::EntryType RegConfig::GetEntryType(const wxString& name) const {
    bool floating = false;
    switch (GetValueType(name, &floating)) {
    case platform::kRegSz:
        return floating ? Type_Float : Type_String;
    case platform::kRegExpandSz:
        return Type_String;
    case platform::kRegDword:
    case platform::kRegQword:
        return Type_Integer;
    default:
        return Type_Unknown;
    }
}

bool RegConfig::ReadRaw(const wxString& key, RegValue& value) const {
    std::wstring name;
    const RegKeyPath& k = resolveEntry(key, name);
    return m_store->getValue(k, name, value) == RegStatus::Ok;
}

bool RegConfig::WriteRaw(const wxString& key, const RegValue& value) { return writeValue(key, value); }

bool RegConfig::Flush(bool) { return true; }

bool RegConfig::RenameEntry(const wxString& oldName, const wxString& newName) {
    if (oldName.find(L'/') != wxString::npos || newName.find(L'/') != wxString::npos)
        return false;
    return m_store->renameValue(m_current, oldName.ToStdWstring(), newName.ToStdWstring()) == RegStatus::Ok;
}

bool RegConfig::RenameGroup(const wxString& oldName, const wxString& newName) {
    if (oldName.empty() || newName.empty() || holdsSeparator(oldName) || holdsSeparator(newName))
        return false;
    return m_store->renameKey(m_current.child(oldName.ToStdWstring()), newName.ToStdWstring()) == RegStatus::Ok;
}

bool RegConfig::DeleteEntry(const wxString& key, bool deleteGroupIfEmpty) {
    std::wstring name;
    const RegKeyPath group = resolveEntry(key, name);
    if (m_store->deleteValue(group, name) != RegStatus::Ok)
        return false;
    size_t subKeys = 0, values = 0;
    if (deleteGroupIfEmpty && group.names().size() > m_root.names().size() &&
        m_store->counts(group, subKeys, values) == RegStatus::Ok && subKeys == 0 && values == 0)
        m_store->deleteKey(group);
    return true;
}

bool RegConfig::DeleteGroup(const wxString& key) {
    return m_store->deleteKey(KeyOf(RemoveTrailingSeparator(key))) == RegStatus::Ok;
}

bool RegConfig::DeleteAll() {
    const RegStatus s = m_store->deleteKey(m_root);
    return s == RegStatus::Ok || s == RegStatus::NotFound;
}

bool RegConfig::DoReadString(const wxString& key, wxString* value) const {
    RegValue v;
    if (!ReadRaw(key, v))
        return false;
    switch (v.type) {
    case platform::kRegSz:
        *value = wxString(v.text);
        return true;
    case platform::kRegExpandSz:
        *value = m_expandRegValues ? expandRegString(wxString(v.text)) : wxString(v.text);
        return true;
    case platform::kRegDword:
    case platform::kRegQword:
        *value = wxString::Format(L"%lld", static_cast<long long>(v.number));
        return true;
    default:
        return false;
    }
}

bool RegConfig::DoReadLong(const wxString& key, long* value) const {
    RegValue v;
    if (!ReadRaw(key, v))
        return false;
    switch (v.type) {
    case platform::kRegDword:
    case platform::kRegQword:
        *value = long(v.number);
        return true;
    case platform::kRegSz:
    case platform::kRegExpandSz:
        return wxString(v.text).ToLong(value);
    default:
        return false;
    }
}

bool RegConfig::DoReadBinary(const wxString& key, wxMemoryBuffer* value) const {
    RegValue v;
    if (!ReadRaw(key, v) || v.type != platform::kRegBinary)
        return false;
    value->SetDataLen(0);
    value->AppendData(v.bytes.data(), v.bytes.size());
    return true;
}

bool RegConfig::writeValue(const wxString& key, const RegValue& value) {
    std::wstring name;
    const RegKeyPath& k = resolveEntry(key, name);
    return m_store->setValue(k, name, value) == RegStatus::Ok;
}

bool RegConfig::DoWriteString(const wxString& key, const wxString& value) {
    return writeValue(key, RegValue::string(value.ToStdWstring()));
}

bool RegConfig::DoWriteLong(const wxString& key, long value) { return writeValue(key, integerValue(value)); }

bool RegConfig::DoWriteDouble(const wxString& key, double value) {
    // The shortest text that reads back as the same double, in the C locale's form.
    char buf[64];
    const auto r = std::to_chars(buf, buf + sizeof buf, value);
    RegValue v = RegValue::string(std::wstring(buf, r.ptr));
    v.floating = true;
    return writeValue(key, v);
}

bool RegConfig::DoWriteBool(const wxString& key, bool value) { return writeValue(key, RegValue::dword(value ? 1 : 0)); }

bool RegConfig::DoWriteBinary(const wxString& key, const wxMemoryBuffer& value) {
    return writeValue(key, RegValue::binary(std::string(static_cast<const char*>(value.GetData()), value.GetDataLen())));
}

// ---- RegKey ------------------------------------------------------------------------------

RegKey::RegKey(int root, const wxString& path) : RegKey(RegStore::forCurrentUser(), root, path) {}

RegKey::RegKey(std::shared_ptr<RegStore> store, int root, const wxString& path)
    : m_store(std::move(store)), m_key(root, path.ToStdWstring()) {}

wxString RegKey::GetName(bool withRoot) const {
    wxString name;
    if (withRoot) {
        const wchar_t* r = rootKeyName(m_key.root());
        name = r ? r : L"";
        if (!m_key.isRoot())
            name += L'\\';
    }
    return name + wxString(m_key.text());
}

bool RegKey::Exists() const { return IsValid() && m_store->keyExists(m_key) == RegStatus::Ok; }

bool RegKey::Create() { return IsValid() && m_store->createKey(m_key) == RegStatus::Ok; }

bool RegKey::HasValue(const wxString& name) const { return GetValueType(name) != platform::kRegNone; }

bool RegKey::HasSubKey(const wxString& name) const {
    return IsValid() && m_store->keyExists(m_key.child(name.ToStdWstring())) == RegStatus::Ok;
}

uint32_t RegKey::GetValueType(const wxString& name) const {
    RegValue v;
    return QueryRawValue(name, v) ? v.type : platform::kRegNone;
}

bool RegKey::QueryRawValue(const wxString& name, RegValue& value) const {
    return IsValid() && m_store->getValue(m_key, name.ToStdWstring(), value) == RegStatus::Ok;
}

bool RegKey::QueryValue(const wxString& name, wxString& value, bool raw) const {
    RegValue v;
    if (!QueryRawValue(name, v))
        return false;
    if (v.type == platform::kRegSz) {
        value = wxString(v.text);
        return true;
    }
    if (v.type == platform::kRegExpandSz) {
        value = raw ? wxString(v.text) : expandRegString(wxString(v.text));
        return true;
    }
    return false;
}

bool RegKey::QueryValue(const wxString& name, long* value) const {
    RegValue v;
    if (!QueryRawValue(name, v) || (v.type != platform::kRegDword && v.type != platform::kRegQword))
        return false;
    *value = long(v.number);
    return true;
}

bool RegKey::QueryValue(const wxString& name, wxMemoryBuffer& value) const {
    RegValue v;
    if (!QueryRawValue(name, v) || v.type != platform::kRegBinary)
        return false;
    value.SetDataLen(0);
    value.AppendData(v.bytes.data(), v.bytes.size());
    return true;
}

bool RegKey::SetRawValue(const wxString& name, const RegValue& value) {
    return IsValid() && m_store->setValue(m_key, name.ToStdWstring(), value) == RegStatus::Ok;
}

bool RegKey::SetValue(const wxString& name, const wxString& value) {
    return SetRawValue(name, RegValue::string(value.ToStdWstring()));
}

bool RegKey::SetValue(const wxString& name, long value) { return SetRawValue(name, integerValue(value)); }

bool RegKey::SetValue(const wxString& name, const wxMemoryBuffer& value) {
    return SetRawValue(name,
                       RegValue::binary(std::string(static_cast<const char*>(value.GetData()), value.GetDataLen())));
}

bool RegKey::DeleteValue(const wxString& name) {
    return IsValid() && m_store->deleteValue(m_key, name.ToStdWstring()) == RegStatus::Ok;
}

bool RegKey::DeleteKey(const wxString& subKey) {
    return IsValid() && m_store->deleteKey(m_key.child(subKey.ToStdWstring())) == RegStatus::Ok;
}

bool RegKey::DeleteSelf() { return IsValid() && m_store->deleteKey(m_key) == RegStatus::Ok; }

bool RegKey::Rename(const wxString& newName) {
    if (!IsValid() || m_key.isRoot() || newName.empty() || holdsSeparator(newName))
        return false;
    if (m_store->renameKey(m_key, newName.ToStdWstring()) != RegStatus::Ok)
        return false;
    m_key = m_key.parent().child(newName.ToStdWstring());
    return true;
}

bool RegKey::GetSubKeys(std::vector<wxString>& names) const {
    names.clear();
    std::vector<std::wstring> raw;
    if (!IsValid() || m_store->subKeys(m_key, raw) != RegStatus::Ok)
        return false;
    for (auto& n : raw)
        names.emplace_back(n);
    return true;
}

bool RegKey::GetValues(std::vector<platform::RegValueEntry>& values) const {
    return IsValid() && m_store->values(m_key, values) == RegStatus::Ok;
}

bool RegKey::GetKeyInfo(size_t* subKeys, size_t* values) const {
    size_t s = 0, v = 0;
    if (!IsValid() || m_store->counts(m_key, s, v) != RegStatus::Ok)
        return false;
    if (subKeys)
        *subKeys = s;
    if (values)
        *values = v;
    return true;
}

namespace {

bool copyValues(const RegKey& from, const RegKey& to, const wchar_t* marker) {
    std::vector<platform::RegValueEntry> values;
    if (!from.GetValues(values))
        return false;
    RegKey target = to;
    if (!target.Create())
        return false;
    for (const auto& v : values) {
        RegValue copy = v.value;
        switch (v.value.type) {
        case platform::kRegSz:
        case platform::kRegExpandSz:
        case platform::kRegDword:
        case platform::kRegQword:
        case platform::kRegBinary:
            break;
        default:
            copy = RegValue::string(wxString::Format(marker, int(v.value.type)).ToStdWstring());
            break;
        }
        if (!target.SetRawValue(wxString(v.name), copy))
            return false;
    }
    std::vector<wxString> subKeys;
    if (!from.GetSubKeys(subKeys))
        return false;
    for (const auto& k : subKeys)
        if (!copyValues(from.SubKey(k), to.SubKey(k), marker))
            return false;
    return true;
}

} // namespace

bool copyKeyTree(const RegKey& from, const RegKey& to, const wchar_t* marker) {
    if (!from.IsValid() || !to.IsValid() || from.StorePtr() != to.StorePtr() || !from.Exists())
        return false;
    // A target inside the source would be copied into itself without end.
    const auto& src = from.GetKeyPath().names();
    const auto& dst = to.GetKeyPath().names();
    if (from.GetRoot() == to.GetRoot() && dst.size() >= src.size()) {
        bool inside = true;
        for (size_t i = 0; i < src.size() && inside; ++i)
            inside = platform::foldName(src[i]) == platform::foldName(dst[i]);
        if (inside)
            return false;
    }
    platform::RegStore::Batch batch(*from.StorePtr());
    if (!copyValues(from, to, marker)) {
        batch.abandon();
        batch.commit();
        return false;
    }
    return batch.commit();
}

RegKey RegKey::SubKey(const wxString& path) const {
    RegKey k;
    k.m_store = m_store;
    k.m_key = m_key.child(path.ToStdWstring());
    return k;
}

} // namespace ut
