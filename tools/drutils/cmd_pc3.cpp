// drutils pc3 / pmp: printer configurations and user-defined model files. show
// prints what a configuration describes, set, custom and papers change it in
// place; the file is rewritten only when the whole new one could be made, and
// never when reading had to drop part of it. (pc3 new and apply, which ask the
// printing system, are in cmd_printing.cpp.)
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>

#include "cli.h"
#include "commands.h"
#include "plotcfg.h"
#include "ut_papers.h"

namespace {

const char kPc3Help[] =
    "usage: drutils pc3 <command> [options]\n"
    "  show [--json] FILE                       device, driver, paper, bounds, resolution,\n"
    "                                           colour, custom papers and values (--json: all)\n"
    "  set FILE KEY=VALUE...                    change common fields (keys below); all or nothing\n"
    "  custom FILE list [--json]                the driver-specific custom values\n"
    "  custom FILE get NAME [--kind K]          print one value\n"
    "  custom FILE set NAME VALUE [--kind K]    store a value; K is string, binary (hexadecimal,\n"
    "                                           two digits per byte), bool, real or int; a new\n"
    "                                           name needs --kind; other kinds of NAME are removed\n"
    "  custom FILE remove NAME [--kind K]       delete a value (every kind unless --kind)\n"
    "  new PRINTER OUT [--force]                a configuration of a system printer (or of\n"
    "                                           \"Print As PDF\"); an existing OUT only with --force\n"
    "  apply [--json] FILE                      the print settings, job options and device mode\n"
    "                                           the configuration gives on this system\n"
    "  papers FILE list|add|set|remove ...      custom papers ('pc3 papers --help')\n"
    "Keys of set:\n"
    "  win_device_name, win_driver_name, friendly_net_name, config_description   text\n"
    "  default_system_cfg, config_autospool      true, false or unset\n"
    "  paper                                     a custom paper of the file or a standard paper\n"
    "                                            (Letter, A4, ...): name, size and bounds\n"
    "  dm_orientation                            portrait, landscape, 1 or 2\n"
    "  landscape_mode, plot_to_file, collate     true or false\n"
    "  number_of_copies                          1 to 9999\n"
    "  dm_scale                                  1 to 1000 (percent)\n"
    "  dm_color                                  mono, color, 1 or 2\n"
    "  resolution                                DMRES_HIGH/MEDIUM/LOW/DRAFT, DPI or XxY\n"
    "  pathname                                  output file of plot_to_file\n"
    "Exit status 1 when a file cannot be read or written or a value is refused, and when\n"
    "new or apply (of a configuration of a system printer) cannot reach the printing system.\n";

const char kPmpHelp[] = "usage: drutils pmp show [--json] FILE\n"
                        "  Prints the driver description, calibration and papers of a user-defined model file.\n";

// ------------------------------------------------------------------ value parsing

bool parseLong(const std::string& text, long lo, long hi, long& out) {
    if (text.empty())
        return false;
    errno = 0;
    char* end = nullptr;
    const long v = std::strtol(text.c_str(), &end, 10);
    if (errno != 0 || *end != '\0' || v < lo || v > hi)
        return false;
    out = v;
    return true;
}

bool parseReal(const std::string& text, double& out) {
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

bool parseBool(const std::string& text, bool& out) {
    if (text == "true" || text == "yes" || text == "on" || text == "1")
        return out = true, true;
    if (text == "false" || text == "no" || text == "off" || text == "0")
        return out = false, true;
    return false;
}

bool parseTri(const std::string& text, std::optional<bool>& out) {
    bool b;
    if (parseBool(text, b)) {
        out = b;
        return true;
    }
    if (text == "unset") {
        out.reset();
        return true;
    }
    return false;
}

std::string kindText(CCustomNode::EKind kind) { return cli::utf8(OdString(CCustomNode::kindName(kind))); }

bool parseKind(const std::string& text, CCustomNode::EKind& kind) {
    for (int k = CCustomNode::kString; k <= CCustomNode::kInt; ++k) {
        if (text == kindText(CCustomNode::EKind(k))) {
            kind = CCustomNode::EKind(k);
            return true;
        }
    }
    return false;
}

std::string mm(double v) {
    char buf[64];
    std::snprintf(buf, sizeof buf, "%.2f", v);
    return buf;
}


// ------------------------------------------------------------------ reading and writing

// Null when the file cannot be read; the library has said why.
std::unique_ptr<CPlotCfg3> load(const std::string& file, bool& intact) {
    return std::unique_ptr<CPlotCfg3>(CPlotCfg3::readStored(cli::wide(file), &intact));
}

int save(const CPlotCfg3& cfg, const std::string& file, bool intact) {
    if (!intact)
        return cli::fail(file + ": not rewritten: its custom block could not be read and would be lost");
    return cfg.write(cli::wide(file)) == 0 ? cli::kOk : cli::kFailure;
}

// ------------------------------------------------------------------ show

struct CustomValue {
    CCustomNode::EKind kind;
    OdString name;
    std::string text; // as the tool prints it
};

std::string realText(double v) {
    char buf[64];
    std::snprintf(buf, sizeof buf, "%g", v);
    return buf;
}

std::vector<CustomValue> customValues(const CCustomNode& c) {
    std::vector<CustomValue> out;
    for (const auto& [n, v] : c.strings())
        out.push_back({CCustomNode::kString, n, cli::utf8(v)});
    for (const auto& [n, v] : c.binaries())
        out.push_back({CCustomNode::kBinary, n, cli::utf8(v)});
    for (const auto& [n, v] : c.bools())
        out.push_back({CCustomNode::kBool, n, v ? "true" : "false"});
    for (const auto& [n, v] : c.reals())
        out.push_back({CCustomNode::kReal, n, realText(v)});
    for (const auto& [n, v] : c.ints())
        out.push_back({CCustomNode::kInt, n, std::to_string(v)});
    return out;
}

void jsonCustomValue(cli::Json& j, const CCustomNode& c, const CustomValue& v) {
    j.beginObject().key("name").value(v.name).key("kind").value(kindText(v.kind));
    j.key("value");
    switch (v.kind) {
    case CCustomNode::kBool: {
        bool b = false;
        c.get(b, v.name);
        j.value(b);
        break;
    }
    case CCustomNode::kReal: {
        double d = 0;
        c.get(d, v.name);
        j.value(d);
        break;
    }
    case CCustomNode::kInt: {
        int i = 0;
        c.get(i, v.name);
        j.value(i);
        break;
    }
    default: j.value(v.text);
    }
    j.endObject();
}

void jsonForeign(cli::Json& j, const CPForeignItems& f) {
    j.key("other_keys").beginArray();
    for (const auto& e : f.entries())
        j.value(e.item->name());
    j.endArray();
}

void jsonMeta(cli::Json& j, const CMetaNode& m) {
    j.beginObject();
    j.key("user_defined_model_pathname").value(m.userDefinedModelPathname);
    j.key("user_defined_model_basename").value(m.userDefinedModelBasename);
    j.key("driver_pathname").value(m.driverPathname);
    j.key("driver_version").value(m.driverVersion);
    j.key("driver_tag_line").value(m.driverTagLine);
    j.key("toolkit_version").value(m.toolkitVersion);
    j.key("driver_type").value(m.driverType);
    j.key("canonical_family_name").value(m.canonicalFamilyName);
    j.key("show_custom_first").value(m.showCustomFirst);
    j.key("truetype_as_text").value(m.truetypeAsText);
    j.key("canonical_model_name").value(m.canonicalModelName);
    j.key("localized_family_name").value(m.localizedFamilyName);
    j.key("localized_model_name").value(m.localizedModelName);
    j.key("file_only").value(m.fileOnly);
    j.key("model_abilities").value(m.modelAbilities);
    j.key("udm_description").value(m.udmDescription);
    j.key("win_device_name").value(m.winDeviceName);
    j.key("win_driver_name").value(m.winDriverName);
    j.key("short_net_name").value(m.shortNetName);
    j.key("friendly_net_name").value(m.friendlyNetName);
    j.key("dm_driver_version").value(m.dmDriverVersion);
    j.key("default_system_cfg");
    m.defaultSystemCfg ? j.value(*m.defaultSystemCfg) : j.null();
    j.key("platform").value(m.platform);
    j.key("locale").value(m.locale);
    j.key("config_description").value(m.configDescription);
    j.key("config_autospool");
    m.configAutospool ? j.value(*m.configAutospool) : j.null();
    jsonForeign(j, m.foreign);
    j.endObject();
}

void jsonPc3(const CPlotCfg3& cfg, bool intact) {
    cli::Json j;
    j.beginObject();
    j.key("pdf_export").value(cfg.isPdfExport());
    j.key("custom_block_dropped").value(!intact);
    j.key("meta");
    jsonMeta(j, cfg.meta);

    const CMediaNode& m = cfg.media;
    j.key("media").beginObject();
    j.key("selection_method").value(m.selectionMethod);
    j.key("type").value(m.type);
    j.key("dm_orientation").value(m.dmOrientation);
    j.key("actual_printable_bounds").beginArray();
    j.value(m.actualPrintableBoundsLlx).value(m.actualPrintableBoundsLly);
    j.value(m.actualPrintableBoundsUrx).value(m.actualPrintableBoundsUry);
    j.endArray();
    j.key("number_of_copies").value(m.numberOfCopies);
    const CSizeNode& s = m.size;
    j.key("size").beginObject();
    j.key("name").value(s.name).key("group").value(s.group).key("landscape_mode").value(s.landscapeMode);
    j.key("longplot_reduction").value(s.longplotReduction).key("dm_scale").value(s.dmScale);
    const CMediaDescriptionNode& d = s.mediaDescription;
    j.key("media_description").beginObject();
    j.key("printable_bounds").beginArray();
    j.value(d.printableBoundsLlx).value(d.printableBoundsLly).value(d.printableBoundsUrx).value(d.printableBoundsUry);
    j.endArray();
    j.key("printable_area").value(d.printableArea).key("dimensional").value(d.dimensional);
    j.key("media_bounds").beginObject().key("urx").value(d.mediaBounds.urx).key("ury").value(d.mediaBounds.ury);
    j.endObject().endObject().endObject();
    j.key("destination");
    if (m.destination) {
        j.beginObject().key("name").value(m.destination->name);
        j.key("collating_type").value(m.destination->collatingType);
        j.key("collating_name").value(m.destination->collatingName);
        jsonForeign(j, m.destination->foreign);
        j.endObject();
    } else {
        j.null();
    }
    j.key("custom_papers");
    if (m.customPapers) {
        j.beginArray();
        for (const auto& p : m.customPapers->papers) {
            j.beginObject().key("global_name").value(p.globalName).key("local_name").value(p.localName);
            j.key("units").value(p.units).key("width").value(p.width).key("height").value(p.height);
            j.key("left").value(p.left).key("bottom").value(p.bottom).key("right").value(p.right);
            j.key("top").value(p.top).endObject();
        }
        j.endArray();
    } else {
        j.null();
    }
    jsonForeign(j, m.foreign);
    j.endObject();

    j.key("io").beginObject().key("type").value(cfg.io.type).key("pathname").value(cfg.io.pathname);
    j.key("allsysvalid").value(cfg.io.allsysvalid).key("plot_to_file").value(cfg.io.plotToFile);
    jsonForeign(j, cfg.io.foreign);
    j.endObject();

    const CResColorMemNode& r = cfg.resColorMem;
    j.key("res_color_mem").beginObject();
    j.key("name").value(r.name).key("num_colors").value(r.numColors).key("color_depth").value(r.colorDepth);
    j.key("num_undithered_colors").value(r.numUnditheredColors).key("color_system").value(r.colorSystem);
    j.key("dm_color").value(r.dmColor).key("icm_method").value(r.icmMethod).key("icm_intent").value(r.icmIntent);
    j.key("ism_max");
    r.ismMax == CResColorMemNode::kNotSet ? j.null() : j.value(static_cast<long long>(r.ismMax));
    j.key("ole_max");
    r.oleMax == CResColorMemNode::kNotSet ? j.null() : j.value(static_cast<long long>(r.oleMax));
    j.key("hard_soft").value(r.hardSoft).key("preference").value(r.preference);
    j.key("lines_overwrite");
    r.linesOverwrite ? j.value(*r.linesOverwrite) : j.null();
    j.key("color_mono");
    r.colorMono ? j.value(*r.colorMono) : j.null();
    const CResolutionNode& res = r.resolution;
    j.key("resolution").beginObject().key("name").value(res.name);
    j.key("phys").beginArray().value(res.physResolutionX).value(res.physResolutionY).endArray();
    j.key("addr").beginArray().value(res.addrResolutionX).value(res.addrResolutionY).endArray();
    j.key("effective").beginArray().value(res.effectiveResolutionX).value(res.effectiveResolutionY).endArray();
    j.endObject();
    jsonForeign(j, r.foreign);
    j.endObject();

    j.key("custom");
    if (cfg.custom) {
        j.beginArray();
        for (const auto& v : customValues(*cfg.custom))
            jsonCustomValue(j, *cfg.custom, v);
        j.endArray();
    } else {
        j.null();
    }
    jsonForeign(j, cfg.foreign);
    j.endObject();
    j.finish();
}

void printPc3(const CPlotCfg3& cfg) {
    const CMetaNode& meta = cfg.meta;
    const CMediaNode& m = cfg.media;
    const OdString device = !meta.winDeviceName.isEmpty() ? meta.winDeviceName : meta.localizedModelName;
    std::printf("%-14s %s%s\n", "device", cli::utf8(device).c_str(), cfg.isPdfExport() ? " (PDF output)" : "");
    std::printf("%-14s %s", "driver", cli::utf8(meta.driverPathname).c_str());
    if (!meta.driverTagLine.isEmpty())
        std::printf(" (%s)", cli::utf8(meta.driverTagLine).c_str());
    std::printf("\n");
    if (!meta.winDriverName.isEmpty())
        std::printf("%-14s %s\n", "system driver", cli::utf8(meta.winDriverName).c_str());
    if (!meta.configDescription.isEmpty())
        std::printf("%-14s %s\n", "description", cli::utf8(meta.configDescription).c_str());
    if (meta.defaultSystemCfg.value_or(false))
        std::printf("%-14s %s\n", "default", "stands for the default system printer");
    std::printf("%-14s %s, %s x %s mm, %s\n", "paper", cli::utf8(m.size.name).c_str(),
                mm(m.size.mediaDescription.mediaBounds.urx).c_str(),
                mm(m.size.mediaDescription.mediaBounds.ury).c_str(),
                m.dmOrientation == 2 ? "landscape" : "portrait");
    std::printf("%-14s %s, %s - %s, %s mm\n", "bounds", mm(m.actualPrintableBoundsLlx).c_str(),
                mm(m.actualPrintableBoundsLly).c_str(), mm(m.actualPrintableBoundsUrx).c_str(),
                mm(m.actualPrintableBoundsUry).c_str());
    long y = 0;
    const long x = cfg.resColorMem.resolution.get(&y);
    if (x > 0)
        std::printf("%-14s %s (%ld x %ld dpi)\n", "resolution",
                    cli::utf8(cfg.resColorMem.resolution.name).c_str(), x, y);
    else
        std::printf("%-14s %s\n", "resolution", cli::utf8(cfg.resColorMem.resolution.name).c_str());
    std::printf("%-14s %s, %d colours, %d bits\n", "colour", cfg.resColorMem.dmColor == 2 ? "colour" : "monochrome",
                cfg.resColorMem.numColors, cfg.resColorMem.colorDepth);
    std::printf("%-14s %d%s\n", "copies", m.numberOfCopies,
                m.destination && m.destination->isCollating() ? ", collated" : "");
    if (cfg.io.plotToFile)
        std::printf("%-14s %s\n", "output file",
                    cfg.io.pathname.isEmpty() ? "(asked when plotting)" : cli::utf8(cfg.io.pathname).c_str());
    if (m.customPapers) {
        std::printf("custom papers  %u\n", m.customPapers->papers.size());
        for (const auto& p : m.customPapers->papers)
            std::printf("  %s  %s x %s %s\n", cli::utf8(p.globalName).c_str(), realText(p.width).c_str(),
                        realText(p.height).c_str(), p.units == 0 ? "in" : "mm");
    }
    if (cfg.custom) {
        const auto values = customValues(*cfg.custom);
        std::printf("custom values  %zu\n", values.size());
        for (const auto& v : values) {
            std::string text = v.text;
            if (v.kind == CCustomNode::kBinary)
                text = std::to_string(text.size() / 2) + " bytes";
            std::printf("  %-7s %s = %s\n", kindText(v.kind).c_str(), cli::utf8(v.name).c_str(),
                        text.c_str());
        }
    }
}

int runShow(cli::Args& args) {
    const bool json = cli::takeFlag(args, "--json");
    if (cli::rejectUnknownOptions(args))
        return cli::kUsage;
    if (args.size() != 1)
        return cli::usage("pc3 show needs exactly one FILE");
    bool intact = true;
    auto cfg = load(args[0], intact);
    if (!cfg)
        return cli::kFailure;
    if (json)
        jsonPc3(*cfg, intact);
    else
        printPc3(*cfg);
    return cli::kOk;
}

// ------------------------------------------------------------------ set

struct Setter {
    const char* key;
    // Empty on success, else why the value was refused.
    std::function<std::string(CPlotCfg3&, const std::string&)> apply;
};

std::string setText(OdString& field, const std::string& value) {
    field = cli::wide(value);
    return std::string();
}

// Selects a paper with its size and bounds: a custom paper of the configuration
// (by its global or local name), else a standard paper, which keeps the current
// margins when they fit it.
std::string choosePaper(CPlotCfg3& c, const std::string& value) {
    if (value.empty())
        return "a paper needs a name";
    const OdString name = cli::wide(value);
    bool changed = false;
    if (c.media.customPapers) {
        const auto& list = c.media.customPapers->papers;
        for (unsigned i = 0; i < list.size(); ++i)
            if (list[i].globalName == name || list[i].localName == name)
                return c.media.setToCustom(i, changed) ? std::string()
                                                       : "the custom paper's margins leave no printable area";
    }
    const short number = ut::getPSnumber(name.c_str());
    double w = 0, h = 0;
    if (number < 1 || number > ut::kLastStandardPaper || !ut::getStandardPaperSize(number, w, h))
        return "no such paper: neither a custom paper of this configuration nor a standard paper name";
    const CMediaDescriptionNode& d = c.media.size.mediaDescription;
    double left = d.printableBoundsLlx, bottom = d.printableBoundsLly;
    double right = d.mediaBounds.urx - d.printableBoundsUrx, top = d.mediaBounds.ury - d.printableBoundsUry;
    if (!(left >= 0 && bottom >= 0 && right >= 0 && top >= 0 && left + right < w && bottom + top < h))
        left = bottom = right = top = 0;
    ut::PaperSizeInfo paper;
    paper.number = number;
    paper.name = ut::getCanonicalPSname(number);
    paper.width = w;
    paper.height = h;
    paper.printableLlx = left;
    paper.printableLly = bottom;
    paper.printableUrx = w - right;
    paper.printableUry = h - top;
    return c.media.set(paper, changed) ? std::string() : "refused";
}

const std::vector<Setter>& setters() {
    static const std::vector<Setter> table = {
        {"win_device_name", [](CPlotCfg3& c, const std::string& v) { return setText(c.meta.winDeviceName, v); }},
        {"win_driver_name", [](CPlotCfg3& c, const std::string& v) { return setText(c.meta.winDriverName, v); }},
        {"friendly_net_name", [](CPlotCfg3& c, const std::string& v) { return setText(c.meta.friendlyNetName, v); }},
        {"config_description",
         [](CPlotCfg3& c, const std::string& v) { return setText(c.meta.configDescription, v); }},
        {"default_system_cfg",
         [](CPlotCfg3& c, const std::string& v) {
             return parseTri(v, c.meta.defaultSystemCfg) ? std::string() : "expected true, false or unset";
         }},
        {"config_autospool",
         [](CPlotCfg3& c, const std::string& v) {
             return parseTri(v, c.meta.configAutospool) ? std::string() : "expected true, false or unset";
         }},
        {"paper", [](CPlotCfg3& c, const std::string& v) { return choosePaper(c, v); }},
        {"dm_orientation",
         [](CPlotCfg3& c, const std::string& v) {
             long o = 0;
             if (v == "portrait")
                 o = 1;
             else if (v == "landscape")
                 o = 2;
             else if (!parseLong(v, 1, 2, o))
                 return std::string("expected portrait, landscape, 1 or 2");
             c.media.dmOrientation = int(o);
             return std::string();
         }},
        {"landscape_mode",
         [](CPlotCfg3& c, const std::string& v) {
             return parseBool(v, c.media.size.landscapeMode) ? std::string() : "expected true or false";
         }},
        {"plot_to_file",
         [](CPlotCfg3& c, const std::string& v) {
             return parseBool(v, c.io.plotToFile) ? std::string() : "expected true or false";
         }},
        {"collate",
         [](CPlotCfg3& c, const std::string& v) {
             bool b = false;
             if (!parseBool(v, b))
                 return std::string("expected true or false");
             if (!c.media.destination)
                 c.media.destination.emplace();
             c.media.destination->setCollating(b);
             return std::string();
         }},
        {"number_of_copies",
         [](CPlotCfg3& c, const std::string& v) {
             long n = 0;
             if (!parseLong(v, 1, 9999, n))
                 return std::string("expected a whole number from 1 to 9999");
             c.media.numberOfCopies = int(n);
             return std::string();
         }},
        {"dm_scale",
         [](CPlotCfg3& c, const std::string& v) {
             long n = 0;
             if (!parseLong(v, 1, 1000, n))
                 return std::string("expected a whole number from 1 to 1000");
             c.media.size.dmScale = int(n);
             return std::string();
         }},
        {"dm_color",
         [](CPlotCfg3& c, const std::string& v) {
             long n = 0;
             if (v == "mono" || v == "monochrome")
                 n = 1;
             else if (v == "color" || v == "colour")
                 n = 2;
             else if (!parseLong(v, 1, 2, n))
                 return std::string("expected mono, color, 1 or 2");
             c.resColorMem.dmColor = int(n);
             return std::string();
         }},
        {"resolution",
         [](CPlotCfg3& c, const std::string& v) {
             CResolutionNode& r = c.resColorMem.resolution;
             if (long q = CResolutionNode::qualityCode(cli::wide(v)))
                 return r.set(q) ? std::string() : "refused";
             const size_t x = v.find('x');
             long a = 0, b = 0;
             const bool ok = x == std::string::npos
                                 ? parseLong(v, 1, 100000, a) && r.set(a)
                                 : parseLong(v.substr(0, x), 1, 100000, a) &&
                                       parseLong(v.substr(x + 1), 1, 100000, b) && r.set(a, b);
             return ok ? std::string() : "expected DMRES_HIGH, DMRES_MEDIUM, DMRES_LOW, DMRES_DRAFT, DPI or XxY";
         }},
        {"pathname", [](CPlotCfg3& c, const std::string& v) { return setText(c.io.pathname, v); }},
    };
    return table;
}

int runSet(cli::Args& args) {
    if (cli::rejectUnknownOptions(args))
        return cli::kUsage;
    if (args.size() < 2)
        return cli::usage("pc3 set needs FILE and at least one KEY=VALUE");
    const std::string file = args[0];
    // Every assignment is checked before the file is read, so a typo changes nothing.
    std::vector<std::pair<const Setter*, std::string>> changes;
    for (size_t i = 1; i < args.size(); ++i) {
        const size_t eq = args[i].find('=');
        if (eq == std::string::npos || eq == 0)
            return cli::usage("expected KEY=VALUE, got '" + args[i] + "'");
        const std::string key = args[i].substr(0, eq);
        const Setter* found = nullptr;
        for (const auto& s : setters())
            if (key == s.key)
                found = &s;
        if (!found)
            return cli::usage("unknown key '" + key + "'");
        changes.emplace_back(found, args[i].substr(eq + 1));
    }
    bool intact = true;
    auto cfg = load(file, intact);
    if (!cfg)
        return cli::kFailure;
    for (const auto& [setter, value] : changes) {
        const std::string why = setter->apply(*cfg, value);
        if (!why.empty())
            return cli::fail(std::string(setter->key) + "='" + value + "': " + why);
    }
    return save(*cfg, file, intact);
}

// ------------------------------------------------------------------ custom

int runCustom(cli::Args& args) {
    const bool json = cli::takeFlag(args, "--json");
    std::string kindArg;
    bool missing = false;
    const bool hasKind = cli::takeOption(args, "--kind", kindArg, &missing);
    if (missing)
        return cli::usage("--kind needs string, binary, bool, real or int");
    CCustomNode::EKind kind = CCustomNode::kString;
    if (hasKind && !parseKind(kindArg, kind))
        return cli::usage("unknown --kind '" + kindArg + "' (string, binary, bool, real or int)");
    if (args.size() < 2)
        return cli::usage("pc3 custom needs FILE and list, get, set or remove");
    const std::string file = args[0];
    const std::string command = args[1];
    const size_t operands = args.size() - 2;
    if (command == "list" ? operands != 0
        : command == "get" || command == "remove" ? operands != 1
        : command == "set" ? operands != 2
                           : true)
        return command == "list" || command == "get" || command == "set" || command == "remove"
                   ? cli::usage("wrong number of operands for pc3 custom " + command)
                   : cli::usage("unknown command 'pc3 custom " + command + "'");

    if (json && command != "list")
        return cli::usage("--json goes with pc3 custom FILE list only");

    bool intact = true;
    auto cfg = load(file, intact);
    if (!cfg)
        return cli::kFailure;

    if (command == "list") {
        const auto values = cfg->custom ? customValues(*cfg->custom) : std::vector<CustomValue>();
        if (json) {
            cli::Json j;
            j.beginArray();
            for (const auto& v : values)
                jsonCustomValue(j, *cfg->custom, v);
            j.endArray();
            j.finish();
        } else {
            for (const auto& v : values)
                std::printf("%-7s %s = %s\n", kindText(v.kind).c_str(),
                            cli::utf8(v.name).c_str(), v.text.c_str());
        }
        return cli::kOk;
    }

    const OdString name = cli::wide(args[2]);
    if (command == "get") {
        if (cfg->custom)
            for (const auto& v : customValues(*cfg->custom))
                if (v.name == name && (!hasKind || v.kind == kind)) {
                    std::printf("%s\n", v.text.c_str());
                    return cli::kOk;
                }
        return cli::fail("custom: no value named '" + args[2] + "'" +
                         (hasKind ? " of kind " + kindArg : std::string()));
    }

    if (command == "remove") {
        if (!cfg->custom || !cfg->custom->remove(name, hasKind ? &kind : nullptr))
            return cli::fail("custom: no value named '" + args[2] + "'" +
                             (hasKind ? " of kind " + kindArg : std::string()));
        return save(*cfg, file, intact);
    }

    // set: one name, one kind, so a driver reading the name finds what was set.
    if (!cfg->custom)
        cfg->custom.emplace();
    CCustomNode& c = *cfg->custom;
    if (!hasKind) {
        bool found = false;
        for (const auto& v : customValues(c))
            if (v.name == name) {
                kind = v.kind;
                found = true;
                break;
            }
        if (!found)
            return cli::usage("custom value '" + args[2] + "' is new: give its --kind");
    }
    const std::string& text = args[3];
    const std::string where = "custom value '" + args[2] + "' (" + kindText(kind) + ")";
    CCustomNode updated = c;
    updated.remove(name);
    bool ok = false;
    switch (kind) {
    case CCustomNode::kString: ok = updated.setStr(cli::wide(text), name); break;
    case CCustomNode::kBinary:
        if (!ut::isHexText(cli::wide(text)) || text.empty())
            return cli::fail(where + ": '" + text + "' is not hexadecimal text of two digits per byte");
        ok = updated.setBin(cli::wide(text), name);
        break;
    case CCustomNode::kBool: {
        bool b = false;
        if (!parseBool(text, b))
            return cli::fail(where + ": expected true or false");
        ok = updated.set(b, name);
        break;
    }
    case CCustomNode::kReal: {
        double d = 0;
        if (!parseReal(text, d))
            return cli::fail(where + ": expected a finite number");
        ok = updated.set(d, name);
        break;
    }
    case CCustomNode::kInt: {
        long l = 0;
        if (!parseLong(text, INT32_MIN, INT32_MAX, l))
            return cli::fail(where + ": expected a 32-bit whole number");
        ok = updated.set(int(l), name);
        break;
    }
    }
    if (!ok)
        return cli::fail(where + ": refused (a name or text with '{' or a line break, longer than 400 characters, "
                                 "or more than " +
                         std::to_string(CCustomNode::kMaxValues) + " values)");
    c = std::move(updated);
    return save(*cfg, file, intact);
}

// ------------------------------------------------------------------ papers

std::string num(double v) {
    char buf[64];
    std::snprintf(buf, sizeof buf, "%g", v);
    return buf;
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

int runCustomPapers(cli::Args& args) {
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
    auto cfg = load(file, intact);
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
    if (!intact) // refused before the change is looked at: the file would not be written anyway
        return save(*cfg, file, intact);

    if (command == "add") {
        const std::string& name = args[2];
        double w = 0, h = 0, m[4] = {0, 0, 0, 0};
        if (!parseReal(args[3], w) || !parseReal(args[4], h))
            return cli::fail("paper '" + name + "': width and height must be numbers");
        if (hasMargins) {
            std::string rest = margins + ",";
            for (double& v : m) {
                const size_t comma = rest.find(',');
                if (comma == std::string::npos || !parseReal(rest.substr(0, comma), v))
                    return cli::usage("--margins needs four numbers: L,B,R,T");
                rest.erase(0, comma + 1);
            }
            if (!rest.empty())
                return cli::usage("--margins needs four numbers: L,B,R,T");
        }
        // The library takes a paper without a name, for a dialog that names it
        // next; here nothing would name it, and it would show blank.
        if (name.empty())
            return cli::fail("paper '': a paper needs a name");
        if (list.isDuplicateName(wxString(cli::wide(name).str())))
            return cli::fail("paper '" + name + "': the configuration already has a paper of that name");
        if (!list.append(wxString(cli::wide(name).str())))
            return cli::fail("paper '" + name + "': refused ('{', a line break, longer than 400 characters, or a "
                             "full list)");
        const int i = list.size() - 1;
        list.setSize(i, w, h);
        list.setLeftMargin(i, m[0]);
        list.setBottomMargin(i, m[1]);
        list.setRightMargin(i, m[2]);
        list.setTopMargin(i, m[3]);
        if (const std::string why = checkPaper(list, i); !why.empty())
            return cli::fail("paper '" + name + "': " + why);
    } else {
        long index = 0;
        if (!parseLong(args[2], 0, list.size() - 1, index))
            return cli::fail(file + ": there is no custom paper " + args[2] + " (the configuration has " +
                             std::to_string(list.size()) + ")");
        const int i = int(index);
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
                    const wxString name(cli::wide(value).str());
                    if (name.empty())
                        return cli::fail("paper " + args[2] + ": a paper needs a name");
                    if (name != list.getName(i) && list.isDuplicateName(name))
                        return cli::fail("paper '" + value + "': the configuration already has a paper of that name");
                    ok = list.setName(i, name);
                } else if (key == "width" || key == "height") {
                    ok = parseReal(value, v) &&
                         (key == "width" ? list.setSize(i, v, list.getHeight(i)) : list.setSize(i, list.getWidth(i), v));
                } else if (key == "left" || key == "bottom" || key == "right" || key == "top") {
                    ok = parseReal(value, v) && (key == "left"     ? list.setLeftMargin(i, v)
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
    return save(*cfg, file, intact);
}

// ------------------------------------------------------------------ pmp

// One paper of a user-defined model file's own list (its udm/media block), with
// the size and printable bounds of the description it names (0 when none).
struct ModelPaper {
    OdString name;
    OdString localizedName;
    bool landscape = false;
    double width = 0.0;
    double height = 0.0;
    double printable[4] = {0.0, 0.0, 0.0, 0.0}; // llx, lly, urx, ury
};

const CPBlock* subBlock(const CPBlock* b, const wchar_t* name) { return b ? b->findBlock(name) : nullptr; }

OdString text(const CPBlock* b, const wchar_t* key) {
    const CPItem* item = b ? b->find(key, kPStr) : nullptr;
    return item ? static_cast<const CPStr*>(item)->value() : OdString();
}

double real(const CPBlock* b, const wchar_t* key) {
    double v = 0;
    return b && readDouble(b, key, v) ? v : 0.0;
}

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

int runPmpShow(cli::Args& args) {
    const bool json = cli::takeFlag(args, "--json");
    if (cli::rejectUnknownOptions(args))
        return cli::kUsage;
    if (args.size() != 1)
        return cli::usage("pmp show needs exactly one FILE");
    std::unique_ptr<PlotModelParam> pmp(PlotModelParam::read(cli::wide(args[0])));
    if (!pmp)
        return cli::kFailure;
    if (json) {
        cli::Json j;
        j.beginObject().key("meta");
        jsonMeta(j, pmp->meta);
        j.key("calibration").beginObject().key("x").value(pmp->udm.calibration.x);
        j.key("y").value(pmp->udm.calibration.y).endObject();
        j.key("papers").beginArray();
        for (const ModelPaper& p : modelPapers(*pmp)) {
            j.beginObject().key("name").value(p.name).key("localized_name").value(p.localizedName);
            j.key("landscape").value(p.landscape).key("width").value(p.width).key("height").value(p.height);
            j.key("printable").beginArray();
            for (double v : p.printable)
                j.value(v);
            j.endArray().endObject();
        }
        j.endArray();
        j.key("udm_other_keys").beginArray();
        for (const auto& e : pmp->udm.foreign.entries())
            j.value(e.item->name());
        j.endArray();
        jsonForeign(j, pmp->foreign);
        j.endObject();
        j.finish();
        return cli::kOk;
    }
    const CMetaNode& m = pmp->meta;
    std::printf("%-14s %s\n", "model", cli::utf8(m.localizedModelName).c_str());
    std::printf("%-14s %s\n", "family", cli::utf8(m.localizedFamilyName).c_str());
    std::printf("%-14s %s", "driver", cli::utf8(m.driverPathname).c_str());
    if (!m.driverTagLine.isEmpty())
        std::printf(" (%s)", cli::utf8(m.driverTagLine).c_str());
    std::printf("\n");
    if (!m.userDefinedModelPathname.isEmpty())
        std::printf("%-14s %s\n", "model file", cli::utf8(m.userDefinedModelPathname).c_str());
    std::printf("%-14s x %s, y %s\n", "calibration", realText(pmp->udm.calibration.x).c_str(),
                realText(pmp->udm.calibration.y).c_str());
    const std::vector<ModelPaper> papers = modelPapers(*pmp);
    if (!papers.empty()) {
        std::printf("%-14s %zu\n", "papers", papers.size());
        for (const ModelPaper& p : papers)
            std::printf("  %s  %s x %s mm%s, printable %s, %s - %s, %s\n",
                        cli::utf8(p.localizedName.isEmpty() ? p.name : p.localizedName).c_str(), mm(p.width).c_str(),
                        mm(p.height).c_str(), p.landscape ? " landscape" : "", mm(p.printable[0]).c_str(),
                        mm(p.printable[1]).c_str(), mm(p.printable[2]).c_str(), mm(p.printable[3]).c_str());
    }
    std::string kept;
    for (const auto& e : pmp->foreign.entries())
        kept += (kept.empty() ? "" : ", ") + cli::utf8(e.item->name());
    if (!kept.empty())
        std::printf("%-14s %s\n", "other blocks", kept.c_str());
    return cli::kOk;
}

} // namespace

int runPc3(cli::Args& args) {
    if (args.empty() || (cli::wantsHelp(args) && args[0] != "papers")) {
        std::fputs(kPc3Help, args.empty() ? stderr : stdout);
        return args.empty() ? cli::kUsage : cli::kOk;
    }
    const std::string command = args[0];
    args.erase(args.begin());
    if (command == "show")
        return runShow(args);
    if (command == "set")
        return runSet(args);
    if (command == "custom")
        return runCustom(args);
    if (command == "new")
        return runPc3New(args);
    if (command == "apply")
        return runPc3Apply(args);
    if (command == "papers")
        return runCustomPapers(args);
    return cli::usage("unknown command 'pc3 " + command + "'");
}

int runPmp(cli::Args& args) {
    if (args.empty() || cli::wantsHelp(args)) {
        std::fputs(kPmpHelp, args.empty() ? stderr : stdout);
        return args.empty() ? cli::kUsage : cli::kOk;
    }
    const std::string command = args[0];
    args.erase(args.begin());
    if (command == "show")
        return runPmpShow(args);
    return cli::usage("unknown command 'pmp " + command + "'");
}
