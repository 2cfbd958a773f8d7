// The parameter-file container: a 60-byte header and a zlib stream of the text
// (read also after the 72-byte header some writers make on 64-bit systems).
// CPIAFileIn turns a container into text lines, CPIAFileOut prints a block tree
// into a temporary "pia" text file and writes the container from it; that file
// never outlives the writer.
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <cwctype>
#include <string>
#include <string_view>

#include "pia/pia_text.h"
#include "pia/zlib_engine_impl.h"
#include "platform/cnumbers.h"
#include "platform/codepage.h"
#include "platform/files.h"
#include "ut_filename.h"

namespace {

constexpr int kHeaderSize = 60;
// The header with its three numbers 8 bytes wide instead of 4.
constexpr int kWideHeaderSize = 72;
constexpr int kCompressionLevel = 6;
// Lines are composed in a buffer of this many wide characters, terminator included.
constexpr size_t kLineBuffer = 512;
// A binary value is printed in pieces that fill a composed line to this length.
constexpr size_t kBinaryPiece = 502;

void putLittleEndian(unsigned char* p, uint32_t v) {
    p[0] = static_cast<unsigned char>(v);
    p[1] = static_cast<unsigned char>(v >> 8);
    p[2] = static_cast<unsigned char>(v >> 16);
    p[3] = static_cast<unsigned char>(v >> 24);
}

// The two bytes a zlib stream begins with: deflate (method 8) with a window of
// at most 32 KiB, and the check that makes the pair a multiple of 31.
bool isZlibHeader(unsigned char cmf, unsigned char flg) {
    return (cmf & 0x0F) == 8 && (cmf >> 4) <= 7 && (unsigned(cmf) * 256u + flg) % 31u == 0;
}

const char* typeLetters(int type) {
    switch (type) {
    case CPIAFileOut::kNamedTable:
        return "STB";
    case CPIAFileOut::kPrinterConfig:
        return "PC3";
    default:
        return "CTB";
    }
}

} // namespace

// ---------------------------------------------------------------- reader

CPIAFileIn::CPIAFileIn() : m_in(new InImpl) {}

CPIAFileIn::~CPIAFileIn() { delete m_in; }

void CPIAFileIn::setMaxTextSize(uint64_t bytes) { m_in->maxText = bytes; }

int CPIAFileIn::doInflateInit() {
    Impl& d = *m_impl;
    static constexpr char kHeaderStart[] = "PIAFILEVERSION_";
    unsigned char header[kHeaderSize] = {};
    const size_t headerRead = d.source ? std::fread(header, 1, sizeof header, d.source) : 0;
    m_in->headerText = headerRead >= sizeof kHeaderStart - 1 &&
                       std::memcmp(header, kHeaderStart, sizeof kHeaderStart - 1) == 0;
    if (!d.source || std::fseek(d.source, kHeaderSize, SEEK_SET) != 0) {
        setErrorText(L"the file cannot be read");
        return kFileError;
    }
    // Some writers pack the header's three numbers in 8 bytes each (a native
    // "long" on 64-bit Linux), which puts the stream 12 bytes later. Such a file
    // is told apart by where a zlib stream header is found; a stream at the usual
    // place always wins, and a file with neither fails as it always did.
    int64_t start = kHeaderSize;
    unsigned char lead[kWideHeaderSize - kHeaderSize + 2];
    const size_t got = std::fread(lead, 1, sizeof lead, d.source);
    if (got == sizeof lead && !isZlibHeader(lead[0], lead[1]) &&
        isZlibHeader(lead[sizeof lead - 2], lead[sizeof lead - 1]))
        start = kWideHeaderSize;
    if (std::fseek(d.source, long(start), SEEK_SET) != 0) {
        setErrorText(L"the file cannot be read");
        return kFileError;
    }
    int64_t size = ut::platform::fileSize(d.source);
    d.total = size > start ? uint32_t(std::min<int64_t>(size - start, UINT32_MAX)) : 0u;
    // The text's length as the header gives it, when it is believable (deflate
    // shrinks by a thousand at most), so that the text is read into one buffer
    // of its size rather than one grown and copied over and over.
    if (d.memory && headerRead == sizeof header) {
        const uint64_t said = uint64_t(header[52]) | uint64_t(header[53]) << 8 | uint64_t(header[54]) << 16 |
                              uint64_t(header[55]) << 24;
        if (said <= m_in->maxText && said <= uint64_t(d.total) * 1032 + 64)
            d.memory->reserve(size_t(said));
    }
    d.deflating = false;
    int rc = inflateInit_(&d.stream, pia::kZlibVersion, int(sizeof(z_stream)));
    d.streamActive = rc == Z_OK;
    // The run checks the text against the stream's checksum itself, at a
    // fraction of zlib's cost.
    if (rc == Z_OK && inflateValidate(&d.stream, 0) == Z_OK)
        d.ownCheck = true;
    return rc;
}

