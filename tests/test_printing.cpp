// Print data, device modes and printer configurations made from printers, against
// a private CUPS scheduler with known queues (see private_scheduler.h):
// Laser_Color (default, colour laser, Letter), Laser_Twin (same model),
// PDF_Writer (cups-pdf) and Annex_Remote (a queue of another server).
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <wx/dcprint.h>

#include "plotcfg.h"
#include "private_scheduler.h"
#include "test_support.h"
#include "ut_papers.h"
#include "ut_printdata.h"

using namespace testing_support;

namespace {

::testing::Environment* const g_scheduler = ::testing::AddGlobalTestEnvironment(new PrivateScheduler);

const char kLaserDriver[] = "HP Color LaserJet Series PCL 6 CUPS";

// Every test sees the print factory and printer look-ups registered, as the
// application registers them at start.
class Printing : public ::testing::Test {
protected:
    void SetUp() override { ut::registerPrintFactory(); }
    void TearDown() override { ut::unRegisterPrintFactory(); }
};

std::vector<uint8_t> recordBytes(const DEVMODEW* dm) {
    const auto* b = reinterpret_cast<const uint8_t*>(dm);
    return std::vector<uint8_t>(b, b + dm->dmSize + dm->dmDriverExtra);
}

std::string dump(const DEVMODEW* dm) {
    OdString out;
    ut::dumpDevMode(dm, out);
    return U(out);
}

std::string option(const std::vector<std::pair<OdString, OdString>>& options, const char* name) {
    for (const auto& [n, v] : options)
        if (U(n) == name)
            return U(v);
    return "<absent>";
}

std::unique_ptr<CPlotCfg3> createFor(const wchar_t* printer) { return std::unique_ptr<CPlotCfg3>(CPlotCfg3::create(printer)); }

std::unique_ptr<CPlotCfg3> readBack(const OdString& path, bool& found) {
    return std::unique_ptr<CPlotCfg3>(CPlotCfg3::read(path.c_str(), found));
}

// The device mode a configuration gives print data on this system.
std::vector<uint8_t> appliedRecord(const CPlotCfg3& cfg, ut::PrintData& data) {
    EXPECT_TRUE(cfg.toPrintData(data));
    ut::DEVMODE_RAII record(data);
    return record ? recordBytes(record.get()) : std::vector<uint8_t>();
}

// Restores a queue's saved options when a test that changed them ends.
struct SavedOptions {
    explicit SavedOptions(std::string printer) : m_printer(std::move(printer)) {}
    ~SavedOptions() {
        for (const auto& name : m_names)
            PrivateScheduler::run("lpoptions -p " + m_printer + " -r " + name);
    }
    void set(const std::string& name, const std::string& value) {
        m_names.push_back(name);
        EXPECT_TRUE(PrivateScheduler::run("lpoptions -p " + m_printer + " -o " + name + "=" + value));
    }
    std::string m_printer;
    std::vector<std::string> m_names;
};

} // namespace

TEST_F(Printing, SystemPrintersComeLocalFirstWithTheDefaultMarked) {
    // The remote queue sorts first by name but comes after every local one.
    OdArray<OdString> printers;
    ut::getSystemPrinters(printers);
    std::vector<std::string> names;
    for (const auto& p : printers)
        names.push_back(U(p));
    EXPECT_EQ((std::vector<std::string>{"Laser_Color", "Laser_Twin", "PDF_Writer", "Annex_Remote"}), names);
    EXPECT_TRUE(ut::lastPrinterError().isEmpty());
    EXPECT_EQ(L"Laser_Color", ut::getDefaultSystemPrinter(false));

    // A user default replaces the scheduler's for the lifetime of the change.
    {
        ut::ChangeDefaultPrinter change(L"PDF_Writer");
        EXPECT_EQ(L"Laser_Color", change.previous());
        EXPECT_EQ(L"PDF_Writer", ut::getDefaultSystemPrinter(false));
        EXPECT_TRUE(change.setDefaultPrinter(L"Laser_Twin"));
        EXPECT_EQ(L"Laser_Twin", ut::getDefaultSystemPrinter(true));
        // A printer that does not exist is refused and says why.
        EXPECT_FALSE(change.setDefaultPrinter(L"No_Such_Printer"));
        EXPECT_NE(std::string::npos, U(ut::lastPrinterError()).find("No_Such_Printer"));
        EXPECT_EQ(L"Laser_Twin", ut::getDefaultSystemPrinter(false));
    }
    EXPECT_EQ(L"Laser_Color", ut::getDefaultSystemPrinter(false));

    // What the tool lists, in the same order.
    std::string out;
    ASSERT_EQ(0, runTool({"printers", "--json"}, &out));
    EXPECT_NE(std::string::npos, out.find(R"({"name":"Laser_Color","default":true,"local":true,"postscript":true,)"
                                          R"("driver":"HP Color LaserJet Series PCL 6 CUPS","comment":"Colour laser )"
                                          R"(on the second floor")"))
        << out;
    EXPECT_LT(out.find("PDF_Writer"), out.find("Annex_Remote"));
    EXPECT_NE(std::string::npos, out.find(R"("name":"Annex_Remote","default":false,"local":false)"));
}

