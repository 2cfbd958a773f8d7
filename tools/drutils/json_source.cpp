#include "json_source.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "cli.h"
#include "platform/cnumbers.h"
#include "platform/codepage.h"

namespace source {

namespace {

// U+FDD0 is a noncharacter, kept for a program's own use: followed by four hex
// digits it stands for the code unit JSON text cannot carry as UTF-8.
const char kMarker[] = "\xEF\xB7\x90";
constexpr size_t kMarkerSize = 3;
constexpr wchar_t kMarkerChar = 0xFDD0;

void appendMarker(std::string& out, unsigned code) {
    char buf[8];
    std::snprintf(buf, sizeof buf, "%04x", code & 0xFFFFu);
    out += kMarker;
    out += buf;
}

int hexValue(char c) { return ut::platform::hexDigit(static_cast<unsigned char>(c)); }

// The four hex digits at s[i..i+3] as a number; -1 when they are not.
long hex4(const std::string& s, size_t i) {
    if (i + 4 > s.size())
        return -1;
    long v = 0;
    for (size_t k = 0; k < 4; ++k) {
        const int d = hexValue(s[i + k]);
        if (d < 0)
            return -1;
        v = v * 16 + d;
    }
    return v;
}

std::string shortestFloat(float f) {
    char buf[64];
    auto r = std::to_chars(buf, buf + sizeof buf, f);
    return std::string(buf, r.ptr);
}

} // namespace

Json text(const std::wstring& s) {
    std::string out;
    out.reserve(s.size());
    for (wchar_t w : s) {
        const char32_t c = char32_t(w);
        if ((c >= 0xD800 && c <= 0xDFFF) || c == kMarkerChar)
            appendMarker(out, unsigned(c));
        else if (c > 0x10FFFF)
            ut::platform::appendUtf8(out, 0xFFFD);
        else
            ut::platform::appendUtf8(out, c);
    }
    return Json(std::move(out));
}

Json text(const OdString& s) { return text(s.str()); }

namespace {

// Markers as the "\uXXXX" escapes they stand for.
std::string unmarked(std::string s) {
    if (s.find(kMarker) == std::string::npos)
        return s;
    std::string out;
    out.reserve(s.size());
    for (size_t i = 0; i < s.size();) {
        if (s.compare(i, kMarkerSize, kMarker) == 0 && hex4(s, i + kMarkerSize) >= 0) {
            out += "\\u";
            out.append(s, i + kMarkerSize, 4);
            i += kMarkerSize + 4;
        } else {
            out += s[i++];
        }
    }
    return out;
}

} // namespace

std::string dump(const Json& j, int indent) { return unmarked(j.dump(indent)); }

Json parse(const std::string& input) {
    // Lone surrogate escapes (a byte of a file name, as dump() writes it) and the
    // marker character itself become markers; nlohmann-json refuses the former.
    std::string s;
    s.reserve(input.size());
    for (size_t i = 0; i < input.size();) {
        if (input.compare(i, kMarkerSize, kMarker) == 0) {
            appendMarker(s, kMarkerChar);
            i += kMarkerSize;
            continue;
        }
        if (input[i] != '\\' || i + 1 >= input.size()) {
            s += input[i++];
            continue;
        }
        if (input[i + 1] != 'u') {
            s.append(input, i, 2); // any other escape, "\\" included, is left to the parser
            i += 2;
            continue;
        }
        const long code = hex4(input, i + 2);
        const bool high = code >= 0xD800 && code <= 0xDBFF;
        const long next = i + 8 <= input.size() && input.compare(i + 6, 2, "\\u") == 0 ? hex4(input, i + 8) : -1;
        if (high && next >= 0xDC00 && next <= 0xDFFF) {
            s.append(input, i, 12); // a pair: one character beyond the first plane
            i += 12;
        } else if (code >= 0xD800 && code <= 0xDFFF) {
            appendMarker(s, unsigned(code));
            i += 6;
        } else {
            s.append(input, i, 2);
            i += 2;
        }
    }
    try {
        return Json::parse(s);
    } catch (const nlohmann::json::parse_error& e) {
        // "[json.exception.parse_error.101] parse error at line 2, column 5: ..."
        std::string why = e.what();
        if (const size_t at = why.find("] "); at != std::string::npos)
            why.erase(0, at + 2);
        throw Fault("", "not JSON: " + unmarked(why));
    }
}

OdString wideText(const std::string& utf8) {
    std::wstring w = ut::platform::utf8ToWide(utf8);
    if (w.find(kMarkerChar) == std::wstring::npos)
        return OdString(std::move(w));
    std::wstring out;
    out.reserve(w.size());
    for (size_t i = 0; i < w.size(); ++i) {
        long v = w[i] == kMarkerChar && i + 4 < w.size() ? 0 : -1;
        for (size_t k = 1; v >= 0 && k <= 4; ++k) {
            const int d = w[i + k] < 128 ? hexValue(char(w[i + k])) : -1;
            v = d < 0 ? -1 : v * 16 + d;
        }
        if (v >= 0) {
            out += wchar_t(v);
            i += 4;
        } else {
            out += w[i];
        }
    }
    return OdString(std::move(out));
}

// ---------------------------------------------------------------- numbers

Json real(double v) {
    if (!std::isfinite(v))
        return Json(nullptr);
    if (v == std::trunc(v) && std::fabs(v) < 9e15)
        return Json(static_cast<int64_t>(v));
    return Json(v);
}

Json stored(double v) {
    if (!std::isfinite(v))
        return Json(nullptr);
    const std::string s = shortestFloat(float(v));
    double d = 0;
    std::from_chars(s.data(), s.data() + s.size(), d);
    return real(d);
}

std::optional<double> roundTrip(double v) {
    if (!std::isfinite(v))
        return std::nullopt;
    // As a reader hands it to the writer (widened from single precision), the
    // writer prints it (six decimals, never an exponent) and the reader takes it
    // again (into a float).
    const double widened = double(float(v));
    if (!std::isfinite(widened))
        return std::nullopt;
    char buf[400];
    auto r = std::to_chars(buf, buf + sizeof buf, widened, std::chars_format::fixed, 6);
    if (r.ec != std::errc())
        return std::nullopt;
    float f = 0;
    auto back = std::from_chars(buf, r.ptr, f);
    if (back.ec != std::errc() || !std::isfinite(f))
        return std::nullopt;
    const std::string s = shortestFloat(f);
    double d = 0;
    std::from_chars(s.data(), s.data() + s.size(), d);
    return d;
}

// ---------------------------------------------------------------- reading

std::string shown(const Json& v) {
    std::string s = dump(v);
    if (s.size() > 40)
        s = s.substr(0, 37) + "...";
    return s;
}

std::string In::typeName() const {
    switch (m_v->type()) {
    case Json::value_t::null: return "null";
    case Json::value_t::object: return "an object";
    case Json::value_t::array: return "an array";
    case Json::value_t::string: return "a string";
    case Json::value_t::boolean: return "true or false";
    default: return "a number";
    }
}

In In::at(const char* key) const {
    if (!m_v->is_object())
        fail("is " + typeName() + ", not an object");
    const std::string path = m_path.empty() ? key : m_path + "." + key;
    auto it = m_v->find(key);
    if (it == m_v->end())
        throw Fault(path, "is missing");
    return In(*it, path);
}

std::optional<In> In::opt(const char* key, bool nullable) const {
    if (!m_v->is_object())
        fail("is " + typeName() + ", not an object");
    auto it = m_v->find(key);
    if (it == m_v->end() || (nullable && it->is_null()))
        return std::nullopt;
    return In(*it, m_path.empty() ? key : m_path + "." + key);
}

void In::only(std::initializer_list<const char*> keys) const {
    if (!m_v->is_object())
        fail("is " + typeName() + ", not an object");
    for (auto it = m_v->begin(); it != m_v->end(); ++it) {
        if (it.key() == "presentation")
            continue;
        bool known = false;
        for (const char* k : keys)
            known = known || it.key() == k;
        if (!known)
            throw Fault(m_path.empty() ? it.key() : m_path + "." + it.key(), "is not a member here");
    }
}

std::vector<In> In::items(long count) const {
    if (!m_v->is_array())
        fail("is " + typeName() + ", not an array");
    if (count >= 0 && long(m_v->size()) != count)
        fail("holds " + std::to_string(m_v->size()) + " elements, not " + std::to_string(count));
    std::vector<In> out;
    out.reserve(m_v->size());
    for (size_t i = 0; i < m_v->size(); ++i)
        out.emplace_back((*m_v)[i], m_path + "[" + std::to_string(i) + "]");
    return out;
}

long long In::integer(long long lo, long long hi) const {
    const std::string range = std::to_string(lo) + ".." + std::to_string(hi);
    long long v = 0;
    if (m_v->is_number_unsigned()) {
        const uint64_t u = m_v->get<uint64_t>();
        if (u > uint64_t(INT64_MAX) || (long long)u > hi)
            fail(shown(*m_v) + " is not " + range);
        v = (long long)u;
    } else if (m_v->is_number_integer()) {
        v = m_v->get<long long>();
    } else if (m_v->is_number_float()) {
        const double d = m_v->get<double>();
        if (d != std::trunc(d))
            fail(shown(*m_v) + " is not a whole number");
        if (!(d >= double(lo) && d <= double(hi)))
            fail(shown(*m_v) + " is not " + range);
        v = (long long)d;
    } else {
        fail(shown(*m_v) + " is not a whole number");
    }
    if (v < lo || v > hi)
        fail(shown(*m_v) + " is not " + range);
    return v;
}

double In::storedReal(double lo, double hi) const {
    if (!m_v->is_number())
        fail(shown(*m_v) + " is not a number");
    const double v = m_v->get<double>();
    if (!(v >= lo && v <= hi)) {
        char buf[96];
        std::snprintf(buf, sizeof buf, " is not %g..%g", lo, hi);
        fail(shown(*m_v) + buf);
    }
    const std::optional<double> back = roundTrip(v);
    if (!back)
        fail(shown(*m_v) + " cannot be stored");
    if (*back != v)
        fail(shown(*m_v) + " cannot be stored as it is: the file keeps six decimals in single precision (" +
             dump(real(*back)) + ")");
    // The value a reader of the file has: what the writer printed from a file
    // it read, it prints again, to the byte.
    return double(float(v));
}

bool In::boolean() const {
    if (!m_v->is_boolean())
        fail(shown(*m_v) + " is not true or false");
    return m_v->get<bool>();
}

OdString In::string() const {
    if (!m_v->is_string())
        fail(shown(*m_v) + " is not a string");
    return wideText(m_v->get_ref<const std::string&>());
}

size_t In::choice(std::initializer_list<const char*> names) const {
    std::string list;
    if (m_v->is_string()) {
        size_t i = 0;
        for (const char* n : names) {
            if (m_v->get_ref<const std::string&>() == n)
                return i;
            ++i;
        }
    }
    for (const char* n : names)
        list += (list.empty() ? "" : ", ") + std::string(n);
    fail(shown(*m_v) + " is not one of " + list);
}

// ---------------------------------------------------------------- foreign items

const char* kindName(int kind) {
    switch (kind) {
    case kPBin: return "binary";
    case kPBlock: return "block";
    case kPBool: return "bool";
    case kPStr: return "string";
    case kPNum: return "number";
    }
    return "?";
}

int kindOf(const std::string& name) {
    for (int k : {kPBin, kPBlock, kPBool, kPStr, kPNum})
        if (name == kindName(k))
            return k;
    return -1;
}

Json item(const CPItem& it) {
    Json j = Json::object();
    j["name"] = text(it.name());
    j["kind"] = kindName(it.kind());
    switch (it.kind()) {
    case kPBin: j["value"] = text(static_cast<const CPBin&>(it).value()); break;
    case kPBool: j["value"] = static_cast<const CPBool&>(it).value(); break;
    case kPStr: j["value"] = text(static_cast<const CPStr&>(it).value()); break;
    case kPNum: j["value"] = text(static_cast<const CPNum&>(it).value()); break;
    case kPBlock: {
        Json items = Json::array();
        for (const CPItem* child : static_cast<const CPBlock&>(it).items())
            items.push_back(item(*child));
        j["items"] = std::move(items);
        break;
    }
    }
    return j;
}

Json foreign(const CPForeignItems& items) {
    Json out = Json::array();
    for (const auto& e : items.entries()) {
        Json j = Json::object();
        if (e.anchorKind >= 0)
            j["after"] = text(e.anchorName);
        Json body = item(*e.item);
        for (auto it = body.begin(); it != body.end(); ++it)
            j[it.key()] = std::move(*it);
        out.push_back(std::move(j));
    }
    return out;
}

std::unique_ptr<CPItem> readItem(const In& in, bool top) {
    if (top)
        in.only({"after", "name", "kind", "value", "items"});
    else
        in.only({"name", "kind", "value", "items"});
    const OdString name = in.at("name").string();
    if (name.isEmpty())
        in.at("name").fail("an item needs a name");
    const In kindIn = in.at("kind");
    const int kind = kindOf(kindIn.json().is_string() ? kindIn.json().get<std::string>() : std::string());
    if (kind < 0)
        kindIn.choice({"string", "number", "bool", "binary", "block"});
    std::unique_ptr<CPItem> out;
    if (kind == kPBlock) {
        if (in.opt("value"))
            in.at("value").fail("a block has items, not a value");
        auto block = std::make_unique<CPBlock>(name.c_str());
        for (const In& child : in.at("items").items()) {
            std::unique_ptr<CPItem> c = readItem(child, false);
            const std::string what = std::string(kindName(c->kind()));
            if (!block->add(c.get()))
                child.fail("a second " + what + " named " + shown(child.at("name").json()) + " in this block");
            c.release();
        }
        out = std::move(block);
    } else {
        if (in.opt("items"))
            in.at("items").fail("only a block has items");
        const In v = in.at("value");
        switch (kind) {
        case kPBool: out = std::make_unique<CPBool>(name.c_str(), v.boolean()); break;
        case kPStr: out = std::make_unique<CPStr>(name.c_str(), v.string().c_str()); break;
        case kPBin: out = std::make_unique<CPBin>(name.c_str(), v.string().c_str()); break;
        default: out = std::make_unique<CPNum>(name.c_str(), v.string().c_str()); break;
        }
    }
    // Whether the file would hold it as it is (a name with a blank, a number
    // that reads as another kind, a string with a line break ...).
    if (top) {
        CPBlock probe(L""); // empty, so it takes the copy
        probe.add(CPForeignItems::clone(*out));
        OdString why;
        if (!CPIAFileOut::canStore(&probe, &why)) {
            std::string reason = cli::utf8(why);
            if (const size_t colon = reason.find(": "); colon != std::string::npos)
                reason = "cannot be stored: " + reason.substr(colon + 2);
            in.fail(reason);
        }
    }
    return out;
}

// ---------------------------------------------------------------- input

std::string readSource(const std::string& path, std::string& text) {
    constexpr size_t kLimit = size_t(64) << 20;
    text.clear();
    if (path != "-") {
        if (std::string why = cli::checkInput(path); !why.empty())
            return why;
        return cli::readFile(path, kLimit, text);
    }
    char buf[65536];
    size_t n = 0;
    while ((n = std::fread(buf, 1, sizeof buf, stdin)) > 0) {
        if (text.size() + n > kLimit)
            return "standard input: larger than 64 MiB";
        text.append(buf, n);
    }
    if (std::ferror(stdin))
        return "standard input: cannot be read";
    return std::string();
}

} // namespace source
