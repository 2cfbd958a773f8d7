// The editor's document model (tools/drutils-styles/style_document.h) without a
// display: what each column's text means, edits of many rows as one undo step,
// the rules for named styles, table properties and lineweights, and saving
// through the library's writer.
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "pia.h"
#include "style_document.h"
#include "test_support.h"

using namespace testing_support;
using namespace styles;

namespace {

std::unique_ptr<TableDocument> openCopy(const TempDir& dir, const std::string& sample, const std::string& as) {
    std::filesystem::copy_file(dataFile(sample), dir.file(as));
    wxString why;
    auto doc = TableDocument::open(wxString::FromUTF8(dir.file(as)), &why);
    EXPECT_TRUE(doc) << why.utf8_string();
    return doc;
}

std::unique_ptr<CPlotStyleTable> readBack(const std::string& path) {
    OdString why;
    std::unique_ptr<CPlotStyleTable> t(CPlotStyleTable::read(W(path), &why));
    EXPECT_TRUE(t) << U(why);
    return t;
}

wxString lineweightLabel(const TableDocument& doc, int number) { return doc.choiceLabels(Column::Lineweight)[size_t(number)]; }

} // namespace

TEST(EditorModel, ColourChoicesComeBackAsChosenAndPlotAsShown) {
    struct Row {
        ColourChoice choice;
        int plotted; // 0xRRGGBB in a named table; -1: the object's colour, unknown there
    };
    const Row rows[] = {
        {{ColourChoice::Object, 7, 0}, -1},
        {{ColourChoice::Index, 1, 0}, 0xFF0000},
        {{ColourChoice::Index, 255, 0}, CPlotStyle::paletteRgb(255)},
        {{ColourChoice::True, 7, 0x123456}, 0x123456}, // no palette entry has it
        {{ColourChoice::True, 7, 0x00FF00}, 0x00FF00}, // palette entry 3 has it
    };
    for (const Row& r : rows) {
        for (bool grey : {false, true}) {
            SCOPED_TRACE(::testing::Message() << "kind " << r.choice.kind << " rgb " << r.choice.rgb << " grey " << grey);
            CPlotStyle s;
            s.setGrayScale(grey);
            applyColour(s, r.choice);
            EXPECT_EQ(colourOf(s), r.choice);
            const std::optional<int> rgb = plottedRgb(s, 0);
            if (r.plotted < 0) {
                EXPECT_FALSE(rgb);
                continue;
            }
            ASSERT_TRUE(rgb);
            int expected = r.plotted;
            if (grey) {
                const int y = (299 * ((expected >> 16) & 0xFF) + 587 * ((expected >> 8) & 0xFF) + 114 * (expected & 0xFF)) / 1000;
                expected = y * 0x010101;
            }
            EXPECT_EQ(*rgb, expected);
        }
    }
    // In a colour-dependent table the object's colour is the row's own.
    CPlotStyle object;
    EXPECT_EQ(plottedRgb(object, 5), CPlotStyle::paletteRgb(5));
    // Screening lightens towards white.
    EXPECT_EQ(screened(0x000000, 100), 0x000000);
    EXPECT_EQ(screened(0x000000, 0), 0xFFFFFF);
    EXPECT_EQ(screened(0x0000FF, 50), 0x8080FF);
}

