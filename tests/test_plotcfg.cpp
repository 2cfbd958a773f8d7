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

using namespace testing_support;

namespace {

// The smallest text every reader must accept: the four required blocks with the
// nested blocks that are always present and their required keys.
const char kMinimal[] = "meta{\n driver_pathname=\"drv.hdi\n}\n"
                        "media{\n size{\n  name=\"A4\n  media_description{\n   media_bounds{\n    urx=210.0\n"
                        "    ury=297.0\n   }\n  }\n }\n}\n"
                        "io{\n type=3\n}\n"
                        "res_color_mem{\n resolution{\n  name=\"600x600\n }\n}\n";

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
    for (size_t pos = 0; pos < text.size();) {
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
    EXPECT_EQ(0, cfg.write(dir.wfile("out.pc3").c_str()));
    return textOf(dir.wfile("out.pc3"));
}

// The item at a path like "media/size/dm_scale": a number's text, "present" for
// an item of another kind, "<absent>".
std::string valueAt(const CPBlock* b, const std::string& path) {
    const CPItem* item = nullptr;
    for (size_t from = 0; b && from <= path.size();) {
        const size_t slash = std::min(path.find('/', from), path.size());
        item = nullptr;
        for (const CPItem* it : b->items())
            if (U(it->name()) == path.substr(from, slash - from) && (slash == path.size() || it->kind() == kPBlock))
                item = it;
        b = item && item->kind() == kPBlock ? static_cast<const CPBlock*>(item) : nullptr;
        from = slash + 1;
    }
    if (!item)
        return "<absent>";
    return item->kind() == kPNum ? U(static_cast<const CPNum*>(item)->value()) : "present";
}

std::string itemNames(const CPBlock* b) {
    std::string s;
    for (const CPItem* item : b->items()) {
        if (!s.empty())
            s += ' ';
        s += U(item->name());
    }
    return s;
}

CPlotCfg3 minimalConfig() {
    Parsed p(kMinimal);
    CPlotCfg3 cfg;
    bool intact = false;
    EXPECT_TRUE(p.ok && cfg.init(p.root(), intact) && intact);
    return cfg;
}

// A configuration with the optional parts filled.
CPlotCfg3 fullConfig() {
    CPlotCfg3 cfg = minimalConfig();
    cfg.meta.winDeviceName = L"Laser 5";
    cfg.meta.dmDriverVersion = 1539;
    cfg.meta.defaultSystemCfg = false;
    cfg.meta.configAutospool = true;
    cfg.meta.configDescription = L"Second floor \"quoted\" = fine }";
    cfg.media.actualPrintableBoundsUrx = 200.5;
    cfg.media.size.dmScale = 99;
    cfg.media.destination.emplace().setCollating(true);
    cfg.media.customPapers.emplace();
    for (int i = 0; i < 3; ++i) {
        CustomPapersNode::PaperSize p;
        p.globalName = OdString(L"Paper " + std::to_wstring(i));
        p.localName = L"local";
        p.units = i % 2;
        p.width = 100 + i;
        p.height = 200.25;
        p.left = p.bottom = p.right = p.top = 5;
        EXPECT_TRUE(cfg.media.customPapers->append(p));
    }
    cfg.resColorMem.ismMax = 0;
    cfg.resColorMem.linesOverwrite = false;
    cfg.resColorMem.colorMono = true;
    CCustomNode& custom = cfg.custom.emplace();
    custom.setStr(L"text value", L"note");
    custom.setBin(L"00FF10", CCustomNode::kRawPrivateDeviceData);
    custom.set(3, CCustomNode::kDmDriverExtra);
    custom.set(1.5, L"gamma");
    custom.set(true, L"flag");
    return cfg;
}

} // namespace

// ------------------------------------------------------------------ files of other writers