// The printer list keeps its columns in line for names of any script: a name's
// width is what it takes on screen, not its bytes or characters.
TEST_F(Printing, PrinterListAlignsNamesByTheirWidthOnScreen) {
    struct Queue {
        std::string name;
        size_t width; // columns on a terminal
    };
    const Queue added[] = {
        {"Drucker_B\xc3\xbcro", 12},                             // 2 bytes, 1 column
        {"\xe6\x97\xa5\xe6\x9c\xac_Plotter", 12},                // wide: 3 bytes, 2 columns each
        {"Cafe\xcc\x81", 4},                                     // a combining accent takes none
        {"Plotter_im_zweiten_Stock_Nord", 29},                   // wider than the usual column
    };
    struct Removal {
        const Queue* queues;
        ~Removal() {
            for (size_t i = 0; i < 4; ++i)
                PrivateScheduler::run("lpadmin -x '" + queues[i].name + "'");
        }
    } removal{added};
    for (const Queue& q : added)
        ASSERT_TRUE(PrivateScheduler::run("lpadmin -p '" + q.name + "' -E -v file:///dev/null")) << q.name;

    std::string out, err;
    ASSERT_EQ(0, runTool({"printers"}, &out, &err)) << err;
    std::istringstream lines(out);
    std::vector<size_t> column; // where "local" or "remote" starts, in columns
    for (std::string line; std::getline(lines, line);) {
        size_t width = 0;
        for (const Queue& q : added)
            if (line.compare(2, q.name.size() + 1, q.name + " ") == 0)
                width = q.width;
        if (width == 0) // the known queues are ASCII
            width = line.find(' ', 2) - 2;
        const size_t name = 2 + line.substr(2).find_first_of(' ');
        const size_t blanks = line.find_first_not_of(' ', name) - name;
        column.push_back(2 + width + blanks);
    }
    ASSERT_EQ(8u, column.size()) << out;
    EXPECT_EQ(std::vector<size_t>(8, 2 + 29 + 1), column) << out;
}

TEST_F(Printing, PrinterFacts) {
    CPrnHelper laser(L"Laser_Color");
    OdString port, driver, comment;
    ASSERT_TRUE(laser.isValid());
    EXPECT_TRUE(laser.getPorts(port) && port == L"file:///dev/null");
    EXPECT_TRUE(laser.getPrinterDriver(driver) && U(driver) == kLaserDriver);
    EXPECT_TRUE(laser.getComment(comment) && comment == L"Colour laser on the second floor");
    EXPECT_TRUE(laser.isPostScript() && laser.isLocal());
    EXPECT_FALSE(CPrnHelper(L"Annex_Remote").isLocal());

    CPrnHelper missing(L"No_Such_Printer");
    EXPECT_FALSE(missing.isValid() || missing.getPorts(port) || missing.isPostScript());
    ut::PrinterHandle handle;
    EXPECT_FALSE(handle.open(L"No_Such_Printer"));
    EXPECT_TRUE(handle.open(L"PDF_Writer"));
    EXPECT_EQ(L"PDF files", ut::getPrinterComment(handle));
}

TEST_F(Printing, DeviceModeFromTheQueueDefaults) {
    ut::DevModePtr dm = ut::getDevMode(L"Laser_Color");
    ASSERT_NE(nullptr, dm.get());
    const std::string text = dump(dm.get());
    // The public part: the PPD's defaults in device-mode terms.
    for (const char* line : {"dmDeviceName = Laser_Color\n", "dmSpecVersion = 1025\n", "dmSize = 220\n",
                             "dmOrientation = 1\n", "dmPaperSize = 1\n", "dmPaperLength = 2794\n",
                             "dmPaperWidth = 2159\n", "dmScale = 100\n", "dmCopies = 1\n", "dmDefaultSource = 7\n",
                             "dmPrintQuality = 600\n", "dmColor = 2\n", "dmDuplex = 1\n", "dmYResolution = 600\n",
                             "dmCollate = 1\n", "dmFormName = Letter\n", "dmDisplayFlags/dmNup = 1\n"})
        EXPECT_NE(std::string::npos, text.find(line)) << line << text;
    // The private part carries the queue's other options, marked as this library's.
    EXPECT_GT(dm->dmDriverExtra, 16);
    EXPECT_TRUE(ut::hasOwnPrivateData(dm.get(), sizeof(DEVMODEW) + dm->dmDriverExtra));

    // A queue's options saved by the user are part of its device mode.
    {
        SavedOptions saved("Laser_Color");
        saved.set("media", "A4");
        saved.set("sides", "two-sided-short-edge");
        ut::DevModePtr changed = ut::getDevMode(L"Laser_Color");
        ASSERT_TRUE(changed);
        EXPECT_EQ(9, changed->dmPaperSize);
        EXPECT_EQ(2970, changed->dmPaperLength);
        EXPECT_EQ(DMDUP_HORIZONTAL, changed->dmDuplex);
    }

    EXPECT_FALSE(ut::getDevMode(L"No_Such_Printer"));
    EXPECT_NE(std::string::npos, U(ut::lastPrinterError()).find("no printer named 'No_Such_Printer'"));
    EXPECT_FALSE(ut::getDevMode(L""));
}

