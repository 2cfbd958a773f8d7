#include <cstdio>

#include <drutils.h>

int main() {
    OdArray<OdString> parts;
    ut::split(parts, L"a|b", OdString(L"|"));
    ut::FileName fn(L"/plans/site.dwg");
    const bool ok = parts.size() == 2 && ut::isValidName(L"Layer 1") && fn.hasExt(L"DWG");
    std::puts(ok ? "consumer ok" : "consumer wrong");
    return ok ? 0 : 1;
}
