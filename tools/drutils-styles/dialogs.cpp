#include "dialogs.h"

#include <functional>

#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/choice.h>
#include <wx/clrpicker.h>
#include <wx/dcbuffer.h>
#include <wx/grid.h>
#include <wx/msgdlg.h>
#include <wx/radiobox.h>
#include <wx/radiobut.h>
#include <wx/sizer.h>
#include <wx/spinctrl.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>
#include <wx/textdlg.h>

namespace styles {

namespace {

wxColour fromRgb(int rgb) { return wxColour((rgb >> 16) & 0xFF, (rgb >> 8) & 0xFF, rgb & 0xFF); }

wxString stylesPhrase(int rows) {
    return rows == 1 ? wxString(_("1 style")) : wxString::Format(_("%d styles"), rows);
}

} // namespace

// The 255 colours of the standard palette, 17 to a line; a click picks one.
class PaletteControl : public wxWindow {
public:
    static constexpr int kColumns = 17, kLines = 15, kCell = 15;

    PaletteControl(wxWindow* parent, std::function<void(int)> picked)
        : wxWindow(parent, wxID_ANY, wxDefaultPosition, wxSize(kColumns * kCell + 1, kLines * kCell + 1)),
          m_picked(std::move(picked)) {
        SetBackgroundStyle(wxBG_STYLE_PAINT);
        SetMinSize(GetSize());
        Bind(wxEVT_PAINT, &PaletteControl::onPaint, this);
        Bind(wxEVT_LEFT_DOWN, [this](wxMouseEvent& e) {
            const int c = e.GetX() / kCell, l = e.GetY() / kCell;
            const int index = l * kColumns + c + 1;
            if (c < kColumns && l < kLines && index <= 255 && m_picked)
                m_picked(index);
        });
    }
    void select(int index) {
        m_selected = index;
        Refresh();
    }

private:
    void onPaint(wxPaintEvent&) {
        wxAutoBufferedPaintDC dc(this);
        dc.SetBackground(wxBrush(GetBackgroundColour()));
        dc.Clear();
        for (int index = 1; index <= 255; ++index) {
            const int c = (index - 1) % kColumns, l = (index - 1) / kColumns;
            dc.SetPen(wxPen(wxColour(90, 90, 90)));
            dc.SetBrush(wxBrush(fromRgb(CPlotStyle::paletteRgb(index))));
            dc.DrawRectangle(c * kCell, l * kCell, kCell + 1, kCell + 1);
        }
        if (m_selected >= 1 && m_selected <= 255) {
            const int c = (m_selected - 1) % kColumns, l = (m_selected - 1) / kColumns;
            dc.SetBrush(*wxTRANSPARENT_BRUSH);
            dc.SetPen(wxPen(*wxBLACK, 2));
            dc.DrawRectangle(c * kCell - 1, l * kCell - 1, kCell + 3, kCell + 3);
            dc.SetPen(wxPen(*wxWHITE, 1));
            dc.DrawRectangle(c * kCell + 1, l * kCell + 1, kCell - 1, kCell - 1);
        }
    }
    std::function<void(int)> m_picked;
    int m_selected = 0;
};

// ---------------------------------------------------------------- colour

ColourDialog::ColourDialog(wxWindow* parent, const ColourChoice& initial, int rows)
    : wxDialog(parent, wxID_ANY, wxString::Format(_("Plotted Colour of %s"), stylesPhrase(rows))) {
    auto* top = new wxBoxSizer(wxVERTICAL);
    m_object = new wxRadioButton(this, wxID_ANY, _("&Object colour: each object plots in its own colour"),
                                 wxDefaultPosition, wxDefaultSize, wxRB_GROUP);
    m_index = new wxRadioButton(this, wxID_ANY, _("&Palette index:"));
    m_true = new wxRadioButton(this, wxID_ANY, _("&True colour:"));
    m_indexSpin = new wxSpinCtrl(this, wxID_ANY, wxEmptyString, wxDefaultPosition, wxDefaultSize, wxSP_ARROW_KEYS, 1,
                                 255, 7);
    m_palette = new PaletteControl(this, [this](int index) {
        m_indexSpin->SetValue(index);
        m_index->SetValue(true);
        showPreview();
    });
    m_picker = new wxColourPickerCtrl(this, wxID_ANY, *wxBLACK);
    m_preview = new wxStaticText(this, wxID_ANY, wxEmptyString);

    top->Add(m_object, 0, wxALL, 8);
    auto* indexLine = new wxBoxSizer(wxHORIZONTAL);
    indexLine->Add(m_index, 0, wxALIGN_CENTRE_VERTICAL);
    indexLine->Add(m_indexSpin, 0, wxLEFT | wxALIGN_CENTRE_VERTICAL, 8);
    top->Add(indexLine, 0, wxLEFT | wxRIGHT, 8);
    top->Add(m_palette, 0, wxLEFT | wxTOP | wxBOTTOM, 8);
    auto* trueLine = new wxBoxSizer(wxHORIZONTAL);
    trueLine->Add(m_true, 0, wxALIGN_CENTRE_VERTICAL);
    trueLine->Add(m_picker, 0, wxLEFT | wxALIGN_CENTRE_VERTICAL, 8);
    top->Add(trueLine, 0, wxLEFT | wxRIGHT | wxBOTTOM, 8);
    top->Add(m_preview, 0, wxALL, 8);
    top->Add(CreateSeparatedButtonSizer(wxOK | wxCANCEL), 0, wxEXPAND | wxALL, 8);
    SetSizerAndFit(top);

    for (wxRadioButton* b : {m_object, m_index, m_true})
        b->Bind(wxEVT_RADIOBUTTON, [this](wxCommandEvent&) { showPreview(); });
    m_indexSpin->Bind(wxEVT_SPINCTRL, [this](wxSpinEvent&) {
        m_index->SetValue(true);
        showPreview();
    });
    m_picker->Bind(wxEVT_COLOURPICKER_CHANGED, [this](wxColourPickerEvent&) {
        m_true->SetValue(true);
        showPreview();
    });
    setChoice(initial);
}

ColourChoice ColourDialog::choice() const {
    ColourChoice c;
    if (m_index->GetValue()) {
        c.kind = ColourChoice::Index;
        c.index = m_indexSpin->GetValue();
    } else if (m_true->GetValue()) {
        const wxColour col = m_picker->GetColour();
        c.kind = ColourChoice::True;
        c.rgb = (col.Red() << 16) | (col.Green() << 8) | col.Blue();
    }
    return c;
}

void ColourDialog::setChoice(const ColourChoice& c) {
    m_object->SetValue(c.kind == ColourChoice::Object);
    m_index->SetValue(c.kind == ColourChoice::Index);
    m_true->SetValue(c.kind == ColourChoice::True);
    if (c.kind == ColourChoice::Index)
        m_indexSpin->SetValue(c.index);
    if (c.kind == ColourChoice::True)
        m_picker->SetColour(fromRgb(c.rgb));
    showPreview();
}

void ColourDialog::showPreview() {
    const ColourChoice c = choice();
    m_palette->select(c.kind == ColourChoice::Index ? c.index : 0);
    wxString text;
    switch (c.kind) {
    case ColourChoice::Object: text = _("Plots with the object's colour."); break;
    case ColourChoice::Index: {
        const int rgb = CPlotStyle::paletteRgb(c.index);
        text = wxString::Format(_("Palette colour %d: #%06X"), c.index, rgb);
        break;
    }
    case ColourChoice::True: {
        bool exact = false;
        const int nearest = CPlotStyle::nearestColorIndex(c.rgb, &exact);
        text = exact ? wxString::Format(_("#%06X, palette colour %d"), c.rgb, nearest)
                     : wxString::Format(_("#%06X; the nearest palette colour is %d"), c.rgb, nearest);
        break;
    }
    }
    m_preview->SetLabel(text);
}

// ---------------------------------------------------------------- one field

FieldDialog::FieldDialog(wxWindow* parent, const TableDocument& doc, Column column, const wxString& initial, int rows)
    : wxDialog(parent, wxID_ANY, wxString::Format(_("%s of %s"), columnTitle(column), stylesPhrase(rows))) {
    auto* top = new wxBoxSizer(wxVERTICAL);
    wxWindow* control = nullptr;
    const std::vector<wxString> labels = doc.choiceLabels(column);
    if (!labels.empty()) {
        wxArrayString items;
        for (const wxString& l : labels)
            items.Add(l);
        control = m_choice = new wxChoice(this, wxID_ANY, wxDefaultPosition, wxDefaultSize, items);
    } else if (isSwitch(column)) {
        control = m_check = new wxCheckBox(this, wxID_ANY, columnTitle(column));
    } else if (column == Column::Screen || column == Column::Pen || column == Column::VirtualPen) {
        const int top = column == Column::Screen ? 100 : column == Column::Pen ? 32 : 255;
        control = m_spin = new wxSpinCtrl(this, wxID_ANY, wxEmptyString, wxDefaultPosition, wxDefaultSize,
                                          wxSP_ARROW_KEYS, 0, top, 0);
    } else {
        control = m_text = new wxTextCtrl(this, wxID_ANY, wxEmptyString, wxDefaultPosition, wxSize(360, -1));
    }
    top->Add(new wxStaticText(this, wxID_ANY,
                              wxString::Format(_("%s for %s:"), columnTitle(column), stylesPhrase(rows))),
             0, wxALL, 8);
    top->Add(control, 0, wxEXPAND | wxLEFT | wxRIGHT, 8);
    top->Add(CreateSeparatedButtonSizer(wxOK | wxCANCEL), 0, wxEXPAND | wxALL, 8);
    SetSizerAndFit(top);
    setValue(initial);
    control->SetFocus();
}

wxString FieldDialog::value() const {
    if (m_choice)
        return m_choice->GetStringSelection();
    if (m_check)
        return m_check->GetValue() ? "1" : "";
    if (m_spin)
        return wxString::Format("%d", m_spin->GetValue());
    return m_text->GetValue();
}

void FieldDialog::setValue(const wxString& text) {
    if (m_choice) {
        m_choice->SetStringSelection(text);
    } else if (m_check) {
        m_check->SetValue(text == "1");
    } else if (m_spin) {
        long v = 0;
        m_spin->SetValue(text.ToLong(&v) ? int(v) : 0);
    } else {
        m_text->ChangeValue(text);
    }
}

// ---------------------------------------------------------------- properties

PropertiesDialog::PropertiesDialog(wxWindow* parent, const TableDocument& doc)
    : wxDialog(parent, wxID_ANY, wxString::Format(_("Table Properties of %s"), doc.displayName()), wxDefaultPosition,
               wxDefaultSize, wxDEFAULT_DIALOG_STYLE | wxRESIZE_BORDER),
      m_doc(doc), m_props(doc.properties()) {
    auto* top = new wxBoxSizer(wxVERTICAL);
    auto* form = new wxFlexGridSizer(2, wxSize(8, 6));
    form->AddGrowableCol(1);
    m_description = new wxTextCtrl(this, wxID_ANY, m_props.description, wxDefaultPosition, wxSize(380, -1));
    m_scale = new wxTextCtrl(this, wxID_ANY, formatScaleFactor(m_props.scaleFactor));
    m_apply = new wxCheckBox(this, wxID_ANY, _("&Apply the scale factor to non-ISO linetypes and fill patterns"));
    m_apply->SetValue(m_props.applyFactor);
    const wxString units[] = {_("Millimetres"), _("Inches")};
    m_units = new wxRadioBox(this, wxID_ANY, _("Lineweights shown in"), wxDefaultPosition, wxDefaultSize, 2, units, 2);
    m_units->SetSelection(m_props.units == 1 ? 1 : 0);

    form->Add(new wxStaticText(this, wxID_ANY, _("&Description:")), 0, wxALIGN_CENTRE_VERTICAL);
    form->Add(m_description, 1, wxEXPAND);
    form->Add(new wxStaticText(this, wxID_ANY, _("&Scale factor:")), 0, wxALIGN_CENTRE_VERTICAL);
    form->Add(m_scale, 0);
    form->AddSpacer(0);
    form->Add(m_apply, 0);
    top->Add(form, 0, wxEXPAND | wxALL, 8);
    top->Add(m_units, 0, wxLEFT | wxRIGHT | wxBOTTOM, 8);

    m_lineweights = new wxGrid(this, wxID_ANY, wxDefaultPosition, wxSize(320, 260));
    m_lineweights->CreateGrid(CCustomLineweightTable::kSize, 2);
    m_lineweights->SetColLabelValue(0, _("Lineweight"));
    m_lineweights->SetColLabelValue(1, _("Used by"));
    m_lineweights->SetColSize(0, 130);
    m_lineweights->SetColSize(1, 110);
    m_lineweights->SetRowLabelSize(40);
    auto* readOnly = new wxGridCellAttr;
    readOnly->SetReadOnly();
    m_lineweights->SetColAttr(1, readOnly);
    m_lineweights->Bind(wxEVT_GRID_CELL_CHANGING, &PropertiesDialog::onCellChanging, this);
    top->Add(new wxStaticText(this, wxID_ANY, _("Custom &lineweights (styles choose one by its number):")), 0,
             wxLEFT | wxRIGHT, 8);
    top->Add(m_lineweights, 1, wxEXPAND | wxALL, 8);
    auto* add = new wxButton(this, wxID_ADD, _("&Add Lineweight..."));
    top->Add(add, 0, wxLEFT | wxRIGHT, 8);
    top->Add(CreateSeparatedButtonSizer(wxOK | wxCANCEL), 0, wxEXPAND | wxALL, 8);
    SetSizerAndFit(top);

    add->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { onAdd(); });
    m_units->Bind(wxEVT_RADIOBOX, [this](wxCommandEvent&) { onUnits(); });
    fillLineweights();
}

