#include "plotstyletable.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>

#include <wx/translation.h>

#include "pia.h"
#include "plotstyle/block_cursor.h"
#include "plotstyle/table_keys.h"
#include "ut_filename.h"
#include "ut_log.h"

namespace {

const char kSource[] = "src/utils/plot/plotstyletable";

// The kind each key of a style block is stored as.
int styleKeyKind(const OdString& key) {
    if (key == L"adaptive_linetype")
        return kPBool;
    if (key == L"name" || key == L"localized_name" || key == L"description")
        return kPStr;
    return kPNum;
}

const CPItem* anyItem(const CPBlock& b, const wchar_t* key) {
    for (const CPItem* item : b.items())
        if (item->name() == key)
            return item;
    return nullptr;
}

// Why a key that was expected with a given kind could not be read: the words
// that follow the key's name in a message.
OdString problem(const CPBlock& b, const wchar_t* key, int kind) {
    OdString r;
    if (auto* item = b.find(key, kind)) {
        if (kind == kPNum)
            r.format(L"is not a number (\"%ls\")", static_cast<const CPNum*>(item)->value().c_str());
        else
            r = L"cannot be read";
    } else if (auto* other = anyItem(b, key)) {
        r.format(L"is a %ls where a %ls belongs", itemKindName(other->kind()), itemKindName(kind));
    } else {
        r = L"is missing";
    }
    return r;
}

// Optional table keys: a missing key keeps the default, a present one that does
// not read fails, so that a typo in a file is reported instead of ignored.
template <typename Read> bool optionalKey(const CPBlock& b, const wchar_t* key, int kind, Read read, OdString* error) {
    if (read())
        return true;
    if (!anyItem(b, key))
        return true;
    if (error)
        error->format(L"key \"%ls\" %ls", key, problem(b, key, kind).c_str());
    return false;
}

bool readStr(const CPBlock& b, const wchar_t* key, OdString& out) {
    auto* item = static_cast<const CPStr*>(b.find(key, kPStr));
    if (item)
        out = item->value();
    return item != nullptr;
}

bool readFlag(const CPBlock& b, const wchar_t* key, bool& out) {
    auto* item = static_cast<const CPBool*>(b.find(key, kPBool));
    if (item)
        out = item->value();
    return item != nullptr;
}

using ut::plot::decimalKey;

// The number a block is named by when the name is one written the way this
// library writes it ("0", "17"); SIZE_MAX otherwise.
size_t blockNumber(const OdString& name) {
    const std::wstring& s = name.str();
    if (s.empty() || s.size() > 9 || (s.size() > 1 && s[0] == L'0'))
        return SIZE_MAX;
    size_t n = 0;
    for (wchar_t c : s) {
        if (c < L'0' || c > L'9')
            return SIZE_MAX;
        n = n * 10 + size_t(c - L'0');
    }
    return n;
}

// "plot_style/3/description: ..." from the writer's check, with the style's name,
// which is how a user knows the style.
OdString withStyleName(const OdString& why, const CPlotStyleTable& t) {
    const std::wstring& w = why.str();
    static const std::wstring kPrefix = L"plot_style/";
    if (w.compare(0, kPrefix.size(), kPrefix) != 0)
        return why;
    const size_t slash = w.find(L'/', kPrefix.size());
    if (slash == std::wstring::npos)
        return why;
    const size_t n = blockNumber(OdString(w.substr(kPrefix.size(), slash - kPrefix.size())));
    const CPlotStyle* s = n < size_t(t.size()) ? t.style(int(n)) : nullptr;
    if (!s)
        return why;
    return OdString(L"style \"" + s->name().str() + L"\" (" + w.substr(0, w.find(L':')) + L")" +
                    w.substr(w.find(L':')));
}

} // namespace

namespace ut::plot {

bool isTableKey(const OdString& name, int kind) {
    static const struct {
        const wchar_t* name;
        int kind;
    } kKeys[] = {
        {L"description", kPStr},  {L"aci_table_available", kPBool}, {L"scale_factor", kPNum},
        {L"apply_factor", kPBool}, {L"custom_lineweight_display_units", kPNum}, {L"aci_table", kPBlock},
        {L"plot_style", kPBlock}, {L"custom_lineweight_table", kPBlock},
    };
    for (const auto& k : kKeys)
        if (k.kind == kind && name == k.name)
            return true;
    return false;
}

} // namespace ut::plot