// The text is inflated into memory rather than into a temporary file: the
// encoding is decided over all of it anyway, and a parameter file is small. The
// run is otherwise the engine's own, with its hooks and result codes, and bounded
// by the text size limit.
int CPIAFileIn::open(const wchar_t* path) {
    close();
    setOutputLimit(m_in->maxText);
    m_in->headerText = false;
    std::string text;
    int rc = decompressToMemory(path, text);
    if (rc != 0) {
        // A file that opened but does not read: say what it is, as far as the
        // first bytes tell, rather than how the decompression broke.
        if (rc != kFileError && rc != kUserAbort && !m_in->headerText) {
            setErrorText(L"not a parameter file");
        } else if (rc == kTooLarge) {
            OdString why;
            why.format(L"the text inside is larger than %llu MiB", (unsigned long long)(m_in->maxText >> 20));
            setErrorText(why);
        }
        return rc;
    }
    m_in->lines.assign(std::move(text));
    m_in->open = true;
    return 0;
}

const wchar_t* CPIAFileIn::readLine() { return m_in->open ? m_in->lines.next() : nullptr; }

bool CPIAFileIn::lineEnded() const { return m_in->lines.lineEnded(); }

bool CPIAFileIn::isUtf8() const { return m_in->lines.isUtf8(); }

void CPIAFileIn::close() {
    m_in->lines.clear();
    m_in->open = false;
}

// ---------------------------------------------------------------- writer

struct CPIAFileOut::OutImpl {
    FILE* text = nullptr;
    OdString textName;
    int state = kFileError; // nothing to write to before open()
    uint32_t lengths[2] = {0, 0}; // uncompressed, compressed: the header's order
    int type = kColorTable;
    int depth = 0;
    int codePage = 0;
    wchar_t line[kLineBuffer] = {};
    std::string narrow;

    void discardText() {
        if (text)
            std::fclose(text);
        text = nullptr;
        ut::platform::removeFile(textName);
        textName.empty();
    }
};

CPIAFileOut::CPIAFileOut() : m_out(new OutImpl) {}

CPIAFileOut::~CPIAFileOut() {
    m_out->discardText();
    delete m_out;
}

void CPIAFileOut::setFileType(int type) { m_out->type = type; }

int CPIAFileOut::fileType() const { return m_out->type; }

int CPIAFileOut::open() {
    m_out->discardText();
    m_out->depth = 0;
    m_out->codePage = ut::platform::ansiCodePage();
    setErrorText(OdString());
    m_out->textName = ut::FileName::createTempFileName(L"pia");
    if (!m_out->textName.isEmpty())
        m_out->text = ut::platform::openFile(m_out->textName, "wb");
    if (!m_out->text) {
        m_out->discardText();
        setErrorText(L"no temporary file can be made in the temporary folder");
        m_out->state = kFileError;
        return m_out->state;
    }
    m_out->state = 0;
    return 0;
}

int CPIAFileOut::writeLine(const wchar_t* text, bool newline) {
    OutImpl& o = *m_out;
    if (o.state != 0 || !text)
        return o.state;
    if (!o.text)
        return o.state = kFileError;
    const size_t n = std::wcslen(text);
    bool ascii = true;
    o.narrow.resize(n);
    for (size_t i = 0; i < n; ++i) {
        if (unsigned(text[i]) >= 0x80) {
            ascii = false;
            break;
        }
        o.narrow[i] = char(text[i]);
    }
    if (!ascii)
        o.narrow = ut::platform::wideToCodePage(std::wstring_view(text, n), o.codePage);
    if (newline)
        o.narrow += '\n';
    if (std::fwrite(o.narrow.data(), 1, o.narrow.size(), o.text) != o.narrow.size()) {
        setErrorText(OdString(ut::platform::describe(ut::platform::statusFromErrno(errno))));
        o.state = kFileError;
    }
    return o.state;
}

