// Printer configurations (.pc3) and user-defined model files (.pmp): the node tree
// that describes one output device, read from and written to the parameter block
// tree of pia.h.
//
// Reading rules shared by every node's init():
// - A key the node does not know is not an error. It is kept (see CPForeignItems)
//   and written back after the known key it followed, so a file from a driver that
//   adds its own keys and blocks keeps them through a read and write.
// - A missing key takes the default given beside its member, except the few keys
//   marked "required" (what identifies a paper or a custom value): their absence
//   fails the node.
// - A key present with the wrong item kind (a string where a number belongs) or a
//   number whose text does not read fails the node. Numbers may carry text after a
//   blank (other writers append an encoded copy); only the leading number counts.
// - Nested blocks that are always written (size, media_description, media_bounds,
//   resolution, calibration) are required; destination, custom_papers and custom
//   are optional.
// A failed init() leaves the node as it was. Writing appends the known keys in
// their fixed order, each optional one only under its rule, and fails (the block
// being built is discarded) when a value cannot be stored in the text format: a
// string holding "{" or a line break, or one too long for a line.
//
// Round trips. A file this library wrote reads and writes back to the same text.
// A file of another writer comes back with every value and every foreign key, but
// reals take the six-decimal form (their encoded suffix goes), known keys take the
// fixed order, keys it lacked appear with their defaults, optional keys whose rule
// says "not written" (an empty config_description, dm_driver_version 0) go, and
// the custom block is renumbered in kind order. Unknown keys inside a custom
// value's or a custom paper's sub-block, and items other than sub-blocks directly
// in custom or custom_papers, are not kept.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "drutils_export.h"
#include "od/OdArray.h"
#include "od/OdString.h"
#include "pia.h"

class CPlotCfg3;

namespace ut {

class PrintData;           // ut_printdata.h
struct PaperSizeInfo;      // ut_papers.h

// What CMediaNode::setBounds needs of a printer device context: the device
// capabilities of a printer page, in printer dots, as a Windows printer DC reports
// them (GetDeviceCaps). The printing support fills it from the system printer.
struct PrinterDeviceCaps {
    int logPixelsX = 0;      // LOGPIXELSX: dots per inch across
    int logPixelsY = 0;      // LOGPIXELSY: dots per inch down
    int physicalWidth = 0;   // PHYSICALWIDTH: the whole sheet
    int physicalHeight = 0;  // PHYSICALHEIGHT
    int physicalOffsetX = 0; // PHYSICALOFFSETX: unprintable strip at the left
    int physicalOffsetY = 0; // PHYSICALOFFSETY: unprintable strip at the top
    int horzRes = 0;         // HORZRES: printable width
    int vertRes = 0;         // VERTRES: printable height
};

// Binary values travel as text of two hexadecimal digits per byte.
// True for text of even length made only of hexadecimal digits (either case).
DRUTILS_API bool isHexText(const OdString& text);
// Upper-case digits.
DRUTILS_API OdString bytesToHex(const uint8_t* data, size_t size);
// False, out untouched, when the text is not isHexText.
DRUTILS_API bool hexToBytes(const OdString& text, std::vector<uint8_t>& out);

// The system-printer look-ups that reading a configuration makes. Printing support
// installs one; while none is installed, reading never asks about printers (the
// configuration is returned as stored and the printer flag of read() is false).
class DRUTILS_API PrinterLookup {
public:
    virtual ~PrinterLookup();
    // Makes cfg name an installed printer: keeps it when win_device_name exists with
    // the driver win_driver_name, else takes the first printer with that driver.
    // False when no printer matches (cfg unchanged).
    virtual bool resolvePrinterByDriver(CPlotCfg3& cfg) = 0;
    // The current default system printer; empty when there is none.
    virtual OdString defaultSystemPrinter() = 0;
    // A new configuration for an installed printer, owned by the caller; null on failure.
    virtual CPlotCfg3* createForPrinter(const wchar_t* printer) = 0;
};

// Installs lookup (not owned; null removes it) and returns the one it replaces.
DRUTILS_API PrinterLookup* setPrinterLookup(PrinterLookup* lookup);
DRUTILS_API PrinterLookup* printerLookup();

} // namespace ut

// ------------------------------------------------------------------ meta

// Block "meta": which driver and printer the configuration stands for. Shared by
// printer configurations and user-defined model files.
class DRUTILS_API CMetaNode {
public:
    bool init(const CPBlock* block);
    bool write(CPBlock* block) const;

