// The JSON source form of tables, configurations and model files: reading and
// writing JSON text (nlohmann-json), numbers as the files keep them, and a reader
// that checks a document member by member and names the member at fault by its
// path ("styles[12].screen: 140 is not 0..100").
//
// Conventions shared by the three forms:
// - A member named "presentation" is for people (the file's name, values derived
//   from others); it is written by show and ignored by build, whatever it holds.
// - Reals are stored in the files with six decimals and read in single precision,
//   so show writes the shortest decimal that reads back as the stored value, and
//   build refuses a real whose stored form would read back as another one.
// - Keys and blocks of other programs are kept as "foreign" items, each placed
//   "after" the known key it followed in the file.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "od/OdString.h"
#include "pia.h"

namespace source {

using Json = nlohmann::ordered_json;

// A fault in a document: where (a JSON path, empty for the whole document) and why.
struct Fault : std::runtime_error {
    Fault(std::string where, const std::string& why)
        : std::runtime_error((where.empty() ? std::string() : where + ": ") + why), path(std::move(where)) {}
    std::string path;
};

// ---------------------------------------------------------------- text

// A wide text as a JSON string. Code points JSON cannot carry as UTF-8 (a lone
// surrogate, which stands for a byte of a file name that is not UTF-8) are kept
// as markers that dump() writes as "\udcXX" escapes.
Json text(const OdString& s);
Json text(const std::wstring& s);
// The document as text: compact, or with one member per line (indent >= 0).
std::string dump(const Json& j, int indent = -1);
// Parses a document; a syntax error throws Fault with its line and column. The
// escapes dump() writes for lone surrogates are accepted.
Json parse(const std::string& text);
// The wide text of a JSON string (markers turned back into what they stand for).
OdString wideText(const std::string& utf8);

// ---------------------------------------------------------------- numbers

// A real as show writes it: an integer when it is one, else the shortest decimal
// that reads back as the same double.
Json real(double v);
// A real the files keep in single precision: the shortest decimal that reads
// back as the same float.
Json stored(double v);
// The value a real takes in a file (six decimals, read in single precision), as
// stored() shows it; nullopt when it has no such form (not finite, too large).
std::optional<double> roundTrip(double v);

// ---------------------------------------------------------------- reading

// A member of a document being read, with its path.
class In {
public:
    In(const Json& value, std::string path) : m_v(&value), m_path(std::move(path)) {}

    const Json& json() const { return *m_v; }
    const std::string& path() const { return m_path; }
    [[noreturn]] void fail(const std::string& why) const { throw Fault(m_path, why); }

    // A member of an object: required, or absent (nullopt); null counts as absent
    // only where nullable is set.
    In at(const char* key) const;
    std::optional<In> opt(const char* key, bool nullable = false) const;
    // Refuses a member not named in keys ("presentation" is always allowed).
    void only(std::initializer_list<const char*> keys) const;
    // The elements of an array (of exactly count elements when count >= 0).
    std::vector<In> items(long count = -1) const;

    long long integer(long long lo, long long hi) const;
    int int32(int lo = INT32_MIN, int hi = INT32_MAX) const { return int(integer(lo, hi)); }
    // A real that the files can keep as it is, within lo..hi, in single
    // precision (widened), as a reader of the file has it.
    double storedReal(double lo, double hi) const;
    bool boolean() const;
    OdString string() const;
    // A string one of names; its position.
    size_t choice(std::initializer_list<const char*> names) const;
    bool isNull() const { return m_v->is_null(); }

private:
    std::string typeName() const;
    const Json* m_v;
    std::string m_path;
};

// Short form of a value for messages: the JSON text, cut after 40 characters.
std::string shown(const Json& v);

// ---------------------------------------------------------------- foreign items

// Kind names of block-tree items as the JSON form spells them.
const char* kindName(int kind);
// The kind of a name; -1 for none.
int kindOf(const std::string& name);

// An item of the block tree (kind, name, value or items).
Json item(const CPItem& item);
// Foreign items as a JSON array, each with "after" when it followed a known item.
Json foreign(const CPForeignItems& items);
// Reads a "foreign" array into items. anchorKind(name) gives the kind of the known
// item of that name, or -1 when the node has none of that name (refused); clash
// tells whether an item of that name and kind is one the node writes itself.
template <typename AnchorKind, typename Clash>
void readForeign(const In& in, CPForeignItems& items, AnchorKind anchorKind, Clash clash);
// One item; top allows the "after" member of an item in a foreign list.
std::unique_ptr<CPItem> readItem(const In& in, bool top);

template <typename AnchorKind, typename Clash>
void readForeign(const In& in, CPForeignItems& out, AnchorKind anchorKind, Clash clash) {
    CPBlock names(L""); // refuses a second item of one name and kind, as the file would
    for (const In& e : in.items()) {
        OdString after;
        int kind = -1;
        if (auto a = e.opt("after", true)) {
            after = a->string();
            kind = anchorKind(after);
            if (kind < 0)
                a->fail(shown(a->json()) + " is not a key this block writes");
        }
        std::unique_ptr<CPItem> item = readItem(e, true);
        if (clash(item->name(), item->kind()))
            e.fail("a " + std::string(kindName(item->kind())) + " named " + shown(e.at("name").json()) +
                   " is a key this block writes itself");
        std::unique_ptr<CPItem> copy(CPForeignItems::clone(*item));
        if (!names.add(copy.get()))
            e.fail("a second " + std::string(kindName(item->kind())) + " named " + shown(e.at("name").json()));
        copy.release(); // names holds it
        out.adopt(std::move(item), after, kind);
    }
}

// ---------------------------------------------------------------- input

// Reads JSON text from a file, or from standard input for "-". Empty on success,
// else the line for cli::fail.
std::string readSource(const std::string& path, std::string& text);

} // namespace source
