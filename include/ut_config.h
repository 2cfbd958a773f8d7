// ut::Config: the application's settings, kept in the per-user settings store
// below the product's key "Software\Corvane\Draftium" of HKEY_CURRENT_USER (on
// Linux a SQLite file, see ut_registry.h). A setting is named by a group
// (ut::ECfgGroup) and a key; the group's key path is composed of the version
// ("V17x64"), the language ("en_US") and, for profile-level groups, the current
// profile:
//   product  "/"
//   version  "/V17x64/"
//   language "/V17x64/en_US/"
//   profile  "/V17x64/en_US/Profiles/<profile>/"   ("/" while no profile is chosen,
//            so that profile-level groups then lie directly below the product key)
// Paths inside the configuration object are relative to the product key and use
// "/" as separator.
//
// Every operation is static, reports failure as false (or an empty string) and
// never throws; a read that fails leaves the caller's value untouched. The
// configuration object is created on first need and shared by the whole process;
// the operations take no locks.
//
// This header names toolkit types (wxString, wxRect, wxSize, wxPoint,
// wxMemoryBuffer, wxWindow), so an application that includes it builds against
// the toolkit's headers; those of its base library suffice (`wx-config --cxxflags
// base`).
#pragma once

#include <wx/arrstr.h>
#include <wx/buffer.h>
#include <wx/gdicmn.h>
#include <wx/string.h>

#include "drutils_export.h"
#include "od/OdArray.h"
#include "od/OdGePoint.h"
#include "od/OdString.h"
#include "od/wintypes.h"

class wxConfigBase;
class wxWindow;

namespace ut {

// Forms of a root path (see Config::companyRoot).
enum ECfgPathType : int {
    kCfgPathRegistry = 0,   // "Software\Corvane\Draftium\V17x64\en_US"
    kCfgPathFileSystem = 1, // "Corvane/Draftium/V17x64/en_US" (native separator)
    kCfgPathConfig = 2,     // "/V17x64/en_US" (inside the configuration object)
    kCfgPathRegistryAlt = 3 // the same as kCfgPathRegistry
};

// The configuration groups; the comment gives each key path (V version, L
// language, P profile, C profile + "Config/"). Groups 24 and 31 share the word
// "Windows" at different levels.
enum ECfgGroup : int {
    kCfgProduct = 0,          // "/"
    kCfgVersion = 1,          // V
    kCfgLanguage = 2,         // L
    kCfgProfile = 3,          // P
    kCfgAddins = 4,           // L "Addins/"
    kCfgApplications = 5,     // L "Applications/"
    kCfgConfig = 6,           // C
    kCfgDialogs = 7,          // P "Dialogs/"
    kCfgEnvironment = 8,      // L "Environment/"
    kCfgETransmit = 9,        // L "eTransmit/Standard/"
    kCfgMenus = 10,           // P "Menus/"
    kCfgMLeader = 11,         // P "MLeader/"
    kCfgPlot = 12,            // C "Plot/"
    kCfgProfiles = 13,        // L "Profiles/": one key per profile
    kCfgProjectSettings = 14, // P "Project Settings/"
    kCfgRecentPaths = 15,     // P "Recent Paths/"
    kCfgSettings = 16,        // L "Settings/"
    kCfgSetup = 17,           // L "Setup/"
    kCfgStatusBar = 18,       // P "StatusBar/"
    kCfgTablet = 19,          // C "Tablet/"
    kCfgTest = 20,            // L "TEST/"
    kCfgToolbars = 21,        // P "Toolbars/"
    kCfgTPSettings = 22,      // P "TPSettings/"
    kCfgUser = 23,            // L "User/"
    kCfgWindows = 24,         // P "Windows/"
    kCfgWorksets = 25,        // P "Worksets/"
    kCfgQuad = 26,            // P "Quad/"
    kCfgPropertiesBar = 27,   // P "Properties Bar/"
    kCfg3dMouseMenu = 28,     // P "3dMouseMenu/"
    kCfgTipContext = 29,      // P "TipContext/"
    kCfgMapConnections = 30,  // P "Map Connections/"
    kCfgLanguageWindows = 31  // L "Windows/": window places kept outside profiles
};

// What an entry holds. The registry has no boolean kind: booleans are stored
// and reported as integers.
enum ECfgType : int {
    kCfgTypeUnknown = 0, // absent, or a kind that the other members do not name
    kCfgTypeString = 1,  // a string (expandable strings included)
    kCfgTypeBoolean = 2,
    kCfgTypeInteger = 3,
    kCfgTypeFloat = 4, // written by writeDouble
    kCfgTypeBinary = 5
};

class DRUTILS_API Config {
public:
    virtual ~Config();

