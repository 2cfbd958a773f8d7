// The registry-file reader over arbitrary bytes: profile files come from other
// machines, other programs and users' editors.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "config/ut_regfile.h"

namespace {

// Checks what the reader hands over instead of storing it.
class CheckingSink : public ut::regfile::Sink {
public:
    KeyAction keyLine(const std::wstring& line) override {
        if (line.empty() || line[0] != L'[')
            return kNotKey;
        return line.size() % 2 ? kEnter : kLeave;
    }
    void stringValue(const std::wstring&, const std::wstring& text) override {
        if (text.size() > ut::regfile::kMaxValueSize)
            std::abort();
    }
    void dwordValue(const std::wstring&, uint32_t) override {}
    void binaryValue(const std::wstring&, const std::string& bytes) override {
        if (bytes.size() > ut::regfile::kMaxValueSize)
            std::abort();
    }
    void typedValue(const std::wstring&, uint32_t, const std::string& bytes) override { binaryValue(L"", bytes); }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    std::vector<std::wstring> lines;
    std::string cause;
    if (ut::regfile::decodeLines(bytes, lines, cause) != ut::regfile::ReadResult::Ok)
        return 0;
    for (const auto& line : lines)
        if (line.find_first_of(L"\r\n") != std::wstring::npos)
            std::abort();
    CheckingSink sink;
    const ut::regfile::ParseReport report = ut::regfile::parse(lines, sink);
    if (report.skipped > 0 && (report.firstSkipped == 0 || report.firstSkipped > lines.size()))
        std::abort();
    // Escaping is undone exactly for any text without carriage returns.
    for (const auto& line : lines)
        if (line.find(L'\r') == std::wstring::npos &&
            ut::regfile::unescape(ut::regfile::escape(line)) != line)
            std::abort();
    return 0;
}
