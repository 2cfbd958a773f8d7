#include "style_document.h"

#include <algorithm>
#include <cmath>
#include <unordered_map>

#include <wx/filename.h>
#include <wx/intl.h>

#include "pia.h"

namespace styles {

namespace {

constexpr int kObjectLinetype = 31;
// Lineweights that differ by less than this are the same pen: the file keeps six
// decimals and reads them back in single precision.
constexpr double kSameLineweight = 1e-5;

double roundToFile(double v) { return std::round(v * 1e6) / 1e6; }

// A number in the "C" form with at most `decimals` decimals and at least `keep`.
wxString trimmedNumber(double v, int decimals, int keep) {
    wxString s = wxString::FromCDouble(v, decimals);
    const int point = s.Find('.');
    if (point == wxNOT_FOUND)
        return s;
    while (int(s.length()) - point - 1 > keep && s.Last() == '0')
        s.RemoveLast();
    if (s.Last() == '.')
        s.RemoveLast();
    return s;
}

// Accepts a decimal point or comma, surrounding blanks and an optional unit.
bool parseNumber(wxString text, double& out, const wxString& unit = wxString()) {
    text.Trim(true).Trim(false);
    if (!unit.empty() && text.Lower().EndsWith(unit)) {
        text.RemoveLast(unit.length());
        text.Trim(true);
    }
    text.Replace(",", ".");
    double v = 0;
    if (text.empty() || !text.ToCDouble(&v) || !std::isfinite(v))
        return false;
    out = v;
    return true;
}

bool parseInteger(wxString text, long lo, long hi, long& out) {
    text.Trim(true).Trim(false);
    long v = 0;
    if (!text.ToLong(&v) || v < lo || v > hi)
        return false;
    out = v;
    return true;
}

const wxString& otherPrefix() {
    static const wxString prefix = _("Other") + " (";
    return prefix;
}

wxString choiceLabel(const std::vector<Choice>& list, int value) {
    for (const Choice& c : list)
        if (c.value == value)
            return c.label;
    return wxString::Format("%s%d)", otherPrefix(), value);
}

bool choiceValue(const std::vector<Choice>& list, const wxString& label, int& value) {
    for (const Choice& c : list)
        if (c.label == label) {
            value = c.value;
            return true;
        }
    // A value of another program's, shown as "Other (N)", chosen again.
    if (label.StartsWith(otherPrefix()) && label.EndsWith(")")) {
        long v = 0;
        if (parseInteger(label.Mid(otherPrefix().length(), label.length() - otherPrefix().length() - 1), 0,
                         0x7FFFFFFF, v)) {
            value = int(v);
            return true;
        }
    }
    return false;
}

const std::vector<Choice>* fixedList(Column column) {
    switch (column) {
    case Column::Linetype: return &linetypeChoices();
    case Column::Fill: return &fillChoices();
    case Column::End: return &endChoices();
    case Column::Join: return &joinChoices();
    default: return nullptr;
    }
}

int fixedValue(const CPlotStyle& s, Column column) {
    switch (column) {
    case Column::Linetype: return s.lineType();
    case Column::Fill: return s.fillStyle();
    case Column::End: return s.endStyle();
    case Column::Join: return s.joinStyle();
    default: return 0;
    }
}

void setFixedValue(CPlotStyle& s, Column column, int v) {
    switch (column) {
    case Column::Linetype: s.setLineType(v); break;
    case Column::Fill: s.setFillStyle(v); break;
    case Column::End: s.setEndStyle(v); break;
    case Column::Join: s.setJoinStyle(v); break;
    default: break;
    }
}

wxString automaticOr(int pen) { return pen == 0 ? _("Automatic") : wxString::Format("%d", pen); }

bool sameStyle(const CPlotStyle& a, const CPlotStyle& b) {
    return a.isEqual(b, true) && a.name() == b.name() && a.locName() == b.locName();
}

wxString shownName(const CPlotStyle& s) { return s.locName().isEmpty() ? wxString(s.name().c_str()) : wxString(s.locName().c_str()); }

// ---------------------------------------------------------------- commands

// Changed styles, by position, with what they held before and after. Styles are
// restored whole, so that keys of other programs and names come back as well.
class StyleEdit : public wxCommand {
public:
    StyleEdit(TableDocument& doc, const wxString& name, std::vector<int> positions, std::vector<CPlotStyle> before,
              std::vector<CPlotStyle> after)
        : wxCommand(true, name), m_doc(doc), m_positions(std::move(positions)), m_before(std::move(before)),
          m_after(std::move(after)) {}
    bool Do() override { return put(m_after); }
    bool Undo() override { return put(m_before); }

private:
    bool put(const std::vector<CPlotStyle>& values) {
        for (size_t i = 0; i < m_positions.size(); ++i)
            if (CPlotStyle* s = m_doc.mutableTable().style(m_positions[i]))
                *s = values[i];
        m_doc.noteChange(TableDocument::Change::Cells);
        return true;
    }
    TableDocument& m_doc;
    std::vector<int> m_positions;
    std::vector<CPlotStyle> m_before, m_after;
};

class AddStyle : public wxCommand {
public:
    AddStyle(TableDocument& doc, const wxString& name, int afterPosition)
        : wxCommand(true, _("Add Style")), m_doc(doc), m_name(name), m_after(afterPosition) {}
    bool Do() override {
        m_position = m_doc.mutableTable().addStyle(m_name.wc_str(), m_after);
        if (m_position < 0)
            return false;
        m_doc.rebuildRows();
        m_doc.noteChange(TableDocument::Change::Rows);
        return true;
    }
    bool Undo() override {
        if (!m_doc.mutableTable().deleteStyle(m_position))
            return false;
        m_doc.rebuildRows();
        m_doc.noteChange(TableDocument::Change::Rows);
        return true;
    }
    int position() const { return m_position; }

private:
    TableDocument& m_doc;
    wxString m_name;
    int m_after;
    int m_position = -1;
};

class DeleteStyles : public wxCommand {
public:
    DeleteStyles(TableDocument& doc, std::vector<int> positions)
        : wxCommand(true, positions.size() == 1 ? _("Delete Style") : _("Delete Styles")), m_doc(doc),
          m_positions(std::move(positions)) {
        std::sort(m_positions.begin(), m_positions.end());
    }
    bool Do() override {
        CPlotStyleTable& t = m_doc.mutableTable();
        m_removed.clear();
        for (auto p = m_positions.rbegin(); p != m_positions.rend(); ++p) {
            const CPlotStyle* s = t.style(*p);
            if (!s)
                return false;
            Removed r{*p, *s, {}};
            // A named table converted from a colour-dependent one maps colours to
            // its styles; the library sends those of a deleted style to "Normal".
            for (int k = 1; k <= CAciTable::kSize; ++k)
                if (t.ACI().at(k) == s)
                    r.colours.push_back(k);
            if (!t.deleteStyle(*p))
                return false;
            m_removed.push_back(std::move(r));
        }
        m_doc.rebuildRows();
        m_doc.noteChange(TableDocument::Change::Rows);
        return true;
    }
    bool Undo() override {
        CPlotStyleTable& t = m_doc.mutableTable();
        for (auto r = m_removed.rbegin(); r != m_removed.rend(); ++r) {
            // The style comes back under a name nobody uses and then gets its
            // own back with everything else, exactly as it was.
            int at = -1;
            for (int n = 0; at < 0 && n < 1000; ++n)
                at = t.addStyle(wxString::Format(L"\u2060restoring %d", n).wc_str(), r->position - 1, &r->style);
            if (at != r->position)
                return false;
            *t.style(at) = r->style;
            // The table's colour map has no setter for one entry; the map is the
            // table's own (non-const) member, reached through its accessor.
            CAciTable& aci = const_cast<CAciTable&>(t.ACI());
            for (int k : r->colours)
                aci.set(k, t.style(at));
        }
        m_doc.rebuildRows();
        m_doc.noteChange(TableDocument::Change::Rows);
        return true;
    }

private:
    struct Removed {
        int position;
        CPlotStyle style;
        std::vector<int> colours;
    };
    TableDocument& m_doc;
    std::vector<int> m_positions;
    std::vector<Removed> m_removed; // in the order deleted (last position first)
};

void putProperties(CPlotStyleTable& t, const TableProperties& p) {
    t.setDesc(p.description.wc_str());
    t.setScaleFactor(p.scaleFactor);
    t.setApplyFactor(p.applyFactor);
    t.setLineWeightUnits(p.units);
    for (int k = 0; k < CCustomLineweightTable::kSize; ++k)
        t.lineWeights().set(k, p.lineweights[size_t(k)]);
}

class PropertiesEdit : public wxCommand {
public:
    PropertiesEdit(TableDocument& doc, TableProperties before, TableProperties after)
        : wxCommand(true, _("Table Properties")), m_doc(doc), m_before(std::move(before)), m_after(std::move(after)) {}
    bool Do() override { return put(m_after); }
    bool Undo() override { return put(m_before); }

private:
    bool put(const TableProperties& p) {
        putProperties(m_doc.mutableTable(), p);
        m_doc.noteChange(TableDocument::Change::Properties);
        return true;
    }
    TableDocument& m_doc;
    TableProperties m_before, m_after;
};

} // namespace

// ---------------------------------------------------------------- lists and columns

wxString columnTitle(Column column) {
    switch (column) {
    case Column::Style: return _("Style");
    case Column::Colour: return _("Colour");
    case Column::Lineweight: return _("Lineweight");
    case Column::Linetype: return _("Linetype");
    case Column::Adaptive: return _("Adaptive");
    case Column::Screen: return _("Screen %");
    case Column::Dither: return _("Dither");
    case Column::Greyscale: return _("Greyscale");
    case Column::Pen: return _("Pen");
    case Column::VirtualPen: return _("Virtual pen");
    case Column::Fill: return _("Fill");
    case Column::End: return _("End");
    case Column::Join: return _("Join");
    case Column::Description: return _("Description");
    case Column::Count: break;
    }
    return wxString();
}

bool isSwitch(Column column) {
    return column == Column::Adaptive || column == Column::Dither || column == Column::Greyscale;
}

const std::vector<Choice>& linetypeChoices() {
    static const std::vector<Choice> list = [] {
        // The plotting side's linetype numbers and their names.
        const char* names[] = {"Solid",
                               "Dashed",
                               "Dotted",
                               "Dash Dot",
                               "Short Dash",
                               "Medium Dash",
                               "Long Dash",
                               "Short Dash X2",
                               "Medium Dash X2",
                               "Long Dash X2",
                               "Medium Long Dash",
                               "Medium Dash Short Dash Short Dash",
                               "Long Dash Short Dash",
                               "Long Dash Dot Dot",
                               "Long Dash Dot",
                               "Medium Dash Dot Short Dash Dot",
                               "Sparse Dot",
                               "ISO Dash",
                               "ISO Dash Space",
                               "ISO Long Dash Dot",
                               "ISO Long Dash Double Dot",
                               "ISO Long Dash Triple Dot",
                               "ISO Dot",
                               "ISO Long Dash Short Dash",
                               "ISO Long Dash Double Short Dash",
                               "ISO Dash Dot",
                               "ISO Double Dash Dot",
                               "ISO Dash Double Dot",
                               "ISO Double Dash Double Dot",
                               "ISO Dash Triple Dot",
                               "ISO Double Dash Triple Dot"};
        std::vector<Choice> l{{kObjectLinetype, _("Object")}};
        for (int i = 0; i < int(std::size(names)); ++i)
            l.push_back({i, wxGetTranslation(names[i])});
        return l;
    }();
    return list;
}

const std::vector<Choice>& fillChoices() {
    static const std::vector<Choice> list{{73, _("Object")},       {64, _("Solid")},        {65, _("Checkerboard")},
                                          {66, _("Crosshatch")},   {67, _("Diamonds")},     {68, _("Horizontal bars")},
                                          {69, _("Slant left")},   {70, _("Slant right")},  {71, _("Square dots")},
                                          {72, _("Vertical bars")}};
    return list;
}

const std::vector<Choice>& endChoices() {
    static const std::vector<Choice> list{
        {4, _("Object")}, {0, _("Butt")}, {1, _("Square")}, {2, _("Round")}, {3, _("Diamond")}};
    return list;
}

const std::vector<Choice>& joinChoices() {
    static const std::vector<Choice> list{
        {5, _("Object")}, {0, _("Miter")}, {1, _("Bevel")}, {2, _("Round")}, {3, _("Diamond")}};
    return list;
}

// ---------------------------------------------------------------- colours

ColourChoice colourOf(const CPlotStyle& s) {
    ColourChoice c;
    if (s.color() == CPlotStyle::kObjectColor)
        return c;
    // The mode colour is the one that counts once the policy is more than plain dithering.
    const int v = s.color_policy() == CPlotStyle::kPolicyDither ? s.color() : s.mode_color();
    if (v == CPlotStyle::kObjectColor || v == CPlotStyle::kObjectColorIndex)
        return c;
    if (((unsigned(v) >> 24) & 0xFF) == CPlotStyle::kMethodColorIndex) {
        const int index = int(int16_t(v & 0xFFFF));
        if (index >= 1 && index <= 255) {
            c.kind = ColourChoice::Index;
            c.index = index;
        }
        return c;
    }
    c.kind = ColourChoice::True;
    c.rgb = v & 0xFFFFFF;
    return c;
}

void applyColour(CPlotStyle& s, const ColourChoice& c) {
    switch (c.kind) {
    case ColourChoice::Object: s.updateColor(-1); break;
    case ColourChoice::True: s.updateColor(c.rgb & 0xFFFFFF); break;
    case ColourChoice::Index: {
        const int v = int((unsigned(CPlotStyle::kMethodColorIndex) << 24) | unsigned(c.index & 0xFF));
        s.setColor(v);
        s.setModeColor(v);
        s.setColorPolicy(s.color_policy() & ~CPlotStyle::kPolicyExplicitColor);
        break;
    }
    }
}

std::optional<int> plottedRgb(const CPlotStyle& s, int colourIndex) {
    std::optional<int> rgb;
    const ColourChoice c = colourOf(s);
    switch (c.kind) {
    case ColourChoice::Object:
        if (colourIndex >= 1)
            rgb = CPlotStyle::paletteRgb(colourIndex);
        break;
    case ColourChoice::Index: rgb = CPlotStyle::paletteRgb(c.index); break;
    case ColourChoice::True: rgb = c.rgb; break;
    }
    if (rgb && s.isGrayScale()) {
        const int r = (*rgb >> 16) & 0xFF, g = (*rgb >> 8) & 0xFF, b = *rgb & 0xFF;
        rgb = ((299 * r + 587 * g + 114 * b) / 1000) * 0x010101;
    }
    return rgb;
}

int screened(int rgb, int screen) {
    const int s = std::clamp(screen, 0, 100);
    int out = 0;
    for (int shift = 16; shift >= 0; shift -= 8) {
        const int c = (rgb >> shift) & 0xFF;
        out |= (255 - (255 - c) * s / 100) << shift;
    }
    return out;
}

namespace {

wxString colourText(const ColourChoice& c) {
    switch (c.kind) {
    case ColourChoice::Object: return _("Object");
    case ColourChoice::Index: return wxString::Format(_("Index %d"), c.index);
    case ColourChoice::True: return wxString::Format("#%06X", c.rgb & 0xFFFFFF);
    }
    return wxString();
}

bool parseColour(wxString text, ColourChoice& c) {
    text.Trim(true).Trim(false);
    if (text.CmpNoCase(_("Object")) == 0 || text.CmpNoCase("object") == 0) {
        c = ColourChoice{};
        return true;
    }
    long v = 0;
    const wxString index = _("Index") + " ";
    if ((text.Lower().StartsWith(index.Lower()) && parseInteger(text.Mid(index.length()), 1, 255, v)) ||
        (text.Lower().StartsWith("index ") && parseInteger(text.Mid(6), 1, 255, v))) {
        c = ColourChoice{ColourChoice::Index, int(v), 0};
        return true;
    }
    unsigned long rgb = 0;
    if (text.length() == 7 && text[0] == '#' && text.Mid(1).ToULong(&rgb, 16)) {
        c = ColourChoice{ColourChoice::True, 7, int(rgb)};
        return true;
    }
    return false;
}

} // namespace

// ---------------------------------------------------------------- values

wxString formatLineweight(double mm, int units) {
    if (units == 1)
        return trimmedNumber(mm / 25.4, 4, 3) + " in";
    return trimmedNumber(mm, 4, 2) + " mm";
}

bool parseLineweight(const wxString& text, int units, double& millimetres, wxString* why) {
    double v = 0;
    if (!parseNumber(text, v, units == 1 ? "in" : "mm")) {
        if (why)
            *why = wxString::Format(_("\"%s\" is not a number."), text);
        return false;
    }
    double mm = roundToFile(units == 1 ? v * 25.4 : v);
    if (!CCustomLineweightTable::checkLineWeightRange(mm, false)) {
        if (why)
            *why = wxString::Format(_("A lineweight lies between 0 and %s."),
                                    formatLineweight(CCustomLineweightTable::kMaxMillimetres, units));
        return false;
    }
    millimetres = mm;
    return true;
}

bool parseScaleFactor(const wxString& text, double& factor, wxString* why) {
    double v = 0;
    if (!parseNumber(text, v) || v <= 0 || v > 1e6 || roundToFile(v) == 0) {
        if (why)
            *why = _("The scale factor is a number above 0 (the file keeps six decimals).");
        return false;
    }
    factor = roundToFile(v);
    return true;
}

wxString shownPath(const wxString& path) {
    wxString shown;
    shown.reserve(path.length());
    for (wxUniChar c : path)
        shown += c.GetValue() >= 0xDC80 && c.GetValue() <= 0xDCFF ? wxUniChar(0xFFFD) : c;
    return shown;
}

wxString formatScaleFactor(double factor) { return trimmedNumber(factor, 6, 0); }

bool storableText(const wchar_t* key, const wxString& text, wxString* why) {
    if (text.find_first_of("\r\n") != wxString::npos) {
        if (why)
            *why = _("The text holds a line break, which the file cannot keep.");
        return false;
    }
    CPBlock root(L"");
    root.add(new CPStr(key, text.wc_str()));
    OdString reason;
    if (CPIAFileOut::canStore(&root, &reason))
        return true;
    if (why)
        *why = wxString(reason.c_str());
    return false;
}

// ---------------------------------------------------------------- the document

std::unique_ptr<TableDocument> TableDocument::open(const wxString& path, wxString* error) {
    OdString reason;
    std::unique_ptr<CPlotStyleTable> t(CPlotStyleTable::read(path.wc_str(), &reason));
    if (!t) {
        if (error)
            *error = wxString(reason.c_str());
        return nullptr;
    }
    auto doc = std::make_unique<TableDocument>(std::move(t));
    doc->m_path = path;
    return doc;
}

std::unique_ptr<TableDocument> TableDocument::create(bool colourDependent) {
    return std::make_unique<TableDocument>(std::unique_ptr<CPlotStyleTable>(CPlotStyleTable::create(colourDependent)));
}

std::unique_ptr<TableDocument> TableDocument::convert(const TableDocument& source) {
    std::unique_ptr<CPlotStyleTable> named(ctb2stb(source.table()));
    if (!named)
        return nullptr;
    auto doc = std::make_unique<TableDocument>(std::move(named));
    wxFileName name(source.displayName());
    name.SetExt("stb");
    doc->m_suggestedName = name.GetFullName();
    return doc;
}

TableDocument::TableDocument(std::unique_ptr<CPlotStyleTable> table) : m_table(std::move(table)) { rebuildRows(); }

TableDocument::~TableDocument() = default;

wxString TableDocument::displayName() const {
    if (!m_path.empty())
        return shownPath(wxFileName(m_path).GetFullName());
    if (!m_suggestedName.empty())
        return m_suggestedName;
    return _("Untitled") + "." + extension();
}

void TableDocument::noteChange(Change what) {
    // Rows outweigh properties, which outweigh cells: the listener redraws what
    // the largest change needs.
    if (!m_pending || int(what) > int(*m_pending))
        m_pending = what;
    if (what == Change::Properties)
        m_lineweightLabels.clear();
}

void TableDocument::flushChanges() {
    const std::optional<Change> what = m_pending;
    m_pending.reset();
    if (what && m_listener)
        m_listener(*what);
}

bool TableDocument::History::Submit(wxCommand* command, bool storeIt) {
    const bool done = wxCommandProcessor::Submit(command, storeIt);
    m_doc.flushChanges();
    return done;
}

bool TableDocument::History::Undo() {
    const bool done = wxCommandProcessor::Undo();
    m_doc.flushChanges();
    return done;
}

bool TableDocument::History::Redo() {
    const bool done = wxCommandProcessor::Redo();
    m_doc.flushChanges();
    return done;
}

void TableDocument::rebuildRows() {
    m_rowPositions.clear();
    if (!colourDependent())
        return;
    std::unordered_map<const CPlotStyle*, int> positions;
    for (int i = 0; i < m_table->size(); ++i)
        positions.emplace(m_table->style(i), i);
    for (int k = 1; k <= CAciTable::kSize; ++k) {
        auto it = positions.find(m_table->ACI().at(k));
        m_rowPositions.push_back(it == positions.end() ? -1 : it->second);
    }
}

bool TableDocument::save(const wxString& path, wxString* error) {
    if (wxFileName(path).GetExt().Lower() != extension()) {
        if (error)
            *error = colourDependent() ? _("A colour-dependent table is saved as a .ctb file; "
                                           "File > Convert to Named Table makes a .stb file of it.")
                                       : _("A named table is saved as a .stb file.");
        return false;
    }
    OdString reason;
    if (!m_table->write(path.wc_str(), &reason, true)) {
        if (error)
            *error = wxString(reason.c_str());
        return false;
    }
    m_path = path;
    m_history.MarkAsSaved();
    noteChange(Change::Saved);
    flushChanges();
    return true;
}

int TableDocument::rowCount() const { return colourDependent() ? int(m_rowPositions.size()) : m_table->size(); }

int TableDocument::positionOf(int row) const {
    if (row < 0 || row >= rowCount())
        return -1;
    return colourDependent() ? m_rowPositions[size_t(row)] : row;
}

CPlotStyle* TableDocument::styleAt(int row) const { return m_table->style(positionOf(row)); }

int TableDocument::colourIndexOf(int row) const { return colourDependent() && row >= 0 && row < rowCount() ? row + 1 : 0; }

int TableDocument::rowOfPosition(int position) const {
    if (!colourDependent())
        return position >= 0 && position < m_table->size() ? position : -1;
    for (size_t r = 0; r < m_rowPositions.size(); ++r)
        if (m_rowPositions[r] == position)
            return int(r);
    return -1;
}

bool TableDocument::isNormal(int row) const {
    const CPlotStyle* s = styleAt(row);
    return !colourDependent() && s && (positionOf(row) == 0 || s->name() == L"Normal");
}

wxString TableDocument::cellText(int row, Column column) const {
    const CPlotStyle* s = styleAt(row);
    if (!s)
        return wxString();
    switch (column) {
    case Column::Style: return colourDependent() ? wxString::Format("%d", colourIndexOf(row)) : shownName(*s);
    case Column::Colour: return colourText(colourOf(*s));
    case Column::Lineweight: {
        if (s->lineWeight() == 0)
            return _("Object");
        if (s->lineWeight() >= 1 && s->lineWeight() <= CCustomLineweightTable::kSize)
            return lineweightLabels()[size_t(s->lineWeight())];
        return wxString::Format(_("Unknown (%d)"), s->lineWeight());
    }
    case Column::Linetype:
    case Column::Fill:
    case Column::End:
    case Column::Join: return choiceLabel(*fixedList(column), fixedValue(*s, column));
    case Column::Adaptive:
    case Column::Dither:
    case Column::Greyscale: return switchValue(row, column) ? "1" : "";
    case Column::Screen: return wxString::Format("%d", s->screen());
    case Column::Pen: return automaticOr(s->pen());
    case Column::VirtualPen: return automaticOr(s->virtualPen());
    case Column::Description: return wxString(s->desc().c_str());
    case Column::Count: break;
    }
    return wxString();
}

bool TableDocument::switchValue(int row, Column column) const {
    const CPlotStyle* s = styleAt(row);
    if (!s)
        return false;
    switch (column) {
    case Column::Adaptive: return s->isAdaptiveLinetype();
    case Column::Dither: return s->isDither();
    case Column::Greyscale: return s->isGrayScale();
    default: return false;
    }
}

long TableDocument::numberValue(int row, Column column) const {
    const CPlotStyle* s = styleAt(row);
    if (!s)
        return 0;
    switch (column) {
    case Column::Screen: return s->screen();
    case Column::Pen: return s->pen();
    case Column::VirtualPen: return s->virtualPen();
    default: return 0;
    }
}

const std::vector<wxString>& TableDocument::lineweightLabels() const {
    if (!m_lineweightLabels.empty())
        return m_lineweightLabels;
    std::vector<wxString>& labels = m_lineweightLabels;
    labels.push_back(_("Object"));
    const CCustomLineweightTable& lw = m_table->lineWeights();
    for (int k = 0; k < CCustomLineweightTable::kSize; ++k) {
        wxString label = formatLineweight(lw.at(k), m_table->lineWeightUnits());
        // Two entries of one value stay apart, so that choosing keeps the entry.
        if (std::find(labels.begin(), labels.end(), label) != labels.end())
            label += wxString::Format(_(" (entry %d)"), k + 1);
        labels.push_back(label);
    }
    return labels;
}

std::vector<wxString> TableDocument::choiceLabels(Column column) const {
    if (column == Column::Lineweight)
        return lineweightLabels();
    std::vector<wxString> labels;
    const std::vector<Choice>* list = fixedList(column);
    if (!list)
        return labels;
    for (const Choice& c : *list)
        labels.push_back(c.label);
    for (int i = 0; i < m_table->size(); ++i) {
        const wxString label = choiceLabel(*list, fixedValue(*m_table->style(i), column));
        if (std::find(labels.begin(), labels.end(), label) == labels.end())
            labels.push_back(label);
    }
    return labels;
}

int TableDocument::lineweightUsers(int entry) const {
    int n = 0;
    for (int i = 0; i < m_table->size(); ++i)
        if (m_table->style(i)->lineWeight() == entry + 1)
            ++n;
    return n;
}

// ---------------------------------------------------------------- changes

bool TableDocument::setField(const std::vector<int>& rows, Column column, const wxString& text, wxString* why) {
    if (rows.empty())
        return true;
    if (column == Column::Style) {
        if (colourDependent()) {
            if (why)
                *why = _("The styles of a colour-dependent table are named by their colour.");
            return false;
        }
        if (rows.size() != 1) {
            if (why)
                *why = _("Styles are renamed one at a time.");
            return false;
        }
        return renameStyle(rows.front(), text, why);
    }
    if (column == Column::Colour) {
        ColourChoice c;
        if (!parseColour(text, c)) {
            if (why)
                *why = wxString::Format(_("\"%s\" is no colour: Object, Index 1 to 255, or #RRGGBB."), text);
            return false;
        }
        return setColour(rows, c, why);
    }

    // What the text means, once for all rows.
    std::function<void(CPlotStyle&)> apply;
    long n = 0;
    int choice = 0;
    const bool on = text == "1" || text.CmpNoCase("true") == 0;
    auto refuse = [why](const wxString& reason) {
        if (why)
            *why = reason;
        return false;
    };
    switch (column) {
    case Column::Lineweight: {
        const std::vector<wxString>& labels = lineweightLabels();
        auto at = std::find(labels.begin(), labels.end(), text);
        int number = -1;
        if (at != labels.end()) {
            number = int(at - labels.begin());
        } else {
            double mm = 0;
            if (!parseLineweight(text, m_table->lineWeightUnits(), mm, why))
                return false;
            for (int k = 0; k < CCustomLineweightTable::kSize && number < 0; ++k)
                if (std::fabs(m_table->lineWeights().at(k) - mm) < kSameLineweight)
                    number = k + 1;
            if (number < 0)
                return refuse(wxString::Format(_("The table's lineweights hold no %s; Table Properties adds it."),
                                               formatLineweight(mm, m_table->lineWeightUnits())));
        }
        apply = [number](CPlotStyle& s) { s.setLineWeight(number); };
        break;
    }
    case Column::Linetype:
    case Column::Fill:
    case Column::End:
    case Column::Join:
        if (!choiceValue(*fixedList(column), text, choice))
            return refuse(wxString::Format(_("\"%s\" is not in the list."), text));
        apply = [column, choice](CPlotStyle& s) { setFixedValue(s, column, choice); };
        break;
    case Column::Adaptive: apply = [on](CPlotStyle& s) { s.setAdaptiveLinetype(on); }; break;
    case Column::Dither: apply = [on](CPlotStyle& s) { s.setDither(on); }; break;
    case Column::Greyscale: apply = [on](CPlotStyle& s) { s.setGrayScale(on); }; break;
    case Column::Screen:
        if (!parseInteger(text.BeforeFirst('%'), 0, 100, n))
            return refuse(_("Screening is a percentage from 0 to 100."));
        apply = [n](CPlotStyle& s) { s.setScreen(int(n)); };
        break;
    case Column::Pen:
    case Column::VirtualPen: {
        const long top = column == Column::Pen ? 32 : 255;
        if (text == _("Automatic"))
            n = 0;
        else if (!parseInteger(text, 0, top, n))
            return refuse(wxString::Format(_("A pen number is 0 (automatic) to %ld."), top));
        if (column == Column::Pen)
            apply = [n](CPlotStyle& s) { s.setPen(int(n)); };
        else
            apply = [n](CPlotStyle& s) { s.setVirtualPen(int(n)); };
        break;
    }
    case Column::Description:
        if (!storableText(L"description", text, why))
            return false;
        apply = [text](CPlotStyle& s) { s.setDesc(text.wc_str()); };
        break;
    default: return refuse(_("This column cannot be changed."));
    }

    editRows(rows, wxString::Format(_("Set %s"), columnTitle(column)), apply);
    return true;
}

void TableDocument::editRows(const std::vector<int>& rows, const wxString& title,
                             const std::function<void(CPlotStyle&)>& apply) {
    std::vector<int> positions;
    std::vector<CPlotStyle> before, after;
    for (int row : rows) {
        const int p = positionOf(row);
        if (p < 0 || std::find(positions.begin(), positions.end(), p) != positions.end())
            continue;
        CPlotStyle changed = *m_table->style(p);
        apply(changed);
        if (sameStyle(changed, *m_table->style(p)))
            continue;
        positions.push_back(p);
        before.push_back(*m_table->style(p));
        after.push_back(changed);
    }
    if (!positions.empty())
        m_history.Submit(new StyleEdit(*this, title, std::move(positions), std::move(before), std::move(after)));
}

bool TableDocument::setColour(const std::vector<int>& rows, const ColourChoice& colour, wxString* why) {
    if (colour.kind == ColourChoice::Index && (colour.index < 1 || colour.index > 255)) {
        if (why)
            *why = _("A colour index lies between 1 and 255.");
        return false;
    }
    editRows(rows, _("Set Colour"), [&colour](CPlotStyle& s) { applyColour(s, colour); });
    return true;
}

namespace {

// The checks the library makes on a new name, with the reason said.
bool checkName(const CPlotStyleTable& t, const wxString& name, int except, wxString* why) {
    auto refuse = [why](const wxString& reason) {
        if (why)
            *why = reason;
        return false;
    };
    if (name.empty())
        return refuse(_("A style needs a name."));
    if (!storableText(L"localized_name", name, why))
        return false;
    CPlotStyle probe;
    probe.updateName(name.wc_str());
    if (probe.name().getLength() > CPlotStyleTable::kMaxNameLength)
        return refuse(wxString::Format(_("A style name has at most %d characters."), CPlotStyleTable::kMaxNameLength));
    for (int i = 0; i < t.size(); ++i) {
        if (i == except)
            continue;
        const CPlotStyle& s = *t.style(i);
        if (s.name() == probe.name() || s.locName() == probe.locName() || s.name() == probe.locName() ||
            s.locName() == probe.name())
            return refuse(wxString::Format(_("The table has a style \"%s\" already."), shownName(s)));
    }
    return true;
}

} // namespace

int TableDocument::addStyle(const wxString& name, int afterRow, wxString* why) {
    if (colourDependent()) {
        if (why)
            *why = _("A colour-dependent table has one style per colour; styles are added to named tables.");
        return -1;
    }
    if (m_table->size() >= CPlotStyleTable::kMaxStyles) {
        if (why)
            *why = wxString::Format(_("A table holds at most %d styles."), CPlotStyleTable::kMaxStyles);
        return -1;
    }
    if (!checkName(*m_table, name, -1, why))
        return -1;
    // Never before "Normal", which stays the first style.
    const int after = afterRow < 0 || afterRow >= rowCount() ? m_table->size() - 1 : std::max(positionOf(afterRow), 0);
    auto* command = new AddStyle(*this, name, after);
    if (!m_history.Submit(command)) {
        if (why)
            *why = _("The table refuses that name.");
        return -1;
    }
    return rowOfPosition(command->position());
}

bool TableDocument::renameStyle(int row, const wxString& name, wxString* why) {
    const int p = positionOf(row);
    if (colourDependent() || p < 0) {
        if (why)
            *why = _("The styles of a colour-dependent table are named by their colour.");
        return false;
    }
    if (isNormal(row)) {
        if (why)
            *why = _("\"Normal\" keeps its name.");
        return false;
    }
    if (shownName(*m_table->style(p)) == name)
        return true;
    if (!checkName(*m_table, name, p, why))
        return false;
    const CPlotStyle before = *m_table->style(p);
    if (!m_table->renameStyle(p, name.wc_str())) {
        if (why)
            *why = _("The table refuses that name.");
        return false;
    }
    CPlotStyle after = *m_table->style(p);
    *m_table->style(p) = before;
    m_history.Submit(new StyleEdit(*this, _("Rename Style"), {p}, {before}, {after}));
    return true;
}

bool TableDocument::deleteStyles(const std::vector<int>& rows, wxString* why) {
    if (colourDependent()) {
        if (why)
            *why = _("A colour-dependent table has one style per colour; none can be deleted.");
        return false;
    }
    std::vector<int> positions;
    for (int row : rows) {
        const int p = positionOf(row);
        if (p >= 0 && !isNormal(row) && std::find(positions.begin(), positions.end(), p) == positions.end())
            positions.push_back(p);
    }
    if (positions.empty()) {
        if (why)
            *why = _("\"Normal\" stays in every named table.");
        return false;
    }
    if (!m_history.Submit(new DeleteStyles(*this, std::move(positions)))) {
        if (why)
            *why = _("The styles could not be deleted.");
        return false;
    }
    return true;
}

wxString TableDocument::freeStyleName() const {
    for (int n = std::max(1, m_table->size());; ++n) {
        const wxString name = wxString::Format(_("Style %d"), n);
        if (checkName(*m_table, name, -1, nullptr))
            return name;
    }
}

TableProperties TableDocument::properties() const {
    TableProperties p;
    p.description = wxString(m_table->desc().c_str());
    p.scaleFactor = m_table->scaleFactor();
    p.applyFactor = m_table->applyFactor();
    p.units = m_table->lineWeightUnits();
    for (int k = 0; k < CCustomLineweightTable::kSize; ++k)
        p.lineweights[size_t(k)] = m_table->lineWeights().at(k);
    return p;
}

bool TableDocument::setProperties(const TableProperties& props, wxString* why) {
    if (!storableText(L"description", props.description, why))
        return false;
    if (!(props.scaleFactor > 0) || !std::isfinite(props.scaleFactor)) {
        if (why)
            *why = _("The scale factor is a number above 0 (the file keeps six decimals).");
        return false;
    }
    for (double v : props.lineweights) {
        double probe = v;
        if (!CCustomLineweightTable::checkLineWeightRange(probe, false)) {
            if (why)
                *why = wxString::Format(_("A lineweight lies between 0 and %s."),
                                        formatLineweight(CCustomLineweightTable::kMaxMillimetres, props.units));
            return false;
        }
    }
    const TableProperties before = properties();
    if (before == props)
        return true;
    m_history.Submit(new PropertiesEdit(*this, before, props));
    return true;
}

int TableDocument::addLineweight(TableProperties& props, double mm, wxString* why) const {
    for (int k = 0; k < CCustomLineweightTable::kSize; ++k)
        if (std::fabs(props.lineweights[size_t(k)] - mm) < kSameLineweight)
            return k;
    int best = -1;
    for (int k = 0; k < CCustomLineweightTable::kSize; ++k) {
        if (lineweightUsers(k) > 0)
            continue;
        if (best < 0 || std::fabs(props.lineweights[size_t(k)] - mm) < std::fabs(props.lineweights[size_t(best)] - mm))
            best = k;
    }
    if (best < 0) {
        if (why)
            *why = wxString::Format(_("The table has %d lineweights and styles use every one; change one that "
                                      "fewer styles need instead."),
                                    CCustomLineweightTable::kSize);
        return -1;
    }
    props.lineweights[size_t(best)] = mm;
    return best;
}

} // namespace styles
