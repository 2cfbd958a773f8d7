// Printer configurations and user-defined model files: the write rules of each
// block, reading files of other writers, failures, round trips and the pc3 / pmp
// tool commands.
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "plotcfg.h"
#include "test_support.h"

using testing_support::dataFile;
using testing_support::LogCapture;
using testing_support::readFile;
using testing_support::runTool;
using testing_support::TempDir;
using testing_support::U;
using testing_support::W;
using testing_support::writeFile;

namespace {

// The smallest text every reader must accept: the four required blocks with the
// nested blocks that are always present and their required keys.
const char kMinimal[] = "meta{\n"
                        " driver_pathname=\"drv.hdi\n"
                        "}\n"
                        "media{\n"
                        " size{\n"
                        "  name=\"A4\n"
                        "  media_description{\n"
                        "   media_bounds{\n"
                        "    urx=210.0\n"
                        "    ury=297.0\n"
                        "   }\n"
                        "  }\n"
                        " }\n"
                        "}\n"
                        "io{\n"
                        " type=3\n"
                        "}\n"
                        "res_color_mem{\n"
                        " resolution{\n"
                        "  name=\"600x600\n"
                        " }\n"
                        "}\n";

std::string replaced(std::string text, const std::string& from, const std::string& to) {
    const size_t at = text.find(from);
    EXPECT_NE(std::string::npos, at) << from;
    if (at != std::string::npos)
        text.replace(at, from.size(), to);
    return text;
}

// Parses a text as a container would hold it; the parser owns the tree.
struct Parsed {
    explicit Parsed(const std::string& text) { ok = parser.parseText(text.data(), text.size()); }
    const CPBlock* root() const { return parser.root(); }
    CPIAParser parser;
    bool ok = false;
};

// The lines of a container, as the reader delivers them joined per physical line.
std::string textOf(const OdString& path) {
    CPIAFileIn in;
    if (in.open(path.c_str()) != 0)
        return "<unreadable>";
    std::string text;
    while (const wchar_t* line = in.readLine()) {
        text += U(OdString(line));
        if (in.lineEnded())
            text += '\n';
    }
    return text;
}

// A container holding text, one line per line feed.
void writeContainerText(const OdString& path, const std::string& text) {
    CPIAFileOut out;
    ASSERT_EQ(0, out.open());
    size_t pos = 0;
    while (pos < text.size()) {
        const size_t lf = text.find('\n', pos);
        out.writeLine(W(text.substr(pos, lf - pos)).c_str());
        pos = lf + 1;
    }
    out.setFileType(CPIAFileOut::kPrinterConfig);
    ASSERT_EQ(0, out.close(path.c_str()));
}

// The text a configuration writes.
std::string written(const CPlotCfg3& cfg) {
    TempDir dir;
    const OdString path = dir.wfile("out.pc3");
    EXPECT_EQ(0, cfg.write(path.c_str()));
    return textOf(path);
}

const CPItem* itemAt(const CPBlock* root, const std::vector<std::wstring>& blocks, const wchar_t* key, int kind) {
    const CPBlock* b = root;
    for (const auto& name : blocks) {
        b = b ? b->findBlock(name.c_str()) : nullptr;
    }
    return b ? b->find(key, kind) : nullptr;
}

std::string numText(const CPItem* item) { return item ? U(static_cast<const CPNum*>(item)->value()) : "<absent>"; }

CPlotCfg3 minimalConfig() {
    Parsed p(kMinimal);
    CPlotCfg3 cfg;
    bool intact = false;
    EXPECT_TRUE(p.ok);
    EXPECT_TRUE(cfg.init(p.root(), intact));
    EXPECT_TRUE(intact);
    return cfg;
}

// A configuration with every optional part filled.
CPlotCfg3 fullConfig() {
    CPlotCfg3 cfg = minimalConfig();
    cfg.meta.winDeviceName = L"Laser 5";
    cfg.meta.winDriverName = L"Generic PCL";
    cfg.meta.dmDriverVersion = 1539;
    cfg.meta.defaultSystemCfg = false;
    cfg.meta.configAutospool = true;
    cfg.meta.platform = L"2,6,1";
    cfg.meta.configDescription = L"Second floor \"quoted\" = fine }";
    cfg.media.dmOrientation = 2;
    cfg.media.numberOfCopies = 3;
    cfg.media.actualPrintableBoundsUrx = 200.5;
    cfg.media.size.dmScale = 99;
    cfg.media.destination.emplace();
    cfg.media.destination->setCollating(true);
    cfg.media.customPapers.emplace();
    for (int i = 0; i < 3; ++i) {
        CustomPapersNode::PaperSize p;
        p.globalName = OdString(L"Paper ") + OdString(std::to_wstring(i));
        p.localName = L"local";
        p.units = i % 2;
        p.width = 100 + i;
        p.height = 200.25;
        p.left = p.bottom = p.right = p.top = 5;
        EXPECT_TRUE(cfg.media.customPapers->append(p));
    }
    cfg.resColorMem.icmMethod = 1;
    cfg.resColorMem.ismMax = 0;
    cfg.resColorMem.linesOverwrite = false;
    cfg.resColorMem.colorMono = true;
    cfg.custom.emplace();
    cfg.custom->setStr(L"text value", L"note");
    cfg.custom->setBin(L"00FF10", CCustomNode::kRawPrivateDeviceData);
    cfg.custom->set(3, CCustomNode::kDmDriverExtra);
    cfg.custom->set(220, CCustomNode::kDmSize);
    cfg.custom->set(1.5, L"gamma");
    cfg.custom->set(true, L"flag");
    return cfg;
}

} // namespace

// ------------------------------------------------------------------ files of other writers

TEST(PlotCfg, CorpusConfigurationsRead) {
    LogCapture log;
    bool intact = false;
    std::unique_ptr<CPlotCfg3> plotter(CPlotCfg3::readStored(W(dataFile("printer-hpgl-extra-blocks.pc3")), &intact));
    ASSERT_TRUE(plotter);
    EXPECT_TRUE(intact);
    EXPECT_EQ(L"HPGL/2 - by Autodesk", plotter->meta.driverTagLine.str());
    EXPECT_EQ(std::optional<bool>(false), plotter->meta.configAutospool);
    EXPECT_FALSE(plotter->meta.defaultSystemCfg.has_value());
    // Numbers with an encoded suffix read as their leading number, in float precision.
    EXPECT_FLOAT_EQ(5.7937498093f, float(plotter->media.actualPrintableBoundsLlx));
    EXPECT_FLOAT_EQ(279.39999390f, float(plotter->media.size.mediaDescription.mediaBounds.ury));
    EXPECT_EQ(6u, plotter->resColorMem.ismMax);
    EXPECT_EQ(50, plotter->resColorMem.preference);
    EXPECT_FALSE(plotter->resColorMem.colorMono.has_value());
    ASSERT_TRUE(plotter->media.destination);
    EXPECT_EQ(L"MainDest", plotter->media.destination->name.str());
    EXPECT_EQ(0, plotter->media.destination->collatingType); // missing: default
    ASSERT_TRUE(plotter->custom);
    EXPECT_EQ(8u, plotter->custom->count());
    double gamma = 0;
    int quality = 0;
    bool warn = true;
    EXPECT_TRUE(plotter->custom->get(gamma, L"Gamma_Correction"));
    EXPECT_EQ(1.0, gamma);
    EXPECT_TRUE(plotter->custom->get(quality, L"Print_Quality"));
    EXPECT_EQ(50, quality);
    EXPECT_TRUE(plotter->custom->get(warn, L"Longplot_Warn_Disabled"));
    EXPECT_FALSE(warn);
    EXPECT_FALSE(plotter->isPdfExport());
    // Keys and blocks the schema does not list are kept.
    std::vector<std::string> mediaExtra, ioExtra, destExtra;
    for (const auto& e : plotter->media.foreign.entries())
        mediaExtra.push_back(U(e.item->name()) + "/" + std::to_string(e.item->kind()));
    for (const auto& e : plotter->io.foreign.entries())
        ioExtra.push_back(U(e.item->name()));
    for (const auto& e : plotter->media.destination->foreign.entries())
        destExtra.push_back(U(e.item->name()));
    EXPECT_EQ((std::vector<std::string>{"source/3", "type/1", "source/1"}), mediaExtra);
    EXPECT_EQ((std::vector<std::string>{"portname", "output_timeout"}), ioExtra);
    EXPECT_EQ((std::vector<std::string>{"cutting_when", "cutting_name"}), destExtra);

    std::unique_ptr<CPlotCfg3> system(
        CPlotCfg3::readStored(W(dataFile("printer-hpgl-raw-device-data.pc3")), &intact));
    ASSERT_TRUE(system);
    EXPECT_TRUE(intact);
    EXPECT_EQ(L"HP Designjet Universal Print Driver HPGL2", system->meta.winDriverName.str());
    EXPECT_EQ(std::optional<bool>(false), system->meta.defaultSystemCfg);
    EXPECT_EQ(1539, system->meta.dmDriverVersion);
    EXPECT_EQ(1.0, system->media.size.longplotReduction); // missing: default
    EXPECT_EQ(100, system->media.size.dmScale);
    EXPECT_EQ(3u, system->resColorMem.ismMax);
    EXPECT_EQ(600, system->resColorMem.resolution.get());
    ASSERT_TRUE(system->custom);
    OdString raw;
    int extra = 0, size = 0;
    ASSERT_TRUE(system->custom->getBin(raw, CCustomNode::kRawPrivateDeviceData));
    ASSERT_TRUE(system->custom->get(extra, CCustomNode::kDmDriverExtra));
    ASSERT_TRUE(system->custom->get(size, CCustomNode::kDmSize));
    EXPECT_EQ(5016, extra);
    EXPECT_EQ(220, size);
    EXPECT_EQ(2 * extra, raw.getLength());
    std::vector<uint8_t> bytes;
    ASSERT_TRUE(ut::hexToBytes(raw, bytes));
    EXPECT_EQ(0x44, bytes[0]); // "DINU", the driver's own signature
    EXPECT_EQ(0x55, bytes[3]);
    EXPECT_TRUE(log.records().empty());
}

