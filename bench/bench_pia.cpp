// Loading parameter files, and writing one, each against the physical floor of
// the same work measured in the same run. Files: the factory colour-dependent
// table, the largest plot style table in tests/data and the largest printer
// configuration there.
//   read floor:  reading the file into memory, inflating it with zlib and
//                counting its lines (what any reader must do);
//   tree floor:  building the same tree from names and values already in memory
//                through the public constructors and deleting it;
//   parse:       CPIAParser::parse;
//   model read:  CPlotStyleTable::read (which takes a table's text straight from
//                its lines when it can) or CPlotCfg3::readStored (parse and model);
//   ezdxf:       ezdxf's reader loading the same table (not for configurations:
//                it has no reader for them);
//   write:       CPIAFileOut (open, writeBlock, close) of the factory table vs
//                deflating its text at level 6 in memory and writing it durably
//                (write, fsync, rename).
// Memory per item is the heap a parsed tree holds (malloc's own count, chunk
// overhead included) divided by its items, for a file as large as the parser's
// bounds accept: copies of the real file's text, each in a numbered block, with
// every string value made unique, up to CPIAParser::kMaxItems items (or, for a
// file of long binary values, up to the bound on its text).
// The ratios (best of five repetitions, wall clock and CPU time) are printed
// after Google Benchmark's own table.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <functional>
#include <malloc.h>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>
#include <wx/init.h>
#include <zlib.h>

#include "pia.h"
#include "pia_floor.h"
#include "platform/codepage.h"
#include "plotcfg.h"
#include "plotstyletable.h"

