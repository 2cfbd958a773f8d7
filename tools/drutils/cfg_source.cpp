#include "cfg_source.h"

#include <map>
#include <set>

#include "cli.h"
#include "platform/codepage.h"

namespace source {

namespace {

// The writer composes each line in 512 characters, less indentation, key and
// punctuation, and refuses longer strings (see CCustomNode::setStr).
constexpr int kMaxText = 400;
constexpr double kReal = 1e9; // bound on reals: far beyond any paper or resolution

// A key a node writes: its name in the file, its kind, and whether it is written
// with the values the node now has.
struct Known {
    const wchar_t* name;
    int kind;
    bool written = true;
};

Json bounds(double a, double b, double c, double d) { return Json::array({stored(a), stored(b), stored(c), stored(d)}); }

Json optBool(const std::optional<bool>& v) { return v ? Json(*v) : Json(nullptr); }

void putForeign(Json& j, const CPForeignItems& f) {
    if (!f.empty())
        j["foreign"] = foreign(f);
}

// A string the file can hold as it is.
OdString str(const In& in) {
    const OdString s = in.string();
    if (s.findOneOf(L"{\n\r") >= 0)
        in.fail("cannot be stored: it holds '{' or a line break");
    if (s.getLength() > kMaxText)
        in.fail("cannot be stored: longer than " + std::to_string(kMaxText) + " characters");
    std::string bytes;
    size_t bad = 0;
    const int page = ut::platform::ansiCodePage();
    if (!ut::platform::encodeExactly(s.str(), page, bytes, &bad)) {
        char code[16];
        std::snprintf(code, sizeof code, "U+%04X", unsigned(s.str()[bad]));
        in.fail(std::string("cannot be stored: the character ") + code + " has no form in code page " +
                std::to_string(page) + "; DRUTILS_ANSI_CODEPAGE chooses another (65001 for UTF-8)");
    }
    return s;
}

double real(const In& in) { return in.storedReal(-kReal, kReal); }

void readBounds(const In& in, double& a, double& b, double& c, double& d) {
    auto v = in.items(4);
    a = real(v[0]), b = real(v[1]), c = real(v[2]), d = real(v[3]);
}

void readPair(const In& in, double& a, double& b) {
    auto v = in.items(2);
    a = real(v[0]), b = real(v[1]);
}

std::optional<bool> readOptBool(const In& node, const char* key) {
    if (auto v = node.opt(key, true))
        return v->boolean();
    return std::nullopt;
}

void readNodeForeign(const In& node, CPForeignItems& out, const std::vector<Known>& keys) {
    auto v = node.opt("foreign");
    if (!v)
        return;
    readForeign(
        *v, out,
        [&](const OdString& name) {
            for (const Known& k : keys)
                if (name == k.name)
                    return k.written ? k.kind : -1;
            return -1;
        },
        [&](const OdString& name, int kind) {
            // The reader takes a value of a known key's name for that key (and
            // fails on its kind); only a block may share a value's name.
            for (const Known& k : keys)
                if (name == k.name && (kind == k.kind || (kind != kPBlock && k.kind != kPBlock)))
                    return true;
            return false;
        });
}

// ---------------------------------------------------------------- meta

Json metaJson(const CMetaNode& m) {
    Json j = Json::object();
    j["user_defined_model_pathname"] = text(m.userDefinedModelPathname);
    j["user_defined_model_basename"] = text(m.userDefinedModelBasename);
    j["driver_pathname"] = text(m.driverPathname);
    j["driver_version"] = text(m.driverVersion);
    j["driver_tag_line"] = text(m.driverTagLine);
    j["toolkit_version"] = m.toolkitVersion;
    j["driver_type"] = m.driverType;
    j["canonical_family_name"] = text(m.canonicalFamilyName);
    j["show_custom_first"] = m.showCustomFirst;
    j["truetype_as_text"] = m.truetypeAsText;
    j["canonical_model_name"] = text(m.canonicalModelName);
    j["localized_family_name"] = text(m.localizedFamilyName);
    j["localized_model_name"] = text(m.localizedModelName);
    j["file_only"] = m.fileOnly;
    j["model_abilities"] = text(m.modelAbilities);
    j["udm_description"] = text(m.udmDescription);
    j["win_device_name"] = text(m.winDeviceName);
    j["win_driver_name"] = text(m.winDriverName);
    j["short_net_name"] = text(m.shortNetName);
    j["friendly_net_name"] = text(m.friendlyNetName);
    j["dm_driver_version"] = m.dmDriverVersion;
    j["default_system_cfg"] = optBool(m.defaultSystemCfg);
    j["platform"] = text(m.platform);
    j["locale"] = text(m.locale);
    j["config_description"] = text(m.configDescription);
    j["config_autospool"] = optBool(m.configAutospool);
    putForeign(j, m.foreign);
    return j;
}

CMetaNode metaFrom(const In& in) {
    in.only({"user_defined_model_pathname", "user_defined_model_basename", "driver_pathname", "driver_version",
             "driver_tag_line", "toolkit_version", "driver_type", "canonical_family_name", "show_custom_first",
             "truetype_as_text", "canonical_model_name", "localized_family_name", "localized_model_name",
             "file_only", "model_abilities", "udm_description", "win_device_name", "win_driver_name",
             "short_net_name", "friendly_net_name", "dm_driver_version", "default_system_cfg", "platform", "locale",
             "config_description", "config_autospool", "foreign"});
    CMetaNode m;
    auto s = [&](const char* key, OdString& out) {
        if (auto v = in.opt(key))
            out = str(*v);
    };
    auto b = [&](const char* key, bool& out) {
        if (auto v = in.opt(key))
            out = v->boolean();
    };
    auto i = [&](const char* key, int& out) {
        if (auto v = in.opt(key))
            out = v->int32();
    };
    s("user_defined_model_pathname", m.userDefinedModelPathname);
    s("user_defined_model_basename", m.userDefinedModelBasename);
    s("driver_pathname", m.driverPathname);
    s("driver_version", m.driverVersion);
    s("driver_tag_line", m.driverTagLine);
    i("toolkit_version", m.toolkitVersion);
    i("driver_type", m.driverType);
    s("canonical_family_name", m.canonicalFamilyName);
    b("show_custom_first", m.showCustomFirst);
    b("truetype_as_text", m.truetypeAsText);
    s("canonical_model_name", m.canonicalModelName);
    s("localized_family_name", m.localizedFamilyName);
    s("localized_model_name", m.localizedModelName);
    b("file_only", m.fileOnly);
    s("model_abilities", m.modelAbilities);
    s("udm_description", m.udmDescription);
    s("win_device_name", m.winDeviceName);
    s("win_driver_name", m.winDriverName);
    s("short_net_name", m.shortNetName);
    s("friendly_net_name", m.friendlyNetName);
    i("dm_driver_version", m.dmDriverVersion);
    m.defaultSystemCfg = readOptBool(in, "default_system_cfg");
    s("platform", m.platform);
    s("locale", m.locale);
    s("config_description", m.configDescription);
    m.configAutospool = readOptBool(in, "config_autospool");
    readNodeForeign(in, m.foreign,
                    {{L"user_defined_model_pathname", kPStr},
                     {L"user_defined_model_basename", kPStr},
                     {L"driver_pathname", kPStr},
                     {L"driver_version", kPStr},
                     {L"driver_tag_line", kPStr},
                     {L"toolkit_version", kPNum},
                     {L"driver_type", kPNum},
                     {L"canonical_family_name", kPStr},
                     {L"show_custom_first", kPBool},
                     {L"truetype_as_text", kPBool},
                     {L"canonical_model_name", kPStr},
                     {L"localized_family_name", kPStr},
                     {L"localized_model_name", kPStr},
                     {L"file_only", kPBool},
                     {L"model_abilities", kPStr},
                     {L"udm_description", kPStr},
                     {L"win_device_name", kPStr, !m.winDeviceName.isEmpty()},
                     {L"win_driver_name", kPStr, !m.winDriverName.isEmpty()},
                     {L"short_net_name", kPStr},
                     {L"friendly_net_name", kPStr},
                     {L"dm_driver_version", kPNum, m.dmDriverVersion != 0},
                     {L"default_system_cfg", kPBool, m.defaultSystemCfg.has_value()},
                     {L"platform", kPStr, !m.platform.isEmpty()},
                     {L"locale", kPStr, !m.locale.isEmpty()},
                     {L"config_description", kPStr, !m.configDescription.isEmpty()},
                     {L"config_autospool", kPBool, m.configAutospool.has_value()}});
    return m;
}

// ---------------------------------------------------------------- media

Json mediaJson(const CMediaNode& m) {
    Json j = Json::object();
    j["selection_method"] = m.selectionMethod;
    j["type"] = text(m.type);
    j["dm_orientation"] = m.dmOrientation;
    j["actual_printable_bounds"] = bounds(m.actualPrintableBoundsLlx, m.actualPrintableBoundsLly,
                                          m.actualPrintableBoundsUrx, m.actualPrintableBoundsUry);
    j["number_of_copies"] = m.numberOfCopies;
    const CSizeNode& s = m.size;
    Json size = Json::object();
    size["name"] = text(s.name);
    size["group"] = s.group;
    size["landscape_mode"] = s.landscapeMode;
    size["longplot_reduction"] = stored(s.longplotReduction);
    size["dm_scale"] = s.dmScale;
    const CMediaDescriptionNode& d = s.mediaDescription;
    Json desc = Json::object();
    desc["printable_bounds"] =
        bounds(d.printableBoundsLlx, d.printableBoundsLly, d.printableBoundsUrx, d.printableBoundsUry);
    desc["printable_area"] = stored(d.printableArea);
    desc["dimensional"] = d.dimensional;
    Json mb = Json::object();
    mb["urx"] = stored(d.mediaBounds.urx);
    mb["ury"] = stored(d.mediaBounds.ury);
    putForeign(mb, d.mediaBounds.foreign);
    desc["media_bounds"] = std::move(mb);
    putForeign(desc, d.foreign);
    size["media_description"] = std::move(desc);
    putForeign(size, s.foreign);
    j["size"] = std::move(size);
    if (m.destination) {
        Json dest = Json::object();
        dest["name"] = text(m.destination->name);
        dest["collating_type"] = m.destination->collatingType;
        dest["collating_name"] = text(m.destination->collatingName);
        putForeign(dest, m.destination->foreign);
        j["destination"] = std::move(dest);
    } else {
        j["destination"] = nullptr;
    }
    if (m.customPapers) {
        Json papers = Json::array();
        for (const auto& p : m.customPapers->papers) {
            Json o = Json::object();
            o["global_name"] = text(p.globalName);
            o["local_name"] = text(p.localName);
            o["units"] = p.units;
            o["width"] = stored(p.width);
            o["height"] = stored(p.height);
            o["left"] = stored(p.left);
            o["bottom"] = stored(p.bottom);
            o["right"] = stored(p.right);
            o["top"] = stored(p.top);
            papers.push_back(std::move(o));
        }
        j["custom_papers"] = std::move(papers);
    } else {
        j["custom_papers"] = nullptr;
    }
    putForeign(j, m.foreign);
    return j;
}

CMediaNode mediaFrom(const In& in) {
    in.only({"selection_method", "type", "dm_orientation", "actual_printable_bounds", "number_of_copies", "size",
             "destination", "custom_papers", "foreign"});
    CMediaNode m;
    if (auto v = in.opt("selection_method"))
        m.selectionMethod = v->int32();
    if (auto v = in.opt("type"))
        m.type = str(*v);
    if (auto v = in.opt("dm_orientation"))
        m.dmOrientation = v->int32(1, 2);
    if (auto v = in.opt("actual_printable_bounds"))
        readBounds(*v, m.actualPrintableBoundsLlx, m.actualPrintableBoundsLly, m.actualPrintableBoundsUrx,
                   m.actualPrintableBoundsUry);
    if (auto v = in.opt("number_of_copies"))
        m.numberOfCopies = v->int32(1, 9999);

    const In size = in.at("size");
    size.only({"name", "group", "landscape_mode", "longplot_reduction", "dm_scale", "media_description", "foreign"});
    CSizeNode& s = m.size;
    s.name = str(size.at("name"));
    if (auto v = size.opt("group"))
        s.group = v->int32();
    if (auto v = size.opt("landscape_mode"))
        s.landscapeMode = v->boolean();
    if (auto v = size.opt("longplot_reduction"))
        s.longplotReduction = real(*v);
    if (auto v = size.opt("dm_scale"))
        s.dmScale = v->int32(1, 1000);
    const In desc = size.at("media_description");
    desc.only({"printable_bounds", "printable_area", "dimensional", "media_bounds", "foreign"});
    CMediaDescriptionNode& d = s.mediaDescription;
    if (auto v = desc.opt("printable_bounds"))
        readBounds(*v, d.printableBoundsLlx, d.printableBoundsLly, d.printableBoundsUrx, d.printableBoundsUry);
    if (auto v = desc.opt("printable_area"))
        d.printableArea = real(*v);
    if (auto v = desc.opt("dimensional"))
        d.dimensional = v->boolean();
    const In mb = desc.at("media_bounds");
    mb.only({"urx", "ury", "foreign"});
    d.mediaBounds.urx = real(mb.at("urx"));
    d.mediaBounds.ury = real(mb.at("ury"));
    readNodeForeign(mb, d.mediaBounds.foreign, {{L"urx", kPNum}, {L"ury", kPNum}});
    readNodeForeign(desc, d.foreign,
                    {{L"printable_bounds_llx", kPNum},
                     {L"printable_bounds_lly", kPNum},
                     {L"printable_bounds_urx", kPNum},
                     {L"printable_bounds_ury", kPNum},
                     {L"printable_area", kPNum},
                     {L"dimensional", kPBool},
                     {L"media_bounds", kPBlock}});
    readNodeForeign(size, s.foreign,
                    {{L"name", kPStr},
                     {L"group", kPNum},
                     {L"landscape_mode", kPBool},
                     {L"longplot_reduction", kPNum},
                     {L"dm_scale", kPNum, s.dmScale != 100},
                     {L"media_description", kPBlock}});

    if (auto dest = in.opt("destination", true)) {
        dest->only({"name", "collating_type", "collating_name", "foreign"});
        CDestinationNode n;
        if (auto v = dest->opt("name"))
            n.name = str(*v);
        if (auto v = dest->opt("collating_type"))
            n.collatingType = v->int32();
        if (auto v = dest->opt("collating_name"))
            n.collatingName = str(*v);
        readNodeForeign(*dest, n.foreign, {{L"name", kPStr}, {L"collating_type", kPNum}, {L"collating_name", kPStr}});
        m.destination = std::move(n);
    }
    if (auto papers = in.opt("custom_papers", true)) {
        CustomPapersNode n;
        const std::vector<In> list = papers->items();
        if (list.size() > CustomPapersNode::kMaxPapers)
            papers->fail("holds " + std::to_string(list.size()) + " papers; a configuration holds at most " +
                         std::to_string(CustomPapersNode::kMaxPapers));
        for (const In& e : list) {
            e.only({"global_name", "local_name", "units", "width", "height", "left", "bottom", "right", "top"});
            CustomPapersNode::PaperSize p;
            p.globalName = str(e.at("global_name"));
            if (auto v = e.opt("local_name"))
                p.localName = str(*v);
            if (auto v = e.opt("units"))
                p.units = v->int32(0, 1);
            p.width = real(e.at("width"));
            p.height = real(e.at("height"));
            if (auto v = e.opt("left"))
                p.left = real(*v);
            if (auto v = e.opt("bottom"))
                p.bottom = real(*v);
            if (auto v = e.opt("right"))
                p.right = real(*v);
            if (auto v = e.opt("top"))
                p.top = real(*v);
            n.append(p);
        }
        m.customPapers = std::move(n);
    }
    readNodeForeign(in, m.foreign,
                    {{L"selection_method", kPNum},
                     {L"type", kPStr},
                     {L"dm_orientation", kPNum},
                     {L"actual_printable_bounds_llx", kPNum},
                     {L"actual_printable_bounds_lly", kPNum},
                     {L"actual_printable_bounds_urx", kPNum},
                     {L"actual_printable_bounds_ury", kPNum},
                     {L"number_of_copies", kPNum},
                     {L"size", kPBlock},
                     {L"destination", kPBlock, m.destination.has_value()},
                     {L"custom_papers", kPBlock, m.customPapers.has_value()}});
    return m;
}

// ---------------------------------------------------------------- io, res_color_mem

Json ioJson(const CIoNode& io) {
    Json j = Json::object();
    j["type"] = io.type;
    j["pathname"] = text(io.pathname);
    j["allsysvalid"] = io.allsysvalid;
    j["plot_to_file"] = io.plotToFile;
    putForeign(j, io.foreign);
    return j;
}

CIoNode ioFrom(const In& in) {
    in.only({"type", "pathname", "allsysvalid", "plot_to_file", "foreign"});
    CIoNode io;
    if (auto v = in.opt("type"))
        io.type = v->int32();
    if (auto v = in.opt("pathname"))
        io.pathname = str(*v);
    if (auto v = in.opt("allsysvalid"))
        io.allsysvalid = v->boolean();
    if (auto v = in.opt("plot_to_file"))
        io.plotToFile = v->boolean();
    readNodeForeign(in, io.foreign,
                    {{L"type", kPNum}, {L"pathname", kPStr}, {L"allsysvalid", kPBool}, {L"plot_to_file", kPBool}});
    return io;
}

Json resJson(const CResColorMemNode& r) {
    Json j = Json::object();
    j["name"] = text(r.name);
    j["num_colors"] = r.numColors;
    j["color_depth"] = r.colorDepth;
    j["num_undithered_colors"] = r.numUnditheredColors;
    j["color_system"] = r.colorSystem;
    j["dm_color"] = r.dmColor;
    j["icm_method"] = r.icmMethod;
    j["icm_intent"] = r.icmIntent;
    j["ism_max"] = r.ismMax == CResColorMemNode::kNotSet ? Json(nullptr) : Json(r.ismMax);
    j["ole_max"] = r.oleMax == CResColorMemNode::kNotSet ? Json(nullptr) : Json(r.oleMax);
    j["hard_soft"] = r.hardSoft;
    j["preference"] = r.preference;
    j["lines_overwrite"] = optBool(r.linesOverwrite);
    j["color_mono"] = optBool(r.colorMono);
    const CResolutionNode& res = r.resolution;
    Json o = Json::object();
    o["name"] = text(res.name);
    o["phys"] = Json::array({stored(res.physResolutionX), stored(res.physResolutionY)});
    o["addr"] = Json::array({stored(res.addrResolutionX), stored(res.addrResolutionY)});
    o["effective"] = Json::array({stored(res.effectiveResolutionX), stored(res.effectiveResolutionY)});
    putForeign(o, res.foreign);
    j["resolution"] = std::move(o);
    putForeign(j, r.foreign);
    return j;
}

CResColorMemNode resFrom(const In& in) {
    in.only({"name", "num_colors", "color_depth", "num_undithered_colors", "color_system", "dm_color", "icm_method",
             "icm_intent", "ism_max", "ole_max", "hard_soft", "preference", "lines_overwrite", "color_mono",
             "resolution", "foreign"});
    CResColorMemNode r;
    auto i = [&](const char* key, int& out) {
        if (auto v = in.opt(key))
            out = v->int32();
    };
    auto u = [&](const char* key, uint32_t& out) {
        if (auto v = in.opt(key, true))
            out = uint32_t(v->integer(0, CResColorMemNode::kNotSet - 1));
    };
    if (auto v = in.opt("name"))
        r.name = str(*v);
    i("num_colors", r.numColors);
    i("color_depth", r.colorDepth);
    i("num_undithered_colors", r.numUnditheredColors);
    i("color_system", r.colorSystem);
    if (auto v = in.opt("dm_color"))
        r.dmColor = v->int32(1, 2);
    i("icm_method", r.icmMethod);
    i("icm_intent", r.icmIntent);
    u("ism_max", r.ismMax);
    u("ole_max", r.oleMax);
    i("hard_soft", r.hardSoft);
    i("preference", r.preference);
    r.linesOverwrite = readOptBool(in, "lines_overwrite");
    r.colorMono = readOptBool(in, "color_mono");
    const In res = in.at("resolution");
    res.only({"name", "phys", "addr", "effective", "foreign"});
    CResolutionNode& n = r.resolution;
    if (auto v = res.opt("name"))
        n.name = str(*v);
    if (auto v = res.opt("phys"))
        readPair(*v, n.physResolutionX, n.physResolutionY);
    if (auto v = res.opt("addr"))
        readPair(*v, n.addrResolutionX, n.addrResolutionY);
    if (auto v = res.opt("effective"))
        readPair(*v, n.effectiveResolutionX, n.effectiveResolutionY);
    readNodeForeign(res, n.foreign,
                    {{L"name", kPStr},
                     {L"phys_resolution_x", kPNum},
                     {L"phys_resolution_y", kPNum},
                     {L"addr_resolution_x", kPNum},
                     {L"addr_resolution_y", kPNum},
                     {L"effective_resolution_x", kPNum},
                     {L"effective_resolution_y", kPNum}});
    readNodeForeign(in, r.foreign,
                    {{L"name", kPStr},
                     {L"num_colors", kPNum},
                     {L"color_depth", kPNum},
                     {L"num_undithered_colors", kPNum},
                     {L"color_system", kPNum},
                     {L"dm_color", kPNum},
                     {L"icm_method", kPNum, r.icmMethod != 0},
                     {L"icm_intent", kPNum, r.icmIntent != 0},
                     {L"ism_max", kPNum, r.ismMax != CResColorMemNode::kNotSet},
                     {L"ole_max", kPNum, r.oleMax != CResColorMemNode::kNotSet},
                     {L"hard_soft", kPNum, r.hardSoft != 0},
                     {L"preference", kPNum, r.preference != 0},
                     {L"lines_overwrite", kPBool, r.linesOverwrite.has_value()},
                     {L"color_mono", kPBool, r.colorMono.has_value()},
                     {L"resolution", kPBlock}});
    return r;
}

// ---------------------------------------------------------------- custom values

Json customJson(const CCustomNode& c) {
    Json out = Json::array();
    auto put = [&](const OdString& name, const char* kind, Json value) {
        out.push_back(Json{{"name", text(name)}, {"kind", kind}, {"value", std::move(value)}});
    };
    for (const auto& [n, v] : c.strings())
        put(n, "string", text(v));
    for (const auto& [n, v] : c.binaries())
        put(n, "binary", text(v));
    for (const auto& [n, v] : c.bools())
        put(n, "bool", v);
    for (const auto& [n, v] : c.reals())
        put(n, "real", stored(v));
    for (const auto& [n, v] : c.ints())
        put(n, "int", v);
    return out;
}

CCustomNode customFrom(const In& in) {
    CCustomNode c;
    const std::vector<In> list = in.items();
    if (list.size() > CCustomNode::kMaxValues)
        in.fail("holds " + std::to_string(list.size()) + " values; a configuration holds at most " +
                std::to_string(CCustomNode::kMaxValues));
    for (const In& e : list) {
        e.only({"name", "kind", "value"});
        const In nameIn = e.at("name");
        const OdString name = str(nameIn);
        if (name.isEmpty())
            nameIn.fail("a custom value needs a name");
        const auto kind = CCustomNode::EKind(e.at("kind").choice({"string", "binary", "bool", "real", "int"}));
        if (c.has(name, kind))
            e.fail("a second " + cli::utf8(OdString(CCustomNode::kindName(kind))) + " value named " +
                   shown(nameIn.json()));
        const In v = e.at("value");
        switch (kind) {
        case CCustomNode::kString: c.setStr(str(v), name); break;
        case CCustomNode::kBinary: {
            const OdString hex = v.string();
            if (hex.isEmpty() || !ut::isHexText(hex))
                v.fail(shown(v.json()) + " is not hexadecimal text of two digits per byte");
            c.setBin(hex, name);
            break;
        }
        case CCustomNode::kBool: c.set(v.boolean(), name); break;
        case CCustomNode::kReal: c.set(real(v), name); break;
        case CCustomNode::kInt: c.set(v.int32(), name); break;
        }
    }
    return c;
}

} // namespace

// ---------------------------------------------------------------- configurations

Json cfgToJson(const CPlotCfg3& cfg, bool intact, const std::string* file) {
    Json j = Json::object();
    Json p = Json::object();
    if (file)
        p["file"] = text(cli::wide(*file));
    p["pdf_export"] = cfg.isPdfExport();
    p["custom_block_dropped"] = !intact;
    j["presentation"] = std::move(p);
    j["meta"] = metaJson(cfg.meta);
    j["media"] = mediaJson(cfg.media);
    j["io"] = ioJson(cfg.io);
    j["res_color_mem"] = resJson(cfg.resColorMem);
    j["custom"] = cfg.custom ? customJson(*cfg.custom) : Json(nullptr);
    putForeign(j, cfg.foreign);
    return j;
}

CPlotCfg3 cfgFromJson(const Json& j) {
    const In root(j, "");
    root.only({"meta", "media", "io", "res_color_mem", "custom", "foreign"});
    CPlotCfg3 cfg;
    cfg.meta = metaFrom(root.at("meta"));
    cfg.media = mediaFrom(root.at("media"));
    cfg.io = ioFrom(root.at("io"));
    cfg.resColorMem = resFrom(root.at("res_color_mem"));
    if (auto v = root.opt("custom", true))
        cfg.custom = customFrom(*v);
    readNodeForeign(root, cfg.foreign,
                    {{L"meta", kPBlock},
                     {L"media", kPBlock},
                     {L"io", kPBlock},
                     {L"res_color_mem", kPBlock},
                     {L"custom", kPBlock, cfg.custom.has_value()}});
    cfg.checkIfPdfExport();
    return cfg;
}

// ---------------------------------------------------------------- model files

namespace {

// A model file's own paper list (in its "udm/media" block, which the library
// keeps as another program's block): shown for people.
Json modelPapers(const PlotModelParam& pmp) {
    Json out = Json::array();
    const CPBlock* media = nullptr;
    for (const auto& e : pmp.udm.foreign.entries())
        if (e.item->kind() == kPBlock && e.item->name() == L"media")
            media = static_cast<const CPBlock*>(e.item.get());
    const CPBlock* sizes = media ? media->findBlock(L"size") : nullptr;
    const CPBlock* descriptions = media ? media->findBlock(L"description") : nullptr;
    if (!sizes)
        return out;
    auto textOf = [](const CPBlock* b, const wchar_t* key) {
        const CPItem* item = b ? b->find(key, kPStr) : nullptr;
        return item ? static_cast<const CPStr*>(item)->value() : OdString();
    };
    auto realOf = [](const CPBlock* b, const wchar_t* key) {
        double v = 0;
        return b && readDouble(b, key, v) ? v : 0.0;
    };
    for (const CPItem* item : sizes->items()) {
        if (item->kind() != kPBlock)
            continue;
        const auto* s = static_cast<const CPBlock*>(item);
        const CPItem* landscape = s->find(L"landscape_mode", kPBool);
        const OdString link = textOf(s, L"media_description_name");
        const CPBlock* d = nullptr;
        for (const CPItem* c : descriptions ? descriptions->items() : std::vector<CPItem*>())
            if (c->kind() == kPBlock && !link.isEmpty() && textOf(static_cast<const CPBlock*>(c), L"name") == link)
                d = static_cast<const CPBlock*>(c);
        Json p = Json::object();
        p["name"] = text(textOf(s, L"name"));
        p["localized_name"] = text(textOf(s, L"localized_name"));
        p["landscape"] = landscape && static_cast<const CPBool*>(landscape)->value();
        p["width"] = stored(realOf(d, L"media_bounds_urx"));
        p["height"] = stored(realOf(d, L"media_bounds_ury"));
        p["printable"] = Json::array({stored(realOf(d, L"printable_bounds_llx")),
                                      stored(realOf(d, L"printable_bounds_lly")),
                                      stored(realOf(d, L"printable_bounds_urx")),
                                      stored(realOf(d, L"printable_bounds_ury"))});
        out.push_back(std::move(p));
    }
    return out;
}

} // namespace

Json pmpToJson(const PlotModelParam& pmp, const std::string* file) {
    Json j = Json::object();
    Json p = Json::object();
    if (file)
        p["file"] = text(cli::wide(*file));
    p["papers"] = modelPapers(pmp);
    j["presentation"] = std::move(p);
    j["meta"] = metaJson(pmp.meta);
    Json cal = Json::object();
    cal["x"] = stored(pmp.udm.calibration.x);
    cal["y"] = stored(pmp.udm.calibration.y);
    putForeign(cal, pmp.udm.calibration.foreign);
    Json udm = Json::object();
    udm["calibration"] = std::move(cal);
    putForeign(udm, pmp.udm.foreign);
    j["udm"] = std::move(udm);
    putForeign(j, pmp.foreign);
    return j;
}

PlotModelParam pmpFromJson(const Json& j) {
    const In root(j, "");
    root.only({"meta", "udm", "foreign"});
    PlotModelParam pmp;
    pmp.meta = metaFrom(root.at("meta"));
    const In udm = root.at("udm");
    udm.only({"calibration", "foreign"});
    const In cal = udm.at("calibration");
    cal.only({"x", "y", "foreign"});
    if (auto v = cal.opt("x"))
        pmp.udm.calibration.x = real(*v);
    if (auto v = cal.opt("y"))
        pmp.udm.calibration.y = real(*v);
    readNodeForeign(cal, pmp.udm.calibration.foreign, {{L"_x", kPNum}, {L"_y", kPNum}});
    readNodeForeign(udm, pmp.udm.foreign, {{L"calibration", kPBlock}});
    readNodeForeign(root, pmp.foreign, {{L"meta", kPBlock}, {L"udm", kPBlock}});
    return pmp;
}

bool isModelJson(const Json& j) { return j.is_object() && j.contains("udm"); }

// ---------------------------------------------------------------- differences

std::string CfgChange::line() const {
    if (!before)
        return path + ": added " + dump(*after);
    if (!after)
        return path + ": removed " + dump(*before);
    return path + ": " + dump(*before) + " -> " + dump(*after);
}

Json CfgChange::json() const {
    Json j = Json::object();
    j["path"] = path;
    j["change"] = !before ? "added" : !after ? "removed" : "changed";
    if (before)
        j["old"] = *before;
    if (after)
        j["new"] = *after;
    return j;
}

namespace {

// The key an element of a list is matched by, or empty to match by position.
std::string elementKey(const std::string& list, const Json& e) {
    if (!e.is_object())
        return std::string();
    if (list == "custom" || list == "foreign")
        return dump(e.value("name", Json())) + " (" + e.value("kind", std::string()) + ")";
    if (list == "custom_papers")
        return dump(e.value("global_name", Json()));
    return std::string();
}

void compare(const std::string& path, const std::string& name, const Json& a, const Json& b,
             std::vector<CfgChange>& out) {
    if (a == b)
        return;
    if (a.is_object() && b.is_object()) {
        for (auto it = a.begin(); it != a.end(); ++it) {
            if (it.key() == "presentation")
                continue;
            const std::string p = path.empty() ? it.key() : path + "." + it.key();
            if (!b.contains(it.key()))
                out.push_back({p, *it, std::nullopt});
            else
                compare(p, it.key(), *it, b[it.key()], out);
        }
        for (auto it = b.begin(); it != b.end(); ++it)
            if (it.key() != "presentation" && !a.contains(it.key()))
                out.push_back({path.empty() ? it.key() : path + "." + it.key(), std::nullopt, *it});
        return;
    }
    const bool keyed = a.is_array() && b.is_array() && !a.empty() && !elementKey(name, a[0]).empty();
    if (keyed || (a.is_array() && b.is_array() && !b.empty() && !elementKey(name, b[0]).empty())) {
        std::map<std::string, const Json*> inB;
        std::set<std::string> seen;
        for (const Json& e : b)
            inB.emplace(elementKey(name, e), &e);
        for (const Json& e : a) {
            const std::string k = elementKey(name, e);
            seen.insert(k);
            auto it = inB.find(k);
            if (it == inB.end())
                out.push_back({path + "[" + k + "]", e, std::nullopt});
            else
                compare(path + "[" + k + "]", std::string(), e, *it->second, out);
        }
        for (const Json& e : b)
            if (!seen.count(elementKey(name, e)))
                out.push_back({path + "[" + elementKey(name, e) + "]", std::nullopt, e});
        return;
    }
    if (a.is_array() && b.is_array() && a.size() == b.size()) {
        for (size_t i = 0; i < a.size(); ++i)
            compare(path + "[" + std::to_string(i) + "]", std::string(), a[i], b[i], out);
        return;
    }
    out.push_back({path, a, b});
}

} // namespace

std::vector<CfgChange> diffDocuments(const Json& a, const Json& b) {
    std::vector<CfgChange> out;
    compare(std::string(), std::string(), a, b, out);
    return out;
}

} // namespace source
