// CPlotCfg3: reading, writing and the PDF check of a printer configuration. The
// system-printer side of reading goes through ut::PrinterLookup so that this file
// knows nothing of the printing system.
#include <atomic>

#include <wx/translation.h>

#include "plotcfg/cfgschema.h"
#include "ut_log.h"

using plotcfg::BlockReader;
using plotcfg::SchemaError;

namespace {

const char kSource[] = "src/utils/plot/plotcfg3";

std::atomic<ut::PrinterLookup*> g_lookup{nullptr};

// " 'path'" for messages, or nothing when the tree did not come from a file.
std::wstring quoted(const OdString& path) { return path.isEmpty() ? std::wstring() : L" '" + path.str() + L"'"; }

bool loadConfig(CPlotCfg3& cfg, const CPBlock* root, bool& intact, const OdString& source, const char* function) {
    intact = true;
    if (!root) {
        ut::logError(kSource, function, L"Cannot read printer configuration%ls: there is no parameter tree.",
                     quoted(source).c_str());
        return false;
    }
    SchemaError err;
    BlockReader r(root, std::wstring(), err);
    CPlotCfg3 n;
    const CPBlock* b = nullptr;
    const bool ok = (b = r.sub(L"meta", true)) && plotcfg::readNode(n.meta, b, L"meta", err) &&
                    (b = r.sub(L"media", true)) && plotcfg::readNode(n.media, b, L"media", err) &&
                    (b = r.sub(L"io", true)) && plotcfg::readNode(n.io, b, L"io", err) &&
                    (b = r.sub(L"res_color_mem", true)) &&
                    plotcfg::readNode(n.resColorMem, b, L"res_color_mem", err);
    if (!ok) {
        ut::logError(kSource, function, L"Cannot read printer configuration%ls: %ls.", quoted(source).c_str(),
                     err.message.c_str());
        return false;
    }
    if (const CPBlock* c = r.sub(L"custom", false)) {
        SchemaError customErr;
        CCustomNode custom;
        if (plotcfg::readNode(custom, c, L"custom", customErr)) {
            n.custom = std::move(custom);
        } else {
            // Driver settings are a convenience: the configuration still names its
            // device without them, so the read goes on.
            intact = false;
            ut::logWarning(kSource, function, L"Printer configuration%ls: its custom block is dropped: %ls.",
                           quoted(source).c_str(), customErr.message.c_str());
        }
    }
    r.keepForeign(n.foreign);
    n.checkIfPdfExport();
    cfg = std::move(n);
    return true;
}

// Builds the whole root into a scratch block first, so that a failure leaves the
// caller's block untouched.
bool buildRoot(const CPlotCfg3& cfg, CPBlock& root, SchemaError& err) {
    plotcfg::BlockWriter w(&root, &cfg.foreign, std::wstring(), err);
    const bool ok =
        w.sub(L"meta", [&](CPBlock* b, const std::wstring& p) { return plotcfg::writeNode(cfg.meta, b, p, err); }) &&
        w.sub(L"media", [&](CPBlock* b, const std::wstring& p) { return plotcfg::writeNode(cfg.media, b, p, err); }) &&
        w.sub(L"io", [&](CPBlock* b, const std::wstring& p) { return plotcfg::writeNode(cfg.io, b, p, err); }) &&
        w.sub(L"res_color_mem",
              [&](CPBlock* b, const std::wstring& p) { return plotcfg::writeNode(cfg.resColorMem, b, p, err); }) &&
        (!cfg.custom ||
         w.sub(L"custom",
               [&](CPBlock* b, const std::wstring& p) { return plotcfg::writeNode(*cfg.custom, b, p, err); }));
    if (ok)
        w.finish();
    return ok;
}

bool equalsNoCase(const OdString& a, const wchar_t* b) { return a.iCompare(b) == 0; }

} // namespace

namespace ut {

PrinterLookup::~PrinterLookup() = default;

PrinterLookup* setPrinterLookup(PrinterLookup* lookup) { return g_lookup.exchange(lookup); }

PrinterLookup* printerLookup() { return g_lookup.load(); }

} // namespace ut

bool CPlotCfg3::init(const CPBlock* root, bool& intact) {
    return loadConfig(*this, root, intact, OdString(), "CPlotCfg3::init");
}

bool CPlotCfg3::init(const CPIAParser& parser, bool& intact) {
    return loadConfig(*this, parser.root(), intact, OdString(), "CPlotCfg3::init");
}

