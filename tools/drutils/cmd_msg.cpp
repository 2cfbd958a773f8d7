// drutils msg list | dwg CODE [ARG...]: the prompt catalogue and the SDK's numbered
// messages as the application shows them, optionally in another language, so that
// translators and support staff can check a catalogue without starting the CAD
// application.
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <set>

#include <wx/dir.h>
#include <wx/filename.h>
#include <wx/translation.h>

#include "cli.h"
#include "commands.h"
#include "ut_messages.h"
#include "ut_messages_internal.h"

namespace {

const char kHelp[] =
    "usage: drutils msg list [--json] [--lang LANG --catalogs DIR]\n"
    "       drutils msg dwg CODE [ARG...] [--json] [--lang LANG --catalogs DIR]\n"
    "  list   every prompt and error text: accessor name and text (line feeds as \\n)\n"
    "  dwg    the drawing SDK's message CODE (0..848), filled with the ARGs; without\n"
    "         ARGs the text is shown with its placeholders. Each ARG is read as the\n"
    "         placeholder it fills wants it: %d %X as integers (0x.. allowed), %g %f as\n"
    "         reals, %ls %s as texts.\n"
    "  --lang LANG     show the texts in LANG (de, fr_CA, ...), from the message\n"
    "                  catalogues (*.mo) in DIR/LANG/LC_MESSAGES or DIR/LANG\n"
    "  --catalogs DIR  the folder holding one sub-folder per language\n";

// The .mo files of one language in the toolkit's two layouts; the catalogue names
// are not known in advance (they are the application's), so every one is loaded.
std::set<wxString> catalogueNames(const wxString& dir, const wxString& lang) {
    std::set<wxString> names;
    for (const wxString& sub : {lang + "/LC_MESSAGES", lang}) {
        wxString folder = dir + "/" + sub;
        if (!wxDir::Exists(folder))
            continue;
        wxArrayString files;
        wxDir::GetAllFiles(folder, &files, "*.mo", wxDIR_FILES);
        for (const auto& f : files)
            names.insert(wxFileName(f).GetName());
    }
    return names;
}

// Installs the catalogues of lang as the process's translations. The languages
// wx falls back to ("de" for "de_AT") are searched as well.
int loadLanguage(const std::string& lang, const std::string& dir) {
    if (lang.empty() || lang.find('/') != std::string::npos || lang == "." || lang == "..")
        return cli::usage("--lang needs a language code such as de or fr_CA");
    if (!wxDir::Exists(wxString::FromUTF8(dir)))
        return cli::fail("no catalogue folder " + dir);
    wxString wxDirName = wxString::FromUTF8(dir), wxLang = wxString::FromUTF8(lang);
    std::set<wxString> names = catalogueNames(wxDirName, wxLang);
    wxString base = wxLang.BeforeFirst('_').BeforeFirst('@');
    if (base != wxLang)
        for (const auto& n : catalogueNames(wxDirName, base))
            names.insert(n);
    if (names.empty())
        return cli::fail("no message catalogue (*.mo) for '" + lang + "' in " + dir);

    wxFileTranslationsLoader::AddCatalogLookupPathPrefix(wxDirName);
    auto translations = std::make_unique<wxTranslations>();
    translations->SetLanguage(wxLang);
    bool any = false;
    for (const auto& name : names)
        any = translations->AddCatalog(name) || any;
    if (!any)
        return cli::fail("cannot load the message catalogues for '" + lang + "' in " + dir);
    wxTranslations::Set(translations.release());
    return cli::kOk;
}

std::string oneLine(const std::string& text) {
    std::string out;
    for (char c : text) {
        if (c == '\n')
            out += "\\n";
        else
            out += c;
    }
    return out;
}

int runList(cli::Args& args, bool json) {
    if (cli::rejectUnknownOptions(args))
        return cli::kUsage;
    if (!args.empty())
        return cli::usage("msg list takes no arguments");
    cli::Json out;
    if (json)
        out.beginArray();
    for (const auto& entry : ut::detail::messageCatalogue()) {
        std::string text = cli::utf8(std::wstring(entry.accessor()));
        if (json)
            out.beginObject().key("name").value(entry.name).key("text").value(text).endObject();
        else
            std::printf("%-38s %s\n", entry.name, oneLine(text).c_str());
    }
    if (json) {
        out.endArray();
        out.finish();
    }
    return cli::kOk;
}

bool parseCode(const std::string& s, unsigned& code) {
    if (s.empty() || s[0] < '0' || s[0] > '9')
        return false;
    errno = 0;
    char* end = nullptr;
    unsigned long long v = std::strtoull(s.c_str(), &end, 10);
    if (errno || *end || v > UINT_MAX)
        return false;
    code = unsigned(v);
    return true;
}

// Converts the command-line words to the arguments the text's placeholders read.
// The words' wide copies live in storage, which must outlive the arguments.
bool convertArguments(const std::vector<ut::msgformat::ArgKind>& kinds, const cli::Args& words,
                      std::vector<std::wstring>& storage, std::vector<ut::msgformat::Arg>& args,
                      std::string& error) {
    using ut::msgformat::Arg;
    using ut::msgformat::ArgKind;
    storage.reserve(words.size()); // no reallocation: args point into it
    for (size_t i = 0; i < kinds.size(); ++i) {
        const std::string& w = words[i];
        const char* begin = w.c_str();
        char* end = nullptr;
        errno = 0;
        switch (kinds[i]) {
        case ArgKind::Int:
        case ArgKind::Long:
        case ArgKind::LongLong: {
            long long v = std::strtoll(begin, &end, 0);
            bool ok = !w.empty() && !*end && !errno;
            // An int placeholder takes int and unsigned int alike ("%X" of 0xFFFFFFFF).
            if (ok && kinds[i] == ArgKind::Int && (v < INT_MIN || v > static_cast<long long>(UINT_MAX)))
                ok = false;
            if (!ok) {
                error = "argument " + std::to_string(i + 1) + " '" + w + "' is not an integer";
                return false;
            }
            args.push_back(Arg::ofInt(v, kinds[i]));
            break;
        }
        case ArgKind::Double:
        case ArgKind::LongDouble: {
            double v = std::strtod(begin, &end);
            if (w.empty() || *end || errno) {
                error = "argument " + std::to_string(i + 1) + " '" + w + "' is not a number";
                return false;
            }
            args.push_back(kinds[i] == ArgKind::Double ? Arg::ofDouble(v) : Arg::ofLongDouble(v));
            break;
        }
        case ArgKind::NarrowText:
            args.push_back(Arg::ofNarrow(begin));
            break;
        case ArgKind::WideText:
            storage.push_back(cli::wide(w).str());
            args.push_back(Arg::ofWide(storage.back().c_str()));
            break;
        case ArgKind::Pointer:
            error = "placeholder " + std::to_string(i + 1) + " wants a memory address";
            return false;
        }
    }
    return true;
}

int runDwg(cli::Args& args, bool json) {
    if (cli::rejectUnknownOptions(args))
        return cli::kUsage;
    // "--" ends the options, so that an argument may begin with '-'.
    for (auto it = args.begin(); it != args.end(); ++it)
        if (*it == "--") {
            args.erase(it);
            break;
        }
    if (args.empty())
        return cli::usage("msg dwg needs a CODE");
    unsigned code = 0;
    if (!parseCode(args[0], code))
        return cli::usage("CODE '" + args[0] + "' is not a message number");
    cli::Args words(args.begin() + 1, args.end());

    OdString text;
    if (code >= ut::detail::dwgMessageCount())
        return cli::fail("message " + args[0] + " does not exist (the SDK's messages are 0 to " +
                         std::to_string(ut::detail::dwgMessageCount() - 1) + ")");
    if (words.empty()) {
        text = ut::detail::formatDwgMessage(code, nullptr);
    } else {
        std::vector<ut::msgformat::ArgKind> kinds;
        ut::msgformat::argumentKinds(ut::detail::dwgMessageFormat(code), kinds);
        if (words.size() != kinds.size()) {
            std::string wanted;
            for (auto k : kinds)
                wanted += std::string(wanted.empty() ? "" : ", ") + ut::msgformat::kindName(k);
            return cli::usage("message " + std::to_string(code) + " takes " + std::to_string(kinds.size()) +
                              " argument(s)" + (wanted.empty() ? "" : " (" + wanted + ")") + ", not " +
                              std::to_string(words.size()));
        }
        std::vector<std::wstring> storage;
        std::vector<ut::msgformat::Arg> filled;
        std::string error;
        if (!convertArguments(kinds, words, storage, filled, error))
            return cli::usage(error);
        text = ut::detail::formatDwgMessage(code, &filled);
    }
    if (json) {
        cli::Json out;
        out.beginObject().key("code").value(code).key("text").value(text).endObject();
        out.finish();
    } else {
        std::printf("%s\n", cli::utf8(text).c_str());
    }
    return cli::kOk;
}

} // namespace

int runMsg(cli::Args& args) {
    if (args.empty() || cli::wantsHelp(args)) {
        std::fputs(kHelp, args.empty() ? stderr : stdout);
        return args.empty() ? cli::kUsage : cli::kOk;
    }
    const std::string command = args[0];
    args.erase(args.begin());
    if (command != "list" && command != "dwg")
        return cli::usage("unknown command 'msg " + command + "'");

    const bool json = cli::takeFlag(args, "--json");
    std::string lang, catalogs;
    bool missing = false;
    bool haveLang = cli::takeOption(args, "--lang", lang, &missing);
    if (missing)
        return cli::usage("--lang needs a value");
    bool haveCatalogs = cli::takeOption(args, "--catalogs", catalogs, &missing);
    if (missing)
        return cli::usage("--catalogs needs a value");
    if (haveLang != haveCatalogs)
        return cli::usage("--lang and --catalogs go together");
    if (haveLang) {
        int rc = loadLanguage(lang, catalogs);
        if (rc != cli::kOk)
            return rc;
    }
    return command == "list" ? runList(args, json) : runDwg(args, json);
}
