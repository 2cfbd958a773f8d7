// drutils name check NAME...: tells for each name whether it is a valid
// symbol-table name (layer, block, style...), and why not.
#include <cstdio>

#include "cli.h"
#include "commands.h"
#include "ut_strings.h"

namespace {

const char kHelp[] = "usage: drutils name check [--json] NAME...\n"
                     "  Reports for each NAME whether it is a valid symbol-table name: 1 to 255\n"
                     "  characters, none of  \" * , / : ; < = > ? \\ ` |  (a backslash only in the\n"
                     "  escapes \\U+XXXX and \\M+NXXXX). Exit status 1 when any name is invalid.\n";

// The first reason a name is refused, for people; the verdict itself is isValidName's.
std::string reason(const OdString& name) {
    if (name.isEmpty())
        return "empty";
    int length = 0;
    const wchar_t* p = name.c_str();
    while (*p) {
        if (p[0] == L'\\') {
            OdString probe(p, p[1] == L'M' ? 8 : 7);
            if (ut::isValidName(probe.c_str())) {
                length += probe.getLength();
                p += probe.getLength();
                continue;
            }
            return "backslash outside a \\U+ or \\M+ escape";
        }
        OdString one(p, 1);
        if (!ut::isValidName(one.c_str()))
            return "character '" + cli::utf8(one) + "' is not allowed";
        ++length;
        ++p;
    }
    if (length > 255)
        return "longer than 255 characters (" + std::to_string(length) + ")";
    return "invalid";
}

} // namespace

int runName(cli::Args& args) {
    if (args.empty() || cli::wantsHelp(args)) {
        std::fputs(kHelp, args.empty() ? stderr : stdout);
        return args.empty() ? cli::kUsage : cli::kOk;
    }
    if (args[0] != "check")
        return cli::usage("unknown command 'name " + args[0] + "'");
    args.erase(args.begin());
    const bool json = cli::takeFlag(args, "--json");
    if (!args.empty() && args[0] == "--")
        args.erase(args.begin());
    if (args.empty())
        return cli::usage("name check needs at least one NAME");

    bool allValid = true;
    cli::Json out;
    if (json)
        out.beginArray();
    for (const auto& arg : args) {
        OdString name = cli::wide(arg);
        bool valid = ut::isValidName(name.c_str());
        allValid = allValid && valid;
        if (json) {
            out.beginObject().key("name").value(arg).key("valid").value(valid);
            if (!valid)
                out.key("reason").value(reason(name));
            out.endObject();
        } else if (valid) {
            std::printf("valid    %s\n", arg.c_str());
        } else {
            std::printf("invalid  %s  (%s)\n", arg.c_str(), reason(name).c_str());
        }
    }
    if (json) {
        out.endArray();
        out.finish();
    }
    return allValid ? cli::kOk : cli::kFailure;
}