    OdString userDefinedModelPathname;
    OdString userDefinedModelBasename;
    OdString driverPathname; // the output driver module
    OdString driverVersion;
    OdString driverTagLine;
    int toolkitVersion = 0;
    int driverType = 0;
    OdString canonicalFamilyName;
    bool showCustomFirst = false;
    bool truetypeAsText = true;
    OdString canonicalModelName;
    OdString localizedFamilyName;
    OdString localizedModelName;
    bool fileOnly = false;
    OdString modelAbilities;
    OdString udmDescription;
    OdString winDeviceName;   // system printer; written only when not empty
    OdString winDriverName;   // its driver; written only when not empty
    OdString shortNetName;
    OdString friendlyNetName;
    int dmDriverVersion = 0;  // driver version of the stored device mode; written only when not 0
    std::optional<bool> defaultSystemCfg; // true: stands for whatever printer is the default
    OdString platform;        // written only when not empty
    OdString locale;          // written only when not empty
    OdString configDescription; // written only when not empty
    std::optional<bool> configAutospool;
    CPForeignItems foreign;
};

// ------------------------------------------------------------------ media

// Block "media_bounds": the paper's upper-right corner; the lower-left is the origin.
class DRUTILS_API CMediaBoundsNode {
public:
    bool init(const CPBlock* block);
    bool write(CPBlock* block) const;

    double urx = 0.0; // required
    double ury = 0.0; // required
    CPForeignItems foreign;
};

// Block "media_description": the printable area of the selected paper.
class DRUTILS_API CMediaDescriptionNode {
public:
    bool init(const CPBlock* block);
    bool write(CPBlock* block) const;

    double printableBoundsLlx = 0.0;
    double printableBoundsLly = 0.0;
    double printableBoundsUrx = 0.0;
    double printableBoundsUry = 0.0;
    double printableArea = 0.0;
    bool dimensional = true;
    CMediaBoundsNode mediaBounds;
    CPForeignItems foreign;
};

// Block "size": the selected paper.
class DRUTILS_API CSizeNode {
public:
    bool init(const CPBlock* block);
    bool write(CPBlock* block) const;

    OdString name; // required: the paper's name
    int group = 0;
    bool landscapeMode = false;
    double longplotReduction = 1.0;
    int dmScale = 100; // written only when not 100
    CMediaDescriptionNode mediaDescription;
    CPForeignItems foreign;
};

// Block "destination".
class DRUTILS_API CDestinationNode {
public:
    bool init(const CPBlock* block);
    bool write(CPBlock* block) const;

    // Collating is collating type 1, named "Collate"; off is type 0, "None".
    void setCollating(bool collate);
    bool isCollating() const { return collatingType == 1; }

    OdString name = L"Default";
    int collatingType = 0;
    OdString collatingName = L"None";
    CPForeignItems foreign;
};

// Block "custom_papers": user-defined paper sizes, one numbered sub-block each.
// Unknown keys inside a paper's sub-block are not kept.
class DRUTILS_API CustomPapersNode {
public:
    // A default-constructed paper size is empty.
    struct DRUTILS_API PaperSize {
        OdString globalName; // required
        OdString localName;
        int units = 0;       // 0 inches, 1 millimetres: the unit of the six sizes
        double width = 0.0;  // required
        double height = 0.0; // required
        double left = 0.0;
        double bottom = 0.0;
        double right = 0.0;
        double top = 0.0;

        bool isEmpty() const { return *this == PaperSize(); }
        // Every field equal.
        bool operator==(const PaperSize& other) const;
    };

    // More papers than this make the block unreadable and cannot be added.
    static constexpr unsigned kMaxPapers = 1000;

    bool init(const CPBlock* block);
    bool write(CPBlock* block) const;
    // False when the list is full.
    bool append(const PaperSize& paper);

    OdArray<PaperSize> papers;
};

// Block "media": paper, printable bounds, copies; holds size and, when present,
// destination and custom_papers.
class DRUTILS_API CMediaNode {
public:
    bool init(const CPBlock* block);
    bool write(CPBlock* block) const;

