// Print settings and the system printers behind them. All of it is the printing
// library's (libdrutils_print, drutils::print), which links the toolkit's GUI
// library and CUPS.
//
// ut::PrintData is the toolkit's print data (wxPrintData) with two flags and a
// driver name of its own. Its native part, ut::WindowsPrintNativeData, holds the
// printer's device mode: a DEVMODEW record (od/wintypes.h) in the Windows layout,
// public part then driver-private bytes, so that the values a printer
// configuration stores (dmSize, dmDriverExtra, RawPrivateDeviceData) mean the same
// as in a configuration written on Windows. ut::registerPrintFactory() must have
// been called for print data objects to get this native part; it also lets
// CPlotCfg3::read ask about system printers.
//
// System printers are the printing system's queues (CUPS destinations). A queue's
// device mode is built from its defaults: paper (a standard paper number when the
// size is a standard paper's, a driver-defined number from 256 otherwise), paper
// source, orientation, copies, colour, duplex, resolution, collation and pages per
// sheet; the private bytes carry the queue's remaining job options behind a
// signature of this library, so that a configuration written and read again
// restores them. Private bytes without that signature (a device mode from
// Windows) are kept and passed on as they are but never turned into options.
//
// Failures of the printing system (no scheduler, no such printer) make the
// operations return false or nothing; ut::lastPrinterError() tells why.
#pragma once

#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

#include <wx/cmndata.h>
#include <wx/generic/prntdlgg.h>
#include <wx/prntbase.h>
#include <wx/string.h>

#include "drutils_export.h"
#include "od/OdArray.h"
#include "od/OdString.h"
#include "od/wintypes.h"

class wxPrinterDC;

namespace ut {

// ------------------------------------------------------------------ device mode records

// Device modes handed out by this library are allocated with malloc and hold at
// least sizeof(DEVMODEW) bytes, so every field can be read even when dmSize is
// smaller; the record proper is dmSize + dmDriverExtra bytes.
struct DRUTILS_API DevModeDeleter {
    void operator()(DEVMODEW* dm) const noexcept;
};
using DevModePtr = std::unique_ptr<DEVMODEW, DevModeDeleter>;

// Bounds of dmSize that this library accepts in a record: through dmFields, and
// no larger than any public part Windows has used, with room to spare.
constexpr uint16_t kMinDevModeSize = 76;
constexpr uint16_t kMaxDevModeSize = 4096;

// A copy of a record of recordBytes bytes; null when the record is malformed
// (dmSize outside the bounds above, or dmSize + dmDriverExtra more than
// recordBytes).
DRUTILS_API DevModePtr copyDevMode(const DEVMODEW* dm, size_t recordBytes);

// ------------------------------------------------------------------ print data

class DRUTILS_API PrintData : public wxPrintData {
public:
    enum EInit { kInit };

    // Toolkit defaults, merge colours off, TrueType as text on.
    PrintData();
    // As PrintData(), then the native part is initialised for the default printer,
    // or, when there is none, for the first system printer.
    explicit PrintData(EInit);
    // As PrintData(), then the printer name is set and the native part initialised
    // for it. An unknown printer leaves toolkit defaults (and the name).
    explicit PrintData(const wchar_t* printer);
    PrintData(const PrintData& other);
    PrintData& operator=(const PrintData& other);
    ~PrintData() override;

    bool isMergeColors() const { return m_mergeColors; }
    void setMergeColors(bool merge) { m_mergeColors = merge; }
    bool isTtfAsText() const { return m_ttfAsText; }
    void setTtfAsText(bool asText) { m_ttfAsText = asText; }
    const wxString& getDriverName() const { return m_driverName; }
    void setDriverName(const wxString& name) { m_driverName = name; }

    // A printer device context for these settings, owned by the caller. It writes
    // PostScript and needs no display.
    wxPrinterDC* createPrinterDC() const;
    // Has the printer correct the device mode (paper dimensions and form name for
    // the paper number). False without a native part or when the printer is unknown.
    bool ResolveConflicts();