TEST_F(Printing, PrintDataCarryTheQueueDeviceModeUnchanged) {
    // Device mode -> print data -> device mode gives back every byte, for every
    // kind of queue.
    for (const wchar_t* printer : {L"Laser_Color", L"PDF_Writer", L"Annex_Remote"}) {
        SCOPED_TRACE(U(printer));
        ut::DevModePtr fresh = ut::getDevMode(printer);
        ASSERT_TRUE(fresh);
        ut::PrintData data(printer);
        EXPECT_EQ(printer, OdString(data.GetPrinterName().wc_str()));
        ut::DEVMODE_RAII record(data);
        ASSERT_NE(nullptr, record.get());
        EXPECT_EQ(recordBytes(fresh.get()), recordBytes(record.get())) << dump(fresh.get()) << dump(record.get());
    }

    // EInit takes the default printer.
    ut::PrintData byDefault(ut::PrintData::kInit);
    EXPECT_EQ("Laser_Color", byDefault.GetPrinterName().utf8_string());
    EXPECT_EQ(kLaserDriver, byDefault.getDriverName().utf8_string());
    EXPECT_TRUE(byDefault.GetColour());
    EXPECT_EQ(wxPAPER_LETTER, byDefault.GetPaperId());

    // An unknown printer leaves toolkit defaults and no device values.
    ut::PrintData unknown(L"No_Such_Printer");
    EXPECT_EQ("No_Such_Printer", unknown.GetPrinterName().utf8_string());
    EXPECT_EQ(nullptr, ut::WindowsPrintNativeData::GetNativeData(unknown)->GetDevMode());
    EXPECT_FALSE(unknown.ResolveConflicts());
}

TEST_F(Printing, DeviceModeRoundTripThroughAConfigurationFile) {
    TempDir dir;
    ut::DevModePtr original = ut::getDevMode(L"Laser_Color");
    ASSERT_TRUE(original);
    auto made = createFor(L"Laser_Color");
    ASSERT_TRUE(made);
    ASSERT_EQ(0, made->write(dir.wfile("laser.pc3").c_str()));

    // The queue changes afterwards: another paper, duplex, a carried option.
    SavedOptions saved("Laser_Color");
    saved.set("media", "A4");
    saved.set("sides", "two-sided-long-edge");
    saved.set("job-priority", "80");

    bool found = false;
    auto cfg = readBack(dir.wfile("laser.pc3"), found);
    ASSERT_TRUE(cfg);
    EXPECT_TRUE(found);
    ut::PrintData data;
    // Public values and private bytes as they were when the file was made.
    EXPECT_EQ(recordBytes(original.get()), appliedRecord(*cfg, data));
    std::vector<std::pair<OdString, OdString>> options;
    ASSERT_TRUE(ut::getJobOptions(data, options));
    EXPECT_EQ("50", option(options, "job-priority"));
    EXPECT_EQ("na_letter_8.5x11in", option(options, "media"));
    EXPECT_EQ("one-sided", option(options, "sides"));
    EXPECT_EQ("600dpi", option(options, "printer-resolution"));

    // Taking the applied settings back changes nothing in the configuration.
    CPlotCfg3 again = *cfg;
    ASSERT_TRUE(again.fromPrintData(data, L"file:///dev/null"));
    TempDir texts;
    EXPECT_EQ(0, cfg->write(texts.wfile("a.pc3").c_str()));
    // Reals read back in single precision: one more pass makes both alike.
    EXPECT_EQ(0, again.write(texts.wfile("b.pc3").c_str()));
    std::unique_ptr<CPlotCfg3> reread(CPlotCfg3::readStored(texts.wfile("b.pc3").c_str()));
    ASSERT_TRUE(reread);
    EXPECT_EQ(0, reread->write(texts.wfile("b.pc3").c_str()));
    std::string ta, tb;
    EXPECT_EQ(0, runTool({"pia", "cat", texts.file("a.pc3")}, &ta));
    EXPECT_EQ(0, runTool({"pia", "cat", texts.file("b.pc3")}, &tb));
    EXPECT_EQ(ta, tb);
}