namespace {

// Composes indent blanks and the parts in a line buffer, cut to what the buffer
// holds; returns the length the whole line would have had.
size_t compose(wchar_t* buf, size_t indent, std::initializer_list<std::wstring_view> parts) {
    const size_t cap = kLineBuffer - 1;
    size_t n = std::min(indent, cap);
    size_t whole = indent;
    std::fill(buf, buf + n, L' ');
    for (std::wstring_view part : parts) {
        size_t take = std::min(part.size(), cap - n);
        part.copy(buf + n, take);
        n += take;
        whole += part.size();
    }
    buf[n] = L'\0';
    return whole;
}

std::wstring_view view(const OdString& s) { return std::wstring_view(s.str()); }

} // namespace

void CPIAFileOut::writeBlock(const CPBlock* block) {
    if (!block)
        return;
    OutImpl& o = *m_out;
    const size_t d = size_t(o.depth);
    if (d > 0) {
        compose(o.line, d - 1, {view(block->name()), L"{"});
        writeLine(o.line);
    }
    for (const CPItem* item : block->items()) {
        switch (item->kind()) {
        case kPNum:
            compose(o.line, d, {view(item->name()), L"=", view(static_cast<const CPNum*>(item)->value())});
            writeLine(o.line);
            break;
        case kPStr:
            // No closing quote: the reader takes everything after the opening one.
            compose(o.line, d, {view(item->name()), L"=\"", view(static_cast<const CPStr*>(item)->value())});
            writeLine(o.line);
            break;
        case kPBool:
            compose(o.line, d,
                    {view(item->name()), L"=", static_cast<const CPBool*>(item)->value() ? L"TRUE" : L"FALSE"});
            writeLine(o.line);
            break;
        case kPBlock:
            ++o.depth;
            writeBlock(static_cast<const CPBlock*>(item));
            --o.depth;
            break;
        case kPBin:
            writeBinary(static_cast<const CPBin*>(item));
            break;
        default:
            break;
        }
    }
    if (d > 0) {
        compose(o.line, d - 1, {L"}"});
        writeLine(o.line);
    }
}

// A binary value is one physical line however long, written in pieces that fill
// the composed line to 502 characters. Two habits of the format are kept because
// existing files depend on them: an empty value is not written at all, and a value
// whose line comes to exactly 502 characters loses its closing backslash.
void CPIAFileOut::writeBinary(const CPBin* bin) {
    const std::wstring& payload = bin->value().str();
    if (payload.empty())
        return;
    OutImpl& o = *m_out;
    const size_t head = std::min(compose(o.line, size_t(o.depth), {view(bin->name()), L"=\\"}), kLineBuffer - 1);
    std::wstring composed(o.line, head);
    size_t pos = 0;
    while (pos < payload.size()) {
        const size_t remaining = payload.size() - pos;
        if (composed.size() + remaining < kBinaryPiece) {
            composed.append(payload, pos, remaining);
            composed += L'\\';
            writeLine(composed.c_str(), true);
            return;
        }
        if (composed.size() + remaining == kBinaryPiece) {
            composed.append(payload, pos, remaining);
            writeLine(composed.c_str(), true);
            return;
        }
        const size_t take = composed.size() < kBinaryPiece ? kBinaryPiece - composed.size() : 0;
        composed.append(payload, pos, take);
        pos += take;
        writeLine(composed.c_str(), false);
        composed.clear();
    }
}

// ---------------------------------------------------------------- what can be stored