    // Device-mode paper source <-> toolkit bin: sources 1..11 are bins 1..11, 14
    // and 15 are 12 and 13, others below 256 are bin 0, 256 up are the value minus
    // 242. getDmBin is the inverse for bins 1..13 and gives the bin plus 242 for
    // every other bin, so bin 0 comes back as 242. Sources from 258 up would make
    // bins the toolkit's enumeration cannot hold: the bin is then wxPRINTBIN_USER
    // and the source is kept beside it, so getDmBin still gives it back.
    void setDmBin(short source);
    short getDmBin() const;
    // Device-mode quality codes DMRES_HIGH..DMRES_DRAFT (-4..-1) <-> toolkit
    // qualities -1..-4; positive values (dots per inch) pass unchanged.
    void setDmQuality(short quality);
    short getDmQuality() const;
    // DMDUP_SIMPLEX / VERTICAL / HORIZONTAL <-> the toolkit's duplex modes.
    void setDmDuplex(short duplex);
    short getDmDuplex() const;
    // A standard paper number the toolkit's paper database knows (1..255) selects
    // that paper with the database's size (whole millimetres) and clears the
    // native part's own number; any other number selects no toolkit paper, the
    // given size in millimetres (0 by 0 without one), and is kept as the native
    // part's number.
    void setDmPaperSize(short paper);
    void setDmPaperSize(short paper, const wxSize& mm);
    void setDmPaperSize(short paper, const wxPoint& mm);
    // The device-mode paper number of the current paper; false when there is none.
    bool getDmPaperSize(short& paper) const;
    // True when the printer takes PostScript.
    bool isPostScript() const;

private:
    friend class WindowsPrintNativeData;

    bool m_mergeColors = false;
    bool m_ttfAsText = true;
    wxString m_driverName;
    // A driver-defined paper source whose toolkit bin would lie beyond the
    // toolkit's bins (see setDmBin); 0 when the bin says it all.
    short m_userSource = 0;

    wxDECLARE_DYNAMIC_CLASS(PrintData);
};

// The native part: the device mode, the printer's names and the device-mode
// fields the toolkit does not model. Copies of a wxPrintData share it, as the
// toolkit shares native parts.
class DRUTILS_API WindowsPrintNativeData : public wxPostScriptPrintNativeData {
public:
    WindowsPrintNativeData();
    ~WindowsPrintNativeData() override;

    // Takes the device mode of printer (empty: the default printer) and transfers it
    // into data. False, nothing changed, when the printer cannot be had.
    virtual bool Initialize(wxPrintData& data, const wxString& printer);
    // Device mode -> print data: the toolkit's fields, the private bytes and the
    // fields below (each only when its dmFields flag is set, else its default).
    bool TransferTo(wxPrintData& data) override;
    // Print data -> device mode, making one when there is none. Private bytes of
    // the print data replace the record's; no private bytes keep the record's.
    bool TransferFrom(const wxPrintData& data) override;
    // Has the printer correct the device mode in place; false when it is unknown.
    virtual bool ResolveConflicts();
    // Forgets the device mode and the printer's names; the fields below return to
    // their defaults.
    void ResetDevMode();

    // The native part of data when it is of this class, else null.
    static WindowsPrintNativeData* GetNativeData(const wxPrintData& data);

    // The device mode, or null; valid until the next Initialize or ResetDevMode,
    // or a TransferFrom that needs more room (more private bytes).
    DEVMODEW* GetDevMode() { return m_devMode.get(); }
    const DEVMODEW* GetDevMode() const { return m_devMode.get(); }
    // Bytes held for the record (at least dmSize + dmDriverExtra).
    size_t GetDevModeBytes() const { return m_devModeBytes; }
    // Device names: the printer, its driver and its port.
    const wxString& GetDeviceName() const { return m_deviceName; }
    const wxString& GetDriverName() const { return m_driverName; }
    const wxString& GetPortName() const { return m_portName; }

