#include <cwctype>

#include "ut_strings.h"

namespace ut {

void CStringParser::init() {
    m_message.empty();
    m_attributes.clear();
}

OdString CStringParser::attribute(const OdString& name) const {
    auto it = m_attributes.find(name);
    return it == m_attributes.end() ? OdString() : it->second;
}

bool CStringParser::parse(const OdString& text) {
    init();
    const std::wstring& s = text.str();
    const size_t n = s.size();
    size_t pos = 0;
    while (pos < n) {
        while (pos < n && std::iswspace(wint_t(s[pos])))
            ++pos;
        if (pos >= n)
            break;
        const size_t nameStart = pos;
        while (pos < n && s[pos] != L'=' && !std::iswspace(wint_t(s[pos])))
            ++pos;
        // Anything but "={" right after the name means the attributes are over:
        // the name and everything after it is message text.
        if (pos + 1 >= n || s[pos] != L'=' || s[pos + 1] != L'{') {
            m_message = OdString(s.substr(nameStart));
            return true;
        }
        std::wstring name = s.substr(nameStart, pos - nameStart);
        pos += 2;
        size_t close = s.find(L'}', pos);
        if (close == std::wstring::npos) {
            m_message = OdString(name + L"={" + s.substr(pos));
            return false;
        }
        m_attributes.emplace(OdString(name), OdString(s.substr(pos, close - pos)));
        pos = close + 1;
    }
    return true;
}

} // namespace ut
