// The parameter block tree: items, blocks and the typed readers.
#include <charconv>
#include <cmath>
#include <cwchar>
#include <memory>
#include <string>

#include "pia.h"
#include "pia/pia_pool.h"
#include "platform/cnumbers.h"

// An owned name is an array of one, so that every name an item owns (alone or
// as the first of a pair) is freed the same way.
CPItem::CPItem(int kind, const wchar_t* name) : m_name(nullptr), m_kind(kind), m_flags(kOwnsName) {
    std::unique_ptr<OdString[]> own(new OdString[1]);
    own[0] = name;
    m_name = own.release();
}

CPItem::CPItem(int kind, const wchar_t* name, OdString&& value) : m_name(nullptr), m_kind(kind), m_flags(kPair) {
    std::unique_ptr<OdString[]> pair(new OdString[2]);
    pair[0] = name;
    pair[1] = std::move(value);
    m_name = pair.release();
}

CPItem::~CPItem() {
    if (m_flags & (kPair | kOwnsName))
        delete[] m_name;
}

void CPItem::setText(const OdString*& slot, const OdString& text) {
    if (m_flags & (kOwnsValue | kPair)) {
        *const_cast<OdString*>(slot) = text;
        return;
    }
    // A parsed item shares its text with others of the same value: it gets a
    // copy of its own rather than changing theirs.
    slot = new OdString(text);
    m_flags |= kOwnsValue;
}

CPBin::~CPBin() { releaseText(m_value); }
CPStr::~CPStr() { releaseText(m_value); }
CPNum::~CPNum() { releaseText(m_value); }

const wchar_t* itemKindName(int kind) {
    switch (kind) {
    case kPBin: return L"binary value";
    case kPBlock: return L"block";
    case kPBool: return L"boolean";
    case kPStr: return L"string";
    case kPNum: return L"number";
    }
    return L"item";
}

namespace {

// Widens ASCII digits, sign and point.
OdString asciiToWide(const char* s, size_t n) {
    std::wstring w(n, L'\0');
    for (size_t i = 0; i < n; ++i)
        w[i] = static_cast<wchar_t>(static_cast<unsigned char>(s[i]));
    return OdString(std::move(w));
}

// "%.*f": fixed notation with exactly precision digits after the point (none and
// no point for 0), never an exponent; done by to_chars so that no locale can turn
// the point into a comma.
OdString formatFixed(double value, int precision) {
    if (precision < 0)
        precision = 6;
    // A double has at most 1074 significant digits after the point; printf pads
    // any further ones with zeros, and so do we.
    const int exact = precision > 1074 ? 1074 : precision;
    std::string buf(size_t(330 + exact), '\0');
    auto r = std::to_chars(buf.data(), buf.data() + buf.size(), value, std::chars_format::fixed, exact);
    buf.resize(size_t(r.ptr - buf.data()));
    if (precision > exact && buf.find_first_not_of("-+0123456789.") == std::string::npos)
        buf.append(size_t(precision - exact), '0');
    return asciiToWide(buf.data(), buf.size());
}

// Whether the readers take text, written for value with precision decimals, back
// as value: they round it once to single precision. What they give back may be
// off by the rounding to the decimals written plus that to single precision, and
// no more.
bool readsBackAs(const OdString& text, double value, int precision) {
    float f = 0;
    if (!std::isfinite(value) || !ut::platform::scanFloat(text.c_str(), f) || !std::isfinite(f))
        return false;
    const double decimals = 0.5 * std::pow(10.0, -double(precision < 0 ? 6 : precision));
    // Half a unit in the last place of a float, subnormal ones included.
    const double single = (std::fabs(value) + 2 * decimals) * std::ldexp(1.0, -24) + std::ldexp(1.0, -150);
    return std::fabs(double(f) - value) <= (decimals + single) * (1 + std::ldexp(1.0, -40));
}

} // namespace

CPNum::CPNum(const wchar_t* name, double value, int precision)
    : CPItem(kPNum, name, formatFixed(value, precision)), m_value(valueText()) {
    if (!readsBackAs(*m_value, value, precision))
        markInexact();
}

namespace {

OdString decimal(int value) {
    char buf[16];
    auto r = std::to_chars(buf, buf + sizeof buf, value);
    return asciiToWide(buf, size_t(r.ptr - buf));
}

} // namespace

CPNum::CPNum(const wchar_t* name, int value) : CPItem(kPNum, name, decimal(value)), m_value(valueText()) {}

CPBlock::~CPBlock() {
    for (CPItem* item : m_items)
        destroy(item);
}

namespace {

// Below this many children a linear search is faster than hashing, and a
// style's block (15 or 16 keys) goes without a table.
constexpr size_t kIndexFrom = 24;

uint32_t hashName(const wchar_t* name, size_t length, int kind) {
    uint32_t h = 2166136261u ^ uint32_t(kind);
    for (size_t i = 0; i < length; ++i)
        h = (h ^ uint32_t(name[i])) * 16777619u;
    return h;
}

bool sameName(const OdString& a, const wchar_t* b, size_t length) {
    const std::wstring& s = a.str();
    return s.size() == length && (length == 0 || (s[0] == b[0] && std::wmemcmp(s.data(), b, length) == 0));
}

} // namespace

CPItem* CPBlock::findHashed(const wchar_t* name, size_t length, int kind, uint32_t hash) const {
    if (m_index.empty()) {
        for (CPItem* item : m_items)
            if (item->kind() == kind && sameName(item->name(), name, length))
                return item;
        return nullptr;
    }
    const size_t mask = m_index.size() - 1;
    for (size_t slot = hash & mask;; slot = (slot + 1) & mask) {
        const uint32_t entry = m_index[slot];
        if (entry == 0)
            return nullptr;
        CPItem* item = m_items[entry - 1];
        if (item->kind() == kind && sameName(item->name(), name, length))
            return item;
    }
}

