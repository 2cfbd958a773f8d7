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
    "                        with everything below it; an existing FILE only with --force\n"
    "  import FILE           read a registry file into the current language's profiles: keys\n"
    "                        from another version or language land below this one's \"Profiles\"\n";

int exportGroup(cli::Args& args) {
    const bool force = cli::takeFlag(args, "--force");
    std::vector<std::string> ops;
    int rc = cli::kOk;
    if (!storecli::takeOperands(args, 2, 2, "reg export needs GROUP-OR-PATH and FILE", ops, rc))
        return rc;
    if ((rc = storecli::checkOutput(ops[1], force)) != cli::kOk)
        return rc;
    ut::ECfgGroup group;
    std::string error;
    const bool isGroup = storecli::parseGroup(ops[0], group, error);
    // A key path as the registry writes it is taken too.
    OdString path = cli::wide(ops[0]);
    path.replace(L'\\', L'/');
    const OdString full = L"HKEY_CURRENT_USER/";
    if (path.left(full.getLength()).iCompare(full) == 0)
        path = path.mid(full.getLength());
    storecli::Capture log;
    storecli::start();
    const OdString product = ut::Config::productRoot(ut::kCfgPathRegistry) + L"/";
    OdString productSlash = product;
    productSlash.replace(L'\\', L'/');
    if (path.left(productSlash.getLength()).iCompare(productSlash) == 0)
        path = path.mid(productSlash.getLength());
    while (!path.isEmpty() && path.getAt(0) == L'/')
        path = path.mid(1);
    const bool ok = isGroup ? ut::Config::exportGroup(group, cli::wide(ops[1]), true)
                            : ut::Config::exportGroup(path, cli::wide(ops[1]), true);
    if (!ok)
        return log.fail(ops[1] + ": not written");
    log.flushWarnings();
    return cli::kOk;
}

int importFile(cli::Args& args) {
    std::vector<std::string> ops;
    int rc = cli::kOk;
    if (!storecli::takeOperands(args, 1, 1, "reg import needs FILE", ops, rc))
        return rc;
    storecli::Capture log;
    storecli::start();
    if (!ut::Config::import(cli::wide(ops[0]), true))
        return log.fail(ops[0] + ": not imported");
    log.flushWarnings();
    return cli::kOk;
}

} // namespace

int runReg(cli::Args& args) {
    if (args.empty() || (cli::wantsHelp(args) && args.size() == 1)) {
        std::fputs(kHelp, args.empty() ? stderr : stdout);
        return args.empty() ? cli::kUsage : cli::kOk;
    }
    const std::string command = args[0];
    args.erase(args.begin());
    if (cli::wantsHelp(args)) {
        std::fputs(kHelp, stdout);
        return cli::kOk;
    }
    if (command == "export")
        return exportGroup(args);
    if (command == "import")
        return importFile(args);
    return cli::usage("unknown command 'reg " + command + "'");
}
