// Parser of parameter-file text: named values, one per line, nested in named
// blocks. The syntax is what the application has always written and read, with
// its quirks kept (no closing quote on strings, no escapes, a missing final "}"
// accepted), so that files travel both ways between it and other programs.
#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <deque>
#include <new>
#include <string>
#include <type_traits>
#include <vector>

#include "pia.h"
#include "pia/pia_pool.h"
#include "pia/pia_text.h"

using pia::equalsAsciiNoCase;
using pia::keyRunEnd;

// The text of one parse, read as bytes when all of it is ASCII (the common
// case: nothing to widen but the texts kept), else as wide lines.
class CPIAParser::LineSource {
public:
    explicit LineSource(pia::TextLines& text) : text(text) {}
    pia::TextLines& text;
};

namespace {

struct ByteLines {
    pia::TextLines& text;
    const char* line = nullptr;
    size_t length = 0;
    bool next() { return text.nextBytes(line, length); }
    bool ended() const { return text.lineEnded(); }
};

struct WideLines {
    pia::TextLines& text;
    const wchar_t* line = nullptr;
    size_t length = 0;
    bool next() {
        line = text.next();
        length = line ? text.length() : 0;
        return line != nullptr;
    }
    bool ended() const { return text.lineEnded(); }
};

const char* findChar(const char* p, const char* end, char c) {
    // Values are short: a word at a time beats the call.
    if constexpr (std::endian::native == std::endian::little) {
        constexpr uint64_t kOnes = 0x0101010101010101ull, kHighs = 0x8080808080808080ull;
        const uint64_t pattern = kOnes * static_cast<unsigned char>(c);
        for (; end - p >= 8; p += 8) {
            uint64_t w;
            std::memcpy(&w, p, 8);
            const uint64_t x = w ^ pattern;
            if (const uint64_t m = (x - kOnes) & ~x & kHighs)
                return p + (std::countr_zero(m) >> 3);
        }
        for (; p < end; ++p)
            if (*p == c)
                return p;
        return nullptr;
    }
    return static_cast<const char*>(std::memchr(p, c, size_t(end - p)));
}
const wchar_t* findChar(const wchar_t* p, const wchar_t* end, wchar_t c) { return std::wmemchr(p, c, size_t(end - p)); }

// The key before a delimiter: leading blanks skipped, no blank inside, blanks
// allowed before the delimiter. Only U+0020 counts as a blank; a tab is part of
// the key. The key is [start, end).
template <typename Char>
const wchar_t* extractKey(const Char* line, const Char* delimiter, const Char*& start, const Char*& end) {
    const Char* p = line;
    while (p < delimiter && *p == ' ')
        ++p;
    if (p == delimiter)
        return L"empty name";
    start = p;
    while (p < delimiter && *p != ' ')
        ++p;
    end = p;
    while (p < delimiter && *p == ' ')
        ++p;
    return p == delimiter ? nullptr : L"blank inside a name";
}

uint64_t load64(const unsigned char* p) {
    uint64_t w;
    std::memcpy(&w, p, 8);
    return w;
}
uint64_t load32(const unsigned char* p) {
    uint32_t w;
    std::memcpy(&w, p, 4);
    return w;
}

// Hash of a text's code units, eight bytes at a time; the last word overlaps
// the one before rather than being put together byte by byte.
uint32_t hashText(const void* data, size_t bytes) {
    const auto* p = static_cast<const unsigned char*>(data);
    uint64_t h = uint64_t(bytes) * 0x9E3779B97F4A7C15ull;
    auto mix = [&h](uint64_t w) {
        h = (h ^ w) * 0xBF58476D1CE4E5B9ull;
        h ^= h >> 31;
    };
    if (bytes >= 8) {
        for (size_t i = 0; i + 8 < bytes; i += 8)
            mix(load64(p + i));
        mix(load64(p + bytes - 8));
    } else if (bytes >= 4) {
        mix(load32(p) | load32(p + bytes - 4) << 32);
    } else if (bytes > 0) {
        mix(uint64_t(p[0]) | uint64_t(p[bytes / 2]) << 8 | uint64_t(p[bytes - 1]) << 16);
    }
    // Every bit of the text reaches the low bits, which pick the slot.
    h ^= h >> 33;
    h *= 0xFF51AFD7ED558CCDull;
    h ^= h >> 33;
    return uint32_t(h);
}

// Whether two byte strings of one length are equal; short ones (nearly all
// keys and values) without a call.
bool sameBytes(const char* a, const char* b, size_t n) {
    const auto* x = reinterpret_cast<const unsigned char*>(a);
    const auto* y = reinterpret_cast<const unsigned char*>(b);
    if (n > 16)
        return std::memcmp(x, y, n) == 0;
    if (n >= 8)
        return load64(x) == load64(y) && load64(x + n - 8) == load64(y + n - 8);
    if (n >= 4)
        return load32(x) == load32(y) && load32(x + n - 4) == load32(y + n - 4);
    for (size_t i = 0; i < n; ++i)
        if (x[i] != y[i])
            return false;
    return true;
}

} // namespace