TEST(PlotCfg, CorpusConfigurationsReadAndSettle) {
    LogCapture log;
    bool intact = false;
    std::unique_ptr<CPlotCfg3> plotter(CPlotCfg3::readStored(W(dataFile("printer-hpgl-extra-blocks.pc3")), &intact));
    ASSERT_TRUE(plotter && intact);
    EXPECT_EQ(std::optional<bool>(false), plotter->meta.configAutospool);
    EXPECT_FALSE(plotter->meta.defaultSystemCfg.has_value());
    // Numbers with an encoded suffix read as their leading number, in float precision.
    EXPECT_FLOAT_EQ(5.7937498093f, float(plotter->media.actualPrintableBoundsLlx));
    EXPECT_EQ(6u, plotter->resColorMem.ismMax);
    ASSERT_TRUE(plotter->media.destination && plotter->custom);
    EXPECT_EQ(0, plotter->media.destination->collatingType); // missing: default
    EXPECT_EQ(8u, plotter->custom->count());
    double gamma = 0;
    EXPECT_TRUE(plotter->custom->get(gamma, L"Gamma_Correction") && gamma == 1.0);

    std::unique_ptr<CPlotCfg3> system(CPlotCfg3::readStored(W(dataFile("printer-hpgl-raw-device-data.pc3")), &intact));
    ASSERT_TRUE(system && intact && system->custom);
    EXPECT_EQ(L"HP Designjet Universal Print Driver HPGL2", system->meta.winDriverName.str());
    EXPECT_EQ(std::optional<bool>(false), system->meta.defaultSystemCfg);
    EXPECT_EQ(1.0, system->media.size.longplotReduction); // missing: default
    EXPECT_EQ(600, system->resColorMem.resolution.get());
    OdString raw;
    std::vector<uint8_t> bytes;
    ASSERT_TRUE(system->custom->getBin(raw, CCustomNode::kRawPrivateDeviceData));
    ASSERT_TRUE(ut::hexToBytes(raw, bytes));
    EXPECT_EQ(5016u, bytes.size());
    EXPECT_EQ(0x44, bytes[0]); // "DINU", the driver's own signature
    EXPECT_TRUE(log.records().empty());

    // Written, numbers take the six-decimal form and the custom block our kind
    // order, after which a second round trip changes nothing.
    for (const char* name : {"printer-hpgl-extra-blocks.pc3", "printer-hpgl-raw-device-data.pc3"}) {
        SCOPED_TRACE(name);
        std::unique_ptr<CPlotCfg3> first(CPlotCfg3::readStored(W(dataFile(name))));
        TempDir dir;
        ASSERT_EQ(0, first->write(dir.wfile("a.pc3").c_str()));
        std::unique_ptr<CPlotCfg3> second(CPlotCfg3::readStored(dir.wfile("a.pc3").c_str()));
        ASSERT_TRUE(second);
        EXPECT_EQ(textOf(dir.wfile("a.pc3")), written(*second));
        EXPECT_EQ(first->custom->count(), second->custom->count());
    }
    // Keys and blocks the schema does not list stay right after the known item they followed.
    const std::string text = written(*plotter);
    for (const char* part :
         {" actual_printable_bounds_ury=261.606232\n source=\"Roll_Source_1\n"
          " number_of_copies=1\n type{\n  drying_time=60\n",
          " }\n source{\n  feed=3\n", "io{\n type=5\n portname=\"LPT3\n output_timeout=3000\n pathname=\"\n",
          "  name=\"MainDest\n  cutting_when=3\n  cutting_name=\"CutAtEndofpage\n"})
        EXPECT_NE(std::string::npos, text.find(part)) << part;
}

TEST(PlotCfg, ModelFilesRoundTripAndNeedTheirBlocks) {
    std::unique_ptr<PlotModelParam> pmp(PlotModelParam::read(W(dataFile("model-pdf.pmp"))));
    ASSERT_TRUE(pmp);
    EXPECT_EQ(L"DWG To PDF", pmp->meta.localizedModelName.str());
    // Written and read again: the foreign blocks in their places, then stable.
    TempDir dir;
    ASSERT_EQ(0, pmp->write(dir.wfile("m.pmp").c_str()));
    const std::string text = textOf(dir.wfile("m.pmp"));
    const size_t meta = text.find("meta{"), mod = text.find("\nmod{"), del = text.find("\ndel{"),
                 udm = text.find("\nudm{\n calibration{\n  _x=1.000000\n  _y=1.000000\n }\n media{"),
                 hidden = text.find("\nhidden{");
    EXPECT_TRUE(meta == 0 && meta < mod && mod < del && del < udm && udm < hidden) << text.substr(0, 300);
    std::unique_ptr<PlotModelParam> again(PlotModelParam::read(dir.wfile("m.pmp").c_str()));
    ASSERT_TRUE(again);
    ASSERT_EQ(0, again->write(dir.wfile("n.pmp").c_str()));
    EXPECT_EQ(text, textOf(dir.wfile("n.pmp")));
    // The header marks a model file as a printer configuration, as the peers do.
    EXPECT_EQ(0u, readFile(dir.file("m.pmp")).find("PIAFILEVERSION_2.0,PC3VER1,compress\r\npmzlibcodec"));

    // meta, udm and calibration are required; a missing calibration factor is 1.
    const std::string pmpText = "meta{\n}\nudm{\n calibration{\n  _y=2.0\n }\n}\n";
    for (const auto& [broken, fragment] : std::vector<std::pair<std::string, std::string>>{
             {pmpText, ""},
             {replaced(pmpText, "meta{\n}\n", ""), "block 'meta' is missing"},
             {replaced(pmpText, "calibration{", "calib{"), "block 'udm': block 'calibration' is missing"},
             {replaced(pmpText, "_y=2.0", "_y=\"2"), "block 'udm/calibration': key '_y' is a string, not a number"},
         }) {
        SCOPED_TRACE(broken);
        LogCapture log;
        Parsed p(broken);
        PlotModelParam m;
        m.udm.calibration.x = 7;
        EXPECT_EQ(fragment.empty(), m.init(p.root()));
        EXPECT_EQ(fragment.empty() ? 1.0 : 7.0, m.udm.calibration.x); // unchanged on failure
        EXPECT_TRUE(fragment.empty() || log.contains(fragment));
    }
}

// ------------------------------------------------------------------ write rules