using ut::plot::isTableKey;

// ---------------------------------------------------------------- lineweights

const double CCustomLineweightTable::kDefaults[kSize] = {0,    0.05, 0.09, 0.1,  0.13, 0.15, 0.18, 0.2, 0.25,
                                                         0.3,  0.35, 0.4,  0.45, 0.5,  0.53, 0.6,  0.65, 0.7,
                                                         0.8,  0.9,  1.0,  1.06, 1.2,  1.4,  1.58, 2.0,  2.11};

CCustomLineweightTable::CCustomLineweightTable() {
    for (int i = 0; i < kSize; ++i)
        m_values[size_t(i)] = kDefaults[i];
}

bool CCustomLineweightTable::set(int i, double millimetres) {
    if (i < 0 || i >= kSize || !checkLineWeightRange(millimetres, false))
        return false;
    m_values[size_t(i)] = millimetres;
    return true;
}

double CCustomLineweightTable::forStyle(int lineWeight) const {
    return lineWeight >= 1 && lineWeight <= kSize ? m_values[size_t(lineWeight - 1)] : -1.0;
}

bool CCustomLineweightTable::checkLineWeightRange(double& value, bool fix) {
    if (value >= 0.0 && value <= kMaxMillimetres)
        return true;
    if (fix)
        value = std::isnan(value) || value < 0.0 ? 0.0 : kMaxMillimetres;
    return false;
}

bool CCustomLineweightTable::checkLineWeightRange(double& value, const wchar_t* what, bool fix) {
    const double given = value;
    if (checkLineWeightRange(value, fix))
        return true;
    if (fix)
        ut::logWarning(kSource, "CCustomLineweightTable::checkLineWeightRange",
                       L"%ls: %f mm is outside 0 to %g mm; %f mm is used", what ? what : L"lineweight", given,
                       kMaxMillimetres, value);
    else
        ut::logWarning(kSource, "CCustomLineweightTable::checkLineWeightRange", L"%ls: %f mm is outside 0 to %g mm",
                       what ? what : L"lineweight", given, kMaxMillimetres);
    return false;
}

// ---------------------------------------------------------------- table

CPlotStyleTable::CPlotStyleTable() = default;
CPlotStyleTable::~CPlotStyleTable() = default;

CPlotStyleTable* CPlotStyleTable::create(bool colourDependent, const wchar_t* baseName) {
    auto* t = new CPlotStyleTable;
    t->m_useAci = t->m_hasAci = colourDependent;
    if (!colourDependent) {
        auto normal = std::make_unique<CPlotStyle>();
        normal->updateName(L"Normal");
        t->m_styles.push_back(std::move(normal));
        return t;
    }
    OdString base = baseName ? OdString(baseName) : OdString();
    if (base.isEmpty())
        base = OdString(wxGetTranslation(L"Color").ToStdWstring());
    t->m_styles.reserve(CAciTable::kSize);
    for (int i = 1; i <= CAciTable::kSize; ++i) {
        auto s = std::make_unique<CPlotStyle>();
        s->m_name.format(L"%ls_%d", base.c_str(), i);
        s->m_localizedName.format(L"%ls %d", base.c_str(), i);
        t->m_aci.set(i, s.get());
        t->m_styles.push_back(std::move(s));
    }
    return t;
}

CPlotStyle* CPlotStyleTable::find(const wchar_t* name) const {
    for (const auto& s : m_styles)
        if (s->name() == name)
            return s.get();
    return nullptr;
}

int CPlotStyleTable::findLocName(const wchar_t* locName) const {
    for (size_t i = 0; i < m_styles.size(); ++i)
        if (m_styles[i]->locName() == locName)
            return int(i);
    return -1;
}

bool CPlotStyleTable::nameInUse(const OdString& name, const OdString& locName, int except) const {
    for (size_t i = 0; i < m_styles.size(); ++i) {
        if (int(i) == except)
            continue;
        const CPlotStyle& s = *m_styles[i];
        if (s.name() == name || s.locName() == locName || s.name() == locName || s.locName() == name)
            return true;
    }
    return false;
}

