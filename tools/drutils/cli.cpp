#include "cli.h"

#include <cerrno>
#include <cmath>
#include <cstring>

#include "platform/codepage.h"
#include "platform/files.h"

namespace cli {

int fail(const std::string& message) {
    std::fprintf(stderr, "drutils: %s\n", message.c_str());
    return kFailure;
}

int usage(const std::string& message) {
    std::fprintf(stderr, "drutils: %s (see --help)\n", message.c_str());
    return kUsage;
}

bool takeFlag(Args& args, const char* flag) {
    for (auto it = args.begin(); it != args.end(); ++it) {
        if (*it == "--")
            return false;
        if (*it == flag) {
            args.erase(it);
            return true;
        }
    }
    return false;
}

bool takeRecursive(Args& args) {
    const bool shortFlag = takeFlag(args, "-r");
    return takeFlag(args, "--recursive") || shortFlag;
}

bool takeOption(Args& args, const char* name, std::string& value, bool* missingValue) {
    if (missingValue)
        *missingValue = false;
    const std::string eq = std::string(name) + "=";
    for (size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--")
            return false;
        if (args[i].rfind(eq, 0) == 0) {
            value = args[i].substr(eq.size());
            args.erase(args.begin() + long(i));
            return true;
        }
        if (args[i] == name) {
            if (i + 1 >= args.size()) {
                if (missingValue)
                    *missingValue = true;
                args.erase(args.begin() + long(i));
                return false;
            }
            value = args[i + 1];
            args.erase(args.begin() + long(i), args.begin() + long(i) + 2);
            return true;
        }
    }
    return false;
}

bool wantsHelp(const Args& args) {
    for (const auto& a : args) {
        if (a == "--")
            return false;
        if (a == "--help" || a == "-h")
            return true;
    }
    return false;
}

bool rejectUnknownOptions(const Args& args) {
    for (const auto& a : args) {
        if (a == "--")
            return false;
        if (a.size() > 1 && a[0] == '-' && !(a.size() > 1 && (std::isdigit(static_cast<unsigned char>(a[1])) || a[1] == '.'))) {
            usage("unknown option " + a);
            return true;
        }
    }
    return false;
}

int runGroup(Args& args, const char* group, const std::string& help, std::initializer_list<Command> commands) {
    if (args.empty() || (wantsHelp(args) && args.size() == 1)) {
        std::fputs(help.c_str(), args.empty() ? stderr : stdout);
        return args.empty() ? kUsage : kOk;
    }
    const std::string command = args[0];
    args.erase(args.begin());
    if (wantsHelp(args)) {
        std::fputs(help.c_str(), stdout);
        return kOk;
    }
    for (const Command& c : commands)
        if (command == c.name)
            return c.run(args);
    return usage("unknown command '" + std::string(group) + " " + command + "'");
}

std::string checkInput(const std::string& path) {
    using ut::platform::EntryKind;
    ut::platform::FileInfo info;
    if (!ut::platform::fileInfo(wide(path), info))
        return path + ": no such file";
    if (info.kind == EntryKind::Directory)
        return path + ": is a directory";
    if (info.kind != EntryKind::Regular)
        return path + ": not a regular file";
    return std::string();
}

std::string checkOutput(const std::string& out, const std::vector<std::string>& inputs, bool force, bool dashIsStdout) {
    for (const auto& in : inputs)
        if (ut::platform::sameFile(wide(out), wide(in)))
            return out + ": is the input " + in + "; name another output";
    using ut::platform::EntryKind;
    const EntryKind kind = ut::platform::entryKind(wide(out));
    if (kind == EntryKind::Directory)
        return out + ": is a directory";
    if (kind == EntryKind::Other)
        return out + ": not a regular file (a pipe, device or socket), which is never replaced" +
               (dashIsStdout ? "; \"-\" writes to standard output" : "");
    if (kind != EntryKind::None && !force)
        return out + ": already exists (--force replaces it)";
    return std::string();
}

StreamOutput::~StreamOutput() {
    if (!m_temporary.empty())
        ut::platform::removeFile(wide(m_temporary));
}

std::string StreamOutput::prepare(const std::vector<std::string>& inputs, bool force) {
    if (!toStdout())
        return checkOutput(m_out, inputs, force, true);
    // Owner only: what goes through it may be private settings.
    m_temporary = utf8(ut::platform::createUniqueFile(L"drutils-out-"));
    if (m_temporary.empty())
        return "no temporary file can be made in " + utf8(ut::platform::systemTempDirectory());
    return std::string();
}

std::string StreamOutput::finish() {
    if (!toStdout())
        return std::string();
    ut::platform::FileStatus why = ut::platform::FileStatus::Ok;
    FILE* in = ut::platform::openFile(wide(m_temporary), "rb", &why);
    if (!in)
        return m_temporary + ": " + ut::platform::describe(why);
    char buf[65536];
    size_t n = 0;
    bool written = true;
    while (written && (n = std::fread(buf, 1, sizeof buf, in)) > 0)
        written = std::fwrite(buf, 1, n, stdout) == n;
    const bool readError = std::ferror(in) != 0;
    std::fclose(in);
    if (readError)
        return m_temporary + ": cannot be read back";
    if (!written || std::fflush(stdout) != 0)
        return "cannot write the output";
    return std::string();
}

std::string readFile(const std::string& path, size_t limit, std::string& bytes) {
    bytes.clear();
    ut::platform::FileStatus why = ut::platform::FileStatus::Ok;
    FILE* in = ut::platform::openFile(wide(path), "rb", &why);
    if (!in)
        return path + ": " + ut::platform::describe(why);
    char buf[65536];
    size_t n = 0;
    bool tooLarge = false;
    while ((n = std::fread(buf, 1, sizeof buf, in)) > 0) {
        if (bytes.size() + n > limit) {
            tooLarge = true;
            break;
        }
        bytes.append(buf, n);
    }
    const int error = std::ferror(in) ? errno : 0;
    std::fclose(in);
    if (tooLarge)
        return path + ": larger than " + std::to_string(limit >> 20) + " MiB";
    if (error)
        return path + ": " + ut::platform::describe(ut::platform::statusFromErrno(error));
    return std::string();
}

std::string writeFile(const std::string& path, const std::string& bytes, bool replaceExisting) {
    using ut::platform::FileStatus;
    ut::platform::AtomicFileWriter out(wide(path), replaceExisting);
    FileStatus why = FileStatus::Ok;
    if (!out.file())
        why = out.status();
    else if (std::fwrite(bytes.data(), 1, bytes.size(), out.file()) != bytes.size())
        why = ut::platform::statusFromErrno(errno);
    else if (!out.commit())
        why = out.status();
    return why == FileStatus::Ok ? std::string() : path + ": not written: " + ut::platform::describe(why);
}

std::string utf8(const OdString& s) { return ut::platform::fileNameToBytes(s.str()); }
std::string utf8(const std::wstring& s) { return ut::platform::fileNameToBytes(s); }
OdString wide(const std::string& bytes) { return OdString(ut::platform::fileNameFromBytes(bytes)); }

void Json::separate() {
    if (m_afterKey) {
        m_afterKey = false;
        return;
    }
    if (!m_first.empty()) {
        if (!m_first.back())
            std::fputc(',', m_out);
        m_first.back() = false;
    }
}

Json& Json::beginObject() {
    separate();
    std::fputc('{', m_out);
    m_first.push_back(true);
    return *this;
}

Json& Json::endObject() {
    std::fputc('}', m_out);
    m_first.pop_back();
    return *this;
}

Json& Json::beginArray() {
    separate();
    std::fputc('[', m_out);
    m_first.push_back(true);
    return *this;
}

Json& Json::endArray() {
    std::fputc(']', m_out);
    m_first.pop_back();
    return *this;
}

Json& Json::key(const std::string& k) {
    separate();
    std::fprintf(m_out, "\"%s\":", escape(k).c_str());
    m_afterKey = true;
    return *this;
}

Json& Json::value(const std::string& v) {
    separate();
    std::fprintf(m_out, "\"%s\"", escape(v).c_str());
    return *this;
}

Json& Json::value(const OdString& v) {
    separate();
    std::fprintf(m_out, "\"%s\"", escape(std::wstring_view(v.str())).c_str());
    return *this;
}

Json& Json::value(long long v) {
    separate();
    std::fprintf(m_out, "%lld", v);
    return *this;
}

Json& Json::value(double v) {
    separate();
    if (std::isfinite(v))
        std::fprintf(m_out, "%.17g", v);
    else
        std::fputs("null", m_out);
    return *this;
}

Json& Json::value(double v, int significantDigits) {
    separate();
    if (std::isfinite(v))
        std::fprintf(m_out, "%.*g", significantDigits, v);
    else
        std::fputs("null", m_out);
    return *this;
}

Json& Json::value(bool v) {
    separate();
    std::fputs(v ? "true" : "false", m_out);
    return *this;
}

Json& Json::null() {
    separate();
    std::fputs("null", m_out);
    return *this;
}

void Json::finish() { std::fputc('\n', m_out); }

std::string Json::escape(const std::string& s) {
    const std::wstring text = ut::platform::fileNameFromBytes(s);
    return escape(std::wstring_view(text));
}

std::string Json::escape(std::wstring_view s) {
    std::string out;
    out.reserve(s.size() + 2);
    char buf[8];
    for (wchar_t w : s) {
        const char32_t c = char32_t(w);
        switch (c) {
        case U'"': out += "\\\""; continue;
        case U'\\': out += "\\\\"; continue;
        case U'\n': out += "\\n"; continue;
        case U'\r': out += "\\r"; continue;
        case U'\t': out += "\\t"; continue;
        default: break;
        }
        if (c < 0x20 || (c >= 0xD800 && c <= 0xDFFF)) {
            // Control characters must be escaped; a lone surrogate has no UTF-8
            // form at all, and the escape keeps it (U+DCxx: a byte of a name).
            std::snprintf(buf, sizeof buf, "\\u%04x", unsigned(c));
            out += buf;
        } else if (c > 0x10FFFF) {
            out += "\\ufffd";
        } else {
            ut::platform::appendUtf8(out, c);
        }
    }
    return out;
}

} // namespace cli
