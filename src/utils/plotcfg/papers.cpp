// Paper names, units and sizes of the standard paper numbers, and the custom-paper
// editor. The papers of system printers are the printing library's
// (src/print/printer_papers.cpp).
#include "ut_papers.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cwchar>
#include <cwctype>

#include "plotcfg/cfgschema.h"
#include "plotcfg/standard_papers.h"
#include "ut_log.h"

namespace {

const char kSource[] = "src/utils/plot/papers";

constexpr auto kIn = OdDbPlotSettings::kInches;
constexpr auto kMm = OdDbPlotSettings::kMillimeters;

struct StandardPaper {
    const wchar_t* name;
    OdDbPlotSettings::PlotPaperUnits unit;
    wxPaperSize toolkit;
};

// Device paper numbers 0..118: the standard names, the unit each is listed in (as
// listed: some metric papers are in inches), and the toolkit's paper.
const StandardPaper kPapers[] = {
    {L"", kIn, wxPAPER_NONE},
    {L"Letter", kIn, wxPAPER_LETTER},
    {L"Letter Small", kIn, wxPAPER_LETTERSMALL},
    {L"Tabloid", kIn, wxPAPER_TABLOID},
    {L"Ledger", kIn, wxPAPER_LEDGER},
    {L"Legal", kIn, wxPAPER_LEGAL},
    {L"Statement", kIn, wxPAPER_STATEMENT},
    {L"Executive", kIn, wxPAPER_EXECUTIVE},
    {L"A3", kMm, wxPAPER_A3},
    {L"A4", kMm, wxPAPER_A4},
    {L"A4 Small", kMm, wxPAPER_A4SMALL},
    {L"A5", kMm, wxPAPER_A5},
    {L"B4 (JIS)", kMm, wxPAPER_B4},
    {L"B5 (JIS)", kMm, wxPAPER_B5},
    {L"Folio", kIn, wxPAPER_FOLIO},
    {L"Quarto", kMm, wxPAPER_QUARTO},
    {L"10x14", kIn, wxPAPER_10X14},
    {L"11x17", kIn, wxPAPER_11X17},
    {L"Note", kIn, wxPAPER_NOTE},
    {L"Envelope #9", kIn, wxPAPER_ENV_9},
    {L"Envelope #10", kIn, wxPAPER_ENV_10},
    {L"Envelope #11", kIn, wxPAPER_ENV_11},
    {L"Envelope #12", kIn, wxPAPER_ENV_12},
    {L"Envelope #14", kIn, wxPAPER_ENV_14},
    {L"C size sheet", kIn, wxPAPER_CSHEET},
    {L"D size sheet", kIn, wxPAPER_DSHEET},
    {L"E size sheet", kIn, wxPAPER_ESHEET},
    {L"Envelope DL", kMm, wxPAPER_ENV_DL},
    {L"Envelope C5", kMm, wxPAPER_ENV_C5},
    {L"Envelope C3", kMm, wxPAPER_ENV_C3},
    {L"Envelope C4", kMm, wxPAPER_ENV_C4},
    {L"Envelope C6", kMm, wxPAPER_ENV_C6},
    {L"Envelope C65", kMm, wxPAPER_ENV_C65},
    {L"Envelope B4", kMm, wxPAPER_ENV_B4},
    {L"Envelope B5", kMm, wxPAPER_ENV_B5},
    {L"Envelope B6", kMm, wxPAPER_ENV_B6},
    {L"Envelope", kMm, wxPAPER_ENV_ITALY},
    {L"Envelope Monarch", kIn, wxPAPER_ENV_MONARCH},
    {L"6 3/4 Envelope", kIn, wxPAPER_ENV_PERSONAL},
    {L"US Std Fanfold", kIn, wxPAPER_FANFOLD_US},
    {L"German Std Fanfold", kIn, wxPAPER_FANFOLD_STD_GERMAN},
    {L"German Legal Fanfold", kIn, wxPAPER_FANFOLD_LGL_GERMAN},
    {L"B4 (ISO)", kMm, wxPAPER_ISO_B4},
    {L"Japanese Postcard", kMm, wxPAPER_JAPANESE_POSTCARD},
    {L"9x11", kIn, wxPAPER_9X11},
    {L"10x11", kIn, wxPAPER_10X11},
    {L"15x11", kIn, wxPAPER_15X11},
    {L"Envelope Invite", kMm, wxPAPER_ENV_INVITE},
    {L"Reserved48", kIn, wxPAPER_NONE},
    {L"Reserved49", kIn, wxPAPER_NONE},
    {L"Letter Extra", kIn, wxPAPER_LETTER_EXTRA},
    {L"Legal Extra", kIn, wxPAPER_LEGAL_EXTRA},
    {L"Tabloid Extra", kIn, wxPAPER_TABLOID_EXTRA},
    {L"A4 Extra", kIn, wxPAPER_A4_EXTRA},
    {L"Letter Transverse", kIn, wxPAPER_LETTER_TRANSVERSE},
    {L"A4 Transverse", kMm, wxPAPER_A4_TRANSVERSE},
    {L"Letter Extra Transverse", kIn, wxPAPER_LETTER_EXTRA_TRANSVERSE},
    {L"Super A", kMm, wxPAPER_A_PLUS},
    {L"Super B", kMm, wxPAPER_B_PLUS},
    {L"Letter Plus", kIn, wxPAPER_LETTER_PLUS},
    {L"A4 Plus", kMm, wxPAPER_A4_PLUS},
    {L"A5 Transverse", kMm, wxPAPER_A5_TRANSVERSE},
    {L"B5 (JIS) Transverse", kMm, wxPAPER_B5_TRANSVERSE},
    {L"A3 Extra", kMm, wxPAPER_A3_EXTRA},
    {L"A5 Extra", kMm, wxPAPER_A5_EXTRA},
    {L"B5 (ISO) Extra", kMm, wxPAPER_B5_EXTRA},
    {L"A2", kMm, wxPAPER_A2},
    {L"A3 Transverse", kMm, wxPAPER_A3_TRANSVERSE},
    {L"A3 Extra Transverse", kMm, wxPAPER_A3_EXTRA_TRANSVERSE},
    {L"Japanese Double Postcard", kMm, wxPAPER_DBL_JAPANESE_POSTCARD},
    {L"A6", kMm, wxPAPER_A6},
    {L"Japanese Envelope Kaku #2", kIn, wxPAPER_JENV_KAKU2},
    {L"Japanese Envelope Kaku #3", kIn, wxPAPER_JENV_KAKU3},
    {L"Japanese Envelope Chou #3", kIn, wxPAPER_JENV_CHOU3},
    {L"Japanese Envelope Chou #4", kIn, wxPAPER_JENV_CHOU4},
    {L"Letter Rotated", kIn, wxPAPER_LETTER_ROTATED},
    {L"A3 Rotated", kMm, wxPAPER_A3_ROTATED},
    {L"A4 Rotated", kMm, wxPAPER_A4_ROTATED},
    {L"A5 Rotated", kMm, wxPAPER_A5_ROTATED},
    {L"B4 (JIS) Rotated", kMm, wxPAPER_B4_JIS_ROTATED},
    {L"B5 (JIS) Rotated", kMm, wxPAPER_B5_JIS_ROTATED},
    {L"Japanese Postcard Rotated", kMm, wxPAPER_JAPANESE_POSTCARD_ROTATED},
    {L"Double Japan Postcard Rotated", kMm, wxPAPER_DBL_JAPANESE_POSTCARD_ROTATED},
    {L"A6 Rotated", kMm, wxPAPER_A6_ROTATED},
    {L"Japan Envelope Kaku #2 Rotated", kIn, wxPAPER_JENV_KAKU2_ROTATED},
    {L"Japan Envelope Kaku #3 Rotated", kIn, wxPAPER_JENV_KAKU3_ROTATED},
    {L"Japan Envelope Chou #3 Rotated", kIn, wxPAPER_JENV_CHOU3_ROTATED},
    {L"Japan Envelope Chou #4 Rotated", kIn, wxPAPER_JENV_CHOU4_ROTATED},
    {L"B6 (JIS)", kMm, wxPAPER_B6_JIS},
    {L"B6 (JIS) Rotated", kMm, wxPAPER_B6_JIS_ROTATED},
    {L"12x11", kIn, wxPAPER_12X11},
    {L"Japan Envelope You #4", kIn, wxPAPER_JENV_YOU4},
    {L"Japan Envelope You #4 Rotated", kIn, wxPAPER_JENV_YOU4_ROTATED},
    {L"PRC 16K", kMm, wxPAPER_P16K},
    {L"PRC 32K", kMm, wxPAPER_P32K},
    {L"PRC 32K(Big)", kMm, wxPAPER_P32KBIG},
    {L"PRC Envelope #1", kMm, wxPAPER_PENV_1},
    {L"PRC Envelope #2", kMm, wxPAPER_PENV_2},
    {L"PRC Envelope #3", kMm, wxPAPER_PENV_3},
    {L"PRC Envelope #4", kMm, wxPAPER_PENV_4},
    {L"PRC Envelope #5", kMm, wxPAPER_PENV_5},
    {L"PRC Envelope #6", kMm, wxPAPER_PENV_6},
    {L"PRC Envelope #7", kMm, wxPAPER_PENV_7},
    {L"PRC Envelope #8", kMm, wxPAPER_PENV_8},
    {L"PRC Envelope #9", kMm, wxPAPER_PENV_9},
    {L"PRC Envelope #10", kMm, wxPAPER_PENV_10},
    {L"PRC 16K Rotated", kMm, wxPAPER_P16K_ROTATED},
    {L"PRC 32K Rotated", kMm, wxPAPER_P32K_ROTATED},
    {L"PRC 32K(Big) Rotated", kMm, wxPAPER_P32KBIG_ROTATED},
    {L"PRC Envelope #1 Rotated", kMm, wxPAPER_PENV_1_ROTATED},
    {L"PRC Envelope #2 Rotated", kMm, wxPAPER_PENV_2_ROTATED},
    {L"PRC Envelope #3 Rotated", kMm, wxPAPER_PENV_3_ROTATED},
    {L"PRC Envelope #4 Rotated", kMm, wxPAPER_PENV_4_ROTATED},
    {L"PRC Envelope #5 Rotated", kMm, wxPAPER_PENV_5_ROTATED},
    {L"PRC Envelope #6 Rotated", kMm, wxPAPER_PENV_6_ROTATED},
    {L"PRC Envelope #7 Rotated", kMm, wxPAPER_PENV_7_ROTATED},
    {L"PRC Envelope #8 Rotated", kMm, wxPAPER_PENV_8_ROTATED},
    {L"PRC Envelope #9 Rotated", kMm, wxPAPER_PENV_9_ROTATED},
    {L"PRC Envelope #10 Rotated", kMm, wxPAPER_PENV_10_ROTATED},
};
static_assert(std::size(kPapers) == ut::kLastStandardPaper + 1, "one entry per standard paper number");

} // namespace