TEST_F(Printing, ConfigurationMadeFromAPrinter) {
    auto cfg = createFor(L"Laser_Color");
    ASSERT_TRUE(cfg);
    const CMetaNode& m = cfg->meta;
    EXPECT_EQ(L"Laser_Color", m.winDeviceName);
    EXPECT_EQ(L"Laser_Color", m.friendlyNetName);
    EXPECT_EQ(L"Laser_Color", m.shortNetName);
    EXPECT_EQ(L"gdiplot7.hdi", m.driverPathname);
    EXPECT_EQ(L"not specified", m.driverVersion);
    EXPECT_EQ(L"Windows System Driver from Autodesk", m.driverTagLine);
    EXPECT_EQ(1, m.toolkitVersion);
    EXPECT_EQ(1, m.driverType);
    EXPECT_EQ(L"Colour laser on the second floor", m.configDescription);
    EXPECT_EQ(kLaserDriver, U(m.winDriverName));
    EXPECT_FALSE(cfg->isPdfExport());

    ut::DevModePtr dm = ut::getDevMode(L"Laser_Color");
    ASSERT_TRUE(cfg->custom && dm);
    int extra = 0, size = 0, version = 0;
    OdString hex;
    EXPECT_TRUE(cfg->custom->get(extra, CCustomNode::kDmDriverExtra) && extra == dm->dmDriverExtra);
    EXPECT_TRUE(cfg->custom->get(size, CCustomNode::kDmSize) && size == 220);
    EXPECT_TRUE(cfg->custom->get(version, CCustomNode::kDmSpecVersion) && version == 0x401);
    EXPECT_TRUE(cfg->custom->getBin(hex, CCustomNode::kRawPrivateDeviceData));
    EXPECT_EQ(ut::bytesToHex(reinterpret_cast<const uint8_t*>(dm.get()) + 220, dm->dmDriverExtra), hex);

    // The paper is the queue's default with the printer's margins.
    const CMediaNode& media = cfg->media;
    EXPECT_EQ(L"Letter", media.size.name);
    EXPECT_DOUBLE_EQ(215.9, media.size.mediaDescription.mediaBounds.urx);
    EXPECT_DOUBLE_EQ(279.4, media.size.mediaDescription.mediaBounds.ury);
    EXPECT_DOUBLE_EQ(4.23, media.actualPrintableBoundsLlx);
    EXPECT_EQ(L"600x600", cfg->resColorMem.resolution.name);
    EXPECT_EQ(2, cfg->resColorMem.dmColor);

    // Bad input: no such printer, logged as the application logs it.
    LogCapture log;
    EXPECT_FALSE(createFor(L"No_Such_Printer"));
    EXPECT_TRUE(log.contains("Failed to open No_Such_Printer."));
}

TEST_F(Printing, PdfOutputNeedsNoPrinter) {
    // Any letter case; no printer is asked (the tool runs with no scheduler at all).
    TempDir dir;
    const char* saved = std::getenv("CUPS_SERVER");
    const std::string server = saved ? saved : "";
    setenv("CUPS_SERVER", (dir.path() + "/no-scheduler.sock").c_str(), 1);
    std::string err;
    const int rc = runTool({"pc3", "new", "print as PDF", dir.file("pdf.pc3")}, nullptr, &err);
    const int rcPrinters = runTool({"printers"}, nullptr, &err);
    setenv("CUPS_SERVER", server.c_str(), 1);
    ASSERT_EQ(0, rc) << err;
    // Without a scheduler the printer list fails with one line saying why.
    EXPECT_EQ(1, rcPrinters);
    EXPECT_NE(std::string::npos, err.find("cannot reach the printing system")) << err;
    EXPECT_EQ(1, std::count(err.begin(), err.end(), '\n'));

    bool found = true;
    auto cfg = readBack(dir.wfile("pdf.pc3"), found);
    ASSERT_TRUE(cfg);
    EXPECT_TRUE(cfg->isPdfExport());
    EXPECT_FALSE(found);
    EXPECT_EQ(L"print as PDF", cfg->meta.localizedModelName);
    EXPECT_EQ(L"Built-in direct output to PDF", cfg->meta.configDescription);
    EXPECT_TRUE(cfg->meta.fileOnly && cfg->io.plotToFile);
    EXPECT_EQ(0x1000000, cfg->resColorMem.numColors);
    EXPECT_EQ(24, cfg->resColorMem.colorDepth);
}

TEST_F(Printing, DefaultPrinterConfigurationFollowsTheCurrentDefault) {
    TempDir dir;
    auto cfg = createFor(L"Laser_Color");
    ASSERT_TRUE(cfg);
    cfg->meta.defaultSystemCfg = true;
    ASSERT_EQ(0, cfg->write(dir.wfile("default.pc3").c_str()));

    ut::ChangeDefaultPrinter change(L"PDF_Writer");
    bool found = true;
    auto read = readBack(dir.wfile("default.pc3"), found);
    ASSERT_TRUE(read);
    EXPECT_EQ(L"PDF_Writer", read->meta.winDeviceName);
    EXPECT_EQ(L"PDF files", read->meta.configDescription);
    EXPECT_FALSE(found);

    ASSERT_TRUE(change.setDefaultPrinter(L"Laser_Twin"));
    read = readBack(dir.wfile("default.pc3"), found);
    ASSERT_TRUE(read);
    EXPECT_EQ(L"Laser_Twin", read->meta.winDeviceName);

    // With no printing system to ask there is no default to stand for: nothing is
    // made (not the stored printer either) and the log says so. libcups keeps the
    // server it found first for the process, so this runs in the tool.
    const std::string server = std::getenv("CUPS_SERVER") ? std::getenv("CUPS_SERVER") : "";
    setenv("CUPS_SERVER", (dir.path() + "/no-scheduler.sock").c_str(), 1);
    std::string err;
    const int rc = runTool({"pc3", "apply", dir.file("default.pc3")}, nullptr, &err);
    setenv("CUPS_SERVER", server.c_str(), 1);
    EXPECT_EQ(1, rc);
    EXPECT_NE(std::string::npos, err.find("Failed to create plot configuration for default printer")) << err;
}

