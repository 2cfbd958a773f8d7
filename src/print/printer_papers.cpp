// The papers of system printers: a queue's media and paper sources as device-mode
// numbers, and the paper getter over them.
#include "ut_papers.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <set>

#include "print/devmode.h"
#include "print/papers_internal.h"

namespace {

// FNV-1a: a fixed hash, so that a name gets the same number in every process.
uint32_t fnv1a(const std::string& s) {
    uint32_t h = 2166136261u;
    for (unsigned char c : s)
        h = (h ^ c) * 16777619u;
    return h;
}

// A number from 256 up for a name, moving on past numbers already taken.
short userNumber(const std::string& key, std::set<short>& taken) {
    constexpr uint32_t kRange = 32768 - 256;
    uint32_t slot = fnv1a(key) % kRange;
    for (uint32_t tries = 0; tries < kRange; ++tries, slot = (slot + 1) % kRange) {
        const short n = short(256 + slot);
        if (taken.insert(n).second)
            return n;
    }
    return 0;
}

struct SourceName {
    const char* name;
    short number;
};
const SourceName kSources[] = {
    {"auto", DMBIN_AUTO},         {"top", DMBIN_UPPER},        {"bottom", DMBIN_LOWER},
    {"middle", DMBIN_MIDDLE},     {"manual", DMBIN_MANUAL},    {"envelope", DMBIN_ENVELOPE},
    {"tractor", DMBIN_TRACTOR},   {"large-capacity", DMBIN_LARGECAPACITY},
};

// Every source of the queue with its number, in the queue's order.
std::vector<std::pair<std::string, short>> numberedSources(const ut::platform::printing::QueueDetails& q) {
    std::vector<std::pair<std::string, short>> out;
    std::set<short> taken;
    for (const auto& s : kSources)
        taken.insert(s.number);
    for (const std::string& name : q.sources) {
        const auto* known = std::find_if(std::begin(kSources), std::end(kSources),
                                         [&](const SourceName& s) { return name == s.name; });
        out.emplace_back(name, known != std::end(kSources) ? known->number : userNumber(name, taken));
    }
    return out;
}

} // namespace

namespace ut {

namespace papers {

std::vector<QueuePaper> queuePapers(const platform::printing::QueueDetails& queue) {
    // Sizes of the standard papers once, in tenths of a millimetre.
    struct Size {
        int w = 0, l = 0;
    };
    std::vector<Size> standard(kLastStandardPaper + 1);
    for (int n = 1; n <= kLastStandardPaper; ++n)
        standardSize(n, standard[n].w, standard[n].l);

    std::vector<QueuePaper> out;
    std::set<short> taken;
    for (const auto& m : queue.media) {
        QueuePaper p;
        p.media = &m;
        // A millimetre of slack: drivers round sizes given in points.
        for (short n = 1; n <= kLastStandardPaper && !p.number; ++n) {
            const Size& s = standard[n];
            if (s.w > 0 && std::abs(m.width - 10 * s.w) <= 100 && std::abs(m.length - 10 * s.l) <= 100 &&
                !taken.count(n)) {
                p.number = n;
                p.name = getCanonicalPSname(n).c_str();
            }
        }
        if (p.number)
            taken.insert(p.number);
        out.push_back(std::move(p));
    }
    for (auto& p : out) {
        if (!p.number) {
            p.number = userNumber(p.media->id, taken);
            p.name = p.media->name.empty() ? std::wstring(getCanonicalPSname(p.number).c_str()) : p.media->name;
        }
    }
    for (size_t i = 0; i < out.size(); ++i) {
        const std::wstring base = out[i].name;
        for (int k = 2;; ++k) {
            bool clash = false;
            for (size_t j = 0; j < i; ++j)
                clash = clash || out[j].name == out[i].name;
            if (!clash)
                break;
            out[i].name = base + L" (" + std::to_wstring(k) + L")";
        }
    }
    return out;
}

short sourceNumber(const platform::printing::QueueDetails& queue, const std::string& source) {
    if (source.empty())
        return DMBIN_AUTO;
    for (const auto& s : kSources)
        if (source == s.name)
            return s.number;
    for (const auto& [name, number] : numberedSources(queue))
        if (name == source)
            return number;
    return DMBIN_AUTO;
}

std::string sourceName(const platform::printing::QueueDetails& queue, short number) {
    for (const auto& [name, n] : numberedSources(queue))
        if (n == number)
            return name;
    for (const auto& s : kSources)
        if (s.number == number)
            return s.name;
    return std::string();
}

} // namespace papers

// ------------------------------------------------------------------ PaperSizeGetter

PaperSizeGetter::PaperSizeGetter(const wchar_t* printer, const wchar_t* /*port*/, const PrintData* /*data*/)
    : m_printer(printer) {}

bool PaperSizeGetter::load() {
    if (m_loaded)
        return m_ok;
    m_loaded = true;
    platform::printing::QueueDetails q;
    platform::printing::Failure why;
    devmode::clearPrinterError();
    if (!platform::printing::describeQueue(m_printer.str(), q, why)) {
        devmode::setPrinterError(why);
        return m_ok = false;
    }
    for (const auto& p : papers::queuePapers(q)) {
        const auto& m = *p.media;
        PaperSizeInfo info;
        info.number = p.number;
        info.name = OdString(p.name);
        info.width = m.width / 100.0;
        info.height = m.length / 100.0;
        info.printableLlx = m.left / 100.0;
        info.printableLly = m.bottom / 100.0;
        info.printableUrx = (m.width - m.right) / 100.0;
        info.printableUry = (m.length - m.top) / 100.0;
        m_papers.append(info);
    }
    return m_ok = true;
}

bool PaperSizeGetter::get(OdArray<short>* numbers, OdArray<OdString>* names, OdArray<POINT>* sizes) {
    if (numbers)
        numbers->clear();
    if (names)
        names->clear();
    if (sizes)
        sizes->clear();
    if (!load())
        return false;
    for (const auto& p : m_papers) {
        if (numbers)
            numbers->append(p.number);
        if (names)
            names->append(p.name);
        if (sizes)
            sizes->append(POINT{int32_t(std::lround(p.width * 10)), int32_t(std::lround(p.height * 10))});
    }
    return true;
}

bool PaperSizeGetter::get(OdArray<PaperSizeInfo>& papers) {
    papers.clear();
    if (!load())
        return false;
    papers = m_papers;
    return true;
}

bool PaperSizeGetter::find(const OdString& name, PaperSizeInfo& paper) {
    if (!load())
        return false;
    for (const auto& p : m_papers)
        if (p.name == name) {
            paper = p;
            return true;
        }
    return false;
}

bool PaperSizeGetter::find(short number, PaperSizeInfo& paper) {
    if (!load())
        return false;
    for (const auto& p : m_papers)
        if (p.number == number) {
            paper = p;
            return true;
        }
    return false;
}

} // namespace ut
