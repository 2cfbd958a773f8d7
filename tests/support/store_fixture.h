// Shared by the settings-store suites: every test gets a store file of its own
// (DRUTILS_REGISTRY_DB inside its TempDir) and a ut::Config that starts from
// nothing.
#pragma once

#include <cstdlib>
#include <string>

#include <gtest/gtest.h>
#include <wx/config.h>

#include "platform/regstore.h"
#include "test_support.h"
#include "ut_config.h"

namespace testing_support {

// Reaches the process-wide state of ut::Config, as a subclass may.
struct ConfigState : ut::Config {
    static void reset() {
        unInitConfig();
        s_currentLanguage.empty();
        s_currentProfileName.empty();
        s_noCreatedProfiles = false;
        s_productPath.empty();
        s_versionBase.empty();
        s_languageBase.empty();
        s_profileBase.empty();
        s_profileConfigBase.empty();
    }
    static wxConfigBase* object() {
        initBase();
        return s_pConfigBase;
    }
    static OdString path(ut::ECfgGroup group) { return keyPath(group); }
    static bool check(wxRect& r) { return checkWindowPosition(r); }
};

class StoreTest : public ::testing::Test {
protected:
    void SetUp() override {
        ::setenv("DRUTILS_REGISTRY_DB", db().c_str(), 1);
        ConfigState::reset();
    }
    void TearDown() override {
        ConfigState::reset();
        ::unsetenv("DRUTILS_REGISTRY_DB");
    }
    std::string db() const { return dir.file("registry.db"); }
    std::shared_ptr<ut::platform::RegStore> store() const { return ut::platform::RegStore::get(db()); }
    // A key below "HKEY_CURRENT_USER\Software\Corvane\Draftium" ("V17x64\en_US\Setup").
    static ut::platform::RegKeyPath product(const std::wstring& below = L"") {
        return ut::platform::RegKeyPath(ut::platform::kCurrentUser,
                                        L"Software\\Corvane\\Draftium" + (below.empty() ? below : L"\\" + below));
    }
    // The stored value, or one of type kRegNone when there is none.
    ut::platform::RegValue raw(const std::wstring& key, const std::wstring& name) const {
        ut::platform::RegValue v;
        store()->getValue(product(key), name, v);
        return v;
    }

    TempDir dir;
};

} // namespace testing_support