TEST(PlotCfg, OptionalValuesAreWrittenOnlyUnderTheirRule) {
    using Change = std::function<void(CPlotCfg3&)>;
    const Change keep = [](CPlotCfg3&) {};
    const std::vector<std::tuple<Change, std::string, const char*>> rows = {
        {keep, "media/size/dm_scale", "<absent>"},
        {[](CPlotCfg3& c) { c.media.size.dmScale = 99; }, "media/size/dm_scale", "99"},
        {keep, "res_color_mem/ism_max", "<absent>"},
        {[](CPlotCfg3& c) { c.resColorMem.ismMax = 0; }, "res_color_mem/ism_max", "0"},
        {[](CPlotCfg3& c) { c.resColorMem.oleMax = 0xFFFFFFFFu; }, "res_color_mem/ole_max", "<absent>"},
        {keep, "res_color_mem/icm_method", "<absent>"},
        {[](CPlotCfg3& c) { c.resColorMem.icmIntent = -1; }, "res_color_mem/icm_intent", "-1"},
        {keep, "meta/dm_driver_version", "<absent>"},
        {[](CPlotCfg3& c) { c.meta.dmDriverVersion = 1539; }, "meta/dm_driver_version", "1539"},
        {keep, "media/number_of_copies", "1"},
        {keep, "media/size/longplot_reduction", "1.000000"},
        {keep, "meta/win_device_name", "<absent>"},
        {[](CPlotCfg3& c) { c.meta.winDeviceName = L"P"; }, "meta/win_device_name", "present"},
        {keep, "meta/config_description", "<absent>"},
        {keep, "meta/short_net_name", "present"},
        {keep, "media/destination", "<absent>"},
        {[](CPlotCfg3& c) { c.media.destination.emplace(); }, "media/destination/collating_name", "present"},
        {[](CPlotCfg3& c) { c.media.customPapers.emplace(); }, "media/custom_papers", "present"},
        {keep, "custom", "<absent>"},
        {[](CPlotCfg3& c) { c.custom.emplace(); }, "custom", "present"},
    };
    for (size_t i = 0; i < rows.size(); ++i) {
        const auto& [change, path, text] = rows[i];
        SCOPED_TRACE(testing::Message() << "row " << i << ": " << path);
        CPlotCfg3 cfg = minimalConfig();
        change(cfg);
        CPBlock root(L"");
        ASSERT_TRUE(cfg.writeToBlock(&root));
        EXPECT_EQ(text, valueAt(&root, path));
    }
}

TEST(PlotCfg, KeyOrderOfTheBlocks) {
    CPlotCfg3 cfg = fullConfig();
    cfg.meta.winDriverName = cfg.meta.platform = cfg.meta.locale = L"x";
    CPBlock root(L"");
    ASSERT_TRUE(cfg.writeToBlock(&root));
    EXPECT_EQ("meta media io res_color_mem custom", itemNames(&root));
    EXPECT_EQ("user_defined_model_pathname user_defined_model_basename driver_pathname driver_version "
              "driver_tag_line toolkit_version driver_type canonical_family_name show_custom_first "
              "truetype_as_text canonical_model_name localized_family_name localized_model_name file_only "
              "model_abilities udm_description win_device_name win_driver_name short_net_name friendly_net_name "
              "dm_driver_version default_system_cfg platform locale config_description config_autospool",
              itemNames(root.findBlock(L"meta")));
    const CPBlock* media = root.findBlock(L"media");
    EXPECT_EQ("selection_method type dm_orientation actual_printable_bounds_llx actual_printable_bounds_lly "
              "actual_printable_bounds_urx actual_printable_bounds_ury number_of_copies size destination "
              "custom_papers",
              itemNames(media));
    EXPECT_EQ("name group landscape_mode longplot_reduction dm_scale media_description",
              itemNames(media->findBlock(L"size")));
    const CPBlock* papers = media->findBlock(L"custom_papers");
    EXPECT_EQ("0 1 2", itemNames(papers));
    EXPECT_EQ("global_name local_name units width height left bottom right top", itemNames(papers->findBlock(L"2")));
}

TEST(PlotCfg, CustomBlockNumbersAcrossKinds) {
    CCustomNode c;
    ASSERT_TRUE(c.setStr(L"b", L"s2") && c.setStr(L"a", L"s1") && c.setBin(L"0A0b", L"bin") && c.set(7, L"i") &&
                c.set(2.5, L"r") && c.set(false, L"f") && c.set(5, L"s1")); // one name in two kinds
    CPBlock block(L"custom");
    ASSERT_TRUE(c.write(&block));
    // Strings (by name), binaries, booleans, reals, integers; one counter for all.
    const std::vector<std::pair<std::string, int>> expected = {
        {"s1", kPStr}, {"s2", kPStr}, {"bin", kPBin}, {"f", kPBool}, {"r", kPNum}, {"i", kPNum}, {"s1", kPNum}};
    ASSERT_EQ(expected.size(), block.size());
    for (size_t i = 0; i < expected.size(); ++i) {
        SCOPED_TRACE(i);
        const auto* sub = static_cast<const CPBlock*>(block.item(i));
        EXPECT_EQ(std::to_wstring(i), sub->name().str());
        EXPECT_EQ("name value", itemNames(sub));
        EXPECT_EQ(expected[i].first, U(static_cast<const CPStr*>(sub->item(0))->value()));
        EXPECT_EQ(expected[i].second, sub->item(1)->kind());
    }
    EXPECT_EQ("2.500000", valueAt(&block, "4/value"));

    // Read back, the kinds come from the value items: a number with a point is real.
    CCustomNode back;
    ASSERT_TRUE(back.init(&block));
    EXPECT_EQ(c.binaries(), back.binaries());
    EXPECT_EQ(c.reals(), back.reals());
    EXPECT_EQ(c.ints(), back.ints());
    // Kinds as another writer spells them.
    Parsed p("custom{\n 0{\n  name=\"a\n  value=1.0\n }\n 1{\n  name=\"b\n  value=-12\n }\n"
             " 2{\n  name=\"c\n  value=3 (  X!)\n }\n 3{\n  name=\"d\n  value=2.5 (Y)\n }\n}\n");
    CCustomNode other;
    ASSERT_TRUE(p.ok && other.init(p.root()->findBlock(L"custom")));
    EXPECT_TRUE(other.has(L"a", CCustomNode::kReal) && other.has(L"d", CCustomNode::kReal));
    EXPECT_TRUE(other.has(L"b", CCustomNode::kInt) && other.has(L"c", CCustomNode::kInt));
}

