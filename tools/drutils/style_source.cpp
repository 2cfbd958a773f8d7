#include "style_source.h"

#include <algorithm>
#include <cstring>
#include <cmath>
#include <cstdio>
#include <map>
#include <unordered_map>

#include "cli.h"

using source::Fault;
using source::In;
using source::Json;

namespace {

// The keys a table's root holds (the root's own, in the order written).
struct Key {
    const wchar_t* name;
    int kind;
};
const Key kTableKeys[] = {
    {L"description", kPStr},
    {L"aci_table_available", kPBool},
    {L"scale_factor", kPNum},
    {L"apply_factor", kPBool},
    {L"custom_lineweight_display_units", kPNum},
    {L"aci_table", kPBlock},
    {L"plot_style", kPBlock},
    {L"custom_lineweight_table", kPBlock},
};
const Key kStyleKeys[] = {
    {L"name", kPStr},
    {L"localized_name", kPStr},
    {L"description", kPStr},
    {L"color", kPNum},
    {L"mode_color", kPNum},
    {L"color_policy", kPNum},
    {L"physical_pen_number", kPNum},
    {L"virtual_pen_number", kPNum},
    {L"screen", kPNum},
    {L"linepattern_size", kPNum},
    {L"linetype", kPNum},
    {L"adaptive_linetype", kPBool},
    {L"lineweight", kPNum},
    {L"fill_style", kPNum},
    {L"end_style", kPNum},
    {L"join_style", kPNum},
};

template <size_t N> int keyKind(const Key (&keys)[N], const OdString& name) {
    for (const Key& k : keys)
        if (name == k.name)
            return k.kind;
    return -1;
}

template <size_t N> bool isKey(const Key (&keys)[N], const OdString& name, int kind) {
    for (const Key& k : keys)
        if (k.kind == kind && name == k.name)
            return true;
    return false;
}

std::string hexRgb(int rgb) {
    char buf[8];
    std::snprintf(buf, sizeof buf, "#%06X", unsigned(rgb) & 0xFFFFFFu);
    return buf;
}

// The colour a style plots, as people name it: "#RRGGBB", or "object" for the
// colour of the object plotted.
} // namespace

std::string source::plottedColour(const CPlotStyle& s) {
    if (s.color() == CPlotStyle::kObjectColor)
        return "object";
    if (s.color_policy() != CPlotStyle::kPolicyDither) {
        if (s.mode_color() == CPlotStyle::kObjectColorIndex || s.mode_color() == CPlotStyle::kObjectColor)
            return "object";
        return hexRgb(s.mode_color());
    }
    if (((unsigned(s.color()) >> 24) & 0xFF) == CPlotStyle::kMethodColorIndex) {
        const int index = s.color2rgb();
        return index >= 1 && index <= 255 ? hexRgb(CPlotStyle::paletteRgb(index)) : "object";
    }
    return hexRgb(s.color());
}

namespace {

// Whether the writer keeps each style's mode colour (see CPlotStyleTable::writeToBlock).
bool keepsModeColour(const std::vector<std::unique_ptr<CPlotStyle>>& styles) {
    for (const auto& s : styles)
        if (s->color_policy() != CPlotStyle::kPolicyDither || s->color() != CPlotStyle::kObjectColor)
            return true;
    return false;
}

std::string quoted(const OdString& s) { return source::dump(source::text(s)); }

std::string millimetres(double mm) { return source::dump(source::stored(mm)) + " mm"; }

} // namespace

// ---------------------------------------------------------------- to JSON

