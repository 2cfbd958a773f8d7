// An application that includes the umbrella header, whose families name toolkit
// types, and uses the toolkit itself: it needs the toolkit's flags and libraries
// (base and core) from the package's toolkit component or drutils-toolkit.pc.
#include <cstdio>

#include <drutils.h>
#include <wx/gdicmn.h>
#include <wx/string.h>

int main() {
    ut::FileName fn(L"/plans/site.dwg");
    const wxString name(fn.getName().c_str());
    // Intersect lives in the core library, Format in the base library.
    const wxRect overlap = wxRect(0, 0, 420, 297).Intersect(wxRect(400, 200, 100, 100));
    const wxString text = wxString::Format("%s %dx%d", name, overlap.width, overlap.height);
    const bool ok = text == "site 20x97";
    std::printf("toolkit consumer %s %s\n", ok ? "ok" : "wrong", DRUTILS_PACKAGE_VERSION);
    return ok ? 0 : 1;
}
