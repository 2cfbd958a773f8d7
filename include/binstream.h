// Binary streams: typed insertion and extraction of raw little-endian values,
// the form in which plot styles travel through memory between the application,
// its plug-ins and peers on Windows. Values carry no tags and no alignment.
//
// Strings follow a rule that looks like a slip but is part of the format and is
// kept byte for byte: the count written is the number of UTF-16 code units, and
// the same number of *bytes* of the UTF-16 text follows. Only the first half of
// a text therefore survives a round trip ("AB" comes back as "A", a 7-character
// name as its first 4 characters). On Linux wchar_t is 32 bits wide, so texts
// are converted to UTF-16 first: the bytes agree with those of a Windows peer.
#pragma once

#include <cstdint>
#include <vector>

#include "drutils_export.h"
#include "od/OdString.h"

// The value thrown by every extraction operator when the stream delivers fewer
// bytes than the value needs, or a string count is negative. Catch it as int.
constexpr int kBinStreamShortRead = 0;

class DRUTILS_API COBinStream {
public:
    virtual ~COBinStream();
    // Appends size bytes; returns how many were taken.
    virtual int write(int size, const void* data) = 0;

    COBinStream& operator<<(char v);
    // Through the char operator: one byte, 1 or 0. Without this overload a bool
    // would promote to int and take four bytes.
    COBinStream& operator<<(bool v);
    COBinStream& operator<<(short int v);
    COBinStream& operator<<(int v);
    COBinStream& operator<<(float v);
    COBinStream& operator<<(double v);
    // A null pointer is written as the empty text (a zero count, nothing more).
    COBinStream& operator<<(const wchar_t* text);
    COBinStream& operator<<(const OdString& text) { return *this << text.c_str(); }
};

class DRUTILS_API CIBinStream {
public:
    virtual ~CIBinStream();
    // Copies up to size bytes into data; returns how many were delivered.
    virtual int read(int size, void* data) = 0;

    // Each throws kBinStreamShortRead (an int) on a short read; the target is
    // then unspecified.
    CIBinStream& operator>>(char& v);
    CIBinStream& operator>>(bool& v);
    CIBinStream& operator>>(short int& v);
    CIBinStream& operator>>(int& v);
    CIBinStream& operator>>(float& v);
    CIBinStream& operator>>(double& v);
    // Reads the count n and n bytes of UTF-16 text; the result is the text up
    // to the first NUL of those bytes (see the note at the top of this header).
    // Throws on a negative count or fewer than n bytes.
    CIBinStream& operator>>(OdString& text);
};

// Writes into a buffer of its own that grows as needed.
class DRUTILS_API COBinStreamImp : public COBinStream {
public:
    COBinStreamImp() = default;
    COBinStreamImp(const COBinStreamImp&) = default;
    COBinStreamImp& operator=(const COBinStreamImp&) = default;
    ~COBinStreamImp() override;

    // Writes at the current position, growing the buffer to exactly the end of
    // the write when it is too short. A negative size or a null pointer writes
    // nothing and returns 0.
    int write(int size, const void* data) override;
    void reset();
    // Bytes written since construction or the last reset.
    int pos() const { return int(m_pos); }
    // Start of the buffer; valid until the next write or reset.
    const unsigned char* data() const { return m_buffer.data(); }

private:
    std::vector<unsigned char> m_buffer;
    uint32_t m_pos = 0;
};

// Reads from bytes that belong to the caller and must outlive the stream.
// Copies share those bytes.
class DRUTILS_API CIBinStreamImp : public CIBinStream {
public:
    CIBinStreamImp() = default;
    CIBinStreamImp(const unsigned char* data, unsigned int size) : m_data(data), m_size(size) {}
    CIBinStreamImp(const CIBinStreamImp&) = default;
    CIBinStreamImp& operator=(const CIBinStreamImp&) = default;
    ~CIBinStreamImp() override;

    // Delivers what is left when fewer than size bytes remain (and then stands
    // at the end); 0 with no source, at the end, or for a negative size.
    int read(int size, void* data) override;
    void reset(const unsigned char* data, unsigned int size);
    int pos() const { return int(m_pos); }
    unsigned int size() const { return m_size; }

private:
    const unsigned char* m_data = nullptr;
    uint32_t m_size = 0;
    uint32_t m_pos = 0;
};