Json PlotStyleSource::styleToJson(const CPlotStyleTable& t, int i) {
    using source::stored;
    using source::text;
    const CPlotStyle& s = *t.m_styles[size_t(i)];
    Json o = Json::object();
    o["name"] = text(s.m_name);
    o["localized_name"] = text(s.m_localizedName);
    o["description"] = text(s.m_description);
    o["color"] = s.m_color;
    o["mode_color"] = s.m_modeColor;
    o["color_policy"] = s.m_colorPolicy;
    o["physical_pen_number"] = s.m_physicalPen;
    o["virtual_pen_number"] = s.m_virtualPen;
    o["screen"] = s.m_screen;
    o["linepattern_size"] = stored(s.m_linePatternSize);
    o["linetype"] = s.m_lineType;
    o["adaptive_linetype"] = s.m_adaptiveLinetype;
    o["lineweight"] = s.m_lineWeight;
    o["fill_style"] = s.m_fillStyle;
    o["end_style"] = s.m_endStyle;
    o["join_style"] = s.m_joinStyle;
    if (!s.m_foreign.empty())
        o["foreign"] = source::foreign(s.m_foreign);
    const double mm = t.m_lineWeights.forStyle(s.m_lineWeight);
    o["presentation"] = Json{{"position", i},
                             {"plotted_color", source::plottedColour(s)},
                             {"dither", s.isDither()},
                             {"grayscale", s.isGrayScale()},
                             {"lineweight_mm", mm >= 0 ? stored(mm) : Json(nullptr)}};
    return o;
}

Json PlotStyleSource::toJson(const CPlotStyleTable& t, const std::string* file) {
    using source::stored;
    using source::text;
    Json j = Json::object();
    if (file)
        j["presentation"] = Json{{"file", text(cli::wide(*file))}};
    j["kind"] = t.m_useAci ? "colour-dependent" : "named";
    j["description"] = text(t.m_description);
    j["aci_table_available"] = t.m_hasAci;
    j["scale_factor"] = stored(t.m_scaleFactor);
    j["apply_factor"] = t.m_applyFactor;
    j["custom_lineweight_display_units"] = t.m_lineWeightUnits;
    Json clw = Json::array();
    for (int k = 0; k < CCustomLineweightTable::kSize; ++k)
        clw.push_back(stored(t.m_lineWeights.at(k)));
    j["custom_lineweights"] = std::move(clw);
    Json styles = Json::array();
    for (size_t i = 0; i < t.m_styles.size(); ++i)
        styles.push_back(styleToJson(t, int(i)));
    j["styles"] = std::move(styles);
    if (t.m_useAci) {
        Json aci = Json::array();
        for (int k = 1; k <= CAciTable::kSize; ++k) {
            const CPlotStyle* s = t.m_aci.at(k);
            aci.push_back(s ? text(s->m_name) : Json(nullptr));
        }
        j["aci_table"] = std::move(aci);
    }
    if (!t.m_foreign.empty())
        j["foreign"] = source::foreign(t.m_foreign);
    return j;
}

// ---------------------------------------------------------------- from JSON

// The members of a style that hold its plotting values, in the order they are read.
const char* const PlotStyleSource::kStyleValueMembers[] = {
    "description",         "color",  "mode_color",       "color_policy", "physical_pen_number",
    "virtual_pen_number",  "screen", "linepattern_size", "linetype",     "adaptive_linetype",
    "lineweight",          "fill_style", "end_style",    "join_style"};

void PlotStyleSource::readStyleMember(CPlotStyle& s, const std::string& member, const In& v) {
    if (member == "description")
        s.m_description = v.string();
    else if (member == "color")
        s.m_color = v.int32();
    else if (member == "mode_color")
        s.m_modeColor = v.int32();
    else if (member == "color_policy")
        s.m_colorPolicy = v.int32();
    else if (member == "physical_pen_number")
        s.m_physicalPen = v.int32(0, 255);
    else if (member == "virtual_pen_number")
        s.m_virtualPen = v.int32(0, 255);
    else if (member == "screen")
        s.m_screen = v.int32(0, 100);
    else if (member == "linepattern_size")
        s.m_linePatternSize = v.storedReal(0, 1e6);
    else if (member == "linetype")
        s.m_lineType = v.int32(0, 31);
    else if (member == "adaptive_linetype")
        s.m_adaptiveLinetype = v.boolean();
    else if (member == "lineweight")
        s.m_lineWeight = v.int32(0, CCustomLineweightTable::kSize);
    else if (member == "fill_style")
        s.m_fillStyle = v.int32(0);
    else if (member == "end_style")
        s.m_endStyle = v.int32(0);
    else if (member == "join_style")
        s.m_joinStyle = v.int32(0);
    else
        v.fail("is not a member of a style");
}

