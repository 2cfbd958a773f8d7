#include "store_cli.h"

#include "platform/files.h"

#include <cctype>
#include <cstdio>


namespace storecli {

namespace {

// Key words by group number; "Windows" appears twice on purpose and is refused.
const char* const kGroupWords[32] = {
    "Product",     "Version",  "Language",   "Profile",      "Addins",        "Applications", "Config",
    "Dialogs",     "Environment", "eTransmit", "Menus",       "MLeader",       "Plot",         "Profiles",
    "Project Settings", "Recent Paths", "Settings", "Setup", "StatusBar",     "Tablet",       "TEST",
    "Toolbars",    "TPSettings", "User",      "Windows",      "Worksets",      "Quad",         "Properties Bar",
    "3dMouseMenu", "TipContext", "Map Connections", "Windows"};

std::string squeeze(const std::string& s) {
    std::string out;
    for (char c : s)
        if (c != ' ' && c != '_' && c != '-')
            out += char(std::tolower(static_cast<unsigned char>(c)));
    return out;
}

} // namespace

bool parseGroup(const std::string& text, ut::ECfgGroup& group, std::string& error) {
    if (!text.empty() && text.size() <= 2 && std::isdigit(static_cast<unsigned char>(text[0])) &&
        std::isdigit(static_cast<unsigned char>(text.back()))) {
        const int n = std::stoi(text);
        if (n >= 0 && n < 32) {
            group = ut::ECfgGroup(n);
            return true;
        }
    }
    const std::string wanted = squeeze(text);
    int found = -1, matches = 0;
    for (int g = 0; g < 32; ++g) {
        if (squeeze(kGroupWords[g]) == wanted) {
            found = g;
            ++matches;
        }
    }
    if (matches == 1) {
        group = ut::ECfgGroup(found);
        return true;
    }
    error = matches > 1 ? "group '" + text + "' is ambiguous: 24 (the profile's Windows) or 31 (the language's)"
                        : "no group '" + text + "' (a number 0-31 or a key word, see --help)";
    return false;
}

std::string groupName(ut::ECfgGroup group) {
    return int(group) >= 0 && int(group) < 32 ? kGroupWords[int(group)] : "?";
}

// Where each group's key lies: product, version, language or the current profile.
const char kLevel[33] = "pvlPllPPllPPPlPPllPPlPPlPPPPPPPl";

bool profileLevel(ut::ECfgGroup group) { return int(group) >= 0 && int(group) < 32 && kLevel[int(group)] == 'P'; }

std::string groupTable() {
    std::string out;
    for (int g = 0; g < 32; g += 2) {
        char line[128];
        auto level = [](char c) {
            return c == 'p' ? "product" : c == 'v' ? "version" : c == 'l' ? "language" : "profile";
        };
        std::snprintf(line, sizeof line, "  %2d %-17s %-9s %2d %-17s %s\n", g, kGroupWords[g], level(kLevel[g]),
                      g + 1, kGroupWords[g + 1], level(kLevel[g + 1]));
        out += line;
    }
    return out;
}

Session::Session() {
    m_previous = wxLog::SetActiveTarget(this);
    ut::Config::initProfile(OdString());
}

Session::~Session() { wxLog::SetActiveTarget(m_previous); }

void Session::DoLogRecord(wxLogLevel level, const wxString& msg, const wxLogRecordInfo&) {
    if (level <= wxLOG_Error)
        m_errors.push_back(cli::utf8(msg.ToStdWstring()));
    else if (level <= wxLOG_Warning)
        m_warnings.push_back(cli::utf8(msg.ToStdWstring()));
}

int Session::fail(const std::string& message) { return cli::fail(m_errors.empty() ? message : m_errors.front()); }

void Session::flushWarnings() {
    for (const auto& w : m_warnings)
        std::fprintf(stderr, "drutils: %s\n", w.c_str());
    m_warnings.clear();
}

std::string checkImportFile(const std::string& file) {
    if (ut::platform::entryKind(cli::wide(file)) == ut::platform::EntryKind::None)
        return "File not found: " + file;
    return cli::checkInput(file);
}

int takeOperands(cli::Args& args, size_t min, size_t max, const std::string& usage, std::vector<std::string>& out) {
    if (cli::rejectUnknownOptions(args))
        return cli::kUsage;
    if (!args.empty() && args[0] == "--")
        args.erase(args.begin());
    if (args.size() < min || args.size() > max)
        return cli::usage(usage);
    out = args;
    return cli::kOk;
}

} // namespace storecli