TEST_F(Printing, PrinterResolvedByDriver) {
    TempDir dir;
    auto twin = createFor(L"Laser_Twin");
    ASSERT_TRUE(twin);
    struct Row {
        const char* intent;
        const wchar_t* device;
        const char* driver;
        bool found;
        const wchar_t* resolved;
    } rows[] = {
        {"the configured printer has the driver: kept", L"Laser_Twin", kLaserDriver, true, L"Laser_Twin"},
        {"gone: the first local printer with the driver", L"Gone", kLaserDriver, true, L"Laser_Color"},
        {"driver names compare without regard to case", L"Gone", "hp color laserjet series pcl 6 cups", true,
         L"Laser_Color"},
        {"the printer exists with another driver", L"PDF_Writer", kLaserDriver, true, L"Laser_Color"},
        {"no printer has the driver: unchanged", L"Gone", "Nobody's Driver", false, L"Gone"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.intent);
        CPlotCfg3 cfg = *twin;
        cfg.meta.winDeviceName = cfg.meta.friendlyNetName = row.device;
        cfg.meta.shortNetName = L"kept";
        cfg.meta.winDriverName = W(row.driver);
        ASSERT_EQ(0, cfg.write(dir.wfile("cfg.pc3").c_str()));
        bool found = !row.found;
        auto read = readBack(dir.wfile("cfg.pc3"), found);
        ASSERT_TRUE(read);
        EXPECT_EQ(row.found, found);
        EXPECT_EQ(row.resolved, read->meta.winDeviceName);
        EXPECT_EQ(row.resolved, read->meta.friendlyNetName);
        EXPECT_EQ(L"kept", read->meta.shortNetName);
    }
}

TEST_F(Printing, PapersOfAQueue) {
    OdArray<short> numbers;
    OdArray<OdString> names;
    OdArray<POINT> sizes;
    ASSERT_TRUE(ut::PaperSizeGetter(L"Laser_Color").get(&numbers, &names, &sizes));
    ASSERT_EQ(13u, numbers.size());
    ASSERT_EQ(numbers.size(), names.size());
    ASSERT_EQ(numbers.size(), sizes.size());
    // Standard sizes get their standard numbers and names, within a millimetre of
    // the driver's (A5 comes from the PPD as 148.52 x 209.9 mm), sizes in tenths.
    struct Expected {
        short number;
        const wchar_t* name;
        int width, length;
    } expected[] = {{1, L"Letter", 2159, 2794}, {9, L"A4", 2099, 2970},   {11, L"A5", 1485, 2099},
                    {3, L"Tabloid", 2794, 4318}, {20, L"Envelope #10", 1048, 2413}, {34, L"Envelope B5", 1760, 2501}};
    for (const Expected& e : expected) {
        SCOPED_TRACE(U(e.name));
        unsigned at = 0;
        ASSERT_TRUE(numbers.find(e.number, at));
        EXPECT_EQ(e.name, names[at]);
        EXPECT_EQ(e.width, sizes[at].x);
        EXPECT_EQ(e.length, sizes[at].y);
    }

    // Sizes that are no standard paper get driver-defined numbers that stay the
    // same each time the printer is asked, and unique names.
    OdArray<ut::PaperSizeInfo> first, second;
    ASSERT_TRUE(ut::PaperSizeGetter(L"PDF_Writer").get(first));
    ASSERT_TRUE(ut::PaperSizeGetter(L"PDF_Writer").get(second));
    ASSERT_EQ(first.size(), second.size());
    int driverDefined = 0;
    for (unsigned i = 0; i < first.size(); ++i) {
        EXPECT_EQ(first[i].number, second[i].number);
        driverDefined += first[i].number >= 256;
        for (unsigned j = 0; j < i; ++j) {
            EXPECT_NE(first[i].number, first[j].number);
            EXPECT_NE(first[i].name, first[j].name);
        }
    }
    EXPECT_GT(driverDefined, 0);
    ut::PaperSizeInfo paper;
    EXPECT_TRUE(ut::PaperSizeGetter(L"PDF_Writer").find(L"8x10", paper));
    EXPECT_GE(paper.number, 256);
    EXPECT_DOUBLE_EQ(203.2, paper.width);

    EXPECT_FALSE(ut::PaperSizeGetter(L"No_Such_Printer").get(&numbers, &names, nullptr));
    EXPECT_TRUE(numbers.isEmpty() && names.isEmpty());

    std::string out;
    ASSERT_EQ(0, runTool({"papers", "Laser_Color"}, &out));
    EXPECT_NE(std::string::npos, out.find("    9  A4                             209.90 x 297.04   mm")) << out;
}