void PropertiesDialog::fillLineweights() {
    for (int k = 0; k < CCustomLineweightTable::kSize; ++k) {
        m_lineweights->SetCellValue(k, 0, formatLineweight(m_props.lineweights[size_t(k)], m_props.units));
        const int users = m_doc.lineweightUsers(k);
        m_lineweights->SetCellValue(k, 1, users == 0 ? wxString() : stylesPhrase(users));
    }
}

void PropertiesDialog::onUnits() {
    m_props.units = m_units->GetSelection() == 1 ? 1 : 0;
    fillLineweights();
}

void PropertiesDialog::setUnits(int units) {
    m_units->SetSelection(units == 1 ? 1 : 0);
    onUnits();
}

bool PropertiesDialog::setLineweightText(int entry, const wxString& text, wxString* why) {
    double mm = 0;
    if (entry < 0 || entry >= CCustomLineweightTable::kSize || !parseLineweight(text, m_props.units, mm, why))
        return false;
    m_props.lineweights[size_t(entry)] = mm;
    fillLineweights();
    return true;
}

void PropertiesDialog::onCellChanging(wxGridEvent& event) {
    // The list shows the value as kept (rounded, with its unit), not as typed.
    event.Veto();
    wxString why;
    if (!setLineweightText(event.GetRow(), event.GetString(), &why))
        CallAfter([this, why] { wxMessageBox(why, _("Lineweight"), wxOK | wxICON_WARNING, this); });
}

