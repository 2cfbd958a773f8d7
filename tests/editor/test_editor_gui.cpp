// The editor's windows on a real (virtual) display: rows are selected with the
// UI action simulator, cells are edited through the grid's own editors, menu
// commands go through the frame's handlers, and every dialog is answered
// through wxTEST_DIALOG. Files are checked with the library afterwards.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <wx/app.h>
#include <wx/combobox.h>
#include <wx/dcmemory.h>
#include <wx/dcscreen.h>
#include <wx/dnd.h>
#include <wx/fileconf.h>
#include <wx/grid.h>
#include <wx/image.h>
#include <wx/notebook.h>
#include <wx/testing.h>
#include <wx/textctrl.h>
#include <wx/textdlg.h>
#include <wx/uiaction.h>
#include <wx/utils.h>

#include "dialogs.h"
#include "main_frame.h"
#include "pia.h"
#include "table_page.h"
#include "test_support.h"

using namespace testing_support;
using namespace styles;
namespace fs = std::filesystem;

namespace {

// Answers a dialog of type D by what act does with it.
template <class D> class Answer : public wxExpectModalBase<D, Answer<D>> {
public:
    explicit Answer(std::function<int(D*)> act) : m_act(std::move(act)) {}

protected:
    int OnInvoked(D* dialog) const override { return m_act(dialog); }

private:
    std::function<int(D*)> m_act;
};

Answer<wxTextEntryDialog> typeText(const wxString& text, int button = wxID_OK) {
    return Answer<wxTextEntryDialog>([text, button](wxTextEntryDialog* d) {
        d->SetValue(text);
        return button;
    });
}

const wxExpectModal<wxMessageDialog> kMessage(wxID_OK);

// Lets the toolkit and the pending calls run until done() holds (the X server
// answers in its own time); false when it never does.
bool waitFor(const std::function<bool()>& done, int milliseconds = 5000) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    while (!done()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        wxTheApp->ProcessPendingEvents();
        wxYield();
        wxMilliSleep(5);
    }
    return true;
}

void settle(int rounds = 10) {
    for (int i = 0; i < rounds; ++i) {
        wxTheApp->ProcessPendingEvents();
        wxYield();
        wxMilliSleep(5);
    }
}

void menu(wxFrame* frame, int id) {
    wxCommandEvent event(wxEVT_MENU, id);
    event.SetEventObject(frame);
    frame->ProcessWindowEvent(event);
}

wxString tabLabel(TablePage* page) {
    auto* book = wxDynamicCast(page->GetParent(), wxNotebook);
    return book ? book->GetPageText(size_t(book->FindPage(page))) : wxString();
}

wxPoint cellCentreOnScreen(wxGrid* grid, int row, int col) {
    const wxRect r = grid->CellToRect(row, col);
    const wxPoint logical = r.GetPosition() + wxPoint(r.width / 2, r.height / 2);
    return grid->GetGridWindow()->ClientToScreen(grid->CalcScrolledPosition(logical));
}

// Puts text into the in-place editor of a cell, as a user's choice or typing
// would, and ends the edit as moving away does.
void editCell(wxGrid* grid, int row, int col, const wxString& text) {
    grid->SetGridCursor(row, col);
    grid->EnableCellEditControl();
    ASSERT_TRUE(grid->IsCellEditControlShown());
    wxGridCellEditor* editor = grid->GetCellEditor(row, col);
    if (auto* combo = wxDynamicCast(editor->GetControl(), wxComboBox))
        ASSERT_TRUE(combo->SetStringSelection(text)) << text.utf8_string();
    else if (auto* entry = wxDynamicCast(editor->GetControl(), wxTextCtrl))
        entry->SetValue(text);
    else
        ADD_FAILURE() << "no editor control for column " << col;
    editor->DecRef();
    grid->SaveEditControlValue();
    grid->DisableCellEditControl();
}

class EditorWindow : public ::testing::Test {
protected:
    void SetUp() override {
        m_frame = new MainFrame(m_settings.get());
        m_frame->SetSize(1180, 720);
        m_frame->Move(0, 0);
        m_frame->Show();
        ASSERT_TRUE(waitFor([this] { return m_frame->IsShownOnScreen(); }));
    }
    void TearDown() override {
        // Unsaved changes of a test are dropped without asking. Hidden first, so
        // that the toolkit does not lay out the windows being taken apart.
        m_frame->Hide();
        m_frame->Destroy();
        settle(3);
        wxTheApp->ProcessIdle();
    }
    TablePage* open(const std::string& path) {
        wxString why;
        TablePage* page = m_frame->openFile(wxString::FromUTF8(path), &why);
        EXPECT_TRUE(page) << why.utf8_string();
        settle();
        return page;
    }
    std::string copy(const std::string& sample, const std::string& as) {
        fs::copy_file(dataFile(sample), m_dir.file(as));
        return m_dir.file(as);
    }

