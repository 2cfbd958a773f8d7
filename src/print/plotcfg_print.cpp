// Printer configurations made from system printers and print settings, and
// applied back to print settings; the printer look-ups of CPlotCfg3::read over the
// system printers. The parts that need no printer (papers, the built-in PDF
// output) are in src/utils/plotcfg/plotcfg_media.cpp.
#include <algorithm>
#include <cmath>
#include <memory>

#include <wx/translation.h>

#include "print/devmode.h"
#include "plotcfg.h"
#include "ut_log.h"
#include "ut_papers.h"
#include "ut_printdata.h"

namespace {

const char kSource[] = "src/utils/plot/plotcfg_print";

bool equalsNoCase(const OdString& a, const wchar_t* b) { return a.iCompare(b) == 0; }

bool isFilePort(const wchar_t* port) {
    const OdString p(port);
    return equalsNoCase(p, L"FILE") || equalsNoCase(p, L"FILE:");
}

// The device values of a device mode that a configuration keeps as custom values.
void takeDeviceValues(CCustomNode& custom, const DEVMODEW* dm) {
    custom.set(int(dm->dmDriverExtra), CCustomNode::kDmDriverExtra);
    if (dm->dmDriverExtra)
        custom.setBin(ut::bytesToHex(ut::devmode::privateBytes(dm), dm->dmDriverExtra).c_str(),
                      CCustomNode::kRawPrivateDeviceData);
    else
        custom.remove(CCustomNode::kRawPrivateDeviceData);
    custom.set(int(dm->dmSize), CCustomNode::kDmSize);
    custom.set(int(dm->dmSpecVersion), CCustomNode::kDmSpecVersion);
}

// Stores an integer that may have no value yet: a zero is stored only over an
// existing value, so that taking settings adds nothing that says nothing.
void storeInt(CCustomNode& custom, const wchar_t* name, long value) {
    if (value != 0 || custom.has(name, CCustomNode::kInt))
        custom.set(int(value), name);
}

int customInt(const CPlotCfg3& cfg, const wchar_t* name, int fallback) {
    int v = fallback;
    if (cfg.custom)
        cfg.custom->get(v, name);
    return v;
}

OdString customPaperName(short number) {
    OdString s;
    s.format(L"User%d", int(number));
    return s;
}

} // namespace

// ------------------------------------------------------------------ configuration

CPlotCfg3* CPlotCfg3::create(const wchar_t* printer) {
    const OdString name(printer);
    if (equalsNoCase(name, kPdfDeviceName)) {
        auto cfg = std::make_unique<CPlotCfg3>();
        cfg->meta.localizedModelName = name;
        cfg->initForPdfExport();
        return cfg.release();
    }

    ut::PrintData data(name.c_str());
    ut::WindowsPrintNativeData* native = ut::WindowsPrintNativeData::GetNativeData(data);
    if (!native) {
        ut::logError(kSource, "CPlotCfg3::create",
                     L"Cannot make a configuration for %ls: printing support is not registered "
                     L"(ut::registerPrintFactory).",
                     name.c_str());
        return nullptr;
    }
    ut::PrinterHandle handle(name);
    if (name.isEmpty() || !native->GetDevMode() || !handle.isOpen()) {
        ut::logError(kSource, "CPlotCfg3::create", L"Failed to open %ls.", name.c_str());
        return nullptr;
    }

    auto cfg = std::make_unique<CPlotCfg3>();
    CMetaNode& m = cfg->meta;
    m.winDeviceName = m.friendlyNetName = m.shortNetName = name;
    m.winDriverName = OdString(data.getDriverName().wc_str());
    m.driverPathname = L"gdiplot7.hdi";
    m.driverVersion = L"not specified";
    m.driverTagLine = L"Windows System Driver from Autodesk";
    m.toolkitVersion = 1;
    m.driverType = 1;
    m.configDescription = ut::getPrinterComment(handle);
    handle.close();

    const OdString port(native->GetPortName().wc_str());
    ut::DEVMODE_RAII record(data);
    const DEVMODEW* dm = record.get();
    bool ok = dm && ut::devmode::wellFormed(dm, record.bytes());
    if (ok) {
        takeDeviceValues(cfg->custom.emplace(), dm);
        short number = 0;
        ut::PaperSizeInfo paper;
        bool changed = false;
        if (data.getDmPaperSize(number) && ut::PaperSizeGetter(name.c_str()).find(number, paper))
            cfg->media.set(paper, changed);
        else
            cfg->media.size.name = customPaperName(number);
        ok = cfg->fromPrintData(data, port.c_str());
    }
    if (!ok) {
        ut::logError(kSource, "CPlotCfg3::create", L"Failed to initialize plot configuration from print data for %ls.",
                     name.c_str());
        return nullptr;
    }
    return cfg.release();
}

