// File-to-file zlib engine behind the parameter-file container.
#include <cerrno>
#include <cstring>
#include <zlib.h>

#include "pia/zlib_engine_impl.h"
#include "platform/checksum.h"
#include "platform/files.h"

namespace {

constexpr unsigned kBuf = ZlibEngine::Impl::kBufferSize;

uint32_t clampLength(int64_t n) {
    if (n < 0)
        return 0;
    return n > int64_t(UINT32_MAX) ? UINT32_MAX : uint32_t(n);
}

} // namespace

ZlibEngine::ZlibEngine() : m_impl(new Impl) {}

ZlibEngine::~ZlibEngine() {
    if (m_impl->streamActive)
        m_impl->deflating ? deflateEnd(&m_impl->stream) : inflateEnd(&m_impl->stream);
    if (m_impl->source)
        std::fclose(m_impl->source);
    if (m_impl->destination)
        std::fclose(m_impl->destination);
    delete m_impl;
}

void ZlibEngine::setAbortFlag(bool) { m_impl->abort = true; }

int ZlibEngine::percentOf(uint32_t total, uint64_t consumed) {
    if (total == 0)
        return 100;
    // Above ten million bytes the product would overflow 32 bits where the format
    // was born; the division first keeps the same numbers.
    if (total > 10000000u)
        return int(consumed / (total / 100u));
    return int(consumed * 100u / total);
}

int ZlibEngine::percent() const { return percentOf(m_impl->total, m_impl->stream.total_in); }

void ZlibEngine::setOutputLimit(uint64_t bytes) { m_impl->outputLimit = bytes; }

const wchar_t* ZlibEngine::resultText(int result) {
    switch (result) {
    case kOk: return L"done";
    case kShortWrite: return L"the output could not be written whole";
    case kFileError: return L"the file cannot be opened, read or written";
    case kUserAbort: return L"aborted";
    case kTooLarge: return L"the text inside is too large";
    case kFileExists: return L"the file already exists";
    case kUnstorable: return L"a value cannot be stored in the file's text format";
    case Z_DATA_ERROR:
    case Z_NEED_DICT: return L"compressed data is corrupt";
    case Z_BUF_ERROR: return L"compressed data is truncated";
    case Z_MEM_ERROR: return L"out of memory";
    case Z_VERSION_ERROR: return L"the zlib library is incompatible";
    default: return L"unexpected failure of the compression library";
    }
}

OdString ZlibEngine::errorText() const { return m_impl->errorText; }

void ZlibEngine::setErrorText(const OdString& text) { m_impl->errorText = text; }

int ZlibEngine::doInflateInit() {
    m_impl->total = clampLength(ut::platform::fileSize(m_impl->source));
    m_impl->deflating = false;
    int rc = inflateInit_(&m_impl->stream, pia::kZlibVersion, int(sizeof(z_stream)));
    m_impl->streamActive = rc == Z_OK;
    return rc;
}

int ZlibEngine::doDeflateInit(int level) {
    m_impl->total = clampLength(ut::platform::fileSize(m_impl->source));
    m_impl->deflating = true;
    int rc = deflateInit_(&m_impl->stream, level, pia::kZlibVersion, int(sizeof(z_stream)));
    m_impl->streamActive = rc == Z_OK;
    return rc;
}

void ZlibEngine::progress(int) {}

void ZlibEngine::status(const wchar_t*) {}

int ZlibEngine::load_input() {
    Impl& d = *m_impl;
    if (d.loaded >= 4)
        std::memcpy(d.previousTail, d.in + d.loaded - 4, 4);
    else if (d.loaded > 0) {
        std::memmove(d.previousTail, d.previousTail + d.loaded, 4 - d.loaded);
        std::memcpy(d.previousTail + 4 - d.loaded, d.in, d.loaded);
    }
    size_t n = d.source ? std::fread(d.in, 1, kBuf, d.source) : 0;
    if (n == 0 && d.source && std::ferror(d.source) && !d.readError)
        d.readError = errno ? errno : EIO;
    d.loaded = n;
    d.stream.next_in = d.in;
    d.stream.avail_in = uInt(n);
    return int(n);
}

int ZlibEngine::flush_output() {
    Impl& d = *m_impl;
    size_t n = kBuf - d.stream.avail_out;
    if (n > 0) {
        if (d.written + n > d.outputLimit) {
            d.result = kTooLarge;
            return d.result;
        }
        if (d.ownCheck)
            d.check = ut::platform::adler32(d.check, d.out, n);
        if (d.memory) {
            d.memory->append(reinterpret_cast<const char*>(d.out), n);
        } else if (!d.destination || std::fwrite(d.out, 1, n, d.destination) != n) {
            d.result = kShortWrite;
            return d.result;
        }
        d.written += n;
    }
    d.stream.next_out = d.out;
    d.stream.avail_out = kBuf;
    return 0;
}

int ZlibEngine::compress(const wchar_t* source, const wchar_t* destination, int level) {
    return run(source, destination, true, level);
}

int ZlibEngine::decompress(const wchar_t* source, const wchar_t* destination) {
    return run(source, destination, false, 0);
}

int ZlibEngine::compressToMemory(const wchar_t* source, std::string& stream, int level) {
    stream.clear();
    return run(source, nullptr, true, level, &stream);
}

