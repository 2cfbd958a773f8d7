// Selecting a configuration's paper and the built-in PDF output: the parts of
// making a configuration that need no printer. Those that do (CPlotCfg3::create
// for a system printer, the print-data mapping) are the printing library's
// (src/print/plotcfg_print.cpp).
#include <algorithm>
#include <cmath>

#include "plotcfg.h"
#include "ut_papers.h"

// ------------------------------------------------------------------ media

bool CMediaNode::set(const ut::PaperSizeInfo& paper, bool& changed) {
    changed = false;
    const double values[] = {paper.width, paper.height, paper.printableLlx, paper.printableLly, paper.printableUrx,
                             paper.printableUry};
    if (paper.name.isEmpty() || !(paper.width > 0) || !(paper.height > 0) ||
        !std::all_of(std::begin(values), std::end(values), [](double v) { return std::isfinite(v); }))
        return false;
    auto assign = [&](auto& field, const auto& value) {
        if (!(field == value)) {
            field = value;
            changed = true;
        }
    };
    CMediaDescriptionNode& d = size.mediaDescription;
    assign(size.name, paper.name);
    assign(d.mediaBounds.urx, paper.width);
    assign(d.mediaBounds.ury, paper.height);
    assign(d.printableBoundsLlx, paper.printableLlx);
    assign(d.printableBoundsLly, paper.printableLly);
    assign(d.printableBoundsUrx, paper.printableUrx);
    assign(d.printableBoundsUry, paper.printableUry);
    assign(d.printableArea, std::max(0.0, paper.printableUrx - paper.printableLlx) *
                                std::max(0.0, paper.printableUry - paper.printableLly));
    assign(actualPrintableBoundsLlx, paper.printableLlx);
    assign(actualPrintableBoundsLly, paper.printableLly);
    assign(actualPrintableBoundsUrx, paper.printableUrx);
    assign(actualPrintableBoundsUry, paper.printableUry);
    return true;
}

bool CMediaNode::setToCustom(uint64_t id, bool& changed) {
    changed = false;
    if (!customPapers || id >= customPapers->papers.size())
        return false;
    const CustomPapersNode::PaperSize& p = customPapers->papers[unsigned(id)];
    const double mm = p.units == 0 ? 25.4 : 1.0;
    ut::PaperSizeInfo info;
    info.name = p.globalName;
    info.width = p.width * mm;
    info.height = p.height * mm;
    info.printableLlx = p.left * mm;
    info.printableLly = p.bottom * mm;
    info.printableUrx = (p.width - p.right) * mm;
    info.printableUry = (p.height - p.top) * mm;
    if (!(info.printableUrx > info.printableLlx) || !(info.printableUry > info.printableLly))
        return false;
    return set(info, changed);
}

// ------------------------------------------------------------------ configuration

const wchar_t* const CPlotCfg3::kPdfDeviceName = L"Print As PDF";

void CPlotCfg3::setToDefault() { *this = CPlotCfg3(); }

void CPlotCfg3::initForPdfExport() {
    m_pdfExport = true;
    meta.fileOnly = true;
    meta.configDescription = L"Built-in direct output to PDF";
    io.plotToFile = true;
    resColorMem.numColors = 0x1000000;
    resColorMem.colorDepth = 24;
    resColorMem.dmColor = 2;
    if (!custom)
        custom.emplace();
    custom->set(true, CCustomNode::kPdfExport);
    if (media.size.name.isEmpty()) {
        ut::PaperSizeInfo a4;
        a4.name = ut::getCanonicalPSname(9);
        a4.width = a4.printableUrx = 210.0;
        a4.height = a4.printableUry = 297.0;
        bool changed = false;
        media.set(a4, changed);
    }
}
