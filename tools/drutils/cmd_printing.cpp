// drutils printers / papers, and the pc3 commands that need the printing system
// or edit custom papers: pc3 new, pc3 apply, pc3 papers. Model files' own paper
// lists (pmp show) are read here too.
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "cli.h"
#include "commands.h"
#include "plotcfg.h"
#include "ut_filename.h"
#include "ut_papers.h"
#include "ut_printdata.h"

namespace {

const char kPrintersHelp[] =
    "usage: drutils printers [--json]\n"
    "  Lists the system printers, local ones first: '*' marks the default, then the name,\n"
    "  local or remote, PS when it takes PostScript, the driver and the comment.\n"
    "Exit status 1 when the printing system cannot be asked.\n";

const char kPapersHelp[] =
    "usage: drutils papers [--json] PRINTER\n"
    "  Lists the papers of a printer in its order: the device paper number (1-118 standard,\n"
    "  256 up driver-defined), the name, the sheet and the printable area in millimetres.\n";

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

std::string num(double v) {
    char buf[64];
    std::snprintf(buf, sizeof buf, "%g", v);
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
            std::printf("%s %-20s %-6s %-2s  %s%s%s\n", isDefault ? "*" : " ", cli::utf8(name).c_str(),
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

// ------------------------------------------------------------------ pc3 papers

bool parseNumber(const std::string& text, double& out) {
    if (text.empty())
        return false;
    errno = 0;
    char* end = nullptr;
    const double v = std::strtod(text.c_str(), &end);
    if (errno != 0 || *end != '\0' || !std::isfinite(v))
        return false;
    out = v;
    return true;
}

bool parseIndex(const std::string& text, int count, int& out) {
    char* end = nullptr;
    errno = 0;
    const long v = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || errno != 0 || *end != '\0' || v < 0 || v >= count)
        return false;
    out = int(v);
    return true;
}

// The paper at i must keep a printable area: positive size, margins that fit.
std::string checkPaper(const ut::CustomPapers& p, int i) {
    const double w = p.getWidth(i), h = p.getHeight(i);
    const double l = p.getLeftMargin(i), r = p.getRightMargin(i), b = p.getBottomMargin(i), t = p.getTopMargin(i);
    if (!(w > 0) || !(h > 0))
        return "width and height must be greater than 0";
    if (l < 0 || r < 0 || b < 0 || t < 0)
        return "margins cannot be negative";
    if (!(l + r < w) || !(b + t < h))
        return "the margins leave no printable area";
    return std::string();
}

const char kPapersEditHelp[] =
    "usage: drutils pc3 papers FILE <command> [--unit mm|in]\n"
    "  list [--json]                          the configuration's custom papers (in --unit, mm by default)\n"
    "  add NAME WIDTH HEIGHT [--margins L,B,R,T]\n"
    "                                         a new paper, measured in --unit\n"
    "  set INDEX KEY=VALUE...                 change a paper: name, width, height, left, bottom, right, top\n"
    "  remove INDEX                           delete a paper; the last one removes the list\n"
    "The file is rewritten only when the whole change is valid.\n";

int pc3Papers(cli::Args& args) {
    if (cli::wantsHelp(args)) {
        std::fputs(kPapersEditHelp, stdout);
        return cli::kOk;
    }
    const bool json = cli::takeFlag(args, "--json");
    std::string unitText = "mm", margins;
    bool missing = false;
    cli::takeOption(args, "--unit", unitText, &missing);
    if (missing)
        return cli::usage("--unit needs mm or in");
    const bool hasMargins = cli::takeOption(args, "--margins", margins, &missing);
    if (missing)
        return cli::usage("--margins needs L,B,R,T");
    if (unitText != "mm" && unitText != "in")
        return cli::usage("--unit is mm or in, not '" + unitText + "'");
    if (cli::rejectUnknownOptions(args))
        return cli::kUsage;
    if (args.size() < 2)
        return cli::usage("pc3 papers needs FILE and list, add, set or remove");
    const std::string file = args[0], command = args[1];
    const size_t operands = args.size() - 2;
    if (command != "list" && command != "add" && command != "set" && command != "remove")
        return cli::usage("unknown command 'pc3 papers " + command + "'");
    if ((command == "list" && operands != 0) || (command == "add" && operands != 3) ||
        (command == "set" && operands < 2) || (command == "remove" && operands != 1))
        return cli::usage("wrong number of operands for pc3 papers " + command);
    if (json && command != "list")
        return cli::usage("--json is for pc3 papers list");
    if (hasMargins && command != "add")
        return cli::usage("--margins is for pc3 papers add");

    bool intact = true;
    std::unique_ptr<CPlotCfg3> cfg(CPlotCfg3::readStored(cli::wide(file).c_str(), &intact));
    if (!cfg)
        return cli::kFailure;
    ut::CustomPapers list(cfg.get());
    list.setUnit(unitText == "in" ? OdDbPlotSettings::kInches : OdDbPlotSettings::kMillimeters);
    list.load();

    if (command == "list") {
        cli::Json j;
        if (json)
            j.beginArray();
        for (int i = 0; i < list.size(); ++i) {
            const auto* p = list.paper(i);
            if (json) {
                j.beginObject().key("index").value(i).key("name").value(p->globalName);
                j.key("local_name").value(p->localName).key("stored_unit").value(p->units == 0 ? "in" : "mm");
                j.key("unit").value(unitText).key("width").value(list.getWidth(i)).key("height").value(list.getHeight(i));
                j.key("left").value(list.getLeftMargin(i)).key("bottom").value(list.getBottomMargin(i));
                j.key("right").value(list.getRightMargin(i)).key("top").value(list.getTopMargin(i)).endObject();
            } else {
                std::printf("%3d  %-30s %s x %s %s  margins %s, %s, %s, %s\n", i, cli::utf8(p->globalName).c_str(),
                            num(list.getWidth(i)).c_str(), num(list.getHeight(i)).c_str(), unitText.c_str(),
                            num(list.getLeftMargin(i)).c_str(), num(list.getBottomMargin(i)).c_str(),
                            num(list.getRightMargin(i)).c_str(), num(list.getTopMargin(i)).c_str());
            }
        }
        if (json) {
            j.endArray();
            j.finish();
        }
        return cli::kOk;
    }
    if (!intact)
        return cli::fail(file + ": not rewritten: its custom block could not be read and would be lost");

    if (command == "add") {
        const std::string& name = args[2];
        double w = 0, h = 0, m[4] = {0, 0, 0, 0};
        if (!parseNumber(args[3], w) || !parseNumber(args[4], h))
            return cli::fail("paper '" + name + "': width and height must be numbers");
        if (hasMargins) {
            std::string rest = margins + ",";
            for (double& v : m) {
                const size_t comma = rest.find(',');
                if (comma == std::string::npos || !parseNumber(rest.substr(0, comma), v))
                    return cli::usage("--margins needs four numbers: L,B,R,T");
                rest.erase(0, comma + 1);
            }
            if (!rest.empty())
                return cli::usage("--margins needs four numbers: L,B,R,T");
        }
        if (list.isDuplicateName(wxString::FromUTF8(name.c_str())))
            return cli::fail("paper '" + name + "': the configuration already has a paper of that name");
        if (!list.append(wxString::FromUTF8(name.c_str())))
            return cli::fail("paper '" + name + "': refused (an empty name, '{', a line break, longer than 400 "
                             "characters, or a full list)");
        const int i = list.size() - 1;
        list.setSize(i, w, h);
        list.setLeftMargin(i, m[0]);
        list.setBottomMargin(i, m[1]);
        list.setRightMargin(i, m[2]);
        list.setTopMargin(i, m[3]);
        if (const std::string why = checkPaper(list, i); !why.empty())
            return cli::fail("paper '" + name + "': " + why);
    } else {
        int i = 0;
        if (!parseIndex(args[2], list.size(), i))
            return cli::fail(file + ": there is no custom paper " + args[2] + " (the configuration has " +
                             std::to_string(list.size()) + ")");
        if (command == "remove") {
            list.remove(i);
        } else {
            for (size_t a = 3; a < args.size(); ++a) {
                const size_t eq = args[a].find('=');
                if (eq == std::string::npos || eq == 0)
                    return cli::usage("expected KEY=VALUE, got '" + args[a] + "'");
                const std::string key = args[a].substr(0, eq), value = args[a].substr(eq + 1);
                double v = 0;
                bool ok = true;
                if (key == "name") {
                    const wxString name = wxString::FromUTF8(value.c_str());
                    if (name != list.getName(i) && list.isDuplicateName(name))
                        return cli::fail("paper '" + value + "': the configuration already has a paper of that name");
                    ok = list.setName(i, name);
                } else if (key == "width" || key == "height") {
                    ok = parseNumber(value, v) &&
                         (key == "width" ? list.setSize(i, v, list.getHeight(i)) : list.setSize(i, list.getWidth(i), v));
                } else if (key == "left" || key == "bottom" || key == "right" || key == "top") {
                    ok = parseNumber(value, v) && (key == "left"     ? list.setLeftMargin(i, v)
                                                   : key == "bottom" ? list.setBottomMargin(i, v)
                                                   : key == "right"  ? list.setRightMargin(i, v)
                                                                     : list.setTopMargin(i, v));
                } else {
                    return cli::usage("unknown key '" + key + "' (name, width, height, left, bottom, right, top)");
                }
                if (!ok)
                    return cli::fail("paper " + args[2] + ": " + key + "='" + value + "' refused");
            }
            if (const std::string why = checkPaper(list, i); !why.empty())
                return cli::fail("paper " + args[2] + ": " + why);
        }
    }
    list.save();
    return cfg->write(cli::wide(file).c_str()) == 0 ? cli::kOk : cli::kFailure;
}

const CPBlock* subBlock(const CPBlock* b, const wchar_t* name) { return b ? b->findBlock(name) : nullptr; }

OdString text(const CPBlock* b, const wchar_t* key) {
    const CPItem* item = b ? b->find(key, kPStr) : nullptr;
    return item ? static_cast<const CPStr*>(item)->value() : OdString();
}

double real(const CPBlock* b, const wchar_t* key) {
    double v = 0;
    return b && readDouble(b, key, v) ? v : 0.0;
}

} // namespace

// ------------------------------------------------------------------ model files' papers

std::vector<ModelPaper> modelPapers(const PlotModelParam& pmp) {
    std::vector<ModelPaper> out;
    const CPBlock* media = nullptr;
    for (const auto& e : pmp.udm.foreign.entries())
        if (e.item->kind() == kPBlock && e.item->name() == L"media")
            media = static_cast<const CPBlock*>(e.item.get());
    const CPBlock* sizes = subBlock(media, L"size");
    const CPBlock* descriptions = subBlock(media, L"description");
    if (!sizes)
        return out;
    for (const CPItem* item : sizes->items()) {
        if (item->kind() != kPBlock)
            continue;
        const auto* s = static_cast<const CPBlock*>(item);
        ModelPaper p;
        p.name = text(s, L"name");
        p.localizedName = text(s, L"localized_name");
        const CPItem* landscape = s->find(L"landscape_mode", kPBool);
        p.landscape = landscape && static_cast<const CPBool*>(landscape)->value();
        const OdString link = text(s, L"media_description_name");
        for (const CPItem* d : descriptions ? descriptions->items() : std::vector<CPItem*>()) {
            const auto* db = d->kind() == kPBlock ? static_cast<const CPBlock*>(d) : nullptr;
            if (!db || link.isEmpty() || text(db, L"name") != link)
                continue;
            p.width = real(db, L"media_bounds_urx");
            p.height = real(db, L"media_bounds_ury");
            p.printable[0] = real(db, L"printable_bounds_llx");
            p.printable[1] = real(db, L"printable_bounds_lly");
            p.printable[2] = real(db, L"printable_bounds_urx");
            p.printable[3] = real(db, L"printable_bounds_ury");
            break;
        }
        out.push_back(p);
    }
    return out;
}

int runPrinters(cli::Args& args) {
    if (cli::wantsHelp(args)) {
        std::fputs(kPrintersHelp, stdout);
        return cli::kOk;
    }
    return printers(args);
}

int runPapers(cli::Args& args) {
    if (args.empty() || cli::wantsHelp(args)) {
        std::fputs(kPapersHelp, args.empty() ? stderr : stdout);
        return args.empty() ? cli::kUsage : cli::kOk;
    }
    return papers(args);
}

int runPc3New(cli::Args& args) { return pc3New(args); }
int runPc3Apply(cli::Args& args) { return pc3Apply(args); }
int runPc3Papers(cli::Args& args) { return pc3Papers(args); }
