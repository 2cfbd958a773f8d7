// Parameter files: the block tree of named values that plot style tables and
// printer configurations are made of, its parser and printer, and the compressed
// container (a 60-byte header and a zlib stream) they are stored in.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "drutils_export.h"
#include "od/OdString.h"

// ---------------------------------------------------------------- block tree

// Kind codes of the tree's items; part of an item's identity within a block.
enum EPItemKind { kPBin = 0, kPBlock = 1, kPBool = 2, kPStr = 3, kPNum = 4 };

// "number", "string"... for messages that say which kind was found or expected.
DRUTILS_API const wchar_t* itemKindName(int kind);

class CPIAParser;

// Items are objects of their own, deleted by the block that holds them. The items
// a parse builds are laid out together in memory that the parser owns, and their
// names and repeated values are shared (a table holds a few dozen distinct keys
// over thousands of items); that is invisible to callers, who read and change
// them as any other item. An item belongs to one block: add refuses an item that
// another block (or the parser, for its root) already holds.
class DRUTILS_API CPItem {
public:
    CPItem(int kind, const wchar_t* name);
    virtual ~CPItem();
    CPItem(const CPItem&) = delete;
    CPItem& operator=(const CPItem&) = delete;

    int kind() const { return m_kind; }
    const OdString& name() const { return *m_name; }

protected:
    // Lets the parser reach the constructors of items it lays out itself.
    class ParseTag {
        friend class CPIAParser;
        ParseTag() = default;
    };
    // A parsed item is in its block (or is the parser's root) from the start.
    CPItem(ParseTag, int kind, const OdString* name) : m_name(name), m_kind(kind), m_flags(kParsed | kHeld) {}

    // Kinds with a value: the name and the value in one allocation (the value is
    // valueText()); the item owns both.
    CPItem(int kind, const wchar_t* name, OdString&& value);
    const OdString* valueText() const { return m_name + 1; }
    // The value text of an item that has one: shared with the parse, or the item's own.
    void setText(const OdString*& slot, const OdString& text);
    void releaseText(const OdString* slot) const {
        if (m_flags & kOwnsValue)
            delete slot;
    }
    // A number whose text does not read back as the value it was made from.
    void markInexact() { m_flags |= kInexact; }
    bool inexact() const { return (m_flags & kInexact) != 0; }

private:
    friend class CPBlock;
    friend class CPIAParser;
    enum : uint32_t {
        kOwnsName = 1,  // m_name was allocated for this item
        kOwnsValue = 2, // so was the value text (set by the owned constructors or setValue)
        kParsed = 4,    // laid out by a parse: the parser's memory, not the heap
        kHeld = 8,      // in a block (or the parser's root)
        kPair = 16,     // m_name is an array of two: the name and the value
        kInexact = 32   // see CPNum::readsBack
    };
    // Deletes an item a block held, or ends one of a parse: the parser frees the
    // memory of its items all at once, so only what an item holds beyond it
    // needs ending (a block's children, a text set since).
    static void destroy(CPItem* item) {
        if (!(item->m_flags & kParsed))
            delete item;
        else if (item->m_kind == kPBlock || (item->m_flags & kOwnsValue))
            item->~CPItem();
    }

    const OdString* m_name;
    int32_t m_kind;
    uint32_t m_flags;
};

// Binary payload in its text form, kept exactly as read (the consumer spells it).
class DRUTILS_API CPBin : public CPItem {
public:
    CPBin(const wchar_t* name, const wchar_t* payload) : CPItem(kPBin, name, OdString(payload)), m_value(valueText()) {}
    CPBin(ParseTag t, const OdString* name, const OdString* payload) : CPItem(t, kPBin, name), m_value(payload) {}
    ~CPBin() override;
    const OdString& value() const { return *m_value; }
    void setValue(const OdString& v) { setText(m_value, v); }

private:
    const OdString* m_value;
};