// ---------------------------------------------------------------- pool

namespace {

// What finished parses on this thread leave for the next one: item chunks and
// a lookup table. Nothing here is seen by another thread.
struct Spares {
    std::vector<std::unique_ptr<std::byte[]>> chunks;
    std::vector<CPIAParser::Pool::Slot> slots;
    // Texts with the heap block they had: the next parse writes its own texts
    // into them. Each distinct text of a parse is otherwise a block taken from
    // the heap and given back, and a table has hundreds (a name and a
    // description per style).
    std::vector<std::unique_ptr<OdString[]>> strings;
};

// Made on first use and ended with the thread. The pointer and the flag need no
// ending themselves, so a parser destroyed later in the thread's exit (a static
// one, say) finds null and frees what it has instead.
thread_local Spares* t_spares = nullptr;
thread_local bool t_sparesEnded = false;

struct SparesOwner {
    ~SparesOwner() {
        delete t_spares;
        t_spares = nullptr;
        t_sparesEnded = true;
    }
};
thread_local SparesOwner t_sparesOwner;

Spares* spares() {
    if (!t_spares && !t_sparesEnded) {
        (void)&t_sparesOwner; // made now, so that it ends the spares with the thread
        t_spares = new Spares;
    }
    return t_spares;
}

} // namespace

CPIAParser::Pool::~Pool() {
    // The items were ended by their blocks; what is not kept for the next parse
    // ends with m_chunks and m_strings.
    Spares* s = spares();
    if (!s)
        return;
    for (auto& chunk : m_chunks) {
        if (s->chunks.size() >= kCachedChunks)
            break;
        s->chunks.push_back(std::move(chunk));
    }
    for (auto& strings : m_strings) {
        if (s->strings.size() >= kCachedStringChunks)
            break;
        // Long texts (binary payloads) are not worth their memory.
        for (size_t i = 0; i < kStringsPerChunk; ++i)
            if (strings[i].str().capacity() > kCachedStringLength)
                std::wstring().swap(strings[i].str());
        s->strings.push_back(std::move(strings));
    }
}

void CPIAParser::Pool::grow(size_t atLeast) {
    // Every item is far smaller than a chunk.
    (void)atLeast;
    Spares* s = spares();
    if (s && !s->chunks.empty()) {
        m_chunks.push_back(std::move(s->chunks.back()));
        s->chunks.pop_back();
    } else {
        m_chunks.emplace_back(new std::byte[kChunk]);
    }
    m_next = m_chunks.back().get();
    m_left = kChunk;
}

