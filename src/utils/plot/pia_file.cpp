// The parameter-file container: a 60-byte header and a zlib stream of the text
// (read also after the 72-byte header some writers make on 64-bit systems).
// CPIAFileIn turns a container into text lines, CPIAFileOut prints a block tree
// into a temporary "pia" text file and writes the container from it; that file
// never outlives the writer.
#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "plot/pia_text.h"
#include "plot/zlib_engine_impl.h"
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

struct CPIAFileIn::InImpl {
    pia::TextLines lines;
    bool open = false;
    uint64_t maxText = kDefaultMaxTextSize;
};

CPIAFileIn::CPIAFileIn() : m_in(new InImpl) {}

CPIAFileIn::~CPIAFileIn() { delete m_in; }

void CPIAFileIn::setMaxTextSize(uint64_t bytes) { m_in->maxText = bytes; }

int CPIAFileIn::doInflateInit() {
    Impl& d = *m_impl;
    if (!d.source || std::fseek(d.source, kHeaderSize, SEEK_SET) != 0)
        return kFileError;
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
    if (std::fseek(d.source, long(start), SEEK_SET) != 0)
        return kFileError;
    int64_t size = ut::platform::fileSize(d.source);
    d.total = size > start ? uint32_t(std::min<int64_t>(size - start, UINT32_MAX)) : 0u;
    d.deflating = false;
    int rc = inflateInit_(&d.stream, pia::kZlibVersion, int(sizeof(z_stream)));
    d.streamActive = rc == Z_OK;
    return rc;
}

// The text is inflated into memory rather than into a temporary file: the
// encoding is decided over all of it anyway, and a parameter file is small. The
// run is otherwise the engine's own, with its hooks and result codes, and bounded
// by the text size limit.
int CPIAFileIn::open(const wchar_t* path) {
    close();
    setOutputLimit(m_in->maxText);
    std::string text;
    int rc = decompressToMemory(path, text);
    if (rc != 0)
        return rc;
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
    m_out->textName = ut::FileName::createTempFileName(L"pia");
    if (!m_out->textName.isEmpty())
        m_out->text = ut::platform::openFile(m_out->textName, "wb");
    if (!m_out->text) {
        m_out->discardText();
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
    if (std::fwrite(o.narrow.data(), 1, o.narrow.size(), o.text) != o.narrow.size())
        o.state = kFileError;
    return o.state;
}

namespace {

// Composes indent blanks and the parts in a line buffer, cut to what the buffer holds.
size_t compose(wchar_t* buf, size_t indent, std::initializer_list<std::wstring_view> parts) {
    const size_t cap = kLineBuffer - 1;
    size_t n = std::min(indent, cap);
    std::fill(buf, buf + n, L' ');
    for (std::wstring_view part : parts) {
        size_t take = std::min(part.size(), cap - n);
        part.copy(buf + n, take);
        n += take;
    }
    buf[n] = L'\0';
    return n;
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
    std::wstring composed(o.line, compose(o.line, size_t(o.depth), {view(bin->name()), L"=\\"}));
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

int CPIAFileOut::close(const wchar_t* path) {
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
        return o.state = kFileError;
    }
    o.lengths[0] = uint32_t(textSize);

    // The stream is kept in memory: its checksum goes in the header before it.
    std::string stream;
    int rc = compressToMemory(o.textName.c_str(), stream, kCompressionLevel);
    o.discardText();
    if (rc != 0)
        return o.state = rc;
    if (stream.size() > UINT32_MAX)
        return o.state = kFileError;
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

    ut::platform::AtomicFileWriter out{OdString(path)};
    if (!out.file() || std::fwrite(header, 1, kHeaderSize, out.file()) != size_t(kHeaderSize) ||
        std::fwrite(stream.data(), 1, stream.size(), out.file()) != stream.size() || !out.commit())
        o.state = kFileError;
    return o.state;
}