int CPlotStyleTable::addStyle(const wchar_t* name, int after, const CPlotStyle* from) {
    if (m_useAci || !name || !*name || size() >= kMaxStyles)
        return -1;
    auto s = from ? std::make_unique<CPlotStyle>(*from) : std::make_unique<CPlotStyle>();
    s->updateName(name);
    if (s->name().getLength() > kMaxNameLength || nameInUse(s->name(), s->locName(), -1))
        return -1;
    const int at = after < 0 ? 0 : (after >= size() ? size() : after + 1);
    m_styles.insert(m_styles.begin() + at, std::move(s));
    return at;
}

bool CPlotStyleTable::renameStyle(int i, const wchar_t* name) {
    CPlotStyle* s = style(i);
    if (m_useAci || !s || !name || !*name || s->name() == L"Normal")
        return false;
    CPlotStyle probe;
    probe.updateName(name);
    if (probe.name().getLength() > kMaxNameLength || nameInUse(probe.name(), probe.locName(), i))
        return false;
    s->updateName(name);
    return true;
}

bool CPlotStyleTable::deleteStyle(int i) {
    CPlotStyle* s = style(i);
    if (m_useAci || !s || s->name() == L"Normal")
        return false;
    for (int k = 1; k <= CAciTable::kSize; ++k)
        if (m_aci.at(k) == s)
            m_aci.set(k, i == 0 ? nullptr : style(0));
    m_styles.erase(m_styles.begin() + i);
    return true;
}

bool CPlotStyleTable::addACI(const int* map) {
    if (!map)
        return false;
    for (int k = 0; k < CAciTable::kSize; ++k)
        if (!style(map[k]))
            return false;
    for (int k = 0; k < CAciTable::kSize; ++k)
        m_aci.set(k + 1, style(map[k]));
    m_hasAci = true;
    return true;
}

void CPlotStyleTable::deleteACI() {
    m_aci.clear();
    m_hasAci = false;
}

// ---------------------------------------------------------------- block form

bool CPlotStyleTable::writeAciEntry(CPBlock& aciBlock, int k) const {
    const CPlotStyle* s = m_aci.at(k + 1);
    auto* item = new CPStr(decimalKey(k), s ? s->name().c_str() : L"");
    if (!aciBlock.add(item)) {
        delete item;
        return false;
    }
    return true;
}

bool CPlotStyleTable::writeCLW(CPBlock& clwBlock, int k) const {
    auto* item = new CPNum(decimalKey(k), m_lineWeights.at(k), 6);
    if (!clwBlock.add(item)) {
        delete item;
        return false;
    }
    return true;
}

bool CPlotStyleTable::writeToBlock(CPBlock& root) const {
    bool ok = true;
    std::vector<CPItem*> known;
    known.push_back(new CPStr(L"description", m_description));
    known.push_back(new CPBool(L"aci_table_available", m_hasAci));
    known.push_back(new CPNum(L"scale_factor", m_scaleFactor, 6));
    known.push_back(new CPBool(L"apply_factor", m_applyFactor));
    known.push_back(new CPNum(L"custom_lineweight_display_units", m_lineWeightUnits));

    if (m_useAci && m_hasAci) {
        auto* aci = new CPBlock(L"aci_table");
        for (int k = 0; k < CAciTable::kSize; ++k)
            ok = writeAciEntry(*aci, k) && ok;
        known.push_back(aci);
    }

    // Mode colour is all or nothing: a reader fills a missing one from the
    // colour, which is only right while every style plots its plain colour.
    bool withModeColor = false;
    for (const auto& s : m_styles)
        if (s->color_policy() != CPlotStyle::kPolicyDither || s->color() != CPlotStyle::kObjectColor)
            withModeColor = true;
    auto* styles = new CPBlock(L"plot_style");
    for (size_t i = 0; i < m_styles.size(); ++i)
        ok = m_styles[i]->write(*styles, int(i), withModeColor) && ok;
    known.push_back(styles);

    auto* clw = new CPBlock(L"custom_lineweight_table");
    for (int k = 0; k < CCustomLineweightTable::kSize; ++k)
        ok = writeCLW(*clw, k) && ok;
    known.push_back(clw);

    // A root that already holds one of the table's keys cannot take the table.
    for (const CPItem* item : known)
        ok = ok && !root.find(item->name().c_str(), item->kind());
    if (!ok) {
        for (CPItem* item : known)
            delete item;
        return false;
    }
    // The keys and blocks of other writers go back where they stood.
    m_foreign.weave(root, known);
    return true;
}

