// Tables, printer configurations and model files as JSON source: show --json and
// build give each other back (the same JSON, the same bytes), a faulty document is
// refused by the path of its fault and writes nothing, diff compares by meaning,
// folders are walked with -r, and git shows a changed pen as one changed line.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "plotcfg.h"
#include "plotstyletable.h"
#include "test_support.h"

using namespace testing_support;
namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

namespace {

bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

std::string extension(const std::string& name) { return name.substr(name.rfind('.') + 1); }

const char* groupOf(const std::string& file) {
    const std::string ext = extension(file);
    return ext == "pc3" ? "pc3" : ext == "pmp" ? "pmp" : "style";
}

// show --json of a file, parsed, without what is only for people.
Json shown(const std::string& file) {
    std::string out, err;
    EXPECT_EQ(0, runTool({groupOf(file), "show", "--json", file}, &out, &err)) << err;
    Json j = Json::parse(out);
    j.erase("presentation");
    return j;
}

// Builds out from a document given on standard input.
int build(const std::string& out, const Json& j, std::string* err = nullptr) {
    std::string o;
    return runTool({groupOf(out), "build", "-", out, "--force"}, &o, err, j.dump());
}

// The three round-trip properties for one file; original tells whether the
// library wrote the file itself (then the built file is the same bytes).
void expectRoundTrip(TempDir& dir, const std::string& file, bool libraryWritten) {
    SCOPED_TRACE(file);
    const std::string ext = extension(file);
    const Json first = shown(file);
    const std::string built = dir.file("built." + ext), again = dir.file("again." + ext);
    std::string err;
    ASSERT_EQ(0, build(built, first, &err)) << err;
    const Json second = shown(built);
    EXPECT_EQ(first, second) << "show --json of the built file is the JSON it was built from";
    ASSERT_EQ(0, build(again, second, &err)) << err;
    EXPECT_TRUE(readFile(built) == readFile(again)) << "building again gives the same bytes";
    if (libraryWritten) {
        EXPECT_TRUE(readFile(file) == readFile(built)) << "a file of the library comes back byte for byte";
    }
}

std::vector<std::string> dataFiles() {
    std::vector<std::string> files;
    for (const auto& e : fs::directory_iterator(dataFile("")))
        for (const char* ext : {".ctb", ".stb", ".pc3", ".pmp"})
            if (e.path().extension() == ext)
                files.push_back(e.path().string());
    std::sort(files.begin(), files.end());
    return files;
}

} // namespace

TEST(ToolJson, EveryTestFileRoundTrips) {
    TempDir dir;
    const std::vector<std::string> files = dataFiles();
    ASSERT_GE(files.size(), 10u);
    for (const std::string& file : files) {
        expectRoundTrip(dir, file, false);
        // The same file once the library has written it: then byte for byte.
        const std::string ext = extension(file);
        const std::string rewritten = dir.file("rewritten." + ext);
        if (ext == "ctb" || ext == "stb") {
            std::unique_ptr<CPlotStyleTable> t(CPlotStyleTable::read(W(file)));
            ASSERT_TRUE(t && t->write(W(rewritten)));
        } else if (ext == "pc3") {
            std::unique_ptr<CPlotCfg3> cfg(CPlotCfg3::readStored(W(file)));
            ASSERT_TRUE(cfg && cfg->write(W(rewritten)) == 0);
        } else {
            std::unique_ptr<PlotModelParam> pmp(PlotModelParam::read(W(file)));
            ASSERT_TRUE(pmp && pmp->write(W(rewritten)) == 0);
        }
        expectRoundTrip(dir, rewritten, true);
    }
}

