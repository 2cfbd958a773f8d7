// An application that includes the umbrella header, whose families name toolkit
// types, and uses the toolkit itself: it needs the toolkit's flags and libraries
// (base and core) from the package's toolkit component or drutils-toolkit.pc, or
// from the print component or drutils-print.pc (then built as the print consumer).
#include <cstdio>

#include <drutils.h>
#include <wx/cmndata.h>
#include <wx/gdicmn.h>
#include <wx/init.h>
#include <wx/string.h>

#ifndef DRUTILS_CONSUMER_KIND
#define DRUTILS_CONSUMER_KIND "toolkit"
#endif

int main() {
    wxInitializer toolkit;
    if (!toolkit.IsOk())
        return 1;
    ut::FileName fn(L"/plans/site.dwg");
    const wxString name(fn.getName().c_str());
    // Intersect lives in the core library, Format in the base library.
    const wxRect overlap = wxRect(0, 0, 420, 297).Intersect(wxRect(400, 200, 100, 100));
    const wxString text = wxString::Format("%s %dx%d", name, overlap.width, overlap.height);
    // A library type that is a toolkit type: the print settings, with a paper
    // from the toolkit's database, copied through the library's own members.
    ut::PrintData settings;
    settings.setDriverName(wxT("consumer"));
    settings.SetPaperId(wxPAPER_A4);
    const ut::PrintData copy(settings);
    const bool ok = text == "site 20x97" && copy.getDriverName() == "consumer" && copy.GetPaperId() == wxPAPER_A4 &&
                    copy.isTtfAsText();
    std::printf("%s consumer %s %s\n", DRUTILS_CONSUMER_KIND, ok ? "ok" : "wrong", DRUTILS_PACKAGE_VERSION);
    return ok ? 0 : 1;
}
