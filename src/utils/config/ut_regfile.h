// Registry files ("Windows Registry Editor Version 5.00", and the older REGEDIT4
// exports, whose value lines are the same): reading one as lines, the value
// lines as they are written, and the line-by-line reader shared by the
// configuration import and the registry import.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "drutils_export.h"
#include "od/OdString.h"
#include "platform/regstore.h"

namespace ut::regfile {

extern const wchar_t* const kHeader; // "Windows Registry Editor Version 5.00"

// A file larger than this is refused before it is read.
constexpr size_t kMaxFileBytes = 64u << 20;
// A value (the bytes of a hex value, the characters of a string) larger than
// this is skipped.
constexpr size_t kMaxValueSize = 1u << 20;

enum class ReadResult { Ok, NotFound, Unreadable, TooLarge, NotText };

// Reads a file as lines: UTF-8, UTF-16 or UTF-32 after a byte-order mark; else
// UTF-8 when the bytes are valid UTF-8, else the ANSI code page. Lines end at
// CR LF, LF or a lone CR. A file holding a NUL character (other than at its
// end) is not text. cause explains a failure.
DRUTILS_API ReadResult readLines(const OdString& path, std::vector<std::wstring>& lines, std::string& cause);
// The same over bytes in memory.
DRUTILS_API ReadResult decodeLines(const std::string& bytes, std::vector<std::wstring>& lines, std::string& cause);
// readLines for an import. False when the file cannot be read; when report is
// set the failure is logged for the caller (source, function): "Bad arguments"
// for an empty name, notFound (a format, given the file name) for a missing
// file, else the name and the cause.
DRUTILS_API bool readForImport(const OdString& path, std::vector<std::wstring>& lines, bool report, const char* source,
                               const char* function, const wchar_t* notFound);

// Writes lines as UTF-8, each followed by "\n", replacing path only once the
// whole file is written. existed tells whether path was there before.
enum class WriteResult { Ok, CannotCreate, CannotWrite };
DRUTILS_API WriteResult writeLines(const OdString& path, const std::vector<std::wstring>& lines);

DRUTILS_API std::wstring escape(const std::wstring& text);
DRUTILS_API std::wstring unescape(const std::wstring& text);

// Value lines: the name as "@" (empty) or in double quotes, unescaped.
DRUTILS_API std::wstring quotedName(const std::wstring& name);
DRUTILS_API void addStringLine(std::vector<std::wstring>& lines, const std::wstring& name, const std::wstring& text);
DRUTILS_API void addDwordLine(std::vector<std::wstring>& lines, const std::wstring& name, uint32_t value);
// "name"=hex:01,02,... wrapped once a line passes 76 characters: the line ends
// in "\" and the next begins with two spaces. typePrefix is "hex" or "hex(2)"...
DRUTILS_API void addBinaryLines(std::vector<std::wstring>& lines, const std::wstring& name, const std::string& bytes,
                                const wchar_t* typePrefix = L"hex");
// A 64-bit number as "name"=hex(b): with its eight bytes, low byte first, as
// registry editors write it; qwordFromBytes reads those bytes back (false
// unless there are exactly eight).
DRUTILS_API void addQwordLines(std::vector<std::wstring>& lines, const std::wstring& name, int64_t value);
DRUTILS_API bool qwordFromBytes(const std::string& bytes, int64_t& value);
// The lines of a DWORD or binary value, which every export writes alike; a
// value of any other type becomes a string line made by unknownFormat, whose
// one "%d" takes the type.
DRUTILS_API void addPlainValueLines(std::vector<std::wstring>& lines, const std::wstring& name,
                                    const platform::RegValue& value, const wchar_t* unknownFormat);

// Whether a key, and a value of it, reads back from a registry file as it
// stands: a key name holds no "/" (exports turn it into "\"), a value name no
// "=" (the reader ends the name at the first one), and no name or string text
// a line break, a NUL or a lone surrogate (a file-name byte that is not
// UTF-8, which would make the whole file read in another encoding). False
// with problem set to a message that names the key and the value.
DRUTILS_API bool carriesKey(const std::wstring& keyPath, const std::wstring& name, std::wstring& problem);
// text: the text of a value written as a string line, else null.
DRUTILS_API bool carriesValue(const std::wstring& keyPath, const std::wstring& name, const std::wstring* text,
                              std::wstring& problem);

// What the reader found; called in file order.
class Sink {
public:
    enum KeyAction {
        kNotKey, // not a key line for this sink: read it as a value line
        kKeep,   // a key line to ignore; values that follow go where they went before
        kEnter,  // a key line that now receives the values that follow
        kLeave   // a key line whose values are to be skipped
    };
    virtual ~Sink() = default;
    virtual KeyAction keyLine(const std::wstring& line) = 0;
    virtual void stringValue(const std::wstring& name, const std::wstring& text) = 0;
    virtual void dwordValue(const std::wstring& name, uint32_t value) = 0;
    virtual void binaryValue(const std::wstring& name, const std::string& bytes) = 0;
    // hex(N): values (N a hexadecimal type number); skipped unless overridden.
    virtual void typedValue(const std::wstring& name, uint32_t type, const std::string& bytes) {}
};

struct ParseReport {
    size_t skipped = 0;      // lines skipped: malformed or too large values, lines of no known kind
    size_t firstSkipped = 0; // 1-based line number of the first
    std::string firstReason;
    bool unterminated = false; // the file ended inside a string or a wrapped hex value
};

// The reader's states: no key yet, in a key, inside a wrapped hex value, inside
// a string that spans lines. A value is handed to the sink as soon as it is
// complete, so a file that breaks off keeps what came before the break.
DRUTILS_API ParseReport parse(const std::vector<std::wstring>& lines, Sink& sink);
// A warning for the lines an import skipped (none when it skipped none), with
// the first one's number and reason.
DRUTILS_API void logSkipped(const ParseReport& report, const OdString& fileName, const char* source,
                            const char* function);

} // namespace ut::regfile
