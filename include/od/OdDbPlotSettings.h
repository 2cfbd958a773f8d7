// OdDbPlotSettings: the drawing SDK's plot settings, reduced to the paper-unit
// enumeration that custom papers are measured in.
#pragma once

class OdDbPlotSettings {
public:
    enum PlotPaperUnits {
        kInches = 0,
        kMillimeters = 1,
        kPixels = 2,
    };
};