void CPBlock::indexChild(size_t position, uint32_t hash) {
    const size_t mask = m_index.size() - 1;
    size_t slot = hash & mask;
    while (m_index[slot] != 0)
        slot = (slot + 1) & mask;
    m_index[slot] = uint32_t(position + 1);
}

CPItem* CPBlock::find(const wchar_t* name, int kind) const {
    if (!name)
        name = L"";
    const size_t length = std::wcslen(name);
    return findHashed(name, length, kind, m_index.empty() ? 0 : hashName(name, length, kind));
}

bool CPBlock::add(CPItem* item) {
    if (!item || (item->m_flags & kHeld))
        return false;
    const std::wstring& name = item->name().str();
    const bool indexed = !m_index.empty() || m_items.size() + 1 >= kIndexFrom;
    const uint32_t hash = indexed ? hashName(name.data(), name.size(), item->kind()) : 0;
    if (findHashed(name.data(), name.size(), item->kind(), hash))
        return false;
    m_items.push_back(item);
    item->m_flags |= kHeld;
    if (!indexed)
        return true;
    // Kept at most half full so that probes stay short.
    if (m_items.size() * 2 > m_index.size())
        reindex(m_index.empty() ? 64 : m_index.size() * 2);
    else
        indexChild(m_items.size() - 1, hash);
    return true;
}

void CPBlock::reindex(size_t slots) {
    m_index.assign(slots, 0);
    for (size_t i = 0; i < m_items.size(); ++i) {
        const std::wstring& n = m_items[i]->name().str();
        indexChild(i, hashName(n.data(), n.size(), m_items[i]->kind()));
    }
}

void CPBlock::adopt(CPItem* const* items, size_t count) {
    // Parsed items are held from the start.
    m_items.assign(items, items + count);
    if (count >= kIndexFrom) {
        size_t slots = 64;
        while (slots < count * 2)
            slots *= 2;
        reindex(slots);
    }
}

// ---------------------------------------------------------------- foreign items

CPForeignItems::CPForeignItems(const CPForeignItems& other) { *this = other; }

CPForeignItems& CPForeignItems::operator=(const CPForeignItems& other) {
    if (this == &other)
        return *this;
    std::vector<Entry> copy;
    copy.reserve(other.m_entries.size());
    for (const auto& e : other.m_entries)
        copy.push_back(Entry{e.anchorName, e.anchorKind, std::unique_ptr<CPItem>(clone(*e.item))});
    m_entries = std::move(copy);
    return *this;
}

CPForeignItems::~CPForeignItems() = default;

void CPForeignItems::append(const CPItem& item, const OdString& anchorName, int anchorKind) {
    m_entries.push_back(Entry{anchorName, anchorKind, std::unique_ptr<CPItem>(clone(item))});
}

void CPForeignItems::adopt(std::unique_ptr<CPItem> item, const OdString& anchorName, int anchorKind) {
    m_entries.push_back(Entry{anchorName, anchorKind, std::move(item)});
}

CPItem* CPForeignItems::clone(const CPItem& item) {
    const wchar_t* name = item.name().c_str();
    switch (item.kind()) {
    case kPBin: return new CPBin(name, static_cast<const CPBin&>(item).value().c_str());
    case kPBool: return new CPBool(name, static_cast<const CPBool&>(item).value());
    case kPStr: return new CPStr(name, static_cast<const CPStr&>(item).value().c_str());
    case kPNum: return new CPNum(name, static_cast<const CPNum&>(item).value().c_str());
    case kPBlock: {
        auto* copy = new CPBlock(name);
        for (const CPItem* child : static_cast<const CPBlock&>(item).items()) {
            CPItem* c = clone(*child);
            if (!copy->add(c))
                delete c; // cannot happen for a well-formed block; never leak
        }
        return copy;
    }
    }
    // Kinds outside the five are not printed by the writer either; keep an empty
    // block so the entry stays valid.
    return new CPBlock(name);
}

void CPForeignItems::weave(CPBlock& block, const std::vector<CPItem*>& known) const {
    std::vector<bool> written(m_entries.size(), false);
    auto put = [&block](CPItem* item) {
        if (!block.add(item))
            delete item;
    };
    auto after = [&](const OdString& name, int kind) {
        for (size_t i = 0; i < m_entries.size(); ++i) {
            if (!written[i] && m_entries[i].anchorKind == kind && m_entries[i].anchorName == name) {
                written[i] = true;
                put(clone(*m_entries[i].item));
            }
        }
    };
    after(OdString(), -1);
    for (CPItem* item : known) {
        const OdString name = item->name();
        const int kind = item->kind();
        put(item);
        after(name, kind);
    }
    for (size_t i = 0; i < m_entries.size(); ++i)
        if (!written[i])
            put(clone(*m_entries[i].item));
}

bool readInt(const CPBlock* block, const wchar_t* name, int& out) {
    const CPItem* item = block ? block->find(name, kPNum) : nullptr;
    return item && ut::platform::scanInt(static_cast<const CPNum*>(item)->value().c_str(), out);
}

bool readDouble(const CPBlock* block, const wchar_t* name, double& out) {
    const CPItem* item = block ? block->find(name, kPNum) : nullptr;
    float f;
    if (!item || !ut::platform::scanFloat(static_cast<const CPNum*>(item)->value().c_str(), f))
        return false;
    // Values travel through single precision on purpose: files written with six
    // decimals must read back as the application always read them.
    out = static_cast<double>(f);
    return true;
}
