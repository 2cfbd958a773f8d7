// drutils config get|set|list|delete: the application's settings by group and key,
// for administrators and scripts. The store is the current user's (or the file
// DRUTILS_REGISTRY_DB names); profile-level groups follow the current profile.
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "cli.h"
#include "commands.h"
#include "platform/regstore.h"
#include "plotcfg.h"
#include "store_cli.h"
#include "ut_config.h"

namespace {

const char kHelp[] =
    "usage: drutils config <command> [options] GROUP [KEY [VALUE]]\n"
    "commands:\n"
    "  get [--json] GROUP KEY          print an entry's value\n"
    "  set [--type TYPE] GROUP KEY VALUE\n"
    "                                  write an entry; TYPE is string (the default), integer\n"
    "                                  (32 bits: -2147483648 to 2147483647),\n"
    "                                  bool, double, binary (hex bytes: 0aff or 0a,ff), size\n"
    "                                  (W,H), point (X,Y), rect (X,Y,W,H), point2d, point3d\n"
    "  list [--json] GROUP [SUB]       the groups and entries inside a group\n"
    "  delete GROUP KEY                delete an entry\n"
    "  delete --force GROUP [SUB]      delete a group (or its sub-group) with everything in it\n"
    "GROUP is a number or a key word (case and blanks aside); KEY may hold \"/\" to reach\n"
    "into sub-groups. Profile-level groups are those of the current profile.\n"
    "groups:\n";

struct Entry {
    std::string type;
    std::string text; // as printed
    bool number = false;
};

std::string hexBytes(const wxMemoryBuffer& buf) {
    std::string out;
    const auto* p = static_cast<const unsigned char*>(buf.GetData());
    char b[4];
    for (size_t i = 0; i < buf.GetDataLen(); ++i) {
        std::snprintf(b, sizeof b, i ? ",%02x" : "%02x", p[i]);
        out += b;
    }
    return out;
}

bool readEntry(ut::ECfgGroup group, const OdString& key, Entry& e) {
    switch (ut::Config::entryType(group, key)) {
    case ut::kCfgTypeBinary: {
        wxMemoryBuffer buf;
        if (!ut::Config::read(group, key, buf))
            return false;
        e.type = "binary";
        e.text = hexBytes(buf);
        return true;
    }
    case ut::kCfgTypeInteger:
    case ut::kCfgTypeBoolean:
        e.type = "integer";
        e.number = true;
        break;
    case ut::kCfgTypeFloat:
        e.type = "double";
        e.number = true;
        break;
    case ut::kCfgTypeString:
        e.type = "string";
        break;
    default:
        if (!ut::Config::hasEntry(group, key))
            return false;
        e.type = "other";
        break;
    }
    OdString text;
    if (!ut::Config::read(group, key, text))
        text = L"";
    e.text = cli::utf8(text);
    if (e.number && e.type == "double") {
        double d = 0;
        e.number = ut::Config::read(group, key, d) && std::isfinite(d);
    }
    return true;
}

void jsonValue(cli::Json& out, const Entry& e) {
    if (e.number && e.type == "integer")
        out.value(std::strtoll(e.text.c_str(), nullptr, 10));
    else if (e.number)
        out.value(std::strtod(e.text.c_str(), nullptr));
    else
        out.value(e.text);
}

// The operands, min to max of them, the first naming a group: kOk, or the exit
// status of the usage message printed.
int groupOperands(cli::Args& args, size_t min, size_t max, const std::string& usage, std::vector<std::string>& ops,
                  ut::ECfgGroup& group) {
    if (int rc = storecli::takeOperands(args, min, max, usage, ops))
        return rc;
    std::string error;
    return storecli::parseGroup(ops[0], group, error) ? cli::kOk : cli::usage(error);
}

std::string where(ut::ECfgGroup group, const std::string& key) {
    return storecli::groupName(group) + (key.empty() ? "" : "/" + key);
}

int get(cli::Args& args) {
    const bool json = cli::takeFlag(args, "--json");
    std::vector<std::string> ops;
    ut::ECfgGroup group;
    if (int rc = groupOperands(args, 2, 2, "config get needs GROUP and KEY", ops, group))
        return rc;
    storecli::Session log;
    Entry e;
    if (!readEntry(group, cli::wide(ops[1]), e))
        return log.fail(where(group, ops[1]) + ": no such entry (store " + ut::platform::RegStore::currentUserPath() +
                        ")");
    log.flushWarnings();
    if (json) {
        cli::Json out;
        out.beginObject().key("group").value(int(group)).key("path").value(ut::Config::keyPath(group, OdString()));
        out.key("key").value(ops[1]).key("type").value(e.type).key("value");
        jsonValue(out, e);
        out.endObject();
        out.finish();
    } else {
        std::printf("%s\n", e.text.c_str());
    }
    return cli::kOk;
}

bool parseLong(const std::string& s, long& v) {
    const char* end = s.data() + s.size();
    auto r = std::from_chars(s.data(), end, v);
    return r.ec == std::errc() && r.ptr == end;
}

bool parseDouble(const std::string& s, double& v) {
    const char* end = s.data() + s.size();
    auto r = std::from_chars(s.data(), end, v);
    return !s.empty() && r.ec == std::errc() && r.ptr == end;
}

bool parseNumbers(const std::string& s, size_t count, std::vector<double>& out, bool integers) {
    out.clear();
    size_t start = 0;
    while (start <= s.size()) {
        size_t comma = s.find(',', start);
        if (comma == std::string::npos)
            comma = s.size();
        std::string piece = s.substr(start, comma - start);
        while (!piece.empty() && piece.front() == ' ')
            piece.erase(piece.begin());
        double d = 0;
        long l = 0;
        // Sizes, points and rectangles are read back as ints.
        if (integers ? !parseLong(piece, l) || l < INT32_MIN || l > INT32_MAX : !parseDouble(piece, d))
            return false;
        out.push_back(integers ? double(l) : d);
        start = comma + 1;
    }
    return out.size() == count;
}

// "0aff" or "0a,ff" (blanks allowed between bytes).
bool parseHex(const std::string& s, wxMemoryBuffer& buf) {
    std::string digits;
    for (char c : s)
        if (c != ',' && c != ' ')
            digits += c;
    std::vector<uint8_t> bytes;
    if (!ut::hexToBytes(cli::wide(digits), bytes))
        return false;
    buf.AppendData(bytes.data(), bytes.size());
    return true;
}

int set(cli::Args& args) {
    std::string type = "string";
    bool missing = false;
    cli::takeOption(args, "--type", type, &missing);
    if (missing)
        return cli::usage("--type needs a value");
    std::vector<std::string> ops;
    ut::ECfgGroup group;
    if (int rc = groupOperands(args, 3, 3, "config set needs GROUP, KEY and VALUE", ops, group))
        return rc;
    const OdString key = cli::wide(ops[1]);
    const std::string& value = ops[2];
    if (key.isEmpty() || key.getAt(key.getLength() - 1) == L'/')
        return cli::usage("KEY names no entry");
    const std::string bad = "'" + value + "' is not a " + type + " value";

    // Parsed before the store is touched, so that a bad value changes nothing.
    long l = 0;
    double d = 0;
    std::vector<double> n;
    wxMemoryBuffer buf;
    bool ok = true;
    if (type == "string") {
    } else if (type == "integer") {
        // The store's integers are 32-bit registry numbers: a wider value would be
        // refused by the write, so it is refused here, before the store is opened.
        long long wide = 0;
        const char* end = value.data() + value.size();
        const auto r = std::from_chars(value.data(), end, wide);
        ok = r.ptr == end && (r.ec == std::errc() || r.ec == std::errc::result_out_of_range);
        if (ok && (r.ec != std::errc() || wide < INT32_MIN || wide > INT32_MAX))
            return cli::fail(where(group, ops[1]) + ": " + value +
                             " does not fit an integer entry (a 32-bit number, -2147483648 to 2147483647)");
        l = long(wide);
    } else if (type == "bool") {
        ok = value == "true" || value == "false" || value == "1" || value == "0" || value == "yes" || value == "no" ||
             value == "on" || value == "off";
    } else if (type == "double") {
        ok = parseDouble(value, d);
    } else if (type == "binary") {
        ok = parseHex(value, buf);
    } else if (type == "size" || type == "point") {
        ok = parseNumbers(value, 2, n, true);
    } else if (type == "rect") {
        ok = parseNumbers(value, 4, n, true);
    } else if (type == "point2d") {
        ok = parseNumbers(value, 2, n, false);
    } else if (type == "point3d") {
        ok = parseNumbers(value, 3, n, false);
    } else {
        return cli::usage("unknown --type '" + type + "'");
    }
    if (!ok)
        return cli::usage(bad);

    storecli::Session log;
    bool written = false;
    if (type == "string")
        written = ut::Config::writeString(group, key, cli::wide(value));
    else if (type == "integer")
        written = ut::Config::writeLong(group, key, l);
    else if (type == "bool")
        written = ut::Config::writeBool(group, key, value == "true" || value == "1" || value == "yes" || value == "on");
    else if (type == "double")
        written = ut::Config::writeDouble(group, key, d);
    else if (type == "binary")
        written = ut::Config::writeBinary(group, key, buf);
    else if (type == "size")
        written = ut::Config::writeSize(group, key, wxSize(int(n[0]), int(n[1])));
    else if (type == "point")
        written = ut::Config::writeString(group, key, OdString(cli::wide(std::to_string(long(n[0])) + "," +
                                                                         std::to_string(long(n[1])))));
    else if (type == "rect")
        written = ut::Config::writeRect(group, key, wxRect(int(n[0]), int(n[1]), int(n[2]), int(n[3])));
    else if (type == "point2d")
        written = ut::Config::writePoint(group, key, OdGePoint2d(n[0], n[1]));
    else
        written = ut::Config::writePoint(group, key, OdGePoint3d(n[0], n[1], n[2]));
    if (!written)
        return log.fail(where(group, ops[1]) + ": could not be written");
    log.flushWarnings();
    return cli::kOk;
}

int list(cli::Args& args) {
    const bool json = cli::takeFlag(args, "--json");
    std::vector<std::string> ops;
    ut::ECfgGroup group;
    if (int rc = groupOperands(args, 1, 2, "config list needs GROUP (and optionally SUB)", ops, group))
        return rc;
    const std::string sub = ops.size() > 1 ? ops[1] : std::string();
    OdString subPath = cli::wide(sub);
    if (!subPath.isEmpty() && subPath.getAt(subPath.getLength() - 1) != L'/')
        subPath += L"/";
    storecli::Session log;
    OdArray<OdString> groups, entries;
    if (!ut::Config::listGroups(group, subPath, groups) || !ut::Config::listEntries(group, subPath, entries))
        return log.fail(where(group, sub) + ": no such group (store " + ut::platform::RegStore::currentUserPath() + ")");
    log.flushWarnings();
    if (json) {
        cli::Json out;
        out.beginObject().key("group").value(int(group)).key("path").value(ut::Config::keyPath(group, subPath));
        out.key("groups").beginArray();
        for (const auto& g : groups)
            out.value(g);
        out.endArray().key("entries").beginArray();
        for (const auto& name : entries) {
            Entry e;
            readEntry(group, subPath + name, e);
            out.beginObject().key("name").value(name).key("type").value(e.type).key("value");
            jsonValue(out, e);
            out.endObject();
        }
        out.endArray().endObject();
        out.finish();
        return cli::kOk;
    }
    std::printf("%s\n", cli::utf8(ut::Config::keyPath(group, subPath)).c_str());
    for (const auto& g : groups)
        std::printf("  [%s]\n", cli::utf8(g).c_str());
    for (const auto& name : entries) {
        Entry e;
        readEntry(group, subPath + name, e);
        std::printf("  %s = %s (%s)\n", name.isEmpty() ? "@" : cli::utf8(name).c_str(), e.text.c_str(), e.type.c_str());
    }
    return cli::kOk;
}

int remove(cli::Args& args) {
    const bool force = cli::takeFlag(args, "--force");
    std::vector<std::string> ops;
    ut::ECfgGroup group;
    if (int rc = groupOperands(args, 1, 2, "config delete needs GROUP and KEY (or --force GROUP [SUB])", ops, group))
        return rc;
    storecli::Session log;
    if (force) {
        const OdString sub = ops.size() > 1 ? cli::wide(ops[1]) : OdString();
        if (!ut::Config::hasGroup(group, sub))
            return log.fail(where(group, ops.size() > 1 ? ops[1] : "") + ": no such group");
        if (!ut::Config::deleteGroup(group, sub))
            return log.fail(where(group, ops.size() > 1 ? ops[1] : "") + ": could not be deleted");
        return cli::kOk;
    }
    if (ops.size() < 2)
        return cli::fail(where(group, "") + ": deleting a whole group needs --force");
    const OdString key = cli::wide(ops[1]);
    if (!ut::Config::hasEntry(group, key))
        return log.fail(where(group, ops[1]) + ": no such entry");
    if (!ut::Config::deleteEntry(group, key))
        return log.fail(where(group, ops[1]) + ": could not be deleted");
    return cli::kOk;
}

} // namespace

int runConfig(cli::Args& args) {
    return cli::runGroup(args, "config", std::string(kHelp) + storecli::groupTable(),
                         {{"get", get}, {"set", set}, {"list", list}, {"delete", remove}});
}
