#include "plotstyle.h"

#include <array>
#include <cwchar>
#include <cwctype>
#include <vector>

#include "binstream.h"
#include "pia.h"
#include "plotstyle/block_cursor.h"
#include "plotstyle/table_keys.h"

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

namespace {

using ut::plot::kStyleKey;
using ut::plot::kStyleKeys;

bool isKey(const CPItem& item, size_t k) {
    const std::wstring& n = item.name().str();
    return item.kind() == kStyleKey[k].kind && n.size() == kStyleKey[k].length &&
           std::wmemcmp(n.data(), kStyleKey[k].name, n.size()) == 0;
}

// Which key an item is (kStyleKeys for none), trying the key after the last
// one first: writers list the keys in this order. names, when given, holds the
// name each key matched last (see CPlotStyle::init).
size_t keyOf(const CPItem& item, size_t expected, const OdString** names = nullptr) {
    if (expected < kStyleKeys && names && names[expected] == &item.name() && item.kind() == kStyleKey[expected].kind)
        return expected;
    if (expected < kStyleKeys && isKey(item, expected)) {
        if (names)
            names[expected] = &item.name();
        return expected;
    }
    for (size_t k = 0; k < kStyleKeys; ++k)
        if (k != expected && isKey(item, k))
            return k;
    return kStyleKeys;
}

// Any other item of a style's block belongs to another writer and is kept.
bool isStyleKey(const CPItem& item) { return keyOf(item, 0) < kStyleKeys; }

} // namespace

bool CPlotStyle::init(const CPBlock& b, OdString* badKey) { return init(b, badKey, nullptr); }

bool CPlotStyle::init(const CPBlock& b, OdString* badKey, const OdString** names) {
    // One pass over the block finds every key (a block holds one item of a name
    // and kind at most); the values are then taken in the order of the keys.
    const CPItem* at[kStyleKeys] = {};
    size_t known = 0;
    for (size_t i = 0, next = 0; i < b.size(); ++i) {
        const size_t k = keyOf(*b.item(i), next, names);
        if (k < kStyleKeys) {
            at[k] = b.item(i);
            next = k + 1;
            ++known;
        }
    }
    auto str = [&](size_t k, OdString& out) {
        if (!at[k])
            return false;
        out = static_cast<const CPStr*>(at[k])->value();
        return true;
    };
    auto num = [&](size_t k, int& out) {
        return at[k] && ut::platform::scanInt(static_cast<const CPNum*>(at[k])->value().c_str(), out);
    };
    auto real = [&](size_t k, double& out) {
        float f = 0;
        if (!at[k] || !ut::platform::scanFloat(static_cast<const CPNum*>(at[k])->value().c_str(), f))
            return false;
        out = double(f);
        return true;
    };
    auto flag = [&](size_t k, bool& out) {
        if (!at[k])
            return false;
        out = static_cast<const CPBool*>(at[k])->value();
        return true;
    };
    const wchar_t* failed = nullptr;
    auto need = [&](bool ok, size_t k) {
        if (!ok && !failed)
            failed = kStyleKey[k].name;
        return ok;
    };
    // Short-circuits at the first failure so the fields after it stay as they were.
    const bool ok = need(str(0, m_name), 0) && need(str(1, m_localizedName), 1) && need(str(2, m_description), 2) &&
                    need(num(3, m_color), 3) && (num(4, m_modeColor) || (m_modeColor = m_color, true)) &&
                    need(num(5, m_colorPolicy), 5) && need(num(6, m_physicalPen), 6) &&
                    need(num(7, m_virtualPen), 7) && need(num(8, m_screen), 8) &&
                    need(real(9, m_linePatternSize), 9) && need(num(10, m_lineType), 10) &&
                    need(flag(11, m_adaptiveLinetype), 11) && need(num(12, m_lineWeight), 12) &&
                    need(num(13, m_fillStyle), 13) && need(num(14, m_endStyle), 14) && need(num(15, m_joinStyle), 15);
    if (!ok && badKey)
        *badKey = failed;
    m_foreign.clear();
    // A block of known keys only holds nothing else, which is nearly always so.
    if (ok && known < b.size())
        m_foreign.collect(b, isStyleKey);
    return ok;
}