bool PropertiesDialog::addLineweight(const wxString& text, wxString* why) {
    double mm = 0;
    if (!parseLineweight(text, m_props.units, mm, why))
        return false;
    const int entry = m_doc.addLineweight(m_props, mm, why);
    if (entry < 0)
        return false;
    fillLineweights();
    m_lineweights->GoToCell(entry, 0);
    m_lineweights->SelectRow(entry);
    return true;
}

void PropertiesDialog::onAdd() {
    wxTextEntryDialog ask(this,
                          wxString::Format(_("Lineweight to add (%s). It takes the place of the nearest one that "
                                             "no style uses."),
                                           m_props.units == 1 ? _("inches") : _("millimetres")),
                          _("Add Lineweight"));
    if (ask.ShowModal() != wxID_OK)
        return;
    wxString why;
    if (!addLineweight(ask.GetValue(), &why))
        wxMessageBox(why, _("Add Lineweight"), wxOK | wxICON_WARNING, this);
}

void PropertiesDialog::setDescription(const wxString& text) { m_description->ChangeValue(text); }

void PropertiesDialog::setScaleText(const wxString& text) { m_scale->ChangeValue(text); }

bool PropertiesDialog::collect(TableProperties& out, wxString* why) const {
    TableProperties p = m_props;
    p.description = m_description->GetValue();
    if (!storableText(L"description", p.description, why))
        return false;
    if (!parseScaleFactor(m_scale->GetValue(), p.scaleFactor, why))
        return false;
    p.applyFactor = m_apply->GetValue();
    p.units = m_units->GetSelection() == 1 ? 1 : 0;
    out = p;
    return true;
}

} // namespace styles
