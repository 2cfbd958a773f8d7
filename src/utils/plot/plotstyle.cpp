#include "plotstyle.h"

#include <array>
#include <cwctype>
#include <vector>

#include "binstream.h"
#include "pia.h"
#include "plot/block_cursor.h"

namespace {

// The standard colour-index palette. Indices 1 to 9 are the named pens; 10 to
// 249 are 24 hues 15 degrees apart, each in five values (100, 65, 50, 30 and 15
// percent of full scale) at full saturation (even index) and half saturation
// (odd index); 250 to 255 are greys. Building it from that rule instead of a
// typed-in list keeps a transposed digit from hiding in 720 numbers; the
// ColorIndexPalette test pins known entries.
struct Palette {
    std::array<int, 256> rgb{};

    Palette() {
        const int named[10] = {0,        0xFF0000, 0xFFFF00, 0x00FF00, 0x00FFFF,
                               0x0000FF, 0xFF00FF, 0xFFFFFF, 0x808080, 0xC0C0C0};
        for (int i = 1; i <= 9; ++i)
            rgb[size_t(i)] = named[i];
        const int value[5] = {100, 65, 50, 30, 15};
        for (int i = 10; i <= 249; ++i) {
            const int hue = (i - 10) / 10, row = (i - 10) % 10;
            const int sector = hue / 4, q = hue % 4; // q quarters of the way to the next primary
            // Red, green and blue in quarters of full intensity around the colour wheel.
            const int wheel[6][3] = {{4, q, 0}, {4 - q, 4, 0}, {0, 4, q}, {0, 4 - q, 4}, {q, 0, 4}, {4, 0, 4 - q}};
            const int v = value[row / 2];
            int c[3];
            for (int k = 0; k < 3; ++k) {
                const int f = wheel[sector][k];
                // Half saturation lifts every channel halfway towards the full value.
                c[k] = (row % 2 == 0) ? (255 * v * f) / 400 : (255 * v * (4 + f)) / 800;
            }
            rgb[size_t(i)] = (c[0] << 16) | (c[1] << 8) | c[2];
        }
        const int grey[6] = {51, 80, 105, 130, 190, 255};
        for (int k = 0; k < 6; ++k)
            rgb[size_t(250 + k)] = grey[k] * 0x010101;
    }
};

const Palette& palette() {
    static const Palette p;
    return p;
}

int swapRedBlue(int v) { return ((v & 0xFF) << 16) | (v & 0xFF00) | ((v >> 16) & 0xFF); }

// The keys a style block is read from, with their kinds; any other item of the
// block belongs to another writer and is kept.
bool isStyleKey(const OdString& name, int kind) {
    static const struct {
        const wchar_t* name;
        int kind;
    } kKeys[] = {
        {L"name", kPStr},          {L"localized_name", kPStr},    {L"description", kPStr},
        {L"color", kPNum},         {L"mode_color", kPNum},        {L"color_policy", kPNum},
        {L"physical_pen_number", kPNum}, {L"virtual_pen_number", kPNum}, {L"screen", kPNum},
        {L"linepattern_size", kPNum}, {L"linetype", kPNum},       {L"adaptive_linetype", kPBool},
        {L"lineweight", kPNum},    {L"fill_style", kPNum},        {L"end_style", kPNum},
        {L"join_style", kPNum},
    };
    for (const auto& k : kKeys)
        if (k.kind == kind && name == k.name)
            return true;
    return false;
}

} // namespace

CPlotStyle::~CPlotStyle() = default;

void CPlotStyle::updateName(const wchar_t* text) {
    m_localizedName = text;
    m_name = m_localizedName;
    for (int i = 0; i < m_name.getLength(); ++i)
        if (std::iswspace(wint_t(m_name.getAt(i))))
            m_name.setAt(i, L'_');
}