void PlotStyleSource::setStyleMember(CPlotStyleTable& t, int i, const std::string& member, const Json& value) {
    CPlotStyle* target = t.style(i);
    const In v(value, "styles[" + std::to_string(i) + "]." + member);
    if (!target)
        v.fail("no such style");
    CPlotStyle s(*target);
    readStyleMember(s, member, v);
    // Texts are checked as the file will print them, now rather than at save.
    if (member == "description") {
        CPBlock block(L"style");
        block.add(new CPStr(L"description", s.m_description.c_str()));
        OdString why;
        if (!CPIAFileOut::canStore(&block, &why)) {
            std::string reason = cli::utf8(why);
            if (const size_t colon = reason.find(": "); colon != std::string::npos)
                reason = reason.substr(colon + 2);
            v.fail(reason);
        }
    }
    *target = s;
}

std::unique_ptr<CPlotStyleTable> PlotStyleSource::fromJson(const Json& j, const bool* colourDependent) {
    const In root(j, "");
    root.only({"kind", "description", "aci_table_available", "scale_factor", "apply_factor",
               "custom_lineweight_display_units", "custom_lineweights", "styles", "aci_table", "foreign"});
    auto t = std::make_unique<CPlotStyleTable>();
    const In kind = root.at("kind");
    t->m_useAci = kind.choice({"colour-dependent", "named"}) == 0;
    if (colourDependent && *colourDependent != t->m_useAci)
        kind.fail(std::string(t->m_useAci ? "a colour-dependent table goes in a .ctb file"
                                          : "a named table goes in a .stb file") +
                  ", not in a ." + (*colourDependent ? "ctb" : "stb") + " file");
    t->m_hasAci = t->m_useAci;
    if (auto v = root.opt("description"))
        t->m_description = v->string();
    if (auto v = root.opt("aci_table_available")) {
        t->m_hasAci = v->boolean();
        if (t->m_useAci && !t->m_hasAci)
            v->fail("false cannot be stored: a colour-dependent table always has its colour table");
    }
    if (auto v = root.opt("scale_factor"))
        t->m_scaleFactor = v->storedReal(0, 1e6);
    if (auto v = root.opt("apply_factor"))
        t->m_applyFactor = v->boolean();
    if (auto v = root.opt("custom_lineweight_display_units"))
        t->m_lineWeightUnits = v->int32(0, 1);
    if (auto v = root.opt("custom_lineweights")) {
        int k = 0;
        for (const In& e : v->items(CCustomLineweightTable::kSize))
            t->m_lineWeights.set(k++, e.storedReal(0, CCustomLineweightTable::kMaxMillimetres));
    }

    const std::vector<In> styles = root.at("styles").items();
    if (styles.empty())
        root.at("styles").fail("a table needs at least one style");
    if (styles.size() > size_t(CPlotStyleTable::kMaxStyles))
        root.at("styles").fail("holds " + std::to_string(styles.size()) + " styles; a table holds at most " +
                               std::to_string(CPlotStyleTable::kMaxStyles));
    std::unordered_map<std::wstring, size_t> byName;
    for (const In& e : styles) {
        e.only({"name", "localized_name", "description", "color", "mode_color", "color_policy",
                "physical_pen_number", "virtual_pen_number", "screen", "linepattern_size", "linetype",
                "adaptive_linetype", "lineweight", "fill_style", "end_style", "join_style", "foreign"});
        auto s = std::make_unique<CPlotStyle>();
        const In name = e.at("name");
        s->m_name = name.string();
        if (s->m_name.getLength() > CPlotStyleTable::kMaxNameLength)
            name.fail("is longer than " + std::to_string(CPlotStyleTable::kMaxNameLength) + " characters");
        auto [at, fresh] = byName.emplace(s->m_name.str(), t->m_styles.size());
        if (!fresh)
            name.fail(source::shown(name.json()) + " is the name of styles[" + std::to_string(at->second) + "] too");
        s->m_localizedName = s->m_name;
        if (auto v = e.opt("localized_name"))
            s->m_localizedName = v->string();
        for (const char* member : kStyleValueMembers) {
            if (std::strcmp(member, "mode_color") == 0)
                s->m_modeColor = s->m_color; // as a reader takes a style without one
            if (auto v = e.opt(member))
                readStyleMember(*s, member, *v);
        }
        t->m_styles.push_back(std::move(s));
    }
    // Styles' foreign keys once it is known whether mode_color is written (an
    // item placed after a key that is not written would move).
    const bool withModeColour = keepsModeColour(t->m_styles);
    for (size_t i = 0; i < styles.size(); ++i) {
        CPlotStyle& s = *t->m_styles[i];
        if (!withModeColour && s.m_modeColor != s.m_color)
            styles[i].at("mode_color")
                .fail(std::to_string(s.m_modeColor) +
                      " cannot be stored: while every style plots the object's colour, the file keeps no mode "
                      "colour and it reads back as the colour");
        if (auto v = styles[i].opt("foreign"))
            source::readForeign(
                *v, s.m_foreign,
                [&](const OdString& n) {
                    return n == L"mode_color" && !withModeColour ? -1 : keyKind(kStyleKeys, n);
                },
                [](const OdString& n, int k) { return isKey(kStyleKeys, n, k); });
    }

    if (auto aci = root.opt("aci_table")) {
        if (!t->m_useAci)
            aci->fail("a named table keeps no colour table (aci_table_available is all it stores)");
        int k = 1;
        for (const In& e : aci->items(CAciTable::kSize)) {
            const OdString name = e.string();
            auto it = byName.find(name.str());
            if (it == byName.end())
                e.fail(source::shown(e.json()) + " names no style of the table");
            t->m_aci.set(k++, t->m_styles[it->second].get());
        }
    } else if (t->m_useAci) {
        root.at("aci_table"); // missing: says so
    }
    if (auto v = root.opt("foreign")) {
        const bool useAci = t->m_useAci;
        source::readForeign(
            *v, t->m_foreign,
            [&](const OdString& n) { return n == L"aci_table" && !useAci ? -1 : keyKind(kTableKeys, n); },
            [](const OdString& n, int k) { return isKey(kTableKeys, n, k); });
    }
    return t;
}