TEST(PlotCfg, CorpusRoundTripKeepsEverythingAndSettles) {
    // Writing a file of another writer keeps every value and every foreign key in
    // place; the numbers take the six-decimal form and the custom block our kind
    // order, after which a second round trip changes nothing.
    for (const char* name : {"printer-hpgl-extra-blocks.pc3", "printer-hpgl-raw-device-data.pc3"}) {
        SCOPED_TRACE(name);
        std::unique_ptr<CPlotCfg3> first(CPlotCfg3::readStored(W(dataFile(name))));
        ASSERT_TRUE(first);
        TempDir dir;
        ASSERT_EQ(0, first->write(dir.wfile("a.pc3").c_str()));
        std::unique_ptr<CPlotCfg3> second(CPlotCfg3::readStored(dir.wfile("a.pc3").c_str()));
        ASSERT_TRUE(second);
        ASSERT_EQ(0, second->write(dir.wfile("b.pc3").c_str()));
        const std::string a = textOf(dir.wfile("a.pc3")), b = textOf(dir.wfile("b.pc3"));
        EXPECT_EQ(a, b);
        EXPECT_EQ(first->custom->count(), second->custom->count());
        EXPECT_EQ(first->media.size.name, second->media.size.name);
    }
    std::unique_ptr<CPlotCfg3> plotter(CPlotCfg3::readStored(W(dataFile("printer-hpgl-extra-blocks.pc3"))));
    ASSERT_TRUE(plotter);
    const std::string text = written(*plotter);
    // Foreign items stand right after the known item they followed.
    EXPECT_NE(std::string::npos, text.find(" actual_printable_bounds_ury=261.606232\n source=\"Roll_Source_1\n"
                                           " number_of_copies=1\n type{\n  drying_time=60\n"));
    EXPECT_NE(std::string::npos, text.find(" }\n source{\n  feed=3\n"));
    EXPECT_NE(std::string::npos, text.find("io{\n type=5\n portname=\"LPT3\n output_timeout=3000\n pathname=\"\n"));
    EXPECT_NE(std::string::npos, text.find("  name=\"MainDest\n  cutting_when=3\n  cutting_name=\"CutAtEndofpage\n"));
}

TEST(PlotCfg, ModelFileReadsAndKeepsOtherBlocks) {
    std::unique_ptr<PlotModelParam> pmp(PlotModelParam::read(W(dataFile("model-pdf.pmp"))));
    ASSERT_TRUE(pmp);
    EXPECT_EQ(L"DWG To PDF", pmp->meta.localizedModelName.str());
    EXPECT_EQ(1.0, pmp->udm.calibration.x);
    EXPECT_EQ(1.0, pmp->udm.calibration.y);
    std::vector<std::string> root, udm;
    for (const auto& e : pmp->foreign.entries())
        root.push_back(U(e.item->name()));
    for (const auto& e : pmp->udm.foreign.entries())
        udm.push_back(U(e.item->name()));
    EXPECT_EQ((std::vector<std::string>{"mod", "del", "hidden"}), root);
    EXPECT_EQ((std::vector<std::string>{"media"}), udm);

    // Written and read again: same model, and the foreign blocks in their places.
    TempDir dir;
    ASSERT_EQ(0, pmp->write(dir.wfile("m.pmp").c_str()));
    const std::string text = textOf(dir.wfile("m.pmp"));
    const size_t meta = text.find("meta{"), mod = text.find("\nmod{"), del = text.find("\ndel{"),
                 udmAt = text.find("\nudm{\n calibration{\n  _x=1.000000\n  _y=1.000000\n }\n media{"),
                 hidden = text.find("\nhidden{");
    EXPECT_TRUE(meta == 0 && meta < mod && mod < del && del < udmAt && udmAt < hidden) << text.substr(0, 300);
    std::unique_ptr<PlotModelParam> again(PlotModelParam::read(dir.wfile("m.pmp").c_str()));
    ASSERT_TRUE(again);
    EXPECT_EQ(pmp->meta.driverPathname, again->meta.driverPathname);
    ASSERT_EQ(0, again->write(dir.wfile("n.pmp").c_str()));
    EXPECT_EQ(text, textOf(dir.wfile("n.pmp")));
    // The header marks a model file as a printer configuration, as the peers do.
    EXPECT_EQ(0u, readFile(dir.file("m.pmp")).find("PIAFILEVERSION_2.0,PC3VER1,compress\r\npmzlibcodec"));
}

TEST(PlotCfg, ModelFileCreateAndRequiredBlocks) {
    CPlotCfg3 cfg = fullConfig();
    std::unique_ptr<PlotModelParam> pmp(PlotModelParam::create(cfg.meta));
    ASSERT_TRUE(pmp);
    pmp->udm.calibration.x = 0.5;
    CPBlock root(L"");
    ASSERT_TRUE(pmp->writeToBlock(&root));
    ASSERT_EQ(2u, root.size());
    EXPECT_EQ(L"meta", root.item(0)->name().str());
    EXPECT_EQ(L"udm", root.item(1)->name().str());
    PlotModelParam back;
    ASSERT_TRUE(back.init(&root));
    EXPECT_EQ(L"Laser 5", back.meta.winDeviceName.str());
    EXPECT_EQ(0.5, back.udm.calibration.x);
    EXPECT_EQ(std::optional<bool>(false), back.meta.defaultSystemCfg);

    // meta, udm and calibration are required; a missing calibration factor is 1.
    const std::string pmpText = "meta{\n}\nudm{\n calibration{\n  _y=2.0\n }\n}\n";
    {
        Parsed p(pmpText);
        PlotModelParam m;
        ASSERT_TRUE(m.init(p.root()));
        EXPECT_EQ(1.0, m.udm.calibration.x);
        EXPECT_EQ(2.0, m.udm.calibration.y);
    }
    for (const auto& [broken, fragment] : std::vector<std::pair<std::string, std::string>>{
             {replaced(pmpText, "meta{\n}\n", ""), "block 'meta' is missing"},
             {replaced(pmpText, "udm{", "udx{"), "block 'udm' is missing"},
             {replaced(pmpText, "calibration{", "calib{"), "block 'udm': block 'calibration' is missing"},
             {replaced(pmpText, "_y=2.0", "_y=\"2"), "block 'udm/calibration': key '_y' is a string, not a number"},
         }) {
        SCOPED_TRACE(broken);
        LogCapture log;
        Parsed p(broken);
        PlotModelParam m;
        m.udm.calibration.x = 7;
        EXPECT_FALSE(m.init(p.root()));
        EXPECT_EQ(7, m.udm.calibration.x); // unchanged
        EXPECT_TRUE(log.contains(fragment));
    }
}

// ------------------------------------------------------------------ write rules