class DRUTILS_API CPBool : public CPItem {
public:
    CPBool(const wchar_t* name, bool value) : CPItem(kPBool, name), m_value(value) {}
    CPBool(ParseTag t, const OdString* name, bool value) : CPItem(t, kPBool, name), m_value(value) {}
    bool value() const { return m_value; }
    void setValue(bool v) { m_value = v; }

private:
    bool m_value;
};

class DRUTILS_API CPStr : public CPItem {
public:
    CPStr(const wchar_t* name, const wchar_t* value) : CPItem(kPStr, name, OdString(value)), m_value(valueText()) {}
    CPStr(ParseTag t, const OdString* name, const OdString* value) : CPItem(t, kPStr, name), m_value(value) {}
    ~CPStr() override;
    const OdString& value() const { return *m_value; }
    void setValue(const OdString& v) { setText(m_value, v); }

private:
    const OdString* m_value;
};

// A number kept as text; converted only by readInt / readDouble.
class DRUTILS_API CPNum : public CPItem {
public:
    // Fixed-point, never exponent form; precision < 0 means 6 digits after the point.
    // A value the text cannot carry is still written as text, but marked (see
    // readsBack), and canStore refuses the tree.
    CPNum(const wchar_t* name, double value, int precision);
    CPNum(const wchar_t* name, int value);
    // Kept verbatim, unchecked (the parser's form).
    CPNum(const wchar_t* name, const wchar_t* text) : CPItem(kPNum, name, OdString(text)), m_value(valueText()) {}
    CPNum(ParseTag t, const OdString* name, const OdString* text) : CPItem(t, kPNum, name), m_value(text) {}
    ~CPNum() override;
    const OdString& value() const { return *m_value; }
    // False for a number made from a double that readDouble would not give back
    // (single precision, rounded once, from the text): one that is not finite or
    // lies beyond single precision's range (it reads back as infinite), or that
    // comes back further off than the rounding of the last decimal written and of
    // single precision. True for every other number.
    bool readsBack() const { return !inexact(); }

private:
    const OdString* m_value;
};

// An ordered list of owned children.
class DRUTILS_API CPBlock : public CPItem {
public:
    explicit CPBlock(const wchar_t* name) : CPItem(kPBlock, name) {}
    CPBlock(ParseTag t, const OdString* name) : CPItem(t, kPBlock, name) {}
    ~CPBlock() override;

    // First child of that kind whose name equals name exactly; null when none.
    CPItem* find(const wchar_t* name, int kind) const;
    CPBlock* findBlock(const wchar_t* name) const { return static_cast<CPBlock*>(find(name, kPBlock)); }
    // Takes ownership and returns true, unless a child of the same name and kind
    // exists: then returns false and the item stays with the caller. An item that
    // a block already holds is refused too, and stays where it is.
    bool add(CPItem* item);

    size_t size() const { return m_items.size(); }
    CPItem* item(size_t i) const { return m_items[i]; }
    const std::vector<CPItem*>& items() const { return m_items; }

private:
    friend class CPIAParser;
    CPItem* findHashed(const wchar_t* name, size_t length, int kind, uint32_t hash) const;
    void indexChild(size_t position, uint32_t hash);
    // Takes the children a parse collected for this block, all at once.
    void adopt(CPItem* const* items, size_t count);
    void reindex(size_t slots);

    std::vector<CPItem*> m_items;
    // Lookup table over the children once there are many (a table has 255 styles
    // and 255 colours in a block): child position + 1 per slot, 0 for a free slot.
    // Names are unique per kind within a block, so the table answers find exactly.
    std::vector<uint32_t> m_index;
};

// Typed readers. False, output untouched, when the number item is missing or its
// text does not scan ("%d"; "%f" into a float, widened: single precision on purpose).
DRUTILS_API bool readInt(const CPBlock* block, const wchar_t* name, int& out);
DRUTILS_API bool readDouble(const CPBlock* block, const wchar_t* name, double& out);

