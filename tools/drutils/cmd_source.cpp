// The JSON source form on the command line: show --json of tables, configurations
// and model files (files and folders), build a file from its JSON, and diff two
// files, a file and a JSON, or two folders by meaning.
#include <cstdio>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "cfg_source.h"
#include "cli.h"
#include "commands.h"
#include "platform/files.h"
#include "style_source.h"
#include "walk.h"

using source::Fault;
using source::Json;

namespace {

const char kStyleBuildHelp[] =
    "usage: drutils style build JSON OUT.ctb|OUT.stb [--force]\n"
    "  Writes the table a JSON document describes, in the form 'style show --json'\n"
    "  gives (JSON - reads standard input). Members named \"presentation\" are for\n"
    "  people and are ignored. A document that is not valid (a wrong type, an\n"
    "  unknown member, a value out of range or one the file cannot hold) is refused\n"
    "  with the path of the member at fault, and nothing is written. The kind must\n"
    "  match OUT's extension. An existing OUT is replaced only with --force.\n";

const char kStyleDiffHelp[] =
    "usage: drutils style diff [--json] [-r] A B\n"
    "  Compares two tables by meaning: the table's keys, custom lineweights (in mm),\n"
    "  then the styles, matched by colour index in colour-dependent tables and by\n"
    "  name in named ones (added, removed, renamed where unambiguous), each changed\n"
    "  field as OLD -> NEW (colours as #RRGGBB or object). A and B are table files\n"
    "  or JSON documents (- reads standard input); with -r two folders, compared\n"
    "  file by file. --json gives the differences as data.\n"
    "  Exit status 0 when the same, 1 when different, 2 on trouble.\n";

const char kCfgBuildHelp[] =
    "usage: drutils %s build JSON OUT [--force]\n"
    "  Writes the %s a JSON document describes,\n"
    "  in the form '%s show --json' gives (JSON - reads standard input). Members\n"
    "  named \"presentation\" are for people and are ignored. A document that is\n"
    "  not valid (a wrong type, an unknown member, a value out of range or one the\n"
    "  file cannot hold) is refused with the path of the member at fault, and\n"
    "  nothing is written. An existing OUT is replaced only with --force.\n";

const char kCfgDiffHelp[] =
    "usage: drutils %s diff [--json] [-r] A B\n"
    "  Compares two printer configurations or two model files by meaning, one line\n"
    "  per field path (custom values by name and kind, custom papers by name, other\n"
    "  programs' keys by name and kind): PATH: OLD -> NEW, added or removed. A and B\n"
    "  are files or JSON documents (- reads standard input); with -r two folders,\n"
    "  compared file by file. --json gives the differences as data.\n"
    "  Exit status 0 when the same, 1 when different, 2 on trouble.\n";

enum class Form { Table, Config, Model };

std::string named(const std::string& path) { return path == "-" ? std::string("standard input") : path; }

// Whether bytes are a JSON document rather than a parameter file: a container
// begins with its header, a document (after blanks) with "{".
bool looksLikeJson(const std::string& bytes) {
    const size_t at = bytes.find_first_not_of(" \t\r\n\xEF\xBB\xBF");
    return at != std::string::npos && bytes[at] == '{';
}

std::string readJson(const std::string& path, Json& j) {
    std::string text;
    if (std::string why = source::readSource(path, text); !why.empty())
        return why;
    try {
        j = source::parse(text);
    } catch (const Fault& f) {
        return named(path) + ": " + f.what();
    }
    return std::string();
}

// ---------------------------------------------------------------- loading either form

struct Loaded {
    std::unique_ptr<CPlotStyleTable> table;
    Json doc;           // configurations and model files, as show --json gives them
    bool model = false; // doc is a model file's
};

// A file or document: a table for Form::Table, else a configuration or a model
// file, as its content or name says. Empty on success, else why (naming path).
std::string load(const std::string& path, Form form, Loaded& out) {
    std::string head;
    if (path != "-") {
        if (std::string why = cli::checkInput(path); !why.empty())
            return why;
        FILE* f = ut::platform::openFile(cli::wide(path), "rb");
        char buf[64];
        const size_t n = f ? std::fread(buf, 1, sizeof buf, f) : 0;
        if (f)
            std::fclose(f);
        head.assign(buf, n);
    }
    if (path == "-" || looksLikeJson(head)) {
        Json j;
        if (std::string why = readJson(path, j); !why.empty())
            return why;
        try {
            out.model = source::isModelJson(j);
            if (form == Form::Table) {
                out.table = PlotStyleSource::fromJson(j, nullptr);
            } else if (out.model) {
                out.doc = source::pmpToJson(source::pmpFromJson(j), nullptr);
            } else {
                out.doc = source::cfgToJson(source::cfgFromJson(j), true, nullptr);
            }
        } catch (const Fault& f) {
            return named(path) + ": " + f.what();
        }
        return std::string();
    }
    if (form == Form::Table) {
        OdString reason;
        out.table.reset(CPlotStyleTable::read(cli::wide(path), &reason));
        return out.table ? std::string() : path + ": " + cli::utf8(reason);
    }
    out.model = cli::hasExtension(path, {"pmp"});
    if (out.model) {
        std::unique_ptr<PlotModelParam> pmp(PlotModelParam::read(cli::wide(path)));
        if (!pmp)
            return path + ": cannot be read as a model file";
        out.doc = source::pmpToJson(*pmp, nullptr);
        return std::string();
    }
    bool intact = true;
    std::unique_ptr<CPlotCfg3> cfg(CPlotCfg3::readStored(cli::wide(path), &intact));
    if (!cfg)
        return path + ": cannot be read as a printer configuration";
    out.doc = source::cfgToJson(*cfg, intact, nullptr);
    return std::string();
}

// ---------------------------------------------------------------- show

// Shows each file (folders walked with -r) as JSON: one document per line when
// there are several. Failures are reported as they come; exit 1 when any.
int showJson(cli::Args& args, Form form, bool lines) {
    const bool recursive = cli::takeRecursive(args);
    if (cli::rejectUnknownOptions(args))
        return cli::kUsage;
    if (!args.empty() && args[0] == "--")
        args.erase(args.begin());
    if (args.empty())
        return cli::usage("show --json needs a FILE");
    if (args.size() > 1 && lines)
        return cli::usage("--lines shows one FILE");
    std::vector<std::string> files;
    std::initializer_list<const char*> table = {"ctb", "stb"}, config = {"pc3"}, model = {"pmp"};
    if (std::string why = cli::expandOperands(args, recursive,
                                              form == Form::Table ? table : form == Form::Config ? config : model,
                                              files);
        !why.empty())
        return cli::usage(why);
    bool allOk = true;
    for (const std::string& file : files) {
        Json j;
        if (form == Form::Table) {
            if (std::string why = cli::checkInput(file); !why.empty()) {
                allOk = false;
                cli::fail(why);
                continue;
            }
            OdString reason;
            std::unique_ptr<CPlotStyleTable> t(CPlotStyleTable::read(cli::wide(file), &reason));
            if (!t) {
                allOk = false;
                cli::fail(file + ": " + cli::utf8(reason));
                continue;
            }
            j = PlotStyleSource::toJson(*t, lines ? nullptr : &file);
        } else if (form == Form::Config) {
            bool intact = true;
            std::unique_ptr<CPlotCfg3> cfg(CPlotCfg3::readStored(cli::wide(file), &intact));
            if (!cfg) {
                allOk = false; // the library has said why
                continue;
            }
            j = source::cfgToJson(*cfg, intact, lines ? nullptr : &file);
        } else {
            std::unique_ptr<PlotModelParam> pmp(PlotModelParam::read(cli::wide(file)));
            if (!pmp) {
                allOk = false;
                continue;
            }
            j = source::pmpToJson(*pmp, lines ? nullptr : &file);
        }
        std::string text;
        if (!lines)
            text = source::dump(j) + "\n";
        else if (form == Form::Table)
            text = source::styleLines(j);
        else
            text = source::dump(j, 1) + "\n";
        std::fwrite(text.data(), 1, text.size(), stdout);
    }
    if (std::fflush(stdout) != 0)
        return cli::fail("cannot write the output");
    return allOk ? cli::kOk : cli::kFailure;
}

// ---------------------------------------------------------------- build

int build(cli::Args& args, Form form) {
    const bool force = cli::takeFlag(args, "--force");
    if (cli::rejectUnknownOptions(args))
        return cli::kUsage;
    const char* group = form == Form::Table ? "style" : form == Form::Config ? "pc3" : "pmp";
    if (args.size() != 2)
        return cli::usage(std::string(group) + " build needs JSON and OUT");
    const std::string& in = args[0];
    const std::string& out = args[1];
    bool colourDependent = false;
    if (form == Form::Table) {
        if (!cli::hasExtension(out, {"ctb", "stb"}))
            return cli::usage(out + ": a table's name ends in .ctb (colour-dependent) or .stb (named)");
        colourDependent = cli::hasExtension(out, {"ctb"});
    }
    if (std::string why = cli::checkOutput(out, in == "-" ? std::vector<std::string>() : std::vector{in}, force);
        !why.empty())
        return cli::fail(why);
    Json j;
    if (std::string why = readJson(in, j); !why.empty())
        return cli::fail(why);
    try {
        if (form == Form::Table) {
            auto t = PlotStyleSource::fromJson(j, &colourDependent);
            if (std::string why = PlotStyleSource::write(*t, out, force); !why.empty())
                return cli::fail(named(in) + ": " + why);
            std::printf("%s: %s table with %d style%s\n", out.c_str(), t->useACI() ? "colour-dependent" : "named",
                        t->size(), t->size() == 1 ? "" : "s");
            return cli::kOk;
        }
        if (form == Form::Model) {
            if (!source::isModelJson(j))
                return cli::fail(named(in) + ": is the JSON of a printer configuration, not of a model file");
            const PlotModelParam pmp = source::pmpFromJson(j);
            return pmp.write(cli::wide(out)) == 0 ? cli::kOk : cli::kFailure;
        }
        if (source::isModelJson(j))
            return cli::fail(named(in) + ": is the JSON of a model file, not of a printer configuration");
        const CPlotCfg3 cfg = source::cfgFromJson(j);
        return cfg.write(cli::wide(out)) == 0 ? cli::kOk : cli::kFailure;
    } catch (const Fault& f) {
        return cli::fail(named(in) + ": " + f.what());
    }
}

// ---------------------------------------------------------------- diff

// The differences of one pair: lines and data. false, why set, on trouble.
bool diffPair(const std::string& a, const std::string& b, Form form, std::vector<std::string>& lines,
              Json& changes, std::string& why) {
    Loaded la, lb;
    if (!(why = load(a, form, la)).empty() || !(why = load(b, form, lb)).empty())
        return false;
    if (form != Form::Table && la.model != lb.model) {
        why = named(la.model ? a : b) + " is a model file and " + named(la.model ? b : a) +
              " a printer configuration: they do not compare";
        return false;
    }
    changes = Json::array();
    if (form == Form::Table) {
        for (const auto& c : PlotStyleSource::diff(*la.table, *lb.table)) {
            lines.push_back(c.line());
            changes.push_back(c.json());
        }
    } else {
        for (const auto& c : source::diffDocuments(la.doc, lb.doc)) {
            lines.push_back(c.line());
            changes.push_back(c.json());
        }
    }
    return true;
}

int diff(cli::Args& args, Form form) {
    const bool json = cli::takeFlag(args, "--json");
    const bool recursive = cli::takeRecursive(args);
    for (const auto& a : args)
        if (a.size() > 1 && a[0] == '-' && a != "--") {
            cli::usage("unknown option " + a);
            return cli::kUsage;
        }
    if (!args.empty() && args[0] == "--")
        args.erase(args.begin());
    if (args.size() != 2)
        return cli::usage(std::string(form == Form::Table ? "style" : "pc3") + " diff needs A and B");
    if (args[0] == "-" && args[1] == "-")
        return cli::usage("only one of A and B can be standard input");
    const bool folderA = cli::isFolder(args[0]), folderB = cli::isFolder(args[1]);
    if ((folderA || folderB) && !recursive)
        return cli::usage((folderA ? args[0] : args[1]) + ": is a folder (-r compares folders)");
    if (folderA != folderB)
        return cli::usage("-r compares two folders; " + (folderA ? args[1] : args[0]) + " is not one");

    Json out = Json::object();
    bool same = true, trouble = false;
    if (!folderA) {
        std::vector<std::string> lines;
        Json changes;
        std::string why;
        if (!diffPair(args[0], args[1], form, lines, changes, why))
            return cli::fail(why), cli::kUsage;
        same = lines.empty();
        if (json) {
            out["same"] = same;
            out["differences"] = std::move(changes);
            std::printf("%s\n", source::dump(out).c_str());
        } else {
            for (const auto& l : lines)
                std::printf("%s\n", l.c_str());
        }
        return same ? cli::kOk : cli::kFailure;
    }

    // Two folders: the files of the form below each, paired by their paths.
    std::initializer_list<const char*> table = {"ctb", "stb"}, config = {"pc3", "pmp"};
    auto exts = form == Form::Table ? table : config;
    std::vector<std::string> inA, inB;
    for (auto [dir, list] : {std::pair{&args[0], &inA}, std::pair{&args[1], &inB}})
        if (std::string why = cli::filesBelow(*dir, exts, *list); !why.empty())
            return cli::fail(why), cli::kUsage;
    std::set<std::string> all(inA.begin(), inA.end());
    all.insert(inB.begin(), inB.end());
    const std::set<std::string> setA(inA.begin(), inA.end()), setB(inB.begin(), inB.end());
    Json files = Json::array();
    for (const std::string& rel : all) {
        Json entry = Json::object();
        entry["file"] = source::text(cli::wide(rel));
        if (!setA.count(rel) || !setB.count(rel)) {
            same = false;
            const char* where = setA.count(rel) ? "A" : "B";
            entry["only_in"] = where;
            if (!json)
                std::printf("%s: only in %s\n", rel.c_str(), where);
            files.push_back(std::move(entry));
            continue;
        }
        std::vector<std::string> lines;
        Json changes;
        std::string why;
        if (!diffPair(args[0] + "/" + rel, args[1] + "/" + rel, form, lines, changes, why)) {
            trouble = true;
            cli::fail(why);
            entry["error"] = source::text(cli::wide(why));
            files.push_back(std::move(entry));
            continue;
        }
        same = same && lines.empty();
        entry["same"] = lines.empty();
        entry["differences"] = std::move(changes);
        if (!json)
            for (const auto& l : lines)
                std::printf("%s: %s\n", rel.c_str(), l.c_str());
        files.push_back(std::move(entry));
    }
    if (json) {
        out["same"] = same && !trouble;
        out["files"] = std::move(files);
        std::printf("%s\n", source::dump(out).c_str());
    }
    return trouble ? cli::kUsage : same ? cli::kOk : cli::kFailure;
}

bool helpFor(const cli::Args& args, const std::string& text) {
    if (!cli::wantsHelp(args))
        return false;
    std::fputs(text.c_str(), stdout);
    return true;
}

std::string cfgHelp(const char* format, const char* group, const char* what) {
    char buf[2048];
    std::snprintf(buf, sizeof buf, format, group, what, group);
    return buf;
}

std::string cfgDiffHelp(const char* group) {
    char buf[2048];
    std::snprintf(buf, sizeof buf, kCfgDiffHelp, group);
    return buf;
}

} // namespace