int ZlibEngine::decompressToMemory(const wchar_t* source, std::string& text) {
    text.clear();
    return run(source, nullptr, false, 0, &text);
}

int ZlibEngine::run(const wchar_t* source, const wchar_t* destination, bool deflating, int level,
                    std::string* memory) {
    Impl& d = *m_impl;
    d.result = 0;
    d.abort = false;
    d.written = 0;
    d.total = 0;
    d.stream = z_stream{};
    d.memory = memory;
    d.ownCheck = false;
    d.check = 1;
    d.loaded = 0;

    d.errorText.empty();
    d.readError = 0;
    auto fileFailure = [&](ut::platform::FileStatus why) {
        d.errorText = OdString(ut::platform::describe(why));
        return kFileError;
    };

    // The source is opened first so that a missing source leaves the destination alone.
    ut::platform::FileStatus why = ut::platform::FileStatus::Ok;
    d.source = ut::platform::openFile(OdString(source), "rb", &why);
    if (!d.source)
        return fileFailure(why);
    if (!memory) {
        d.destination = ut::platform::openFile(OdString(destination), "wb", &why);
        if (!d.destination) {
            closeFiles();
            return fileFailure(why);
        }
        // The engine writes whole buffers itself; unbuffered output reports a full
        // disk at the write that failed rather than at close.
        std::setvbuf(d.destination, nullptr, _IONBF, 0);
    }

    int rc = deflating ? doDeflateInit(level) : doInflateInit();
    if (rc != 0) {
        endStream();
        closeFiles();
        return rc;
    }
    d.stream.next_out = d.out;
    d.stream.avail_out = kBuf;

    auto step = [&](int flush) { return deflating ? deflate(&d.stream, flush) : inflate(&d.stream, flush); };

    while (!d.abort) {
        if (d.stream.avail_in == 0 && load_input() == 0)
            break;
        d.result = step(Z_NO_FLUSH);
        if (flush_output() != 0 || d.result != 0)
            break;
        progress(percent());
    }

    // Drain what the stream still holds once the input is used up. Inflation is
    // not asked to finish: with more output pending than fits the buffer it would
    // call valid data an error.
    if (!d.abort && d.result == 0) {
        for (;;) {
            d.result = step(deflating ? Z_FINISH : Z_NO_FLUSH);
            if (d.stream.avail_out == kBuf)
                break;
            if (flush_output() != 0 || d.result != 0)
                break;
        }
    }

    if (d.ownCheck && d.result == Z_STREAM_END && !d.abort && storedCheck() != d.check) {
        d.result = Z_DATA_ERROR;
        d.errorText = L"the text does not match the checksum stored with it";
    }
    progress(percent());
    endStream();
    // A read that failed looked like the end of the input to the loop above.
    const int readError = d.readError;
    if (!closeFiles() && !d.abort && (d.result == Z_OK || d.result == Z_STREAM_END))
        d.result = kShortWrite;
    if (readError && !d.abort) {
        status(L"Zlib Error");
        return fileFailure(ut::platform::statusFromErrno(readError));
    }
    if (static_cast<unsigned>(d.result) > 1u && !d.abort && d.errorText.isEmpty())
        d.errorText = resultText(d.result);

    if (d.abort) {
        status(L"User Abort");
        return kUserAbort;
    }
    if (static_cast<unsigned>(d.result) > 1u) {
        status(L"Zlib Error");
        return d.result;
    }
    status(L"Success");
    d.result = 0;
    return 0;
}

// The Adler-32 that ends the stream: the four bytes (most significant first)
// just before where inflation stopped, which may begin in the previous read.
uint32_t ZlibEngine::storedCheck() const {
    const Impl& d = *m_impl;
    const size_t end = size_t(d.stream.next_in - d.in);
    unsigned char b[4];
    for (size_t i = 0; i < 4; ++i) {
        const size_t back = 4 - i; // bytes before the end
        b[i] = back <= end ? d.in[end - back] : d.previousTail[4 - (back - end)];
    }
    return uint32_t(b[0]) << 24 | uint32_t(b[1]) << 16 | uint32_t(b[2]) << 8 | b[3];
}

void ZlibEngine::endStream() {
    Impl& d = *m_impl;
    if (d.streamActive)
        d.deflating ? deflateEnd(&d.stream) : inflateEnd(&d.stream);
    d.streamActive = false;
}

bool ZlibEngine::closeFiles() {
    Impl& d = *m_impl;
    bool ok = true;
    if (d.source)
        std::fclose(d.source);
    if (d.destination)
        ok = std::fclose(d.destination) == 0;
    d.source = d.destination = nullptr;
    return ok;
}

int ZlibEngine::compressMemory(uint8_t* dest, unsigned long* destLen, const uint8_t* source,
                               unsigned long sourceLen, int level) {
    return compress2(dest, destLen, source, sourceLen, level);
}

int ZlibEngine::decompressMemory(uint8_t* dest, unsigned long* destLen, const uint8_t* source,
                                 unsigned long sourceLen) {
    return uncompress(dest, destLen, source, sourceLen);
}

unsigned long ZlibEngine::compressedSize(unsigned long sourceLen) { return compressBound(sourceLen); }
