// Helpers shared by the node classes of printer configurations and model files:
// typed reading of a block that remembers which items it used (the rest are kept
// as foreign items) and writing that puts the foreign items back after the item
// they followed. Both describe their first failure with the block path and key,
// so the message a user sees says where the file is wrong.
#pragma once

#include <functional>
#include <optional>
#include <set>
#include <string>

#include "plotcfg.h"

namespace plotcfg {

// Longest string value (or custom value name) written: the writer composes each
// line in 512 characters, less indentation, key and punctuation; a longer line
// would be cut and read back as two broken lines.
constexpr int kMaxTextLength = 400;

struct SchemaError {
    std::wstring message; // empty until the first failure
};

// "a/b" from a parent path and a block name.
std::wstring joinPath(const std::wstring& parent, const OdString& name);

class BlockReader {
public:
    BlockReader(const CPBlock* block, std::wstring path, SchemaError& err)
        : m_block(block), m_path(std::move(path)), m_err(err) {}

    const std::wstring& path() const { return m_path; }
    const CPBlock* block() const { return m_block; }

    // Each reader leaves out untouched when the key is absent and not required;
    // false (error set) for a required key that is absent, a key of another kind,
    // or a number that does not read.
    bool str(const wchar_t* key, OdString& out, bool required = false);
    bool integer(const wchar_t* key, int& out, bool required = false);
    bool uinteger(const wchar_t* key, uint32_t& out);
    bool real(const wchar_t* key, double& out, bool required = false);
    bool boolean(const wchar_t* key, bool& out);
    bool optBool(const wchar_t* key, std::optional<bool>& out);
    // A nested block; null when absent (an error only when required).
    const CPBlock* sub(const wchar_t* key, bool required);

    void use(const CPItem* item) { m_used.insert(item); }
    // Copies every item not used, anchored to the used item before it.
    void keepForeign(CPForeignItems& out) const;

    bool fail(const wchar_t* what, const wchar_t* key, const std::wstring& reason);
    SchemaError& error() { return m_err; }

private:
    const CPItem* findTyped(const wchar_t* key, int kind, const wchar_t* expected, bool required, bool& ok);

    const CPBlock* m_block;
    std::wstring m_path;
    SchemaError& m_err;
    std::set<const CPItem*> m_used;
};

class BlockWriter {
public:
    // foreign may be null. Items anchored before every known item go in at once.
    BlockWriter(CPBlock* block, const CPForeignItems* foreign, std::wstring path, SchemaError& err);

    bool str(const wchar_t* key, const OdString& value);
    bool integer(const wchar_t* key, int value);
    bool real(const wchar_t* key, double value);
    bool boolean(const wchar_t* key, bool value);
    bool bin(const wchar_t* key, const OdString& hex);
    // A nested block named key, filled by fill(block, path); discarded when fill fails.
    bool sub(const wchar_t* key, const std::function<bool(CPBlock*, const std::wstring&)>& fill);
    // Foreign items whose anchor was never written go at the end.
    void finish();

    bool fail(const wchar_t* key, const std::wstring& reason);
    const std::wstring& path() const { return m_path; }

private:
    bool addKnown(CPItem* item);
    void flushAfter(const OdString& name, int kind);

    CPBlock* m_block;
    const CPForeignItems* m_foreign;
    std::vector<bool> m_written;
    std::wstring m_path;
    SchemaError& m_err;
};

// Why a text cannot be written as a string value; empty when it can.
std::wstring unstorableText(const OdString& text);

// Node readers and writers with a path for messages; the public init/write call them.
bool readNode(CMetaNode& node, const CPBlock* block, const std::wstring& path, SchemaError& err);
bool writeNode(const CMetaNode& node, CPBlock* block, const std::wstring& path, SchemaError& err);
bool readNode(CMediaNode& node, const CPBlock* block, const std::wstring& path, SchemaError& err);
bool writeNode(const CMediaNode& node, CPBlock* block, const std::wstring& path, SchemaError& err);
bool readNode(CIoNode& node, const CPBlock* block, const std::wstring& path, SchemaError& err);
bool writeNode(const CIoNode& node, CPBlock* block, const std::wstring& path, SchemaError& err);
bool readNode(CResColorMemNode& node, const CPBlock* block, const std::wstring& path, SchemaError& err);
bool writeNode(const CResColorMemNode& node, CPBlock* block, const std::wstring& path, SchemaError& err);
bool readNode(CCustomNode& node, const CPBlock* block, const std::wstring& path, SchemaError& err);
bool writeNode(const CCustomNode& node, CPBlock* block, const std::wstring& path, SchemaError& err);
bool readNode(UdmNode& node, const CPBlock* block, const std::wstring& path, SchemaError& err);
bool writeNode(const UdmNode& node, CPBlock* block, const std::wstring& path, SchemaError& err);

// Logs why parser could not parse file (a what such as "model file").
void logParseFailure(const CPIAParser& parser, const wchar_t* what, const OdString& file, const char* source,
                     const char* function);

// Writes a finished root tree as a printer-configuration container at path,
// replacing an existing file only when the new one is complete, and not at all
// when the tree would not read back as it is (kUnstorable). why gets the reason
// of a failure in words.
int writeContainer(const CPBlock& root, const wchar_t* path, OdString& why);

} // namespace plotcfg
