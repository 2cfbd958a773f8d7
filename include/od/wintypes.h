// Windows structure types that appear in the library's interface, with the
// Windows field names and layout: rectangles and points (32-bit signed fields)
// and the printer device mode.
#pragma once

#include <cstddef>
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

// The Windows device mode (DEVMODEW) of a printer: a 220-byte public part in the
// Windows layout, followed in memory by dmDriverExtra driver-private bytes that
// begin dmSize bytes after the record's start. Texts are 16-bit (UTF-16) as on
// Windows, so a record read from a configuration written there means the same.
// Only the printer form of the first union is given; display fields keep their
// names so a dump reads like one made on Windows.
typedef struct _devicemodeW {
    char16_t dmDeviceName[32];
    uint16_t dmSpecVersion;
    uint16_t dmDriverVersion;
    uint16_t dmSize;
    uint16_t dmDriverExtra;
    uint32_t dmFields;
    int16_t dmOrientation;
    int16_t dmPaperSize;
    int16_t dmPaperLength; // tenths of a millimetre
    int16_t dmPaperWidth;  // tenths of a millimetre
    int16_t dmScale;
    int16_t dmCopies;
    int16_t dmDefaultSource;
    int16_t dmPrintQuality;
    int16_t dmColor;
    int16_t dmDuplex;
    int16_t dmYResolution;
    int16_t dmTTOption;
    int16_t dmCollate;
    char16_t dmFormName[32];
    uint16_t dmLogPixels;
    uint32_t dmBitsPerPel;
    uint32_t dmPelsWidth;
    uint32_t dmPelsHeight;
    union {
        uint32_t dmDisplayFlags;
        uint32_t dmNup;
    };
    uint32_t dmDisplayFrequency;
    uint32_t dmICMMethod;
    uint32_t dmICMIntent;
    uint32_t dmMediaType;
    uint32_t dmDitherType;
    uint32_t dmReserved1;
    uint32_t dmReserved2;
    uint32_t dmPanningWidth;
    uint32_t dmPanningHeight;
} DEVMODEW, *PDEVMODEW, *LPDEVMODEW;

static_assert(sizeof(DEVMODEW) == 220, "DEVMODEW must keep the Windows size");
static_assert(offsetof(DEVMODEW, dmSpecVersion) == 64 && offsetof(DEVMODEW, dmFields) == 72 &&
                  offsetof(DEVMODEW, dmOrientation) == 76 && offsetof(DEVMODEW, dmColor) == 92 &&
                  offsetof(DEVMODEW, dmFormName) == 102 && offsetof(DEVMODEW, dmLogPixels) == 166 &&
                  offsetof(DEVMODEW, dmBitsPerPel) == 168 && offsetof(DEVMODEW, dmNup) == 180 &&
                  offsetof(DEVMODEW, dmICMMethod) == 188 && offsetof(DEVMODEW, dmMediaType) == 196 &&
                  offsetof(DEVMODEW, dmPanningHeight) == 216,
              "DEVMODEW fields must sit where Windows puts them");

// dmSpecVersion of the 220-byte record.
inline constexpr uint16_t DM_SPECVERSION = 0x0401;

// dmFields: which fields hold a value.
inline constexpr uint32_t DM_ORIENTATION = 0x00000001;
inline constexpr uint32_t DM_PAPERSIZE = 0x00000002;
inline constexpr uint32_t DM_PAPERLENGTH = 0x00000004;
inline constexpr uint32_t DM_PAPERWIDTH = 0x00000008;
inline constexpr uint32_t DM_SCALE = 0x00000010;
inline constexpr uint32_t DM_NUP = 0x00000040;
inline constexpr uint32_t DM_COPIES = 0x00000100;
inline constexpr uint32_t DM_DEFAULTSOURCE = 0x00000200;
inline constexpr uint32_t DM_PRINTQUALITY = 0x00000400;
inline constexpr uint32_t DM_COLOR = 0x00000800;
inline constexpr uint32_t DM_DUPLEX = 0x00001000;
inline constexpr uint32_t DM_YRESOLUTION = 0x00002000;
inline constexpr uint32_t DM_TTOPTION = 0x00004000;
inline constexpr uint32_t DM_COLLATE = 0x00008000;
inline constexpr uint32_t DM_FORMNAME = 0x00010000;
inline constexpr uint32_t DM_ICMMETHOD = 0x00800000;
inline constexpr uint32_t DM_ICMINTENT = 0x01000000;
inline constexpr uint32_t DM_MEDIATYPE = 0x02000000;
inline constexpr uint32_t DM_DITHERTYPE = 0x04000000;

// dmOrientation, dmColor, dmDuplex, dmCollate.
inline constexpr int16_t DMORIENT_PORTRAIT = 1;
inline constexpr int16_t DMORIENT_LANDSCAPE = 2;
inline constexpr int16_t DMCOLOR_MONOCHROME = 1;
inline constexpr int16_t DMCOLOR_COLOR = 2;
inline constexpr int16_t DMDUP_SIMPLEX = 1;
inline constexpr int16_t DMDUP_VERTICAL = 2;
inline constexpr int16_t DMDUP_HORIZONTAL = 3;
inline constexpr int16_t DMCOLLATE_FALSE = 0;
inline constexpr int16_t DMCOLLATE_TRUE = 1;

// dmPrintQuality codes (positive values are dots per inch).
inline constexpr int16_t DMRES_DRAFT = -1;
inline constexpr int16_t DMRES_LOW = -2;
inline constexpr int16_t DMRES_MEDIUM = -3;
inline constexpr int16_t DMRES_HIGH = -4;

// dmDefaultSource (paper bins); driver-defined sources start at DMBIN_USER.
inline constexpr int16_t DMBIN_UPPER = 1;
inline constexpr int16_t DMBIN_LOWER = 2;
inline constexpr int16_t DMBIN_MIDDLE = 3;
inline constexpr int16_t DMBIN_MANUAL = 4;
inline constexpr int16_t DMBIN_ENVELOPE = 5;
inline constexpr int16_t DMBIN_ENVMANUAL = 6;
inline constexpr int16_t DMBIN_AUTO = 7;
inline constexpr int16_t DMBIN_TRACTOR = 8;
inline constexpr int16_t DMBIN_SMALLFMT = 9;
inline constexpr int16_t DMBIN_LARGEFMT = 10;
inline constexpr int16_t DMBIN_LARGECAPACITY = 11;
inline constexpr int16_t DMBIN_CASSETTE = 14;
inline constexpr int16_t DMBIN_FORMSOURCE = 15;
inline constexpr int16_t DMBIN_USER = 256;

// dmPaperSize: driver-defined papers start at DMPAPER_USER.
inline constexpr int16_t DMPAPER_USER = 256;