bool CPlotStyleTable::initCLW(const CPBlock& block, OdString* error) {
    ut::plot::BlockCursor entries(block);
    for (int k = 0; k < CCustomLineweightTable::kSize; ++k) {
        const OdString key = decimalKey(k);
        double v = 0;
        if (!entries.readDouble(key, v)) {
            if (!anyItem(block, key))
                continue; // a short table keeps the defaults for the rest
            if (error)
                error->format(L"custom_lineweight_table: entry %d %ls", k, problem(block, key, kPNum).c_str());
            return false;
        }
        if (!CCustomLineweightTable::checkLineWeightRange(v, false)) {
            OdString what;
            what.format(L"custom lineweight %d", k);
            CCustomLineweightTable::checkLineWeightRange(v, what, true);
        }
        m_lineWeights.set(k, v);
    }
    return true;
}

bool CPlotStyleTable::initAci(const CPBlock& block, OdString* error) {
    // Entry k nearly always names style k; the others are looked up by name.
    std::unordered_map<std::wstring_view, CPlotStyle*> byName;
    auto named = [&](size_t k, const std::wstring& name) -> CPlotStyle* {
        if (k < m_styles.size() && m_styles[k]->name().str() == name)
            return m_styles[k].get();
        if (byName.empty()) {
            byName.reserve(m_styles.size());
            for (const auto& s : m_styles)
                byName.emplace(s->name().str(), s.get());
        }
        auto it = byName.find(name);
        return it == byName.end() ? nullptr : it->second;
    };
    m_aci.clear();
    ut::plot::BlockCursor entries(block);
    for (int k = 0; k < CAciTable::kSize; ++k) {
        const OdString key = decimalKey(k);
        auto* entry = static_cast<const CPStr*>(entries.find(key, kPStr));
        if (!entry) {
            // A named table may map only some colours; a colour-dependent one
            // must map them all or objects of a colour would have no pen.
            if (!m_useAci && !anyItem(block, key))
                continue;
            if (error)
                error->format(L"aci_table: entry %d %ls", k, problem(block, key, kPStr).c_str());
            return false;
        }
        CPlotStyle* style = named(size_t(k), entry->value().str());
        if (!style) {
            if (error)
                error->format(L"aci_table: entry %d names the style \"%ls\", which does not exist", k,
                              entry->value().c_str());
            return false;
        }
        m_aci.set(k + 1, style);
    }
    return true;
}

bool CPlotStyleTable::init(CPIAParser& parser, OdString* error) {
    const CPBlock* root = parser.root();
    if (!root) {
        m_styles.clear();
        m_aci.clear();
        if (error)
            *error = L"the file holds no parameter text";
        return false;
    }
    return initFrom(*root, nullptr, error);
}

