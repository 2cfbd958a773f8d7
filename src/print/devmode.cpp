// Device-mode records built from queues, their private bytes and job options.
#include "print/devmode.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/codepage.h"
#include "print/papers_internal.h"

namespace ut::devmode {

namespace {

thread_local std::wstring t_lastError;
thread_local platform::printing::Fault t_lastFault = platform::printing::Fault::kNone;

// "drutcups": this library's private bytes, never a driver's.
constexpr uint8_t kSignature[8] = {'d', 'r', 'u', 't', 'c', 'u', 'p', 's'};
constexpr uint16_t kFormatVersion = 1;
constexpr size_t kHeaderBytes = 16; // signature, version, count, payload length

int16_t clampShort(long v) { return int16_t(std::clamp<long>(v, INT16_MIN, INT16_MAX)); }

void put16(std::vector<uint8_t>& out, size_t v) {
    out.push_back(uint8_t(v & 0xFF));
    out.push_back(uint8_t((v >> 8) & 0xFF));
}

uint32_t get16(const uint8_t* p) { return uint32_t(p[0]) | uint32_t(p[1]) << 8; }
uint32_t get32(const uint8_t* p) { return get16(p) | get16(p + 2) << 16; }

bool isMonochrome(const platform::printing::QueueDetails& q) {
    static const char* const kMono[] = {"monochrome", "process-monochrome", "bi-level", "auto-monochrome"};
    if (!q.color)
        return true;
    return std::any_of(std::begin(kMono), std::end(kMono), [&](const char* m) { return q.colorMode == m; });
}

std::string decimal(long v) { return std::to_string(v); }

} // namespace

DevModePtr allocate(uint16_t dmSize, uint16_t extra, size_t& bytes) {
    bytes = std::max<size_t>(sizeof(DEVMODEW), size_t(dmSize) + extra);
    auto* dm = static_cast<DEVMODEW*>(std::calloc(1, bytes));
    if (!dm) {
        bytes = 0;
        return DevModePtr();
    }
    dm->dmSize = dmSize;
    dm->dmDriverExtra = extra;
    return DevModePtr(dm);
}

bool wellFormed(const DEVMODEW* dm, size_t bytes) {
    // dmSize and dmDriverExtra are only read once the record is known to hold them.
    return dm && bytes >= offsetof(DEVMODEW, dmFields) && dm->dmSize >= kMinDevModeSize &&
           dm->dmSize <= kMaxDevModeSize && size_t(dm->dmSize) + dm->dmDriverExtra <= bytes;
}

DEVMODEW readPublic(const DEVMODEW* dm) {
    DEVMODEW pub{};
    std::memcpy(&pub, dm, std::min<size_t>(dm->dmSize, sizeof(DEVMODEW)));
    return pub;
}

void writePublic(DEVMODEW* dm, const DEVMODEW& pub) {
    std::memcpy(dm, &pub, std::min<size_t>(pub.dmSize, sizeof(DEVMODEW)));
}

const uint8_t* privateBytes(const DEVMODEW* dm) { return reinterpret_cast<const uint8_t*>(dm) + dm->dmSize; }

void setText(char16_t (&field)[32], const std::wstring& text) {
    std::u16string units = platform::wideToUtf16(text, true);
    // Cut to 31 units, never between the halves of a pair.
    if (units.size() > 31) {
        const bool pair = units[30] >= 0xD800 && units[30] <= 0xDBFF && units[31] >= 0xDC00 && units[31] <= 0xDFFF;
        units.resize(pair ? 30 : 31);
    }
    std::fill(std::begin(field), std::end(field), u'\0');
    std::copy(units.begin(), units.end(), field);
}

std::wstring text(const char16_t (&field)[32]) {
    return platform::utf16ToWide(std::u16string_view(field, std::find(field, field + 32, u'\0') - field));
}

bool resolvePaper(DEVMODEW& pub, const platform::printing::QueueDetails& queue) {
    for (const auto& p : papers::queuePapers(queue)) {
        if (p.number != pub.dmPaperSize)
            continue;
        pub.dmPaperWidth = clampShort((p.media->width + 5) / 10);
        pub.dmPaperLength = clampShort((p.media->length + 5) / 10);
        setText(pub.dmFormName, p.name);
        pub.dmFields |= DM_PAPERWIDTH | DM_PAPERLENGTH | DM_FORMNAME;
        return true;
    }
    return false;
}

DevModePtr fromQueue(const platform::printing::QueueDetails& q, size_t& bytes) {
    DEVMODEW pub{};
    setText(pub.dmDeviceName, q.name);
    pub.dmSpecVersion = DM_SPECVERSION;
    pub.dmDriverVersion = kDriverVersion;
    pub.dmSize = sizeof(DEVMODEW);
    pub.dmFields = DM_ORIENTATION | DM_PAPERSIZE | DM_SCALE | DM_COPIES | DM_DEFAULTSOURCE | DM_PRINTQUALITY |
                   DM_COLOR | DM_DUPLEX | DM_COLLATE | DM_NUP;
    // orientation-requested 4 and 5 are the two landscapes.
    pub.dmOrientation = q.orientation == 4 || q.orientation == 5 ? DMORIENT_LANDSCAPE : DMORIENT_PORTRAIT;
    const auto papers = papers::queuePapers(q);
    const auto chosen = std::find_if(papers.begin(), papers.end(),
                                     [&](const papers::QueuePaper& p) { return p.media->id == q.defaultMedia; });
    if (chosen != papers.end())
        pub.dmPaperSize = chosen->number;
    else if (!papers.empty())
        pub.dmPaperSize = papers.front().number;
    resolvePaper(pub, q);
    pub.dmScale = 100;
    pub.dmCopies = clampShort(std::max(1, q.copies));
    pub.dmDefaultSource = papers::sourceNumber(q, q.defaultSource);
    if (q.resolutionX > 0 && q.resolutionY > 0) {
        pub.dmPrintQuality = clampShort(q.resolutionX);
        pub.dmYResolution = clampShort(q.resolutionY);
        pub.dmFields |= DM_YRESOLUTION;
    } else {
        pub.dmPrintQuality = q.quality == 3 ? DMRES_DRAFT : q.quality == 5 ? DMRES_HIGH : DMRES_MEDIUM;
    }
    pub.dmColor = isMonochrome(q) ? DMCOLOR_MONOCHROME : DMCOLOR_COLOR;
    pub.dmDuplex = q.sides == "two-sided-long-edge"    ? DMDUP_VERTICAL
                   : q.sides == "two-sided-short-edge" ? DMDUP_HORIZONTAL
                                                       : DMDUP_SIMPLEX;
    pub.dmCollate = q.collate ? DMCOLLATE_TRUE : DMCOLLATE_FALSE;
    pub.dmNup = uint32_t(std::max(1, q.numberUp));

    size_t dropped = 0;
    const std::vector<uint8_t> priv = encodeOptions(q.otherOptions, &dropped);
    pub.dmDriverExtra = uint16_t(priv.size());
    DevModePtr dm = allocate(pub.dmSize, pub.dmDriverExtra, bytes);
    if (!dm)
        return dm;
    writePublic(dm.get(), pub);
    std::copy(priv.begin(), priv.end(), reinterpret_cast<uint8_t*>(dm.get()) + pub.dmSize);
    return dm;
}

std::vector<uint8_t> encodeOptions(const std::vector<std::pair<std::string, std::string>>& options,
                                   size_t* dropped) {
    // dmDriverExtra counts the private bytes in 16 bits.
    constexpr size_t kLimit = 0xFFFF;
    std::vector<uint8_t> body;
    size_t count = 0, left = 0;
    for (const auto& [name, value] : options) {
        const size_t need = 4 + name.size() + value.size();
        if (name.empty() || name.size() > 0xFFFF || value.size() > 0xFFFF ||
            kHeaderBytes + body.size() + need > kLimit) {
            ++left;
            continue;
        }
        put16(body, name.size());
        body.insert(body.end(), name.begin(), name.end());
        put16(body, value.size());
        body.insert(body.end(), value.begin(), value.end());
        ++count;
    }
    if (dropped)
        *dropped = left;
    std::vector<uint8_t> out(std::begin(kSignature), std::end(kSignature));
    put16(out, kFormatVersion);
    put16(out, count);
    put16(out, body.size() & 0xFFFF);
    put16(out, body.size() >> 16);
    out.insert(out.end(), body.begin(), body.end());
    return out;
}

bool decodeOptions(const uint8_t* bytes, size_t size, std::vector<std::pair<std::string, std::string>>& options) {
    options.clear();
    if (!bytes || size < kHeaderBytes || std::memcmp(bytes, kSignature, sizeof kSignature) != 0 ||
        get16(bytes + 8) != kFormatVersion || get32(bytes + 12) != size - kHeaderBytes)
        return false;
    const uint32_t count = get16(bytes + 10);
    size_t at = kHeaderBytes;
    std::vector<std::pair<std::string, std::string>> found;
    for (uint32_t i = 0; i < count; ++i) {
        std::string parts[2];
        for (auto& part : parts) {
            if (size - at < 2)
                return false;
            const size_t len = get16(bytes + at);
            at += 2;
            if (size - at < len)
                return false;
            part.assign(reinterpret_cast<const char*>(bytes + at), len);
            at += len;
        }
        if (parts[0].empty())
            return false;
        found.emplace_back(std::move(parts[0]), std::move(parts[1]));
    }
    if (at != size)
        return false;
    options = std::move(found);
    return true;
}

std::vector<std::pair<std::string, std::string>> jobOptions(const DEVMODEW* dm, size_t bytes,
                                                            const platform::printing::QueueDetails* queue) {
    std::vector<std::pair<std::string, std::string>> out;
    if (!wellFormed(dm, bytes))
        return out;
    const platform::printing::QueueDetails none;
    const platform::printing::QueueDetails& q = queue ? *queue : none;
    const DEVMODEW pub = readPublic(dm);
    const uint32_t f = pub.dmFields;

    if (f & DM_PAPERSIZE) {
        std::string media;
        for (const auto& p : papers::queuePapers(q))
            if (p.number == pub.dmPaperSize)
                media = p.media->id;
        if (media.empty() && pub.dmPaperWidth > 0 && pub.dmPaperLength > 0) {
            char size[64];
            std::snprintf(size, sizeof size, "%gx%gmm", pub.dmPaperWidth / 10.0, pub.dmPaperLength / 10.0);
            media = std::string("custom_") + size + "_" + size;
        }
        if (!media.empty())
            out.emplace_back("media", media);
    }
    if (f & DM_ORIENTATION)
        out.emplace_back("orientation-requested", pub.dmOrientation == DMORIENT_LANDSCAPE ? "4" : "3");
    if (f & DM_COPIES)
        out.emplace_back("copies", decimal(std::max<int16_t>(1, pub.dmCopies)));
    if (f & DM_COLOR)
        out.emplace_back("print-color-mode", pub.dmColor == DMCOLOR_COLOR ? "color" : "monochrome");
    if (f & DM_DUPLEX)
        out.emplace_back("sides", pub.dmDuplex == DMDUP_VERTICAL     ? "two-sided-long-edge"
                                  : pub.dmDuplex == DMDUP_HORIZONTAL ? "two-sided-short-edge"
                                                                     : "one-sided");
    if (f & DM_PRINTQUALITY) {
        if (pub.dmPrintQuality > 0) {
            const int y = (f & DM_YRESOLUTION) && pub.dmYResolution > 0 ? pub.dmYResolution : pub.dmPrintQuality;
            out.emplace_back("printer-resolution", y == pub.dmPrintQuality
                                                       ? decimal(pub.dmPrintQuality) + "dpi"
                                                       : decimal(pub.dmPrintQuality) + "x" + decimal(y) + "dpi");
        } else {
            out.emplace_back("print-quality", pub.dmPrintQuality == DMRES_HIGH     ? "5"
                                              : pub.dmPrintQuality == DMRES_MEDIUM ? "4"
                                                                                   : "3");
        }
    }
    if (f & DM_DEFAULTSOURCE) {
        const std::string source = papers::sourceName(q, pub.dmDefaultSource);
        if (!source.empty())
            out.emplace_back("media-source", source);
    }
    if ((f & DM_NUP) && pub.dmNup > 0)
        out.emplace_back("number-up", decimal(long(pub.dmNup)));
    if (f & DM_COLLATE)
        out.emplace_back("multiple-document-handling", pub.dmCollate == DMCOLLATE_TRUE
                                                           ? "separate-documents-collated-copies"
                                                           : "separate-documents-uncollated-copies");
    std::vector<std::pair<std::string, std::string>> carried;
    if (decodeOptions(privateBytes(dm), pub.dmDriverExtra, carried))
        for (auto& o : carried)
            if (!platform::printing::isModelledOption(o.first))
                out.push_back(std::move(o));
    return out;
}

void setPrinterError(const platform::printing::Failure& why) {
    t_lastError = why.message;
    t_lastFault = why.fault;
}
void clearPrinterError() {
    t_lastError.clear();
    t_lastFault = platform::printing::Fault::kNone;
}

} // namespace ut::devmode

OdString ut::lastPrinterError() { return OdString(ut::devmode::t_lastError); }

bool ut::printingSystemUnreachable() { return ut::devmode::t_lastFault == ut::platform::printing::Fault::kNoScheduler; }
