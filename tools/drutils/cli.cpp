#include "cli.h"

#include <cmath>
#include <cstring>

#include "platform/codepage.h"

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

std::string utf8(const OdString& s) { return ut::platform::wideToUtf8(s.str()); }
std::string utf8(const std::wstring& s) { return ut::platform::wideToUtf8(s); }
OdString wide(const std::string& utf8Text) { return OdString(ut::platform::utf8ToWide(utf8Text)); }

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
    std::string out;
    out.reserve(s.size() + 2);
    for (unsigned char c : s) {
        switch (c) {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '\t': out += "\\t"; break;
        default:
            if (c < 0x20) {
                char buf[8];
                std::snprintf(buf, sizeof buf, "\\u%04x", c);
                out += buf;
            } else {
                out += char(c);
            }
        }
    }
    return out;
}

} // namespace cli
