#include "walk.h"

#include <algorithm>
#include <cctype>
#include <utility>

#include "cli.h"
#include "platform/files.h"

namespace cli {

using ut::platform::EntryKind;

bool isFolder(const std::string& path) { return ut::platform::entryKind(wide(path)) == EntryKind::Directory; }

bool hasExtension(const std::string& path, std::initializer_list<const char*> extensions) {
    const size_t dot = path.rfind('.');
    if (dot == std::string::npos || path.find('/', dot) != std::string::npos)
        return false;
    std::string ext = path.substr(dot + 1);
    for (char& c : ext)
        c = char(std::tolower(static_cast<unsigned char>(c)));
    for (const char* e : extensions)
        if (ext == e)
            return true;
    return false;
}

namespace {

std::string walk(const std::string& folder, const std::string& prefix, std::initializer_list<const char*> extensions,
                 std::vector<std::string>& out) {
    std::vector<std::pair<OdString, EntryKind>> entries;
    if (!ut::platform::listDirectory(wide(folder), entries, false))
        return folder + ": cannot be read";
    std::vector<std::pair<std::string, EntryKind>> named;
    for (const auto& [name, kind] : entries)
        named.emplace_back(utf8(name), kind);
    std::sort(named.begin(), named.end());
    for (const auto& [name, kind] : named) {
        const std::string path = folder + "/" + name;
        EntryKind k = kind;
        // A link counts as what it names, unless that is a folder.
        if (k == EntryKind::Other) {
            k = ut::platform::entryKind(wide(path));
            if (k == EntryKind::Directory)
                continue;
        }
        if (k == EntryKind::Directory) {
            if (std::string why = walk(path, prefix + name + "/", extensions, out); !why.empty())
                return why;
        } else if (k == EntryKind::Regular && hasExtension(name, extensions)) {
            out.push_back(prefix + name);
        }
    }
    return std::string();
}

} // namespace

std::string filesBelow(const std::string& folder, std::initializer_list<const char*> extensions,
                       std::vector<std::string>& relative) {
    relative.clear();
    std::string root = folder;
    while (root.size() > 1 && root.back() == '/')
        root.pop_back();
    return walk(root, std::string(), extensions, relative);
}

std::string expandOperands(const std::vector<std::string>& operands, bool recursive,
                           std::initializer_list<const char*> extensions, std::vector<std::string>& files) {
    files.clear();
    for (const std::string& op : operands) {
        if (!isFolder(op)) {
            files.push_back(op);
            continue;
        }
        if (!recursive)
            return op + ": is a folder (-r walks it)";
        std::vector<std::string> below;
        if (std::string why = filesBelow(op, extensions, below); !why.empty())
            return why;
        std::string root = op;
        while (root.size() > 1 && root.back() == '/')
            root.pop_back();
        for (const std::string& f : below)
            files.push_back(root + "/" + f);
    }
    return std::string();
}

} // namespace cli
