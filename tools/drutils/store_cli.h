// Shared by the settings-store groups (config, reg, profile): naming groups on
// the command line, and turning the library's log into the tool's one line.
#pragma once

#include <string>
#include <vector>

#include <wx/log.h>

#include "cli.h"
#include "ut_config.h"

namespace storecli {

// A group by number (0..31) or key word ("Setup", "Config", "Project Settings";
// case and blanks aside). "Windows" is refused as ambiguous (24 or 31). False
// with a message when the text names no group.
bool parseGroup(const std::string& text, ut::ECfgGroup& group, std::string& error);
// The key words, one line per group, for --help.
std::string groupTable();
std::string groupName(ut::ECfgGroup group);
// Whether the group's key lies in the current profile.
bool profileLevel(ut::ECfgGroup group);

// A command's time with the settings: starts them with the profile the store
// names as current (ut::Config::initProfile) and collects what the library logs
// meanwhile, so that a failure ends in one line: the library's own reason when
// it gave one.
class Session : public wxLog {
public:
    Session();
    ~Session() override;
    // Prints the first error the library logged (or message when there was
    // none) and returns cli::kFailure.
    int fail(const std::string& message);
    // Whether the library logged an error: a store that cannot be read lists
    // nothing, which must not pass for an empty list.
    bool hasErrors() const { return !m_errors.empty(); }
    // Prints the warnings collected, for a command that succeeded.
    void flushWarnings();

protected:
    void DoLogRecord(wxLogLevel level, const wxString& msg, const wxLogRecordInfo& info) override;

private:
    wxLog* m_previous;
    std::vector<std::string> m_errors, m_warnings;
};

// Why file cannot be imported before it is read ("File not found: FILE", as
// the library says it, "FILE: is a directory"...), or empty.
std::string checkImportFile(const std::string& file);

// The operands left after the options, min to max of them, refusing unknown
// options: kOk, or the exit status of the usage message printed.
int takeOperands(cli::Args& args, size_t min, size_t max, const std::string& usage, std::vector<std::string>& out);

} // namespace storecli