TEST_F(Printing, ForeignPrivateBytesArePassedOnUntouchedButNeverApplied) {
    bool found = true;
    auto cfg = readBack(W(dataFile("printer-hpgl-raw-device-data.pc3")), found);
    ASSERT_TRUE(cfg && cfg->custom);
    EXPECT_FALSE(found); // its printer is on a Windows server
    OdString hex;
    ASSERT_TRUE(cfg->custom->getBin(hex, CCustomNode::kRawPrivateDeviceData));
    ut::PrintData data;
    const std::vector<uint8_t> record = appliedRecord(*cfg, data);
    ASSERT_GE(record.size(), 220u + 5016);
    EXPECT_EQ(hex, ut::bytesToHex(record.data() + 220, record.size() - 220));

    std::vector<std::pair<OdString, OdString>> options;
    ASSERT_TRUE(ut::getJobOptions(data, options));
    EXPECT_EQ("<absent>", option(options, "job-priority"));
    EXPECT_EQ("custom_841x1189mm_841x1189mm", option(options, "media")); // its User8212 paper
    ut::DEVMODE_RAII dm(data);
    EXPECT_FALSE(ut::hasOwnPrivateData(dm.get(), dm.bytes()));

    // Taken back, the bytes are the same text.
    CPlotCfg3 again = *cfg;
    ASSERT_TRUE(again.fromPrintData(data, nullptr));
    OdString after;
    ASSERT_TRUE(again.custom->getBin(after, CCustomNode::kRawPrivateDeviceData));
    EXPECT_EQ(hex, after);
}

TEST_F(Printing, StoredPrivateBytesThatDoNotAddUpFallBackToThePrinters) {
    auto cfg = createFor(L"Laser_Color");
    ASSERT_TRUE(cfg);
    ut::DevModePtr queue = ut::getDevMode(L"Laser_Color");
    // What a queue would give if the stored bytes were used: a recognisable option.
    SavedOptions saved("Laser_Color");
    saved.set("job-priority", "77");

    struct Row {
        const char* intent;
        void (*spoil)(CCustomNode&);
    } rows[] = {
        {"dmDriverExtra does not match the text", [](CCustomNode& c) { c.set(3, CCustomNode::kDmDriverExtra); }},
        {"dmDriverExtra negative", [](CCustomNode& c) { c.set(-2, CCustomNode::kDmDriverExtra); }},
        {"dmSize missing", [](CCustomNode& c) { c.remove(CCustomNode::kDmSize); }},
        {"dmSize negative", [](CCustomNode& c) { c.set(-220, CCustomNode::kDmSize); }},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.intent);
        CPlotCfg3 spoilt = *cfg;
        row.spoil(*spoilt.custom);
        LogCapture log;
        ut::PrintData data;
        ASSERT_TRUE(spoilt.toPrintData(data));
        std::vector<std::pair<OdString, OdString>> options;
        ASSERT_TRUE(ut::getJobOptions(data, options));
        EXPECT_EQ("77", option(options, "job-priority")); // the printer's own
        EXPECT_TRUE(log.contains("do not match dmDriverExtra and dmSize"));
    }

    // An odd-length or non-hexadecimal value cannot be read: the file's custom
    // block is dropped with a warning and the printer's own bytes are used.
    TempDir dir;
    ASSERT_EQ(0, cfg->write(dir.wfile("good.pc3").c_str()));
    std::string text;
    ASSERT_EQ(0, runTool({"pia", "cat", dir.file("good.pc3")}, &text));
    for (const char* bad : {"ABC", "XYZ0"}) {
        SCOPED_TRACE(bad);
        std::string spoilt = text;
        const size_t at = spoilt.find("value=\\", spoilt.find("RawPrivateDeviceData"));
        ASSERT_NE(std::string::npos, at);
        spoilt.replace(at + 7, spoilt.find('\\', at + 7) - at - 7, bad);
        writeFile(dir.file("bad.txt"), spoilt);
        ASSERT_EQ(0, runTool({"pia", "pack", "--force", dir.file("bad.txt"), dir.file("bad.pc3"), "--kind", "pc3"}));
        LogCapture log;
        bool found = false;
        auto read = readBack(dir.wfile("bad.pc3"), found);
        ASSERT_TRUE(read);
        EXPECT_FALSE(read->custom);
        ut::PrintData data;
        ASSERT_TRUE(read->toPrintData(data));
        std::vector<std::pair<OdString, OdString>> options;
        ASSERT_TRUE(ut::getJobOptions(data, options));
        EXPECT_EQ("77", option(options, "job-priority"));
    }
}

