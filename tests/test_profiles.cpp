// Profiles: which one is current, their management, their travel through files
// under another name; and the tool's config, reg and profile groups.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>
#include <wx/config.h>

#include "store_fixture.h"
#include "ut_filename.h"
#include "ut_registry.h"

using namespace testing_support;

namespace {

class Profiles : public StoreTest {
protected:
    void SetUp() override {
        StoreTest::SetUp();
        ut::FileName::setApplicationTempPath(W(dir.file("tmp/")));
        ut::FileName::mkdir(W(dir.file("tmp")));
    }
    void TearDown() override {
        ut::FileName::setApplicationTempPath(OdString());
        StoreTest::TearDown();
    }
    void makeProfile(const wchar_t* name, long marker) {
        ASSERT_TRUE(ut::createProfile(name, wxString(L"about ") + name, wxString()));
        ASSERT_TRUE(ut::Config::writeLong(ut::kCfgProfiles, OdString(name) + L"/Config/marker", marker));
        ASSERT_TRUE(ut::Config::writeString(ut::kCfgProfiles, OdString(name) + L"/Menus/Sub/path", L"%APPDATA%\\x"));
    }
    std::wstring profileKey(const std::wstring& name) { return L"V17x64\\en_US\\Profiles\\" + name; }
};

TEST_F(Profiles, TheCurrentProfileAndItsOneTimeOverride) {
    // nothing stored anywhere: no profile, none created
    ut::Config::initProfile();
    EXPECT_TRUE(ut::Config::currentProfileName().isEmpty());
    EXPECT_FALSE(ut::Config::isAnyProfileCreated());

    // an empty name writes nothing
    EXPECT_FALSE(ut::Config::setCurProfileName(OdString()));
    EXPECT_FALSE(ut::Config::hasGroup(ut::kCfgProfiles));

    ASSERT_TRUE(ut::setCurrentProfileName("Work"));
    ASSERT_TRUE(store()->setValue(product(L"V17x64\\en_US\\Profiles"), L"",
                                  ut::platform::RegValue::string(L"Override")) == ut::platform::RegStatus::Ok);
    ConfigState::reset();
    ut::Config::initProfile();
    EXPECT_EQ(U(ut::Config::currentProfileName()), "Override") << "a non-empty default value wins once";
    EXPECT_TRUE(ut::Config::isAnyProfileCreated());
    EXPECT_EQ(U(ConfigState::path(ut::kCfgWindows)), "/V17x64/en_US/Profiles/Override/Windows/");

    // setting the current profile clears the override; the paths follow on updatePaths
    ASSERT_TRUE(ut::Config::setCurProfileName(L"Home"));
    EXPECT_EQ(raw(L"V17x64\\en_US\\Profiles", L"").text, L"");
    EXPECT_EQ(raw(L"V17x64\\en_US\\Profiles", L"CurProfile").text, L"Home");
    EXPECT_EQ(U(ConfigState::path(ut::kCfgWindows)), "/V17x64/en_US/Profiles/Override/Windows/");
    ut::Config::updatePaths();
    EXPECT_EQ(U(ConfigState::path(ut::kCfgWindows)), "/V17x64/en_US/Profiles/Home/Windows/");
    ConfigState::reset();
    ut::Config::initProfile();
    EXPECT_EQ(U(ut::Config::currentProfileName()), "Home");
}

TEST_F(Profiles, CreateCopyRenameDescribeDelete) {
    ut::Config::initProfile();
    makeProfile(L"Work", 1);
    wxArrayString names;
    EXPECT_EQ(ut::getProfileNames(names), 1);
    EXPECT_TRUE(ut::profileExists("work"));

    // the description is the default value, or when that is empty "Description"
    EXPECT_EQ(ut::getProfileDescription("Work"), "about Work");
    EXPECT_EQ(raw(profileKey(L"Work"), L"").text, L"");
    ASSERT_EQ(store()->setValue(product(profileKey(L"Work")), L"", ut::platform::RegValue::string(L"from default")),
              ut::platform::RegStatus::Ok);
    EXPECT_EQ(ut::getProfileDescription("Work"), "from default");

    // a new profile from another: every value, with its kind
    ASSERT_TRUE(ut::createProfile("Copy", "copied", "Work"));
    EXPECT_EQ(raw(profileKey(L"Copy") + L"\\Config", L"marker").number, 1);
    EXPECT_EQ(raw(profileKey(L"Copy") + L"\\Menus\\Sub", L"path").text, L"%APPDATA%\\x");
    EXPECT_EQ(ut::getProfileDescription("Copy"), "copied");

    EXPECT_FALSE(ut::renameProfile("Copy", "WORK")) << "the name is taken";
    ASSERT_TRUE(ut::renameProfile("Copy", "Other"));
    EXPECT_FALSE(ut::profileExists("Copy"));
    EXPECT_EQ(ut::getProfileNames(names), 2);

    // names that are not one key below the profiles key are refused
    for (const char* bad : {"", "a/b", "a\\b", "..", "."}) {
        EXPECT_FALSE(ut::deleteProfile(bad)) << bad;
        EXPECT_FALSE(ut::createProfile(bad, "x", wxString())) << bad;
    }
    EXPECT_EQ(ut::getProfileNames(names), 2) << "nothing else was deleted";
    ASSERT_TRUE(ut::deleteProfile("Other"));
    EXPECT_EQ(ut::getProfileNames(names), 1);
}

TEST_F(Profiles, AProfileTravelsThroughAFileUnderAnotherName) {
    ut::Config::initProfile();
    makeProfile(L"Work", 7);
    ::setenv("APPDATA", "/should/not/appear", 1);
    auto* config = ConfigState::object();
    ASSERT_TRUE(config->IsExpandingEnvVars());
    ASSERT_TRUE(ut::Config::writeString(ut::kCfgProfiles, L"Work/Menus/Sub/home", L"$HOME/x"));
    ASSERT_TRUE(ut::exportProfile("Work", dir.file("work.reg")));
    EXPECT_TRUE(config->IsExpandingEnvVars()) << "expansion is back on after the export";
    const std::string exported = readFile(dir.file("work.reg"));
    EXPECT_NE(exported.find("\"home\"=\"$HOME/x\""), std::string::npos) << "exported as stored, unexpanded";
    ::unsetenv("APPDATA");

    wxString name, text;
    ASSERT_TRUE(ut::getProfileNameFromFile(dir.file("work.reg"), name, &text));
    EXPECT_EQ(name, "Work");
    EXPECT_EQ(text, "about Work");

    // every key line below the profiles key gets the new name; the last line is left as it is
    writeFile(dir.file("mixed.reg"), readFile(dir.file("work.reg")) +
                                         "[HKEY_CURRENT_USER\\Software\\Corvane\\Draftium\\V17x64\\en_US\\Setup]\n"
                                         "[hkey_current_user\\software\\corvane\\draftium\\V17x64\\en_US\\Profiles\\Work]");
    ASSERT_TRUE(ut::replaceProfileName(dir.file("mixed.reg"), dir.file("renamed.reg"), "Home"));
    const std::string renamed = readFile(dir.file("renamed.reg"));
    EXPECT_GT(renamed.find("Profiles\\Work"), renamed.rfind('\n', renamed.size() - 2)) << "only in the last line";
    EXPECT_NE(renamed.find("[HKEY_CURRENT_USER\\Software\\Corvane\\Draftium\\V17x64\\en_US\\Profiles\\Home]\n"),
              std::string::npos);
    EXPECT_NE(renamed.find("Profiles\\Home\\Menus\\Sub]"), std::string::npos);
    EXPECT_NE(renamed.find("\\en_US\\Setup]"), std::string::npos);
    EXPECT_EQ(renamed.substr(renamed.size() - 6), "Work]\n") << "the last line is copied as it is";

    const wxString newName = "Home", newText = "imported";
    ASSERT_TRUE(ut::importProfile(dir.file("work.reg"), &newName, &newText));
    EXPECT_EQ(raw(profileKey(L"Home") + L"\\Config", L"marker").number, 7);
    EXPECT_EQ(raw(profileKey(L"Home") + L"\\Menus\\Sub", L"home").text, L"$HOME/x");
    EXPECT_EQ(ut::getProfileDescription("Home"), "imported");
    EXPECT_EQ(raw(profileKey(L"Work") + L"\\Config", L"marker").number, 7) << "the original stays";
    EXPECT_TRUE(dir.entries() == (std::vector<std::string>{"mixed.reg", "registry.db", "registry.db-changes",
                                                           "registry.db-shm", "registry.db-wal", "renamed.reg", "tmp",
                                                           "work.reg"}));
    EXPECT_TRUE(std::filesystem::is_empty(dir.file("tmp"))) << "the temporary copy is gone";

    // the temporary copy is gone when the import fails too
    const wxString other = "Other";
    EXPECT_FALSE(ut::importProfile(dir.file("absent.reg"), &other, nullptr));
    EXPECT_TRUE(std::filesystem::is_empty(dir.file("tmp")));
    EXPECT_FALSE(ut::profileExists("Other"));
}

// ---- the tool -------------------------------------------------------------------------------

class ToolGroups : public StoreTest {
protected:
    std::wstring profileKey(const std::wstring& name) { return L"V17x64\\en_US\\Profiles\\" + name; }
    int run(const std::vector<std::string>& args, std::string* out = nullptr) {
        std::string o, e;
        const int rc = runTool(args, &o, &e);
        if (out)
            *out = o;
        lastErr = e;
        return rc;
    }
    std::string lastErr;
};

TEST_F(ToolGroups, ConfigGetSetListDelete) {
    std::string out;
    struct Row {
        std::vector<std::string> set;
        std::string get;
    };
    const Row rows[] = {
        {{"config", "set", "17", "s", "text"}, "text\n"},
        {{"config", "set", "--type", "integer", "setup", "i", "-5"}, "-5\n"},
        {{"config", "set", "--type", "integer", "setup", "max", "2147483647"}, "2147483647\n"},
        {{"config", "set", "--type", "integer", "setup", "min", "-2147483648"}, "-2147483648\n"},
        {{"config", "set", "--type", "bool", "Setup", "b", "on"}, "1\n"},
        {{"config", "set", "--type", "double", "setup", "d", "0.1"}, "0.1\n"},
        {{"config", "set", "--type", "binary", "setup", "x", "0aff00"}, "0a,ff,00\n"},
        {{"config", "set", "--type", "rect", "setup", "r", "1,2,3,4"}, "1,2,3,4\n"},
        {{"config", "set", "--type", "point3d", "setup", "p", "1,2.5,3"}, "1,2.5,3\n"},
    };
    for (const auto& r : rows) {
        ASSERT_EQ(run(r.set), 0) << lastErr;
        ASSERT_EQ(run({"config", "get", "setup", r.set[r.set.size() - 2]}, &out), 0) << lastErr;
        EXPECT_EQ(out, r.get);
    }
    ASSERT_EQ(run({"config", "get", "--json", "setup", "i"}, &out), 0);
    EXPECT_EQ(out, "{\"group\":17,\"path\":\"/V17x64/en_US/Setup/\",\"key\":\"i\",\"type\":\"integer\",\"value\":-5}\n");
    ASSERT_EQ(run({"config", "list", "--json", "17"}, &out), 0);
    EXPECT_NE(out.find("{\"name\":\"d\",\"type\":\"double\",\"value\":0.10000000000000001}"), std::string::npos) << out;

    // wrong usage: exit 2, nothing written
    for (const std::vector<std::string>& bad :
         {std::vector<std::string>{"config", "set", "--type", "integer", "setup", "n", "12x"},
          {"config", "set", "--type", "rect", "setup", "n", "1,2,3"},
          {"config", "set", "--type", "binary", "setup", "n", "0a,f"},
          {"config", "set", "--type", "binary", "setup", "n", "0x0a"},
          {"config", "set", "Windows", "n", "1"},
          {"config", "get", "99", "n"},
          {"config", "set", "--json", "setup", "n", "1"}})
        EXPECT_EQ(run(bad), 2) << bad[bad.size() - 2];
    // integers are the store's 32-bit numbers: a wider one is refused, not stored
    // as a kind a profile export cannot carry
    for (const char* wide : {"4294967295", "2147483648", "-2147483649", "99999999999999999999"}) {
        EXPECT_EQ(run({"config", "set", "--type", "integer", "setup", "n", wide}), 1) << wide;
        EXPECT_NE(lastErr.find("Setup/n: " + std::string(wide) + " does not fit an integer entry (a 32-bit number"),
                  std::string::npos)
            << lastErr;
    }
    EXPECT_EQ(run({"config", "set", "--type", "rect", "setup", "n", "1,2,3,4294967296"}), 2);
    EXPECT_EQ(run({"config", "get", "setup", "n"}), 1);
    EXPECT_EQ(std::count(lastErr.begin(), lastErr.end(), '\n'), 1);

    EXPECT_EQ(run({"config", "delete", "setup"}), 1) << "a whole group only with --force";
    EXPECT_EQ(run({"config", "delete", "setup", "s"}), 0);
    EXPECT_EQ(run({"config", "get", "setup", "s"}), 1);
    EXPECT_EQ(run({"config", "delete", "--force", "setup"}), 0);
    EXPECT_EQ(run({"config", "list", "setup"}), 1);
}

TEST_F(ToolGroups, RegAndProfileCommands) {
    std::string out;
    ASSERT_EQ(run({"profile", "create", "Work", "--description", "for work"}), 0) << lastErr;
    ASSERT_EQ(run({"profile", "use", "Work"}), 0) << lastErr;
    ASSERT_EQ(run({"config", "set", "--type", "integer", "Config", "k", "3"}), 0);
    EXPECT_EQ(raw(L"V17x64\\en_US\\Profiles\\Work\\Config", L"k").number, 3) << "profile-level groups follow 'use'";
    ASSERT_EQ(run({"profile", "copy", "Work", "Spare"}), 0);
    EXPECT_EQ(run({"profile", "copy", "Work", "Spare"}), 1) << "the target exists";
    ASSERT_EQ(run({"profile", "rename", "Work", "Office"}), 0);
    ASSERT_EQ(run({"profile", "current"}, &out), 0);
    EXPECT_EQ(out, "Office\n") << "the current profile keeps being current under its new name";
    ASSERT_EQ(run({"profile", "list"}, &out), 0);
    EXPECT_EQ(out, "* Office  for work\n  Spare  for work\n");
    EXPECT_EQ(run({"profile", "delete", "Office"}), 1) << "the current one only with --force";
    ASSERT_EQ(run({"profile", "describe", "Spare", "spare one"}), 0);
    ASSERT_EQ(run({"profile", "describe", "Spare"}, &out), 0);
    EXPECT_EQ(out, "spare one\n");

    // export refuses an existing file unless forced; import under another name
    writeFile(dir.file("exists.reg"), "keep me");
    EXPECT_EQ(run({"profile", "export", "Office", dir.file("exists.reg")}), 1);
    EXPECT_EQ(readFile(dir.file("exists.reg")), "keep me");
    EXPECT_EQ(run({"reg", "export", "Profiles", dir.file("exists.reg")}), 1);
    EXPECT_EQ(lastErr, "drutils: " + dir.file("exists.reg") + ": already exists (--force replaces it)\n");
    ASSERT_EQ(run({"profile", "export", "--force", "Office", dir.file("exists.reg")}), 0) << lastErr;
    ASSERT_EQ(run({"profile", "import", dir.file("exists.reg"), "--name", "Laptop", "--description", "moved"}, &out), 0)
        << lastErr;
    EXPECT_EQ(out, "imported profile Laptop\n");
    EXPECT_EQ(raw(L"V17x64\\en_US\\Profiles\\Laptop\\Config", L"k").number, 3);
    EXPECT_EQ(run({"profile", "import", dir.file("exists.reg")}), 1) << "Office exists";

    // a file name that is not UTF-8 is written, read and named in messages as given
    const std::string odd = dir.file("caf\xe9.reg"), absent = dir.file("caf\xe9-absent.reg");
    ASSERT_EQ(run({"profile", "export", "Spare", odd}), 0) << lastErr;
    ASSERT_EQ(run({"profile", "import", "--force", odd}, &out), 0) << lastErr;
    EXPECT_EQ(out, "imported profile Spare\n");
    EXPECT_EQ(run({"reg", "import", absent}), 1);
    EXPECT_EQ(lastErr, "drutils: File not found: " + absent + "\n");

    // reg export of a path, reg import of it into a fresh store
    ASSERT_EQ(run({"reg", "export", "V17x64/en_US/Profiles/Spare", dir.file("spare.reg")}), 0) << lastErr;
    EXPECT_NE(readFile(dir.file("spare.reg")).find("Profiles\\Spare]\n@=\"\"\n\"Description\"=\"spare one\""),
              std::string::npos);
    ConfigState::reset();
    ::setenv("DRUTILS_REGISTRY_DB", dir.file("second.db").c_str(), 1);
    ASSERT_EQ(run({"reg", "import", dir.file("spare.reg")}), 0) << lastErr;
    ASSERT_EQ(run({"profile", "list", "--json"}, &out), 0);
    EXPECT_EQ(out, "[{\"name\":\"Spare\",\"current\":false,\"description\":\"spare one\"}]\n");
    EXPECT_EQ(run({"reg", "import", dir.file("absent.reg")}), 1);
    EXPECT_NE(lastErr.find("File not found: " + dir.file("absent.reg")), std::string::npos) << lastErr;
}

TEST_F(ToolGroups, TheLanguageComesFromTheFolderBesideTheExecutable) {
    // A copy of the tool in a folder of its own, with language folders beside it.
    const std::string bin = dir.file("bin");
    std::filesystem::create_directories(bin + "/fr_FR");
    std::filesystem::copy_file(DRUTILS_TOOL, bin + "/drutils");
    auto language = [&]() {
        std::string out;
        const std::string cmd = "'" + bin + "/drutils' profile current --json";
        FILE* p = ::popen(cmd.c_str(), "r");
        char buf[512];
        while (p && std::fgets(buf, sizeof buf, p))
            out += buf;
        if (p)
            ::pclose(p);
        const size_t at = out.find("\"language\":\"");
        return at == std::string::npos ? out : out.substr(at + 12, 5);
    };
    ASSERT_TRUE(ut::Config::writeString(L"/V17x64/CURVER", L"de_DE"));
    EXPECT_EQ(language(), "fr_FR") << "CURVER without its folder: the folder there";
    std::filesystem::create_directories(bin + "/de_DE");
    EXPECT_EQ(language(), "de_DE");
    std::filesystem::remove(bin + "/de_DE");
    std::filesystem::remove(bin + "/fr_FR");
    EXPECT_EQ(language(), "en_US");
}

// ---- profiles that change under a process --------------------------------------------

TEST_F(Profiles, AWriteFollowsTheProfileAnotherProcessRenamedAndNeverBringsADeletedOneBack) {
    makeProfile(L"A", 1);
    makeProfile(L"C", 2);
    ASSERT_TRUE(ut::Config::setCurProfileName(L"A"));
    ut::Config::initProfile();
    ASSERT_EQ(U(ut::Config::currentProfileName()), "A");

    // Another process renames A to B and makes B current, as "profile rename" does.
    ASSERT_EQ(store()->renameKey(product(profileKey(L"A")), L"B"), ut::platform::RegStatus::Ok);
    ASSERT_EQ(store()->setValue(product(L"V17x64\\en_US\\Profiles"), L"CurProfile",
                                ut::platform::RegValue::string(L"B")),
              ut::platform::RegStatus::Ok);
    ASSERT_TRUE(ut::Config::writeLong(ut::kCfgConfig, L"after", 7));
    EXPECT_EQ(raw(profileKey(L"B") + L"\\Config", L"after").number, 7);
    EXPECT_FALSE(ut::profileExists("A")) << "no ghost of the old name";
    EXPECT_EQ(U(ut::Config::currentProfileName()), "B");

    // Another process deletes B and makes nothing current: the write is refused.
    ASSERT_EQ(store()->deleteKey(product(profileKey(L"B"))), ut::platform::RegStatus::Ok);
    ASSERT_EQ(store()->setValue(product(L"V17x64\\en_US\\Profiles"), L"CurProfile",
                                ut::platform::RegValue::string(L"")),
              ut::platform::RegStatus::Ok);
    LogCapture log;
    EXPECT_FALSE(ut::Config::writeLong(ut::kCfgConfig, L"lost", 1));
    EXPECT_TRUE(log.contains("'B' no longer exists"));
    EXPECT_FALSE(ut::profileExists("B"));
    EXPECT_TRUE(ut::profileExists("C"));

    // A profile that was not there when it was chosen is made by its first write, as before.
    ConfigState::reset();
    ut::Config::initProfile(L"Fresh");
    ASSERT_TRUE(ut::Config::writeLong(ut::kCfgConfig, L"first", 1));
    EXPECT_TRUE(ut::profileExists("Fresh"));
}

TEST_F(ToolGroups, DeletingTheCurrentProfileSaysWhichIsCurrentNow) {
    std::string out;
    for (const char* name : {"A", "C"})
        ASSERT_EQ(run({"profile", "create", name}), 0) << lastErr;
    ASSERT_EQ(run({"profile", "use", "C"}), 0);
    ASSERT_EQ(run({"profile", "delete", "--force", "C"}, &out), 0) << lastErr;
    EXPECT_EQ(out, "the current profile is now A\n");
    ASSERT_EQ(run({"profile", "current"}, &out), 0);
    EXPECT_EQ(out, "A\n");
    ASSERT_EQ(run({"config", "set", "Config", "k", "v"}), 0) << lastErr;
    ASSERT_EQ(run({"profile", "list"}, &out), 0);
    EXPECT_EQ(out, "* A\n") << "the write went to A, and C stays deleted";

    ASSERT_EQ(run({"profile", "delete", "--force", "A"}, &out), 0) << lastErr;
    EXPECT_EQ(out, "no profile is current now\n");
    ASSERT_EQ(run({"profile", "current"}, &out), 0);
    EXPECT_EQ(out, "");
    run({"config", "set", "Config", "k", "v"});
    ASSERT_EQ(run({"profile", "list"}, &out), 0);
    EXPECT_EQ(out, "");
}

TEST_F(ToolGroups, WritesRacingRenamesAllLandInTheCurrentProfile) {
    ASSERT_EQ(run({"profile", "create", "A"}), 0);
    ASSERT_EQ(run({"profile", "use", "A"}), 0);
    const pid_t renamer = ::fork();
    ASSERT_GE(renamer, 0);
    if (renamer == 0) {
        for (int i = 0; i < 25; ++i) {
            runTool({"profile", "rename", "A", "B"});
            runTool({"profile", "rename", "B", "A"});
        }
        std::_Exit(0);
    }
    for (int i = 0; i < 40; ++i)
        EXPECT_EQ(run({"config", "set", "Config", std::string("k").append(std::to_string(i)), "v"}), 0) << lastErr;
    int status = 0;
    ::waitpid(renamer, &status, 0);
    std::string out;
    ASSERT_EQ(run({"profile", "list", "--json"}, &out), 0);
    EXPECT_EQ(std::count(out.begin(), out.end(), '{'), 1) << out;
    ASSERT_EQ(run({"config", "list", "--json", "Config"}, &out), 0);
    EXPECT_EQ(std::count(out.begin(), out.end(), '{') - 1, 40) << out;
}

// ---- registry files through the tool ------------------------------------------------------

TEST_F(ToolGroups, WhatRegExportWritesRegImportPutsBack) {
    ASSERT_EQ(run({"config", "set", "--type", "integer", "Setup", "n", "12"}), 0);
    ASSERT_EQ(run({"config", "set", "Setup", "deep/s", "text"}), 0);
    ASSERT_EQ(run({"reg", "export", "Setup", dir.file("setup.reg")}), 0) << lastErr;
    ASSERT_EQ(run({"config", "delete", "--force", "Setup"}), 0);
    ASSERT_EQ(run({"reg", "import", dir.file("setup.reg")}), 0) << lastErr;
    EXPECT_EQ(lastErr, "");
    EXPECT_EQ(raw(L"V17x64\\en_US\\Setup", L"n").number, 12);
    EXPECT_EQ(raw(L"V17x64\\en_US\\Setup\\deep", L"s").text, L"text");

    // A key that has no place here: refused whole, with the line, and nothing written.
    writeFile(dir.file("foreign.reg"), "Windows Registry Editor Version 5.00\n\n"
                                       "[HKEY_CURRENT_USER\\Software\\Corvane\\Draftium\\V17x64\\en_US\\Setup]\n"
                                       "\"m\"=\"1\"\n\n"
                                       "[HKEY_LOCAL_MACHINE\\Software\\Other]\n\"x\"=\"y\"\n");
    EXPECT_EQ(run({"reg", "import", dir.file("foreign.reg")}), 1);
    EXPECT_NE(lastErr.find("line 6: the key [HKEY_LOCAL_MACHINE\\Software\\Other] lies outside"), std::string::npos)
        << lastErr;
    EXPECT_EQ(raw(L"V17x64\\en_US\\Setup", L"m").type, ut::platform::kRegNone);
    // With no profile current, a profile's group has nothing to export.
    EXPECT_EQ(run({"reg", "export", "Config", dir.file("config.reg")}), 1);
    EXPECT_NE(lastErr.find("no profile is current"), std::string::npos) << lastErr;
    writeFile(dir.file("empty.reg"), "Windows Registry Editor Version 5.00\n\n");
    EXPECT_EQ(run({"reg", "import", dir.file("empty.reg")}), 1);
    EXPECT_NE(lastErr.find("holds no key"), std::string::npos) << lastErr;
}

TEST_F(ToolGroups, ImportMessagesNameTheUsersFileAndWhatIsWrongWithIt) {
    EXPECT_EQ(run({"profile", "import", dir.file("missing.reg")}), 1);
    EXPECT_EQ(lastErr, "drutils: File not found: " + dir.file("missing.reg") + "\n");
    EXPECT_EQ(run({"profile", "import", dir.path()}), 1);
    EXPECT_EQ(lastErr, "drutils: " + dir.path() + ": is a directory\n");

    // Under another name the file is renamed in memory: its warnings name the
    // user's file, and no copy of it is left anywhere.
    const std::string file = dir.file("w.reg");
    writeFile(file, "Windows Registry Editor Version 5.00\n\n"
                    "[HKEY_CURRENT_USER\\Software\\Corvane\\Draftium\\V17x64\\en_US\\Profiles\\W]\n"
                    "\"a\"=\"b\"\n"
                    "this line means nothing\n");
    ::mkdir(dir.file("tmp").c_str(), 0700);
    ::setenv("TMPDIR", dir.file("tmp").c_str(), 1);
    const int rc = run({"profile", "import", file, "--name", "Z"});
    ::unsetenv("TMPDIR");
    ASSERT_EQ(rc, 0) << lastErr;
    EXPECT_EQ(lastErr, "drutils: " + file + ": 1 line skipped, at line 5 (a line that is neither a key nor a value)\n");
    EXPECT_TRUE(std::filesystem::is_empty(dir.file("tmp")));
    EXPECT_EQ(raw(profileKey(L"Z"), L"a").text, L"b");
}

TEST_F(ToolGroups, ProfileCommandsFailOnABrokenStore) {
    std::string out, err, listErr;
    ::mkdir(db().c_str(), 0700); // a folder where the store should be
    EXPECT_EQ(runTool({"config", "list", "Setup"}, &out, &listErr), 1);
    for (const char* command : {"list", "current"}) {
        EXPECT_EQ(runTool({"profile", command}, &out, &err), 1) << command;
        EXPECT_EQ(out, "");
        EXPECT_EQ(err, listErr) << command;
    }
}

} // namespace