    // Printable rectangle of the page in millimetres, from a printer page: the
    // lower-left corner is the sheet's lower-left, y grows upwards. False, bounds
    // unchanged, for caps that describe no page (no resolution, a printable area
    // outside the sheet).
    bool setBounds(const ut::PrinterDeviceCaps& caps);
    // True when the printable rectangle has no area.
    bool emptyBounds() const;
    // Exchanges x and y of both corners (the page turned a quarter).
    void swapBounds();
    // Selects a paper of a printer: its name, the sheet as media bounds and its
    // printable rectangle as both the printable and the actual printable bounds.
    // changed tells whether any value differed. False, node unchanged, for a paper
    // without a name or without a positive size.
    bool set(const ut::PaperSizeInfo& paper, bool& changed);
    // Selects custom paper number id (its position in customPapers) the same way,
    // its size converted to millimetres and its margins taken off the sheet. False,
    // node unchanged, when there is no such paper or its margins leave no area.
    bool setToCustom(uint64_t id, bool& changed);

    int selectionMethod = 0;
    OdString type;
    int dmOrientation = 1; // device-mode orientation: 1 portrait, 2 landscape
    double actualPrintableBoundsLlx = 0.0;
    double actualPrintableBoundsLly = 0.0;
    double actualPrintableBoundsUrx = 0.0;
    double actualPrintableBoundsUry = 0.0;
    int numberOfCopies = 1;
    CSizeNode size;
    std::optional<CDestinationNode> destination;
    std::optional<CustomPapersNode> customPapers;
    CPForeignItems foreign;
};

// ------------------------------------------------------------------ io

// Block "io": where output goes.
class DRUTILS_API CIoNode {
public:
    bool init(const CPBlock* block);
    bool write(CPBlock* block) const;

    int type = 0;
    OdString pathname; // output file path
    bool allsysvalid = false;
    bool plotToFile = false;
    CPForeignItems foreign;
};

// ------------------------------------------------------------------ res_color_mem

// Block "resolution". The name is one of the four device-mode quality names or
// "XxY" for explicit dots per inch; other writers may add text after the numbers.
class DRUTILS_API CResolutionNode {
public:
    // Device-mode quality codes.
    enum { DMRES_DRAFT = -1, DMRES_LOW = -2, DMRES_MEDIUM = -3, DMRES_HIGH = -4 };

    bool init(const CPBlock* block);
    bool write(CPBlock* block) const;

    // A quality code (DMRES_HIGH..DMRES_DRAFT) sets its name and leaves the six
    // values alone; a positive value is dots per inch both ways: name "%ldx%ld" and
    // all six values. False, node unchanged, for 0 and codes below DMRES_HIGH.
    bool set(long resolution);
    // Explicit dots per inch; false, node unchanged, unless both are positive.
    bool set(long x, long y);
    // The quality code of a quality name, else the x dots per inch of an "XxY" name,
    // else phys_resolution_x; the y value goes to *y (0 for a quality). 0 when none.
    long get(long* y = nullptr) const;

    // "DMRES_HIGH"... for a quality code, null for any other value.
    static const wchar_t* qualityName(long code);
    // The quality code of a name (exact), 0 when it is none of the four.
    static long qualityCode(const wchar_t* name);

    OdString name;
    double physResolutionX = 0.0;
    double physResolutionY = 0.0;
    double addrResolutionX = 0.0;
    double addrResolutionY = 0.0;
    double effectiveResolutionX = 0.0;
    double effectiveResolutionY = 0.0;
    CPForeignItems foreign;
};

// Block "res_color_mem": colour and memory capabilities.
class DRUTILS_API CResColorMemNode {
public:
    static constexpr uint32_t kNotSet = 0xFFFFFFFFu; // ism_max / ole_max unset

    bool init(const CPBlock* block);
    bool write(CPBlock* block) const;

    OdString name;
    int numColors = 0;
    int colorDepth = 0;
    int numUnditheredColors = 0;
    int colorSystem = 0;
    int dmColor = 1;          // device-mode colour: 1 monochrome, 2 colour
    int icmMethod = 0;        // written only when not 0
    int icmIntent = 0;        // written only when not 0
    uint32_t ismMax = kNotSet; // written only when set
    uint32_t oleMax = kNotSet; // written only when set
    int hardSoft = 0;         // written only when not 0
    int preference = 0;       // written only when not 0
    std::optional<bool> linesOverwrite;
    std::optional<bool> colorMono;
    CResolutionNode resolution;
    CPForeignItems foreign;
};

// ------------------------------------------------------------------ custom