TEST(PlotCfg, OptionalValuesAreWrittenOnlyUnderTheirRule) {
    using Path = std::vector<std::wstring>;
    const Path meta{L"meta"}, media{L"media"}, size{L"media", L"size"}, rcm{L"res_color_mem"};
    struct Row {
        const char* what;
        std::function<void(CPlotCfg3&)> change;
        Path block;
        const wchar_t* key;
        int kind;
        const char* text; // expected text of a number, "<absent>" when not written
    };
    const std::vector<Row> rows = {
        {"dm_scale default", [](CPlotCfg3&) {}, size, L"dm_scale", kPNum, "<absent>"},
        {"dm_scale 100", [](CPlotCfg3& c) { c.media.size.dmScale = 100; }, size, L"dm_scale", kPNum, "<absent>"},
        {"dm_scale 99", [](CPlotCfg3& c) { c.media.size.dmScale = 99; }, size, L"dm_scale", kPNum, "99"},
        {"ism_max unset", [](CPlotCfg3&) {}, rcm, L"ism_max", kPNum, "<absent>"},
        {"ism_max 0", [](CPlotCfg3& c) { c.resColorMem.ismMax = 0; }, rcm, L"ism_max", kPNum, "0"},
        {"ole_max 6", [](CPlotCfg3& c) { c.resColorMem.oleMax = 6; }, rcm, L"ole_max", kPNum, "6"},
        {"ole_max all ones", [](CPlotCfg3& c) { c.resColorMem.oleMax = 0xFFFFFFFFu; }, rcm, L"ole_max", kPNum,
         "<absent>"},
        {"icm_method 0", [](CPlotCfg3&) {}, rcm, L"icm_method", kPNum, "<absent>"},
        {"icm_method 2", [](CPlotCfg3& c) { c.resColorMem.icmMethod = 2; }, rcm, L"icm_method", kPNum, "2"},
        {"icm_intent -1", [](CPlotCfg3& c) { c.resColorMem.icmIntent = -1; }, rcm, L"icm_intent", kPNum, "-1"},
        {"hard_soft 0", [](CPlotCfg3&) {}, rcm, L"hard_soft", kPNum, "<absent>"},
        {"preference 50", [](CPlotCfg3& c) { c.resColorMem.preference = 50; }, rcm, L"preference", kPNum, "50"},
        {"dm_driver_version 0", [](CPlotCfg3&) {}, meta, L"dm_driver_version", kPNum, "<absent>"},
        {"dm_driver_version", [](CPlotCfg3& c) { c.meta.dmDriverVersion = 1539; }, meta, L"dm_driver_version",
         kPNum, "1539"},
        {"always: number_of_copies", [](CPlotCfg3&) {}, media, L"number_of_copies", kPNum, "1"},
        {"always: toolkit_version", [](CPlotCfg3&) {}, meta, L"toolkit_version", kPNum, "0"},
        {"real: longplot_reduction", [](CPlotCfg3&) {}, size, L"longplot_reduction", kPNum, "1.000000"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        CPlotCfg3 cfg = minimalConfig();
        row.change(cfg);
        CPBlock root(L"");
        ASSERT_TRUE(cfg.writeToBlock(&root));
        EXPECT_EQ(row.text, numText(itemAt(&root, row.block, row.key, row.kind)));
    }

    // Texts written only when not empty, and blocks only when present.
    struct Presence {
        const char* what;
        std::function<void(CPlotCfg3&)> change;
        Path block;
        const wchar_t* key;
        int kind;
        bool present;
    };
    const std::vector<Presence> presence = {
        {"win_device_name empty", [](CPlotCfg3&) {}, meta, L"win_device_name", kPStr, false},
        {"win_device_name", [](CPlotCfg3& c) { c.meta.winDeviceName = L"P"; }, meta, L"win_device_name", kPStr, true},
        {"win_driver_name", [](CPlotCfg3& c) { c.meta.winDriverName = L"D"; }, meta, L"win_driver_name", kPStr, true},
        {"platform empty", [](CPlotCfg3&) {}, meta, L"platform", kPStr, false},
        {"locale", [](CPlotCfg3& c) { c.meta.locale = L"409"; }, meta, L"locale", kPStr, true},
        {"config_description empty", [](CPlotCfg3&) {}, meta, L"config_description", kPStr, false},
        {"always: short_net_name empty", [](CPlotCfg3&) {}, meta, L"short_net_name", kPStr, true},
        {"always: udm_description empty", [](CPlotCfg3&) {}, meta, L"udm_description", kPStr, true},
        {"no destination", [](CPlotCfg3&) {}, media, L"destination", kPBlock, false},
        {"destination", [](CPlotCfg3& c) { c.media.destination.emplace(); }, media, L"destination", kPBlock, true},
        {"no custom papers", [](CPlotCfg3&) {}, media, L"custom_papers", kPBlock, false},
        {"empty custom paper list", [](CPlotCfg3& c) { c.media.customPapers.emplace(); }, media, L"custom_papers",
         kPBlock, true},
        {"no custom node", [](CPlotCfg3&) {}, {}, L"custom", kPBlock, false},
        {"custom node", [](CPlotCfg3& c) { c.custom.emplace(); }, {}, L"custom", kPBlock, true},
    };
    for (const auto& row : presence) {
        SCOPED_TRACE(row.what);
        CPlotCfg3 cfg = minimalConfig();
        row.change(cfg);
        CPBlock root(L"");
        ASSERT_TRUE(cfg.writeToBlock(&root));
        EXPECT_EQ(row.present, itemAt(&root, row.block, row.key, row.kind) != nullptr);
    }
}

TEST(PlotCfg, KeyOrderOfEveryBlock) {
    CPlotCfg3 cfg = fullConfig();
    cfg.meta.locale = L"409";
    cfg.resColorMem.icmIntent = 2;
    cfg.resColorMem.oleMax = 1;
    cfg.resColorMem.hardSoft = 2;
    cfg.resColorMem.preference = 50;
    CPBlock root(L"");
    ASSERT_TRUE(cfg.writeToBlock(&root));
    auto names = [](const CPBlock* b) {
        std::string s;
        for (const CPItem* item : b->items())
            s += (s.empty() ? "" : " ") + U(item->name());
        return s;
    };
    EXPECT_EQ("meta media io res_color_mem custom", names(&root));
    EXPECT_EQ("user_defined_model_pathname user_defined_model_basename driver_pathname driver_version "
              "driver_tag_line toolkit_version driver_type canonical_family_name show_custom_first "
              "truetype_as_text canonical_model_name localized_family_name localized_model_name file_only "
              "model_abilities udm_description win_device_name win_driver_name short_net_name friendly_net_name "
              "dm_driver_version default_system_cfg platform locale config_description config_autospool",
              names(root.findBlock(L"meta")));
    const CPBlock* media = root.findBlock(L"media");
    EXPECT_EQ("selection_method type dm_orientation actual_printable_bounds_llx actual_printable_bounds_lly "
              "actual_printable_bounds_urx actual_printable_bounds_ury number_of_copies size destination "
              "custom_papers",
              names(media));
    const CPBlock* size = media->findBlock(L"size");
    EXPECT_EQ("name group landscape_mode longplot_reduction dm_scale media_description", names(size));
    EXPECT_EQ("printable_bounds_llx printable_bounds_lly printable_bounds_urx printable_bounds_ury printable_area "
              "dimensional media_bounds",
              names(size->findBlock(L"media_description")));
    EXPECT_EQ("urx ury", names(size->findBlock(L"media_description")->findBlock(L"media_bounds")));
    EXPECT_EQ("name collating_type collating_name", names(media->findBlock(L"destination")));
    const CPBlock* papers = media->findBlock(L"custom_papers");
    EXPECT_EQ("0 1 2", names(papers));
    EXPECT_EQ("global_name local_name units width height left bottom right top", names(papers->findBlock(L"2")));
    const CPItem* second = papers->findBlock(L"2")->find(L"global_name", kPStr);
    EXPECT_EQ(L"Paper 2", static_cast<const CPStr*>(second)->value().str());
    EXPECT_EQ("type pathname allsysvalid plot_to_file", names(root.findBlock(L"io")));
    EXPECT_EQ("name num_colors color_depth num_undithered_colors color_system dm_color icm_method icm_intent "
              "ism_max ole_max hard_soft preference lines_overwrite color_mono resolution",
              names(root.findBlock(L"res_color_mem")));
    EXPECT_EQ("name phys_resolution_x phys_resolution_y addr_resolution_x addr_resolution_y effective_resolution_x "
              "effective_resolution_y",
              names(root.findBlock(L"res_color_mem")->findBlock(L"resolution")));
}

TEST(PlotCfg, CustomBlockNumbersAcrossKinds) {
    CCustomNode c;
    ASSERT_TRUE(c.setStr(L"b", L"s2"));
    ASSERT_TRUE(c.setStr(L"a", L"s1"));
    ASSERT_TRUE(c.setBin(L"0A0b", L"bin"));
    ASSERT_TRUE(c.set(7, L"i"));
    ASSERT_TRUE(c.set(2.5, L"r"));
    ASSERT_TRUE(c.set(false, L"f"));
    ASSERT_TRUE(c.set(5, L"s1")); // one name in two kinds
    CPBlock block(L"custom");
    ASSERT_TRUE(c.write(&block));
    // string (by name), binary, bool, real, integer; one counter for all.
    const std::vector<std::pair<std::string, int>> expected = {
        {"s1", kPStr}, {"s2", kPStr}, {"bin", kPBin}, {"f", kPBool}, {"r", kPNum}, {"i", kPNum}, {"s1", kPNum}};
    ASSERT_EQ(expected.size(), block.size());
    for (size_t i = 0; i < expected.size(); ++i) {
        SCOPED_TRACE(i);
        const auto* sub = static_cast<const CPBlock*>(block.item(i));
        EXPECT_EQ(std::to_wstring(i), sub->name().str());
        ASSERT_EQ(2u, sub->size());
        EXPECT_EQ(expected[i].first, U(static_cast<const CPStr*>(sub->find(L"name", kPStr))->value()));
        EXPECT_EQ(expected[i].second, sub->item(1)->kind());
        EXPECT_EQ(L"value", sub->item(1)->name().str());
    }
    EXPECT_EQ("2.500000", numText(static_cast<const CPBlock*>(block.item(4))->find(L"value", kPNum)));

    // Read back, the kinds come from the value items: a number with a point is real.
    CCustomNode back;
    ASSERT_TRUE(back.init(&block));
    int i = 0, s1 = 0;
    double r = 0;
    bool f = true;
    OdString bin, s;
    EXPECT_TRUE(back.get(i, L"i"));
    EXPECT_FALSE(back.get(r, L"i"));
    EXPECT_TRUE(back.get(r, L"r"));
    EXPECT_FALSE(back.get(i, L"r"));
    EXPECT_TRUE(back.get(f, L"f"));
    EXPECT_TRUE(back.getBin(bin, L"bin"));
    EXPECT_TRUE(back.getStr(s, L"s1"));
    EXPECT_TRUE(back.get(s1, L"s1"));
    EXPECT_EQ(7, i);
    EXPECT_EQ(2.5, r);
    EXPECT_FALSE(f);
    EXPECT_EQ(L"0A0b", bin.str());
    EXPECT_EQ(5, s1);
    EXPECT_EQ(7u, back.count());

    // Kinds as another writer spells them.
    Parsed p("custom{\n 0{\n  name=\"a\n  value=1.0\n }\n 1{\n  name=\"b\n  value=-12\n }\n"
             " 2{\n  name=\"c\n  value=3 (  X!)\n }\n 3{\n  name=\"d\n  value=2.5 (Y)\n }\n}\n");
    ASSERT_TRUE(p.ok);
    CCustomNode other;
    ASSERT_TRUE(other.init(p.root()->findBlock(L"custom")));
    EXPECT_TRUE(other.has(L"a", CCustomNode::kReal));
    EXPECT_TRUE(other.has(L"b", CCustomNode::kInt));
    EXPECT_TRUE(other.has(L"c", CCustomNode::kInt));
    EXPECT_TRUE(other.has(L"d", CCustomNode::kReal));
}

TEST(PlotCfg, CustomSettersRefuseWhatCannotBeStored) {
    CCustomNode c;
    EXPECT_TRUE(c.setStr(L"one", L"k"));
    EXPECT_FALSE(c.setStr(L"two", L"k", false)); // kept
    OdString s;
    c.getStr(s, L"k");
    EXPECT_EQ(L"one", s.str());
    EXPECT_TRUE(c.setStr(L"two", L"k", true));
    c.getStr(s, L"k");
    EXPECT_EQ(L"two", s.str());

    struct Row {
        const char* what;
        std::function<bool(CCustomNode&)> call;
    };
    const std::vector<Row> refused = {
        {"odd-length binary", [](CCustomNode& n) { return n.setBin(L"ABC", L"b"); }},
        {"non-hex binary", [](CCustomNode& n) { return n.setBin(L"0G", L"b"); }},
        {"empty binary", [](CCustomNode& n) { return n.setBin(L"", L"b"); }},
        {"brace in string", [](CCustomNode& n) { return n.setStr(L"a{b", L"s"); }},
        {"line break in string", [](CCustomNode& n) { return n.setStr(L"a\nb", L"s"); }},
        {"long string", [](CCustomNode& n) { return n.setStr(std::wstring(401, L'x').c_str(), L"s"); }},
        {"empty name", [](CCustomNode& n) { return n.set(1, L""); }},
        {"null name", [](CCustomNode& n) { return n.set(1, nullptr); }},
        {"brace in name", [](CCustomNode& n) { return n.set(true, L"a{"); }},
        {"infinite real", [](CCustomNode& n) { return n.set(std::numeric_limits<double>::infinity(), L"r"); }},
    };
    for (const auto& row : refused) {
        SCOPED_TRACE(row.what);
        CCustomNode n;
        EXPECT_FALSE(row.call(n));
        EXPECT_EQ(0u, n.count());
    }

    // The node is bounded; replacing a value of a full node still works.
    CCustomNode full;
    for (size_t i = 0; i < CCustomNode::kMaxValues; ++i)
        ASSERT_TRUE(full.set(int(i), std::to_wstring(i).c_str()));
    EXPECT_FALSE(full.set(1, L"one more"));
    EXPECT_TRUE(full.set(-1, L"5"));
    EXPECT_EQ(CCustomNode::kMaxValues, full.count());

    CCustomNode::EKind intKind = CCustomNode::kInt;
    EXPECT_TRUE(full.remove(L"5", &intKind));
    EXPECT_FALSE(full.remove(L"5"));
    EXPECT_EQ(CCustomNode::kMaxValues - 1, full.count());
}

// ------------------------------------------------------------------ reading failures

TEST(PlotCfg, RequiredBlocksKeysAndKinds) {
    struct Row {
        const char* from;
        const char* to;
        const char* message; // what the log names
    };
    const std::vector<Row> rows = {
        {"meta{\n driver_pathname=\"drv.hdi\n}\n", "", "block 'meta' is missing"},
        {"io{\n type=3\n}\n", "", "block 'io' is missing"},
        {"res_color_mem{", "res_colour_mem{", "block 'res_color_mem' is missing"},
        {"media{", "medium{", "block 'media' is missing"},
        {" size{", " sizes{", "block 'media': block 'size' is missing"},
        {"  media_description{", "  description{", "block 'media/size': block 'media_description' is missing"},
        {"   media_bounds{", "   bounds{", "block 'media/size/media_description': block 'media_bounds' is missing"},
        {" resolution{", " res{", "block 'res_color_mem': block 'resolution' is missing"},
        {"  name=\"A4\n", "", "block 'media/size': key 'name' is missing"},
        {"    urx=210.0\n", "", "block 'media/size/media_description/media_bounds': key 'urx' is missing"},
        {" type=3\n", " type=\"3\n", "block 'io': key 'type' is a string, not a number"},
        {" type=3\n", " type=three\n", "block 'io': key 'type' does not read as a whole number"},
        {"    ury=297.0\n", "    ury=TRUE\n", "key 'ury' is a boolean, not a number"},
        {"    ury=297.0\n", "    ury=1e39\n", "key 'ury' is not a finite number"},
        {" driver_pathname=\"drv.hdi\n", " driver_pathname=12\n", "block 'meta': key 'driver_pathname' is a number"},
        {" driver_pathname=\"drv.hdi\n", " file_only=1\n", "block 'meta': key 'file_only' is a number, not a boolean"},
        {" driver_pathname=\"drv.hdi\n", " default_system_cfg=\"yes\n", "key 'default_system_cfg' is a string"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.message);
        Parsed p(replaced(kMinimal, row.from, row.to));
        ASSERT_TRUE(p.ok);
        LogCapture log;
        CPlotCfg3 cfg;
        cfg.media.numberOfCopies = 42;
        bool intact = true;
        EXPECT_FALSE(cfg.init(p.root(), intact));
        EXPECT_EQ(42, cfg.media.numberOfCopies); // left as it was
        EXPECT_TRUE(log.contains(row.message)) << (log.records().empty() ? "" : log.records()[0].text);
    }

    // A block whose name a known key has is a driver's addition, not a wrong kind.
    Parsed extra(replaced(kMinimal, " type=3\n", " type=3\n type{\n  x=1\n }\n"));
    CPlotCfg3 cfg;
    bool intact = false;
    ASSERT_TRUE(cfg.init(extra.root(), intact));
    EXPECT_EQ(3, cfg.io.type);
    ASSERT_EQ(1u, cfg.io.foreign.size());
    EXPECT_EQ(kPBlock, cfg.io.foreign.entries()[0].item->kind());
}

TEST(PlotCfg, CustomBlockIsOptionalAndDroppedWhenUnreadable) {
    {
        Parsed p(kMinimal);
        CPlotCfg3 cfg;
        bool intact = false;
        ASSERT_TRUE(cfg.init(p.root(), intact));
        EXPECT_TRUE(intact);
        EXPECT_FALSE(cfg.custom.has_value());
    }
    std::string manyValues = "custom{\n";
    for (size_t i = 0; i <= CCustomNode::kMaxValues; ++i)
        manyValues += " " + std::to_string(i) + "{\n  name=\"v" + std::to_string(i) + "\n  value=" +
                      std::to_string(i) + "\n }\n";
    const std::vector<std::pair<std::string, std::string>> rows = {
        {"custom{\n 0{\n  name=\"x\n }\n}\n", "block 'custom/0': key 'value' is missing"},
        {"custom{\n 0{\n  value=1\n }\n}\n", "block 'custom/0': key 'name' is missing"},
        {"custom{\n 0{\n  name=\"x\n  value=\\ABC\\\n }\n}\n", "key 'value' is not hexadecimal text"},
        {"custom{\n 0{\n  name=\"x\n  value=\\0Z\\\n }\n}\n", "key 'value' is not hexadecimal text"},
        {"custom{\n 0{\n  name=\"x\n  value=abc\n }\n}\n", "key 'value' does not read as a number"},
        {"custom{\n 0{\n  name=\"\n  value=1\n }\n}\n", "key 'name' is empty"},
        {manyValues + "}\n", "block '1000' is one value more than the 1000 allowed"},
    };
    for (const auto& [custom, message] : rows) {
        SCOPED_TRACE(message);
        Parsed p(std::string(kMinimal) + custom);
        ASSERT_TRUE(p.ok);
        LogCapture log;
        CPlotCfg3 cfg;
        bool intact = true;
        ASSERT_TRUE(cfg.init(p.root(), intact));
        EXPECT_FALSE(intact);
        EXPECT_FALSE(cfg.custom.has_value());
        EXPECT_TRUE(log.contains("its custom block is dropped"));
        EXPECT_TRUE(log.contains(message));
        // Nothing of it comes back on writing.
        CPBlock root(L"");
        ASSERT_TRUE(cfg.writeToBlock(&root));
        EXPECT_EQ(nullptr, root.findBlock(L"custom"));
    }

    // Too many custom papers make media, so the configuration, unreadable.
    std::string papers = " custom_papers{\n";
    for (unsigned i = 0; i <= CustomPapersNode::kMaxPapers; ++i)
        papers += "  " + std::to_string(i) + "{\n   global_name=\"p\n   width=1.0\n   height=1.0\n  }\n";
    papers += " }\n";
    Parsed p(replaced(kMinimal, "}\nio{", papers + "}\nio{"));
    ASSERT_TRUE(p.ok);
    LogCapture log;
    CPlotCfg3 cfg;
    bool intact = true;
    EXPECT_FALSE(cfg.init(p.root(), intact));
    EXPECT_TRUE(log.contains("block 'media/custom_papers': block '1000' is one paper more than the 1000 allowed"));
}

TEST(PlotCfg, UnreadableFilesFailWithTheirReason) {
    TempDir dir;
    writeFile(dir.file("garbage.pc3"), std::string(100, 'x'));
    LogCapture log;
    bool found = true;
    EXPECT_EQ(nullptr, CPlotCfg3::read(dir.wfile("garbage.pc3").c_str(), found));
    EXPECT_FALSE(found);
    EXPECT_EQ(nullptr, CPlotCfg3::readStored(dir.wfile("missing.pc3").c_str()));
    EXPECT_EQ(nullptr, PlotModelParam::read(dir.wfile("missing.pmp").c_str()));
    EXPECT_TRUE(log.contains("garbage.pc3"));
    EXPECT_TRUE(log.contains("missing.pc3"));
    EXPECT_TRUE(log.contains("missing.pmp"));
    // A configuration is not a model file.
    EXPECT_EQ(nullptr, PlotModelParam::read(W(dataFile("printer-hpgl-extra-blocks.pc3"))));
    EXPECT_TRUE(log.contains("block 'udm' is missing"));
    // A destination that cannot be written fails with its result code.
    const CPlotCfg3 cfg = minimalConfig();
    EXPECT_NE(0, cfg.write(dir.wfile("no/such/folder/x.pc3").c_str()));
    EXPECT_TRUE(log.contains("Cannot write printer configuration"));
    EXPECT_TRUE(readFile(dir.file("no/such/folder/x.pc3")).empty());
}

// ------------------------------------------------------------------ round trips

TEST(PlotCfg, FullConfigurationRoundTrips) {
    const CPlotCfg3 cfg = fullConfig();
    TempDir dir;
    ASSERT_EQ(0, cfg.write(dir.wfile("full.pc3").c_str()));
    EXPECT_EQ(0u, readFile(dir.file("full.pc3")).find("PIAFILEVERSION_2.0,PC3VER1,compress\r\n"));
    bool intact = false;
    std::unique_ptr<CPlotCfg3> back(CPlotCfg3::readStored(dir.wfile("full.pc3").c_str(), &intact));
    ASSERT_TRUE(back);
    EXPECT_TRUE(intact);
    EXPECT_EQ(cfg.meta.configDescription, back->meta.configDescription);
    EXPECT_EQ(std::optional<bool>(false), back->meta.defaultSystemCfg);
    EXPECT_EQ(std::optional<bool>(true), back->meta.configAutospool);
    EXPECT_EQ(std::optional<bool>(false), back->resColorMem.linesOverwrite);
    EXPECT_EQ(std::optional<bool>(true), back->resColorMem.colorMono);
    EXPECT_EQ(0u, back->resColorMem.ismMax);
    EXPECT_EQ(CResColorMemNode::kNotSet, back->resColorMem.oleMax);
    EXPECT_EQ(99, back->media.size.dmScale);
    EXPECT_EQ(200.5, back->media.actualPrintableBoundsUrx);
    ASSERT_TRUE(back->media.destination);
    EXPECT_TRUE(back->media.destination->isCollating());
    ASSERT_TRUE(back->media.customPapers);
    ASSERT_EQ(3u, back->media.customPapers->papers.size());
    for (unsigned i = 0; i < 3; ++i)
        EXPECT_EQ(cfg.media.customPapers->papers[i], back->media.customPapers->papers[i]) << i;
    ASSERT_TRUE(back->custom);
    EXPECT_EQ(cfg.custom->strings(), back->custom->strings());
    EXPECT_EQ(cfg.custom->binaries(), back->custom->binaries());
    EXPECT_EQ(cfg.custom->bools(), back->custom->bools());
    EXPECT_EQ(cfg.custom->reals(), back->custom->reals());
    EXPECT_EQ(cfg.custom->ints(), back->custom->ints());
    // The text of a configuration this library wrote comes back unchanged.
    EXPECT_EQ(textOf(dir.wfile("full.pc3")), written(*back));
}

TEST(PlotCfg, ThreeStateBooleansSurviveWriteAndRead) {
    struct Access {
        const char* key;
        std::function<std::optional<bool>&(CPlotCfg3&)> field;
    };
    const std::vector<Access> fields = {
        {"default_system_cfg", [](CPlotCfg3& c) -> std::optional<bool>& { return c.meta.defaultSystemCfg; }},
        {"config_autospool", [](CPlotCfg3& c) -> std::optional<bool>& { return c.meta.configAutospool; }},
        {"lines_overwrite", [](CPlotCfg3& c) -> std::optional<bool>& { return c.resColorMem.linesOverwrite; }},
        {"color_mono", [](CPlotCfg3& c) -> std::optional<bool>& { return c.resColorMem.colorMono; }},
    };
    TempDir dir;
    for (const auto& f : fields) {
        for (const std::optional<bool> state :
             {std::optional<bool>(), std::optional<bool>(false), std::optional<bool>(true)}) {
            SCOPED_TRACE(std::string(f.key) + " " + (state ? (*state ? "true" : "false") : "unset"));
            CPlotCfg3 cfg = minimalConfig();
            f.field(cfg) = state;
            ASSERT_EQ(0, cfg.write(dir.wfile("t.pc3").c_str()));
            const std::string text = textOf(dir.wfile("t.pc3"));
            EXPECT_EQ(state.has_value(), text.find(std::string(f.key) + "=") != std::string::npos);
            std::unique_ptr<CPlotCfg3> back(CPlotCfg3::readStored(dir.wfile("t.pc3").c_str()));
            ASSERT_TRUE(back);
            EXPECT_EQ(state, f.field(*back));
        }
    }
}

TEST(PlotCfg, BinaryValuesOfAnyLengthRoundTrip) {
    // Long binary values are printed in pieces of one physical line; lengths
    // around each piece boundary must come back whole.
    CPlotCfg3 cfg = minimalConfig();
    cfg.custom.emplace();
    std::vector<std::pair<std::wstring, OdString>> values;
    for (size_t base : {1u, 246u, 497u, 748u, 999u, 5016u}) {
        for (size_t n = base > 3 ? base - 3 : base; n <= base + 3; ++n) {
            std::vector<uint8_t> bytes(n);
            for (size_t i = 0; i < n; ++i)
                bytes[i] = uint8_t(i * 37 + n);
            const OdString hex = ut::bytesToHex(bytes.data(), bytes.size());
            const std::wstring name = L"b" + std::to_wstring(n);
            ASSERT_TRUE(cfg.custom->setBin(hex, name.c_str()));
            values.emplace_back(name, hex);
        }
    }
    TempDir dir;
    ASSERT_EQ(0, cfg.write(dir.wfile("bin.pc3").c_str()));
    bool intact = false;
    std::unique_ptr<CPlotCfg3> back(CPlotCfg3::readStored(dir.wfile("bin.pc3").c_str(), &intact));
    ASSERT_TRUE(back);
    ASSERT_TRUE(intact);
    for (const auto& [name, hex] : values) {
        OdString got;
        EXPECT_TRUE(back->custom->getBin(got, name.c_str())) << U(OdString(name));
        EXPECT_EQ(hex, got) << U(OdString(name));
    }
}

// ------------------------------------------------------------------ write failures

TEST(PlotCfg, UnstorableValuesFailTheWriteAndKeepTheOldFile) {
    TempDir dir;
    const CPlotCfg3 good = fullConfig();
    ASSERT_EQ(0, good.write(dir.wfile("c.pc3").c_str()));
    const std::string before = readFile(dir.file("c.pc3"));
    const std::vector<std::pair<std::function<void(CPlotCfg3&)>, std::string>> rows = {
        {[](CPlotCfg3& c) { c.meta.configDescription = L"a{b"; },
         "block 'meta': key 'config_description' cannot be stored: it holds '{'"},
        {[](CPlotCfg3& c) { c.media.size.name = L"two\nlines"; }, "block 'media/size': key 'name' cannot be stored"},
        {[](CPlotCfg3& c) { c.media.customPapers->papers[1].localName = std::wstring(500, L'x'); },
         "block 'media/custom_papers/1': key 'local_name' cannot be stored: longer than 400"},
        {[](CPlotCfg3& c) { c.resColorMem.resolution.physResolutionX = std::numeric_limits<double>::infinity(); },
         "block 'res_color_mem/resolution': key 'phys_resolution_x' cannot be stored"},
    };
    for (const auto& [change, message] : rows) {
        SCOPED_TRACE(message);
        CPlotCfg3 cfg = good;
        change(cfg);
        LogCapture log;
        EXPECT_EQ(-2, cfg.write(dir.wfile("c.pc3").c_str()));
        EXPECT_TRUE(log.contains(message));
        EXPECT_EQ(before, readFile(dir.file("c.pc3")));
        CPBlock root(L"");
        root.add(new CPNum(L"keep", 1));
        EXPECT_FALSE(cfg.writeToBlock(&root));
        EXPECT_EQ(1u, root.size()); // untouched
    }
    EXPECT_EQ((std::vector<std::string>{"c.pc3"}), dir.entries());
}

// ------------------------------------------------------------------ node helpers

TEST(PlotCfg, MediaBoundsHelpers) {
    // A letter sheet at 600 dpi with 1/4 inch unprintable margins left and top,
    // and the printable area 8 by 10 inches.
    ut::PrinterDeviceCaps caps;
    caps.logPixelsX = caps.logPixelsY = 600;
    caps.physicalWidth = 5100;
    caps.physicalHeight = 6600;
    caps.physicalOffsetX = caps.physicalOffsetY = 150;
    caps.horzRes = 4800;
    caps.vertRes = 6000;
    CMediaNode m;
    EXPECT_TRUE(m.emptyBounds());
    ASSERT_TRUE(m.setBounds(caps));
    EXPECT_DOUBLE_EQ(6.35, m.actualPrintableBoundsLlx);
    EXPECT_DOUBLE_EQ(6.35 + 203.2, m.actualPrintableBoundsUrx);
    EXPECT_DOUBLE_EQ(0.75 * 25.4, m.actualPrintableBoundsLly); // 11 - 0.25 - 10 inches from the bottom
    EXPECT_DOUBLE_EQ(10.75 * 25.4, m.actualPrintableBoundsUry);
    EXPECT_FALSE(m.emptyBounds());
    m.swapBounds();
    EXPECT_DOUBLE_EQ(10.75 * 25.4, m.actualPrintableBoundsUrx);
    EXPECT_DOUBLE_EQ(6.35 + 203.2, m.actualPrintableBoundsUry);

    const std::vector<std::pair<const char*, std::function<void(ut::PrinterDeviceCaps&)>>> bad = {
        {"no resolution", [](ut::PrinterDeviceCaps& c) { c.logPixelsY = 0; }},
        {"printable wider than the sheet", [](ut::PrinterDeviceCaps& c) { c.horzRes = 5000; }},
        {"negative offset", [](ut::PrinterDeviceCaps& c) { c.physicalOffsetX = -1; }},
        {"no printable height", [](ut::PrinterDeviceCaps& c) { c.vertRes = 0; }},
        {"huge values", [](ut::PrinterDeviceCaps& c) { c.physicalOffsetY = INT32_MAX; }},
    };
    for (const auto& [what, change] : bad) {
        SCOPED_TRACE(what);
        ut::PrinterDeviceCaps c = caps;
        change(c);
        CMediaNode n;
        n.actualPrintableBoundsUrx = 1;
        EXPECT_FALSE(n.setBounds(c));
        EXPECT_EQ(1, n.actualPrintableBoundsUrx);
    }

    CDestinationNode d;
    EXPECT_FALSE(d.isCollating());
    d.setCollating(true);
    EXPECT_EQ(1, d.collatingType);
    EXPECT_TRUE(d.isCollating());
    d.setCollating(false);
    EXPECT_EQ(0, d.collatingType);
    EXPECT_EQ(L"None", d.collatingName.str());

    EXPECT_TRUE(CustomPapersNode::PaperSize().isEmpty());
    CustomPapersNode::PaperSize p;
    p.top = 1;
    EXPECT_FALSE(p.isEmpty());
}

TEST(PlotCfg, ResolutionNamesAndValues) {
    struct Row {
        long set;
        bool accepted;
        const char* name;
        long x, y;
    };
    const std::vector<Row> rows = {
        {CResolutionNode::DMRES_HIGH, true, "DMRES_HIGH", -4, 0},
        {CResolutionNode::DMRES_MEDIUM, true, "DMRES_MEDIUM", -3, 0},
        {CResolutionNode::DMRES_LOW, true, "DMRES_LOW", -2, 0},
        {CResolutionNode::DMRES_DRAFT, true, "DMRES_DRAFT", -1, 0},
        {600, true, "600x600", 600, 600},
        {0, false, "keep", 0, 0},
        {-5, false, "keep", 0, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.set);
        CResolutionNode r;
        r.name = L"keep";
        EXPECT_EQ(row.accepted, r.set(row.set));
        EXPECT_EQ(row.name, U(r.name));
        long y = -9;
        EXPECT_EQ(row.x, r.get(&y));
        if (row.accepted) {
            EXPECT_EQ(row.y, y);
        }
    }
    CResolutionNode r;
    ASSERT_TRUE(r.set(300, 600));
    EXPECT_EQ(L"300x600", r.name.str());
    EXPECT_EQ(600.0, r.effectiveResolutionY);
    EXPECT_EQ(300.0, r.addrResolutionX);
    EXPECT_FALSE(r.set(300, 0));
    // Names of other writers: numbers first, then anything; or no numbers at all.
    r.name = L"300x300HWPD";
    EXPECT_EQ(300, r.get());
    r.name = L"Best_Quality";
    r.physResolutionX = 1200;
    r.physResolutionY = 600;
    long y = 0;
    EXPECT_EQ(1200, r.get(&y));
    EXPECT_EQ(600, y);
    EXPECT_EQ(nullptr, CResolutionNode::qualityName(0));
    EXPECT_EQ(0, CResolutionNode::qualityCode(L"dmres_high")); // exact
}

// ------------------------------------------------------------------ PDF and printer look-ups

TEST(PlotCfg, PdfExportDetection) {
    struct Row {
        const char* what;
        std::function<void(CPlotCfg3&)> change;
        bool pdf;
    };
    auto pdfMeta = [](CPlotCfg3& c) {
        c.meta.driverTagLine = L"PDF ePlot - by Autodesk";
        c.meta.localizedModelName = L"DWG To PDF";
        c.meta.canonicalFamilyName = L"Autodesk ePlot";
        c.meta.canonicalModelName = L"pdf";
        c.meta.driverPathname = L"C:\\Program Files\\drv\\pdfplot12.hdi";
    };
    const std::vector<Row> rows = {
        {"plain", [](CPlotCfg3&) {}, false},
        {"custom PdfExport", [](CPlotCfg3& c) { c.custom.emplace().set(true, CCustomNode::kPdfExport); }, true},
        {"PdfExport false", [](CPlotCfg3& c) { c.custom.emplace().set(false, CCustomNode::kPdfExport); }, false},
        {"PdfExport as int", [](CPlotCfg3& c) { c.custom.emplace().set(1, CCustomNode::kPdfExport); }, false},
        {"driver strings", pdfMeta, true},
        {"driver strings in other case",
         [&](CPlotCfg3& c) {
             pdfMeta(c);
             c.meta.driverTagLine = L"pdf EPLOT - BY autodesk";
             c.meta.canonicalModelName = L"PDF";
             c.meta.driverPathname = L"PDFPLOT.HDI";
         },
         true},
        {"forward slashes", [&](CPlotCfg3& c) { pdfMeta(c); c.meta.driverPathname = L"/opt/drv/pdfplot8.hdi"; }, true},
        {"PdfExport false, strings",
         [&](CPlotCfg3& c) {
             pdfMeta(c);
             c.custom.emplace().set(false, L"PdfExport");
         },
         true},
        {"other driver file",
         [&](CPlotCfg3& c) {
             pdfMeta(c);
             c.meta.driverPathname = L"C:\\pdfplot\\dwf.hdi";
         },
         false},
        {"short driver file", [&](CPlotCfg3& c) { pdfMeta(c); c.meta.driverPathname = L"pdfplo"; }, false},
        {"other model", [&](CPlotCfg3& c) { pdfMeta(c); c.meta.localizedModelName = L"DWG To DWF"; }, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        CPlotCfg3 cfg = minimalConfig();
        row.change(cfg);
        cfg.checkIfPdfExport();
        EXPECT_EQ(row.pdf, cfg.isPdfExport());
        // The flag is recomputed on every read.
        CPBlock root(L"");
        ASSERT_TRUE(cfg.writeToBlock(&root));
        CPlotCfg3 back;
        bool intact = false;
        ASSERT_TRUE(back.init(&root, intact));
        EXPECT_EQ(row.pdf, back.isPdfExport());
    }
    // The meta of the PDF model file of another writer is a PDF configuration.
    std::unique_ptr<PlotModelParam> pmp(PlotModelParam::read(W(dataFile("model-pdf.pmp"))));
    ASSERT_TRUE(pmp);
    CPlotCfg3 cfg = minimalConfig();
    cfg.meta = pmp->meta;
    cfg.checkIfPdfExport();
    EXPECT_TRUE(cfg.isPdfExport());
}

namespace {

class FakeLookup : public ut::PrinterLookup {
public:
    bool resolvePrinterByDriver(CPlotCfg3& cfg) override {
        ++resolved;
        cfg.meta.winDeviceName = L"Resolved";
        return found;
    }
    OdString defaultSystemPrinter() override { return L"Office Default"; }
    CPlotCfg3* createForPrinter(const wchar_t* printer) override {
        created = printer;
        if (!canCreate)
            return nullptr;
        auto* cfg = new CPlotCfg3(minimalConfig());
        cfg->meta.winDeviceName = printer;
        return cfg;
    }
    bool found = true;
    bool canCreate = true;
    int resolved = 0;
    std::wstring created;
};

struct LookupInstaller {
    explicit LookupInstaller(ut::PrinterLookup* l) { previous = ut::setPrinterLookup(l); }
    ~LookupInstaller() { ut::setPrinterLookup(previous); }
    ut::PrinterLookup* previous;
};

} // namespace

TEST(PlotCfg, ReadingGoesThroughThePrinterLookup) {
    TempDir dir;
    CPlotCfg3 stored = minimalConfig();
    stored.meta.winDeviceName = L"Stored";
    ASSERT_EQ(0, stored.write(dir.wfile("plain.pc3").c_str()));
    stored.meta.defaultSystemCfg = true;
    ASSERT_EQ(0, stored.write(dir.wfile("default.pc3").c_str()));
    CPlotCfg3 pdf = stored;
    pdf.custom.emplace().set(true, CCustomNode::kPdfExport);
    ASSERT_EQ(0, pdf.write(dir.wfile("pdf.pc3").c_str()));

    bool found = true;
    {
        // Without printing support the file is returned as stored.
        LookupInstaller none(nullptr);
        std::unique_ptr<CPlotCfg3> cfg(CPlotCfg3::read(dir.wfile("default.pc3").c_str(), found));
        ASSERT_TRUE(cfg);
        EXPECT_FALSE(found);
        EXPECT_EQ(L"Stored", cfg->meta.winDeviceName.str());
        EXPECT_FALSE(cfg->resolvePrinterByDriver());
    }
    FakeLookup fake;
    LookupInstaller install(&fake);
    {
        std::unique_ptr<CPlotCfg3> cfg(CPlotCfg3::read(dir.wfile("plain.pc3").c_str(), found));
        ASSERT_TRUE(cfg);
        EXPECT_TRUE(found);
        EXPECT_EQ(L"Resolved", cfg->meta.winDeviceName.str());
        fake.found = false;
        cfg.reset(CPlotCfg3::read(dir.wfile("plain.pc3").c_str(), found));
        ASSERT_TRUE(cfg);
        EXPECT_FALSE(found);
        fake.found = true;
    }
    {
        // PDF output never asks about printers.
        fake.resolved = 0;
        std::unique_ptr<CPlotCfg3> cfg(CPlotCfg3::read(dir.wfile("pdf.pc3").c_str(), found));
        ASSERT_TRUE(cfg);
        EXPECT_TRUE(cfg->isPdfExport());
        EXPECT_FALSE(found);
        EXPECT_EQ(0, fake.resolved);
        EXPECT_EQ(L"Stored", cfg->meta.winDeviceName.str());
    }
    {
        // "The default printer" is whichever is the default at reading time.
        std::unique_ptr<CPlotCfg3> cfg(CPlotCfg3::read(dir.wfile("default.pc3").c_str(), found));
        ASSERT_TRUE(cfg);
        EXPECT_FALSE(found);
        EXPECT_EQ(L"Office Default", cfg->meta.winDeviceName.str());
        fake.canCreate = false;
        LogCapture log;
        cfg.reset(CPlotCfg3::read(dir.wfile("default.pc3").c_str(), found));
        EXPECT_FALSE(cfg);
        EXPECT_TRUE(log.contains("Failed to create plot configuration for default printer Office Default."));
        // Editing tools see the stored file whatever the look-ups say.
        cfg.reset(CPlotCfg3::readStored(dir.wfile("default.pc3").c_str()));
        ASSERT_TRUE(cfg);
        EXPECT_EQ(L"Stored", cfg->meta.winDeviceName.str());
    }
}

TEST(PlotCfg, HexHelpers) {
    const uint8_t bytes[] = {0x00, 0x7F, 0xA5, 0xFF};
    EXPECT_EQ(L"007FA5FF", ut::bytesToHex(bytes, sizeof bytes).str());
    std::vector<uint8_t> out{9};
    EXPECT_TRUE(ut::hexToBytes(L"007fa5FF", out));
    EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + 4), out);
    for (const wchar_t* bad : {L"0", L"0g", L"0 ", L"-1"}) {
        std::vector<uint8_t> keep{1};
        EXPECT_FALSE(ut::hexToBytes(bad, keep)) << U(OdString(bad));
        EXPECT_EQ(std::vector<uint8_t>{1}, keep);
    }
    EXPECT_TRUE(ut::isHexText(L""));
}

