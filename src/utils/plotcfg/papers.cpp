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
    int width, length; // tenths of a millimetre, as the toolkit's paper database has them
};

// Device paper numbers 0..118: the standard names, the unit each is listed in (as
// listed: some metric papers are in inches), the toolkit's paper and its size. The
// sizes are here rather than asked of the toolkit's paper database, which lives in
// its GUI library; the printing tests hold the two equal.
const StandardPaper kPapers[] = {
    {L"", kIn, wxPAPER_NONE, 0, 0},
    {L"Letter", kIn, wxPAPER_LETTER, 2159, 2794},
    {L"Letter Small", kIn, wxPAPER_LETTERSMALL, 2159, 2794},
    {L"Tabloid", kIn, wxPAPER_TABLOID, 2794, 4318},
    {L"Ledger", kIn, wxPAPER_LEDGER, 4318, 2794},
    {L"Legal", kIn, wxPAPER_LEGAL, 2159, 3556},
    {L"Statement", kIn, wxPAPER_STATEMENT, 1397, 2159},
    {L"Executive", kIn, wxPAPER_EXECUTIVE, 1842, 2667},
    {L"A3", kMm, wxPAPER_A3, 2970, 4200},
    {L"A4", kMm, wxPAPER_A4, 2100, 2970},
    {L"A4 Small", kMm, wxPAPER_A4SMALL, 2100, 2970},
    {L"A5", kMm, wxPAPER_A5, 1480, 2100},
    {L"B4 (JIS)", kMm, wxPAPER_B4, 2500, 3540},
    {L"B5 (JIS)", kMm, wxPAPER_B5, 1820, 2570},
    {L"Folio", kIn, wxPAPER_FOLIO, 2159, 3302},
    {L"Quarto", kMm, wxPAPER_QUARTO, 2150, 2750},
    {L"10x14", kIn, wxPAPER_10X14, 2540, 3556},
    {L"11x17", kIn, wxPAPER_11X17, 2794, 4318},
    {L"Note", kIn, wxPAPER_NOTE, 2159, 2794},
    {L"Envelope #9", kIn, wxPAPER_ENV_9, 984, 2254},
    {L"Envelope #10", kIn, wxPAPER_ENV_10, 1048, 2413},
    {L"Envelope #11", kIn, wxPAPER_ENV_11, 1143, 2635},
    {L"Envelope #12", kIn, wxPAPER_ENV_12, 1206, 2794},
    {L"Envelope #14", kIn, wxPAPER_ENV_14, 1270, 2921},
    {L"C size sheet", kIn, wxPAPER_CSHEET, 4318, 5588},
    {L"D size sheet", kIn, wxPAPER_DSHEET, 5588, 8636},
    {L"E size sheet", kIn, wxPAPER_ESHEET, 8636, 11176},
    {L"Envelope DL", kMm, wxPAPER_ENV_DL, 1100, 2200},
    {L"Envelope C5", kMm, wxPAPER_ENV_C5, 1620, 2290},
    {L"Envelope C3", kMm, wxPAPER_ENV_C3, 3240, 4580},
    {L"Envelope C4", kMm, wxPAPER_ENV_C4, 2290, 3240},
    {L"Envelope C6", kMm, wxPAPER_ENV_C6, 1140, 1620},
    {L"Envelope C65", kMm, wxPAPER_ENV_C65, 1140, 2290},
    {L"Envelope B4", kMm, wxPAPER_ENV_B4, 2500, 3530},
    {L"Envelope B5", kMm, wxPAPER_ENV_B5, 1760, 2500},
    {L"Envelope B6", kMm, wxPAPER_ENV_B6, 1760, 1250},
    {L"Envelope", kMm, wxPAPER_ENV_ITALY, 1100, 2300},
    {L"Envelope Monarch", kIn, wxPAPER_ENV_MONARCH, 984, 1905},
    {L"6 3/4 Envelope", kIn, wxPAPER_ENV_PERSONAL, 921, 1651},
    {L"US Std Fanfold", kIn, wxPAPER_FANFOLD_US, 3778, 2794},
    {L"German Std Fanfold", kIn, wxPAPER_FANFOLD_STD_GERMAN, 2159, 3048},
    {L"German Legal Fanfold", kIn, wxPAPER_FANFOLD_LGL_GERMAN, 2159, 3302},
    {L"B4 (ISO)", kMm, wxPAPER_ISO_B4, 2500, 3530},
    {L"Japanese Postcard", kMm, wxPAPER_JAPANESE_POSTCARD, 1000, 1480},
    {L"9x11", kIn, wxPAPER_9X11, 2286, 2794},
    {L"10x11", kIn, wxPAPER_10X11, 2540, 2794},
    {L"15x11", kIn, wxPAPER_15X11, 3810, 2794},
    {L"Envelope Invite", kMm, wxPAPER_ENV_INVITE, 2200, 2200},
    {L"Reserved48", kIn, wxPAPER_NONE, 0, 0},
    {L"Reserved49", kIn, wxPAPER_NONE, 0, 0},
    {L"Letter Extra", kIn, wxPAPER_LETTER_EXTRA, 2413, 3048},
    {L"Legal Extra", kIn, wxPAPER_LEGAL_EXTRA, 2413, 3810},
    {L"Tabloid Extra", kIn, wxPAPER_TABLOID_EXTRA, 2969, 4572},
    {L"A4 Extra", kIn, wxPAPER_A4_EXTRA, 2355, 3223},
    {L"Letter Transverse", kIn, wxPAPER_LETTER_TRANSVERSE, 2159, 2794},
    {L"A4 Transverse", kMm, wxPAPER_A4_TRANSVERSE, 2100, 2970},
    {L"Letter Extra Transverse", kIn, wxPAPER_LETTER_EXTRA_TRANSVERSE, 2355, 3048},
    {L"Super A", kMm, wxPAPER_A_PLUS, 2270, 3560},
    {L"Super B", kMm, wxPAPER_B_PLUS, 3050, 4870},
    {L"Letter Plus", kIn, wxPAPER_LETTER_PLUS, 2159, 3223},
    {L"A4 Plus", kMm, wxPAPER_A4_PLUS, 2100, 3300},
    {L"A5 Transverse", kMm, wxPAPER_A5_TRANSVERSE, 1480, 2100},
    {L"B5 (JIS) Transverse", kMm, wxPAPER_B5_TRANSVERSE, 1820, 2570},
    {L"A3 Extra", kMm, wxPAPER_A3_EXTRA, 3220, 4450},
    {L"A5 Extra", kMm, wxPAPER_A5_EXTRA, 1740, 2350},
    {L"B5 (ISO) Extra", kMm, wxPAPER_B5_EXTRA, 2010, 2760},
    {L"A2", kMm, wxPAPER_A2, 4200, 5940},
    {L"A3 Transverse", kMm, wxPAPER_A3_TRANSVERSE, 2970, 4200},
    {L"A3 Extra Transverse", kMm, wxPAPER_A3_EXTRA_TRANSVERSE, 3220, 4450},
    {L"Japanese Double Postcard", kMm, wxPAPER_DBL_JAPANESE_POSTCARD, 2000, 1480},
    {L"A6", kMm, wxPAPER_A6, 1050, 1480},
    {L"Japanese Envelope Kaku #2", kIn, wxPAPER_JENV_KAKU2, 2400, 3320},
    {L"Japanese Envelope Kaku #3", kIn, wxPAPER_JENV_KAKU3, 2160, 2770},
    {L"Japanese Envelope Chou #3", kIn, wxPAPER_JENV_CHOU3, 1200, 2350},
    {L"Japanese Envelope Chou #4", kIn, wxPAPER_JENV_CHOU4, 900, 2050},
    {L"Letter Rotated", kIn, wxPAPER_LETTER_ROTATED, 2794, 2159},
    {L"A3 Rotated", kMm, wxPAPER_A3_ROTATED, 4200, 2970},
    {L"A4 Rotated", kMm, wxPAPER_A4_ROTATED, 2970, 2100},
    {L"A5 Rotated", kMm, wxPAPER_A5_ROTATED, 2100, 1480},
    {L"B4 (JIS) Rotated", kMm, wxPAPER_B4_JIS_ROTATED, 3640, 2570},
    {L"B5 (JIS) Rotated", kMm, wxPAPER_B5_JIS_ROTATED, 2570, 1820},
    {L"Japanese Postcard Rotated", kMm, wxPAPER_JAPANESE_POSTCARD_ROTATED, 1480, 1000},
    {L"Double Japan Postcard Rotated", kMm, wxPAPER_DBL_JAPANESE_POSTCARD_ROTATED, 1480, 2000},
    {L"A6 Rotated", kMm, wxPAPER_A6_ROTATED, 1480, 1050},
    {L"Japan Envelope Kaku #2 Rotated", kIn, wxPAPER_JENV_KAKU2_ROTATED, 3320, 2400},
    {L"Japan Envelope Kaku #3 Rotated", kIn, wxPAPER_JENV_KAKU3_ROTATED, 2770, 2160},
    {L"Japan Envelope Chou #3 Rotated", kIn, wxPAPER_JENV_CHOU3_ROTATED, 2350, 1200},
    {L"Japan Envelope Chou #4 Rotated", kIn, wxPAPER_JENV_CHOU4_ROTATED, 2050, 900},
    {L"B6 (JIS)", kMm, wxPAPER_B6_JIS, 1280, 1820},
    {L"B6 (JIS) Rotated", kMm, wxPAPER_B6_JIS_ROTATED, 1920, 1280},
    {L"12x11", kIn, wxPAPER_12X11, 3048, 2794},
    {L"Japan Envelope You #4", kIn, wxPAPER_JENV_YOU4, 2350, 1050},
    {L"Japan Envelope You #4 Rotated", kIn, wxPAPER_JENV_YOU4_ROTATED, 1050, 2350},
    {L"PRC 16K", kMm, wxPAPER_P16K, 1460, 2150},
    {L"PRC 32K", kMm, wxPAPER_P32K, 970, 1510},
    {L"PRC 32K(Big)", kMm, wxPAPER_P32KBIG, 970, 1510},
    {L"PRC Envelope #1", kMm, wxPAPER_PENV_1, 1020, 1650},
    {L"PRC Envelope #2", kMm, wxPAPER_PENV_2, 1020, 1760},
    {L"PRC Envelope #3", kMm, wxPAPER_PENV_3, 1250, 1760},
    {L"PRC Envelope #4", kMm, wxPAPER_PENV_4, 1100, 2080},
    {L"PRC Envelope #5", kMm, wxPAPER_PENV_5, 1100, 2200},
    {L"PRC Envelope #6", kMm, wxPAPER_PENV_6, 1200, 2300},
    {L"PRC Envelope #7", kMm, wxPAPER_PENV_7, 1600, 2300},
    {L"PRC Envelope #8", kMm, wxPAPER_PENV_8, 1200, 3090},
    {L"PRC Envelope #9", kMm, wxPAPER_PENV_9, 2290, 3240},
    {L"PRC Envelope #10", kMm, wxPAPER_PENV_10, 3240, 4580},
    {L"PRC 16K Rotated", kMm, wxPAPER_P16K_ROTATED, 2150, 1460},
    {L"PRC 32K Rotated", kMm, wxPAPER_P32K_ROTATED, 1510, 970},
    {L"PRC 32K(Big) Rotated", kMm, wxPAPER_P32KBIG_ROTATED, 1510, 970},
    {L"PRC Envelope #1 Rotated", kMm, wxPAPER_PENV_1_ROTATED, 1650, 1020},
    {L"PRC Envelope #2 Rotated", kMm, wxPAPER_PENV_2_ROTATED, 1760, 1020},
    {L"PRC Envelope #3 Rotated", kMm, wxPAPER_PENV_3_ROTATED, 1760, 1250},
    {L"PRC Envelope #4 Rotated", kMm, wxPAPER_PENV_4_ROTATED, 2080, 1100},
    {L"PRC Envelope #5 Rotated", kMm, wxPAPER_PENV_5_ROTATED, 2200, 1100},
    {L"PRC Envelope #6 Rotated", kMm, wxPAPER_PENV_6_ROTATED, 2300, 1200},
    {L"PRC Envelope #7 Rotated", kMm, wxPAPER_PENV_7_ROTATED, 2300, 1600},
    {L"PRC Envelope #8 Rotated", kMm, wxPAPER_PENV_8_ROTATED, 3090, 1200},
    {L"PRC Envelope #9 Rotated", kMm, wxPAPER_PENV_9_ROTATED, 3240, 2290},
    {L"PRC Envelope #10 Rotated", kMm, wxPAPER_PENV_10_ROTATED, 4580, 3240},
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

bool standardSize(int number, int& widthTenths, int& lengthTenths) {
    if (toolkitPaper(number) == wxPAPER_NONE)
        return false;
    widthTenths = kPapers[number].width;
    lengthTenths = kPapers[number].length;
    return true;
}

} // namespace papers

// ------------------------------------------------------------------ CustomPapers

namespace {

bool storableName(const wxString& name) {
    if (name.empty() || name.length() > size_t(plotcfg::kMaxTextLength))
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
