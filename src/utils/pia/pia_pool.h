// The memory one parse lays its tree out in: items side by side in a few large
// chunks instead of one heap object each, and the texts of names and values kept
// once per distinct text. A table repeats a few dozen keys and a handful of
// values ("-1", "0.500000") thousands of times; sharing them is most of what
// makes a parse cheap. The pool lives as long as the parser's tree and is freed
// with it; nothing in it is shared with any other parse, so parses on several
// threads never meet.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "pia.h"

class CPIAParser::Pool {
public:
    // A shared text and, for an ASCII text, where in it the text was read (a
    // comparison of bytes is cheaper than one of bytes with wide characters).
    struct Slot {
        const OdString* text = nullptr;
        uint32_t hash = 0;
        uint32_t offset = 0;
    };

    Pool() = default;
    ~Pool();
    Pool(const Pool&) = delete;
    Pool& operator=(const Pool&) = delete;

    // Room for an object of size bytes, aligned for any item.
    void* allocate(size_t size) {
        size = (size + kAlign - 1) & ~(kAlign - 1);
        if (size > m_left)
            grow(size);
        void* p = m_next;
        m_next += size;
        m_left -= size;
        return p;
    }

    // Starts the lookup of shared texts for a parse of text (the bytes of an
    // ASCII text stay put while it is parsed).
    void beginParse(const char* text);
    // The one copy of a text of this parse (names, numbers, strings), from its
    // wide characters or, for an ASCII text, its bytes within the text given to
    // beginParse. A parse uses one or the other throughout.
    template <typename Char> const OdString* shared(const Char* text, size_t length);
    // A text of its own, not looked up (binary payloads: long, rarely repeated).
    template <typename Char> const OdString* single(const Char* text, size_t length);
    // The lookup of shared texts is only needed while parsing.
    void endParse();

private:
    static constexpr size_t kAlign = alignof(std::max_align_t) < 8 ? 8 : alignof(std::max_align_t);
    // Items come in chunks of one size, below what the C library hands out as
    // pages of their own, and the chunks of a finished parse wait for the next
    // parse on the same thread (up to kCachedChunks of them): freed and taken
    // afresh each time, they would be returned to the system and faulted in
    // again, which costs more than the whole parse.
    static constexpr size_t kChunk = 64 << 10;
    static constexpr size_t kCachedChunks = 16;
    static constexpr size_t kStringsPerChunk = 256;
    // Texts kept for the next parse on the thread: this many chunks of them,
    // each text with room for this many characters at most.
    static constexpr size_t kCachedStringChunks = 16;
    static constexpr size_t kCachedStringLength = 32;

    // Lookup tables up to this many slots wait for the next parse on the thread.
    static constexpr size_t kCachedSlots = 8192;

    void grow(size_t atLeast);
    OdString* newString();
    void rehash();

    std::vector<std::unique_ptr<std::byte[]>> m_chunks;
    std::byte* m_next = nullptr;
    size_t m_left = 0;

    std::vector<std::unique_ptr<OdString[]>> m_strings;
    size_t m_stringsLeft = 0;

    std::vector<Slot> m_slots; // open addressing, at most half full
    size_t m_used = 0;
    const char* m_base = nullptr;
};
