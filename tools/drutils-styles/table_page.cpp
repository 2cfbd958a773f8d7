#include "table_page.h"

#include <algorithm>

#include <wx/button.h>
#include <wx/grid.h>
#include <wx/menu.h>
#include <wx/msgdlg.h>
#include <wx/sizer.h>
#include <wx/stattext.h>
#include <wx/textdlg.h>

#include "dialogs.h"
#include "style_grid.h"

namespace styles {

namespace {

int columnWidth(Column c, bool colourDependent) {
    switch (c) {
    case Column::Style: return colourDependent ? 64 : 170;
    case Column::Colour: return 130;
    case Column::Lineweight: return 116;
    case Column::Linetype: return 130;
    case Column::Adaptive: return 78;
    case Column::Screen: return 80;
    case Column::Dither: return 60;
    case Column::Greyscale: return 88;
    case Column::Pen: return 84;
    case Column::VirtualPen: return 98;
    case Column::Fill: return 104;
    case Column::End: return 76;
    case Column::Join: return 76;
    case Column::Description: return 220;
    case Column::Count: break;
    }
    return 80;
}

enum {
    ID_SET_FIELD = wxID_HIGHEST + 100,
    ID_COLOUR,
    ID_ADD,
    ID_RENAME,
    ID_DELETE,
    ID_PROPERTIES
};

} // namespace

TablePage::TablePage(wxWindow* parent, std::unique_ptr<TableDocument> doc)
    // Made at the size it will have: the toolkit complains about a grid's
    // scroll bars laid out in the few pixels of a default-sized window.
    : wxPanel(parent, wxID_ANY, wxDefaultPosition, parent->GetClientSize()), m_doc(std::move(doc)) {
    auto* top = new wxBoxSizer(wxVERTICAL);
    auto* bar = new wxBoxSizer(wxHORIZONTAL);
    m_summary = new wxStaticText(this, wxID_ANY, wxEmptyString, wxDefaultPosition, wxDefaultSize,
                                 wxST_ELLIPSIZE_END);
    bar->Add(m_summary, 1, wxALIGN_CENTRE_VERTICAL | wxRIGHT, 8);
    if (!m_doc->colourDependent()) {
        m_add = new wxButton(this, ID_ADD, _("Add Style..."));
        m_rename = new wxButton(this, ID_RENAME, _("Rename..."));
        m_delete = new wxButton(this, ID_DELETE, _("Delete"));
        for (wxButton* b : {m_add, m_rename, m_delete})
            bar->Add(b, 0, wxRIGHT, 4);
    }
    bar->Add(new wxButton(this, ID_PROPERTIES, _("Table Properties...")), 0);
    top->Add(bar, 0, wxEXPAND | wxALL, 6);

    m_grid = new wxGrid(this, wxID_ANY);
    // The grid builds its rows from the table lazily; nothing is read up front,
    // so a table of any size opens at once.
    m_table = new StyleGridTable(*m_doc);
    m_grid->SetTable(m_table, true, wxGrid::wxGridSelectRows);
    m_grid->SetRowLabelSize(0);
    m_grid->SetColLabelSize(wxGRID_AUTOSIZE);
    m_grid->DisableDragRowSize();
    m_grid->SetDefaultRowSize(m_grid->GetCharHeight() + 12, true);
    m_grid->SetColLabelAlignment(wxALIGN_LEFT, wxALIGN_CENTRE);
    m_grid->SetDefaultCellAlignment(wxALIGN_LEFT, wxALIGN_CENTRE);
    for (int col = 0; col < kColumnCount; ++col)
        m_grid->SetColSize(col, columnWidth(Column(col), m_doc->colourDependent()));
    setupColumns(*m_grid, *m_doc);
    m_table->syncRows(*m_grid);
    top->Add(m_grid, 1, wxEXPAND);
    SetSizer(top);

    m_grid->Bind(wxEVT_GRID_EDITOR_SHOWN, &TablePage::onEditorShown, this);
    m_grid->Bind(wxEVT_GRID_CELL_CHANGING, &TablePage::onCellChanging, this);
    m_grid->Bind(wxEVT_GRID_CELL_LEFT_DCLICK, &TablePage::onCellDoubleClick, this);
    m_grid->Bind(wxEVT_GRID_CELL_RIGHT_CLICK, &TablePage::onCellRightClick, this);
    m_grid->Bind(wxEVT_KEY_DOWN, &TablePage::onKey, this);
    m_grid->Bind(wxEVT_GRID_RANGE_SELECTED, [this](wxGridRangeSelectEvent& e) {
        e.Skip();
        if (m_stateListener)
            m_stateListener();
    });
    Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { addStyle(); }, ID_ADD);
    Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { renameStyle(); }, ID_RENAME);
    Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { deleteStyles(); }, ID_DELETE);
    Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { editProperties(); }, ID_PROPERTIES);

    m_doc->setListener([this](TableDocument::Change what) { onChanged(what); });
    refreshSummary();
}