// ------------------------------------------------------------------ tool

TEST(PlotCfgTool, ShowAndJson) {
    std::string out, err;
    EXPECT_EQ(0, runTool({"pc3", "show", dataFile("printer-hpgl-raw-device-data.pc3")}, &out, &err)) << err;
    for (const char* line : {"device         \\\\10.120.76.15\\pED030365PL03 H\n",
                             "system driver  HP Designjet Universal Print Driver HPGL2\n",
                             "paper          User8212, 841.00 x 1189.00 mm, portrait\n",
                             "bounds         0.00, 0.00 - 841.00, 1189.00 mm\n",
                             "resolution     600x600_None (600 x 600 dpi)\n",
                             "colour         colour, 16777216 colours, 24 bits\n",
                             "  binary  RawPrivateDeviceData = 5016 bytes\n", "  int     dmSize = 220\n"})
        EXPECT_NE(std::string::npos, out.find(line)) << line;
    EXPECT_EQ(0, runTool({"pc3", "show", "--json", dataFile("printer-hpgl-extra-blocks.pc3")}, &out));
    for (const char* part : {"\"pdf_export\":false", "\"custom_block_dropped\":false", "\"ism_max\":6",
                             "\"color_mono\":null", "\"other_keys\":[\"source\",\"type\",\"source\"]",
                             "{\"name\":\"Print_Quality\",\"kind\":\"int\",\"value\":50}",
                             "{\"name\":\"Gamma_Correction\",\"kind\":\"real\",\"value\":1}",
                             "\"destination\":{\"name\":\"MainDest\""})
        EXPECT_NE(std::string::npos, out.find(part)) << part;
    EXPECT_EQ(0, runTool({"pmp", "show", dataFile("model-pdf.pmp")}, &out));
    EXPECT_NE(std::string::npos, out.find("other blocks   mod, del, hidden\n"));
    EXPECT_EQ(0, runTool({"pmp", "show", "--json", dataFile("model-pdf.pmp")}, &out));
    EXPECT_NE(std::string::npos, out.find("\"calibration\":{\"x\":1,\"y\":1}"));

    TempDir dir;
    EXPECT_EQ(1, runTool({"pc3", "show", dir.file("none.pc3")}, &out, &err));
    EXPECT_NE(std::string::npos, err.find("none.pc3"));
    EXPECT_EQ(2, runTool({"pc3", "show"}, &out, &err));
    EXPECT_EQ(2, runTool({"pc3", "frob"}, &out, &err));
    EXPECT_EQ(0, runTool({"pc3", "--help"}, &out));
    EXPECT_NE(std::string::npos, out.find("custom FILE list"));
}

