// The settings store and ut::Config: the store's contract (paths, kinds, case
// rules, deletion, renaming) over the toolkit's configuration interface, the key
// paths of every group, the stored text formats, window places, the store's
// failures, and several processes sharing one store.
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <map>
#include <spawn.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>
#include <wx/config.h>

#include "store_fixture.h"
#include "config/ut_config_internal.h"
#include "ut_filename.h"
#include "config/ut_regconfig.h"

extern char** environ;

using namespace testing_support;
using ut::platform::RegValue;

namespace {

// ---- the store's contract --------------------------------------------------------

// A backend of the contract: a configuration object over a fresh store in dir,
// and a way to put in an expandable string (a kind the toolkit cannot write).
struct Backend {
    const char* name;
    std::function<std::unique_ptr<wxConfigBase>(const std::string& dir)> open;
    std::function<bool(wxConfigBase&, const wxString& key, const wxString& text)> writeExpandable;
};

const Backend kSqlite{
    "sqlite",
    [](const std::string& dir) -> std::unique_ptr<wxConfigBase> {
        auto store = ut::platform::RegStore::get(dir + "/registry.db");
        return std::make_unique<ut::RegConfig>(store, ut::platform::RegKeyPath(ut::platform::kCurrentUser,
                                                                               L"Software\\Corvane\\Contract"));
    },
    [](wxConfigBase& c, const wxString& key, const wxString& text) {
        return static_cast<ut::RegConfig&>(c).WriteRaw(
            key, RegValue::string(text.ToStdWstring(), ut::platform::kRegExpandSz));
    }};

class StoreContract : public ::testing::TestWithParam<Backend> {
protected:
    void SetUp() override { config = GetParam().open(dir.path()); }
    std::vector<wxString> groups() {
        std::vector<wxString> out;
        wxString name;
        long i;
        for (bool more = config->GetFirstGroup(name, i); more; more = config->GetNextGroup(name, i))
            out.push_back(name);
        return out;
    }
    std::vector<wxString> entries() {
        std::vector<wxString> out;
        wxString name;
        long i;
        for (bool more = config->GetFirstEntry(name, i); more; more = config->GetNextEntry(name, i))
            out.push_back(name);
        return out;
    }
    wxString text(const wxString& key) {
        wxString s;
        return config->Read(key, &s) ? s : wxString("<none>");
    }

