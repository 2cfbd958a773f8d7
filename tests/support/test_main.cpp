// main() of every suite: wxWidgets is initialised once, as the application does
// before it calls the library.
#include <gtest/gtest.h>
#include <wx/init.h>
#include <wx/log.h>

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    wxInitializer wx;
    if (!wx.IsOk())
        return 1;
    // Assertions of the toolkit must fail the test, not open a dialog or go unseen.
    wxSetAssertHandler([](const wxString& file, int line, const wxString& func, const wxString& cond,
                          const wxString& msg) {
        ADD_FAILURE() << "wx assertion " << cond.utf8_string() << " in " << func.utf8_string() << " ("
                      << file.utf8_string() << ":" << line << "): " << msg.utf8_string();
    });
    return RUN_ALL_TESTS();
}