    TempDir m_dir;
    std::unique_ptr<wxFileConfig> m_settings =
        std::make_unique<wxFileConfig>("test", "", m_dir.file("settings.conf"), "", wxCONFIG_USE_LOCAL_FILE);
    MainFrame* m_frame = nullptr;
};

} // namespace

TEST_F(EditorWindow, LineweightOfThreeSelectedColoursThenUndoOneAndSave) {
    const std::string path = copy("color-dependent-basic.ctb", "pens.ctb");
    TablePage* page = open(path);
    ASSERT_TRUE(page);
    TableDocument& doc = page->document();
    wxGrid* grid = page->grid();
    const int lw = int(Column::Lineweight);
    const std::vector<wxString> labels = doc.choiceLabels(Column::Lineweight);
    // Two entries that none of colours 1 to 3 uses yet.
    const int first = 20, second = 25;
    for (int row : {0, 1, 2})
        ASSERT_NE(doc.styleAt(row)->lineWeight(), first);

    // Colours 1 to 3 selected as a user does it: a click, then Shift+Down twice.
    wxUIActionSimulator sim;
    sim.MouseMove(cellCentreOnScreen(grid, 0, lw));
    settle(3);
    sim.MouseClick();
    ASSERT_TRUE(waitFor([&] { return grid->GetGridCursorRow() == 0; }));
    for (int i = 0; i < 2; ++i) {
        sim.Char(WXK_DOWN, wxMOD_SHIFT);
        settle(3);
    }
    ASSERT_TRUE(waitFor([&] { return page->selectedRows() == std::vector<int>{0, 1, 2}; }))
        << "selected: " << page->selectedRows().size() << " rows";

    // The lineweight chosen in one cell of the selection is set for all three, in one step.
    editCell(grid, grid->GetGridCursorRow(), lw, labels[size_t(first)]);
    for (int row : {0, 1, 2})
        EXPECT_EQ(doc.styleAt(row)->lineWeight(), first) << "colour " << row + 1;
    EXPECT_EQ(doc.history().GetCommands().GetCount(), 1u);
    EXPECT_TRUE(tabLabel(page).StartsWith("*"));
    EXPECT_TRUE(m_frame->GetTitle().StartsWith("*"));

    // Colour 3 alone gets another lineweight through the field dialog; Undo takes back that one step.
    grid->ClearSelection();
    grid->SetGridCursor(2, lw);
    grid->SelectRow(2);
    auto setOne = [&] { page->editField(Column::Lineweight); };
    wxTEST_DIALOG(setOne(), Answer<FieldDialog>([&](FieldDialog* d) {
                      d->setValue(labels[size_t(second)]);
                      return wxID_OK;
                  }));
    EXPECT_EQ(doc.styleAt(2)->lineWeight(), second);
    menu(m_frame, wxID_UNDO);
    EXPECT_EQ(doc.styleAt(2)->lineWeight(), first);
    EXPECT_TRUE(doc.history().CanRedo());

    // Colours 1 and 2 get palette colour 30, chosen in the colour dialog that
    // Enter on a colour cell opens.
    grid->ClearSelection();
    grid->SelectRow(0);
    grid->SelectRow(1, true);
    grid->SetGridCursor(1, int(Column::Colour));
    grid->SetFocus();
    settle();
    auto pickColour = [&] {
        sim.Char(WXK_RETURN);
        settle();
    };
    wxTEST_DIALOG(pickColour(), Answer<ColourDialog>([](ColourDialog* d) {
                      d->setChoice(ColourChoice{ColourChoice::Index, 30, 0});
                      return wxID_OK;
                  }));
    for (int row : {0, 1})
        EXPECT_EQ(colourOf(*doc.styleAt(row)), (ColourChoice{ColourChoice::Index, 30, 0})) << "colour " << row + 1;
    EXPECT_EQ(colourOf(*doc.styleAt(2)).kind, colourOf(*doc.styleAt(3)).kind);

    menu(m_frame, wxID_SAVE);
    EXPECT_FALSE(doc.isModified());
    EXPECT_FALSE(tabLabel(page).StartsWith("*"));
    EXPECT_EQ(m_dir.entries(), (std::vector<std::string>{"pens.ctb", "settings.conf"}));

    // The file, read by the library: colours 1-3 changed, every other style as it was,
    // and the keys of the program that wrote it still there.
    OdString why;
    std::unique_ptr<CPlotStyleTable> saved(CPlotStyleTable::read(W(path), &why));
    std::unique_ptr<CPlotStyleTable> original(CPlotStyleTable::read(W(dataFile("color-dependent-basic.ctb")), &why));
    ASSERT_TRUE(saved && original) << U(why);
    for (int k = 1; k <= CAciTable::kSize; ++k) {
        if (k <= 3) {
            EXPECT_EQ(saved->ACI().at(k)->lineWeight(), first) << "colour " << k;
            EXPECT_EQ(colourOf(*saved->ACI().at(k)).index == 30, k <= 2) << "colour " << k;
        } else {
            EXPECT_TRUE(saved->ACI().at(k)->isEqual(*original->ACI().at(k), true)) << "colour " << k;
        }
    }
    CPIAParser parser;
    ASSERT_TRUE(parser.parse(W(path)));
    EXPECT_TRUE(parser.root()->find(L"pen_plotter", kPBool));
    EXPECT_TRUE(parser.root()->findBlock(L"meta"));
}