// Block "custom": named driver-specific values of five kinds, each kind in its own
// map ordered by name. Written as sub-blocks "0", "1", ... numbered on across the
// kinds in the order of EKind, each with "name" and "value"; a reader takes the
// kind from the value's item (a number without a decimal point is an integer).
// One name may exist in several kinds. Printers' device settings live here under
// the names below. Unknown keys inside a value's sub-block are not kept.
class DRUTILS_API CCustomNode {
public:
    enum EKind { kString = 0, kBinary = 1, kBool = 2, kReal = 3, kInt = 4 };
    // More values than this make the block unreadable and cannot be set.
    static constexpr size_t kMaxValues = 1000;

    static const wchar_t* const kRawPrivateDeviceData; // binary: driver-private bytes of the device mode
    static const wchar_t* const kDmSize;               // integer: size of the public device mode
    static const wchar_t* const kDmDriverExtra;        // integer: number of driver-private bytes
    static const wchar_t* const kDmSpecVersion;        // integer
    static const wchar_t* const kDmMediaType;          // integer
    static const wchar_t* const kDmDefaultSource;      // integer: paper source
    static const wchar_t* const kDmTTOption;           // integer: TrueType option
    static const wchar_t* const kPdfExport;            // boolean: the built-in PDF output
    // Device-mode values that have no key of their own.
    static const wchar_t* const kDmFields;             // integer: the device mode's field mask
    static const wchar_t* const kDmDuplex;             // integer: DMDUP_SIMPLEX / VERTICAL / HORIZONTAL
    static const wchar_t* const kDmDitherType;         // integer
    static const wchar_t* const kDmNup;                // integer: pages per sheet

    bool init(const CPBlock* block);
    bool write(CPBlock* block) const;

    // False, out untouched, when no value of that kind has the name.
    bool getStr(OdString& out, const wchar_t* name) const;
    bool getBin(OdString& hexOut, const wchar_t* name) const; // hexadecimal text
    bool get(bool& out, const wchar_t* name) const;
    bool get(double& out, const wchar_t* name) const;
    bool get(int& out, const wchar_t* name) const;

    // Store a value under name in its kind. With replace false an existing value
    // of that name and kind is kept and the call returns false. Also false, nothing
    // stored, for an empty name, a name or string that the text format cannot hold
    // ("{", a line break, too long), binary text that is not isHexText, a
    // non-finite real, or a full node.
    bool setStr(const wchar_t* value, const wchar_t* name, bool replace = true);
    bool setBin(const wchar_t* hexValue, const wchar_t* name, bool replace = true);
    bool set(bool value, const wchar_t* name, bool replace = true);
    bool set(double value, const wchar_t* name, bool replace = true);
    bool set(int value, const wchar_t* name, bool replace = true);

    bool has(const wchar_t* name, EKind kind) const;
    // Removes the name from one kind, or from every kind when kind is null;
    // true when anything was removed.
    bool remove(const wchar_t* name, const EKind* kind = nullptr);
    size_t count() const;
    static const wchar_t* kindName(EKind kind); // "string", "binary", "bool", "real", "int"

    const std::map<OdString, OdString>& strings() const { return m_strings; }
    const std::map<OdString, OdString>& binaries() const { return m_binaries; }
    const std::map<OdString, bool>& bools() const { return m_bools; }
    const std::map<OdString, double>& reals() const { return m_reals; }
    const std::map<OdString, int>& ints() const { return m_ints; }

private:
    template <class Map, class V> bool store(Map& map, const V& value, const wchar_t* name, bool replace);

    std::map<OdString, OdString> m_strings;
    std::map<OdString, OdString> m_binaries;
    std::map<OdString, bool> m_bools;
    std::map<OdString, double> m_reals;
    std::map<OdString, int> m_ints;
};

// ------------------------------------------------------------------ configuration

// A printer configuration: root blocks meta, media, io, res_color_mem (required)
// and custom (optional), written in that order; root blocks the schema does not
// know are kept as foreign items.
class DRUTILS_API CPlotCfg3 {
public:
    CPlotCfg3() = default;

    // The device name of the built-in PDF output; compared without regard to case.
    static const wchar_t* const kPdfDeviceName; // "Print As PDF"

