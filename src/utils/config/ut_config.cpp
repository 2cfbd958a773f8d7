#include "ut_config.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <cstdlib>
#include <cwchar>
#include <cwctype>
#include <optional>

#include <wx/app.h>

#include "platform/codepage.h"
#include "platform/filelock.h"
#include "platform/files.h"
#include "config/ut_config_internal.h"
#include "ut_filename.h"
#include "ut_log.h"
#include "config/ut_regconfig.h"
#include "ut_registry.h"

namespace ut {

wxConfigBase* Config::s_pConfigBase = nullptr;
OdString Config::s_currentLanguage;
OdString Config::s_currentProfileName;
bool Config::s_noCreatedProfiles = false;
OdString Config::s_productPath;
OdString Config::s_versionBase;
OdString Config::s_languageBase;
OdString Config::s_profileBase;
OdString Config::s_profileConfigBase;

namespace config_detail {
const char kSource[] = "src/utils/ut_config";
}

namespace {

using config_detail::formatG;
using config_detail::kSource;

const wchar_t kMaker[] = L"Corvane";
const wchar_t kProduct[] = L"Draftium";
const wchar_t kCommunicator[] = L"Draftium Communicator";
const wchar_t kPlatformWord[] = L"x64";
constexpr int kMajorVersion = 17;
const wchar_t kFallbackLanguage[] = L"en_US";

wxString wx(const OdString& s) { return wxString(s.c_str(), size_t(s.getLength())); }
OdString od(const wxString& s) { return OdString(s.wc_str()); }

// Points and rectangles: the text must hold a ","; each piece is read as a
// leading decimal integer (anything else counts 0).
long leadingInt(const wxString& piece) { return std::wcstol(piece.wc_str(), nullptr, 10); }

bool splitInts(const wxString& text, int count, long* out) {
    wxString rest = text;
    for (int i = 0; i < count - 1; ++i) {
        const int comma = rest.Find(L',');
        if (comma == wxNOT_FOUND)
            return false;
        out[i] = leadingInt(rest.Left(size_t(comma)));
        rest = rest.Mid(size_t(comma) + 1);
    }
    out[count - 1] = leadingInt(rest);
    return true;
}

// Geometry points: every piece must be a number, in the C locale's form.
bool splitReals(const wxString& text, int count, double* out) {
    wxString rest = text;
    for (int i = 0; i < count; ++i) {
        wxString piece = rest;
        if (i < count - 1) {
            const int comma = rest.Find(L',');
            if (comma == wxNOT_FOUND)
                return false;
            piece = rest.Left(size_t(comma));
            rest = rest.Mid(size_t(comma) + 1);
        }
        piece.Trim(true).Trim(false);
        if (!piece.ToCDouble(&out[i]))
            return false;
    }
    return true;
}

// The process-wide object, created on first need.
struct ConfigAccess : Config {
    static wxConfigBase* get() {
        if (!s_pConfigBase)
            initBase();
        return s_pConfigBase;
    }
    // The key path of every group, composed once per change of the bases.
    static const OdString* groupPath(ECfgGroup group);
    static void invalidate();
    // Where a write of key goes; false when it would bring back a profile that
    // was deleted. Called inside the write's transaction.
    static bool placeWrite(RegConfig& config, wxString& key);
    // Whether the current profile's key existed when the profile was chosen.
    static bool s_profileExisted;
};

bool ConfigAccess::s_profileExisted = false;

wxConfigBase* object() { return ConfigAccess::get(); }

// An entry's full key as the configuration object takes it, built without
// detours (reads are frequent); empty for an unknown group.
wxString entryKey(ECfgGroup group, const OdString& key) {
    const OdString* base = ConfigAccess::groupPath(group);
    wxString k;
    if (!base)
        return k;
    k.reserve(size_t(base->getLength() + key.getLength()));
    k.append(base->c_str(), size_t(base->getLength()));
    k.append(key.c_str(), size_t(key.getLength()));
    return k;
}

// Sets the configuration object's path for the lifetime of the guard.
class PathGuard {
public:
    PathGuard(wxConfigBase* c, const wxString& path) : m_c(c), m_old(c->GetPath()) { c->SetPath(path); }
    ~PathGuard() { m_c->SetPath(m_old.empty() ? wxString(L"/") : m_old); }

private:
    wxConfigBase* m_c;
    wxString m_old;
};

bool isLanguageFolder(const std::string& name) {
    return name.size() == 5 && name[0] >= 'a' && name[0] <= 'z' && name[1] >= 'a' && name[1] <= 'z' &&
           name[2] == '_' && name[3] >= 'A' && name[3] <= 'Z' && name[4] >= 'A' && name[4] <= 'Z';
}

OdString withoutTrailingSlash(const OdString& path) {
    OdString p = path;
    while (p.getLength() > 1 && p.getAt(p.getLength() - 1) == L'/')
        p = p.left(p.getLength() - 1);
    return p;
}

} // namespace

// ---- internal pieces ----

RegConfig* config_detail::regConfig() { return dynamic_cast<RegConfig*>(object()); }

OdString config_detail::chooseLanguage(const OdString& curver, const std::vector<std::string>& folders) {
    if (!curver.isEmpty()) {
        const std::string wanted = platform::wideToUtf8(curver.str());
        for (const auto& f : folders)
            if (f == wanted)
                return curver;
    }
    for (const auto& f : folders)
        if (isLanguageFolder(f))
            return OdString(f.c_str());
    return OdString(kFallbackLanguage);
}

bool config_detail::saveRect(ECfgGroup group, const OdString& windowName, const wxRect& r) {
    if (r.width < 1 || r.height < 1)
        return false;
    OdString text;
    text.format(L"%d,%d,%d,%d", r.x, r.y, r.width, r.height);
    return Config::writeString(group, OdString(L"rect/") + windowName, text);
}

bool config_detail::loadRect(ECfgGroup group, const OdString& windowName, wxRect& rect) {
    return Config::read(group, OdString(L"rect/") + windowName, rect);
}

bool config_detail::savePos(ECfgGroup group, const OdString& windowName, const wxPoint& pos) {
    OdString text;
    text.format(L"%d,%d", pos.x, pos.y);
    return Config::writeString(group, OdString(L"pos/") + windowName, text);
}

bool config_detail::loadPos(ECfgGroup group, const OdString& windowName, wxPoint& pos) {
    return Config::read(group, OdString(L"pos/") + windowName, pos);
}

std::wstring config_detail::formatG(double v) {
    char buf[64];
    const auto r = std::to_chars(buf, buf + sizeof buf, v, std::chars_format::general, 6);
    return std::wstring(buf, r.ptr);
}

bool config_detail::startsWithNoCase(const std::wstring& s, const std::wstring& prefix) {
    if (s.size() < prefix.size())
        return false;
    for (size_t i = 0; i < prefix.size(); ++i)
        if (std::towupper(wint_t(s[i])) != std::towupper(wint_t(prefix[i])))
            return false;
    return true;
}

void config_detail::fitIntoArea(wxRect& rect, const wxRect& area) {
    if (area.width <= 0 || area.height <= 0)
        return;
    rect.width = std::min(rect.width, area.width);
    rect.height = std::min(rect.height, area.height);
    rect.x = std::max(area.x, std::min(rect.x, area.x + area.width - rect.width));
    rect.y = std::max(area.y, std::min(rect.y, area.y + area.height - rect.height));
}

// ---- start and end ----

Config::~Config() = default;

void Config::initBase() {
    // The console application object: a program without a GUI has no wxApp.
    if (wxAppConsole* app = wxAppConsole::GetInstance()) {
        app->SetVendorName(kMaker);
        app->SetAppName(kProduct);
    }
    if (s_pConfigBase)
        return;
    wxConfigBase::DontCreateOnDemand();
    auto* config = new RegConfig(kProduct, kMaker);
    s_pConfigBase = config;
    wxConfigBase::Set(config);
    config->SetExpandEnvVars(true);
    config->SetExpandRegValues(getREGEXPAND());
    // The toolkit build of the product carries a third flag, switched off here;
    // this store has nothing that it would switch.
}

void Config::initPaths() {
    if (!s_productPath.isEmpty())
        return;
    s_productPath = productRoot(kCfgPathRegistry);
    s_productPath.replace(L'\\', L'/');
    s_versionBase = versionRoot(kCfgPathConfig) + L"/";
    s_languageBase = languageRoot(kCfgPathConfig) + L"/";
    ConfigAccess::invalidate();
}

void Config::updatePaths() {
    s_profileBase = currentProfileRoot(kCfgPathConfig) + L"/";
    s_profileConfigBase = s_profileBase + L"Config/";
    ConfigAccess::invalidate();
    ConfigAccess::s_profileExisted = !s_currentProfileName.isEmpty() && s_pConfigBase &&
                                     s_pConfigBase->HasGroup(wx(withoutTrailingSlash(s_profileBase)));
}

void Config::initProfile(const OdString& name) {
    initBase();
    {
        // The name and whether its key exists are read from one state of the
        // store: a rename by another process between the two would make an
        // existing profile look new, and its first write would make a ghost.
        std::optional<platform::RegStore::ReadSnapshot> snapshot;
        if (RegConfig* config = config_detail::regConfig())
            snapshot.emplace(config->Store());
        s_currentProfileName = name.isEmpty() ? profileNameFromRegistry() : name;
        initPaths();
        updatePaths();
    }
    // The object may have been made before the profile was known.
    if (RegConfig* config = config_detail::regConfig())
        config->SetExpandRegValues(getREGEXPAND());
    const wchar_t* const massProp = L"MassPropAccuracy";
    if (hasEntry(kCfgConfig, massProp) && entryType(kCfgConfig, massProp) != kCfgTypeInteger)
        deleteEntry(kCfgConfig, massProp);
}

void Config::unInitConfig() {
    if (!s_pConfigBase)
        return;
    if (wxConfigBase::Get(false) == s_pConfigBase)
        wxConfigBase::Set(nullptr);
    delete s_pConfigBase;
    s_pConfigBase = nullptr;
}

bool Config::flush() { return s_pConfigBase && s_pConfigBase->Flush(); }

void initConfig() { Config::initProfile(OdString()); }

// ---- paths ----

OdString Config::currentVersion() {
    OdString v;
    v.format(L"V%d%ls", kMajorVersion, kPlatformWord);
    return v;
}

OdString Config::separator(ECfgPathType type) {
    switch (type) {
    case kCfgPathRegistry:
    case kCfgPathRegistryAlt:
        return L"\\";
    case kCfgPathFileSystem:
        return FileName::getPathSeparator();
    default:
        return L"/";
    }
}

OdString Config::companyRoot(ECfgPathType type) {
    switch (type) {
    case kCfgPathRegistry:
    case kCfgPathRegistryAlt:
        return OdString(L"Software") + separator(type) + kMaker;
    case kCfgPathFileSystem:
        return kMaker;
    default:
        return OdString();
    }
}

OdString Config::productRoot(ECfgPathType type) {
    if (type == kCfgPathConfig)
        return OdString();
    return companyRoot(type) + separator(type) + kProduct;
}

OdString Config::versionRoot(ECfgPathType type) { return productRoot(type) + separator(type) + currentVersion(); }

OdString Config::languageRoot(ECfgPathType type) { return versionRoot(type) + separator(type) + currentLanguage(); }

OdString Config::profilesRoot(ECfgPathType type) { return languageRoot(type) + separator(type) + L"Profiles"; }

OdString Config::currentProfileRoot(ECfgPathType type) {
    if (s_currentProfileName.isEmpty())
        return OdString();
    return profilesRoot(type) + separator(type) + s_currentProfileName;
}

OdString Config::communicatorRoot(ECfgPathType type) {
    return companyRoot(type) + separator(type) + kCommunicator + separator(type) + currentVersion();
}

namespace {

OdString g_groupPaths[32];
bool g_groupPathsValid = false;

} // namespace

void ConfigAccess::invalidate() { g_groupPathsValid = false; }

const OdString* ConfigAccess::groupPath(ECfgGroup group) {
    if (s_languageBase.isEmpty())
        initPaths();
    if (s_profileBase.isEmpty())
        updatePaths();
    if (int(group) < 0 || int(group) >= 32) {
        logError(kSource, "ut::Config::keyPath", L"Unknown configuration group (%d)", int(group));
        return nullptr;
    }
    if (!g_groupPathsValid) {
        const OdString& L = s_languageBase;
        const OdString& P = s_profileBase;
        const OdString& C = s_profileConfigBase;
        const OdString paths[32] = {
            L"/",                         // product
            s_versionBase,                // version
            L,                            // language
            P,                            // current profile
            L + L"Addins/",               //
            L + L"Applications/",         //
            C,                            // the profile's Config
            P + L"Dialogs/",              //
            L + L"Environment/",          //
            L + L"eTransmit/Standard/",   //
            P + L"Menus/",                //
            P + L"MLeader/",              //
            C + L"Plot/",                 //
            L + L"Profiles/",             // the list of profiles
            P + L"Project Settings/",     //
            P + L"Recent Paths/",         //
            L + L"Settings/",             //
            L + L"Setup/",                //
            P + L"StatusBar/",            //
            C + L"Tablet/",               //
            L + L"TEST/",                 //
            P + L"Toolbars/",             //
            P + L"TPSettings/",           //
            L + L"User/",                 //
            P + L"Windows/",              // per profile
            P + L"Worksets/",             //
            P + L"Quad/",                 //
            P + L"Properties Bar/",       //
            P + L"3dMouseMenu/",          //
            P + L"TipContext/",           //
            P + L"Map Connections/",      //
            L + L"Windows/",              // per language, outside profiles
        };
        for (int i = 0; i < 32; ++i)
            g_groupPaths[i] = paths[i];
        g_groupPathsValid = true;
    }
    return &g_groupPaths[int(group)];
}

bool ConfigAccess::placeWrite(RegConfig& config, wxString& key) {
    // A profile that was not there when it was chosen is made by its first
    // write, as the registry makes a key; one that was there has been renamed
    // or deleted by the time its key is missing.
    if (!s_profileExisted || s_profileBase.getLength() <= 1 ||
        !config_detail::startsWithNoCase(key.ToStdWstring(), s_profileBase.str()))
        return true;
    const OdString base = s_profileBase;
    if (config.Store().keyExists(config.KeyOf(wx(withoutTrailingSlash(base)))) == platform::RegStatus::Ok)
        return true;
    const OdString was = s_currentProfileName;
    const OdString now = profileNameFromRegistry();
    if (!now.isEmpty() && now.iCompare(was) != 0) {
        s_currentProfileName = now;
        updatePaths();
        if (s_profileExisted) {
            key = wx(s_profileBase) + key.Mid(size_t(base.getLength()));
            return true;
        }
    }
    logError(kSource, "ut::Config::write", L"The profile '%ls' no longer exists; nothing is written to it",
             was.c_str());
    return false;
}

OdString Config::keyPath(ECfgGroup group) {
    const OdString* path = ConfigAccess::groupPath(group);
    return path ? *path : OdString();
}

OdString Config::keyPath(ECfgGroup group, const OdString& sub) {
    const OdString path = keyPath(group);
    return path.isEmpty() ? path : path + sub;
}

OdString Config::regPath(ECfgGroup group, bool withRoot) {
    OdString path = keyPath(group);
    if (path.isEmpty())
        return path;
    path = s_productPath + withoutTrailingSlash(path);
    path = withoutTrailingSlash(path);
    path.replace(L'/', L'\\');
    return withRoot ? OdString(L"HKEY_CURRENT_USER\\") + path : path;
}

// ---- identity ----

OdString Config::userName() { return OdString(platform::currentUserName()); }

OdString Config::currentProfileName() { return s_currentProfileName; }

bool Config::isAnyProfileCreated() { return !s_noCreatedProfiles; }

OdString Config::currentLanguage() {
    if (!s_currentLanguage.isEmpty())
        return s_currentLanguage;
    initBase();
    wxString curver;
    if (s_pConfigBase->Read(wx(versionRoot(kCfgPathConfig) + L"/CURVER"), &curver) && !curver.empty())
        s_currentLanguage = od(curver);
    // The folders beside the executable (links followed), by their bytes.
    std::vector<std::pair<OdString, platform::EntryKind>> entries;
    platform::listDirectory(platform::executableDirectory(), entries);
    std::vector<std::string> folders;
    for (const auto& [name, kind] : entries)
        if (kind == platform::EntryKind::Directory)
            folders.push_back(platform::fileNameToBytes(name.str()));
    std::sort(folders.begin(), folders.end());
    s_currentLanguage = config_detail::chooseLanguage(s_currentLanguage, folders);
    return s_currentLanguage;
}

bool Config::getREGEXPAND() {
    initBase();
    bool expand = true;
    if (!s_pConfigBase->Read(wx(currentProfileRoot(kCfgPathConfig) + L"/Config/REGEXPAND"), &expand))
        return true;
    return expand;
}

// ---- tests ----

bool Config::hasGroup(const OdString& path) {
    wxConfigBase* c = object();
    if (!c)
        return false;
    return c->HasGroup(path.isEmpty() || path.getAt(0) != L'/' ? wx(L"/" + path) : wx(path));
}

bool Config::hasGroup(ECfgGroup group) { return hasGroup(group, OdString()); }

bool Config::hasGroup(ECfgGroup group, const OdString& sub) {
    const OdString path = keyPath(group, sub);
    return !path.isEmpty() && hasGroup(path);
}

bool Config::hasEntry(ECfgGroup group, const OdString& key) {
    const OdString path = keyPath(group, key);
    wxConfigBase* c = object();
    return !path.isEmpty() && c && c->HasEntry(wx(path));
}

ECfgType Config::entryType(ECfgGroup group, const OdString& key) {
    const OdString path = keyPath(group, key);
    wxConfigBase* c = object();
    if (path.isEmpty() || !c)
        return kCfgTypeUnknown;
    switch (c->GetEntryType(wx(path))) {
    case wxConfigBase::Type_String: return kCfgTypeString;
    case wxConfigBase::Type_Boolean: return kCfgTypeBoolean;
    case wxConfigBase::Type_Integer: return kCfgTypeInteger;
    case wxConfigBase::Type_Float: return kCfgTypeFloat;
    default: break;
    }
    if (auto* rc = dynamic_cast<RegConfig*>(c); rc && rc->GetValueType(wx(path)) == platform::kRegBinary)
        return kCfgTypeBinary;
    return kCfgTypeUnknown;
}

// ---- reads ----

namespace {

bool readText(const wxString& key, wxString& text) {
    wxConfigBase* c = object();
    return !key.empty() && c && c->Read(key, &text);
}

template <class T> bool readAs(const wxString& key, T& value) {
    wxConfigBase* c = object();
    T v{};
    if (key.empty() || !c || !c->Read(key, &v))
        return false;
    value = v;
    return true;
}

bool readString(const wxString& key, OdString& value) {
    wxString text;
    if (!readText(key, text))
        return false;
    value = od(text);
    return true;
}

bool readBinary(const wxString& key, wxMemoryBuffer& value) {
    wxConfigBase* c = object();
    wxMemoryBuffer v;
    if (key.empty() || !c || !c->Read(key, &v))
        return false;
    value = v;
    return true;
}

} // namespace

bool Config::read(ECfgGroup group, const OdString& key, bool& value) { return readAs(entryKey(group, key), value); }

bool Config::read(ECfgGroup group, const OdString& key, short& value) {
    long v = 0;
    if (!readAs(entryKey(group, key), v))
        return false;
    value = static_cast<short>(v);
    return true;
}

bool Config::read(ECfgGroup group, const OdString& key, long& value) { return readAs(entryKey(group, key), value); }

bool Config::read(ECfgGroup group, const OdString& key, OdString& value) {
    return readString(entryKey(group, key), value);
}

bool Config::read(ECfgGroup group, const OdString& key, double& value) { return readAs(entryKey(group, key), value); }

bool Config::read(ECfgGroup group, const OdString& key, tagPOINT& value) {
    wxString text;
    long v[2];
    if (!readText(entryKey(group, key), text) || !splitInts(text, 2, v))
        return false;
    value.x = int32_t(v[0]);
    value.y = int32_t(v[1]);
    return true;
}

bool Config::read(ECfgGroup group, const OdString& key, tagRECT& value) {
    wxString text;
    long v[4];
    if (!readText(entryKey(group, key), text) || !splitInts(text, 4, v))
        return false;
    value.left = int32_t(v[0]);
    value.top = int32_t(v[1]);
    value.right = int32_t(v[0] + v[2]);
    value.bottom = int32_t(v[1] + v[3]);
    return true;
}

bool Config::read(ECfgGroup group, const OdString& key, wxRect& value) {
    wxString text;
    long v[4];
    if (!readText(entryKey(group, key), text) || !splitInts(text, 4, v))
        return false;
    value = wxRect(int(v[0]), int(v[1]), int(v[2]), int(v[3]));
    return true;
}

bool Config::read(ECfgGroup group, const OdString& key, wxPoint& value) {
    wxString text;
    long v[2];
    if (!readText(entryKey(group, key), text) || !splitInts(text, 2, v))
        return false;
    value = wxPoint(int(v[0]), int(v[1]));
    return true;
}

bool Config::read(ECfgGroup group, const OdString& key, wxSize& value) {
    wxString text;
    long v[2];
    if (!readText(entryKey(group, key), text) || !splitInts(text, 2, v))
        return false;
    value = wxSize(int(v[0]), int(v[1]));
    return true;
}

bool Config::read(ECfgGroup group, const OdString& key, OdGePoint2d& value) {
    wxString text;
    double v[2];
    if (!readText(entryKey(group, key), text) || !splitReals(text, 2, v))
        return false;
    value = OdGePoint2d(v[0], v[1]);
    return true;
}

bool Config::read(ECfgGroup group, const OdString& key, OdGePoint3d& value) {
    wxString text;
    double v[3];
    if (!readText(entryKey(group, key), text) || !splitReals(text, 3, v))
        return false;
    value = OdGePoint3d(v[0], v[1], v[2]);
    return true;
}

bool Config::read(ECfgGroup group, const OdString& key, wxMemoryBuffer& value) {
    return readBinary(entryKey(group, key), value);
}

bool Config::read(const OdString& path, long& value) { return readAs(wx(path), value); }

bool Config::read(const OdString& path, double& value) { return readAs(wx(path), value); }

bool Config::read(const OdString& path, wxMemoryBuffer& value) { return readBinary(wx(path), value); }

bool Config::read(const OdString& path, OdString& value) { return readString(wx(path), value); }

// ---- writes ----

namespace {

template <class T> bool writeAt(const wxString& key, const T& value) {
    wxConfigBase* c = object();
    if (key.empty() || !c)
        return false;
    RegConfig* config = dynamic_cast<RegConfig*>(c);
    if (!config)
        return c->Write(key, value);
    // Finding the profile's key and writing are one transaction, so another
    // process cannot rename or delete the profile between the two.
    platform::RegStore::Batch batch(config->Store());
    wxString target = key;
    if (batch.begin() != platform::RegStatus::Ok || !ConfigAccess::placeWrite(*config, target)) {
        batch.abandon();
        return false;
    }
    return c->Write(target, value) && batch.commit();
}

// Every integer write goes through here, so that none stores a 64-bit number.
bool writeNumber(const wxString& key, long value, const char* function) {
    if (!config_detail::fitsRegistryNumber(value)) {
        config_detail::logNumberTooWide(kSource, function, od(key), value);
        return false;
    }
    return writeAt(key, value);
}

} // namespace

namespace config_detail {

void logNumberTooWide(const char* file, const char* function, const OdString& name, long value) {
    logError(file, function, L"%ld does not fit a 32-bit registry number (%d to %d); \"%ls\" is not written", value,
             INT32_MIN, INT32_MAX, name.c_str());
}

} // namespace config_detail

bool Config::writeBool(ECfgGroup group, const OdString& key, bool value) { return writeAt(entryKey(group, key), value); }

bool Config::writeShort(ECfgGroup group, const OdString& key, short value) {
    return writeNumber(entryKey(group, key), long(value), "ut::Config::writeShort");
}

bool Config::writeLong(ECfgGroup group, const OdString& key, long value) {
    return writeNumber(entryKey(group, key), value, "ut::Config::writeLong");
}

bool Config::writeString(ECfgGroup group, const OdString& key, const OdString& value) {
    return writeAt(entryKey(group, key), wx(value));
}

bool Config::writeDouble(ECfgGroup group, const OdString& key, double value) {
    return writeAt(entryKey(group, key), value);
}

bool Config::writeSize(ECfgGroup group, const OdString& key, const wxSize& value) {
    OdString text;
    text.format(L"%d,%d", value.x, value.y);
    return writeString(group, key, text);
}

bool Config::writeRect(ECfgGroup group, const OdString& key, const tagRECT& value) {
    OdString text;
    text.format(L"%d,%d,%d,%d", value.left, value.top, value.right - value.left, value.bottom - value.top);
    return writeString(group, key, text);
}

bool Config::writeRect(ECfgGroup group, const OdString& key, const wxRect& value) {
    OdString text;
    text.format(L"%d,%d,%d,%d", value.x, value.y, value.width, value.height);
    return writeString(group, key, text);
}

bool Config::writePoint(ECfgGroup group, const OdString& key, const OdGePoint2d& value) {
    return writeString(group, key, OdString(formatG(value.x) + L"," + formatG(value.y)));
}

bool Config::writePoint(ECfgGroup group, const OdString& key, const OdGePoint3d& value) {
    return writeString(group, key, OdString(formatG(value.x) + L"," + formatG(value.y) + L"," + formatG(value.z)));
}

bool Config::writeBinary(ECfgGroup group, const OdString& key, const wxMemoryBuffer& value) {
    return writeAt(entryKey(group, key), value);
}

bool Config::writeLong(const OdString& path, long value) {
    return !path.isEmpty() && writeNumber(wx(path), value, "ut::Config::writeLong");
}

bool Config::writeDouble(const OdString& path, double value) { return !path.isEmpty() && writeAt(wx(path), value); }

bool Config::writeBinary(const OdString& path, const wxMemoryBuffer& value) {
    return !path.isEmpty() && writeAt(wx(path), value);
}

bool Config::writeString(const OdString& path, const OdString& value) {
    return !path.isEmpty() && writeAt(wx(path), wx(value));
}

// ---- structure ----

bool Config::deleteGroup(ECfgGroup group) { return deleteGroup(group, OdString()); }

bool Config::deleteGroup(ECfgGroup group, const OdString& sub) {
    const OdString path = keyPath(group, sub);
    wxConfigBase* c = object();
    return !path.isEmpty() && c && c->DeleteGroup(wx(path));
}

bool Config::deleteEntry(ECfgGroup group, const OdString& key) {
    const OdString path = keyPath(group, key);
    wxConfigBase* c = object();
    return !path.isEmpty() && c && c->DeleteEntry(wx(path));
}

bool Config::renameGroup(ECfgGroup group, const OdString& newName) {
    const OdString path = withoutTrailingSlash(keyPath(group));
    wxConfigBase* c = object();
    const int slash = path.reverseFind(L'/');
    if (!c || path.getLength() <= 1 || slash < 0)
        return false;
    PathGuard guard(c, wx(slash == 0 ? OdString(L"/") : path.left(slash)));
    return c->RenameGroup(wx(path.mid(slash + 1)), wx(newName));
}

bool Config::renameGroup(ECfgGroup group, const OdString& oldName, const OdString& newName) {
    const OdString path = keyPath(group);
    wxConfigBase* c = object();
    if (path.isEmpty() || !c)
        return false;
    PathGuard guard(c, wx(path));
    return c->RenameGroup(wx(oldName), wx(newName));
}

bool Config::renameEntry(ECfgGroup group, const OdString& oldName, const OdString& newName) {
    const OdString path = keyPath(group);
    wxConfigBase* c = object();
    if (path.isEmpty() || !c)
        return false;
    PathGuard guard(c, wx(path));
    return c->RenameEntry(wx(oldName), wx(newName));
}

namespace {

bool listOf(wxConfigBase* c, const OdString& path, bool groups, OdArray<OdString>& names);
int countOf(wxConfigBase* c, const OdString& path, bool groups);

bool listIn(const OdString& path, bool groups, OdArray<OdString>& names) {
    names.clear();
    return !path.isEmpty() && listOf(object(), path, groups, names);
}

int countIn(const OdString& path, bool groups) { return path.isEmpty() ? 0 : countOf(object(), path, groups); }

} // namespace

bool Config::listGroups(ECfgGroup group, OdArray<OdString>& names) { return listIn(keyPath(group), true, names); }

bool Config::listGroups(ECfgGroup group, const OdString& sub, OdArray<OdString>& names) {
    return listIn(keyPath(group, sub), true, names);
}

bool Config::listEntries(ECfgGroup group, OdArray<OdString>& names) { return listIn(keyPath(group), false, names); }

bool Config::listEntries(ECfgGroup group, const OdString& sub, OdArray<OdString>& names) {
    return listIn(keyPath(group, sub), false, names);
}

int Config::countGroups(ECfgGroup group) { return countIn(keyPath(group), true); }

int Config::countEntries(ECfgGroup group) { return countIn(keyPath(group), false); }

bool Config::copyGroup(ECfgGroup group, const OdString& from, const OdString& to, bool replace) {
    const OdString base = keyPath(group);
    RegConfig* c = config_detail::regConfig();
    if (base.isEmpty() || !c || from.isEmpty() || to.isEmpty())
        return false;
    const platform::RegKeyPath src = c->KeyOf(wx(base + from)), dst = c->KeyOf(wx(base + to));
    const RegKey source(c->StorePtr(), src.root(), wxString(src.text()));
    const RegKey target(c->StorePtr(), dst.root(), wxString(dst.text()));
    if (!replace && target.Exists())
        return false;
    return copyKeyTree(source, target, L"{{Unknown type: %d}}");
}

// ---- wxString forms ----

wxString getString(ECfgGroup group, const wxString& key) {
    OdString value;
    return Config::read(group, od(key), value) ? wx(value) : wxString();
}

bool setString(ECfgGroup group, const wxString& key, const wxString& value) {
    return Config::writeString(group, od(key), od(value));
}

wxString getCurrentLanguageCode() { return wx(Config::currentLanguage()); }

// ---- ConfigBase ----

ConfigBase::ConfigBase(const OdString& appName, const OdString& vendorName)
    : m_config(new RegConfig(wx(appName), wx(vendorName))) {}

ConfigBase::ConfigBase(wxConfigBase* config) : m_config(config) {}

ConfigBase::~ConfigBase() { delete m_config; }

bool ConfigBase::hasGroup(const OdString& path) const { return m_config && m_config->HasGroup(wx(path)); }

bool ConfigBase::hasEntry(const OdString& path) const { return m_config && m_config->HasEntry(wx(path)); }

bool ConfigBase::read(const OdString& path, bool& value) const {
    bool v = false;
    if (!m_config || !m_config->Read(wx(path), &v))
        return false;
    value = v;
    return true;
}

bool ConfigBase::read(const OdString& path, long& value) const {
    long v = 0;
    if (!m_config || !m_config->Read(wx(path), &v))
        return false;
    value = v;
    return true;
}

bool ConfigBase::read(const OdString& path, OdString& value) const {
    wxString v;
    if (!m_config || !m_config->Read(wx(path), &v))
        return false;
    value = od(v);
    return true;
}

bool ConfigBase::writeBool(const OdString& path, bool value) { return m_config && m_config->Write(wx(path), value); }

bool ConfigBase::writeLong(const OdString& path, long value) {
    if (!config_detail::fitsRegistryNumber(value)) {
        config_detail::logNumberTooWide(kSource, "ut::ConfigBase::writeLong", path, value);
        return false;
    }
    return m_config && m_config->Write(wx(path), value);
}

bool ConfigBase::writeString(const OdString& path, const OdString& value) {
    return m_config && m_config->Write(wx(path), wx(value));
}

bool ConfigBase::deleteGroup(const OdString& path) { return m_config && m_config->DeleteGroup(wx(path)); }

bool ConfigBase::deleteEntry(const OdString& path) { return m_config && m_config->DeleteEntry(wx(path)); }

namespace {

bool listOf(wxConfigBase* c, const OdString& path, bool groups, OdArray<OdString>& names) {
    names.clear();
    if (!c || !c->HasGroup(wx(path)))
        return false;
    PathGuard guard(c, wx(path));
    wxString name;
    long index = 0;
    for (bool more = groups ? c->GetFirstGroup(name, index) : c->GetFirstEntry(name, index); more;
         more = groups ? c->GetNextGroup(name, index) : c->GetNextEntry(name, index))
        names.append(od(name));
    return true;
}

int countOf(wxConfigBase* c, const OdString& path, bool groups) {
    if (!c || !c->HasGroup(wx(path)))
        return 0;
    PathGuard guard(c, wx(path));
    return int(groups ? c->GetNumberOfGroups() : c->GetNumberOfEntries());
}

} // namespace

bool ConfigBase::listGroups(const OdString& path, OdArray<OdString>& names) const {
    return listOf(m_config, path, true, names);
}

bool ConfigBase::listEntries(const OdString& path, OdArray<OdString>& names) const {
    return listOf(m_config, path, false, names);
}

int ConfigBase::countGroups(const OdString& path) const { return countOf(m_config, path, true); }

int ConfigBase::countEntries(const OdString& path) const { return countOf(m_config, path, false); }

bool ConfigBase::flush() { return m_config && m_config->Flush(); }

} // namespace ut