bool CPlotCfg3::fromPrintData(ut::PrintData& data, const wchar_t* port) {
    ut::WindowsPrintNativeData* native = ut::WindowsPrintNativeData::GetNativeData(data);
    ut::DEVMODE_RAII record(data);
    const DEVMODEW* dm = record.get();
    if (!native || !dm || !ut::devmode::wellFormed(dm, record.bytes()))
        return false;
    const DEVMODEW pub = ut::devmode::readPublic(dm);
    CPlotCfg3 n = *this;
    CCustomNode& custom = n.custom ? *n.custom : n.custom.emplace();

    const OdString printer(data.GetPrinterName().wc_str());
    int storedExtra = -1;
    const bool samePrinter = equalsNoCase(printer, n.meta.winDeviceName);
    if (!samePrinter || !custom.get(storedExtra, CCustomNode::kDmDriverExtra) || storedExtra != pub.dmDriverExtra)
        takeDeviceValues(custom, dm);
    if (!samePrinter && !printer.isEmpty())
        n.meta.winDeviceName = printer;
    if (!data.getDriverName().empty())
        n.meta.winDriverName = OdString(data.getDriverName().wc_str());
    n.meta.dmDriverVersion = native->GetDriverVersion();
    n.meta.truetypeAsText = data.isTtfAsText();
    if (port && isFilePort(port))
        n.io.plotToFile = true;

    if (data.GetNoCopies() != n.media.numberOfCopies)
        n.media.numberOfCopies = std::max(1, data.GetNoCopies());
    int stored = 0;
    const int mediaType = data.GetMedia();
    if (mediaType != 0 && !(custom.get(stored, CCustomNode::kDmMediaType) && stored == mediaType))
        custom.set(mediaType, CCustomNode::kDmMediaType);
    const int source = data.getDmBin();
    if (source != 0 && !(custom.get(stored, CCustomNode::kDmDefaultSource) && stored == source))
        custom.set(source, CCustomNode::kDmDefaultSource);

    n.media.dmOrientation = data.GetOrientation() == wxLANDSCAPE ? 2 : 1;
    n.media.size.dmScale = native->GetScale() > 0 ? native->GetScale() : 100;
    n.resColorMem.dmColor = data.GetColour() ? 2 : 1;
    if (n.resColorMem.numColors == 0) {
        n.resColorMem.numColors = n.resColorMem.numUnditheredColors = data.GetColour() ? 0x1000000 : 2;
        n.resColorMem.colorDepth = data.GetColour() ? 24 : 1;
    }
    n.resColorMem.icmMethod = int(native->GetICMMethod());
    n.resColorMem.icmIntent = int(native->GetICMIntent());
    const short quality = data.getDmQuality();
    if (quality < 0)
        n.resColorMem.resolution.set(quality);
    else if (quality > 0)
        n.resColorMem.resolution.set(quality, native->GetYResolution() > 0 ? native->GetYResolution() : quality);
    if (!data.GetCollate() || n.media.destination)
        (n.media.destination ? *n.media.destination : n.media.destination.emplace()).setCollating(data.GetCollate());

    custom.set(int(pub.dmFields), CCustomNode::kDmFields);
    custom.set(int(data.getDmDuplex()), CCustomNode::kDmDuplex);
    storeInt(custom, CCustomNode::kDmTTOption, native->GetTTOption());
    storeInt(custom, CCustomNode::kDmNup, long(native->GetNup()));
    storeInt(custom, CCustomNode::kDmDitherType, long(native->GetDitherType()));

    short number = 0;
    if (data.getDmPaperSize(number)) {
        ut::PaperSizeInfo paper;
        bool changed = false;
        if (ut::PaperSizeGetter(printer.c_str()).find(number, paper)) {
            n.media.set(paper, changed);
        } else if (ut::getPSnumber(n.media.size.name.c_str()) != number) {
            // Not a paper of the printer: the paper keeps its number as a custom
            // paper name, and the sheet its size.
            const wxSize mm = data.GetPaperSize();
            ut::PaperSizeInfo custom;
            custom.name = customPaperName(number);
            custom.width = custom.printableUrx = mm.x;
            custom.height = custom.printableUry = mm.y;
            if (!n.media.set(custom, changed))
                n.media.size.name = custom.name;
        }
    }
    *this = std::move(n);
    return true;
}

