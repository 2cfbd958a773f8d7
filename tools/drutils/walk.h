// Folders given on the command line: the files of some kinds below them.
#pragma once

#include <initializer_list>
#include <string>
#include <vector>

namespace cli {

// Whether a path names a folder (links followed).
bool isFolder(const std::string& path);

// The files of the operands: a file as given; a folder, with recursive, the files
// below it (sub-folders too) whose extension is one of extensions (without the
// dot, any case), in the order of their paths; links to folders are not followed,
// so a loop cannot make the walk endless. A folder without recursive is an error.
// Empty on success, else the line for cli::fail or cli::usage.
std::string expandOperands(const std::vector<std::string>& operands, bool recursive,
                           std::initializer_list<const char*> extensions, std::vector<std::string>& files);

// The files below folder as paths relative to it, as expandOperands walks them.
std::string filesBelow(const std::string& folder, std::initializer_list<const char*> extensions,
                       std::vector<std::string>& relative);

bool hasExtension(const std::string& path, std::initializer_list<const char*> extensions);

} // namespace cli
