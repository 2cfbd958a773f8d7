// Print data, its native part holding the device mode, and the system printers.
#include "ut_printdata.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include <wx/dcprint.h>
#include <wx/paper.h>

#include "plotcfg.h"
#include "print/devmode.h"
#include "ut_log.h"
#include "print/papers_internal.h"

namespace printing = ut::platform::printing;

namespace {

// The object as a T when it is one, else null. wxDynamicCast converts the pointer
// before it asks the class, which is undefined for an object of another class (a
// plain wxPrintData, the toolkit's own native part); this asks first.
template <class T, class From>
T* classCast(From* object) {
    using Class = std::remove_const_t<T>;
    return object && object->IsKindOf(wxCLASSINFO(Class)) ? static_cast<T*>(object) : nullptr;
}

const char kSource[] = "src/utils/plot/printdata";

int16_t clampShort(long v) { return int16_t(std::clamp<long>(v, INT16_MIN, INT16_MAX)); }

// Toolkit bins stop at 15 (wxPRINTBIN_USER is 14); a driver-defined source that
// would make a larger bin is kept beside the print data as userSource, with the
// toolkit's bin at wxPRINTBIN_USER.
void setBin(wxPrintData& data, short source, short* userSource) {
    int bin = 0;
    if (source >= 1 && source <= 11)
        bin = source;
    else if (source == DMBIN_CASSETTE)
        bin = 12;
    else if (source == DMBIN_FORMSOURCE)
        bin = 13;
    else if (source >= DMBIN_USER)
        bin = source - 242;
    if (bin <= 15) {
        data.SetBin(wxPrintBin(bin));
        if (userSource)
            *userSource = 0;
    } else {
        data.SetBin(wxPRINTBIN_USER);
        if (userSource)
            *userSource = source;
    }
}

short getBin(const wxPrintData& data, short userSource) {
    const int bin = data.GetBin();
    if (bin == wxPRINTBIN_USER && userSource >= DMBIN_USER)
        return userSource;
    if (bin >= 1 && bin <= 11)
        return short(bin);
    if (bin == 12)
        return DMBIN_CASSETTE;
    if (bin == 13)
        return DMBIN_FORMSOURCE;
    return short(bin + 242);
}

// DMRES_HIGH..DMRES_DRAFT (-4..-1) and wxPRINT_QUALITY_HIGH..DRAFT (-1..-4) mirror
// each other; anything else passes unchanged.
int mirrorQuality(int q) { return q >= -4 && q <= -1 ? -5 - q : q; }

wxDuplexMode duplexFromDm(short duplex) {
    return duplex == DMDUP_VERTICAL ? wxDUPLEX_VERTICAL : duplex == DMDUP_HORIZONTAL ? wxDUPLEX_HORIZONTAL
                                                                                     : wxDUPLEX_SIMPLEX;
}

short duplexToDm(wxDuplexMode duplex) {
    return duplex == wxDUPLEX_VERTICAL ? DMDUP_VERTICAL : duplex == wxDUPLEX_HORIZONTAL ? DMDUP_HORIZONTAL
                                                                                        : DMDUP_SIMPLEX;
}

void setPaper(wxPrintData& data, short paper, const wxSize& mm, ut::WindowsPrintNativeData* native) {
    const wxPaperSize id = paper >= 1 && paper <= 255 ? ut::papers::toolkitPaper(paper) : wxPAPER_NONE;
    const wxPrintPaperType* type =
        id != wxPAPER_NONE && wxThePrintPaperDatabase ? wxThePrintPaperDatabase->FindPaperType(id) : nullptr;
    if (type) {
        data.SetPaperId(id);
        data.SetPaperSize(wxSize(type->GetWidth() / 10, type->GetHeight() / 10));
        if (native)
            native->SetPaperNumber(0);
    } else {
        data.SetPaperId(wxPAPER_NONE);
        data.SetPaperSize(mm);
        if (native)
            native->SetPaperNumber(paper);
    }
}

// Printer names the scheduler accepts are safe on a command line; others are
// not passed to the PostScript output command.
bool plainName(const wxString& name) {
    if (name.empty())
        return false;
    for (wxUniChar c : name)
        if (!(wxIsalnum(c) || c == '_' || c == '-' || c == '.' || c == '@' || c == '+'))
            return false;
    return true;
}

bool describe(const std::wstring& name, printing::QueueDetails& q) {
    ut::devmode::clearPrinterError();
    printing::Failure why;
    if (printing::describeQueue(name, q, why))
        return true;
    ut::devmode::setPrinterError(why);
    return false;
}

} // namespace

