"""Draftium's plot style tables, printer configurations, settings and lock files.

A module over libdrutils, the library the application itself uses::

    import drutils

    table = drutils.PlotStyleTable.read("monochrome.ctb")
    table.style_for_color(1).lineweight = 9
    table.save("monochrome.ctb", force=True)
"""

from ._drutils import (
    Error,
    PlotStyle,
    PlotStyleTable,
    PrinterConfig,
    Settings,
    lock_status,
)

__all__ = ["Error", "PlotStyle", "PlotStyleTable", "PrinterConfig", "Settings", "lock_status"]
