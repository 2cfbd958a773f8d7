// drutils reg export|import: moving settings groups between machines and users as
// registry files ("Windows Registry Editor Version 5.00").
#include <cstdio>
#include <string>

#include "cli.h"
#include "commands.h"
#include "store_cli.h"
#include "ut_config.h"

namespace {

const char kHelp[] =
    "usage: drutils reg <command> [options]\n"
    "commands:\n"
    "  export [--force] GROUP-OR-PATH FILE\n"
    "                        write a group (a number or key word, see 'drutils config --help')\n"
    "                        or a key path below the product key (\"V17x64/en_US/Profiles/Work\")\n"
    "                        with everything below it; an existing FILE only with --force;\n"
    "                        \"-\" writes to standard output\n"
    "  import FILE           read a registry file into the current language's profiles: keys\n"
    "                        from another version or language land below this one's \"Profiles\"\n";

int exportGroup(cli::Args& args) {
    const bool force = cli::takeFlag(args, "--force");
    std::vector<std::string> ops;
    if (int rc = storecli::takeOperands(args, 2, 2, "reg export needs GROUP-OR-PATH and FILE", ops))
        return rc;
    cli::StreamOutput out(ops[1]);
    if (std::string why = out.prepare({}, force); !why.empty())
        return cli::fail(why);
    ut::ECfgGroup group;
    std::string error;
    const bool isGroup = storecli::parseGroup(ops[0], group, error);
    storecli::Session log;
    // A key path as the registry writes it is taken too.
    OdString path = cli::wide(ops[0]), product = ut::Config::productRoot(ut::kCfgPathRegistry) + L"/";
    path.replace(L'\\', L'/');
    product.replace(L'\\', L'/');
    for (const OdString& prefix : {OdString(L"HKEY_CURRENT_USER/"), product})
        if (path.left(prefix.getLength()).iCompare(prefix) == 0)
            path = path.mid(prefix.getLength());
    while (!path.isEmpty() && path.getAt(0) == L'/')
        path = path.mid(1);
    const bool ok = isGroup ? ut::Config::exportGroup(group, cli::wide(out.path()), true)
                            : ut::Config::exportGroup(path, cli::wide(out.path()), true);
    if (!ok)
        return log.fail(ops[1] + ": not written");
    if (std::string why = out.finish(); !why.empty())
        return cli::fail(why);
    log.flushWarnings();
    return cli::kOk;
}

int importFile(cli::Args& args) {
    std::vector<std::string> ops;
    if (int rc = storecli::takeOperands(args, 1, 1, "reg import needs FILE", ops))
        return rc;
    storecli::Session log;
    if (!ut::Config::import(cli::wide(ops[0]), true))
        return log.fail(ops[0] + ": not imported");
    log.flushWarnings();
    return cli::kOk;
}

} // namespace

int runReg(cli::Args& args) {
    return cli::runGroup(args, "reg", kHelp, {{"export", exportGroup}, {"import", importFile}});
}