namespace ut {

// ------------------------------------------------------------------ records

void DevModeDeleter::operator()(DEVMODEW* dm) const noexcept { std::free(dm); }

DevModePtr copyDevMode(const DEVMODEW* dm, size_t recordBytes) {
    if (!devmode::wellFormed(dm, recordBytes))
        return DevModePtr();
    size_t bytes = 0;
    DevModePtr copy = devmode::allocate(dm->dmSize, dm->dmDriverExtra, bytes);
    if (copy)
        std::memcpy(copy.get(), dm, size_t(dm->dmSize) + dm->dmDriverExtra);
    return copy;
}

// ------------------------------------------------------------------ PrintData

namespace detail {
struct OpenPrinter {
    printing::QueueDetails queue;
};
} // namespace detail

wxIMPLEMENT_DYNAMIC_CLASS(PrintData, wxPrintData);

PrintData::PrintData() = default;

PrintData::PrintData(EInit) {
    WindowsPrintNativeData* native = WindowsPrintNativeData::GetNativeData(*this);
    if (!native || native->Initialize(*this, wxString()))
        return;
    OdArray<OdString> printers;
    getSystemPrinters(printers);
    if (!printers.isEmpty())
        native->Initialize(*this, wxString(printers.first().c_str()));
}

PrintData::PrintData(const wchar_t* printer) {
    SetPrinterName(wxString(printer ? printer : L""));
    if (WindowsPrintNativeData* native = WindowsPrintNativeData::GetNativeData(*this))
        native->Initialize(*this, GetPrinterName());
}

PrintData::PrintData(const PrintData& other) = default;
PrintData& PrintData::operator=(const PrintData& other) = default;
PrintData::~PrintData() = default;

wxPrinterDC* PrintData::createPrinterDC() const { return new wxPrinterDC(*this); }

bool PrintData::ResolveConflicts() {
    WindowsPrintNativeData* native = WindowsPrintNativeData::GetNativeData(*this);
    return native && native->ResolveConflicts();
}

void PrintData::setDmBin(short source) { setBin(*this, source, &m_userSource); }
short PrintData::getDmBin() const { return getBin(*this, m_userSource); }
void PrintData::setDmQuality(short quality) { SetQuality(mirrorQuality(quality)); }
short PrintData::getDmQuality() const { return clampShort(mirrorQuality(GetQuality())); }
void PrintData::setDmDuplex(short duplex) { SetDuplex(duplexFromDm(duplex)); }
short PrintData::getDmDuplex() const { return duplexToDm(GetDuplex()); }

void PrintData::setDmPaperSize(short paper) { setDmPaperSize(paper, wxSize(0, 0)); }
void PrintData::setDmPaperSize(short paper, const wxPoint& mm) { setDmPaperSize(paper, wxSize(mm.x, mm.y)); }
void PrintData::setDmPaperSize(short paper, const wxSize& mm) {
    setPaper(*this, paper, mm, WindowsPrintNativeData::GetNativeData(*this));
}

bool PrintData::getDmPaperSize(short& paper) const {
    if (const short n = papers::numberOfToolkitPaper(GetPaperId())) {
        paper = n;
        return true;
    }
    const WindowsPrintNativeData* native = WindowsPrintNativeData::GetNativeData(*this);
    if (native && native->GetPaperNumber() != 0) {
        paper = native->GetPaperNumber();
        return true;
    }
    return false;
}

bool PrintData::isPostScript() const {
    PrinterHandle printer(OdString(GetPrinterName().wc_str()));
    return printer.isOpen() && printer.get()->queue.acceptsPostScript;
}

// ------------------------------------------------------------------ WindowsPrintNativeData

wxIMPLEMENT_DYNAMIC_CLASS(WindowsPrintNativeData, wxPostScriptPrintNativeData);

WindowsPrintNativeData::WindowsPrintNativeData() = default;
WindowsPrintNativeData::~WindowsPrintNativeData() = default;

WindowsPrintNativeData* WindowsPrintNativeData::GetNativeData(const wxPrintData& data) {
    return classCast<WindowsPrintNativeData>(data.GetNativeData());
}

void WindowsPrintNativeData::adopt(DevModePtr record, size_t bytes) {
    m_devMode = std::move(record);
    m_devModeBytes = m_devMode ? bytes : 0;
}

void WindowsPrintNativeData::ResetDevMode() {
    adopt(DevModePtr(), 0);
    m_deviceName.clear();
    m_driverName.clear();
    m_portName.clear();
    m_specVersion = DM_SPECVERSION;
    m_driverVersion = 0;
    m_size = sizeof(DEVMODEW);
    m_scale = 100;
    m_yResolution = 0;
    m_ttOption = 0;
    m_formName.clear();
    m_nup = m_icmMethod = m_icmIntent = m_ditherType = 0;
    m_paperNumber = 0;
    m_fields = 0;
}

bool WindowsPrintNativeData::Initialize(wxPrintData& data, const wxString& printer) {
    devmode::clearPrinterError();
    std::wstring name = printer.ToStdWstring();
    printing::Failure why;
    if (name.empty()) {
        if (!printing::defaultQueue(name, why)) {
            devmode::setPrinterError(why);
            return false;
        }
        if (name.empty()) {
            devmode::setPrinterError({printing::Fault::kNoPrinter, L"there is no default printer"});
            return false;
        }
    }
    printing::QueueDetails q;
    if (!describe(name, q))
        return false;
    size_t bytes = 0;
    DevModePtr record = devmode::fromQueue(q, bytes);
    if (!record)
        return false;
    adopt(std::move(record), bytes);
    m_deviceName = q.name;
    m_driverName = q.makeAndModel;
    m_portName = q.deviceUri;
    data.SetPrinterName(m_deviceName);
    if (auto* ours = classCast<PrintData>(&data))
        ours->setDriverName(m_driverName);
    return TransferTo(data) && !data.GetPrinterName().empty();
}

bool WindowsPrintNativeData::TransferTo(wxPrintData& data) {
    wxPostScriptPrintNativeData::TransferTo(data);
    if (!devmode::wellFormed(m_devMode.get(), m_devModeBytes))
        return false;
    const DEVMODEW pub = devmode::readPublic(m_devMode.get());
    const uint32_t f = pub.dmFields;
    auto* ours = classCast<PrintData>(&data);

    if (!m_deviceName.empty())
        data.SetPrinterName(m_deviceName);
    if (f & DM_ORIENTATION)
        data.SetOrientation(pub.dmOrientation == DMORIENT_LANDSCAPE ? wxLANDSCAPE : wxPORTRAIT);
    const wxSize mm = (f & DM_PAPERWIDTH) && (f & DM_PAPERLENGTH)
                          ? wxSize(std::max(0, pub.dmPaperWidth / 10), std::max(0, pub.dmPaperLength / 10))
                          : wxSize(0, 0);
    if (f & DM_PAPERSIZE)
        setPaper(data, pub.dmPaperSize, mm, this);
    else if (mm.x > 0 && mm.y > 0)
        setPaper(data, 0, mm, this);
    if (f & DM_COPIES)
        data.SetNoCopies(std::max<int>(1, pub.dmCopies));
    if (f & DM_DEFAULTSOURCE)
        setBin(data, pub.dmDefaultSource, ours ? &ours->m_userSource : nullptr);
    if (f & DM_PRINTQUALITY)
        data.SetQuality(mirrorQuality(pub.dmPrintQuality));
    if (f & DM_COLOR)
        data.SetColour(pub.dmColor == DMCOLOR_COLOR);
    if (f & DM_DUPLEX)
        data.SetDuplex(duplexFromDm(pub.dmDuplex));
    if (f & DM_COLLATE)
        data.SetCollate(pub.dmCollate == DMCOLLATE_TRUE);
    data.SetMedia((f & DM_MEDIATYPE) ? int(pub.dmMediaType) : 0);

    m_specVersion = pub.dmSpecVersion;
    m_driverVersion = pub.dmDriverVersion;
    m_size = pub.dmSize;
    m_scale = (f & DM_SCALE) ? pub.dmScale : int16_t(100);
    m_yResolution = (f & DM_YRESOLUTION) ? pub.dmYResolution : int16_t(0);
    m_ttOption = (f & DM_TTOPTION) ? pub.dmTTOption : int16_t(0);
    m_formName = (f & DM_FORMNAME) ? wxString(devmode::text(pub.dmFormName)) : wxString();
    m_nup = (f & DM_NUP) ? pub.dmNup : 0;
    m_icmMethod = (f & DM_ICMMETHOD) ? pub.dmICMMethod : 0;
    m_icmIntent = (f & DM_ICMINTENT) ? pub.dmICMIntent : 0;
    m_ditherType = (f & DM_DITHERTYPE) ? pub.dmDitherType : 0;
    m_fields = f;

    std::vector<char> priv(devmode::privateBytes(m_devMode.get()),
                           devmode::privateBytes(m_devMode.get()) + pub.dmDriverExtra);
    data.SetPrivData(priv.data(), int(priv.size()));
    return true;
}

bool WindowsPrintNativeData::TransferFrom(const wxPrintData& data) {
    wxPostScriptPrintNativeData::TransferFrom(data);
    const wxString printer = data.GetPrinterName();
    if (plainName(printer))
        SetPrinterOptions(wxS("-P ") + printer);

    uint16_t size = m_size;
    if (size < kMinDevModeSize || size > kMaxDevModeSize) {
        ut::logWarning(kSource, "ut::WindowsPrintNativeData::TransferFrom",
                       L"The device mode size %u of '%ls' cannot be used; %u is used instead.", unsigned(size),
                       printer.wc_str(), unsigned(sizeof(DEVMODEW)));
        size = m_size = sizeof(DEVMODEW);
    }
    DEVMODEW pub{};
    std::vector<uint8_t> priv;
    std::vector<uint8_t> tail; // public bytes past sizeof(DEVMODEW) that a larger record held
    const bool had = devmode::wellFormed(m_devMode.get(), m_devModeBytes);
    if (had) {
        pub = devmode::readPublic(m_devMode.get());
        const uint8_t* base = reinterpret_cast<const uint8_t*>(m_devMode.get());
        if (pub.dmSize > sizeof(DEVMODEW))
            tail.assign(base + sizeof(DEVMODEW), base + pub.dmSize);
        priv.assign(devmode::privateBytes(m_devMode.get()), devmode::privateBytes(m_devMode.get()) + pub.dmDriverExtra);
    }
    if (data.GetPrivDataLen() > 0) {
        if (data.GetPrivDataLen() <= 0xFFFF)
            priv.assign(data.GetPrivData(), data.GetPrivData() + data.GetPrivDataLen());
        else
            ut::logWarning(kSource, "ut::WindowsPrintNativeData::TransferFrom",
                           L"The %d private bytes given for '%ls' do not fit a device mode; they are not used.",
                           data.GetPrivDataLen(), printer.wc_str());
    }
    const auto* ours = classCast<const PrintData>(&data);

    devmode::setText(pub.dmDeviceName, printer.ToStdWstring());
    pub.dmSpecVersion = m_specVersion;
    pub.dmDriverVersion = m_driverVersion;
    pub.dmSize = size;
    pub.dmDriverExtra = uint16_t(priv.size());
    uint32_t f = pub.dmFields | m_fields;
    pub.dmOrientation = data.GetOrientation() == wxLANDSCAPE ? DMORIENT_LANDSCAPE : DMORIENT_PORTRAIT;
    if (const short standard = papers::numberOfToolkitPaper(data.GetPaperId())) {
        pub.dmPaperSize = standard;
    } else {
        pub.dmPaperSize = m_paperNumber;
        // Whole millimetres come back from the toolkit; the record's finer value
        // stays while it rounds to the same millimetre.
        const wxSize mm = data.GetPaperSize();
        if (mm.x > 0 && mm.y > 0) {
            if (pub.dmPaperWidth / 10 != mm.x || !(f & DM_PAPERWIDTH))
                pub.dmPaperWidth = clampShort(long(mm.x) * 10);
            if (pub.dmPaperLength / 10 != mm.y || !(f & DM_PAPERLENGTH))
                pub.dmPaperLength = clampShort(long(mm.y) * 10);
            f |= DM_PAPERWIDTH | DM_PAPERLENGTH;
        }
    }
    pub.dmCopies = clampShort(std::max(1, data.GetNoCopies()));
    pub.dmDefaultSource = getBin(data, ours ? ours->m_userSource : 0);
    pub.dmPrintQuality = clampShort(mirrorQuality(data.GetQuality()));
    pub.dmColor = data.GetColour() ? DMCOLOR_COLOR : DMCOLOR_MONOCHROME;
    pub.dmDuplex = duplexToDm(data.GetDuplex());
    pub.dmCollate = data.GetCollate() ? DMCOLLATE_TRUE : DMCOLLATE_FALSE;
    f |= DM_ORIENTATION | DM_PAPERSIZE | DM_COPIES | DM_DEFAULTSOURCE | DM_PRINTQUALITY | DM_COLOR | DM_DUPLEX |
         DM_COLLATE;
    // Fields of the native table: a flag is added for a value other than the one
    // an absent flag stands for, and never taken away.
    pub.dmMediaType = uint32_t(data.GetMedia());
    pub.dmScale = m_scale;
    pub.dmYResolution = m_yResolution;
    pub.dmTTOption = m_ttOption;
    devmode::setText(pub.dmFormName, m_formName.ToStdWstring());
    pub.dmNup = m_nup;
    pub.dmICMMethod = m_icmMethod;
    pub.dmICMIntent = m_icmIntent;
    pub.dmDitherType = m_ditherType;
    f |= (pub.dmMediaType ? DM_MEDIATYPE : 0) | (m_scale != 100 ? DM_SCALE : 0) |
         (m_yResolution ? DM_YRESOLUTION : 0) | (m_ttOption ? DM_TTOPTION : 0) |
         (m_formName.empty() ? 0 : DM_FORMNAME) | (m_nup ? DM_NUP : 0) | (m_icmMethod ? DM_ICMMETHOD : 0) |
         (m_icmIntent ? DM_ICMINTENT : 0) | (m_ditherType ? DM_DITHERTYPE : 0);
    pub.dmFields = f;

    // The record is rewritten in place when it is large enough, so that a device
    // mode pointer taken earlier (DEVMODE_RAII) keeps pointing at it.
    const size_t need = std::max<size_t>(sizeof(DEVMODEW), size_t(size) + pub.dmDriverExtra);
    if (!m_devMode || m_devModeBytes < need) {
        size_t bytes = 0;
        DevModePtr record = devmode::allocate(size, pub.dmDriverExtra, bytes);
        if (!record)
            return false;
        adopt(std::move(record), bytes);
    }
    uint8_t* base = reinterpret_cast<uint8_t*>(m_devMode.get());
    std::fill(base, base + m_devModeBytes, uint8_t(0));
    devmode::writePublic(m_devMode.get(), pub);
    if (size > sizeof(DEVMODEW))
        std::copy_n(tail.begin(), std::min<size_t>(tail.size(), size - sizeof(DEVMODEW)), base + sizeof(DEVMODEW));
    std::copy(priv.begin(), priv.end(), base + size);
    m_deviceName = printer;
    m_fields = f;
    return true;
}

bool WindowsPrintNativeData::ResolveConflicts() {
    if (!m_devMode)
        return false;
    if (!devmode::wellFormed(m_devMode.get(), m_devModeBytes)) {
        ut::logWarning(kSource, "ut::WindowsPrintNativeData::ResolveConflicts",
                       L"The device mode of '%ls' is malformed: dmSize %u and dmDriverExtra %u do not fit its %zu "
                       L"bytes.",
                       m_deviceName.wc_str(), unsigned(m_devMode->dmSize), unsigned(m_devMode->dmDriverExtra),
                       m_devModeBytes);
        return false;
    }
    printing::QueueDetails q;
    if (!describe(m_deviceName.ToStdWstring(), q))
        return false;
    m_driverName = q.makeAndModel;
    m_portName = q.deviceUri;
    DEVMODEW pub = devmode::readPublic(m_devMode.get());
    devmode::resolvePaper(pub, q);
    pub.dmCopies = std::max<int16_t>(1, pub.dmCopies);
    devmode::writePublic(m_devMode.get(), pub);
    return true;
}

// ------------------------------------------------------------------ factory

wxPrintNativeDataBase* PrintFactory::CreatePrintNativeData() { return new WindowsPrintNativeData; }

void registerPrintFactory() {
    wxPrintFactory::SetPrintFactory(new PrintFactory);
    setPrinterLookup(devmode::systemPrinterLookup());
}

void unRegisterPrintFactory() {
    if (dynamic_cast<PrintFactory*>(wxPrintFactory::GetFactory()))
        wxPrintFactory::SetPrintFactory(nullptr);
    if (printerLookup() == devmode::systemPrinterLookup())
        setPrinterLookup(nullptr);
}

// ------------------------------------------------------------------ DEVMODE_RAII

DEVMODE_RAII::DEVMODE_RAII(wxPrintData& data) : m_data(data) {}
DEVMODE_RAII::~DEVMODE_RAII() = default;

DEVMODEW* DEVMODE_RAII::get() {
    if (m_locked)
        return m_locked;
    if (!m_native) {
        m_native = WindowsPrintNativeData::GetNativeData(m_data);
        if (!m_native)
            return nullptr;
        m_native->TransferFrom(m_data);
        m_native->ResolveConflicts();
    }
    m_locked = m_native->GetDevMode();
    return m_locked;
}

size_t DEVMODE_RAII::bytes() const { return m_native && m_locked ? m_native->GetDevModeBytes() : 0; }

bool DEVMODE_RAII::updatePrintData() {
    if (!m_locked || !m_native)
        return false;
    if (!devmode::wellFormed(m_locked, m_native->GetDevModeBytes())) {
        ut::logWarning(kSource, "ut::DEVMODE_RAII::updatePrintData",
                       L"The changed device mode of '%ls' is malformed: dmSize %u and dmDriverExtra %u do not fit "
                       L"its %zu bytes; the print data keep their settings.",
                       m_data.GetPrinterName().wc_str(), unsigned(m_locked->dmSize),
                       unsigned(m_locked->dmDriverExtra), m_native->GetDevModeBytes());
        return false;
    }
    m_native->ResolveConflicts();
    return m_native->TransferTo(m_data);
}

// ------------------------------------------------------------------ system printers

PrinterHandle::PrinterHandle() = default;
PrinterHandle::PrinterHandle(const OdString& printer) { open(printer); }
PrinterHandle::~PrinterHandle() = default;

bool PrinterHandle::open(const OdString& printer) {
    close();
    auto opened = std::make_unique<detail::OpenPrinter>();
    if (!describe(printer.str(), opened->queue))
        return false;
    m_printer = std::move(opened);
    return true;
}

void PrinterHandle::close() { m_printer.reset(); }

OdString getPrinterComment(const PrinterHandle& printer) {
    return printer.isOpen() ? OdString(printer.get()->queue.info) : OdString();
}

DevModePtr getDevMode(const wchar_t* printer) {
    printing::QueueDetails q;
    if (!printer || !*printer || !describe(printer, q))
        return DevModePtr();
    size_t bytes = 0;
    return devmode::fromQueue(q, bytes);
}

void getSystemPrinters(OdArray<OdString>& printers) {
    devmode::clearPrinterError();
    std::vector<printing::Queue> queues;
    printing::Failure why;
    if (!printing::listQueues(queues, why)) {
        devmode::setPrinterError(why);
        return;
    }
    for (const auto& q : queues)
        printers.append(OdString(q.name));
}

OdString getDefaultSystemPrinter(bool fallback) {
    devmode::clearPrinterError();
    std::wstring name;
    printing::Failure why;
    if (!printing::defaultQueue(name, why))
        devmode::setPrinterError(why);
    if (name.empty() && fallback) {
        OdArray<OdString> printers;
        getSystemPrinters(printers);
        return printers.isEmpty() ? OdString() : printers.first();
    }
    return OdString(name);
}

ChangeDefaultPrinter::ChangeDefaultPrinter(const OdString& printer) : m_previous(getDefaultSystemPrinter(false)) {
    setDefaultPrinter(printer);
}

ChangeDefaultPrinter::~ChangeDefaultPrinter() {
    if (!m_previous.isEmpty())
        setDefaultPrinter(m_previous);
}

bool ChangeDefaultPrinter::setDefaultPrinter(const OdString& printer) {
    devmode::clearPrinterError();
    printing::Failure why;
    if (printing::setDefaultQueue(printer.str(), why))
        return true;
    devmode::setPrinterError(why);
    return false;
}

// ------------------------------------------------------------------ dump

namespace {

void dumpPublic(const DEVMODEW& dm, OdString& out) {
    OdString s;
    s.format(L"dmDeviceName = %ls\n"
             L"dmSpecVersion = %hu\ndmDriverVersion = %hu\ndmSize = %hu\ndmDriverExtra = %hu\ndmFields = %X\n"
             L"dmOrientation = %hi\ndmPaperSize = %hi\ndmPaperLength = %hi\ndmPaperWidth = %hi\ndmScale = %hi\n"
             L"dmCopies = %hi\ndmDefaultSource = %hi\ndmPrintQuality = %hi\ndmColor = %hi\ndmDuplex = %hi\n"
             L"dmYResolution = %hi\ndmTTOption = %hi\ndmCollate = %hi\n",
             devmode::text(dm.dmDeviceName).c_str(), dm.dmSpecVersion, dm.dmDriverVersion, dm.dmSize,
             dm.dmDriverExtra, unsigned(dm.dmFields), dm.dmOrientation, dm.dmPaperSize, dm.dmPaperLength,
             dm.dmPaperWidth, dm.dmScale, dm.dmCopies, dm.dmDefaultSource, dm.dmPrintQuality, dm.dmColor,
             dm.dmDuplex, dm.dmYResolution, dm.dmTTOption, dm.dmCollate);
    out += s;
    s.format(L"dmFormName = %ls\ndmLogPixels = %hu\ndmBitsPerPel = %X\ndmPelsWidth = %X\ndmPelsHeight = %X\n"
             L"dmDisplayFlags/dmNup = %X\ndmDisplayFrequency = %X\ndmICMMethod = %X\ndmICMIntent = %X\n"
             L"dmMediaType = %X\ndmDitherType = %X\ndmReserved1 = %X\ndmReserved2 = %X\ndmPanningWidth = %X\n"
             L"dmPanningHeight = %X\n",
             devmode::text(dm.dmFormName).c_str(), dm.dmLogPixels, unsigned(dm.dmBitsPerPel),
             unsigned(dm.dmPelsWidth), unsigned(dm.dmPelsHeight), unsigned(dm.dmNup), unsigned(dm.dmDisplayFrequency),
             unsigned(dm.dmICMMethod), unsigned(dm.dmICMIntent), unsigned(dm.dmMediaType), unsigned(dm.dmDitherType),
             unsigned(dm.dmReserved1), unsigned(dm.dmReserved2), unsigned(dm.dmPanningWidth),
             unsigned(dm.dmPanningHeight));
    out += s;
}

void dumpPrivate(const uint8_t* bytes, size_t count, OdString& out) {
    static const wchar_t kHex[] = L"0123456789ABCDEF";
    std::wstring s;
    for (size_t i = 0; i < count; ++i) {
        s += kHex[bytes[i] >> 4];
        s += kHex[bytes[i] & 0xF];
        s += L' ';
        if (i % 16 == 15 || i + 1 == count)
            s += L'\n';
    }
    out += OdString(s);
}

} // namespace

void dumpDevMode(const DEVMODEW* dm, OdString& out) {
    if (!dm)
        return;
    dumpPublic(*dm, out);
    out += L"\nprivate data:\n";
    if (dm->dmDriverExtra)
        dumpPrivate(devmode::privateBytes(dm), dm->dmDriverExtra, out);
    else
        out += L"No\n";
}

void dumpDevMode(const DEVMODEW* dm, size_t recordBytes, OdString& out) {
    if (!dm)
        return;
    DEVMODEW pub{};
    std::memcpy(&pub, dm, std::min(recordBytes, sizeof(DEVMODEW)));
    dumpPublic(pub, out);
    out += L"\nprivate data:\n";
    if (pub.dmDriverExtra == 0) {
        out += L"No\n";
    } else if (!devmode::wellFormed(dm, recordBytes)) {
        ut::logWarning(kSource, "ut::dumpDevMode",
                       L"The device mode of '%ls' is malformed: dmSize %u and dmDriverExtra %u do not fit its %zu "
                       L"bytes; its private bytes are not shown.",
                       devmode::text(pub.dmDeviceName).c_str(), unsigned(pub.dmSize), unsigned(pub.dmDriverExtra),
                       recordBytes);
        out += L"No\n";
    } else {
        dumpPrivate(devmode::privateBytes(dm), dm->dmDriverExtra, out);
    }
}

bool hasOwnPrivateData(const DEVMODEW* dm, size_t recordBytes) {
    std::vector<std::pair<std::string, std::string>> options;
    return devmode::wellFormed(dm, recordBytes) && dm->dmDriverExtra &&
           devmode::decodeOptions(devmode::privateBytes(dm), dm->dmDriverExtra, options);
}

bool getJobOptions(wxPrintData& data, std::vector<std::pair<OdString, OdString>>& options) {
    options.clear();
    DEVMODE_RAII record(data);
    const DEVMODEW* dm = record.get();
    if (!dm)
        return false;
    const WindowsPrintNativeData* native = WindowsPrintNativeData::GetNativeData(data);
    printing::QueueDetails q;
    const bool known = native && describe(native->GetDeviceName().ToStdWstring(), q);
    for (const auto& [name, value] : devmode::jobOptions(dm, record.bytes(), known ? &q : nullptr))
        options.emplace_back(OdString(name.c_str()), OdString(value.c_str()));
    return true;
}

} // namespace ut