    TempDir dir;
    std::unique_ptr<wxConfigBase> config;
};

TEST_P(StoreContract, PathsResolveLikeTheToolkitsConfigurations) {
    ASSERT_TRUE(config->Write("/a/b/c/value", "deep"));

    // Relative and absolute entry names, "." and "..", and a backslash as separator.
    config->SetPath("/a/b");
    EXPECT_EQ(config->GetPath(), "/a/b");
    EXPECT_EQ(text("c/value"), "deep");
    EXPECT_EQ(text("/a/b/c/value"), "deep");
    EXPECT_EQ(text("../b/./c/value"), "deep");
    EXPECT_EQ(text("c\\value"), "<none>") << "a backslash in an entry's own name is part of the name";
    config->SetPath("c\\..\\c");
    EXPECT_EQ(config->GetPath(), "/a/b/c");
    EXPECT_EQ(text("/a/b/c/value"), "deep");
    EXPECT_EQ(config->GetPath(), "/a/b/c") << "an entry path with a group does not move the current path";

    // ".." never climbs above the root; the root is "".
    config->SetPath("/../../a");
    EXPECT_EQ(config->GetPath(), "/a");
    config->SetPath("");
    EXPECT_EQ(config->GetPath(), "");

    // Groups exist once something is written below them; SetPath creates nothing.
    config->SetPath("/nowhere/at/all");
    EXPECT_FALSE(config->HasGroup("/nowhere"));
    EXPECT_TRUE(config->HasGroup("/a/b"));
    EXPECT_TRUE(config->HasGroup("/a/b/"));
    EXPECT_TRUE(config->HasEntry("/a/b/c/value"));
    EXPECT_FALSE(config->HasEntry("/a/b/c"));
}

TEST_P(StoreContract, AMissingGroupStaysMissingWhenItsParentAppears) {
    // the same entry asked for before and after its parent group was made
    ASSERT_TRUE(config->Write("/present", 1L));
    EXPECT_EQ(text("/A/B/C/v"), "<none>");
    ASSERT_TRUE(config->Write("/A/v", "parent's"));
    ASSERT_TRUE(config->Write("/A/X/w", 1L));
    EXPECT_EQ(text("/A/B/C/v"), "<none>");
    EXPECT_FALSE(config->HasGroup("/A/B/C"));
    ASSERT_TRUE(config->Write("/A/B/C/v", "own"));
    EXPECT_EQ(text("/A/B/C/v"), "own");
    EXPECT_EQ(text("/A/v"), "parent's");
}

TEST_P(StoreContract, EveryKindReadsBackAsWritten) {
    // integers, booleans, strings, doubles and binary values, with their entry types
    wxMemoryBuffer blob;
    const char raw[] = {'\0', '\x01', '\xff', 'z', '\0'};
    blob.AppendData(raw, sizeof raw);
    ASSERT_TRUE(config->Write("int", -7L));
    ASSERT_TRUE(config->Write("big", 5000000000L));
    ASSERT_TRUE(config->Write("flag", true));
    ASSERT_TRUE(config->Write("text", wxString(L"Zeile \u00e4\U0001F600 \"q\" \\")));
    ASSERT_TRUE(config->Write("real", 0.1));
    ASSERT_TRUE(config->Write("tiny", 1e-300));
    ASSERT_TRUE(config->Write("blob", blob));
    ASSERT_TRUE(config->Write("empty", wxMemoryBuffer()));

    long l = 0;
    EXPECT_TRUE(config->Read("int", &l) && l == -7);
    EXPECT_TRUE(config->Read("big", &l) && l == 5000000000L);
    bool b = false;
    EXPECT_TRUE(config->Read("flag", &b) && b);
    EXPECT_EQ(text("text"), wxString(L"Zeile \u00e4\U0001F600 \"q\" \\"));
    double d = 0;
    EXPECT_TRUE(config->Read("real", &d) && d == 0.1) << "doubles are stored so that they read back exactly";
    EXPECT_TRUE(config->Read("tiny", &d) && d == 1e-300);
    wxMemoryBuffer back;
    EXPECT_TRUE(config->Read("blob", &back));
    EXPECT_EQ(std::string(static_cast<const char*>(back.GetData()), back.GetDataLen()), std::string(raw, sizeof raw));
    EXPECT_TRUE(config->Read("empty", &back));
    EXPECT_EQ(back.GetDataLen(), 0u);

    EXPECT_EQ(config->GetEntryType("int"), wxConfigBase::Type_Integer);
    EXPECT_EQ(config->GetEntryType("flag"), wxConfigBase::Type_Integer);
    EXPECT_EQ(config->GetEntryType("text"), wxConfigBase::Type_String);
    EXPECT_EQ(config->GetEntryType("real"), wxConfigBase::Type_Float);
    EXPECT_EQ(config->GetEntryType("missing"), wxConfigBase::Type_Unknown);

    // across kinds: a number reads as text; text reads as a number only when it is one
    EXPECT_EQ(text("int"), "-7");
    ASSERT_TRUE(config->Write("numeric text", "42"));
    ASSERT_TRUE(config->Write("word", "forty"));
    EXPECT_TRUE(config->Read("numeric text", &l) && l == 42);
    l = 99;
    EXPECT_FALSE(config->Read("word", &l));
    EXPECT_EQ(l, 99);
    EXPECT_FALSE(config->Read("text", &back)) << "a string is not binary";
    EXPECT_EQ(text("blob"), "<none>") << "binary is not a string";
}

TEST_P(StoreContract, NamesIgnoreCaseAndKeepTheirs) {
    ASSERT_TRUE(config->Write("/Group/Value", "one"));
    ASSERT_TRUE(config->Write(L"/\u00c4pfel/\u00dcber", "umlaut"));

    // any case finds the entry; an overwrite keeps the first spelling
    EXPECT_EQ(text("/GROUP/value"), "one");
    EXPECT_EQ(text(L"/\u00e4PFEL/\u00fcBER"), "umlaut") << "non-ASCII letters fold too";
    ASSERT_TRUE(config->Write("/group/VALUE", "two"));
    EXPECT_EQ(text("/Group/Value"), "two");
    config->SetPath("/gRoUp");
    EXPECT_EQ(entries(), std::vector<wxString>{"Value"});
    config->SetPath("/");
    EXPECT_EQ(groups(), (std::vector<wxString>{"Group", L"\u00c4pfel"}));

    // folding is character by character: "ß" is not "SS"
    ASSERT_TRUE(config->Write(L"/s/stra\u00dfe", "1"));
    EXPECT_FALSE(config->HasEntry("/s/STRASSE"));
    EXPECT_TRUE(config->HasEntry(L"/s/STRA\u00dfE"));
}

TEST_P(StoreContract, DeletingRemovesWhatIsBelow) {
    ASSERT_TRUE(config->Write("/keep/x", 1L));
    ASSERT_TRUE(config->Write("/drop/a/b/c", 1L));
    ASSERT_TRUE(config->Write("/drop/v", 1L));
    ASSERT_TRUE(config->Write("/lonely/only", 1L));
    ASSERT_TRUE(config->Write("/pair/one", 1L));
    ASSERT_TRUE(config->Write("/pair/two", 1L));

    EXPECT_TRUE(config->DeleteGroup("/DROP/"));
    EXPECT_FALSE(config->HasGroup("/drop"));
    EXPECT_FALSE(config->HasGroup("/drop/a/b"));
    EXPECT_FALSE(config->DeleteGroup("/drop")) << "nothing left to delete";
    EXPECT_TRUE(config->HasEntry("/keep/x"));

    // the last entry takes its group along, unless asked not to
    EXPECT_TRUE(config->DeleteEntry("/lonely/only"));
    EXPECT_FALSE(config->HasGroup("/lonely"));
    EXPECT_TRUE(config->DeleteEntry("/pair/one", false));
    EXPECT_TRUE(config->DeleteEntry("/pair/two", false));
    EXPECT_TRUE(config->HasGroup("/pair"));
    EXPECT_FALSE(config->DeleteEntry("/pair/two"));

    EXPECT_TRUE(config->DeleteAll());
    EXPECT_FALSE(config->HasGroup("/keep"));
    EXPECT_TRUE(config->Write("/again", 1L)) << "the store is usable after DeleteAll";
}

TEST_P(StoreContract, RenamingMovesEverythingAndRefusesTakenNames) {
    ASSERT_TRUE(config->Write("/old/sub/v", "deep"));
    ASSERT_TRUE(config->Write("/old/w", 2L));
    ASSERT_TRUE(config->Write("/taken/x", 1L));

    config->SetPath("/");
    EXPECT_FALSE(config->RenameGroup("old", "TAKEN"));
    EXPECT_FALSE(config->RenameGroup("missing", "new"));
    EXPECT_TRUE(config->RenameGroup("old", "new"));
    EXPECT_EQ(text("/new/sub/v"), "deep");
    EXPECT_FALSE(config->HasGroup("/old"));
    EXPECT_TRUE(config->RenameGroup("new", "NEW")) << "a change of case alone";
    EXPECT_EQ(groups(), (std::vector<wxString>{"NEW", "taken"}));

    config->SetPath("/NEW");
    ASSERT_TRUE(config->Write("other", 3L));
    EXPECT_FALSE(config->RenameEntry("w", "OTHER"));
    EXPECT_TRUE(config->RenameEntry("w", "renamed"));
    long l = 0;
    EXPECT_TRUE(config->Read("renamed", &l) && l == 2);
    EXPECT_EQ(entries(), (std::vector<wxString>{"renamed", "other"})) << "a renamed entry keeps its place";
}

TEST_P(StoreContract, EnumerationOrderAndCounts) {
    for (const char* g : {"b", "C", "a"})
        ASSERT_TRUE(config->Write(wxString("/") + g + "/x", 1L));
    ASSERT_TRUE(config->Write("/a/deeper/y", 1L));
    for (const char* e : {"zeta", "Alpha", "mid"})
        ASSERT_TRUE(config->Write(wxString("/") + e, 1L));

    config->SetPath("/");
    EXPECT_EQ(groups(), (std::vector<wxString>{"a", "b", "C"})) << "groups in name order, case aside";
    EXPECT_EQ(entries(), (std::vector<wxString>{"zeta", "Alpha", "mid"})) << "entries in the order they came";
    EXPECT_EQ(config->GetNumberOfGroups(), 3u);
    EXPECT_EQ(config->GetNumberOfGroups(true), 4u);
    EXPECT_EQ(config->GetNumberOfEntries(), 3u);
    EXPECT_EQ(config->GetNumberOfEntries(true), 7u);
}

TEST_P(StoreContract, EnvironmentVariablesExpandWhenAsked) {
    ::setenv("DRUTILS_TEST_DIR", "/srv/cad", 1);
    ASSERT_TRUE(config->Write("plain", "$DRUTILS_TEST_DIR/x"));
    ASSERT_TRUE(GetParam().writeExpandable(*config, "expandable", "%DRUTILS_TEST_DIR%\\x %UNSET_DRUTILS_VAR%"));

    config->SetExpandEnvVars(true);
    EXPECT_EQ(text("plain"), "/srv/cad/x");
    EXPECT_EQ(text("expandable"), "/srv/cad\\x %UNSET_DRUTILS_VAR%");
    config->SetExpandEnvVars(false);
    EXPECT_EQ(text("plain"), "$DRUTILS_TEST_DIR/x");
    EXPECT_EQ(config->GetEntryType("expandable"), wxConfigBase::Type_String);
    ::unsetenv("DRUTILS_TEST_DIR");
}

TEST_P(StoreContract, AnotherObjectOnTheSameStoreSeesTheWrites) {
    auto second = GetParam().open(dir.path());
    ASSERT_TRUE(config->Write("/shared/v", 1L));
    long l = 0;
    EXPECT_TRUE(second->Read("/shared/v", &l) && l == 1);
    ASSERT_TRUE(second->Write("/shared/v", 2L));
    EXPECT_TRUE(config->Read("/shared/v", &l) && l == 2);
    ASSERT_TRUE(second->DeleteGroup("/shared"));
    EXPECT_FALSE(config->HasEntry("/shared/v"));
}

INSTANTIATE_TEST_SUITE_P(Backends, StoreContract, ::testing::Values(kSqlite),
                         [](const auto& info) { return std::string(info.param.name); });

// ---- the SQLite store itself --------------------------------------------------------

TEST(RegStore, RefusesWhatItCouldNotGiveBack) {
    TempDir dir;
    LogCapture log;
    auto store = ut::platform::RegStore::get(dir.file("registry.db"));
    const ut::platform::RegKeyPath key(ut::platform::kCurrentUser, L"Software\\Limits");
    // too large, a key name too long, a character outside Unicode: refused and logged
    EXPECT_EQ(store->setValue(key, L"big", RegValue::binary(std::string((16u << 20) + 1, 'x'))),
              ut::platform::RegStatus::TooLarge);
    EXPECT_EQ(store->setValue(ut::platform::RegKeyPath(1, std::wstring(256, L'k')), L"v", RegValue::dword(1)),
              ut::platform::RegStatus::Invalid);
    EXPECT_EQ(store->setValue(key, L"odd", RegValue::string(std::wstring(1, wchar_t(0x110000)))),
              ut::platform::RegStatus::Invalid);
    EXPECT_TRUE(log.contains(dir.file("registry.db")));
    // a lone surrogate (a stand-in for an undecodable file-name byte) comes back as it went in
    const std::wstring odd = std::wstring(L"a") + wchar_t(0xDC80) + L"b";
    ASSERT_EQ(store->setValue(key, L"surrogate", RegValue::string(odd)), ut::platform::RegStatus::Ok);
    RegValue back;
    ut::platform::RegStore::get(dir.file("registry.db"))->getValue(key, L"SURROGATE", back);
    EXPECT_EQ(back.text, odd);
    std::string report;
    EXPECT_EQ(store->checkIntegrity(report), ut::platform::RegStatus::Ok) << report;
}

TEST(RegStore, FolderAndPermissionsOfANewStore) {
    TempDir dir;
    const std::string db = dir.file("deep/er/registry.db");
    auto store = ut::platform::RegStore::get(db);
    ASSERT_EQ(store->createKey(ut::platform::RegKeyPath(1, L"Software")), ut::platform::RegStatus::Ok);
    struct stat st;
    ASSERT_EQ(::stat(dir.file("deep").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0700u) << "the folders made for the store are the user's alone";
    // The path rules: DRUTILS_REGISTRY_DB, else XDG_CONFIG_HOME, else HOME.
    const char* saved = std::getenv("DRUTILS_REGISTRY_DB");
    const std::string keep = saved ? saved : "";
    ::unsetenv("DRUTILS_REGISTRY_DB");
    ::setenv("XDG_CONFIG_HOME", "/cfg", 1);
    EXPECT_EQ(ut::platform::RegStore::currentUserPath(), "/cfg/Corvane/registry.db");
    ::setenv("XDG_CONFIG_HOME", "relative", 1);
    ::setenv("HOME", "/home/u", 1);
    EXPECT_EQ(ut::platform::RegStore::currentUserPath(), "/home/u/.config/Corvane/registry.db");
    ::setenv("DRUTILS_REGISTRY_DB", "/x/y.db", 1);
    EXPECT_EQ(ut::platform::RegStore::currentUserPath(), "/x/y.db");
    ::unsetenv("XDG_CONFIG_HOME");
    if (saved)
        ::setenv("DRUTILS_REGISTRY_DB", keep.c_str(), 1);
    else
        ::unsetenv("DRUTILS_REGISTRY_DB");
}

TEST(RegStore, TheStoreAndItsCompanionsAreTheUsersAlone) {
    TempDir dir;
    const mode_t old = ::umask(022);
    {
        auto store = ut::platform::RegStore::get(dir.file("registry.db"));
        ASSERT_EQ(store->setValue(ut::platform::RegKeyPath(1, L"Software"), L"v", RegValue::dword(1)),
                  ut::platform::RegStatus::Ok);
        // While the store is open its write-ahead log and shared memory exist too.
        for (const std::string& name : dir.entries()) {
            struct stat st;
            ASSERT_EQ(::stat(dir.file(name).c_str(), &st), 0);
            EXPECT_EQ(st.st_mode & 0777, 0600u) << name;
        }
        EXPECT_GE(dir.entries().size(), 3u);
    }
    ::umask(old);
}

TEST(RegStore, AChangeIsSeenThroughEveryNameOfTheFile) {
    TempDir dir;
    const std::string real = dir.file("registry.db"), link = dir.file("link.db");
    ASSERT_EQ(::symlink("registry.db", link.c_str()), 0);
    const ut::platform::RegKeyPath key(1, L"Software\\Corvane\\Draftium\\V17x64\\en_US\\Setup");
    auto viaLink = ut::platform::RegStore::get(link);
    EXPECT_EQ(viaLink, ut::platform::RegStore::get(dir.path() + "/./registry.db")) << "one object per file";
    ASSERT_EQ(viaLink->setValue(key, L"k", RegValue::string(L"old")), ut::platform::RegStatus::Ok);
    RegValue v;
    ASSERT_EQ(viaLink->getValue(key, L"k", v), ut::platform::RegStatus::Ok);
    // Another process writes through the file's own name; the cached value must
    // not outlive it (well inside the second after which the cache is checked anyway).
    ::setenv("DRUTILS_REGISTRY_DB", real.c_str(), 1);
    ASSERT_EQ(runTool({"config", "set", "Setup", "k", "new"}), 0);
    ::unsetenv("DRUTILS_REGISTRY_DB");
    ASSERT_EQ(viaLink->getValue(key, L"k", v), ut::platform::RegStatus::Ok);
    EXPECT_EQ(v.text, L"new");
}

// ---- ut::Config: key paths ------------------------------------------------------------

class ConfigPaths : public StoreTest {};

TEST_F(ConfigPaths, EveryGroupAtEveryLevelWithAndWithoutAProfile) {
    struct Row {
        ut::ECfgGroup group;
        const wchar_t* withProfile; // the current profile is "Work"
        const wchar_t* without;
    };
    const Row rows[] = {
        {ut::kCfgProduct, L"/", L"/"},
        {ut::kCfgVersion, L"/V17x64/", L"/V17x64/"},
        {ut::kCfgLanguage, L"/V17x64/en_US/", L"/V17x64/en_US/"},
        {ut::kCfgProfile, L"/V17x64/en_US/Profiles/Work/", L"/"},
        {ut::kCfgAddins, L"/V17x64/en_US/Addins/", L"/V17x64/en_US/Addins/"},
        {ut::kCfgApplications, L"/V17x64/en_US/Applications/", L"/V17x64/en_US/Applications/"},
        {ut::kCfgConfig, L"/V17x64/en_US/Profiles/Work/Config/", L"/Config/"},
        {ut::kCfgDialogs, L"/V17x64/en_US/Profiles/Work/Dialogs/", L"/Dialogs/"},
        {ut::kCfgEnvironment, L"/V17x64/en_US/Environment/", L"/V17x64/en_US/Environment/"},
        {ut::kCfgETransmit, L"/V17x64/en_US/eTransmit/Standard/", L"/V17x64/en_US/eTransmit/Standard/"},
        {ut::kCfgMenus, L"/V17x64/en_US/Profiles/Work/Menus/", L"/Menus/"},
        {ut::kCfgMLeader, L"/V17x64/en_US/Profiles/Work/MLeader/", L"/MLeader/"},
        {ut::kCfgPlot, L"/V17x64/en_US/Profiles/Work/Config/Plot/", L"/Config/Plot/"},
        {ut::kCfgProfiles, L"/V17x64/en_US/Profiles/", L"/V17x64/en_US/Profiles/"},
        {ut::kCfgProjectSettings, L"/V17x64/en_US/Profiles/Work/Project Settings/", L"/Project Settings/"},
        {ut::kCfgRecentPaths, L"/V17x64/en_US/Profiles/Work/Recent Paths/", L"/Recent Paths/"},
        {ut::kCfgSettings, L"/V17x64/en_US/Settings/", L"/V17x64/en_US/Settings/"},
        {ut::kCfgSetup, L"/V17x64/en_US/Setup/", L"/V17x64/en_US/Setup/"},
        {ut::kCfgStatusBar, L"/V17x64/en_US/Profiles/Work/StatusBar/", L"/StatusBar/"},
        {ut::kCfgTablet, L"/V17x64/en_US/Profiles/Work/Config/Tablet/", L"/Config/Tablet/"},
        {ut::kCfgTest, L"/V17x64/en_US/TEST/", L"/V17x64/en_US/TEST/"},
        {ut::kCfgToolbars, L"/V17x64/en_US/Profiles/Work/Toolbars/", L"/Toolbars/"},
        {ut::kCfgTPSettings, L"/V17x64/en_US/Profiles/Work/TPSettings/", L"/TPSettings/"},
        {ut::kCfgUser, L"/V17x64/en_US/User/", L"/V17x64/en_US/User/"},
        {ut::kCfgWindows, L"/V17x64/en_US/Profiles/Work/Windows/", L"/Windows/"},
        {ut::kCfgWorksets, L"/V17x64/en_US/Profiles/Work/Worksets/", L"/Worksets/"},
        {ut::kCfgQuad, L"/V17x64/en_US/Profiles/Work/Quad/", L"/Quad/"},
        {ut::kCfgPropertiesBar, L"/V17x64/en_US/Profiles/Work/Properties Bar/", L"/Properties Bar/"},
        {ut::kCfg3dMouseMenu, L"/V17x64/en_US/Profiles/Work/3dMouseMenu/", L"/3dMouseMenu/"},
        {ut::kCfgTipContext, L"/V17x64/en_US/Profiles/Work/TipContext/", L"/TipContext/"},
        {ut::kCfgMapConnections, L"/V17x64/en_US/Profiles/Work/Map Connections/", L"/Map Connections/"},
        {ut::kCfgLanguageWindows, L"/V17x64/en_US/Windows/", L"/V17x64/en_US/Windows/"},
    };
    ut::Config::initProfile(L"Work");
    for (const auto& r : rows)
        EXPECT_EQ(U(ConfigState::path(r.group)), U(r.withProfile)) << "group " << int(r.group);
    ConfigState::reset();
    ut::Config::initProfile();
    EXPECT_TRUE(ut::Config::currentProfileName().isEmpty());
    for (const auto& r : rows)
        EXPECT_EQ(U(ConfigState::path(r.group)), U(r.without)) << "group " << int(r.group);

    // A value written at a profile-level group lands where the path says.
    ASSERT_TRUE(ut::Config::writeLong(ut::kCfgWindows, L"x", 1));
    EXPECT_EQ(raw(L"Windows", L"x").number, 1);
}

TEST_F(ConfigPaths, UnknownGroupsGiveNothingAndSaySo) {
    LogCapture log;
    for (int g : {32, -1, 1000}) {
        EXPECT_TRUE(ut::Config::keyPath(ut::ECfgGroup(g), L"k").isEmpty());
        EXPECT_FALSE(ut::Config::writeLong(ut::ECfgGroup(g), L"k", 1));
        long v = 5;
        EXPECT_FALSE(ut::Config::read(ut::ECfgGroup(g), L"k", v));
        EXPECT_EQ(v, 5);
    }
    ASSERT_FALSE(log.records().empty());
    EXPECT_TRUE(log.contains("Unknown configuration group (32)"));
    EXPECT_TRUE(log.contains("Unknown configuration group (-1)"));
    EXPECT_EQ(log.records()[0].file, "src/utils/ut_config");
    EXPECT_EQ(log.records()[0].function, "ut::Config::keyPath");
}

TEST_F(ConfigPaths, RootsInEveryForm) {
    using ut::Config;
    ut::Config::initProfile(L"Work");
    const std::string native = U(ut::FileName::getPathSeparator());
    struct Row {
        ut::ECfgPathType type;
        std::string sep, company, product, version, language, profiles, profile, communicator;
    };
    const Row rows[] = {
        {ut::kCfgPathRegistry, "\\", "Software\\Corvane", "Software\\Corvane\\Draftium",
         "Software\\Corvane\\Draftium\\V17x64", "Software\\Corvane\\Draftium\\V17x64\\en_US",
         "Software\\Corvane\\Draftium\\V17x64\\en_US\\Profiles",
         "Software\\Corvane\\Draftium\\V17x64\\en_US\\Profiles\\Work",
         "Software\\Corvane\\Draftium Communicator\\V17x64"},
        {ut::kCfgPathFileSystem, native, "Corvane", "Corvane/Draftium", "Corvane/Draftium/V17x64",
         "Corvane/Draftium/V17x64/en_US", "Corvane/Draftium/V17x64/en_US/Profiles",
         "Corvane/Draftium/V17x64/en_US/Profiles/Work", "Corvane/Draftium Communicator/V17x64"},
        {ut::kCfgPathConfig, "/", "", "", "/V17x64", "/V17x64/en_US", "/V17x64/en_US/Profiles",
         "/V17x64/en_US/Profiles/Work", "/Draftium Communicator/V17x64"},
    };
    for (const auto& r : rows) {
        for (ut::ECfgPathType t : {r.type, r.type == ut::kCfgPathRegistry ? ut::kCfgPathRegistryAlt : r.type}) {
            SCOPED_TRACE(int(t));
            EXPECT_EQ(U(Config::separator(t)), r.sep);
            EXPECT_EQ(U(Config::companyRoot(t)), r.company);
            EXPECT_EQ(U(Config::productRoot(t)), r.product);
            EXPECT_EQ(U(Config::versionRoot(t)), r.version);
            EXPECT_EQ(U(Config::languageRoot(t)), r.language);
            EXPECT_EQ(U(Config::profilesRoot(t)), r.profiles);
            EXPECT_EQ(U(Config::currentProfileRoot(t)), r.profile);
            EXPECT_EQ(U(Config::communicatorRoot(t)), r.communicator);
        }
    }
    EXPECT_EQ(U(Config::regPath(ut::kCfgPlot, true)),
              "HKEY_CURRENT_USER\\Software\\Corvane\\Draftium\\V17x64\\en_US\\Profiles\\Work\\Config\\Plot");
    EXPECT_EQ(U(Config::regPath(ut::kCfgProduct, false)), "Software\\Corvane\\Draftium");
}

TEST(ConfigLanguage, CurverNeedsItsFolderElseAFolderNamedLikeALanguageElseEnglish) {
    using ut::config_detail::chooseLanguage;
    struct Row {
        const wchar_t* curver;
        std::vector<std::string> folders;
        const char* expected;
    };
    const Row rows[] = {
        {L"de_DE", {"bin", "de_DE", "fr_FR"}, "de_DE"},
        {L"de_DE", {"fr_FR", "it_IT"}, "fr_FR"},   // CURVER without its folder: the first language folder
        {L"", {"lib", "ja_JP"}, "ja_JP"},
        {L"de_DE", {}, "en_US"},
        {L"", {"DE_de", "de-DE", "deu_DE", "de_de"}, "en_US"}, // not shaped like a language
        {L"custom", {"custom"}, "custom"},                    // CURVER is taken as it is when its folder is there
    };
    for (const auto& r : rows)
        EXPECT_EQ(U(chooseLanguage(r.curver, r.folders)), r.expected) << U(r.curver);
}

// ---- ut::Config: values ------------------------------------------------------------------

class ConfigValues : public StoreTest {};

TEST_F(ConfigValues, StoredTextFormats) {
    using ut::Config;
    ut::Config::initProfile(L"P");
    const tagRECT r{10, 20, 110, 70};
    ASSERT_TRUE(Config::writeRect(ut::kCfgSetup, L"tag", r));
    ASSERT_TRUE(Config::writeRect(ut::kCfgSetup, L"wx", wxRect(-5, 6, 7, 8)));
    ASSERT_TRUE(Config::writeSize(ut::kCfgSetup, L"size", wxSize(640, 480)));
    ASSERT_TRUE(Config::writePoint(ut::kCfgSetup, L"p2", OdGePoint2d(0.1234567, -2)));
    ASSERT_TRUE(Config::writePoint(ut::kCfgSetup, L"p3", OdGePoint3d(1e7, 0.5, 3)));
    ASSERT_TRUE(Config::writeBool(ut::kCfgSetup, L"b", true));
    ASSERT_TRUE(Config::writeShort(ut::kCfgSetup, L"s", -3));
    ASSERT_TRUE(Config::writeLong(ut::kCfgSetup, L"l", 123456));
    ASSERT_TRUE(Config::writeDouble(ut::kCfgSetup, L"d", 2.5));
    ASSERT_TRUE(Config::writeString(ut::kCfgSetup, L"t", L"text"));
    wxMemoryBuffer buf;
    buf.AppendData("\x01\x02", 2);
    ASSERT_TRUE(Config::writeBinary(ut::kCfgSetup, L"bin", buf));

    struct Row {
        const wchar_t* name;
        uint32_t type;
        std::wstring text;
        int64_t number;
    };
    const Row rows[] = {
        {L"tag", ut::platform::kRegSz, L"10,20,100,50"}, // position and size, never two corners
        {L"wx", ut::platform::kRegSz, L"-5,6,7,8"},
        {L"size", ut::platform::kRegSz, L"640,480"},
        {L"p2", ut::platform::kRegSz, L"0.123457,-2"},
        {L"p3", ut::platform::kRegSz, L"1e+07,0.5,3"},
        {L"b", ut::platform::kRegDword, L"", 1},
        {L"s", ut::platform::kRegDword, L"", -3},
        {L"l", ut::platform::kRegDword, L"", 123456},
        {L"d", ut::platform::kRegSz, L"2.5"},
        {L"t", ut::platform::kRegSz, L"text"},
    };
    for (const auto& row : rows) {
        const RegValue v = raw(L"V17x64\\en_US\\Setup", row.name);
        EXPECT_EQ(v.type, row.type) << U(row.name);
        EXPECT_EQ(v.text, row.text) << U(row.name);
        EXPECT_EQ(v.number, row.number) << U(row.name);
    }
    EXPECT_EQ(raw(L"V17x64\\en_US\\Setup", L"bin").bytes, std::string("\x01\x02", 2));
    EXPECT_TRUE(raw(L"V17x64\\en_US\\Setup", L"d").floating);

    tagRECT back{};
    ASSERT_TRUE(Config::read(ut::kCfgSetup, L"tag", back));
    EXPECT_EQ(back.right, 110);
    EXPECT_EQ(back.bottom, 70);
    EXPECT_EQ(Config::entryType(ut::kCfgSetup, L"d"), ut::kCfgTypeFloat);
    EXPECT_EQ(Config::entryType(ut::kCfgSetup, L"b"), ut::kCfgTypeInteger);
    EXPECT_EQ(Config::entryType(ut::kCfgSetup, L"bin"), ut::kCfgTypeBinary);
    EXPECT_EQ(Config::entryType(ut::kCfgSetup, L"t"), ut::kCfgTypeString);
    EXPECT_EQ(Config::entryType(ut::kCfgSetup, L"none"), ut::kCfgTypeUnknown);
}

// Integers are 32-bit registry numbers, as on Windows: a long that does not fit
// is refused and logged, never kept as a 64-bit number that a profile export
// cannot carry; the bounds go through a profile file and back.
TEST_F(ConfigValues, IntegersAreThirtyTwoBitRegistryNumbers) {
    using ut::Config;
    Config::initProfile(L"P");
    const std::wstring config = L"V17x64\\en_US\\Profiles\\P\\Config";
    ASSERT_TRUE(Config::writeLong(ut::kCfgConfig, L"Big", 7));
    {
        LogCapture log;
        EXPECT_FALSE(Config::writeLong(ut::kCfgConfig, L"Big", 0x123456789L));
        EXPECT_FALSE(Config::writeLong(ut::kCfgConfig, L"New", 4294967295L)) << "a DWORD would read back as -1";
        EXPECT_FALSE(Config::writeLong(ut::kCfgConfig, L"New", -2147483649L));
        EXPECT_FALSE(Config::writeLong(L"/V17x64/en_US/Profiles/P/Config/New", 2147483648L));
        ut::ConfigBase base(L"Draftium", L"Corvane");
        EXPECT_FALSE(base.writeLong(L"/V17x64/en_US/Profiles/P/Config/New", 1L << 40));
        ASSERT_EQ(5u, log.records().size());
        EXPECT_EQ(log.records()[0].file, "src/utils/ut_config");
        EXPECT_EQ(log.records()[0].function, "ut::Config::writeLong");
        EXPECT_TRUE(log.contains("4886718345 does not fit a 32-bit registry number")) << log.records()[0].text;
        EXPECT_TRUE(log.contains("/V17x64/en_US/Profiles/P/Config/Big")) << log.records()[0].text;
        EXPECT_EQ(log.records()[4].function, "ut::ConfigBase::writeLong");
    }
    EXPECT_EQ(raw(config, L"Big").number, 7) << "the value before stays";
    EXPECT_EQ(raw(config, L"New").type, ut::platform::kRegNone);

    ASSERT_TRUE(Config::writeLong(ut::kCfgConfig, L"Max", 2147483647L));
    ASSERT_TRUE(Config::writeLong(L"/V17x64/en_US/Profiles/P/Config/Min", -2147483648L));
    ASSERT_TRUE(Config::writeShort(ut::kCfgConfig, L"Short", -32768));
    ASSERT_TRUE(Config::writeBool(ut::kCfgConfig, L"Bool", true));
    for (const wchar_t* name : {L"Max", L"Min", L"Short", L"Bool"})
        EXPECT_EQ(raw(config, name).type, ut::platform::kRegDword) << U(name);

    const std::string file = dir.file("p.reg");
    ASSERT_TRUE(Config::exportProfile(L"P", W(file)));
    EXPECT_EQ(readFile(file).find("Unknown type"), std::string::npos) << readFile(file);
    ASSERT_TRUE(Config::deleteGroup(ut::kCfgConfig));
    ASSERT_TRUE(Config::import(W(file)));
    long back = 0;
    EXPECT_TRUE(Config::read(ut::kCfgConfig, L"Max", back) && back == 2147483647L) << back;
    EXPECT_TRUE(Config::read(ut::kCfgConfig, L"Min", back) && back == -2147483648L) << back;
    short s = 0;
    EXPECT_TRUE(Config::read(ut::kCfgConfig, L"Short", s) && s == -32768) << s;
}

TEST_F(ConfigValues, PointsAndRectanglesReadOnlyWhenTheyParse) {
    using ut::Config;
    struct Row {
        const wchar_t* stored;
        bool point, rect, real2;
        int x, y;
    };
    const Row rows[] = {
        {L"12", false, false, false},            // no comma: nothing reads
        {L"3,4", true, false, true, 3, 4},
        {L" 5, 7", true, false, true, 5, 7},     // leading blanks before each number
        {L"a,b", true, false, false, 0, 0},      // non-numeric parts count 0 for integers, fail as reals
        {L"1,2,3", true, false, false, 1, 2},    // a rectangle needs four parts
        {L"1,2,3,4", true, true, false, 1, 2},
        {L"9x,8y,7,6", true, true, false, 9, 8}, // a leading integer is enough
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(U(r.stored));
        ASSERT_TRUE(Config::writeString(ut::kCfgSetup, L"v", r.stored));
        wxPoint p(-100, -100);
        EXPECT_EQ(Config::read(ut::kCfgSetup, L"v", p), r.point);
        if (r.point)
            EXPECT_EQ(p, wxPoint(r.x, r.y));
        else
            EXPECT_EQ(p, wxPoint(-100, -100)) << "a failed read leaves the value alone";
        wxRect rect(-1, -1, -1, -1);
        EXPECT_EQ(Config::read(ut::kCfgSetup, L"v", rect), r.rect);
        OdGePoint2d g(9, 9);
        EXPECT_EQ(Config::read(ut::kCfgSetup, L"v", g), r.real2);
    }
    OdGePoint3d p3;
    ASSERT_TRUE(Config::writeString(ut::kCfgSetup, L"v", L"1.5,-2,3e2"));
    EXPECT_TRUE(Config::read(ut::kCfgSetup, L"v", p3));
    EXPECT_EQ(p3, OdGePoint3d(1.5, -2, 300));
    short s = 0;
    ASSERT_TRUE(Config::writeLong(ut::kCfgSetup, L"wide", 70000));
    EXPECT_TRUE(Config::read(ut::kCfgSetup, L"wide", s));
    EXPECT_EQ(s, short(70000)) << "a short is narrowed";
}

TEST_F(ConfigValues, WindowPlaces) {
    using namespace ut::config_detail;
    ut::Config::initProfile(L"P");
    // a rectangle of zero size is never stored, and leaves the stored one alone
    ASSERT_TRUE(saveRect(ut::kCfgWindows, L"Main", wxRect(1, 2, 300, 200)));
    EXPECT_FALSE(saveRect(ut::kCfgWindows, L"Main", wxRect(5, 5, 0, 100)));
    EXPECT_FALSE(saveRect(ut::kCfgWindows, L"Main", wxRect(5, 5, 100, -1)));
    wxRect r;
    ASSERT_TRUE(loadRect(ut::kCfgWindows, L"Main", r));
    EXPECT_EQ(r, wxRect(1, 2, 300, 200));
    EXPECT_EQ(raw(L"V17x64\\en_US\\Profiles\\P\\Windows\\rect", L"Main").text, L"1,2,300,200");
    // outside profiles: the language's own "Windows" key
    ASSERT_TRUE(saveRect(ut::kCfgLanguageWindows, L"Main", wxRect(7, 8, 9, 10)));
    EXPECT_EQ(raw(L"V17x64\\en_US\\Windows\\rect", L"Main").text, L"7,8,9,10");
    ASSERT_TRUE(savePos(ut::kCfgWindows, L"Tool", wxPoint(-3, 4)));
    EXPECT_EQ(raw(L"V17x64\\en_US\\Profiles\\P\\Windows\\pos", L"Tool").text, L"-3,4");

    // the default position is not a place; any other is moved onto the area
    wxRect unplaced(wxDefaultPosition, wxSize(10, 10));
    EXPECT_FALSE(ConfigState::check(unplaced));
    struct Fit {
        wxRect in, area, out;
    };
    const Fit fits[] = {
        {{10, 10, 100, 100}, {0, 0, 800, 600}, {10, 10, 100, 100}},
        {{-50, 700, 100, 100}, {0, 0, 800, 600}, {0, 500, 100, 100}},
        {{100, 100, 2000, 50}, {0, 0, 800, 600}, {0, 100, 800, 50}},
        {{5000, 10, 100, 100}, {1920, 0, 1280, 1024}, {3100, 10, 100, 100}},
    };
    for (const auto& f : fits) {
        wxRect rect = f.in;
        fitIntoArea(rect, f.area);
        EXPECT_EQ(rect, f.out);
    }
}

TEST_F(ConfigValues, StartingAProfileCleansUpAndReadsRegexpand) {
    using ut::Config;
    // MassPropAccuracy goes when it holds anything but an integer
    auto config = std::make_unique<ut::RegConfig>(store(), product());
    ASSERT_TRUE(config->Write("/V17x64/en_US/Profiles/A/Config/MassPropAccuracy", "0.5"));
    ASSERT_TRUE(config->Write("/V17x64/en_US/Profiles/B/Config/MassPropAccuracy", 3L));
    ASSERT_TRUE(config->Write("/V17x64/en_US/Profiles/B/Config/REGEXPAND", false));
    Config::initProfile(L"A");
    EXPECT_FALSE(Config::hasEntry(ut::kCfgConfig, L"MassPropAccuracy"));
    EXPECT_TRUE(Config::getREGEXPAND()) << "absent means on";
    Config::initProfile(L"B");
    EXPECT_TRUE(Config::hasEntry(ut::kCfgConfig, L"MassPropAccuracy"));
    EXPECT_FALSE(Config::getREGEXPAND());
    auto* rc = dynamic_cast<ut::RegConfig*>(ConfigState::object());
    ASSERT_NE(rc, nullptr);
    EXPECT_FALSE(rc->IsExpandingRegValues()) << "the store's expandable strings follow the profile's switch";
    EXPECT_TRUE(rc->IsExpandingEnvVars());
}

TEST_F(ConfigValues, GroupsAndEntriesByGroup) {
    using ut::Config;
    Config::initProfile(L"P");
    ASSERT_TRUE(Config::writeLong(ut::kCfgDialogs, L"First/x", 1));
    ASSERT_TRUE(Config::writeLong(ut::kCfgDialogs, L"Second/y", 2));
    ASSERT_TRUE(Config::writeLong(ut::kCfgDialogs, L"top", 3));
    EXPECT_TRUE(Config::hasGroup(ut::kCfgDialogs));
    EXPECT_TRUE(Config::hasGroup(ut::kCfgDialogs, L"first"));
    EXPECT_TRUE(Config::hasGroup(L"V17x64/en_US/Profiles/P/Dialogs"));
    EXPECT_EQ(Config::countGroups(ut::kCfgDialogs), 2);
    EXPECT_EQ(Config::countEntries(ut::kCfgDialogs), 1);
    OdArray<OdString> names;
    ASSERT_TRUE(Config::listGroups(ut::kCfgDialogs, names));
    EXPECT_EQ(names.size(), 2u);
    ASSERT_TRUE(Config::listEntries(ut::kCfgDialogs, L"Second", names));
    EXPECT_EQ(U(names[0]), "y");
    EXPECT_FALSE(Config::listEntries(ut::kCfgMenus, names)) << "a group that does not exist lists nothing";

    EXPECT_TRUE(Config::renameGroup(ut::kCfgDialogs, L"First", L"One"));
    EXPECT_TRUE(Config::renameEntry(ut::kCfgDialogs, L"top", L"Top2"));
    EXPECT_TRUE(Config::hasEntry(ut::kCfgDialogs, L"One/x"));
    EXPECT_TRUE(Config::deleteGroup(ut::kCfgDialogs, L"Second"));
    EXPECT_TRUE(Config::deleteEntry(ut::kCfgDialogs, L"Top2"));
    EXPECT_EQ(Config::countGroups(ut::kCfgDialogs), 1);
    EXPECT_TRUE(Config::renameGroup(ut::kCfgDialogs, L"Dialogs2")) << "the group's own key";
    EXPECT_TRUE(Config::hasGroup(L"V17x64/en_US/Profiles/P/Dialogs2/One"));
    EXPECT_FALSE(Config::hasGroup(ut::kCfgDialogs));
    EXPECT_EQ(ConfigState::object()->GetPath(), "") << "the object's path is back at the root";
}

TEST_F(ConfigValues, CopyingKeepsKindsAndMarksTheRest) {
    using ut::Config;
    Config::initProfile(L"Src");
    ASSERT_TRUE(Config::writeDouble(ut::kCfgConfig, L"real", 0.1));
    ASSERT_TRUE(Config::writeLong(ut::kCfgMenus, L"deep/n", -1));
    auto s = store();
    const auto src = product(L"V17x64\\en_US\\Profiles\\Src");
    ASSERT_EQ(s->setValue(src, L"exp", RegValue::string(L"%HOME%", ut::platform::kRegExpandSz)), ut::platform::RegStatus::Ok);
    ASSERT_EQ(s->setValue(src, L"multi", RegValue::string(std::wstring(L"a\0b", 3), ut::platform::kRegMultiSz)),
              ut::platform::RegStatus::Ok);
    ASSERT_EQ(s->setValue(src, L"q", RegValue::qword(1LL << 40)), ut::platform::RegStatus::Ok);

    ASSERT_TRUE(Config::copyProfile(L"Src", L"Dst"));
    const std::wstring dst = L"V17x64\\en_US\\Profiles\\Dst";
    EXPECT_TRUE(raw(dst + L"\\Config", L"real").floating);
    EXPECT_EQ(raw(dst + L"\\Menus\\deep", L"n").number, -1);
    EXPECT_EQ(raw(dst, L"exp").type, ut::platform::kRegExpandSz) << "copied as stored, not expanded";
    EXPECT_EQ(raw(dst, L"exp").text, L"%HOME%");
    EXPECT_EQ(raw(dst, L"q").number, 1LL << 40);
    EXPECT_EQ(raw(dst, L"multi").text, L"{{Unknown type: 7}}");

    EXPECT_FALSE(Config::copyGroup(ut::kCfgProfiles, L"Src", L"Src/Inner", true)) << "never into itself";
    EXPECT_FALSE(Config::copyGroup(ut::kCfgProfiles, L"Src", L"Dst", false)) << "an existing target only when asked";
    EXPECT_FALSE(Config::copyGroup(ut::kCfgProfiles, L"Missing", L"Other", true));
    EXPECT_FALSE(Config::hasGroup(ut::kCfgProfiles, L"Other"));
}

// ---- failures of the store ---------------------------------------------------------------

class BrokenStore : public StoreTest {
protected:
    // The one line that the failures logged, naming the file.
    void expectFailures(const std::string& file, const std::string& cause) {
        LogCapture log;
        long v = 9;
        EXPECT_FALSE(ut::Config::writeLong(ut::kCfgSetup, L"k", 1));
        EXPECT_FALSE(ut::Config::read(ut::kCfgSetup, L"k", v));
        EXPECT_EQ(v, 9);
        ASSERT_FALSE(log.records().empty());
        for (const auto& r : log.records()) {
            EXPECT_NE(r.text.find(file), std::string::npos) << r.text;
            EXPECT_NE(r.text.find(cause), std::string::npos) << r.text;
        }
        std::string out, err;
        EXPECT_EQ(runTool({"config", "set", "setup", "k", "1"}, &out, &err), 1);
        EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << err;
        EXPECT_NE(err.find(file), std::string::npos) << err;
    }
};

TEST_F(BrokenStore, AFileThatIsNotADatabase) {
    writeFile(db(), std::string(4096, 'x'));
    expectFailures(db(), "not a settings store");
    EXPECT_EQ(readFile(db()), std::string(4096, 'x')) << "the file is left as it was";
}

TEST_F(BrokenStore, AFolderThatCannotBeMade) {
    writeFile(dir.file("plain"), "a file where a folder should be");
    const std::string bad = dir.file("plain/sub/registry.db");
    ::setenv("DRUTILS_REGISTRY_DB", bad.c_str(), 1);
    expectFailures(dir.file("plain"), "cannot create folder");
}

TEST_F(BrokenStore, AReadOnlyFileReadsButRefusesWrites) {
    ASSERT_TRUE(ut::Config::writeLong(ut::kCfgSetup, L"k", 5));
    ConfigState::reset();
    ASSERT_EQ(::chmod(db().c_str(), 0444), 0);
    LogCapture log;
    long v = 0;
    EXPECT_TRUE(ut::Config::read(ut::kCfgSetup, L"k", v));
    EXPECT_EQ(v, 5);
    EXPECT_FALSE(ut::Config::writeLong(ut::kCfgSetup, L"k", 6));
    EXPECT_TRUE(log.contains(db() + ": read-only")) << (log.records().empty() ? "" : log.records()[0].text);
    std::string out, err;
    EXPECT_EQ(runTool({"config", "set", "setup", "k", "7"}, &out, &err), 1);
    EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << err;
    EXPECT_EQ(runTool({"config", "get", "setup", "k"}, &out, &err), 0) << err;
    EXPECT_EQ(out, "5\n");
}

// A full disk: a small file system of the test's own (mounting needs root, as
// the test command runs).
TEST_F(BrokenStore, AFullDiskStillReadsAndFailsWritesCleanly) {
    const std::string mnt = dir.file("small");
    ::mkdir(mnt.c_str(), 0700);
    if (::mount("tmpfs", mnt.c_str(), "tmpfs", 0, "size=256k") != 0)
        GTEST_SKIP() << "cannot mount a small file system here: " << std::strerror(errno);
    struct Unmount {
        std::string at;
        ~Unmount() { ::umount2(at.c_str(), MNT_DETACH); }
    } unmount{mnt};
    const std::string db = mnt + "/registry.db";
    ::setenv("DRUTILS_REGISTRY_DB", db.c_str(), 1);
    ASSERT_EQ(runTool({"config", "set", "Setup", "k", "kept"}), 0);
    // Fill what is left.
    {
        const int fd = ::open((mnt + "/fill").c_str(), O_WRONLY | O_CREAT, 0600);
        ASSERT_GE(fd, 0);
        const std::string block(4096, 'x');
        while (::write(fd, block.data(), block.size()) > 0) {
        }
        ::close(fd);
    }
    std::string out, err;
    EXPECT_EQ(runTool({"config", "get", "Setup", "k"}, &out, &err), 0) << err;
    EXPECT_EQ(out, "kept\n");
    EXPECT_EQ(runTool({"config", "set", "Setup", "k", "lost"}, &out, &err), 1);
    EXPECT_NE(err.find("the disk is full"), std::string::npos) << err;
    ::unlink((mnt + "/fill").c_str());
    EXPECT_EQ(runTool({"config", "get", "Setup", "k"}, &out, &err), 0) << err;
    EXPECT_EQ(out, "kept\n");
    EXPECT_EQ(runTool({"config", "set", "Setup", "k", "later"}, &out, &err), 0) << err;
    std::string report;
    EXPECT_EQ(ut::platform::RegStore::get(db)->checkIntegrity(report), ut::platform::RegStatus::Ok) << report;
}

// ---- several processes ------------------------------------------------------------------

// A writer process (regstore_writer) whose progress lines are read as they come.
class Writer {
public:
    Writer(int id, long count) {
        int fds[2];
        if (::pipe2(fds, O_CLOEXEC) != 0)
            return;
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, fds[1], 1);
        const std::string idText = std::to_string(id), countText = std::to_string(count);
        char* argv[] = {const_cast<char*>(DRUTILS_REGSTORE_WRITER), const_cast<char*>(idText.c_str()),
                        const_cast<char*>(countText.c_str()), nullptr};
        if (posix_spawn(&m_pid, DRUTILS_REGSTORE_WRITER, &actions, nullptr, argv, environ) != 0)
            m_pid = -1;
        posix_spawn_file_actions_destroy(&actions);
        ::close(fds[1]);
        m_out = ::fdopen(fds[0], "r");
    }
    ~Writer() {
        if (m_out)
            std::fclose(m_out);
        if (m_pid > 0)
            wait();
    }
    // The next progress line: the index of a write pair reported done; -1 at the end.
    long next() {
        char line[64];
        if (!m_out || !std::fgets(line, sizeof line, m_out) || line[0] < '0' || line[0] > '9')
            return -1;
        return std::strtol(line, nullptr, 10);
    }
    void kill() { ::kill(m_pid, SIGKILL); }
    int wait() {
        int status = 0;
        ::waitpid(m_pid, &status, 0);
        m_pid = -1;
        return status;
    }
    bool started() const { return m_pid > 0 && m_out; }

private:
    pid_t m_pid = -1;
    FILE* m_out = nullptr;
};

class SharedStore : public StoreTest {};

TEST_F(SharedStore, TwoWritersLoseNoWrite) {
    const long count = 2000;
    long last1 = -1, last2 = -1;
    {
        Writer w1(1, count), w2(2, count);
        ASSERT_TRUE(w1.started() && w2.started());
        for (long i; (i = w1.next()) >= 0;)
            last1 = i;
        for (long i; (i = w2.next()) >= 0;)
            last2 = i;
        const int s1 = w1.wait(), s2 = w2.wait();
        ASSERT_TRUE(WIFEXITED(s1) && WEXITSTATUS(s1) == 0);
        ASSERT_TRUE(WIFEXITED(s2) && WEXITSTATUS(s2) == 0);
    }
    ASSERT_EQ(last1, count - 1);
    ASSERT_EQ(last2, count - 1);
    // every key of its own is there; every shared key holds one writer's last write to it
    for (int id : {1, 2}) {
        size_t n = 0, k = 0;
        ASSERT_EQ(store()->counts(product(L"Reliability\\w" + std::to_wstring(id)), k, n), ut::platform::RegStatus::Ok);
        EXPECT_EQ(n, size_t(count));
        EXPECT_EQ(raw(L"Reliability\\w" + std::to_wstring(id), L"d1999").number, 1999);
    }
    for (long slot = 0; slot < 50; ++slot) {
        const long lastIndex = (count - 1) - ((count - 1 - slot) % 50);
        const int64_t v = raw(L"Reliability", L"s" + std::to_wstring(slot)).number;
        EXPECT_TRUE(v == 1000000 + lastIndex || v == 2000000 + lastIndex) << slot << ": " << v;
    }
    std::string report;
    EXPECT_EQ(store()->checkIntegrity(report), ut::platform::RegStatus::Ok) << report;
}

TEST_F(SharedStore, AWriterKilledMidLoopLosesNothingItReported) {
    long reported = -1;
    {
        Writer w(7, 1000000);
        ASSERT_TRUE(w.started());
        for (long i; reported < 300 && (i = w.next()) >= 0;)
            reported = i;
        w.kill();
        const int status = w.wait();
        ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
    }
    ASSERT_GE(reported, 300);
    std::string report;
    ASSERT_EQ(store()->checkIntegrity(report), ut::platform::RegStatus::Ok) << report;
    for (long i = 0; i <= reported; ++i)
        ASSERT_EQ(raw(L"Reliability\\w7", L"d" + std::to_wstring(i)).number, i) << i;
    // and the store takes writes again
    EXPECT_TRUE(ut::Config::writeLong(L"/Reliability/after", 1));
}

} // namespace