int CPlotStyle::color2rgb() const {
    if (m_color == kObjectColor)
        return -1;
    if (m_colorPolicy != kPolicyDither)
        return swapRedBlue(m_modeColor & 0xFFFFFF);
    if (((unsigned(m_color) >> 24) & 0xFF) == kMethodColorIndex)
        return int(static_cast<short>(m_color & 0xFFFF));
    return swapRedBlue(m_color & 0xFFFFFF);
}

bool CPlotStyle::isEqual(const CPlotStyle& o, bool withDescription) const {
    return m_color == o.m_color && m_modeColor == o.m_modeColor && m_colorPolicy == o.m_colorPolicy &&
           m_physicalPen == o.m_physicalPen && m_virtualPen == o.m_virtualPen && m_screen == o.m_screen &&
           m_linePatternSize == o.m_linePatternSize && m_lineType == o.m_lineType &&
           m_adaptiveLinetype == o.m_adaptiveLinetype && m_lineWeight == o.m_lineWeight &&
           m_fillStyle == o.m_fillStyle && m_endStyle == o.m_endStyle && m_joinStyle == o.m_joinStyle &&
           (!withDescription || m_description == o.m_description);
}

int CPlotStyle::paletteRgb(int index) {
    if (index < 1 || index > 255)
        return -1;
    return palette().rgb[size_t(index)];
}

int CPlotStyle::nearestColorIndex(int rgb, bool* exact) {
    const int r = (rgb >> 16) & 0xFF, g = (rgb >> 8) & 0xFF, b = rgb & 0xFF;
    int best = 1;
    long bestDistance = -1;
    for (int i = 1; i <= 255; ++i) {
        const int p = palette().rgb[size_t(i)];
        const long dr = ((p >> 16) & 0xFF) - r, dg = ((p >> 8) & 0xFF) - g, db = (p & 0xFF) - b;
        const long d = dr * dr + dg * dg + db * db;
        if (bestDistance < 0 || d < bestDistance) {
            best = i;
            bestDistance = d;
            if (d == 0)
                break;
        }
    }
    if (exact)
        *exact = bestDistance == 0;
    return best;
}

int CPlotStyle::updateColor(int rgb) {
    if (rgb == kObjectColor) {
        m_colorPolicy &= ~kPolicyExplicitColor;
        if (m_colorPolicy == kPolicyDither) {
            const bool was = m_color == kObjectColor;
            m_color = m_modeColor = kObjectColor;
            return was ? 0 : -255;
        }
        // With grayscale or without dithering, -1 would read as "policy 1
        // semantics"; the colour-index form of the object colour keeps the
        // policy meaningful for the plotter.
        const bool same = m_color == kObjectColorIndex && m_modeColor == kObjectColorIndex;
        m_color = m_modeColor = kObjectColorIndex;
        return same ? 0 : -255;
    }
    setPolicyBit(kPolicyExplicitColor, !isGrayScale());
    rgb &= 0xFFFFFF;
    const int index = nearestColorIndex(rgb);
    const int method = int(unsigned(kMethodTrueColor) << 24);
    const int newMode = method | rgb;
    const int newColor = method | paletteRgb(index);
    const bool same = m_color == newColor && m_modeColor == newMode;
    m_color = newColor;
    m_modeColor = newMode;
    return same ? 0 : index;
}

void CPlotStyle::write(COBinStream& out) const {
    out << m_name << m_localizedName << m_description;
    out << m_color << m_modeColor << m_colorPolicy << m_physicalPen << m_virtualPen << m_screen;
    out << m_linePatternSize << m_lineType << m_adaptiveLinetype;
    out << m_lineWeight << m_fillStyle << m_endStyle << m_joinStyle;
}

void CPlotStyle::read(CIBinStream& in) {
    in >> m_name >> m_localizedName >> m_description;
    in >> m_color >> m_modeColor >> m_colorPolicy >> m_physicalPen >> m_virtualPen >> m_screen;
    in >> m_linePatternSize >> m_lineType >> m_adaptiveLinetype;
    in >> m_lineWeight >> m_fillStyle >> m_endStyle >> m_joinStyle;
}