    // ---- start and end ----
    // Creates the configuration object (over the current user's store) unless
    // there is one, with environment-variable expansion on and the expansion of
    // expandable registry strings as getREGEXPAND() says.
    static void initBase();
    // Fills the product path and the version and language bases, once.
    static void initPaths();
    // Recomputes the profile bases from the current profile name.
    static void updatePaths();
    // Sets the current profile (an empty name takes the one the store names, see
    // profileNameFromRegistry), runs initBase, initPaths, updatePaths, and removes
    // the entry "MassPropAccuracy" of kCfgConfig unless it holds an integer.
    static void initProfile(const OdString& name = OdString());
    // Deletes the configuration object; the paths stay.
    static void unInitConfig();
    // Writes reach the store at once; true unless there is no object.
    static bool flush();

    // ---- tests ----
    // path is relative to the product key ("V17x64/en_US"); a leading "/" is allowed.
    static bool hasGroup(const OdString& path);
    static bool hasGroup(ECfgGroup group);
    static bool hasGroup(ECfgGroup group, const OdString& sub);
    static bool hasEntry(ECfgGroup group, const OdString& key);
    static ECfgType entryType(ECfgGroup group, const OdString& key);

    // ---- reads: true only when the entry exists and parses ----
    static bool read(ECfgGroup group, const OdString& key, bool& value);
    // The stored number narrowed to a short.
    static bool read(ECfgGroup group, const OdString& key, short& value);
    static bool read(ECfgGroup group, const OdString& key, long& value);
    static bool read(ECfgGroup group, const OdString& key, OdString& value);
    static bool read(ECfgGroup group, const OdString& key, double& value);
    // Points and rectangles are stored as "x,y" and "x,y,width,height" texts;
    // each part is read as a leading decimal integer (other text gives 0); a text
    // without "," does not read.
    static bool read(ECfgGroup group, const OdString& key, tagPOINT& value);
    // right = left + width, bottom = top + height.
    static bool read(ECfgGroup group, const OdString& key, tagRECT& value);
    static bool read(ECfgGroup group, const OdString& key, wxRect& value);
    static bool read(ECfgGroup group, const OdString& key, wxPoint& value);
    static bool read(ECfgGroup group, const OdString& key, wxSize& value);
    // "%g,%g" and "%g,%g,%g" texts; every part must be a number.
    static bool read(ECfgGroup group, const OdString& key, OdGePoint2d& value);
    static bool read(ECfgGroup group, const OdString& key, OdGePoint3d& value);
    static bool read(ECfgGroup group, const OdString& key, wxMemoryBuffer& value);
    // By full path below the product key ("/V17x64/en_US/Setup/Key").
    static bool read(const OdString& path, long& value);
    static bool read(const OdString& path, double& value);
    static bool read(const OdString& path, wxMemoryBuffer& value);
    static bool read(const OdString& path, OdString& value);