bool CPlotCfg3::toPrintData(ut::PrintData& data) const {
    ut::WindowsPrintNativeData* native = ut::WindowsPrintNativeData::GetNativeData(data);
    const OdString& device = meta.winDeviceName;
    if (!device.isEmpty()) {
        data.SetPrinterName(wxString(device.c_str()));
        // The printer's own device mode is the base; a printer this system does not
        // have leaves none, so nothing of another printer is carried over.
        if (native && !native->Initialize(data, wxString(device.c_str())))
            native->ResetDevMode();
    }

    data.SetOrientation(media.dmOrientation == 2 ? wxLANDSCAPE : wxPORTRAIT);
    data.SetNoCopies(std::max(1, media.numberOfCopies));
    data.SetColour(resColorMem.dmColor == 2);
    data.setDmDuplex(short(customInt(*this, CCustomNode::kDmDuplex, 0)));
    data.SetCollate(!media.destination || media.destination->collatingType == 1);
    long y = 0;
    const long resolution = resColorMem.resolution.get(&y);
    if (resolution != 0)
        data.setDmQuality(short(std::clamp<long>(resolution, INT16_MIN, INT16_MAX)));
    data.SetMedia(customInt(*this, CCustomNode::kDmMediaType, 0));
    int source = 0;
    if (custom && custom->get(source, CCustomNode::kDmDefaultSource))
        data.setDmBin(short(source));

    const uint32_t fieldMask = uint32_t(customInt(*this, CCustomNode::kDmFields, 0));
    if (native) {
        int v = 0;
        if (custom && custom->get(v, CCustomNode::kDmSize) && v >= ut::kMinDevModeSize && v <= ut::kMaxDevModeSize)
            native->SetSize(uint16_t(v));
        native->SetDriverVersion(uint16_t(meta.dmDriverVersion));
        native->SetScale(int16_t(std::clamp(media.size.dmScale, 1, int(INT16_MAX))));
        native->SetICMMethod(uint32_t(resColorMem.icmMethod));
        native->SetICMIntent(uint32_t(resColorMem.icmIntent));
        native->SetYResolution(resolution > 0 ? int16_t(std::clamp<long>(y, 0, INT16_MAX)) : 0);
        if (custom && custom->get(v, CCustomNode::kDmSpecVersion) && v >= 0 && v <= 0xFFFF)
            native->SetSpecVersion(uint16_t(v));
        if (custom && custom->get(v, CCustomNode::kDmTTOption))
            native->SetTTOption(int16_t(v));
        if (custom && custom->get(v, CCustomNode::kDmNup))
            native->SetNup(uint32_t(v));
        if (custom && custom->get(v, CCustomNode::kDmDitherType))
            native->SetDitherType(uint32_t(v));
        native->SetFields(fieldMask);
    }

    // Private bytes only when everything about them adds up.
    std::vector<uint8_t> priv;
    int extra = -1, size = -1;
    OdString hex;
    const bool usable = custom && !device.isEmpty() && custom->get(extra, CCustomNode::kDmDriverExtra) &&
                        custom->get(size, CCustomNode::kDmSize) && extra >= 0 && size >= 0 &&
                        custom->getBin(hex, CCustomNode::kRawPrivateDeviceData) &&
                        hex.getLength() == 2 * extra && ut::hexToBytes(hex, priv);
    if (!usable && custom && custom->has(CCustomNode::kRawPrivateDeviceData, CCustomNode::kBinary))
        ut::logWarning(kSource, "CPlotCfg3::toPrintData",
                       L"The private device data stored for %ls do not match dmDriverExtra and dmSize; the "
                       L"printer's own are used.",
                       device.c_str());
    if (usable && !priv.empty())
        data.SetPrivData(reinterpret_cast<char*>(priv.data()), int(priv.size()));
    else
        data.SetPrivData(nullptr, 0);

    const auto applies = [&](uint32_t flag) { return fieldMask == 0 || (fieldMask & flag) != 0; };
    const OdString& paperName = media.size.name;
    ut::PaperSizeInfo paper;
    int number = 0;
    const bool known = !device.isEmpty() && ut::PaperSizeGetter(device.c_str()).find(paperName, paper);
    // Why the printer's papers could not be asked, when that is why the paper was not found.
    const OdString unasked = known || device.isEmpty() ? OdString() : ut::lastPrinterError();
    if (known) {
        if (native && applies(DM_FORMNAME))
            native->SetFormName(wxString(paper.name.c_str()));
        if (applies(DM_PAPERSIZE))
            data.setDmPaperSize(paper.number, wxSize(int(paper.width), int(paper.height)));
    } else if (ut::isCustomPaperSize(number, paperName.c_str()) && number >= INT16_MIN && number <= INT16_MAX) {
        if (applies(DM_PAPERSIZE))
            data.setDmPaperSize(short(number), wxSize(int(media.size.mediaDescription.mediaBounds.urx),
                                                      int(media.size.mediaDescription.mediaBounds.ury)));
    } else if (!paperName.isEmpty() && !unasked.isEmpty()) {
        ut::logWarning(kSource, "CPlotCfg3::toPrintData",
                       L"The papers of %ls cannot be asked for: %ls; the paper '%ls' is not applied.", device.c_str(),
                       unasked.c_str(), paperName.c_str());
    } else if (!paperName.isEmpty()) {
        ut::logWarning(kSource, "CPlotCfg3::toPrintData",
                       L"The paper '%ls' is not a paper of %ls; the printer's default paper is kept.",
                       paperName.c_str(), device.c_str());
    }
    return true;
}