OdString* CPIAParser::Pool::newString() {
    if (m_stringsLeft == 0) {
        Spares* s = spares();
        if (s && !s->strings.empty()) {
            m_strings.push_back(std::move(s->strings.back()));
            s->strings.pop_back();
        } else {
            m_strings.emplace_back(new OdString[kStringsPerChunk]);
        }
        m_stringsLeft = kStringsPerChunk;
    }
    return &m_strings.back()[kStringsPerChunk - m_stringsLeft--];
}

template <typename Char> const OdString* CPIAParser::Pool::single(const Char* text, size_t length) {
    OdString* s = newString();
    std::wstring& w = s->str();
    if constexpr (std::is_same_v<Char, wchar_t>) {
        w.assign(text, length);
    } else {
        w.resize(length);
        for (size_t i = 0; i < length; ++i)
            w[i] = wchar_t(static_cast<unsigned char>(text[i]));
    }
    return s;
}

void CPIAParser::Pool::beginParse(const char* text) {
    m_base = text;
    m_used = 0;
    if (Spares* s = spares())
        m_slots.swap(s->slots);
    std::fill(m_slots.begin(), m_slots.end(), Slot{});
}

void CPIAParser::Pool::endParse() {
    Spares* s = spares();
    if (s && m_slots.size() <= kCachedSlots && m_slots.size() > s->slots.size())
        m_slots.swap(s->slots);
    m_slots.clear();
    m_slots.shrink_to_fit();
    m_used = 0;
}

void CPIAParser::Pool::rehash() {
    std::vector<Slot> old;
    old.swap(m_slots);
    m_slots.resize(old.empty() ? 1024 : old.size() * 2);
    const size_t mask = m_slots.size() - 1;
    for (const Slot& e : old) {
        if (!e.text)
            continue;
        size_t i = e.hash & mask;
        while (m_slots[i].text)
            i = (i + 1) & mask;
        m_slots[i] = e;
    }
}

template <typename Char> const OdString* CPIAParser::Pool::shared(const Char* text, size_t length) {
    if ((m_used + 1) * 2 > m_slots.size())
        rehash();
    const uint32_t hash = hashText(text, length * sizeof(Char));
    const size_t mask = m_slots.size() - 1;
    size_t i = hash & mask;
    for (; m_slots[i].text; i = (i + 1) & mask) {
        const Slot& e = m_slots[i];
        if (e.hash != hash || size_t(e.text->getLength()) != length)
            continue;
        if constexpr (std::is_same_v<Char, wchar_t>) {
            if (length == 0 || std::wmemcmp(e.text->c_str(), text, length) == 0)
                return e.text;
        } else {
            if (sameBytes(m_base + e.offset, text, length))
                return e.text;
        }
    }
    const OdString* s = single(text, length);
    uint32_t offset = 0;
    if constexpr (!std::is_same_v<Char, wchar_t>)
        offset = uint32_t(text - m_base);
    m_slots[i] = Slot{s, hash, offset};
    ++m_used;
    return s;
}

// ---------------------------------------------------------------- parser

CPIAParser::CPIAParser() = default;

CPIAParser::~CPIAParser() { clear(); }

void CPIAParser::clear() {
    // The items first: they end what they hold (heap children a caller added,
    // texts set since) and leave the pool's memory to the pool.
    if (m_root)
        CPItem::destroy(m_root);
    m_root = nullptr;
    delete m_pool;
    m_pool = nullptr;
}

bool CPIAParser::parse(const wchar_t* path) {
    CPIAFileIn in;
    const int opened = in.open(path);
    return parseOpened(in, opened);
}

bool CPIAParser::parseOpened(CPIAFileIn& in, int opened) {
    clear();
    m_errorLine = 0;
    m_errorText.empty();
    m_openResult = opened;
    if (m_openResult != 0) {
        m_errorText = in.errorText();
        if (m_errorText.isEmpty())
            m_errorText = ZlibEngine::resultText(m_openResult);
        return false;
    }
    in.m_in->lines.rewind();
    LineSource lines(in.m_in->lines);
    bool ok = parseLines(lines);
    in.close();
    return ok;
}

