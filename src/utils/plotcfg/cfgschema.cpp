#include "plotcfg/cfgschema.h"

#include <cmath>

#include "platform/cnumbers.h"
#include "ut_log.h"

// ------------------------------------------------------------------ hex text

namespace ut {

bool isHexText(const OdString& text) {
    const int n = text.getLength();
    if (n % 2 != 0)
        return false;
    for (int i = 0; i < n; ++i)
        if (platform::hexDigit(text.getAt(i)) < 0)
            return false;
    return true;
}

OdString bytesToHex(const uint8_t* data, size_t size) {
    static const wchar_t kDigits[] = L"0123456789ABCDEF";
    std::wstring s;
    s.reserve(size * 2);
    for (size_t i = 0; i < size; ++i) {
        s += kDigits[data[i] >> 4];
        s += kDigits[data[i] & 0x0F];
    }
    return OdString(std::move(s));
}

bool hexToBytes(const OdString& text, std::vector<uint8_t>& out) {
    if (!isHexText(text))
        return false;
    std::vector<uint8_t> bytes(size_t(text.getLength() / 2));
    for (size_t i = 0; i < bytes.size(); ++i)
        bytes[i] =
            uint8_t(platform::hexDigit(text.getAt(int(2 * i))) << 4 | platform::hexDigit(text.getAt(int(2 * i + 1))));
    out.swap(bytes);
    return true;
}

} // namespace ut

