// drutils-styles: the desktop editor for plot style tables. Files named on the
// command line open in tabs; a file manager starts it the same way (the
// .desktop file passes %F).
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <wx/app.h>
#include <wx/fileconf.h>
#include <wx/filename.h>
#include <wx/log.h>
#include <wx/msgdlg.h>
#include <wx/utils.h>

#include "main_frame.h"
#include "platform/files.h"

namespace {

const char kUsage[] = "usage: drutils-styles [FILE.ctb|FILE.stb]...\n"
                      "  Opens plot style tables for editing, each in a tab of its own.\n"
                      "  --startup-report   print \"shown\" and quit once the first table has been drawn\n"
                      "                     (used by the start-up benchmark)\n"
                      "  --version          print the version\n";

struct Options {
    std::vector<wxString> files;
    bool startupReport = false;
};
Options g_options;

} // namespace

namespace styles {

class StylesApp : public wxApp {
public:
    bool OnInit() override {
        SetAppName("drutils-styles");
        SetAppDisplayName(_("Plot Style Editor"));
        // The library reports through wxLog; a desktop program shows nothing of
        // it in dialogs (every failure the user must see is reported by the
        // editor itself), so it goes to standard error.
        delete wxLog::SetActiveTarget(new wxLogStderr);
        // The recent files, in $XDG_CONFIG_HOME/drutils-styles/settings.conf
        // (~/.config when unset); the folder is made when missing.
        wxString config;
        if (!wxGetEnv("XDG_CONFIG_HOME", &config) || !wxIsAbsolutePath(config))
            config = wxFileName::GetHomeDir() + "/.config";
        const wxFileName settingsFile(config + "/drutils-styles", "settings.conf");
        wxFileName::Mkdir(settingsFile.GetPath(), wxS_DIR_DEFAULT, wxPATH_MKDIR_FULL);
        m_settings = std::make_unique<wxFileConfig>(GetAppName(), wxEmptyString, settingsFile.GetFullPath(),
                                                    wxEmptyString, wxCONFIG_USE_LOCAL_FILE);
        auto* frame = new styles::MainFrame(m_settings.get());
        if (g_options.startupReport) {
            frame->setShownListener([frame] {
                std::fputs("shown\n", stdout);
                std::fflush(stdout);
                frame->Destroy();
            });
        }
        // The tables open before the window shows, so that it is laid out and
        // drawn once, with them; what could not be opened is said once it shows.
        wxArrayString files;
        for (const wxString& f : g_options.files)
            files.Add(f);
        const wxString failures = frame->openFilesQuietly(files);
        frame->Show();
        if (g_options.startupReport && frame->pageCount() == 0) {
            std::fprintf(stdout, "no table: %s\n", static_cast<const char*>(failures.utf8_str()));
            return false;
        }
        if (!failures.empty())
            frame->CallAfter([frame, failures] {
                wxMessageBox(failures, _("Not opened"), wxOK | wxICON_ERROR, frame);
            });
        return true;
    }
    int OnExit() override {
        if (m_settings)
            m_settings->Flush();
        return wxApp::OnExit();
    }

private:
    std::unique_ptr<wxFileConfig> m_settings;
};

} // namespace styles

wxIMPLEMENT_APP_NO_MAIN(styles::StylesApp);

int main(int argc, char** argv) {
    // File names are taken from the bytes given, so that a name in any encoding
    // reaches the library as the same file. Options of the toolkit (--display=...)
    // are left to it; "--" ends the options.
    bool options = true;
    for (int i = 1; i < argc; ++i) {
        const char* a = argv[i];
        if (options && std::strcmp(a, "--") == 0) {
            options = false;
        } else if (options && (std::strcmp(a, "--help") == 0 || std::strcmp(a, "-h") == 0)) {
            std::fputs(kUsage, stdout);
            return 0;
        } else if (options && std::strcmp(a, "--version") == 0) {
            std::printf("drutils-styles %s\n", DRUTILS_VERSION);
            return 0;
        } else if (options && std::strcmp(a, "--startup-report") == 0) {
            g_options.startupReport = true;
        } else if (!options || a[0] != '-') {
            g_options.files.push_back(wxString(ut::platform::fileNameFromBytes(a)));
        }
    }
    return wxEntry(argc, argv);
}