// ---------------------------------------------------------------- writing

namespace {

// "plot_style/3/description: why" from the file's check, as the JSON path of the
// member at fault: "styles[3].description: why".
std::string jsonPath(const std::string& why) {
    const size_t colon = why.find(": ");
    if (colon == std::string::npos)
        return why;
    std::vector<std::string> parts;
    for (size_t at = 0, slash; at <= colon; at = slash + 1) {
        slash = why.find('/', at);
        if (slash == std::string::npos || slash > colon)
            slash = colon;
        parts.push_back(why.substr(at, slash - at));
    }
    const std::string reason = why.substr(colon + 2);
    auto known = [](const auto& keys, const std::string& name) {
        for (const Key& k : keys)
            if (cli::wide(name) == k.name)
                return true;
        return false;
    };
    std::string path;
    size_t i = 0;
    if (parts.size() >= 2 && parts[0] == "plot_style") {
        path = "styles[" + parts[1] + "]";
        i = 2;
        if (parts.size() > 2 && known(kStyleKeys, parts[2]))
            return path + "." + parts[2] + ": " + reason;
    } else if (parts.size() == 2 && parts[0] == "aci_table") {
        return "aci_table[" + parts[1] + "]: " + reason;
    } else if (parts.size() == 2 && parts[0] == "custom_lineweight_table") {
        return "custom_lineweights[" + parts[1] + "]: " + reason;
    } else if (parts.size() == 1 && known(kTableKeys, parts[0])) {
        return parts[0] + ": " + reason;
    }
    // A foreign item, named by its place in the file.
    std::string rest;
    for (size_t k = i; k < parts.size(); ++k)
        rest += (rest.empty() ? "" : "/") + parts[k];
    return (path.empty() ? "foreign" : path + ".foreign") + " (" + rest + "): " + reason;
}

} // namespace