namespace {

// The reader cuts lines after this many bytes; a longer line would come back as
// two, the second a broken line of its own.
constexpr size_t kMaxLineBytes = 511;

bool asciiNoCaseEquals(std::wstring_view s, std::wstring_view lower) {
    if (s.size() != lower.size())
        return false;
    for (size_t i = 0; i < s.size(); ++i) {
        wchar_t c = s[i];
        if (c >= L'A' && c <= L'Z')
            c = wchar_t(c - L'A' + L'a');
        if (c != lower[i])
            return false;
    }
    return true;
}

// Why an item would not read back from the line the printer makes of it; null
// when it would, as far as its own text goes. These are the parser's rules: a key
// stops at a blank and may not hold the delimiters, a line holding "{" and "=" is
// broken, a line break ends a value, a number's text is classified by how it
// begins, and a binary value ends at the first backslash.
const wchar_t* unreadable(const CPItem& item) {
    const std::wstring& name = item.name().str();
    if (name.empty())
        return L"has no name";
    if (name.find_first_of(std::wstring_view(L" ={}\n\r\0", 7)) != std::wstring::npos)
        return L"has a name holding a blank, \"=\", \"{\", \"}\" or a line break";
    static constexpr std::wstring_view kBreaking(L"{\n\r\0", 4);
    switch (item.kind()) {
    case kPStr:
        if (static_cast<const CPStr&>(item).value().str().find_first_of(kBreaking) != std::wstring::npos)
            return L"holds \"{\" or a line break, which the file format cannot store";
        break;
    case kPNum: {
        const std::wstring& v = static_cast<const CPNum&>(item).value().str();
        if (v.empty())
            return L"is an empty number";
        if (v.find_first_of(kBreaking) != std::wstring::npos)
            return L"holds \"{\" or a line break, which the file format cannot store";
        if (v[0] == L'"' || v[0] == L'\\' || asciiNoCaseEquals(v, L"true") || asciiNoCaseEquals(v, L"false"))
            return L"is a number whose text would read back as another kind of value";
        break;
    }
    case kPBin:
        if (static_cast<const CPBin&>(item).value().str().find_first_of(std::wstring_view(L"\\{\n\r\0", 5)) !=
            std::wstring::npos)
            return L"is binary text holding a backslash, \"{\" or a line break";
        break;
    default:
        break;
    }
    return nullptr;
}

// Why a number made from a value does not read back as it (CPNum::readsBack).
std::wstring inexactNumber(const OdString& text) {
    float f = 0;
    if (!ut::platform::scanFloat(text.c_str(), f))
        return L"is not a number the file can hold";
    if (!std::isfinite(f)) {
        // Digits that overflow, rather than the "inf" or "nan" of a value that was never finite.
        const std::wstring& t = text.str();
        const size_t first = t.find_first_not_of(L'-');
        if (first == std::wstring::npos || !std::iswdigit(t[first]))
            return L"is not a finite number, which the file cannot hold";
        return L"is too large for the file, whose numbers are single precision (at most about 3.4e38): it "
               L"would read back as infinite";
    }
    OdString r;
    r.format(L"would read back as %g, which is further from the value than the file's rounding", double(f));
    return r.str();
}

struct StoreCheck {
    int codePage;
    std::vector<std::wstring_view> path; // blocks entered, for messages
    std::string bytes;
    OdString why;

    bool fail(const CPItem& item, const std::wstring& reason) {
        std::wstring p;
        for (std::wstring_view b : path) {
            p.append(b);
            p += L'/';
        }
        why = OdString(p + item.name().str() + L": " + reason);
        return false;
    }

    // One printed line: whole (the printer would cut it), in the code page, and
    // within what the reader takes as one line.
    bool line(const CPItem& item, size_t indent, std::initializer_list<std::wstring_view> parts) {
        std::wstring text(indent, L' ');
        for (std::wstring_view part : parts)
            text.append(part);
        if (text.size() > kLineBuffer - 1) {
            OdString r;
            r.format(L"is too long for a line of the file (%zu characters; a line holds %zu)", text.size(),
                     kLineBuffer - 1);
            return fail(item, r.str());
        }
        // Every code page in use holds ASCII one byte per character.
        if (std::all_of(text.begin(), text.end(), [](wchar_t c) { return unsigned(c) < 0x80; }))
            return true;
        size_t bad = 0;
        if (!ut::platform::encodeExactly(text, codePage, bytes, &bad)) {
            OdString r;
            r.format(L"the character \"%lc\" (U+%04X) has no form in code page %d, in which the file is "
                     L"written; DRUTILS_ANSI_CODEPAGE chooses another (65001 for UTF-8)",
                     wint_t(text[bad]), unsigned(text[bad]), codePage);
            return fail(item, r.str());
        }
        if (bytes.size() > kMaxLineBytes) {
            OdString r;
            r.format(L"is too long for a line of the file (%zu bytes in code page %d; a line holds %zu)",
                     bytes.size(), codePage, kMaxLineBytes);
            return fail(item, r.str());
        }
        return true;
    }