TEST(PlotCfgTool, SetChangesFieldsAllOrNothing) {
    TempDir dir;
    const std::string file = dir.file("p.pc3");
    writeFile(file, readFile(dataFile("printer-hpgl-raw-device-data.pc3")));
    std::string out, err;
    ASSERT_EQ(0, runTool({"pc3", "set", file, "config_description=Plans, B\xc3\xbcro A0", "default_system_cfg=unset",
                          "number_of_copies=2", "dm_orientation=landscape", "resolution=DMRES_DRAFT",
                          "dm_color=mono", "collate=true", "dm_scale=50", "paper=ISO A0", "plot_to_file=yes",
                          "pathname=/tmp/out.plt"},
                         &out, &err))
        << err;
    std::unique_ptr<CPlotCfg3> cfg(CPlotCfg3::readStored(W(file)));
    ASSERT_TRUE(cfg);
    EXPECT_EQ(L"Plans, B\u00fcro A0", cfg->meta.configDescription.str());
    EXPECT_FALSE(cfg->meta.defaultSystemCfg.has_value());
    EXPECT_EQ(2, cfg->media.numberOfCopies);
    EXPECT_EQ(2, cfg->media.dmOrientation);
    EXPECT_EQ(CResolutionNode::DMRES_DRAFT, cfg->resColorMem.resolution.get());
    EXPECT_EQ(1, cfg->resColorMem.dmColor);
    EXPECT_TRUE(cfg->media.destination->isCollating());
    EXPECT_EQ(50, cfg->media.size.dmScale);
    EXPECT_EQ(L"ISO A0", cfg->media.size.name.str());
    EXPECT_TRUE(cfg->io.plotToFile);
    EXPECT_EQ(L"/tmp/out.plt", cfg->io.pathname.str());
    OdString raw;
    EXPECT_TRUE(cfg->custom->getBin(raw, CCustomNode::kRawPrivateDeviceData));
    EXPECT_EQ(10032, raw.getLength());

    // Refused values and unknown keys leave the file as it was.
    const std::string before = readFile(file);
    struct Row {
        std::vector<std::string> args;
        int rc;
        const char* message;
    };
    const std::vector<Row> rows = {
        {{"number_of_copies=0"}, 1, "number_of_copies='0': expected a whole number from 1 to 9999"},
        {{"dm_scale=50", "dm_orientation=sideways"}, 1, "dm_orientation='sideways'"},
        {{"resolution=600x"}, 1, "resolution='600x'"},
        {{"config_description=a{b"}, 1, "key 'config_description' cannot be stored"},
        {{"paper="}, 1, "a paper needs a name"},
        {{"colour=2"}, 2, "unknown key 'colour'"},
        {{"number_of_copies"}, 2, "expected KEY=VALUE"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.message);
        std::vector<std::string> args{"pc3", "set", file};
        args.insert(args.end(), row.args.begin(), row.args.end());
        EXPECT_EQ(row.rc, runTool(args, &out, &err));
        EXPECT_NE(std::string::npos, err.find(row.message)) << err;
        EXPECT_EQ(before, readFile(file));
    }
    EXPECT_EQ((std::vector<std::string>{"p.pc3"}), dir.entries());
}