bool CPIAParser::parseText(const char* text, size_t size) {
    clear();
    m_errorLine = 0;
    m_errorText.empty();
    m_openResult = 0;
    pia::TextLines text_lines;
    text_lines.assign(std::string(text ? text : "", text ? size : 0));
    LineSource lines(text_lines);
    return parseLines(lines);
}

namespace {

// A set of (name, kind) pairs for the children of a large block, so that a
// block of thousands of items is checked for a second item of a name and kind
// in constant time. Names of one parse are shared, so a name is its address.
class ChildSet {
public:
    static uintptr_t key(const OdString* name, int kind) { return reinterpret_cast<uintptr_t>(name) * 8 + uintptr_t(kind); }
    void clear() {
        m_slots.clear();
        m_used = 0;
    }
    bool empty() const { return m_slots.empty(); }
    // False when the key was there already.
    bool insert(uintptr_t k) {
        if ((m_used + 1) * 2 > m_slots.size())
            grow();
        const size_t mask = m_slots.size() - 1;
        for (size_t i = hash(k) & mask;; i = (i + 1) & mask) {
            if (m_slots[i] == k)
                return false;
            if (m_slots[i] == 0) {
                m_slots[i] = k;
                ++m_used;
                return true;
            }
        }
    }

private:
    static size_t hash(uintptr_t k) { return size_t((uint64_t(k) * 0x9E3779B97F4A7C15ull) >> 24); }
    void grow() {
        std::vector<uintptr_t> old;
        old.swap(m_slots);
        m_slots.assign(old.empty() ? 128 : old.size() * 2, 0);
        m_used = 0;
        for (uintptr_t k : old)
            if (k)
                insert(k);
    }
    std::vector<uintptr_t> m_slots;
    size_t m_used = 0;
};

// Below this many children of a block a scan finds a second item of a name
// and kind faster than a set.
constexpr size_t kScanChildren = 32;

} // namespace

