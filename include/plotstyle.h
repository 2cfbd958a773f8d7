// Plot styles: one pen record of a plot style table (how objects of one colour,
// or of one named style, are plotted), its form inside a parameter block and in a
// binary stream, and the standard colour-index palette used to match colours.
#pragma once

#include "drutils_export.h"
#include "od/OdString.h"
#include "pia.h"

class CIBinStream;
class COBinStream;
class CPlotStyleTable;

class DRUTILS_API CPlotStyle {
public:
    // Colour methods: the top byte of a colour value.
    enum { kMethodTrueColor = 0xC2, kMethodColorIndex = 0xC3 };
    // Colour policy bits.
    enum { kPolicyDither = 1, kPolicyGrayScale = 2, kPolicyExplicitColor = 4 };
    // -1 in color or mode color: the object's own colour is plotted.
    enum { kObjectColor = -1 };
    // The colour-index value that also stands for "the object's colour" once the
    // policy is no longer plain dithering (0xC3FFFFFF).
    static constexpr int kObjectColorIndex = int(0xC3FFFFFFu);

    CPlotStyle() = default;
    CPlotStyle(const CPlotStyle&) = default;
    CPlotStyle& operator=(const CPlotStyle&) = default;
    virtual ~CPlotStyle();

    const OdString& name() const { return m_name; }
    const OdString& locName() const { return m_localizedName; }
    const OdString& desc() const { return m_description; }
    void setDesc(const wchar_t* text) { m_description = text; }
    // The localized name becomes text as given; the name the same text with every
    // white-space character replaced by "_" ("My pen 1" -> "My_pen_1").
    void updateName(const wchar_t* text);

    int color() const { return m_color; }
    int mode_color() const { return m_modeColor; }
    int color_policy() const { return m_colorPolicy; }
    // Raw writes, for callers that already hold values in the stored encoding;
    // updateColor is the way to apply a colour the user picked.
    void setColor(int v) { m_color = v; }
    void setModeColor(int v) { m_modeColor = v; }
    void setColorPolicy(int v) { m_colorPolicy = v; }
    double linepattern_size() const { return m_linePatternSize; }
    void setLinePatternSize(double v) { m_linePatternSize = v; }

    bool isDither() const { return (m_colorPolicy & kPolicyDither) != 0; }
    void setDither(bool on) { setPolicyBit(kPolicyDither, on); }
    bool isGrayScale() const { return (m_colorPolicy & kPolicyGrayScale) != 0; }
    void setGrayScale(bool on) { setPolicyBit(kPolicyGrayScale, on); }
    bool isAdaptiveLinetype() const { return m_adaptiveLinetype; }
    void setAdaptiveLinetype(bool on) { m_adaptiveLinetype = on; }

    int screen() const { return m_screen; }
    void setScreen(int percent) { m_screen = percent; }
    int pen() const { return m_physicalPen; }
    void setPen(int pen) { m_physicalPen = pen; }
    int virtualPen() const { return m_virtualPen; }
    void setVirtualPen(int pen) { m_virtualPen = pen; }
    int fillStyle() const { return m_fillStyle; }
    void setFillStyle(int v) { m_fillStyle = v; }
    int endStyle() const { return m_endStyle; }
    void setEndStyle(int v) { m_endStyle = v; }
    int joinStyle() const { return m_joinStyle; }
    void setJoinStyle(int v) { m_joinStyle = v; }
    // 0 means the object's lineweight; k >= 1 the table's custom lineweight k-1.
    int lineWeight() const { return m_lineWeight; }
    void setLineWeight(int v) { m_lineWeight = v; }
    int lineType() const { return m_lineType; }
    void setLineType(int v) { m_lineType = v; }

    // Display colour in 0x00BBGGRR order: -1 for the object's colour; with a
    // policy other than exactly 1 the mode colour's RGB; with policy 1 a
    // colour-index value gives its index (sign-extended low 16 bits, so the
    // object-colour index 0xC3FFFFFF gives -1) and any other its RGB.
    int color2rgb() const;

    // Every plotting property equal; names never count, the description only
    // when withDescription is set.
    bool isEqual(const CPlotStyle& other, bool withDescription) const;

    // Sets the colour from an explicit choice: rgb is 0x00RRGGBB, or -1 for the
    // object's colour.
    //
    // For -1: the explicit-colour policy bit is cleared; with the policy then
    // exactly 1 both colours become -1 (result 0 when color already was -1,
    // else -255); otherwise both become 0xC3FFFFFF (result 0 when neither
    // changed, else -255).
    //
    // For a colour: the explicit-colour bit is set, or cleared when grayscale is
    // on. The mode colour becomes the true colour 0xC2RRGGBB as chosen; the
    // colour becomes the true colour of the palette entry that matches it
    // exactly or, failing that, the nearest one (nearestColorIndex), so a reader
    // that ignores the mode colour still plots the closest standard pen. The
    // result is 0 when neither value changed, else that palette index (1..255).
    int updateColor(int rgb);

    // The standard colour-index palette: 0x00RRGGBB of index 1..255, -1 outside.
    static int paletteRgb(int index);
    // The palette index whose colour is nearest to rgb (0x00RRGGBB): the exact
    // match with the lowest index when there is one, otherwise the smallest
    // squared distance in red, green and blue, the lowest index on a tie.
    // exact, when given, tells which case applied.
    static int nearestColorIndex(int rgb, bool* exact = nullptr);

    // Keys of the style's block that this class does not know (another writer's
    // additions), written back after the known key each followed. Copies of a
    // style carry them; comparisons ignore them.
    const CPForeignItems& foreignItems() const { return m_foreign; }

    // Binary-stream form. read throws the stream's short-read value when the
    // stream ends early; the style is then partly overwritten.
    void read(CIBinStream& in);
    void write(COBinStream& out) const;

protected:
    friend class CPlotStyleTable;
    friend class PlotStyleSource; // see CPlotStyleTable

    // Reads the block of one style. Every key is required except "mode_color",
    // which defaults to the colour when missing or unreadable. False at the first
    // missing or unreadable key, whose name goes to badKey when given; the keys
    // read before it keep their new values. Keys it does not know are kept.
    bool init(const CPBlock& block, OdString* badKey = nullptr);
    // Adds the block named by index ("0", "1", ...) to parent. False when parent
    // already holds a block of that name.
    bool write(CPBlock& parent, int index, bool withModeColor) const;

private:
    // init for a table that reads many styles from one parse: names holds, per
    // key in the order read, the name of the item that last matched it (a
    // parse shares one name among all its items), which is then known again
    // without comparing text.
    bool init(const CPBlock& block, OdString* badKey, const OdString** names);
    void setPolicyBit(int bit, bool on) { m_colorPolicy = on ? (m_colorPolicy | bit) : (m_colorPolicy & ~bit); }

    OdString m_name;
    OdString m_localizedName;
    OdString m_description;
    int m_color = -1;
    int m_modeColor = -1;
    int m_colorPolicy = 1;
    int m_physicalPen = 0;
    int m_virtualPen = 0;
    int m_screen = 100;
    double m_linePatternSize = 0.5;
    int m_lineType = 31;
    bool m_adaptiveLinetype = true;
    int m_lineWeight = 0;
    int m_fillStyle = 73;
    int m_endStyle = 4;
    int m_joinStyle = 5;
    CPForeignItems m_foreign;
};