// ------------------------------------------------------------------ printer look-ups

namespace {

bool driverOf(const OdString& printer, OdString& driver) { return CPrnHelper(printer.c_str()).getPrinterDriver(driver); }

class SystemPrinterLookup : public ut::PrinterLookup {
public:
    bool resolvePrinterByDriver(CPlotCfg3& cfg) override {
        const OdString wanted = cfg.meta.winDriverName;
        OdString driver;
        if (!cfg.meta.winDeviceName.isEmpty() && driverOf(cfg.meta.winDeviceName, driver) &&
            equalsNoCase(driver, wanted.c_str()))
            return true;
        OdArray<OdString> printers;
        ut::getSystemPrinters(printers);
        for (const OdString& p : printers) {
            if (!driverOf(p, driver) || !equalsNoCase(driver, wanted.c_str()))
                continue;
            const OdString old = cfg.meta.winDeviceName;
            cfg.meta.winDeviceName = p;
            // Names that stood for the old printer follow it; others were the user's.
            if (cfg.meta.shortNetName == old)
                cfg.meta.shortNetName = p;
            if (cfg.meta.friendlyNetName == old)
                cfg.meta.friendlyNetName = p;
            return true;
        }
        return false;
    }
    OdString defaultSystemPrinter() override { return ut::getDefaultSystemPrinter(true); }
    CPlotCfg3* createForPrinter(const wchar_t* printer) override { return CPlotCfg3::create(printer); }
};

} // namespace

ut::PrinterLookup* ut::devmode::systemPrinterLookup() {
    static SystemPrinterLookup lookup;
    return &lookup;
}
