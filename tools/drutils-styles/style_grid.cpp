#include "style_grid.h"

#include <algorithm>
#include <cmath>

#include <wx/dc.h>
#include <wx/settings.h>

namespace styles {

namespace {

wxColour fromRgb(int rgb) { return wxColour((rgb >> 16) & 0xFF, (rgb >> 8) & 0xFF, rgb & 0xFF); }

// A small square of colour, or hatched for the object's colour.
void drawSwatch(wxDC& dc, const wxRect& box, const std::optional<int>& rgb) {
    dc.SetPen(wxPen(wxColour(110, 110, 110)));
    if (rgb) {
        dc.SetBrush(wxBrush(fromRgb(*rgb)));
        dc.DrawRectangle(box);
    } else {
        dc.SetBrush(*wxWHITE_BRUSH);
        dc.DrawRectangle(box);
        dc.SetBrush(wxBrush(wxColour(150, 150, 150), wxBRUSHSTYLE_BDIAGONAL_HATCH));
        dc.DrawRectangle(box);
    }
}

void drawText(wxGrid& grid, wxGridCellAttr& attr, wxDC& dc, const wxRect& rect, const wxString& text, bool selected) {
    dc.SetBackgroundMode(wxBRUSHSTYLE_TRANSPARENT);
    dc.SetFont(attr.GetFont());
    dc.SetTextForeground(selected ? grid.GetSelectionForeground() : attr.GetTextColour());
    grid.DrawTextRectangle(dc, text, rect, wxALIGN_LEFT, wxALIGN_CENTRE);
}

} // namespace

wxString StyleGridTable::GetTypeName(int, int col) {
    const Column c = Column(col);
    if (isSwitch(c))
        return wxGRID_VALUE_BOOL;
    if (c == Column::Screen || c == Column::Pen || c == Column::VirtualPen)
        return wxGRID_VALUE_NUMBER;
    return wxGRID_VALUE_STRING;
}

bool StyleGridTable::CanGetValueAs(int row, int col, const wxString& typeName) {
    return typeName == GetTypeName(row, col) || typeName == wxGRID_VALUE_STRING;
}

void StyleGridTable::syncRows(wxGrid& grid) {
    const int now = m_doc.rowCount();
    if (m_shownRows < 0)
        m_shownRows = now;
    if (now > m_shownRows) {
        wxGridTableMessage msg(this, wxGRIDTABLE_NOTIFY_ROWS_APPENDED, now - m_shownRows);
        grid.ProcessTableMessage(msg);
    } else if (now < m_shownRows) {
        wxGridTableMessage msg(this, wxGRIDTABLE_NOTIFY_ROWS_DELETED, now, m_shownRows - now);
        grid.ProcessTableMessage(msg);
    }
    m_shownRows = now;
}

void setupColumns(wxGrid& grid, const TableDocument& doc) {
    auto labels = [&doc](Column c) {
        wxArrayString a;
        for (const wxString& s : doc.choiceLabels(c))
            a.Add(s);
        return a;
    };
    auto attrFor = [](wxGridCellRenderer* renderer, wxGridCellEditor* editor) {
        auto* attr = new wxGridCellAttr;
        attr->SetRenderer(renderer);
        if (editor)
            attr->SetEditor(editor);
        else
            attr->SetReadOnly();
        return attr;
    };
    for (int col = 0; col < kColumnCount; ++col) {
        const Column c = Column(col);
        wxGridCellAttr* attr = nullptr;
        switch (c) {
        case Column::Style:
            attr = doc.colourDependent() ? attrFor(new IndexRenderer(doc), nullptr)
                                         : attrFor(new wxGridCellStringRenderer,
                                                   new wxGridCellTextEditor(CPlotStyleTable::kMaxNameLength));
            break;
        case Column::Colour: attr = attrFor(new ColourRenderer(doc), nullptr); break;
        case Column::Lineweight:
            attr = attrFor(new LineweightRenderer(doc), new wxGridCellChoiceEditor(labels(c)));
            break;
        case Column::Linetype:
        case Column::Fill:
        case Column::End:
        case Column::Join:
            attr = attrFor(new wxGridCellStringRenderer, new wxGridCellChoiceEditor(labels(c)));
            break;
        case Column::Adaptive:
        case Column::Dither:
        case Column::Greyscale:
            attr = attrFor(new SwitchRenderer, new wxGridCellBoolEditor);
            attr->SetAlignment(wxALIGN_CENTRE, wxALIGN_CENTRE);
            break;
        case Column::Screen: attr = attrFor(new wxGridCellStringRenderer, new wxGridCellNumberEditor(0, 100)); break;
        case Column::Pen: attr = attrFor(new wxGridCellStringRenderer, new wxGridCellNumberEditor(0, 32)); break;
        case Column::VirtualPen:
            attr = attrFor(new wxGridCellStringRenderer, new wxGridCellNumberEditor(0, 255));
            break;
        case Column::Description:
            attr = attrFor(new wxGridCellStringRenderer, new wxGridCellTextEditor);
            break;
        case Column::Count: break;
        }
        if (c == Column::Screen || c == Column::Pen || c == Column::VirtualPen)
            attr->SetAlignment(wxALIGN_RIGHT, wxALIGN_CENTRE);
        grid.SetColAttr(col, attr);
    }
}

// ---------------------------------------------------------------- renderers

void ColourRenderer::Draw(wxGrid& grid, wxGridCellAttr& attr, wxDC& dc, const wxRect& rect, int row, int col,
                          bool isSelected) {
    wxGridCellRenderer::Draw(grid, attr, dc, rect, row, col, isSelected);
    const CPlotStyle* s = m_doc.styleAt(row);
    if (!s)
        return;
    std::optional<int> rgb = plottedRgb(*s, m_doc.colourIndexOf(row));
    if (rgb)
        rgb = screened(*rgb, s->screen());
    const int side = std::max(6, rect.height - 8);
    drawSwatch(dc, wxRect(rect.x + 4, rect.y + (rect.height - side) / 2, side * 2, side), rgb);
    wxRect text = rect;
    text.x += side * 2 + 10;
    text.width -= side * 2 + 10;
    drawText(grid, attr, dc, text, m_doc.cellText(row, Column(col)), isSelected);
}

wxSize ColourRenderer::GetBestSize(wxGrid& grid, wxGridCellAttr& attr, wxDC& dc, int row, int col) {
    wxSize size = wxGridCellStringRenderer::GetBestSize(grid, attr, dc, row, col);
    size.x += 2 * size.y + 10;
    return size;
}

void IndexRenderer::Draw(wxGrid& grid, wxGridCellAttr& attr, wxDC& dc, const wxRect& rect, int row, int col,
                         bool isSelected) {
    wxGridCellRenderer::Draw(grid, attr, dc, rect, row, col, isSelected);
    const int index = m_doc.colourIndexOf(row);
    const int side = std::max(6, rect.height - 10);
    drawSwatch(dc, wxRect(rect.x + 4, rect.y + (rect.height - side) / 2, side, side),
               std::optional<int>(CPlotStyle::paletteRgb(index)));
    wxRect text = rect;
    text.x += side + 10;
    text.width -= side + 10;
    drawText(grid, attr, dc, text, wxString::Format("%d", index), isSelected);
}

void SwitchRenderer::Draw(wxGrid& grid, wxGridCellAttr& attr, wxDC& dc, const wxRect& rect, int row, int col,
                          bool isSelected) {
    wxGridCellRenderer::Draw(grid, attr, dc, rect, row, col, isSelected);
    const int side = std::min(14, std::min(rect.width, rect.height) - 4);
    if (side < 6)
        return;
    const wxRect box(rect.x + (rect.width - side) / 2, rect.y + (rect.height - side) / 2, side, side);
    const bool on = grid.GetTable()->GetValueAsBool(row, col);
    const wxColour ink = isSelected ? grid.GetSelectionForeground() : wxColour(60, 60, 60);
    dc.SetPen(wxPen(ink));
    dc.SetBrush(on ? wxBrush(wxColour(53, 132, 228)) : *wxWHITE_BRUSH);
    dc.DrawRoundedRectangle(box, 2);
    if (!on)
        return;
    wxPen tick(*wxWHITE, std::max(2, side / 6));
    tick.SetCap(wxCAP_ROUND);
    dc.SetPen(tick);
    const wxPoint a(box.x + side * 3 / 14, box.y + side * 7 / 14), b(box.x + side * 6 / 14, box.y + side * 10 / 14),
        c(box.x + side * 11 / 14, box.y + side * 4 / 14);
    dc.DrawLine(a, b);
    dc.DrawLine(b, c);
}

void LineweightRenderer::Draw(wxGrid& grid, wxGridCellAttr& attr, wxDC& dc, const wxRect& rect, int row, int col,
                              bool isSelected) {
    wxGridCellRenderer::Draw(grid, attr, dc, rect, row, col, isSelected);
    const wxString text = m_doc.cellText(row, Column(col));
    drawText(grid, attr, dc, rect.Deflate(2, 0), text, isSelected);
    const CPlotStyle* s = m_doc.styleAt(row);
    const double mm = s ? m_doc.table().lineWeights().forStyle(s->lineWeight()) : -1;
    if (mm < 0)
        return;
    // About four pixels to the millimetre: thin pens stay a hairline, thick ones
    // stand out without filling the row.
    const int width = std::clamp(int(std::lround(mm * 4)), 1, std::max(1, rect.height - 8));
    const int left = rect.x + dc.GetTextExtent(text).x + 12, right = rect.GetRight() - 6;
    if (right - left < 12)
        return;
    wxPen stroke(isSelected ? grid.GetSelectionForeground() : *wxBLACK, width, wxPENSTYLE_SOLID);
    stroke.SetCap(wxCAP_BUTT);
    dc.SetPen(stroke);
    const int y = rect.y + rect.height / 2;
    dc.DrawLine(left, y, right, y);
}

} // namespace styles