TEST(PlotCfg, CustomSettersRefuseWhatCannotBeStored) {
    CCustomNode c;
    OdString s;
    EXPECT_TRUE(c.setStr(L"one", L"k"));
    EXPECT_FALSE(c.setStr(L"two", L"k", false));
    EXPECT_TRUE(c.getStr(s, L"k") && s.str() == L"one"); // kept

    CCustomNode n;
    for (const bool stored : {n.setBin(L"ABC", L"b"), n.setBin(L"0G", L"b"), n.setStr(L"a{b", L"s"),
                              n.setStr(L"a\nb", L"s"), n.setStr(std::wstring(401, L'x').c_str(), L"s"), n.set(1, L""),
                              n.set(true, L"a{"), n.set(std::numeric_limits<double>::infinity(), L"r")})
        EXPECT_FALSE(stored);
    EXPECT_EQ(0u, n.count());

    // The node is bounded; replacing a value of a full node still works.
    CCustomNode full;
    for (size_t i = 0; i < CCustomNode::kMaxValues; ++i)
        ASSERT_TRUE(full.set(int(i), std::to_wstring(i).c_str()));
    EXPECT_FALSE(full.set(1, L"one more"));
    EXPECT_TRUE(full.set(-1, L"5"));
}

// ------------------------------------------------------------------ reading failures

TEST(PlotCfg, RequiredBlocksKeysAndKinds) {
    // Text replaced in the minimal configuration, what the log names.
    const std::vector<std::tuple<const char*, const char*, const char*>> rows = {
        {"io{\n type=3\n}\n", "", "block 'io' is missing"},
        {"res_color_mem{", "res_colour_mem{", "block 'res_color_mem' is missing"},
        {" size{", " sizes{", "block 'media': block 'size' is missing"},
        {"   media_bounds{", "   bounds{", "block 'media/size/media_description': block 'media_bounds' is missing"},
        {" resolution{", " res{", "block 'res_color_mem': block 'resolution' is missing"},
        {"  name=\"A4\n", "", "block 'media/size': key 'name' is missing"},
        {" type=3\n", " type=\"3\n", "block 'io': key 'type' is a string, not a number"},
        {" type=3\n", " type=three\n", "block 'io': key 'type' does not read as a whole number"},
        {"    ury=297.0\n", "    ury=1e39\n", "key 'ury' is not a finite number"},
        {" driver_pathname=\"drv.hdi\n", " file_only=1\n", "block 'meta': key 'file_only' is a number, not a boolean"},
    };
    for (const auto& [from, to, message] : rows) {
        SCOPED_TRACE(message);
        Parsed p(replaced(kMinimal, from, to));
        LogCapture log;
        CPlotCfg3 cfg;
        cfg.media.numberOfCopies = 42;
        bool intact = true;
        EXPECT_FALSE(p.ok && cfg.init(p.root(), intact));
        EXPECT_EQ(42, cfg.media.numberOfCopies); // left as it was
        EXPECT_TRUE(log.contains(message)) << (log.records().empty() ? "" : log.records()[0].text);
    }

    // A block whose name a known key has is a driver's addition, not a wrong kind.
    Parsed extra(replaced(kMinimal, " type=3\n", " type=3\n type{\n  x=1\n }\n"));
    CPlotCfg3 cfg;
    bool intact = false;
    ASSERT_TRUE(cfg.init(extra.root(), intact));
    EXPECT_EQ(3, cfg.io.type);
    EXPECT_EQ(1u, cfg.io.foreign.size());
}

TEST(PlotCfg, CustomBlockIsOptionalAndDroppedWhenUnreadable) {
    std::string manyValues = "custom{\n";
    for (size_t i = 0; i <= CCustomNode::kMaxValues; ++i) {
        const std::string n = std::to_string(i);
        manyValues += " " + n + "{\n  name=\"v" + n + "\n  value=1\n }\n";
    }
    const std::vector<std::pair<std::string, std::string>> rows = {
        {"custom{\n 0{\n  name=\"x\n }\n}\n", "block 'custom/0': key 'value' is missing"},
        {"custom{\n 0{\n  name=\"x\n  value=\\ABC\\\n }\n}\n", "key 'value' is not hexadecimal text"},
        {"custom{\n 0{\n  name=\"x\n  value=\\0Z\\\n }\n}\n", "key 'value' is not hexadecimal text"},
        {"custom{\n 0{\n  name=\"x\n  value=abc\n }\n}\n", "key 'value' does not read as a number"},
        {manyValues + "}\n", "block '1000' is one value more than the 1000 allowed"},
    };
    for (const auto& [custom, message] : rows) {
        SCOPED_TRACE(message);
        Parsed p(std::string(kMinimal) + custom);
        LogCapture log;
        CPlotCfg3 cfg;
        bool intact = true;
        ASSERT_TRUE(p.ok && cfg.init(p.root(), intact));
        EXPECT_FALSE(intact);
        EXPECT_FALSE(cfg.custom.has_value());
        EXPECT_TRUE(log.contains("its custom block is dropped") && log.contains(message));
    }

    // Too many custom papers make media, so the configuration, unreadable.
    std::string papers = " custom_papers{\n";
    for (unsigned i = 0; i <= CustomPapersNode::kMaxPapers; ++i)
        papers += "  " + std::to_string(i) + "{\n   global_name=\"p\n   width=1.0\n   height=1.0\n  }\n";
    Parsed p(replaced(kMinimal, "}\nio{", papers + " }\n}\nio{"));
    LogCapture log;
    CPlotCfg3 cfg;
    bool intact = true;
    EXPECT_FALSE(p.ok && cfg.init(p.root(), intact));
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
    EXPECT_TRUE(log.contains("garbage.pc3") && log.contains("missing.pc3"));
    // A configuration is not a model file.
    EXPECT_EQ(nullptr, PlotModelParam::read(W(dataFile("printer-hpgl-extra-blocks.pc3"))));
    EXPECT_TRUE(log.contains("block 'udm' is missing"));
    // A destination that cannot be written fails with its result code.
    EXPECT_NE(0, minimalConfig().write(dir.wfile("no/such/folder/x.pc3").c_str()));
    EXPECT_TRUE(log.contains("Cannot write printer configuration"));
}