TablePage::~TablePage() {
    // The grid's table and renderers read the document: the grid goes first.
    m_doc->setListener(nullptr);
    m_grid->Destroy();
}

std::vector<int> TablePage::selectedRows() const {
    std::vector<int> rows;
    for (int r : m_grid->GetSelectedRows())
        if (r >= 0 && r < m_doc->rowCount())
            rows.push_back(r);
    std::sort(rows.begin(), rows.end());
    rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
    if (rows.empty() && m_grid->GetGridCursorRow() >= 0 && m_grid->GetGridCursorRow() < m_doc->rowCount())
        rows.push_back(m_grid->GetGridCursorRow());
    return rows;
}

void TablePage::showRefusal(const wxString& title, const wxString& why) {
    wxMessageBox(why, title, wxOK | wxICON_WARNING, this);
}

bool TablePage::applyToRows(const std::vector<int>& rows, Column column, const wxString& text) {
    wxString why;
    if (m_doc->setField(rows, column, text, &why))
        return true;
    showRefusal(wxString::Format(_("%s not changed"), columnTitle(column)), why);
    return false;
}

void TablePage::finishEditing() {
    if (m_grid->IsCellEditControlEnabled())
        m_grid->SaveEditControlValue();
    m_grid->DisableCellEditControl();
}

// ---------------------------------------------------------------- grid events

void TablePage::onEditorShown(wxGridEvent& event) {
    const Column column = Column(event.GetCol());
    if (column == Column::Style && m_doc->isNormal(event.GetRow())) {
        event.Veto(); // "Normal" keeps its name
        return;
    }
    // Selected rows share an edit started in one of them.
    std::vector<int> rows = selectedRows();
    if (std::find(rows.begin(), rows.end(), event.GetRow()) == rows.end() || column == Column::Style)
        rows = {event.GetRow()};
    m_editRows = rows;
    m_editRow = event.GetRow();
    event.Skip();
}

void TablePage::onCellChanging(wxGridEvent& event) {
    // The document makes the change (for every row of the edit) and the grid
    // shows it from there; the grid's own write is not needed.
    event.Veto();
    std::vector<int> rows;
    if (event.GetRow() == m_editRow && !m_editRows.empty()) {
        rows = m_editRows;
    } else {
        // A switch toggled by a click or the space bar opens no editor.
        rows = selectedRows();
        if (std::find(rows.begin(), rows.end(), event.GetRow()) == rows.end())
            rows = {event.GetRow()};
    }
    m_editRows.clear();
    m_editRow = -1;
    const Column column = Column(event.GetCol());
    wxString why;
    if (!m_doc->setField(rows, column, event.GetString(), &why))
        CallAfter([this, column, why] { showRefusal(wxString::Format(_("%s not changed"), columnTitle(column)), why); });
}

void TablePage::onCellDoubleClick(wxGridEvent& event) {
    if (Column(event.GetCol()) == Column::Colour) {
        editColour();
        return;
    }
    event.Skip();
}

void TablePage::onCellRightClick(wxGridEvent& event) {
    const int row = event.GetRow();
    std::vector<int> rows = selectedRows();
    if (std::find(rows.begin(), rows.end(), row) == rows.end()) {
        m_grid->SelectRow(row);
        rows = {row};
    }
    m_grid->SetGridCursor(row, event.GetCol());
    const Column column = Column(event.GetCol());
    wxMenu menu;
    const wxString count = rows.size() == 1 ? wxString(_("1 style")) : wxString::Format(_("%zu styles"), rows.size());
    if (column == Column::Colour)
        menu.Append(ID_COLOUR, wxString::Format(_("Plotted Colour of %s..."), count));
    else if (column != Column::Style)
        menu.Append(ID_SET_FIELD, wxString::Format(_("Set %s of %s..."), columnTitle(column), count));
    if (!m_doc->colourDependent()) {
        if (menu.GetMenuItemCount())
            menu.AppendSeparator();
        menu.Append(ID_ADD, _("Add Style..."));
        menu.Append(ID_RENAME, _("Rename Style..."))->Enable(rows.size() == 1 && !m_doc->isNormal(rows.front()));
        menu.Append(ID_DELETE, rows.size() == 1 ? _("Delete Style") : _("Delete Styles"));
    }
    menu.AppendSeparator();
    menu.Append(ID_PROPERTIES, _("Table Properties..."));
    menu.Bind(wxEVT_MENU, [this, column](wxCommandEvent& e) {
        switch (e.GetId()) {
        case ID_COLOUR: editColour(); break;
        case ID_SET_FIELD: editField(column); break;
        case ID_ADD: addStyle(); break;
        case ID_RENAME: renameStyle(); break;
        case ID_DELETE: deleteStyles(); break;
        case ID_PROPERTIES: editProperties(); break;
        }
    });
    PopupMenu(&menu);
}

