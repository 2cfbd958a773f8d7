// One open plot style table in the editor: the table, where it lives on disk, and
// the history of changes made to it. Every change goes through the history as a
// command, so that each one can be undone and the table knows whether it differs
// from what was last saved. Nothing here needs a display; the windows read and
// change a table only through this class.
#pragma once

#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include <wx/cmdproc.h>
#include <wx/string.h>

#include "plotstyletable.h"

namespace styles {

// The grid's columns, in the order they are shown.
enum class Column {
    Style,       // colour index (colour-dependent) or name (named)
    Colour,      // the plotted colour
    Lineweight,
    Linetype,
    Adaptive,
    Screen,
    Dither,
    Greyscale,
    Pen,         // physical pen
    VirtualPen,
    Fill,
    End,
    Join,
    Description,
    Count
};
constexpr int kColumnCount = int(Column::Count);
wxString columnTitle(Column column);
bool isSwitch(Column column);

// One entry of a list the user picks a value from, and the value it stands for.
struct Choice {
    int value;
    wxString label;
};
// The fixed lists: linetypes (31 = the object's), fill, end and join styles.
// A value outside a list (from another program) gets an entry of its own when the
// list is built for a cell holding it, so that choosing leaves it as it was.
const std::vector<Choice>& linetypeChoices();
const std::vector<Choice>& fillChoices();
const std::vector<Choice>& endChoices();
const std::vector<Choice>& joinChoices();

// A plotted colour as the user chooses it.
struct ColourChoice {
    enum Kind { Object, Index, True } kind = Object;
    int index = 7; // 1..255 for Index
    int rgb = 0;   // 0xRRGGBB for True
    bool operator==(const ColourChoice&) const = default;
};
ColourChoice colourOf(const CPlotStyle& style);
void applyColour(CPlotStyle& style, const ColourChoice& colour);
// What ends up on paper before screening, 0xRRGGBB; empty when it is the
// object's own colour and the row cannot tell it (named tables). colourIndex is
// the row's colour in a colour-dependent table, 0 otherwise.
std::optional<int> plottedRgb(const CPlotStyle& style, int colourIndex);
// Screening lightens towards the paper: 100 % is the full colour, 0 % white.
int screened(int rgb, int screen);

// The table-wide values that the properties dialog edits as one change.
struct TableProperties {
    wxString description;
    double scaleFactor = 1.0;
    bool applyFactor = false;
    int units = 0; // 0 millimetres, 1 inches
    std::array<double, CCustomLineweightTable::kSize> lineweights{};
    bool operator==(const TableProperties&) const = default;
};

// Lineweights in the table's display units. Values are kept in millimetres with
// the six decimals the file holds.
wxString formatLineweight(double millimetres, int units);
// A number the user typed in the given units, as millimetres rounded to what the
// file keeps; false, with the reason, when it is no lineweight the table can hold.
bool parseLineweight(const wxString& text, int units, double& millimetres, wxString* why);
// A scale factor the user typed; false, with the reason, when the file cannot
// hold it (it keeps six decimals) or it is not a positive number.
bool parseScaleFactor(const wxString& text, double& factor, wxString* why);
// The scale factor with the decimals it needs (at most the file's six).
wxString formatScaleFactor(double factor);
// A file name or path as shown to people: bytes of a name that were no text in
// the locale's encoding (kept as U+DC80..U+DCFF so that the name still reaches
// the file) show as U+FFFD.
wxString shownPath(const wxString& path);

// Whether the file can hold text under key as it is (no line break, no "{", no
// character the code page lacks, not longer than a line); why says what is wrong.
bool storableText(const wchar_t* key, const wxString& text, wxString* why);

class TableDocument {
public:
    // What a change touched, for the windows that show the table.
    enum class Change { Saved, Cells, Properties, Rows };

    // Null, with the reason in error, when the file cannot be read.
    static std::unique_ptr<TableDocument> open(const wxString& path, wxString* error);
    static std::unique_ptr<TableDocument> create(bool colourDependent);
    // A named table made from a colour-dependent one (styles that plot alike are
    // merged); null when source is not colour-dependent. It has no file yet.
    static std::unique_ptr<TableDocument> convert(const TableDocument& source);

    explicit TableDocument(std::unique_ptr<CPlotStyleTable> table);
    ~TableDocument();
    TableDocument(const TableDocument&) = delete;
    TableDocument& operator=(const TableDocument&) = delete;