CPlotCfg3* CPlotCfg3::readStored(const wchar_t* path, bool* intact) {
    const OdString file(path);
    CPIAParser parser;
    if (!parser.parse(file.c_str())) {
        plotcfg::logParseFailure(parser, L"printer configuration", file, kSource, "CPlotCfg3::readStored");
        return nullptr;
    }
    auto* cfg = new CPlotCfg3;
    bool whole = true;
    if (!loadConfig(*cfg, parser.root(), whole, file, "CPlotCfg3::readStored")) {
        delete cfg;
        return nullptr;
    }
    if (intact)
        *intact = whole;
    return cfg;
}

CPlotCfg3* CPlotCfg3::read(const wchar_t* path, bool& printerFound) {
    printerFound = false;
    CPlotCfg3* cfg = readStored(path);
    if (!cfg || cfg->isPdfExport())
        return cfg;
    ut::PrinterLookup* lookup = ut::printerLookup();
    if (!lookup)
        return cfg;
    printerFound = lookup->resolvePrinterByDriver(*cfg);
    if (!cfg->meta.defaultSystemCfg.value_or(false))
        return cfg;
    // A configuration for "the default printer" follows the system's choice made
    // since it was saved, not the printer stored in it.
    printerFound = false;
    delete cfg;
    const OdString printer = lookup->defaultSystemPrinter();
    // No default (none chosen, or no printing system to ask): nothing to make, and
    // the reason the look-up left (ut::lastPrinterError) stays for the caller.
    CPlotCfg3* made = printer.isEmpty() ? nullptr : lookup->createForPrinter(printer.c_str());
    if (!made) {
        const wxString format = wxGetTranslation(L"Failed to create plot configuration for default printer %ls.");
        ut::logError(kSource, "CPlotCfg3::read", format.wc_str(), printer.c_str());
    }
    return made;
}

bool CPlotCfg3::writeToBlock(CPBlock* root) const {
    if (!root)
        return false;
    SchemaError err;
    CPBlock scratch(L"");
    if (!buildRoot(*this, scratch, err)) {
        ut::logError(kSource, "CPlotCfg3::writeToBlock", L"Cannot write printer configuration: %ls.",
                     err.message.c_str());
        return false;
    }
    for (const CPItem* item : scratch.items()) {
        if (root->find(item->name().c_str(), item->kind())) {
            ut::logError(kSource, "CPlotCfg3::writeToBlock",
                         L"Cannot write printer configuration: the target already holds '%ls'.", item->name().c_str());
            return false;
        }
    }
    for (const CPItem* item : scratch.items())
        root->add(CPForeignItems::clone(*item));
    return true;
}

int CPlotCfg3::write(const wchar_t* path) const {
    const OdString file(path);
    SchemaError err;
    CPBlock root(L"");
    if (!buildRoot(*this, root, err)) {
        ut::logError(kSource, "CPlotCfg3::write", L"Cannot write printer configuration '%ls': %ls.", file.c_str(),
                     err.message.c_str());
        return -2;
    }
    OdString why;
    const int rc = plotcfg::writeContainer(root, file.c_str(), why);
    if (rc != 0)
        ut::logError(kSource, "CPlotCfg3::write", L"Cannot write printer configuration '%ls': %ls.", file.c_str(),
                     why.c_str());
    return rc;
}

void CPlotCfg3::checkIfPdfExport() {
    bool flag = false;
    if (custom && custom->get(flag, CCustomNode::kPdfExport) && flag) {
        m_pdfExport = true;
        return;
    }
    // The stored driver path is a Windows one: both separators end a folder.
    const OdString& driver = meta.driverPathname;
    const int slash = int(driver.str().find_last_of(L"\\/") + 1); // npos + 1 == 0
    const OdString driverFile = driver.mid(slash);
    m_pdfExport = equalsNoCase(meta.driverTagLine, L"PDF ePlot - by Autodesk") &&
                  equalsNoCase(meta.localizedModelName, L"DWG To PDF") &&
                  equalsNoCase(meta.canonicalFamilyName, L"Autodesk ePlot") &&
                  equalsNoCase(meta.canonicalModelName, L"pdf") && equalsNoCase(driverFile.left(7), L"pdfplot");
}

bool CPlotCfg3::resolvePrinterByDriver() {
    ut::PrinterLookup* lookup = ut::printerLookup();
    return lookup && lookup->resolvePrinterByDriver(*this);
}