void TablePage::onKey(wxKeyEvent& event) {
    const int key = event.GetKeyCode();
    if (Column(m_grid->GetGridCursorCol()) == Column::Colour && !m_grid->IsCellEditControlEnabled() &&
        (key == WXK_F2 || key == WXK_RETURN || key == WXK_NUMPAD_ENTER || key == WXK_SPACE)) {
        editColour();
        return;
    }
    event.Skip();
}

// ---------------------------------------------------------------- actions

void TablePage::editColour() {
    finishEditing();
    const std::vector<int> rows = selectedRows();
    if (rows.empty())
        return;
    ColourDialog dialog(this, colourOf(*m_doc->styleAt(rows.front())), int(rows.size()));
    if (dialog.ShowModal() != wxID_OK)
        return;
    wxString why;
    if (!m_doc->setColour(rows, dialog.choice(), &why))
        showRefusal(_("Colour not changed"), why);
}

void TablePage::editField(Column column) {
    if (column == Column::Colour) {
        editColour();
        return;
    }
    if (column == Column::Style) {
        renameStyle();
        return;
    }
    finishEditing();
    const std::vector<int> rows = selectedRows();
    if (rows.empty())
        return;
    FieldDialog dialog(this, *m_doc, column, m_doc->cellText(rows.front(), column), int(rows.size()));
    if (dialog.ShowModal() == wxID_OK)
        applyToRows(rows, column, dialog.value());
}

void TablePage::addStyle() {
    finishEditing();
    if (m_doc->colourDependent())
        return;
    const std::vector<int> rows = selectedRows();
    wxTextEntryDialog ask(this, _("Name of the new style:"), _("Add Style"), m_doc->freeStyleName());
    while (ask.ShowModal() == wxID_OK) {
        wxString why;
        const int row = m_doc->addStyle(ask.GetValue(), rows.empty() ? -1 : rows.back(), &why);
        if (row >= 0) {
            m_grid->ClearSelection();
            m_grid->GoToCell(row, int(Column::Style));
            m_grid->SelectRow(row);
            return;
        }
        showRefusal(_("Style not added"), why);
    }
}

void TablePage::renameStyle() {
    finishEditing();
    const std::vector<int> rows = selectedRows();
    if (m_doc->colourDependent() || rows.size() != 1)
        return;
    const int row = rows.front();
    if (m_doc->isNormal(row)) {
        showRefusal(_("Style not renamed"), _("\"Normal\" keeps its name."));
        return;
    }
    wxTextEntryDialog ask(this, _("New name of the style:"), _("Rename Style"), m_doc->cellText(row, Column::Style));
    while (ask.ShowModal() == wxID_OK) {
        wxString why;
        if (m_doc->renameStyle(row, ask.GetValue(), &why))
            return;
        showRefusal(_("Style not renamed"), why);
    }
}

void TablePage::deleteStyles() {
    finishEditing();
    if (m_doc->colourDependent())
        return;
    wxString why;
    if (!m_doc->deleteStyles(selectedRows(), &why))
        showRefusal(_("Nothing deleted"), why);
}

void TablePage::editProperties() {
    finishEditing();
    PropertiesDialog dialog(this, *m_doc);
    while (dialog.ShowModal() == wxID_OK) {
        TableProperties props;
        wxString why;
        if (dialog.collect(props, &why) && m_doc->setProperties(props, &why))
            return;
        showRefusal(_("Properties not changed"), why);
    }
}

// ---------------------------------------------------------------- showing changes

void TablePage::onChanged(TableDocument::Change what) {
    if (what == TableDocument::Change::Rows) {
        m_table->syncRows(*m_grid);
        m_grid->ClearSelection();
    }
    if (what == TableDocument::Change::Properties || what == TableDocument::Change::Rows)
        setupColumns(*m_grid, *m_doc); // the lists of lineweights and values follow the table
    m_grid->ForceRefresh();
    refreshSummary();
    if (m_stateListener)
        m_stateListener();
}

void TablePage::refreshSummary() {
    const CPlotStyleTable& t = m_doc->table();
    wxString text = m_doc->colourDependent() ? _("Colour-dependent table") : _("Named table");
    text += wxString::Format(t.size() == 1 ? _(", %d style") : _(", %d styles"), t.size());
    const wxString scale = formatScaleFactor(t.scaleFactor());
    text += wxString::Format(t.applyFactor() ? _(", scale %s (applied)") : _(", scale %s (not applied)"), scale);
    text += t.lineWeightUnits() == 1 ? _(", lineweights in inches") : _(", lineweights in millimetres");
    if (!t.desc().isEmpty())
        text += wxString(L" \u2014 ") + wxString(t.desc().c_str());
    m_summary->SetLabel(text);
    m_summary->SetToolTip(text);
}

} // namespace styles
