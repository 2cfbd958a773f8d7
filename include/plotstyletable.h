// Plot style tables: a set of plot styles stored as one parameter file, either
// colour-dependent (".ctb": one style per colour index 1..255, reached through
// the colour-index table) or named (".stb": freely named styles, the first
// being "Normal"), with 27 custom lineweights, a scale factor and a description;
// and the conversion of a colour-dependent table into a named one.
#pragma once

#include <array>
#include <memory>
#include <vector>

#include "drutils_export.h"
#include "od/OdString.h"
#include "plotstyle.h"

class CPBlock;
class CPIAFileIn;
class CPIAParser;

// Colour index k (1..255) -> the style that plots objects of that colour. The
// entries point into the owning table's style list and never own a style.
class DRUTILS_API CAciTable {
public:
    static constexpr int kSize = 255;

    // Null outside 1..255 and for an index without a style.
    CPlotStyle* at(int index) const { return index >= 1 && index <= kSize ? m_styles[size_t(index - 1)] : nullptr; }
    void set(int index, CPlotStyle* style) {
        if (index >= 1 && index <= kSize)
            m_styles[size_t(index - 1)] = style;
    }
    void clear() { m_styles.fill(nullptr); }

private:
    std::array<CPlotStyle*, kSize> m_styles{};
};

// The 27 lineweights (millimetres) that a style's lineweight number selects:
// number k >= 1 plots with entry k-1, number 0 with the object's own lineweight.
class DRUTILS_API CCustomLineweightTable {
public:
    static constexpr int kSize = 27;
    // Upper bound accepted for a lineweight, in millimetres. Real pens stop
    // around 2 mm; the bound only keeps absurd values (and the overflow they
    // cause in plotters) out.
    static constexpr double kMaxMillimetres = 100.0;
    static const double kDefaults[kSize];

    CCustomLineweightTable();

    // 0.0 outside 0..26.
    double at(int i) const { return i >= 0 && i < kSize ? m_values[size_t(i)] : 0.0; }
    // False, nothing changed, outside 0..26 or when the value is out of range.
    bool set(int i, double millimetres);
    // The millimetres a style's lineweight number plots with; -1 for 0 (the
    // object's lineweight) and for numbers without an entry.
    double forStyle(int lineWeight) const;

    // True when 0 <= value <= kMaxMillimetres. Otherwise false, and when fix is
    // set the value is brought to the nearest bound (a NaN to 0).
    static bool checkLineWeightRange(double& value, bool fix);
    // The same, and a value out of range is reported in the library log as a
    // warning naming what (for instance L"custom lineweight 12").
    static bool checkLineWeightRange(double& value, const wchar_t* what, bool fix);

private:
    std::array<double, kSize> m_values;
};

class DRUTILS_API CPlotStyleTable {
public:
    // Files with more styles are refused: a bound on outside input, far above
    // what real tables hold (a few hundred).
    static constexpr int kMaxStyles = 4096;
    // Longest name that addStyle and renameStyle accept; keeps every line of the
    // written file well inside the parameter-file line length.
    static constexpr int kMaxNameLength = 255;

    // Empty: scale 1.0, no styles, default lineweights, neither colour-index flag.
    CPlotStyleTable();
    ~CPlotStyleTable();
    CPlotStyleTable(const CPlotStyleTable&) = delete;
    CPlotStyleTable& operator=(const CPlotStyleTable&) = delete;

    // A new table with default styles: colour-dependent with Color_1..Color_255
    // (baseName, or the translation of "Color", then "_" and the index; the
    // localized name has a blank instead of "_"), or named with the single style
    // "Normal". The caller owns the result.
    static CPlotStyleTable* create(bool colourDependent, const wchar_t* baseName = nullptr);

    // Loads a parameter file; null when it cannot be read or holds a bad table,
    // never a partly filled one. The kind follows the extension (".ctb" is
    // colour-dependent, ".stb" named); for other names a table with an
    // "aci_table" block and "aci_table_available" TRUE is colour-dependent.
    // Styles are taken in the order of their blocks, unless the blocks are named
    // by the numbers 0 to n-1 in another order (as a newer writer stores them):
    // then in the order of those numbers, so that a colour-dependent table
    // without "aci_table" maps colour k to the block named k-1.
    // The first overload logs the reason as an error; the second hands it to
    // the caller instead (naming the style and key at fault) and logs nothing.
    static CPlotStyleTable* read(const wchar_t* path);
    static CPlotStyleTable* read(const wchar_t* path, OdString* error);

    // Saves to path (replacing an existing file). The header says CTB when the
    // path ends in ".ctb" and STB otherwise, whatever the table's kind. False
    // for a null path or a failed write, which is logged. Nothing is written, and
    // an existing file keeps its content, when a value would not read back as it
    // is (CPIAFileOut::canStore: a text with "{" or a line break, longer than a
    // line of the file, or with a character the ANSI code page lacks). Keys and
    // blocks of the file that the table does not know are written back.
    bool write(const wchar_t* path) const;
    // The same, with the reason handed to the caller instead of the log (naming
    // the style and key at fault); with replaceExisting false an existing file at
    // path is left alone and the write fails.
    bool write(const wchar_t* path, OdString* error, bool replaceExisting = true) const;