namespace {

const std::string kData = DRUTILS_BENCH_DATA;
std::string g_outDir;

std::wstring wide(const std::string& s) { return ut::platform::utf8ToWide(s); }

bool endsWith(const std::string& s, const char* tail) {
    const size_t n = std::strlen(tail);
    return s.size() >= n && s.compare(s.size() - n, n, tail) == 0;
}

// The file of tests/data with one of the extensions whose text is longest.
std::string largest(std::initializer_list<const char*> extensions) {
    std::string best;
    size_t bestSize = 0;
    if (DIR* d = opendir(kData.c_str())) {
        while (dirent* e = readdir(d)) {
            const std::string name = e->d_name;
            bool wanted = false;
            for (const char* ext : extensions)
                wanted = wanted || endsWith(name, ext);
            const size_t size = wanted ? bench::inflateText(kData + "/" + name).size() : 0;
            if (size > bestSize || (size == bestSize && size > 0 && name < best.substr(best.rfind('/') + 1))) {
                best = kData + "/" + name;
                bestSize = size;
            }
        }
        closedir(d);
    }
    return best;
}

struct Subject {
    std::string label, path;
    bool table; // a plot style table (else a printer configuration)
};
std::vector<Subject> g_subjects;

CPBlock* copyTree(const CPBlock* from) {
    auto* to = new CPBlock(from->name().c_str());
    for (const CPItem* item : from->items()) {
        CPItem* copy = nullptr;
        switch (item->kind()) {
        case kPBlock:
            copy = copyTree(static_cast<const CPBlock*>(item));
            break;
        case kPNum:
            copy = new CPNum(item->name().c_str(), static_cast<const CPNum*>(item)->value().c_str());
            break;
        case kPStr:
            copy = new CPStr(item->name().c_str(), static_cast<const CPStr*>(item)->value().c_str());
            break;
        case kPBool:
            copy = new CPBool(item->name().c_str(), static_cast<const CPBool*>(item)->value());
            break;
        case kPBin:
            copy = new CPBin(item->name().c_str(), static_cast<const CPBin*>(item)->value().c_str());
            break;
        }
        if (copy && !to->add(copy))
            delete copy;
    }
    return to;
}

// Characters of the values under b (strings, numbers and binary values).
size_t valueChars(const CPBlock* b) {
    size_t n = 0;
    for (const CPItem* item : b->items()) {
        switch (item->kind()) {
        case kPBlock: n += valueChars(static_cast<const CPBlock*>(item)); break;
        case kPNum: n += size_t(static_cast<const CPNum*>(item)->value().getLength()); break;
        case kPStr: n += size_t(static_cast<const CPStr*>(item)->value().getLength()); break;
        case kPBin: n += size_t(static_cast<const CPBin*>(item)->value().getLength()); break;
        }
    }
    return n;
}

size_t countItems(const CPBlock* b) {
    size_t n = b->size();
    for (const CPItem* item : b->items())
        if (item->kind() == kPBlock)
            n += countItems(static_cast<const CPBlock*>(item));
    return n;
}

void registerFile(const Subject& s) {
    const std::string path = s.path;
    const bool table = s.table;
    benchmark::RegisterBenchmark(("ReadFloor/" + s.label).c_str(), [path](benchmark::State& state) {
        for (auto _ : state)
            benchmark::DoNotOptimize(bench::loadFloor(path));
    })->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark(("TreeFloor/" + s.label).c_str(), [path](benchmark::State& state) {
        CPIAParser parser;
        if (!parser.parse(wide(path).c_str())) {
            state.SkipWithError("parse failed");
            return;
        }
        for (auto _ : state) {
            CPBlock* copy = copyTree(parser.root());
            benchmark::DoNotOptimize(copy);
            delete copy;
        }
    })->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark(("Parse/" + s.label).c_str(), [path](benchmark::State& state) {
        const std::wstring w = wide(path);
        for (auto _ : state) {
            CPIAParser parser;
            if (!parser.parse(w.c_str())) {
                state.SkipWithError("parse failed");
                break;
            }
            benchmark::DoNotOptimize(parser.root());
        }
    })->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark(("ModelRead/" + s.label).c_str(), [path, table](benchmark::State& state) {
        const std::wstring w = wide(path);
        for (auto _ : state) {
            bool ok;
            if (table) {
                std::unique_ptr<CPlotStyleTable> t(CPlotStyleTable::read(w.c_str()));
                ok = t != nullptr;
                benchmark::DoNotOptimize(t.get());
            } else {
                std::unique_ptr<CPlotCfg3> c(CPlotCfg3::readStored(w.c_str()));
                ok = c != nullptr;
                benchmark::DoNotOptimize(c.get());
            }
            if (!ok) {
                state.SkipWithError("the file does not load");
                break;
            }
        }
    })->Unit(benchmark::kMicrosecond);
}

void BM_WriteFloor(benchmark::State& state) {
    const std::string path = g_subjects.front().path;
    const std::string bytes = bench::readBytes(path);
    const std::string text = bench::inflateText(path);
    const std::string out = g_outDir + "/floor.ctb", tmp = g_outDir + "/floor.tmp";
    std::string packed(compressBound(uLong(text.size())), '\0');
    for (auto _ : state) {
        uLongf n = packed.size();
        compress2(reinterpret_cast<Bytef*>(packed.data()), &n, reinterpret_cast<const Bytef*>(text.data()),
                  uLong(text.size()), 6);
        // Durable, as a replacement must be: written, synced, renamed into place.
        FILE* f = std::fopen(tmp.c_str(), "wb");
        std::fwrite(bytes.data(), 1, 60, f);
        std::fwrite(packed.data(), 1, n, f);
        std::fflush(f);
        fsync(fileno(f));
        std::fclose(f);
        std::rename(tmp.c_str(), out.c_str());
    }
}

void BM_Write(benchmark::State& state) {
    CPIAParser parser;
    if (!parser.parse(wide(g_subjects.front().path).c_str())) {
        state.SkipWithError("parse failed");
        return;
    }
    const std::wstring out = wide(g_outDir + "/written.ctb");
    for (auto _ : state) {
        CPIAFileOut file;
        file.open();
        file.writeBlock(parser.root());
        if (file.close(out.c_str()) != 0)
            state.SkipWithError("write failed");
    }
}

// The text of path copied into numbered blocks, as many as the parser's item
// bound accepts, every string value suffixed with its copy's number.
std::string largeText(const std::string& path, size_t itemsPerCopy) {
    const std::string text = bench::inflateText(path);
    std::vector<std::string> lines;
    for (size_t at = 0; at < text.size();) {
        size_t lf = text.find('\n', at);
        if (lf == std::string::npos)
            lf = text.size();
        std::string line = text.substr(at, lf - at);
        // What follows a NUL byte is not part of the line for the parser either.
        line = line.substr(0, line.find('\0'));
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        lines.push_back(line);
        at = lf + 1;
    }
    // Whichever bound comes first: items, or characters of names and values (a
    // copy's whole text is more than its names and values).
    const size_t copies = std::min(CPIAParser::kMaxItems / (itemsPerCopy + 1),
                                   CPIAParser::kMaxTextLength / (text.size() + 2 * lines.size() + 16));
    std::string out;
    out.reserve(copies * (text.size() + lines.size() + 64));
    for (size_t c = 0; c < copies; ++c) {
        const std::string suffix = "_" + std::to_string(c);
        out += std::to_string(c) + "{\n";
        for (const std::string& line : lines) {
            if (line.empty())
                continue; // a line of one blank would not parse
            out += ' ';
            out += line;
            const size_t eq = line.find('=');
            if (eq != std::string::npos && eq + 1 < line.size() && line[eq + 1] == '"')
                out += suffix;
            out += '\n';
        }
        out += "}\n";
    }
    return out;
}

size_t heapInUse() {
    const struct mallinfo2 m = mallinfo2();
    return m.uordblks + m.hblkhd;
}

struct Memory {
    size_t items = 0, bytes = 0, textBytes = 0, valueBytes = 0;
};

Memory memoryPerItem(const std::string& path) {
    Memory m;
    size_t perCopy;
    {
        CPIAParser one;
        if (!one.parse(wide(path).c_str()))
            return m;
        perCopy = countItems(one.root());
    }
    const std::string text = largeText(path, perCopy);
    m.textBytes = text.size();
    CPIAParser parser;
    const size_t before = heapInUse();
    if (!parser.parseText(text.data(), text.size())) {
        std::fprintf(stderr, "the large text of %s does not parse: line %d: %ls\n", path.c_str(), parser.errorLine(),
                     parser.errorText());
        return m;
    }
    m.bytes = heapInUse() - before;
    m.items = countItems(parser.root());
    m.valueBytes = valueChars(parser.root()) * sizeof(wchar_t);
    return m;
}

} // namespace