    // ---- writes ----
    // Integers (writeBool, writeShort, writeLong, by group and by path) are stored
    // as the registry's 32-bit numbers (REG_DWORD), as on Windows, where long has
    // 32 bits. A long outside -2147483648..2147483647 is refused: false, nothing
    // written, and a log line naming the entry (a DWORD reads back sign-extended,
    // so even 2147483648..4294967295 would not come back as written).
    static bool writeBool(ECfgGroup group, const OdString& key, bool value);
    static bool writeShort(ECfgGroup group, const OdString& key, short value);
    static bool writeLong(ECfgGroup group, const OdString& key, long value);
    static bool writeString(ECfgGroup group, const OdString& key, const OdString& value);
    static bool writeDouble(ECfgGroup group, const OdString& key, double value);
    static bool writeSize(ECfgGroup group, const OdString& key, const wxSize& value);
    // Stored as position and size: "left,top,right-left,bottom-top".
    static bool writeRect(ECfgGroup group, const OdString& key, const tagRECT& value);
    static bool writeRect(ECfgGroup group, const OdString& key, const wxRect& value);
    static bool writePoint(ECfgGroup group, const OdString& key, const OdGePoint2d& value);
    static bool writePoint(ECfgGroup group, const OdString& key, const OdGePoint3d& value);
    static bool writeBinary(ECfgGroup group, const OdString& key, const wxMemoryBuffer& value);
    static bool writeLong(const OdString& path, long value);
    static bool writeDouble(const OdString& path, double value);
    static bool writeBinary(const OdString& path, const wxMemoryBuffer& value);
    static bool writeString(const OdString& path, const OdString& value);

    // ---- structure ----
    // Deleting a group removes its key with everything below it.
    static bool deleteGroup(ECfgGroup group);
    static bool deleteGroup(ECfgGroup group, const OdString& sub);
    static bool deleteEntry(ECfgGroup group, const OdString& key);
    // Gives the group's own key another name (within its parent).
    static bool renameGroup(ECfgGroup group, const OdString& newName);
    static bool renameGroup(ECfgGroup group, const OdString& oldName, const OdString& newName);
    static bool renameEntry(ECfgGroup group, const OdString& oldName, const OdString& newName);
    // Names of the groups (keys) or entries (values) directly inside the group,
    // or inside its sub-group sub; false when the group does not exist.
    static bool listGroups(ECfgGroup group, OdArray<OdString>& names);
    static bool listGroups(ECfgGroup group, const OdString& sub, OdArray<OdString>& names);
    static bool listEntries(ECfgGroup group, OdArray<OdString>& names);
    static bool listEntries(ECfgGroup group, const OdString& sub, OdArray<OdString>& names);
    static int countGroups(ECfgGroup group);
    static int countEntries(ECfgGroup group);
    // Copies the sub-key from of the group's key, with its values and keys below
    // it, to the sub-key to, value by value and kind by kind; a value of a kind
    // that has no place in the configuration (multi-strings, unknown kinds)
    // arrives as the string "{{Unknown type: N}}" with its registry type number.
    // Values already at the target are replaced, others there are kept. With
    // replace false an existing target is refused.
    static bool copyGroup(ECfgGroup group, const OdString& from, const OdString& to, bool replace);
    // copyGroup(kCfgProfiles, from, to, true).
    static bool copyProfile(const OdString& from, const OdString& to);

    // ---- registry files ("Windows Registry Editor Version 5.00") ----
    // Writes the group at groupPath (relative to the product key, beginning with
    // the version key "V...") with everything below it. Failures are logged when
    // report is set. An existing file is replaced only once the new one is
    // complete.
    static bool exportGroup(const OdString& groupPath, const OdString& fileName, bool report = true);
    static bool exportGroup(ECfgGroup group, const OdString& fileName, bool report = true);
    // Exports the profile's key with environment-variable expansion switched off,
    // so that values are written as stored.
    static bool exportProfile(const OdString& profile, const OdString& fileName, bool report = true);
    // Imports the keys of the file that lie below the product key and below a
    // version key; each lands below the current language's key from its
    // "Profiles" part on, whatever version and language the file came from. Bad
    // lines are skipped; values before a break in the file stay imported. Files
    // in UTF-8 or UTF-16 (with a byte-order mark) and in the ANSI code page are
    // read, with CR LF or LF line ends.
    static bool import(const OdString& fileName, bool report = true);

