// The grid's view of a table: one row per colour index or named style, one
// column per field (style_document.h), and the cell renderers and editors that
// fit each column. The grid never changes a table itself: the page hears of an
// edit before it is applied (wxEVT_GRID_CELL_CHANGING) and makes the change
// through the document, for every selected row at once.
#pragma once

#include <wx/grid.h>

#include "style_document.h"

namespace styles {

class StyleGridTable : public wxGridTableBase {
public:
    explicit StyleGridTable(TableDocument& doc) : m_doc(doc) {}

    int GetNumberRows() override { return m_doc.rowCount(); }
    int GetNumberCols() override { return kColumnCount; }
    wxString GetValue(int row, int col) override { return m_doc.cellText(row, Column(col)); }
    // Edits arrive as changes of the document; the grid's own write is ignored.
    void SetValue(int, int, const wxString&) override {}
    bool IsEmptyCell(int row, int col) override { return GetValue(row, col).empty(); }
    wxString GetColLabelValue(int col) override { return columnTitle(Column(col)); }
    wxString GetTypeName(int row, int col) override;
    bool CanGetValueAs(int row, int col, const wxString& typeName) override;
    bool GetValueAsBool(int row, int col) override { return m_doc.switchValue(row, Column(col)); }
    long GetValueAsLong(int row, int col) override { return m_doc.numberValue(row, Column(col)); }

    // Tells the grid that rows came or went (after a style was added, deleted,
    // or such a change was undone).
    void syncRows(wxGrid& grid);

    TableDocument& document() { return m_doc; }

private:
    TableDocument& m_doc;
    int m_shownRows = -1;
};

// Sets the renderers and editors of every column, and the lists of the choice
// columns from the document's current lineweights and values.
void setupColumns(wxGrid& grid, const TableDocument& doc);

// Draws the plotted colour: a swatch of what reaches the paper (screening
// included) beside the colour's name; hatched when it is the object's colour.
class ColourRenderer : public wxGridCellStringRenderer {
public:
    explicit ColourRenderer(const TableDocument& doc) : m_doc(doc) {}
    void Draw(wxGrid& grid, wxGridCellAttr& attr, wxDC& dc, const wxRect& rect, int row, int col,
              bool isSelected) override;
    wxSize GetBestSize(wxGrid& grid, wxGridCellAttr& attr, wxDC& dc, int row, int col) override;
    wxGridCellRenderer* Clone() const override { return new ColourRenderer(m_doc); }

private:
    const TableDocument& m_doc;
};

// The colour index of a colour-dependent table's row, with the palette colour.
class IndexRenderer : public wxGridCellStringRenderer {
public:
    explicit IndexRenderer(const TableDocument& doc) : m_doc(doc) {}
    void Draw(wxGrid& grid, wxGridCellAttr& attr, wxDC& dc, const wxRect& rect, int row, int col,
              bool isSelected) override;
    wxGridCellRenderer* Clone() const override { return new IndexRenderer(m_doc); }

private:
    const TableDocument& m_doc;
};

// A switch as a drawn tick box. The toolkit's native check box is drawn from
// its theme's vector icons, and rendering those for the first rows costs the
// editor a good part of its start-up.
class SwitchRenderer : public wxGridCellRenderer {
public:
    void Draw(wxGrid& grid, wxGridCellAttr& attr, wxDC& dc, const wxRect& rect, int row, int col,
              bool isSelected) override;
    wxSize GetBestSize(wxGrid&, wxGridCellAttr&, wxDC&, int, int) override { return wxSize(20, 20); }
    wxGridCellRenderer* Clone() const override { return new SwitchRenderer; }
};

// The lineweight's name beside a stroke of about its width.
class LineweightRenderer : public wxGridCellStringRenderer {
public:
    explicit LineweightRenderer(const TableDocument& doc) : m_doc(doc) {}
    void Draw(wxGrid& grid, wxGridCellAttr& attr, wxDC& dc, const wxRect& rect, int row, int col,
              bool isSelected) override;
    wxGridCellRenderer* Clone() const override { return new LineweightRenderer(m_doc); }

private:
    const TableDocument& m_doc;
};

} // namespace styles