TEST(ToolJson, NewAndEditedTablesRoundTrip) {
    TempDir dir;
    std::string out, err;
    const std::string ctb = dir.file("pens.ctb"), stb = dir.file("pens.stb");
    ASSERT_EQ(0, runTool({"style", "new", "ctb", ctb}, &out, &err)) << err;
    expectRoundTrip(dir, ctb, true);
    ASSERT_EQ(0, runTool({"style", "set", ctb, "3", "color=#00FF00", "screen=40", "lineweight=0.35mm",
                          "description=walls, B\xc3\xbcro"},
                         &out, &err))
        << err;
    ASSERT_EQ(0, runTool({"style", "set", ctb, "*", "linepattern_size=0.75", "end_style=2"}, &out, &err)) << err;
    ASSERT_EQ(0, runTool({"style", "set", ctb, "200", "color=index:5", "grayscale=on", "pen=7"}, &out, &err)) << err;
    expectRoundTrip(dir, ctb, true);

    ASSERT_EQ(0, runTool({"style", "new", "stb", stb}, &out, &err)) << err;
    expectRoundTrip(dir, stb, true);
    ASSERT_EQ(0, runTool({"style", "convert", ctb, stb, "--force"}, &out, &err)) << err;
    ASSERT_EQ(0, runTool({"style", "set", stb, "Style 1", "name=Thin walls", "color=object", "screen=0"}, &out, &err))
        << err;
    expectRoundTrip(dir, stb, true);
}

TEST(ToolJson, ForeignKeysAndOddNamesSurvive) {
    TempDir dir;
    // Keys of other programs, in the table and in a style, go back where they stood.
    Json j = shown(dataFile("named-factory.stb"));
    // (In the order show gives them: items that stood before every known key first.)
    j["foreign"] = Json::array({Json{{"name", "extra"},
                                     {"kind", "block"},
                                     {"items", Json::array({Json{{"name", "n"}, {"kind", "number"}, {"value", "1.50"}},
                                                            Json{{"name", "b"}, {"kind", "binary"}, {"value", "0A0B"}},
                                                            Json{{"name", "f"}, {"kind", "bool"}, {"value", true}}})}},
                                Json{{"after", "apply_factor"}, {"name", "vendor"}, {"kind", "string"}, {"value", "x"}}});
    Json& style = j["styles"][1];
    const Json presentation = style["presentation"];
    style.erase("presentation");
    style["foreign"] =
        Json::array({Json{{"after", "screen"}, {"name", "pen_speed"}, {"kind", "number"}, {"value", "12"}}});
    style["presentation"] = presentation;
    const std::string stb = dir.file("vendor.stb");
    std::string err;
    ASSERT_EQ(0, build(stb, j, &err)) << err;
    EXPECT_EQ(j, shown(stb));
    expectRoundTrip(dir, stb, true);

    // A file name that is not UTF-8 travels as "\udcXX", and such JSON builds.
    const std::string odd = dir.file("caf\xe9.stb");
    fs::copy_file(stb, odd);
    std::string out;
    ASSERT_EQ(0, runTool({"style", "show", "--json", odd}, &out, &err)) << err;
    EXPECT_TRUE(contains(out, "caf\\udce9.stb")) << out;
    ASSERT_EQ(0, runTool({"style", "build", "-", dir.file("copy.stb")}, &out, &err, out)) << err;
    EXPECT_TRUE(readFile(stb) == readFile(dir.file("copy.stb")));
    // Such an escape where the file needs text is no character: refused by its path.
    std::string text = j.dump();
    text.replace(text.find("\"description\":\"\""), 16, "\"description\":\"caf\\udce9\"");
    EXPECT_EQ(1, runTool({"style", "build", "-", dir.file("odd.stb")}, &out, &err, text));
    EXPECT_TRUE(contains(err, "standard input: description: the character")) << err;
    EXPECT_EQ(1, runTool({"style", "build", "-", dir.file("odd.stb")}, &out, &err, "{\"kind\":\"\\ud800"));
    EXPECT_TRUE(contains(err, "not JSON")) << err;
    EXPECT_FALSE(fs::exists(dir.file("odd.stb")));
}