TEST_F(EditorWindow, AddAndDeleteAStyleOfANamedTable) {
    const std::string path = copy("named-small.stb", "office.stb");
    TablePage* page = open(path);
    ASSERT_TRUE(page);
    TableDocument& doc = page->document();
    wxGrid* grid = page->grid();
    const int before = doc.rowCount();
    ASSERT_EQ(doc.cellText(0, Column::Style), "Normal");

    // Added after the selected row, under the name typed; a name in use is
    // refused with the reason and the name can be typed again.
    grid->SetGridCursor(0, 0);
    grid->SelectRow(0);
    auto add = [&] { page->addStyle(); };
    wxTEST_DIALOG(add(), typeText("Normal"), kMessage, typeText("Hatch pen"));
    ASSERT_EQ(doc.rowCount(), before + 1);
    EXPECT_EQ(doc.cellText(1, Column::Style), "Hatch pen");
    EXPECT_EQ(page->selectedRows(), std::vector<int>{1});
    EXPECT_EQ(grid->GetNumberRows(), before + 1);
    menu(m_frame, wxID_SAVE);
    {
        std::unique_ptr<CPlotStyleTable> file(CPlotStyleTable::read(W(path)));
        ASSERT_TRUE(file);
        EXPECT_EQ(file->size(), before + 1);
        EXPECT_TRUE(file->find(L"Hatch_pen"));
    }

    // "Normal" is neither renamed in its cell nor deleted.
    grid->SetGridCursor(0, int(Column::Style));
    grid->EnableCellEditControl();
    EXPECT_FALSE(grid->IsCellEditControlShown());
    grid->SelectRow(0);
    auto remove = [&] { page->deleteStyles(); };
    wxTEST_DIALOG(remove(), kMessage);
    EXPECT_EQ(doc.rowCount(), before + 1);

    grid->SetGridCursor(1, 0);
    grid->SelectRow(1);
    page->deleteStyles();
    EXPECT_EQ(doc.rowCount(), before);
    EXPECT_EQ(grid->GetNumberRows(), before);
    menu(m_frame, wxID_SAVE);
    {
        std::unique_ptr<CPlotStyleTable> file(CPlotStyleTable::read(W(path)));
        ASSERT_TRUE(file);
        EXPECT_EQ(file->size(), before);
        EXPECT_FALSE(file->find(L"Hatch_pen"));
        EXPECT_EQ(file->style(0)->name(), L"Normal");
    }
    // Undo brings the style back at its place, and the grid shows it.
    menu(m_frame, wxID_UNDO);
    EXPECT_EQ(grid->GetNumberRows(), before + 1);
    EXPECT_EQ(grid->GetCellValue(1, int(Column::Style)), "Hatch pen");
    EXPECT_TRUE(doc.isModified());
}