// ------------------------------------------------------------------ CPrnHelper

CPrnHelper::CPrnHelper(const wchar_t* printer) : m_handle(OdString(printer)) {}
CPrnHelper::~CPrnHelper() = default;

bool CPrnHelper::isValid() const { return m_handle.isOpen(); }

namespace {
bool answer(const ut::PrinterHandle& h, const std::wstring printing::Queue::*field, OdString& out) {
    if (!h.isOpen())
        return false;
    out = OdString(h.get()->queue.*field);
    return true;
}
} // namespace

bool CPrnHelper::getPorts(OdString& ports) const { return answer(m_handle, &printing::Queue::deviceUri, ports); }
bool CPrnHelper::getPrinterDriver(OdString& driver) const {
    return answer(m_handle, &printing::Queue::makeAndModel, driver);
}
bool CPrnHelper::getComment(OdString& comment) const { return answer(m_handle, &printing::Queue::info, comment); }
bool CPrnHelper::getLocation(OdString& location) const {
    return answer(m_handle, &printing::Queue::location, location);
}
bool CPrnHelper::isPostScript() const { return m_handle.isOpen() && m_handle.get()->queue.acceptsPostScript; }
bool CPrnHelper::isLocal() const { return m_handle.isOpen() && !m_handle.get()->queue.remote; }