    const CPlotStyleTable& table() const { return *m_table; }
    bool colourDependent() const { return m_table->useACI(); }
    // Empty for a table never saved.
    const wxString& path() const { return m_path; }
    // The file name, or the name to suggest for a table never saved.
    wxString displayName() const;
    void setSuggestedName(const wxString& name) { m_suggestedName = name; }
    // The extension the table's kind is saved with: "ctb" or "stb".
    wxString extension() const { return colourDependent() ? "ctb" : "stb"; }

    wxCommandProcessor& history() { return m_history; }
    bool isModified() const { return m_history.IsDirty(); }
    // Called after every change, undo and redo, and after a save.
    void setListener(std::function<void(Change)> listener) { m_listener = std::move(listener); }

    // Writes the table to path through the library's atomic writer; false, with
    // the reason, when the file was not written (the old file is then intact).
    // The path must carry the table's extension (see extension()). On success the
    // table belongs to path and counts as unchanged.
    bool save(const wxString& path, wxString* error);

    // ---- rows: colour indices 1..255 of a colour-dependent table, else styles
    int rowCount() const;
    CPlotStyle* styleAt(int row) const;
    int positionOf(int row) const;    // the style's place in the table, -1 outside
    int colourIndexOf(int row) const; // 1..255, or 0 in a named table
    int rowOfPosition(int position) const;
    // The row's style is "Normal" (the first style of a named table): fixed name, never deleted.
    bool isNormal(int row) const;

    wxString cellText(int row, Column column) const;
    bool switchValue(int row, Column column) const;
    long numberValue(int row, Column column) const;
    // Labels of the lists the cell editors offer: the lineweights in the
    // table's units (the first is the object's), and the fixed lists with any
    // value of this table that they lack.
    std::vector<wxString> choiceLabels(Column column) const;
    // How many styles use custom lineweight entry k (0-based).
    int lineweightUsers(int entry) const;

    // ---- changes, each one step of the history. False, nothing changed and the
    // reason in why, when the value is refused; true also when it was already so.
    // rows: every row to set; text as the cell shows or its editor gives it.
    bool setField(const std::vector<int>& rows, Column column, const wxString& text, wxString* why);
    bool setColour(const std::vector<int>& rows, const ColourChoice& colour, wxString* why);
    // Named tables. addStyle puts a new style with default settings after row
    // (never before "Normal") and returns its row, -1 when refused.
    int addStyle(const wxString& name, int afterRow, wxString* why);
    bool renameStyle(int row, const wxString& name, wxString* why);
    bool deleteStyles(const std::vector<int>& rows, wxString* why);
    // A name no style has yet ("Style 1", "Style 2", ...).
    wxString freeStyleName() const;

    TableProperties properties() const;
    bool setProperties(const TableProperties& properties, wxString* why);
    // Puts millimetres into the custom lineweights: nothing when an entry holds
    // it already, else into the entry that no style uses whose value is nearest
    // (the list stays in order). The entry is given back; -1, with the reason,
    // when every entry is in use. Works on props, not on the table.
    int addLineweight(TableProperties& props, double millimetres, wxString* why) const;

    // For the commands: the table they change, and the note of what they
    // changed. Listeners hear of it once the history has recorded the step, so
    // that isModified() tells the state after it.
    CPlotStyleTable& mutableTable() { return *m_table; }
    void noteChange(Change what);
    // Rebuilds the rows after styles were added or removed.
    void rebuildRows();

private:
    // Applies apply to the styles of rows (each style once) as one step of the
    // history; a step that changes nothing is not recorded.
    void editRows(const std::vector<int>& rows, const wxString& title, const std::function<void(CPlotStyle&)>& apply);

    class History : public wxCommandProcessor {
    public:
        explicit History(TableDocument& doc) : m_doc(doc) {}
        bool Submit(wxCommand* command, bool storeIt = true) override;
        bool Undo() override;
        bool Redo() override;

    private:
        TableDocument& m_doc;
    };
    void flushChanges();
    // The lineweight list, built once per change of the lineweights or their
    // units: every lineweight cell drawn looks its label up in it.
    const std::vector<wxString>& lineweightLabels() const;

    std::unique_ptr<CPlotStyleTable> m_table;
    wxString m_path;
    wxString m_suggestedName;
    History m_history{*this};
    std::optional<Change> m_pending;
    mutable std::vector<wxString> m_lineweightLabels;
    std::function<void(Change)> m_listener;
    // Colour-dependent: row k-1 is colour k, and this is its style's position.
    std::vector<int> m_rowPositions;
};

} // namespace styles
