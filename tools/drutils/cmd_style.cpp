// drutils style: plot style tables (.ctb colour-dependent, .stb named) for CAD
// administrators: look at one, make a new one, convert colour-dependent to
// named, edit pens from scripts, and draw a swatch sheet of the pens.
#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdint>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli.h"
#include "commands.h"
#include "platform/codepage.h"
#include "plotstyletable.h"

namespace {

const char kHelp[] =
    "usage: drutils style <command> [options]\n"
    "\n"
    "commands:\n"
    "  show [--json] FILE                  kind, description, scale and every style\n"
    "  new ctb|stb OUT [--base NAME] [--force]\n"
    "                                      write a table of default styles\n"
    "  convert IN.ctb OUT.stb [--base NAME] [--force]\n"
    "                                      turn a colour-dependent table into a named\n"
    "                                      one, merging styles that plot alike\n"
    "  set FILE STYLE FIELD=VALUE...       change styles and save the table in place\n"
    "  render FILE OUT.svg [--force]       draw a swatch sheet of the styles (\"-\":\n"
    "                                      to standard output)\n"
    "\n"
    "new, convert and render refuse to replace an existing OUT unless --force is\n"
    "given, and never write over their input. 'drutils style <command> --help'\n"
    "tells more.\n";

const char kShowHelp[] = "usage: drutils style show [--json] FILE\n"
                         "  Prints the table's kind, description and scale, and one line per style:\n"
                         "  plotted colour, lineweight, screening and linetype. A colour-dependent\n"
                         "  table is listed by colour index. --json gives every field of the table.\n";

const char kNewHelp[] = "usage: drutils style new ctb|stb OUT [--base NAME] [--force]\n"
                        "  ctb: 255 styles NAME_1..NAME_255 (NAME defaults to \"Color\");\n"
                        "  stb: the single style \"Normal\". Every style has the default settings.\n"
                        "  An existing OUT is replaced only with --force.\n";

const char kConvertHelp[] = "usage: drutils style convert IN.ctb OUT.stb [--base NAME] [--force]\n"
                            "  Makes a named table from a colour-dependent one. Colours whose styles\n"
                            "  plot alike share one named style \"NAME 1\", \"NAME 2\", ... (NAME defaults\n"
                            "  to \"Style\"); the new table records which style each colour uses.\n"
                            "  An existing OUT is replaced only with --force; \"-\" as OUT writes the\n"
                           "  sheet to standard output.\n";

const char kSetHelp[] =
    "usage: drutils style set FILE STYLE FIELD=VALUE...\n"
    "  STYLE is a style's name or localized name, #N for the style at position N\n"
    "  (from 0), a colour index 1..255 in a colour-dependent table, or * for all.\n"
    "  Fields:\n"
    "    color=object|#RRGGBB|R,G,B|index:N   the plotted colour\n"
    "    color_value=INT mode_color=INT color_policy=INT   stored values as they are\n"
    "    dither=on|off  grayscale=on|off  adaptive_linetype=on|off\n"
    "    screen=0..100  physical_pen_number=0..32  virtual_pen_number=0..255\n"
    "    lineweight=object|N|MILLIMETRESmm    (N selects custom lineweight N-1)\n"
    "    linetype=0..31 (31 = object)  linepattern_size=NUMBER\n"
    "    fill_style=INT  end_style=INT  join_style=INT\n"
    "    description=TEXT  name=TEXT (named tables only)\n"
    "  The table is saved in place, whole or not at all; keys and blocks of other\n"
    "  programs are kept. A value the file cannot hold (a \"{\", a line break, more\n"
    "  than a line, a character of no form in the code page) is refused.\n";

const char kRenderHelp[] = "usage: drutils style render FILE OUT.svg [--force]\n"
                           "  Draws one cell per style: the plotted colour with its screening, a line of\n"
                           "  the style's lineweight drawn to scale (the sheet is in millimetres), and\n"
                           "  the style's name. Hatched cells plot with the object's own colour.\n"
                           "  An existing OUT is replaced only with --force; \"-\" as OUT writes the\n"
                           "  sheet to standard output.\n";

bool helpFor(cli::Args& args, const char* text) {
    if (!cli::wantsHelp(args))
        return false;
    std::fputs(text, stdout);
    return true;
}

std::unique_ptr<CPlotStyleTable> load(const std::string& path, std::string& error) {
    if (std::string why = cli::checkInput(path); !why.empty()) {
        error = why;
        return nullptr;
    }
    OdString reason;
    std::unique_ptr<CPlotStyleTable> t(CPlotStyleTable::read(cli::wide(path), &reason));
    if (!t)
        error = path + ": " + cli::utf8(reason);
    return t;
}

// Writes a table; an empty result means done, otherwise the one line to show.
std::string save(const CPlotStyleTable& t, const std::string& path, bool replaceExisting) {
    OdString reason;
    if (t.write(cli::wide(path).c_str(), &reason, replaceExisting))
        return std::string();
    return path + ": not written: " + cli::utf8(reason);
}

std::string hex(int rgb) {
    char buf[8];
    std::snprintf(buf, sizeof buf, "#%06X", rgb & 0xFFFFFF);
    return buf;
}

// ---------------------------------------------------------------- colours

// The colour a pen puts on paper, as 0xRRGGBB before screening; empty when it
// is the object's own colour and the table cannot know it (named tables).
std::optional<int> plottedRgb(const CPlotStyle& s, int colourIndex) {
    std::optional<int> rgb;
    const int byIndex = colourIndex >= 1 ? CPlotStyle::paletteRgb(colourIndex) : -1;
    if (s.color() == CPlotStyle::kObjectColor) {
        if (byIndex >= 0)
            rgb = byIndex;
    } else if (s.color_policy() != CPlotStyle::kPolicyDither) {
        if (s.mode_color() == CPlotStyle::kObjectColorIndex || s.mode_color() == CPlotStyle::kObjectColor) {
            if (byIndex >= 0)
                rgb = byIndex;
        } else {
            rgb = s.mode_color() & 0xFFFFFF;
        }
    } else if (((unsigned(s.color()) >> 24) & 0xFF) == CPlotStyle::kMethodColorIndex) {
        const int index = s.color2rgb();
        if (index >= 1 && index <= 255)
            rgb = CPlotStyle::paletteRgb(index);
        else if (byIndex >= 0)
            rgb = byIndex;
    } else {
        rgb = s.color() & 0xFFFFFF;
    }
    if (rgb && s.isGrayScale()) {
        const int r = (*rgb >> 16) & 0xFF, g = (*rgb >> 8) & 0xFF, b = *rgb & 0xFF;
        const int y = (299 * r + 587 * g + 114 * b) / 1000;
        rgb = y * 0x010101;
    }
    return rgb;
}

// Screening lightens towards the paper: 100 % is the full colour, 0 % white.
int screened(int rgb, int screen) {
    const int s = screen < 0 ? 0 : (screen > 100 ? 100 : screen);
    int out = 0;
    for (int shift = 16; shift >= 0; shift -= 8) {
        const int c = (rgb >> shift) & 0xFF;
        out |= (255 - (255 - c) * s / 100) << shift;
    }
    return out;
}

std::string colourText(const CPlotStyle& s) {
    std::string t;
    if (s.color() == CPlotStyle::kObjectColor)
        t = "object";
    else if (s.color_policy() != CPlotStyle::kPolicyDither)
        t = s.mode_color() == CPlotStyle::kObjectColorIndex ? "object" : hex(s.mode_color());
    else if (((unsigned(s.color()) >> 24) & 0xFF) == CPlotStyle::kMethodColorIndex)
        t = s.color2rgb() >= 1 ? "index " + std::to_string(s.color2rgb()) : "object";
    else
        t = hex(s.color());
    if (s.isGrayScale())
        t += " gray";
    return t;
}

std::string lineweightText(const CPlotStyleTable& t, const CPlotStyle& s) {
    if (s.lineWeight() == 0)
        return "object";
    const double mm = t.lineWeights().forStyle(s.lineWeight());
    char buf[32];
    if (mm < 0)
        std::snprintf(buf, sizeof buf, "#%d?", s.lineWeight()); // an index the table does not hold
    else
        std::snprintf(buf, sizeof buf, "%.2f mm", mm);
    return buf;
}

std::string linetypeText(int lt) { return lt == 31 ? "object" : std::to_string(lt); }

// ---------------------------------------------------------------- show

struct Row {
    int position;
    int colourIndex; // 0 in named tables
    const CPlotStyle* style;
};

std::vector<Row> rows(const CPlotStyleTable& t) {
    std::vector<Row> r;
    if (t.useACI()) {
        for (int k = 1; k <= CAciTable::kSize; ++k) {
            const CPlotStyle* s = t.ACI().at(k);
            int pos = -1;
            for (int i = 0; i < t.size() && pos < 0; ++i)
                if (t.style(i) == s)
                    pos = i;
            if (s)
                r.push_back({pos, k, s});
        }
    } else {
        for (int i = 0; i < t.size(); ++i)
            r.push_back({i, 0, t.style(i)});
    }
    return r;
}

void showJson(const std::string& path, const CPlotStyleTable& t) {
    cli::Json j;
    j.beginObject();
    j.key("file").value(path);
    j.key("kind").value(t.useACI() ? "colour-dependent" : "named");
    j.key("description").value(t.desc());
    j.key("aci_table_available").value(t.hasACI());
    j.key("scale_factor").value(t.scaleFactor(), 7);
    j.key("apply_factor").value(t.applyFactor());
    j.key("custom_lineweight_display_units").value(t.lineWeightUnits());
    j.key("custom_lineweights").beginArray();
    for (int k = 0; k < CCustomLineweightTable::kSize; ++k)
        j.value(t.lineWeights().at(k), 7);
    j.endArray();
    j.key("styles").beginArray();
    for (int i = 0; i < t.size(); ++i) {
        const CPlotStyle& s = *t.style(i);
        j.beginObject();
        j.key("position").value(i);
        j.key("name").value(s.name());
        j.key("localized_name").value(s.locName());
        j.key("description").value(s.desc());
        j.key("color").value(s.color());
        j.key("mode_color").value(s.mode_color());
        j.key("color_policy").value(s.color_policy());
        j.key("dither").value(s.isDither());
        j.key("grayscale").value(s.isGrayScale());
        j.key("physical_pen_number").value(s.pen());
        j.key("virtual_pen_number").value(s.virtualPen());
        j.key("screen").value(s.screen());
        j.key("linepattern_size").value(s.linepattern_size(), 7);
        j.key("linetype").value(s.lineType());
        j.key("adaptive_linetype").value(s.isAdaptiveLinetype());
        j.key("lineweight").value(s.lineWeight());
        const double mm = t.lineWeights().forStyle(s.lineWeight());
        j.key("lineweight_mm");
        if (mm >= 0)
            j.value(mm, 7);
        else
            j.null();
        j.key("fill_style").value(s.fillStyle());
        j.key("end_style").value(s.endStyle());
        j.key("join_style").value(s.joinStyle());
        j.endObject();
    }
    j.endArray();
    if (t.hasACI()) {
        j.key("aci_table").beginArray();
        for (int k = 1; k <= CAciTable::kSize; ++k) {
            if (const CPlotStyle* s = t.ACI().at(k))
                j.value(s->name());
            else
                j.null();
        }
        j.endArray();
    }
    j.endObject();
    j.finish();
}

int runShow(cli::Args& args) {
    if (helpFor(args, kShowHelp))
        return cli::kOk;
    const bool json = cli::takeFlag(args, "--json");
    if (cli::rejectUnknownOptions(args))
        return cli::kUsage;
    if (args.size() != 1)
        return cli::usage("style show needs exactly one FILE");
    std::string error;
    auto t = load(args[0], error);
    if (!t)
        return cli::fail(error);
    if (json) {
        showJson(args[0], *t);
        return cli::kOk;
    }
    std::printf("file:        %s\n", args[0].c_str());
    std::printf("kind:        %s, %d style%s\n", t->useACI() ? "colour-dependent" : "named", t->size(),
                t->size() == 1 ? "" : "s");
    std::printf("description: %s\n", cli::utf8(t->desc()).c_str());
    std::printf("scale:       %g%s\n", t->scaleFactor(), t->applyFactor() ? " (applied)" : " (not applied)");
    if (t->hasACI() && !t->useACI())
        std::printf("colour map:  yes (from a colour-dependent table)\n");
    // The name column is as wide as the widest name on screen (East Asian
    // characters take two columns, combining marks none), so that long and
    // non-ASCII names keep the columns after them in line.
    const std::vector<Row> all = rows(*t);
    auto shownName = [](const CPlotStyle& s) { return s.locName().isEmpty() ? s.name() : s.locName(); };
    size_t nameWidth = 24;
    for (const Row& r : all)
        nameWidth = std::max(nameWidth, ut::platform::displayWidth(shownName(*r.style).str()));
    auto padded = [nameWidth](const OdString& text) {
        const size_t width = ut::platform::displayWidth(text.str());
        return cli::utf8(text) + std::string(nameWidth - std::min(nameWidth, width), ' ');
    };
    std::printf("\n%-5s %s %-16s %-10s %-6s %s\n", t->useACI() ? "index" : "#", padded(L"name").c_str(), "colour",
                "lineweight", "screen", "linetype");
    for (const Row& r : all) {
        const CPlotStyle& s = *r.style;
        std::printf("%-5d %s %-16s %-10s %5d%% %s\n", t->useACI() ? r.colourIndex : r.position,
                    padded(shownName(s)).c_str(), colourText(s).c_str(), lineweightText(*t, s).c_str(), s.screen(),
                    linetypeText(s.lineType()).c_str());
    }
    return cli::kOk;
}

// ---------------------------------------------------------------- new / convert

int runNew(cli::Args& args) {
    if (helpFor(args, kNewHelp))
        return cli::kOk;
    std::string base;
    bool missing = false;
    const bool haveBase = cli::takeOption(args, "--base", base, &missing);
    if (missing)
        return cli::usage("--base needs a NAME");
    const bool force = cli::takeFlag(args, "--force");
    if (cli::rejectUnknownOptions(args))
        return cli::kUsage;
    if (args.size() != 2 || (args[0] != "ctb" && args[0] != "stb"))
        return cli::usage("style new needs ctb or stb and an OUT file");
    if (haveBase && base.empty())
        return cli::usage("--base needs a NAME");
    if (std::string why = cli::checkOutput(args[1], {}, force); !why.empty())
        return cli::fail(why);
    std::unique_ptr<CPlotStyleTable> t(
        CPlotStyleTable::create(args[0] == "ctb", haveBase ? cli::wide(base).c_str() : nullptr));
    if (std::string why = save(*t, args[1], force); !why.empty())
        return cli::fail(why);
    std::printf("%s: %s table with %d style%s\n", args[1].c_str(), args[0] == "ctb" ? "colour-dependent" : "named",
                t->size(), t->size() == 1 ? "" : "s");
    return cli::kOk;
}

int runConvert(cli::Args& args) {
    if (helpFor(args, kConvertHelp))
        return cli::kOk;
    std::string base;
    bool missing = false;
    const bool haveBase = cli::takeOption(args, "--base", base, &missing);
    if (missing || (haveBase && base.empty()))
        return cli::usage("--base needs a NAME");
    const bool force = cli::takeFlag(args, "--force");
    if (cli::rejectUnknownOptions(args))
        return cli::kUsage;
    if (args.size() != 2)
        return cli::usage("style convert needs IN.ctb and OUT.stb");
    if (std::string why = cli::checkOutput(args[1], {args[0]}, force); !why.empty())
        return cli::fail(why);
    std::string error;
    auto source = load(args[0], error);
    if (!source)
        return cli::fail(error);
    if (!source->useACI())
        return cli::fail(args[0] + ": not a colour-dependent table");
    std::unique_ptr<CPlotStyleTable> named(ctb2stb(*source, haveBase ? cli::wide(base).c_str() : nullptr));
    if (!named)
        return cli::fail("cannot convert " + args[0] + " with that base name");
    if (std::string why = save(*named, args[1], force); !why.empty())
        return cli::fail(why);
    std::printf("%s: %d colours -> %d named styles (with Normal)\n", args[1].c_str(), CAciTable::kSize,
                named->size());
    return cli::kOk;
}

// ---------------------------------------------------------------- set

bool parseInt(const std::string& text, long long lo, long long hi, int& out) {
    if (text.empty())
        return false;
    char* end = nullptr;
    errno = 0;
    const long long v = std::strtoll(text.c_str(), &end, 0);
    if (errno || *end || v < lo || v > hi)
        return false;
    out = int(v);
    return true;
}

bool parseDouble(const std::string& text, double& out) {
    if (text.empty())
        return false;
    char* end = nullptr;
    errno = 0;
    const double v = std::strtod(text.c_str(), &end);
    if (errno || *end || !std::isfinite(v))
        return false;
    out = v;
    return true;
}

bool parseSwitch(const std::string& text, bool& out) {
    if (text == "on" || text == "true" || text == "yes" || text == "1")
        return out = true, true;
    if (text == "off" || text == "false" || text == "no" || text == "0")
        return out = false, true;
    return false;
}

bool parseRgb(const std::string& text, int& rgb) {
    unsigned r = 0, g = 0, b = 0;
    char tail = 0;
    if (text.size() == 7 && text[0] == '#') {
        for (size_t i = 1; i < 7; ++i)
            if (!std::isxdigit(static_cast<unsigned char>(text[i])))
                return false;
        rgb = int(std::strtoul(text.c_str() + 1, nullptr, 16));
        return true;
    }
    if (std::sscanf(text.c_str(), "%u,%u,%u%c", &r, &g, &b, &tail) == 3 && r < 256 && g < 256 && b < 256) {
        rgb = int((r << 16) | (g << 8) | b);
        return true;
    }
    return false;
}

// Applies one FIELD=VALUE to a style; an empty result means done, otherwise it
// says what is wrong with the value.
std::string applyField(CPlotStyleTable& t, int position, const std::string& field, const std::string& value) {
    CPlotStyle& s = *t.style(position);
    int n = 0;
    double d = 0;
    bool on = false;
    if (field == "color") {
        int rgb = 0;
        if (value == "object") {
            s.updateColor(-1);
        } else if (value.rfind("index:", 0) == 0 && parseInt(value.substr(6), 1, 255, n)) {
            const int v = int((unsigned(CPlotStyle::kMethodColorIndex) << 24) | unsigned(n));
            s.setColor(v);
            s.setModeColor(v);
            s.setColorPolicy(s.color_policy() & ~CPlotStyle::kPolicyExplicitColor);
        } else if (parseRgb(value, rgb)) {
            s.updateColor(rgb);
        } else {
            return "expects object, #RRGGBB, R,G,B or index:N (1..255)";
        }
    } else if (field == "color_value" || field == "mode_color" || field == "color_policy") {
        if (!parseInt(value, INT32_MIN, UINT32_MAX, n))
            return "expects a 32-bit integer";
        if (field == "color_value")
            s.setColor(n);
        else if (field == "mode_color")
            s.setModeColor(n);
        else
            s.setColorPolicy(n);
    } else if (field == "dither" || field == "grayscale" || field == "adaptive_linetype") {
        if (!parseSwitch(value, on))
            return "expects on or off";
        if (field == "dither")
            s.setDither(on);
        else if (field == "grayscale")
            s.setGrayScale(on);
        else
            s.setAdaptiveLinetype(on);
    } else if (field == "screen") {
        if (!parseInt(value, 0, 100, n))
            return "expects a percentage 0..100";
        s.setScreen(n);
    } else if (field == "physical_pen_number" || field == "pen") {
        if (!parseInt(value, 0, 32, n))
            return "expects 0 (automatic) to 32";
        s.setPen(n);
    } else if (field == "virtual_pen_number" || field == "virtual_pen") {
        if (!parseInt(value, 0, 255, n))
            return "expects 0 (automatic) to 255";
        s.setVirtualPen(n);
    } else if (field == "lineweight") {
        if (value == "object") {
            s.setLineWeight(0);
        } else if (value.size() > 2 && value.compare(value.size() - 2, 2, "mm") == 0 &&
                   parseDouble(value.substr(0, value.size() - 2), d)) {
            int found = -1;
            for (int k = 0; k < CCustomLineweightTable::kSize && found < 0; ++k)
                if (std::fabs(t.lineWeights().at(k) - d) < 0.0005)
                    found = k;
            if (found < 0)
                return "has no entry of " + value + " in the table's custom lineweights";
            s.setLineWeight(found + 1);
        } else if (parseInt(value, 0, CCustomLineweightTable::kSize, n)) {
            s.setLineWeight(n);
        } else {
            return "expects object, 1..27 or a value such as 0.35mm";
        }
    } else if (field == "linetype") {
        if (!parseInt(value, 0, 31, n))
            return "expects 0..31 (31 = object)";
        s.setLineType(n);
    } else if (field == "linepattern_size") {
        if (!parseDouble(value, d) || d < 0)
            return "expects a number of 0 or more";
        s.setLinePatternSize(d);
    } else if (field == "fill_style" || field == "end_style" || field == "join_style") {
        if (!parseInt(value, 0, INT32_MAX, n))
            return "expects a number of 0 or more";
        if (field == "fill_style")
            s.setFillStyle(n);
        else if (field == "end_style")
            s.setEndStyle(n);
        else
            s.setJoinStyle(n);
    } else if (field == "description") {
        s.setDesc(cli::wide(value));
    } else if (field == "name") {
        if (t.useACI())
            return "cannot change: styles of a colour-dependent table are named by their colour";
        if (!t.renameStyle(position, cli::wide(value)))
            return "is refused: empty, too long, in use by another style, or the style is Normal";
    } else {
        return "is not a field (see 'drutils style set --help')";
    }
    return {};
}

std::vector<int> selectStyles(const CPlotStyleTable& t, const std::string& which) {
    std::vector<int> out;
    if (which == "*") {
        for (int i = 0; i < t.size(); ++i)
            out.push_back(i);
        return out;
    }
    const OdString w = cli::wide(which);
    for (int i = 0; i < t.size(); ++i)
        if (t.style(i)->name() == w)
            return {i};
    if (int i = t.findLocName(w); i >= 0)
        return {i};
    int n = 0;
    if (t.useACI() && parseInt(which, 1, CAciTable::kSize, n)) {
        for (int i = 0; i < t.size(); ++i)
            if (t.style(i) == t.ACI().at(n))
                return {i};
    }
    if (which.size() > 1 && which[0] == '#' && parseInt(which.substr(1), 0, t.size() - 1, n))
        return {n};
    return out;
}

int runSet(cli::Args& args) {
    if (helpFor(args, kSetHelp))
        return cli::kOk;
    if (cli::rejectUnknownOptions(args))
        return cli::kUsage;
    if (args.size() < 3)
        return cli::usage("style set needs FILE, STYLE and at least one FIELD=VALUE");
    std::string error;
    auto t = load(args[0], error);
    if (!t)
        return cli::fail(error);
    const std::vector<int> targets = selectStyles(*t, args[1]);
    if (targets.empty())
        return cli::fail(args[0] + ": no style '" + args[1] + "'");
    for (size_t a = 2; a < args.size(); ++a) {
        const size_t eq = args[a].find('=');
        if (eq == std::string::npos || eq == 0)
            return cli::usage("'" + args[a] + "' is not FIELD=VALUE");
        const std::string field = args[a].substr(0, eq), value = args[a].substr(eq + 1);
        if (field == "name" && targets.size() > 1)
            return cli::usage("name can be set for one style at a time");
        for (int i : targets) {
            const std::string why = applyField(*t, i, field, value);
            if (!why.empty())
                return cli::fail("style '" + cli::utf8(t->style(i)->name()) + "': " + field + "=" + value + " " + why);
        }
    }
    if (std::string why = save(*t, args[0], true); !why.empty())
        return cli::fail(why);
    std::printf("%s: %zu style%s changed\n", args[0].c_str(), targets.size(), targets.size() == 1 ? "" : "s");
    return cli::kOk;
}

// ---------------------------------------------------------------- render

std::string xml(const std::string& s) {
    std::string r;
    for (char c : s) {
        switch (c) {
        case '&': r += "&amp;"; break;
        case '<': r += "&lt;"; break;
        case '>': r += "&gt;"; break;
        case '"': r += "&quot;"; break;
        case '\'': r += "&apos;"; break;
        default:
            // Control characters are not allowed in XML 1.0 text.
            if (static_cast<unsigned char>(c) >= 0x20 || c == '\t')
                r += c;
        }
    }
    return r;
}

std::string svgColour(int rgb) {
    char buf[16];
    std::snprintf(buf, sizeof buf, "#%06x", static_cast<unsigned>(rgb) & 0xFFFFFFu);
    return buf;
}

int runRender(cli::Args& args) {
    if (helpFor(args, kRenderHelp))
        return cli::kOk;
    const bool force = cli::takeFlag(args, "--force");
    if (cli::rejectUnknownOptions(args))
        return cli::kUsage;
    if (args.size() != 2)
        return cli::usage("style render needs FILE and OUT.svg");
    const bool toStdout = args[1] == "-";
    if (std::string why = toStdout ? std::string() : cli::checkOutput(args[1], {args[0]}, force, true); !why.empty())
        return cli::fail(why);
    std::string error;
    auto t = load(args[0], error);
    if (!t)
        return cli::fail(error);
    const std::vector<Row> all = rows(*t);

    // The sheet is laid out in millimetres so that a line of lineweight w mm is
    // w mm wide wherever the SVG is shown or printed at 100 %.
    const double cellW = 46, cellH = 30, margin = 8, header = 16;
    const int columns = 8;
    const size_t kLabelFit = 24;
    const int count = int(all.size());
    const int lines = (count + columns - 1) / columns;
    const double width = 2 * margin + columns * cellW;
    const double height = 2 * margin + header + (lines ? lines : 1) * cellH;

    std::string svg;
    char buf[512];
    std::snprintf(buf, sizeof buf,
                  "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                  "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%gmm\" height=\"%gmm\" "
                  "viewBox=\"0 0 %g %g\" font-family=\"sans-serif\">\n",
                  width, height, width, height);
    svg += buf;
    svg += "<defs><pattern id=\"object\" width=\"2\" height=\"2\" patternUnits=\"userSpaceOnUse\" "
           "patternTransform=\"rotate(45)\"><rect width=\"2\" height=\"2\" fill=\"#ffffff\"/>"
           "<rect width=\"1\" height=\"2\" fill=\"#c8c8c8\"/></pattern></defs>\n";
    std::snprintf(buf, sizeof buf, "<rect width=\"%g\" height=\"%g\" fill=\"#ffffff\"/>\n", width, height);
    svg += buf;
    std::string title = args[0] + " \u2014 " + (t->useACI() ? "colour-dependent" : "named") + ", " +
                        std::to_string(t->size()) + " styles";
    if (!t->desc().isEmpty())
        title += " \u2014 " + cli::utf8(t->desc());
    std::snprintf(buf, sizeof buf, "<text x=\"%g\" y=\"%g\" font-size=\"5\">", margin, margin + 6);
    svg += buf + xml(title) + "</text>\n";

    for (int i = 0; i < count; ++i) {
        const Row& r = all[size_t(i)];
        const CPlotStyle& s = *r.style;
        const double x = margin + (i % columns) * cellW, y = margin + header + (i / columns) * cellH;
        std::wstring label = (s.locName().isEmpty() ? s.name() : s.locName()).str();
        if (r.colourIndex)
            label = std::to_wstring(r.colourIndex) + L": " + label;
        // About 24 characters fit a cell at this size; the whole name stays
        // available as the cell's tooltip.
        const std::string full = cli::utf8(label);
        if (label.size() > kLabelFit)
            label = label.substr(0, kLabelFit - 1) + L"\u2026";
        std::snprintf(buf, sizeof buf, "<g id=\"style-%d\">\n", r.position);
        svg += buf;
        svg += "<title>" + xml(full) + "</title>\n";
        std::snprintf(buf, sizeof buf,
                      "<rect x=\"%g\" y=\"%g\" width=\"%g\" height=\"%g\" fill=\"none\" stroke=\"#999999\" "
                      "stroke-width=\"0.2\"/>\n",
                      x + 1, y + 1, cellW - 2, cellH - 2);
        svg += buf;
        const std::optional<int> rgb = plottedRgb(s, r.colourIndex);
        const std::string fill = rgb ? svgColour(screened(*rgb, s.screen())) : "url(#object)";
        std::snprintf(buf, sizeof buf,
                      "<rect class=\"swatch\" x=\"%g\" y=\"%g\" width=\"%g\" height=\"10\" fill=\"%s\" "
                      "stroke=\"#666666\" stroke-width=\"0.1\"/>\n",
                      x + 3, y + 3, cellW - 6, fill.c_str());
        svg += buf;
        // The pen stroke: to scale; the object's lineweight is unknown here and
        // is drawn as a thin dashed line instead.
        const double mm = t->lineWeights().forStyle(s.lineWeight());
        const std::string stroke = rgb ? svgColour(screened(*rgb, s.screen())) : "#000000";
        if (mm >= 0) {
            std::snprintf(buf, sizeof buf,
                          "<line class=\"pen\" x1=\"%g\" y1=\"%g\" x2=\"%g\" y2=\"%g\" stroke=\"%s\" "
                          "stroke-width=\"%g\"/>\n",
                          x + 3, y + 17, x + cellW - 3, y + 17, stroke.c_str(), mm > 0 ? mm : 0.02);
        } else {
            std::snprintf(buf, sizeof buf,
                          "<line class=\"pen\" x1=\"%g\" y1=\"%g\" x2=\"%g\" y2=\"%g\" stroke=\"%s\" "
                          "stroke-width=\"0.1\" stroke-dasharray=\"1 1\"/>\n",
                          x + 3, y + 17, x + cellW - 3, y + 17, stroke.c_str());
        }
        svg += buf;
        std::snprintf(buf, sizeof buf, "<text x=\"%g\" y=\"%g\" font-size=\"3\">", x + 3, y + 23);
        svg += buf + xml(cli::utf8(label)) + "</text>\n";
        const std::string detail = colourText(s) + ", " + lineweightText(*t, s) + ", " + std::to_string(s.screen()) + "%";
        std::snprintf(buf, sizeof buf, "<text x=\"%g\" y=\"%g\" font-size=\"2.2\" fill=\"#555555\">", x + 3, y + 27);
        svg += buf + xml(detail) + "</text>\n</g>\n";
    }
    svg += "</svg>\n";

    if (toStdout) {
        if (std::fwrite(svg.data(), 1, svg.size(), stdout) != svg.size() || std::fflush(stdout) != 0)
            return cli::fail("cannot write the output");
        return cli::kOk;
    }
    if (std::string why = cli::writeFile(args[1], svg, force); !why.empty())
        return cli::fail(why);
    std::printf("%s: %d swatches\n", args[1].c_str(), count);
    return cli::kOk;
}

} // namespace

int runStyle(cli::Args& args) {
    if (args.empty() || (cli::wantsHelp(args) && (args[0] == "--help" || args[0] == "-h"))) {
        std::fputs(kHelp, args.empty() ? stderr : stdout);
        return args.empty() ? cli::kUsage : cli::kOk;
    }
    const std::string command = args[0];
    args.erase(args.begin());
    if (command == "show")
        return runShow(args);
    if (command == "new")
        return runNew(args);
    if (command == "convert")
        return runConvert(args);
    if (command == "set")
        return runSet(args);
    if (command == "render")
        return runRender(args);
    return cli::usage("unknown command 'style " + command + "'");
}