bool CPIAParser::parseLines(LineSource& source) {
    m_pool = new Pool;
    Pool& pool = *m_pool;
    pool.beginParse(source.text.data());
    auto tag = [] { return CPItem::ParseTag(); };
    // Held by the parser, as every parsed item is held: no block may take it.
    m_root = new (pool.allocate(sizeof(CPBlock))) CPBlock(tag(), pool.single(L"", 0));

    // Blocks still open, innermost last, each with where its children start in
    // `children`. The children of all open blocks stand there one level after
    // the other; a block takes its own when it closes (one allocation of the
    // right size) and joins its parent then, so after a failure the root holds
    // what was complete before the bad line.
    // What stood at each place of the last block of each depth. The blocks of a
    // table repeat one another key for key (255 styles of the same 16 keys and
    // mostly the same values), so the text at a place is first compared with the
    // hint's, which is cheaper than looking it up. A block whose children so far
    // all match, in name and kind, the children of one earlier block (an
    // accepted one, so none repeats) holds no second item of a name and kind.
    struct Hint {
        const OdString* name = nullptr;
        const OdString* value = nullptr;
        uint32_t nameAt = 0, valueAt = 0; // where the texts were read, in the text
        uint32_t serial = 0;              // the block that left it
        int kind = -1;
    };
    struct Open {
        CPBlock* block;
        size_t first;
        uint32_t serial; // which block this is, in the order they opened
        // Whether every child so far stood at the same place, of the same name
        // and kind, in the earlier block `source` of this depth (see Hint).
        bool same = true;
        uint32_t source = 0;
        std::vector<Hint>* hints = nullptr; // the hints of its depth
        ChildSet set; // filled once the block has many children
    };
    std::vector<Open> open;
    open.reserve(8);
    uint32_t serials = 0;
    open.push_back(Open{m_root, 0, serials++});
    std::vector<CPItem*> children;
    children.reserve(256);

    // The name and kind of each entry of `children`, side by side, so that a
    // block's children are checked for a second item of a name and kind with a
    // scan of one array. Names of one parse are shared, so a name is its address.
    std::vector<uintptr_t> keys;
    keys.reserve(256);
    // Whether (name, kind) is new among the innermost block's children so far.
    auto isNew = [&](uintptr_t key) {
        Open& level = open.back();
        const size_t count = keys.size() - level.first;
        if (count < kScanChildren)
            return std::find(keys.begin() + ptrdiff_t(level.first), keys.end(), key) == keys.end();
        if (level.set.empty())
            for (size_t i = level.first; i < keys.size(); ++i)
                level.set.insert(keys[i]);
        return level.set.insert(key);
    };
    auto finish = [&]() {
        m_root->adopt(children.data(), open.size() > 1 ? open[1].first : children.size());
        pool.endParse();
    };
    auto closeInnermost = [&]() {
        Open& level = open.back();
        CPBlock* done = level.block;
        done->adopt(children.data() + level.first, children.size() - level.first);
        children.resize(level.first);
        keys.resize(level.first);
        open.pop_back();
        // A second block of the name was refused when it opened.
        children.push_back(done);
        keys.push_back(ChildSet::key(done->m_name, kPBlock));
    };

    int lineNo = 0;
    // What the tree costs so far: items, and characters of names and values.
    size_t items = 0, text = 0;
    // Whether the line being parsed is the rest of a longer one: the reader cuts
    // lines after 511 bytes, and a failure there is that line's length, not its syntax.
    bool continued = false;
    auto fail = [&](int line, const wchar_t* why) {
        m_errorLine = continued && line > 1 ? line - 1 : line;
        m_errorText = continued ? L"longer than the 511 bytes a line of the file may hold" : why;
        // Open blocks go with what they gathered; the root keeps what it had.
        if (open.size() > 1) {
            for (size_t i = open[1].first; i < children.size(); ++i)
                CPItem::destroy(children[i]);
            for (size_t d = 1; d < open.size(); ++d)
                CPItem::destroy(open[d].block);
            children.resize(open[1].first);
            keys.resize(open[1].first);
            open.resize(1);
        }
        finish();
        return false;
    };

    // One row per depth; a deque, so that a row stays put as deeper ones are added.
    std::deque<std::vector<Hint>> hints;
    const char* const base = source.text.data();

    // The same steps over bytes or wide characters.
    auto run = [&](auto& lines) -> bool {
        using Char = std::remove_const_t<std::remove_pointer_t<decltype(lines.line)>>;
        // Hints are kept for an ASCII text, whose bytes stay put and compare cheaply.
        constexpr bool kHints = std::is_same_v<Char, char>;
        std::basic_string<Char> payload;

        // The hint for the item about to be added to the innermost block.
        auto hintHere = [&]() -> Hint* {
            if constexpr (!kHints)
                return nullptr;
            Open& level = open.back();
            if (!level.hints) {
                const size_t depth = open.size() - 1;
                if (hints.size() <= depth)
                    hints.resize(depth + 1);
                level.hints = &hints[depth];
            }
            std::vector<Hint>& row = *level.hints;
            const size_t position = children.size() - level.first;
            if (row.size() <= position)
                row.resize(position + 1);
            return &row[position];
        };
        // Whether the hint's text is the same as text, which is at in the text.
        auto same = [&](const OdString* s, uint32_t at, const Char* text, size_t length) {
            return s && size_t(s->getLength()) == length &&
                   sameBytes(base + at, reinterpret_cast<const char*>(text), length);
        };
        auto hinted = [&](Hint* h, const Char* text, size_t length) {
            if constexpr (kHints)
                if (same(h->name, h->nameAt, text, length))
                    return h->name;
            return pool.shared(text, length);
        };
        auto hintedValue = [&](Hint* h, const OdString* name, int kind, const Char* text, size_t length) {
            if constexpr (kHints)
                if (h->name == name && h->kind == kind && same(h->value, h->valueAt, text, length))
                    return h->value;
            return pool.shared(text, length);
        };
        // Whether (name, kind) is new in the innermost block: at once while the
        // block repeats an earlier one item for item, else by looking.
        auto isNewHere = [&](Hint* h, const OdString* name, int kind) {
            Open& level = open.back();
            if constexpr (kHints) {
                if (level.same && h->name == name && h->kind == kind) {
                    if (children.size() == level.first)
                        level.source = h->serial;
                    if (h->serial == level.source)
                        return true;
                }
            }
            level.same = false;
            return isNew(ChildSet::key(name, kind));
        };
        auto remember = [&](Hint* h, const OdString* name, const Char* nameText, int kind, const OdString* value,
                            const Char* valueText) {
            if constexpr (kHints) {
                h->name = name;
                h->nameAt = uint32_t(reinterpret_cast<const char*>(nameText) - base);
                h->kind = kind;
                h->value = value;
                h->valueAt = value ? uint32_t(reinterpret_cast<const char*>(valueText) - base) : 0;
                h->serial = open.back().serial;
            }
        };
        for (bool endedBefore = true;; endedBefore = lines.ended()) {
            if (!lines.next())
                break;
            const Char* const line = lines.line;
            const Char* const lineEnd = line + lines.length;
            continued = !endedBefore;
            ++lineNo;
            // Most lines are a key and "=": the key's run of characters is taken
            // on the way to the "=". Then the first "=", and a "{" or "}" before
            // it; after it only a "{" matters (a "}" there is part of a value).
            const Char* q = line;
            while (q < lineEnd && *q == ' ')
                ++q;
            const Char* const runStart = q;
            q = keyRunEnd(q, lineEnd);
            const Char* const runEnd = q;
            const Char* equals = nullptr;
            const Char* opening = nullptr;
            const Char* closing = nullptr;
            for (; q < lineEnd; ++q) {
                const Char c = *q;
                if (c == '=') {
                    equals = q;
                    break;
                }
                if (c == '{') {
                    if (!opening)
                        opening = q;
                } else if (c == '}') {
                    if (!closing)
                        closing = q;
                }
            }
            if (equals && !opening)
                opening = findChar(equals + 1, lineEnd, Char('{'));
            if (closing && open.size() > 1) {
                if (!equals) {
                    closeInnermost();
                    continue;
                }
                if (closing < equals)
                    return fail(lineNo, L"\"}\" before \"=\"");
            }
            if (line == lineEnd)
                continue;
            if (equals && opening)
                return fail(lineNo, L"both \"=\" and \"{\" on one line");
            if (!equals && !opening)
                return fail(lineNo, L"neither \"=\" nor \"{\" on a line");

            const Char *keyStart = nullptr, *keyEnd = nullptr;
            if (opening) {
                if (const wchar_t* why = extractKey(line, opening, keyStart, keyEnd))
                    return fail(lineNo, why);
                Hint* hint = hintHere();
                const OdString* name = hinted(hint, keyStart, size_t(keyEnd - keyStart));
                if (!isNewHere(hint, name, kPBlock))
                    return fail(lineNo, L"second block of the same name");
                remember(hint, name, keyStart, kPBlock, nullptr, nullptr);
                if (open.size() > size_t(kMaxDepth))
                    return fail(lineNo, L"blocks nested too deeply");
                if (++items > kMaxItems)
                    return fail(lineNo, L"more items than a parameter file may hold");
                if ((text += size_t(keyEnd - keyStart)) > kMaxTextLength)
                    return fail(lineNo, L"more text than a parameter file may hold");
                CPBlock* block = new (pool.allocate(sizeof(CPBlock))) CPBlock(tag(), name);
                open.push_back(Open{block, children.size(), serials++});
                continue;
            }

            const Char* value = equals + 1;
            if (value == lineEnd)
                return fail(lineNo, L"nothing after \"=\"");
            keyStart = runStart;
            keyEnd = runEnd;
            // Anything but blanks between the run and the "=" (or no run at all)
            // is for the full rule to judge.
            const Char* gap = runEnd;
            while (gap < equals && *gap == ' ')
                ++gap;
            if (gap != equals || runStart == runEnd)
                if (const wchar_t* why = extractKey(line, equals, keyStart, keyEnd))
                    return fail(lineNo, why);
            if (++items > kMaxItems)
                return fail(lineNo, L"more items than a parameter file may hold");
            if ((text += size_t(keyEnd - keyStart) + size_t(lineEnd - value)) > kMaxTextLength)
                return fail(lineNo, L"more text than a parameter file may hold");
            Hint* hint = hintHere();
            const OdString* name = hinted(hint, keyStart, size_t(keyEnd - keyStart));
            CPItem* item;
            int kind;
            const OdString* shown = nullptr; // the value's text, for strings and numbers
            const Char* shownAt = nullptr;
            if (*value == '"') {
                kind = kPStr;
                shownAt = value + 1;
                shown = hintedValue(hint, name, kind, shownAt, size_t(lineEnd - shownAt));
                item = new (pool.allocate(sizeof(CPStr))) CPStr(tag(), name, shown);
            } else if (*value == '\\') {
                kind = kPBin;
                // The value runs to the next backslash, over as many lines as it
                // takes; line ends are not part of it.
                const int firstLine = lineNo;
                payload.clear();
                const Char* piece = value + 1;
                const Char* pieceEnd = lineEnd;
                for (;;) {
                    if (const Char* end = findChar(piece, pieceEnd, Char('\\'))) {
                        payload.append(piece, end);
                        break;
                    }
                    payload.append(piece, pieceEnd);
                    if (!lines.next())
                        return fail(firstLine, L"binary value not closed");
                    piece = lines.line;
                    pieceEnd = piece + lines.length;
                    ++lineNo;
                    if ((text += lines.length) > kMaxTextLength)
                        return fail(lineNo, L"more text than a parameter file may hold");
                }
                item = new (pool.allocate(sizeof(CPBin)))
                    CPBin(tag(), name, pool.single(payload.data(), payload.size()));
            } else if ((*value == 't' || *value == 'T' || *value == 'f' || *value == 'F') &&
                       (equalsAsciiNoCase(value, lineEnd, "true") || equalsAsciiNoCase(value, lineEnd, "false"))) {
                kind = kPBool;
                item = new (pool.allocate(sizeof(CPBool)))
                    CPBool(tag(), name, equalsAsciiNoCase(value, lineEnd, "true"));
            } else {
                kind = kPNum;
                shownAt = value;
                shown = hintedValue(hint, name, kind, shownAt, size_t(lineEnd - shownAt));
                item = new (pool.allocate(sizeof(CPNum))) CPNum(tag(), name, shown);
            }
            if (!isNewHere(hint, name, kind)) {
                CPItem::destroy(item);
                return fail(lineNo, L"second item of the same name and kind");
            }
            remember(hint, name, keyStart, kind, shown, shownAt);
            const uintptr_t key = ChildSet::key(name, kind);
            children.push_back(item);
            keys.push_back(key);
        }
        return true;
    };

    pia::TextLines& text_lines = source.text;
    bool ok;
    // Places in the text are kept in 32 bits.
    if (text_lines.isAscii() && text_lines.size() <= UINT32_MAX) {
        ByteLines lines{text_lines};
        ok = run(lines);
    } else {
        WideLines lines{text_lines};
        ok = run(lines);
    }
    if (!ok)
        return false;
    // A block left open at the end of the text counts as closed.
    while (open.size() > 1)
        closeInnermost();
    finish();
    return true;
}