TEST_F(Printing, PaperNameOfTheConfiguration) {
    auto cfg = createFor(L"Laser_Color");
    ASSERT_TRUE(cfg);
    struct Row {
        const char* intent;
        const wchar_t* name;
        uint32_t fields; // 0: all
        short paper;     // expected device-mode paper number
        const char* form;
        const char* logged;
    } rows[] = {
        {"a paper of the printer", L"A4", 0, 9, "A4", nullptr},
        {"a User name sets its number", L"User300", 0, 300, "", nullptr},
        {"the mask leaves the paper alone", L"A4", DM_ORIENTATION | DM_FORMNAME, 1, "A4", nullptr},
        {"the mask leaves the form name alone", L"A4", DM_PAPERSIZE, 9, "Letter", nullptr},
        {"a name that matches nothing keeps the printer's paper", L"Imperial Quarto", 0, 1, "",
         "is not a paper of Laser_Color"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.intent);
        CPlotCfg3 c = *cfg;
        c.media.size.name = row.name;
        c.custom->set(int(row.fields), CCustomNode::kDmFields);
        LogCapture log;
        ut::PrintData data;
        ASSERT_TRUE(c.toPrintData(data));
        ut::WindowsPrintNativeData* native = ut::WindowsPrintNativeData::GetNativeData(data);
        short paper = 0;
        EXPECT_TRUE(data.getDmPaperSize(paper));
        EXPECT_EQ(row.paper, paper);
        if (*row.form) {
            EXPECT_EQ(row.form, native->GetFormName().utf8_string());
        }
        if (row.logged) {
            EXPECT_TRUE(log.contains(row.logged));
        }
    }
}

// A configuration applied with the printing system out of reach fails with that
// reason, not with a word about its paper; the library's warning names why the
// printer's papers could not be asked for.
TEST_F(Printing, ApplyingWithoutThePrintingSystemSaysSo) {
    TempDir dir;
    auto cfg = createFor(L"Laser_Color");
    ASSERT_TRUE(cfg);
    ASSERT_EQ(0, cfg->write(dir.wfile("laser.pc3").c_str()));
    cfg->meta.defaultSystemCfg = true;
    ASSERT_EQ(0, cfg->write(dir.wfile("default.pc3").c_str()));

    const std::string server = std::getenv("CUPS_SERVER") ? std::getenv("CUPS_SERVER") : "";
    setenv("CUPS_SERVER", (dir.path() + "/no-scheduler.sock").c_str(), 1);
    std::string out[3], err[3];
    const int rc[3] = {runTool({"pc3", "apply", dir.file("laser.pc3")}, &out[0], &err[0]),
                       runTool({"pc3", "apply", "--json", dir.file("laser.pc3")}, &out[1], &err[1]),
                       runTool({"pc3", "apply", dir.file("default.pc3")}, &out[2], &err[2])};
    setenv("CUPS_SERVER", server.c_str(), 1);
    for (int i = 0; i < 3; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(1, rc[i]);
        EXPECT_EQ("", out[i]);
        EXPECT_NE(std::string::npos, err[i].find(": cannot reach the printing system at " + dir.path() +
                                                 "/no-scheduler.sock (is its scheduler running?)\n"))
            << err[i];
        EXPECT_EQ(std::string::npos, err[i].find("paper")) << err[i];
    }
    EXPECT_EQ("drutils: " + dir.file("laser.pc3") + ": cannot reach", err[0].substr(0, err[0].find(" the ")));

    CPlotCfg3 missing = *cfg;
    missing.meta.winDeviceName = L"No_Such_Printer";
    LogCapture log;
    ut::PrintData data;
    ASSERT_TRUE(missing.toPrintData(data));
    EXPECT_TRUE(log.contains("The papers of No_Such_Printer cannot be asked for: no printer named 'No_Such_Printer'"));
    EXPECT_FALSE(log.contains("is not a paper of"));
}

TEST_F(Printing, MalformedDeviceModesAreRefused) {
    ut::PrintData data(L"Laser_Color");
    ut::DEVMODE_RAII record(data);
    ASSERT_NE(nullptr, record.get());

    // Changes through the pointer reach the print data ...
    record->dmCopies = 3;
    EXPECT_TRUE(record.updatePrintData());
    EXPECT_EQ(3, data.GetNoCopies());

    // ... but not from a record whose private part runs past what is held.
    LogCapture log;
    const uint16_t extra = record->dmDriverExtra;
    record->dmCopies = 5;
    record->dmDriverExtra = 60000;
    EXPECT_FALSE(record.updatePrintData());
    EXPECT_EQ(3, data.GetNoCopies());
    EXPECT_TRUE(log.contains("malformed"));
    OdString text;
    ut::dumpDevMode(record.get(), record.bytes(), text);
    EXPECT_NE(std::string::npos, U(text).find("\nprivate data:\nNo\n"));
    EXPECT_FALSE(ut::copyDevMode(record.get(), record.bytes()));
    record->dmDriverExtra = extra;
    EXPECT_TRUE(ut::copyDevMode(record.get(), record.bytes()));

    // A public size that cannot be used is replaced, with a warning.
    ut::PrintData other(L"Laser_Color");
    ut::WindowsPrintNativeData::GetNativeData(other)->SetSize(12);
    ut::DEVMODE_RAII fixed(other);
    ASSERT_NE(nullptr, fixed.get());
    EXPECT_EQ(220, fixed->dmSize);
    EXPECT_TRUE(log.contains("cannot be used"));
}

