#include "ut_registry.h"

#include <cwctype>

#include "platform/codepage.h"
#include "platform/regstore.h"
#include "config/ut_config_internal.h"
#include "ut_log.h"
#include "config/ut_regconfig.h"
#include "config/ut_regfile.h"

namespace ut {

namespace {

const char kSource[] = "src/utils/ut_registry";

wxString wx(const OdString& s) { return wxString(s.c_str(), size_t(s.getLength())); }

bool validRoot(ERootKey root) { return int(root) >= 0 && int(root) < platform::kRootCount; }

// Expandable strings go out as a registry editor writes them, as UTF-16 code
// units with a closing NUL, so that importKey gives back the same kind.
std::string utf16Bytes(const std::wstring& text) {
    std::string bytes;
    for (char16_t u : platform::wideToUtf16(text, true)) {
        bytes += char(u & 0xFF);
        bytes += char(u >> 8);
    }
    bytes.append(2, '\0');
    return bytes;
}

std::wstring fromUtf16Bytes(const std::string& bytes) {
    std::wstring text = platform::utf16ToWide(platform::utf16Units(bytes, false), true);
    while (!text.empty() && text.back() == L'\0')
        text.pop_back();
    return text;
}

// False, with problem set, at the first key or value that would not read back
// as it is.
bool exportKeyTree(const RegKey& key, std::vector<std::wstring>& lines, std::wstring& problem) {
    const std::wstring keyPath = key.GetName(true).ToStdWstring();
    lines.push_back(L"[" + keyPath + L"]");
    std::vector<platform::RegValueEntry> values;
    key.GetValues(values);
    for (const auto& e : values) {
        const platform::RegValue& v = e.value;
        if (!regfile::carriesValue(keyPath, e.name, v.type == platform::kRegSz ? &v.text : nullptr, problem))
            return false;
        switch (v.type) {
        case platform::kRegSz:
            regfile::addStringLine(lines, e.name, v.text);
            break;
        case platform::kRegExpandSz:
            regfile::addBinaryLines(lines, e.name, utf16Bytes(v.text), L"hex(2)");
            break;
        case platform::kRegQword:
            regfile::addQwordLines(lines, e.name, v.number);
            break;
        default:
            regfile::addPlainValueLines(lines, e.name, v, L"[[Unknown type: %d]]");
            break;
        }
    }
    lines.emplace_back();
    std::vector<wxString> subKeys;
    key.GetSubKeys(subKeys);
    for (const auto& name : subKeys) {
        const std::wstring n = name.ToStdWstring();
        if (!regfile::carriesKey(keyPath + L"\\" + n, n, problem) ||
            !exportKeyTree(key.SubKey(name), lines, problem))
            return false;
    }
    return true;
}

// Every key line "[ROOT\path]" opens (creating) that key; values follow it.
class KeySink : public regfile::Sink {
public:
    explicit KeySink(std::shared_ptr<platform::RegStore> store) : m_store(std::move(store)) {}

    KeyAction keyLine(const std::wstring& line) override {
        if (line.empty() || line[0] != L'[')
            return kNotKey;
        const size_t close = line.rfind(L']');
        // "[-...]" asks a registry editor to delete the key: not done here.
        if (close == std::wstring::npos || line.compare(0, 2, L"[-") == 0) {
            ++failed;
            return kLeave;
        }
        const std::wstring inner = line.substr(1, close - 1);
        const size_t slash = inner.find(L'\\');
        const std::wstring rootName = inner.substr(0, slash);
        int root = -1;
        for (int r = 0; r < platform::kRootCount; ++r)
            if (platform::foldName(rootName) == platform::foldName(rootKeyName(r)))
                root = r;
        if (root < 0) {
            ++failed;
            return kLeave;
        }
        m_key = RegKey(m_store, root, slash == std::wstring::npos ? wxString() : wxString(inner.substr(slash + 1)));
        if (!m_key.Create()) {
            ++failed;
            return kLeave;
        }
        return kEnter;
    }
    void stringValue(const std::wstring& name, const std::wstring& text) override {
        m_key.SetRawValue(wxString(name), platform::RegValue::string(text));
    }
    void dwordValue(const std::wstring& name, uint32_t value) override {
        m_key.SetRawValue(wxString(name), platform::RegValue::dword(int32_t(value)));
    }
    void binaryValue(const std::wstring& name, const std::string& bytes) override {
        m_key.SetRawValue(wxString(name), platform::RegValue::binary(bytes));
    }
    void typedValue(const std::wstring& name, uint32_t type, const std::string& bytes) override {
        if (type == platform::kRegExpandSz) {
            m_key.SetRawValue(wxString(name), platform::RegValue::string(fromUtf16Bytes(bytes), platform::kRegExpandSz));
        } else if (int64_t v = 0; type == platform::kRegQword && regfile::qwordFromBytes(bytes, v)) {
            m_key.SetRawValue(wxString(name), platform::RegValue::qword(v));
        }
    }