    // ---- paths ----
    // keyPath(group) + sub; empty for an unknown group.
    static OdString keyPath(ECfgGroup group, const OdString& sub);
    // The group's key in registry form without trailing separator
    // ("Software\Corvane\Draftium\V17x64\en_US\Setup"), after "HKEY_CURRENT_USER\"
    // when withRoot is set.
    static OdString regPath(ECfgGroup group, bool withRoot);
    // 0 and 3: "\", 1: the native path separator, 2 and anything else: "/".
    static OdString separator(ECfgPathType type);
    // Forms 0 and 3 "Software\Corvane", 1 "Corvane", 2 "".
    static OdString companyRoot(ECfgPathType type);
    static OdString productRoot(ECfgPathType type);
    static OdString versionRoot(ECfgPathType type);
    static OdString languageRoot(ECfgPathType type);
    static OdString profilesRoot(ECfgPathType type);
    // Empty while no profile is current.
    static OdString currentProfileRoot(ECfgPathType type);
    // Beside the product, below the maker's key: "...\Draftium Communicator\V17x64".
    static OdString communicatorRoot(ECfgPathType type);

    // ---- identity ----
    static OdString userName();
    static OdString currentProfileName();
    // The one-time override (the default value of the profiles key) if it is a
    // non-empty string, else the value "CurProfile" there; empty (and no profile
    // counted as created) when neither names one.
    static OdString profileNameFromRegistry();
    // Writes name as "CurProfile" of kCfgProfiles and clears the one-time
    // override; refused for an empty name. The bases follow after updatePaths.
    static bool setCurProfileName(const OdString& name);
    static bool isAnyProfileCreated();
    // The language: "CURVER" at the version key when the executable's folder
    // holds a folder of that name; else the first folder there (in byte order)
    // named like a language, two lower-case letters, "_", two upper-case letters
    // ("de_DE"); else "en_US". Computed once per process.
    static OdString currentLanguage();
    // The boolean "REGEXPAND" of the current profile's Config key; true when absent.
    static bool getREGEXPAND();

    // ---- window places ----
    // These and checkWindowPosition move windows and ask the displays: they are
    // in the printing library (drutils::print), which links the toolkit's GUI
    // library; everything else here is in the base library.
    // Read from "rect/<name>" of kCfgWindows; the window is placed only when a
    // stored rectangle was read and passes checkWindowPosition, else it gets the
    // default size (when one is given).
    static bool loadWindowRect(wxWindow* window, const wxSize& defaultSize);
    static bool loadWindowRect(wxWindow* window);
    // A rectangle of zero or negative width or height is never stored.
    static bool saveWindowRect(const wxWindow* window);
    // The same in kCfgLanguageWindows.
    static bool loadWindowRectOutsideProfiles(wxWindow* window, const wxSize& defaultSize = wxDefaultSize);
    static bool saveWindowRectOutsideProfiles(const wxWindow* window);
    // "pos/<name>" of kCfgWindows.
    static bool loadWindowPos(wxWindow* window, const wxPoint& defaultPos);
    static bool loadWindowPos(wxWindow* window);
    static bool saveWindowPos(const wxWindow* window);

protected:
    static OdString keyPath(ECfgGroup group);
    static OdString currentVersion();
    // False for the toolkit's default position; otherwise moves the rectangle so
    // that its top edge lies on a display (and shrinks it to fit one) and says true.
    static bool checkWindowPosition(wxRect& rect);