int runStyleShowJson(cli::Args& args, bool lines) { return showJson(args, Form::Table, lines); }
int runStyleBuild(cli::Args& args) {
    return helpFor(args, kStyleBuildHelp) ? cli::kOk : build(args, Form::Table);
}
int runStyleDiff(cli::Args& args) { return helpFor(args, kStyleDiffHelp) ? cli::kOk : diff(args, Form::Table); }

int runCfgShowJson(cli::Args& args, bool model, bool lines) {
    return showJson(args, model ? Form::Model : Form::Config, lines);
}
int runPc3Build(cli::Args& args) {
    return helpFor(args, cfgHelp(kCfgBuildHelp, "pc3", "printer configuration")) ? cli::kOk
                                                                                 : build(args, Form::Config);
}
int runPmpBuild(cli::Args& args) {
    return helpFor(args, cfgHelp(kCfgBuildHelp, "pmp", "model file")) ? cli::kOk : build(args, Form::Model);
}
// Configurations and model files compare alike; each file says which it is.
int runPc3Diff(cli::Args& args) { return helpFor(args, cfgDiffHelp("pc3")) ? cli::kOk : diff(args, Form::Config); }
int runPmpDiff(cli::Args& args) { return helpFor(args, cfgDiffHelp("pmp")) ? cli::kOk : diff(args, Form::Config); }