bool CPlotStyle::write(CPBlock& parent, int index, bool withModeColor) const {
    const OdString blockName = ut::plot::decimalKey(index);
    if (parent.find(blockName, kPBlock))
        return false;
    std::vector<CPItem*> known;
    known.reserve(16);
    known.push_back(new CPStr(L"name", m_name));
    known.push_back(new CPStr(L"localized_name", m_localizedName));
    known.push_back(new CPStr(L"description", m_description));
    known.push_back(new CPNum(L"color", m_color));
    if (withModeColor)
        known.push_back(new CPNum(L"mode_color", m_modeColor));
    known.push_back(new CPNum(L"color_policy", m_colorPolicy));
    known.push_back(new CPNum(L"physical_pen_number", m_physicalPen));
    known.push_back(new CPNum(L"virtual_pen_number", m_virtualPen));
    known.push_back(new CPNum(L"screen", m_screen));
    known.push_back(new CPNum(L"linepattern_size", m_linePatternSize, 6));
    known.push_back(new CPNum(L"linetype", m_lineType));
    known.push_back(new CPBool(L"adaptive_linetype", m_adaptiveLinetype));
    known.push_back(new CPNum(L"lineweight", m_lineWeight));
    known.push_back(new CPNum(L"fill_style", m_fillStyle));
    known.push_back(new CPNum(L"end_style", m_endStyle));
    known.push_back(new CPNum(L"join_style", m_joinStyle));
    auto* b = new CPBlock(blockName);
    m_foreign.weave(*b, known);
    if (!parent.add(b)) {
        delete b;
        return false;
    }
    return true;
}

bool CPlotStyle::init(const CPBlock& b, OdString* badKey) {
    ut::plot::BlockCursor keys(b);
    const wchar_t* failed = nullptr;
    auto need = [&](bool ok, const wchar_t* key) {
        if (!ok && !failed)
            failed = key;
        return ok;
    };
    // Short-circuits at the first failure so the fields after it stay as they were.
    const bool ok =
        need(keys.readString(L"name", m_name), L"name") &&
        need(keys.readString(L"localized_name", m_localizedName), L"localized_name") &&
        need(keys.readString(L"description", m_description), L"description") &&
        need(keys.readInt(L"color", m_color), L"color") &&
        (keys.readInt(L"mode_color", m_modeColor) || (m_modeColor = m_color, true)) &&
        need(keys.readInt(L"color_policy", m_colorPolicy), L"color_policy") &&
        need(keys.readInt(L"physical_pen_number", m_physicalPen), L"physical_pen_number") &&
        need(keys.readInt(L"virtual_pen_number", m_virtualPen), L"virtual_pen_number") &&
        need(keys.readInt(L"screen", m_screen), L"screen") &&
        need(keys.readDouble(L"linepattern_size", m_linePatternSize), L"linepattern_size") &&
        need(keys.readInt(L"linetype", m_lineType), L"linetype") &&
        need(keys.readBool(L"adaptive_linetype", m_adaptiveLinetype), L"adaptive_linetype") &&
        need(keys.readInt(L"lineweight", m_lineWeight), L"lineweight") &&
        need(keys.readInt(L"fill_style", m_fillStyle), L"fill_style") &&
        need(keys.readInt(L"end_style", m_endStyle), L"end_style") &&
        need(keys.readInt(L"join_style", m_joinStyle), L"join_style");
    if (!ok && badKey)
        *badKey = failed;
    m_foreign.clear();
    // With every required key found, a block of 15 items (16 with the optional
    // colour) holds nothing else, which is nearly always so; only other blocks
    // are searched for keys of other writers.
    constexpr size_t kRequired = 15;
    if (ok && b.size() > kRequired && !(b.size() == kRequired + 1 && b.find(L"mode_color", kPNum)))
        m_foreign.collect(b, [](const CPItem& item) { return isStyleKey(item.name(), item.kind()); });
    return ok;
}
