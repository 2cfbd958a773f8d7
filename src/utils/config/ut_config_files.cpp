// ut::Config's registry files: export of a group, import below the current
// language's key.
#include "platform/regstore.h"
#include "ut_config.h"
#include "config/ut_config_internal.h"
#include "ut_filename.h"
#include "ut_log.h"
#include "config/ut_regconfig.h"
#include "config/ut_regfile.h"

namespace ut {

namespace {

using config_detail::kSource;

struct ExportFlags {
    bool expandEnv;
    bool expandRegValues;
};

// False, with problem set, at the first key or value that would not read back
// as it is.
bool exportTree(const RegConfig& config, const ExportFlags& flags, const platform::RegKeyPath& key,
                const std::wstring& groupPath, std::vector<std::wstring>& lines, std::wstring& problem) {
    std::wstring keyLine = L"[HKEY_CURRENT_USER\\" + Config::productRoot(kCfgPathRegistry).str() + L"\\" + groupPath + L"]";
    for (auto& c : keyLine)
        if (c == L'/')
            c = L'\\';
    lines.push_back(keyLine);
    std::vector<platform::RegValueEntry> values;
    config.Store().values(key, values);
    for (const auto& e : values) {
        const platform::RegValue& v = e.value;
        switch (v.type) {
        case platform::kRegSz:
        case platform::kRegExpandSz: {
            std::wstring text;
            double d = 0;
            if (v.floating && wxString(v.text).ToCDouble(&d)) {
                text = config_detail::formatG(d);
            } else {
                wxString t(v.text);
                if (flags.expandEnv) {
                    if (v.type == platform::kRegExpandSz && flags.expandRegValues)
                        t = expandRegString(t);
                    t = config.ExpandEnvVars(t);
                }
                text = t.ToStdWstring();
            }
            if (!regfile::carriesValue(groupPath, e.name, &text, problem))
                return false;
            regfile::addStringLine(lines, e.name, text);
            break;
        }
        case platform::kRegQword:
            // Not a kind this store writes, but one another program's file
            // can bring in: kept as the number it is rather than lost.
            if (!regfile::carriesValue(groupPath, e.name, nullptr, problem))
                return false;
            regfile::addQwordLines(lines, e.name, v.number);
            break;
        default:
            if (!regfile::carriesValue(groupPath, e.name, nullptr, problem))
                return false;
            regfile::addPlainValueLines(lines, e.name, v, L"{{Unknown type: %d}}");
            break;
        }
    }
    lines.emplace_back();
    std::vector<std::wstring> subKeys;
    config.Store().subKeys(key, subKeys);
    for (const auto& name : subKeys) {
        const std::wstring path = groupPath + L"/" + name;
        if (!regfile::carriesKey(path, name, problem) ||
            !exportTree(config, flags, key.child(name), path, lines, problem))
            return false;
    }
    return true;
}

// Puts each key of the file that lies below the product key and a version key
// below the current language, from its "Profiles" part on. Value names are
// taken as they stand (a "/" in one is part of the name, as in the registry),
// so that only key lines choose where values go, and those never leave the
// product key: ".." stops at the configuration object's root.
class ImportSink : public regfile::Sink {
public:
    ImportSink(RegConfig& config, const std::wstring& prefix, const std::wstring& languageBase)
        : m_config(config), m_prefix(prefix), m_languageBase(languageBase) {}

    KeyAction keyLine(const std::wstring& line) override {
        if (!config_detail::startsWithNoCase(line, m_prefix))
            return kNotKey;
        std::wstring rest = line.substr(m_prefix.size());
        if (!rest.empty() && rest.back() == L']')
            rest.pop_back();
        if (rest.empty() || rest[0] != L'V')
            return kKeep;
        const size_t at = rest.find(L"Profiles");
        // A version key with no profile in it has no place below this language.
        if (at == std::wstring::npos)
            return kLeave;
        m_config.SetPath(wxString(m_languageBase + rest.substr(at)));
        m_key = m_config.KeyOf(m_config.GetPath());
        // An empty key of the file is made too, as a registry editor makes it.
        count(m_config.Store().createKey(m_key));
        ++keys;
        return kEnter;
    }
    void stringValue(const std::wstring& name, const std::wstring& text) override {
        count(m_config.Store().setValue(m_key, name, platform::RegValue::string(text)));
    }
    void dwordValue(const std::wstring& name, uint32_t value) override {
        count(m_config.Store().setValue(m_key, name, platform::RegValue::dword(int32_t(value))));
    }
    void binaryValue(const std::wstring& name, const std::string& bytes) override {
        count(m_config.Store().setValue(m_key, name, platform::RegValue::binary(bytes)));
    }
    // A 64-bit number comes back as the number the export wrote; other typed
    // values (expandable strings among them) are not imported.
    void typedValue(const std::wstring& name, uint32_t type, const std::string& bytes) override {
        int64_t number = 0;
        if (type == platform::kRegQword && regfile::qwordFromBytes(bytes, number))
            count(m_config.Store().setValue(m_key, name, platform::RegValue::qword(number)));
    }

