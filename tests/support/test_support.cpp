#include "test_support.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/codepage.h"

namespace fs = std::filesystem;

namespace testing_support {

TempDir::TempDir() {
    std::string tmpl = (fs::temp_directory_path() / "drutils-test-XXXXXX").string();
    if (!mkdtemp(tmpl.data()))
        std::abort();
    m_path = tmpl;
}

TempDir::~TempDir() {
    std::error_code ec;
    // Directories made read-only by a test must become writable again to be removed.
    for (auto it = fs::recursive_directory_iterator(m_path, ec); !ec && it != fs::recursive_directory_iterator();
         it.increment(ec))
        fs::permissions(it->path(), fs::perms::owner_all, fs::perm_options::add, ec);
    fs::remove_all(m_path, ec);
}

OdString TempDir::wpath() const { return W(m_path); }
OdString TempDir::wfile(const std::string& name) const { return W(file(name)); }

std::vector<std::string> TempDir::entries() const {
    std::vector<std::string> names;
    for (const auto& e : fs::directory_iterator(m_path))
        names.push_back(e.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

LogCapture::LogCapture() { m_previous = wxLog::SetActiveTarget(this); }

LogCapture::~LogCapture() { wxLog::SetActiveTarget(m_previous); }

bool LogCapture::contains(const std::string& fragment) const {
    for (const auto& r : m_records)
        if (r.text.find(fragment) != std::string::npos)
            return true;
    return false;
}

void LogCapture::DoLogRecord(wxLogLevel level, const wxString& msg, const wxLogRecordInfo& info) {
    m_records.push_back({level, msg.utf8_string(), info.filename ? info.filename : "",
                         info.func ? info.func : ""});
}

std::string dataFile(const std::string& name) { return std::string(DRUTILS_TEST_DATA) + "/" + name; }

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

void writeFile(const std::string& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), std::streamsize(bytes.size()));
}

OdString W(const std::string& utf8) { return OdString(ut::platform::utf8ToWide(utf8)); }
std::string U(const OdString& s) { return ut::platform::wideToUtf8(s.str()); }

namespace {
std::string shellQuote(const std::string& s) {
    std::string q = "'";
    for (char c : s) {
        if (c == '\'')
            q += "'\\''";
        else
            q += c;
    }
    return q + "'";
}
} // namespace

int runTool(const std::vector<std::string>& args, std::string* out, std::string* err, const std::string& stdinData) {
    TempDir tmp;
    std::string cmd = shellQuote(DRUTILS_TOOL);
    for (const auto& a : args) {
        cmd += ' ';
        cmd += shellQuote(a);
    }
    std::string inPath = tmp.file("stdin"), outPath = tmp.file("stdout"), errPath = tmp.file("stderr");
    writeFile(inPath, stdinData);
    cmd += " <" + shellQuote(inPath) + " >" + shellQuote(outPath) + " 2>" + shellQuote(errPath);
    int status = std::system(cmd.c_str());
    if (out)
        *out = readFile(outPath);
    if (err)
        *err = readFile(errPath);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace testing_support
