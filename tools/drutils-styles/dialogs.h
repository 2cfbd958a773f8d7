// The editor's dialogs: the plotted colour (object colour, a palette index picked
// from the 255 standard colours, or a true colour), one field for several styles
// at once, and the table's properties with its custom lineweights.
#pragma once

#include <wx/dialog.h>

#include "style_document.h"

class wxCheckBox;
class wxChoice;
class wxColourPickerCtrl;
class wxGrid;
class wxGridEvent;
class wxRadioBox;
class wxRadioButton;
class wxSpinCtrl;
class wxStaticText;
class wxTextCtrl;

namespace styles {

class PaletteControl;

class ColourDialog : public wxDialog {
public:
    ColourDialog(wxWindow* parent, const ColourChoice& initial, int rows);

    ColourChoice choice() const;
    void setChoice(const ColourChoice& c);

private:
    void showPreview();

    wxRadioButton* m_object;
    wxRadioButton* m_index;
    wxRadioButton* m_true;
    PaletteControl* m_palette;
    wxSpinCtrl* m_indexSpin;
    wxColourPickerCtrl* m_picker;
    wxStaticText* m_preview;
};

// One field for many styles: the editor that fits the column (a list, a switch,
// a number or a text), giving its value as the cell would show it.
class FieldDialog : public wxDialog {
public:
    FieldDialog(wxWindow* parent, const TableDocument& doc, Column column, const wxString& initial, int rows);

    wxString value() const;
    void setValue(const wxString& text);

private:
    wxChoice* m_choice = nullptr;
    wxCheckBox* m_check = nullptr;
    wxSpinCtrl* m_spin = nullptr;
    wxTextCtrl* m_text = nullptr;
};

// Description, scale factor, lineweight units and the 27 custom lineweights.
// Values are checked when collected, so that the dialog can be shown again with
// what the user typed when one is refused.
class PropertiesDialog : public wxDialog {
public:
    PropertiesDialog(wxWindow* parent, const TableDocument& doc);

    // The properties as entered; false, with the reason, when one cannot be kept.
    bool collect(TableProperties& out, wxString* why) const;

    // For the tests and for keyboard-free use.
    void setDescription(const wxString& text);
    void setScaleText(const wxString& text);
    // Puts a lineweight (in the shown units) into the list as Add does; false,
    // with the reason, when it cannot.
    bool addLineweight(const wxString& text, wxString* why);
    bool setLineweightText(int entry, const wxString& text, wxString* why);
    void setUnits(int units);
    const TableProperties& working() const { return m_props; }

private:
    void fillLineweights();
    void onAdd();
    void onUnits();
    void onCellChanging(wxGridEvent& event);

    const TableDocument& m_doc;
    TableProperties m_props;
    wxTextCtrl* m_description;
    wxTextCtrl* m_scale;
    wxCheckBox* m_apply;
    wxRadioBox* m_units;
    wxGrid* m_lineweights;
};

} // namespace styles