TEST(PlotCfgTool, CustomValues) {
    TempDir dir;
    const std::string file = dir.file("p.pc3");
    writeFile(file, readFile(dataFile("printer-hpgl-extra-blocks.pc3")));
    std::string out, err;
    EXPECT_EQ(0, runTool({"pc3", "custom", file, "get", "Print_Quality"}, &out));
    EXPECT_EQ("50\n", out);
    EXPECT_EQ(0, runTool({"pc3", "custom", file, "set", "Print_Quality", "75"}, &out, &err)) << err;
    EXPECT_EQ(0, runTool({"pc3", "custom", file, "set", "Pens", "00ff", "--kind", "binary"}, &out, &err)) << err;
    EXPECT_EQ(0, runTool({"pc3", "custom", file, "set", "Gamma_Correction", "on", "--kind", "bool"}, &out, &err));
    EXPECT_EQ(0, runTool({"pc3", "custom", file, "set", "Label", "Plotter = 3", "--kind", "string"}, &out, &err));
    EXPECT_EQ(0, runTool({"pc3", "custom", file, "remove", "Merge_Control"}, &out, &err)) << err;
    EXPECT_EQ(0, runTool({"pc3", "custom", file, "list"}, &out));
    EXPECT_EQ("string  Label = Plotter = 3\n"
              "binary  Pens = 00ff\n"
              "bool    Gamma_Correction = true\n"
              "bool    Longplot_Warn_Disabled = false\n"
              "bool    Old_HPGL2_Printer = false\n"
              "bool    Override_Front_Panel = false\n"
              "int     Optional_HPGL2_Cmds_Supported = 255\n"
              "int     Optional_RTL_Cmds_Supported = 123\n"
              "int     Print_Quality = 75\n",
              out);
    EXPECT_EQ(0, runTool({"pc3", "custom", file, "list", "--json"}, &out));
    EXPECT_EQ(0u, out.find("[{\"name\":\"Label\",\"kind\":\"string\",\"value\":\"Plotter = 3\"}"));
    // The rest of the file is still there.
    std::unique_ptr<CPlotCfg3> cfg(CPlotCfg3::readStored(W(file)));
    ASSERT_TRUE(cfg);
    EXPECT_EQ(3u, cfg->media.foreign.size());

    const std::string before = readFile(file);
    struct Row {
        std::vector<std::string> args;
        int rc;
        const char* message;
    };
    const std::vector<Row> rows = {
        {{"set", "Pens", "abc"}, 1, "custom value 'Pens' (binary): 'abc' is not hexadecimal"},
        {{"set", "Pens", "zz"}, 1, "is not hexadecimal"},
        {{"set", "Print_Quality", "x"}, 1, "custom value 'Print_Quality' (int): expected a 32-bit whole number"},
        {{"set", "Print_Quality", "4294967296"}, 1, "expected a 32-bit whole number"},
        {{"set", "New", "1"}, 2, "give its --kind"},
        {{"set", "Gamma", "1", "--kind", "float"}, 2, "unknown --kind 'float'"},
        {{"set", "Label", "a{b"}, 1, "refused"},
        {{"get", "Nothing"}, 1, "no value named 'Nothing'"},
        {{"get", "Pens", "--kind", "int"}, 1, "no value named 'Pens' of kind int"},
        {{"remove", "Nothing"}, 1, "no value named 'Nothing'"},
        {{"rename", "x"}, 2, "unknown command 'pc3 custom rename'"},
        {{"get"}, 2, "wrong number of operands"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.message);
        std::vector<std::string> args{"pc3", "custom", file};
        args.insert(args.end(), row.args.begin(), row.args.end());
        EXPECT_EQ(row.rc, runTool(args, &out, &err));
        EXPECT_NE(std::string::npos, err.find(row.message)) << err;
        EXPECT_EQ(before, readFile(file));
    }
}

