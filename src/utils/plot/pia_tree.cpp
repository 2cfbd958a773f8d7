// The parameter block tree: items, blocks and the typed readers.
#include <charconv>
#include <string>

#include "pia.h"
#include "platform/cnumbers.h"

CPItem::~CPItem() = default;

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

} // namespace

CPNum::CPNum(const wchar_t* name, double value, int precision)
    : CPItem(kPNum, name), m_value(formatFixed(value, precision)) {}

CPNum::CPNum(const wchar_t* name, int value) : CPItem(kPNum, name) {
    char buf[16];
    auto r = std::to_chars(buf, buf + sizeof buf, value);
    m_value = asciiToWide(buf, size_t(r.ptr - buf));
}

CPBlock::~CPBlock() {
    for (CPItem* item : m_items)
        delete item;
}

CPItem* CPBlock::find(const wchar_t* name, int kind) const {
    const std::wstring_view wanted(name ? name : L"");
    for (CPItem* item : m_items)
        if (item->kind() == kind && std::wstring_view(item->name().str()) == wanted)
            return item;
    return nullptr;
}

bool CPBlock::add(CPItem* item) {
    if (!item || find(item->name().c_str(), item->kind()))
        return false;
    m_items.push_back(item);
    return true;
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