TEST_F(Printing, PrinterDeviceContextAndPostScript) {
    // The device context writes PostScript: no display is needed.
    ut::PrintData data(L"Laser_Color");
    std::unique_ptr<wxPrinterDC> dc(data.createPrinterDC());
    ASSERT_TRUE(dc);
    EXPECT_TRUE(dc->IsOk());
    EXPECT_GT(dc->GetSize().x, 0);
    EXPECT_TRUE(data.isPostScript());
    EXPECT_FALSE(ut::PrintData(L"No_Such_Printer").isPostScript());
}

TEST_F(Printing, ToolMakesAndAppliesConfigurations) {
    TempDir dir;
    const std::string out = dir.file("laser.pc3");
    std::string text, err;
    ASSERT_EQ(0, runTool({"pc3", "new", "Laser_Color", out}));
    // An existing file is kept unless --force.
    EXPECT_EQ(1, runTool({"pc3", "new", "PDF_Writer", out}, nullptr, &err));
    EXPECT_NE(std::string::npos, err.find("already exists (--force replaces it)"));
    ASSERT_EQ(0, runTool({"pc3", "show", out}, &text));
    EXPECT_NE(std::string::npos, text.find("Laser_Color"));
    ASSERT_EQ(0, runTool({"pc3", "new", "--force", "PDF_Writer", out}));
    ASSERT_EQ(0, runTool({"pc3", "apply", "--json", out}, &text));
    EXPECT_NE(std::string::npos, text.find(R"("printer":"PDF_Writer","printer_found":true)")) << text;
    EXPECT_NE(std::string::npos, text.find(R"("origin":"drutils")"));
    EXPECT_NE(std::string::npos, text.find("dmDeviceName = PDF_Writer"));
    EXPECT_EQ(1, runTool({"pc3", "new", "No_Such_Printer", dir.file("x.pc3")}, nullptr, &err));
    EXPECT_EQ("drutils: No_Such_Printer: no printer named 'No_Such_Printer'\n", err);
    EXPECT_EQ((std::vector<std::string>{"laser.pc3"}), dir.entries());
}

TEST(DeviceModeDump, ExactLinesAndPrivateBytes) {
    // 20 private bytes: a line of 16 and one of 4, each byte "XX ".
    std::vector<uint8_t> storage(sizeof(DEVMODEW) + 20);
    auto* dm = reinterpret_cast<DEVMODEW*>(storage.data());
    const char16_t name[] = u"Plotter \u00c4";
    std::copy(std::begin(name), std::end(name), dm->dmDeviceName);
    dm->dmSpecVersion = 0x401;
    dm->dmSize = sizeof(DEVMODEW);
    dm->dmDriverExtra = 20;
    dm->dmFields = 0x1BF5F;
    dm->dmPaperSize = -5;
    dm->dmPrintQuality = DMRES_HIGH;
    dm->dmNup = 0xABCDEF;
    for (int i = 0; i < 20; ++i)
        storage[sizeof(DEVMODEW) + i] = uint8_t(i * 13);
    OdString out = L"before\n";
    ut::dumpDevMode(dm, out);
    const std::string text = U(out);
    EXPECT_EQ(0u, text.find("before\ndmDeviceName = Plotter \xc3\x84\ndmSpecVersion = 1025\ndmDriverVersion = 0\n"
                            "dmSize = 220\ndmDriverExtra = 20\ndmFields = 1BF5F\ndmOrientation = 0\n"
                            "dmPaperSize = -5\n"));
    EXPECT_NE(std::string::npos, text.find("\ndmPrintQuality = -4\n"));
    EXPECT_NE(std::string::npos, text.find("\ndmDisplayFlags/dmNup = ABCDEF\ndmDisplayFrequency = 0\n"));
    EXPECT_NE(std::string::npos,
              text.find("dmPanningHeight = 0\n\nprivate data:\n"
                        "00 0D 1A 27 34 41 4E 5B 68 75 82 8F 9C A9 B6 C3 \nD0 DD EA F7 \n"));
    EXPECT_EQ(text.size() - 4, text.rfind("F7 \n"));
    // 34 field lines.
    EXPECT_EQ(34 + 1 + 2 + 2, std::count(text.begin(), text.end(), '\n'));

    dm->dmDriverExtra = 0;
    out.empty();
    ut::dumpDevMode(dm, out);
    EXPECT_NE(std::string::npos, U(out).find("dmPanningHeight = 0\n\nprivate data:\nNo\n"));
}