    static wxConfigBase* s_pConfigBase;
    static OdString s_currentLanguage;
    static OdString s_currentProfileName;
    static bool s_noCreatedProfiles;
    // "Software/Corvane/Draftium", and the bases every group's key path begins
    // with: version "/V17x64/", language "/V17x64/en_US/", profile
    // "/V17x64/en_US/Profiles/<name>/" and profile-config (profile + "Config/").
    static OdString s_productPath;
    static OdString s_versionBase;
    static OdString s_languageBase;
    static OdString s_profileBase;
    static OdString s_profileConfigBase;
};

// For callers that hold a configuration store of their own: the group and entry
// operations of Config on paths relative to the store's root.
class DRUTILS_API ConfigBase {
public:
    // The key "Software\<vendorName>\<appName>" of the current user's store.
    ConfigBase(const OdString& appName, const OdString& vendorName);
    // Takes ownership of the caller's configuration object (null: not inited).
    explicit ConfigBase(wxConfigBase* config);
    virtual ~ConfigBase();
    ConfigBase(const ConfigBase&) = delete;
    ConfigBase& operator=(const ConfigBase&) = delete;

    bool isInited() const { return m_config != nullptr; }
    wxConfigBase* config() const { return m_config; }

    bool hasGroup(const OdString& path) const;
    bool hasEntry(const OdString& path) const;
    bool read(const OdString& path, bool& value) const;
    bool read(const OdString& path, long& value) const;
    bool read(const OdString& path, OdString& value) const;
    bool writeBool(const OdString& path, bool value);
    // As Config::writeLong: a value beyond 32 bits is refused and logged.
    bool writeLong(const OdString& path, long value);
    bool writeString(const OdString& path, const OdString& value);
    bool deleteGroup(const OdString& path);
    bool deleteEntry(const OdString& path);
    bool listGroups(const OdString& path, OdArray<OdString>& names) const;
    bool listEntries(const OdString& path, OdArray<OdString>& names) const;
    int countGroups(const OdString& path) const;
    int countEntries(const OdString& path) const;
    bool flush();

private:
    wxConfigBase* m_config = nullptr;
};

// Start-up entry: Config::initProfile() with the profile the store names.
DRUTILS_API void initConfig();

// ---- wxString forms for toolkit callers ----
// The entry's text; empty when it is missing.
DRUTILS_API wxString getString(ECfgGroup group, const wxString& key);
DRUTILS_API bool setString(ECfgGroup group, const wxString& key, const wxString& value);
DRUTILS_API wxString getCurrentLanguageCode();

// ---- profiles: each works on kCfgProfiles ----
// Fills names with the profiles' names; their number, 0 when the list fails.
DRUTILS_API int getProfileNames(wxArrayString& names);
DRUTILS_API wxString getCurrentProfileName();
DRUTILS_API bool setCurrentProfileName(const wxString& name);
// The profile key's default value, or when that is empty its "Description".
DRUTILS_API wxString getProfileDescription(const wxString& name);
// Writes an empty default value, then text as "Description"; the second
// write's result.
DRUTILS_API bool setProfileDescription(const wxString& name, const wxString& text);
DRUTILS_API bool profileExists(const wxString& name);
DRUTILS_API bool renameProfile(const wxString& oldName, const wxString& newName);
// Copies copyFrom (when given) to name first; then setProfileDescription.
DRUTILS_API bool createProfile(const wxString& name, const wxString& text, const wxString& copyFrom);
DRUTILS_API bool deleteProfile(const wxString& name);
// The profile name (and description, when asked) that a registry file holds:
// from the first key line below this installation's profiles key.
DRUTILS_API bool getProfileNameFromFile(const wxString& file, wxString& name, wxString* text);
// Copies the registry file src to dst with newName in place of the profile
// name in every key line below this installation's profiles key. The last line
// of src is copied as it is.
DRUTILS_API bool replaceProfileName(const wxString& src, const wxString& dst, const wxString& newName);
DRUTILS_API bool exportProfile(const wxString& name, const wxString& file);
// Imports a profile file, under newName (when given) and with the description
// text (when both are given). A temporary copy made for the new name is removed
// whatever happens.
DRUTILS_API bool importProfile(const wxString& file, const wxString* newName, const wxString* text);

} // namespace ut