bool CPlotStyleTable::initFrom(const CPBlock& r, TextParts* parts, OdString* error) {
    OdString scratch;
    if (!error)
        error = &scratch;
    m_styles.clear();
    m_aci.clear();
    bool available = false, haveAvailable = false;
    if (!optionalKey(r, L"description", kPStr, [&] { return readStr(r, L"description", m_description); }, error) ||
        !optionalKey(r, L"aci_table_available", kPBool,
                     [&] { return haveAvailable = readFlag(r, L"aci_table_available", available); }, error) ||
        !optionalKey(r, L"scale_factor", kPNum, [&] { return readDouble(&r, L"scale_factor", m_scaleFactor); },
                     error) ||
        !optionalKey(r, L"apply_factor", kPBool, [&] { return readFlag(r, L"apply_factor", m_applyFactor); }, error) ||
        !optionalKey(r, L"custom_lineweight_display_units", kPNum,
                     [&] { return readInt(&r, L"custom_lineweight_display_units", m_lineWeightUnits); }, error))
        return false;

    const CPBlock* styles = r.findBlock(L"plot_style");
    if (!styles) {
        *error = L"there is no \"plot_style\" block";
        return false;
    }
    size_t count = 0;
    if (parts)
        count = parts->styles.size();
    else
        for (const CPItem* item : styles->items())
            count += item->kind() == kPBlock;
    if (count > size_t(kMaxStyles)) {
        error->format(L"plot_style holds %zu styles; at most %d are accepted", count, kMaxStyles);
        return false;
    }
    m_styles.reserve(count);
    // The styles kept so far by name (1 + position in m_styles and in `from`, 0
    // for a free slot), in one table at most half full: a map would allocate a
    // node per style.
    std::vector<uint32_t> seen(std::bit_ceil(count * 2 + 2), 0);
    std::vector<const CPItem*> from;
    from.reserve(count);
    const std::hash<std::wstring_view> hashName;
    // Keeps a style unless an earlier one has its name.
    auto keep = [&](std::unique_ptr<CPlotStyle> s, const CPItem* item) {
        const std::wstring& name = s->name().str();
        const size_t mask = seen.size() - 1;
        size_t slot = hashName(name) & mask;
        for (; seen[slot] != 0; slot = (slot + 1) & mask) {
            if (m_styles[seen[slot] - 1]->name().str() == name) {
                // Read from the text, the blocks are named by their positions.
                const size_t earlier = seen[slot] - 1;
                error->format(L"plot_style %ls and %ls share the name \"%ls\"",
                              item ? from[earlier]->name().c_str() : decimalKey(int(earlier)).c_str(),
                              item ? item->name().c_str() : decimalKey(int(m_styles.size())).c_str(),
                              s->name().c_str());
                return false;
            }
        }
        m_styles.push_back(std::move(s));
        from.push_back(item);
        seen[slot] = uint32_t(m_styles.size());
        return true;
    };
    if (parts) {
        // Their blocks were named 0..n-1 in order.
        for (auto& s : parts->styles)
            if (!keep(std::move(s), nullptr))
                return false;
    } else {
        // The number each block is named by, while all are numbers 0..count-1 each
        // used once; cleared at the first that is not.
        std::vector<size_t> numbers;
        std::vector<bool> numberUsed(count, false);
        numbers.reserve(count);
        bool numbered = true;
        // The names the keys of the styles' blocks were last found under.
        const OdString* keyNames[16] = {};
        for (const CPItem* item : styles->items()) {
            if (item->kind() != kPBlock)
                continue;
            if (numbered) {
                const size_t n = blockNumber(item->name());
                numbered = n < count && !numberUsed[n];
                if (numbered) {
                    numberUsed[n] = true;
                    numbers.push_back(n);
                }
            }
            auto s = std::make_unique<CPlotStyle>();
            OdString badKey;
            const auto& block = *static_cast<const CPBlock*>(item);
            if (!s->init(block, &badKey, keyNames)) {
                OdString who = item->name();
                if (!s->name().isEmpty())
                    who += OdString(L" (\"") + s->name() + L"\")";
                error->format(L"plot_style %ls: key \"%ls\" %ls", who.c_str(), badKey.c_str(),
                              problem(block, badKey, styleKeyKind(badKey)).c_str());
                return false;
            }
            if (!keep(std::move(s), item))
                return false;
        }
        // Blocks named 0..n-1 out of order (a newer writer stores them in the order of
        // its hash table) stand for the styles in the order of their numbers: colour
        // k is the block named k-1, not the k-th block.
        if (numbered && !std::is_sorted(numbers.begin(), numbers.end())) {
            std::vector<std::unique_ptr<CPlotStyle>> ordered(m_styles.size());
            for (size_t i = 0; i < m_styles.size(); ++i)
                ordered[numbers[i]] = std::move(m_styles[i]);
            m_styles.swap(ordered);
        }
    }

    const CPBlock* aci = r.findBlock(L"aci_table");
    if (!haveAvailable)
        available = aci != nullptr;
    switch (m_expected) {
    case Kind::ColourDependent: m_useAci = true; break;
    case Kind::Named: m_useAci = false; break;
    case Kind::Unknown: m_useAci = available && aci; break;
    }
    m_hasAci = available;
    if (aci && !(parts ? initAciText(*parts) : initAci(*aci, error)))
        return false;
    if (m_useAci) {
        if (!aci) {
            // Tables without the block map colour index k to the k-th style.
            if (size() < CAciTable::kSize) {
                error->format(L"a colour-dependent table needs an aci_table or %d styles, not %d", CAciTable::kSize,
                              size());
                return false;
            }
            for (int k = 1; k <= CAciTable::kSize; ++k)
                m_aci.set(k, style(k - 1));
        }
        m_hasAci = true;
    }

    if (const CPBlock* clw = r.findBlock(L"custom_lineweight_table"))
        if (!initCLW(*clw, error))
            return false;
    m_foreign.clear();
    if (parts)
        m_foreign = std::move(parts->foreign);
    else
        m_foreign.collect(r, [](const CPItem& item) { return isTableKey(item.name(), item.kind()); });
    return true;
}