TEST(ToolJson, FaultsAreNamedByTheirPathAndWriteNothing) {
    TempDir dir;
    const Json ctb = shown(dataFile("color-dependent-factory.ctb"));
    const Json pc3 = shown(dataFile("printer-hpgl-extra-blocks.pc3"));
    struct Row {
        const char* out;
        std::function<void(Json&)> edit;
        const char* message;
    };
    const Row rows[] = {
        {"t.ctb", [](Json& j) { j["styles"][12]["screen"] = 140; }, "styles[12].screen: 140 is not 0..100"},
        {"t.ctb", [](Json& j) { j["styles"][3]["screen"] = "full"; }, "styles[3].screen: \"full\" is not a whole number"},
        {"t.ctb", [](Json& j) { j["styles"][0]["colour"] = 1; }, "styles[0].colour: is not a member here"},
        {"t.ctb", [](Json& j) { j["styles"][2].erase("name"); }, "styles[2].name: is missing"},
        {"t.ctb", [](Json& j) { j["styles"][4]["lineweight"] = 28; }, "styles[4].lineweight: 28 is not 0..27"},
        {"t.ctb", [](Json& j) { j["custom_lineweights"][2] = 0.1234567; },
         "custom_lineweights[2]: 0.1234567 cannot be stored as it is: the file keeps six decimals"},
        {"t.ctb", [](Json& j) { j["custom_lineweights"].erase(0); }, "custom_lineweights: holds 26 elements, not 27"},
        {"t.ctb", [](Json& j) { j["styles"][5]["description"] = "a{b"; }, "styles[5].description: "},
        {"t.ctb", [](Json& j) { j["styles"][1]["name"] = "Color_1"; },
         "styles[1].name: \"Color_1\" is the name of styles[0] too"},
        {"t.ctb", [](Json& j) { j["aci_table"][7] = "Nope"; }, "aci_table[7]: \"Nope\" names no style of the table"},
        {"t.ctb", [](Json& j) { j.erase("aci_table"); }, "aci_table: is missing"},
        {"t.ctb", [](Json& j) { j["kind"] = "named"; }, "kind: a named table goes in a .stb file, not in a .ctb file"},
        {"t.ctb", [](Json& j) { j["styles"][0]["mode_color"] = 5; },
         "styles[0].mode_color: 5 cannot be stored: while every style plots the object's colour"},
        {"t.ctb",
         [](Json& j) { j["styles"][0]["foreign"] = Json::array({Json{{"name", "screen"}, {"kind", "number"}, {"value", "5"}}}); },
         "styles[0].foreign[0]: a number named \"screen\" is a key this block writes itself"},
        {"t.ctb",
         [](Json& j) { j["foreign"] = Json::array({Json{{"name", "a b"}, {"kind", "number"}, {"value", "5"}}}); },
         "foreign[0]: cannot be stored"},
        {"t.pc3", [](Json& j) { j["media"]["number_of_copies"] = 0; }, "media.number_of_copies: 0 is not 1..9999"},
        {"t.pc3", [](Json& j) { j["meta"]["driver_pathname"] = "a\nb"; },
         "meta.driver_pathname: cannot be stored: it holds '{' or a line break"},
        {"t.pc3", [](Json& j) { j["custom"].push_back(j["custom"][5]); }, "custom[8]: a second int value named \"Optional_HPGL2_Cmds_Supported\""},
        {"t.pc3", [](Json& j) { j["res_color_mem"]["ism_max"] = 4294967295u; },
         "res_color_mem.ism_max: 4294967295 is not 0..4294967294"},
        {"t.pc3",
         [](Json& j) {
             j["media"]["size"]["foreign"] =
                 Json::array({Json{{"after", "dm_scale"}, {"name", "x"}, {"kind", "number"}, {"value", "1"}}});
         },
         "media.size.foreign[0].after: \"dm_scale\" is not a key this block writes"},
        {"t.pmp", [](Json& j) { j.erase("udm"); }, "is the JSON of a printer configuration, not of a model file"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.message);
        Json j = extension(row.out) == "ctb" ? ctb : pc3;
        row.edit(j);
        std::string err;
        EXPECT_EQ(1, build(dir.file(row.out), j, &err));
        EXPECT_TRUE(contains(err, "drutils: standard input: ")) << err;
        EXPECT_TRUE(contains(err, row.message)) << err;
        EXPECT_EQ(std::vector<std::string>{}, dir.entries()) << "nothing written";
    }
    std::string out, err;
    EXPECT_EQ(1, runTool({"style", "build", "-", dir.file("t.ctb")}, &out, &err, "{\"kind\": \n"));
    EXPECT_TRUE(contains(err, "not JSON: parse error at line 2")) << err;
    EXPECT_EQ(2, runTool({"style", "build", "-", dir.file("t.txt")}, &out, &err, ctb.dump()));
    // An existing file is kept without --force.
    writeFile(dir.file("t.ctb"), "keep");
    EXPECT_EQ(1, runTool({"style", "build", "-", dir.file("t.ctb")}, &out, &err, ctb.dump()));
    EXPECT_TRUE(contains(err, "already exists (--force replaces it)")) << err;
    EXPECT_EQ("keep", readFile(dir.file("t.ctb")));
}