std::string PlotStyleSource::write(const CPlotStyleTable& t, const std::string& path, bool replaceExisting) {
    CPBlock root(L"");
    OdString why;
    if (t.writeToBlock(root) && !CPIAFileOut::canStore(&root, &why))
        return jsonPath(cli::utf8(why));
    if (!t.write(cli::wide(path).c_str(), &why, replaceExisting))
        return path + ": not written: " + cli::utf8(why);
    return std::string();
}

// ---------------------------------------------------------------- lines

namespace source {

std::string styleLines(const Json& j) {
    std::string out = "{";
    bool first = true;
    for (auto it = j.begin(); it != j.end(); ++it) {
        out += first ? "\n" : ",\n";
        first = false;
        out += dump(Json(it.key())) + ":";
        if ((it.key() == "styles" || it.key() == "foreign") && it->is_array()) {
            out += "[";
            for (size_t i = 0; i < it->size(); ++i)
                out += (i ? ",\n" : "\n") + dump((*it)[i]);
            out += "\n]";
        } else {
            out += dump(*it);
        }
    }
    return out + "\n}\n";
}

// ---------------------------------------------------------------- differences

std::string StyleChange::line() const {
    std::string who;
    if (colourIndex > 0)
        who = "colour " + std::to_string(colourIndex) + " (" + style + ")";
    else if (!style.empty())
        who = "style " + style;
    if (change == "added" || change == "removed")
        return who + ": " + change;
    if (change == "renamed")
        return who + ": renamed to " + after;
    return (who.empty() ? field : who + ": " + field) + ": " + before + " -> " + after;
}

Json StyleChange::json() const {
    Json j = Json::object();
    if (!style.empty())
        j["style"] = Json::parse(style); // style is a quoted JSON string
    if (colourIndex > 0)
        j["color_index"] = colourIndex;
    j["change"] = change;
    if (!field.empty())
        j["field"] = field;
    if (change == "changed" || change == "renamed") {
        j["old"] = before;
        j["new"] = after;
    }
    return j;
}

} // namespace source

