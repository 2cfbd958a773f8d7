// State of a ZlibEngine run, shared with the container reader and writer that
// derive from it.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <zlib.h>

#include "pia.h"

struct ZlibEngine::Impl {
    static constexpr unsigned kBufferSize = 4096;

    z_stream stream{};
    bool streamActive = false;
    bool deflating = false;
    unsigned char in[kBufferSize];
    unsigned char out[kBufferSize];
    FILE* source = nullptr;
    FILE* destination = nullptr;
    // When set, output goes here instead of to the destination file.
    std::string* memory = nullptr;
    uint32_t total = 0;
    int result = 0;
    bool abort = false;
    // Bound on what one run may write; a decompression bomb stops here instead of
    // filling the disk.
    uint64_t outputLimit = UINT64_MAX;
    uint64_t written = 0;
    // errno of a failed read of the source (0: none), which the run would
    // otherwise take for the end of the input.
    int readError = 0;
    // Why the last run failed, for errorText; empty when it did not.
    OdString errorText;
    // Set by an initialiser that turned zlib's checksum off: the run checks the
    // stream's Adler-32 itself, faster, over the text as it comes out.
    bool ownCheck = false;
    uint32_t check = 1;
    // The last bytes of the input buffer before the one being inflated, for a
    // checksum that straddles two reads.
    unsigned char previousTail[4] = {};
    size_t loaded = 0;
};

namespace pia {
// zlib's initialisers are given the version the file format was made with; zlib
// only checks its major number.
inline constexpr const char* kZlibVersion = "1.2.5";
} // namespace pia
