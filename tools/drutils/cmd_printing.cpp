// drutils printers / papers, and the pc3 commands that need the printing system:
// pc3 new and pc3 apply. Built as the printing module (printing_module.h), which
// the tool loads when one of these runs; their help is the tool's own
// (printing_loader.cpp).
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <type_traits>

#include <wx/paper.h>

#include "cli.h"
#include "platform/codepage.h"
#include "printing_module.h"
#include "plotcfg.h"
#include "ut_papers.h"
#include "ut_printdata.h"

namespace {

// The print factory and printer look-ups for the life of a command.
struct PrintingSupport {
    PrintingSupport() { ut::registerPrintFactory(); }
    ~PrintingSupport() { ut::unRegisterPrintFactory(); }
};

std::string mm(double v) {
    char buf[64];
    std::snprintf(buf, sizeof buf, "%.2f", v);
    return buf;
}

// A printing-system failure as the tool's one line.
int printingFailure(const std::string& what) {
    const OdString why = ut::lastPrinterError();
    return cli::fail(what + ": " + (why.isEmpty() ? std::string("the printing system gave no answer") : cli::utf8(why)));
}

// ------------------------------------------------------------------ printers

int printers(cli::Args& args) {
    const bool json = cli::takeFlag(args, "--json");
    if (cli::rejectUnknownOptions(args))
        return cli::kUsage;
    if (!args.empty())
        return cli::usage("printers takes no arguments");
    PrintingSupport support;
    OdArray<OdString> names;
    ut::getSystemPrinters(names);
    if (names.isEmpty() && !ut::lastPrinterError().isEmpty())
        return printingFailure("printers");
    const OdString def = ut::getDefaultSystemPrinter(false);
    // The name column is as wide as the widest name on screen (East Asian
    // characters take two columns, combining marks none), so the columns after it
    // stay in line whatever the names hold.
    size_t nameWidth = 20;
    for (const OdString& name : names)
        nameWidth = std::max(nameWidth, ut::platform::displayWidth(name.str()));
    cli::Json j;
    if (json)
        j.beginArray();
    for (const OdString& name : names) {
        CPrnHelper printer(name.c_str());
        OdString driver, comment, location, port;
        printer.getPrinterDriver(driver);
        printer.getComment(comment);
        printer.getLocation(location);
        printer.getPorts(port);
        const bool isDefault = name == def;
        if (json) {
            j.beginObject().key("name").value(name).key("default").value(isDefault);
            j.key("local").value(printer.isLocal()).key("postscript").value(printer.isPostScript());
            j.key("driver").value(driver).key("comment").value(comment).key("location").value(location);
            j.key("port").value(port).endObject();
        } else {
            const std::string padding(nameWidth - ut::platform::displayWidth(name.str()), ' ');
            std::printf("%s %s%s %-6s %-2s  %s%s%s\n", isDefault ? "*" : " ", cli::utf8(name).c_str(), padding.c_str(),
                        printer.isLocal() ? "local" : "remote", printer.isPostScript() ? "PS" : "-",
                        cli::utf8(driver).c_str(), comment.isEmpty() ? "" : " - ", cli::utf8(comment).c_str());
        }
    }
    if (json) {
        j.endArray();
        j.finish();
    }
    return cli::kOk;
}

// ------------------------------------------------------------------ papers

int papers(cli::Args& args) {
    const bool json = cli::takeFlag(args, "--json");
    if (cli::rejectUnknownOptions(args))
        return cli::kUsage;
    if (args.size() != 1)
        return cli::usage("papers needs exactly one PRINTER");
    PrintingSupport support;
    OdArray<ut::PaperSizeInfo> list;
    if (!ut::PaperSizeGetter(cli::wide(args[0]).c_str()).get(list))
        return printingFailure(args[0]);
    cli::Json j;
    if (json)
        j.beginArray();
    for (const auto& p : list) {
        if (json) {
            j.beginObject().key("number").value(int(p.number)).key("name").value(p.name);
            j.key("width").value(p.width).key("height").value(p.height);
            j.key("printable").beginArray().value(p.printableLlx).value(p.printableLly);
            j.value(p.printableUrx).value(p.printableUry).endArray().endObject();
        } else {
            std::printf("%5d  %-28s %8s x %-8s mm  printable %s,%s - %s,%s\n", p.number, cli::utf8(p.name).c_str(),
                        mm(p.width).c_str(), mm(p.height).c_str(), mm(p.printableLlx).c_str(),
                        mm(p.printableLly).c_str(), mm(p.printableUrx).c_str(), mm(p.printableUry).c_str());
        }
    }
    if (json) {
        j.endArray();
        j.finish();
    }
    return cli::kOk;
}

// ------------------------------------------------------------------ pc3 new

int pc3New(cli::Args& args) {
    const bool force = cli::takeFlag(args, "--force");
    if (cli::rejectUnknownOptions(args))
        return cli::kUsage;
    if (args.size() != 2)
        return cli::usage("pc3 new needs PRINTER and OUT");
    const std::string& printer = args[0];
    const std::string& out = args[1];
    const OdString outPath = cli::wide(out);
    if (std::string why = cli::checkOutput(out, {}, force); !why.empty())
        return cli::fail(why);
    PrintingSupport support;
    const OdString name = cli::wide(printer);
    if (name.iCompare(CPlotCfg3::kPdfDeviceName) != 0 && !CPrnHelper(name.c_str()).isValid())
        return printingFailure(printer);
    std::unique_ptr<CPlotCfg3> cfg(CPlotCfg3::create(name.c_str()));
    if (!cfg)
        return cli::kFailure;
    return cfg->write(outPath.c_str()) == 0 ? cli::kOk : cli::kFailure;
}

// ------------------------------------------------------------------ pc3 apply

const char* duplexName(wxDuplexMode d) {
    return d == wxDUPLEX_VERTICAL ? "long edge" : d == wxDUPLEX_HORIZONTAL ? "short edge" : "simplex";
}

std::string qualityText(short q) {
    switch (q) {
    case DMRES_HIGH: return "high";
    case DMRES_MEDIUM: return "medium";
    case DMRES_LOW: return "low";
    case DMRES_DRAFT: return "draft";
    default: return std::to_string(q) + " dpi";
    }
}

int pc3Apply(cli::Args& args) {
    const bool json = cli::takeFlag(args, "--json");
    if (cli::rejectUnknownOptions(args))
        return cli::kUsage;
    if (args.size() != 1)
        return cli::usage("pc3 apply needs exactly one FILE");
    PrintingSupport support;
    bool found = false;
    std::unique_ptr<CPlotCfg3> cfg(CPlotCfg3::read(cli::wide(args[0]).c_str(), found));
    // What the configuration gives on this system cannot be told without the
    // printing system; a paper or printer it could not check is not to blame.
    if ((!cfg || (!found && !cfg->isPdfExport())) && ut::printingSystemUnreachable())
        return printingFailure(args[0]);
    if (!cfg)
        return cli::kFailure;
    if (cfg->isPdfExport()) {
        if (json) {
            cli::Json j;
            j.beginObject().key("pdf_export").value(true).key("printer").null().endObject();
            j.finish();
        } else {
            std::printf("%-14s %s\n", "output", "the built-in PDF output: no printer");
        }
        return cli::kOk;
    }
    ut::PrintData data;
    cfg->toPrintData(data);
    // The options first: they bring the device mode up to date themselves.
    std::vector<std::pair<OdString, OdString>> options;
    ut::getJobOptions(data, options);
    ut::DEVMODE_RAII record(data);
    const DEVMODEW* dm = record.get();
    if (!dm)
        return cli::fail(args[0] + ": no device mode could be made");
    OdString dump;
    ut::dumpDevMode(dm, record.bytes(), dump);
    short paper = 0;
    const bool hasPaper = data.getDmPaperSize(paper);
    // Private bytes this library wrote carry job options; others are passed on.
    const char* origin = dm->dmDriverExtra == 0                          ? "none"
                         : ut::hasOwnPrivateData(dm, record.bytes()) ? "drutils"
                                                                      : "foreign";

    const std::string printer = cli::utf8(OdString(data.GetPrinterName().wc_str()));
    if (json) {
        cli::Json j;
        j.beginObject().key("pdf_export").value(false).key("printer").value(printer);
        j.key("printer_found").value(found);
        j.key("paper").beginObject().key("number");
        hasPaper ? j.value(int(paper)) : j.null();
        j.key("form_name").value(cli::utf8(OdString(ut::WindowsPrintNativeData::GetNativeData(data)->GetFormName().wc_str())));
        j.key("width").value(data.GetPaperSize().x).key("height").value(data.GetPaperSize().y).endObject();
        j.key("orientation").value(data.GetOrientation() == wxLANDSCAPE ? "landscape" : "portrait");
        j.key("copies").value(data.GetNoCopies()).key("colour").value(data.GetColour());
        j.key("duplex").value(duplexName(data.GetDuplex())).key("collate").value(data.GetCollate());
        j.key("quality").value(int(data.getDmQuality())).key("source").value(int(data.getDmBin()));
        j.key("private_bytes").beginObject().key("size").value(unsigned(dm->dmDriverExtra));
        j.key("origin").value(origin).endObject();
        j.key("job_options").beginArray();
        for (const auto& [name, value] : options)
            j.beginObject().key("name").value(name).key("value").value(value).endObject();
        j.endArray();
        j.key("device_mode").value(dump);
        j.endObject();
        j.finish();
        return cli::kOk;
    }
    std::printf("%-14s %s%s\n", "printer", printer.c_str(), found ? "" : " (not a printer of this system)");
    std::printf("%-14s %s (%s), %d x %d mm, %s\n", "paper",
                cli::utf8(OdString(ut::WindowsPrintNativeData::GetNativeData(data)->GetFormName().wc_str())).c_str(),
                hasPaper ? std::to_string(paper).c_str() : "none", data.GetPaperSize().x, data.GetPaperSize().y,
                data.GetOrientation() == wxLANDSCAPE ? "landscape" : "portrait");
    std::printf("%-14s %d%s\n", "copies", data.GetNoCopies(), data.GetCollate() ? ", collated" : "");
    std::printf("%-14s %s, %s, %s\n", "output", data.GetColour() ? "colour" : "monochrome",
                duplexName(data.GetDuplex()), qualityText(data.getDmQuality()).c_str());
    std::printf("%-14s %u (%s)\n", "private bytes", unsigned(dm->dmDriverExtra),
                std::string(origin) == "drutils" ? "options of the queue"
                : std::string(origin) == "foreign" ? "from another system, passed on untouched"
                                                   : "none");
    std::printf("job options\n");
    for (const auto& [name, value] : options)
        std::printf("  %s=%s\n", cli::utf8(name).c_str(), cli::utf8(value).c_str());
    std::printf("device mode\n%s", cli::utf8(dump).c_str());
    return cli::kOk;
}

// The module is loaded into a program that initialised wxWidgets before the GUI
// library was there, so that library's start-up never ran for it; of what it sets
// up, printing needs the paper database.
class PaperDatabase {
public:
    PaperDatabase() {
        if (wxThePrintPaperDatabase)
            return;
        m_own = std::make_unique<wxPrintPaperDatabase>();
        m_own->CreateDatabase();
        wxThePrintPaperDatabase = m_own.get();
    }
    ~PaperDatabase() {
        if (m_own)
            wxThePrintPaperDatabase = nullptr;
    }
    PaperDatabase(const PaperDatabase&) = delete;
    PaperDatabase& operator=(const PaperDatabase&) = delete;

private:
    std::unique_ptr<wxPrintPaperDatabase> m_own;
};

} // namespace

extern "C" {

__attribute__((visibility("default"))) const char* drutils_printing_version() { return DRUTILS_VERSION; }

__attribute__((visibility("default"))) int drutils_printing_command(const char* command, cli::Args& args) {
    static_assert(std::is_same_v<decltype(&drutils_printing_version), DrutilsPrintingVersion>);
    static_assert(std::is_same_v<decltype(&drutils_printing_command), DrutilsPrintingCommand>);
    static const cli::Command kCommands[] = {
        {"printers", printers}, {"papers", papers}, {"pc3 new", pc3New}, {"pc3 apply", pc3Apply}};
    const PaperDatabase database;
    for (const cli::Command& c : kCommands)
        if (std::strcmp(command, c.name) == 0)
            return c.run(args);
    return cli::usage(std::string("unknown command '") + command + "'");
}

} // extern "C"