    int size() const { return int(m_styles.size()); }
    // Null outside 0..size()-1.
    CPlotStyle* style(int i) const { return i >= 0 && i < size() ? m_styles[size_t(i)].get() : nullptr; }
    // First style of that name (exact, case-sensitive); null when none.
    CPlotStyle* find(const wchar_t* name) const;
    // Position of the first style of that localized name; -1 when none.
    int findLocName(const wchar_t* locName) const;
    const CAciTable& ACI() const { return m_aci; }
    // Colour-dependent: styles are reached through the colour-index table.
    bool useACI() const { return m_useAci; }
    // The table carries a colour-index table (a named table may, after ctb2stb).
    bool hasACI() const { return m_hasAci; }

    const OdString& desc() const { return m_description; }
    void setDesc(const wchar_t* text) { m_description = text; }
    double scaleFactor() const { return m_scaleFactor; }
    void setScaleFactor(double v) { m_scaleFactor = v; }
    bool applyFactor() const { return m_applyFactor; }
    void setApplyFactor(bool on) { m_applyFactor = on; }
    // 0 millimetres, 1 inches: how an editor shows the lineweights (the values
    // are always millimetres).
    int lineWeightUnits() const { return m_lineWeightUnits; }
    void setLineWeightUnits(int v) { m_lineWeightUnits = v; }
    const CCustomLineweightTable& lineWeights() const { return m_lineWeights; }
    CCustomLineweightTable& lineWeights() { return m_lineWeights; }

    // Adds a style (a copy of from, or defaults when from is null) right after
    // position after (-1 puts it first; past the end appends) and returns its
    // position. The text becomes its localized name and, with blanks turned
    // into "_", its name (CPlotStyle::updateName). -1, nothing added, for a
    // colour-dependent table, an empty or over-long text, a name or localized
    // name already in use, or a table already holding kMaxStyles.
    int addStyle(const wchar_t* name, int after, const CPlotStyle* from = nullptr);
    // Renames with the addStyle rule. False for a colour-dependent table (its
    // names follow the colour index), for "Normal", a position out of range, or
    // a name in use by another style.
    bool renameStyle(int i, const wchar_t* name);
    // False for a colour-dependent table, "Normal" or a position out of range.
    // Colour indices that used the style fall back to the first style.
    bool deleteStyle(int i);
    // map[k] is the position of the style for colour index k+1, for all 255
    // indices. False, nothing changed, when an entry is not a position.
    bool addACI(const int* map);
    void deleteACI();

protected:
    bool init(CPIAParser& parser) { return init(parser, nullptr); }
    bool init(CPIAParser& parser, OdString* error);
    bool initAci(const CPBlock& block) { return initAci(block, nullptr); }
    bool initAci(const CPBlock& block, OdString* error);
    bool initCLW(const CPBlock& block) { return initCLW(block, nullptr); }
    bool initCLW(const CPBlock& block, OdString* error);
    bool writeToBlock(CPBlock& root) const;
    bool writeAciEntry(CPBlock& aciBlock, int k) const;
    bool writeCLW(CPBlock& clwBlock, int k) const;

private:
    // Reads and writes a table's whole content as its JSON source form (the tool's
    // style show --json and style build).
    friend class PlotStyleSource;
    // What the file name says about the kind; init decides from the content
    // when it says nothing.
    enum class Kind { Unknown, ColourDependent, Named };

    static CPlotStyleTable* load(const wchar_t* path, OdString& error);
    // What a table's text holds beyond the root block, when it is read straight
    // from its lines (plotstyletable_text.cpp).
    struct TextParts;
    // The table from a root block, and from parts when given: then plot_style
    // and aci_table are empty blocks that stand where the file had them, the
    // styles and colour entries are in parts, and so are the foreign items.
    bool initFrom(const CPBlock& root, TextParts* parts, OdString* error);
    // The table straight from the lines of an open file, when the text has the
    // shape every writer gives it; false otherwise (nothing said: the general
    // parse then reads the file and says what is wrong with it, if anything).
    bool initFromText(CPIAFileIn& in);
    static bool readText(CPIAFileIn& in, CPBlock& root, TextParts& parts);
    bool initAciText(const TextParts& parts);
    bool nameInUse(const OdString& name, const OdString& locName, int except) const;

    OdString m_description;
    double m_scaleFactor = 1.0;
    bool m_applyFactor = false;
    int m_lineWeightUnits = 0;
    bool m_useAci = false;
    bool m_hasAci = false;
    Kind m_expected = Kind::Unknown;
    std::vector<std::unique_ptr<CPlotStyle>> m_styles;
    CAciTable m_aci;
    CCustomLineweightTable m_lineWeights;
    // Top-level keys and blocks of the file that the table does not read.
    CPForeignItems m_foreign;
};

// A named table made from a colour-dependent one: styles with equal plotting
// properties are merged into one named style ("Style 1", "Style 2", ... in order
// of first use, after "Normal"; baseName replaces "Style"), and the new table's
// colour-index table records which named style each colour index now uses.
// Description, scale factor, apply factor, units and lineweights are copied.
// Null when the source is not colour-dependent. The caller owns the result.
DRUTILS_API CPlotStyleTable* ctb2stb(const CPlotStyleTable& source, const wchar_t* baseName = nullptr);