TEST(EditorModel, CellTextsSetTheirFieldsAndBadOnesAreRefused) {
    auto doc = TableDocument::create(true);
    const std::vector<int> row{4}; // colour 5
    struct Case {
        Column column;
        const char* text;
        std::function<bool(const CPlotStyle&)> holds;
    };
    const Case cases[] = {
        {Column::Colour, "Index 30", [](const CPlotStyle& s) { return colourOf(s).index == 30; }},
        {Column::Colour, "#102030", [](const CPlotStyle& s) { return colourOf(s).rgb == 0x102030; }},
        {Column::Colour, "Object", [](const CPlotStyle& s) { return colourOf(s).kind == ColourChoice::Object; }},
        {Column::Linetype, "Dashed", [](const CPlotStyle& s) { return s.lineType() == 1; }},
        {Column::Linetype, "Object", [](const CPlotStyle& s) { return s.lineType() == 31; }},
        {Column::Fill, "Crosshatch", [](const CPlotStyle& s) { return s.fillStyle() == 66; }},
        {Column::Fill, "Other (80)", [](const CPlotStyle& s) { return s.fillStyle() == 80; }},
        {Column::End, "Round", [](const CPlotStyle& s) { return s.endStyle() == 2; }},
        {Column::Join, "Bevel", [](const CPlotStyle& s) { return s.joinStyle() == 1; }},
        {Column::Adaptive, "", [](const CPlotStyle& s) { return !s.isAdaptiveLinetype(); }},
        {Column::Dither, "", [](const CPlotStyle& s) { return !s.isDither(); }},
        {Column::Greyscale, "1", [](const CPlotStyle& s) { return s.isGrayScale(); }},
        {Column::Screen, "35", [](const CPlotStyle& s) { return s.screen() == 35; }},
        {Column::Pen, "32", [](const CPlotStyle& s) { return s.pen() == 32; }},
        {Column::Pen, "Automatic", [](const CPlotStyle& s) { return s.pen() == 0; }},
        {Column::VirtualPen, "255", [](const CPlotStyle& s) { return s.virtualPen() == 255; }},
        {Column::Lineweight, "0.35 mm", [](const CPlotStyle& s) { return s.lineWeight() == 11; }},
        {Column::Lineweight, "Object", [](const CPlotStyle& s) { return s.lineWeight() == 0; }},
        {Column::Description, "Hidden lines, 50 %", [](const CPlotStyle& s) { return s.desc() == L"Hidden lines, 50 %"; }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(columnTitle(c.column).utf8_string()) + " = " + c.text);
        wxString why;
        ASSERT_TRUE(doc->setField(row, c.column, wxString::FromUTF8(c.text), &why)) << why.utf8_string();
        EXPECT_TRUE(c.holds(*doc->styleAt(4)));
        // The cell shows what the editor offers for it again.
        if (c.column != Column::Colour) {
            EXPECT_EQ(doc->cellText(4, c.column), wxString::FromUTF8(c.text));
        }
    }
    // A value of another program stays in the lists, so that it can be chosen back.
    const std::vector<wxString> fills = doc->choiceLabels(Column::Fill);
    EXPECT_NE(std::find(fills.begin(), fills.end(), "Other (80)"), fills.end());

    const int steps = int(doc->history().GetCommands().GetCount());
    const CPlotStyle before = *doc->styleAt(4);
    const struct {
        Column column;
        const char* text;
    } refused[] = {
        {Column::Screen, "101"},          {Column::Screen, "-1"},         {Column::Pen, "33"},
        {Column::VirtualPen, "256"},      {Column::Linetype, "Wavy"},     {Column::Colour, "Index 256"},
        {Column::Colour, "#12345"},       {Column::Lineweight, "0.33 mm"}, {Column::Lineweight, "101"},
        {Column::Description, "a\nb"},    {Column::Description, "a{b"},   {Column::Style, "Pen"},
    };
    for (const auto& r : refused) {
        SCOPED_TRACE(std::string(columnTitle(r.column).utf8_string()) + " = " + r.text);
        wxString why;
        EXPECT_FALSE(doc->setField(row, r.column, wxString::FromUTF8(r.text), &why));
        EXPECT_FALSE(why.empty());
    }
    EXPECT_TRUE(doc->styleAt(4)->isEqual(before, true));
    EXPECT_EQ(int(doc->history().GetCommands().GetCount()), steps);
}

