// The printing system on Linux: CUPS destinations through libcups.
#include "print/platform/printing.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <cups/cups.h>

#include "platform/codepage.h"

namespace ut::platform::printing {

namespace {

std::wstring wide(const char* s) { return s ? utf8ToWide(s) : std::wstring(); }

// The one place where a libcups status becomes the library's failure.
// doing completes "cannot ..." ("list the printers").
Failure failure(ipp_status_t status, const char* text, const std::wstring& printer, const char* doing) {
    Failure f;
    const std::wstring reason = wide(text && *text ? text : ippErrorString(status));
    switch (status) {
    case IPP_STATUS_ERROR_NOT_FOUND:
        f.fault = Fault::kNoPrinter;
        f.message = printer.empty() ? L"no such printer" : L"no printer named '" + printer + L"'";
        break;
    case IPP_STATUS_ERROR_SERVICE_UNAVAILABLE:
        f.fault = Fault::kNoScheduler;
        f.message = L"cannot reach the printing system at " + wide(cupsServer()) + L" (is its scheduler running?)";
        break;
    case IPP_STATUS_ERROR_FORBIDDEN:
    case IPP_STATUS_ERROR_NOT_AUTHORIZED:
    case IPP_STATUS_ERROR_NOT_AUTHENTICATED:
    case IPP_STATUS_ERROR_NOT_POSSIBLE:
        f.fault = Fault::kRefused;
        f.message = L"the printing system refused to " + wide(doing) + L" (" + reason + L")";
        break;
    default:
        f.fault = Fault::kFailed;
        f.message = L"cannot " + wide(doing) + L" (" + reason + L")";
        if (!printer.empty())
            f.message += L" for '" + printer + L"'";
    }
    return f;
}

Failure lastFailure(const std::wstring& printer, const char* doing) {
    return failure(cupsLastError(), cupsLastErrorString(), printer, doing);
}

struct HttpClose {
    void operator()(http_t* h) const { httpClose(h); }
};
struct DestFree {
    void operator()(cups_dest_t* d) const { cupsFreeDests(1, d); }
};
struct InfoFree {
    void operator()(cups_dinfo_t* i) const { cupsFreeDestInfo(i); }
};

// A connection of our own, so that a scheduler that is not running is told apart
// from a printer that does not exist (libcups reports both as "not found").
std::unique_ptr<http_t, HttpClose> connect(Failure& why) {
    http_t* http = httpConnect2(cupsServer(), ippPort(), nullptr, AF_UNSPEC, cupsEncryption(), 1, 30000, nullptr);
    if (!http)
        why = failure(IPP_STATUS_ERROR_SERVICE_UNAVAILABLE, nullptr, std::wstring(), "connect");
    return std::unique_ptr<http_t, HttpClose>(http);
}

const char* option(const cups_dest_t& d, const char* name) { return cupsGetOption(name, d.num_options, d.options); }

std::wstring optionText(const cups_dest_t& d, const char* name) { return wide(option(d, name)); }

// Attributes of the queue itself (not job options) that destinations list among
// their options.
bool isDescription(const std::string& name) {
    return name.rfind("printer-", 0) == 0 || name.rfind("marker-", 0) == 0 || name == "device-uri" ||
           name == "auth-info-required";
}

void fillQueue(const cups_dest_t& d, Queue& q) {
    q.name = wide(d.name);
    q.info = optionText(d, "printer-info");
    q.location = optionText(d, "printer-location");
    q.makeAndModel = optionText(d, "printer-make-and-model");
    q.deviceUri = optionText(d, "device-uri");
    q.isDefault = d.is_default != 0;
    const char* type = option(d, "printer-type");
    const long bits = type ? std::strtol(type, nullptr, 10) : 0;
    q.remote = (bits & (CUPS_PRINTER_REMOTE | CUPS_PRINTER_DISCOVERED)) != 0;
    const char* shared = option(d, "printer-is-shared");
    q.shared = shared && std::strcmp(shared, "true") == 0;
}

bool contains(ipp_attribute_t* attr, const char* value) {
    if (!attr)
        return false;
    for (int i = 0, n = ippGetCount(attr); i < n; ++i) {
        const char* s = ippGetString(attr, i, nullptr);
        if (s && std::strcmp(s, value) == 0)
            return true;
    }
    return false;
}

// "600dpi", "600x300dpi", "236dpcm" (dots per centimetre become per inch).
bool parseResolution(const char* text, int& x, int& y) {
    int a = 0, b = 0;
    char unit[8] = {0};
    if (std::sscanf(text, "%dx%d%7s", &a, &b, unit) != 3) {
        b = 0;
        if (std::sscanf(text, "%d%7s", &a, unit) != 2)
            return false;
        b = a;
    }
    if (a <= 0 || b <= 0)
        return false;
    if (std::strcmp(unit, "dpcm") == 0) {
        a = int(a * 2.54 + 0.5);
        b = int(b * 2.54 + 0.5);
    } else if (std::strcmp(unit, "dpi") != 0) {
        return false;
    }
    x = a;
    y = b;
    return true;
}

// An integer option given as a number or as the keyword of an IPP enumeration.
int enumOption(const char* attr, const char* text) {
    char* end = nullptr;
    const long v = std::strtol(text, &end, 10);
    if (end != text && *end == '\0')
        return int(v);
    const int e = ippEnumValue(attr, text);
    return e > 0 ? e : 0;
}

// A readable name for a media entry: the printing system's own short name for a
// known size ("A4", "EnvC5"), else the size in the unit the name is given in.
std::wstring mediaName(const cups_size_t& size) {
    std::string id = size.media;
    const std::string borderless = "_borderless";
    if (id.size() > borderless.size() && id.compare(id.size() - borderless.size(), borderless.size(), borderless) == 0)
        id.resize(id.size() - borderless.size());
    if (id.rfind("custom_", 0) != 0) {
        if (pwg_media_t* pwg = pwgMediaForPWG(id.c_str()); pwg && pwg->ppd && std::strchr(pwg->ppd, '.') == nullptr)
            return wide(pwg->ppd);
    }
    char buf[64];
    const bool inches = id.size() > 2 && id.compare(id.size() - 2, 2, "in") == 0;
    if (inches)
        std::snprintf(buf, sizeof buf, "%g x %g in", size.width / 2540.0, size.length / 2540.0);
    else
        std::snprintf(buf, sizeof buf, "%g x %g mm", size.width / 100.0, size.length / 100.0);
    return wide(buf);
}

// The user's saved value of an option, else the queue's default as text.
std::string defaultText(http_t* http, cups_dest_t* dest, cups_dinfo_t* info, const char* name) {
    if (const char* v = option(*dest, name))
        return v;
    ipp_attribute_t* attr = cupsFindDestDefault(http, dest, info, name);
    if (!attr || ippGetValueTag(attr) == IPP_TAG_NOVALUE || ippGetValueTag(attr) == IPP_TAG_UNKNOWN)
        return std::string();
    char buf[256];
    ippAttributeString(attr, buf, sizeof buf);
    return buf;
}

} // namespace

bool isModelledOption(const std::string& name) {
    static const char* const kNames[] = {
        "copies", "media", "media-col", "PageSize", "PageRegion", "orientation-requested", "landscape",
        "print-color-mode", "ColorModel", "sides", "Duplex", "printer-resolution", "Resolution",
        "print-quality", "cupsPrintQuality", "media-source", "InputSlot", "number-up",
        "multiple-document-handling", "collate", "Collate", "media-type", "MediaType",
    };
    return std::any_of(std::begin(kNames), std::end(kNames), [&](const char* n) { return name == n; });
}

bool listQueues(std::vector<Queue>& out, Failure& why) {
    out.clear();
    auto http = connect(why);
    if (!http)
        return false;
    cups_dest_t* dests = nullptr;
    const int n = cupsGetDests2(http.get(), &dests);
    if (n <= 0) {
        cupsFreeDests(n, dests);
        // A scheduler without queues answers "not found".
        if (cupsLastError() <= IPP_STATUS_OK_EVENTS_COMPLETE || cupsLastError() == IPP_STATUS_ERROR_NOT_FOUND)
            return true;
        why = lastFailure(std::wstring(), "list the printers");
        return false;
    }
    for (int i = 0; i < n; ++i) {
        if (dests[i].instance) // the user's named option sets, not queues
            continue;
        Queue q;
        fillQueue(dests[i], q);
        out.push_back(std::move(q));
    }
    cupsFreeDests(n, dests);
    std::stable_partition(out.begin(), out.end(), [](const Queue& q) { return !q.remote; });
    return true;
}

bool describeQueue(const std::wstring& name, QueueDetails& out, Failure& why) {
    out = QueueDetails();
    const std::string utf8 = wideToUtf8(name);
    // "a/b" would name an instance of a; an empty name the default.
    if (utf8.empty() || utf8.find('/') != std::string::npos) {
        why = failure(IPP_STATUS_ERROR_NOT_FOUND, nullptr, name, "find the printer");
        return false;
    }
    auto http = connect(why);
    if (!http)
        return false;
    std::unique_ptr<cups_dest_t, DestFree> dest(cupsGetNamedDest(http.get(), utf8.c_str(), nullptr));
    if (!dest) {
        why = lastFailure(name, "find the printer");
        return false;
    }
    std::unique_ptr<cups_dinfo_t, InfoFree> info(cupsCopyDestInfo(http.get(), dest.get()));
    if (!info) {
        why = lastFailure(name, "ask the printer for its capabilities");
        return false;
    }
    http_t* h = http.get();
    cups_dest_t* d = dest.get();
    cups_dinfo_t* di = info.get();
    fillQueue(*d, out);

    out.acceptsPostScript = contains(cupsFindDestSupported(h, d, di, "document-format"), "application/postscript");
    out.color = contains(cupsFindDestSupported(h, d, di, "print-color-mode"), "color");

    const int count = cupsGetDestMediaCount(h, d, di, CUPS_MEDIA_FLAGS_DEFAULT);
    for (int i = 0; i < count; ++i) {
        cups_size_t size;
        if (!cupsGetDestMediaByIndex(h, d, di, i, CUPS_MEDIA_FLAGS_DEFAULT, &size))
            continue;
        if (std::any_of(out.media.begin(), out.media.end(), [&](const Media& m) { return m.id == size.media; }))
            continue;
        out.media.push_back({size.media, mediaName(size), size.width, size.length, size.left, size.bottom,
                             size.right, size.top});
    }
    cups_size_t size;
    if (const char* m = option(*d, "media"); m && cupsGetDestMediaByName(h, d, di, m, CUPS_MEDIA_FLAGS_DEFAULT, &size))
        out.defaultMedia = size.media;
    else if (cupsGetDestMediaDefault(h, d, di, CUPS_MEDIA_FLAGS_DEFAULT, &size))
        out.defaultMedia = size.media;

    if (ipp_attribute_t* sources = cupsFindDestSupported(h, d, di, "media-source")) {
        for (int i = 0, n = ippGetCount(sources); i < n; ++i) {
            const char* s = ippGetString(sources, i, nullptr);
            if (s && std::find(out.sources.begin(), out.sources.end(), s) == out.sources.end())
                out.sources.push_back(s);
        }
    }
    out.defaultSource = defaultText(h, d, di, "media-source");

    if (const std::string copies = defaultText(h, d, di, "copies"); !copies.empty())
        out.copies = std::max(1, std::atoi(copies.c_str()));
    if (option(*d, "landscape"))
        out.orientation = 4;
    else if (const std::string o = defaultText(h, d, di, "orientation-requested"); !o.empty())
        out.orientation = enumOption("orientation-requested", o.c_str());
    out.colorMode = defaultText(h, d, di, "print-color-mode");
    out.sides = defaultText(h, d, di, "sides");
    if (const std::string r = defaultText(h, d, di, "printer-resolution"); !r.empty())
        parseResolution(r.c_str(), out.resolutionX, out.resolutionY);
    if (const std::string q = defaultText(h, d, di, "print-quality"); !q.empty())
        out.quality = enumOption("print-quality", q.c_str());
    if (const std::string nup = defaultText(h, d, di, "number-up"); !nup.empty())
        out.numberUp = std::max(1, std::atoi(nup.c_str()));
    if (const char* c = option(*d, "collate"))
        out.collate = std::strcmp(c, "false") != 0;
    else
        out.collate = defaultText(h, d, di, "multiple-document-handling") != "separate-documents-uncollated-copies";

    for (int i = 0; i < d->num_options; ++i) {
        const std::string n = d->options[i].name;
        if (!isDescription(n) && !isModelledOption(n))
            out.otherOptions.emplace_back(n, d->options[i].value ? d->options[i].value : "");
    }
    std::sort(out.otherOptions.begin(), out.otherOptions.end());
    return true;
}

bool defaultQueue(std::wstring& name, Failure& why) {
    name.clear();
    auto http = connect(why);
    if (!http)
        return false;
    std::unique_ptr<cups_dest_t, DestFree> dest(cupsGetNamedDest(http.get(), nullptr, nullptr));
    if (dest) {
        name = wide(dest->name);
        return true;
    }
    if (cupsLastError() == IPP_STATUS_ERROR_NOT_FOUND)
        return true;
    why = lastFailure(std::wstring(), "ask for the default printer");
    return false;
}

bool setDefaultQueue(const std::wstring& name, Failure& why) {
    const std::string utf8 = wideToUtf8(name);
    auto http = connect(why);
    if (!http)
        return false;
    cups_dest_t* dests = nullptr;
    const int n = cupsGetDests2(http.get(), &dests);
    bool found = false;
    for (int i = 0; i < n; ++i) {
        const bool match = !dests[i].instance && utf8 == dests[i].name;
        dests[i].is_default = match;
        found = found || match;
    }
    if (!found) {
        const ipp_status_t status = n > 0 ? IPP_STATUS_ERROR_NOT_FOUND : cupsLastError();
        cupsFreeDests(n, dests);
        why = failure(status <= IPP_STATUS_OK_EVENTS_COMPLETE ? IPP_STATUS_ERROR_NOT_FOUND : status, nullptr, name,
                      "list the printers");
        return false;
    }
    const int rc = cupsSetDests2(http.get(), n, dests);
    const int err = errno;
    cupsFreeDests(n, dests);
    if (rc != 0) {
        why = failure(IPP_STATUS_ERROR_INTERNAL, std::strerror(err), name, "save the user's default printer");
        return false;
    }
    return true;
}

} // namespace ut::platform::printing