// Items of a block that its reader did not claim (keys and blocks another writer
// added), each with the known item it followed, so that a rewrite puts them back
// where they stood. Printer configurations and plot style tables keep them.
// Copying copies the items.
class DRUTILS_API CPForeignItems {
public:
    struct Entry {
        OdString anchorName;          // the known item this one followed
        int anchorKind = -1;          // its kind; -1: the item stood before every known item
        std::unique_ptr<CPItem> item; // an owned copy
    };

    CPForeignItems() = default;
    CPForeignItems(const CPForeignItems& other);
    CPForeignItems& operator=(const CPForeignItems& other);
    CPForeignItems(CPForeignItems&&) noexcept = default;
    CPForeignItems& operator=(CPForeignItems&&) noexcept = default;
    ~CPForeignItems();

    bool empty() const { return m_entries.empty(); }
    size_t size() const { return m_entries.size(); }
    const std::vector<Entry>& entries() const { return m_entries; }
    void clear() { m_entries.clear(); }
    // Keeps a copy of item (blocks are copied whole).
    void append(const CPItem& item, const OdString& anchorName, int anchorKind);
    // Keeps item itself, which must be held by no block.
    void adopt(std::unique_ptr<CPItem> item, const OdString& anchorName, int anchorKind);

    // Keeps a copy of every item of block that known() does not claim, anchored to
    // the claimed item before it.
    template <typename Known> void collect(const CPBlock& block, Known known) {
        OdString anchorName;
        int anchorKind = -1;
        for (const CPItem* item : block.items()) {
            if (known(*item)) {
                anchorName = item->name();
                anchorKind = item->kind();
            } else {
                append(*item, anchorName, anchorKind);
            }
        }
    }
    // Adds the known items to block in their order (taking them over) with a copy
    // of each kept item after the known item it followed; those that followed an
    // item no longer written go at the end. An item that clashes with one already
    // in block (same name and kind) is dropped: the known value wins.
    void weave(CPBlock& block, const std::vector<CPItem*>& known) const;

    // A deep copy of any item of the block tree.
    static CPItem* clone(const CPItem& item);

private:
    std::vector<Entry> m_entries;
};

// ---------------------------------------------------------------- container

// zlib file-to-file engine with progress, status and abort hooks. Paths may use
// backslashes as separators.
// Result codes: 0 success, -1 short write, -2 file could not be named, opened,
// read, written or positioned, -7 user abort, other values zlib's.
class DRUTILS_API ZlibEngine {
public:
    enum EResult {
        kOk = 0,
        kShortWrite = -1,
        kFileError = -2,
        kUserAbort = -7,
        // The output would pass the run's size limit (see CPIAFileIn::setMaxTextSize).
        kTooLarge = -8,
        // The destination exists and the writer was told to keep it
        // (CPIAFileOut::close with replaceExisting false).
        kFileExists = -9,
        // A writer refused a tree that would not read back as it is
        // (CPIAFileOut::canStore); nothing was written.
        kUnstorable = -10
    };

    // A few words for a result code, for people ("compressed data is corrupt").
    static const wchar_t* resultText(int result);
    // Why the last run (the last open, write or close of the reader and writer
    // below) failed, in words that do not repeat the file's name: the system's
    // reason for a file that cannot be opened ("no such file", "is a directory"),
    // "not a parameter file" for a file that fails to read and does not begin as
    // one, the disk's reason for a destination that cannot be written. Empty after
    // success.
    OdString errorText() const;

    ZlibEngine();
    virtual ~ZlibEngine();
    ZlibEngine(const ZlibEngine&) = delete;
    ZlibEngine& operator=(const ZlibEngine&) = delete;

    int compress(const wchar_t* source, const wchar_t* destination, int level);
    int decompress(const wchar_t* source, const wchar_t* destination);
    // Sets the abort flag whatever the argument; cleared at the start of each run.
    void setAbortFlag(bool);
    int percent() const;
    // The progress figure for total input bytes of which consumed were used: 100
    // for an empty input, whole percents otherwise (consumed / (total / 100) above
    // ten million bytes).
    static int percentOf(uint32_t total, uint64_t consumed);