TEST_F(EditorWindow, RefusesADescriptionWithALineBreak) {
    const std::string path = copy("color-dependent-factory.ctb", "factory.ctb");
    TablePage* page = open(path);
    ASSERT_TRUE(page);
    TableDocument& doc = page->document();
    wxGrid* grid = page->grid();

    // A style's description, typed into its cell (as pasted text brings a line
    // break): refused with a message once the edit ends, the style unchanged.
    auto typeIt = [&] {
        grid->SetGridCursor(4, int(Column::Description));
        grid->EnableCellEditControl();
        wxGridCellEditor* editor = grid->GetCellEditor(4, int(Column::Description));
        auto* entry = wxDynamicCast(editor->GetControl(), wxTextCtrl);
        editor->DecRef();
        ASSERT_TRUE(entry);
        entry->SetValue("first line\nsecond line");
        wxString text = entry->GetValue();
        if (text.Find('\n') == wxNOT_FOUND) {
            // The entry drops line breaks when set; hand the grid the text as it
            // arrives from a paste instead.
            grid->DisableCellEditControl();
            wxGridEvent changing(grid->GetId(), wxEVT_GRID_CELL_CHANGING, grid, 4, int(Column::Description));
            changing.SetString("first line\nsecond line");
            grid->ProcessWindowEvent(changing);
        } else {
            grid->SaveEditControlValue();
            grid->DisableCellEditControl();
        }
        settle();
    };
    wxTEST_DIALOG(typeIt(), kMessage);
    EXPECT_EQ(doc.styleAt(4)->desc(), L"");
    EXPECT_FALSE(doc.isModified());

    // The table's description, in its properties: refused, the dialog comes back
    // with what was typed, and Cancel leaves the table as it was.
    auto properties = [&] { page->editProperties(); };
    wxTEST_DIALOG(properties(),
                  Answer<PropertiesDialog>([](PropertiesDialog* d) {
                      d->setDescription("Plotter pens\r\nfor A0");
                      return wxID_OK;
                  }),
                  kMessage, Answer<PropertiesDialog>([](PropertiesDialog*) { return wxID_CANCEL; }));
    EXPECT_EQ(doc.table().desc(), L"");
    EXPECT_FALSE(doc.isModified());

    // One line is taken.
    wxTEST_DIALOG(properties(), Answer<PropertiesDialog>([](PropertiesDialog* d) {
                      d->setDescription("Plotter pens for A0");
                      return wxID_OK;
                  }));
    EXPECT_EQ(doc.table().desc(), L"Plotter pens for A0");
}

TEST_F(EditorWindow, TablePropertiesEditAndAddLineweightsInTheShownUnits) {
    const std::string path = copy("color-dependent-factory.ctb", "factory.ctb");
    TablePage* page = open(path);
    ASSERT_TRUE(page);
    TableDocument& doc = page->document();
    wxString why;
    ASSERT_TRUE(doc.setField({0}, Column::Lineweight, doc.choiceLabels(Column::Lineweight)[9], &why)); // 0.25 mm

    auto properties = [&] { page->editProperties(); };
    wxTEST_DIALOG(properties(), Answer<PropertiesDialog>([](PropertiesDialog* d) {
                      wxString reason;
                      d->setUnits(1);
                      // 0.0125 in is 0.3175 mm: it replaces 0.30 mm, the nearest that no style uses.
                      EXPECT_TRUE(d->addLineweight("0.0125", &reason)) << reason.utf8_string();
                      EXPECT_TRUE(d->setLineweightText(0, "0.001", &reason)) << reason.utf8_string();
                      EXPECT_FALSE(d->setLineweightText(1, "5 in", &reason)); // 127 mm
                      d->setScaleText("2,5");
                      return wxID_OK;
                  }));
    const CCustomLineweightTable& lw = doc.table().lineWeights();
    EXPECT_DOUBLE_EQ(lw.at(9), 0.3175);
    EXPECT_DOUBLE_EQ(lw.at(0), 0.0254);
    // Entries read from the file come back in the single precision the file is read with.
    EXPECT_NEAR(lw.at(1), 0.05, 1e-6);
    EXPECT_NEAR(lw.at(8), 0.25, 1e-6);
    EXPECT_EQ(doc.table().lineWeightUnits(), 1);
    EXPECT_DOUBLE_EQ(doc.table().scaleFactor(), 2.5);
    // The grid and its list of lineweights follow the units.
    EXPECT_EQ(page->grid()->GetCellValue(0, int(Column::Lineweight)), "0.0098 in");
    EXPECT_EQ(doc.choiceLabels(Column::Lineweight)[10], "0.0125 in");
    // One step, undone whole.
    menu(m_frame, wxID_UNDO);
    EXPECT_NEAR(lw.at(9), 0.3, 1e-6);
    EXPECT_EQ(doc.table().lineWeightUnits(), 0);
    EXPECT_EQ(page->grid()->GetCellValue(0, int(Column::Lineweight)), "0.25 mm");
}