int main(int argc, char** argv) {
    // glibc moves its mmap threshold as large blocks come and go and trims the
    // heap when its top is free, so a measure would otherwise depend on what the
    // measures before it left (runs differed by a third). Fixed, every measure,
    // floors included, finds the heap the same way.
    mallopt(M_MMAP_THRESHOLD, 64 << 20);
    mallopt(M_TRIM_THRESHOLD, 256 << 20);
    wxInitializer wx;
    char dirTemplate[] = "/tmp/drutils-bench-XXXXXX";
    if (!wx.IsOk() || !mkdtemp(dirTemplate))
        return 1;
    g_outDir = dirTemplate;

    g_subjects.push_back({"factory", kData + "/color-dependent-factory.ctb", true});
    g_subjects.push_back({"largest-table", largest({".ctb", ".stb"}), true});
    g_subjects.push_back({"printer-config", largest({".pc3"}), false});
    for (const Subject& s : g_subjects)
        registerFile(s);
    benchmark::RegisterBenchmark("WriteFloor", BM_WriteFloor)->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark("Write", BM_Write)->Unit(benchmark::kMicrosecond);

    // The ratios use the best of the repetitions.
    bench::BestOfReporter collector;
    bench::runRepeated(argc, argv, collector);
    std::remove((g_outDir + "/floor.ctb").c_str());
    std::remove((g_outDir + "/written.ctb").c_str());
    rmdir(g_outDir.c_str());

    auto ratio = [](double a, double b) { return a > 0 && b > 0 ? a / b : 0.0; };
    std::printf("\nbest of the repetitions; wall clock, and CPU time in brackets\n");
    for (const Subject& s : g_subjects) {
        auto at = [&](const char* what) { return collector.best(std::string(what) + "/" + s.label); };
        const auto floor = at("ReadFloor"), tree = at("TreeFloor"), parse = at("Parse"), model = at("ModelRead");
        std::printf("\n%s: %s\n", s.label.c_str(), s.path.c_str());
        std::printf("  parse / read floor:             %6.2fx  [%6.2fx]   target <= 2.5x\n",
                    ratio(parse.real, floor.real), ratio(parse.cpu, floor.cpu));
        std::printf("  tree floor / read floor:        %6.2fx  [%6.2fx]   the public constructors' cost\n",
                    ratio(tree.real, floor.real), ratio(tree.cpu, floor.cpu));
        std::printf("  %-31s %6.2fx  [%6.2fx]   target <= 4x\n",
                    s.table ? "table read / read floor:" : "configuration read / read floor:",
                    ratio(model.real, floor.real), ratio(model.cpu, floor.cpu));
        if (s.table) {
            std::string why;
            const auto ezdxf = bench::ezdxfSeconds(s.path, 20, why);
            if (ezdxf.real > 0)
                std::printf("  ezdxf load / table read:        %6.1fx  [%6.1fx]   target >= 12x (ezdxf %.0f us)\n",
                            ratio(ezdxf.real, model.real), ratio(ezdxf.cpu, model.cpu), ezdxf.real * 1e6);
            else
                std::printf("  ezdxf load / table read:        NOT MEASURED: %s\n", why.c_str());
        } else {
            std::printf("  ezdxf load / read:              none: ezdxf has no reader for printer configurations\n");
        }
        const Memory m = memoryPerItem(s.path);
        if (m.items > 0)
            std::printf("  memory per item, large file:    %6.1f bytes  target <= 64 (%zu items, %.1f MB text, "
                        "%.1f MB tree; the values' characters alone, as wide text: %.1f bytes per item)\n",
                        double(m.bytes) / double(m.items), m.items, m.textBytes / 1e6, m.bytes / 1e6,
                        double(m.valueBytes) / double(m.items));
        else
            std::printf("  memory per item, large file:    NOT MEASURED: the large text does not parse\n");
    }
    const auto writeFloor = collector.best("WriteFloor"), write = collector.best("Write");
    std::printf("\nwrite / durable write floor (factory): %6.2fx  [%6.2fx]\n", ratio(write.real, writeFloor.real),
                ratio(write.cpu, writeFloor.cpu));
    return 0;
}
