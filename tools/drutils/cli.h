// Shared plumbing of the drutils command groups: argument handling, exit codes,
// UTF-8 output and a small JSON writer.
#pragma once

#include <cstdio>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "od/OdString.h"

namespace cli {

enum ExitCode { kOk = 0, kFailure = 1, kUsage = 2 };

using Args = std::vector<std::string>;

// Prints "drutils: MESSAGE" on stderr and returns kFailure / kUsage.
int fail(const std::string& message);
int usage(const std::string& message);

// Removes a flag ("--json") from args; true when it was there.
bool takeFlag(Args& args, const char* flag);
// -r or --recursive (both taken out): walk folders given as operands.
bool takeRecursive(Args& args);
// Removes "--name VALUE" or "--name=VALUE" from args. Returns false when absent;
// sets missingValue when the option is there without a value.
bool takeOption(Args& args, const char* name, std::string& value, bool* missingValue = nullptr);
// True when args asks for help ("--help" or "-h" anywhere).
bool wantsHelp(const Args& args);
// An option-looking argument that nobody took: reports it and returns true.
bool rejectUnknownOptions(const Args& args);

// A group's commands: runs the one args names, with the rest of args. The group's
// help goes to stdout for "--help" alone or anywhere after a command, and to
// stderr (kUsage) when args are empty.
struct Command {
    const char* name;
    int (*run)(Args&);
};
int runGroup(Args& args, const char* group, const std::string& help, std::initializer_list<Command> commands);

// ---- files given on the command line
//
// A command that reads FILE refuses one that is not a regular file (a directory,
// device or pipe). A command that creates OUT refuses an OUT that is one of its
// inputs (under any spelling or link), an existing OUT that is not a regular file
// (a directory, pipe, device or socket: --force never turns one into a plain
// file), and an existing OUT unless --force was given; it writes OUT whole or not
// at all (a temporary file beside it, renamed over it at the end) and never leaves
// the temporary file behind.

// Empty when path names a regular file; otherwise "PATH: why" for cli::fail.
std::string checkInput(const std::string& path);
// Empty when a command may write out; otherwise "OUT: why" for cli::fail.
// dashIsStdout: the command takes "-" for standard output, which the refusal of
// a pipe or device then suggests.
std::string checkOutput(const std::string& out, const std::vector<std::string>& inputs, bool force,
                        bool dashIsStdout = false);

// OUT of a command whose output is a stream but which has the library write a
// named file: "-" stands for standard output, through a private temporary file
// (mode 0600, in the temporary folder) that finish() copies out; the temporary
// file is removed when the object goes. Any other OUT is the file itself.
class StreamOutput {
public:
    explicit StreamOutput(std::string out) : m_out(std::move(out)) {}
    ~StreamOutput();
    StreamOutput(const StreamOutput&) = delete;
    StreamOutput& operator=(const StreamOutput&) = delete;
    bool toStdout() const { return m_out == "-"; }
    // checkOutput for a file; for "-", makes the temporary file. Empty when the
    // command may go on, else the line for cli::fail.
    std::string prepare(const std::vector<std::string>& inputs, bool force);
    // The name to hand the library.
    const std::string& path() const { return toStdout() ? m_temporary : m_out; }
    // After the library wrote path(): copies it to standard output. Empty when
    // done, else the line for cli::fail.
    std::string finish();

private:
    std::string m_out, m_temporary;
};
// Reads a whole regular file of at most limit bytes. Empty on success, else
// "PATH: why".
std::string readFile(const std::string& path, size_t limit, std::string& bytes);
// Writes bytes as the file path, whole or not at all; an existing file is
// replaced only when replaceExisting is set. Empty on success, else "PATH: why".
std::string writeFile(const std::string& path, const std::string& bytes, bool replaceExisting);

// Between the tool's byte strings (arguments, output) and the library's wide text.
// The conversion is the library's file-name one: text in the locale's encoding
// (UTF-8 as a rule) becomes characters, any other byte survives the trip both
// ways, so an argument naming a file whose name is not valid UTF-8 still names
// it, and printing such a name prints the bytes it was given as.
std::string utf8(const OdString& s);
std::string utf8(const std::wstring& s);
OdString wide(const std::string& bytes);

// Minimal JSON output: values are written as they come, commas are handled. The
// output is always valid UTF-8: byte strings are read as cli::wide reads them, and
// a byte no character stands for (U+DC80..U+DCFF) is written as the escape
// "\udcXX", which a JSON reader turns back into the same code point.
class Json {
public:
    explicit Json(FILE* out = stdout) : m_out(out) {}
    Json& beginObject();
    Json& endObject();
    Json& beginArray();
    Json& endArray();
    Json& key(const std::string& k);
    Json& value(const std::string& v);
    Json& value(const OdString& v);
    Json& value(const char* v) { return value(std::string(v)); }
    Json& value(long long v);
    Json& value(int v) { return value(static_cast<long long>(v)); }
    Json& value(unsigned v) { return value(static_cast<long long>(v)); }
    Json& value(double v);
    // With that many significant digits: for values that were stored in single
    // precision, whose full expansion (0.34999999403953552) says nothing useful.
    Json& value(double v, int significantDigits);
    Json& value(bool v);
    Json& null();
    void finish(); // final newline
    static std::string escape(const std::string& s);
    static std::string escape(std::wstring_view s);

private:
    void separate();
    FILE* m_out;
    std::vector<bool> m_first; // one entry per open container
    bool m_afterKey = false;
};

} // namespace cli