    size_t keys = 0, failed = 0;

private:
    void count(platform::RegStatus s) {
        if (s != platform::RegStatus::Ok)
            ++failed;
    }
    RegConfig& m_config;
    const std::wstring m_prefix, m_languageBase;
    platform::RegKeyPath m_key;
};

} // namespace

bool Config::exportGroup(const OdString& groupPath, const OdString& fileName, bool report) {
    static const char fn[] = "ut::Config::exportGroup";
    if (groupPath.isEmpty() || fileName.isEmpty()) {
        if (report)
            logError(kSource, fn, L"Bad arguments");
        return false;
    }
    if (groupPath.getAt(0) != L'V') {
        if (report)
            logError(kSource, fn, L"Bad group path: %ls", groupPath.c_str());
        return false;
    }
    RegConfig* config = config_detail::regConfig();
    if (!config || !hasGroup(groupPath)) {
        if (report)
            logError(kSource, fn, L"Config group not found: %ls", groupPath.c_str());
        return false;
    }
    std::wstring path = groupPath.str();
    while (!path.empty() && (path.back() == L'/' || path.back() == L'\\'))
        path.pop_back();
    std::vector<std::wstring> lines{regfile::kHeader, L""};
    const ExportFlags flags{config->IsExpandingEnvVars(), config->IsExpandingRegValues()};
    std::wstring problem;
    if (!exportTree(*config, flags, config->KeyOf(wxString(L"/") + wxString(path)), path, lines, problem)) {
        if (report)
            logError(kSource, fn, L"%ls", problem.c_str());
        return false;
    }

    const bool existed = ut::FileName::fileExists(fileName);
    switch (regfile::writeLines(fileName, lines)) {
    case regfile::WriteResult::Ok:
        return true;
    case regfile::WriteResult::CannotCreate:
        if (report)
            logError(kSource, fn, existed ? L"Failed to open file %ls" : L"Failed to create file %ls", fileName.c_str());
        return false;
    case regfile::WriteResult::CannotWrite:
        if (report)
            logError(kSource, fn, L"Failed to write to file %ls", fileName.c_str());
        return false;
    }
    return false;
}

bool Config::exportGroup(ECfgGroup group, const OdString& fileName, bool report) {
    OdString path = keyPath(group);
    if (!path.isEmpty() && path.getAt(0) == L'/')
        path = path.mid(1);
    return exportGroup(path, fileName, report);
}

bool Config::exportProfile(const OdString& profile, const OdString& fileName, bool report) {
    initBase();
    const bool expanding = s_pConfigBase->IsExpandingEnvVars();
    s_pConfigBase->SetExpandEnvVars(false);
    OdString path = keyPath(kCfgProfiles);
    if (!path.isEmpty() && path.getAt(0) == L'/')
        path = path.mid(1);
    const bool ok = exportGroup(path + profile, fileName, report);
    s_pConfigBase->SetExpandEnvVars(expanding);
    return ok;
}

bool Config::import(const OdString& fileName, bool report) {
    std::vector<std::wstring> lines;
    if (!regfile::readForImport(fileName, lines, report, kSource, "ut::Config::import", L"File not found: %ls"))
        return false;
    return config_detail::importLines(lines, fileName, report);
}

bool config_detail::importLines(const std::vector<std::wstring>& lines, const OdString& fileName, bool report) {
    static const char fn[] = "ut::Config::import";
    RegConfig* config = config_detail::regConfig();
    if (!config)
        return false;
    const wxString oldPath = config->GetPath();
    const std::wstring prefix = L"[HKEY_CURRENT_USER\\" + Config::productRoot(kCfgPathRegistry).str() + L"\\";
    ImportSink sink(*config, prefix, Config::languageRoot(kCfgPathConfig).str() + L"/");
    regfile::ParseReport parsed;
    bool committed;
    {
        // One transaction for the whole file: a profile of thousands of values
        // costs one commit, and other processes never see half of it.
        platform::RegStore::Batch batch(config->Store());
        parsed = regfile::parse(lines, sink);
        committed = batch.commit();
    }
    config->SetPath(oldPath.empty() ? wxString(L"/") : oldPath);
    if (report)
        regfile::logSkipped(parsed, fileName, kSource, fn);
    if (report && sink.keys == 0)
        logWarning(kSource, fn, L"%ls: no key lies below %lsV...\\Profiles]", fileName.c_str(), prefix.c_str());
    return committed && sink.failed == 0;
}

} // namespace ut
