// Paper numbers and names, custom papers of a configuration, the device-mode
// mappings of print data, and the tool's paper commands: everything about papers
// that needs no printer.
#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <wx/paper.h>

#include "plotcfg.h"
#include "test_support.h"
#include "ut_papers.h"
#include "ut_printdata.h"

using namespace testing_support;

namespace {

std::unique_ptr<CPlotCfg3> stored(const std::string& path) {
    return std::unique_ptr<CPlotCfg3>(CPlotCfg3::readStored(W(path).c_str()));
}

// A configuration with papers in both units.
CPlotCfg3 withPapers() {
    auto cfg = stored(dataFile("printer-hpgl-raw-device-data.pc3"));
    EXPECT_TRUE(cfg);
    CustomPapersNode papers;
    CustomPapersNode::PaperSize inch;
    inch.globalName = L"Inch paper";
    inch.localName = L"Local inch";
    inch.units = 0;
    inch.width = 10;
    inch.height = 20;
    inch.left = 0.5;
    CustomPapersNode::PaperSize metric;
    metric.globalName = L"Metric paper";
    metric.units = 1;
    metric.width = 254;
    metric.height = 508;
    metric.top = 25.4;
    papers.append(inch);
    papers.append(metric);
    cfg->media.customPapers = papers;
    return *cfg;
}

} // namespace

TEST(PaperNames, StandardTableAndUserNames) {
    struct Row {
        short paper;
        const wchar_t* name;
        OdDbPlotSettings::PlotPaperUnits unit;
    } rows[] = {
        {0, L"", OdDbPlotSettings::kInches},
        {1, L"Letter", OdDbPlotSettings::kInches},
        {9, L"A4", OdDbPlotSettings::kMillimeters},
        {14, L"Folio", OdDbPlotSettings::kInches},
        {15, L"Quarto", OdDbPlotSettings::kMillimeters},
        {36, L"Envelope", OdDbPlotSettings::kMillimeters},
        {48, L"Reserved48", OdDbPlotSettings::kInches},
        // Metric papers listed in inches stay so.
        {53, L"A4 Extra", OdDbPlotSettings::kInches},
        {71, L"Japanese Envelope Kaku #2", OdDbPlotSettings::kInches},
        {84, L"Japan Envelope Kaku #2 Rotated", OdDbPlotSettings::kInches},
        {92, L"Japan Envelope You #4 Rotated", OdDbPlotSettings::kInches},
        {93, L"PRC 16K", OdDbPlotSettings::kMillimeters},
        {105, L"PRC Envelope #10", OdDbPlotSettings::kMillimeters},
        {118, L"PRC Envelope #10 Rotated", OdDbPlotSettings::kMillimeters},
        {119, L"User119", OdDbPlotSettings::kMillimeters},
        {300, L"User300", OdDbPlotSettings::kMillimeters},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.paper);
        EXPECT_EQ(row.name, ut::getCanonicalPSname(row.paper));
        EXPECT_EQ(row.unit, ut::getUnitsForDevice(row.paper));
    }
    EXPECT_EQ(L"User-3", ut::getCanonicalPSname(-3));

    // The inch column exactly as listed.
    int inches = 0;
    for (unsigned short p = 0; p <= 118; ++p)
        inches += ut::getUnitsForDevice(p) == OdDbPlotSettings::kInches;
    EXPECT_EQ(8 + 1 + 11 + 5 + 3 + 7 + 1 + 1 + 5 + 4 + 3, inches);
}

