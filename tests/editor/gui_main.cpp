// main() of the editor's window tests: the toolkit starts as in the editor (on
// the display that tests/editor/under_xvfb.sh provides), and no modal dialog
// may ever wait for a user: one that a test did not expect fails the test and
// is answered with Cancel.
#include <gtest/gtest.h>

#include <cstdio>

#include <wx/app.h>
#include <wx/dialog.h>
#include <wx/log.h>
#include <wx/modalhook.h>

namespace {

class TestApp : public wxApp {
public:
    bool OnInit() override { return true; } // no command line of its own
};

// Tests expect their dialogs through wxTEST_DIALOG, whose hook comes first;
// whatever reaches this one was not expected.
class UnexpectedDialogs : public wxModalDialogHook {
protected:
    int Enter(wxDialog* dialog) override {
        ADD_FAILURE() << "unexpected dialog \"" << dialog->GetTitle().utf8_string() << "\"";
        return wxID_CANCEL;
    }
    void Exit(wxDialog*) override {}
};

} // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    wxApp::SetInstance(new TestApp);
    if (!wxEntryStart(argc, argv)) {
        std::fputs("the toolkit did not start: no display? (run under tests/editor/under_xvfb.sh)\n", stderr);
        return 1;
    }
    if (!wxTheApp->CallOnInit())
        return 1;
    delete wxLog::SetActiveTarget(new wxLogStderr);
    wxSetAssertHandler([](const wxString& file, int line, const wxString& func, const wxString& cond,
                          const wxString& msg) {
        ADD_FAILURE() << "wx assertion " << cond.utf8_string() << " in " << func.utf8_string() << " ("
                      << file.utf8_string() << ":" << line << "): " << msg.utf8_string();
    });
    UnexpectedDialogs guard;
    guard.Register();
    const int result = RUN_ALL_TESTS();
    guard.Unregister();
    wxTheApp->OnExit();
    wxEntryCleanup();
    return result;
}