TEST_F(EditorWindow, OpensFromTheCommandLineDropsAndRecentFiles) {
    const std::string a = copy("color-dependent-factory.ctb", "a.ctb");
    const std::string b = copy("named-factory.stb", "b.stb");
    const std::string c = copy("named-small.stb", "c.stb");
    wxArrayString files;
    files.Add(wxString::FromUTF8(a));
    files.Add(wxString::FromUTF8(b));
    files.Add(wxString::FromUTF8(a)); // once is enough
    m_frame->openFiles(files);
    ASSERT_EQ(m_frame->pageCount(), 2u);
    EXPECT_EQ(tabLabel(m_frame->page(0)), "a.ctb");
    EXPECT_EQ(m_frame->currentPage(), m_frame->page(0));

    // Dropped files open once the drop is over; one that is no table is named
    // with its reason, and the others still open.
    const std::string junk = m_dir.file("junk.ctb");
    writeFile(junk, "not a table");
    wxArrayString dropped;
    dropped.Add(wxString::FromUTF8(c));
    dropped.Add(wxString::FromUTF8(junk));
    auto* target = dynamic_cast<wxFileDropTarget*>(m_frame->GetDropTarget());
    ASSERT_TRUE(target);
    auto drop = [&] {
        EXPECT_TRUE(target->OnDropFiles(10, 10, dropped));
        settle();
    };
    wxTEST_DIALOG(drop(), kMessage);
    ASSERT_EQ(m_frame->pageCount(), 3u);
    EXPECT_EQ(tabLabel(m_frame->currentPage()), "c.stb");

    // The recent files list the opened tables, newest first, and outlive the window.
    wxFileHistory& recent = m_frame->recentFiles();
    ASSERT_EQ(recent.GetCount(), 3u);
    EXPECT_EQ(recent.GetHistoryFile(0), wxString::FromUTF8(c));
    auto* second = new MainFrame(m_settings.get());
    EXPECT_EQ(second->recentFiles().GetCount(), 3u);
    EXPECT_EQ(second->recentFiles().GetHistoryFile(2), wxString::FromUTF8(a));
    second->Destroy();

    // Closing a changed table asks; Cancel keeps it, closing without saving drops it.
    TablePage* page = m_frame->page(0);
    wxString why;
    ASSERT_TRUE(page->document().setField({0}, Column::Screen, "40", &why));
    auto close = [&] { return m_frame->closePage(page); };
    bool closed = true;
    wxTEST_DIALOG(closed = close(), wxExpectModal<wxMessageDialog>(wxID_CANCEL));
    EXPECT_FALSE(closed);
    EXPECT_EQ(m_frame->pageCount(), 3u);
    wxTEST_DIALOG(closed = close(), wxExpectModal<wxMessageDialog>(wxID_NO));
    EXPECT_TRUE(closed);
    EXPECT_EQ(m_frame->pageCount(), 2u);
    EXPECT_EQ(readFile(a), readFile(dataFile("color-dependent-factory.ctb")));

    // A recent file opens again from its menu entry; a.ctb is the third newest.
    menu(m_frame, wxID_FILE3);
    ASSERT_EQ(m_frame->pageCount(), 3u);
    EXPECT_EQ(tabLabel(m_frame->currentPage()), "a.ctb");

    // Closing the window asks about each changed table; Cancel keeps the window.
    ASSERT_TRUE(m_frame->currentPage()->document().setField({1}, Column::Screen, "40", &why));
    auto quit = [&] { m_frame->Close(); };
    wxTEST_DIALOG(quit(), wxExpectModal<wxMessageDialog>(wxID_CANCEL));
    EXPECT_EQ(m_frame->pageCount(), 3u);
    EXPECT_TRUE(m_frame->IsShown());
}