namespace {

struct Field {
    const char* name;
    std::string (*show)(const CPlotStyleTable&, const CPlotStyle&);
};

std::string onOff(bool b) { return b ? "on" : "off"; }
std::string number(int v) { return std::to_string(v); }

const Field kFields[] = {
    {"localized_name", [](const CPlotStyleTable&, const CPlotStyle& s) { return quoted(s.locName()); }},
    {"description", [](const CPlotStyleTable&, const CPlotStyle& s) { return quoted(s.desc()); }},
    {"color", [](const CPlotStyleTable&, const CPlotStyle& s) { return source::plottedColour(s); }},
    {"dither", [](const CPlotStyleTable&, const CPlotStyle& s) { return onOff(s.isDither()); }},
    {"grayscale", [](const CPlotStyleTable&, const CPlotStyle& s) { return onOff(s.isGrayScale()); }},
    {"physical_pen_number", [](const CPlotStyleTable&, const CPlotStyle& s) { return number(s.pen()); }},
    {"virtual_pen_number", [](const CPlotStyleTable&, const CPlotStyle& s) { return number(s.virtualPen()); }},
    {"screen", [](const CPlotStyleTable&, const CPlotStyle& s) { return number(s.screen()); }},
    {"linepattern_size",
     [](const CPlotStyleTable&, const CPlotStyle& s) { return source::dump(source::stored(s.linepattern_size())); }},
    {"linetype",
     [](const CPlotStyleTable&, const CPlotStyle& s) { return s.lineType() == 31 ? "object" : number(s.lineType()); }},
    {"adaptive_linetype", [](const CPlotStyleTable&, const CPlotStyle& s) { return onOff(s.isAdaptiveLinetype()); }},
    {"lineweight",
     [](const CPlotStyleTable& t, const CPlotStyle& s) {
         const double mm = t.lineWeights().forStyle(s.lineWeight());
         if (s.lineWeight() == 0)
             return std::string("object");
         if (mm >= 0)
             return millimetres(mm);
         std::string text = number(s.lineWeight()); // a number the table has no entry for
         text.insert(text.begin(), '#');
         return text;
     }},
    {"fill_style", [](const CPlotStyleTable&, const CPlotStyle& s) { return number(s.fillStyle()); }},
    {"end_style", [](const CPlotStyleTable&, const CPlotStyle& s) { return number(s.endStyle()); }},
    {"join_style", [](const CPlotStyleTable&, const CPlotStyle& s) { return number(s.joinStyle()); }},
    // What the fields above do not tell apart: the stored colour values, the
    // policy's other bits, other programs' keys.
    {"color_value",
     [](const CPlotStyleTable&, const CPlotStyle& s) {
         char buf[64];
         std::snprintf(buf, sizeof buf, "0x%08X/0x%08X/%d", unsigned(s.color()), unsigned(s.mode_color()),
                       s.color_policy());
         return std::string(buf);
     }},
    {"foreign",
     [](const CPlotStyleTable&, const CPlotStyle& s) { return source::dump(source::foreign(s.foreignItems())); }},
};

void compareStyles(const CPlotStyleTable& ta, const CPlotStyle& a, const CPlotStyleTable& tb, const CPlotStyle& b,
                   const std::string& who, int colourIndex, std::vector<source::StyleChange>& out) {
    bool any = false;
    for (const Field& f : kFields) {
        const std::string before = f.show(ta, a), after = f.show(tb, b);
        // The raw colour values count only when nothing people see differs.
        if (before == after || (std::string(f.name) == "color_value" && any))
            continue;
        any = true;
        out.push_back({who, colourIndex, f.name, "changed", before, after});
    }
}

} // namespace