TEST(EditorModel, SeveralRowsChangeInOneStepThatUndoesWhole) {
    auto doc = TableDocument::create(true);
    wxString why;
    // Rows shown in any order, one of them twice: each style changes once.
    ASSERT_TRUE(doc->setField({9, 2, 5, 2}, Column::Lineweight, lineweightLabel(*doc, 14), &why));
    EXPECT_EQ(doc->history().GetCommands().GetCount(), 1u);
    for (int row : {2, 5, 9})
        EXPECT_EQ(doc->styleAt(row)->lineWeight(), 14);
    EXPECT_EQ(doc->styleAt(3)->lineWeight(), 0);
    EXPECT_TRUE(doc->isModified());

    // Setting what they hold already is no step at all.
    ASSERT_TRUE(doc->setField({2, 5}, Column::Lineweight, lineweightLabel(*doc, 14), &why));
    EXPECT_EQ(doc->history().GetCommands().GetCount(), 1u);

    ASSERT_TRUE(doc->history().Undo());
    for (int row : {2, 5, 9})
        EXPECT_EQ(doc->styleAt(row)->lineWeight(), 0);
    EXPECT_FALSE(doc->isModified());
    ASSERT_TRUE(doc->history().Redo());
    EXPECT_EQ(doc->styleAt(9)->lineWeight(), 14);

    // One colour for several rows, undone in one step.
    ASSERT_TRUE(doc->setColour({0, 1}, ColourChoice{ColourChoice::True, 7, 0x336699}, &why));
    EXPECT_EQ(colourOf(*doc->styleAt(1)).rgb, 0x336699);
    ASSERT_TRUE(doc->history().Undo());
    EXPECT_EQ(colourOf(*doc->styleAt(0)).kind, ColourChoice::Object);
    EXPECT_EQ(colourOf(*doc->styleAt(1)).kind, ColourChoice::Object);
}

TEST(EditorModel, NamedStylesAreAddedRenamedAndDeletedAroundNormal) {
    auto doc = TableDocument::create(false);
    wxString why;
    // A new style never goes before "Normal", whatever row it is added after.
    EXPECT_EQ(doc->addStyle("Pen 1", -1, &why), 1);
    EXPECT_EQ(doc->addStyle("Pen 2", 0, &why), 1);
    EXPECT_EQ(doc->cellText(0, Column::Style), "Normal");
    EXPECT_EQ(doc->cellText(1, Column::Style), "Pen 2");
    EXPECT_EQ(doc->styleAt(1)->name(), L"Pen_2");

    // Names in use, under either of their two forms, and names the file cannot hold.
    for (const char* name : {"Pen 1", "Pen_1", "Normal", "", "a\nb", "a{b"}) {
        why.clear();
        EXPECT_EQ(doc->addStyle(wxString::FromUTF8(name), 1, &why), -1) << name;
        EXPECT_FALSE(why.empty()) << name;
    }
    EXPECT_EQ(doc->addStyle(wxString(256, 'x'), 1, &why), -1);
    EXPECT_EQ(doc->rowCount(), 3);

    EXPECT_FALSE(doc->renameStyle(0, "Basic", &why));
    EXPECT_FALSE(doc->setField({0}, Column::Style, "Basic", &why));
    EXPECT_FALSE(doc->renameStyle(1, "Pen 1", &why));
    EXPECT_FALSE(doc->setField({1, 2}, Column::Style, "Pen 9", &why)); // one at a time
    ASSERT_TRUE(doc->setField({1}, Column::Style, "Hidden", &why)) << why.utf8_string();
    EXPECT_EQ(doc->styleAt(1)->name(), L"Hidden");

    EXPECT_FALSE(doc->deleteStyles({0}, &why));
    EXPECT_FALSE(why.empty());
    // "Normal" among the rows stays; the others go.
    ASSERT_TRUE(doc->deleteStyles({0, 1, 2}, &why));
    EXPECT_EQ(doc->rowCount(), 1);
    ASSERT_TRUE(doc->history().Undo());
    ASSERT_EQ(doc->rowCount(), 3);
    EXPECT_EQ(doc->styleAt(1)->name(), L"Hidden");
    EXPECT_EQ(doc->styleAt(1)->locName(), L"Hidden");
    EXPECT_EQ(doc->styleAt(2)->name(), L"Pen_1");
    ASSERT_TRUE(doc->history().Undo()); // the rename
    EXPECT_EQ(doc->styleAt(1)->locName(), L"Pen 2");
    EXPECT_EQ(doc->freeStyleName(), "Style 3");

    // Styles are never added to or deleted from a colour-dependent table.
    auto ctb = TableDocument::create(true);
    EXPECT_EQ(ctb->addStyle("Pen", 0, &why), -1);
    EXPECT_FALSE(ctb->deleteStyles({3}, &why));
    EXPECT_FALSE(ctb->setField({3}, Column::Style, "Pen", &why));
}