TEST_F(EditorWindow, ConvertsAndRefusesWhatTheFileCannotTake) {
    const std::string path = copy("color-dependent-custom.ctb", "custom.ctb");
    TablePage* page = open(path);
    ASSERT_TRUE(page);

    // A colour-dependent table is not written as a .stb, and a file that cannot
    // be written keeps what it held (here a folder where the file would go).
    auto saveAs = [&](const std::string& to) { return m_frame->saveAs(page, wxString::FromUTF8(to)); };
    bool saved = true;
    wxTEST_DIALOG(saved = saveAs(m_dir.file("custom.stb")), kMessage);
    EXPECT_FALSE(saved);
    fs::create_directory(m_dir.file("taken.ctb"));
    wxTEST_DIALOG(saved = saveAs(m_dir.file("taken.ctb")), kMessage);
    EXPECT_FALSE(saved);
    EXPECT_TRUE(fs::is_directory(m_dir.file("taken.ctb")));
    EXPECT_TRUE(fs::is_empty(m_dir.file("taken.ctb")));
    // Without an extension the table's own is added. (The menu's file dialog
    // cannot be answered in a test: the toolkit's chooser takes a path set
    // without showing it only later.)
    EXPECT_TRUE(saveAs(m_dir.file("copy")));
    EXPECT_TRUE(fs::exists(m_dir.file("copy.ctb")));
    EXPECT_EQ(page->document().path(), wxString::FromUTF8(m_dir.file("copy.ctb")));
    EXPECT_EQ(m_frame->recentFiles().GetHistoryFile(0), wxString::FromUTF8(m_dir.file("copy.ctb")));

    // Convert writes a named table and opens it.
    TablePage* named = m_frame->convertTo(page, wxString::FromUTF8(m_dir.file("custom")));
    ASSERT_TRUE(named);
    EXPECT_EQ(m_frame->currentPage(), named);
    EXPECT_FALSE(named->document().colourDependent());
    EXPECT_FALSE(named->document().isModified());
    std::unique_ptr<CPlotStyleTable> file(CPlotStyleTable::read(W(m_dir.file("custom.stb"))));
    ASSERT_TRUE(file);
    EXPECT_FALSE(file->useACI());
    EXPECT_TRUE(file->hasACI());
    EXPECT_EQ(file->style(0)->name(), L"Normal");
    EXPECT_EQ(file->size(), named->document().rowCount());
}

TEST_F(EditorWindow, ScreenshotOfTheFactoryTable) {
    const std::string path = copy("color-dependent-factory.ctb", "factory.ctb");
    TablePage* page = open(path);
    ASSERT_TRUE(page);
    bool painted = false;
    page->grid()->GetGridWindow()->Bind(wxEVT_PAINT, [&painted](wxPaintEvent& e) {
        painted = true;
        e.Skip();
    });
    page->grid()->GetGridWindow()->Refresh();
    ASSERT_TRUE(waitFor([&] { return painted; }));
    settle(20);

    // The whole window, menus and tabs included, as it is on the screen.
    const wxRect area = m_frame->GetScreenRect();
    wxBitmap shot(area.GetSize());
    {
        wxScreenDC screen;
        wxMemoryDC memory(shot);
        ASSERT_TRUE(memory.Blit(0, 0, area.width, area.height, &screen, area.x, area.y));
    }
    const std::string folder = DRUTILS_EDITOR_SCREENSHOTS;
    fs::create_directories(folder);
    const std::string file = folder + "/drutils-styles-factory.png";
    ASSERT_TRUE(shot.SaveFile(wxString::FromUTF8(file), wxBITMAP_TYPE_PNG));

    // What it shows: colour 1's swatch is red (the factory table plots each
    // colour in itself), colour 5's blue.
    const wxImage image = shot.ConvertToImage();
    wxGrid* grid = page->grid();
    for (const auto& [row, rgb] : {std::pair{0, 0xFF0000}, std::pair{4, 0x0000FF}}) {
        const wxRect cell = grid->CellToRect(row, int(Column::Colour));
        const int side = std::max(6, cell.height - 8);
        const wxPoint on = grid->GetGridWindow()->ClientToScreen(
            grid->CalcScrolledPosition(wxPoint(cell.x + 4 + side, cell.y + cell.height / 2)));
        const int x = on.x - area.x, y = on.y - area.y;
        ASSERT_TRUE(x >= 0 && y >= 0 && x < image.GetWidth() && y < image.GetHeight());
        const int got = (image.GetRed(x, y) << 16) | (image.GetGreen(x, y) << 8) | image.GetBlue(x, y);
        EXPECT_EQ(got, rgb) << "colour " << row + 1;
    }
}