TEST(PlotCfgTool, BrokenFilesAreNotRewritten) {
    TempDir dir;
    // A configuration whose custom block cannot be read: shown with a warning,
    // never rewritten (that would lose the block).
    writeContainerText(dir.wfile("bad-custom.pc3"),
                       std::string(kMinimal) + "custom{\n 0{\n  name=\"x\n  value=\\ABC\\\n }\n}\n");
    const std::string before = readFile(dir.file("bad-custom.pc3"));
    std::string o, err;
    EXPECT_EQ(0, runTool({"pc3", "show", "--json", dir.file("bad-custom.pc3")}, &o, &err));
    EXPECT_NE(std::string::npos, o.find("\"custom_block_dropped\":true"));
    EXPECT_NE(std::string::npos, err.find("block 'custom/0': key 'value' is not hexadecimal text"));
    EXPECT_EQ(1, runTool({"pc3", "set", dir.file("bad-custom.pc3"), "number_of_copies=2"}, &o, &err));
    EXPECT_NE(std::string::npos, err.find("not rewritten"));
    EXPECT_EQ(1, runTool({"pc3", "custom", dir.file("bad-custom.pc3"), "set", "x", "00", "--kind", "binary"}, &o,
                         &err));
    EXPECT_EQ(before, readFile(dir.file("bad-custom.pc3")));

    // A configuration without a required key: the tool names the block and key.
    writeContainerText(dir.wfile("no-name.pc3"), replaced(kMinimal, "  name=\"A4\n", ""));
    EXPECT_EQ(1, runTool({"pc3", "show", dir.file("no-name.pc3")}, &o, &err));
    EXPECT_NE(std::string::npos, err.find("block 'media/size': key 'name' is missing")) << err;
    EXPECT_EQ(1, runTool({"pc3", "set", dir.file("no-name.pc3"), "paper=A3"}, &o, &err));
    EXPECT_EQ(1, runTool({"pmp", "show", dir.file("no-name.pc3")}, &o, &err));
    EXPECT_NE(std::string::npos, err.find("block 'udm' is missing"));
}
