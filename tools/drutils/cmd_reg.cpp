// drutils reg export|import: moving settings groups between machines and users as
// registry files ("Windows Registry Editor Version 5.00").
#include <cstdio>
#include <string>

#include "cli.h"
#include "commands.h"
#include "store_cli.h"
#include "ut_config.h"
#include "config/ut_regfile.h"
#include "ut_registry.h"

namespace {

const char kHelp[] =
    "usage: drutils reg <command> [options]\n"
    "commands:\n"
    "  export [--force] GROUP-OR-PATH FILE\n"
    "                        write a group (a number or key word, see 'drutils config --help')\n"
    "                        or a key path below the product key (\"V17x64/en_US/Profiles/Work\")\n"
    "                        with everything below it; an existing FILE only with --force;\n"
    "                        \"-\" writes to standard output\n"
    "  import FILE           read a registry file: keys below \"Profiles\" of any version and\n"
    "                        language land below this language's profiles; a file with other\n"
    "                        keys of the product goes back where it was exported from\n";

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
    // Without a current profile a profile-level group lies outside the version
    // key, which no registry file of this product holds.
    if (isGroup && ut::Config::currentProfileName().isEmpty() && storecli::profileLevel(group))
        return cli::fail(ops[0] + ": a group of the current profile, and no profile is current ('drutils profile use')");
    const bool ok = isGroup ? ut::Config::exportGroup(group, cli::wide(out.path()), true)
                            : ut::Config::exportGroup(path, cli::wide(out.path()), true);
    if (!ok)
        return log.fail(ops[1] + ": not written");
    if (std::string why = out.finish(); !why.empty())
        return cli::fail(why);
    log.flushWarnings();
    return cli::kOk;
}

// Where a file's keys can go. Keys below "Profiles" of any version and language
// go below this language's profiles; every other key below the product key goes
// back where it stood, which is where reg export took it from. A key anywhere
// else has no place: the file is refused before anything is imported.
enum class Placement { Profiles, AsTheyStand };

std::string placeKeys(const std::string& file, Placement& placement) {
    std::vector<std::wstring> lines;
    std::string cause;
    if (ut::regfile::readLines(cli::wide(file), lines, cause) != ut::regfile::ReadResult::Ok)
        return file + ": " + cause;
    const std::wstring product =
        L"[HKEY_CURRENT_USER\\" + ut::Config::productRoot(ut::kCfgPathRegistry).str() + L"\\";
    size_t keys = 0, profileKeys = 0;
    for (size_t i = 0; i < lines.size(); ++i) {
        const std::wstring& line = lines[i];
        if (line.empty() || line[0] != L'[' || line.back() != L']')
            continue;
        const OdString head(line.substr(0, product.size()).c_str());
        if (line.size() <= product.size() || head.iCompare(product.c_str()) != 0)
            return file + ": line " + std::to_string(i + 1) + ": the key " + cli::utf8(line) + " lies outside " +
                   cli::utf8(product.substr(1, product.size() - 2)) + ", where no key of this tool's goes; nothing imported";
        ++keys;
        const std::wstring rest = line.substr(product.size());
        if (rest[0] == L'V' && rest.find(L"Profiles") != std::wstring::npos)
            ++profileKeys;
    }
    if (keys == 0)
        return file + ": holds no key below " + cli::utf8(product.substr(1, product.size() - 2)) + "; nothing imported";
    placement = profileKeys == keys ? Placement::Profiles : Placement::AsTheyStand;
    return std::string();
}

int importFile(cli::Args& args) {
    std::vector<std::string> ops;
    if (int rc = storecli::takeOperands(args, 1, 1, "reg import needs FILE", ops))
        return rc;
    if (std::string why = storecli::checkImportFile(ops[0]); !why.empty())
        return cli::fail(why);
    storecli::Session log;
    Placement placement;
    if (std::string why = placeKeys(ops[0], placement); !why.empty())
        return cli::fail(why);
    const bool ok = placement == Placement::Profiles ? ut::Config::import(cli::wide(ops[0]), true)
                                                     : ut::Registry::importKey(cli::wide(ops[0]), true);
    if (!ok)
        return log.fail(ops[0] + ": not imported");
    log.flushWarnings();
    return cli::kOk;
}

} // namespace

int runReg(cli::Args& args) {
    return cli::runGroup(args, "reg", kHelp, {{"export", exportGroup}, {"import", importFile}});
}
