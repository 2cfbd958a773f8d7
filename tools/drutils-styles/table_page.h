// One tab of the editor: a table's summary line, its grid of styles, and the
// actions on them. Each action works on the selected rows (or the row of the
// cursor when none is selected) and says in a message box why a value was
// refused; the change itself is made by the document, one undo step per action.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include <wx/panel.h>

#include "style_document.h"

class wxGrid;
class wxGridEvent;
class wxStaticText;
class wxButton;

namespace styles {

class StyleGridTable;

class TablePage : public wxPanel {
public:
    TablePage(wxWindow* parent, std::unique_ptr<TableDocument> doc);
    ~TablePage() override;

    TableDocument& document() { return *m_doc; }
    wxGrid* grid() { return m_grid; }
    // Called after every change of the table or of its saved state.
    void setStateListener(std::function<void()> listener) { m_stateListener = std::move(listener); }

    // The selected rows in order, or the cursor's row when none is selected.
    std::vector<int> selectedRows() const;
    // Sets one field of rows; a refusal is shown to the user. True when it took.
    bool applyToRows(const std::vector<int>& rows, Column column, const wxString& text);

    // The actions of the menus, the buttons and the grid's context menu.
    void editColour();
    void editField(Column column);
    void addStyle();
    void renameStyle();
    void deleteStyles();
    void editProperties();
    // Ends an edit in progress so that its value is applied before another action.
    void finishEditing();

private:
    void onChanged(TableDocument::Change what);
    void onEditorShown(wxGridEvent& event);
    void onCellChanging(wxGridEvent& event);
    void onCellDoubleClick(wxGridEvent& event);
    void onCellRightClick(wxGridEvent& event);
    void onKey(wxKeyEvent& event);
    void refreshSummary();
    void showRefusal(const wxString& title, const wxString& why);

    std::unique_ptr<TableDocument> m_doc;
    wxGrid* m_grid;
    StyleGridTable* m_table;
    wxStaticText* m_summary;
    wxButton* m_add = nullptr;
    wxButton* m_rename = nullptr;
    wxButton* m_delete = nullptr;
    std::function<void()> m_stateListener;
    // The rows an in-place edit applies to, taken when its editor opened (a
    // click that ends the edit may already have changed the selection).
    std::vector<int> m_editRows;
    int m_editRow = -1;
};

} // namespace styles
