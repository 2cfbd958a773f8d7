// An application that reads plot style tables and printer configurations and
// nothing more, such as a program built on another toolkit. It is built against
// the base library alone (drutils::drutils, or pkg-config's drutils) with nothing
// of wxWidgets but its base flags (`wx-config --cxxflags base`, which leave the
// GUI classes undeclared), and it must run without the GUI toolkit, the printing
// system or the printing library in the process.
// Usage: reader TABLE CONFIGURATION
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

#include <wx/init.h>
#if wxUSE_GUI
#error "the reader is built with wxWidgets' GUI flags"
#endif

#include <plotcfg.h>
#include <plotstyletable.h>

namespace {

OdString wide(const char* path) { return OdString(std::wstring(path, path + std::strlen(path)).c_str()); }

// The first library of the process whose name holds one of the GUI toolkit's or
// the printing system's, or empty.
std::string guiLibraryLoaded() {
    std::ifstream in("/proc/self/maps");
    const std::string maps((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    for (const char* name : {"libgtk-3", "libX11", "libcups", "libwx_gtk3u", "libdrutils_print"})
        if (maps.find(name) != std::string::npos)
            return name;
    return std::string();
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3)
        return 2;
    wxInitializer toolkit;
    if (!toolkit.IsOk())
        return 1;
    std::unique_ptr<CPlotStyleTable> table(CPlotStyleTable::read(wide(argv[1]).c_str()));
    // Without the printing library no printer is asked: the configuration comes as
    // stored and is not matched to a printer.
    bool printerFound = true;
    std::unique_ptr<CPlotCfg3> cfg(CPlotCfg3::read(wide(argv[2]).c_str(), printerFound));
    const std::string loaded = guiLibraryLoaded();
    const bool ok = table && table->size() > 0 && cfg && !cfg->meta.winDriverName.isEmpty() && !printerFound &&
                    loaded.empty();
    if (!loaded.empty())
        std::printf("reader consumer loaded %s\n", loaded.c_str());
    std::printf("reader consumer %s %s\n", ok ? "ok" : "wrong", DRUTILS_PACKAGE_VERSION);
    return ok ? 0 : 1;
}
