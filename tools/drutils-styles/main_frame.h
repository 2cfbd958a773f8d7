// The editor's window: one tab per open table, the menus, the recent files, and
// files dropped from a file manager. Opening, saving, converting and closing
// are methods taking the path, so that the tests (and the menus, after asking
// for a path) drive the same code.
#pragma once

#include <functional>
#include <memory>

#include <wx/filehistory.h>
#include <wx/frame.h>

class wxCommandProcessor;
class wxConfigBase;
class wxStaticText;
class wxNotebook;
class wxBookCtrlEvent;

namespace styles {

class TablePage;

class MainFrame : public wxFrame {
public:
    // settings, when given, keeps the recent files (and is not owned).
    explicit MainFrame(wxConfigBase* settings);
    ~MainFrame() override;

    // Opens each file, or shows the tab that has it already; the files that
    // cannot be read are named in one message, with the reasons.
    void openFiles(const wxArrayString& paths);
    // The same without the message: the files that cannot be read, each with
    // its reason on a line; empty when all opened.
    wxString openFilesQuietly(const wxArrayString& paths);
    // Opens one file; null, with the reason, when it cannot be read.
    TablePage* openFile(const wxString& path, wxString* why);
    TablePage* newTable(bool colourDependent);

    TablePage* currentPage() const;
    TablePage* page(size_t i) const;
    size_t pageCount() const;
    void selectPage(TablePage* page);

    // Save and Save As, with the reason for a refusal in a message box. saveAs
    // gives the path the table's extension when it has none.
    bool save(TablePage* page);
    bool saveAs(TablePage* page, const wxString& path);
    // Writes the named table made from page's colour-dependent one to path and
    // opens it in a tab of its own.
    TablePage* convertTo(TablePage* page, const wxString& path);
    // Closes a tab; asks first when its table has unsaved changes. False when
    // the user kept it (or saving it failed).
    bool closePage(TablePage* page);

    wxFileHistory& recentFiles() { return m_recent; }
    // Called once when the first table's grid has been drawn (the start-up report).
    void setShownListener(std::function<void()> listener) { m_shown = std::move(listener); }

private:
    void buildMenus();
    void addPage(TablePage* page);
    void updateState();
    bool askSavePath(TablePage* page, const wxString& title, const wxString& extension, wxString& path);
    void remember(const wxString& path);
    void onClose(wxCloseEvent& event);
    void onPageChanged(wxBookCtrlEvent& event);
    void onRecent(wxCommandEvent& event);

    wxConfigBase* m_settings;
    wxNotebook* m_book;
    wxStaticText* m_hint;
    wxMenu* m_editMenu = nullptr;
    wxFileHistory m_recent;
    std::function<void()> m_shown;
    wxCommandProcessor* m_menuHistory = nullptr;
};

} // namespace styles