TEST(ToolJson, StyleDiffByMeaning) {
    TempDir dir;
    std::string out, err;
    const std::string a = dir.file("a.ctb"), b = dir.file("b.ctb");
    ASSERT_EQ(0, runTool({"style", "new", "ctb", a}, &out, &err)) << err;
    fs::copy_file(a, b);
    EXPECT_EQ(0, runTool({"style", "diff", a, b}, &out, &err)) << err;
    EXPECT_EQ("", out);
    ASSERT_EQ(0, runTool({"style", "set", b, "3", "color=#00FF00", "screen=40", "lineweight=0.35mm"}, &out, &err));
    EXPECT_EQ(1, runTool({"style", "diff", a, b}, &out, &err)) << err;
    EXPECT_EQ("colour 3 (\"Color_3\"): color: object -> #00FF00\n"
              "colour 3 (\"Color_3\"): screen: 100 -> 40\n"
              "colour 3 (\"Color_3\"): lineweight: object -> 0.35 mm\n",
              out);
    // A file against a JSON document, here its own: the same by meaning.
    ASSERT_EQ(0, runTool({"style", "show", "--json", b}, &out, &err));
    writeFile(dir.file("b.json"), out);
    EXPECT_EQ(0, runTool({"style", "diff", b, dir.file("b.json")}, &out, &err)) << err;
    EXPECT_EQ(1, runTool({"style", "diff", "--json", a, dir.file("b.json")}, &out, &err)) << err;
    const Json d = Json::parse(out);
    EXPECT_FALSE(d["same"].get<bool>());
    ASSERT_EQ(3u, d["differences"].size());
    EXPECT_EQ((Json{{"style", "Color_3"}, {"color_index", 3}, {"change", "changed"}, {"field", "screen"},
                    {"old", "100"}, {"new", "40"}}),
              d["differences"][1]);

    // Named tables: by name; a style that plots alike under a new name is renamed.
    const std::string n1 = dir.file("n1.stb"), n2 = dir.file("n2.stb");
    ASSERT_EQ(0, runTool({"style", "convert", b, n1}, &out, &err)) << err;
    fs::copy_file(n1, n2);
    ASSERT_EQ(0, runTool({"style", "set", n2, "Style 1", "name=Walls"}, &out, &err)) << err;
    ASSERT_EQ(0, runTool({"style", "set", n2, "Style 2", "name=Doors", "screen=10"}, &out, &err)) << err;
    EXPECT_EQ(1, runTool({"style", "diff", n1, n2}, &out, &err)) << err;
    EXPECT_EQ("style \"Style_1\": renamed to \"Walls\"\n"
              "style \"Walls\": localized_name: \"Style 1\" -> \"Walls\"\n"
              "style \"Style_2\": removed\n"
              "style \"Doors\": added\n",
              out);

    // Trouble is status 2, as diff's.
    EXPECT_EQ(2, runTool({"style", "diff", a, dir.file("none.ctb")}, &out, &err));
    EXPECT_TRUE(contains(err, "none.ctb: no such file")) << err;
}

