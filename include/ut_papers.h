// Paper sizes: the names and units of the standard device paper numbers, the
// papers a system printer offers, and the editing of a printer configuration's
// user-defined papers.
//
// Device paper numbers 1 to 118 are the standard papers (Letter, A4, ...); 0 has
// an empty name; any other number is a driver-defined paper, named "User" and the
// number ("User300"). Sizes of a printer's papers are in tenths of a millimetre,
// as printer drivers report them; custom papers carry their own unit.
#pragma once

#include <wx/string.h>

#include "drutils_export.h"
#include "od/OdArray.h"
#include "od/OdDbPlotSettings.h"
#include "od/OdString.h"
#include "od/wintypes.h"
#include "plotcfg.h"

namespace ut {

class PrintData;

// The highest standard paper number.
constexpr short kLastStandardPaper = 118;

// The standard name of a paper number ("A4" for 9, "" for 0), or "User" and the
// number for any number outside 0..118 ("User119", "User-3").
DRUTILS_API OdString getCanonicalPSname(short paper);

// The unit a standard paper is measured in, as the standard table gives it (some
// metric papers are listed in inches and stay so); millimetres above 118.
DRUTILS_API OdDbPlotSettings::PlotPaperUnits getUnitsForDevice(unsigned short paper);

// True when name is longer than four characters, begins with "User" in any case
// and the rest reads as a decimal number (leading blanks and a sign allowed, text
// after the digits ignored, as a "%d" scan reads it); the number goes to number.
// "user12" is paper 12; "User" and "Userx" are not custom names. A number outside
// the int range is not a custom name.
DRUTILS_API bool isCustomPaperSize(int& number, const wchar_t* name);

// The paper number a name stands for: the number of a "User" name, else the
// standard paper with that name (compared without regard to case). 0 when the
// name is none of them.
DRUTILS_API short getPSnumber(const wchar_t* name);

// The size of a standard paper in millimetres, as the toolkit's paper database
// gives it; false for numbers it does not know. Needs neither the toolkit's GUI
// library nor its initialisation.
DRUTILS_API bool getStandardPaperSize(short paper, double& widthMm, double& heightMm);

// One paper of a printer, as CMediaNode::set takes it: its device number, its name
// in the printer's list, the sheet and the printable rectangle in millimetres
// (lower-left origin, y up, portrait).
struct PaperSizeInfo {
    short number = 0;
    OdString name;
    double width = 0.0;
    double height = 0.0;
    double printableLlx = 0.0;
    double printableLly = 0.0;
    double printableUrx = 0.0;
    double printableUry = 0.0;
};

// The papers a system printer offers, in the printer's order (in the printing
// library, drutils::print; the rest of this header is in the base library): device numbers
// (standard numbers where the size is a standard paper's, driver-defined numbers
// from 256 up otherwise, the same for the same paper each time the printer is
// asked), names (unique within the list) and sizes in tenths of a millimetre. The
// printer is asked once, on the first get or find.
class DRUTILS_API PaperSizeGetter {
public:
    // port and data are accepted for the callers' sake; the printer's paper list
    // does not depend on them here.
    PaperSizeGetter(const wchar_t* printer, const wchar_t* port = nullptr, const PrintData* data = nullptr);

    // Fills whichever arrays are given (emptied first), all three in the same
    // order. False, arrays empty, when the printer cannot be asked (the reason is in
    // ut::lastPrinterError()).
    bool get(OdArray<short>* numbers, OdArray<OdString>* names, OdArray<POINT>* sizes);
    bool get(OdArray<PaperSizeInfo>& papers);
    // A paper by its exact name or by its number; false when the list has none.
    bool find(const OdString& name, PaperSizeInfo& paper);
    bool find(short number, PaperSizeInfo& paper);

private:
    bool load();

    OdString m_printer;
    bool m_loaded = false;
    bool m_ok = false;
    OdArray<PaperSizeInfo> m_papers;
};

// Editing a configuration's custom papers in one working unit. load() takes a
// copy of the configuration's list; changes reach the configuration only through
// save(). Indexes are positions in the working list; an index out of range makes a
// getter return 0 (or an empty name) and a setter return false, and is logged.
// Sizes convert between inches and millimetres by exactly 25.4.
class DRUTILS_API CustomPapers {
public:
    using Units = OdDbPlotSettings::PlotPaperUnits;

    // The configuration is not owned and must outlive this object.
    explicit CustomPapers(CPlotCfg3* cfg);
    CustomPapers(const CustomPapers& other);
    CustomPapers& operator=(const CustomPapers& other);
    virtual ~CustomPapers();

    // False when there is no configuration.
    virtual bool load();
    // Replaces the configuration's list with the working list, creating it when
    // needed; an empty working list removes the configuration's list, so that no
    // custom_papers block is written. False when there is no configuration.
    virtual bool save();
    virtual int size() const;
    virtual wxString getName(int i) const;
    // False for an index out of range or a name the file format cannot hold
    // ("{", a line break, longer than 400 characters); an empty name is kept.
    virtual bool setName(int i, const wxString& name);
    // A paper whose local or global name equals name exactly.
    virtual bool isDuplicateName(const wxString& name) const;
    // In the working unit.
    virtual double getWidth(int i) const;
    virtual double getHeight(int i) const;
    virtual double getTopMargin(int i) const;
    virtual double getBottomMargin(int i) const;
    virtual double getLeftMargin(int i) const;
    virtual double getRightMargin(int i) const;
    // Values in the working unit, or in unit where it is given; stored in the
    // paper's own unit. False for an index out of range, a non-finite value or a
    // unit other than inches and millimetres.
    virtual bool setSize(int i, double width, double height);
    virtual bool setLeftMargin(int i, double value);
    virtual bool setLeftMargin(int i, double value, Units unit);
    virtual bool setRightMargin(int i, double value);
    virtual bool setRightMargin(int i, double value, Units unit);
    virtual bool setTopMargin(int i, double value);
    virtual bool setTopMargin(int i, double value, Units unit);
    virtual bool setBottomMargin(int i, double value);
    virtual bool setBottomMargin(int i, double value, Units unit);
    // A new paper at the end: the global name (which may be empty, to be set by
    // setName later), an empty local name, all sizes 0, the working unit. False
    // for a name setName refuses or a full list.
    virtual bool append(const wxString& name);
    // Later papers move up. False for an index out of range.
    virtual bool remove(int i);

    Units getUnit() const { return m_unit; }
    // Converts nothing that is stored. Inches or millimetres.
    void setUnit(Units unit) { m_unit = unit; }
    // The stored paper at i, or null.
    const CustomPapersNode::PaperSize* paper(int i) const;

private:
    const CustomPapersNode::PaperSize* at(int i, const char* function) const;
    CustomPapersNode::PaperSize* at(int i, const char* function);
    bool setValue(int i, double value, Units unit, double CustomPapersNode::PaperSize::*field, const char* function);
    double getValue(int i, double CustomPapersNode::PaperSize::*field, const char* function) const;

    Units m_unit = OdDbPlotSettings::kMillimeters;
    CPlotCfg3* m_cfg = nullptr;
    OdArray<CustomPapersNode::PaperSize> m_papers;
};

} // namespace ut
