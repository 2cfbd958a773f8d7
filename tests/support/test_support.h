// Helpers for the test suites.
#pragma once

#include <string>
#include <vector>

#include <wx/log.h>

#include "od/OdString.h"

namespace testing_support {

// A unique directory made for one test and removed (with its contents) when the
// object goes out of scope.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    const std::string& path() const { return m_path; }
    std::string file(const std::string& name) const { return m_path + "/" + name; }
    OdString wpath() const;
    OdString wfile(const std::string& name) const;
    // Names of the entries directly inside (hidden ones included), sorted.
    std::vector<std::string> entries() const;

private:
    std::string m_path;
};

// Collects the library log for the lifetime of the object.
class LogCapture : public wxLog {
public:
    struct Record {
        wxLogLevel level;
        std::string text;
        std::string file;
        std::string function;
    };
    LogCapture();
    ~LogCapture() override;
    const std::vector<Record>& records() const { return m_records; }
    bool contains(const std::string& fragment) const;

protected:
    void DoLogRecord(wxLogLevel level, const wxString& msg, const wxLogRecordInfo& info) override;

private:
    wxLog* m_previous;
    std::vector<Record> m_records;
};

std::string dataFile(const std::string& name);
std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& bytes);
OdString W(const std::string& utf8);
std::string U(const OdString& s);

// Runs the drutils tool with arguments (shell-quoted here), capturing stdout
// (and stderr when wanted). Returns the exit status.
int runTool(const std::vector<std::string>& args, std::string* out = nullptr, std::string* err = nullptr,
            const std::string& stdinData = std::string());

} // namespace testing_support