TEST(ToolJson, ConfigurationDiffByFieldPath) {
    TempDir dir;
    std::string out, err;
    const std::string a = dir.file("a.pc3"), b = dir.file("b.pc3");
    fs::copy_file(dataFile("printer-hpgl-extra-blocks.pc3"), a);
    fs::copy_file(a, b);
    ASSERT_EQ(0, runTool({"pc3", "set", b, "number_of_copies=2", "config_description=Plans"}, &out, &err)) << err;
    ASSERT_EQ(0, runTool({"pc3", "custom", b, "set", "Print_Quality", "75"}, &out, &err)) << err;
    ASSERT_EQ(0, runTool({"pc3", "custom", b, "remove", "Merge_Control"}, &out, &err)) << err;
    EXPECT_EQ(1, runTool({"pc3", "diff", a, b}, &out, &err)) << err;
    EXPECT_EQ("meta.config_description: \"\" -> \"Plans\"\n"
              "media.number_of_copies: 1 -> 2\n"
              "custom[\"Merge_Control\" (bool)]: removed {\"name\":\"Merge_Control\",\"kind\":\"bool\",\"value\":false}\n"
              "custom[\"Print_Quality\" (int)].value: 50 -> 75\n",
              out);
    EXPECT_EQ(0, runTool({"pc3", "diff", a, a}, &out, &err)) << err;
    // Model files compare the same way, under pc3 diff or pmp diff.
    const std::string m = dir.file("m.pmp");
    ASSERT_EQ(0, runTool({"pmp", "show", "--json", dataFile("model-pdf.pmp")}, &out, &err));
    Json j = Json::parse(out);
    j["udm"]["calibration"]["x"] = 1.5;
    std::string o;
    ASSERT_EQ(0, runTool({"pmp", "build", "-", m}, &o, &err, j.dump())) << err;
    for (const char* group : {"pc3", "pmp"}) {
        EXPECT_EQ(1, runTool({group, "diff", dataFile("model-pdf.pmp"), m}, &out, &err)) << err;
        EXPECT_EQ("udm.calibration.x: 1 -> 1.5\n", out);
    }
    EXPECT_EQ(2, runTool({"pc3", "diff", a, m}, &out, &err));
    EXPECT_TRUE(contains(err, "do not compare")) << err;
}