namespace plotcfg {

std::wstring joinPath(const std::wstring& parent, const OdString& name) {
    return parent.empty() ? name.str() : parent + L"/" + name.str();
}

std::wstring unstorableText(const OdString& text) {
    // The parser takes a line with "{" and "=" for a broken line, and a line break
    // would end the value early; neither can be escaped in this format.
    if (text.findOneOf(L"{\n\r") >= 0)
        return L"cannot be stored: it holds '{' or a line break";
    if (text.getLength() > kMaxTextLength)
        return L"cannot be stored: longer than " + std::to_wstring(kMaxTextLength) + L" characters";
    return std::wstring();
}

// ------------------------------------------------------------------ reading

bool BlockReader::fail(const wchar_t* what, const wchar_t* key, const std::wstring& reason) {
    if (m_err.message.empty()) {
        std::wstring where = m_path.empty() ? std::wstring() : L"block '" + m_path + L"': ";
        m_err.message = where + what + L" '" + key + L"' " + reason;
    }
    return false;
}

const CPItem* BlockReader::findTyped(const wchar_t* key, int kind, const wchar_t* expected, bool required, bool& ok) {
    ok = true;
    if (const CPItem* item = m_block->find(key, kind)) {
        use(item);
        return item;
    }
    // A block of a known key's name is a driver's own addition (a plotter's
    // media "type{}" beside the string "type"); only a value of another kind
    // means the key itself is wrong.
    for (int other : {kPBin, kPBool, kPStr, kPNum}) {
        if (other != kind && m_block->find(key, other)) {
            ok = fail(L"key", key, std::wstring(L"is a ") + itemKindName(other) + L", not a " + expected);
            return nullptr;
        }
    }
    if (required)
        ok = fail(L"key", key, L"is missing");
    return nullptr;
}

bool BlockReader::str(const wchar_t* key, OdString& out, bool required) {
    bool ok;
    if (const CPItem* item = findTyped(key, kPStr, L"string", required, ok))
        out = static_cast<const CPStr*>(item)->value();
    return ok;
}

bool BlockReader::integer(const wchar_t* key, int& out, bool required) {
    bool ok;
    if (findTyped(key, kPNum, L"number", required, ok) && !readInt(m_block, key, out))
        return fail(L"key", key, L"does not read as a whole number");
    return ok;
}

bool BlockReader::uinteger(const wchar_t* key, uint32_t& out) {
    int v = int(out);
    if (!integer(key, v))
        return false;
    // Written through "%d": values above INT_MAX come back negative and are
    // taken back bit for bit.
    out = uint32_t(v);
    return true;
}

bool BlockReader::real(const wchar_t* key, double& out, bool required) {
    bool ok;
    if (findTyped(key, kPNum, L"number", required, ok)) {
        double v = 0;
        if (!readDouble(m_block, key, v))
            return fail(L"key", key, L"does not read as a number");
        if (!std::isfinite(v))
            return fail(L"key", key, L"is not a finite number");
        out = v;
    }
    return ok;
}

bool BlockReader::boolean(const wchar_t* key, bool& out) {
    bool ok;
    if (const CPItem* item = findTyped(key, kPBool, L"boolean", false, ok))
        out = static_cast<const CPBool*>(item)->value();
    return ok;
}

bool BlockReader::optBool(const wchar_t* key, std::optional<bool>& out) {
    bool ok;
    if (const CPItem* item = findTyped(key, kPBool, L"boolean", false, ok))
        out = static_cast<const CPBool*>(item)->value();
    return ok;
}

const CPBlock* BlockReader::sub(const wchar_t* key, bool required) {
    if (const CPBlock* b = m_block->findBlock(key)) {
        use(b);
        return b;
    }
    if (required)
        fail(L"block", key, L"is missing");
    return nullptr;
}

void BlockReader::keepForeign(CPForeignItems& out) const {
    OdString anchorName;
    int anchorKind = -1;
    for (const CPItem* item : m_block->items()) {
        if (m_used.count(item)) {
            anchorName = item->name();
            anchorKind = item->kind();
        } else {
            out.append(*item, anchorName, anchorKind);
        }
    }
}

// ------------------------------------------------------------------ writing

BlockWriter::BlockWriter(CPBlock* block, const CPForeignItems* foreign, std::wstring path, SchemaError& err)
    : m_block(block), m_foreign(foreign), m_path(std::move(path)), m_err(err) {
    if (m_foreign)
        m_written.assign(m_foreign->size(), false);
    flushAfter(OdString(), -1);
}

bool BlockWriter::fail(const wchar_t* key, const std::wstring& reason) {
    if (m_err.message.empty()) {
        std::wstring where = m_path.empty() ? std::wstring() : L"block '" + m_path + L"': ";
        m_err.message = where + L"key '" + key + L"' " + reason;
    }
    return false;
}

void BlockWriter::flushAfter(const OdString& name, int kind) {
    if (!m_foreign)
        return;
    const auto& entries = m_foreign->entries();
    for (size_t i = 0; i < entries.size(); ++i) {
        if (m_written[i] || entries[i].anchorKind != kind || entries[i].anchorName != name)
            continue;
        m_written[i] = true;
        CPItem* copy = CPForeignItems::clone(*entries[i].item);
        // A foreign item can only clash with a known one when a caller put it
        // there; the known value wins.
        if (!m_block->add(copy))
            delete copy;
    }
}

void BlockWriter::finish() {
    if (!m_foreign)
        return;
    const auto& entries = m_foreign->entries();
    for (size_t i = 0; i < entries.size(); ++i) {
        if (m_written[i])
            continue;
        m_written[i] = true;
        CPItem* copy = CPForeignItems::clone(*entries[i].item);
        if (!m_block->add(copy))
            delete copy;
    }
}

bool BlockWriter::addKnown(CPItem* item) {
    if (!m_block->add(item)) {
        OdString name = item->name();
        delete item;
        return fail(name.c_str(), L"is there twice");
    }
    flushAfter(item->name(), item->kind());
    return true;
}

bool BlockWriter::str(const wchar_t* key, const OdString& value) {
    std::wstring why = unstorableText(value);
    if (!why.empty())
        return fail(key, why);
    return addKnown(new CPStr(key, value.c_str()));
}

bool BlockWriter::integer(const wchar_t* key, int value) { return addKnown(new CPNum(key, value)); }

bool BlockWriter::real(const wchar_t* key, double value) {
    if (!std::isfinite(value))
        return fail(key, L"cannot be stored: it is not a finite number");
    auto* item = new CPNum(key, value, -1);
    if (!item->readsBack()) {
        delete item;
        return fail(key, L"cannot be stored: too large for the file, whose numbers are single precision (at most "
                         L"about 3.4e38)");
    }
    return addKnown(item);
}

bool BlockWriter::boolean(const wchar_t* key, bool value) { return addKnown(new CPBool(key, value)); }

bool BlockWriter::bin(const wchar_t* key, const OdString& hex) {
    // The printer drops an empty binary item from the file, so an empty value
    // would come back as a missing key.
    if (hex.isEmpty())
        return fail(key, L"cannot be stored: an empty binary value is not written");
    if (!ut::isHexText(hex))
        return fail(key, L"cannot be stored: not hexadecimal text of two digits per byte");
    return addKnown(new CPBin(key, hex.c_str()));
}

bool BlockWriter::sub(const wchar_t* key, const std::function<bool(CPBlock*, const std::wstring&)>& fill) {
    auto* child = new CPBlock(key);
    if (!fill(child, joinPath(m_path, key))) {
        delete child;
        return false;
    }
    return addKnown(child);
}

// ------------------------------------------------------------------ container

void logParseFailure(const CPIAParser& parser, const wchar_t* what, const OdString& file, const char* source,
                     const char* function) {
    if (!parser.root())
        ut::logError(source, function, L"Cannot open %ls '%ls': %ls.", what, file.c_str(), parser.errorText());
    else if (parser.errorLine() > 0)
        ut::logError(source, function, L"Cannot read %ls '%ls': line %d: %ls.", what, file.c_str(), parser.errorLine(),
                     parser.errorText());
    else
        ut::logError(source, function, L"Cannot read %ls '%ls': %ls.", what, file.c_str(), parser.errorText());
}

int writeContainer(const CPBlock& root, const wchar_t* path, OdString& why) {
    if (!CPIAFileOut::canStore(&root, &why))
        return ZlibEngine::kUnstorable;
    CPIAFileOut out;
    int rc = out.open();
    if (rc == 0) {
        out.setFileType(CPIAFileOut::kPrinterConfig);
        out.writeBlock(&root);
        rc = out.close(path);
    }
    if (rc != 0) {
        why = out.errorText();
        if (why.isEmpty())
            why = ZlibEngine::resultText(rc);
    }
    return rc;
}

} // namespace plotcfg