TEST(EditorModel, UndoingADeleteGivesAConvertedTableItsColoursBack) {
    TempDir dir;
    auto ctb = openCopy(dir, "color-dependent-basic.ctb", "basic.ctb");
    ASSERT_TRUE(ctb);
    auto named = TableDocument::convert(*ctb);
    ASSERT_TRUE(named);
    ASSERT_TRUE(named->table().hasACI());
    EXPECT_EQ(named->displayName(), "basic.stb");
    // The style that colour 10 plots with, and every colour that uses it.
    const CPlotStyle* target = named->table().ACI().at(10);
    ASSERT_TRUE(target);
    const int row = named->rowOfPosition([&] {
        for (int i = 0; i < named->table().size(); ++i)
            if (named->table().style(i) == target)
                return i;
        return -1;
    }());
    ASSERT_GT(row, 0);
    std::vector<int> colours;
    for (int k = 1; k <= CAciTable::kSize; ++k)
        if (named->table().ACI().at(k) == target)
            colours.push_back(k);
    const OdString name = target->name();

    wxString why;
    ASSERT_TRUE(named->deleteStyles({row}, &why));
    EXPECT_EQ(named->table().ACI().at(10), named->table().style(0));
    ASSERT_TRUE(named->history().Undo());
    const CPlotStyle* back = named->table().find(name);
    ASSERT_TRUE(back);
    for (int k = 1; k <= CAciTable::kSize; ++k) {
        const bool uses = std::find(colours.begin(), colours.end(), k) != colours.end();
        EXPECT_EQ(named->table().ACI().at(k) == back, uses) << "colour " << k;
    }
    // And the style is saved where it was.
    ASSERT_TRUE(named->save(wxString::FromUTF8(dir.file("basic.stb")), &why)) << why.utf8_string();
    auto file = readBack(dir.file("basic.stb"));
    ASSERT_TRUE(file);
    ASSERT_TRUE(file->style(row));
    EXPECT_EQ(file->style(row)->name(), name);
}

