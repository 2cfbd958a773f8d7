#include "ut_messages.h"

#include <array>
#include <atomic>
#include <string_view>

#include "dwg_message_texts.inc"
#include "ut_messages_internal.h"

static_assert(kDwgMessageCount == 849, "the SDK numbers 849 messages (0..848); data/sdk_messages.tsv changed shape");

namespace {

// Each code's text twice: as shown without arguments (its translation, whatever
// "%" that holds) and as filled with arguments (the English text when the
// translation reads other arguments; reported on the first such use).
struct Table {
    std::array<const wchar_t*, kDwgMessageCount> text;
    std::array<const wchar_t*, kDwgMessageCount> format;
    mutable std::array<std::atomic<bool>, kDwgMessageCount> warned{};
};

const Table& table() {
    // The SDK may report from several threads at once; the first of them fills the
    // table and the others wait for it (a function-local static is initialised
    // exactly once). Never destroyed: the SDK may still report during exit.
    static const Table* filled = [] {
        auto* t = new Table;
        for (unsigned code = 0; code < kDwgMessageCount; ++code) {
            const wchar_t* english = kDwgMessageEnglish[code];
            const wchar_t* text = ut::detail::translateText(english);
            t->text[code] = text;
            t->format[code] = text == english || ut::detail::sameArguments(english, text) ? text : english;
        }
        return t;
    }();
    return *filled;
}

const wchar_t* formatOf(unsigned code) {
    const Table& t = table();
    if (t.format[code] != t.text[code] && !t.warned[code].exchange(true))
        ut::detail::warnOtherArguments(kDwgMessageEnglish[code]);
    return t.format[code];
}

// 842's argument is the modeller's own error text, which the catalogue may
// translate as well. Only when the text is "...%ls..." with nothing else to fill:
// a translation that moved or numbered the placeholder is formatted as usual.
bool insertTranslatedArgument(std::wstring_view text, const std::vector<ut::msgformat::Arg>& args,
                              std::wstring& out) {
    std::size_t first = text.find(L'%');
    if (first == std::wstring_view::npos || first != text.rfind(L'%') || text.substr(first, 3) != L"%ls")
        return false;
    if (args.empty() || args[0].kind != ut::msgformat::ArgKind::WideText)
        return false;
    out.assign(text.substr(0, first));
    out += args[0].wide ? ut::detail::translateFree(args[0].wide) : std::wstring(L"(null)");
    out.append(text.substr(first + 3));
    return true;
}

} // namespace

namespace ut {

namespace detail {

unsigned dwgMessageCount() {
    return kDwgMessageCount;
}

const wchar_t* dwgMessageText(unsigned code) {
    return code < kDwgMessageCount ? table().text[code] : nullptr;
}

const wchar_t* dwgMessageFormat(unsigned code) {
    return code < kDwgMessageCount ? formatOf(code) : nullptr;
}

OdString formatDwgMessage(unsigned code, const std::vector<msgformat::Arg>* args) {
    if (code >= kDwgMessageCount) {
        // Not part of the table: translated on every call, so it follows the catalogue.
        const wchar_t* unknown = translateFixed(L"Unknown message (code: %d)");
        return OdString(msgformat::format(unknown, {msgformat::Arg::ofInt(static_cast<int>(code))}));
    }
    if (!args)
        return OdString(table().text[code]);
    const wchar_t* text = formatOf(code);
    std::wstring out;
    if (code == kDwgModelingErrorCode && insertTranslatedArgument(text, *args, out))
        return OdString(std::move(out));
    return OdString(msgformat::format(text, *args));
}

} // namespace detail

OdString formatDwgDirectMessage(unsigned int code, va_list* args) {
    if (code >= kDwgMessageCount || !args)
        return detail::formatDwgMessage(code, nullptr);
    const wchar_t* text = detail::dwgMessageFormat(code);
    if (code != detail::kDwgModelingErrorCode)
        return OdString(msgformat::formatList(text, args));
    std::vector<msgformat::ArgKind> kinds;
    msgformat::argumentKinds(text, kinds);
    std::vector<msgformat::Arg> taken = msgformat::readArguments(kinds, args);
    return detail::formatDwgMessage(code, &taken);
}

} // namespace ut