std::vector<source::StyleChange> PlotStyleSource::diff(const CPlotStyleTable& a, const CPlotStyleTable& b) {
    using source::dump;
    using source::stored;
    std::vector<source::StyleChange> out;
    auto table = [&](const std::string& field, const std::string& before, const std::string& after) {
        if (before != after)
            out.push_back({"", 0, field, "changed", before, after});
    };
    auto flag = [](bool v) { return std::string(v ? "true" : "false"); };
    table("kind", a.useACI() ? "colour-dependent" : "named", b.useACI() ? "colour-dependent" : "named");
    table("description", quoted(a.desc()), quoted(b.desc()));
    table("aci_table_available", flag(a.hasACI()), flag(b.hasACI()));
    table("scale_factor", dump(stored(a.scaleFactor())), dump(stored(b.scaleFactor())));
    table("apply_factor", flag(a.applyFactor()), flag(b.applyFactor()));
    table("custom_lineweight_display_units", a.lineWeightUnits() ? "inches" : "millimetres",
          b.lineWeightUnits() ? "inches" : "millimetres");
    for (int k = 0; k < CCustomLineweightTable::kSize; ++k)
        table("custom_lineweights[" + std::to_string(k) + "]", millimetres(a.lineWeights().at(k)),
              millimetres(b.lineWeights().at(k)));
    table("foreign", dump(source::foreign(a.m_foreign)), dump(source::foreign(b.m_foreign)));

    // Colour-dependent tables: the pen of each colour, whatever its style is called.
    std::vector<bool> doneA(size_t(a.size()), false), doneB(size_t(b.size()), false);
    auto position = [](const CPlotStyleTable& t, const CPlotStyle* s) {
        for (int i = 0; i < t.size(); ++i)
            if (t.style(i) == s)
                return i;
        return -1;
    };
    if (a.useACI() && b.useACI()) {
        for (int k = 1; k <= CAciTable::kSize; ++k) {
            const CPlotStyle* sa = a.ACI().at(k);
            const CPlotStyle* sb = b.ACI().at(k);
            if (!sa || !sb)
                continue;
            doneA[size_t(position(a, sa))] = true;
            doneB[size_t(position(b, sb))] = true;
            const std::string who = quoted(sb->name());
            if (sa->name() != sb->name())
                out.push_back({who, k, "name", "changed", quoted(sa->name()), who});
            compareStyles(a, *sa, b, *sb, who, k, out);
        }
    }
    // The other styles by name: named tables, and styles no colour uses.
    std::map<std::wstring, int> inA, inB;
    for (int i = 0; i < a.size(); ++i)
        if (!doneA[size_t(i)])
            inA.emplace(a.style(i)->name().str(), i);
    for (int i = 0; i < b.size(); ++i)
        if (!doneB[size_t(i)])
            inB.emplace(b.style(i)->name().str(), i);
    std::vector<int> removed, added;
    for (int i = 0; i < a.size(); ++i)
        if (!doneA[size_t(i)] && !inB.count(a.style(i)->name().str()))
            removed.push_back(i);
    for (int i = 0; i < b.size(); ++i)
        if (!doneB[size_t(i)] && !inA.count(b.style(i)->name().str()))
            added.push_back(i);
    // A style removed and one added that plot alike is a rename, when neither
    // could be paired with another.
    auto alike = [&](int i, int j) {
        const CPlotStyle& x = *a.style(i);
        const CPlotStyle& y = *b.style(j);
        return x.isEqual(y, true) && dump(source::foreign(x.foreignItems())) == dump(source::foreign(y.foreignItems()));
    };
    std::map<int, int> renamed; // position in a -> position in b
    for (int i : removed) {
        int match = -1, count = 0;
        for (int j : added)
            if (alike(i, j))
                match = j, ++count;
        if (count != 1)
            continue;
        int back = 0;
        for (int r : removed)
            back += alike(r, match);
        if (back == 1)
            renamed[i] = match;
    }
    // Positions of the styles both tables have, counted among those styles only,
    // so that adding or removing a style moves no other.
    std::vector<std::wstring> orderA, orderB;
    for (int i = 0; i < a.size(); ++i)
        if (!doneA[size_t(i)] && inB.count(a.style(i)->name().str()))
            orderA.push_back(a.style(i)->name().str());
    for (int i = 0; i < b.size(); ++i)
        if (!doneB[size_t(i)] && inA.count(b.style(i)->name().str()))
            orderB.push_back(b.style(i)->name().str());
    for (int i = 0; i < a.size(); ++i) {
        if (doneA[size_t(i)])
            continue;
        const CPlotStyle& sa = *a.style(i);
        const std::string who = quoted(sa.name());
        auto it = inB.find(sa.name().str());
        if (it != inB.end()) {
            const size_t rankA = size_t(std::find(orderA.begin(), orderA.end(), sa.name().str()) - orderA.begin());
            const size_t rankB = size_t(std::find(orderB.begin(), orderB.end(), sa.name().str()) - orderB.begin());
            if (rankA != rankB)
                out.push_back({who, 0, "position", "changed", std::to_string(i), std::to_string(it->second)});
            compareStyles(a, sa, b, *b.style(it->second), who, 0, out);
        } else if (auto r = renamed.find(i); r != renamed.end()) {
            const CPlotStyle& sb = *b.style(r->second);
            out.push_back({who, 0, "", "renamed", who, quoted(sb.name())});
            if (sa.locName() != sb.locName())
                out.push_back({quoted(sb.name()), 0, "localized_name", "changed", quoted(sa.locName()),
                               quoted(sb.locName())});
        } else {
            out.push_back({who, 0, "", "removed", "", ""});
        }
    }
    for (int j : added) {
        bool isRename = false;
        for (const auto& [from, to] : renamed)
            isRename = isRename || to == j;
        if (!isRename)
            out.push_back({quoted(b.style(j)->name()), 0, "", "added", "", ""});
    }
    return out;
}