    static int compressMemory(uint8_t* dest, unsigned long* destLen, const uint8_t* source, unsigned long sourceLen,
                              int level);
    static int decompressMemory(uint8_t* dest, unsigned long* destLen, const uint8_t* source,
                                unsigned long sourceLen);
    static unsigned long compressedSize(unsigned long sourceLen);

protected:
    virtual int doInflateInit();
    virtual int doDeflateInit(int level);
    virtual void progress(int percent);
    virtual void status(const wchar_t* text);

    int load_input();
    int flush_output();
    // Records why the run or the writer failed (see errorText).
    void setErrorText(const OdString& text);
    // Bytes one run may write at most; a run that would write more ends with kTooLarge.
    void setOutputLimit(uint64_t bytes);
    // compress and decompress with the output kept in memory instead of a
    // destination file; otherwise the same run, hooks and result codes.
    int compressToMemory(const wchar_t* source, std::string& stream, int level);
    int decompressToMemory(const wchar_t* source, std::string& text);

public:
    struct Impl;

protected:
    Impl* m_impl;

private:
    int run(const wchar_t* source, const wchar_t* destination, bool deflating, int level,
            std::string* memory = nullptr);
    void endStream();
    bool closeFiles();
    uint32_t storedCheck() const;
};

// Reads a container as text lines.
class DRUTILS_API CPIAFileIn : public ZlibEngine {
public:
    // A limit far above any real parameter file (they hold well under a megabyte),
    // low enough that the text and the tree parsed from it (see CPIAParser's
    // bounds) fit a couple of hundred megabytes together.
    static constexpr uint64_t kDefaultMaxTextSize = 32ull << 20;

    CPIAFileIn();
    ~CPIAFileIn() override;
    // 0, -2, or the result of decompress (kTooLarge when the text passes the limit;
    // a file shorter than its 60-byte header gives zlib's Z_BUF_ERROR). The header
    // is skipped unchecked: not its text, checksum or lengths. When no zlib stream
    // starts after 60 bytes but one starts after 72 (the header's numbers written
    // 8 bytes wide, as some 64-bit writers do), the stream is read from there. The
    // text is held in memory until close or the next open; no file is left behind.
    int open(const wchar_t* path);
    // Next line without its line feed (at most 511 bytes of the file each), owned
    // by the reader until the next call; null at the end.
    const wchar_t* readLine();
    // Whether the line readLine returned last ended with a line feed; false for
    // the first pieces of a physical line longer than 511 bytes.
    bool lineEnded() const;
    void close();
    // Whether the whole text is well-formed UTF-8 (else it is read in the ANSI code page).
    bool isUtf8() const;
    // Bound on the inflated text for the next open.
    void setMaxTextSize(uint64_t bytes);

protected:
    int doInflateInit() override;

private:
    friend class CPIAParser;      // takes the lines as bytes when it can
    friend class CPlotStyleTable; // reads a table straight from them when it can
    struct InImpl;
    InImpl* m_in;
};

// Collects text lines and writes a container.
class DRUTILS_API CPIAFileOut : public ZlibEngine {
public:
    enum EFileType { kColorTable = 0, kNamedTable = 1, kPrinterConfig = 2 };