    bool block(const CPBlock& b, size_t depth) {
        for (const CPItem* item : b.items()) {
            if (const wchar_t* r = unreadable(*item))
                return fail(*item, r);
            switch (item->kind()) {
            case kPNum: {
                const CPNum& num = *static_cast<const CPNum*>(item);
                if (!num.readsBack())
                    return fail(*item, inexactNumber(num.value()));
                if (!line(*item, depth, {view(item->name()), L"=", view(num.value())}))
                    return false;
                break;
            }
            case kPStr:
                if (!line(*item, depth, {view(item->name()), L"=\"", view(static_cast<const CPStr*>(item)->value())}))
                    return false;
                break;
            case kPBool:
                if (!line(*item, depth, {view(item->name()), L"=FALSE"}))
                    return false;
                break;
            case kPBlock:
                if (!line(*item, depth, {view(item->name()), L"{"}))
                    return false;
                path.push_back(view(item->name()));
                if (!block(*static_cast<const CPBlock*>(item), depth + 1))
                    return false;
                path.pop_back();
                break;
            case kPBin: {
                // Pieces of a binary value are joined by the reader wherever they
                // are cut, unless a cut falls inside a character of several bytes.
                const std::wstring& payload = static_cast<const CPBin*>(item)->value().str();
                if (payload.empty())
                    return fail(*item, L"is an empty binary value, which the file format leaves out");
                if (depth + size_t(item->name().getLength()) + 2 >= kBinaryPiece)
                    return fail(*item, L"has a name too long for a line of the file");
                if (std::all_of(payload.begin(), payload.end(), [](wchar_t c) { return unsigned(c) < 0x80; }))
                    break;
                size_t bad = 0;
                if (!ut::platform::encodeExactly(payload, codePage, bytes, &bad))
                    return fail(*item, L"is binary text with a character that code page " +
                                           std::to_wstring(codePage) + L" lacks");
                if (bytes.size() != payload.size())
                    return fail(*item, L"is binary text with characters of more than one byte in code page " +
                                           std::to_wstring(codePage));
                break;
            }
            default:
                break;
            }
        }
        return true;
    }
};

} // namespace

bool CPIAFileOut::canStore(const CPBlock* root, OdString* why) {
    if (!root)
        return true;
    StoreCheck check{ut::platform::ansiCodePage(), {}, {}, {}};
    if (check.block(*root, 0))
        return true;
    if (why)
        *why = check.why;
    return false;
}

int CPIAFileOut::close(const wchar_t* path) { return close(path, true); }

int CPIAFileOut::close(const wchar_t* path, bool replaceExisting) {
    OutImpl& o = *m_out;
    if (o.state != 0 || !o.text) {
        o.discardText();
        if (o.state == 0)
            o.state = kFileError;
        return o.state;
    }
    bool ok = std::fflush(o.text) == 0;
    const int64_t textSize = ut::platform::fileSize(o.text);
    ok = std::fclose(o.text) == 0 && ok;
    o.text = nullptr;
    if (!ok || textSize < 0 || textSize > int64_t(UINT32_MAX)) {
        o.discardText();
        setErrorText(L"the temporary text file cannot be written");
        return o.state = kFileError;
    }
    o.lengths[0] = uint32_t(textSize);

    // The stream is kept in memory: its checksum goes in the header before it.
    std::string stream;
    int rc = compressToMemory(o.textName.c_str(), stream, kCompressionLevel);
    o.discardText();
    if (rc != 0)
        return o.state = rc;
    if (stream.size() > UINT32_MAX) {
        setErrorText(L"the compressed text is larger than the format's 4 GiB");
        return o.state = kFileError;
    }
    o.lengths[1] = uint32_t(stream.size());

    unsigned char header[kHeaderSize];
    std::string text = std::string("PIAFILEVERSION_2.0,") + typeLetters(o.type) + "VER1,compress\r\npmzlibcodec";
    std::memcpy(header, text.data(), 48);
    putLittleEndian(header + 52, o.lengths[0]);
    putLittleEndian(header + 56, o.lengths[1]);
    // Started at 0, not at zlib's 1, as the application has always written it.
    // Readers ignore the field (some other writers start at 1).
    uLong sum = adler32(0L, header + 52, 8);
    sum = adler32_z(sum, reinterpret_cast<const Bytef*>(stream.data()), stream.size());
    putLittleEndian(header + 48, uint32_t(sum));

    using ut::platform::FileStatus;
    ut::platform::AtomicFileWriter out{OdString(path), replaceExisting};
    FileStatus why = FileStatus::Ok;
    if (!out.file()) {
        why = out.status() == FileStatus::Ok ? FileStatus::Failed : out.status();
    } else if (std::fwrite(header, 1, kHeaderSize, out.file()) != size_t(kHeaderSize) ||
               std::fwrite(stream.data(), 1, stream.size(), out.file()) != stream.size()) {
        why = ut::platform::statusFromErrno(errno);
    } else if (!out.commit()) {
        why = out.status();
    }
    if (why != FileStatus::Ok) {
        setErrorText(OdString(ut::platform::describe(why)));
        o.state = why == FileStatus::Exists ? kFileExists : kFileError;
    }
    return o.state;
}
