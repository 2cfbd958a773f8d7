// Profiles: named sets of user settings, one key each below the language's
// "Profiles" key (kCfgProfiles), and their registry files.
#include <algorithm>
#include <cwchar>

#include "platform/files.h"
#include "ut_config.h"
#include "config/ut_config_internal.h"
#include "ut_filename.h"
#include "config/ut_regfile.h"
#include "ut_registry.h"

namespace ut {

namespace {

wxString wx(const OdString& s) { return wxString(s.c_str(), size_t(s.getLength())); }
OdString od(const wxString& s) { return OdString(s.wc_str()); }

// "[HKEY_CURRENT_USER\Software\Corvane\Draftium\V17x64\en_US\Profiles\"
std::wstring profilesKeyPrefix() {
    return L"[HKEY_CURRENT_USER\\" + Config::profilesRoot(kCfgPathRegistry).str() + L"\\";
}

// A profile name names one key directly below the profiles key.
bool usableName(const wxString& name) {
    return !name.empty() && name.find(L'/') == wxString::npos && name.find(L'\\') == wxString::npos &&
           name != L"." && name != L"..";
}

} // namespace

OdString Config::profileNameFromRegistry() {
    OdString name;
    Registry key(false);
    if (key.open(kHKeyCurrentUser, profilesRoot(kCfgPathRegistry)) && key.valueType(OdString()) == kRegTypeString)
        key.read(OdString(), name);
    if (name.isEmpty())
        read(profilesRoot(kCfgPathConfig) + L"/CurProfile", name);
    s_noCreatedProfiles = name.isEmpty();
    return name;
}

bool Config::setCurProfileName(const OdString& name) {
    if (name.isEmpty())
        return false;
    if (!writeString(kCfgProfiles, L"CurProfile", name))
        return false;
    s_currentProfileName = name;
    // Clears the one-time override; the name written above is what counts.
    writeString(kCfgProfiles, OdString(), OdString());
    return true;
}

bool Config::copyProfile(const OdString& from, const OdString& to) { return copyGroup(kCfgProfiles, from, to, true); }

int getProfileNames(wxArrayString& names) {
    names.clear();
    OdArray<OdString> list;
    if (!Config::listGroups(kCfgProfiles, list))
        return 0;
    for (const auto& n : list)
        names.push_back(wx(n));
    return int(names.size());
}

wxString getCurrentProfileName() { return wx(Config::currentProfileName()); }

bool setCurrentProfileName(const wxString& name) { return Config::setCurProfileName(od(name)); }

wxString getProfileDescription(const wxString& name) {
    if (!usableName(name))
        return wxString();
    OdString text;
    if (Config::read(kCfgProfiles, od(name) + L"/", text) && !text.isEmpty())
        return wx(text);
    text.empty();
    Config::read(kCfgProfiles, od(name) + L"/Description", text);
    return wx(text);
}

bool setProfileDescription(const wxString& name, const wxString& text) {
    if (!usableName(name))
        return false;
    Config::writeString(kCfgProfiles, od(name) + L"/", OdString());
    return Config::writeString(kCfgProfiles, od(name) + L"/Description", od(text));
}

bool profileExists(const wxString& name) { return usableName(name) && Config::hasGroup(kCfgProfiles, od(name)); }

bool renameProfile(const wxString& oldName, const wxString& newName) {
    return usableName(oldName) && usableName(newName) && Config::renameGroup(kCfgProfiles, od(oldName), od(newName));
}

bool createProfile(const wxString& name, const wxString& text, const wxString& copyFrom) {
    if (!usableName(name))
        return false;
    if (!copyFrom.empty())
        Config::copyGroup(kCfgProfiles, od(copyFrom), od(name), true);
    return setProfileDescription(name, text);
}

bool deleteProfile(const wxString& name) { return usableName(name) && Config::deleteGroup(kCfgProfiles, od(name)); }

bool getProfileNameFromFile(const wxString& file, wxString& name, wxString* text) {
    std::vector<std::wstring> lines;
    std::string cause;
    if (regfile::readLines(od(file), lines, cause) != regfile::ReadResult::Ok)
        return false;
    const std::wstring prefix = profilesKeyPrefix();
    size_t i = 0;
    std::wstring found;
    for (; i < lines.size(); ++i) {
        if (!config_detail::startsWithNoCase(lines[i], prefix))
            continue;
        const std::wstring rest = lines[i].substr(prefix.size());
        const size_t end = rest.find_first_of(L"\\]");
        found = rest.substr(0, end);
        break;
    }
    if (found.empty())
        return false;
    name = wxString(found);
    if (text) {
        text->clear();
        for (++i; i < lines.size(); ++i) {
            const std::wstring& line = lines[i];
            size_t start = std::wstring::npos;
            for (const wchar_t* form : {L"\"Description\"=\"", L"Description=\""})
                if (line.compare(0, std::wcslen(form), form) == 0)
                    start = std::wcslen(form);
            if (start == std::wstring::npos)
                continue;
            size_t end = start;
            while (end < line.size() && line[end] != L'"')
                end += line[end] == L'\\' ? 2 : 1;
            *text = wxString(regfile::unescape(line.substr(start, std::min(end, line.size()) - start)));
            break;
        }
    }
    return true;
}

namespace {

// Every key line below the profiles key but the file's last line names newName.
void renameProfileInLines(std::vector<std::wstring>& lines, const wxString& newName) {
    const std::wstring prefix = profilesKeyPrefix();
    const std::wstring name = newName.ToStdWstring();
    for (size_t i = 0; i + 1 < lines.size(); ++i) {
        if (!config_detail::startsWithNoCase(lines[i], prefix))
            continue;
        std::wstring rest = lines[i].substr(prefix.size());
        const size_t slash = rest.find(L'\\');
        rest = slash == std::wstring::npos ? std::wstring(L"]") : rest.substr(slash);
        lines[i] = prefix + name + rest;
    }
}

} // namespace

bool replaceProfileName(const wxString& src, const wxString& dst, const wxString& newName) {
    std::vector<std::wstring> lines;
    std::string cause;
    if (regfile::readLines(od(src), lines, cause) != regfile::ReadResult::Ok)
        return false;
    renameProfileInLines(lines, newName);
    return regfile::writeLines(od(dst), lines) == regfile::WriteResult::Ok;
}

bool exportProfile(const wxString& name, const wxString& file) {
    return usableName(name) && Config::exportProfile(od(name), od(file), true);
}

bool importProfile(const wxString& file, const wxString* newName, const wxString* text) {
    if (!newName)
        return Config::import(od(file), true);
    if (!usableName(*newName))
        return false;
    // The renamed copy is made in memory rather than in a temporary file: the
    // import's messages then name the user's file, and an interrupted import
    // leaves no copy of it behind.
    std::vector<std::wstring> lines;
    if (!regfile::readForImport(od(file), lines, true, config_detail::kSource, "ut::Config::import",
                                L"File not found: %ls"))
        return false;
    renameProfileInLines(lines, *newName);
    bool ok = config_detail::importLines(lines, od(file), true);
    if (ok && text)
        ok = setProfileDescription(*newName, *text);
    return ok;
}

} // namespace ut