    CPIAFileOut();
    ~CPIAFileOut() override;
    // Starts a new temporary text file ("pia" in the application temporary
    // folder); 0, or -2 when none can be made.
    int open();
    // Writes text in the ANSI code page (characters it lacks become "?"; see
    // canStore), then a line feed when asked. Returns the state: 0, or -2 from the
    // first failure on, after which every write is skipped.
    int writeLine(const wchar_t* text, bool newline = true);
    // Prints a tree, the root's items at the margin and one blank per level. Lines
    // are cut to the 511 characters of the line buffer, as the format has always
    // been written; consumers ask canStore first.
    void writeBlock(const CPBlock* block);
    // Whether writeBlock would print every item of a tree so that the parser reads
    // it back as it is, in the ANSI code page in force now: no line cut or longer
    // than the reader's 511 bytes, no string with "{" or a line break, no name with
    // a blank, "=", "{" or "}", no number whose text reads as another kind or that
    // was made from a value it does not read back as (CPNum::readsBack: not finite,
    // beyond single precision), no empty binary value (which the printer drops), no
    // character the code page lacks (which writeLine would write as "?"). When
    // not, why names the first item at fault by its path ("plot_style/3/description:
    // ...") and, for a character, the code page and DRUTILS_ANSI_CODEPAGE, which
    // chooses another.
    // Writers of user files return kUnstorable instead of printing then.
    static bool canStore(const CPBlock* root, OdString* why = nullptr);
    // kColorTable (the default), kNamedTable or kPrinterConfig: the header's
    // "CTB", "STB" or "PC3"; other values write "CTB".
    void setFileType(int type);
    int fileType() const;
    // Compresses the text at level 6 and writes the container; 0 or a result code.
    // An existing file at path is replaced atomically (a new file beside it, synced
    // and renamed), so on any failure it keeps its old content. The temporary text
    // file is removed whatever happens. With replaceExisting false an existing file
    // is never replaced (kFileExists), however late it appeared.
    int close(const wchar_t* path);
    int close(const wchar_t* path, bool replaceExisting);

private:
    void writeBinary(const CPBin* bin);
    struct OutImpl;
    OutImpl* m_out;
};

// ---------------------------------------------------------------- parser

class DRUTILS_API CPIAParser {
public:
    CPIAParser();
    ~CPIAParser();
    CPIAParser(const CPIAParser&) = delete;
    CPIAParser& operator=(const CPIAParser&) = delete;

    // True when the whole text was read without a syntax failure.
    bool parse(const wchar_t* path);
    // The same over a text already in memory (the bytes a container holds).
    bool parseText(const char* text, size_t size);
    // Null when the file could not be opened; after a failure, what was read so far.
    CPBlock* root() const { return m_root; }
    // 1-based number of the line (as the reader delivers them) that failed, 0 when
    // the failure was not a line, or there was none.
    int errorLine() const { return m_errorLine; }
    // Result of opening the container in the last parse (0 when it opened).
    int openResult() const { return m_openResult; }
    // Why the last parse failed, in a few English words; empty after success. When
    // the container could not be opened, the reader's reason (ZlibEngine::errorText).
    const wchar_t* errorText() const { return m_errorText.c_str(); }

    // What one file may cost. Real files nest three levels and hold a few thousand
    // items and well under a megabyte of text; the bounds keep a hostile file from
    // taking more than a couple of hundred megabytes (its text, the tree, and a
    // copy of the tree that a model keeps of what it does not know), and fail it
    // with a message instead. Blocks nested deeper than kMaxDepth, more than
    // kMaxItems items, or more than kMaxTextLength characters of names and values
    // fail the file.
    static constexpr int kMaxDepth = 256;
    static constexpr size_t kMaxItems = 250000;
    static constexpr size_t kMaxTextLength = size_t(8) << 20;

    // Where parseLines takes its lines from (defined inside the library).
    class LineSource;
    // The memory the items of one parse are laid out in (defined inside the library).
    class Pool;

private:
    friend class CPlotStyleTable; // parses a file it has opened already
    // The text of in from its first line; opened is what in.open returned.
    bool parseOpened(CPIAFileIn& in, int opened);
    bool parseLines(LineSource& lines);
    void clear();

    CPBlock* m_root = nullptr;
    Pool* m_pool = nullptr;
    int m_errorLine = 0;
    int m_openResult = 0;
    OdString m_errorText;
};
