// Lookups in a parameter block that expect the keys in the order they are read.
// Every known writer of plot style tables lists a style's keys, and the entries of
// "aci_table" and "custom_lineweight_table", in exactly that order, so trying the
// item after the previous match first turns a block's worth of lookups into one
// pass instead of a linear search per key. The result is that of CPBlock::find:
// a block never holds two items of one name and kind (add refuses them), so the
// match found first is the only one.
#pragma once

#include "pia.h"
#include "platform/cnumbers.h"

namespace ut::plot {

// The decimal name of a numbered item ("0", "17", "-3"), without a trip
// through the wide printf, which costs more than the rest of a lookup.
inline OdString decimalKey(int i) {
    wchar_t buf[16];
    wchar_t* p = buf + 15;
    *p = 0;
    unsigned v = i < 0 ? 0u - unsigned(i) : unsigned(i);
    do {
        *--p = wchar_t(L'0' + v % 10);
        v /= 10;
    } while (v);
    if (i < 0)
        *--p = L'-';
    return OdString(p);
}

class BlockCursor {
public:
    explicit BlockCursor(const CPBlock& block) : m_block(block) {}

    const CPItem* find(const wchar_t* name, int kind) {
        const size_t n = m_block.size();
        if (m_next < n && matches(m_block.item(m_next), name, kind))
            return m_block.item(m_next++);
        for (size_t i = 0; i < n; ++i) {
            if (matches(m_block.item(i), name, kind)) {
                m_next = i + 1;
                return m_block.item(i);
            }
        }
        return nullptr;
    }

    // As readInt and readDouble (the same scanners, so the same results),
    // without their search from the start of the block.
    bool readInt(const wchar_t* name, int& out) {
        auto* item = static_cast<const CPNum*>(find(name, kPNum));
        return item && ut::platform::scanInt(item->value().c_str(), out);
    }
    bool readDouble(const wchar_t* name, double& out) {
        auto* item = static_cast<const CPNum*>(find(name, kPNum));
        float f = 0;
        if (!item || !ut::platform::scanFloat(item->value().c_str(), f))
            return false;
        out = double(f);
        return true;
    }
    bool readString(const wchar_t* name, OdString& out) {
        auto* item = static_cast<const CPStr*>(find(name, kPStr));
        if (item)
            out = item->value();
        return item != nullptr;
    }
    bool readBool(const wchar_t* name, bool& out) {
        auto* item = static_cast<const CPBool*>(find(name, kPBool));
        if (item)
            out = item->value();
        return item != nullptr;
    }

private:
    static bool matches(const CPItem* item, const wchar_t* name, int kind) {
        return item->kind() == kind && item->name() == name;
    }

    const CPBlock& m_block;
    size_t m_next = 0;
};

} // namespace ut::plot
