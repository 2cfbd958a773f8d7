// drutils profile: the user profiles of the current language (named sets of
// settings below its "Profiles" key): which one is current, making, copying,
// renaming, describing and deleting them, and moving them through files.
#include <cstdio>
#include <string>

#include "cli.h"
#include "commands.h"
#include "platform/regstore.h"
#include "store_cli.h"
#include "config/ut_regfile.h"
#include "ut_config.h"

namespace {

const char kHelp[] =
    "usage: drutils profile <command> [options]\n"
    "commands:\n"
    "  list [--json]                         the profiles, the current one marked with *\n"
    "  current [--json]                      the current profile (and, with --json, the\n"
    "                                        language, version and store)\n"
    "  use NAME                              make NAME the current profile\n"
    "  create NAME [--description TEXT] [--from PROFILE]\n"
    "                                        a new profile, empty or a copy of PROFILE\n"
    "  copy FROM TO                          copy a profile under a new name\n"
    "  rename OLD NEW                        give a profile another name\n"
    "  delete [--force] NAME                 delete a profile (the current one only with --force)\n"
    "  describe NAME [TEXT]                  print a profile's description, or set it\n"
    "  export [--force] NAME FILE            write a profile as a registry file (\"-\":\n"
    "                                        to standard output)\n"
    "  import [--force] FILE [--name NEW] [--description TEXT]\n"
    "                                        read a profile file, optionally under another\n"
    "                                        name; an existing profile only with --force\n";

// Through the tool's own conversion, so that a file name that is not UTF-8
// still names its file.
wxString wxs(const std::string& s) { return wxString(cli::wide(s).str()); }
std::string u8(const wxString& s) { return cli::utf8(s.ToStdWstring()); }

int notFound(storecli::Session& log, const std::string& name) { return log.fail("no profile '" + name + "'"); }

// The profile a registry file holds: from its first key below this product's
// "Profiles" key of any version and language. same tells whether that key is
// of this version and language (only then can the file be imported under
// another name, since only those key lines are renamed).
bool profileInFile(const std::string& file, wxString& name, bool& same) {
    wxString text;
    if (ut::getProfileNameFromFile(wxs(file), name, &text)) {
        same = true;
        return true;
    }
    same = false;
    std::vector<std::wstring> lines;
    std::string cause;
    if (ut::regfile::readLines(cli::wide(file), lines, cause) != ut::regfile::ReadResult::Ok)
        return false;
    const wxString product = wxString(L"[HKEY_CURRENT_USER\\") + wxString(ut::Config::productRoot(ut::kCfgPathRegistry).c_str()) + L"\\V";
    for (const auto& l : lines) {
        const wxString line(l);
        if (!line.Lower().StartsWith(product.Lower()))
            continue;
        const int at = line.Find(L"\\Profiles\\");
        if (at == wxNOT_FOUND)
            continue;
        const wxString rest = line.Mid(size_t(at) + 10);
        const size_t end = rest.find_first_of(L"\\]");
        name = rest.Left(end == wxString::npos ? rest.length() : end);
        return !name.empty();
    }
    return false;
}

int list(cli::Args& args) {
    const bool json = cli::takeFlag(args, "--json");
    std::vector<std::string> ops;
    if (int rc = storecli::takeOperands(args, 0, 0, "profile list takes no operands", ops))
        return rc;
    storecli::Session log;
    wxArrayString names;
    ut::getProfileNames(names);
    if (log.hasErrors())
        return log.fail("the profiles could not be listed");
    log.flushWarnings();
    const wxString current = ut::getCurrentProfileName();
    if (json) {
        cli::Json out;
        out.beginArray();
        for (const auto& n : names)
            out.beginObject()
                .key("name")
                .value(u8(n))
                .key("current")
                .value(n == current)
                .key("description")
                .value(u8(ut::getProfileDescription(n)))
                .endObject();
        out.endArray();
        out.finish();
        return cli::kOk;
    }
    for (const auto& n : names) {
        const std::string text = u8(ut::getProfileDescription(n));
        std::printf("%c %s%s%s\n", n == current ? '*' : ' ', u8(n).c_str(), text.empty() ? "" : "  ", text.c_str());
    }
    return cli::kOk;
}

int current(cli::Args& args) {
    const bool json = cli::takeFlag(args, "--json");
    std::vector<std::string> ops;
    if (int rc = storecli::takeOperands(args, 0, 0, "profile current takes no operands", ops))
        return rc;
    storecli::Session log;
    if (log.hasErrors())
        return log.fail("the current profile could not be read");
    log.flushWarnings();
    const OdString name = ut::Config::currentProfileName();
    if (json) {
        cli::Json out;
        out.beginObject().key("profile");
        if (name.isEmpty())
            out.null();
        else
            out.value(name);
        out.key("language").value(ut::Config::currentLanguage());
        out.key("version").value(ut::Config::versionRoot(ut::kCfgPathConfig).mid(1));
        out.key("store").value(ut::platform::RegStore::currentUserPath());
        out.endObject();
        out.finish();
    } else if (!name.isEmpty()) {
        std::printf("%s\n", cli::utf8(name).c_str());
    }
    return cli::kOk;
}

int use(cli::Args& args) {
    std::vector<std::string> ops;
    if (int rc = storecli::takeOperands(args, 1, 1, "profile use needs NAME", ops))
        return rc;
    storecli::Session log;
    if (!ut::profileExists(wxs(ops[0])))
        return notFound(log, ops[0]);
    if (!ut::setCurrentProfileName(wxs(ops[0])))
        return log.fail("profile '" + ops[0] + "' could not be made current");
    return cli::kOk;
}

int create(cli::Args& args) {
    std::string text, from;
    bool missing = false, missing2 = false;
    cli::takeOption(args, "--description", text, &missing);
    cli::takeOption(args, "--from", from, &missing2);
    if (missing || missing2)
        return cli::usage("--description and --from need a value");
    std::vector<std::string> ops;
    if (int rc = storecli::takeOperands(args, 1, 1, "profile create needs NAME", ops))
        return rc;
    storecli::Session log;
    if (ut::profileExists(wxs(ops[0])))
        return log.fail("profile '" + ops[0] + "' exists");
    if (!from.empty() && !ut::profileExists(wxs(from)))
        return notFound(log, from);
    if (!ut::createProfile(wxs(ops[0]), wxs(text), wxs(from)))
        return log.fail("profile '" + ops[0] + "' could not be made");
    return cli::kOk;
}

int copy(cli::Args& args) {
    std::vector<std::string> ops;
    if (int rc = storecli::takeOperands(args, 2, 2, "profile copy needs FROM and TO", ops))
        return rc;
    storecli::Session log;
    if (!ut::profileExists(wxs(ops[0])))
        return notFound(log, ops[0]);
    if (ut::profileExists(wxs(ops[1])))
        return log.fail("profile '" + ops[1] + "' exists");
    if (!ut::Config::copyProfile(cli::wide(ops[0]), cli::wide(ops[1])))
        return log.fail("profile '" + ops[0] + "' could not be copied");
    return cli::kOk;
}

int rename(cli::Args& args) {
    std::vector<std::string> ops;
    if (int rc = storecli::takeOperands(args, 2, 2, "profile rename needs OLD and NEW", ops))
        return rc;
    storecli::Session log;
    if (!ut::profileExists(wxs(ops[0])))
        return notFound(log, ops[0]);
    // The current profile keeps being current under its new name, in the same
    // transaction, so that no other process sees it current under a name that
    // is gone.
    ut::platform::RegStore::Batch batch(*ut::platform::RegStore::forCurrentUser());
    batch.begin();
    const bool wasCurrent = ut::Config::profileNameFromRegistry().iCompare(cli::wide(ops[0])) == 0;
    if (!ut::renameProfile(wxs(ops[0]), wxs(ops[1]))) {
        batch.abandon();
        return log.fail("profile '" + ops[0] + "' could not be renamed to '" + ops[1] + "' (is the name taken?)");
    }
    if (wasCurrent && !ut::setCurrentProfileName(wxs(ops[1]))) {
        batch.abandon();
        return log.fail("profile '" + ops[1] + "' could not be made current");
    }
    if (!batch.commit())
        return log.fail("profile '" + ops[0] + "' could not be renamed");
    return cli::kOk;
}

int remove(cli::Args& args) {
    const bool force = cli::takeFlag(args, "--force");
    std::vector<std::string> ops;
    if (int rc = storecli::takeOperands(args, 1, 1, "profile delete needs NAME", ops))
        return rc;
    storecli::Session log;
    if (!ut::profileExists(wxs(ops[0])))
        return notFound(log, ops[0]);
    ut::platform::RegStore::Batch batch(*ut::platform::RegStore::forCurrentUser());
    batch.begin();
    const bool wasCurrent = ut::Config::profileNameFromRegistry().iCompare(cli::wide(ops[0])) == 0;
    if (!force && wasCurrent)
        return cli::fail("profile '" + ops[0] + "' is the current one (--force deletes it)");
    if (!ut::deleteProfile(wxs(ops[0]))) {
        batch.abandon();
        return log.fail("profile '" + ops[0] + "' could not be deleted");
    }
    // Another profile becomes current, the first of the list, or none: a name
    // left pointing at the deleted profile would have the next write make it
    // again, empty.
    wxString next;
    if (wasCurrent) {
        wxArrayString names;
        if (ut::getProfileNames(names) > 0)
            next = names[0];
        const bool moved = next.empty() ? ut::Config::writeString(ut::kCfgProfiles, L"CurProfile", OdString()) &&
                                              ut::Config::writeString(ut::kCfgProfiles, OdString(), OdString())
                                        : ut::setCurrentProfileName(next);
        if (!moved) {
            batch.abandon();
            return log.fail("profile '" + ops[0] + "' could not be deleted: no other profile could be made current");
        }
    }
    if (!batch.commit())
        return log.fail("profile '" + ops[0] + "' could not be deleted");
    if (wasCurrent)
        std::printf(next.empty() ? "no profile is current now\n" : "the current profile is now %s\n", u8(next).c_str());
    return cli::kOk;
}

int describe(cli::Args& args) {
    std::vector<std::string> ops;
    if (int rc = storecli::takeOperands(args, 1, 2, "profile describe needs NAME (and TEXT to set it)", ops))
        return rc;
    storecli::Session log;
    if (!ut::profileExists(wxs(ops[0])))
        return notFound(log, ops[0]);
    if (ops.size() == 1) {
        std::printf("%s\n", u8(ut::getProfileDescription(wxs(ops[0]))).c_str());
        return cli::kOk;
    }
    if (!ut::setProfileDescription(wxs(ops[0]), wxs(ops[1])))
        return log.fail("profile '" + ops[0] + "': the description could not be written");
    return cli::kOk;
}

int exportProfile(cli::Args& args) {
    const bool force = cli::takeFlag(args, "--force");
    std::vector<std::string> ops;
    if (int rc = storecli::takeOperands(args, 2, 2, "profile export needs NAME and FILE", ops))
        return rc;
    cli::StreamOutput out(ops[1]);
    if (std::string why = out.prepare({}, force); !why.empty())
        return cli::fail(why);
    storecli::Session log;
    if (!ut::profileExists(wxs(ops[0])))
        return notFound(log, ops[0]);
    if (!ut::exportProfile(wxs(ops[0]), wxs(out.path())))
        return log.fail(ops[1] + ": not written");
    if (std::string why = out.finish(); !why.empty())
        return cli::fail(why);
    return cli::kOk;
}

int importProfile(cli::Args& args) {
    const bool force = cli::takeFlag(args, "--force");
    std::string name, text;
    bool missing = false, missing2 = false;
    const bool renamed = cli::takeOption(args, "--name", name, &missing);
    const bool described = cli::takeOption(args, "--description", text, &missing2);
    if (missing || missing2 || (renamed && name.empty()))
        return cli::usage("--name and --description need a value");
    std::vector<std::string> ops;
    if (int rc = storecli::takeOperands(args, 1, 1, "profile import needs FILE", ops))
        return rc;
    if (std::string why = storecli::checkImportFile(ops[0]); !why.empty())
        return cli::fail(why);
    storecli::Session log;
    wxString inFile;
    bool same = false;
    if (!profileInFile(ops[0], inFile, same))
        return log.fail(ops[0] + ": holds no profile (no key below " +
                        cli::utf8(ut::Config::productRoot(ut::kCfgPathRegistry)) + "\\V...\\Profiles)");
    if (renamed && !same)
        return cli::fail(ops[0] + ": its profile is of another version or language; import it without --name, "
                                  "then rename it");
    const wxString target = renamed ? wxs(name) : inFile;
    if (!force && ut::profileExists(target))
        return cli::fail("profile '" + u8(target) + "' exists (--force imports into it)");
    const wxString wxText = wxs(text);
    bool ok = renamed ? ut::importProfile(wxs(ops[0]), &target, described ? &wxText : nullptr)
                      : ut::importProfile(wxs(ops[0]), nullptr, nullptr);
    if (ok && described && !renamed)
        ok = ut::setProfileDescription(target, wxText);
    if (!ok)
        return log.fail(ops[0] + ": not imported");
    log.flushWarnings();
    std::printf("imported profile %s\n", u8(target).c_str());
    return cli::kOk;
}

} // namespace

int runProfile(cli::Args& args) {
    return cli::runGroup(args, "profile", kHelp,
                         {{"list", list}, {"current", current}, {"use", use}, {"create", create}, {"copy", copy},
                          {"rename", rename}, {"delete", remove}, {"describe", describe}, {"export", exportProfile},
                          {"import", importProfile}});
}
