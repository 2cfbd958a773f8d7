// An application that uses only headers free of the toolkit. It is built with the
// plain package alone (drutils::drutils, or pkg-config's drutils), which must not
// need, nor hand it, the toolkit's include path.
#if __has_include(<wx/string.h>)
#error "the plain drutils package put the toolkit's headers on the include path"
#endif

#include <cstdio>

#include <ut_filename.h>
#include <ut_strings.h>

int main() {
    OdArray<OdString> parts;
    ut::split(parts, L"a|b", OdString(L"|"));
    ut::FileName fn(L"/plans/site.dwg");
    const bool ok = parts.size() == 2 && ut::isValidName(L"Layer 1") && fn.hasExt(L"DWG");
    std::printf("plain consumer %s %s\n", ok ? "ok" : "wrong", DRUTILS_PACKAGE_VERSION);
    return ok ? 0 : 1;
}