// ------------------------------------------------------------------ round trips and write failures

TEST(PlotCfg, FullConfigurationRoundTrips) {
    CPlotCfg3 cfg = fullConfig();
    // Long binary values are printed in pieces of one physical line; lengths
    // around each piece boundary must come back whole.
    for (size_t base : {1u, 246u, 497u, 748u, 999u, 5016u}) {
        for (size_t n = base > 3 ? base - 3 : base; n <= base + 3; ++n) {
            std::vector<uint8_t> bytes(n);
            for (size_t i = 0; i < n; ++i)
                bytes[i] = uint8_t(i * 37 + n);
            ASSERT_TRUE(cfg.custom->setBin(ut::bytesToHex(bytes.data(), n), (L"b" + std::to_wstring(n)).c_str()));
        }
    }
    TempDir dir;
    ASSERT_EQ(0, cfg.write(dir.wfile("full.pc3").c_str()));
    EXPECT_EQ(0u, readFile(dir.file("full.pc3")).find("PIAFILEVERSION_2.0,PC3VER1,compress\r\n"));
    bool intact = false;
    std::unique_ptr<CPlotCfg3> back(CPlotCfg3::readStored(dir.wfile("full.pc3").c_str(), &intact));
    ASSERT_TRUE(back && intact);
    EXPECT_EQ(cfg.meta.configDescription, back->meta.configDescription);
    EXPECT_EQ(0u, back->resColorMem.ismMax);
    EXPECT_EQ(99, back->media.size.dmScale);
    EXPECT_EQ(200.5, back->media.actualPrintableBoundsUrx);
    ASSERT_TRUE(back->media.destination && back->media.customPapers && back->custom);
    EXPECT_TRUE(back->media.destination->isCollating());
    EXPECT_EQ(cfg.media.customPapers->papers, back->media.customPapers->papers);
    EXPECT_EQ(cfg.custom->strings(), back->custom->strings());
    EXPECT_EQ(cfg.custom->binaries(), back->custom->binaries());
    EXPECT_EQ(cfg.custom->bools(), back->custom->bools());
    EXPECT_EQ(cfg.custom->reals(), back->custom->reals());
    EXPECT_EQ(cfg.custom->ints(), back->custom->ints());
    // The text of a configuration this library wrote comes back unchanged.
    EXPECT_EQ(textOf(dir.wfile("full.pc3")), written(*back));
}

TEST(PlotCfg, ThreeStateBooleansSurviveWriteAndRead) {
    using Field = std::function<std::optional<bool>&(CPlotCfg3&)>;
    const std::vector<std::pair<const char*, Field>> fields = {
        {"default_system_cfg", [](CPlotCfg3& c) -> std::optional<bool>& { return c.meta.defaultSystemCfg; }},
        {"config_autospool", [](CPlotCfg3& c) -> std::optional<bool>& { return c.meta.configAutospool; }},
        {"lines_overwrite", [](CPlotCfg3& c) -> std::optional<bool>& { return c.resColorMem.linesOverwrite; }},
        {"color_mono", [](CPlotCfg3& c) -> std::optional<bool>& { return c.resColorMem.colorMono; }},
    };
    TempDir dir;
    for (const auto& [key, field] : fields) {
        for (const std::optional<bool> state :
             {std::optional<bool>(), std::optional<bool>(false), std::optional<bool>(true)}) {
            SCOPED_TRACE(std::string(key) + " " + (state ? (*state ? "true" : "false") : "unset"));
            CPlotCfg3 cfg = minimalConfig();
            field(cfg) = state;
            ASSERT_EQ(0, cfg.write(dir.wfile("t.pc3").c_str()));
            const std::string text = textOf(dir.wfile("t.pc3"));
            EXPECT_EQ(state.has_value(), text.find(std::string(key) + "=") != std::string::npos);
            std::unique_ptr<CPlotCfg3> back(CPlotCfg3::readStored(dir.wfile("t.pc3").c_str()));
            ASSERT_TRUE(back);
            EXPECT_EQ(state, field(*back));
        }
    }
}

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
        // finite, but past single precision: the reader would take it as infinite
        {[](CPlotCfg3& c) { c.media.customPapers->papers[0].width = 1e39; },
         "block 'media/custom_papers/0': key 'width' cannot be stored: too large for the file"},
        {[](CPlotCfg3& c) { c.media.size.mediaDescription.printableBoundsUrx = -1e308; },
         "block 'media/size/media_description': key 'printable_bounds_urx' cannot be stored: too large"},
        {[](CPlotCfg3& c) { c.custom->set(3.5e38, L"gamma"); }, "key 'value' cannot be stored: too large"},
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

    // The largest numbers single precision holds are stored and read back; a model
    // file refuses one past them as a configuration does.
    CPlotCfg3 big = good;
    big.media.customPapers->papers[0].width = 3.4e38;
    ASSERT_EQ(0, big.write(dir.wfile("big.pc3").c_str()));
    std::unique_ptr<CPlotCfg3> back(CPlotCfg3::readStored(dir.wfile("big.pc3").c_str()));
    ASSERT_TRUE(back);
    EXPECT_FLOAT_EQ(3.4e38f, float(back->media.customPapers->papers[0].width));
    std::unique_ptr<PlotModelParam> pmp(PlotModelParam::read(W(dataFile("model-pdf.pmp"))));
    ASSERT_TRUE(pmp);
    pmp->udm.calibration.x = 1e39;
    LogCapture log;
    EXPECT_NE(0, pmp->write(dir.wfile("m.pmp").c_str()));
    EXPECT_TRUE(log.contains("key '_x' cannot be stored: too large"));
    EXPECT_EQ((std::vector<std::string>{"big.pc3", "c.pc3"}), dir.entries());
}

