// Reading a plot style table straight from the lines of its text, without the
// general block tree: the tree costs a heap block or more per item, and a
// table's 255 styles are four thousand items read only to be copied into the
// styles. Every writer gives a table one shape (keys written in one order,
// styles numbered 0..n-1, one item a line), and this reader takes only that
// shape: the first line or value it does not expect makes it give up, and the
// general parse then reads the file, with its error messages. So whatever it
// accepts, it must read exactly as the general way would; the tests compare
// both on every table they have.
#include <cstring>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "plotstyletable.h"

#include "pia.h"
#include "platform/cnumbers.h"
#include "pia/pia_text.h"
#include "plotstyle/table_keys.h"

namespace {

using ut::plot::kStyleKey;
using ut::plot::kStyleKeys;

// One line of the text as the reader takes it.
struct Line {
    enum Shape { Empty, Value, Open, Close, Other } shape = Other;
    std::string_view key;   // Value and Open
    std::string_view value; // Value: everything after "="
};

// The shapes writers give lines: "key=value" with no blank around the "=" and
// no "{" in the value, "name{" and "}" alone, indented by blanks or not. A line
// of any other shape, even one the parser takes, is left to the parser.
Line shapeOf(const char* p, size_t length) {
    Line line;
    const char* const end = p + length;
    if (p == end) {
        line.shape = Line::Empty;
        return line;
    }
    while (p < end && *p == ' ')
        ++p;
    if (p < end && *p == '}') {
        line.shape = p + 1 == end ? Line::Close : Line::Other;
        return line;
    }
    const char* const key = p;
    p = pia::keyRunEnd(p, end);
    if (p == key || p == end)
        return line;
    line.key = std::string_view(key, size_t(p - key));
    if (*p == '{') {
        line.shape = p + 1 == end ? Line::Open : Line::Other;
        return line;
    }
    if (*p != '=' || p + 1 == end || std::memchr(p + 1, '{', size_t(end - p - 1)))
        return line;
    line.shape = Line::Value;
    line.value = std::string_view(p + 1, size_t(end - p - 1));
    return line;
}

// The kind the parser gives a value.
int kindOf(std::string_view v) {
    if (v[0] == '"')
        return kPStr;
    if (v[0] == '\\')
        return kPBin;
    const char* b = v.data();
    const char* e = b + v.size();
    if (pia::equalsAsciiNoCase(b, e, "true") || pia::equalsAsciiNoCase(b, e, "false"))
        return kPBool;
    return kPNum;
}

bool isTrue(std::string_view v) { return pia::equalsAsciiNoCase(v.data(), v.data() + v.size(), "true"); }

std::wstring widen(std::string_view s) {
    std::wstring w(s.size(), L'\0');
    for (size_t i = 0; i < s.size(); ++i)
        w[i] = wchar_t(static_cast<unsigned char>(s[i]));
    return w;
}

// A text of a line as the wide, terminated string the scanners and the item
// constructors take, without a heap block of its own; a line is at most 511 bytes.
struct WideText {
    explicit WideText(std::string_view s) {
        const size_t n = s.size() < std::size(text) - 1 ? s.size() : std::size(text) - 1;
        for (size_t i = 0; i < n; ++i)
            text[i] = wchar_t(static_cast<unsigned char>(s[i]));
        text[n] = L'\0';
    }
    wchar_t text[pia::TextLines::kMaxPiece + 1];
};

// The style keys as bytes, to compare with the text's.
struct NarrowStyleKeys {
    std::string names[kStyleKeys];
    NarrowStyleKeys() {
        for (size_t k = 0; k < kStyleKeys; ++k)
            names[k].assign(kStyleKey[k].name, kStyleKey[k].name + kStyleKey[k].length);
    }
};

// The decimal name of block or entry i, as the writer spells it.
bool isNumber(std::string_view key, size_t i) {
    char buf[24];
    size_t n = sizeof buf;
    do {
        buf[--n] = char('0' + i % 10);
        i /= 10;
    } while (i);
    return key == std::string_view(buf + n, sizeof buf - n);
}

// An item of a foreign block or a top-level key, as the general reader's copy
// of it would be.
CPItem* newItem(std::string_view key, int kind, std::string_view value) {
    switch (kind) {
    case kPBlock: return new CPBlock(WideText(key).text);
    case kPStr: return new CPStr(WideText(key).text, WideText(value.substr(1)).text);
    case kPNum: return new CPNum(WideText(key).text, WideText(value).text);
    case kPBool: return new CPBool(WideText(key).text, isTrue(value));
    }
    return nullptr;
}

} // namespace

