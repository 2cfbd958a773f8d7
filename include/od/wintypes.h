// Windows structure types that appear in the library's interface, with the
// Windows field names and layout (32-bit signed fields).
#pragma once

#include <cstdint>

typedef struct tagRECT {
    int32_t left;
    int32_t top;
    int32_t right;
    int32_t bottom;
} RECT;

typedef struct tagPOINT {
    int32_t x;
    int32_t y;
} POINT;