TEST(ToolJson, FoldersAreWalkedOneResultPerFile) {
    TempDir dir;
    std::string out, err;
    fs::create_directories(dir.file("a/sub"));
    fs::create_directories(dir.file("b/sub"));
    for (const char* side : {"a", "b"}) {
        fs::copy_file(dataFile("named-small.stb"), dir.file(std::string(side) + "/sub/small.stb"));
        fs::copy_file(dataFile("color-dependent-factory.ctb"), dir.file(std::string(side) + "/factory.ctb"));
    }
    fs::copy_file(dataFile("named-factory.stb"), dir.file("b/new.stb"));
    writeFile(dir.file("a/notes.txt"), "not a table");
    ASSERT_EQ(0, runTool({"style", "set", dir.file("b/sub/small.stb"), "Normal", "screen=50"}, &out, &err)) << err;

    EXPECT_EQ(1, runTool({"style", "diff", "-r", dir.file("a"), dir.file("b")}, &out, &err)) << err;
    EXPECT_EQ("new.stb: only in B\nsub/small.stb: style \"Normal\": screen: 100 -> 50\n", out);
    EXPECT_EQ(2, runTool({"style", "diff", dir.file("a"), dir.file("b")}, &out, &err));
    EXPECT_TRUE(contains(err, "is a folder (-r compares folders)")) << err;

    // show --json: one document per line and file; pia check: one line per file.
    EXPECT_EQ(0, runTool({"style", "show", "--json", "-r", dir.file("b")}, &out, &err)) << err;
    ASSERT_EQ(3, std::count(out.begin(), out.end(), '\n'));
    EXPECT_EQ(dir.file("b") + "/factory.ctb", Json::parse(out.substr(0, out.find('\n')))["presentation"]["file"]);
    std::string broken = readFile(dataFile("named-small.stb"));
    broken.resize(200);
    writeFile(dir.file("b/sub/broken.stb"), broken);
    EXPECT_EQ(1, runTool({"style", "show", "--json", "-r", dir.file("b")}, &out, &err));
    EXPECT_EQ(3, std::count(out.begin(), out.end(), '\n')) << "the readable files are still shown";
    EXPECT_TRUE(contains(err, "broken.stb")) << err;
    EXPECT_EQ(1, runTool({"pia", "check", "-r", dir.file("b")}, &out, &err));
    EXPECT_EQ(4, std::count(out.begin(), out.end(), '\n')) << out;
    EXPECT_TRUE(contains(out, dir.file("b") + "/new.stb: OK\n")) << out;
    EXPECT_EQ(0, runTool({"pia", "check", "-r", dir.file("a")}, &out, &err)) << err;
    EXPECT_EQ(2, runTool({"pia", "check", dir.file("a")}, &out, &err));
}

TEST(ToolJson, GitShowsAChangedPenAsOneLine) {
    if (std::system("git --version >/dev/null 2>&1") != 0)
        FAIL() << "git is not installed (scripts/install-deps.sh installs it)";
    TempDir dir;
    const std::string repo = dir.file("standards");
    std::string out, err;
    fs::create_directory(repo);
    ASSERT_EQ(0, runTool({"style", "new", "ctb", repo + "/office.ctb"}, &out, &err)) << err;
    // The README's recipe, with the built tool.
    writeFile(repo + "/.gitattributes", "*.ctb diff=plotstyle\n*.stb diff=plotstyle\n");
    const std::string git = "cd '" + repo + "' && HOME='" + dir.path() +
                            "' GIT_CONFIG_NOSYSTEM=1 git -c user.name=t -c user.email=t@example.invalid ";
    const std::string textconv = std::string("'") + DRUTILS_TOOL + "' style show --json --lines";
    ASSERT_EQ(0, std::system((git + "init -q && " + git + "config diff.plotstyle.textconv \"" + textconv + "\" && " +
                              git + "add -A && " + git + "commit -qm one")
                                 .c_str()));
    ASSERT_EQ(0, runTool({"style", "set", repo + "/office.ctb", "7", "screen=50"}, &out, &err)) << err;
    ASSERT_EQ(0, std::system((git + "commit -qam two && " + git + "log -p -1 --format= > '" + dir.file("log") + "'").c_str()));
    const std::string log = readFile(dir.file("log"));
    std::vector<std::string> changed;
    size_t at = 0;
    for (std::string line; at < log.size(); at += line.size() + 1) {
        line = log.substr(at, log.find('\n', at) - at);
        if ((line[0] == '-' || line[0] == '+') && line.rfind("---", 0) != 0 && line.rfind("+++", 0) != 0)
            changed.push_back(line);
    }
    ASSERT_EQ(2u, changed.size()) << log;
    EXPECT_TRUE(changed[0].rfind("-{\"name\":\"Color_7\"", 0) == 0 && contains(changed[0], "\"screen\":100")) << log;
    EXPECT_TRUE(changed[1].rfind("+{\"name\":\"Color_7\"", 0) == 0 && contains(changed[1], "\"screen\":50")) << log;
}