bool CPlotStyleTable::initFromText(CPIAFileIn& in) {
    CPBlock root(L"");
    TextParts parts;
    if (!readText(in, root, parts))
        return false;
    OdString unused;
    return initFrom(root, &parts, &unused);
}

bool CPlotStyleTable::readText(CPIAFileIn& in, CPBlock& root, TextParts& parts) {
    // The style fields the number keys are read into; the other keys are not numbers.
    static constexpr int CPlotStyle::*kNumberField[kStyleKeys] = {nullptr,
                                                                  nullptr,
                                                                  nullptr,
                                                                  &CPlotStyle::m_color,
                                                                  &CPlotStyle::m_modeColor,
                                                                  &CPlotStyle::m_colorPolicy,
                                                                  &CPlotStyle::m_physicalPen,
                                                                  &CPlotStyle::m_virtualPen,
                                                                  &CPlotStyle::m_screen,
                                                                  nullptr,
                                                                  &CPlotStyle::m_lineType,
                                                                  nullptr,
                                                                  &CPlotStyle::m_lineWeight,
                                                                  &CPlotStyle::m_fillStyle,
                                                                  &CPlotStyle::m_endStyle,
                                                                  &CPlotStyle::m_joinStyle};

    pia::TextLines& lines = in.m_in->lines;
    // Within these, no file reaches the parser's bounds on items and text.
    if (!lines.isAscii() || lines.size() > CPIAParser::kMaxTextLength)
        return false;
    enum { Top, Styles, Style, Aci, Blocks } where = Top;
    // The known item the next foreign top-level one follows.
    OdString anchorName;
    int anchorKind = -1;
    std::set<std::pair<std::string, int>> foreignKeys;
    std::vector<CPBlock*> blocks; // open blocks of items, innermost last
    bool haveStyles = false, haveAci = false;
    CPlotStyle* style = nullptr;
    uint32_t keysSeen = 0;
    size_t nextKey = 0;
    bool modeColor = false; // whether the style's mode colour was read
    size_t items = 0;

    const char* text = nullptr;
    size_t length = 0;
    for (bool endedBefore = true; lines.nextBytes(text, length); endedBefore = lines.lineEnded()) {
        // A piece of a line longer than the reader's lines is for the parser to judge.
        if (!endedBefore)
            return false;
        const Line line = shapeOf(text, length);
        if (line.shape == Line::Empty)
            continue;
        if (line.shape == Line::Other)
            return false;
        if (line.shape != Line::Close && ++items > CPIAParser::kMaxItems)
            return false;
        const int kind = line.shape == Line::Value ? kindOf(line.value) : kPBlock;
        if (kind == kPBin)
            return false;

        switch (where) {
        case Top: {
            if (line.shape == Line::Close)
                return false;
            if (line.shape == Line::Open && line.key == "plot_style") {
                if (haveStyles)
                    return false;
                haveStyles = true;
                root.add(new CPBlock(L"plot_style"));
                where = Styles;
            } else if (line.shape == Line::Open && line.key == "aci_table") {
                if (haveAci)
                    return false;
                haveAci = true;
                root.add(new CPBlock(L"aci_table"));
                where = Aci;
            } else {
                std::unique_ptr<CPItem> item(newItem(line.key, kind, line.value));
                if (ut::plot::isTableKey(item->name(), kind)) {
                    CPItem* held = item.get();
                    if (!root.add(item.get()))
                        return false;
                    item.release();
                    if (kind == kPBlock) {
                        blocks.push_back(static_cast<CPBlock*>(held));
                        where = Blocks;
                    }
                } else {
                    // A table key of another kind is not foreign to the general
                    // reader, which says why it does not read.
                    for (int known : {kPStr, kPNum, kPBool, kPBlock})
                        if (ut::plot::isTableKey(item->name(), known))
                            return false;
                    if (!foreignKeys.emplace(std::string(line.key), kind).second)
                        return false;
                    if (kind == kPBlock) {
                        blocks.push_back(static_cast<CPBlock*>(item.get()));
                        where = Blocks;
                    }
                    parts.foreign.adopt(std::move(item), anchorName, anchorKind);
                    continue;
                }
            }
            anchorName = OdString(WideText(line.key).text);
            anchorKind = kind;
            break;
        }
        case Blocks: {
            if (line.shape == Line::Close) {
                blocks.pop_back();
                if (blocks.empty())
                    where = Top;
                break;
            }
            std::unique_ptr<CPItem> item(newItem(line.key, kind, line.value));
            CPItem* held = item.get();
            if (!blocks.back()->add(held))
                return false;
            item.release();
            if (kind == kPBlock) {
                if (blocks.size() >= 32)
                    return false;
                blocks.push_back(static_cast<CPBlock*>(held));
            }
            break;
        }
        case Styles:
            if (line.shape == Line::Close) {
                where = Top;
                break;
            }
            if (line.shape != Line::Open || !isNumber(line.key, parts.styles.size()) ||
                parts.styles.size() >= size_t(kMaxStyles))
                return false;
            parts.styles.push_back(std::make_unique<CPlotStyle>());
            style = parts.styles.back().get();
            keysSeen = 0;
            nextKey = 0;
            modeColor = false;
            where = Style;
            break;
        case Style: {
            if (line.shape == Line::Close) {
                // Every key but the mode colour, which defaults to the colour.
                if ((keysSeen | 1u << ut::plot::kModeColorKey) != (1u << kStyleKeys) - 1)
                    return false;
                if (!modeColor)
                    style->m_modeColor = style->m_color;
                where = Styles;
                break;
            }
            if (line.shape != Line::Value)
                return false;
            static const NarrowStyleKeys keys;
            size_t k = nextKey;
            if (k >= kStyleKeys || line.key != keys.names[k])
                for (k = 0; k < kStyleKeys && line.key != keys.names[k];)
                    ++k;
            // Another writer's key, a key of another kind or a second one.
            if (k == kStyleKeys || kStyleKey[k].kind != kind || (keysSeen & 1u << k))
                return false;
            keysSeen |= 1u << k;
            nextKey = k + 1;
            if (kind == kPStr) {
                OdString& field = k == 0 ? style->m_name : k == 1 ? style->m_localizedName : style->m_description;
                field = OdString(widen(line.value.substr(1)));
            } else if (kind == kPBool) {
                style->m_adaptiveLinetype = isTrue(line.value);
            } else if (k == 9) {
                float f = 0;
                if (!ut::platform::scanFloat(WideText(line.value).text, f))
                    return false;
                style->m_linePatternSize = double(f);
            } else {
                const bool read = ut::platform::scanInt(line.value, (*style).*kNumberField[k]);
                if (k == ut::plot::kModeColorKey)
                    modeColor = read;
                else if (!read)
                    return false;
            }
            break;
        }
        case Aci:
            if (line.shape == Line::Close) {
                where = Top;
                break;
            }
            if (kind != kPStr || !isNumber(line.key, parts.aci.size()) || parts.aci.size() >= size_t(CAciTable::kSize))
                return false;
            parts.aci.push_back(line.value.substr(1));
            break;
        }
    }
    // A block left open at the end is the parser's to close.
    return where == Top && haveStyles && (!haveAci || parts.aci.size() == size_t(CAciTable::kSize));
}

bool CPlotStyleTable::initAciText(const TextParts& parts) {
    // Entry k names style k in every table this reader takes; any other is read
    // the general way.
    m_aci.clear();
    for (size_t k = 0; k < parts.aci.size(); ++k) {
        if (k >= m_styles.size())
            return false;
        const std::wstring& name = m_styles[k]->name().str();
        const std::string_view value = parts.aci[k];
        if (name.size() != value.size())
            return false;
        for (size_t i = 0; i < value.size(); ++i)
            if (name[i] != wchar_t(static_cast<unsigned char>(value[i])))
                return false;
        m_aci.set(int(k) + 1, m_styles[k].get());
    }
    return true;
}
