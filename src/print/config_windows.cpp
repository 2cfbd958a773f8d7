// The window places of ut::Config: the members that move and size windows and
// ask the displays, and so need the toolkit's GUI library. They live in the
// printing library, the one that links it; the settings they keep are the base
// library's (config_detail::saveRect and its kin).
#include "ut_config.h"

#include <wx/display.h>
#include <wx/window.h>

#include "config/ut_config_internal.h"

namespace ut {

// ---- window places ----

bool Config::checkWindowPosition(wxRect& rect) {
    if (rect.x == wxDefaultPosition.x && rect.y == wxDefaultPosition.y)
        return false;
    if (wxDisplay::GetCount() == 0)
        return true;
    int index = wxDisplay::GetFromPoint(rect.GetTopLeft());
    if (index == wxNOT_FOUND)
        index = wxDisplay::GetFromPoint(wxPoint(rect.x + rect.width / 2, rect.y));
    if (index == wxNOT_FOUND)
        index = 0;
    config_detail::fitIntoArea(rect, wxDisplay(unsigned(index)).GetClientArea());
    return true;
}

namespace {

// Window names are the keys.
OdString od(const wxString& s) { return OdString(s.wc_str()); }

using RectCheck = bool (*)(wxRect&);

bool placeWindow(wxWindow* window, ECfgGroup group, const wxSize& defaultSize, RectCheck check) {
    if (!window)
        return false;
    wxRect rect;
    if (config_detail::loadRect(group, od(window->GetName()), rect) && check(rect)) {
        window->SetSize(rect);
        return true;
    }
    if (defaultSize != wxDefaultSize)
        window->SetSize(defaultSize);
    return false;
}

} // namespace

bool Config::loadWindowRect(wxWindow* window, const wxSize& defaultSize) {
    return placeWindow(window, kCfgWindows, defaultSize, &Config::checkWindowPosition);
}

bool Config::loadWindowRect(wxWindow* window) { return loadWindowRect(window, wxDefaultSize); }

bool Config::saveWindowRect(const wxWindow* window) {
    return window && config_detail::saveRect(kCfgWindows, od(window->GetName()), window->GetRect());
}

bool Config::loadWindowRectOutsideProfiles(wxWindow* window, const wxSize& defaultSize) {
    return placeWindow(window, kCfgLanguageWindows, defaultSize, &Config::checkWindowPosition);
}

bool Config::saveWindowRectOutsideProfiles(const wxWindow* window) {
    return window && config_detail::saveRect(kCfgLanguageWindows, od(window->GetName()), window->GetRect());
}

bool Config::loadWindowPos(wxWindow* window, const wxPoint& defaultPos) {
    if (!window)
        return false;
    wxPoint pos;
    if (config_detail::loadPos(kCfgWindows, od(window->GetName()), pos)) {
        wxRect rect(pos, window->GetSize());
        if (checkWindowPosition(rect)) {
            window->Move(rect.GetPosition());
            return true;
        }
    }
    if (defaultPos != wxDefaultPosition)
        window->Move(defaultPos);
    return false;
}

bool Config::loadWindowPos(wxWindow* window) { return loadWindowPos(window, wxDefaultPosition); }

bool Config::saveWindowPos(const wxWindow* window) {
    return window && config_detail::savePos(kCfgWindows, od(window->GetName()), window->GetPosition());
}

} // namespace ut
