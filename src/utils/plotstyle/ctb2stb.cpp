#include <memory>

#include "plotstyletable.h"

CPlotStyleTable* ctb2stb(const CPlotStyleTable& source, const wchar_t* baseName) {
    if (!source.useACI())
        return nullptr;
    std::unique_ptr<CPlotStyleTable> named(CPlotStyleTable::create(false));
    named->setDesc(source.desc());
    named->setScaleFactor(source.scaleFactor());
    named->setApplyFactor(source.applyFactor());
    named->setLineWeightUnits(source.lineWeightUnits());
    named->lineWeights() = source.lineWeights();

    const OdString prefix = (baseName && *baseName) ? OdString(baseName) + L" " : OdString(L"Style ");
    int map[CAciTable::kSize] = {};
    // Walks the colour indices rather than the style list: a table read from a
    // file may list its styles in another order than the colours they serve.
    for (int k = 0; k < CAciTable::kSize; ++k) {
        const CPlotStyle* from = source.ACI().at(k + 1);
        if (!from)
            continue; // stays on "Normal"
        int match = -1;
        // Position 0 is "Normal", which stands for the object's own settings
        // and never absorbs a converted pen.
        for (int i = 1; i < named->size() && match < 0; ++i)
            if (named->style(i)->isEqual(*from, false))
                match = i;
        if (match < 0) {
            const int n = named->size();
            OdString name;
            name.format(L"%ls%d", prefix.c_str(), n);
            match = named->addStyle(name, n - 1, from);
            if (match < 0)
                return nullptr; // the base name makes a name in use or too long
        }
        map[k] = match;
    }
    named->addACI(map);
    return named.release();
}