TEST(EditorModel, TablePropertiesAndCustomLineweights) {
    auto doc = TableDocument::create(true);
    wxString why;
    // Numbers in either decimal form, rounded to the file's six decimals.
    double v = 0;
    EXPECT_TRUE(parseScaleFactor(" 1,5 ", v, &why));
    EXPECT_DOUBLE_EQ(v, 1.5);
    EXPECT_TRUE(parseScaleFactor("0.1234567", v, &why));
    EXPECT_DOUBLE_EQ(v, 0.123457);
    for (const char* bad : {"0", "-1", "0.0000001", "x", "nan", "inf"})
        EXPECT_FALSE(parseScaleFactor(bad, v, &why)) << bad;
    EXPECT_TRUE(parseLineweight("0.01 in", 1, v, &why));
    EXPECT_DOUBLE_EQ(v, 0.254);
    EXPECT_FALSE(parseLineweight("101", 0, v, &why));
    EXPECT_FALSE(parseLineweight("-0.1", 0, v, &why));
    EXPECT_EQ(formatLineweight(0.25, 0), "0.25 mm");
    EXPECT_EQ(formatLineweight(0.053, 0), "0.053 mm");
    EXPECT_EQ(formatLineweight(0.25, 1), "0.0098 in");
    EXPECT_EQ(formatScaleFactor(1.100000023841858), "1.1");

    // Adding a lineweight takes the place of the nearest entry no style uses.
    TableProperties p = doc->properties();
    ASSERT_TRUE(doc->setField({0}, Column::Lineweight, lineweightLabel(*doc, 11), &why)); // 0.35 mm, entry 10
    EXPECT_EQ(doc->addLineweight(p, 0.35, &why), 10);                                     // there already
    EXPECT_EQ(doc->addLineweight(p, 0.36, &why), 11);                                     // 0.40 is nearest unused
    EXPECT_DOUBLE_EQ(p.lineweights[11], 0.36);
    EXPECT_DOUBLE_EQ(p.lineweights[10], 0.35);
    p.description = "Office pens";
    p.scaleFactor = 2.5;
    p.applyFactor = true;
    p.units = 1;
    ASSERT_TRUE(doc->setProperties(p, &why)) << why.utf8_string();
    EXPECT_EQ(doc->table().desc(), L"Office pens");
    EXPECT_DOUBLE_EQ(doc->table().lineWeights().at(11), 0.36);
    // The lineweight column follows the units.
    EXPECT_EQ(doc->cellText(0, Column::Lineweight), "0.0138 in");

    TableProperties bad = p;
    bad.description = "two\nlines";
    EXPECT_FALSE(doc->setProperties(bad, &why));
    EXPECT_FALSE(why.empty());
    EXPECT_EQ(doc->table().desc(), L"Office pens");
    ASSERT_TRUE(doc->history().Undo());
    EXPECT_EQ(doc->table().desc(), L"");
    EXPECT_DOUBLE_EQ(doc->table().lineWeights().at(11), 0.4);
    EXPECT_EQ(doc->table().lineWeightUnits(), 0);

    // With every entry in use there is no room for another.
    auto full = TableDocument::create(true);
    for (int k = 1; k <= CCustomLineweightTable::kSize; ++k)
        ASSERT_TRUE(full->setField({k - 1}, Column::Lineweight, lineweightLabel(*full, k), &why));
    TableProperties q = full->properties();
    EXPECT_EQ(full->addLineweight(q, 0.33, &why), -1);
    EXPECT_FALSE(why.empty());
}

TEST(EditorModel, SavingGoesThroughTheWriterAndKeepsOtherProgramsKeys) {
    TempDir dir;
    auto doc = openCopy(dir, "color-dependent-basic.ctb", "pens.ctb");
    ASSERT_TRUE(doc);
    wxString why;
    ASSERT_TRUE(doc->setField({0, 1, 2}, Column::Screen, "50", &why));
    const std::string original = readFile(dir.file("pens.ctb"));

    // A colour-dependent table is not written under a named table's extension,
    // and a folder that is not there leaves everything as it was.
    EXPECT_FALSE(doc->save(wxString::FromUTF8(dir.file("pens.stb")), &why));
    EXPECT_NE(why.Find(".ctb"), wxNOT_FOUND);
    EXPECT_FALSE(doc->save(wxString::FromUTF8(dir.file("no/such/pens.ctb")), &why));
    EXPECT_FALSE(why.empty());
    EXPECT_TRUE(doc->isModified());
    EXPECT_EQ(dir.entries(), std::vector<std::string>{"pens.ctb"});
    EXPECT_EQ(readFile(dir.file("pens.ctb")), original);

    ASSERT_TRUE(doc->save(doc->path(), &why)) << why.utf8_string();
    EXPECT_FALSE(doc->isModified());
    EXPECT_EQ(dir.entries(), std::vector<std::string>{"pens.ctb"});
    auto back = readBack(dir.file("pens.ctb"));
    ASSERT_TRUE(back);
    EXPECT_EQ(back->ACI().at(3)->screen(), 50);
    EXPECT_EQ(back->ACI().at(4)->screen(), 100);
    CPIAParser parser;
    ASSERT_TRUE(parser.parse(W(dir.file("pens.ctb"))));
    EXPECT_TRUE(parser.root()->find(L"pen_plotter", kPBool));
    EXPECT_TRUE(parser.root()->findBlock(L"meta"));
    EXPECT_TRUE(parser.root()->findBlock(L"_ACI_to_style"));

    // An undo after saving makes the table differ from its file again.
    ASSERT_TRUE(doc->history().Undo());
    EXPECT_TRUE(doc->isModified());
}
