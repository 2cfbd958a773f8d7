// Plot style tables as JSON source: the whole table as show --json writes it, the
// table a JSON document describes (every fault named by its path), and the
// differences between two tables by meaning.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "json_source.h"
#include "plotstyletable.h"

namespace source {
struct StyleChange;
}

class PlotStyleSource {
    static void readStyleMember(CPlotStyle& s, const std::string& member, const source::In& v);

public:
    // The differences between two tables by meaning: the table's keys, then the
    // styles, matched by colour index where both tables are colour-dependent and
    // by name otherwise (a removed and an added style that plot alike, each with
    // no other such partner, are a rename).
    static std::vector<source::StyleChange> diff(const CPlotStyleTable& a, const CPlotStyleTable& b);
    // Every value the table keeps; file, when given, goes to "presentation".
    static source::Json toJson(const CPlotStyleTable& t, const std::string* file);
    // Style i as toJson writes it among the table's styles.
    static source::Json styleToJson(const CPlotStyleTable& t, int i);
    // The document's table; throws source::Fault. colourDependent, when set,
    // is the kind the output file's name asks for.
    static std::unique_ptr<CPlotStyleTable> fromJson(const source::Json& j, const bool* colourDependent);
    // Sets one plotting value of style i (a member of kStyleValueMembers) as build
    // reads it, with the same ranges and refusals, and a text as the file can
    // print it; throws source::Fault naming "styles[i].member", the style unchanged.
    static void setStyleMember(CPlotStyleTable& t, int i, const std::string& member, const source::Json& value);
    static const char* const kStyleValueMembers[14];
    // Writes the table as path whole or not at all. Empty on success; otherwise
    // why, naming the member of the JSON form at fault where there is one.
    static std::string write(const CPlotStyleTable& t, const std::string& path, bool replaceExisting);
};

namespace source {

// The colour a style plots with: "object" or "#RRGGBB".
std::string plottedColour(const CPlotStyle& s);

// The JSON text with one line per member, per style and per foreign item, so
// that a changed pen is one changed line (git's textconv).
std::string styleLines(const Json& j);

// One difference between two tables, in words and as data.
struct StyleChange {
    std::string style;    // the style's name (empty for the table's own keys)
    int colourIndex = 0;  // the colour it was matched by (colour-dependent tables)
    std::string field;    // empty for a style added, removed or renamed
    std::string change;   // "added", "removed", "renamed" or "changed"
    std::string before, after;
    std::string line() const;
    Json json() const;
};

} // namespace source