// ------------------------------------------------------------------ node helpers

TEST(PlotCfg, MediaBoundsAndResolutions) {
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
    ASSERT_TRUE(m.setBounds(caps));
    EXPECT_DOUBLE_EQ(6.35, m.actualPrintableBoundsLlx);
    EXPECT_DOUBLE_EQ(6.35 + 203.2, m.actualPrintableBoundsUrx);
    EXPECT_DOUBLE_EQ(0.75 * 25.4, m.actualPrintableBoundsLly); // 11 - 0.25 - 10 inches from the bottom
    EXPECT_DOUBLE_EQ(10.75 * 25.4, m.actualPrintableBoundsUry);
    for (auto change : {+[](ut::PrinterDeviceCaps& c) { c.logPixelsY = 0; },
                        +[](ut::PrinterDeviceCaps& c) { c.horzRes = 5000; }, // wider than the sheet
                        +[](ut::PrinterDeviceCaps& c) { c.physicalOffsetY = INT32_MAX; }}) {
        ut::PrinterDeviceCaps c = caps;
        change(c);
        EXPECT_FALSE(m.setBounds(c));
        EXPECT_DOUBLE_EQ(6.35, m.actualPrintableBoundsLlx); // unchanged
    }

    // set(code), whether accepted, the name then, get().
    const std::vector<std::tuple<long, bool, const char*, long>> rows = {
        {CResolutionNode::DMRES_HIGH, true, "DMRES_HIGH", -4},
        {CResolutionNode::DMRES_DRAFT, true, "DMRES_DRAFT", -1},
        {600, true, "600x600", 600},
        {-5, false, "keep", 0},
    };
    for (const auto& [code, accepted, name, x] : rows) {
        SCOPED_TRACE(code);
        CResolutionNode r;
        r.name = L"keep";
        EXPECT_EQ(accepted, r.set(code));
        EXPECT_EQ(name, U(r.name));
        EXPECT_EQ(x, r.get());
    }
    CResolutionNode r;
    long y = 0;
    ASSERT_TRUE(r.set(300, 600));
    EXPECT_EQ(300, r.get(&y));
    EXPECT_EQ(600, y);
    // Names of other writers: numbers first, then anything; or no numbers at all.
    r.name = L"300x300HWPD";
    EXPECT_EQ(300, r.get());
    r.name = L"Best_Quality";
    r.physResolutionX = 1200;
    EXPECT_EQ(1200, r.get());
}

// ------------------------------------------------------------------ PDF and printer look-ups

TEST(PlotCfg, PdfExportDetection) {
    // The meta of the PDF model file of another writer makes a PDF configuration.
    std::unique_ptr<PlotModelParam> pmp(PlotModelParam::read(W(dataFile("model-pdf.pmp"))));
    ASSERT_TRUE(pmp);
    const std::vector<std::tuple<const char*, std::function<void(CPlotCfg3&)>, bool>> rows = {
        {"plain", [](CPlotCfg3&) {}, false},
        {"custom PdfExport", [](CPlotCfg3& c) { c.custom.emplace().set(true, CCustomNode::kPdfExport); }, true},
        {"PdfExport as int", [](CPlotCfg3& c) { c.custom.emplace().set(1, CCustomNode::kPdfExport); }, false},
        {"driver strings", [&](CPlotCfg3& c) { c.meta = pmp->meta; }, true},
        {"other case, forward slashes",
         [&](CPlotCfg3& c) {
             c.meta = pmp->meta;
             c.meta.driverTagLine = L"pdf EPLOT - BY autodesk";
             c.meta.driverPathname = L"/opt/drv/PDFPLOT.HDI";
         },
         true},
        {"other driver file", [&](CPlotCfg3& c) { c.meta = pmp->meta, c.meta.driverPathname = L"/pdfplot/x.hdi"; },
         false},
        {"other model", [&](CPlotCfg3& c) { c.meta = pmp->meta, c.meta.localizedModelName = L"DWG To DWF"; }, false},
    };
    for (const auto& [what, change, pdf] : rows) {
        SCOPED_TRACE(what);
        CPlotCfg3 cfg = minimalConfig();
        change(cfg);
        // The flag is recomputed on every read.
        CPBlock root(L"");
        ASSERT_TRUE(cfg.writeToBlock(&root));
        CPlotCfg3 back;
        bool intact = false;
        ASSERT_TRUE(back.init(&root, intact));
        EXPECT_EQ(pdf, back.isPdfExport());
    }
}