    uint16_t GetSpecVersion() const { return m_specVersion; }
    void SetSpecVersion(uint16_t v) { m_specVersion = v; }
    uint16_t GetDriverVersion() const { return m_driverVersion; }
    void SetDriverVersion(uint16_t v) { m_driverVersion = v; }
    uint16_t GetSize() const { return m_size; }
    void SetSize(uint16_t v) { m_size = v; }
    int16_t GetScale() const { return m_scale; }
    void SetScale(int16_t v) { m_scale = v; }
    int16_t GetYResolution() const { return m_yResolution; }
    void SetYResolution(int16_t v) { m_yResolution = v; }
    int16_t GetTTOption() const { return m_ttOption; }
    void SetTTOption(int16_t v) { m_ttOption = v; }
    const wxString& GetFormName() const { return m_formName; }
    void SetFormName(const wxString& v) { m_formName = v; }
    uint32_t GetNup() const { return m_nup; } // pages per sheet
    void SetNup(uint32_t v) { m_nup = v; }
    uint32_t GetICMMethod() const { return m_icmMethod; }
    void SetICMMethod(uint32_t v) { m_icmMethod = v; }
    uint32_t GetICMIntent() const { return m_icmIntent; }
    void SetICMIntent(uint32_t v) { m_icmIntent = v; }
    uint32_t GetDitherType() const { return m_ditherType; }
    void SetDitherType(uint32_t v) { m_ditherType = v; }
    // The device paper number when the toolkit has no paper for it (see
    // PrintData::setDmPaperSize); 0 otherwise.
    int16_t GetPaperNumber() const { return m_paperNumber; }
    void SetPaperNumber(int16_t v) { m_paperNumber = v; }
    // dmFields flags kept beside those of the fields written.
    uint32_t GetFields() const { return m_fields; }
    void SetFields(uint32_t v) { m_fields = v; }

private:
    void adopt(DevModePtr record, size_t bytes);

    DevModePtr m_devMode;
    size_t m_devModeBytes = 0;
    wxString m_deviceName;
    wxString m_driverName;
    wxString m_portName;

    uint16_t m_specVersion = DM_SPECVERSION;
    uint16_t m_driverVersion = 0;
    uint16_t m_size = sizeof(DEVMODEW);
    int16_t m_scale = 100;
    int16_t m_yResolution = 0;
    int16_t m_ttOption = 0;
    wxString m_formName;
    uint32_t m_nup = 0;
    uint32_t m_icmMethod = 0;
    uint32_t m_icmIntent = 0;
    uint32_t m_ditherType = 0;
    int16_t m_paperNumber = 0;
    uint32_t m_fields = 0;

    wxDECLARE_DYNAMIC_CLASS(WindowsPrintNativeData);
};

// The print factory whose print data get a WindowsPrintNativeData. Its printer
// device contexts write PostScript (no display needed).
class DRUTILS_API PrintFactory : public wxNativePrintFactory {
public:
    wxPrintNativeDataBase* CreatePrintNativeData() override;
};

// Installs a PrintFactory as the toolkit's print factory and the system-printer
// look-ups that CPlotCfg3::read makes. unRegisterPrintFactory removes both (the
// toolkit then makes its default factory on demand); print data made meanwhile
// keep their native parts.
DRUTILS_API void registerPrintFactory();
DRUTILS_API void unRegisterPrintFactory();

// ------------------------------------------------------------------ device mode access

// The device mode of a print data object for reading and changing in place. get()
// first brings the device mode up to date with the print data (TransferFrom, then
// ResolveConflicts); updatePrintData() carries changes made through the pointer
// back into the print data. Null when the print data has no native part of this
// library. The pointer is valid while this object lives and the device mode is not
// made again (Initialize, or a transfer that needs more private bytes).
class DRUTILS_API DEVMODE_RAII {
public:
    explicit DEVMODE_RAII(wxPrintData& data);
    ~DEVMODE_RAII();
    DEVMODE_RAII(const DEVMODE_RAII&) = delete;
    DEVMODE_RAII& operator=(const DEVMODE_RAII&) = delete;

    DEVMODEW* get();
    operator DEVMODEW*() { return get(); }
    explicit operator bool() { return get() != nullptr; }
    DEVMODEW* operator->() { return get(); }
    // Bytes held for the record (0 without one).
    size_t bytes() const;
    // Runs ResolveConflicts then TransferTo when a device mode is held; a record
    // whose dmSize or dmDriverExtra no longer fits what is held is refused (false,
    // logged) and the print data left as it was.
    bool updatePrintData();

private:
    wxPrintData& m_data;
    WindowsPrintNativeData* m_native = nullptr;
    DEVMODEW* m_locked = nullptr;
};

// ------------------------------------------------------------------ system printers

namespace detail {
struct OpenPrinter;
}

// One open system printer (none at first).
class DRUTILS_API PrinterHandle {
public:
    PrinterHandle();
    explicit PrinterHandle(const OdString& printer);
    ~PrinterHandle();
    PrinterHandle(const PrinterHandle&) = delete;
    PrinterHandle& operator=(const PrinterHandle&) = delete;