TEST(ToolJson, HandWrittenDocumentsTakeTheDefaults) {
    TempDir dir;
    std::string out, err;
    // A named table of one style: every member left out takes a new table's value.
    const std::string stb = dir.file("min.stb");
    ASSERT_EQ(0, runTool({"style", "build", "-", stb}, &out, &err,
                         R"({"kind":"named","styles":[{"name":"Normal"},{"name":"Thin","lineweight":3}]})"))
        << err;
    EXPECT_EQ("min.stb: named table with 2 styles\n", out.substr(out.rfind('/') + 1));
    const Json t = shown(stb);
    EXPECT_EQ(1, t["scale_factor"]);
    EXPECT_EQ(0.09, t["custom_lineweights"][2]);
    EXPECT_EQ("Thin", t["styles"][1]["localized_name"]);
    EXPECT_EQ(100, t["styles"][1]["screen"]);
    EXPECT_EQ(0.09, t["styles"][1]["presentation"]["lineweight_mm"]);
    std::unique_ptr<CPlotStyleTable> made(CPlotStyleTable::create(false)), back(CPlotStyleTable::read(W(stb)));
    ASSERT_TRUE(back);
    EXPECT_TRUE(made->style(0)->isEqual(*back->style(0), true));

    // A colour-dependent table may map many colours to few styles.
    Json ctb = {{"kind", "colour-dependent"},
                {"styles", Json::array({Json{{"name", "Thin"}}, Json{{"name", "Bold"}, {"lineweight", 14}}})},
                {"aci_table", Json::array()}};
    for (int k = 1; k <= 255; ++k)
        ctb["aci_table"].push_back(k == 1 ? "Bold" : "Thin");
    ASSERT_EQ(0, build(dir.file("two.ctb"), ctb, &err)) << err;
    ASSERT_EQ(0, runTool({"style", "show", dir.file("two.ctb")}, &out, &err)) << err;
    EXPECT_TRUE(contains(out, "1     Bold")) << out;
    EXPECT_TRUE(contains(out, "255   Thin")) << out;
    expectRoundTrip(dir, dir.file("two.ctb"), true);

    // A configuration needs its paper's name and bounds; custom papers come in
    // the order given and are named in diffs by their names.
    const Json cfg = Json::parse(R"({"meta":{"driver_pathname":"drv.hdi"},
        "media":{"size":{"name":"A4","media_description":{"media_bounds":{"urx":210,"ury":297}}},
                 "custom_papers":[{"global_name":"Strip","width":900.5,"height":120,"units":1},
                                  {"global_name":"Sheet","width":8.5,"height":11}]},
        "io":{}, "res_color_mem":{"resolution":{"name":"600x600"}}})");
    const std::string pc3 = dir.file("min.pc3");
    ASSERT_EQ(0, build(pc3, cfg, &err)) << err;
    std::unique_ptr<CPlotCfg3> read(CPlotCfg3::readStored(W(pc3)));
    ASSERT_TRUE(read);
    ASSERT_TRUE(read->media.customPapers.has_value());
    ASSERT_EQ(2u, read->media.customPapers->papers.size());
    EXPECT_EQ(L"Sheet", read->media.customPapers->papers[1].globalName.str());
    EXPECT_FLOAT_EQ(900.5f, float(read->media.customPapers->papers[0].width));
    EXPECT_FALSE(read->custom.has_value());
    expectRoundTrip(dir, pc3, true);
    Json wider = shown(pc3);
    wider["media"]["custom_papers"][1]["width"] = 9;
    ASSERT_EQ(0, build(dir.file("wider.pc3"), wider, &err)) << err;
    EXPECT_EQ(1, runTool({"pc3", "diff", pc3, dir.file("wider.pc3")}, &out, &err)) << err;
    EXPECT_EQ("media.custom_papers[\"Sheet\"].width: 8.5 -> 9\n", out);
}