namespace ut {

OdString getCanonicalPSname(short paper) {
    if (paper >= 0 && paper <= kLastStandardPaper)
        return OdString(kPapers[paper].name);
    OdString s;
    s.format(L"User%d", int(paper));
    return s;
}

OdDbPlotSettings::PlotPaperUnits getUnitsForDevice(unsigned short paper) {
    return paper <= unsigned(kLastStandardPaper) ? kPapers[paper].unit : kMm;
}

bool isCustomPaperSize(int& number, const wchar_t* name) {
    if (!name || std::wcslen(name) <= 4)
        return false;
    const wchar_t user[] = L"user";
    for (int i = 0; i < 4; ++i)
        if (std::towlower(wint_t(name[i])) != wint_t(user[i]))
            return false;
    // The reading "%d" does: blanks, a sign, digits; the rest is ignored.
    const wchar_t* p = name + 4;
    while (std::iswspace(wint_t(*p)))
        ++p;
    const wchar_t* digits = (*p == L'+' || *p == L'-') ? p + 1 : p;
    if (*digits < L'0' || *digits > L'9')
        return false;
    errno = 0;
    wchar_t* end = nullptr;
    const long v = std::wcstol(p, &end, 10);
    if (errno == ERANGE || v < INT32_MIN || v > INT32_MAX)
        return false;
    number = int(v);
    return true;
}

short getPSnumber(const wchar_t* name) {
    int number = 0;
    if (isCustomPaperSize(number, name))
        return number >= INT16_MIN && number <= INT16_MAX ? short(number) : 0;
    if (!name || !*name)
        return 0;
    const OdString wanted(name);
    for (short i = 1; i <= kLastStandardPaper; ++i)
        if (wanted.iCompare(kPapers[i].name) == 0)
            return i;
    return 0;
}

bool getStandardPaperSize(short paper, double& widthMm, double& heightMm) {
    int w = 0, l = 0;
    if (!papers::standardSize(paper, w, l))
        return false;
    widthMm = w / 10.0;
    heightMm = l / 10.0;
    return true;
}

namespace papers {

wxPaperSize toolkitPaper(int number) {
    return number >= 1 && number <= kLastStandardPaper ? kPapers[number].toolkit : wxPAPER_NONE;
}

short numberOfToolkitPaper(wxPaperSize paper) {
    if (paper == wxPAPER_NONE)
        return 0;
    for (short i = 1; i <= kLastStandardPaper; ++i)
        if (kPapers[i].toolkit == paper)
            return i;
    return 0;
}

} // namespace papers

// ------------------------------------------------------------------ CustomPapers

namespace {

// An empty name is one: a page-setup dialog appends a paper first and names it
// afterwards, and an empty global_name writes and reads back as any other.
bool storableName(const wxString& name) {
    if (name.length() > size_t(plotcfg::kMaxTextLength))
        return false;
    return name.find_first_of(L"{\r\n") == wxString::npos;
}

bool knownUnit(OdDbPlotSettings::PlotPaperUnits unit) { return unit == kIn || unit == kMm; }

// value given in unit, as stored in a paper of paperUnit
double toPaperUnit(double value, OdDbPlotSettings::PlotPaperUnits unit, int paperUnit) {
    if (unit == kMm && paperUnit == kIn)
        return value / 25.4;
    if (unit == kIn && paperUnit == kMm)
        return value * 25.4;
    return value;
}

double fromPaperUnit(double value, int paperUnit, OdDbPlotSettings::PlotPaperUnits unit) {
    if (paperUnit == kIn && unit == kMm)
        return value * 25.4;
    if (paperUnit == kMm && unit == kIn)
        return value / 25.4;
    return value;
}

} // namespace

CustomPapers::CustomPapers(CPlotCfg3* cfg) : m_cfg(cfg) {}
CustomPapers::CustomPapers(const CustomPapers& other) = default;
CustomPapers& CustomPapers::operator=(const CustomPapers& other) = default;
CustomPapers::~CustomPapers() = default;

bool CustomPapers::load() {
    m_papers.clear();
    if (!m_cfg)
        return false;
    if (m_cfg->media.customPapers)
        m_papers = m_cfg->media.customPapers->papers;
    return true;
}

bool CustomPapers::save() {
    if (!m_cfg)
        return false;
    if (m_papers.empty()) {
        m_cfg->media.customPapers.reset();
        return true;
    }
    if (!m_cfg->media.customPapers)
        m_cfg->media.customPapers.emplace();
    m_cfg->media.customPapers->papers = m_papers;
    return true;
}

int CustomPapers::size() const { return int(m_papers.size()); }

const CustomPapersNode::PaperSize* CustomPapers::at(int i, const char* function) const {
    if (i < 0 || i >= size()) {
        ut::logError(kSource, function, L"There is no custom paper %d: the list holds %d.", i, size());
        return nullptr;
    }
    return &m_papers[unsigned(i)];
}

CustomPapersNode::PaperSize* CustomPapers::at(int i, const char* function) {
    return const_cast<CustomPapersNode::PaperSize*>(static_cast<const CustomPapers*>(this)->at(i, function));
}

const CustomPapersNode::PaperSize* CustomPapers::paper(int i) const {
    return i >= 0 && i < size() ? &m_papers[unsigned(i)] : nullptr;
}

wxString CustomPapers::getName(int i) const {
    const auto* p = at(i, "ut::CustomPapers::getName");
    return p ? wxString(p->globalName.c_str()) : wxString();
}

bool CustomPapers::setName(int i, const wxString& name) {
    auto* p = at(i, "ut::CustomPapers::setName");
    if (!p || !storableName(name))
        return false;
    p->globalName = OdString(name.wc_str());
    return true;
}

bool CustomPapers::isDuplicateName(const wxString& name) const {
    const OdString n(name.wc_str());
    return std::any_of(m_papers.begin(), m_papers.end(),
                       [&](const CustomPapersNode::PaperSize& p) { return p.localName == n || p.globalName == n; });
}

double CustomPapers::getValue(int i, double CustomPapersNode::PaperSize::*field, const char* function) const {
    const auto* p = at(i, function);
    return p ? fromPaperUnit(p->*field, p->units, m_unit) : 0.0;
}

bool CustomPapers::setValue(int i, double value, Units unit, double CustomPapersNode::PaperSize::*field,
                            const char* function) {
    auto* p = at(i, function);
    if (!p || !std::isfinite(value) || !knownUnit(unit))
        return false;
    p->*field = toPaperUnit(value, unit, p->units);
    return true;
}

double CustomPapers::getWidth(int i) const {
    return getValue(i, &CustomPapersNode::PaperSize::width, "ut::CustomPapers::getWidth");
}
double CustomPapers::getHeight(int i) const {
    return getValue(i, &CustomPapersNode::PaperSize::height, "ut::CustomPapers::getHeight");
}
double CustomPapers::getTopMargin(int i) const {
    return getValue(i, &CustomPapersNode::PaperSize::top, "ut::CustomPapers::getTopMargin");
}
double CustomPapers::getBottomMargin(int i) const {
    return getValue(i, &CustomPapersNode::PaperSize::bottom, "ut::CustomPapers::getBottomMargin");
}
double CustomPapers::getLeftMargin(int i) const {
    return getValue(i, &CustomPapersNode::PaperSize::left, "ut::CustomPapers::getLeftMargin");
}
double CustomPapers::getRightMargin(int i) const {
    return getValue(i, &CustomPapersNode::PaperSize::right, "ut::CustomPapers::getRightMargin");
}

bool CustomPapers::setSize(int i, double width, double height) {
    // Both or neither: a paper is never left half resized.
    if (!std::isfinite(width) || !std::isfinite(height) || !knownUnit(m_unit) || !at(i, "ut::CustomPapers::setSize"))
        return false;
    return setValue(i, width, m_unit, &CustomPapersNode::PaperSize::width, "ut::CustomPapers::setSize") &&
           setValue(i, height, m_unit, &CustomPapersNode::PaperSize::height, "ut::CustomPapers::setSize");
}

bool CustomPapers::setLeftMargin(int i, double value) { return setLeftMargin(i, value, m_unit); }
bool CustomPapers::setLeftMargin(int i, double value, Units unit) {
    return setValue(i, value, unit, &CustomPapersNode::PaperSize::left, "ut::CustomPapers::setLeftMargin");
}
bool CustomPapers::setRightMargin(int i, double value) { return setRightMargin(i, value, m_unit); }
bool CustomPapers::setRightMargin(int i, double value, Units unit) {
    return setValue(i, value, unit, &CustomPapersNode::PaperSize::right, "ut::CustomPapers::setRightMargin");
}
bool CustomPapers::setTopMargin(int i, double value) { return setTopMargin(i, value, m_unit); }
bool CustomPapers::setTopMargin(int i, double value, Units unit) {
    return setValue(i, value, unit, &CustomPapersNode::PaperSize::top, "ut::CustomPapers::setTopMargin");
}
bool CustomPapers::setBottomMargin(int i, double value) { return setBottomMargin(i, value, m_unit); }
bool CustomPapers::setBottomMargin(int i, double value, Units unit) {
    return setValue(i, value, unit, &CustomPapersNode::PaperSize::bottom, "ut::CustomPapers::setBottomMargin");
}

bool CustomPapers::append(const wxString& name) {
    if (!storableName(name) || !knownUnit(m_unit) || m_papers.size() >= CustomPapersNode::kMaxPapers)
        return false;
    CustomPapersNode::PaperSize p;
    p.globalName = OdString(name.wc_str());
    p.units = m_unit;
    m_papers.append(p);
    return true;
}

bool CustomPapers::remove(int i) {
    if (!at(i, "ut::CustomPapers::remove"))
        return false;
    m_papers.removeAt(unsigned(i));
    return true;
}

} // namespace ut
