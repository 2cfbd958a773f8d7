#include "main_frame.h"

#include <wx/artprov.h>
#include <wx/bmpbndl.h>
#include <wx/config.h>
#include <wx/dnd.h>
#include <wx/filedlg.h>
#include <wx/filefn.h>
#include <wx/filename.h>
#include <wx/grid.h>
#include <wx/iconbndl.h>
#include <wx/menu.h>
#include <wx/msgdlg.h>
#include <wx/notebook.h>
#include <wx/panel.h>
#include <wx/sizer.h>
#include <wx/stattext.h>

#include "drutils_styles_icon.h"
#include "table_page.h"

namespace styles {

namespace {

enum {
    ID_NEW_CTB = wxID_HIGHEST + 1,
    ID_NEW_STB,
    ID_CONVERT,
    ID_SET_FIELD,
    ID_COLOUR,
    ID_ADD_STYLE,
    ID_RENAME_STYLE,
    ID_DELETE_STYLES,
    ID_PROPERTIES
};

const char kRecentGroup[] = "/RecentFiles";

wxString wildcardFor(const wxString& extension) {
    return extension == "ctb" ? _("Colour-dependent plot style tables (*.ctb)|*.ctb;*.CTB")
                              : _("Named plot style tables (*.stb)|*.stb;*.STB");
}

// Files dropped from a file manager open once the drop has finished, so that a
// message about a file that cannot be read does not hold the drag open.
class FileDrop : public wxFileDropTarget {
public:
    explicit FileDrop(MainFrame* frame) : m_frame(frame) {}
    bool OnDropFiles(wxCoord, wxCoord, const wxArrayString& files) override {
        MainFrame* frame = m_frame;
        frame->CallAfter([frame, files] { frame->openFiles(files); });
        return true;
    }

private:
    MainFrame* m_frame;
};

} // namespace

MainFrame::MainFrame(wxConfigBase* settings)
    : wxFrame(nullptr, wxID_ANY, _("Plot Style Editor"), wxDefaultPosition, wxSize(1180, 720)),
      m_settings(settings), m_recent(9, wxID_FILE1) {
    wxIconBundle icons;
    const wxBitmapBundle icon = wxBitmapBundle::FromSVG(kDrutilsStylesIconSvg, wxSize(48, 48));
    for (int size : {16, 32, 48, 128})
        icons.AddIcon(icon.GetIcon(wxSize(size, size)));
    SetIcons(icons);

    auto* panel = new wxPanel(this);
    auto* sizer = new wxBoxSizer(wxVERTICAL);
    m_hint = new wxStaticText(panel, wxID_ANY,
                              _("Open a plot style table (.ctb or .stb) with File > Open, or drop one here."),
                              wxDefaultPosition, wxDefaultSize, wxALIGN_CENTRE_HORIZONTAL);
    m_book = new wxNotebook(panel, wxID_ANY);
    sizer->AddStretchSpacer();
    sizer->Add(m_hint, 0, wxEXPAND | wxALL, 20);
    sizer->AddStretchSpacer();
    sizer->Add(m_book, 1, wxEXPAND);
    panel->SetSizer(sizer);
    SetDropTarget(new FileDrop(this));
    m_book->SetDropTarget(new FileDrop(this));
    m_hint->SetDropTarget(new FileDrop(this));

    buildMenus();
    CreateStatusBar();
    if (m_settings) {
        m_settings->SetPath(kRecentGroup);
        m_recent.Load(*m_settings);
        m_settings->SetPath("/");
    }
    m_book->Bind(wxEVT_NOTEBOOK_PAGE_CHANGED, &MainFrame::onPageChanged, this);
    Bind(wxEVT_CLOSE_WINDOW, &MainFrame::onClose, this);
    updateState();
}

MainFrame::~MainFrame() {
    if (m_menuHistory)
        m_menuHistory->SetEditMenu(nullptr);
}

void MainFrame::buildMenus() {
    auto* file = new wxMenu;
    file->Append(ID_NEW_CTB, _("&New Colour-Dependent Table\tCtrl+N"));
    file->Append(ID_NEW_STB, _("New &Named Table\tCtrl+Shift+N"));
    file->Append(wxID_OPEN, _("&Open...\tCtrl+O"));
    auto* recent = new wxMenu;
    file->AppendSubMenu(recent, _("Open &Recent"));
    m_recent.UseMenu(recent);
    file->AppendSeparator();
    file->Append(wxID_SAVE, _("&Save\tCtrl+S"));
    file->Append(wxID_SAVEAS, _("Save &As...\tCtrl+Shift+S"));
    file->Append(ID_CONVERT, _("&Convert to Named Table..."));
    file->AppendSeparator();
    file->Append(wxID_CLOSE, _("&Close\tCtrl+W"));
    file->Append(wxID_EXIT, _("&Quit\tCtrl+Q"));

    m_editMenu = new wxMenu;
    m_editMenu->Append(wxID_UNDO, _("&Undo\tCtrl+Z"));
    m_editMenu->Append(wxID_REDO, _("&Redo\tCtrl+Y"));
    m_editMenu->AppendSeparator();
    m_editMenu->Append(wxID_SELECTALL, _("Select &All\tCtrl+A"));
    m_editMenu->Append(ID_SET_FIELD, _("&Set Field of Selected Styles...\tCtrl+E"));
    m_editMenu->Append(ID_COLOUR, _("Plotted &Colour...\tCtrl+K"));

    auto* stylesMenu = new wxMenu;
    stylesMenu->Append(ID_ADD_STYLE, _("&Add Style...\tCtrl+Shift+A"));
    stylesMenu->Append(ID_RENAME_STYLE, _("&Rename Style..."));
    stylesMenu->Append(ID_DELETE_STYLES, _("&Delete Styles\tCtrl+Delete"));
    stylesMenu->AppendSeparator();
    stylesMenu->Append(ID_PROPERTIES, _("Table &Properties...\tAlt+Enter"));

    auto* bar = new wxMenuBar;
    bar->Append(file, _("&File"));
    bar->Append(m_editMenu, _("&Edit"));
    bar->Append(stylesMenu, _("&Styles"));
    SetMenuBar(bar);

    auto onPage = [this](auto action) {
        return [this, action](wxCommandEvent&) {
            if (TablePage* p = currentPage())
                action(p);
        };
    };
    Bind(wxEVT_MENU, [this](wxCommandEvent&) { newTable(true); }, ID_NEW_CTB);
    Bind(wxEVT_MENU, [this](wxCommandEvent&) { newTable(false); }, ID_NEW_STB);
    Bind(wxEVT_MENU, [this](wxCommandEvent&) {
        wxFileDialog ask(this, _("Open Plot Style Tables"), wxEmptyString, wxEmptyString,
                         _("Plot style tables (*.ctb, *.stb)|*.ctb;*.stb;*.CTB;*.STB|All files|*"),
                         wxFD_OPEN | wxFD_FILE_MUST_EXIST | wxFD_MULTIPLE);
        if (ask.ShowModal() != wxID_OK)
            return;
        wxArrayString paths;
        ask.GetPaths(paths);
        openFiles(paths);
    }, wxID_OPEN);
    Bind(wxEVT_MENU, &MainFrame::onRecent, this, wxID_FILE1, wxID_FILE9);
    Bind(wxEVT_MENU, onPage([this](TablePage* p) { save(p); }), wxID_SAVE);
    Bind(wxEVT_MENU, onPage([this](TablePage* p) {
        wxString path;
        if (askSavePath(p, _("Save Table As"), p->document().extension(), path))
            saveAs(p, path);
    }), wxID_SAVEAS);
    Bind(wxEVT_MENU, onPage([this](TablePage* p) {
        if (!p->document().colourDependent())
            return;
        wxString path;
        if (askSavePath(p, _("Save as Named Table"), "stb", path))
            convertTo(p, path);
    }), ID_CONVERT);
    Bind(wxEVT_MENU, onPage([this](TablePage* p) { closePage(p); }), wxID_CLOSE);
    Bind(wxEVT_MENU, [this](wxCommandEvent&) { Close(); }, wxID_EXIT);
    Bind(wxEVT_MENU, onPage([](TablePage* p) {
        p->finishEditing();
        p->document().history().Undo();
    }), wxID_UNDO);
    Bind(wxEVT_MENU, onPage([](TablePage* p) {
        p->finishEditing();
        p->document().history().Redo();
    }), wxID_REDO);
    Bind(wxEVT_MENU, onPage([](TablePage* p) { p->grid()->SelectAll(); }), wxID_SELECTALL);
    Bind(wxEVT_MENU, onPage([](TablePage* p) { p->editField(Column(p->grid()->GetGridCursorCol())); }), ID_SET_FIELD);
    Bind(wxEVT_MENU, onPage([](TablePage* p) { p->editColour(); }), ID_COLOUR);
    Bind(wxEVT_MENU, onPage([](TablePage* p) { p->addStyle(); }), ID_ADD_STYLE);
    Bind(wxEVT_MENU, onPage([](TablePage* p) { p->renameStyle(); }), ID_RENAME_STYLE);
    Bind(wxEVT_MENU, onPage([](TablePage* p) { p->deleteStyles(); }), ID_DELETE_STYLES);
    Bind(wxEVT_MENU, onPage([](TablePage* p) { p->editProperties(); }), ID_PROPERTIES);

    auto enableIf = [this](auto test) {
        return [this, test](wxUpdateUIEvent& e) {
            TablePage* p = currentPage();
            e.Enable(p && test(p));
        };
    };
    auto any = [](TablePage*) { return true; };
    auto named = [](TablePage* p) { return !p->document().colourDependent(); };
    for (int id : {int(wxID_SAVE), int(wxID_SAVEAS), int(wxID_CLOSE), int(wxID_SELECTALL), int(ID_SET_FIELD),
                   int(ID_COLOUR), int(ID_PROPERTIES)})
        Bind(wxEVT_UPDATE_UI, enableIf(any), id);
    for (int id : {int(ID_ADD_STYLE), int(ID_RENAME_STYLE), int(ID_DELETE_STYLES)})
        Bind(wxEVT_UPDATE_UI, enableIf(named), id);
    Bind(wxEVT_UPDATE_UI, enableIf([](TablePage* p) { return p->document().colourDependent(); }), ID_CONVERT);
    Bind(wxEVT_UPDATE_UI, enableIf([](TablePage* p) { return p->document().history().CanUndo(); }), wxID_UNDO);
    Bind(wxEVT_UPDATE_UI, enableIf([](TablePage* p) { return p->document().history().CanRedo(); }), wxID_REDO);
}

// ---------------------------------------------------------------- pages

size_t MainFrame::pageCount() const { return m_book->GetPageCount(); }

TablePage* MainFrame::page(size_t i) const {
    return i < m_book->GetPageCount() ? static_cast<TablePage*>(m_book->GetPage(i)) : nullptr;
}

TablePage* MainFrame::currentPage() const {
    const int i = m_book->GetSelection();
    return i == wxNOT_FOUND ? nullptr : page(size_t(i));
}

void MainFrame::selectPage(TablePage* p) {
    const int i = m_book->FindPage(p);
    if (i != wxNOT_FOUND)
        m_book->SetSelection(size_t(i));
}

void MainFrame::addPage(TablePage* p) {
    p->setStateListener([this] { updateState(); });
    m_book->AddPage(p, p->document().displayName(), true);
    m_book->Layout();
    p->Layout();
    if (m_shown && m_book->GetPageCount() == 1) {
        // The start-up report: the first table's rows are on the screen once its
        // grid has been painted.
        p->grid()->GetGridWindow()->Bind(wxEVT_PAINT, [this](wxPaintEvent& e) {
            e.Skip();
            if (auto shown = std::move(m_shown)) {
                m_shown = nullptr;
                CallAfter([shown] { shown(); });
            }
        });
    }
    updateState();
}

TablePage* MainFrame::openFile(const wxString& path, wxString* why) {
    wxFileName name(path);
    name.MakeAbsolute();
    const wxString full = name.GetFullPath();
    for (size_t i = 0; i < pageCount(); ++i) {
        const wxString& open = page(i)->document().path();
        if (!open.empty() && wxFileName(open).SameAs(name)) {
            m_book->SetSelection(i);
            return page(i);
        }
    }
    std::unique_ptr<TableDocument> doc = TableDocument::open(full, why);
    if (!doc)
        return nullptr;
    auto* p = new TablePage(m_book, std::move(doc));
    addPage(p);
    remember(full);
    return p;
}

wxString MainFrame::openFilesQuietly(const wxArrayString& paths) {
    wxString failures;
    for (const wxString& path : paths) {
        wxString why;
        if (!openFile(path, &why))
            failures += wxString::Format("%s: %s\n", shownPath(path), why);
    }
    return failures.Trim();
}

void MainFrame::openFiles(const wxArrayString& paths) {
    const wxString failures = openFilesQuietly(paths);
    if (!failures.empty())
        wxMessageBox(failures, _("Not opened"), wxOK | wxICON_ERROR, this);
}

TablePage* MainFrame::newTable(bool colourDependent) {
    auto* p = new TablePage(m_book, TableDocument::create(colourDependent));
    addPage(p);
    return p;
}

void MainFrame::remember(const wxString& path) {
    m_recent.AddFileToHistory(path);
    if (m_settings) {
        m_settings->SetPath(kRecentGroup);
        m_recent.Save(*m_settings);
        m_settings->SetPath("/");
        m_settings->Flush();
    }
}

void MainFrame::onRecent(wxCommandEvent& event) {
    const size_t i = size_t(event.GetId() - wxID_FILE1);
    if (i >= m_recent.GetCount())
        return;
    const wxString path = m_recent.GetHistoryFile(i);
    wxString why;
    if (!openFile(path, &why)) {
        m_recent.RemoveFileFromHistory(i);
        wxMessageBox(wxString::Format("%s: %s", shownPath(path), why), _("Not opened"), wxOK | wxICON_ERROR, this);
    }
}

// ---------------------------------------------------------------- saving

bool MainFrame::askSavePath(TablePage* p, const wxString& title, const wxString& extension, wxString& path) {
    const TableDocument& doc = p->document();
    wxFileName suggested(doc.path().empty() ? doc.displayName() : doc.path());
    suggested.SetExt(extension);
    wxFileDialog ask(this, title, doc.path().empty() ? wxString() : suggested.GetPath(), suggested.GetFullName(),
                     wildcardFor(extension), wxFD_SAVE | wxFD_OVERWRITE_PROMPT);
    if (ask.ShowModal() != wxID_OK)
        return false;
    path = ask.GetPath();
    wxFileName chosen(path);
    if (path.empty() || wxDirExists(path) || chosen.GetFullName().empty())
        return false; // no file named
    if (chosen.GetExt().empty()) {
        // The dialog asked about the name as typed; the one with the extension
        // added may be another file, which is not replaced without asking.
        chosen.SetExt(extension);
        path = chosen.GetFullPath();
        if (chosen.FileExists() &&
            wxMessageBox(wxString::Format(_("%s exists already. Replace it?"), shownPath(chosen.GetFullName())), title,
                         wxYES_NO | wxNO_DEFAULT | wxICON_QUESTION, this) != wxYES)
            return false;
    }
    return true;
}

bool MainFrame::save(TablePage* p) {
    p->finishEditing();
    if (p->document().path().empty()) {
        wxString path;
        return askSavePath(p, _("Save Table"), p->document().extension(), path) && saveAs(p, path);
    }
    return saveAs(p, p->document().path());
}

bool MainFrame::saveAs(TablePage* p, const wxString& path) {
    p->finishEditing();
    wxFileName name(path);
    if (name.GetExt().empty())
        name.SetExt(p->document().extension());
    name.MakeAbsolute();
    wxString why;
    if (!p->document().save(name.GetFullPath(), &why)) {
        wxMessageBox(wxString::Format(_("%s was not saved.\n\n%s"), shownPath(name.GetFullName()), why), _("Not saved"),
                     wxOK | wxICON_ERROR, this);
        return false;
    }
    remember(name.GetFullPath());
    return true;
}

TablePage* MainFrame::convertTo(TablePage* p, const wxString& path) {
    p->finishEditing();
    std::unique_ptr<TableDocument> named = TableDocument::convert(p->document());
    if (!named)
        return nullptr;
    wxFileName name(path);
    if (name.GetExt().empty())
        name.SetExt("stb");
    name.MakeAbsolute();
    wxString why;
    if (!named->save(name.GetFullPath(), &why)) {
        wxMessageBox(wxString::Format(_("%s was not saved.\n\n%s"), shownPath(name.GetFullName()), why), _("Not saved"),
                     wxOK | wxICON_ERROR, this);
        return nullptr;
    }
    auto* converted = new TablePage(m_book, std::move(named));
    addPage(converted);
    remember(name.GetFullPath());
    return converted;
}

bool MainFrame::closePage(TablePage* p) {
    p->finishEditing();
    if (p->document().isModified()) {
        selectPage(p);
        wxMessageDialog ask(this,
                            wxString::Format(_("Save the changes to %s before closing?"), p->document().displayName()),
                            _("Unsaved changes"), wxYES_NO | wxCANCEL | wxICON_QUESTION);
        ask.SetYesNoCancelLabels(_("&Save"), _("Close &without Saving"), _("&Cancel"));
        const int answer = ask.ShowModal();
        if (answer == wxID_CANCEL || (answer == wxID_YES && !save(p)))
            return false;
    }
    const int i = m_book->FindPage(p);
    if (m_menuHistory == &p->document().history()) {
        m_menuHistory->SetEditMenu(nullptr);
        m_menuHistory = nullptr;
    }
    if (i != wxNOT_FOUND)
        m_book->DeletePage(size_t(i));
    updateState();
    return true;
}

void MainFrame::onClose(wxCloseEvent& event) {
    for (size_t i = pageCount(); i-- > 0;) {
        if (!closePage(page(i)) && event.CanVeto()) {
            event.Veto();
            return;
        }
    }
    Destroy();
}

// ---------------------------------------------------------------- state

void MainFrame::onPageChanged(wxBookCtrlEvent& event) {
    event.Skip();
    // Not while the notebook is still switching (a page being added has no size yet).
    CallAfter([this] { updateState(); });
}

void MainFrame::updateState() {
    TablePage* current = currentPage();
    m_hint->Show(pageCount() == 0);
    m_book->Show(pageCount() > 0);
    m_hint->GetParent()->Layout();

    // The Edit menu names what Undo and Redo would do in the table shown.
    wxCommandProcessor* history = current ? &current->document().history() : nullptr;
    if (history != m_menuHistory) {
        if (m_menuHistory)
            m_menuHistory->SetEditMenu(nullptr);
        m_menuHistory = history;
        if (history)
            history->SetEditMenu(m_editMenu);
    }
    if (history)
        history->SetMenuStrings();

    for (size_t i = 0; i < pageCount(); ++i) {
        const TableDocument& doc = page(i)->document();
        const wxString label = (doc.isModified() ? "*" : "") + doc.displayName();
        if (m_book->GetPageText(i) != label)
            m_book->SetPageText(i, label);
    }
    // A dash between the parts; wide, as narrow literals are read in the locale's encoding.
    const wxString dash(L" \u2014 ");
    wxString status;
    if (current) {
        const TableDocument& doc = current->document();
        SetTitle((doc.isModified() ? "*" : "") + doc.displayName() + dash + _("Plot Style Editor"));
        const size_t selected = current->grid()->GetSelectedRows().size();
        status = doc.path().empty() ? wxString(_("Not saved yet")) : shownPath(doc.path());
        if (selected > 1)
            status += dash + wxString::Format(_("%zu rows selected"), selected);
    } else {
        SetTitle(_("Plot Style Editor"));
    }
    // The status bar redraws the window at once, which must wait until a page
    // just added has its place.
    CallAfter([this, status] { SetStatusText(status); });
}

} // namespace styles
