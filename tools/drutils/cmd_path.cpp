// drutils path info PATH: shows how ut::FileName splits a path and what the
// file system says about it.
#include <cstdio>

#include "cli.h"
#include "commands.h"
#include "ut_filename.h"

namespace {

const char kHelp[] = "usage: drutils path info [--json] PATH\n"
                     "  Prints the parts of PATH (directory, name, extension...) and whether it\n"
                     "  exists as a file or a directory.\n";

} // namespace

int runPath(cli::Args& args) {
    if (args.empty() || cli::wantsHelp(args)) {
        std::fputs(kHelp, args.empty() ? stderr : stdout);
        return args.empty() ? cli::kUsage : cli::kOk;
    }
    if (args[0] != "info")
        return cli::usage("unknown command 'path " + args[0] + "'");
    args.erase(args.begin());
    const bool json = cli::takeFlag(args, "--json");
    if (cli::rejectUnknownOptions(args))
        return cli::kUsage;
    if (args.size() != 1)
        return cli::usage("path info needs exactly one PATH");

    ut::FileName fn(cli::wide(args[0]));
    ut::FileName absolute(fn);
    absolute.makeAbsolute();
    const bool isFile = fn.fileExists();
    const bool isDir = ut::FileName::dirExists(fn.getFullPath());

    struct Field {
        const char* key;
        std::string value;
    };
    const Field fields[] = {
        {"full_path", cli::utf8(fn.getFullPath())},
        {"absolute", cli::utf8(absolute.getFullPath())},
        {"directory", cli::utf8(fn.getPath())},
        {"full_name", cli::utf8(fn.getFullName())},
        {"name", cli::utf8(fn.getName())},
        {"extension", cli::utf8(fn.getExt())},
    };
    if (json) {
        cli::Json out;
        out.beginObject();
        for (const auto& f : fields)
            out.key(f.key).value(f.value);
        out.key("dir_count").value(static_cast<long long>(fn.getDirCount()));
        out.key("is_absolute").value(fn.isAbsolute());
        out.key("exists").value(isFile ? "file" : isDir ? "directory" : "no");
        if (isFile)
            out.key("size").value(static_cast<long long>(fn.getSize()));
        out.key("read_only").value(ut::FileName::isFileReadOnly(fn.getFullPath()));
        out.endObject();
        out.finish();
        return cli::kOk;
    }
    for (const auto& f : fields)
        std::printf("%-10s %s\n", f.key, f.value.c_str());
    std::printf("%-10s %llu\n", "dir_count", static_cast<unsigned long long>(fn.getDirCount()));
    std::printf("%-10s %s\n", "exists", isFile ? "file" : isDir ? "directory" : "no");
    if (isFile)
        std::printf("%-10s %llu bytes%s\n", "size", static_cast<unsigned long long>(fn.getSize()),
                    ut::FileName::isFileReadOnly(fn.getFullPath()) ? ", read-only" : "");
    return cli::kOk;
}