    // A new configuration for a system printer, owned by the caller, or for the
    // built-in PDF output when printer is kPdfDeviceName in any case (no printer
    // is asked then). Null, with the reason logged, when the printer cannot be
    // opened or its settings cannot be taken. In the printing library
    // (drutils::print), as are fromPrintData and toPrintData.
    static CPlotCfg3* create(const wchar_t* printer);
    // The values of the built-in PDF output (and its default paper, A4).
    void initForPdfExport();
    // Everything back to a default-constructed configuration.
    void setToDefault();
    // Takes print settings: printer and device values, paper, orientation, copies,
    // colour, duplex, collation, resolution. port is where the printer's output
    // goes; "FILE" or "FILE:" means plotting to a file. Brings data's device mode up
    // to date first (which is why data is not const). False, configuration
    // unchanged, when data has no device mode.
    bool fromPrintData(ut::PrintData& data, const wchar_t* port);
    // Applies the configuration to print settings: the printer (whose device mode
    // is taken as the base when it exists), then the stored values over it. The
    // stored private bytes are used only when dmDriverExtra and dmSize are present
    // and not negative and RawPrivateDeviceData is exactly twice dmDriverExtra
    // hexadecimal digits; otherwise the print data get no private bytes (the
    // printer's own stay in the device mode).
    bool toPrintData(ut::PrintData& data) const;

    // Reads a configuration file with the printer look-ups (ut::PrinterLookup): a
    // configuration that is not PDF output is matched to an installed printer and
    // printerFound tells whether that worked; one marked default_system_cfg is
    // replaced by a configuration of the current default printer. Null, with the
    // reason in the log, when the file cannot be read or the replacement fails.
    static CPlotCfg3* read(const wchar_t* path, bool& printerFound);
    // The file as stored, without printer look-ups (what editing tools want).
    // *intact, when given, is false when an unreadable custom block was dropped:
    // writing such a configuration back would lose it.
    static CPlotCfg3* readStored(const wchar_t* path, bool* intact = nullptr);

    // Takes the tree of a parsed file. A missing or unreadable meta, media, io or
    // res_color_mem fails (configuration unchanged, reason in the log); a missing
    // custom block leaves no custom node; an unreadable one is dropped with a
    // warning and intact set false. The PDF flag is recomputed.
    bool init(const CPIAParser& parser, bool& intact);
    bool init(const CPBlock* root, bool& intact);

    // Appends the root blocks to root. On failure (a value the text cannot hold)
    // root is left as it was and the reason is logged.
    bool writeToBlock(CPBlock* root) const;
    // Writes a printer-configuration file; an existing file is replaced only when
    // the whole new one was made. 0 on success, else a parameter-file result code
    // (-2 also when the tree could not be built).
    int write(const wchar_t* path) const;

    // True for the built-in PDF output: the custom value PdfExport is true, or the
    // driver strings are those of the PDF driver and the driver file's name begins
    // with "pdfplot" (all without regard to case).
    bool isPdfExport() const { return m_pdfExport; }
    void checkIfPdfExport();
    // Through the installed ut::PrinterLookup; false when none is installed.
    bool resolvePrinterByDriver();

    CMetaNode meta;
    CMediaNode media;
    CIoNode io;
    CResColorMemNode resColorMem;
    std::optional<CCustomNode> custom;
    CPForeignItems foreign;

private:
    bool m_pdfExport = false;
};

// ------------------------------------------------------------------ model files

// Block "calibration": plotter calibration factors.
class DRUTILS_API CalibrationNode {
public:
    bool init(const CPBlock* block);
    bool write(CPBlock* block) const;

    double x = 1.0; // key "_x"
    double y = 1.0; // key "_y"
    CPForeignItems foreign;
};

// Block "udm": holds calibration (and, in files of other writers, media tables
// that are kept as foreign items).
class DRUTILS_API UdmNode {
public:
    bool init(const CPBlock* block);
    bool write(CPBlock* block) const;

    CalibrationNode calibration;
    CPForeignItems foreign;
};

// A user-defined model file: root blocks meta and udm (both required), in that order.
class DRUTILS_API PlotModelParam {
public:
    PlotModelParam() = default;

    // A model description for a configuration's meta, calibration 1 by 1; owned by the caller.
    static PlotModelParam* create(const CMetaNode& meta);
    // Null, with the reason in the log, when the file cannot be read.
    static PlotModelParam* read(const wchar_t* path);
    bool init(const CPIAParser& parser);
    bool init(const CPBlock* root);
    bool writeToBlock(CPBlock* root) const;
    // 0 on success, else a parameter-file result code (see CPlotCfg3::write).
    int write(const wchar_t* path) const;

    CMetaNode meta;
    UdmNode udm;
    CPForeignItems foreign;
};