    int failed = 0;

private:
    std::shared_ptr<platform::RegStore> m_store;
    RegKey m_key;
};

} // namespace

wxString escape(const wxString& text) { return wxString(regfile::escape(text.ToStdWstring())); }

wxString unescape(const wxString& text) { return wxString(regfile::unescape(text.ToStdWstring())); }

Registry::Registry() = default;

Registry::Registry(bool expandStrings) : m_expand(expandStrings) {}

Registry::Registry(const Registry& other) : m_expand(other.m_expand) {
    if (other.m_key)
        m_key = new RegKey(*other.m_key);
}

Registry& Registry::operator=(const Registry& other) {
    if (this != &other) {
        close();
        m_expand = other.m_expand;
        if (other.m_key)
            m_key = new RegKey(*other.m_key);
    }
    return *this;
}

Registry::~Registry() { close(); }

bool Registry::create(ERootKey root, const OdString& path) {
    close();
    if (!validRoot(root))
        return false;
    auto* key = new RegKey(int(root), wx(path));
    if (!key->Create()) {
        delete key;
        return false;
    }
    m_key = key;
    return true;
}

bool Registry::open(ERootKey root, const OdString& path) {
    close();
    if (!validRoot(root))
        return false;
    auto* key = new RegKey(int(root), wx(path));
    if (!key->Exists()) {
        delete key;
        return false;
    }
    m_key = key;
    return true;
}

void Registry::close() {
    delete m_key;
    m_key = nullptr;
}

bool Registry::isOpen() const { return m_key != nullptr; }

bool Registry::verifyKey(const OdString& sub) const {
    if (!m_key)
        return false;
    return sub.isEmpty() ? m_key->Exists() : m_key->HasSubKey(wx(sub));
}

bool Registry::verifyValue(const OdString& name) const { return m_key && m_key->HasValue(wx(name)); }

bool Registry::verifyData(const OdString& name, bool write, const OdString& value) {
    OdString current;
    if (read(name, current) && current == value && valueType(name) == kRegTypeString)
        return true;
    return write && this->write(name, value);
}

bool Registry::verifyData(const OdString& name, bool write, long value) {
    long current = 0;
    if (read(name, current) && current == value)
        return true;
    return write && this->write(name, value);
}

ERegType Registry::valueType(const OdString& name) const {
    return m_key ? ERegType(m_key->GetValueType(wx(name))) : kRegTypeNone;
}

bool Registry::read(const OdString& name, long& value) const {
    long v = 0;
    if (!m_key || !m_key->QueryValue(wx(name), &v))
        return false;
    value = v;
    return true;
}

bool Registry::read(const OdString& name, OdString& value) const {
    wxString v;
    if (!m_key || !m_key->QueryValue(wx(name), v, !m_expand))
        return false;
    value = OdString(v.wc_str());
    return true;
}

bool Registry::read(const OdString& name, wxMemoryBuffer& value) const {
    return m_key && m_key->QueryValue(wx(name), value);
}

bool Registry::write(const OdString& name, long value) {
    if (!m_key)
        return false;
    if (!config_detail::fitsRegistryNumber(value)) {
        config_detail::logNumberTooWide(kSource, "ut::Registry::write", name, value);
        return false;
    }
    return m_key->SetValue(wx(name), value);
}

bool Registry::write(const OdString& name, const OdString& value) {
    return m_key && m_key->SetValue(wx(name), wx(value));
}

bool Registry::write(const OdString& name, const wxMemoryBuffer& value) {
    return m_key && m_key->SetValue(wx(name), value);
}

bool Registry::deleteValue(const OdString& name) { return m_key && m_key->DeleteValue(wx(name)); }

bool Registry::createKey(ERootKey root, const OdString& path) {
    return validRoot(root) && RegKey(int(root), wx(path)).Create();
}

bool Registry::verifyKey(ERootKey root, const OdString& path) {
    return validRoot(root) && RegKey(int(root), wx(path)).Exists();
}

bool Registry::verifyValue(ERootKey root, const OdString& path, const OdString& name) {
    return validRoot(root) && RegKey(int(root), wx(path)).HasValue(wx(name));
}

bool Registry::deleteKey(ERootKey root, const OdString& path) {
    return validRoot(root) && RegKey(int(root), wx(path)).DeleteSelf();
}

bool Registry::copyKey(ERootKey fromRoot, const OdString& from, ERootKey toRoot, const OdString& to) {
    if (!validRoot(fromRoot) || !validRoot(toRoot))
        return false;
    auto store = platform::RegStore::forCurrentUser();
    return copyKeyTree(RegKey(store, int(fromRoot), wx(from)), RegKey(store, int(toRoot), wx(to)),
                       L"[[Unknown type: %d]]");
}

bool Registry::exportKey(ERootKey root, const OdString& path, const OdString& fileName, bool report) {
    static const char fn[] = "ut::Registry::exportKey";
    if (fileName.isEmpty()) {
        if (report)
            logError(kSource, fn, L"Bad arguments");
        return false;
    }
    if (!validRoot(root)) {
        if (report)
            logError(kSource, fn, L"Bad root");
        return false;
    }
    const RegKey key(int(root), wx(path));
    if (!key.Exists()) {
        if (report)
            logError(kSource, fn, L"Failed to open registry key");
        return false;
    }
    std::vector<std::wstring> lines{regfile::kHeader, L""};
    std::wstring problem;
    if (!exportKeyTree(key, lines, problem)) {
        if (report)
            logError(kSource, fn, L"%ls", problem.c_str());
        return false;
    }
    if (regfile::writeLines(fileName, lines) != regfile::WriteResult::Ok) {
        if (report)
            logError(kSource, fn, L"Failed to write to file %ls", fileName.c_str());
        return false;
    }
    return true;
}

bool Registry::importKey(const OdString& fileName, bool report) {
    static const char fn[] = "ut::Registry::importKey";
    std::vector<std::wstring> lines;
    if (!regfile::readForImport(fileName, lines, report, kSource, fn, L"File not found"))
        return false;
    auto store = platform::RegStore::forCurrentUser();
    KeySink sink(store);
    bool committed;
    regfile::ParseReport parsed;
    {
        platform::RegStore::Batch batch(*store);
        parsed = regfile::parse(lines, sink);
        committed = batch.commit();
    }
    if (report)
        regfile::logSkipped(parsed, fileName, kSource, fn);
    if (sink.failed > 0) {
        if (report)
            logError(kSource, fn, L"Failed to create %d registry keys", sink.failed);
        return false;
    }
    return committed;
}

} // namespace ut