TEST(PaperNames, CustomNamesAndNumbers) {
    struct Row {
        const wchar_t* name;
        bool custom;
        int number;
    } rows[] = {
        {L"user12", true, 12},   {L"User12", true, 12},    {L"USER 7", true, 7},
        {L"User-3", true, -3},   {L"User12abc", true, 12}, {L"User", false, 0},
        {L"Userx", false, 0},    {L"Use12", false, 0},     {L"User99999999999", false, 0},
        {L"User+", false, 0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(U(row.name));
        int number = -1;
        EXPECT_EQ(row.custom, ut::isCustomPaperSize(number, row.name));
        if (row.custom) {
            EXPECT_EQ(row.number, number);
        }
    }
    int number = 0;
    EXPECT_FALSE(ut::isCustomPaperSize(number, nullptr));

    EXPECT_EQ(9, ut::getPSnumber(L"a4"));
    EXPECT_EQ(20, ut::getPSnumber(L"ENVELOPE #10"));
    EXPECT_EQ(300, ut::getPSnumber(L"User300"));
    EXPECT_EQ(0, ut::getPSnumber(L"Imperial Quarto"));
    EXPECT_EQ(0, ut::getPSnumber(L""));

    double w = 0, h = 0;
    EXPECT_TRUE(ut::getStandardPaperSize(9, w, h));
    EXPECT_DOUBLE_EQ(210.0, w);
    EXPECT_DOUBLE_EQ(297.0, h);
    EXPECT_FALSE(ut::getStandardPaperSize(48, w, h));
    EXPECT_FALSE(ut::getStandardPaperSize(300, w, h));
}

// The base library carries the standard sizes itself (the toolkit's paper database
// is in its GUI library); they must be the database's, paper for paper, since print
// data select papers by the database and configurations by the table.
TEST(PaperNames, StandardSizesAreTheToolkitDatabases) {
    ASSERT_TRUE(wxThePrintPaperDatabase);
    int known = 0;
    for (short number = 1; number <= ut::kLastStandardPaper; ++number) {
        SCOPED_TRACE(number);
        ut::PrintData data;
        data.setDmPaperSize(number);
        double w = 0, h = 0;
        const bool inTable = ut::getStandardPaperSize(number, w, h);
        const wxPrintPaperType* type = wxThePrintPaperDatabase->FindPaperType(data.GetPaperId());
        ASSERT_EQ(inTable, data.GetPaperId() != wxPAPER_NONE && type != nullptr);
        if (!inTable)
            continue;
        ++known;
        EXPECT_DOUBLE_EQ(type->GetWidth() / 10.0, w);
        EXPECT_DOUBLE_EQ(type->GetHeight() / 10.0, h);
    }
    EXPECT_EQ(known, ut::kLastStandardPaper - 2); // all but the reserved 48 and 49
}

TEST(CustomPapers, UnitsConvertByExactly25Point4) {
    CPlotCfg3 cfg = withPapers();
    ut::CustomPapers papers(&cfg);
    ASSERT_TRUE(papers.load());
    ASSERT_EQ(2, papers.size());
    EXPECT_EQ(OdDbPlotSettings::kMillimeters, papers.getUnit());

    // Read in the working unit: inches times 25.4, millimetres divided.
    EXPECT_DOUBLE_EQ(254.0, papers.getWidth(0));
    EXPECT_DOUBLE_EQ(12.7, papers.getLeftMargin(0));
    EXPECT_DOUBLE_EQ(254.0, papers.getWidth(1));
    papers.setUnit(OdDbPlotSettings::kInches);
    EXPECT_DOUBLE_EQ(10.0, papers.getWidth(0));
    EXPECT_DOUBLE_EQ(10.0, papers.getWidth(1));
    EXPECT_DOUBLE_EQ(1.0, papers.getTopMargin(1));

    // Stored in the paper's unit: 254 mm on an inch paper is 10.
    papers.setUnit(OdDbPlotSettings::kMillimeters);
    ASSERT_TRUE(papers.setSize(0, 254.0, 127.0));
    EXPECT_DOUBLE_EQ(10.0, papers.paper(0)->width);
    EXPECT_DOUBLE_EQ(5.0, papers.paper(0)->height);
    ASSERT_TRUE(papers.setRightMargin(1, 1.0, OdDbPlotSettings::kInches));
    EXPECT_DOUBLE_EQ(25.4, papers.paper(1)->right);
    ASSERT_TRUE(papers.setBottomMargin(0, 25.4));
    EXPECT_DOUBLE_EQ(1.0, papers.paper(0)->bottom);
    EXPECT_FALSE(papers.setTopMargin(0, NAN));
    EXPECT_FALSE(papers.setTopMargin(0, 1.0, OdDbPlotSettings::kPixels));

    // Nothing reaches the configuration before save.
    EXPECT_DOUBLE_EQ(10.0, cfg.media.customPapers->papers[0].width);
    EXPECT_DOUBLE_EQ(20.0, cfg.media.customPapers->papers[0].height);
    ASSERT_TRUE(papers.save());
    EXPECT_DOUBLE_EQ(5.0, cfg.media.customPapers->papers[0].height);
}

TEST(CustomPapers, EditingTheList) {
    CPlotCfg3 cfg = withPapers();
    ut::CustomPapers papers(&cfg);
    papers.load();

    // Duplicate names: local or global, exactly.
    EXPECT_TRUE(papers.isDuplicateName(wxS("Local inch")));
    EXPECT_TRUE(papers.isDuplicateName(wxS("Metric paper")));
    EXPECT_FALSE(papers.isDuplicateName(wxS("metric paper")));

    // New papers take the working unit and zero sizes; names the file format
    // cannot hold are refused.
    papers.setUnit(OdDbPlotSettings::kInches);
    ASSERT_TRUE(papers.append(wxString::FromUTF8("Bogen \xc3\x84")));
    EXPECT_EQ(0, papers.paper(2)->units);
    EXPECT_EQ(0.0, papers.paper(2)->width);
    EXPECT_TRUE(papers.paper(2)->localName.isEmpty());
    EXPECT_EQ(wxString::FromUTF8("Bogen \xc3\x84"), papers.getName(2));
    for (const std::string& bad :
         {std::string("a{b"), std::string("two\nlines"), std::string("a\rb"), std::string(401, 'x')})
        EXPECT_FALSE(papers.append(wxString::FromUTF8(bad))) << bad;
    EXPECT_FALSE(papers.setName(0, wxS("x{")));
    EXPECT_EQ(3, papers.size());

    // A copy edits its own list.
    ut::CustomPapers copy = papers;
    ASSERT_TRUE(copy.remove(0));
    EXPECT_EQ(2, copy.size());
    EXPECT_EQ(3, papers.size());
    EXPECT_EQ(wxS("Metric paper"), copy.getName(0));

    // Bad input: indexes out of range fail, are logged and change nothing.
    LogCapture log;
    EXPECT_FALSE(papers.remove(3));
    EXPECT_FALSE(papers.remove(-1));
    EXPECT_FALSE(papers.setSize(7, 1, 1));
    EXPECT_EQ(0.0, papers.getHeight(3));
    EXPECT_TRUE(papers.getName(3).empty());
    EXPECT_TRUE(log.contains("There is no custom paper 3: the list holds 3."));
    EXPECT_EQ(3, papers.size());

    // Saving an empty list removes the block from the file.
    while (papers.size())
        papers.remove(0);
    ASSERT_TRUE(papers.save());
    EXPECT_FALSE(cfg.media.customPapers);
    TempDir dir;
    ASSERT_EQ(0, cfg.write(dir.wfile("out.pc3").c_str()));
    std::string text;
    ASSERT_EQ(0, runTool({"pia", "cat", dir.file("out.pc3")}, &text));
    EXPECT_EQ(std::string::npos, text.find("custom_papers"));

    ut::CustomPapers none(nullptr);
    EXPECT_FALSE(none.load() || none.save());
}

// A page-setup dialog appends a paper and names it afterwards; a paper left
// without a name is written and read back as it is.
TEST(CustomPapers, APaperWithoutANameYet) {
    CPlotCfg3 cfg = withPapers();
    ut::CustomPapers papers(&cfg);
    papers.load();
    ASSERT_TRUE(papers.append(wxString()));
    ASSERT_EQ(3, papers.size());
    EXPECT_TRUE(papers.getName(2).empty());
    ASSERT_TRUE(papers.setName(2, wxS("Named later")));
    ASSERT_TRUE(papers.append(wxString()));
    ASSERT_TRUE(papers.setSize(3, 100, 200));
    ASSERT_TRUE(papers.save());

    TempDir dir;
    ASSERT_EQ(0, cfg.write(dir.wfile("out.pc3").c_str()));
    auto back = stored(dir.file("out.pc3"));
    ASSERT_TRUE(back);
    ASSERT_TRUE(back->media.customPapers);
    const auto& list = back->media.customPapers->papers;
    ASSERT_EQ(4u, list.size());
    EXPECT_EQ(L"Named later", list[2].globalName);
    EXPECT_TRUE(list[3].globalName.isEmpty());
    EXPECT_DOUBLE_EQ(200.0, list[3].height);
}

TEST(MediaNode, SelectingAPaperSetsNameSizeAndBounds) {
    CPlotCfg3 cfg = withPapers();
    CMediaNode& m = cfg.media;
    bool changed = false;
    ASSERT_TRUE(m.setToCustom(0, changed)); // 10 x 20 in, left margin 0.5 in
    EXPECT_TRUE(changed);
    EXPECT_EQ(L"Inch paper", m.size.name);
    EXPECT_DOUBLE_EQ(254.0, m.size.mediaDescription.mediaBounds.urx);
    EXPECT_DOUBLE_EQ(508.0, m.size.mediaDescription.mediaBounds.ury);
    EXPECT_DOUBLE_EQ(12.7, m.size.mediaDescription.printableBoundsLlx);
    EXPECT_DOUBLE_EQ(12.7, m.actualPrintableBoundsLlx);
    EXPECT_DOUBLE_EQ((254.0 - 12.7) * 508.0, m.size.mediaDescription.printableArea);
    ASSERT_TRUE(m.setToCustom(0, changed));
    EXPECT_FALSE(changed);
    EXPECT_FALSE(m.setToCustom(2, changed));

    ut::PaperSizeInfo nameless;
    nameless.width = nameless.height = 10;
    EXPECT_FALSE(m.set(nameless, changed));
    EXPECT_EQ(L"Inch paper", m.size.name);
}

// Print data whose native part is the toolkit's (no print factory of this library)
// and plain toolkit print data are told apart from this library's, not cast to them.
TEST(PrintDataMapping, PrintDataOfOtherClassesAreNotTakenForOurs) {
    ut::unRegisterPrintFactory();
    ut::PrintData withoutOurs;
    EXPECT_EQ(nullptr, ut::WindowsPrintNativeData::GetNativeData(withoutOurs));

    ut::registerPrintFactory();
    wxPrintData plain;
    plain.SetPaperId(wxPAPER_A3);
    ut::WindowsPrintNativeData* native = ut::WindowsPrintNativeData::GetNativeData(plain);
    ASSERT_TRUE(native);
    ASSERT_TRUE(native->TransferFrom(plain));
    ASSERT_TRUE(native->GetDevMode());
    EXPECT_EQ(8, native->GetDevMode()->dmPaperSize);
    EXPECT_TRUE(native->TransferTo(plain));
    EXPECT_EQ(wxPAPER_A3, plain.GetPaperId());
    ut::unRegisterPrintFactory();
}

TEST(PrintDataMapping, BinsQualitiesDuplexAndPapers) {
    ut::registerPrintFactory();
    ut::PrintData data;
    ASSERT_TRUE(ut::WindowsPrintNativeData::GetNativeData(data));

    // Sources to bins and back: the asymmetry of bin 0 is kept.
    struct Bin {
        short source, bin, back;
    } bins[] = {{1, 1, 1},    {11, 11, 11}, {14, 12, 14},  {15, 13, 15},   {0, 0, 242},
                {12, 0, 242}, {255, 0, 242}, {256, 14, 256}, {257, 15, 257}, {300, wxPRINTBIN_USER, 300}};
    for (const Bin& b : bins) {
        SCOPED_TRACE(b.source);
        data.setDmBin(b.source);
        EXPECT_EQ(b.bin, int(data.GetBin()));
        EXPECT_EQ(b.back, data.getDmBin());
    }
    // A copy keeps a driver-defined source.
    data.setDmBin(4000);
    EXPECT_EQ(4000, ut::PrintData(data).getDmBin());

    struct Quality {
        short dm;
        int wx;
    } qualities[] = {{DMRES_HIGH, wxPRINT_QUALITY_HIGH},
                     {DMRES_MEDIUM, wxPRINT_QUALITY_MEDIUM},
                     {DMRES_LOW, wxPRINT_QUALITY_LOW},
                     {DMRES_DRAFT, wxPRINT_QUALITY_DRAFT},
                     {600, 600}};
    for (const Quality& q : qualities) {
        data.setDmQuality(q.dm);
        EXPECT_EQ(q.wx, data.GetQuality());
        EXPECT_EQ(q.dm, data.getDmQuality());
    }

    for (short d : {DMDUP_SIMPLEX, DMDUP_VERTICAL, DMDUP_HORIZONTAL}) {
        data.setDmDuplex(d);
        EXPECT_EQ(d, data.getDmDuplex());
    }
    data.setDmDuplex(7);
    EXPECT_EQ(wxDUPLEX_SIMPLEX, data.GetDuplex());

    // A paper of the toolkit's database: its size in whole millimetres, no raw
    // number; any other number is kept with the size given.
    ut::WindowsPrintNativeData* native = ut::WindowsPrintNativeData::GetNativeData(data);
    short paper = 0;
    data.setDmPaperSize(300, wxSize(100, 200));
    data.setDmPaperSize(9);
    EXPECT_EQ(wxPAPER_A4, data.GetPaperId());
    EXPECT_EQ(wxSize(210, 297), data.GetPaperSize());
    EXPECT_EQ(0, native->GetPaperNumber());
    EXPECT_TRUE(data.getDmPaperSize(paper) && paper == 9);
    data.setDmPaperSize(300, wxPoint(100, 200));
    EXPECT_EQ(wxPAPER_NONE, data.GetPaperId());
    EXPECT_EQ(wxSize(100, 200), data.GetPaperSize());
    EXPECT_TRUE(data.getDmPaperSize(paper) && paper == 300);
    data.setDmPaperSize(48);
    EXPECT_EQ(wxSize(0, 0), data.GetPaperSize());
    EXPECT_TRUE(data.getDmPaperSize(paper) && paper == 48);

    // The device mode made from these settings alone (no printer).
    data.SetPrinterName(wxS("Nowhere"));
    data.setDmBin(4000);
    data.SetColour(false);
    ut::DEVMODE_RAII dm(data);
    ASSERT_NE(nullptr, dm.get());
    EXPECT_EQ(48, dm->dmPaperSize);
    EXPECT_EQ(4000, dm->dmDefaultSource);
    EXPECT_EQ(DMCOLOR_MONOCHROME, dm->dmColor);
    EXPECT_EQ(0, dm->dmDriverExtra);
    ut::unRegisterPrintFactory();
}

TEST(ToolPapers, SetPaperChoosesSizeAndBoundsOrRefuses) {
    TempDir dir;
    const std::string file = dir.file("plotter.pc3");
    {
        CPlotCfg3 cfg = withPapers();
        ASSERT_EQ(0, cfg.write(W(file).c_str()));
    }
    // A standard paper: its size, and the margins kept where they fit (the file's
    // User8212 paper had none).
    ASSERT_EQ(0, runTool({"pc3", "set", file, "paper=A4"}));
    auto cfg = stored(file);
    ASSERT_TRUE(cfg);
    EXPECT_EQ(L"A4", cfg->media.size.name);
    EXPECT_DOUBLE_EQ(210.0, cfg->media.size.mediaDescription.mediaBounds.urx);
    EXPECT_DOUBLE_EQ(297.0, cfg->media.size.mediaDescription.mediaBounds.ury);
    EXPECT_DOUBLE_EQ(297.0, cfg->media.size.mediaDescription.printableBoundsUry);
    EXPECT_DOUBLE_EQ(297.0, cfg->media.actualPrintableBoundsUry);

    // A custom paper of the configuration, by its local name.
    ASSERT_EQ(0, runTool({"pc3", "set", file, "paper=Local inch"}));
    cfg = stored(file);
    EXPECT_EQ(L"Inch paper", cfg->media.size.name);
    EXPECT_DOUBLE_EQ(508.0, cfg->media.size.mediaDescription.mediaBounds.ury);

    // A name that matches nothing: one line, the file as it was.
    const std::string before = readFile(file);
    std::string err;
    EXPECT_EQ(1, runTool({"pc3", "set", file, "paper=Imperial Quarto"}, nullptr, &err));
    EXPECT_EQ("drutils: paper='Imperial Quarto': no such paper: neither a custom paper of this configuration nor a "
              "standard paper name\n",
              err);
    EXPECT_TRUE(before == readFile(file)) << "the file changed";
}

TEST(ToolPapers, CustomPaperCommands) {
    TempDir dir;
    const std::string file = dir.file("plotter.pc3");
    std::string out, err;
    ASSERT_EQ(0, stored(dataFile("printer-hpgl-raw-device-data.pc3"))->write(W(file).c_str()));
    ASSERT_EQ(0, runTool({"pc3", "papers", file, "add", "Banner", "36", "120", "--unit", "in", "--margins",
                          "0.5,0.5,0.5,0.5"}));
    ASSERT_EQ(0, runTool({"pc3", "papers", file, "list", "--json"}, &out));
    EXPECT_NE(std::string::npos, out.find(R"({"index":0,"name":"Banner","local_name":"","stored_unit":"in",)"
                                          R"("unit":"mm","width":914.39999999999998,)"))
        << out;
    ASSERT_EQ(0, runTool({"pc3", "papers", file, "set", "0", "name=Long banner", "height=3000"}));
    ASSERT_EQ(0, runTool({"pc3", "show", file}, &out));
    EXPECT_NE(std::string::npos, out.find("Long banner  36 x 118.11")) << out;

    // Bad input: each refused with one line, the file unchanged.
    const std::string before = readFile(file);
    struct Row {
        std::vector<std::string> args;
        int rc;
        const char* says;
    } rows[] = {
        {{"set", "1", "width=5"}, 1, "there is no custom paper 1"},
        {{"set", "x", "width=5"}, 1, "there is no custom paper x"},
        {{"set", "0", "left=910"}, 1, "the margins leave no printable area"},
        {{"set", "0", "width=-3"}, 1, "width and height must be greater than 0"},
        {{"add", "Long banner", "10", "10"}, 1, "already has a paper of that name"},
        {{"add", "x{", "10", "10"}, 1, "refused"},
        {{"add", "", "10", "10"}, 1, "a paper needs a name"},
        {{"set", "0", "name="}, 1, "a paper needs a name"},
        {{"remove", "2"}, 1, "there is no custom paper 2"},
        {{"set", "0", "colour=red"}, 2, "unknown key"},
        {{"frob"}, 2, "unknown command"},
    };
    for (const Row& row : rows) {
        std::vector<std::string> args = {"pc3", "papers", file};
        args.insert(args.end(), row.args.begin(), row.args.end());
        SCOPED_TRACE(row.args[0] + " " + (row.args.size() > 2 ? row.args[2] : ""));
        EXPECT_EQ(row.rc, runTool(args, nullptr, &err));
        EXPECT_NE(std::string::npos, err.find(row.says)) << err;
        EXPECT_EQ(1, std::count(err.begin(), err.end(), '\n')) << err;
        EXPECT_TRUE(before == readFile(file)) << "the file changed";
    }

    // Removing the last paper removes the list.
    ASSERT_EQ(0, runTool({"pc3", "papers", file, "remove", "0"}));
    ASSERT_EQ(0, runTool({"pia", "cat", file}, &out));
    EXPECT_EQ(std::string::npos, out.find("custom_papers"));
}

TEST(ToolPapers, ModelFileShowsItsPapers) {
    std::string out;
    ASSERT_EQ(0, runTool({"pmp", "show", dataFile("model-pdf.pmp")}, &out));
    EXPECT_NE(std::string::npos, out.find("papers         37\n")) << out;
    EXPECT_NE(std::string::npos,
              out.find("  A1 Long 1500 (1500.00 x 594.00 MM)  1500.00 x 594.00 mm landscape, printable 0.00, "
                       "0.00 - 1500.00, 594.00\n"))
        << out;
    ASSERT_EQ(0, runTool({"pmp", "show", "--json", dataFile("model-pdf.pmp")}, &out));
    EXPECT_NE(std::string::npos, out.find(R"x("papers":[{"name":"UserDefinedMetric (1500.00 x 594.00MM)",)x"
                                          R"x("localized_name":"A1 Long 1500 (1500.00 x 594.00 MM)",)x"
                                          R"x("landscape":true,"width":1500,"height":594,"printable":[0,0,1500,594]})x"))
        << out;
}
