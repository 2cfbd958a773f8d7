#include "binstream.h"

#include <algorithm>
#include <bit>
#include <climits>
#include <cstring>
#include <string>

// Values are raw memory images; peers on Windows are little-endian, and so must
// be the host for the bytes to agree.
static_assert(std::endian::native == std::endian::little, "binary streams assume a little-endian host");
static_assert(sizeof(short int) == 2 && sizeof(int) == 4 && sizeof(float) == 4 && sizeof(double) == 8);

namespace {

template <typename T> void put(COBinStream& s, T v) { s.write(int(sizeof v), &v); }

template <typename T> void get(CIBinStream& s, T& v) {
    if (s.read(int(sizeof v), &v) != int(sizeof v))
        throw kBinStreamShortRead;
}

// wchar_t text (UTF-32 here) to the UTF-16 units a Windows peer keeps in memory.
std::u16string toUtf16(const wchar_t* text) {
    std::u16string out;
    for (; *text; ++text) {
        auto c = static_cast<uint32_t>(*text);
        if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF))
            c = 0xFFFD;
        if (c >= 0x10000) {
            c -= 0x10000;
            out.push_back(char16_t(0xD800 + (c >> 10)));
            out.push_back(char16_t(0xDC00 + (c & 0x3FF)));
        } else {
            out.push_back(char16_t(c));
        }
    }
    return out;
}

// UTF-16 units up to the first NUL back to wchar_t. The byte rule of the format
// can cut a surrogate pair in half; a lone half becomes U+FFFD.
std::wstring fromUtf16(const char16_t* units) {
    std::wstring out;
    for (; *units; ++units) {
        uint32_t c = *units;
        if (c >= 0xD800 && c <= 0xDBFF && units[1] >= 0xDC00 && units[1] <= 0xDFFF) {
            c = 0x10000 + ((c - 0xD800) << 10) + (uint32_t(units[1]) - 0xDC00);
            ++units;
        } else if (c >= 0xD800 && c <= 0xDFFF) {
            c = 0xFFFD;
        }
        out.push_back(wchar_t(c));
    }
    return out;
}

} // namespace

COBinStream::~COBinStream() = default;
CIBinStream::~CIBinStream() = default;

COBinStream& COBinStream::operator<<(char v) { return put(*this, v), *this; }
COBinStream& COBinStream::operator<<(bool v) { return *this << char(v ? 1 : 0); }
COBinStream& COBinStream::operator<<(short int v) { return put(*this, v), *this; }
COBinStream& COBinStream::operator<<(int v) { return put(*this, v), *this; }
COBinStream& COBinStream::operator<<(float v) { return put(*this, v), *this; }
COBinStream& COBinStream::operator<<(double v) { return put(*this, v), *this; }

COBinStream& COBinStream::operator<<(const wchar_t* text) {
    const std::u16string units = toUtf16(text ? text : L"");
    // The count of units is also the number of bytes written: the first half of
    // the text only. Peers read it back the same way.
    const int n = int(std::min<size_t>(units.size(), INT_MAX / 2));
    *this << n;
    if (n > 0)
        write(n, units.data());
    return *this;
}

CIBinStream& CIBinStream::operator>>(char& v) { return get(*this, v), *this; }
CIBinStream& CIBinStream::operator>>(short int& v) { return get(*this, v), *this; }
CIBinStream& CIBinStream::operator>>(int& v) { return get(*this, v), *this; }
CIBinStream& CIBinStream::operator>>(float& v) { return get(*this, v), *this; }
CIBinStream& CIBinStream::operator>>(double& v) { return get(*this, v), *this; }

CIBinStream& CIBinStream::operator>>(bool& v) {
    char c = 0;
    *this >> c;
    v = c != 0;
    return *this;
}

CIBinStream& CIBinStream::operator>>(OdString& text) {
    text.empty();
    int n = 0;
    *this >> n;
    if (n < 0)
        throw kBinStreamShortRead;
    // Filled in slices so that a corrupt count on a short stream fails before a
    // large buffer is made: the stream runs out first.
    constexpr int kSlice = 1 << 16;
    std::string bytes;
    while (int(bytes.size()) < n) {
        const int want = std::min(kSlice, n - int(bytes.size()));
        const size_t at = bytes.size();
        bytes.resize(at + size_t(want));
        if (read(want, bytes.data() + at) != want)
            throw kBinStreamShortRead;
    }
    // n bytes into a zeroed buffer of n+1 units, then read up to the first NUL:
    // what the peer's string holds after the same extraction.
    std::u16string units(size_t(n) + 1, u'\0');
    std::memcpy(units.data(), bytes.data(), bytes.size());
    text = OdString(fromUtf16(units.c_str()));
    return *this;
}

COBinStreamImp::~COBinStreamImp() = default;

int COBinStreamImp::write(int size, const void* data) {
    if (size <= 0 || !data)
        return 0;
    const uint64_t end = uint64_t(m_pos) + uint64_t(size);
    if (end > uint64_t(INT_MAX))
        return 0;
    if (end > m_buffer.size())
        m_buffer.resize(size_t(end));
    std::memcpy(m_buffer.data() + m_pos, data, size_t(size));
    m_pos = uint32_t(end);
    return size;
}

void COBinStreamImp::reset() {
    m_buffer.clear();
    m_pos = 0;
}

CIBinStreamImp::~CIBinStreamImp() = default;

int CIBinStreamImp::read(int size, void* data) {
    if (!m_data || m_pos >= m_size || size <= 0)
        return 0;
    const uint32_t left = m_size - m_pos;
    const uint32_t n = std::min(left, uint32_t(size));
    if (data)
        std::memcpy(data, m_data + m_pos, n);
    m_pos += n;
    return int(n);
}

void CIBinStreamImp::reset(const unsigned char* data, unsigned int size) {
    m_data = data;
    m_size = size;
    m_pos = 0;
}