    // Closes any open printer and opens printer; false (nothing open) when it
    // cannot be had.
    bool open(const OdString& printer);
    void close();
    bool isOpen() const { return m_printer != nullptr; }
    const detail::OpenPrinter* get() const { return m_printer.get(); }

private:
    std::unique_ptr<detail::OpenPrinter> m_printer;
};

// The comment (description) of an open printer; empty when none is open.
DRUTILS_API OdString getPrinterComment(const PrinterHandle& printer);

// A newly allocated copy of the printer's default device mode, or null.
DRUTILS_API DevModePtr getDevMode(const wchar_t* printer);

// Appends the names of the system printers: first the local queues, then those
// served by other machines or found on the network, each group in the printing
// system's order. Nothing is appended when the printing system cannot be asked.
DRUTILS_API void getSystemPrinters(OdArray<OdString>& printers);

// The default printer; when there is none and fallback is true, the first name
// of getSystemPrinters (empty when there is none).
DRUTILS_API OdString getDefaultSystemPrinter(bool fallback);

// Makes a printer the user's default for the lifetime of the object, and makes
// the default it replaced the default again at the end (when there was one).
// Copies restore the same printer.
class DRUTILS_API ChangeDefaultPrinter {
public:
    explicit ChangeDefaultPrinter(const OdString& printer);
    ~ChangeDefaultPrinter();
    ChangeDefaultPrinter(const ChangeDefaultPrinter&) = default;
    ChangeDefaultPrinter& operator=(const ChangeDefaultPrinter&) = default;

    // True when the printing system took printer as the default.
    bool setDefaultPrinter(const OdString& printer);
    // The default the constructor found (empty when there was none).
    const OdString& previous() const { return m_previous; }

private:
    OdString m_previous;
};

// Appends a dump of a device mode to out: one "field = value" line per public
// field, then "\nprivate data:\n" and the dmDriverExtra bytes found dmSize bytes
// after the record's start, as two upper-case hexadecimal digits and a blank each,
// sixteen to a line, or "No\n" when there are none. The record is trusted to hold
// dmSize + dmDriverExtra bytes.
DRUTILS_API void dumpDevMode(const DEVMODEW* dm, OdString& out);
// The same for a record of recordBytes bytes: private bytes that do not fit are
// not read; the dump then says "No" and a warning is logged.
DRUTILS_API void dumpDevMode(const DEVMODEW* dm, size_t recordBytes, OdString& out);

// True when the record's private bytes were written by this library (and so carry
// job options); false for none, foreign ones, or a malformed record.
DRUTILS_API bool hasOwnPrivateData(const DEVMODEW* dm, size_t recordBytes);

// Why the last printing-system request on this thread failed; empty after one
// that succeeded.
DRUTILS_API OdString lastPrinterError();
// Whether that failure was the printing system itself being out of reach (no
// scheduler answering), rather than a printer or a paper of it: what a caller
// should report instead of what it was looking for.
DRUTILS_API bool printingSystemUnreachable();

// The printing system's job options these settings stand for, as name and value:
// the device mode's public values, then the options its private bytes carry when
// they were written by this library (foreign private bytes give none). False when
// the print data has no device mode.
DRUTILS_API bool getJobOptions(wxPrintData& data, std::vector<std::pair<OdString, OdString>>& options);

} // namespace ut

// Facts about one system printer, asked once when constructed.
class DRUTILS_API CPrnHelper {
public:
    explicit CPrnHelper(const wchar_t* printer);
    ~CPrnHelper();
    CPrnHelper(const CPrnHelper&) = delete;
    CPrnHelper& operator=(const CPrnHelper&) = delete;

    // False when the printer could not be had; the other answers are then empty.
    bool isValid() const;
    // Where the printer's output goes (the device URI).
    bool getPorts(OdString& ports) const;
    // The driver: the printer's make and model.
    bool getPrinterDriver(OdString& driver) const;
    bool getComment(OdString& comment) const;
    bool getLocation(OdString& location) const;
    bool isPostScript() const;
    // False for a printer served by another machine or found on the network.
    bool isLocal() const;

private:
    ut::PrinterHandle m_handle;
};