namespace {

class FakeLookup : public ut::PrinterLookup {
public:
    bool resolvePrinterByDriver(CPlotCfg3& cfg) override {
        cfg.meta.winDeviceName = L"Resolved";
        return true;
    }
    OdString defaultSystemPrinter() override { return L"Office Default"; }
    CPlotCfg3* createForPrinter(const wchar_t* printer) override {
        CPlotCfg3* cfg = canCreate ? new CPlotCfg3(minimalConfig()) : nullptr;
        if (cfg)
            cfg->meta.winDeviceName = printer;
        return cfg;
    }
    bool canCreate = true;
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
    stored.custom.emplace().set(true, CCustomNode::kPdfExport);
    ASSERT_EQ(0, stored.write(dir.wfile("pdf.pc3").c_str()));

    FakeLookup fake;
    // File, look-up installed, whether a printer was found, the device name read.
    const std::vector<std::tuple<const char*, ut::PrinterLookup*, bool, const wchar_t*>> rows = {
        {"plain.pc3", &fake, true, L"Resolved"},
        {"pdf.pc3", &fake, false, L"Stored"},             // PDF output never asks about printers
        {"default.pc3", &fake, false, L"Office Default"}, // whichever is the default at reading time
        {"default.pc3", nullptr, false, L"Stored"},       // no printing support: as stored
    };
    for (const auto& [file, lookup, expectFound, device] : rows) {
        SCOPED_TRACE(file);
        LookupInstaller install(lookup);
        bool found = !expectFound;
        std::unique_ptr<CPlotCfg3> cfg(CPlotCfg3::read(dir.wfile(file).c_str(), found));
        ASSERT_TRUE(cfg);
        EXPECT_EQ(expectFound, found);
        EXPECT_EQ(device, cfg->meta.winDeviceName.str());
    }
    LookupInstaller install(&fake);
    fake.canCreate = false;
    LogCapture log;
    bool found = true;
    EXPECT_EQ(nullptr, CPlotCfg3::read(dir.wfile("default.pc3").c_str(), found));
    EXPECT_TRUE(log.contains("Failed to create plot configuration for default printer Office Default."));
    // Editing tools see the stored file whatever the look-ups say.
    std::unique_ptr<CPlotCfg3> cfg(CPlotCfg3::readStored(dir.wfile("default.pc3").c_str()));
    ASSERT_TRUE(cfg);
    EXPECT_EQ(L"Stored", cfg->meta.winDeviceName.str());
}

// ------------------------------------------------------------------ tool

namespace {

// Runs the tool on a copy-in-place file; each row gives its extra operands,
// exit code and a fragment of the error; the file must stay as it was.
void expectRefused(const std::vector<std::string>& lead,
                   const std::vector<std::tuple<std::vector<std::string>, int, const char*>>& rows) {
    const std::string before = readFile(lead.back());
    for (const auto& [extra, rc, message] : rows) {
        SCOPED_TRACE(message);
        std::vector<std::string> args = lead;
        args.insert(args.end(), extra.begin(), extra.end());
        std::string out, err;
        EXPECT_EQ(rc, runTool(args, &out, &err));
        EXPECT_NE(std::string::npos, err.find(message)) << err;
        EXPECT_EQ(before, readFile(lead.back()));
    }
}

} // namespace

TEST(PlotCfgTool, ShowAndJson) {
    std::string out, err;
    EXPECT_EQ(0, runTool({"pc3", "show", dataFile("printer-hpgl-raw-device-data.pc3")}, &out, &err)) << err;
    for (const char* line :
         {"paper          User8212, 841.00 x 1189.00 mm, portrait\n", "resolution     600x600_None (600 x 600 dpi)\n",
          "  binary  RawPrivateDeviceData = 5016 bytes\n"})
        EXPECT_NE(std::string::npos, out.find(line)) << line;
    EXPECT_EQ(0, runTool({"pc3", "show", "--json", dataFile("printer-hpgl-extra-blocks.pc3")}, &out));
    for (const char* part : {"\"ism_max\":6", "\"color_mono\":null", "\"other_keys\":[\"source\",\"type\",\"source\"]",
                             "{\"name\":\"Gamma_Correction\",\"kind\":\"real\",\"value\":1}"})
        EXPECT_NE(std::string::npos, out.find(part)) << part;
    EXPECT_EQ(0, runTool({"pmp", "show", dataFile("model-pdf.pmp")}, &out));
    EXPECT_NE(std::string::npos, out.find("other blocks   mod, del, hidden\n"));
    EXPECT_EQ(0, runTool({"pmp", "show", "--json", dataFile("model-pdf.pmp")}, &out));
    EXPECT_NE(std::string::npos, out.find("\"calibration\":{\"x\":1,\"y\":1}"));
    EXPECT_EQ(1, runTool({"pc3", "show", "none.pc3"}, &out, &err));
    EXPECT_NE(std::string::npos, err.find("none.pc3"));
    EXPECT_EQ(2, runTool({"pc3", "frob"}, &out, &err));
}

TEST(PlotCfgTool, SetChangesFieldsAllOrNothing) {
    TempDir dir;
    const std::string file = dir.file("p.pc3");
    writeFile(file, readFile(dataFile("printer-hpgl-raw-device-data.pc3")));
    std::string out, err;
    ASSERT_EQ(0, runTool({"pc3", "set", file, "config_description=Plans, B\xc3\xbcro A0", "default_system_cfg=unset",
                          "resolution=DMRES_DRAFT", "collate=true", "paper=A2"},
                         &out, &err))
        << err;
    std::unique_ptr<CPlotCfg3> cfg(CPlotCfg3::readStored(W(file)));
    ASSERT_TRUE(cfg);
    EXPECT_EQ(L"Plans, B\u00fcro A0", cfg->meta.configDescription.str());
    EXPECT_FALSE(cfg->meta.defaultSystemCfg.has_value());
    EXPECT_EQ(CResolutionNode::DMRES_DRAFT, cfg->resColorMem.resolution.get());
    EXPECT_TRUE(cfg->media.destination->isCollating());
    EXPECT_EQ(L"A2", cfg->media.size.name.str());
    OdString raw;
    EXPECT_TRUE(cfg->custom->getBin(raw, CCustomNode::kRawPrivateDeviceData));
    EXPECT_EQ(10032, raw.getLength());

    expectRefused({"pc3", "set", file},
                  {
                      {{"number_of_copies=0"}, 1, "number_of_copies='0': expected a whole number from 1 to 9999"},
                      {{"dm_scale=50", "dm_orientation=sideways"}, 1, "dm_orientation='sideways'"},
                      {{"config_description=a{b"}, 1, "key 'config_description' cannot be stored"},
                      {{"colour=2"}, 2, "unknown key 'colour'"},
                  });
    // Numbers the file's reader would take as infinite: refused, the file kept.
    expectRefused({"pc3", "papers", file},
                  {
                      {{"add", "P", "1e39", "100"}, 1, "key 'width' cannot be stored: too large for the file"},
                      {{"add", "P", "1e39", "1e39", "--margins", "0,0,0,1e38"}, 1, "cannot be stored: too large"},
                  });
    ASSERT_EQ(0, runTool({"pc3", "papers", file, "add", "P", "100", "200"}, &out, &err)) << err;
    expectRefused({"pc3", "papers", file},
                  {
                      {{"set", "0", "width=1e308"}, 1, "key 'width' cannot be stored: too large"},
                      {{"set", "0", "height=3.5e38"}, 1, "key 'height' cannot be stored: too large"},
                  });
    expectRefused({"pc3", "custom", file}, {{{"set", "Big", "1e39", "--kind", "real"}, 1, "cannot be stored"}});
    EXPECT_EQ(0, runTool({"pc3", "show", file}, &out, &err)) << err;
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
    EXPECT_EQ(0, runTool({"pc3", "custom", file, "remove", "Merge_Control"}, &out, &err)) << err;
    EXPECT_EQ(0, runTool({"pc3", "custom", file, "list"}, &out));
    EXPECT_EQ("binary  Pens = 00ff\n"
              "bool    Longplot_Warn_Disabled = false\n"
              "bool    Old_HPGL2_Printer = false\n"
              "bool    Override_Front_Panel = false\n"
              "real    Gamma_Correction = 1\n"
              "int     Optional_HPGL2_Cmds_Supported = 255\n"
              "int     Optional_RTL_Cmds_Supported = 123\n"
              "int     Print_Quality = 75\n",
              out);
    EXPECT_EQ(0, runTool({"pc3", "custom", file, "list", "--json"}, &out));
    EXPECT_EQ(0u, out.find("[{\"name\":\"Pens\",\"kind\":\"binary\",\"value\":\"00ff\"}"));
    // The rest of the file is still there.
    std::unique_ptr<CPlotCfg3> cfg(CPlotCfg3::readStored(W(file)));
    ASSERT_TRUE(cfg);
    EXPECT_EQ(3u, cfg->media.foreign.size());

    expectRefused({"pc3", "custom", file},
                  {
                      {{"set", "Pens", "abc"}, 1, "custom value 'Pens' (binary): 'abc' is not hexadecimal"},
                      {{"set", "Print_Quality", "4294967296"}, 1, "expected a 32-bit whole number"},
                      {{"set", "New", "1"}, 2, "give its --kind"},
                      {{"get", "Pens", "--kind", "int"}, 1, "no value named 'Pens' of kind int"},
                      {{"remove", "Nothing"}, 1, "no value named 'Nothing'"},
                  });
}

TEST(PlotCfgTool, BrokenFilesAreNotRewritten) {
    // A configuration whose custom block cannot be read: shown with a warning,
    // never rewritten (that would lose the block).
    TempDir dir;
    const std::string file = dir.file("bad-custom.pc3");
    writeContainerText(W(file), std::string(kMinimal) + "custom{\n 0{\n  name=\"x\n  value=\\ABC\\\n }\n}\n");
    std::string out, err;
    EXPECT_EQ(0, runTool({"pc3", "show", "--json", file}, &out, &err));
    EXPECT_NE(std::string::npos, out.find("\"custom_block_dropped\":true"));
    EXPECT_NE(std::string::npos, err.find("block 'custom/0': key 'value' is not hexadecimal text"));
    expectRefused({"pc3", "set", file}, {{{"number_of_copies=2"}, 1, "not rewritten"}});
    expectRefused({"pc3", "custom", file}, {{{"set", "x", "00", "--kind", "binary"}, 1, "not rewritten"}});

    // A configuration without a required key: the tool names the block and key.
    writeContainerText(W(file), replaced(kMinimal, "  name=\"A4\n", ""));
    expectRefused({"pc3", "show", file}, {{{}, 1, "block 'media/size': key 'name' is missing"}});
}