// ---------------------------------------------------------------- files

CPlotStyleTable* CPlotStyleTable::load(const wchar_t* path, OdString& error) {
    if (!path || !*path) {
        error = L"no file name";
        return nullptr;
    }
    Kind expected = Kind::Unknown;
    const ut::FileName name{OdString(path)};
    if (name.hasExt(L"ctb"))
        expected = Kind::ColourDependent;
    else if (name.hasExt(L"stb"))
        expected = Kind::Named;
    // Nearly every file is read straight from its lines. Any other goes the
    // general way below, which also says what is wrong with it, if anything.
    CPIAFileIn in;
    const int opened = in.open(path);
    if (opened == 0) {
        auto table = std::make_unique<CPlotStyleTable>();
        table->m_expected = expected;
        if (table->initFromText(in)) {
            table->m_expected = Kind::Unknown;
            return table.release();
        }
    }
    CPIAParser parser;
    if (!parser.parseOpened(in, opened)) {
        const wchar_t* why = parser.errorText();
        if (parser.errorLine() > 0)
            error.format(L"line %d of the parameter text: %ls", parser.errorLine(),
                         why && *why ? why : L"cannot be parsed");
        else if (why && *why)
            error = why;
        else
            error = parser.root() ? L"the parameter text cannot be parsed" : L"the file cannot be opened";
        return nullptr;
    }
    auto table = std::make_unique<CPlotStyleTable>();
    table->m_expected = expected;
    if (!table->init(parser, &error))
        return nullptr;
    table->m_expected = Kind::Unknown;
    return table.release();
}

CPlotStyleTable* CPlotStyleTable::read(const wchar_t* path, OdString* error) {
    OdString reason;
    CPlotStyleTable* t = load(path, reason);
    if (!t && error)
        *error = reason;
    return t;
}

CPlotStyleTable* CPlotStyleTable::read(const wchar_t* path) {
    OdString reason;
    CPlotStyleTable* t = load(path, reason);
    if (!t)
        ut::logError(kSource, "CPlotStyleTable::read", L"%ls: %ls", path ? path : L"", reason.c_str());
    return t;
}

bool CPlotStyleTable::write(const wchar_t* path) const {
    OdString reason;
    if (write(path, &reason))
        return true;
    if (path)
        ut::logError(kSource, "CPlotStyleTable::write", L"%ls: not written: %ls", path, reason.c_str());
    return false;
}

bool CPlotStyleTable::write(const wchar_t* path, OdString* error, bool replaceExisting) const {
    OdString scratch;
    if (!error)
        error = &scratch;
    if (!path || !*path) {
        *error = L"no file name";
        return false;
    }
    CPBlock root(L"");
    if (!writeToBlock(root)) {
        *error = L"the table cannot be laid out";
        return false;
    }
    // Refused before anything is written: the file would not read back as this
    // table, and the user's file keeps what it holds.
    OdString why;
    if (!CPIAFileOut::canStore(&root, &why)) {
        *error = withStyleName(why, *this);
        return false;
    }
    CPIAFileOut out;
    int rc = out.open();
    if (rc == 0) {
        out.setFileType(ut::FileName(OdString(path)).hasExt(L"ctb") ? CPIAFileOut::kColorTable
                                                                     : CPIAFileOut::kNamedTable);
        out.writeBlock(&root);
        rc = out.close(path, replaceExisting);
    }
    if (rc != 0) {
        *error = out.errorText();
        if (error->isEmpty())
            *error = ZlibEngine::resultText(rc);
    }
    return rc == 0;
}
