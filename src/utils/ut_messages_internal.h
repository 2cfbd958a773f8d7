// Shared by the prompt catalogue and the SDK message texts; exported only for the
// tool and the tests.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "drutils_export.h"
#include "od/OdString.h"
#include "ut_msgformat.h"

namespace ut::detail {

// The text to show for one of the library's fixed English texts that is never
// formatted (a prompt without placeholders, an SDK message returned without
// arguments): its translation in the toolkit's catalogue (default domain) for the
// current language, whatever "%" it holds, or english itself when there is no
// catalogue, no translation or an empty one. Translations are copied once into a
// store that is never freed, so the pointer stays valid for the life of the
// process, also when the application replaces its catalogue, and repeated calls
// return the same pointer. english must have static storage duration; null gives "".
DRUTILS_API const wchar_t* translateText(const wchar_t* english);

// The same for a text that is a format: a translation whose placeholders read
// other arguments than the English text's gives english instead (logged once, as
// a warning: filling it would read arguments the caller never passed).
DRUTILS_API const wchar_t* translateFixed(const wchar_t* english);

// Whether translation may be formatted with the arguments meant for english.
DRUTILS_API bool sameArguments(std::wstring_view english, std::wstring_view translation);
// The warning translateFixed logs when it gives english instead of its translation.
DRUTILS_API void warnOtherArguments(const wchar_t* english);

// The translation of a text that is not one of the library's own (the modeller's
// error text inside SDK message 842), or the text itself. Not stored: such texts
// are unbounded in number.
DRUTILS_API std::wstring translateFree(std::wstring_view text);

// One accessor of ut::Messages, in the catalogue's order.
struct MessageEntry {
    const char* name;
    const wchar_t* english;
    const wchar_t* (*accessor)();
};
DRUTILS_API std::span<const MessageEntry> messageCatalogue();

// The SDK message whose one argument is itself a text to translate.
constexpr unsigned kDwgModelingErrorCode = 842;

DRUTILS_API unsigned dwgMessageCount();
// The table's text of a code (translated when the table was filled), or null when
// the code is out of range. Fills the table on first use. dwgMessageText is the
// text shown without arguments, translated whatever it holds; dwgMessageFormat the
// one that is filled with arguments, the English text when the translation reads
// other arguments (logged once per code).
DRUTILS_API const wchar_t* dwgMessageText(unsigned code);
DRUTILS_API const wchar_t* dwgMessageFormat(unsigned code);
// formatDwgDirectMessage with its arguments already taken from the list; args null
// stands for a null list.
DRUTILS_API OdString formatDwgMessage(unsigned code, const std::vector<msgformat::Arg>* args);

} // namespace ut::detail
